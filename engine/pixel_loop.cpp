#include "engine/pixel_loop.h"

#include <emmintrin.h>

#include <cstring>
#include <memory>
#include <vector>

#include "session/session.h"
#include "engine/field_kernels.h"
#include "engine/render.h"
#include "pi/plugin_interface.h"
#include "platform/threads.h"

namespace {

// Rows per band: small enough that a tile's 256 rows keep every thread busy.
constexpr int32_t SHADE_BAND_ROWS = 8;

// Glue caches for the worker threads: the modes write their caches as they
// go, so each thread has its own. An entry holds exactly what the
// conversion gives from the Lab tables in use, so the caches are kept from
// run to run and emptied only when those tables change; the tables the
// modes read are copied from the run's own each time.
const GlueTables* slotGlueTables(const GlueTables& runTables, int32_t slot) {
  static std::vector<std::unique_ptr<GlueTables>> slots;
  if (slot == 0) return &runTables;
  if (static_cast<int32_t>(slots.size()) < slot) slots.resize(static_cast<size_t>(slot));
  std::unique_ptr<GlueTables>& tables = slots[static_cast<size_t>(slot) - 1];
  if (!tables) tables.reset(new GlueTables());
  if (tables->labForward != runTables.labForward || tables->labInverse != runTables.labInverse ||
      tables->labAxis16 != runTables.labAxis16)
    std::memset(tables.get(), 0, sizeof(GlueTables));  // all zero bytes: empty caches
  std::memcpy(tables->tentTable, runTables.tentTable, sizeof(runTables.tentTable));
  tables->labForward = runTables.labForward;
  tables->labInverse = runTables.labInverse;
  tables->labAxis16 = runTables.labAxis16;
  return tables.get();
}

// Each thread's edge row and glue tables, by worker slot.
struct ShadeScratch {
  int32_t* edgeRows;
  size_t edgeStride;
  const GlueTables* const* tables;
};

// Scratch of the calling thread, sized for the widest run so far.
ShadeScratch prepareShadeScratch(const PixelLoop& loop, int32_t threads) {
  static std::vector<int32_t> edgeRows;
  static std::vector<const GlueTables*> tables;
  const size_t stride = static_cast<size_t>(loop.columns) + 1;
  if (edgeRows.size() < stride * threads) edgeRows.resize(stride * threads);
  tables.resize(static_cast<size_t>(threads));
  for (int32_t slot = 0; slot < threads; ++slot) tables[slot] = slotGlueTables(*loop.glueTables, slot);
  return {edgeRows.data(), stride, tables.data()};
}

struct ShadeJob {
  const PixelLoop* loop;
  ShadeRowTask task;
  const void* context;
  ShadeScratch scratch;
};

// Core rows [begin, end) on the running thread, with its own scratch.
void shadeRowRange(const ShadeJob& job, int32_t begin, int32_t end) {
  const int32_t slot = platformWorkerSlot();
  PixelLoop loop = *job.loop;
  loop.glueTables = job.scratch.tables[slot];
  int32_t* edges = job.scratch.edgeRows + static_cast<size_t>(slot) * job.scratch.edgeStride;
  if (begin < 0) begin = 0;
  if (end > loop.rows) end = loop.rows;
  // The output rows are the host's and far apart: the lines of the next row
  // are asked for, to be written, while this one is shaded.
  const intptr_t sampleBytes = loop.eightBit ? 1 : 2;
  const intptr_t rowBytes = loop.outRowStep * sampleBytes;
  const intptr_t usedBytes = static_cast<intptr_t>(loop.columns) * loop.outColumnStep * sampleBytes;
  for (int32_t row = begin; row < end; ++row) {
    if (loop.out != nullptr && row + 1 < end) {
      const uint8_t* next = loop.out + (row + 1) * rowBytes;
      for (intptr_t at = 0; at < usedBytes; at += 64) __builtin_prefetch(next + at, 1);
    }
    job.task(job.context, loop, row, edges);
  }
}

void shadeBand(void* context, int32_t band) {
  const int32_t begin = band * SHADE_BAND_ROWS;
  shadeRowRange(*static_cast<const ShadeJob*>(context), begin, begin + SHADE_BAND_ROWS);
}

// Field rows [rowBegin, rowEnd) are done: core row r reads field row r + 1.
void shadeFieldRows(void* context, int32_t rowBegin, int32_t rowEnd) {
  shadeRowRange(*static_cast<const ShadeJob*>(context), rowBegin - 1, rowEnd - 1);
}

}  // namespace

void shadeRowsInBands(const PixelLoop& loop, ShadeRowTask task, const void* context) {
  if (loop.rows <= 0) return;
  const int32_t bands = (loop.rows + SHADE_BAND_ROWS - 1) / SHADE_BAND_ROWS;
  int32_t threads = renderThreads();
  if (threads > bands) threads = bands;
  ShadeJob job{&loop, task, context, prepareShadeScratch(loop, threads)};
  platformRunParts(shadeBand, &job, bands, threads);
}

void shadeRowsWithField(const PixelLoop& loop, const EdgeFieldRequest& field, ShadeRowTask task,
                        const void* context) {
  // The field takes at most renderThreads() threads; every slot gets scratch.
  ShadeJob job{&loop, task, context, prepareShadeScratch(loop, renderThreads())};
  computeEdgeFieldInBands(field, loop.rows > 0 ? shadeFieldRows : nullptr, &job);
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

// The same for a mode with a row form: tops and bases of a stretch of the
// row first, then the mode over the stretch, then the stores. The modes
// treat every pixel alone, so stretches give the bytes of the whole row,
// and their scratch lives on the stack of whichever thread runs the row.
template <typename Sample, int Target>
void shadeRowByRow(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  constexpr int32_t STRETCH = 128;
  const int32_t maxValue = loop.maxValue;
  const bool flip = applyFlip && loop.flip;
  const RowCoverage coverage = Target == 1 ? rowCoverage(loop.session, row) : RowCoverage{nullptr, 0, -1};
  int32_t tops[STRETCH * 3], bases[STRETCH * 3], alphas[STRETCH];
  for (int32_t start = 0; start < loop.columns; start += STRETCH) {
    const int32_t count = loop.columns - start < STRETCH ? loop.columns - start : STRETCH;
    for (int32_t i = 0; i < count; ++i) {
      int32_t e = edges[start + i];
      readBase<Sample>(tile, start + i + TILE_MARGIN, row + TILE_MARGIN, loop.greyImage, bases + 3 * i, alphas + i);
      if (flip) e = maxValue - e;
      rampColour<Sample>(loop, e, tops + 3 * i);
    }
    loop.glueRow(tops, bases, count, *loop.glueTables);
    for (int32_t i = 0; i < count; ++i) {
      const int32_t* top = tops + 3 * i;
      const int32_t column = start + i;
      if (Target == 0)
        storeFinal<Sample>(loop, row, column, top, alphas[i]);
      else if (Target == 1)
        storePreview<Sample>(loop, coverage, row, column, top, alphas[i]);
      else
        storeExport<Sample>(loop, row, column, top, alphas[i]);
    }
  }
}

// A pixel's four bytes (the tile's RGBA, a ramp entry) as four words, in
// SSE2 (every x86-64 CPU has it): each byte followed by three zero bytes.
inline void widenFourBytes(const uint8_t* from, int32_t* to) {
  int32_t word;
  std::memcpy(&word, from, sizeof word);
  const __m128i zero = _mm_setzero_si128();
  const __m128i words = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(word), zero), zero);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), words);
}

// shadeRowByRow for the common final render at 8 bits: grey and alpha are
// chosen once per row and the tile, the ramp and the output are walked by
// pointer, so the loops carry no per-pixel choices. In colour, a pixel's
// top and base are stored as four words each, the fourth overwritten by the
// next pixel's; a packed RGB output takes the stretch's words as bytes in
// one loop.
template <bool Grey, bool Alpha>
void shadeRowByRow8(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool flip) {
  constexpr int32_t STRETCH = 128;
  const int32_t flipMask = flip ? loop.maxValue : 0;  // e or maxValue - e, as e ^ 255 on 0..255
  const uint8_t* in = pixelAddress(tile, TILE_MARGIN, row + TILE_MARGIN, 0);
  uint8_t* out = loop.out + row * loop.outRowStep;
  const intptr_t step = loop.outColumnStep;
  const int32_t alphaIndex = loop.alphaIndex;
  int32_t tops[STRETCH * 3 + 1], bases[STRETCH * 3 + 1];  // room for the last pixel's fourth word
  for (int32_t start = 0; start < loop.columns; start += STRETCH) {
    const int32_t count = loop.columns - start < STRETCH ? loop.columns - start : STRETCH;
    const uint8_t* pixel = in + 4 * start;
    for (int32_t i = 0; i < count; ++i, pixel += 4) {
      const uint8_t* entry = loop.ramp[edges[start + i] ^ flipMask];
      if (Grey) {
        int32_t* top = tops + 3 * i;
        int32_t* base = bases + 3 * i;
        top[0] = (entry[0] * 77 + entry[1] * 150 + entry[2] * 28) >> 8;
        top[1] = entry[1];
        top[2] = entry[2];
        base[0] = base[1] = base[2] = pixel[0];
      } else {
        widenFourBytes(entry, tops + 3 * i);
        widenFourBytes(pixel, bases + 3 * i);
      }
    }
    loop.glueRow(tops, bases, count, *loop.glueTables);
    if (!Grey && !Alpha && step == 3) {
      for (int32_t k = 0; k < 3 * count; ++k) out[k] = static_cast<uint8_t>(tops[k]);
      out += 3 * count;
      continue;
    }
    pixel = in + 4 * start;
    for (int32_t i = 0; i < count; ++i, pixel += 4, out += step) {
      const int32_t* top = tops + 3 * i;
      out[0] = static_cast<uint8_t>(top[0]);
      if (!Grey) {
        out[1] = static_cast<uint8_t>(top[1]);
        out[2] = static_cast<uint8_t>(top[2]);
      }
      if (Alpha) out[alphaIndex] = pixel[3];
    }
  }
}

// The common final render, 8 bits and no glue: each pixel is its ramp
// entry (its luma for grey), with the tile's alpha where the output keeps
// transparency. Flip, grey and alpha are chosen once per row, so the loop
// body is loads and stores only.
template <bool Flip, bool Grey, bool Alpha>
void storeRampRow8(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile) {
  uint8_t* out = loop.out + row * loop.outRowStep;
  const intptr_t step = loop.outColumnStep;
  const uint8_t* alphaIn = pixelAddress(tile, TILE_MARGIN, row + TILE_MARGIN, 0) + 3;
  const int32_t alphaIndex = loop.alphaIndex;
  int32_t column = 0;
  // Packed RGB, or RGBA with the alpha last: each pixel is one four-byte
  // store of its ramp entry (with the tile's alpha), whose fourth byte the
  // next pixel's store overwrites in packed RGB. The last pixel goes byte by
  // byte below, so nothing is written past the row.
  if (!Grey && ((!Alpha && step == 3) || (Alpha && step == 4 && alphaIndex == 3))) {
    for (; column < loop.columns - 1; ++column, out += step) {
      const int32_t e = Flip ? 255 - edges[column] : edges[column];
      uint32_t word;
      std::memcpy(&word, loop.ramp[e], 4);
      if (Alpha) {
        uint32_t pixel;
        std::memcpy(&pixel, alphaIn - 3 + 4 * column, 4);
        word = (word & 0x00ffffffu) | (pixel & 0xff000000u);
      }
      std::memcpy(out, &word, 4);
    }
  }
  for (; column < loop.columns; ++column, out += step) {
    const int32_t e = Flip ? 255 - edges[column] : edges[column];
    const uint8_t* entry = loop.ramp[e];
    if (Grey) {
      out[0] = static_cast<uint8_t>((entry[0] * 77 + entry[1] * 150 + entry[2] * 28) >> 8);
    } else {
      out[0] = entry[0];
      out[1] = entry[1];
      out[2] = entry[2];
    }
    if (Alpha) out[alphaIndex] = alphaIn[4 * column];
  }
}

template <bool Flip>
void storeRampRow8For(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile) {
  if (loop.greyImage)
    loop.transparency ? storeRampRow8<Flip, true, true>(loop, row, edges, tile)
                      : storeRampRow8<Flip, true, false>(loop, row, edges, tile);
  else
    loop.transparency ? storeRampRow8<Flip, false, true>(loop, row, edges, tile)
                      : storeRampRow8<Flip, false, false>(loop, row, edges, tile);
}

template <typename Sample, int Target>
void shadeRowFor(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip) {
  if (sizeof(Sample) == 1 && Target == 0 && loop.glue == nullptr) {
    if (applyFlip && loop.flip)
      storeRampRow8For<true>(loop, row, edges, tile);
    else
      storeRampRow8For<false>(loop, row, edges, tile);
  } else if (sizeof(Sample) == 1 && Target == 0 && loop.glueRow != nullptr && loop.maxValue == 255) {
    const bool flip = applyFlip && loop.flip;
    if (loop.greyImage)
      loop.transparency ? shadeRowByRow8<true, true>(loop, row, edges, tile, flip)
                        : shadeRowByRow8<true, false>(loop, row, edges, tile, flip);
    else
      loop.transparency ? shadeRowByRow8<false, true>(loop, row, edges, tile, flip)
                        : shadeRowByRow8<false, false>(loop, row, edges, tile, flip);
  } else if (loop.glueRow != nullptr)
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
