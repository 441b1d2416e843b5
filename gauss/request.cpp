#include "gauss/request.h"

namespace
{

// Moves the source's client coordinates to the destination's pixels, in single precision.
qip_status gauss_setClientCoords(const qsImage* src, gauss_grid grid, qsVImage* dst)
{
    qsFXform srcFromDst;
    qsFXform dstFromSrc;
    qsFXformElemCT(static_cast<float>(grid.x.step), static_cast<float>(grid.y.step),
                   gauss_sampleOffset(grid.x), gauss_sampleOffset(grid.y), &srcFromDst);
    const qip_status status = qsFXformInv(&srcFromDst, &dstFromSrc);
    if (status < 0)
        return status;
    const qsFXform srcFromClient = qsImageClientCoords(src);
    qsFXform dstFromClient;
    qsFXformCompose(&dstFromSrc, &srcFromClient, &dstFromClient);
    qsVImageSetClientCoords(dst, &dstFromClient);
    return QIP_OK;
}

// The region asked for: that of a destination that is there, else the caller's, else all that the source
// yields.
gauss_area gauss_requestedArea(const qsVImage* dst, const qsIRegion* dstRegion, gauss_grid grid,
                               gauss_area valid)
{
    if (dst) {
        const qsIRegion region = qsVImageRegion(dst);
        return gauss_areaOf(&region);
    }
    return dstRegion ? gauss_areaOf(dstRegion) : gauss_dstArea(grid, valid);
}

} // namespace

qip_status gauss_setupReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut, gauss_request* request)
{
    const gauss_grid grid = gauss_gridOf(params);
    const qsIRegion srcRegion = qsImageRegion(src);
    request->source = gauss_areaOf(&srcRegion);
    const gauss_area valid = gauss_validArea(request->source, params);
    request->dst = gauss_clipToSource(grid, gauss_requestedArea(dst, dstRegion, grid, valid), valid);
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
    status = gauss_setClientCoords(src, grid, dst ? dst : created);
    if (status < 0) {
        qsImageFree(created);
        return status;
    }
    *dstOut = dst ? dst : created;
    return QIP_OK;
}
