// Every bitmap, icon and cursor of the module, drawn in one palette. The
// skin's wells follow the dialog's own control table, and the pieces that
// lie over the skin (track, thumb, dial, frame, logo, dots) are drawn on the
// skin's own pixels at their place, so their edges meet it without a seam.
#pragma once

#include <vector>

#include "resources/art/art_files.h"

std::vector<ArtPiece> drawAllArt();
