// Glue: the last step of the pixel loop, which lays the edge picture (the
// "top" colour from the ramp) into the unfiltered image (the "base" colour).
//
// One table owns the names and script codes of the 62 modes; the dialog,
// scripting, exports and tests all read it. The per-pixel work goes through a
// jump table of plain function pointers, one table per image depth, so the
// pixel loop picks its function once per run and calls it for every pixel.
//
// Samples are signed 32-bit integers on the image's scale: 0..255 at 8 bits,
// 0..32768 at 16 bits.
#pragma once

#include <cstdint>

enum GlueMode : int {
  GLUE_NORMAL = 1,
  GLUE_PROCEDURAL_PLUS,
  GLUE_PROCEDURAL_MINUS,
  GLUE_DIFFERENCE,
  GLUE_LIGHTEN,
  GLUE_DARKEN,
  GLUE_ADD,
  GLUE_SUBTRACT,
  GLUE_MULTIPLY,
  GLUE_SCREEN,
  GLUE_HARD_LIGHT,
  GLUE_OVERLAY,
  GLUE_SUPERLAY,
  GLUE_EXCLUSION,
  GLUE_COLOR,
  GLUE_LUMINANCE,
  GLUE_LINEAR_LIGHT,
  GLUE_PIN_LIGHT,
  GLUE_SPIN_LIGHT,
  GLUE_VIVID_A,
  GLUE_VIVID_B,
  GLUE_SATURATION,
  GLUE_HUE,
  GLUE_SIMILARITY,
  GLUE_CROSS,
  GLUE_HARD_DIFF,
  GLUE_SOFT_LIGHT,
  GLUE_BRIGHT,
  GLUE_DIM,
  GLUE_DODGE,
  GLUE_BURN,
  GLUE_ACE,
  GLUE_KING,
  GLUE_QUEEN,
  GLUE_JACK,
  GLUE_AND,
  GLUE_OR,
  GLUE_XOR,
  GLUE_MULTIBRIGHT,
  GLUE_HOT,
  GLUE_COLD,
  GLUE_WET,
  GLUE_DRY,
  GLUE_UP,
  GLUE_DOWN,
  GLUE_WAX,
  GLUE_WANE,
  GLUE_NORTH,
  GLUE_SOUTH,
  GLUE_EAST,
  GLUE_WEST,
  GLUE_HARD_MIX,
  GLUE_FRONTAL,
  GLUE_PARIETAL,
  GLUE_TEMPORAL,
  GLUE_OCCIPITAL,
  GLUE_LIMBIC,
  GLUE_DEXTROUS,
  GLUE_SINISTER,
  GLUE_ANTERIOR,
  GLUE_POSTERIOR,
  GLUE_SCREENDIM,
};

constexpr int GLUE_MODE_COUNT = 62;
constexpr int EDGE_STYLE_COUNT = 13;

// Four-character code with the first character in the top byte.
constexpr uint32_t fourCharCode(char a, char b, char c, char d) {
  return (uint32_t(uint8_t(a)) << 24) | (uint32_t(uint8_t(b)) << 16) |
         (uint32_t(uint8_t(c)) << 8) | uint32_t(uint8_t(d));
}

struct GlueModeInfo {
  int number;        // 1..62
  const char* name;  // as the menus show it
  uint32_t code;     // 'GL01'..'GL62'
};

// All 62 modes, indexed by number - 1.
extern const GlueModeInfo GLUE_MODES[GLUE_MODE_COUNT];

// The scripting terminology's list of the value type 'GLty': 60 items in
// menu order. It leaves out modes 60 and 61 and names mode 26 "harsh diff";
// the codes still map all 62 numbers both ways.
struct GlueTermInfo {
  const char* name;
  uint32_t code;
};
constexpr int GLUE_TERMINOLOGY_COUNT = 60;
extern const GlueTermInfo GLUE_TERMINOLOGY[GLUE_TERMINOLOGY_COUNT];

const char* glueModeName(int number);   // "" outside 1..62
uint32_t glueModeCode(int number);      // 0 outside 1..62
int glueModeFromCode(uint32_t code);    // 0 when the code names no mode
// Menu name or terminology name ("harsh diff" too); 0 when unknown.
int glueModeFromName(const char* name);

const char* edgeStyleName(int number);  // "" outside 1..13

struct LabAxisPoint;

// What a colour-space mode worked out from one top colour alone (its HSL,
// its Lab values, ...), kept for later pixels with the same top colour: the
// top colours come from a ramp of a few hundred entries, so they repeat
// throughout a run. key[0] says which mode's working (0: empty), key[1..3]
// is the top colour.
struct GlueTopEntry {
  int32_t key[4];
  float value[6];
  int32_t packedKey;  // the key in one word for the wide row forms (0: empty)
};
constexpr int GLUE_TOP_CACHE_BITS = 9;
constexpr int GLUE_TOP_CACHE_SIZE = 1 << GLUE_TOP_CACHE_BITS;

// The cosine and sine of one single-precision angle, kept for later pixels
// with the same angle: "frontal" turns every base colour's hue into a point
// on a disc, and a picture holds far fewer hues than pixels. key is the
// angle's bit pattern plus one (0: empty; the angles are never negative, so
// the sum cannot wrap).
struct GlueAngleEntry {
  uint32_t key;
  float cosine, sine;
};
constexpr int GLUE_ANGLE_CACHE_BITS = 12;
constexpr int GLUE_ANGLE_CACHE_SIZE = 1 << GLUE_ANGLE_CACHE_BITS;

// Tables built once per run and read by the modes.
struct GlueTables {
  int32_t tentTable[256];          // 2i below 128, 511 - 2i from 128 on
  const uint8_t* labForward;       // 16x16x16 nodes of 3 bytes: RGB -> Lab
  const uint8_t* labInverse;       // 16x16x16 nodes of 3 bytes: Lab -> RGB
  const LabAxisPoint* labAxis16;   // node and fraction of every 16-bit value
  // Filled by the modes as the run goes, emptied by buildRunTables. An
  // entry holds exactly what the conversion gives, so a hit changes no
  // result; but the modes write here, so one GlueTables must not be shared
  // by threads that glue at the same time. All zero bytes is a valid,
  // empty cache.
  mutable GlueTopEntry topCache[GLUE_TOP_CACHE_SIZE];
  // Same rules as topCache.
  mutable GlueAngleEntry angleCache[GLUE_ANGLE_CACHE_SIZE];
};

// Fills tentTable, points at the Lab tables (computed on first use) and
// empties the top-colour and angle caches.
void buildRunTables(GlueTables& tables);

// One pixel: combines top with base in place. Never fails. Mode 1 and any
// number outside 2..62 leave top as it is. depth is 8 or 16 (anything but
// 16 counts as 8).
void applyGlue(int mode, int32_t top[3], const int32_t base[3], int depth,
               const GlueTables& tables);

// Fast path for the pixel loop: look the function up once per run.
using GlueFunction = void (*)(int32_t top[3], const int32_t base[3],
                              const GlueTables& tables);
// Never null; mode 1 and unknown modes give glueKeepTop.
GlueFunction glueFunction(int mode, int depth);

// A whole row at once: `count` pixels, three values each, tops replaced in
// place. Each pixel's result is exactly what glueFunction gives. The modes
// that gain from it convert several pixels side by side; the others run
// their own pixel code along the row. Null for mode 1 and any number
// outside 2..62.
using GlueRowFunction = void (*)(int32_t* tops, const int32_t* bases, int32_t count, const GlueTables& tables);
GlueRowFunction glueRowFunction(int mode, int depth);
// The second kind alone, for every mode 2..62: the pixel code along the row.
GlueRowFunction gluePixelRowFunction(int mode, int depth);
// The function that leaves the top colour alone ("normal").
void glueKeepTop(int32_t top[3], const int32_t base[3], const GlueTables& tables);
