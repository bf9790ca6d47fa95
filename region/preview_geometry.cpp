#include "region/preview_geometry.h"

#include <cstdio>

#include "session/session.h"
#include "engine/source_row.h"
#include "host/host_services.h"
#include "region/tile_walk.h"

namespace {

int32_t ceilingDivide(int32_t a, int32_t b) { return b <= 0 ? a : (a + b - 1) / b; }

}  // namespace

Rect previewPaneRect() { return makeRect(PREVIEW_PANE_TOP, PREVIEW_PANE_LEFT, PREVIEW_PANE_BOTTOM, PREVIEW_PANE_RIGHT); }

bool canScale(const FilterRecord* record) {
  return record->advanceState != nullptr && record->displayPixels != nullptr && record->samplingSupport != 0;
}

int32_t setPreviewFrame(FilterSession* session, const Rect& pane) {
  const FilterRecord* record = session->filterRecord;
  session->previewFrame = pane;
  Rect area = makeRect(pane.top + 2, pane.left + 2, pane.bottom - 2, pane.right - 2);
  int32_t filterWidth = rectWidth(record->filterRect), filterHeight = rectHeight(record->filterRect);
  if (rectWidth(area) > filterWidth) area.right = static_cast<int16_t>(area.left + filterWidth);
  if (rectHeight(area) > filterHeight) area.bottom = static_cast<int16_t>(area.top + filterHeight);
  session->previewArea = area;
  int32_t across = ceilingDivide(filterWidth, rectWidth(area));
  int32_t down = ceilingDivide(filterHeight, rectHeight(area));
  session->previewScale = across > down ? across : down;
  if (session->previewScale < 1) session->previewScale = 1;
  return session->previewScale;
}

bool openPreviewGeometry(FilterSession* session, const Rect& pane) {
  EdgeParameters* p = sessionParameters(session);
  int32_t scale = setPreviewFrame(session, pane);
  // A host that can't reduce shows the picture at 100% and pans over it.
  if (!canScale(session->filterRecord)) scale = 1;
  setPreviewGeometry(session, scale);
  session->maxScale = scale;
  p->scaleDivisor = scale;
  p->panX = 0;
  p->panY = 0;
  setPreviewGeometry(session, scale);
  if (resultOf(session) != 0) {
    p->previewAvailable = 0;
    setResult(session, 0);
    return false;
  }
  return true;
}

void openPreview(FilterSession* session, const Rect& pane) {
  if (openPreviewGeometry(session, pane)) renderPreview(session);
}

void setPreviewGeometry(FilterSession* session, int32_t scale) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  record->inLoPlane = 0;
  record->outLoPlane = 0;
  record->inHiPlane = static_cast<int16_t>(record->planes - 1);
  record->outHiPlane = static_cast<int16_t>(record->planes - 1);
  if (!canScale(record)) {
    scale = 1;
    p->scaleDivisor = 1;
  }
  if (scale < 1) scale = 1;
  const Rect filter = record->filterRect;
  Rect in = scaleRect(intersectRect(offsetRect(filter, p->panY, p->panX), filter), 1, scale);
  const Rect& area = session->previewArea;
  if (rectWidth(area) < rectWidth(in)) in.right = static_cast<int16_t>(in.left + rectWidth(area));
  if (rectHeight(area) < rectHeight(in)) in.bottom = static_cast<int16_t>(in.top + rectHeight(area));
  record->inRect = in;
  record->maskRect = in;
  // The picture stands at the start of the output buffer.
  record->outRect = offsetRect(in, filter.top - in.top, filter.left - in.left);
  if (record->hostSig == hostSignaturePSP8 && scale > 1) {
    // This host takes the mask rectangle in scaled coordinates of its own.
    int32_t top = p->panY / scale, left = p->panX / scale;
    record->maskRect = makeRect(top, left, top + rectHeight(in), left + rectWidth(in));
  }
  record->inputRate = static_cast<Fixed>(scale) << 16;
  record->maskRate = record->inputRate;
  record->inputPadding = plugInWantsEdgeReplication;
  record->outputPadding = plugInWantsEdgeReplication;
  record->maskPadding = plugInWantsEdgeReplication;
  session->maskTop = record->maskRect.top - filter.top;
  session->maskBottom = record->maskRect.bottom - filter.top - 1;
  session->outTop = record->inRect.top - filter.top;
  session->outBottom = record->inRect.bottom - filter.top - 1;
  if (record->advanceState == nullptr) return;
  OSErr err = record->advanceState();
  setResult(session, err);
  if (err == 0) setRegion(session, record->inRect, scale);
}

void clampPan(FilterSession* session, int32_t scale) {
  EdgeParameters* p = sessionParameters(session);
  if (scale < 1) scale = 1;
  if (p->panX < 0) p->panX = 0;
  if (p->panY < 0) p->panY = 0;
  Rect scaled = scaleRect(session->filterRecord->filterRect, 1, scale);
  int32_t limitX = (rectWidth(scaled) - rectWidth(session->previewArea)) * scale;
  int32_t limitY = (rectHeight(scaled) - rectHeight(session->previewArea)) * scale;
  if (limitX < 0) limitX = 0;
  if (limitY < 0) limitY = 0;
  if (p->panX > limitX) p->panX = limitX;
  if (p->panY > limitY) p->panY = limitY;
}

void recentreForScale(FilterSession* session, int32_t oldScale, int32_t newScale) {
  const FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  // In 32 bits: a large area at a large scale leaves the 16-bit range, and
  // clampPan brings the result back inside the picture anyway.
  const Rect& in = record->inRect;
  int32_t centreX = (in.left * oldScale + in.right * oldScale) / 2;
  int32_t centreY = (in.top * oldScale + in.bottom * oldScale) / 2;
  int32_t viewWidth = rectWidth(session->previewArea) * newScale;
  int32_t viewHeight = rectHeight(session->previewArea) * newScale;
  p->panX = centreX - viewWidth / 2 - record->filterRect.left;
  p->panY = centreY - viewHeight / 2 - record->filterRect.top;
  clampPan(session, newScale);
}

bool zoomCommand(FilterSession* session, int32_t id) {
  if (!canScale(session->filterRecord)) return false;
  EdgeParameters* p = sessionParameters(session);
  int32_t s = p->scaleDivisor;
  if (id == ZOOM_OUT_ID) {
    if (s >= session->maxScale) return false;
    recentreForScale(session, s, s + 1);
    p->scaleDivisor = s + 1;
    if (p->scaleDivisor == session->maxScale) {
      p->panX = 0;
      p->panY = 0;
    }
  } else if (id == ZOOM_IN_ID) {
    if (s <= 1) return false;
    recentreForScale(session, s, s - 1);
    p->scaleDivisor = s - 1;
  } else if (id == ZOOM_ACTUAL_ID) {
    recentreForScale(session, s, 1);
    p->scaleDivisor = 1;
  } else {
    return false;
  }
  setPreviewGeometry(session, p->scaleDivisor);
  p->zoomChanged = 1;
  return true;
}

bool zoomOutEnabled(const FilterSession* session) {
  return canScale(session->filterRecord) && session->parameters->scaleDivisor < session->maxScale;
}

bool zoomInEnabled(const FilterSession* session) {
  return canScale(session->filterRecord) && session->parameters->scaleDivisor >= 2;
}

void zoomPercentText(const FilterSession* session, char text[16]) {
  int32_t s = session->parameters->scaleDivisor;
  std::snprintf(text, 16, "%d%%", static_cast<int>(100 / (s < 1 ? 1 : s)));
}

bool panPreviewStep(FilterSession* session, int16_t pointV, int16_t pointH) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  int16_t dx = static_cast<int16_t>((pointH - p->lastMousePoint[1]) * p->scaleDivisor);
  int16_t dy = static_cast<int16_t>((pointV - p->lastMousePoint[0]) * p->scaleDivisor);
  p->lastMousePoint[0] = pointV;
  p->lastMousePoint[1] = pointH;
  if (dx == 0 && dy == 0) return false;
  // The picture follows the hand.
  p->panX -= dx;
  p->panY -= dy;
  clampPan(session, p->scaleDivisor);
  setPreviewGeometry(session, p->scaleDivisor);
  if (record->advanceState != nullptr) setResult(session, record->advanceState());
  session->outTop = session->maskTop = session->imageTop;
  session->outBottom = session->maskBottom = session->imageBottom;
  // No render while dragging: the pane shows the unfiltered rows.
  if (resultOf(session) == 0) {
    int32_t rows = rectHeight(record->inRect);
    for (int32_t row = 0; row < rows; ++row) {
      session->currentRow = row;
      copySourceRow(session);
    }
  }
  return true;
}

void renderPreview(FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  if (record->advanceState == nullptr || record->displayPixels == nullptr) return;
  const Rect& full = session->fullFilterRect;
  PixelMap* plane = &session->strokePlane;
  if (pixelMapEmpty(plane) || plane->baseWidth != rectWidth(full) || plane->baseHeight != rectHeight(full)) {
    if (!pixelMapCreate(plane, rectWidth(full), rectHeight(full), PIXEL_BYTE, 0))
      setResult(session, RESULT_NO_STROKE_PLANE);
  }
  session->outTop = session->maskTop = session->imageTop;
  session->outBottom = session->maskBottom = session->imageBottom;
  buildRunTables(session);
  beginRun(session);
  // While the result word is set the pane keeps its old picture; the next
  // advanceState of a zoom or a pan clears it.
  if (resultOf(session) == 0) runFilterTiles(session);
}

bool preparePreviewPicture(FilterSession* session, const Rect& pane, PreviewPicture* picture) {
  const FilterRecord* record = session->filterRecord;
  picture->temporary = nullptr;
  picture->temporaryId = 0;
  const Rect& out = record->outRect;
  int32_t width = rectWidth(out), height = rectHeight(out);
  if (record->outData == nullptr || rectEmpty(out)) return false;
  picture->bounds.top = out.top;
  picture->bounds.left = out.left;
  picture->bounds.bottom = out.bottom;
  picture->bounds.right = out.right;
  picture->destinationColumn = (pane.left + pane.right - width) / 2;
  picture->destinationRow = (pane.top + pane.bottom - height) / 2;
  PSPixelMap& map = picture->map;
  map = PSPixelMap{};
  map.version = 1;
  map.bounds = picture->bounds;
  map.imageMode = record->imageMode;
  map.rowBytes = record->outRowBytes;
  map.colBytes = record->outHiPlane - record->outLoPlane + 1;
  map.planeBytes = 1;
  map.baseAddr = record->outData;
  map.mat = nullptr;
  map.masks = nullptr;
  map.maskPhaseRow = 0;
  map.maskPhaseCol = 0;

  const int16_t mode = record->imageMode;
  bool sixteen = (mode == plugInModeGray16 || mode == plugInModeRGB48) && record->depth == 16;
  bool floats = mode == plugInModeRGB96 || mode == plugInModeGray32 || record->depth == 32;
  if (!sixteen && !floats) return true;
  // displayPixels takes 8-bit samples only: a temporary copy, each row as
  // many bytes as the source row has samples.
  int32_t sampleBytes = sixteen ? 2 : 4;
  int32_t rowBytes = record->outRowBytes / sampleBytes;
  int32_t samples = width * map.colBytes;
  if (samples > rowBytes || samples <= 0) return false;
  auto* copy = static_cast<uint8_t*>(
      allocateBuffer(static_cast<size_t>(rowBytes) * height, &picture->temporaryId, record->bufferProcs));
  if (copy == nullptr) return false;
  picture->temporary = copy;
  for (int32_t row = 0; row < height; ++row) {
    const uint8_t* sourceRow = static_cast<const uint8_t*>(record->outData) + static_cast<intptr_t>(row) * record->outRowBytes;
    uint8_t* target = copy + static_cast<intptr_t>(row) * rowBytes;
    if (sixteen) {
      const auto* s = reinterpret_cast<const uint16_t*>(sourceRow);
      for (int32_t i = 0; i < samples; ++i) {
        int32_t v = s[i] >> 7;
        target[i] = static_cast<uint8_t>(v > 255 ? 255 : v);
      }
    } else {
      // No gamma step in this display conversion.
      const auto* s = reinterpret_cast<const float*>(sourceRow);
      for (int32_t i = 0; i < samples; ++i) {
        float v = s[i] * 255.0f;
        target[i] = static_cast<uint8_t>(!(v > 0.0f) ? 0 : (v >= 255.0f ? 255 : static_cast<int32_t>(v)));
      }
    }
  }
  if (sixteen)
    map.imageMode = mode == plugInModeGray16 ? plugInModeGrayScale : plugInModeRGBColor;
  else
    map.imageMode = mode == plugInModeGray32 ? plugInModeGrayScale : plugInModeRGBColor;
  map.rowBytes = rowBytes;
  map.baseAddr = copy;
  return true;
}

void releasePreviewPicture(FilterSession* session, PreviewPicture* picture) {
  if (picture->temporary == nullptr) return;
  freeBuffer(&picture->temporary, &picture->temporaryId, session->filterRecord->bufferProcs);
}

OSErr showPreviewPicture(FilterSession* session, const Rect& pane, void* platformContext) {
  const FilterRecord* record = session->filterRecord;
  if (record->displayPixels == nullptr) return RESULT_STOPPED;
  PreviewPicture picture;
  if (!preparePreviewPicture(session, pane, &picture)) {
    releasePreviewPicture(session, &picture);
    return RESULT_STOPPED;
  }
  OSErr err = record->displayPixels(&picture.map, &picture.bounds, picture.destinationRow, picture.destinationColumn,
                                    platformContext);
  releasePreviewPicture(session, &picture);
  return err;
}

PreviewOutcome playPreview(FilterSession* session, const PreviewRequest& request) {
  const FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  p->renderTarget = 1;
  if (record->advanceState == nullptr || record->displayPixels == nullptr) return PREVIEW_UNAVAILABLE;
  const Rect pane = previewPaneRect();
  if (!openPreviewGeometry(session, pane)) return PREVIEW_UNAVAILABLE;
  // Without sampling the scale is 1 whatever was asked.
  if (!request.fit && canScale(record)) {
    if (request.scale < 1 || request.scale > session->maxScale) return PREVIEW_SCALE_INVALID;
    p->scaleDivisor = request.scale;
  }
  p->panX = request.panX;
  p->panY = request.panY;
  clampPan(session, p->scaleDivisor);
  setPreviewGeometry(session, p->scaleDivisor);
  if (resultOf(session) != 0) return PREVIEW_RENDER_FAILED;
  renderPreview(session);
  if (resultOf(session) != 0) return PREVIEW_RENDER_FAILED;
  return showPreviewPicture(session, session->previewFrame, nullptr) == 0 ? PREVIEW_SHOWN : PREVIEW_RENDER_FAILED;
}
