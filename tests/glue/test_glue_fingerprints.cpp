// Pins the exact output of every glue mode at both depths: a 64-bit hash of
// the results over a fixed, dense set of (top, base) colour pairs. The
// values were taken from the straightforward per-pixel code; any faster path
// (tables, caches, reordered control flow) must reproduce them bit for bit.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <vector>

#include "glue/glue_modes.h"

namespace {

struct Rgb {
  int32_t c[3];
};

// Every triple of a few telling levels (black, white, the half, one either
// side), the greys along the scale, and pseudo-random colours.
std::vector<Rgb> colours(int depth) {
  const int32_t M = depth == 16 ? 32768 : 255;
  const std::vector<int32_t> levels =
      depth == 16 ? std::vector<int32_t>{0, 1, 2184, 16383, 16384, 16385, 32767, 32768}
                  : std::vector<int32_t>{0, 1, 17, 127, 128, 129, 254, 255};
  std::vector<Rgb> out;
  for (int32_t r : levels)
    for (int32_t g : levels)
      for (int32_t b : levels) out.push_back({{r, g, b}});
  for (int32_t v = 0; v <= M; v += M / 40) out.push_back({{v, v, v}});
  uint32_t state = depth;
  auto next = [&] {
    state = state * 1664525u + 1013904223u;
    return int32_t((state >> 8) % uint32_t(M + 1));
  };
  for (int i = 0; i < 160; ++i) {
    int32_t r = next(), g = next(), b = next();
    out.push_back({{r, g, b}});
  }
  return out;
}

uint64_t fingerprint(int mode, int depth, const GlueTables& tables) {
  const std::vector<Rgb> set = colours(depth);
  const GlueFunction fn = glueFunction(mode, depth);
  uint64_t hash = 14695981039346656037ull;  // FNV-1a
  for (const Rgb& top : set) {
    for (const Rgb& base : set) {
      Rgb out = top;
      fn(out.c, base.c, tables);
      for (int32_t v : out.c) {
        for (int byte = 0; byte < 4; ++byte) {
          hash ^= (uint32_t(v) >> (8 * byte)) & 255u;
          hash *= 1099511628211ull;
        }
      }
    }
  }
  return hash;
}

// Index by mode number - 1; first the 8-bit, then the 16-bit fingerprints.
const uint64_t EXPECTED[2][GLUE_MODE_COUNT] = {
    {
        0xa4776cea16b3d3a7ull, 0x28863bfb063437e4ull, 0xfe6dc8ebd2b0341aull,
        0xf9cd2cc57f442a63ull, 0xc9f9a7da4717bd27ull, 0x5b3ad08f686c0107ull,
        0xf468ef74c275a15eull, 0xc3148b22bf279081ull, 0xdb5550a01db4daedull,
        0xce802001bc6187abull, 0x157baa79ff1c10d0ull, 0x1b704376de865970ull,
        0x09504df9ed32f556ull, 0xa415564f2553a3cdull, 0x51071651b6d8630bull,
        0xe09e595c698efb6bull, 0xa920a5fb9a6a7c95ull, 0x20a287f291bcc4cbull,
        0x166839cbbce7d74bull, 0x95f47f3d8a3a391cull, 0x1004f87357d64ad3ull,
        0xab4a5360695e041aull, 0x1621e3310091fec1ull, 0x59276248f2a1916full,
        0x3c939d75b00d330aull, 0xeaa4e01abddf15f5ull, 0x6b34c6d4a4a6f891ull,
        0x210606ad5eb6c5f7ull, 0xd418f3d79922ead7ull, 0x5169c9a94aa270f6ull,
        0xe94c20a8a778607eull, 0x0b36e1cfb0b1c04eull, 0x287de0afa30d0763ull,
        0xf545cc4f78ae47bbull, 0x6ba23f2e0e02a510ull, 0x1de2bc83eace15a7ull,
        0x25f9ae1924ef6f27ull, 0x4b766eeb614a65f5ull, 0xc23386c374518443ull,
        0x3e55fb514d7fd032ull, 0xd4c28519fea2b112ull, 0xf73c40b503c951d4ull,
        0xceb7724c67ffbe8full, 0x913b5ec19f624ef1ull, 0x629915ef91f8caf1ull,
        0x05aa715ec0d9e6a6ull, 0x9d75bc924c94ce2aull, 0xcf516346d00e362aull,
        0xfc7edc3f4fab9225ull, 0x7715bfbfe69956a3ull, 0x37890d234b47820dull,
        0x6716bad6304a1deaull, 0xc61f097537c3ed4cull, 0x1581102b58827758ull,
        0xc0012ebb6cf54e9dull, 0xea821369f7a7e05bull, 0xc24eea126401ac7bull,
        0x47bdc9cfd1f5c1b3ull, 0x4421467684906c64ull, 0x7ef3164232355b13ull,
        0xd888db63a259ef73ull, 0x7af0e4c310655a62ull,
    },
    {
        0x0d6a0a677ef401dbull, 0xad01a77c7a1d67bcull, 0xc99914f61e0ac45cull,
        0x152dfe85c0a85228ull, 0x3346b919e26c9903ull, 0x87698941fe86338bull,
        0x95487e7c3567d3b1ull, 0x20f6034167eeff1full, 0xb6bb61f746c7cd23ull,
        0x8cf8682145559f36ull, 0x7bf31cf0be16ee3eull, 0x23f18ff7cf2aea0aull,
        0x02135243a6a71661ull, 0x152dfe85c0a85228ull, 0x67db3349c6645233ull,
        0x6e9dceba2d85705bull, 0xbf88e01978179174ull, 0x6421c25ac4dea4cfull,
        0xe51106fe696e9317ull, 0xe1113733aebeb6d3ull, 0xf6393642ba5e0228ull,
        0x57669ecc39103fadull, 0xef65b801c0bfed25ull, 0x5bc0ef2b3383b3bfull,
        0x2a16d94f9deda6d1ull, 0x781225c274c16895ull, 0x25c434ef301da9bdull,
        0xd53a03dfc10dabc8ull, 0x05ad4a67a397ab40ull, 0x83ec2ddb67f6bcb6ull,
        0xe098ec61cb8556a2ull, 0x141d50e71e33dcb9ull, 0xf319d23ac292864full,
        0xaffbcc7106bbb7cfull, 0xbe3697a33669c539ull, 0x12b83a052cf8f177ull,
        0xc99b6ff414538f83ull, 0x35f6195d1a321265ull, 0x727f6db4709fab65ull,
        0x1e2b286a9d3b2807ull, 0xc966a4fe5b44fcc7ull, 0x61dce4110e98ed99ull,
        0x18ae74b72bf59b14ull, 0x71b614dd86f23e5dull, 0xd3af1d7a776699a9ull,
        0x5826094154046d49ull, 0xa52d15fac2ef3067ull, 0x9b357b089bedeb27ull,
        0x4e9ed58425a75c64ull, 0xa00d301823e942e6ull, 0xaf8a6346154db792ull,
        0x817e7b95247d0215ull, 0x2216f8350861dabaull, 0xa7e901c171850f85ull,
        0x066e730625bc5614ull, 0x7fec6de77a63a9acull, 0x0f516cb2a043fffcull,
        0xccd339b8aac9b1e2ull, 0xb25c3e61a5c5c569ull, 0xf6656dfe019e6dbbull,
        0x1b430b1e77970ba3ull, 0x8717fc3309437565ull,
    },
};

TEST(GlueFingerprints, EveryModeAtBothDepthsGivesThePinnedBits) {
  GlueTables tables;
  buildRunTables(tables);
  for (int d = 0; d < 2; ++d) {
    const int depth = d == 0 ? 8 : 16;
    for (int mode = 1; mode <= GLUE_MODE_COUNT; ++mode) {
      uint64_t got = fingerprint(mode, depth, tables);
      char text[32];
      std::snprintf(text, sizeof text, "0x%016" PRIx64 "ull", got);
      EXPECT_EQ(got, EXPECTED[d][mode - 1])
          << glueModeName(mode) << " (" << mode << ") at " << depth << " bits gives " << text;
    }
  }
}

// The run tables keep what a mode worked out from a top colour. Modes and
// depths that take turns on one set of tables, with colours that repeat and
// collide in the cache, must each still get what they get on fresh tables.
TEST(GlueFingerprints, SharedRunTablesGiveWhatFreshOnesGive) {
  GlueTables shared;
  buildRunTables(shared);
  const int modes[] = {GLUE_COLOR,    GLUE_LUMINANCE, GLUE_SATURATION, GLUE_HUE,
                       GLUE_WAX,      GLUE_WANE,      GLUE_FRONTAL,    GLUE_PARIETAL,
                       GLUE_TEMPORAL, GLUE_OCCIPITAL, GLUE_LIMBIC,     GLUE_SINISTER,
                       GLUE_ANTERIOR, GLUE_POSTERIOR};
  const std::vector<Rgb> eight = colours(8), sixteen = colours(16);
  uint32_t state = 7;
  int failures = 0;
  for (int step = 0; step < 20000 && failures < 5; ++step) {
    state = state * 1664525u + 1013904223u;
    const int mode = modes[(state >> 8) % 14];
    const int depth = (state >> 20) & 1 ? 16 : 8;
    const std::vector<Rgb>& set = depth == 16 ? sixteen : eight;
    // A few top colours, so they come back often; any base.
    const Rgb top = set[(state >> 4) % 12 * 37 % set.size()];
    state = state * 1664525u + 1013904223u;
    const Rgb base = set[(state >> 8) % set.size()];
    GlueTables fresh;
    buildRunTables(fresh);
    Rgb viaShared = top, viaFresh = top;
    applyGlue(mode, viaShared.c, base.c, depth, shared);
    applyGlue(mode, viaFresh.c, base.c, depth, fresh);
    for (int k = 0; k < 3; ++k) {
      if (viaShared.c[k] != viaFresh.c[k]) {
        ++failures;
        ADD_FAILURE() << glueModeName(mode) << " at " << depth << " bits, step " << step;
        break;
      }
    }
  }
}

}  // namespace
