#include "resources/generated_files.h"

#include <cstdio>

namespace {

bool sameAsFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  std::vector<uint8_t> existing;
  uint8_t chunk[4096];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) existing.insert(existing.end(), chunk, chunk + n);
  std::fclose(f);
  return existing == bytes;
}

}  // namespace

bool writeFileIfChanged(const std::string& path, const std::vector<uint8_t>& bytes) {
  if (sameAsFile(path, bytes)) return true;
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && written;
}

// Backslashes and quotes need escaping.
std::string rcQuotedPath(const std::string& path) {
  std::string q = "\"";
  for (char c : path) {
    if (c == '\\' || c == '"') q += '\\';
    q += c;
  }
  return q + "\"";
}
