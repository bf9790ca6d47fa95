// Picture files of the substitute host, chosen by the file name's extension
// (case ignored): .png, .jpg/.jpeg, .tif/.tiff.
//
//   PNG   every kind; 8 or 16 bits; grey or RGB, with or without alpha.
//   JPEG  8-bit grey or RGB (libjpeg-turbo). A picture with 16 bits or
//         alpha is narrowed to 8 bits and written without alpha.
//   TIFF  8 or 16 bits; grey or RGB, with or without alpha (libtiff);
//         written uncompressed, so that writing never dominates a run.
//
// An embedded ICC colour profile is read into the picture and written out
// with it in every format.
#pragma once

#include <string>

#include "pihost/host_image.h"

enum class ImageFileKind { Unknown, Png, Jpeg, Tiff };

ImageFileKind imageFileKindOf(const std::string& path);

// false with a one-line reason in `error`.
bool readImageFile(const std::string& path, HostImage* image, std::string* error);
bool writeImageFile(const std::string& path, const HostImage& image, std::string* error);

// True when writing `image` to `path` loses depth or alpha (a JPEG output).
bool imageFileNarrows(const std::string& path, const HostImage& image);

// The formats' own readers and writers.
bool readJpegImage(const std::string& path, HostImage* image, std::string* error);
bool writeJpegImage(const std::string& path, const HostImage& image, std::string* error);
bool readTiffImage(const std::string& path, HostImage* image, std::string* error);
bool writeTiffImage(const std::string& path, const HostImage& image, std::string* error);

// The libraries' versions, for --version.
std::string imageLibraryVersions();
std::string jpegLibraryVersion();
std::string tiffLibraryVersion();
