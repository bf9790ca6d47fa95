// The unfiltered row copy of the preview: during a pan the pane shows the
// source itself, composed over the checkerboard like a rendered preview.
#pragma once

struct FilterSession;

// Writes row `currentRow` of the session from the host's inData to outData,
// weighted by the selection's coverage and composed over the 8-sample
// checks. Does nothing unless renderTarget is 1 and both buffers exist.
void copySourceRow(FilterSession* session);
