// The command line of marrowline-host:
//
//   marrowline-host [OPTIONS] INPUT OUTPUT
//   marrowline-host [OPTIONS] --output-dir DIR INPUT...
//
// Parsing is kept apart from running so that its errors can be tested.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pihost/host_services.h"

struct HostOptions {
  std::string inputPath;
  std::string outputPath;
  // Batch form: every input is written under its own name into outputDir.
  std::string outputDir;
  std::vector<std::string> inputPaths;
  std::string pluginPath;       // empty: the module beside the program
  std::string maskPath;
  std::string recordPath;
  std::string progressLogPath;

  bool haveSelection = false;
  int32_t selectionLeft = 0, selectionTop = 0, selectionRight = 0, selectionBottom = 0;
  uint8_t foreground[3] = {0, 0, 0};
  uint8_t background[3] = {255, 255, 255};

  bool dialog = false;          // Parameters selector first, playInfo = display
  // --dialog-headless: the same requests where no window can be shown (the
  // native build), so the plug-in takes its settings as confirmed.
  bool dialogHeadless = false;
  int64_t cancelAfter = -1;

  // Capabilities the host offers.
  bool bufferProcs = true;
  bool handleProcs = true;
  bool descriptors = true;
  bool displayPixels = true;
  bool advanceState = true;
  bool sampling = true;
  int16_t bufferProcsVersion = kCurrentBufferProcsVersion;
  uint32_t hostSig = fourCharCode("8BIM");

  // A named profile of a real host's quirks (host_profiles.h).
  int hostProfile = 0;

  // Switches that walk the failure paths.
  int64_t failAllocateSize = -1;  // --fail-alloc-size N
  int64_t failAllocation = -1;    // --fail-alloc N: the N-th allocation of the suites fails
  int32_t rowPaddingBytes = 0;    // --row-padding N

  // Other modes of the program.
  std::string preview;          // --preview fit|SCALE[,PANX,PANY]
  std::string presetPath;       // --preset FILE

  // The dialog's exports: OUTPUT is then a PSD file or an HTML page.
  bool exportPsd = false;       // --export-psd
  bool dotsPage = false;        // --dots-page

  // The descriptor played back to the plug-in, in the order of the key
  // table (not the order on the command line).
  std::vector<DescriptorItem> descriptorItems;
  // One line per parameter value outside its range, for stderr.
  std::vector<std::string> warnings;
};

enum class ParseOutcome { Run, Help, Version, Error };

// Fills `options`; on Error `error` holds a one-line message.
ParseOutcome parseHostOptions(int argc, const char* const* argv, HostOptions* options, std::string* error);

// The text of --help.
const char* hostUsageText();

// Sets the selection rectangle (left, top, right, bottom; right and bottom
// one past), as --selection would.
void setHostSelection(HostOptions* options, int32_t left, int32_t top, int32_t right, int32_t bottom);

// Parses a number in full; false on trailing text or overflow.
bool parseInteger(const std::string& text, int64_t minimum, int64_t maximum, int64_t* value);
