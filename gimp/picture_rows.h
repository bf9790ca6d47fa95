// The samples of a substitute-host picture as one block of rows, the way
// GEGL takes and gives them: 8-bit samples as bytes, 16-bit ones as words.
#pragma once

#include <cstddef>

#include "pihost/host_image.h"

inline const void* pictureSamples(const HostImage& picture) {
  return picture.depth == 16 ? static_cast<const void*>(picture.words.data())
                             : static_cast<const void*>(picture.bytes.data());
}
inline void* pictureSamples(HostImage& picture) {
  return picture.depth == 16 ? static_cast<void*>(picture.words.data()) : static_cast<void*>(picture.bytes.data());
}
inline size_t pictureRowBytes(const HostImage& picture) {
  return size_t(picture.width) * size_t(imagePlanes(picture)) * (picture.depth == 16 ? 2u : 1u);
}
inline size_t picturePixelBytes(const HostImage& picture) {
  return size_t(imagePlanes(picture)) * (picture.depth == 16 ? 2u : 1u);
}
