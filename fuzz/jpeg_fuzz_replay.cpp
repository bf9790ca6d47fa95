// Runs the decodeJpeg fuzz entry without libFuzzer, so that every build can
// exercise it under ctest:
//   jpeg_fuzz_replay FILE...   replays saved inputs (a crash's reproducer)
//   jpeg_fuzz_replay           a fixed series of mutated streams
// The series starts from streams the encoder makes (colour, grey-looking,
// small, metadata-laden) and mutates them deterministically: byte flips,
// cuts, splices and marker-length damage.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "export/jpeg/jpeg_codec.h"
#include "export/jpeg/metadata.h"
#include "image/pixel_map.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

Bytes makeSeed(int32_t width, int32_t height, int16_t quality, bool withMetadata) {
  PixelMap raster;
  pixelMapInit(&raster, nullptr, nullptr);
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
  Bytes out(static_cast<size_t>(width + 16) * (height + 16) * 6 + 8192);
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

Bytes mutate(const Bytes& seed, uint32_t* state) {
  Bytes data = seed;
  if (data.empty()) return data;
  int edits = 1 + static_cast<int>(nextRandom(state) % 4);
  for (int e = 0; e < edits && !data.empty(); ++e) {
    size_t at = nextRandom(state) % data.size();
    switch (nextRandom(state) % 5) {
      case 0: data[at] ^= static_cast<uint8_t>(1u << (nextRandom(state) % 8)); break;
      case 1: data[at] = static_cast<uint8_t>(nextRandom(state)); break;
      case 2: data.resize(at); break;
      case 3: {  // splice a piece of the stream over another place
        size_t from = nextRandom(state) % data.size();
        size_t length = 1 + nextRandom(state) % 64;
        for (size_t i = 0; i < length && from + i < data.size() && at + i < data.size(); ++i)
          data[at + i] = data[from + i];
        break;
      }
      default:  // damage a marker's length field
        for (size_t i = at; i + 3 < data.size(); ++i)
          if (data[i] == 0xFF && data[i + 1] != 0 && data[i + 1] != 0xFF) {
            data[i + 2] = static_cast<uint8_t>(nextRandom(state));
            data[i + 3] = static_cast<uint8_t>(nextRandom(state));
            break;
          }
    }
  }
  return data;
}

}  // namespace

int main(int argc, char** argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;  // libFuzzer-style flags are ignored here
    std::ifstream in(argv[i], std::ios::binary);
    Bytes data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    ++replayed;
  }
  if (replayed > 0) {
    std::printf("replayed %d inputs\n", replayed);
    return 0;
  }

  std::vector<Bytes> seeds = {makeSeed(128, 128, 80, false), makeSeed(10, 5, 80, true), makeSeed(40, 24, 20, false),
                              makeSeed(16, 16, 99, true)};
  uint32_t state = 20240611u;
  int runs = 0;
  for (const Bytes& seed : seeds) {
    if (seed.empty()) {
      std::fprintf(stderr, "could not make a seed stream\n");
      return 1;
    }
    LLVMFuzzerTestOneInput(seed.data(), seed.size());
    for (int i = 0; i < 600; ++i, ++runs) {
      Bytes data = mutate(seed, &state);
      LLVMFuzzerTestOneInput(data.data(), data.size());
    }
  }
  std::printf("ran %d mutated streams\n", runs);
  return 0;
}
