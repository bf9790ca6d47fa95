// Runs marrowline-host (native, or the Windows build under wine) and reads
// what it wrote, for the end-to-end tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pihost/host_image.h"

struct HostRun {
  int exitCode = -1;
  std::string errorText;  // what the host wrote to stderr
};

// A scratch folder of this test binary, created on first use.
std::string scratchPath(const std::string& name);

// Runs the native host with the given options on INPUT -> OUTPUT.
HostRun runHost(const std::vector<std::string>& options, const std::string& input, const std::string& output);
// The native host with exactly these arguments (batch runs, --help).
HostRun runHostWith(const std::vector<std::string>& arguments);
// The same with the Windows host and module under wine.
HostRun runWindowsHost(const std::vector<std::string>& options, const std::string& input, const std::string& output);
bool windowsBuildPresent();

void writePicture(const std::string& path, const HostImage& image);
HostImage readPicture(const std::string& path);
std::vector<uint8_t> fileBytes(const std::string& path);
bool fileExists(const std::string& path);

// A picture with smooth gradients, hard edges and noise, reproducible from
// the seed: enough structure for every style to draw something.
HostImage makeTestPicture(int32_t width, int32_t height, int32_t colorPlanes, bool alpha, int32_t depth,
                          uint32_t seed);
