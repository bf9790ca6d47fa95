// A drawable's pixels as the substitute host's picture, and back.
//
// The pixels travel grey or RGB, with alpha when the layer has it, at 8 bits
// for 8-bit images and on the 16-bit path for 16-bit, 32-bit and float ones,
// always in the perceptual encoding the filter's arithmetic is made for and
// in the drawable's own colour space.
#pragma once

#include <libgimp/gimp.h>

#include "gimp/picture_rows.h"
#include "pihost/host_image.h"

struct DrawableLayout {
  int32_t colorPlanes = 3;
  bool alpha = false;
  int32_t depth = 8;
  const Babl* format = nullptr;       // the format the pixels travel in
  const Babl* displayFormat = nullptr;  // the same at 8 bits, for previews
  bool ownFormat = false;             // `format` is the drawable's own
};

DrawableLayout drawableLayout(gint32 image, gint32 drawable);

// Sizes `picture` for the drawable's pixels in `layout`, all samples 0. The
// memory of a large picture is asked for in 2 MB pages where the system
// grants them: its first touch then takes a few dozen page faults instead of
// thousands, which on a busy machine is tens of milliseconds before the
// filter can start.
void allocateDrawablePicture(HostImage* picture, gint width, gint height, const DrawableLayout& layout);

// Reads the rectangle (x, y, width, height) of the drawable into `picture`.
void readDrawableRect(gint32 drawable, const DrawableLayout& layout, gint x, gint y, gint width, gint height,
                      HostImage* picture);
