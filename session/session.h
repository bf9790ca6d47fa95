// FilterSession: the record behind the host's data word, and the work area
// of one run. The host owns the session's memory; the work area is allocated
// at Start and freed before Start returns.
#pragma once

#include <cstdint>

#include "session/parameters.h"
#include "glue/glue_modes.h"
#include "image/pixel_map.h"
#include "image/sampling.h"

struct FilterRecord;

// Result words (16-bit, as the host reads them).
constexpr int16_t RESULT_OK = 0;
constexpr int16_t RESULT_STOPPED = 1;  // a reason the plug-in has dealt with
constexpr int16_t RESULT_MEM_FULL = -108;
constexpr int16_t RESULT_USER_CANCELED = -128;
constexpr int16_t RESULT_BAD_PARAMETERS = -30100;
constexpr int16_t RESULT_NO_STROKE_PLANE = 999;

constexpr int32_t TILE_SIZE = 256;
constexpr int32_t TILE_MARGIN = 41;
constexpr int32_t KERNEL_TABLE_WORDS = KERNEL_TABLE_SIZE;  // 2560: the sampling kernels
constexpr int32_t DOT_COUNT = 25;

// Two equal host buffers for the edge field.
struct ScratchPair {
  int32_t allocated;
  int32_t blockBytes;
  intptr_t bufferOne;
  intptr_t bufferTwo;
  void* addressOne;  // while locked
  void* addressTwo;
};

// One state of the two-slot undo: the settings, whether the slot holds a
// state, and whether a settings file of it was written.
struct UndoSlot {
  EdgeParameters settings;
  uint8_t valid;
  uint8_t hasFile;
};

struct FilterWorkArea {
  int32_t progressTick;
  int32_t progressLast;
  uint32_t kernelTable[KERNEL_TABLE_WORDS];
  PixelMap offscreenImage;
  PixelMap* exportTarget;
  PixelMap exportImage;
  GlueTables glueTables;  // tentTable and the rest built once per run
  // The memory dots: control ids 121..145 by slot, 0 empty / 1 stored /
  // 2 stored and current, 1 for a pinned dot, and the slots the thumbnail
  // shows (-1 none).
  int16_t dotControlId[DOT_COUNT];
  int16_t dotState[DOT_COUNT];
  int32_t dotMap[DOT_COUNT];
  int32_t shownDot;
  int32_t lastShownDot;
  UndoSlot undoSlots[2];  // undoPhase of the session names the newest
};

// Where an off-screen render's progress goes: the export's progress window.
using ExportProgressSink = void (*)(void* context, int32_t percent);

struct FilterSession {
  int16_t* result;
  FilterRecord* filterRecord;
  Rect16 previewFrame;
  ScratchPair edgeScratchA;  // smoothedDown, smoothedAcross
  ScratchPair edgeScratchB;  // gradientX, gradientY
  ScratchPair edgeSource;    // the source channel as doubles (first block only)
  Rect16 previewArea;
  int32_t previewScale;
  FilterWorkArea* work;
  intptr_t workBufferId;
  int32_t tileTop, tileLeft;
  int32_t imageTop, imageBottom, imageLeft, imageRight;
  int32_t exportPassesDone;
  ExportProgressSink exportProgress;  // null when nobody shows it
  void* exportProgressContext;
  int32_t currentRow;
  int32_t maskTop, maskBottom, outTop, outBottom;
  Rect16 fullFilterRect;
  int32_t maxScale;
  int32_t filterWidth, filterHeight;
  int32_t regionWidth, regionHeight;
  int32_t thumbnailWidth, thumbnailHeight;
  PixelMap presetThumbnail;
  PixelMap strokePlane;
  int32_t dialogOutcome;  // 0 open, 1 accepted, 2 cancelled
  int32_t undoPhase;
  void* dialogWindow;
  uint8_t mouseRightButton, mouseCtrlKey;
  // The parameter record, locked for the length of one selector.
  EdgeParameters* parameters;
};

// The parameter record of the present selector (locked by validateParameters,
// unlocked by releaseParameters when the selector ends).
inline EdgeParameters* sessionParameters(FilterSession* session) { return session->parameters; }
void releaseParameters(FilterSession* session);

inline void setResult(FilterSession* session, int16_t code) { *session->result = code; }
inline int16_t resultOf(const FilterSession* session) { return *session->result; }

// Where 8-bit and 16-bit images part ways: modes 1 and 3 below 9 bits are 8-bit.
bool isEightBitImage(const FilterRecord* record);
// Editable transparency: filterCase 4 or 5.
bool hasHostAlpha(const FilterRecord* record);
// The transparency plane of the output and whether the output has one. Some
// hosts hand over a layer but leave the out-layer counts at 0; the input's
// counts stand in for them then.
int32_t outputAlphaPlane(const FilterRecord* record);
bool outputHasTransparency(const FilterRecord* record);

// Progress of the final run, throttled; silent for previews. An off-screen
// render tells the export's sink its percentage instead.
void reportProgress(FilterSession* session, int32_t done, int32_t total, int32_t aux);

// An empty map of this session: its blocks come from the host's buffer
// procedures, and writers of files can reach the host's record through it.
void pixelMapInit(PixelMap* map, FilterSession* session, const uint32_t* kernelTable);
