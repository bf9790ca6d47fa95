#include "engine/source_row.h"

#include "session/session.h"
#include "engine/render.h"
#include "pi/plugin_interface.h"

namespace {

struct RowCopy {
  const FilterRecord* record;
  const FilterSession* session;
  int32_t row;
  int32_t columns;
  int32_t inStep;      // samples per input pixel: the planes the host delivers
  int32_t outStep;     // samples per output pixel: planes
  bool grey;           // planes below 3: channel 0 carries the picture
  bool transparency;   // editable transparency with a transparency plane
  int32_t alphaIndex;  // inLayerPlanes on the way in, outLayerPlanes out
  int32_t outAlphaIndex;
};

void copyRow8(const RowCopy& copy, const uint8_t* in, uint8_t* out) {
  for (int32_t column = 0; column < copy.columns; ++column, in += copy.inStep, out += copy.outStep) {
    int32_t value[3] = {in[0], copy.grey ? in[0] : in[1], copy.grey ? in[0] : in[2]};
    int32_t m = selectionCoverage(column, copy.row, copy.session);
    if (m > 127) ++m;
    if (copy.transparency) {
      int32_t alpha = in[copy.alphaIndex];
      out[copy.outAlphaIndex] = 255;
      m = (m * alpha) >> 8;
    }
    int32_t c = (((column & 8) ^ (copy.row & 8)) == 0) ? 255 : 204;
    int32_t channels = copy.grey ? 1 : 3;
    for (int32_t k = 0; k < channels; ++k) out[k] = static_cast<uint8_t>((m * value[k] + c * (256 - m)) >> 8);
  }
}

void copyRow16(const RowCopy& copy, const uint16_t* in, uint16_t* out) {
  for (int32_t column = 0; column < copy.columns; ++column, in += copy.inStep, out += copy.outStep) {
    int32_t value[3] = {in[0], copy.grey ? in[0] : in[1], copy.grey ? in[0] : in[2]};
    int32_t m = selectionCoverage(column, copy.row, copy.session);
    if (copy.transparency) {
      int32_t alpha = in[copy.alphaIndex];
      out[copy.outAlphaIndex] = 32768;
      m = (m * alpha) >> 15;
    }
    int32_t c = (((column & 8) ^ (copy.row & 8)) == 0) ? 32640 : 26112;
    int32_t channels = copy.grey ? 1 : 3;
    for (int32_t k = 0; k < channels; ++k) out[k] = static_cast<uint16_t>((m * value[k] + c * (255 - m)) >> 8);
  }
}

}  // namespace

void copySourceRow(FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  if (record == nullptr || sessionParameters(session)->renderTarget != 1) return;
  if (record->inData == nullptr || record->outData == nullptr) return;
  RowCopy copy;
  copy.record = record;
  copy.session = session;
  copy.row = session->currentRow;
  // The preview's outRect is inRect moved to the start of the buffer; the
  // narrower of the two keeps both reads and writes inside their buffers.
  int32_t inWidth = record->inRect.right - record->inRect.left;
  int32_t outWidth = record->outRect.right - record->outRect.left;
  int32_t inHeight = record->inRect.bottom - record->inRect.top;
  int32_t outHeight = record->outRect.bottom - record->outRect.top;
  copy.columns = inWidth < outWidth ? inWidth : outWidth;
  if (copy.columns <= 0 || copy.row < 0 || copy.row >= inHeight || copy.row >= outHeight) return;
  copy.inStep = record->inHiPlane - record->inLoPlane + 1;
  copy.outStep = record->planes;
  if (copy.inStep <= 0 || copy.outStep <= 0) return;
  copy.grey = record->planes < 3;
  copy.transparency = hasHostAlpha(record) && outputHasTransparency(record);
  copy.alphaIndex = record->inLayerPlanes;
  copy.outAlphaIndex = outputAlphaPlane(record);
  if (copy.transparency && (copy.alphaIndex >= copy.inStep || copy.outAlphaIndex >= copy.outStep)) return;

  if (isEightBitImage(record)) {
    const uint8_t* in = static_cast<const uint8_t*>(record->inData) + static_cast<intptr_t>(copy.row) * record->inRowBytes;
    uint8_t* out = static_cast<uint8_t*>(record->outData) + static_cast<intptr_t>(copy.row) * record->outRowBytes;
    copyRow8(copy, in, out);
  } else {
    const uint16_t* in = static_cast<const uint16_t*>(record->inData) +
                         static_cast<intptr_t>(copy.row) * (record->inRowBytes / 2);
    uint16_t* out = static_cast<uint16_t*>(record->outData) + static_cast<intptr_t>(copy.row) * (record->outRowBytes / 2);
    copyRow16(copy, in, out);
  }
}
