#include "pihost/image_files.h"

#include <png.h>

#include <algorithm>
#include <cctype>

#include "pihost/png_io.h"

ImageFileKind imageFileKindOf(const std::string& path) {
  const size_t dot = path.find_last_of('.');
  const size_t slash = path.find_last_of("/\\");
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return ImageFileKind::Unknown;
  std::string extension = path.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  if (extension == "png") return ImageFileKind::Png;
  if (extension == "jpg" || extension == "jpeg") return ImageFileKind::Jpeg;
  if (extension == "tif" || extension == "tiff") return ImageFileKind::Tiff;
  return ImageFileKind::Unknown;
}

namespace {

std::string unknownKind(const std::string& path) {
  return path + ": unknown picture type (the name must end in .png, .jpg, .jpeg, .tif or .tiff)";
}

}  // namespace

bool readImageFile(const std::string& path, HostImage* image, std::string* error) {
  switch (imageFileKindOf(path)) {
    case ImageFileKind::Png: return readPngImage(path, image, error);
    case ImageFileKind::Jpeg: return readJpegImage(path, image, error);
    case ImageFileKind::Tiff: return readTiffImage(path, image, error);
    case ImageFileKind::Unknown: break;
  }
  *error = unknownKind(path);
  return false;
}

bool writeImageFile(const std::string& path, const HostImage& image, std::string* error) {
  switch (imageFileKindOf(path)) {
    case ImageFileKind::Png: return writePngImage(path, image, error);
    case ImageFileKind::Jpeg: return writeJpegImage(path, image, error);
    case ImageFileKind::Tiff: return writeTiffImage(path, image, error);
    case ImageFileKind::Unknown: break;
  }
  *error = unknownKind(path);
  return false;
}

bool imageFileNarrows(const std::string& path, const HostImage& image) {
  return imageFileKindOf(path) == ImageFileKind::Jpeg && (image.depth == 16 || image.hasAlpha);
}

std::string imageLibraryVersions() {
  return std::string("libpng ") + PNG_LIBPNG_VER_STRING + ", libjpeg-turbo " + jpegLibraryVersion() + ", libtiff " +
         tiffLibraryVersion();
}
