#include "pihost/host_program.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <utility>

#if defined(_WIN32)
#include <io.h>
#define ML_ISATTY(fd) _isatty(fd)
#define ML_FILENO(f) _fileno(f)
#else
#include <unistd.h>
#define ML_ISATTY(fd) isatty(fd)
#define ML_FILENO(f) fileno(f)
#endif

#include "session/terminology.h"
#include "pihost/host_options.h"
#include "pihost/host_profiles.h"
#include "pihost/host_session.h"
#include "pihost/plugin_module.h"
#include "pihost/image_files.h"
#include "pihost/parameter_warnings.h"
#include "pihost/png_io.h"
#include "pihost/preview_mode.h"
#include "pihost/export_mode.h"
#include "export/psd_file.h"
#include "files/file_io.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"

namespace {

void fail(const std::string& message) { std::fprintf(stderr, "marrowline-host: %s\n", message.c_str()); }

std::string codeText(uint32_t code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) {
    const char c = char((code >> (24 - 8 * i)) & 0xFF);
    text[size_t(i)] = (c >= 0x20 && c < 0x7F) ? c : '?';
  }
  return text;
}

bool writeTextFile(const std::string& path, const std::string& text, std::string* error) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    *error = "cannot create " + path;
    return false;
  }
  const bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !ok) {
    *error = "cannot write " + path;
    return false;
  }
  return true;
}

// --preset FILE: the file is read by the plug-in's own reader, and its eleven
// scripted parameters join the descriptor. A parameter also given as an
// option keeps the option's value. The descriptor stays in key-table order.
bool applyPresetFile(HostOptions* options, std::string* error) {
  std::error_code fileError;
  if (!std::filesystem::is_regular_file(options->presetPath, fileError)) {
    *error = "cannot open preset " + options->presetPath;
    return false;
  }
  auto workspace = std::make_unique<SettingsWorkspace>();
  SettingsReadReport report{};
  bool read = openSettingsWorkspace(workspace.get(), nullptr) &&
              readSettingsFileReported(&workspace->session, options->presetPath.c_str(), SettingsReadAll,
                                       &report) == 0;
  closeSettingsWorkspace(workspace.get());
  if (!read) {
    *error = "cannot read preset " + options->presetPath;
    return false;
  }
  if (report.endedEarly)
    std::fprintf(stderr, "marrowline-host: preset %s ends early; the parameters it lacks take their defaults\n",
                 options->presetPath.c_str());
  std::vector<DescriptorItem> merged;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey* key = scriptKeyAt(i);
    if (key == nullptr) continue;
    bool given = false;
    for (const DescriptorItem& item : options->descriptorItems)
      if (item.key == key->key) merged.push_back(item), given = true;
    if (given) continue;
    const int32_t value = *scriptField(&workspace->parameters, *key);
    merged.push_back(descriptorItemOfValue(*key, value));
    const std::string warning =
        parameterRangeWarning(*key, value, std::string(key->name) + " " + std::to_string(value) + " of the preset");
    if (!warning.empty()) options->warnings.push_back(warning);
  }
  options->descriptorItems = merged;
  return true;
}

}  // namespace

DescriptorItem descriptorItemOfValue(const ScriptKey& key, int32_t value) {
  DescriptorItem item;
  item.key = key.key;
  switch (key.kind) {
    case SCRIPT_ENUMERATED:
      item.type = typeEnumerated;
      item.enumType = key.enumerationType;
      item.value = int32_t(mapNumberToCode(value, key.enumerationType));  // '<NO>' out of range
      break;
    case SCRIPT_INTEGER:
      item.type = typeInteger;
      item.value = value;
      break;
    case SCRIPT_BOOLEAN:
      item.type = typeBoolean;
      item.value = (value & 0xFF) != 0 ? 1 : 0;  // the low byte, as the plug-in records it
      break;
  }
  return item;
}

std::string descriptorRecordText(const std::vector<DescriptorItem>& items) {
  std::string text;
  for (const DescriptorItem& item : items) {
    text += codeText(item.key);
    if (item.type == typeEnumerated) text += " enum " + codeText(uint32_t(item.value));
    else if (item.type == typeBoolean) text += std::string(" bool ") + (item.value ? "1" : "0");
    else if (item.type == typeInteger) text += " int " + std::to_string(item.value);
    else text += " " + codeText(item.type) + " " + std::to_string(item.value);
    text += "\n";
  }
  return text;
}

namespace {

// One picture through the plug-in: INPUT to OUTPUT as the options say.
// Messages go to stderr; gives the exit status.
int runOnePicture(const HostOptions& options, const PreviewRequest& previewRequest, const std::string& inputPath,
                  const std::string& outputPath) {
  std::string error;
  HostImage source;
  if (!readImageFile(inputPath, &source, &error)) {
    fail(error);
    return kExitFile;
  }
  // The exports write files of their own kinds; every other output is a picture.
  if (!options.exportPsd && !options.dotsPage && imageFileKindOf(outputPath) == ImageFileKind::Unknown) {
    fail("cannot write " + outputPath + ": unknown picture type (the name must end in .png, .jpg, .jpeg, .tif or .tiff)");
    return kExitUsage;
  }
  auto session = std::make_unique<HostSession>();
  {
    HostMask mask;
    if (!options.maskPath.empty() && !readPngMask(options.maskPath, source.width, source.height, &mask, &error)) {
      fail(error);
      return kExitFile;
    }
    // The session takes the picture over; only it and its filtered copy stay.
    if (!hostSessionSetup(session.get(), options, std::move(source), options.maskPath.empty() ? nullptr : &mask,
                          &error)) {
      hostSessionRelease(session.get());
      fail(error);
      return kExitUsage;
    }
  }

  if (options.exportPsd || options.dotsPage) {
    const ExportCommand command = options.exportPsd ? ExportCommand::Psd : ExportCommand::DotsPage;
    const int16_t code = hostSessionRunExport(session.get(), command, outputPath);
    hostSessionRelease(session.get());
    if (code == 0) return kExitSuccess;
    if (code == FILE_OPEN_FAILED || code == FILE_WRITE_FAILED) {
      fail("cannot write " + outputPath);
      return kExitFile;
    }
    if (code == PSD_NO_IMAGE) {
      fail("no memory for the export's picture of the whole filter rectangle");
      return kExitPluginError;
    }
    fail("the export failed with result " + std::to_string(code) + " (" + resultCodeMeaning(code) + ")");
    return kExitPluginError;
  }

  if (!options.preview.empty()) {
    int32_t maxScale = 0;
    PreviewOutcome outcome = PREVIEW_RENDER_FAILED;
    const int16_t result = hostSessionRunPreview(session.get(), previewRequest, &maxScale, &outcome);
    int status = kExitSuccess;
    if (outcome == PREVIEW_SCALE_INVALID) {
      fail("--preview: the scale must lie between 1 and " + std::to_string(maxScale));
      status = kExitUsage;
    } else if (result != 0 || outcome != PREVIEW_SHOWN || session->services.displayCalls == 0) {
      fail(result != 0 ? "the preview failed with result " + std::to_string(result) + " (" +
                             resultCodeMeaning(result) + ")"
                       : std::string("the host cannot show a preview with these capabilities"));
      status = kExitPluginError;
    } else if (!writeImageFile(outputPath, session->services.lastDisplayed, &error)) {
      fail(error);
      status = kExitFile;
    }
    hostSessionRelease(session.get());
    return status;
  }

  PluginModule module;
  const std::string pluginPath = options.pluginPath.empty() ? defaultPluginPath() : options.pluginPath;
  if (!loadPluginModule(pluginPath, &module, &error)) {
    hostSessionRelease(session.get());
    fail(error);
    return kExitFile;
  }

  FILE* progressLog = nullptr;
  if (!options.progressLogPath.empty()) {
    progressLog = std::fopen(options.progressLogPath.c_str(), "wb");
    if (!progressLog) {
      unloadPluginModule(&module);
      hostSessionRelease(session.get());
      fail("cannot create " + options.progressLogPath);
      return kExitFile;
    }
  }
  session->services.progressLog = progressLog;
  session->services.progressBar = ML_ISATTY(ML_FILENO(stderr)) != 0;

  const int16_t result = hostSessionRun(session.get(), module.entry);
  if (progressLog) std::fclose(progressLog);

  int status = kExitSuccess;
  if (!session->protocolError.empty()) {
    fail(session->protocolError);
    status = kExitPluginError;
  } else if (result != 0) {
    std::string message = "the plug-in failed with result " + std::to_string(result) + " (" +
                          std::to_string(uint16_t(result)) + ", " + resultCodeMeaning(result) + ")";
    if (result == errReportString && session->errorString[0] > 0) {
      message += ": " + std::string(reinterpret_cast<const char*>(&session->errorString[1]),
                                    size_t(session->errorString[0]));
    }
    fail(message);
    status = kExitPluginError;
  }

  if (status == kExitSuccess) {
    hostSessionComposeInPlace(session.get());
    if (imageFileNarrows(outputPath, session->filtered))
      fail("note: " + outputPath + " is a JPEG file: written at 8 bits without alpha");
    if (!writeImageFile(outputPath, session->filtered, &error)) {
      fail(error);
      status = kExitFile;
    }
  }
  if (status == kExitSuccess && !options.recordPath.empty()) {
    if (!writeTextFile(options.recordPath, descriptorRecordText(session->returnedDescriptor), &error)) {
      fail(error);
      std::remove(outputPath.c_str());
      status = kExitFile;
    }
  }

  hostSessionRelease(session.get());
  unloadPluginModule(&module);
  return status;
}

// --output-dir: every input under its own file name in the folder, one line
// per file and a summary. Failed files do not stop the others.
int runBatch(const HostOptions& options, const PreviewRequest& previewRequest) {
  namespace fs = std::filesystem;
  std::error_code fileError;
  if (!fs::is_directory(options.outputDir, fileError)) {
    fail("--output-dir " + options.outputDir + " is not a folder");
    return kExitFile;
  }
  const size_t total = options.inputPaths.size();
  size_t failed = 0;
  for (size_t i = 0; i < total; ++i) {
    const std::string& input = options.inputPaths[i];
    fs::path name = fs::path(input).filename();
    if (options.exportPsd) name.replace_extension(".psd");  // the exports write files of their own kinds
    if (options.dotsPage) name.replace_extension(".html");
    const std::string output = (fs::path(options.outputDir) / name).string();
    const std::string counter = "[" + std::to_string(i + 1) + "/" + std::to_string(total) + "] ";
    int status = kExitSuccess;
    if (fs::exists(output, fileError) && fs::equivalent(input, output, fileError)) {
      fail(output + " is the input itself: it is not overwritten");
      status = kExitUsage;
    } else {
      status = runOnePicture(options, previewRequest, input, output);
    }
    if (status == kExitSuccess) {
      std::fprintf(stderr, "marrowline-host: %s%s -> %s\n", counter.c_str(), input.c_str(), output.c_str());
    } else {
      failed++;
      std::fprintf(stderr, "marrowline-host: %s%s failed\n", counter.c_str(), input.c_str());
    }
  }
  std::fprintf(stderr, "marrowline-host: %zu of %zu pictures written, %zu failed\n", total - failed, total, failed);
  return failed == 0 ? kExitSuccess : kExitPluginError;
}

}  // namespace

int runHostProgram(int argc, const char* const* argv) {
  HostOptions options;
  std::string error;
  switch (parseHostOptions(argc, argv, &options, &error)) {
    case ParseOutcome::Help:
      std::fputs(hostUsageText(), stdout);
      return kExitSuccess;
    case ParseOutcome::Version:
      std::printf("marrowline-host %s (%s)\n", ML_VERSION, imageLibraryVersions().c_str());
      return kExitSuccess;
    case ParseOutcome::Error:
      fail(error);
      return kExitUsage;
    case ParseOutcome::Run:
      break;
  }
  const bool descriptorSuite = options.descriptors && !hostProfileAt(options.hostProfile).noDescriptorsCaseZero;
  if (!options.presetPath.empty()) {
    if (!descriptorSuite) {
      fail("--preset goes to the plug-in as a descriptor: it cannot be used without a descriptor suite");
      return kExitUsage;
    }
    if (!applyPresetFile(&options, &error)) {
      fail(error);
      return kExitFile;
    }
  }
  for (const std::string& warning : options.warnings) fail("warning: " + warning);
  if (!descriptorSuite && !options.descriptorItems.empty())
    fail("warning: this host has no descriptor suite: the parameter options do not reach the plug-in, which runs on "
         "its cached settings");
  PreviewRequest previewRequest{};
  if (!options.preview.empty() && !parsePreviewOption(options.preview, &previewRequest, &error)) {
    fail(error);
    return kExitUsage;
  }
  if (!options.outputDir.empty()) return runBatch(options, previewRequest);
  return runOnePicture(options, previewRequest, options.inputPath, options.outputPath);
}
