// One-tile renders of a whole region: the preview and the exports.
#pragma once

struct FilterSession;

// Renders the region in hand as one tile into the target of renderTarget.
void renderRegion(FilterSession* session);
