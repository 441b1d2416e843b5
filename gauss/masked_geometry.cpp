// The exported helpers for callers that mask a smoothing or split it into bands.
#include "gauss/geometry.h"

#include <qbase/arithmetic.h>

#include <algorithm>

namespace
{

qip_status gauss_rectOf(gauss_area area, qstd_rect32* rect)
{
    return qstd_rect32_init(rect, area.x.start, area.y.start, area.x.length, area.y.length);
}

// Everything that one reflection of the source supplies.
gauss_area gauss_reflectedArea(gauss_area src)
{
    const gauss_area oneSize = {{-src.x.length, 2 * src.x.length + 1},
                                {-src.y.length, 2 * src.y.length + 1}};
    return gauss_areaDilate(src, oneSize);
}

// Whether all samples start + i * step, 0 <= i < count, lie in 0 .. length - 1.
bool gauss_samplesLieInside(int64_t start, int64_t step, int64_t count, int64_t length)
{
    const int64_t end = start + (count - 1) * step;
    return std::min(start, end) >= 0 && std::max(start, end) < length;
}

} // namespace

qip_status gauss_setup(const qstd_rect32* src, const qstd_rect32* dst, const qip_gaussParams* params,
                       qstd_rect32* srcInside, qstd_rect32* dstEffective, qstd_rect32* marginClipped,
                       qstd_rect32* margin, qstd_rect32* needed)
{
    if (!src || !dst || !params || !srcInside || !dstEffective || !marginClipped || !margin || !needed)
        return QSYS_E_ARGUMENT;
    const gauss_grid grid = gauss_gridOf(params);
    const gauss_area source = gauss_areaOf(src);
    const gauss_area effective = gauss_clipToSource(grid, gauss_areaOf(dst), source);
    const gauss_area whole = gauss_areaDilate(gauss_srcArea(grid, effective), gauss_kernelArea(grid));
    const gauss_area clipped = gauss_areaIntersect(whole, gauss_reflectedArea(source));
    const gauss_area inside = gauss_areaIntersect(whole, source);

    qip_status status = gauss_rectOf(whole, needed);
    if (status >= 0)
        status = gauss_rectOf(gauss_areaErode(whole, inside), margin);
    if (status >= 0)
        status = gauss_rectOf(inside, srcInside);
    if (status >= 0)
        status = gauss_rectOf(gauss_areaErode(clipped, inside), marginClipped);
    return status < 0 ? status : gauss_rectOf(effective, dstEffective);
}

qip_status gauss_computeSrcRectsFromDstRect(const qip_gaussParams* params, const qstd_rect32* a,
                                            const qstd_rect32* b, const qstd_rect32* band,
                                            int32_t rowOffset, qstd_rect32* out1, qstd_rect32* out2)
{
    if (!params || !a || !b || !band || !out1 || !out2)
        return QSYS_E_ARGUMENT;
    const qstd_rect32 image = *a;
    const qstd_rect32 reach = *b;
    const int64_t y0 = static_cast<int64_t>(rowOffset) + image.y;
    const int64_t rows = 3 * static_cast<int64_t>(params->kernelSizeY) + 1 +
                         (static_cast<int64_t>(band->height) - 1) * params->sampleY;
    const int64_t imageEnd = static_cast<int64_t>(image.y) + image.height;
    const int64_t end1 = std::min(imageEnd, y0 + 1 + rows - reach.height);
    const qip_status status = qstd_rect32_init(out1, image.x, y0, image.width, end1 - y0);
    if (status < 0)
        return status;
    const int64_t start2 = reach.y + y0;
    const int64_t end2 =
        std::min(static_cast<int64_t>(reach.y) + reach.height - 1 + imageEnd, start2 + rows);
    return qstd_rect32_init(out2, image.x, start2, image.width, end2 - start2);
}

qip_status gauss_computeSampleStartOffset(const qimg_windowConst*, const qip_gaussParams*, int64_t* offset)
{
    if (!offset)
        return QSYS_E_ARGUMENT;
    *offset = 0;
    return QIP_OK;
}

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
    if (dst->pixelSize != 1 || (src->bound && src->pixelSize != 1))
        return QIMG_E_PIXEL_SIZE;
    if (!src->bound || !gauss_samplesLieInside(start[0], step[0], dst->width, src->width) ||
        !gauss_samplesLieInside(start[1], step[1], dst->height, src->height))
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
