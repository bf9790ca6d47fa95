#include "tests/region/region_harness.h"

#include <cstring>

#include "entry/entry.h"
#include "host/host_services.h"
#include "session/session.h"
#include "pihost/preview_mode.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

Harness* active = nullptr;

int32_t clampTo(int32_t v, int32_t low, int32_t high) { return v < low ? low : (v > high ? high : v); }
bool emptyRect(const Rect& r) { return r.right <= r.left || r.bottom <= r.top; }

// A buffer as the record's data and row-bytes fields take it.
struct CutBuffer {
  void* data;
  int32_t rowBytes;
};

// Cuts planes lo..hi of `rect` at `rate` out of the picture, repeating the
// border where the rectangle leaves it. Rows carry a few bytes of padding,
// as many hosts' rows do. The caller stores the result in the record: its
// fields are packed, so no pointer to them is taken.
CutBuffer cut(const HarnessPicture& picture, const Rect& rect, int32_t lo, int32_t hi, int32_t rate,
              std::vector<uint8_t>* buffer) {
  if (emptyRect(rect) || hi < lo) {
    buffer->clear();
    return CutBuffer{nullptr, 0};
  }
  CutBuffer result{nullptr, 0};
  const int32_t bytes = picture.depth == 16 ? 2 : 1;
  const int32_t count = hi - lo + 1;
  const int32_t width = rect.right - rect.left, height = rect.bottom - rect.top;
  result.rowBytes = width * count * bytes + 3 * bytes;
  buffer->assign(static_cast<size_t>(result.rowBytes) * height, 0);
  // Where each column's pixel starts in the picture's samples, worked out
  // once: the rows below all take the same columns.
  const size_t planes = static_cast<size_t>(picture.planes());
  std::vector<size_t> columnAt(static_cast<size_t>(width));
  for (int32_t x = 0; x < width; ++x)
    columnAt[x] = static_cast<size_t>(clampTo((rect.left + x) * rate, 0, picture.width - 1)) * planes + lo;
  for (int32_t y = 0; y < height; ++y) {
    const int32_t py = clampTo((rect.top + y) * rate, 0, picture.height - 1);
    const uint16_t* row = picture.samples.data() + static_cast<size_t>(py) * picture.width * planes;
    uint8_t* d = buffer->data() + static_cast<size_t>(y) * result.rowBytes;
    if (bytes == 1) {
      for (int32_t x = 0; x < width; ++x, d += count)
        for (int32_t k = 0; k < count; ++k) d[k] = static_cast<uint8_t>(row[columnAt[x] + k]);
    } else {
      for (int32_t x = 0; x < width; ++x, d += 2 * count)
        for (int32_t k = 0; k < count; ++k) std::memcpy(d + 2 * k, &row[columnAt[x] + k], 2);
    }
  }
  result.data = buffer->data();
  return result;
}

// The last output buffer goes back into the output picture, inside the
// filter rectangle only.
void commit(Harness* h) {
  FilterRecord& r = h->record;
  if (!h->commitOutput || r.outData == nullptr || emptyRect(h->committedRect)) return;
  int32_t bytes = h->picture.depth == 16 ? 2 : 1;
  int32_t count = r.outHiPlane - r.outLoPlane + 1;
  const Rect& rect = h->committedRect;
  for (int32_t y = rect.top; y < rect.bottom; ++y) {
    for (int32_t x = rect.left; x < rect.right; ++x) {
      if (y < r.filterRect.top || y >= r.filterRect.bottom || x < r.filterRect.left || x >= r.filterRect.right) continue;
      const uint8_t* s = static_cast<const uint8_t*>(r.outData) + static_cast<size_t>(y - rect.top) * r.outRowBytes +
                         static_cast<size_t>(x - rect.left) * count * bytes;
      uint16_t* d = h->output.at(x, y);
      for (int32_t k = 0; k < count; ++k)
        d[r.outLoPlane + k] = bytes == 1 ? s[k] : reinterpret_cast<const uint16_t*>(s)[k];
    }
  }
}

OSErr PI_CALL advanceState() {
  Harness* h = active;
  FilterRecord& r = h->record;
  ++h->advanceCalls;
  commit(h);
  int32_t rate = r.inputRate >> 16;
  if (rate < 1) rate = 1;
  int32_t maskRate = r.maskRate >> 16;
  if (maskRate < 1) maskRate = 1;
  // Like a host that writes the output back and reads it again, a second
  // call for the same output rectangle keeps what the plug-in wrote there:
  // the preview is rendered, the geometry set again, and then shown.
  const Rect o = r.outRect;
  const Rect& last = h->committedRect;
  bool keep = !h->commitOutput && r.outData != nullptr && o.top == last.top && o.left == last.left &&
              o.bottom == last.bottom && o.right == last.right && rate == h->committedRate &&
              r.outLoPlane == h->committedLo && r.outHiPlane == h->committedHi;
  const Rect inRect = r.inRect;
  const CutBuffer in = cut(h->picture, inRect, r.inLoPlane, r.inHiPlane, rate, &h->inBuffer);
  r.inData = in.data;
  r.inRowBytes = in.rowBytes;
  if (!keep) {
    const CutBuffer out = cut(h->output, o, r.outLoPlane, r.outHiPlane, rate, &h->outBuffer);
    r.outData = out.data;
    r.outRowBytes = out.rowBytes;
  }
  h->committedRate = rate;
  h->committedLo = r.outLoPlane;
  h->committedHi = r.outHiPlane;
  r.outColumnBytes = (r.outHiPlane - r.outLoPlane + 1) * (h->picture.depth == 16 ? 2 : 1);
  r.inColumnBytes = (r.inHiPlane - r.inLoPlane + 1) * (h->picture.depth == 16 ? 2 : 1);
  h->committedRect = r.outRect;
  r.maskData = nullptr;
  const Rect maskRect = r.maskRect;
  if (r.haveMask && !h->mask.empty() && !emptyRect(maskRect)) {
    HarnessPicture maskPicture;
    maskPicture.width = h->picture.width;
    maskPicture.height = h->picture.height;
    maskPicture.colorPlanes = 1;
    maskPicture.samples.assign(h->mask.begin(), h->mask.end());
    const CutBuffer mask = cut(maskPicture, maskRect, 0, 0, maskRate, &h->maskBuffer);
    r.maskData = mask.data;
    r.maskRowBytes = mask.rowBytes;
  }
  return 0;
}

Boolean PI_CALL neverAbort() { return 0; }
void PI_CALL noProgress(int32_t, int32_t) {}

OSErr PI_CALL displayPixels(const PSPixelMap* source, const VRect* rect, int32_t row, int32_t column, void*) {
  Harness* h = active;
  ++h->displayCalls;
  h->shownMode = source->imageMode;
  h->shownColBytes = source->colBytes;
  h->shownBounds = *rect;
  h->shownRow = row;
  h->shownColumn = column;
  int32_t width = rect->right - rect->left, height = rect->bottom - rect->top;
  h->shown.assign(static_cast<size_t>(width) * height * source->colBytes, 0);
  for (int32_t y = 0; y < height; ++y)
    std::memcpy(h->shown.data() + static_cast<size_t>(y) * width * source->colBytes,
                static_cast<const uint8_t*>(source->baseAddr) + static_cast<size_t>(y) * source->rowBytes,
                static_cast<size_t>(width) * source->colBytes);
  return 0;
}

}  // namespace

HarnessPicture makeTestPicture(int32_t width, int32_t height, int32_t colorPlanes, int32_t depth, bool alpha) {
  HarnessPicture p;
  p.width = width;
  p.height = height;
  p.colorPlanes = colorPlanes;
  p.depth = depth;
  p.alpha = alpha;
  p.samples.resize(static_cast<size_t>(width) * height * p.planes());
  uint32_t seed = 12345;
  int32_t top = depth == 16 ? 32768 : 255;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      uint16_t* s = p.at(x, y);
      int32_t dx = x - width / 3, dy = y - height / 2;
      int32_t ring = ((dx * dx + dy * dy) / 300) % 2 == 0 ? 200 : 60;
      for (int32_t k = 0; k < colorPlanes; ++k) {
        seed = seed * 1103515245u + 12345u;
        int32_t v = (ring + (x * 40) / width + k * 15 + static_cast<int32_t>((seed >> 16) % 9)) % 256;
        s[k] = static_cast<uint16_t>(depth == 16 ? v * 128 + (v == 255 ? 128 : static_cast<int32_t>((seed >> 8) & 127)) : v);
      }
      if (alpha) s[colorPlanes] = static_cast<uint16_t>(((x / 7 + y / 5) * 37) % (top + 1));
    }
  }
  return p;
}

void harnessInit(Harness* h, const HarnessPicture& picture, const Rect& filterRect, const std::vector<uint8_t>* mask) {
  h->picture = picture;
  h->output = picture;
  if (mask != nullptr) h->mask = *mask;
  FilterRecord& r = h->record;
  std::memset(&r, 0, sizeof(r));
  r.abortProc = neverAbort;
  r.progressProc = noProgress;
  r.imageSize.h = static_cast<int16_t>(picture.width);
  r.imageSize.v = static_cast<int16_t>(picture.height);
  r.planes = static_cast<int16_t>(picture.planes());
  r.filterRect = filterRect;
  r.haveMask = mask != nullptr ? 1 : 0;
  r.hostSig = hostSignaturePhotoshop;
  r.imageMode = picture.depth == 16 ? (picture.colorPlanes == 3 ? plugInModeRGB48 : plugInModeGray16)
                                    : (picture.colorPlanes == 3 ? plugInModeRGBColor : plugInModeGrayScale);
  r.depth = picture.depth;
  r.displayPixels = displayPixels;
  r.advanceState = advanceState;
  r.samplingSupport = 1;
  if (picture.alpha)
    r.filterCase = mask != nullptr ? filterCaseEditableTransparencyWithSelection : filterCaseEditableTransparencyNoSelection;
  else
    r.filterCase = mask != nullptr ? filterCaseFlatImageWithSelection : filterCaseFlatImageNoSelection;
  r.inLayerPlanes = static_cast<int16_t>(picture.colorPlanes);
  r.outLayerPlanes = static_cast<int16_t>(picture.colorPlanes);
  r.inTransparencyMask = picture.alpha ? 1 : 0;
  r.outTransparencyMask = picture.alpha ? 1 : 0;
  r.maxSpace = 1 << 30;
  for (int k = 0; k < 4; ++k) {
    r.backColor[k] = 255;
    r.foreColor[k] = 0;
  }
  active = h;
}

bool harnessStart(Harness* h) {
  active = h;
  PluginMain(filterSelectorPrepare, &h->record, &h->data, &h->result);
  if (h->result != 0) return false;
  h->session = beginPreviewStart(&h->record, &h->data, &h->result);
  if (h->session == nullptr) return false;
  EdgeParameters* p = harnessParameters(h);
  setDefaultParameters(p);
  p->edgeStyle = 1;
  p->smoothing = 30;
  p->tweaker = 90;
  p->glue = 1;
  p->flip = 0;
  p->queryDialog = 0;
  return true;
}

EdgeParameters* harnessParameters(Harness* h) { return sessionParameters(h->session); }

void harnessFinalRun(Harness* h) {
  active = h;
  h->commitOutput = true;
  sessionParameters(h->session)->renderTarget = 0;
  // runFilter empties the rectangles at its end; the last tile's buffer is
  // still in the record and goes back like the others.
  runFilter(h->session);
  commit(h);
  harnessEnd(h);
}

// The harness offers no handle procedures, so the handles are of the
// plug-in's own making and go back the way it made them.
Harness::~Harness() {
  harnessEnd(this);
  if (data != 0) disposeHandle(nullptr, reinterpret_cast<HostHandle>(data));
  Handle parameters = record.parameters;
  if (parameters != nullptr) disposeHandle(nullptr, parameters);
}

void harnessEnd(Harness* h) {
  if (h->session == nullptr) return;
  endPreviewStart(h->session, &h->data);
  h->session = nullptr;
}

int32_t harnessOutSample(const Harness& h, int32_t x, int32_t y, int32_t k) {
  const FilterRecord& r = h.record;
  int32_t count = r.outHiPlane - r.outLoPlane + 1;
  const uint8_t* row = static_cast<const uint8_t*>(r.outData) + static_cast<size_t>(y) * r.outRowBytes;
  if (h.picture.depth == 16) return reinterpret_cast<const uint16_t*>(row)[x * count + k];
  return row[x * count + k];
}
