#include "tests/e2e/host_runner.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "pihost/png_io.h"

namespace {

std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) {
    if (c == '\'')
      q += "'\\''";
    else
      q += c;
  }
  return q + "'";
}

HostRun runCommand(const std::string& command) {
  std::string errors = scratchPath("stderr.txt");
  int status = std::system((command + " 2>" + quote(errors)).c_str());
  HostRun run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream in(errors);
  run.errorText.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return run;
}

std::string joinOptions(const std::vector<std::string>& options) {
  std::string s;
  for (const auto& o : options) s += " " + quote(o);
  return s;
}

}  // namespace

std::string scratchPath(const std::string& name) {
  static std::string folder;
  if (folder.empty()) {
    folder = std::string(ML_TEST_SCRATCH) + "/" + std::to_string(getpid());
    std::system(("mkdir -p " + quote(folder)).c_str());
    // The filter keeps its last settings in the temporary folder: the hosts
    // this binary starts get a folder of their own, so no run sees another's.
    setenv("TMPDIR", folder.c_str(), 1);
  }
  return folder + "/" + name;
}

HostRun runHost(const std::vector<std::string>& options, const std::string& input, const std::string& output) {
  std::string host = std::string(ML_NATIVE_BIN) + "/marrowline-host";
  return runCommand(quote(host) + joinOptions(options) + " " + quote(input) + " " +
                    quote(output));
}

HostRun runHostWith(const std::vector<std::string>& arguments) {
  return runCommand(quote(std::string(ML_NATIVE_BIN) + "/marrowline-host") + joinOptions(arguments));
}

bool windowsBuildPresent() {
  std::string bin = ML_WIN64_BIN;
  return fileExists(bin + "/marrowline-host.exe") && fileExists(bin + "/Marrowline.8bf");
}

HostRun runWindowsHost(const std::vector<std::string>& options, const std::string& input, const std::string& output) {
  std::string bin = ML_WIN64_BIN;
  // wine keeps its prefix in the build folder; its chatter is silenced.
  std::string env = "WINEPREFIX=" + quote(ML_WINE_PREFIX) + " WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' ";
  return runCommand(env + "wine " + quote(bin + "/marrowline-host.exe") + joinOptions(options) + " " + quote(input) +
                    " " + quote(output));
}

void writePicture(const std::string& path, const HostImage& image) {
  std::string error;
  if (!writePngImage(path, image, &error)) throw std::runtime_error(error);
}

HostImage readPicture(const std::string& path) {
  HostImage image;
  std::string error;
  if (!readPngImage(path, &image, &error)) throw std::runtime_error(path + ": " + error);
  return image;
}

std::vector<uint8_t> fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool fileExists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

HostImage makeTestPicture(int32_t width, int32_t height, int32_t colorPlanes, bool alpha, int32_t depth,
                          uint32_t seed) {
  HostImage image;
  hostImageAllocate(&image, width, height, colorPlanes, alpha, depth, 0);
  const int32_t top = depth == 16 ? 32768 : 255;
  uint32_t state = seed * 2654435761u + 12345u;
  auto noise = [&state]() {
    state = state * 1664525u + 1013904223u;
    return static_cast<int32_t>((state >> 24) & 31) - 16;
  };
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) {
      uint16_t p[4] = {};
      for (int32_t k = 0; k < colorPlanes; ++k) {
        int32_t v = ((x * (3 + k) + y * (5 - k)) * 2) % 256;  // gradients
        if (((x / 23) + (y / 31) + k) % 3 == 0) v = 255 - v;     // hard-edged blocks
        int32_t dx = x - width / 2, dy = y - height / 3;
        if (dx * dx + dy * dy < (width * width) / 25) v = v / 3 + 160;  // a disc
        v += noise();
        v = v < 0 ? 0 : (v > 255 ? 255 : v);
        p[k] = static_cast<uint16_t>(depth == 16 ? (v * top) / 255 + (noise() & 7) : v);
        if (p[k] > top) p[k] = static_cast<uint16_t>(top);
      }
      if (alpha) p[colorPlanes] = static_cast<uint16_t>(((x + 2 * y) % 97) * top / 96);
      for (int32_t k = 0; k < imagePlanes(image); ++k) setHostSample(&image, x, y, k, p[k]);
    }
  return image;
}
