#include "gimp/filter_run.h"

#include <memory>
#include <utility>

#include "pihost/host_options.h"
#include "pihost/host_session.h"

int16_t runFilterOverPicture(PluginEntryProc entry, HostImage* picture, int32_t left, int32_t top, int32_t right,
                             int32_t bottom, const GimpFilterValues& values, const FilterRunHooks& hooks,
                             std::string* message) {
  HostOptions options;
  setHostSelection(&options, left, top, right, bottom);
  for (int i = 0; i < 3; ++i) {
    options.foreground[i] = hooks.foreground[i];
    options.background[i] = hooks.background[i];
  }
  options.descriptorItems = descriptorItemsOfValues(values);

  // The session keeps the picture as read and as filtered; it takes the
  // picture over and gives the filtered one back, so no third copy is made.
  auto session = std::make_unique<HostSession>();
  if (!hostSessionSetup(session.get(), options, std::move(*picture), nullptr, message)) {
    *picture = std::move(session->source);
    hostSessionRelease(session.get());
    return paramErr;
  }
  session->services.progressHook = hooks.progress;
  session->services.abortHook = hooks.cancelled;
  session->services.hookContext = hooks.context;
  if (hooks.transfer) {
    stripTransferStart(hooks.transfer, &session->source, &session->filtered);
    session->rowsHook = stripTransferRows;
    session->rowsHookContext = hooks.transfer;
    session->services.progressHook = stripTransferProgress;
    session->services.abortHook = stripTransferCancelled;
    session->services.hookContext = hooks.transfer;
  }

  const int16_t result = hostSessionRun(session.get(), entry);
  // Every strip is sent (or, after a failure, the thread stopped) before the
  // session lets go of the pictures.
  if (hooks.transfer) stripTransferFinish(hooks.transfer, result == 0 && session->protocolError.empty());
  if (!session->protocolError.empty()) {
    *message = session->protocolError;
  } else if (result != 0) {
    *message = "the filter failed with result " + std::to_string(result) + " (" + resultCodeMeaning(result) + ")";
    if (result == errReportString && session->errorString[0] > 0)
      *message += ": " + std::string(reinterpret_cast<const char*>(&session->errorString[1]),
                                     size_t(session->errorString[0]));
  }
  // No mask went to the filter: GIMP lays the result in by the selection's
  // coverage when it merges the shadow buffer.
  *picture = std::move(result == 0 ? session->filtered : session->source);
  hostSessionRelease(session.get());
  return result;
}
