// --export-psd and --dots-page: instead of the final run the substitute host
// plays one of the dialog's exports with the parameters of the command line,
// through the plug-in's own code linked into the host (as --preview does).
//
//   marrowline-host [OPTIONS] --export-psd INPUT.png OUTPUT.psd
//   marrowline-host [OPTIONS] --dots-page INPUT.png OUT.html
//
// The PSD covers the filter rectangle (--selection) at the input's depth.
// The dots page shows the memory dots stored in the temporary folder, each
// rendered from the input; its pictures go to web_images/ beside the page.
#pragma once

#include <cstdint>
#include <string>

struct HostSession;

enum class ExportCommand { None, Psd, DotsPage };

// Prepare, Start's set-up, the export into `outputPath`, Start's clean-up.
// The result word of the run, or the export's own code when the run went
// well and the file did not.
int16_t hostSessionRunExport(HostSession* session, ExportCommand command, const std::string& outputPath);
