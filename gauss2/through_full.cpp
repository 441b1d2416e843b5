#include "gauss2/through_full.h"

#include "gauss2/scratch.h"

namespace
{

// The result at full resolution.
template <class Planes>
struct fullResult {
    gauss2_plane<typename Planes::Pixel> pixels;
    gauss2_plane<uint8_t> mask; // null when there is no destination mask
};

template <class Pixel>
qip_status copyEverySecond(gauss2_filter filter, const gauss2_planes<Pixel>& planes)
{
    if (filter.y == gauss2_along::sampled)
        return qsys_memory_copyRect(planes.width * int64_t{sizeof(Pixel)}, planes.height / 2,
                                    2 * planes.srcStride, planes.dstStride, planes.src, planes.dst);
    for (int64_t y = 0; y < planes.height; ++y) {
        const Pixel* const from = gauss2_row(planes.src, planes.srcStride, y);
        Pixel* const to = gauss2_row(planes.dst, planes.dstStride, y);
        for (int64_t i = 0; i < planes.width / 2; ++i)
            to[i] = from[2 * i];
    }
    return QIP_OK;
}

template <class Planes>
qip_status halfThroughFull(gauss2_filter filter, const Planes& planes,
                           qip_status (*run)(gauss2_filter, const Planes&), fullResult<Planes>* result,
                           frame_cleanup* cleanup)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    const int32_t width = pixels.width;
    const int32_t height = pixels.height;
    Planes full = planes;
    qip_status status = gauss2_takePlane(cleanup, width, height, &result->pixels);
    gauss2_pixelsOf(full).dst = result->pixels.first;
    gauss2_pixelsOf(full).dstStride = result->pixels.stride;
    if constexpr (Planes::masked)
        if (status >= 0 && planes.dstMask) {
            status = gauss2_takePlane(cleanup, width, height, &result->mask);
            full.dstMask = result->mask.first;
            full.dstMaskStride = result->mask.stride;
        }
    if (status >= 0)
        status = run(gauss2_unsampled(filter), full);
    if (status >= 0)
        status = copyEverySecond<typename Planes::Pixel>(
            filter,
            {width, height, result->pixels.first, result->pixels.stride, pixels.dst, pixels.dstStride});
    if constexpr (Planes::masked)
        if (status >= 0 && planes.dstMask)
            status =
                copyEverySecond<uint8_t>(filter, {width, height, result->mask.first, result->mask.stride,
                                                  planes.dstMask, planes.dstMaskStride});
    return status;
}

} // namespace

template <class Planes>
qip_status gauss2_halfThroughFull(gauss2_filter filter, const Planes& planes,
                                  qip_status (*run)(gauss2_filter, const Planes&))
{
    frame_cleanup cleanup = {};
    fullResult<Planes> result = {};
    return frame_cleanupEnd(&cleanup, halfThroughFull(filter, planes, run, &result, &cleanup));
}

template qip_status gauss2_halfThroughFull(gauss2_filter, const gauss2_planes<uint8_t>&,
                                           qip_status (*)(gauss2_filter, const gauss2_planes<uint8_t>&));
template qip_status gauss2_halfThroughFull(gauss2_filter, const gauss2_planes<uint16_t>&,
                                           qip_status (*)(gauss2_filter, const gauss2_planes<uint16_t>&));
template qip_status gauss2_halfThroughFull(gauss2_filter, const gauss2_maskedPlanes<uint8_t>&,
                                           qip_status (*)(gauss2_filter,
                                                          const gauss2_maskedPlanes<uint8_t>&));
template qip_status gauss2_halfThroughFull(gauss2_filter, const gauss2_maskedPlanes<uint16_t>&,
                                           qip_status (*)(gauss2_filter,
                                                          const gauss2_maskedPlanes<uint16_t>&));
