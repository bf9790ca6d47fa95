#include "tests/pihost/fake_plugin.h"

#include <algorithm>
#include <cstring>

namespace {

FakePluginLog logState{};

struct Echo {
  DescriptorKeyID key;
  DescType type;
  uint32_t enumType;
  int32_t value;
};
Echo echoed[16];
int echoCount = 0;

void invertRows(FilterRecord* r, const Rect& area) {
  const int32_t width = area.right - area.left;
  const int32_t height = area.bottom - area.top;
  const int32_t planes = r->inHiPlane - r->inLoPlane + 1;
  const int32_t colorPlanes = r->inLayerPlanes > 0 ? r->inLayerPlanes : planes;
  const bool deep = r->depth == 16;
  const int32_t top = deep ? 32768 : 255;
  for (int32_t y = 0; y < height; ++y) {
    const auto* in = static_cast<const uint8_t*>(r->inData) + int64_t(y) * r->inRowBytes;
    auto* out = static_cast<uint8_t*>(r->outData) + int64_t(y) * r->outRowBytes;
    for (int32_t i = 0; i < width * planes; ++i) {
      const bool color = (i % planes) < colorPlanes;
      if (deep) {
        uint16_t v;
        std::memcpy(&v, in + 2 * i, 2);
        if (color) v = uint16_t(top - v);
        std::memcpy(out + 2 * i, &v, 2);
      } else {
        out[i] = color ? uint8_t(top - in[i]) : in[i];
      }
    }
  }
}

void setRects(FilterRecord* r, const Rect& area) {
  r->inRect = r->outRect = area;
  r->maskRect = r->haveMask ? area : Rect{0, 0, 0, 0};
  r->inLoPlane = r->outLoPlane = 0;
  r->inHiPlane = r->outHiPlane = int16_t(r->planes - 1);
  r->inputPadding = r->outputPadding = r->maskPadding = plugInDoesNotWantPadding;
  r->inputRate = r->maskRate = 0x10000;
}

void clearRects(FilterRecord* r) { r->inRect = r->outRect = r->maskRect = Rect{0, 0, 0, 0}; }

void readDescriptor(FilterRecord* r) {
  PIDescriptorParameters* d = r->descriptorParameters;
  echoCount = 0;
  if (!d || !d->descriptor || !d->readDescriptorProcs) return;
  ReadDescriptorProcs* procs = d->readDescriptorProcs;
  DescriptorKeyID keys[] = {fourCharCode("EDky"), fourCharCode("0002"), fourCharCode("0006"), 0};
  PIReadDescriptor token = procs->openReadDescriptorProc(d->descriptor, keys);
  if (!token) return;
  DescriptorKeyID key;
  DescType type;
  int32_t flags;
  while (procs->getKeyProc(token, &key, &type, &flags) && echoCount < 16) {
    Echo e{key, type, 0, 0};
    if (type == typeInteger) procs->getIntegerProc(token, &e.value);
    if (type == typeBoolean) {
      Boolean b = 0;
      procs->getBooleanProc(token, &b);
      e.value = b;
    }
    if (type == typeEnumerated) {
      DescriptorEnumID code = 0;
      procs->getEnumeratedProc(token, &code);
      e.value = int32_t(code);
      e.enumType = fourCharCode("EDty");
    }
    if (key == fourCharCode("0002")) logState.smoothingRead = e.value;
    echoed[echoCount++] = e;
    logState.keysRead++;
  }
  logState.closeReadResult = procs->closeReadDescriptorProc(token);
  if (r->handleProcs) r->handleProcs->disposeProc(d->descriptor);
  d->descriptor = nullptr;
}

void writeDescriptor(FilterRecord* r) {
  PIDescriptorParameters* d = r->descriptorParameters;
  if (!d || !d->writeDescriptorProcs) return;
  WriteDescriptorProcs* procs = d->writeDescriptorProcs;
  PIWriteDescriptor token = procs->openWriteDescriptorProc();
  if (!token) return;
  for (int i = 0; i < echoCount; ++i) {
    const Echo& e = echoed[i];
    if (e.type == typeInteger) procs->putIntegerProc(token, e.key, e.value);
    if (e.type == typeBoolean) procs->putBooleanProc(token, e.key, Boolean(e.value));
    if (e.type == typeEnumerated) procs->putEnumeratedProc(token, e.key, e.enumType, uint32_t(e.value));
  }
  if (d->descriptor && r->handleProcs) r->handleProcs->disposeProc(d->descriptor);
  procs->closeWriteDescriptorProc(token, &d->descriptor);
}

void start(FilterRecord* r, int16_t* result) {
  readDescriptor(r);
  if (!r->advanceState) {
    setRects(r, r->filterRect);  // the host fills and calls Continue
    return;
  }
  const Rect f = r->filterRect;
  const int32_t rows = (f.bottom - f.top + kFakeTileSize - 1) / kFakeTileSize;
  const int32_t cols = (f.right - f.left + kFakeTileSize - 1) / kFakeTileSize;
  for (int32_t ty = 0; ty < rows && *result == 0; ++ty) {
    for (int32_t tx = 0; tx < cols; ++tx) {
      if (r->abortProc && r->abortProc()) {
        *result = userCanceledErr;
        break;
      }
      Rect tile;
      tile.top = int16_t(f.top + ty * kFakeTileSize);
      tile.left = int16_t(f.left + tx * kFakeTileSize);
      tile.bottom = int16_t(std::min<int32_t>(tile.top + kFakeTileSize, f.bottom));
      tile.right = int16_t(std::min<int32_t>(tile.left + kFakeTileSize, f.right));
      setRects(r, tile);
      *result = r->advanceState();
      if (*result != 0) break;
      invertRows(r, tile);
      logState.tiles++;
      if (r->progressProc) r->progressProc(ty * cols + tx + 1, rows * cols);
    }
  }
  clearRects(r);
}

}  // namespace

FakePluginLog* fakePluginLog() { return &logState; }

void fakePluginReset() {
  logState = FakePluginLog{};
  logState.smoothingRead = -1;
  echoCount = 0;
}

void PI_CALL fakeInvertPlugin(int16_t selector, FilterRecord* record, intptr_t*, int16_t* result) {
  if (selector >= 0 && selector <= 5) logState.selectorCalls[selector]++;
  switch (selector) {
    case filterSelectorPrepare:
      record->bufferSpace = 0;
      break;
    case filterSelectorStart:
      start(record, result);
      break;
    case filterSelectorContinue:
      invertRows(record, record->outRect);
      logState.tiles++;
      clearRects(record);
      break;
    case filterSelectorFinish:
      writeDescriptor(record);
      break;
    default:
      break;
  }
}
