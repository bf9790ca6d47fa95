// The decodeJpeg entry's replay series (main is replay_driver.cpp): streams
// the encoder makes (colour, grey-looking, small, metadata-laden), damaged by
// byte flips and changes, cuts, splices and marker-length damage.
#include <cstring>

#include "jpeg/jpeg_codec.h"
#include "jpeg/metadata.h"
#include "image/pixel_map.h"
#include "replay_driver.h"

namespace {

FuzzBytes encodedSeed(int32_t width, int32_t height, int16_t quality, bool withMetadata) {
  PixelMap raster;
  pixelMapReset(&raster, nullptr, nullptr);
  if (!pixelMapCreate(&raster, width, height, PIXEL_RGBA8, 0)) return {};
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) setBytes4(x, y, &raster, 0, x * 9, y * 5, (x ^ y) * 3, 255);
  MetadataBlock iptc, exif;
  initMetadata(&iptc);
  initMetadata(&exif);
  if (withMetadata) {
    addKeyword(&iptc, "seed");
    makeIptcBlock(&iptc, true, false);
    makeExifBlock(&exif, true, false);
  }
  FuzzBytes out(static_cast<size_t>(width + 16) * (height + 16) * 6 + 8192);
  EncodeRequest request;
  std::memset(&request, 0, sizeof request);
  request.raster = &raster;
  request.rect = Rect16{0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)};
  request.out = out.data();
  request.capacity = out.size();
  request.quality = quality;
  request.iptc = withMetadata ? &iptc : nullptr;
  request.exif = withMetadata ? &exif : nullptr;
  size_t length = 0;
  encodeJpeg(&request, &length);
  out.resize(length);
  freeMetadata(&iptc);
  freeMetadata(&exif);
  pixelMapFree(&raster);
  return out;
}

// The first marker segment at or after `at` gets a random length field, so
// the decoder meets segments that claim more or less than the stream holds.
void damageMarkerLength(FuzzBytes* data, size_t at, uint32_t* state) {
  FuzzBytes& d = *data;
  for (size_t i = at; i + 3 < d.size(); ++i)
    if (d[i] == 0xFF && d[i + 1] != 0 && d[i + 1] != 0xFF) {
      d[i + 2] = static_cast<uint8_t>(nextReplayRandom(state));
      d[i + 3] = static_cast<uint8_t>(nextReplayRandom(state));
      return;
    }
}

}  // namespace

bool makeReplayPlan(ReplayPlan* plan) {
  plan->inputNoun = "streams";
  plan->seeds = {encodedSeed(128, 128, 80, false), encodedSeed(10, 5, 80, true), encodedSeed(40, 24, 20, false),
                 encodedSeed(16, 16, 99, true)};
  plan->mutations = {MUTATE_FLIP_BIT, MUTATE_SET_BYTE, MUTATE_CUT, MUTATE_SPLICE, MUTATE_OWN};
  plan->ownMutation = damageMarkerLength;
  plan->randomStart = 20240611u;
  plan->mutantsPerSeed = 600;
  plan->maxEdits = 4;
  return true;
}
