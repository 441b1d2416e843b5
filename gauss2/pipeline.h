// The way of every half-resolution request: rectangles, restriction, filter, transform. Masked and unmasked
// requests of both depths take the same way.
#pragma once

#include "gauss2/geometry.h"
#include "gauss2/planes.h"

#include <qip/status.h>

// Filters the part R = `part` of D = `full`, and gives the map from destination to source pixels. A null part
// writes no pixel and still has a map.
// Errors:  a window that does not cover its part of the request, before anything is written; those of the
//          filters.
qip_status gauss2_halfPipeline(const gauss2_views& views, gauss2_sampling sampling, const qstd_rect32& full,
                               const qstd_rect32& part, qmath_xformLinear* map);

// What the filters see of restricted windows.
template <class Planes>
Planes gauss2_planesOf(const gauss2_views& views)
{
    using Pixel = typename gauss2_kind<Planes>::Pixel;
    const gauss2_planes<Pixel> pixels = {views.src.width,
                                         views.src.height,
                                         static_cast<const Pixel*>(views.src.firstPixel),
                                         views.src.stride,
                                         static_cast<Pixel*>(views.dst.firstPixel),
                                         views.dst.stride};
    if constexpr (gauss2_kind<Planes>::masked)
        return {pixels, static_cast<const uint8_t*>(views.srcMask.firstPixel), views.srcMask.stride,
                views.hasDstMask ? static_cast<uint8_t*>(views.dstMask.firstPixel) : nullptr,
                views.dstMask.stride};
    else
        return pixels;
}

// Calls `run` with the kind of planes that the windows hold: the one place where a request becomes typed.
template <class Run>
qip_status gauss2_withPlanes(const gauss2_views& views, Run run)
{
    if (views.src.pixelSize == 1)
        return views.masked ? run(gauss2_planesOf<gauss2_maskedPlanes<uint8_t>>(views))
                            : run(gauss2_planesOf<gauss2_planes<uint8_t>>(views));
    return views.masked ? run(gauss2_planesOf<gauss2_maskedPlanes<uint16_t>>(views))
                        : run(gauss2_planesOf<gauss2_planes<uint16_t>>(views));
}
