// JPEG streams into open files: the thumbnail block of settings files and
// the whole files of the HTML pages.
#include <cstring>

#include "session/session.h"
#include "jpeg/jpeg_codec.h"
#include "jpeg/metadata.h"
#include "host/host_services.h"
#include "pi/plugin_interface.h"
#include "platform/memory.h"
#include "files/file_io.h"

namespace {

int32_t atLeastMinimum(int32_t side) { return side > JPEG_MIN_SIDE ? side : JPEG_MIN_SIDE; }

int64_t metadataBytes(const MetadataBlock* block) {
  return block != nullptr && block->buffer != nullptr && block->size > 0 ? block->size : 0;
}

}  // namespace

int16_t writeJpegBlock(const PixelMap* raster, FileHandle file, bool withHeader, int16_t quality, int32_t iccSize,
                       const uint8_t* iccData, MetadataBlock* iptc, MetadataBlock* exif) {
  if (raster == nullptr) return JPEG_NO_RASTER;
  if (raster->pixels == nullptr) return JPEG_NO_PIXELS;
  if (raster->bufferProcs == nullptr) return JPEG_NO_BUFFER_PROCS;

  if (iptc != nullptr) makeIptcBlock(iptc, true, false);
  if (exif != nullptr) makeExifBlock(exif, true, false);

  const int32_t width = atLeastMinimum(raster->baseWidth);
  const int32_t height = atLeastMinimum(raster->baseHeight);
  // Six bytes a pixel keep a full destination far away for the image itself;
  // the metadata and the profile, when given, come on top of that.
  int64_t capacity = static_cast<int64_t>(width) * height * JPEG_BYTES_PER_PIXEL;
  capacity += metadataBytes(iptc) + metadataBytes(exif);
  if (iccSize > 0 && iccData != nullptr) capacity += iccSize + (iccSize / 65519 + 1) * 18;
  uint8_t* work = static_cast<uint8_t*>(platformAllocate(static_cast<size_t>(capacity)));
  if (work == nullptr) {
    if (withHeader) writeU32(0, file);
    return FILE_OK;
  }

  EncodeRequest request;
  std::memset(&request, 0, sizeof request);
  request.raster = raster;
  pixelMapRect(raster, 0, &request.rect);
  request.out = work;
  request.capacity = static_cast<size_t>(capacity);
  request.quality = quality;
  request.iccSize = iccSize;
  request.iccData = iccData;
  request.iptc = iptc;
  request.exif = exif;
  size_t length = 0;
  int16_t encoded = encodeJpeg(&request, &length);
  if (encoded != JPEG_OK || length == 0) {
    // No stream: a settings file then reads as one without a thumbnail.
    if (withHeader) writeU32(0, file);
    platformFree(work);
    return encoded != JPEG_OK ? encoded : JPEG_LIBRARY_FAILED;
  }

  if (withHeader) {
    writeU32(1, file);
    writeU32(static_cast<uint32_t>(width), file);
    writeU32(static_cast<uint32_t>(height), file);
    writeU32(static_cast<uint32_t>(length), file);
  }
  int32_t count = static_cast<int32_t>(length);
  int16_t code = writeBytes(file, &count, work);
  platformFree(work);
  return code;
}

const uint8_t* lockHostProfile(const FilterSession* session, int32_t* size) {
  *size = 0;
  const FilterRecord* record = session != nullptr ? session->filterRecord : nullptr;
  if (record == nullptr || record->canUseICCProfiles == 0 || record->iCCprofileSize <= 0 ||
      record->iCCprofileData == nullptr || !handleProcsUsable(record->handleProcs))
    return nullptr;
  auto* data = static_cast<const uint8_t*>(lockHandle(record->handleProcs, record->iCCprofileData, false));
  if (data != nullptr) *size = record->iCCprofileSize;
  return data;
}

void unlockHostProfile(const FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  unlockHandle(record->handleProcs, record->iCCprofileData);
}

int16_t writeJpegFile(const PixelMap* raster, FileHandle file, bool closeIt) {
  const FilterSession* session = raster != nullptr ? raster->session : nullptr;
  int32_t iccSize = 0;
  const uint8_t* iccData = lockHostProfile(session, &iccSize);

  MetadataBlock exif;
  MetadataBlock iptc;
  initMetadata(&exif);
  initMetadata(&iptc);
  int16_t code = writeJpegBlock(raster, file, false, JPEG_FILE_QUALITY, iccSize, iccData, &iptc, &exif);
  freeMetadata(&exif);
  freeMetadata(&iptc);
  if (iccData != nullptr) unlockHostProfile(session);

  if (closeIt) {
    truncateFile(file);
    closeFile(file);
  }
  return code;
}
