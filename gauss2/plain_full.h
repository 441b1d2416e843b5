// The three filters at full resolution, plain: the definition of their pixels.
#pragma once

#include "gauss2/planes.h"

#include <qip/status.h>

// Planes is gauss2_planes or gauss2_maskedPlanes of uint8_t or uint16_t, of at least one pixel.
// Errors:  the answer of the attention check; 5x5 also QSYS_E_MEMORY, before anything is written.
template <class Planes>
qip_status gauss2_plain5x5(const Planes& planes);
template <class Planes>
qip_status gauss2_plain5x1(const Planes& planes);
template <class Planes>
qip_status gauss2_plain1x5(const Planes& planes);
