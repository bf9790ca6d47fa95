#include "session/session.h"

#include "pi/plugin_interface.h"

bool isEightBitImage(const FilterRecord* record) {
  return (record->imageMode == plugInModeGrayScale || record->imageMode == plugInModeRGBColor) && record->depth < 9;
}

bool hasHostAlpha(const FilterRecord* record) {
  return record->filterCase == filterCaseEditableTransparencyNoSelection ||
         record->filterCase == filterCaseEditableTransparencyWithSelection;
}

namespace {

bool outLayerCountsUnset(const FilterRecord* record) {
  return record->outLayerPlanes == 0 && record->outTransparencyMask == 0 && record->outNonLayerPlanes == 0;
}

}  // namespace

int32_t outputAlphaPlane(const FilterRecord* record) {
  return outLayerCountsUnset(record) ? record->inLayerPlanes : record->outLayerPlanes;
}

bool outputHasTransparency(const FilterRecord* record) {
  return outLayerCountsUnset(record) ? record->inTransparencyMask != 0 : record->outTransparencyMask != 0;
}

void reportProgress(FilterSession* session, int32_t done, int32_t total, int32_t aux) {
  (void)aux;
  EdgeParameters* p = sessionParameters(session);
  if (p->renderTarget != 0) {
    if (p->renderTarget == 2 && session->exportProgress != nullptr && total > 0) {
      const int64_t passes = session->exportPassesDone;
      session->exportProgress(session->exportProgressContext,
                              static_cast<int32_t>((passes * total + done) * 100 / total));
    }
    return;
  }
  FilterWorkArea* work = session->work;
  // At most once in 32 steps unless five or more units went by; always at 0.
  work->progressTick &= 31;
  if (done - work->progressLast >= 5) work->progressTick = 0;
  const FilterRecord* record = session->filterRecord;
  if ((work->progressTick == 0 || done == 0) && record->progressProc != nullptr) record->progressProc(done, total);
  ++work->progressTick;
  work->progressLast = done;
}

void pixelMapInit(PixelMap* map, FilterSession* session, const uint32_t* kernelTable) {
  BufferProcs* procs = nullptr;
  if (session != nullptr && session->filterRecord != nullptr) procs = session->filterRecord->bufferProcs;
  pixelMapReset(map, procs, kernelTable);
  if (map != nullptr) map->session = session;
}
