#include "gauss/geometry.h"

#include "gauss/kernel.h"

#include <qbase/arithmetic.h>

#include <algorithm>

namespace
{

// The parts of the sampling map that do not depend on the index: s / 2, and 1 when step and box width are
// both odd.
int64_t halfStep(gauss_axis axis)
{
    return axis.step / 2;
}

int64_t oddCentre(gauss_axis axis)
{
    return axis.step & (axis.kernelSize + 1) & 1;
}

gauss_span intersectSpan(gauss_span a, gauss_span b)
{
    const int64_t start = std::max(a.start, b.start);
    return {start, std::min(a.start + a.length, b.start + b.length) - start};
}

} // namespace

gauss_grid gauss_gridOf(const qip_gaussParams* params)
{
    return {{params->sampleX, params->kernelSizeX}, {params->sampleY, params->kernelSizeY}};
}

gauss_grid gauss_gridOf(const qsGaussParams* params)
{
    return {{params->sampleX, params->kernelSizeX}, {params->sampleY, params->kernelSizeY}};
}

int64_t gauss_samplePosition(gauss_axis axis, int64_t index)
{
    return index * axis.step + halfStep(axis) + oddCentre(axis) - 1;
}

gauss_span gauss_dstSpan(gauss_axis axis, gauss_span src)
{
    const int64_t h = halfStep(axis);
    const int64_t t = oddCentre(axis);
    const int64_t start = qmath_idiv(t - 1 + h - src.start, -axis.step);
    return {start, qmath_idiv(src.length + src.start - h - t, axis.step) + 1 - start};
}

gauss_span gauss_srcSpan(gauss_axis axis, gauss_span dst)
{
    return {gauss_samplePosition(axis, dst.start), (dst.length - 1) * axis.step + 1};
}

gauss_span gauss_kernelSpan(gauss_axis axis)
{
    return {-(3 * axis.kernelSize / 2), 3 * axis.kernelSize + 1};
}

float gauss_sampleOffset(gauss_axis axis)
{
    return ((axis.step ^ (axis.kernelSize + 1)) & 1) != 0 ? -0.5f : 0.0f;
}

gauss_area gauss_areaOf(const qsIRegion* region)
{
    return {{region->x, region->width}, {region->y, region->height}};
}

gauss_area gauss_areaOf(const qstd_rect32* rect)
{
    return {{rect->x, rect->width}, {rect->y, rect->height}};
}

qip_status gauss_rectOf(gauss_area area, qstd_rect32* rect)
{
    return qstd_rect32_init(rect, area.x.start, area.y.start, area.x.length, area.y.length);
}

qip_status gauss_regionOf(gauss_area area, qsIRegion* region)
{
    if (gauss_areaIsNull(area)) {
        *region = qsIRegionNull;
        return QIP_OK;
    }
    qstd_rect32 rect;
    const qip_status status = gauss_rectOf(area, &rect);
    if (status >= 0)
        *region = {rect.x, rect.y, rect.width, rect.height};
    return status;
}

bool gauss_areaIsNull(gauss_area area)
{
    return area.x.length <= 0 || area.y.length <= 0;
}

bool gauss_areaContains(gauss_area outer, gauss_area inner)
{
    if (gauss_areaIsNull(inner))
        return true;
    const gauss_area common = gauss_areaIntersect(outer, inner);
    return common.x.length == inner.x.length && common.y.length == inner.y.length;
}

gauss_area gauss_areaIntersect(gauss_area a, gauss_area b)
{
    if (gauss_areaIsNull(a) || gauss_areaIsNull(b))
        return {};
    const gauss_area common = {intersectSpan(a.x, b.x), intersectSpan(a.y, b.y)};
    return gauss_areaIsNull(common) ? gauss_area{} : common;
}

gauss_area gauss_areaErode(gauss_area area, gauss_area kernel)
{
    if (gauss_areaIsNull(area) || gauss_areaIsNull(kernel))
        return {};
    const gauss_area eroded = {{area.x.start - kernel.x.start, area.x.length - kernel.x.length + 1},
                               {area.y.start - kernel.y.start, area.y.length - kernel.y.length + 1}};
    return gauss_areaIsNull(eroded) ? gauss_area{} : eroded;
}

gauss_area gauss_areaDilate(gauss_area area, gauss_area kernel)
{
    if (gauss_areaIsNull(area) || gauss_areaIsNull(kernel))
        return {};
    return {{area.x.start + kernel.x.start, area.x.length + kernel.x.length - 1},
            {area.y.start + kernel.y.start, area.y.length + kernel.y.length - 1}};
}

gauss_area gauss_dstArea(gauss_grid grid, gauss_area src)
{
    if (gauss_areaIsNull(src))
        return {};
    const gauss_area dst = {gauss_dstSpan(grid.x, src.x), gauss_dstSpan(grid.y, src.y)};
    return gauss_areaIsNull(dst) ? gauss_area{} : dst;
}

gauss_area gauss_srcArea(gauss_grid grid, gauss_area dst)
{
    if (gauss_areaIsNull(dst))
        return {};
    return {gauss_srcSpan(grid.x, dst.x), gauss_srcSpan(grid.y, dst.y)};
}

gauss_area gauss_kernelArea(gauss_grid grid)
{
    return {gauss_kernelSpan(grid.x), gauss_kernelSpan(grid.y)};
}

gauss_area gauss_clipToSource(gauss_grid grid, gauss_area dst, gauss_area valid)
{
    const gauss_area sampled = gauss_srcArea(grid, dst);
    if (gauss_areaContains(valid, sampled))
        return dst;
    return gauss_dstArea(grid, gauss_areaIntersect(sampled, valid));
}

qsGaussParams gauss_legacyParams(const qip_gaussParams* params, const qsVImage* prototype)
{
    qsGaussParams legacy = {};
    legacy.sampleX = params->sampleX;
    legacy.sampleY = params->sampleY;
    legacy.kernelSizeX = params->kernelSizeX;
    legacy.kernelSizeY = params->kernelSizeY;
    legacy.peakNormalize = 0;
    legacy.keepFullRegion = 1;
    legacy.round = params->round;
    legacy.gain = static_cast<float>(params->gain);
    legacy.prototype = prototype;
    return legacy;
}

gauss_area gauss_validArea(gauss_area src, const qsGaussParams* params)
{
    if (params->keepFullRegion && !params->peakNormalize)
        return src;
    return gauss_areaErode(src, gauss_kernelArea(gauss_gridOf(params)));
}

gauss_area gauss_computeDstRegion(gauss_area src, const qsGaussParams* params)
{
    const gauss_grid grid = gauss_gridOf(params);
    const gauss_area valid = gauss_validArea(src, params);
    return gauss_clipToSource(grid, gauss_dstArea(grid, valid), valid);
}

qip_status gauss_computeDstRect(const qstd_rect32* src, const qip_gaussParams* params, qstd_rect32* dst)
{
    const qsGaussParams legacy = gauss_legacyParams(params, qsUSImageNull);
    return gauss_rectOf(gauss_computeDstRegion(gauss_areaOf(src), &legacy), dst);
}

int64_t gauss_computeJobCount(const qip_gaussParams* params, const qstd_rect32* areaRect,
                              const qstd_rect32* heightRect, const qstd_rect32* bandedRect, int32_t maxJobs)
{
    // Bands are high enough that the rows that neighbours read twice are a small share of their work.
    const double reach = static_cast<double>(3 * static_cast<int64_t>(params->kernelSizeY) + 1);
    const double marginRows = static_cast<double>(static_cast<int64_t>(heightRect->height) - 1);
    const double rows = (marginRows * 1.25 * 4.0 - reach) / static_cast<double>(params->sampleY) + 2.0;
    const int64_t bandRows = std::max<int64_t>(gauss_truncate(rows), 10);
    const int64_t byRows = bandedRect->height / bandRows;

    // One job for every started 16384 pixels.
    const int64_t pixels = static_cast<int64_t>(areaRect->width) * areaRect->height;
    const int64_t byArea = gauss_truncate(qmath_double_ceil(static_cast<double>(pixels) * 6.103515625e-5));
    return std::min({byRows, byArea, static_cast<int64_t>(maxJobs)});
}
