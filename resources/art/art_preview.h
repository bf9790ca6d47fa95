// Pictures of the art for the README: the skin with every drawn piece in
// its place and plain stand-ins for the system's controls, and the icons,
// cursors and dot faces side by side, enlarged.
#pragma once

#include <vector>

#include "resources/art/art_files.h"

Raster composeDialogPreview(const std::vector<ArtPiece>& art);
Raster composeIconSheet(const std::vector<ArtPiece>& art, int32_t scale);
