#include "pihost/export_mode.h"

#include "export/html_pages.h"
#include "export/psd_file.h"
#include "pihost/host_session.h"
#include "pihost/preview_mode.h"
#include "session/session.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

int16_t hostSessionRunExport(HostSession* s, ExportCommand command, const std::string& outputPath) {
  // The export's renders are off screen: nothing of them is the picture.
  s->commitOutput = false;
  hostSessionActivate(s);
  hostSessionCallSelector(s, PluginMain, filterSelectorPrepare);
  int16_t code = s->result;
  if (code == 0) {
    FilterSession* session = beginPreviewStart(&s->record, &s->data, &s->result);
    if (session != nullptr) {
      if (command == ExportCommand::Psd) {
        code = renderPsd(session, outputPath.c_str());
      } else {
        bool filled[DOT_COUNT];
        filledDotsOfFiles(filled);
        code = writeDotsPage(session, outputPath.c_str(), filled);
      }
      if (s->result != 0) code = s->result;
      endPreviewStart(session, &s->data);
    } else {
      code = s->result;
    }
  }
  hostSessionDeactivate(s);
  return code;
}
