#include "gimp/drawable_pixels.h"

#include <string>

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
