#include "files/paths.h"

#include <cstring>

#include "platform/files.h"
#include "files/file_io.h"

namespace {

// Index of the last platform separator, or -1.
int32_t lastSeparator(const char* path) {
  const char* found = std::strrchr(path, PLATFORM_SEPARATOR);
  return found == nullptr ? -1 : static_cast<int32_t>(found - path);
}

// Copies `length` bytes of text and a terminator; the caller has checked that
// they fit. memmove, since the source may lie inside the destination.
void copyInto(PathSpec* out, const char* text, size_t length) {
  std::memmove(out->text, text, length);
  out->text[length] = '\0';
}

char foldCase(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

bool setPath(PathSpec* path, const char* text) {
  if (path == nullptr) return false;
  size_t length = text == nullptr ? 0 : std::strlen(text);
  if (length + 1 > static_cast<size_t>(PATH_CAPACITY)) {
    clearPath(path);
    return false;
  }
  copyInto(path, text == nullptr ? "" : text, length);
  return true;
}

int16_t joinPath(PathSpec* out, const char* folder, const char* name) {
  if (out == nullptr || folder == nullptr || name == nullptr) return PATH_NULL_ARGUMENT;
  size_t folderLength = std::strlen(folder);
  size_t nameLength = std::strlen(name);
  bool addSeparator = folderLength > 0 && folder[folderLength - 1] != '\\' && folder[folderLength - 1] != '/';
  // The separator counts too, so that a joined path always fits its field.
  if (folderLength + (addSeparator ? 1 : 0) + nameLength + 1 > static_cast<size_t>(PATH_CAPACITY)) {
    clearPath(out);
    return FILE_OK;
  }
  char joined[PATH_CAPACITY];
  std::memcpy(joined, folder, folderLength);
  size_t length = folderLength;
  if (addSeparator) joined[length++] = PLATFORM_SEPARATOR;
  std::memcpy(joined + length, name, nameLength);
  length += nameLength;
  copyInto(out, joined, length);
  return FILE_OK;
}

int16_t folderOf(PathSpec* out, const char* path) {
  if (out == nullptr || path == nullptr) return PATH_NULL_ARGUMENT;
  size_t length = std::strlen(path);
  int32_t separator = lastSeparator(path);
  if (separator >= 0) length = static_cast<size_t>(separator) + 1;
  if (length + 1 > static_cast<size_t>(PATH_CAPACITY)) length = PATH_CAPACITY - 1;
  copyInto(out, path, length);
  return FILE_OK;
}

int16_t fileNameOf(PathSpec* out, const char* path) {
  if (out == nullptr || path == nullptr) return PATH_NULL_ARGUMENT;
  const char* name = path + (lastSeparator(path) + 1);
  size_t length = std::strlen(name);
  if (length + 1 > static_cast<size_t>(PATH_CAPACITY)) length = PATH_CAPACITY - 1;
  copyInto(out, name, length);
  return FILE_OK;
}

void stripExtension(char* text) {
  if (text == nullptr) return;
  char* dot = std::strrchr(text, '.');
  if (dot != nullptr) *dot = '\0';
}

int16_t extensionOf(PathSpec* out, const char* text) {
  if (out == nullptr || text == nullptr) return PATH_NULL_ARGUMENT;
  clearPath(out);
  if (std::strlen(text) < 2) return FILE_OK;
  const char* dot = std::strrchr(text, '.');
  if (dot == nullptr) return FILE_OK;
  size_t length = std::strlen(dot);
  if (length + 1 > static_cast<size_t>(PATH_CAPACITY)) length = PATH_CAPACITY - 1;
  copyInto(out, dot, length);
  return FILE_OK;
}

void sanitizeName(char* text) {
  if (text == nullptr) return;
  for (unsigned char* p = reinterpret_cast<unsigned char*>(text); *p != 0; ++p) {
    unsigned int byte = *p;
    if (byte < 32) {
      byte = ' ';
    } else if (byte > 127) {
      byte = (byte & 127) + 32;
      if (byte == '.') byte = '_';
    }
    // Checked after the high-byte mapping, which can itself produce "\" (188)
    // or "/" (143) or ":" (154).
    if (byte == '\\' || byte == '/' || byte == ':') byte = '_';
    *p = static_cast<unsigned char>(byte);
  }
}

void underscoreSpaces(char* text) {
  if (text == nullptr) return;
  for (char* p = text; *p != '\0'; ++p)
    if (*p == ' ') *p = '_';
}

bool appendExtension(PathSpec* path, const char* extension) {
  if (path == nullptr || extension == nullptr) return false;
  size_t length = std::strlen(path->text);
  size_t extra = std::strlen(extension);
  if (length + extra + 1 > static_cast<size_t>(PATH_CAPACITY)) return false;
  std::memcpy(path->text + length, extension, extra + 1);
  return true;
}

int32_t findText(const char* needle, const char* text, bool ignoreCase) {
  if (needle == nullptr || text == nullptr || needle[0] == '\0' || text[0] == '\0') return -1;
  size_t needleLength = std::strlen(needle);
  size_t textLength = std::strlen(text);
  if (needleLength > textLength) return -1;
  for (size_t start = 0; start + needleLength <= textLength; ++start) {
    size_t i = 0;
    for (; i < needleLength; ++i) {
      char a = text[start + i];
      char b = needle[i];
      if (ignoreCase) {
        a = foldCase(a);
        b = foldCase(b);
      }
      if (a != b) break;
    }
    if (i == needleLength) return static_cast<int32_t>(start);
  }
  return -1;
}

int16_t makeSubfolder(PathSpec* out, const char* base, const char* name) {
  if (out == nullptr || base == nullptr || name == nullptr) return PATH_NULL_SUBFOLDER;
  size_t baseLength = std::strlen(base);
  size_t nameLength = std::strlen(name);
  if (baseLength + nameLength + 2 > static_cast<size_t>(PATH_CAPACITY)) {
    clearPath(out);
    return FILE_OPEN_FAILED;
  }
  char joined[PATH_CAPACITY];
  std::memcpy(joined, base, baseLength);
  std::memcpy(joined + baseLength, name, nameLength);
  joined[baseLength + nameLength] = PLATFORM_SEPARATOR;
  copyInto(out, joined, baseLength + nameLength + 1);
  platformMakeFolder(out->text);  // an existing folder is fine
  return FILE_OK;
}

int16_t tempFile(PathSpec* out, const char* name) {
  if (out == nullptr) return PATH_NULL_ARGUMENT;
  platformTempFolder(out->text, PATH_CAPACITY);
  if (name == nullptr) return FILE_OK;
  // The folder is short in practice; a name that would overflow is cut.
  size_t length = std::strlen(out->text);
  size_t room = static_cast<size_t>(PATH_CAPACITY) - 1 - length;
  size_t nameLength = std::strlen(name);
  if (nameLength > room) nameLength = room;
  std::memcpy(out->text + length, name, nameLength);
  out->text[length + nameLength] = '\0';
  return FILE_OK;
}
