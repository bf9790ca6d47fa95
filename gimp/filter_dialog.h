// The interactive dialog of plug-in-marrowline in GIMP's own style: Reset,
// Cancel and OK, a live preview of the drawable rendered by the module, and
// the eleven values as sliders, combo boxes, check boxes and an angle, with
// the controls the chosen style does not use disabled.
#pragma once

#include <libgimp/gimp.h>

#include "gimp/filter_values.h"

// Shows the dialog for the drawable with `values` as the starting point.
// True when the user pressed OK, with the chosen values in `values`.
//
// For the tests, MARROWLINE_GIMP_DIALOG_TEST names a folder: the dialog then
// waits for its first preview, sets smoothing to 60, waits for the preview
// to change, writes dialog.png (the window) and preview.txt (a checksum of
// each of the two previews) there, and presses OK.
bool runFilterDialog(gint32 image, gint32 drawable, GimpFilterValues* values);
