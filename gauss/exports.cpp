// The exported geometry: what a masked smoothing touches, and the source rows of one band of it.
#include "gauss/geometry.h"

#include <algorithm>

namespace
{

// Everything that one reflection of the source supplies.
gauss_area reflectedArea(gauss_area src)
{
    const gauss_area oneSize = {{-src.x.length, 2 * src.x.length + 1},
                                {-src.y.length, 2 * src.y.length + 1}};
    return gauss_areaDilate(src, oneSize);
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
    const gauss_area clipped = gauss_areaIntersect(whole, reflectedArea(source));
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
