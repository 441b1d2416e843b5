// The fast filters of this family: all six, both depths, with and without a mask.
//
// Result:  the plain filter's pixels and masks.
// Memory:  a few rows; the filters that poll first may take as much as their result besides.
// Polls:   as often as the plain filter, before the same source rows. Half resolution in one direction asks
//          for the last time before the first pixel of the destination is written. To be spared a copy of
//          the whole result, the polls of its last rows, `mostUnpolled` source pixels at most (but 64 rows
//          at least), are made together before the first of these rows.
// Errors:  QIP_E_FALLBACK when the filter declines, and nothing is written then: a width below 3. A failure
//          of the processor service, of an allocation or of the attention check as it stands.
//
// The processor level is chosen by the processor record on every call. Planes is gauss2_planes or
// gauss2_maskedPlanes of uint8_t or uint16_t.
#pragma once

#include "gauss2/filter.h"
#include "gauss2/planes.h"

#include <qip/status.h>

// A few milliseconds' work, and less than copying so many pixels from a temporary image would take.
constexpr int64_t gauss2_mostUnpolled = int64_t{1} << 24;

template <class Planes>
qip_status gauss2_fast(gauss2_filter filter, const Planes& planes,
                       int64_t mostUnpolled = gauss2_mostUnpolled);
