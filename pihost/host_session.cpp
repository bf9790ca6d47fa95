#include "pihost/host_session.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <utility>
#include <vector>

#include "pihost/host_profiles.h"
#include "platform/threads.h"

namespace {

HostSession* activeSession = nullptr;

bool anyRectSet(const FilterRecord& r) {
  return !rectEmpty(r.inRect) || !rectEmpty(r.outRect) || !rectEmpty(r.maskRect);
}

bool sameRect(const Rect& a, const Rect& b) {
  return a.top == b.top && a.left == b.left && a.bottom == b.bottom && a.right == b.right;
}

// The colour in the image's own mode: RGB as is, grey as its luma.
void filterColorOf(const uint8_t rgb[3], bool grey, FilterColor out) {
  if (grey) {
    const uint8_t v = uint8_t((77 * rgb[0] + 150 * rgb[1] + 28 * rgb[2]) >> 8);
    out[0] = out[1] = out[2] = v;
  } else {
    out[0] = rgb[0];
    out[1] = rgb[1];
    out[2] = rgb[2];
  }
  out[3] = 0;
}

RGBColor rgbColorOf(const uint8_t rgb[3]) {
  return RGBColor{uint16_t(rgb[0] * 257), uint16_t(rgb[1] * 257), uint16_t(rgb[2] * 257)};
}

Fixed fixedOf(double value) { return Fixed(value * 65536.0); }

// Copies the output of the last advanceState into the filtered picture.
void commitPendingOutput(HostSession* s) {
  if (s->outputPending && s->commitOutput) {
    commitImageRect(&s->filtered, s->outBuffer, s->pendingOutRect, s->pendingOutLoPlane, s->pendingOutHiPlane,
                    s->record.filterRect);
  }
  s->outputPending = false;
}

// Tells a streaming host which rows the coming buffers take and where the
// output stands, and waits until the rows are there.
void announceRows(HostSession* s) {
  const FilterRecord& r = s->record;
  int32_t top = INT32_MAX, bottom = INT32_MIN;
  auto take = [&](const Rect& rect, int64_t rate) {
    if (rectEmpty(rect)) return;
    // A sampled rectangle counts in steps of `rate` picture rows.
    top = std::min<int32_t>(top, int32_t((rect.top * rate) >> 16));
    bottom = std::max<int32_t>(bottom, int32_t((int64_t(rect.bottom - 1) * rate >> 16) + 1));
  };
  take(r.inRect, r.samplingSupport != 0 && r.inputRate > 0 ? r.inputRate : 0x10000);
  take(r.outRect, 0x10000);
  if (top >= bottom) top = bottom = 0;
  s->rowsHook(s->rowsHookContext, top, bottom, rectEmpty(r.outRect) ? -1 : r.outRect.top);
}

// What advanceState hands out for one rectangle: a buffer of the host's, or
// rows lent from the picture itself.
struct Served {
  uint8_t* data = nullptr;
  int32_t rowBytes = 0;
  int32_t samplesPerPixel = 0;
};

Served servedBuffer(HostBuffer* buffer) {
  if (buffer->bytes.empty()) return Served{};
  return Served{buffer->bytes.data(), buffer->rowBytes, buffer->samplesPerPixel};
}

bool insideRect(const Rect& inner, const Rect& outer) {
  return inner.top >= outer.top && inner.left >= outer.left && inner.bottom <= outer.bottom &&
         inner.right <= outer.right;
}

// Serves the record's rectangles, from the picture's own rows where the
// session may lend them, else cut into the host's buffers.
OSErr fillBuffers(HostSession* s) {
  FilterRecord& r = s->record;
  commitPendingOutput(s);
  r.inData = r.outData = r.maskData = nullptr;
  r.inRowBytes = r.outRowBytes = r.maskRowBytes = 0;
  if (hostProfileAt(s->options.hostProfile).cannotBearNullData) r.inData = r.outData = s->idleData;
  clearHostBuffer(&s->inBuffer);
  clearHostBuffer(&s->outBuffer);
  clearHostBuffer(&s->maskBuffer);
  if (s->rowsHook) announceRows(s);

  const bool sampling = r.samplingSupport != 0;
  const int32_t bytesPerSample = s->source.depth == 16 ? 2 : 1;
  const int32_t rowPadding = s->options.rowPaddingBytes + hostProfileAt(s->options.hostProfile).rowPaddingBytes;
  LentRows lent;

  CutRequest in;
  in.rect = r.inRect;
  in.loPlane = r.inLoPlane;
  in.hiPlane = r.inHiPlane;
  in.rate = sampling ? r.inputRate : 0x10000;
  in.padding = r.inputPadding;
  in.rowPaddingBytes = rowPadding;
  Served input;
  if (s->lendPictureRows && lendImageRows(&s->source, in, &lent)) {
    input = Served{lent.first, lent.rowBytes, in.hiPlane - in.loPlane + 1};
  } else {
    const OSErr err = cutImageRect(s->source, in, &s->inBuffer);
    if (err != noErr) return err;
    input = servedBuffer(&s->inBuffer);
  }

  CutRequest out;
  out.rect = r.outRect;
  out.loPlane = r.outLoPlane;
  out.hiPlane = r.outHiPlane;
  out.padding = r.outputPadding;
  out.rowPaddingBytes = rowPadding;
  // Output written into the picture itself is committed as it is written,
  // so only a rectangle that a commit would take whole can be lent.
  Served output;
  const bool lendOutput = s->lendPictureRows && s->commitOutput && insideRect(out.rect, r.filterRect);
  if (lendOutput && lendImageRows(&s->filtered, out, &lent)) {
    output = Served{lent.first, lent.rowBytes, out.hiPlane - out.loPlane + 1};
  } else {
    const OSErr err = cutImageRect(s->filtered, out, &s->outBuffer);
    if (err != noErr) return err;
    output = servedBuffer(&s->outBuffer);
    if (output.data) {
      s->outputPending = true;
      s->pendingOutRect = r.outRect;
      s->pendingOutLoPlane = r.outLoPlane;
      s->pendingOutHiPlane = r.outHiPlane;
    }
  }

  Served maskRows;
  if (s->haveMask && r.haveMask) {
    CutRequest m;
    m.rect = r.maskRect;
    m.rate = sampling ? r.maskRate : 0x10000;
    m.padding = r.maskPadding;
    if (s->lendPictureRows && lendMaskRows(&s->mask, m, &lent)) {
      maskRows = Served{lent.first, lent.rowBytes, 1};
    } else {
      const OSErr err = cutMaskRect(s->mask, m, &s->maskBuffer);
      if (err != noErr) return err;
      maskRows = servedBuffer(&s->maskBuffer);
    }
  }

  if (input.data) {
    r.inData = input.data;
    r.inRowBytes = input.rowBytes;
    r.inColumnBytes = input.samplesPerPixel * bytesPerSample;
    r.inPlaneBytes = bytesPerSample;
  }
  if (output.data) {
    r.outData = output.data;
    r.outRowBytes = output.rowBytes;
    r.outColumnBytes = output.samplesPerPixel * bytesPerSample;
    r.outPlaneBytes = bytesPerSample;
  }
  if (maskRows.data) {
    r.maskData = maskRows.data;
    r.maskRowBytes = maskRows.rowBytes;
  }
  return noErr;
}

void callSelector(HostSession* s, PluginEntryProc entry, int16_t selector) {
  s->lastSelector = selector;
  s->result = 0;
  entry(selector, &s->record, &s->data, &s->result);
  // Such a host reads through these pointers after every call.
  if (hostProfileAt(s->options.hostProfile).cannotBearNullData && s->protocolError.empty() &&
      (s->record.inData == nullptr || s->record.outData == nullptr)) {
    s->protocolError = "the plug-in set inData or outData to null, which a keeps-data host cannot bear";
    if (s->result == 0) s->result = errPlugInHostInsufficient;
  }
}

// What the profile changes in the filled record.
void applyHostProfile(HostSession* s, const HostProfile& profile) {
  FilterRecord& r = s->record;
  if (profile.zeroSuiteVersions) {
    s->services.bufferProcs.bufferProcsVersion = 0;
    s->services.handleProcs.handleProcsVersion = 0;
  }
  if (profile.noDescriptorsCaseZero) {
    r.descriptorParameters = nullptr;
    r.filterCase = 0;  // older hosts leave the case unset
  }
  if (profile.zeroOutLayerPlanes) r.outLayerPlanes = r.outNonLayerPlanes = r.outTransparencyMask = 0;
  if (profile.hostSig != 0) r.hostSig = profile.hostSig;
  if (profile.cannotBearNullData) r.inData = r.outData = s->idleData;
}

void setLayerLayout(FilterRecord* r, const HostImage& image) {
  const int16_t planes = int16_t(imagePlanes(image));
  if (image.hasAlpha) {
    // A layer with editable transparency: colour planes, then the transparency plane.
    r->inLayerPlanes = r->outLayerPlanes = r->absLayerPlanes = int16_t(image.colorPlanes);
    r->inTransparencyMask = r->outTransparencyMask = r->absTransparencyMask = 1;
    r->inNonLayerPlanes = r->outNonLayerPlanes = r->absNonLayerPlanes = 0;
  } else {
    r->inLayerPlanes = r->outLayerPlanes = r->absLayerPlanes = 0;
    r->inTransparencyMask = r->outTransparencyMask = r->absTransparencyMask = 0;
    r->inNonLayerPlanes = r->outNonLayerPlanes = r->absNonLayerPlanes = planes;
  }
}

}  // namespace

bool hostSessionSetup(HostSession* s, const HostOptions& options, HostImage picture, const HostMask* mask,
                      std::string* error) {
  s->options = options;
  s->source = std::move(picture);
  hostImageToLargePages(&s->source);
  s->filtered = hostImageCopy(s->source);
  const HostImage& source = s->source;
  s->haveMask = mask != nullptr;
  if (mask) {
    if (mask->width != source.width || mask->height != source.height) {
      *error = "the mask is not the picture's size";
      return false;
    }
    s->mask = *mask;
  }
  if (source.width < 1 || source.height < 1 || source.width > INT16_MAX || source.height > INT16_MAX) {
    *error = "the picture must be 1..32767 pixels on each side";
    return false;
  }

  Rect filterRect{0, 0, int16_t(source.height), int16_t(source.width)};
  if (options.haveSelection) {
    if (options.selectionRight > source.width || options.selectionBottom > source.height) {
      *error = "selection " + std::to_string(options.selectionLeft) + "," + std::to_string(options.selectionTop) +
               "," + std::to_string(options.selectionRight) + "," + std::to_string(options.selectionBottom) +
               " lies outside the " + std::to_string(source.width) + "x" + std::to_string(source.height) +
               " picture";
      return false;
    }
    filterRect = Rect{int16_t(options.selectionTop), int16_t(options.selectionLeft),
                      int16_t(options.selectionBottom), int16_t(options.selectionRight)};
  }

  hostServicesInit(&s->services);
  s->services.bufferProcs.bufferProcsVersion = options.bufferProcsVersion;
  s->services.failAllocateSize = options.failAllocateSize;
  s->services.failAllocation = options.failAllocation;
  s->services.cancelAfter = options.cancelAfter;

  FilterRecord& r = s->record;
  std::memset(&r, 0, sizeof r);
  const bool grey = source.colorPlanes < 3;
  r.abortProc = hostAbortProc;
  r.progressProc = hostProgressProc;
  r.imageSize = Point{int16_t(source.height), int16_t(source.width)};
  r.planes = int16_t(imagePlanes(source));
  r.filterRect = filterRect;
  r.background = rgbColorOf(options.background);
  r.foreground = rgbColorOf(options.foreground);
  r.maxSpace = 1 << 30;
  r.haveMask = s->haveMask ? 1 : 0;
  r.autoMask = 1;
  filterColorOf(options.background, grey, r.backColor);
  filterColorOf(options.foreground, grey, r.foreColor);
  r.hostSig = options.hostSig;
  r.imageMode = hostImageMode(source);
  r.imageHRes = r.imageVRes = 72 << 16;
  r.wholeSize = r.imageSize;
  r.monitor = PlugInMonitor{fixedOf(2.2),  fixedOf(0.64), fixedOf(0.33),   fixedOf(0.30), fixedOf(0.60),
                            fixedOf(0.15), fixedOf(0.06), fixedOf(0.3127), fixedOf(0.3290), 0};
  r.platformData = &s->platform;
  r.bufferProcs = options.bufferProcs ? &s->services.bufferProcs : nullptr;
  r.displayPixels = options.displayPixels ? hostDisplayPixels : nullptr;
  r.handleProcs = options.handleProcs ? &s->services.handleProcs : nullptr;
  r.filterCase = source.hasAlpha ? (s->haveMask ? filterCaseEditableTransparencyWithSelection
                                                : filterCaseEditableTransparencyNoSelection)
                                 : (s->haveMask ? filterCaseFlatImageWithSelection : filterCaseFlatImageNoSelection);
  r.dummyPlaneValue = -1;
  r.advanceState = options.advanceState ? hostAdvanceState : nullptr;
  r.supportsPadding = 1;
  r.inputPadding = r.outputPadding = r.maskPadding = plugInDoesNotWantPadding;
  r.samplingSupport = options.sampling ? 1 : 0;
  r.inputRate = r.maskRate = 0x10000;
  setLayerLayout(&r, source);
  r.inTileHeight = r.inTileWidth = r.absTileHeight = r.absTileWidth = 256;
  r.outTileHeight = r.outTileWidth = r.maskTileHeight = r.maskTileWidth = 256;
  r.errorString = &s->errorString;
  r.depth = source.depth;

  if (options.descriptors) {
    PIDescriptorParameters& d = s->descriptorParameters;
    d.descriptorParametersVersion = kCurrentDescriptorParametersVersion;
    d.playInfo = options.dialog ? plugInDialogDisplay : plugInDialogDontDisplay;
    d.recordInfo = plugInDialogOptional;
    d.descriptor = descriptorHandleFromItems(options.descriptorItems);
    s->playedDescriptor = d.descriptor;
    d.readDescriptorProcs = &s->services.readDescriptorProcs;
    d.writeDescriptorProcs = &s->services.writeDescriptorProcs;
    r.descriptorParameters = &d;
  }
  applyHostProfile(s, hostProfileAt(options.hostProfile));
  return true;
}

OSErr PI_CALL hostAdvanceState(void) {
  if (!activeSession) return paramErr;
  activeSession->advanceCalls++;
  return fillBuffers(activeSession);
}

int16_t hostSessionRun(HostSession* s, PluginEntryProc entry) {
  activeSession = s;
  hostServicesActivate(&s->services);
  s->protocolError.clear();

  bool ok = true;
  if (s->options.dialog) {
    callSelector(s, entry, filterSelectorParameters);
    ok = s->result == 0;
  }
  if (ok) {
    callSelector(s, entry, filterSelectorPrepare);
    ok = s->result == 0;
  }
  if (ok) {
    callSelector(s, entry, filterSelectorStart);
    commitPendingOutput(s);
    ok = s->result == 0;
  }

  // A plug-in that leaves rectangles set wants the host to fill them and
  // call Continue, until it clears them.
  Rect lastIn{}, lastOut{}, lastMask{};
  int repeats = 0;
  while (ok && anyRectSet(s->record)) {
    const FilterRecord& r = s->record;
    repeats = (sameRect(r.inRect, lastIn) && sameRect(r.outRect, lastOut) && sameRect(r.maskRect, lastMask))
                  ? repeats + 1
                  : 0;
    lastIn = r.inRect;
    lastOut = r.outRect;
    lastMask = r.maskRect;
    if (s->continueCalls >= kMaxContinueCalls || repeats >= kMaxRepeatedRequests) {
      s->protocolError = "the plug-in never emptied its rectangles (" + std::to_string(s->continueCalls) +
                         " Continue calls)";
      s->result = errPlugInHostInsufficient;
      ok = false;
      break;
    }
    const OSErr err = fillBuffers(s);
    if (err != noErr) {
      s->result = err;
      ok = false;
      break;
    }
    s->continueCalls++;
    callSelector(s, entry, filterSelectorContinue);
    commitPendingOutput(s);
    ok = s->result == 0;
  }

  if (ok && !hostProfileAt(s->options.hostProfile).skipsFinish) {
    callSelector(s, entry, filterSelectorFinish);
    if (s->record.descriptorParameters && s->record.descriptorParameters->descriptor) {
      s->haveReturnedDescriptor =
          descriptorItemsFromHandle(s->record.descriptorParameters->descriptor, &s->returnedDescriptor);
    }
  }
  hostProgressFinish(&s->services);
  if (!s->protocolError.empty() && s->result == 0) s->result = errPlugInHostInsufficient;
  // No buffer of the host outlives the run.
  s->record.inData = s->record.outData = s->record.maskData = nullptr;
  s->inBuffer = s->outBuffer = s->maskBuffer = HostBuffer{};
  activeSession = nullptr;
  platformStopWorkers();  // the host's copy threads end with the run
  return s->result;
}

void hostSessionActivate(HostSession* s) {
  activeSession = s;
  hostServicesActivate(&s->services);
}

void hostSessionCallSelector(HostSession* s, PluginEntryProc entry, int16_t selector) { callSelector(s, entry, selector); }

void hostSessionDeactivate(HostSession* s) {
  commitPendingOutput(s);
  hostProgressFinish(&s->services);
  s->record.inData = s->record.outData = s->record.maskData = nullptr;
  s->inBuffer = s->outBuffer = s->maskBuffer = HostBuffer{};
  activeSession = nullptr;
  platformStopWorkers();
}

void hostSessionComposeResult(const HostSession& s, HostImage* result) {
  const HostMask* mask = (s.haveMask && s.record.autoMask) ? &s.mask : nullptr;
  blendByMask(s.source, s.filtered, mask, s.record.filterRect, result);
  platformStopWorkers();
}

void hostSessionComposeInPlace(HostSession* s) {
  const HostMask* mask = (s->haveMask && s->record.autoMask) ? &s->mask : nullptr;
  blendByMaskInPlace(s->source, mask, s->record.filterRect, &s->filtered);
  platformStopWorkers();
}

int64_t hostSessionLeakedBlocks(const HostSession& s) {
  int64_t leaked = int64_t(s.services.liveBuffers.size());
  for (const auto& entry : s.services.liveHandles) {
    void* handle = entry.first;
    const bool kept = handle == reinterpret_cast<void*>(s.data) || handle == static_cast<void*>(s.record.parameters) ||
                      handle == static_cast<void*>(s.descriptorParameters.descriptor) ||
                      handle == static_cast<void*>(s.playedDescriptor);
    if (!kept) leaked++;
  }
  return leaked;
}

void hostSessionRelease(HostSession* s) {
  // A host keeps a filter's session word and parameter handle for its next
  // use for as long as it runs. When they are not handles of ours (no handle
  // procedures, or a suite the plug-in would not use) they are the plug-in's
  // own memory, which only the plug-in could free; kept here they stay
  // reachable until the process ends instead of counting as lost.
  static auto* keptForNextUse = new std::vector<intptr_t>();
  for (const intptr_t word : {s->data, reinterpret_cast<intptr_t>(s->record.parameters)})
    if (word != 0 && s->services.liveHandles.count(reinterpret_cast<void*>(word)) == 0)
      keptForNextUse->push_back(word);
  hostServicesRelease(&s->services);
  s->record.descriptorParameters = nullptr;
  s->descriptorParameters.descriptor = nullptr;
  if (activeSession == s) activeSession = nullptr;
}

std::string resultCodeMeaning(int16_t result) {
  switch (result) {
    case noErr: return "noErr: success";
    case 1: return "the plug-in stopped: start-up refused or run buffers missing";
    case 999: return "the plug-in could not make its stroke plane";
    case readErr: return "readErr: read error";
    case writErr: return "writErr: write error";
    case paramErr: return "paramErr: bad parameter";
    case memFullErr: return "memFullErr: out of memory";
    case nilHandleErr: return "nilHandleErr: bad handle";
    case userCanceledErr: return "userCanceledErr: cancelled";
    case errAEParamMissed: return "errAEParamMissed: descriptor keys left unread";
    case errAEWrongDataType: return "errAEWrongDataType: descriptor value of the wrong type";
    case filterBadParameters: return "filterBadParameters: bad parameters";
    case filterBadMode: return "filterBadMode: image mode not supported";
    case errPlugInHostInsufficient: return "errPlugInHostInsufficient: the host cannot serve the plug-in";
    case errReportString: return "errReportString: the plug-in reported a message";
    default: return "unknown result code";
  }
}
