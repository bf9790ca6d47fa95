#include "engine/pixel_loop.h"

#include <vector>

#include "session/session.h"
#include "engine/render.h"
#include "pi/plugin_interface.h"

int32_t* edgeRowBuffer(int32_t columns) {
  static std::vector<int32_t> buffer;
  if (buffer.size() < static_cast<size_t>(columns) + 1) buffer.resize(static_cast<size_t>(columns) + 1);
  return buffer.data();
}

void preparePixelLoop(PixelLoop* loop, FilterSession* session, const uint8_t ramp[256][4]) {
  const FilterRecord* record = session->filterRecord;
  const EdgeParameters* p = sessionParameters(session);
  loop->session = session;
  loop->record = record;
  loop->eightBit = isEightBitImage(record);
  loop->greyImage = record->planes < 3;
  loop->flip = p->flip != 0;
  loop->transparency = hasHostAlpha(record);
  loop->maxValue = loop->eightBit ? 255 : 32768;
  loop->target = p->renderTarget;
  loop->rows = record->outRect.bottom - record->outRect.top;
  loop->columns = record->outRect.right - record->outRect.left;
  if (loop->rows < 0) loop->rows = 0;
  if (loop->columns < 0) loop->columns = 0;
  loop->ramp = ramp;
  loop->glue = p->glue == 1 ? nullptr : glueFunction(p->glue, loop->eightBit ? 8 : 16);
  if (loop->glue == glueKeepTop) loop->glue = nullptr;
  loop->glueRow = loop->glue ? glueRowFunction(p->glue, loop->eightBit ? 8 : 16) : nullptr;
  loop->glueTables = &session->work->glueTables;
  // Hosts from before the column-bytes field leave it 0; a pixel then takes
  // the planes the host delivers.
  int32_t sampleBytes = loop->eightBit ? 1 : 2;
  int32_t columnBytes = record->outColumnBytes;
  if (columnBytes <= 0) columnBytes = (record->outHiPlane - record->outLoPlane + 1) * sampleBytes;
  loop->out = static_cast<uint8_t*>(record->outData);
  loop->outRowStep = record->outRowBytes / sampleBytes;
  loop->outColumnStep = columnBytes / sampleBytes;
  loop->alphaIndex = outputAlphaPlane(record);
  loop->exportMap = session->work->exportTarget;
  loop->tileLeft = session->tileLeft;
  loop->tileTop = session->tileTop;
}

namespace {

template <typename Sample>
void readBase(const PixelMap* tile, int32_t x, int32_t y, bool grey, int32_t base[3], int32_t* alpha);

template <>
void readBase<uint8_t>(const PixelMap* tile, int32_t x, int32_t y, bool grey, int32_t base[3], int32_t* alpha) {
  const uint8_t* s = pixelAddress(tile, x, y, 0);
  base[0] = s[0];
  base[1] = grey ? s[0] : s[1];
  base[2] = grey ? s[0] : s[2];
  *alpha = s[3];
}

template <>
void readBase<uint16_t>(const PixelMap* tile, int32_t x, int32_t y, bool, int32_t base[3], int32_t* alpha) {
  const uint16_t* s = reinterpret_cast<const uint16_t*>(pixelAddress(tile, x, y, 0));
  // A 16-bit tile holds grey in all three channels already.
  base[0] = s[0];
  base[1] = s[1];
  base[2] = s[2];
  *alpha = 32768;  // the tile's own alpha is not read at 16 bits
}

// The three stores. Each is instantiated with the loop, so the choice of
// target is made once per row, not per pixel.
template <typename Sample>
inline void storeFinal(const PixelLoop& loop, int32_t row, int32_t column, const int32_t top[3], int32_t alpha) {
  Sample* out = reinterpret_cast<Sample*>(loop.out) + row * loop.outRowStep + column * loop.outColumnStep;
  out[0] = static_cast<Sample>(top[0]);
  if (!loop.greyImage) {
    out[1] = static_cast<Sample>(top[1]);
    out[2] = static_cast<Sample>(top[2]);
  }
  if (loop.transparency) out[loop.alphaIndex] = static_cast<Sample>(alpha);
}

// The preview: composed over a checkerboard of 8-sample checks, aligned to
// the output rectangle, weighted by the selection's coverage.
template <typename Sample>
inline void storePreview(const PixelLoop& loop, const RowCoverage& coverage, int32_t row, int32_t column,
                         const int32_t top[3], int32_t alpha) {
  constexpr bool eight = sizeof(Sample) == 1;
  Sample* out = reinterpret_cast<Sample*>(loop.out) + row * loop.outRowStep + column * loop.outColumnStep;
  const int32_t channels = loop.greyImage ? 1 : 3;
  int32_t m = coverageAt(coverage, column);
  const bool light = ((column ^ row) & 8) == 0;
  if (eight) {
    if (m > 127) ++m;
    if (loop.transparency) {
      out[loop.alphaIndex] = 255;
      m = (m * alpha) >> 8;
    }
    const int32_t c = light ? 255 : 204;
    for (int32_t k = 0; k < channels; ++k) out[k] = static_cast<Sample>((m * top[k] + c * (256 - m)) >> 8);
  } else {
    if (loop.transparency) {
      out[loop.alphaIndex] = 32768;
      m = (m * alpha) >> 15;
    }
    const int32_t c = light ? 32640 : 26112;
    for (int32_t k = 0; k < channels; ++k) out[k] = static_cast<Sample>((m * top[k] + c * (255 - m)) >> 8);
  }
}

// An export map at the tile's place in the picture; a 16-bit picture into an
// 8-bit map is narrowed channel by channel.
template <typename Sample>
inline void storeExport(const PixelLoop& loop, int32_t row, int32_t column, const int32_t top[3], int32_t alpha) {
  constexpr bool eight = sizeof(Sample) == 1;
  PixelMap* map = loop.exportMap;
  if (map == nullptr) return;
  int32_t c0 = top[0], c1 = loop.greyImage ? top[0] : top[1], c2 = loop.greyImage ? top[0] : top[2];
  const int32_t x = column + loop.tileLeft, y = row + loop.tileTop;
  if (map->format == PIXEL_RGBA8) {
    if (!eight) {
      auto narrow = [](int32_t v) {
        v = (v + 1) >> 7;
        return v > 255 ? 255 : v;
      };
      c0 = narrow(c0), c1 = narrow(c1), c2 = narrow(c2), alpha = narrow(alpha);
    }
    setBytes4(x, y, map, 0, c0, c1, c2, alpha);
  } else if (map->format == PIXEL_RGBA16) {
    setWords4(x, y, map, 0, c0, c1, c2, alpha);
  }
}

// The top colour of edge value e: the ramp's entry at 8 bits, two entries
// blended with 7 fraction bits at 16; a grey image takes the luma into its
// first channel and keeps the other two for the glue modes that read them.
template <typename Sample>
inline void rampColour(const PixelLoop& loop, int32_t e, int32_t top[3]) {
  if (sizeof(Sample) == 1) {
    const uint8_t* entry = loop.ramp[e];
    top[0] = entry[0], top[1] = entry[1], top[2] = entry[2];
  } else {
    int32_t i = (e + 1) >> 7;
    if (i > 255) i = 255;
    const int32_t j = i + 1 > 255 ? 255 : i + 1;
    const int32_t f = e & 127;
    for (int32_t k = 0; k < 3; ++k) top[k] = loop.ramp[i][k] * (128 - f) + loop.ramp[j][k] * f;
  }
  if (loop.greyImage) top[0] = (top[0] * 77 + top[1] * 150 + top[2] * 28) >> 8;
}

template <typename Sample, int Target, bool Glued>
void shadeRowOf(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  const int32_t maxValue = loop.maxValue;
  const bool flip = applyFlip && loop.flip;
  const RowCoverage coverage = Target == 1 ? rowCoverage(loop.session, row) : RowCoverage{nullptr, 0, -1};
  for (int32_t column = 0; column < loop.columns; ++column) {
    int32_t e = edges[column];
    int32_t base[3], alpha;
    readBase<Sample>(tile, column + TILE_MARGIN, row + TILE_MARGIN, loop.greyImage, base, &alpha);
    if (flip) e = maxValue - e;
    int32_t top[3];
    rampColour<Sample>(loop, e, top);
    if (Glued) loop.glue(top, base, *loop.glueTables);
    if (Target == 0)
      storeFinal<Sample>(loop, row, column, top, alpha);
    else if (Target == 1)
      storePreview<Sample>(loop, coverage, row, column, top, alpha);
    else
      storeExport<Sample>(loop, row, column, top, alpha);
  }
}

// The same for a mode with a row form: tops and bases of the whole row
// first, then the mode over the row, then the stores.
template <typename Sample, int Target>
void shadeRowByRow(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  const int32_t maxValue = loop.maxValue;
  const bool flip = applyFlip && loop.flip;
  const int32_t count = loop.columns;
  static std::vector<int32_t> rowValues;
  if (rowValues.size() < static_cast<size_t>(count) * 7) rowValues.resize(static_cast<size_t>(count) * 7);
  int32_t* tops = rowValues.data();
  int32_t* bases = tops + static_cast<size_t>(count) * 3;
  int32_t* alphas = bases + static_cast<size_t>(count) * 3;
  for (int32_t column = 0; column < count; ++column) {
    int32_t e = edges[column];
    readBase<Sample>(tile, column + TILE_MARGIN, row + TILE_MARGIN, loop.greyImage, bases + 3 * column,
                     alphas + column);
    if (flip) e = maxValue - e;
    rampColour<Sample>(loop, e, tops + 3 * column);
  }
  loop.glueRow(tops, bases, count, *loop.glueTables);
  const RowCoverage coverage = Target == 1 ? rowCoverage(loop.session, row) : RowCoverage{nullptr, 0, -1};
  for (int32_t column = 0; column < count; ++column) {
    const int32_t* top = tops + 3 * column;
    if (Target == 0)
      storeFinal<Sample>(loop, row, column, top, alphas[column]);
    else if (Target == 1)
      storePreview<Sample>(loop, coverage, row, column, top, alphas[column]);
    else
      storeExport<Sample>(loop, row, column, top, alphas[column]);
  }
}

template <typename Sample, int Target>
void shadeRowFor(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  if (loop.glueRow != nullptr)
    shadeRowByRow<Sample, Target>(loop, row, edges, tile, applyFlip);
  else if (loop.glue != nullptr)
    shadeRowOf<Sample, Target, true>(loop, row, edges, tile, applyFlip);
  else
    shadeRowOf<Sample, Target, false>(loop, row, edges, tile, applyFlip);
}

template <typename Sample>
void shadeRowAt(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  switch (loop.target) {
    case 0:
      if (loop.out != nullptr) shadeRowFor<Sample, 0>(loop, row, edges, tile, applyFlip);
      break;
    case 1:
      if (loop.out != nullptr) shadeRowFor<Sample, 1>(loop, row, edges, tile, applyFlip);
      break;
    case 2:
      shadeRowFor<Sample, 2>(loop, row, edges, tile, applyFlip);
      break;
    default:
      break;
  }
}

}  // namespace

void shadeRow(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  if (loop.eightBit)
    shadeRowAt<uint8_t>(loop, row, edges, tile, applyFlip);
  else
    shadeRowAt<uint16_t>(loop, row, edges, tile, applyFlip);
}
