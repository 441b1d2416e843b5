#include "gauss/transform.h"

#include "frame/handles.h"

namespace
{

// From source to destination pixels: the inverse of the sampling map.
qip_status getDstFromSrc(gauss_grid grid, qmath_xformLinear* dstFromSrc)
{
    qmath_xformLinear srcFromDst;
    const qip_status status = qmath_xformLinear_initMatrixTransElements(
        &srcFromDst, static_cast<double>(grid.x.step), 0.0, 0.0, static_cast<double>(grid.y.step),
        static_cast<double>(gauss_sampleOffset(grid.x)), static_cast<double>(gauss_sampleOffset(grid.y)));
    return status < 0 ? status : qmath_xformLinear_getInverse(&srcFromDst, dstFromSrc);
}

// The handles of one call; they stand in the caller's frame, so that they outlive the clean-up.
struct xformHandles {
    qmath_xformPtrhConst fromClient; // to source pixels, then to destination pixels
    qmath_xformPtrhConst dstFromSrc;
};

qip_status makeXform(const qimg_image* src, gauss_grid grid, xformHandles* handles, frame_cleanup* cleanup)
{
    qmath_xformLinear dstFromSrc;
    qip_status status = frame_takeXform(cleanup, &handles->fromClient);
    if (status >= 0)
        status = qimg_imageConst_getImageFromClientXform(src, &handles->fromClient);
    if (status >= 0)
        status = getDstFromSrc(grid, &dstFromSrc);
    if (status >= 0)
        status = frame_takeLinearXform(cleanup, &dstFromSrc, &handles->dstFromSrc);
    if (status < 0)
        return status;
    return qmath_xformPtrhConst_assignCompose(&handles->fromClient, &handles->dstFromSrc,
                                              &handles->fromClient);
}

} // namespace

qip_status gauss_dstClientCoords(const qsImage* src, gauss_grid grid, qsFXform* coords)
{
    qsFXform srcFromDst;
    qsFXform dstFromSrc;
    qsFXformElemCT(static_cast<float>(grid.x.step), static_cast<float>(grid.y.step),
                   gauss_sampleOffset(grid.x), gauss_sampleOffset(grid.y), &srcFromDst);
    const qip_status status = qsFXformInv(&srcFromDst, &dstFromSrc);
    if (status < 0)
        return status;
    const qsFXform srcFromClient = qsImageClientCoords(src);
    qsFXformCompose(&dstFromSrc, &srcFromClient, coords);
    return QIP_OK;
}

qip_status gauss_udpateDstXform(const qimg_image* src, const qip_gaussParams* params, qimg_image* dst,
                                qimg_image* dst2)
{
    if (!src || !params || !dst)
        return QSYS_E_ARGUMENT;
    xformHandles handles = {};
    frame_cleanup cleanup = {};
    qip_status status = makeXform(src, gauss_gridOf(params), &handles, &cleanup);
    if (status >= 0)
        status = qimg_image_setImageFromClientXform(dst, &handles.fromClient);
    if (status >= 0 && dst2)
        status = qimg_image_setImageFromClientXform(dst2, &handles.fromClient);
    return frame_cleanupEnd(&cleanup, status);
}
