// Half resolution in one direction by way of full resolution: the filter of that direction into memory of
// the library's own, then a copy of every second column or row.
#pragma once

#include "gauss2/filter.h"
#include "gauss2/planes.h"

#include <qip/status.h>

// The same filter at full resolution.
constexpr gauss2_filter gauss2_unsampled(gauss2_filter filter)
{
    constexpr auto unsampled = [](gauss2_along direction) {
        return direction == gauss2_along::sampled ? gauss2_along::all : direction;
    };
    return {unsampled(filter.x), unsampled(filter.y)};
}

// `filter` is gauss2_halfX or gauss2_halfY; `run` makes the pixels at full resolution, and the mask when
// the planes have a destination mask. Planes as gauss2_plain takes them. The destination is untouched until
// `run` has succeeded.
// Errors:  QSYS_E_MEMORY; those of `run`.
template <class Planes>
qip_status gauss2_halfThroughFull(gauss2_filter filter, const Planes& planes,
                                  qip_status (*run)(gauss2_filter filter, const Planes& planes));
