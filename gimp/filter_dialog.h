// The interactive dialog of plug-in-marrowline in GIMP's own style.
#pragma once

#include <libgimp/gimp.h>

#include "gimp/filter_values.h"

// Shows the dialog for the drawable with `values` as the starting point.
// True when the user pressed OK, with the chosen values in `values`.
bool runFilterDialog(gint32 image, gint32 drawable, GimpFilterValues* values);
