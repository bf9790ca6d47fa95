// The EXIF and IPTC blocks that JPEG streams and PSD files carry, and the
// maker's name and address they state.
//
// Use: initMetadata, addKeyword as often as wanted (IPTC only), then
// makeExifBlock/makeIptcBlock with sizeOnly to plan lengths, again without it
// to fill `buffer`, write `size` bytes of it, and freeMetadata at the end.
// Blocks live on an export's stack.
#pragma once

#include <cstdint>

constexpr const char* programName = "Marrowline";
// The maker's home page, named in every JPEG comment and in the metadata.
constexpr const char* makerUrl = "https://marrowline.example/";
constexpr const char* metadataCaption = "Made with Marrowline";

constexpr int32_t METADATA_KEYWORD_LIMIT = 19;
constexpr int32_t METADATA_KEYWORD_BYTES = 49;      // longest keyword
constexpr int32_t METADATA_BUFFER_BYTES = 1000;     // the least a buffer gets
constexpr int32_t JPEG_MARKER_DATA_LIMIT = 65533;   // largest marker payload

struct MetadataBlock {
  int64_t size;     // bytes written so far
  uint8_t* buffer;  // made on first real use; null until then
  uint8_t* cursor;  // next byte to write
  int32_t keywordCount;
  char keywords[METADATA_KEYWORD_LIMIT][METADATA_KEYWORD_BYTES + 1];
};

void initMetadata(MetadataBlock* block);
void freeMetadata(MetadataBlock* block);

// Appends a keyword, unless the text is null or empty, longer than 49 bytes,
// the list is full, or an entry already starts with the text (case ignored).
// True when it was added.
bool addKeyword(MetadataBlock* block, const char* text);

// With sizeOnly: the block's size, nothing written. Otherwise the buffer is
// made and filled and its size returned; a block that has a buffer already
// stays as it is and the result is 0. withPrefix puts the JPEG form's lead-in
// in front ("Exif" 0 0; "Photoshop 3.0" 0).
int64_t makeExifBlock(MetadataBlock* block, bool withPrefix, bool sizeOnly);
int64_t makeIptcBlock(MetadataBlock* block, bool withPrefix, bool sizeOnly);

// Today's date in UTC as "YYYYMMDD", for the IPTC Date Created record.
void metadataDate(char out[9]);
