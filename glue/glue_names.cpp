// The names and script codes of the glue modes and the edge styles: one
// table each, read by the dialog's menus, scripting, exports and tests.
#include <cstring>

#include "glue/glue_modes.h"

const GlueModeInfo GLUE_MODES[GLUE_MODE_COUNT] = {
    {1, "normal", fourCharCode('G', 'L', '0', '1')},
    {2, "procedural +", fourCharCode('G', 'L', '0', '2')},
    {3, "procedural -", fourCharCode('G', 'L', '0', '3')},
    {4, "difference", fourCharCode('G', 'L', '0', '4')},
    {5, "lighten", fourCharCode('G', 'L', '0', '5')},
    {6, "darken", fourCharCode('G', 'L', '0', '6')},
    {7, "add", fourCharCode('G', 'L', '0', '7')},
    {8, "subtract", fourCharCode('G', 'L', '0', '8')},
    {9, "multiply", fourCharCode('G', 'L', '0', '9')},
    {10, "screen", fourCharCode('G', 'L', '1', '0')},
    {11, "hard light", fourCharCode('G', 'L', '1', '1')},
    {12, "overlay", fourCharCode('G', 'L', '1', '2')},
    {13, "superlay", fourCharCode('G', 'L', '1', '3')},
    {14, "exclusion", fourCharCode('G', 'L', '1', '4')},
    {15, "color", fourCharCode('G', 'L', '1', '5')},
    {16, "luminance", fourCharCode('G', 'L', '1', '6')},
    {17, "linear light", fourCharCode('G', 'L', '1', '7')},
    {18, "pin light", fourCharCode('G', 'L', '1', '8')},
    {19, "spin light", fourCharCode('G', 'L', '1', '9')},
    {20, "vivid a", fourCharCode('G', 'L', '2', '0')},
    {21, "vivid b", fourCharCode('G', 'L', '2', '1')},
    {22, "saturation", fourCharCode('G', 'L', '2', '2')},
    {23, "hue", fourCharCode('G', 'L', '2', '3')},
    {24, "similarity", fourCharCode('G', 'L', '2', '4')},
    {25, "cross", fourCharCode('G', 'L', '2', '5')},
    {26, "hard diff", fourCharCode('G', 'L', '2', '6')},
    {27, "soft light", fourCharCode('G', 'L', '2', '7')},
    {28, "bright", fourCharCode('G', 'L', '2', '8')},
    {29, "dim", fourCharCode('G', 'L', '2', '9')},
    {30, "dodge", fourCharCode('G', 'L', '3', '0')},
    {31, "burn", fourCharCode('G', 'L', '3', '1')},
    {32, "ace", fourCharCode('G', 'L', '3', '2')},
    {33, "king", fourCharCode('G', 'L', '3', '3')},
    {34, "queen", fourCharCode('G', 'L', '3', '4')},
    {35, "jack", fourCharCode('G', 'L', '3', '5')},
    {36, "and", fourCharCode('G', 'L', '3', '6')},
    {37, "or", fourCharCode('G', 'L', '3', '7')},
    {38, "xor", fourCharCode('G', 'L', '3', '8')},
    {39, "multibright", fourCharCode('G', 'L', '3', '9')},
    {40, "hot", fourCharCode('G', 'L', '4', '0')},
    {41, "cold", fourCharCode('G', 'L', '4', '1')},
    {42, "wet", fourCharCode('G', 'L', '4', '2')},
    {43, "dry", fourCharCode('G', 'L', '4', '3')},
    {44, "up", fourCharCode('G', 'L', '4', '4')},
    {45, "down", fourCharCode('G', 'L', '4', '5')},
    {46, "wax", fourCharCode('G', 'L', '4', '6')},
    {47, "wane", fourCharCode('G', 'L', '4', '7')},
    {48, "north", fourCharCode('G', 'L', '4', '8')},
    {49, "south", fourCharCode('G', 'L', '4', '9')},
    {50, "east", fourCharCode('G', 'L', '5', '0')},
    {51, "west", fourCharCode('G', 'L', '5', '1')},
    {52, "hard mix", fourCharCode('G', 'L', '5', '2')},
    {53, "frontal", fourCharCode('G', 'L', '5', '3')},
    {54, "parietal", fourCharCode('G', 'L', '5', '4')},
    {55, "temporal", fourCharCode('G', 'L', '5', '5')},
    {56, "occipital", fourCharCode('G', 'L', '5', '6')},
    {57, "limbic", fourCharCode('G', 'L', '5', '7')},
    {58, "dextrous", fourCharCode('G', 'L', '5', '8')},
    {59, "sinister", fourCharCode('G', 'L', '5', '9')},
    {60, "anterior", fourCharCode('G', 'L', '6', '0')},
    {61, "posterior", fourCharCode('G', 'L', '6', '1')},
    {62, "screendim", fourCharCode('G', 'L', '6', '2')},
};

const GlueTermInfo GLUE_TERMINOLOGY[GLUE_TERMINOLOGY_COUNT] = {
    {"normal", fourCharCode('G', 'L', '0', '1')},
    {"procedural +", fourCharCode('G', 'L', '0', '2')},
    {"procedural -", fourCharCode('G', 'L', '0', '3')},
    {"difference", fourCharCode('G', 'L', '0', '4')},
    {"lighten", fourCharCode('G', 'L', '0', '5')},
    {"darken", fourCharCode('G', 'L', '0', '6')},
    {"add", fourCharCode('G', 'L', '0', '7')},
    {"subtract", fourCharCode('G', 'L', '0', '8')},
    {"multiply", fourCharCode('G', 'L', '0', '9')},
    {"screen", fourCharCode('G', 'L', '1', '0')},
    {"hard light", fourCharCode('G', 'L', '1', '1')},
    {"overlay", fourCharCode('G', 'L', '1', '2')},
    {"superlay", fourCharCode('G', 'L', '1', '3')},
    {"exclusion", fourCharCode('G', 'L', '1', '4')},
    {"color", fourCharCode('G', 'L', '1', '5')},
    {"luminance", fourCharCode('G', 'L', '1', '6')},
    {"linear light", fourCharCode('G', 'L', '1', '7')},
    {"pin light", fourCharCode('G', 'L', '1', '8')},
    {"spin light", fourCharCode('G', 'L', '1', '9')},
    {"vivid a", fourCharCode('G', 'L', '2', '0')},
    {"vivid b", fourCharCode('G', 'L', '2', '1')},
    {"saturation", fourCharCode('G', 'L', '2', '2')},
    {"hue", fourCharCode('G', 'L', '2', '3')},
    {"similarity", fourCharCode('G', 'L', '2', '4')},
    {"cross", fourCharCode('G', 'L', '2', '5')},
    {"harsh diff", fourCharCode('G', 'L', '2', '6')},
    {"soft light", fourCharCode('G', 'L', '2', '7')},
    {"bright", fourCharCode('G', 'L', '2', '8')},
    {"dim", fourCharCode('G', 'L', '2', '9')},
    {"dodge", fourCharCode('G', 'L', '3', '0')},
    {"burn", fourCharCode('G', 'L', '3', '1')},
    {"ace", fourCharCode('G', 'L', '3', '2')},
    {"king", fourCharCode('G', 'L', '3', '3')},
    {"queen", fourCharCode('G', 'L', '3', '4')},
    {"jack", fourCharCode('G', 'L', '3', '5')},
    {"and", fourCharCode('G', 'L', '3', '6')},
    {"or", fourCharCode('G', 'L', '3', '7')},
    {"xor", fourCharCode('G', 'L', '3', '8')},
    {"multibright", fourCharCode('G', 'L', '3', '9')},
    {"hot", fourCharCode('G', 'L', '4', '0')},
    {"cold", fourCharCode('G', 'L', '4', '1')},
    {"wet", fourCharCode('G', 'L', '4', '2')},
    {"dry", fourCharCode('G', 'L', '4', '3')},
    {"up", fourCharCode('G', 'L', '4', '4')},
    {"down", fourCharCode('G', 'L', '4', '5')},
    {"wax", fourCharCode('G', 'L', '4', '6')},
    {"wane", fourCharCode('G', 'L', '4', '7')},
    {"north", fourCharCode('G', 'L', '4', '8')},
    {"south", fourCharCode('G', 'L', '4', '9')},
    {"east", fourCharCode('G', 'L', '5', '0')},
    {"west", fourCharCode('G', 'L', '5', '1')},
    {"hard mix", fourCharCode('G', 'L', '5', '2')},
    {"frontal", fourCharCode('G', 'L', '5', '3')},
    {"parietal", fourCharCode('G', 'L', '5', '4')},
    {"temporal", fourCharCode('G', 'L', '5', '5')},
    {"occipital", fourCharCode('G', 'L', '5', '6')},
    {"limbic", fourCharCode('G', 'L', '5', '7')},
    {"dextrous", fourCharCode('G', 'L', '5', '8')},
    {"sinister", fourCharCode('G', 'L', '5', '9')},
    {"screendim", fourCharCode('G', 'L', '6', '2')},
};

namespace {

const char* const EDGE_STYLE_NAMES[EDGE_STYLE_COUNT] = {
    "blurry", "thin/hard", "thin/soft", "chrome",      "scribble", "halo",   "tangled",
    "splotchy", "racetrack", "zero",   "antitangled", "checker",  "thorny",
};

}  // namespace

const char* glueModeName(int number) {
  return number >= 1 && number <= GLUE_MODE_COUNT ? GLUE_MODES[number - 1].name : "";
}

uint32_t glueModeCode(int number) {
  return number >= 1 && number <= GLUE_MODE_COUNT ? GLUE_MODES[number - 1].code : 0;
}

int glueModeFromCode(uint32_t code) {
  for (const GlueModeInfo& mode : GLUE_MODES)
    if (mode.code == code) return mode.number;
  return 0;
}

int glueModeFromName(const char* name) {
  if (name == nullptr) return 0;
  for (const GlueModeInfo& mode : GLUE_MODES)
    if (std::strcmp(mode.name, name) == 0) return mode.number;
  // Scripts may use the terminology's spelling ("harsh diff").
  for (const GlueTermInfo& term : GLUE_TERMINOLOGY)
    if (std::strcmp(term.name, name) == 0) return glueModeFromCode(term.code);
  return 0;
}

const char* edgeStyleName(int number) {
  return number >= 1 && number <= EDGE_STYLE_COUNT ? EDGE_STYLE_NAMES[number - 1] : "";
}
