// Memory of the library's own for a whole plane.
#pragma once

#include "frame/cleanup.h"
#include "gauss2/planes.h"

#include <qip/status.h>

// Takes the memory until the clean-up, which `plane` must outlive. Rows begin at multiples of 64 bytes. The
// pixels are not cleared, which would take as long as a filter: whoever takes a plane writes all of it
// before it is read.
template <class Pixel>
qip_status gauss2_takePlane(frame_cleanup* cleanup, int64_t width, int64_t height,
                            gauss2_plane<Pixel>* plane)
{
    constexpr int64_t unit = 64 / int64_t{sizeof(Pixel)};
    const int64_t columns = (width + unit - 1) / unit * unit;
    plane->stride = columns * int64_t{sizeof(Pixel)};
    return frame_cleanupAlloc(cleanup, columns * height, &plane->first);
}
