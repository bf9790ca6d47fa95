#include "platform/shell.h"

#include <cstring>
#include <dirent.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

extern char** environ;

bool platformWalkFolder(const char* folder, FolderVisit visit, void* context) {
  if (folder == nullptr || visit == nullptr) return false;
  DIR* dir = opendir(folder[0] != '\0' ? folder : ".");
  if (dir == nullptr) return false;
  std::string base = folder;
  if (!base.empty() && base.back() != '/') base += '/';
  while (const dirent* entry = readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    struct stat info;
    const bool isFolder = stat((base + entry->d_name).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    if (!visit(entry->d_name, isFolder, context)) break;
  }
  closedir(dir);
  return true;
}

// xdg-open hands the file to the desktop's browser and returns at once.
void platformOpenDocument(const char* path) {
  if (path == nullptr || path[0] == '\0') return;
  char program[] = "xdg-open";
  char* argv[] = {program, const_cast<char*>(path), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, program, nullptr, nullptr, argv, environ) == 0) waitpid(child, nullptr, 0);
}
