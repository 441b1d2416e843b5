// The fast filters of this family: all six, both depths, with and without a mask.
//
// Result:  the plain filter's pixels and masks.
// Memory:  a few rows; half resolution in one direction may take as much as its result besides.
// Polls:   as often as the plain filter, before the same source rows. Half resolution in one direction asks
//          for the last time before the first pixel of the destination is written. So that not the whole
//          result has to be copied then, it makes the polls for its last rows together, before the first of
//          these. They are `mostUnpolled` source pixels at most, but 64 rows at least.
// Errors:  QIP_E_FALLBACK when the filter declines, and nothing is written then: a width below 3. A failure
//          of the processor service, of an allocation or of the attention check as it stands.
//
// The processor level is chosen by the processor record on every call. Planes is gauss2_planes or
// gauss2_maskedPlanes of uint8_t or uint16_t.
#pragma once

#include "gauss2/filter.h"
#include "gauss2/planes.h"

#include <qip/status.h>

// A few milliseconds of work, which is less than it would take to copy as many pixels from memory of our
// own.
constexpr int64_t gauss2_mostUnpolled = int64_t{1} << 24;

template <class Planes>
qip_status gauss2_fast(gauss2_filter filter, const Planes& planes,
                       int64_t mostUnpolled = gauss2_mostUnpolled);
