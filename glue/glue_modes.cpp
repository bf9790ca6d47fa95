// The whole-pixel and cross-channel glue modes, and the per-depth jump
// tables through which the pixel loop reaches every mode (the per-channel
// modes are in glue_channel_modes.h).
#include "glue/glue_modes.h"

#include "glue/colour_convert.h"
#include "glue/glue_channel_modes.h"
#include "glue/glue_scale.h"

namespace glue {
namespace {

template <ChannelMix F>
void byChannel(int32_t top[3], const int32_t base[3], const GlueTables&) {
  top[0] = F(top[0], base[0]);
  top[1] = F(top[1], base[1]);
  top[2] = F(top[2], base[2]);
}

// ---------------------------------------------------------------------------
// Modes that need more than one channel pair.

// Mode 2: the top shows in the mid-tones of the base, shadows and highlights
// of the base stay.
template <class D>
void proceduralPlus(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  for (int c = 0; c < 3; ++c) {
    int32_t t = top[c], b = base[c];
    if constexpr (D::EIGHT_BIT) {
      int32_t k = tables.tentTable[b & 255];
      top[c] = (k * t + (255 - k) * b) >> 8;
    } else {
      int32_t k = b < 16384 ? b / 2 : 16384 - b / 2;
      top[c] = (k * t + (16384 - k) * b) >> 14;
    }
  }
}

// Luma with weights summing to 255, low 8 bits cleared: the whole-pixel
// modes compare these.
inline int32_t coarseLuma(const int32_t c[3]) {
  return (c[1] * 150 + c[0] * 77 + c[2] * 28) & ~int32_t(255);
}

template <class D>
void bright(int32_t top[3], const int32_t base[3], const GlueTables&) {
  if (coarseLuma(top) < coarseLuma(base)) {
    top[0] = base[0];
    top[1] = base[1];
    top[2] = base[2];
  }
}
template <class D>
void dim(int32_t top[3], const int32_t base[3], const GlueTables&) {
  if (coarseLuma(top) > coarseLuma(base)) {
    top[0] = base[0];
    top[1] = base[1];
    top[2] = base[2];
  }
}

// Cross-fades from top to base per channel, driven by another channel: of
// the top (north: the next channel, south: the one after) or of the base
// (east, west). All three read the old top values.
template <class D, bool FROM_BASE, int STEP>
void crossFade(int32_t top[3], const int32_t base[3], const GlueTables&) {
  constexpr int32_t FULL = D::EIGHT_BIT ? 256 : 32768;
  constexpr int SHIFT = D::EIGHT_BIT ? 8 : 15;
  const int32_t t[3] = {top[0], top[1], top[2]};
  const int32_t* driver = FROM_BASE ? base : t;
  for (int c = 0; c < 3; ++c) {
    int32_t k = driver[(c + STEP) % 3];
    top[c] = ((FULL - k) * t[c] + k * base[c]) >> SHIFT;
  }
}


template <class D>
const GlueFunction GLUE_TABLE[GLUE_MODE_COUNT + 1] = {
#define ML_PIXEL_CHANNEL(...) &byChannel<&__VA_ARGS__>,
#define ML_PIXEL_WHOLE(...) &__VA_ARGS__,
    ML_GLUE_MODES(ML_PIXEL_CHANNEL, ML_PIXEL_WHOLE)
#undef ML_PIXEL_CHANNEL
#undef ML_PIXEL_WHOLE
};

// Row forms of the same modes: the mode is chosen once per row and runs
// inline along it. A per-channel mode is its flat loop over the row's
// samples (channelRow); the others call their pixel function directly,
// pixel after pixel.
template <GlueFunction F>
void pixelRow(int32_t* tops, const int32_t* bases, int32_t count, const GlueTables& tables) {
  for (int32_t i = 0; i < count; ++i) F(tops + 3 * i, bases + 3 * i, tables);
}

template <class D>
const GlueRowFunction GLUE_ROW_TABLE[GLUE_MODE_COUNT + 1] = {
#define ML_ROW_CHANNEL(...) &channelRow<&__VA_ARGS__>,
#define ML_ROW_WHOLE(...) &pixelRow<&__VA_ARGS__>,
    ML_GLUE_MODES(ML_ROW_CHANNEL, ML_ROW_WHOLE)
#undef ML_ROW_CHANNEL
#undef ML_ROW_WHOLE
};

}  // namespace
}  // namespace glue

void glueKeepTop(int32_t*, const int32_t*, const GlueTables&) {}

GlueFunction glueFunction(int mode, int depth) {
  if (mode < 2 || mode > GLUE_MODE_COUNT) return &glueKeepTop;
  return depth == 16 ? glue::GLUE_TABLE<glue::Scale16>[mode] : glue::GLUE_TABLE<glue::Scale8>[mode];
}

GlueRowFunction gluePixelRowFunction(int mode, int depth) {
  if (mode < 2 || mode > GLUE_MODE_COUNT) return nullptr;
  return depth == 16 ? glue::GLUE_ROW_TABLE<glue::Scale16>[mode] : glue::GLUE_ROW_TABLE<glue::Scale8>[mode];
}

void applyGlue(int mode, int32_t top[3], const int32_t base[3], int depth,
               const GlueTables& tables) {
  if (mode == GLUE_NORMAL) return;
  glueFunction(mode, depth)(top, base, tables);
}

void buildRunTables(GlueTables& tables) {
  for (int i = 0; i < 256; ++i) tables.tentTable[i] = i < 128 ? 2 * i : 511 - 2 * i;
  const LabTables& lab = labTables();
  tables.labForward = lab.forward;
  tables.labInverse = lab.inverse;
  tables.labAxis16 = labAxis16();
  for (GlueTopEntry& entry : tables.topCache) entry.key[0] = entry.packedKey = 0;
  for (GlueAngleEntry& entry : tables.angleCache) entry.key = 0;
}
