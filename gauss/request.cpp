#include "gauss/request.h"

#include "gauss/transform.h"

namespace
{

// The region asked for: that of a destination that is there, else the caller's, else all that the source
// yields.
gauss_area requestedArea(const qsVImage* dst, const qsIRegion* dstRegion, gauss_grid grid, gauss_area valid)
{
    if (dst) {
        const qsIRegion region = qsVImageRegion(dst);
        return gauss_areaOf(&region);
    }
    return dstRegion ? gauss_areaOf(dstRegion) : gauss_dstArea(grid, valid);
}

} // namespace

qip_status gauss_checkPixels(const qsVImage* image)
{
    const qsIRegion region = qsVImageRegion(image);
    if (qsIRegionIsNull(&region))
        return QIP_OK;
    if (!image->firstPixel)
        return QIMG_E_UNBOUND;
    const int32_t pixelSize = qsVImageType(image) == QS_IMAGE_TYPE_16 ? 2 : 1;
    return qimg_pixels_areAligned(pixelSize, image->firstPixel, image->rowStride) ? QIP_OK
                                                                                  : QIMG_E_ALIGNMENT;
}

qip_status gauss_checkSource(const qsImage* src)
{
    const qsIRegion region = qsImageRegion(src);
    qsIRegion fitting;
    const qip_status status = gauss_checkPixels(src);
    return status < 0 ? status : gauss_regionOf(gauss_areaOf(&region), &fitting);
}

qip_status gauss_setupReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut, gauss_request* request)
{
    const gauss_grid grid = gauss_gridOf(params);
    const qsIRegion srcRegion = qsImageRegion(src);
    request->source = gauss_areaOf(&srcRegion);
    const gauss_area valid = gauss_validArea(request->source, params);
    request->dst = gauss_clipToSource(grid, requestedArea(dst, dstRegion, grid, valid), valid);
    request->needed = gauss_areaDilate(gauss_srcArea(grid, request->dst), gauss_kernelArea(grid));
    request->read = gauss_areaIntersect(request->needed, request->source);
    request->margin = gauss_areaErode(request->needed, request->read);

    qsIRegion region;
    qip_status status = gauss_regionOf(request->dst, &region);
    if (status < 0)
        return status;
    if (dstRegion)
        *dstRegion = region;

    qsVImage* const created = dst ? nullptr : qsVImageCreateReg(params->prototype, &region);
    if (!dst && !created)
        return QSYS_E_MEMORY;
    qsFXform coords;
    status = gauss_dstClientCoords(src, grid, &coords);
    if (status < 0) {
        qsImageFree(created);
        return status;
    }
    *dstOut = dst ? dst : created;
    qsVImageSetClientCoords(*dstOut, &coords);
    return QIP_OK;
}
