#include "pihost/host_program.h"

#include <cstdio>
#include <filesystem>
#include <memory>

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
#include "pihost/host_session.h"
#include "pihost/plugin_module.h"
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

// The descriptor item that carries a parameter's value, typed by its key.
DescriptorItem presetItem(const ScriptKey& key, int32_t value) {
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
    if (!given) merged.push_back(presetItem(*key, *scriptField(&workspace->parameters, *key)));
  }
  options->descriptorItems = merged;
  return true;
}

}  // namespace

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

int runHostProgram(int argc, const char* const* argv) {
  HostOptions options;
  std::string error;
  switch (parseHostOptions(argc, argv, &options, &error)) {
    case ParseOutcome::Help:
      std::fputs(hostUsageText(), stdout);
      return kExitSuccess;
    case ParseOutcome::Error:
      fail(error);
      return kExitUsage;
    case ParseOutcome::Run:
      break;
  }
  if (!options.presetPath.empty()) {
    if (!options.descriptors) {
      fail("--preset goes to the plug-in as a descriptor: it cannot be used with --no-descriptors");
      return kExitUsage;
    }
    if (!applyPresetFile(&options, &error)) {
      fail(error);
      return kExitFile;
    }
  }
  PreviewRequest previewRequest{};
  if (!options.preview.empty() && !parsePreviewOption(options.preview, &previewRequest, &error)) {
    fail(error);
    return kExitUsage;
  }

  HostImage source;
  if (!readPngImage(options.inputPath, &source, &error)) {
    fail(error);
    return kExitFile;
  }
  HostMask mask;
  if (!options.maskPath.empty() && !readPngMask(options.maskPath, source.width, source.height, &mask, &error)) {
    fail(error);
    return kExitFile;
  }

  auto session = std::make_unique<HostSession>();
  if (!hostSessionSetup(session.get(), options, source, options.maskPath.empty() ? nullptr : &mask, &error)) {
    hostSessionRelease(session.get());
    fail(error);
    return kExitUsage;
  }

  if (options.exportPsd || options.dotsPage) {
    const ExportCommand command = options.exportPsd ? ExportCommand::Psd : ExportCommand::DotsPage;
    const int16_t code = hostSessionRunExport(session.get(), command, options.outputPath);
    hostSessionRelease(session.get());
    if (code == 0) return kExitSuccess;
    if (code == FILE_OPEN_FAILED || code == FILE_WRITE_FAILED) {
      fail("cannot write " + options.outputPath);
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
    } else if (!writePngImage(options.outputPath, session->services.lastDisplayed, &error)) {
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
    HostImage output;
    hostSessionComposeResult(*session, &output);
    if (!writePngImage(options.outputPath, output, &error)) {
      fail(error);
      status = kExitFile;
    }
  }
  if (status == kExitSuccess && !options.recordPath.empty()) {
    if (!writeTextFile(options.recordPath, descriptorRecordText(session->returnedDescriptor), &error)) {
      fail(error);
      std::remove(options.outputPath.c_str());
      status = kExitFile;
    }
  }

  hostSessionRelease(session.get());
  unloadPluginModule(&module);
  return status;
}
