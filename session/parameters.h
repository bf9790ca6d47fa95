// EdgeParameters: the record in the host's parameters handle. It says how the
// filter looks (twelve stored parameters), how the present call works (the
// view fields and the working copies a render reads) and holds four texts.
// It holds no pointers: files, snapshots and descriptors copy named fields.
#pragma once

#include <cstdint>

constexpr int PATH_TEXT_BYTES = 260;

struct EdgeParameters {
  // Call control.
  int32_t queryDialog;  // not 0: Start shows the dialog

  // Dialog working state; meaningless outside an open dialog.
  int32_t activeControl;
  uint8_t zoomChanged;
  int16_t lastMousePoint[2];  // vertical first
  int16_t mousePoint[2];
  uint8_t previewAvailable;

  // glue, the view fields and the working copies of a render.
  int32_t glue;  // GlueMode 1..62
  int32_t scaleDivisor;
  int32_t renderTarget;  // 0 final output, 1 preview, 2 export map
  int32_t panX, panY;
  int32_t renderSmoothing;
  int32_t renderSource;
  int32_t renderStyle;
  int32_t renderChromeStyle;
  int32_t renderAngle;
  int32_t renderTweaker;
  uint8_t horizontalField;
  uint8_t verticalField;
  uint8_t renderColorize;
  uint8_t renderRemoveNoise;

  // The other parameters, in their stored order.
  int32_t edgeStyle;     // 1..13
  int32_t smoothing;     // 0..100
  int32_t tweaker;       // 0..100
  int32_t edgeExtent;    // 1 top to bottom, 2 left to right, 3 both
  int32_t source;        // 1 greyscale, 2 red, 3 green, 4 blue
  int32_t colorize;      // 0, 1
  int32_t edgeSpare;     // 1..6, no render reads it
  int32_t chromeStyle;   // 1..6
  int32_t angle;         // degrees
  int32_t removeNoise;   // 0, 1
  int32_t flip;          // 0, 1

  // Texts, NUL-terminated.
  char lastSettingsFolder[PATH_TEXT_BYTES];
  char lastExportFolder[PATH_TEXT_BYTES];
  char lastPresetFolder[PATH_TEXT_BYTES];
  char settingsName[PATH_TEXT_BYTES];
};

// Defaults of the twelve parameters.
constexpr int32_t DEFAULT_EDGE_STYLE = 3;
constexpr int32_t DEFAULT_SMOOTHING = 20;
constexpr int32_t DEFAULT_TWEAKER = 80;
constexpr int32_t DEFAULT_EDGE_EXTENT = 3;
constexpr int32_t DEFAULT_SOURCE = 1;
constexpr int32_t DEFAULT_COLORIZE = 0;
constexpr int32_t DEFAULT_EDGE_SPARE = 4;
constexpr int32_t DEFAULT_CHROME_STYLE = 1;
constexpr int32_t DEFAULT_ANGLE = 45;
constexpr int32_t DEFAULT_REMOVE_NOISE = 1;
constexpr int32_t DEFAULT_FLIP = 0;
constexpr int32_t DEFAULT_GLUE = 1;
constexpr const char* DEFAULT_SETTINGS_NAME = "Marrowline settings.q4t";

// The twelve parameters and the working copies; leaves settingsName, the
// view fields and the texts alone.
void setDefaultParameters(EdgeParameters* p);
// The working copies from the user's values, for the current scaleDivisor.
void deriveRenderFieldsOf(EdgeParameters* p);
// settingsName and the twelve parameters, field by field.
enum CopyDirection { COPY_TO_SNAPSHOT, COPY_FROM_SNAPSHOT };
void copyStyleFields(EdgeParameters* snapshot, EdgeParameters* live, CopyDirection direction);
// Copies a text into a 260-byte field, always terminated.
void copyPathText(char* field, const char* text);
