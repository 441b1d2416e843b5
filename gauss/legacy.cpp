// The older interface: the request of qfGauss, and the helpers around its parameter record and regions.
#include <qip/legacy.h>

#include "gauss/boxes.h"
#include "gauss/request.h"

#include <algorithm>

namespace
{

qsImage* createImage(gauss_area area)
{
    qsImage* const image =
        qsImageCreate(static_cast<int32_t>(area.x.length), static_cast<int32_t>(area.y.length));
    if (image)
        qsImageMoveTo(image, static_cast<int32_t>(area.x.start), static_cast<int32_t>(area.y.start));
    return image;
}

// The region to compute: all that the kernel fits in, within the destination or the caller's region.
gauss_area requestedArea(const gauss_boxes* boxes, const qsImage* src, const qsImage* dst,
                         const qsIRegion* region)
{
    const qsIRegion srcRegion = qsImageRegion(src);
    const qsIRegion dstRegion = qsImageRegion(dst);
    const gauss_area all = gauss_areaErode(gauss_areaOf(&srcRegion), gauss_boxesSupport(boxes));
    if (dst)
        return gauss_areaIntersect(all, gauss_areaOf(&dstRegion));
    return region ? gauss_areaIntersect(all, gauss_areaOf(region)) : all;
}

// False when memory is short. In place, a copy stands for the source, so that rows already written do not
// feed later ones.
bool smoothArea(const gauss_boxes* boxes, const qsImage* src, gauss_area area, qsImage* dst)
{
    if (gauss_areaIsNull(area))
        return true;
    if (src != dst)
        return gauss_smoothByBoxes(boxes, src, area, dst);
    const qsIRegion region = qsImageRegion(src);
    qsImage* const copy = createImage(gauss_areaOf(&region));
    if (!copy)
        return false;
    qsImageCopy(src, copy);
    const bool done = gauss_smoothByBoxes(boxes, copy, area, dst);
    qsImageFree(copy);
    return done;
}

// One of the two maps between source and destination regions.
qsIRegion* mapRegion(gauss_span (*map)(gauss_axis, gauss_span), gauss_grid grid, const qsIRegion* from,
                     qsIRegion* to)
{
    if (!from || !to)
        return nullptr;
    const gauss_area area = gauss_areaOf(from);
    const gauss_span x = map(grid.x, area.x);
    const gauss_span y = map(grid.y, area.y);
    return qsIRegionCT(x.start, y.start, x.length, y.length, to);
}

gauss_grid gridOf(int32_t sx, int32_t sy, int32_t nx, int32_t ny)
{
    return {{sx, static_cast<int64_t>(nx) - 1}, {sy, static_cast<int64_t>(ny) - 1}};
}

} // namespace

qsImage* qfGauss(qsImage* src, qsImage* dst, int32_t passesMinusOne, int32_t kernelSizeX,
                 int32_t kernelSizeY, int32_t peakNormalize, qsIRegion* region)
{
    if (!src || qsVImageType(src) != QS_IMAGE_TYPE_8 || gauss_checkSource(src) < 0)
        return nullptr;
    if (dst && (qsVImageType(dst) != QS_IMAGE_TYPE_8 || gauss_checkPixels(dst) < 0))
        return nullptr;
    if (kernelSizeX < 0 || kernelSizeY < 0)
        return nullptr;
    const gauss_boxes boxes = {std::max<int64_t>(static_cast<int64_t>(passesMinusOne) + 1, 0), kernelSizeX,
                               kernelSizeY, peakNormalize != 0};
    const gauss_area area = requestedArea(&boxes, src, dst, region);

    qsImage* const target = dst ? dst : createImage(area);
    if (!target)
        return nullptr;
    if (gauss_boxesAreTrivial(&boxes)) {
        if (target != src)
            qsImageCopy(src, target);
    } else if (smoothArea(&boxes, src, area, target)) {
        const qsFXform coords = gauss_boxesClientCoords(&boxes, src);
        qsImageSetClientCoords(target, &coords);
    } else {
        if (!dst)
            qsImageFree(target);
        return nullptr;
    }
    if (region)
        gauss_regionOf(area, region);
    return target;
}

int32_t qfGaussNullParams(const qsGaussParams* params)
{
    if (!params)
        return 0;
    // Written so that a gain that is not a number counts as 1: required behaviour.
    const bool gainIsOne = !(params->gain < 1.0f || params->gain > 1.0f);
    return params->sampleX == 1 && params->sampleY == 1 && params->kernelSizeX == 0 &&
           params->kernelSizeY == 0 && gainIsOne && params->prototype &&
           qsVImageType(params->prototype) == QS_IMAGE_TYPE_8;
}

const qsGaussParams* qsGaussParamsNull(void)
{
    static const qsGaussParams record = {1, 1, 0, 0, 0, 0, 0, 1.0f, qsImageNull, 0};
    return &record;
}

qsIRegion* qfGaussGetDstReg(const qsIRegion* src, qsIRegion* dst, int32_t sx, int32_t sy, int32_t nx,
                            int32_t ny)
{
    return mapRegion(gauss_dstSpan, gridOf(sx, sy, nx, ny), src, dst);
}

qsIRegion* qfGaussGetDummyReg(const qsIRegion* dst, qsIRegion* dummy, int32_t sx, int32_t sy, int32_t nx,
                              int32_t ny)
{
    return mapRegion(gauss_srcSpan, gridOf(sx, sy, nx, ny), dst, dummy);
}
