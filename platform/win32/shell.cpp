#include "platform/shell.h"

#include <windows.h>
#include <shellapi.h>

#include <cstring>

bool platformWalkFolder(const char* folder, FolderVisit visit, void* context) {
  if (folder == nullptr || visit == nullptr) return false;
  char pattern[MAX_PATH + 4];
  const size_t length = std::strlen(folder);
  if (length + 4 >= sizeof pattern) return false;
  std::memcpy(pattern, folder, length);
  size_t at = length;
  if (at > 0 && pattern[at - 1] != '\\' && pattern[at - 1] != '/') pattern[at++] = '\\';
  std::memcpy(pattern + at, "*.*", 4);
  WIN32_FIND_DATAA found;
  HANDLE walk = FindFirstFileA(pattern, &found);
  if (walk == INVALID_HANDLE_VALUE) return false;
  do {
    if (std::strcmp(found.cFileName, ".") == 0 || std::strcmp(found.cFileName, "..") == 0) continue;
    const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!visit(found.cFileName, isFolder, context)) break;
  } while (FindNextFileA(walk, &found));
  FindClose(walk);
  return true;
}

void platformOpenDocument(const char* path) {
  if (path == nullptr || path[0] == '\0') return;
  ShellExecuteA(nullptr, "open", path, nullptr, nullptr, SW_SHOWNORMAL);
}
