// Files and folders through KERNEL32. No jpeglib.h may come into this file:
// windows.h and jpeglib.h both define `boolean`.
#include "platform/files.h"

#include <windows.h>

#include <cstring>

namespace {
HANDLE asHandle(FileHandle file) { return reinterpret_cast<HANDLE>(file); }
}  // namespace

bool platformOpenFile(const char* path, bool forWriting, FileHandle* handle) {
  if (path == nullptr || handle == nullptr) return false;
  // OPEN_ALWAYS rather than CREATE_ALWAYS: the old contents stay until
  // overwritten, and a writer that replaces a whole file ends it itself.
  HANDLE file = CreateFileA(path, forWriting ? GENERIC_WRITE : GENERIC_READ, FILE_SHARE_READ, nullptr,
                            forWriting ? OPEN_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  *handle = reinterpret_cast<FileHandle>(file);
  return true;
}

bool platformReadFile(FileHandle file, void* data, int32_t count, int32_t* done) {
  DWORD got = 0;
  BOOL ok = count > 0 ? ReadFile(asHandle(file), data, static_cast<DWORD>(count), &got, nullptr) : TRUE;
  if (done != nullptr) *done = static_cast<int32_t>(got);
  return ok != FALSE;
}

bool platformWriteFile(FileHandle file, const void* data, int32_t count, int32_t* done) {
  DWORD put = 0;
  BOOL ok = count > 0 ? WriteFile(asHandle(file), data, static_cast<DWORD>(count), &put, nullptr) : TRUE;
  if (done != nullptr) *done = static_cast<int32_t>(put);
  return ok != FALSE && static_cast<int32_t>(put) == (count > 0 ? count : 0);
}

bool platformTruncateFile(FileHandle file) { return SetEndOfFile(asHandle(file)) != FALSE; }

void platformCloseFile(FileHandle file) {
  if (file != INVALID_FILE_HANDLE && file != 0) CloseHandle(asHandle(file));
}

void platformTempFolder(char* out, int32_t capacity) {
  if (out == nullptr || capacity < 1) return;
  char folder[MAX_PATH + 1];
  DWORD length = GetTempPathA(MAX_PATH, folder);
  if (length == 0 || length > MAX_PATH) {
    std::strcpy(folder, "C:\\Windows\\Temp\\");
    length = static_cast<DWORD>(std::strlen(folder));
  }
  if (static_cast<int32_t>(length) + 1 > capacity) length = static_cast<DWORD>(capacity - 1);
  std::memcpy(out, folder, length);
  out[length] = '\0';
}

bool platformRenameFile(const char* from, const char* to) {
  return from != nullptr && to != nullptr && MoveFileA(from, to) != FALSE;
}

bool platformMakeFolder(const char* path) { return path != nullptr && CreateDirectoryA(path, nullptr) != FALSE; }
