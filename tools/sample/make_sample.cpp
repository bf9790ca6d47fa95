// marrowline-sample: draws a test picture with soft and hard edges, for the
// demo and for anyone who wants to try the filter without a picture at hand.
//
//   marrowline-sample OUTPUT.png [WIDTH HEIGHT [8|16 [grey|rgb|rgba]]]
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pihost/host_image.h"
#include "pihost/png_io.h"

namespace {

// Colour of the picture at (x, y) on a 0..1 scale: a sky gradient, a sun with
// a soft rim, hard-edged blocks and a band of stripes.
void samplePixel(int x, int y, int w, int h, double rgb[3], double* alpha) {
  double u = double(x) / w, v = double(y) / h;
  rgb[0] = 0.25 + 0.35 * v;
  rgb[1] = 0.45 + 0.25 * v;
  rgb[2] = 0.85 - 0.3 * v;
  *alpha = 1.0;
  double dx = u - 0.7, dy = (v - 0.3) * h / w;
  double d = std::sqrt(dx * dx + dy * dy);
  if (d < 0.16) {
    double t = d < 0.12 ? 1.0 : (0.16 - d) / 0.04;
    rgb[0] = rgb[0] * (1 - t) + 1.0 * t;
    rgb[1] = rgb[1] * (1 - t) + 0.8 * t;
    rgb[2] = rgb[2] * (1 - t) + 0.2 * t;
  }
  if (v > 0.62) {
    rgb[0] = 0.2 + 0.1 * ((x / 24 + y / 24) % 2);
    rgb[1] = 0.5;
    rgb[2] = 0.2;
  }
  if (u > 0.08 && u < 0.38 && v > 0.35 && v < 0.7) {
    rgb[0] = 0.75, rgb[1] = 0.3, rgb[2] = 0.25;
    if (u > 0.18 && u < 0.26 && v > 0.5) rgb[0] = rgb[1] = rgb[2] = 0.1;
  }
  if (v > 0.85 && (x / 6) % 2 == 0) rgb[0] = rgb[1] = rgb[2] = 0.95;
  if (u < 0.05) *alpha = u / 0.05;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
    std::fprintf(stderr, "usage: marrowline-sample OUTPUT.png [WIDTH HEIGHT [8|16 [grey|rgb|rgba]]]\n");
    return argc < 2 ? 2 : 0;
  }
  int w = argc > 3 ? std::atoi(argv[2]) : 640;
  int h = argc > 3 ? std::atoi(argv[3]) : 420;
  int depth = argc > 4 ? std::atoi(argv[4]) : 8;
  std::string kind = argc > 5 ? argv[5] : "rgb";
  if (w < 1 || h < 1 || w > 30000 || h > 30000 || (depth != 8 && depth != 16) ||
      (kind != "grey" && kind != "rgb" && kind != "rgba")) {
    std::fprintf(stderr, "marrowline-sample: bad size, depth or kind\n");
    return 2;
  }
  HostImage image;
  int planes = kind == "grey" ? 1 : 3;
  hostImageAllocate(&image, w, h, planes, kind == "rgba", depth, 0);
  double top = depth == 16 ? 32768.0 : 255.0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      double rgb[3], alpha;
      samplePixel(x, y, w, h, rgb, &alpha);
      if (planes == 1) {
        setHostSample(&image, x, y, 0, uint16_t((0.3 * rgb[0] + 0.59 * rgb[1] + 0.11 * rgb[2]) * top));
      } else {
        for (int k = 0; k < 3; ++k) setHostSample(&image, x, y, k, uint16_t(rgb[k] * top));
      }
      if (image.hasAlpha) setHostSample(&image, x, y, planes, uint16_t(alpha * top));
    }
  std::string error;
  if (!writePngImage(argv[1], image, &error)) {
    std::fprintf(stderr, "marrowline-sample: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
