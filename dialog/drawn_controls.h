// The controls the dialog draws itself (sliders, dial, labels, the settings
// name) and the value rules of every control, by id.
#pragma once

#include <cstdint>

#include "dialog/dialog_state.h"

void setControlValue(DialogState& d, int32_t id, float value);
// A slider pair reads its number box: parsed, clamped (the box is rewritten
// when clamping changed it) and returned whole or not.
double getControlValue(DialogState& d, int32_t id);
// The number in a box's text as far as it reads as one; 0 when none.
double parseNumberText(const char* text);

void drawControl(DialogState& d, WindowCanvas* canvas, int32_t id);
// Draws one control at once, outside a paint event.
void repaintControl(DialogState& d, int32_t id);
// The skin under a rectangle, then right, centred or left text in it.
enum TextAlign : int32_t { ALIGN_LEFT, ALIGN_CENTRE, ALIGN_RIGHT };
void drawAlignedText(WindowCanvas* canvas, WindowRect rect, TextAlign align, const char* text, int32_t offset,
                     uint32_t colour);
void restoreSkin(WindowCanvas* canvas, const WindowRect& rect);

// The id that takes the mouse at the point, -1 when none.
int32_t hitTest(DialogState& d, int32_t x, int32_t y);
void setCursorByState(DialogState& d, WindowCursor cursor);

// One mouse move of a drag; each stops when the point has not moved.
void dragSlider(DialogState& d, int32_t id, int32_t x, int32_t y);
void dragDial(DialogState& d, int32_t id, int32_t x, int32_t y);
// The angle the dial points to for a point relative to its rectangle.
int32_t dialAngleAt(const WindowRect& rect, int32_t x, int32_t y);
// A number box was typed into: the thumb follows at once, the timer arms.
void numberBoxChanged(DialogState& d, int32_t readoutId);
