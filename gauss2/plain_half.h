// Half resolution in both directions, plain: the definition of those pixels.
#pragma once

#include "gauss2/planes.h"

#include <qip/status.h>

// Filters and keeps every second column and row. Planes is gauss2_planes or gauss2_maskedPlanes of uint8_t or
// uint16_t, of at least 2 x 2 pixels.
// Errors:  QSYS_E_MEMORY, before anything is written; the answer of the attention check.
template <class Planes>
qip_status gauss2_plainHalf(const Planes& planes);
