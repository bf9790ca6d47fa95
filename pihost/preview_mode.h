// --preview fit|SCALE[,PANX,PANY]: instead of the final run the substitute
// host plays the preview path as the dialog does, and keeps what
// displayPixels received (always 8-bit) as the output picture.
//
// This part runs the plug-in's own code linked into the host (ml_entry):
// after the Prepare selector it takes the place of Start, does Start's
// set-up, plays the preview for the pane of the dialog's control table, and
// ends the way Start ends, with no final run.
#pragma once

#include <cstdint>
#include <string>

#include "region/preview_geometry.h"
#include "pi/plugin_interface.h"

struct FilterSession;
struct HostSession;

// Parses "fit", "SCALE" or "SCALE,PANX,PANY" (pans default to 0). SCALE
// must be a whole number of at least 1; whether it is above the opening
// scale is known only once the picture is in hand.
bool parsePreviewOption(const std::string& text, PreviewRequest* request, std::string* error);

// Start's set-up without its dialog and final run: the session in the data
// word (made by Prepare) locked, parameters read, the work area allocated
// and the script read. Null, with the result word set, on failure.
FilterSession* beginPreviewStart(FilterRecord* record, intptr_t* data, int16_t* result);
// Start's clean-up: run buffers freed, rectangles cleared, handles unlocked.
void endPreviewStart(FilterSession* session, intptr_t* data);

// The whole of it: begin, playPreview, end. The outcome says why nothing
// was shown; the result word carries a host or memory error. `maxScale`
// receives the opening scale, for the message of a scale out of range.
PreviewOutcome runPreviewMode(FilterRecord* record, intptr_t* data, int16_t* result, const PreviewRequest& request,
                              int32_t* maxScale);

// The host's side: Prepare through the plug-in's entry linked into this
// program, then the preview in place of Start. Gives the result word; the
// picture displayPixels received is in the session's services.
int16_t hostSessionRunPreview(HostSession* session, const PreviewRequest& request, int32_t* maxScale,
                              PreviewOutcome* outcome);
