// The layered PSD file of an export: the current settings rendered at full
// size, off screen, and written in one forward pass. The file holds one
// layer with the result and its transparency, and a merged image of the
// result over a grey checkerboard of 8-pixel squares. Nothing is compressed.
//
// Use: renderPsd(session, path) during a run (the dialog's export button and
// the substitute host's --export-psd both come here). Every length of the
// file is known from the job before a pixel exists, so the header is on disk
// before the render starts.
#pragma once

#include <cstdint>

struct FilterSession;
struct MetadataBlock;

constexpr const char* PSD_SUGGESTED_NAME = "Marrowline result.psd";
constexpr int16_t PSD_NO_IMAGE = -99;  // the off-screen picture could not be made

struct PsdJob {
  int32_t channels;        // 4 in the layer: alpha, red, green, blue
  int32_t layerCount;      // 1
  int32_t width, height;   // the filter rectangle of the run
  int32_t bytesPerSample;  // 1, 2 or 4
};

// By the host's imageMode and depth: 2 for Gray16/RGB48 at 16 bits, 4 for the
// float modes or a depth of 32, 1 otherwise.
int32_t psdBytesPerSample(int32_t imageMode, int32_t depth);
// The PixelMap format the render fills for that sample size (3, 4 or 9).
int32_t psdPixelFormat(int32_t bytesPerSample);
void makePsdJob(PsdJob* job, const FilterSession* session);

// Bytes of one layer channel (compression word and plane), and of the layer
// info block. Zero when the picture is too large for the format's 32-bit
// lengths.
uint32_t psdChannelBytes(const PsdJob* job);
uint32_t psdLayerInfoBytes(const PsdJob* job);

// The keywords of the file: "HDR" and "high dynamic range" at 32 bits, the
// edge style's name, and the glue mode's name unless glue is normal.
void addPsdKeywords(MetadataBlock* iptc, int32_t edgeStyle, int32_t glue, int32_t bytesPerSample);

// Fills the work area's offscreenImage; renderToTarget in a run.
using PsdRender = void (*)(FilterSession* session);

// Makes offscreenImage, writes the file and frees the picture again. The
// render is called once the header and the layer record are on disk. 0, or
// PSD_NO_IMAGE (no file touched), or the file side's code. A file whose
// writing failed is cut to nothing, so no reader takes a half file for a
// whole one.
int16_t writePsdFile(FilterSession* session, const char* path, const PsdJob* job, PsdRender render);

// Every off-screen render of an export starts and ends so: the view saved,
// the render aimed at offscreenImage; then the view put back.
struct ViewSnapshot;
void beginOffscreenRender(FilterSession* session, ViewSnapshot* view);
void endOffscreenRender(FilterSession* session, const ViewSnapshot* view);

// The export: saves the view, renders off screen into the file, puts the
// view back. The dialog's parameters and preview are as they were after it.
int16_t renderPsd(FilterSession* session, const char* path);
