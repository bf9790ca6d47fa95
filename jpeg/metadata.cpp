#include "jpeg/metadata.h"

#include <cstring>
#include <ctime>

#include "platform/memory.h"

namespace {

constexpr uint8_t EXIF_PREFIX[6] = {'E', 'x', 'i', 'f', 0, 0};
constexpr const char* IPTC_PREFIX = "Photoshop 3.0";  // written with its terminator
constexpr int64_t IPTC_PREFIX_BYTES = 14;
constexpr int64_t IPTC_RESOURCE_HEADER_BYTES = 12;  // "8BIM", id, empty name, size
constexpr int64_t IPTC_RECORD_HEADER_BYTES = 5;     // 1C 02 dataset u16
constexpr uint16_t IPTC_RESOURCE_ID = 1028;

// IPTC datasets of record 2.
constexpr uint8_t DATASET_RECORD_VERSION = 0;
constexpr uint8_t DATASET_KEYWORDS = 25;
constexpr uint8_t DATASET_DATE_CREATED = 55;
constexpr uint8_t DATASET_SOURCE = 115;
constexpr uint8_t DATASET_CAPTION = 120;

char foldCase(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

bool startsWithIgnoringCase(const char* entry, const char* prefix) {
  for (; *prefix != '\0'; ++entry, ++prefix)
    if (*entry == '\0' || foldCase(*entry) != foldCase(*prefix)) return false;
  return true;
}

int64_t exifSize(bool withPrefix) {
  int64_t n = static_cast<int64_t>(std::strlen(programName));
  return (withPrefix ? 6 : 0) + 27 + n;
}

// The records in their order; with `into` null only their length is counted.
int64_t iptcRecords(const MetadataBlock* block, uint8_t* into) {
  int64_t total = 0;
  auto record = [&](uint8_t dataset, const void* data, size_t length) {
    if (into != nullptr) {
      uint8_t* p = into + total;
      p[0] = 0x1C;
      p[1] = 0x02;
      p[2] = dataset;
      p[3] = static_cast<uint8_t>(length >> 8);
      p[4] = static_cast<uint8_t>(length);
      std::memcpy(p + 5, data, length);
    }
    total += IPTC_RECORD_HEADER_BYTES + static_cast<int64_t>(length);
  };
  const uint8_t version[2] = {0x00, 0x02};
  char date[9];
  metadataDate(date);
  record(DATASET_RECORD_VERSION, version, 2);
  record(DATASET_SOURCE, makerUrl, std::strlen(makerUrl));
  record(DATASET_DATE_CREATED, date, 8);
  record(DATASET_CAPTION, metadataCaption, std::strlen(metadataCaption));
  record(DATASET_KEYWORDS, programName, std::strlen(programName));
  for (int32_t i = 0; i < block->keywordCount; ++i) {
    size_t length = std::strlen(block->keywords[i]);
    if (length > 0) record(DATASET_KEYWORDS, block->keywords[i], length);
  }
  if (total % 2 != 0) {  // an image resource's data is padded to even
    if (into != nullptr) into[total] = 0;
    ++total;
  }
  return total;
}

// The buffer holds at least the customary 1,000 bytes, and more when a long
// keyword list needs it, so that nothing is ever written past its end.
bool makeBuffer(MetadataBlock* block, int64_t needed) {
  int64_t bytes = needed > METADATA_BUFFER_BYTES ? needed : METADATA_BUFFER_BYTES;
  block->buffer = static_cast<uint8_t*>(platformAllocate(static_cast<size_t>(bytes)));
  block->cursor = block->buffer;
  block->size = 0;
  return block->buffer != nullptr;
}

void put(MetadataBlock* block, const void* data, size_t length) {
  std::memcpy(block->cursor, data, length);
  block->cursor += length;
  block->size += static_cast<int64_t>(length);
}

void put16(MetadataBlock* block, uint32_t value) {
  uint8_t bytes[2] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  put(block, bytes, 2);
}

void put32(MetadataBlock* block, uint32_t value) {
  uint8_t bytes[4] = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                      static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  put(block, bytes, 4);
}

}  // namespace

void initMetadata(MetadataBlock* block) {
  if (block != nullptr) std::memset(block, 0, sizeof(*block));
}

void freeMetadata(MetadataBlock* block) {
  if (block == nullptr) return;
  platformFree(block->buffer);
  block->buffer = nullptr;
  block->cursor = nullptr;
  block->size = 0;
}

bool addKeyword(MetadataBlock* block, const char* text) {
  if (block == nullptr || text == nullptr || text[0] == '\0') return false;
  if (block->keywordCount >= METADATA_KEYWORD_LIMIT) return false;
  size_t length = std::strlen(text);
  if (length > static_cast<size_t>(METADATA_KEYWORD_BYTES)) return false;
  for (int32_t i = 0; i < block->keywordCount; ++i)
    if (startsWithIgnoringCase(block->keywords[i], text)) return false;
  std::memcpy(block->keywords[block->keywordCount], text, length + 1);
  ++block->keywordCount;
  return true;
}

// A big-endian TIFF structure with one directory of one entry, Software.
int64_t makeExifBlock(MetadataBlock* block, bool withPrefix, bool sizeOnly) {
  if (block == nullptr) return 0;
  int64_t size = exifSize(withPrefix);
  if (sizeOnly) return size;
  if (block->buffer != nullptr) return 0;
  if (!makeBuffer(block, size)) return 0;
  uint32_t n = static_cast<uint32_t>(std::strlen(programName));
  if (withPrefix) put(block, EXIF_PREFIX, sizeof EXIF_PREFIX);
  put(block, "MM", 2);
  put16(block, 0x002A);  // TIFF magic
  put32(block, 8);       // first directory
  put16(block, 1);       // one entry
  put16(block, 0x0131);  // Software
  put16(block, 2);       // ASCII
  put32(block, n + 1);   // count, terminator included
  put32(block, 26);      // value offset: 8 + 2 + 12 + 4
  put32(block, 0);       // no next directory
  put(block, programName, n + 1);
  return block->size;
}

// An image resource 1028 ("8BIM", id, empty name, u32 size) around the
// records; for JPEG the "Photoshop 3.0" lead-in of an APP13 segment.
int64_t makeIptcBlock(MetadataBlock* block, bool withPrefix, bool sizeOnly) {
  if (block == nullptr) return 0;
  int64_t records = iptcRecords(block, nullptr);
  int64_t size = (withPrefix ? IPTC_PREFIX_BYTES : 0) + IPTC_RESOURCE_HEADER_BYTES + records;
  if (sizeOnly) return size;
  if (block->buffer != nullptr) return 0;
  if (!makeBuffer(block, size)) return 0;
  if (withPrefix) put(block, IPTC_PREFIX, static_cast<size_t>(IPTC_PREFIX_BYTES));
  put(block, "8BIM", 4);
  put16(block, IPTC_RESOURCE_ID);
  put16(block, 0);  // empty name, padded to even
  put32(block, static_cast<uint32_t>(records));
  iptcRecords(block, block->cursor);
  block->cursor += records;
  block->size += records;
  return block->size;
}

void metadataDate(char out[9]) {
  std::time_t now = std::time(nullptr);
  const std::tm* utc = std::gmtime(&now);
  if (utc == nullptr) {
    std::memcpy(out, "19700101", 9);
    return;
  }
  const int values[3] = {utc->tm_year + 1900, utc->tm_mon + 1, utc->tm_mday};
  const int widths[3] = {4, 2, 2};
  int at = 0;
  for (int field = 0; field < 3; ++field) {
    int value = values[field] < 0 ? 0 : values[field];
    for (int digit = widths[field] - 1; digit >= 0; --digit) {
      out[at + digit] = static_cast<char>('0' + value % 10);
      value /= 10;
    }
    at += widths[field];
  }
  out[8] = '\0';
}
