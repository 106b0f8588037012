// What may differ after a full or failing disk.
//
// A run that met one and came to its end has done all other migrations. What the failed one writes comes with
// the upgrade after, behind what the others wrote. So the places are free, not the contents:
//
//   - the order of the keys in settings.conf
//   - the order of the user-visible log entries, and with it their ids
#pragma once

#include "tools/faults/tree_image.h"

// The image without what may differ.
TreeImage WithoutOrder(TreeImage image);
