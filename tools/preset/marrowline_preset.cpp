// marrowline-preset: shows, writes and unpacks Marrowline settings files
// through the filter's own reader and writer.
//
//   marrowline-preset show FILE
//   marrowline-preset write FILE [--edge-style NAME|N ... --flip 0|1] [--edge-spare N] [--thumbnail IMAGE.png]
//   marrowline-preset thumbnail FILE OUT.png
//   marrowline-preset page FOLDER OUT.html [--bold]
//
// The program is a small host of its own: it serves the buffer suite of the
// substitute host, so the files it writes carry thumbnails as the filter's do.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "session/terminology.h"
#include "pihost/host_options.h"
#include "pihost/host_services.h"
#include "pihost/png_io.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"
#include "export/html_pages.h"

namespace {

constexpr int EXIT_OK = 0;
constexpr int EXIT_NO_THUMBNAIL = 1;
constexpr int EXIT_USAGE = 2;
constexpr int EXIT_FILE = 3;

const char* const USAGE =
    "usage: marrowline-preset show FILE\n"
    "       marrowline-preset write FILE [PARAMETERS] [--edge-spare N] [--thumbnail IMAGE.png]\n"
    "       marrowline-preset thumbnail FILE OUT.png\n"
    "       marrowline-preset page FOLDER OUT.html [--bold]\n"
    "\n"
    "show       prints the twelve parameters of a settings file (.q4t, .q5q, .q9q), its\n"
    "           format version and the size of its thumbnail\n"
    "write      writes a settings file of today's format; parameters not given take their\n"
    "           defaults, and without --thumbnail the file holds no thumbnail\n"
    "thumbnail  writes the file's thumbnail as a 128 x 128 PNG\n"
    "page       writes an HTML page of the thumbnails of every settings file in FOLDER,\n"
    "           five to a row, with their pictures in web_images/ beside OUT.html;\n"
    "           --bold sets the captions in bold\n"
    "\n"
    "PARAMETERS are those of marrowline-host:\n"
    "  --edge-style NAME|N     --smoothing N          --tweaker N\n"
    "  --edge-extent NAME|N    --source NAME|N        --colorize 0|1\n"
    "  --chrome-style NAME|N   --angle N              --remove-noise 0|1\n"
    "  --glue NAME|N           --flip 0|1\n"
    "\n"
    "Exit status: 0 success; 1 the file holds no thumbnail; 2 bad command line;\n"
    "3 a file could not be read or written.\n";

int fail(int status, const std::string& message) {
  std::fprintf(stderr, "marrowline-preset: %s\n", message.c_str());
  return status;
}

// The twelve parameters in the order of the file. The eleven scripted ones
// take their names and enumerations from the script key table.
struct ShownField {
  uint32_t key;  // 0 for edgeSpare, which has no key
  int32_t EdgeParameters::*field;
};
const ShownField FILE_ORDER[] = {
    {KEY_EDGE_STYLE, &EdgeParameters::edgeStyle},     {KEY_SMOOTHING, &EdgeParameters::smoothing},
    {KEY_TWEAKER, &EdgeParameters::tweaker},          {KEY_EDGE_EXTENT, &EdgeParameters::edgeExtent},
    {KEY_SOURCE, &EdgeParameters::source},            {KEY_COLORIZE, &EdgeParameters::colorize},
    {0, &EdgeParameters::edgeSpare},                  {KEY_CHROME_STYLE, &EdgeParameters::chromeStyle},
    {KEY_ANGLE, &EdgeParameters::angle},              {KEY_REMOVE_NOISE, &EdgeParameters::removeNoise},
    {KEY_GLUE, &EdgeParameters::glue},                {KEY_FLIP, &EdgeParameters::flip},
};

std::string optionName(const char* name) {
  std::string option = name;
  for (char& c : option)
    if (c == ' ') c = '-';
  return option;
}

std::string shownValue(const ScriptKey* key, int32_t value) {
  if (key != nullptr && key->kind == SCRIPT_ENUMERATED) {
    const char* name = enumerationName(key->enumerationType, value);
    if (name != nullptr) return name;
  }
  return std::to_string(value);
}

// A workspace whose maps come from the substitute host's buffer suite.
struct Tool {
  HostServices services;
  SettingsWorkspace workspace;
};

bool openTool(Tool* tool) {
  hostServicesInit(&tool->services);
  return openSettingsWorkspace(&tool->workspace, &tool->services.bufferProcs);
}

void closeTool(Tool* tool) {
  closeSettingsWorkspace(&tool->workspace);
  hostServicesRelease(&tool->services);
  hostServicesActivate(nullptr);
}

// A folder opens on some systems and then reads as nothing; only a regular
// file counts as a settings file to open.
bool readable(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

int showFile(Tool* tool, const std::string& path) {
  SettingsReadReport report;
  FilterSession* session = &tool->workspace.session;
  if (!readable(path) || readSettingsFileReported(session, path.c_str(), SettingsReadAll, &report) != 0)
    return fail(EXIT_FILE, "cannot open " + path);
  const EdgeParameters* p = &tool->workspace.parameters;
  for (const ShownField& shown : FILE_ORDER) {
    const ScriptKey* key = shown.key != 0 ? findScriptKey(shown.key) : nullptr;
    const char* name = key != nullptr ? key->name : "edge spare";
    std::printf("%s = %s\n", name, shownValue(key, p->*shown.field).c_str());
  }
  if (report.versionRead) std::printf("format version = %d\n", static_cast<int>(report.version));
  else std::printf("format version = none\n");
  if (report.hasThumbnail)
    std::printf("thumbnail = %d x %d\n", static_cast<int>(session->thumbnailWidth),
                static_cast<int>(session->thumbnailHeight));
  else std::printf("no thumbnail\n");
  if (report.endedEarly)
    std::fprintf(stderr, "marrowline-preset: %s ends early after %d bytes; what follows is shown as the filter "
                         "would take it\n",
                 path.c_str(), static_cast<int>(report.bytesTaken));
  return EXIT_OK;
}

// One parameter option into the record; false with a message.
bool setParameter(EdgeParameters* p, const std::string& name, const std::string& text, std::string* error) {
  int64_t number = 0;
  if (name == "edge-spare") {
    if (!parseInteger(text, INT32_MIN, INT32_MAX, &number)) {
      *error = "--edge-spare needs a whole number, not \"" + text + "\"";
      return false;
    }
    p->edgeSpare = static_cast<int32_t>(number);
    return true;
  }
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey* key = scriptKeyAt(i);
    if (key == nullptr || optionName(key->name) != name) continue;
    int32_t* field = scriptField(p, *key);
    switch (key->kind) {
      case SCRIPT_ENUMERATED:
        if (parseInteger(text, INT32_MIN, INT32_MAX, &number)) *field = static_cast<int32_t>(number);
        else if (!findEnumerationNumber(key->enumerationType, text.c_str(), field)) {
          *error = "unknown " + std::string(key->name) + " \"" + text + "\"";
          return false;
        }
        return true;
      case SCRIPT_INTEGER:
        if (!parseInteger(text, INT32_MIN, INT32_MAX, &number)) {
          *error = "--" + name + " needs a whole number, not \"" + text + "\"";
          return false;
        }
        *field = static_cast<int32_t>(number);
        return true;
      case SCRIPT_BOOLEAN:
        if (text != "0" && text != "1") {
          *error = "--" + name + " takes 0 or 1, not \"" + text + "\"";
          return false;
        }
        *field = text == "1" ? 1 : 0;
        return true;
    }
  }
  *error = "unknown option --" + name;
  return false;
}

// The picture's centred square, scaled to 128 x 128 by the filter's own
// resampling, as its thumbnail capture does with the rendered result.
bool thumbnailFromPicture(FilterSession* session, const std::string& path, std::string* error) {
  HostImage picture;
  if (!readPngImage(path, &picture, error)) return false;
  const int32_t planes = imagePlanes(picture);
  std::vector<uint16_t> hostWords;
  ThumbnailSource source;
  std::memset(&source, 0, sizeof source);
  source.width = picture.width;
  source.height = picture.height;
  source.grey = picture.colorPlanes < 3;
  if (picture.depth == 16) {
    // The filter's 16-bit scale, 0..32768.
    source.kind = THUMB_SAMPLES_16;
    hostWords.resize(hostSampleCount(picture));
    for (size_t i = 0; i < hostWords.size(); ++i) hostWords[i] = hostSampleAtIndex(picture, i);
    source.data = reinterpret_cast<const uint8_t*>(hostWords.data());
    source.columnBytes = planes * 2;
  } else {
    source.kind = THUMB_SAMPLES_8;
    source.data = picture.bytes.data();
    source.columnBytes = planes;
  }
  source.rowBytes = source.columnBytes * picture.width;
  thumbnailFromSamples(session, source);
  return true;
}

int writeFile(Tool* tool, const std::vector<std::string>& args) {
  std::string path, thumbnailPath, error;
  bool haveThumbnail = false;
  EdgeParameters* p = &tool->workspace.parameters;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
      if (!path.empty()) return fail(EXIT_USAGE, "write takes one FILE; \"" + arg + "\" is one too many");
      path = arg;
      continue;
    }
    std::string name = arg.substr(2), value;
    const size_t equals = name.find('=');
    if (equals != std::string::npos) {
      value = name.substr(equals + 1);
      name = name.substr(0, equals);
    } else if (i + 1 < args.size()) {
      value = args[++i];
    } else {
      return fail(EXIT_USAGE, "--" + name + " needs a value");
    }
    if (name == "thumbnail") {
      thumbnailPath = value;
      haveThumbnail = true;
    } else if (!setParameter(p, name, value, &error)) {
      return fail(EXIT_USAGE, error);
    }
  }
  if (path.empty()) return fail(EXIT_USAGE, "write needs a FILE (try --help)");

  FilterSession* session = &tool->workspace.session;
  if (haveThumbnail) {
    if (!thumbnailFromPicture(session, thumbnailPath, &error)) return fail(EXIT_FILE, error);
  } else {
    pixelMapFree(&session->presetThumbnail);  // a file without a thumbnail
  }
  // The filter's writer leaves an older file's tail in place; the tool writes
  // beside the target and renames, so the result is exactly the new file and
  // a failed write leaves the old one untouched.
  const std::string partial = path + ".partial";
  std::remove(partial.c_str());
  if (writeSettingsFile(session, partial.c_str()) != 0) {
    std::remove(partial.c_str());
    return fail(EXIT_FILE, "cannot write " + path);
  }
  if (std::rename(partial.c_str(), path.c_str()) != 0) {
    std::remove(partial.c_str());
    return fail(EXIT_FILE, "cannot write " + path);
  }
  return EXIT_OK;
}

int writeThumbnail(Tool* tool, const std::string& path, const std::string& outPath) {
  FilterSession* session = &tool->workspace.session;
  bool hasThumbnail = false;
  if (!readable(path) || readSettingsFile(session, path.c_str(), SettingsReadThumbnailOnly, &hasThumbnail) != 0)
    return fail(EXIT_FILE, "cannot open " + path);
  if (!hasThumbnail) return fail(EXIT_NO_THUMBNAIL, path + " holds no thumbnail");
  const PixelMap* thumbnail = &session->presetThumbnail;
  HostImage picture;
  hostImageAllocate(&picture, thumbnail->baseWidth, thumbnail->baseHeight, 3, false, 8, 0);
  for (int32_t y = 0; y < picture.height; ++y)
    for (int32_t x = 0; x < picture.width; ++x) {
      int32_t channels[4];
      getBytes4(x, y, thumbnail, 0, channels);
      for (int c = 0; c < 3; ++c) setHostSample(&picture, x, y, c, static_cast<uint16_t>(channels[c]));
    }
  std::string error;
  if (!writePngImage(outPath, picture, &error)) return fail(EXIT_FILE, error);
  return EXIT_OK;
}

// The presets page as the dialog's command makes it, without its dialogs.
int writePage(Tool* tool, const std::string& folder, const std::string& outPath, bool bold) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return fail(EXIT_FILE, "cannot list " + folder);
  const int16_t code = writePresetsPage(&tool->workspace.session, folder.c_str(), outPath.c_str(), bold);
  if (code != 0) return fail(EXIT_FILE, "cannot write " + outPath);
  return EXIT_OK;
}

int runTool(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) return fail(EXIT_USAGE, "no command (try --help)");
  const std::string command = args[0];
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(USAGE, stdout);
    return EXIT_OK;
  }
  args.erase(args.begin());
  const bool known = command == "show" || command == "write" || command == "thumbnail" || command == "page";
  if (!known) return fail(EXIT_USAGE, "unknown command \"" + command + "\" (try --help)");
  if (command == "show" && args.size() != 1) return fail(EXIT_USAGE, "show takes one FILE");
  if (command == "thumbnail" && args.size() != 2) return fail(EXIT_USAGE, "thumbnail takes FILE and OUT.png");
  const bool bold = command == "page" && args.size() == 3 && args[2] == "--bold";
  if (command == "page" && args.size() != 2 && !bold) return fail(EXIT_USAGE, "page takes FOLDER, OUT.html and --bold");

  static Tool tool;  // one per run; its services are the process's active suite
  if (!openTool(&tool)) {
    closeTool(&tool);
    return fail(EXIT_FILE, "out of memory");
  }
  int status = EXIT_OK;
  if (command == "show") status = showFile(&tool, args[0]);
  else if (command == "write") status = writeFile(&tool, args);
  else if (command == "page") status = writePage(&tool, args[0], args[1], bold);
  else status = writeThumbnail(&tool, args[0], args[1]);
  closeTool(&tool);
  return status;
}

}  // namespace

int main(int argc, char** argv) { return runTool(argc, argv); }
