#include "gimp/drawable_pixels.h"

#include <sys/mman.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

// Marks the whole 2 MB pages inside a block not touched yet as wanting huge
// pages; a hint only, so a refusal changes nothing.
void adviseHugePages(void* block, size_t bytes) {
  constexpr uintptr_t HUGE_PAGE = uintptr_t(2) << 20;
  const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(HUGE_PAGE - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

// Reserving takes the memory without touching it; filling then touches it.
template <typename Sample>
void allocateSamples(std::vector<Sample>* samples, size_t count) {
  samples->clear();
  samples->reserve(count);
  adviseHugePages(samples->data(), count * sizeof(Sample));
  samples->assign(count, 0);
}

}  // namespace

void allocateDrawablePicture(HostImage* picture, gint width, gint height, const DrawableLayout& layout) {
  hostImageAllocate(picture, 0, 0, layout.colorPlanes, layout.alpha, layout.depth, 0);
  picture->width = width;
  picture->height = height;
  if (layout.depth == 16) allocateSamples(&picture->words, hostSampleCount(*picture));
  else allocateSamples(&picture->bytes, hostSampleCount(*picture));
}

DrawableLayout drawableLayout(gint32 image, gint32 drawable) {
  DrawableLayout layout;
  layout.colorPlanes = gimp_drawable_is_gray(drawable) ? 1 : 3;
  layout.alpha = gimp_drawable_has_alpha(drawable);
  const GimpPrecision precision = gimp_image_get_precision(image);
  layout.depth = (precision == GIMP_PRECISION_U8_GAMMA || precision == GIMP_PRECISION_U8_LINEAR) ? 8 : 16;
  const std::string model =
      layout.colorPlanes == 1 ? (layout.alpha ? "Y'A" : "Y'") : (layout.alpha ? "R'G'B'A" : "R'G'B'");
  const Babl* own = gimp_drawable_get_format(drawable);
  layout.format = babl_format_with_space((model + (layout.depth == 8 ? " u8" : " u16")).c_str(), own);
  layout.displayFormat = babl_format_with_space((model + " u8").c_str(), own);
  layout.ownFormat = layout.format == own;
  return layout;
}

void readDrawableRect(gint32 drawable, const DrawableLayout& layout, gint x, gint y, gint width, gint height,
                      HostImage* picture) {
  hostImageAllocate(picture, width, height, layout.colorPlanes, layout.alpha, layout.depth, 0);
  GeglBuffer* buffer = gimp_drawable_get_buffer(drawable);
  gegl_buffer_get(buffer, GEGL_RECTANGLE(x, y, width, height), 1.0, layout.format,
                  const_cast<void*>(pictureSamples(*picture)), GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
  g_object_unref(buffer);
}
