// marrowline-gimp: the GIMP 2.10 plug-in program. It registers the procedure
// plug-in-marrowline under Filters > Quellfire, reads the drawable at its own
// precision (tile by tile over the plug-in pipe, or through GEGL), runs the
// module Marrowline.so beside this program through the substitute host's
// session, and writes the result into the shadow buffer, which GIMP merges
// by the selection with undo.
#include <libgimp/gimp.h>

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <vector>

#include "gimp/drawable_pixels.h"
#include "gimp/filter_dialog.h"
#include "gimp/filter_run.h"
#include "gimp/filter_values.h"
#include "gimp/tile_wire.h"
#include "pihost/plugin_module.h"

namespace {

constexpr const char* PROCEDURE_NAME = "plug-in-marrowline";
// run-mode, image, drawable and the eleven values.
constexpr int FIXED_ARGUMENTS = 3;
constexpr int ARGUMENT_COUNT = FIXED_ARGUMENTS + SCRIPT_KEY_COUNT;

void query() {
  // GIMP keeps the pointers only for the length of the call, but the texts
  // are built here, so they live in statics.
  static std::string names[SCRIPT_KEY_COUNT];
  static std::string helps[SCRIPT_KEY_COUNT];
  static GimpParamDef arguments[ARGUMENT_COUNT] = {
      {GIMP_PDB_INT32, const_cast<gchar*>("run-mode"),
       const_cast<gchar*>("The run mode { RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1), RUN-WITH-LAST-VALS (2) }")},
      {GIMP_PDB_IMAGE, const_cast<gchar*>("image"), const_cast<gchar*>("Input image")},
      {GIMP_PDB_DRAWABLE, const_cast<gchar*>("drawable"), const_cast<gchar*>("Input drawable")},
  };
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    names[i] = filterValueName(i);
    helps[i] = filterValueHelp(i);
    arguments[FIXED_ARGUMENTS + i] = {GIMP_PDB_INT32, const_cast<gchar*>(names[i].c_str()),
                                      const_cast<gchar*>(helps[i].c_str())};
  }
  gimp_install_procedure(PROCEDURE_NAME, "Restyles the edges of the selection",
                         "Computes the brightness slopes of one source channel, turns them into an edge picture in "
                         "one of 13 edge styles, colours it with a grey or foreground-to-background ramp and lays "
                         "it into the picture with one of 62 glue modes. Out of range values fail the call.",
                         "Quellfire", "Quellfire", "2026", "_Marrowline...", "RGB*, GRAY*", GIMP_PLUGIN,
                         ARGUMENT_COUNT, 0, arguments, nullptr);
  gimp_plugin_menu_register(PROCEDURE_NAME, "<Image>/Filters/Quellfire");
}

// The progress bar: one update a percent, since each is a round trip to GIMP.
// Cancelling from GIMP's progress bar ends this process before anything is
// merged, so the drawable stays as it was; an update that fails (GIMP has
// gone away) stops the filter as a cancel would.
struct ProgressState {
  int lastPercent = -1;
  bool cancelled = false;
};

void showProgress(void* context, int32_t done, int32_t total) {
  auto* state = static_cast<ProgressState*>(context);
  if (total <= 0 || state->cancelled) return;
  const double fraction = double(done < 0 ? 0 : done > total ? total : done) / double(total);
  const int percent = int(fraction * 100.0);
  if (percent == state->lastPercent) return;
  state->lastPercent = percent;
  if (!gimp_progress_update(fraction)) state->cancelled = true;
}

bool progressCancelled(void* context) { return static_cast<ProgressState*>(context)->cancelled; }

void colorBytes(const GimpRGB& color, uint8_t out[3]) {
  guchar r = 0, g = 0, b = 0;
  gimp_rgb_get_uchar(&color, &r, &g, &b);
  out[0] = r;
  out[1] = g;
  out[2] = b;
}

// With MARROWLINE_GIMP_TIMING set, the time of each step goes to stderr,
// for the benchmark that weighs GIMP's part against the filter's.
struct StepTimer {
  bool on = g_getenv("MARROWLINE_GIMP_TIMING") != nullptr;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  std::string line;
  // Milliseconds since the last call.
  double lap() {
    const auto now = std::chrono::steady_clock::now();
    const double ms = std::chrono::duration<double, std::milli>(now - start).count();
    start = now;
    return ms;
  }
  void add(const char* name, double ms) {
    line += std::string(line.empty() ? "" : ", ") + name + " " + std::to_string(int64_t(ms + 0.5)) + " ms";
  }
  void note(const std::string& text) { line += "; " + text; }
  ~StepTimer() {
    if (on) g_printerr("marrowline-gimp: %s\n", line.c_str());
  }
};

// The ends of the plug-in pipe, as GIMP 2.10 names them on the command line
// ("-gimp", read end, write end, "-run", ...); -1 when not known.
int pipeFromGimp = -1;
int pipeToGimp = -1;

// The processor time GIMP's main thread, which serves the tiles, has had
// so far (in ms; 0 where the system does not tell).
double gimpThreadCpuMs() {
  gchar* text = nullptr;
  const std::string path = "/proc/" + std::to_string(getppid()) + "/schedstat";
  if (!g_file_get_contents(path.c_str(), &text, nullptr, nullptr)) return 0;
  const double ns = g_ascii_strtod(text, nullptr);
  g_free(text);
  return ns / 1e6;
}

// This process's processor time so far, all threads (in ms).
double processCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// The drawable's buffers as the transfer thread moves strips through them:
// over the pipe directly when the pixels travel in the drawable's own format
// and GIMP shares memory with this process, else through GEGL.
struct DrawableMoves {
  GeglBuffer* buffer = nullptr;
  GeglBuffer* shadow = nullptr;
  const Babl* format = nullptr;
  gint left = 0, width = 0;  // the filter rectangle's columns
  bool direct = false;
  TileWire wire;
};

void setUpDirectMoves(DrawableMoves* moves, gint32 drawable, gint width, gint height, const DrawableLayout& layout) {
  if (g_getenv("MARROWLINE_GIMP_GEGL") || pipeFromGimp < 0 || pipeToGimp < 0 || gimp_shm_ID() < 0 ||
      !layout.ownFormat)
    return;
  moves->direct = true;
  moves->wire.fromGimp = pipeFromGimp;
  moves->wire.toGimp = pipeToGimp;
  moves->wire.shared = gimp_shm_addr();
  moves->wire.drawable = drawable;
  moves->wire.width = width;
  moves->wire.height = height;
  moves->wire.tileWidth = gint32(gimp_tile_width());
  moves->wire.tileHeight = gint32(gimp_tile_height());
  moves->wire.pixelBytes = babl_format_get_bytes_per_pixel(layout.format);
}

// A pipe that answers out of turn leaves nothing to save: end as libgimp does.
void checkWire(bool ok) {
  if (!ok) {
    g_printerr("marrowline-gimp: GIMP's answer on the tile pipe was not the one asked for\n");
    gimp_quit();
  }
}

// Rows top..bottom: whole tile rows, or (through GEGL) any rows.
void readStrip(void* context, HostImage* source, HostImage* filtered, int32_t top, int32_t bottom) {
  const auto* moves = static_cast<const DrawableMoves*>(context);
  const size_t rowBytes = pictureRowBytes(*source);
  auto* to = static_cast<uint8_t*>(pictureSamples(*source));
  auto* copy = filtered == source ? nullptr : static_cast<uint8_t*>(pictureSamples(*filtered));
  if (moves->direct) {
    for (int32_t row = top / moves->wire.tileHeight; row * moves->wire.tileHeight < bottom; ++row)
      checkWire(tileWireReadRow(moves->wire, row, to, copy, rowBytes));
    return;
  }
  gegl_buffer_get(moves->buffer, GEGL_RECTANGLE(0, top, source->width, bottom - top), 1.0, moves->format,
                  to + size_t(top) * rowBytes, gint(rowBytes), GEGL_ABYSS_NONE);
  if (copy) std::memcpy(copy + size_t(top) * rowBytes, to + size_t(top) * rowBytes, size_t(bottom - top) * rowBytes);
}

// Directly, the tiles holding the rows go out whole, at once; through GEGL
// they wait in its cache for sendStrips.
void stageStrip(void* context, const HostImage& filtered, int32_t top, int32_t bottom) {
  const auto* moves = static_cast<const DrawableMoves*>(context);
  const size_t rowBytes = pictureRowBytes(filtered);
  const auto* pixels = static_cast<const uint8_t*>(pictureSamples(filtered));
  if (moves->direct) {
    for (int32_t row = top / moves->wire.tileHeight; row * moves->wire.tileHeight < bottom; ++row)
      checkWire(tileWireWriteRow(moves->wire, row, moves->left, moves->left + moves->width, pixels, rowBytes));
    return;
  }
  gegl_buffer_set(moves->shadow, GEGL_RECTANGLE(moves->left, top, moves->width, bottom - top), 0, moves->format,
                  pixels + size_t(top) * rowBytes + size_t(moves->left) * picturePixelBytes(filtered),
                  gint(rowBytes));
}

// The staged tiles go over the wire now, not when the buffer is let go.
void sendStrips(void* context) {
  const auto* moves = static_cast<const DrawableMoves*>(context);
  if (!moves->direct) gegl_buffer_flush(moves->shadow);
}

bool showFraction(void*, double fraction) { return gimp_progress_update(fraction); }

// The whole filter on the drawable. False with a message on failure;
// `cancelled` tells a cancel apart from an error.
//
// The pixels move while the filter runs: a transfer thread reads strips of
// the drawable ahead of the filter and writes finished ones into the shadow
// buffer behind it (MARROWLINE_GIMP_SEQUENTIAL reads all, filters, then
// writes all, for comparison).
bool filterDrawable(gint32 image, gint32 drawable, const GimpFilterValues& values, std::string* message,
                    bool* cancelled) {
  *cancelled = false;
  gint x = 0, y = 0, width = 0, height = 0;
  // Nothing selected on this drawable: nothing to do, as with GIMP's own filters.
  if (!gimp_drawable_mask_intersect(drawable, &x, &y, &width, &height)) return true;

  PluginModule module;
  if (!loadPluginModule(defaultPluginPath(), &module, message)) return false;

  const DrawableLayout layout = drawableLayout(image, drawable);
  const gint drawableWidth = gimp_drawable_width(drawable);
  const gint drawableHeight = gimp_drawable_height(drawable);
  // The interface counts pixels in 16 bits; say so before reading anything.
  if (drawableWidth > INT16_MAX || drawableHeight > INT16_MAX) {
    unloadPluginModule(&module);
    *message = "the layer must be at most 32767 pixels on each side";
    return false;
  }
  const bool streaming = g_getenv("MARROWLINE_GIMP_SEQUENTIAL") == nullptr;
  StepTimer timer;
  const double gimpCpuBefore = timer.on ? gimpThreadCpuMs() : 0;
  const double processCpuStart = processCpuMs();
  // Every call on GIMP's wire is made before the transfer thread starts or
  // after it has ended, or on that thread.
  DrawableMoves moves;
  moves.buffer = gimp_drawable_get_buffer(drawable);
  moves.shadow = gimp_drawable_get_shadow_buffer(drawable);
  moves.format = layout.format;
  moves.left = x;
  moves.width = width;
  setUpDirectMoves(&moves, drawable, drawableWidth, drawableHeight, layout);
  GimpRGB color;
  FilterRunHooks hooks;
  gimp_context_get_foreground(&color);
  colorBytes(color, hooks.foreground);
  gimp_context_get_background(&color);
  colorBytes(color, hooks.background);
  gimp_progress_init("Marrowline");

  // The filter reads a margin round its rectangle, so it gets the whole drawable.
  HostImage picture;
  allocateDrawablePicture(&picture, drawableWidth, drawableHeight, layout);
  StripTransfer transfer;
  ProgressState progress;
  if (streaming) {
    transfer.moves = StripMoves{readStrip, stageStrip, sendStrips, showFraction, &moves};
    transfer.stripRows = gimp_tile_height();
    transfer.outputTop = y;
    transfer.outputBottom = y + height;
    transfer.outputLeft = x;
    transfer.outputRight = x + width;
    hooks.transfer = &transfer;
  } else {
    readStrip(&moves, &picture, &picture, 0, drawableHeight);
    hooks.progress = showProgress;
    hooks.cancelled = progressCancelled;
    hooks.context = &progress;
  }
  timer.add("read", timer.lap());

  const double processCpuBefore = processCpuMs();
  const int16_t result =
      runFilterOverPicture(module.entry, &picture, x, y, x + width, y + height, values, hooks, message);
  const double runCpuMs = processCpuMs() - processCpuBefore;
  unloadPluginModule(&module);
  // The run ends with sending the strips the filter finished last: that
  // part is the write's. The filter's time includes its waits for rows.
  const double runMs = timer.lap();
  if (result == 0 && !streaming) stageStrip(&moves, picture, y, y + height);
  g_object_unref(moves.shadow);
  g_object_unref(moves.buffer);
  const double writeMs = timer.lap() + transfer.counts.tailMs;
  // Moving the pixels: on the transfer thread, or here around the filter.
  const double movesCpuMs =
      streaming ? transfer.counts.threadCpuMs : processCpuMs() - processCpuStart - runCpuMs;
  if (result != 0) {
    *cancelled = result == userCanceledErr || progress.cancelled || transfer.cancelled;
    return false;
  }
  gimp_progress_update(1.0);
  gimp_drawable_merge_shadow(drawable, TRUE);
  gimp_drawable_update(drawable, x, y, width, height);
  timer.add("filter", runMs - transfer.counts.tailMs);
  timer.add("write", writeMs);
  timer.add("merge", timer.lap());
  timer.add("wait", transfer.counts.filterWaitMs);
  // Processor time, steadier than the clock on a busy machine.
  timer.add("GIMP cpu", gimpThreadCpuMs() - gimpCpuBefore);
  timer.add("filter cpu", runCpuMs - transfer.counts.threadCpuMs);
  timer.add("transfer cpu", movesCpuMs);
  timer.note("strips read " + std::to_string(transfer.counts.stripsRead) + ", written " +
             std::to_string(transfer.counts.stripsWritten) + " (" +
             std::to_string(transfer.counts.stripsWrittenEarly) + " while filtering), tiles " +
             (moves.direct ? "over the pipe" : "through GEGL"));
  return true;
}

// Reads the eleven values of a non-interactive call.
void valuesFromArguments(const GimpParam* param, GimpFilterValues* values) {
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) values->value[i] = param[FIXED_ARGUMENTS + i].data.d_int32;
}

bool loadLastValues(GimpFilterValues* values) {
  if (gimp_get_data_size(PROCEDURE_NAME) != gint(sizeof(StoredFilterValues))) return false;
  StoredFilterValues stored{};
  gimp_get_data(PROCEDURE_NAME, &stored);
  if (stored.tag != STORED_VALUES_TAG || !filterValuesError(stored.values).empty()) return false;
  *values = stored.values;
  return true;
}

void storeLastValues(const GimpFilterValues& values) {
  StoredFilterValues stored{STORED_VALUES_TAG, values};
  gimp_set_data(PROCEDURE_NAME, &stored, sizeof stored);
}

void run(const gchar*, gint nparams, const GimpParam* param, gint* nreturn_vals, GimpParam** return_vals) {
  static GimpParam answer[2];
  static std::string answerMessage;
  *nreturn_vals = 1;
  *return_vals = answer;
  answer[0].type = GIMP_PDB_STATUS;
  answer[0].data.d_status = GIMP_PDB_SUCCESS;
  auto fail = [&](GimpPDBStatusType status, const std::string& message) {
    answer[0].data.d_status = status;
    answerMessage = "Marrowline: " + message;
    answer[1].type = GIMP_PDB_STRING;
    answer[1].data.d_string = const_cast<gchar*>(answerMessage.c_str());
    *nreturn_vals = 2;
  };
  if (nparams < FIXED_ARGUMENTS) {
    fail(GIMP_PDB_CALLING_ERROR, "the call lacks the run mode, image or drawable");
    return;
  }
  const GimpRunMode runMode = GimpRunMode(param[0].data.d_int32);
  const gint32 image = param[1].data.d_image;
  const gint32 drawable = param[2].data.d_drawable;
  gegl_init(nullptr, nullptr);

  GimpFilterValues values = defaultFilterValues();
  switch (runMode) {
    case GIMP_RUN_NONINTERACTIVE: {
      if (nparams != ARGUMENT_COUNT) {
        fail(GIMP_PDB_CALLING_ERROR, "the call needs " + std::to_string(ARGUMENT_COUNT) + " arguments, not " +
                                         std::to_string(nparams));
        return;
      }
      valuesFromArguments(param, &values);
      const std::string error = filterValuesError(values);
      if (!error.empty()) {
        fail(GIMP_PDB_CALLING_ERROR, error);
        return;
      }
      break;
    }
    case GIMP_RUN_WITH_LAST_VALS:
      loadLastValues(&values);
      break;
    case GIMP_RUN_INTERACTIVE:
    default:
      loadLastValues(&values);
      if (!runFilterDialog(image, drawable, &values)) {
        answer[0].data.d_status = GIMP_PDB_CANCEL;
        return;
      }
      break;
  }

  std::string message;
  bool cancelled = false;
  bool done = false;
  try {
    done = filterDrawable(image, drawable, values, &message, &cancelled);
  } catch (const std::bad_alloc&) {
    message = "not enough memory for the layer";
  }
  if (!done) {
    if (cancelled) answer[0].data.d_status = GIMP_PDB_CANCEL;
    else fail(GIMP_PDB_EXECUTION_ERROR, message);
    return;
  }
  storeLastValues(values);
  if (runMode != GIMP_RUN_NONINTERACTIVE) gimp_displays_flush();
}

}  // namespace

const GimpPlugInInfo PLUG_IN_INFO = {nullptr, nullptr, query, run};

int main(int argc, char* argv[]) {
  if (argc > 4 && std::strcmp(argv[1], "-gimp") == 0 && argv[4][0] == '-') {
    pipeFromGimp = std::atoi(argv[2]);
    pipeToGimp = std::atoi(argv[3]);
  }
  return gimp_main(&PLUG_IN_INFO, argc, argv);
}
