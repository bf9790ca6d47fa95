#include "dialog/dialog_tables.h"

namespace {

constexpr ControlRow CONTROL_ROWS[CONTROL_ROW_COUNT] = {
    {30, kindLabel, -1, -1, 3, {11, 17, 109, 32}},
    {33, kindPopup, -1, -1, -1, {118, 13, 253, 29}},
    {16, kindLabel, -1, -1, 4, {11, 45, 109, 60}},
    {17, kindSlider, 28, BITMAP_SLIDER_TRACK, -1, {117, 45, 252, 57}},
    {28, kindReadout, 17, -1, -1, {257, 43, 287, 59}},
    {18, kindLabel, -1, -1, 5, {11, 71, 109, 86}},
    {19, kindSlider, 27, BITMAP_SLIDER_TRACK, -1, {117, 71, 252, 83}},
    {27, kindReadout, 19, -1, -1, {257, 69, 287, 85}},
    {20, kindLabel, -1, -1, 6, {10, 100, 108, 115}},
    {34, kindPopup, -1, -1, -1, {117, 96, 252, 112}},
    {21, kindLabel, -1, -1, 7, {10, 133, 108, 148}},
    {35, kindPopup, -1, -1, -1, {117, 130, 252, 146}},
    {7, kindLabel, -1, -1, 8, {12, 164, 110, 175}},
    {6, kindCheckbox, -1, -1, -1, {116, 164, 130, 179}},
    {40, kindLabel, -1, -1, 13, {165, 164, 230, 176}},
    {41, kindCheckbox, -1, -1, -1, {237, 163, 251, 177}},
    {22, kindLabel, -1, -1, 10, {11, 197, 109, 212}},
    {36, kindPopup, -1, -1, -1, {117, 193, 252, 209}},
    {38, kindLabel, -1, -1, 11, {12, 241, 110, 256}},
    {29, kindDial, -1, BITMAP_DIAL, -1, {116, 221, 170, 275}},
    {23, kindLabel, -1, -1, 12, {10, 294, 108, 307}},
    {31, kindCheckbox, -1, -1, -1, {117, 291, 131, 305}},
    {32, kindLabel, -1, -1, 9, {79, 325, 109, 341}},
    {37, kindPopup, -1, -1, -1, {117, 321, 252, 337}},
    {42, kindIconButton, -1, 231, -1, {264, 324, 279, 338}},
    {15, kindIconButton, -1, 240, -1, {116, 399, 176, 428}},
    {9, kindIconButton, -1, 241, -1, {116, 450, 176, 479}},
    {24, kindIconButton, -1, 237, -1, {219, 399, 279, 428}},
    {25, kindIconButton, -1, 242, -1, {220, 450, 280, 479}},
    {115, kindIconButton, -1, 225, -1, {116, 504, 176, 533}},
    {117, kindIconButton, -1, 232, -1, {220, 504, 280, 533}},
    {8, kindLogo, -1, BITMAP_LOGO, -1, {16, 504, 48, 536}},
    {5, kindNone, -1, -1, -1, {326, 2, 848, 383}},
    {13, kindIconButton, -1, 169, -1, {622, 395, 636, 409}},
    {14, kindNone, -1, -1, -1, {642, 394, 682, 410}},
    {12, kindIconButton, -1, 5, -1, {687, 395, 701, 409}},
    {150, kindIconButton, -1, 236, -1, {834, 395, 848, 409}},
    {39, kindIconButton, -1, 235, -1, {481, 398, 503, 420}},
    {26, kindLabel, -1, -1, -1, {477, 443, 849, 461}},
    {119, kindDotThumbnail, -1, BITMAP_THUMBNAIL_FRAME, -1, {335, 398, 431, 494}},
    {2, kindDialogButton, -1, -1, -1, {481, 504, 541, 533}},
    {3, kindDialogButton, -1, -1, -1, {791, 504, 849, 533}},
};

static_assert(CONTROL_ROWS[CONTROL_ROW_COUNT - 1].id != 0, "every row of the table is filled");

// The arc of dots beside the preview, slot 0 at the top left.
constexpr DotPlace DOT_PLACES[DOT_PLACE_COUNT] = {
    {121, 318, 387}, {122, 322, 399}, {123, 322, 411}, {124, 318, 424}, {125, 314, 437},
    {126, 310, 450}, {127, 310, 463}, {128, 314, 475}, {129, 321, 486}, {130, 329, 496},
    {131, 340, 504}, {132, 352, 513}, {133, 365, 519}, {134, 380, 523}, {135, 395, 523},
    {136, 409, 519}, {137, 422, 513}, {138, 434, 504}, {139, 443, 492}, {140, 449, 479},
    {141, 453, 464}, {142, 453, 449}, {143, 449, 435}, {144, 443, 422}, {145, 434, 410},
};

constexpr int32_t DOT_FACES[LOOK_COUNT][2] = {{203, 210}, {213, 214}, {215, 216}, {202, 211}, {208, 212}};

}  // namespace

const ControlRow* controlRows() { return CONTROL_ROWS; }
int32_t controlRowCount() { return CONTROL_ROW_COUNT; }

const ControlRow* controlRowOf(int32_t id) {
  for (const ControlRow& row : CONTROL_ROWS)
    if (row.id == id) return &row;
  return nullptr;
}
WindowRect placedRect(const ControlRow& row) {
  WindowRect r = row.rect;
  if (row.kind == kindDialogButton || row.kind == kindIconButton) {
    r.left -= 2;
    r.top -= 2;
  }
  if (row.id == 14) r.top -= 2;
  return r;
}

const DotPlace* dotPlaces() { return DOT_PLACES; }

int32_t dotFaceOfLook(DotLook look, bool pressed) {
  const int32_t row = (look >= 0 && look < LOOK_COUNT) ? look : LOOK_EMPTY;
  return DOT_FACES[row][pressed ? 1 : 0];
}
