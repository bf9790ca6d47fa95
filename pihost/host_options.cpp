#include "pihost/host_options.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "pihost/host_profiles.h"
#include "pihost/parameter_warnings.h"
#include "session/terminology.h"

namespace {

// The option of a script key: its terminology name with '-' for spaces
// ("edge style" is --edge-style).
std::string optionNameOfKey(const ScriptKey& key) {
  std::string name = key.name;
  for (char& c : name)
    if (c == ' ') c = '-';
  return name;
}

const ScriptKey* scriptKeyOfOption(const std::string& option) {
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey* key = scriptKeyAt(i);
    if (key && optionNameOfKey(*key) == option) return key;
  }
  return nullptr;
}

bool parseList(const std::string& text, int count, int64_t minimum, int64_t maximum, int64_t* values) {
  size_t start = 0;
  for (int i = 0; i < count; ++i) {
    const size_t comma = text.find(',', start);
    const bool last = i == count - 1;
    if (last != (comma == std::string::npos)) return false;
    const std::string part = text.substr(start, last ? std::string::npos : comma - start);
    if (!parseInteger(part, minimum, maximum, &values[i])) return false;
    start = comma + 1;
  }
  return true;
}

// A descriptor value from the command line with the number it was given as
// (names of enumerations are always in range).
struct ParsedItem {
  DescriptorItem item;
  int64_t number = 0;
};

// A descriptor value from the command line, typed by the key table.
bool scriptItemFromText(const ScriptKey& key, const std::string& text, ParsedItem* parsed, std::string* error) {
  DescriptorItem* item = &parsed->item;
  item->key = key.key;
  int64_t number = 0;
  switch (key.kind) {
    case SCRIPT_ENUMERATED: {
      int32_t value = 0;
      if (parseInteger(text, INT32_MIN, INT32_MAX, &number)) value = int32_t(number);
      else if (!findEnumerationNumber(key.enumerationType, text.c_str(), &value)) {
        *error = "unknown " + std::string(key.name) + " \"" + text + "\"";
        return false;
      }
      parsed->number = value;
      item->type = typeEnumerated;
      item->enumType = key.enumerationType;
      item->value = int32_t(mapNumberToCode(value, key.enumerationType));  // '<NO>' out of range
      return true;
    }
    case SCRIPT_INTEGER:
      if (!parseInteger(text, INT32_MIN, INT32_MAX, &number)) {
        *error = "--" + optionNameOfKey(key) + " needs a whole number, not \"" + text + "\"";
        return false;
      }
      item->type = typeInteger;
      item->value = int32_t(number);
      parsed->number = number;
      return true;
    case SCRIPT_BOOLEAN:
      if (text != "0" && text != "1") {
        *error = "--" + optionNameOfKey(key) + " takes 0 or 1, not \"" + text + "\"";
        return false;
      }
      item->type = typeBoolean;
      item->value = text == "1" ? 1 : 0;
      parsed->number = item->value;
      return true;
  }
  return false;
}

// Options that take a value, besides the script keys.
bool takesValue(const std::string& name) {
  static const char* const kNames[] = {"selection", "mask",  "fore",       "back",     "plugin",
                                       "record",    "progress-log", "cancel-after", "buffer-procs-version",
                                       "host-sig",  "fail-alloc-size", "row-padding", "preview", "preset",
                                       "fail-alloc", "host-profile", "output-dir"};
  for (const char* known : kNames)
    if (name == known) return true;
  return scriptKeyOfOption(name) != nullptr;
}

bool parseColor(const std::string& text, uint8_t color[3]) {
  int64_t values[3];
  if (!parseList(text, 3, 0, 255, values)) return false;
  for (int i = 0; i < 3; ++i) color[i] = uint8_t(values[i]);
  return true;
}

}  // namespace

bool parseInteger(const std::string& text, int64_t minimum, int64_t maximum, int64_t* value) {
  if (text.empty() || text.size() > 20) return false;
  const char* begin = text.c_str();
  if (!(std::isdigit(static_cast<unsigned char>(begin[0])) || begin[0] == '-' || begin[0] == '+')) return false;
  char* end = nullptr;
  errno = 0;
  const long long parsed = std::strtoll(begin, &end, 10);
  if (errno != 0 || end == begin || *end != 0) return false;
  if (parsed < minimum || parsed > maximum) return false;
  *value = parsed;
  return true;
}

ParseOutcome parseHostOptions(int argc, const char* const* argv, HostOptions* options, std::string* error) {
  std::vector<std::string> positional;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (optionsEnded || arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
      positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    std::string name = arg.substr(2);
    std::string value;
    bool haveValue = false;
    const size_t equals = name.find('=');
    if (equals != std::string::npos) {
      value = name.substr(equals + 1);
      name = name.substr(0, equals);
      haveValue = true;
    }

    // Switches without a value.
    bool* flag = nullptr;
    bool flagValue = false;
    if (name == "help") return ParseOutcome::Help;
    if (name == "version") return ParseOutcome::Version;
    if (name == "dialog") flag = &options->dialog, flagValue = true;
    else if (name == "dialog-headless") flag = &options->dialogHeadless, flagValue = true, options->dialog = true;
    else if (name == "no-buffer-procs") flag = &options->bufferProcs;
    else if (name == "no-handle-procs") flag = &options->handleProcs;
    else if (name == "no-descriptors") flag = &options->descriptors;
    else if (name == "no-display-pixels") flag = &options->displayPixels;
    else if (name == "no-advance-state") flag = &options->advanceState;
    else if (name == "no-sampling") flag = &options->sampling;
    else if (name == "export-psd") flag = &options->exportPsd, flagValue = true;
    else if (name == "dots-page") flag = &options->dotsPage, flagValue = true;
    if (flag) {
      if (haveValue) {
        *error = "--" + name + " takes no value";
        return ParseOutcome::Error;
      }
      *flag = flagValue;
      continue;
    }

    if (!haveValue) {
      if (i + 1 >= argc) {
        *error = takesValue(name) ? "--" + name + " needs a value" : "unknown option --" + name;
        return ParseOutcome::Error;
      }
      value = argv[++i];
    }

    int64_t number = 0;
    if (const ScriptKey* key = scriptKeyOfOption(name)) {
      ParsedItem parsed;
      DescriptorItem& item = parsed.item;
      if (!scriptItemFromText(*key, value, &parsed, error)) return ParseOutcome::Error;
      const std::string warning = parameterRangeWarning(*key, parsed.number, "--" + name + " " + value);
      for (size_t w = 0; w < options->warnings.size(); ++w)  // a key given twice keeps its last warning
        if (options->warnings[w].compare(0, name.size() + 3, "--" + name + " ") == 0)
          options->warnings.erase(options->warnings.begin() + long(w--));
      if (!warning.empty()) options->warnings.push_back(warning);
      bool replaced = false;
      for (DescriptorItem& existing : options->descriptorItems) {
        if (existing.key == item.key) existing = item, replaced = true;
      }
      if (!replaced) options->descriptorItems.push_back(item);
    } else if (name == "selection") {
      int64_t v[4];
      if (!parseList(value, 4, 0, INT16_MAX, v) || v[0] >= v[2] || v[1] >= v[3]) {
        *error = "bad selection \"" + value + "\": want L,T,R,B with L<R and T<B";
        return ParseOutcome::Error;
      }
      setHostSelection(options, int32_t(v[0]), int32_t(v[1]), int32_t(v[2]), int32_t(v[3]));
    } else if (name == "fore" || name == "back") {
      if (!parseColor(value, name == "fore" ? options->foreground : options->background)) {
        *error = "bad colour \"" + value + "\" for --" + name + ": want R,G,B each 0..255";
        return ParseOutcome::Error;
      }
    } else if (name == "mask") {
      options->maskPath = value;
    } else if (name == "plugin") {
      options->pluginPath = value;
    } else if (name == "record") {
      options->recordPath = value;
    } else if (name == "progress-log") {
      options->progressLogPath = value;
    } else if (name == "cancel-after") {
      if (!parseInteger(value, 0, INT64_MAX / 2, &number)) {
        *error = "--cancel-after needs a count of 0 or more, not \"" + value + "\"";
        return ParseOutcome::Error;
      }
      options->cancelAfter = number;
    } else if (name == "buffer-procs-version") {
      if (!parseInteger(value, INT16_MIN, INT16_MAX, &number)) {
        *error = "--buffer-procs-version needs a 16-bit number, not \"" + value + "\"";
        return ParseOutcome::Error;
      }
      options->bufferProcsVersion = int16_t(number);
    } else if (name == "host-sig") {
      bool printable = value.size() == 4;
      for (char c : value) printable = printable && c >= 0x20 && c < 0x7F;
      if (!printable) {
        *error = "--host-sig needs four characters, not \"" + value + "\"";
        return ParseOutcome::Error;
      }
      options->hostSig = (uint32_t(uint8_t(value[0])) << 24) | (uint32_t(uint8_t(value[1])) << 16) |
                         (uint32_t(uint8_t(value[2])) << 8) | uint32_t(uint8_t(value[3]));
    } else if (name == "fail-alloc-size") {
      if (!parseInteger(value, 0, INT32_MAX, &number)) {
        *error = "--fail-alloc-size needs a size in bytes, not \"" + value + "\"";
        return ParseOutcome::Error;
      }
      options->failAllocateSize = number;
    } else if (name == "fail-alloc") {
      if (!parseInteger(value, 1, INT64_MAX / 2, &number)) {
        *error = "--fail-alloc needs a count of 1 or more, not \"" + value + "\"";
        return ParseOutcome::Error;
      }
      options->failAllocation = number;
    } else if (name == "host-profile") {
      const int profile = findHostProfile(value.c_str());
      if (profile < 0) {
        std::string names;
        for (int k = 0; k < hostProfileCount(); ++k) names += std::string(k ? ", " : "") + hostProfileAt(k).name;
        *error = "unknown host profile \"" + value + "\": one of " + names;
        return ParseOutcome::Error;
      }
      options->hostProfile = profile;
    } else if (name == "output-dir") {
      if (value.empty()) {
        *error = "--output-dir needs a folder";
        return ParseOutcome::Error;
      }
      options->outputDir = value;
    } else if (name == "row-padding") {
      if (!parseInteger(value, 0, 4096, &number)) {
        *error = "--row-padding needs 0..4096 bytes, not \"" + value + "\"";
        return ParseOutcome::Error;
      }
      options->rowPaddingBytes = int32_t(number);
    } else if (name == "preview") {
      options->preview = value;
    } else if (name == "preset") {
      options->presetPath = value;
    } else {
      *error = "unknown option --" + name;
      return ParseOutcome::Error;
    }
  }

  if (!options->outputDir.empty()) {
    if (positional.empty()) {
      *error = "--output-dir needs at least one INPUT (try --help)";
      return ParseOutcome::Error;
    }
    options->inputPaths = positional;
  } else if (positional.size() != 2) {
    *error = positional.size() < 2 ? "expected INPUT and OUTPUT (try --help)"
                                   : "too many arguments: \"" + positional[2] + "\" (several inputs need --output-dir)";
    return ParseOutcome::Error;
  } else {
    options->inputPath = positional[0];
    options->outputPath = positional[1];
  }
  if (int(options->exportPsd) + int(options->dotsPage) + int(!options->preview.empty()) > 1) {
    *error = "--export-psd, --dots-page and --preview each replace the run: give one of them";
    return ParseOutcome::Error;
  }

  // The descriptor goes out in the order of the key table.
  std::vector<DescriptorItem> ordered;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey* key = scriptKeyAt(i);
    for (const DescriptorItem& item : options->descriptorItems)
      if (key && item.key == key->key) ordered.push_back(item);
  }
  options->descriptorItems = ordered;
  return ParseOutcome::Run;
}

const char* hostUsageText() {
  return "usage: marrowline-host [OPTIONS] INPUT OUTPUT\n"
         "       marrowline-host [OPTIONS] --output-dir DIR INPUT...\n"
         "\n"
         "Runs the Marrowline filter plug-in on a picture through the Photoshop plug-in\n"
         "interface and writes the result in the same kind, size and depth. Pictures are\n"
         "PNG, JPEG or TIFF, chosen by the file name's extension (.png; .jpg .jpeg; .tif\n"
         ".tiff): 8 or 16 bits, grey or RGB, with or without alpha (JPEG: 8-bit grey or RGB).\n"
         "An embedded colour profile is carried from input to output.\n"
         "\n"
         "Filter parameters (played back as a script; a parameter not given is left out).\n"
         "A value outside its range is passed on as given, with a warning that says what\n"
         "the filter will do with it:\n"
         "  --edge-style NAME|N     1..13: blurry, thin/hard, thin/soft, chrome, scribble, ...\n"
         "  --smoothing N           0..100      --tweaker N    0..100\n"
         "  --angle N               0..359 degrees\n"
         "  --edge-extent NAME|N    top to bottom, left to right, both\n"
         "  --source NAME|N         greyscale, red, green, blue\n"
         "  --chrome-style NAME|N   Phong, sine, puddles, bumps, spike, raw\n"
         "  --glue NAME|N           1..62: normal, screen, pin light, ...\n"
         "  --colorize 0|1          --remove-noise 0|1     --flip 0|1\n"
         "  --preset FILE           the eleven parameters of a settings file (.q4t); the\n"
         "                          options above, when given too, override it\n"
         "\n"
         "Picture and host:\n"
         "  --selection L,T,R,B     filter rectangle (default the whole picture)\n"
         "  --mask FILE.png         selection mask, 8-bit grey, the picture's size\n"
         "  --fore R,G,B            foreground colour (default 0,0,0)\n"
         "  --back R,G,B            background colour (default 255,255,255)\n"
         "  --plugin PATH           the plug-in module (default: the one beside this program)\n"
         "  --dialog                ask for the plug-in's dialog (Parameters selector first);\n"
         "                          the Windows build shows it, owned by a window of its own\n"
         "  --dialog-headless       the same requests without a window system: the plug-in\n"
         "                          takes its settings as confirmed (for tests)\n"
         "  --preview fit|SCALE[,PANX,PANY]\n"
         "                          play the dialog's preview instead of the final run and\n"
         "                          write the pane's picture (8-bit); pans in full-size pixels\n"
         "  --record FILE           write the descriptor the plug-in returns: KEY TYPE VALUE\n"
         "  --progress-log FILE     one line DONE TOTAL per progress report\n"
         "  --output-dir DIR        batch: each INPUT is written into DIR under its own name,\n"
         "                          one line per file and a summary; exit 1 if any failed\n"
         "\n"
         "Exports of the dialog (OUTPUT is then the file they make):\n"
         "  --export-psd            a layered PSD of the filter rectangle: the result with its\n"
         "                          transparency, merged over a grey checkerboard\n"
         "  --dots-page             an HTML page of the memory dots stored in the temporary\n"
         "                          folder, each rendered from INPUT; pictures in web_images/\n"
         "\n"
         "Host capabilities (all offered by default):\n"
         "  --no-buffer-procs  --no-handle-procs  --no-descriptors  --no-display-pixels\n"
         "  --no-advance-state  --no-sampling\n"
         "  --buffer-procs-version N  the buffer suite's version (the published one is 2)\n"
         "  --host-sig XXXX         the host's four-character signature (default 8BIM)\n"
         "  --host-profile NAME     a real host family's quirks:\n"
         "                          plain, zero-versions, no-finish, no-descriptors,\n"
         "                          no-out-layer-planes, padded-rows, psp8, psp9, keeps-data\n"
         "  --row-padding N         0..4096 bytes of padding after each buffer row\n"
         "\n"
         "Failure paths:\n"
         "  --cancel-after N        the host's abort check answers yes from its (N+1)-th call\n"
         "  --fail-alloc N          the N-th allocation through the buffer and handle suites fails\n"
         "  --fail-alloc-size N     every buffer allocation of exactly N bytes fails\n"
         "\n"
         "  --help                  this text          --version   the program's version\n"
         "\n"
         "Exit status: 0 success; 1 the plug-in reported an error (code on stderr), or in\n"
         "batch mode any file failed; 2 bad command line; 3 a file or the plug-in could not\n"
         "be read or written; 4 cancelled (the dialog's Cancel, or the abort check).\n";
}

void setHostSelection(HostOptions* options, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  options->haveSelection = true;
  options->selectionLeft = left;
  options->selectionTop = top;
  options->selectionRight = right;
  options->selectionBottom = bottom;
}
