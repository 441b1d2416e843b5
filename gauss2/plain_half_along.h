// Half resolution in one direction, plain: the full-resolution filter of that direction into a temporary image,
// then a copy of every second column or row.
#pragma once

#include "gauss2/planes.h"

#include <qip/status.h>

enum class gauss2_axis { x, y };

// `filter` fills the temporary image, and its mask: 5x1 along x, 1x5 along y. Planes is gauss2_planes or
// gauss2_maskedPlanes of uint8_t or uint16_t, of at least 2 pixels along the axis. The destination is untouched
// until the filter has succeeded.
// Errors:  QSYS_E_MEMORY; those of the filter.
template <class Planes>
qip_status gauss2_plainHalfAlong(gauss2_axis axis, const Planes& planes,
                                 qip_status (*filter)(const Planes&));
