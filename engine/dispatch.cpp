// The dispatcher: turns the working fields into the numbers the styles use,
// runs the edge field on the tile, and hands over to the current style.
#include <cstring>

#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/render.h"
#include "engine/styles.h"
#include "host/host_services.h"
#include "image/rect.h"
#include "pi/plugin_interface.h"
#include "platform/threads.h"

int16_t tweakerWeight(int32_t renderTweaker) {
  float t = static_cast<float>(static_cast<double>(static_cast<uint16_t>(renderTweaker)) * 0.01);
  float v = t * t + t;
  return static_cast<int16_t>(static_cast<int32_t>(static_cast<double>(v) * 100.0));
}

RowCoverage rowCoverage(const FilterSession* session, int32_t row) {
  RowCoverage c{nullptr, 0, session->imageRight};
  if (row < session->imageTop || row > session->imageBottom) return c;
  const FilterRecord* record = session->filterRecord;
  if (!record->haveMask || record->maskData == nullptr) {
    c.whole = 255;
  } else if (row >= session->maskTop && row <= session->maskBottom) {
    c.mask = static_cast<const uint8_t*>(record->maskData) +
             static_cast<intptr_t>(row - session->maskTop) * record->maskRowBytes;
  }
  return c;
}

int32_t selectionCoverage(int32_t column, int32_t row, const FilterSession* session) {
  return coverageAt(rowCoverage(session, row), column);
}

void buildGreyRamp(uint8_t table[256][4]) {
  for (int32_t i = 0; i < 256; ++i) table[i][0] = table[i][1] = table[i][2] = table[i][3] = static_cast<uint8_t>(i);
}

void buildColorRamp(const uint8_t backColor[4], const uint8_t foreColor[4], uint8_t table[256][4]) {
  double step[4];
  for (int32_t k = 0; k < 4; ++k) step[k] = (static_cast<int32_t>(foreColor[k]) - backColor[k]) / 255.0;
  for (int32_t i = 0; i < 256; ++i)
    for (int32_t k = 0; k < 4; ++k) table[i][k] = static_cast<uint8_t>(static_cast<int32_t>(i * step[k] + backColor[k]));
}

namespace {

bool acquireScratch(FilterSession* session, int32_t byteSize, ScratchPair* pair, bool secondBlock) {
  if (pair->allocated && pair->blockBytes == byteSize) return true;
  releaseFieldBuffers(session, pair);
  BufferProcs* procs = session->filterRecord->bufferProcs;
  pair->addressOne = allocateBuffer(static_cast<size_t>(byteSize), &pair->bufferOne, procs);
  if (pair->addressOne == nullptr) {
    setResult(session, RESULT_MEM_FULL);
    return false;
  }
  if (!secondBlock) {
    pair->allocated = 1;
    pair->blockBytes = byteSize;
    return true;
  }
  pair->addressTwo = allocateBuffer(static_cast<size_t>(byteSize), &pair->bufferTwo, procs);
  if (pair->addressTwo == nullptr) {
    freeBuffer(&pair->addressOne, &pair->bufferOne, procs);
    setResult(session, RESULT_MEM_FULL);
    return false;
  }
  pair->allocated = 1;
  pair->blockBytes = byteSize;
  return true;
}

}  // namespace

bool acquireFieldBuffers(FilterSession* session, int32_t byteSize, ScratchPair* pair) {
  return acquireScratch(session, byteSize, pair, true);
}

void releaseFieldBuffers(FilterSession* session, ScratchPair* pair) {
  if (pair->allocated) {
    BufferProcs* procs = session->filterRecord ? session->filterRecord->bufferProcs : nullptr;
    freeBuffer(&pair->addressOne, &pair->bufferOne, procs);
    freeBuffer(&pair->addressTwo, &pair->bufferTwo, procs);
  }
  std::memset(pair, 0, sizeof(ScratchPair));
  // The buffers go at the end of a run, and so do the render's threads.
  platformStopWorkers();
}

void renderTile(FilterSession* session, PixelMap* tile) {
  if (pixelMapEmpty(tile)) return;
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  RenderContext context;
  int32_t smoothing = static_cast<uint16_t>(p->renderSmoothing);
  context.sigma = (smoothing < 2 ? 2 : smoothing) / 10.0;
  // In 64 bits, so that no scripted angle overflows; the remainder keeps
  // the sign of the angle, as the curve table and "scribble" expect.
  context.chromeAngle = static_cast<int32_t>((static_cast<int64_t>(p->renderAngle) + 180) % 360);
  context.weight = tweakerWeight(p->renderTweaker);
  uint16_t selector = sourceSelectorFor(p->renderSource, record->imageMode);

  const int32_t t = tile->baseWidth;
  const int32_t s1 = t - 40, s2 = t - 80;
  // The run holds the field's five planes through the host's buffers. The
  // styles read the gradient planes alone, so the passes keep the source
  // and smoothed rows in small windows of each thread, which stay in its
  // cache, and leave those three planes alone.
  int32_t smoothBytes = s1 * s1 * static_cast<int32_t>(sizeof(double));
  int32_t sourceBytes = t * t * static_cast<int32_t>(sizeof(double));
  if (!acquireFieldBuffers(session, smoothBytes, &session->edgeScratchA)) return;
  if (!acquireFieldBuffers(session, s2 * s2 * static_cast<int32_t>(sizeof(double)), &session->edgeScratchB)) return;
  if (!acquireScratch(session, sourceBytes, &session->edgeSource, false)) return;
  auto* gradientX = static_cast<double*>(session->edgeScratchB.addressOne);
  auto* gradientY = static_cast<double*>(session->edgeScratchB.addressTwo);

  EdgeKernels kernels;
  buildEdgeKernels(context.sigma, &kernels);
  // "blurry" reads the field row by row: it shades each band of rows as soon
  // as the band is computed. Every other style reads the whole field.
  const bool fieldByBands = p->renderStyle == STYLE_INDEX_BLURRY;
  const EdgeFieldRequest field{selector, &kernels, nullptr, nullptr, nullptr, gradientX, gradientY, tile,
                               rectHeight(record->outRect)};
  if (!fieldByBands) computeEdgeFieldInBands(field, nullptr, nullptr);
  context.pendingField = fieldByBands ? &field : nullptr;
  context.gradientX = p->horizontalField ? gradientX : nullptr;
  context.gradientY = p->verticalField ? gradientY : nullptr;
  context.fieldSide = s2;

  if (p->renderColorize)
    buildColorRamp(record->backColor, record->foreColor, context.rampTable);
  else
    buildGreyRamp(context.rampTable);

  // A style outside the enumeration renders nothing.
  int32_t style = p->renderStyle;
  if (style < 0 || style >= EDGE_STYLE_COUNT) return;
  if (style == STYLE_INDEX_CHROME)
    buildChromeTable(p->renderChromeStyle, context.chromeAngle, context.weight, context.chromeTable);
  renderStyle(style, session, context, tile);
}
