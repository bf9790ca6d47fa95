// The preview pane without its window: where the view lies in the
// selection, at which reduction, how the host is asked for it, its render,
// and the picture that displayPixels is given. The dialog adds the window
// work (frame, cursors, erasing) round these.
#pragma once

#include <cstdint>

#include "pi/plugin_interface.h"

struct FilterSession;

// The pane of the control table (control 5): left 326, top 2, right 848,
// bottom 383 in the dialog's client area, 522 x 381. Held as the host's
// rectangle, top first.
constexpr int16_t PREVIEW_PANE_LEFT = 326;
constexpr int16_t PREVIEW_PANE_TOP = 2;
constexpr int16_t PREVIEW_PANE_RIGHT = 848;
constexpr int16_t PREVIEW_PANE_BOTTOM = 383;
Rect previewPaneRect();

// Zoom command ids of the dialog.
constexpr int32_t ZOOM_IN_ID = 12;
constexpr int32_t ZOOM_OUT_ID = 13;
constexpr int32_t ZOOM_ACTUAL_ID = 14;

// The host can deliver reduced pictures: advanceState, displayPixels and
// samplingSupport.
bool canScale(const FilterRecord* record);

// previewFrame := pane; previewArea := pane inset by 2, pulled in to the
// filter rectangle's size. Returns previewScale, the smallest whole
// reduction that shows the whole selection (also stored in the session).
int32_t setPreviewFrame(FilterSession* session, const Rect& pane);

// The opening of the preview without its first render: frame, area,
// previewScale, then maxScale, scaleDivisor and a pan of 0 with the host
// asked for that view. If the host's advanceState failed, previewAvailable
// and the result word are cleared and false comes back.
bool openPreviewGeometry(FilterSession* session, const Rect& pane);
// The whole opening: the geometry and, when it succeeded, renderPreview.
void openPreview(FilterSession* session, const Rect& pane);

// Sets the host's rectangles, planes, rates and padding for the view at
// this scale and calls advanceState; on success records the region's size.
void setPreviewGeometry(FilterSession* session, int32_t scale);
// Holds panX and panY inside the selection at this scale.
void clampPan(FilterSession* session, int32_t scale);
// Moves the pan so that the view's centre stays put across a zoom.
void recentreForScale(FilterSession* session, int32_t oldScale, int32_t newScale);

// Ids 13 (out), 12 (in) and 14 (100%). True when it acted, so the dialog
// sets its refresh flag; sets zoomChanged too. Without canScale it does
// nothing.
bool zoomCommand(FilterSession* session, int32_t id);
// The enabling of the zoom buttons and the percentage text ("25%").
bool zoomOutEnabled(const FilterSession* session);
bool zoomInEnabled(const FilterSession* session);
void zoomPercentText(const FilterSession* session, char text[16]);

// One mouse move of a pan to the point (vertical first, as lastMousePoint):
// moves the view, asks the host for it and copies the unfiltered rows into
// outData. True when the picture changed and should be shown.
bool panPreviewStep(FilterSession* session, int16_t pointV, int16_t pointH);

// The render of a refresh: makes sure of the stroke plane, prepares the run
// and renders the view into outData unless the result word is set. The
// dialog shows the wait cursor round it.
void renderPreview(FilterSession* session);

// What displayPixels is given: outData described as a PSPixelMap, 16-bit and
// float data converted to a temporary 8-bit copy first, and the centred
// position in the pane.
struct PreviewPicture {
  PSPixelMap map;
  VRect bounds;
  int32_t destinationRow;
  int32_t destinationColumn;
  void* temporary;      // the 8-bit copy, if one was made
  intptr_t temporaryId;
};
// False when there is nothing to show or no temporary could be had.
bool preparePreviewPicture(FilterSession* session, const Rect& pane, PreviewPicture* picture);
void releasePreviewPicture(FilterSession* session, PreviewPicture* picture);
// prepare, displayPixels, release. The window's context goes to the host.
OSErr showPreviewPicture(FilterSession* session, const Rect& pane, void* platformContext);

// The preview as a host without windows plays it: the opening geometry for
// the pane, then the requested scale (or the opening's) and pan through
// clampPan, the geometry, the render and the picture to displayPixels.
struct PreviewRequest {
  bool fit;       // the opening scale; `scale` is not read
  int32_t scale;  // 1..maxScale
  int32_t panX;
  int32_t panY;
};
enum PreviewOutcome : int32_t {
  PREVIEW_SHOWN = 0,
  PREVIEW_UNAVAILABLE = 1,   // the host can't preview, or its advanceState failed
  PREVIEW_SCALE_INVALID = 2, // scale 0 or above maxScale (given only with canScale)
  PREVIEW_RENDER_FAILED = 3, // the result word stopped the render or the display
};
// Needs Start's set-up (work area, parameters) and renderTarget 1; leaves the
// view in place. maxScale holds the limit for an error message.
PreviewOutcome playPreview(FilterSession* session, const PreviewRequest& request);
