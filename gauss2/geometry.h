// Where a request of this family reads and writes. Relies on the rectangle and transform services.
#pragma once

#include "gauss2/filter.h"

#include <qip/status.h>

#include <qbase/rect.h>
#include <qbase/xform.h>

// The rectangles of one request, made once:
//
//     full   D, what the source rectangle S yields: origin and size halved, each by itself, where sampled
//     part   R, what the destination takes of D; null when there is nothing to write
//     used   U, the part of S that feeds R: all of S when R is D or null, else R times the steps. With an
//            odd origin of S that can begin one pixel before S; the restriction of the window then refuses.
//
// They depend on the steps of the filter alone: all filters at full resolution, in any number of passes,
// have one plan.
struct gauss2_plan {
    qstd_rect32 full;
    qstd_rect32 part;
    qstd_rect32 used;
};

// `dest` is the destination's rectangle, or null for a destination that takes all of D.
qip_status gauss2_makePlan(gauss2_filter filter, const qstd_rect32& source, const qstd_rect32* dest,
                           gauss2_plan* plan);

// The map from pixel coordinates of the destination to those of the source.
qip_status gauss2_mapToSource(gauss2_filter filter, const gauss2_plan& plan, qmath_xformLinear* map);

inline bool gauss2_isNull(const qstd_rect32& rect)
{
    return rect.width <= 0 || rect.height <= 0;
}
