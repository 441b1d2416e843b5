#include "gauss2/plain_half_along.h"

#include "frame/cleanup.h"
#include "gauss2/plain_sums.h"

#include <qbase/image.h>

namespace
{

// The full-resolution result.
struct gauss2_fullImages {
    qimg_image pixels;
    qimg_image8 mask; // masked planes only
};

template <class Pixel>
qip_status gauss2_takePlane(frame_cleanup* cleanup, int32_t width, int32_t height, qimg_image* image,
                            Pixel** first, int64_t* stride)
{
    const qip_status status =
        qimg_image_constructUntyped(image, static_cast<int32_t>(sizeof(Pixel)), width, height);
    if (status < 0)
        return status;
    *first = static_cast<Pixel*>(image->firstPixel);
    *stride = image->stride;
    return frame_cleanupObject<qimg_image_destruct>(cleanup, image);
}

// `width` and `height` are those of the full-resolution plane.
template <class Pixel>
qip_status gauss2_copyEverySecond(gauss2_axis axis, int32_t width, int32_t height, const Pixel* full,
                                  int64_t fullStride, Pixel* dst, int64_t dstStride)
{
    if (axis == gauss2_axis::y)
        return qsys_memory_copyRect(width * static_cast<int64_t>(sizeof(Pixel)), height >> 1,
                                    2 * fullStride, dstStride, full, dst);
    for (int64_t y = 0; y < height; ++y) {
        const Pixel* const from = gauss2_row(full, fullStride, y);
        Pixel* const to = gauss2_row(dst, dstStride, y);
        for (int64_t i = 0; i < width >> 1; ++i)
            to[i] = from[2 * i];
    }
    return QIP_OK;
}

template <class Planes>
qip_status gauss2_copyResult(gauss2_axis axis, const Planes& full, const Planes& planes)
{
    const auto& from = gauss2_pixelsOf(full);
    const auto& to = gauss2_pixelsOf(planes);
    const qip_status status =
        gauss2_copyEverySecond(axis, to.width, to.height, from.dst, from.dstStride, to.dst, to.dstStride);
    if constexpr (gauss2_kind<Planes>::masked)
        if (status >= 0 && planes.dstMask)
            return gauss2_copyEverySecond(axis, to.width, to.height, full.dstMask, full.dstMaskStride,
                                          planes.dstMask, planes.dstMaskStride);
    return status;
}

template <class Planes>
qip_status gauss2_halfAlong(gauss2_axis axis, const Planes& planes, qip_status (*filter)(const Planes&),
                            gauss2_fullImages* images, frame_cleanup* cleanup)
{
    Planes full = planes;
    auto& pixels = gauss2_pixelsOf(full);
    qip_status status = gauss2_takePlane(cleanup, pixels.width, pixels.height, &images->pixels, &pixels.dst,
                                         &pixels.dstStride);
    if constexpr (gauss2_kind<Planes>::masked)
        if (status >= 0)
            status = gauss2_takePlane(cleanup, pixels.width, pixels.height, &images->mask, &full.dstMask,
                                      &full.dstMaskStride);
    if (status >= 0)
        status = filter(full);
    return status < 0 ? status : gauss2_copyResult(axis, full, planes);
}

} // namespace

template <class Planes>
qip_status gauss2_plainHalfAlong(gauss2_axis axis, const Planes& planes,
                                 qip_status (*filter)(const Planes&))
{
    frame_cleanup cleanup = {};
    gauss2_fullImages images = {};
    return frame_cleanupEnd(&cleanup, gauss2_halfAlong(axis, planes, filter, &images, &cleanup));
}

template qip_status gauss2_plainHalfAlong(gauss2_axis, const gauss2_planes<uint8_t>&,
                                          qip_status (*)(const gauss2_planes<uint8_t>&));
template qip_status gauss2_plainHalfAlong(gauss2_axis, const gauss2_planes<uint16_t>&,
                                          qip_status (*)(const gauss2_planes<uint16_t>&));
template qip_status gauss2_plainHalfAlong(gauss2_axis, const gauss2_maskedPlanes<uint8_t>&,
                                          qip_status (*)(const gauss2_maskedPlanes<uint8_t>&));
template qip_status gauss2_plainHalfAlong(gauss2_axis, const gauss2_maskedPlanes<uint16_t>&,
                                          qip_status (*)(const gauss2_maskedPlanes<uint16_t>&));
