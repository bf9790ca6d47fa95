#include "platform/files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool platformOpenFile(const char* path, bool forWriting, FileHandle* handle) {
  if (path == nullptr || handle == nullptr) return false;
  // No O_TRUNC: a writer overwrites in place and ends the file itself.
  int flags = forWriting ? (O_WRONLY | O_CREAT) : O_RDONLY;
  int fd;
  do {
    fd = open(path, flags | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  *handle = fd;
  return true;
}

bool platformReadFile(FileHandle file, void* data, int32_t count, int32_t* done) {
  int32_t total = 0;
  bool ok = true;
  while (total < count) {
    ssize_t got = read(static_cast<int>(file), static_cast<char*>(data) + total, static_cast<size_t>(count - total));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      ok = false;
      break;
    }
    if (got == 0) break;  // end of file
    total += static_cast<int32_t>(got);
  }
  if (done != nullptr) *done = total;
  return ok;
}

bool platformWriteFile(FileHandle file, const void* data, int32_t count, int32_t* done) {
  int32_t total = 0;
  bool ok = true;
  while (total < count) {
    ssize_t put =
        write(static_cast<int>(file), static_cast<const char*>(data) + total, static_cast<size_t>(count - total));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      ok = false;
      break;
    }
    total += static_cast<int32_t>(put);
  }
  if (done != nullptr) *done = total;
  return ok;
}

bool platformTruncateFile(FileHandle file) {
  off_t here = lseek(static_cast<int>(file), 0, SEEK_CUR);
  if (here < 0) return false;
  return ftruncate(static_cast<int>(file), here) == 0;
}

void platformCloseFile(FileHandle file) {
  if (file >= 0) close(static_cast<int>(file));
}

void platformTempFolder(char* out, int32_t capacity) {
  if (out == nullptr || capacity < 1) return;
  const char* folder = std::getenv("TMPDIR");
  if (folder == nullptr || folder[0] == '\0') folder = "/tmp";
  size_t length = std::strlen(folder);
  bool needsSeparator = folder[length - 1] != '/';
  // Too long for the caller's field: the temporary folder of last resort.
  if (length + (needsSeparator ? 1 : 0) + 1 > static_cast<size_t>(capacity)) {
    folder = "/tmp";
    length = 4;
    needsSeparator = true;
    if (length + 2 > static_cast<size_t>(capacity)) {
      out[0] = '\0';
      return;
    }
  }
  std::memcpy(out, folder, length);
  if (needsSeparator) out[length++] = '/';
  out[length] = '\0';
}

bool platformRenameFile(const char* from, const char* to) {
  return from != nullptr && to != nullptr && std::rename(from, to) == 0;
}

bool platformMakeFolder(const char* path) { return path != nullptr && mkdir(path, 0777) == 0; }
