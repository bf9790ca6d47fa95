// Reads a resource of the built Windows module: its PE resource tree is
// walked by type (a name in upper case, or a number), id and language.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace module_image {

struct Image {
  std::vector<uint8_t> bytes;
  bool ok = true;

  uint32_t u16(size_t at) {
    if (at + 2 > bytes.size()) return ok = false, 0;
    return uint32_t(bytes[at]) | uint32_t(bytes[at + 1]) << 8;
  }
  uint32_t u32(size_t at) { return u16(at) | u16(at + 2) << 16; }
};

inline std::vector<uint8_t> readWholeFile(const char* path) {
  std::vector<uint8_t> bytes;
  FILE* f = std::fopen(path, "rb");
  if (f == nullptr) return bytes;
  uint8_t chunk[65536];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes.insert(bytes.end(), chunk, chunk + n);
  std::fclose(f);
  return bytes;
}

// One level of the resource tree: the offset (within the resource section)
// of the entry matching a name (upper case) or an id; 0 when none.
inline uint32_t findEntry(Image& pe, size_t section, uint32_t directory, const char* name, uint32_t id) {
  const size_t at = section + directory;
  const uint32_t entries = pe.u16(at + 12) + pe.u16(at + 14);
  for (uint32_t i = 0; i < entries && pe.ok; ++i) {
    const uint32_t nameField = pe.u32(at + 16 + 8 * i);
    const uint32_t target = pe.u32(at + 20 + 8 * i);
    bool match;
    if (nameField & 0x80000000u) {
      const size_t s = section + (nameField & 0x7FFFFFFFu);
      std::string text;
      for (uint32_t k = 0, n = pe.u16(s); k < n; ++k) text += char(std::toupper(int(pe.u16(s + 2 + 2 * k))));
      match = name != nullptr && text == name;
    } else {
      match = name == nullptr && nameField == id;
    }
    if (match) return target & 0x7FFFFFFFu;
  }
  return 0;
}

// type names a resource type by its name, or is null and typeId gives it.
inline std::vector<uint8_t> moduleResource(Image& pe, const char* type, uint32_t typeId, uint32_t id,
                                           uint32_t language) {
  const size_t header = pe.u32(0x3C);
  const size_t optional = header + 24;
  const uint32_t sections = pe.u16(header + 6);
  const size_t table = optional + pe.u16(header + 20);
  const uint32_t resourceRva = pe.u32(optional + 112 + 2 * 8);  // PE32+ data directory 2
  auto fileOffset = [&](uint32_t rva) -> size_t {
    for (uint32_t s = 0; s < sections; ++s) {
      const size_t h = table + 40 * s;
      const uint32_t va = pe.u32(h + 12), size = pe.u32(h + 8) > pe.u32(h + 16) ? pe.u32(h + 8) : pe.u32(h + 16);
      if (rva >= va && rva < va + size) return rva - va + pe.u32(h + 20);
    }
    return 0;
  };
  const size_t section = fileOffset(resourceRva);
  if (section == 0) return {};
  const uint32_t byType = findEntry(pe, section, 0, type, typeId);
  const uint32_t byId = byType ? findEntry(pe, section, byType, nullptr, id) : 0;
  const uint32_t byLanguage = byId ? findEntry(pe, section, byId, nullptr, language) : 0;
  if (byLanguage == 0 || !pe.ok) return {};
  const size_t data = fileOffset(pe.u32(section + byLanguage));
  const size_t size = pe.u32(section + byLanguage + 4);
  if (data == 0 || data + size > pe.bytes.size()) return {};
  return std::vector<uint8_t>(pe.bytes.begin() + long(data), pe.bytes.begin() + long(data + size));
}

}  // namespace module_image
