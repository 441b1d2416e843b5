// Exported helpers on pixels that a caller hands over: whether a mask fits its image, and a sampled copy.
#include "frame/window_check.h"

#include <qip/smoothing.h>

#include <algorithm>

namespace
{

// Whether all samples start + i * step, 0 <= i < count, lie in 0 .. length - 1.
bool samplesLieInside(int64_t start, int64_t step, int64_t count, int64_t length)
{
    const int64_t end = start + (count - 1) * step;
    return std::min(start, end) >= 0 && std::max(start, end) < length;
}

} // namespace

qip_status gauss_checkImageWindowMatch(const qimg_image* image, const qimg_image8* mask, int* match,
                                       int* maskBound)
{
    if (!image || !mask || !match || !maskBound)
        return QSYS_E_ARGUMENT;
    qstd_rect32 imageRect;
    qstd_rect32 maskRect;
    qip_status status = qimg_imageConst_getWindow(image, &imageRect);
    if (status >= 0)
        status = qimg_imageConst_getIsBound(mask, maskBound);
    if (status < 0)
        return status;
    *match = !*maskBound;
    if (!*maskBound)
        return QIP_OK;
    status = qimg_imageConst_getWindow(mask, &maskRect);
    return status < 0 ? status : qstd_rect32_compareEqual(&imageRect, &maskRect, match);
}

qip_status gauss_checkWindowMatch(const qimg_windowConst* window, const qimg_window8Const* mask, int* match,
                                  int* maskPresent)
{
    if (!window || !mask || !match || !maskPresent)
        return QSYS_E_ARGUMENT;
    int maskIsNull = 0;
    const qip_status status = qimg_windowConst_getIsNull(mask, &maskIsNull);
    if (status < 0)
        return status;
    *maskPresent = !maskIsNull;
    *match = maskIsNull || (window->width == mask->width && window->height == mask->height &&
                            window->x == mask->x && window->y == mask->y);
    return QIP_OK;
}

qip_status gauss_pelCopySampledWindow8(const qimg_window8Const* src, const int32_t step[2],
                                       const int32_t start[2], const qimg_window8* dst)
{
    if (!src || !step || !start || !dst)
        return QSYS_E_ARGUMENT;
    if (!dst->bound || dst->width < 1 || dst->height < 1)
        return QIP_OK;
    qip_status status = frame_checkWindow(*dst, 1);
    if (status >= 0)
        status = frame_checkWindow(*src, 1);
    if (status < 0)
        return status;
    if (!src->bound || !samplesLieInside(start[0], step[0], dst->width, src->width) ||
        !samplesLieInside(start[1], step[1], dst->height, src->height))
        return QIMG_E_OUTSIDE;
    for (int64_t y = 0; y < dst->height; ++y) {
        const uint8_t* const from = static_cast<const uint8_t*>(src->firstPixel) +
                                    (start[1] + y * step[1]) * src->stride + start[0];
        uint8_t* const to = static_cast<uint8_t*>(dst->firstPixel) + y * dst->stride;
        for (int64_t x = 0; x < dst->width; ++x)
            to[x] = from[x * step[0]];
    }
    return QIP_OK;
}
