// PNG files in and out of the substitute host, through libpng.
//
// Reading accepts every PNG kind: palette pictures become RGB (with alpha
// when they carry transparency), grey below 8 bits becomes 8-bit grey, and
// 16-bit samples are kept as stored. The rows are decoded straight into the
// picture. Writing keeps the picture's kind and depth, at a fast compression
// level; an embedded colour profile (iCCP) is carried both ways.
#pragma once

#include <string>

#include "pihost/host_image.h"

// false with a one-line reason in `error`.
bool readPngImage(const std::string& path, HostImage* image, std::string* error);
bool writePngImage(const std::string& path, const HostImage& image, std::string* error);

// The selection mask: an 8-bit grey PNG without alpha of the given size.
bool readPngMask(const std::string& path, int32_t width, int32_t height, HostMask* mask, std::string* error);
