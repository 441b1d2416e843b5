// The plain filters: the definition of the pixels of this family.
//
// Polls:   before source rows 0, 64, 128, ...; those of half resolution in one direction all come before
//          the first pixel of the destination is written.
// Errors:  QSYS_E_MEMORY, before anything is written; the answer of the attention check.
#pragma once

#include "gauss2/filter.h"
#include "gauss2/planes.h"

#include <qip/status.h>

// Planes is gauss2_planes or gauss2_maskedPlanes of uint8_t or uint16_t, of at least one pixel, and of at
// least two in a direction that is sampled.
template <class Planes>
qip_status gauss2_plain(gauss2_filter filter, const Planes& planes);
