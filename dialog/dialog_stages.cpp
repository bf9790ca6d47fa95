#include "dialog/dialog_stages.h"

#include "dialog/controls.h"
#include "dialog/dialog_state.h"
#include "dialog/main_dialog.h"
#include "pi/plugin_interface.h"
#include "session/session.h"

void runMainDialog(FilterSession* session) {
  DialogState& d = dialogState();
  d = DialogState{};
  d.session = session;
  const FilterRecord* record = session->filterRecord;
  void* owner = nullptr;
  if (record->platformData != nullptr)
    owner = reinterpret_cast<void*>(static_cast<const PlatformData*>(record->platformData)->hwnd);
  int32_t code = windowRunDialog(mainDialogShape(), owner, mainDialogEvent, session);
  // Without a window system the parameters are taken as they are.
  if (code < 0) session->dialogOutcome = 1;
  d.fileDialogOwner = nullptr;
  d.window = nullptr;
  session->dialogWindow = nullptr;
}

void runAboutBox(FilterSession*) { windowRunAboutBox(MAKER_ADDRESS); }
