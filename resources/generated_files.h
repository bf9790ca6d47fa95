// What the build-time generators share: writing a file only when its bytes
// change (so nothing rebuilds needlessly), and a path as the resource
// compiler reads it inside a quoted string.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

bool writeFileIfChanged(const std::string& path, const std::vector<uint8_t>& bytes);
std::string rcQuotedPath(const std::string& path);
