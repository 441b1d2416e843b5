// The destination's client transform: a point keeps its client coordinates across smoothing and sampling.
#include "frame/cleanup.h"
#include "gauss/geometry.h"

namespace
{

// From destination to source pixel coordinates, inverted.
qip_status gauss_dstFromSrc(const qip_gaussParams* params, qmath_xformLinear* dstFromSrc)
{
    const gauss_grid grid = gauss_gridOf(params);
    qmath_xformLinear srcFromDst;
    const qip_status status = qmath_xformLinear_initMatrixTransElements(
        &srcFromDst, static_cast<double>(grid.x.step), 0.0, 0.0, static_cast<double>(grid.y.step),
        static_cast<double>(gauss_sampleOffset(grid.x)), static_cast<double>(gauss_sampleOffset(grid.y)));
    return status < 0 ? status : qmath_xformLinear_getInverse(&srcFromDst, dstFromSrc);
}

qip_status gauss_setLinearXform(const qmath_xformLinear* dstFromSrc, const qmath_xformPtrhConst* srcXform,
                                qimg_image* dst, qimg_image* dst2)
{
    const qmath_point origin = {0.0, 0.0};
    qmath_xformLinear srcFromClient;
    qmath_xformLinear dstFromClient;
    qip_status status = qmath_xformPtrhConst_getLinear(srcXform, &origin, &srcFromClient);
    if (status >= 0)
        status = qmath_xformLinear_initCompose(&dstFromClient, dstFromSrc, &srcFromClient);
    if (status >= 0)
        status = qimg_image_setLinearImageFromClientXform(dst, &dstFromClient);
    if (status >= 0 && dst2)
        status = qimg_image_setLinearImageFromClientXform(dst2, &dstFromClient);
    return status;
}

// The handles of one call; they stand in the caller's frame, so that they outlive the clean-up.
struct gauss_xforms {
    qmath_xformPtrhConst src;
    qmath_xformPtrhConst dstFromSrc;
    qmath_xformPtrhConst dst;
};

qip_status gauss_constructXform(qmath_xformPtrhConst* handle, frame_cleanup* cleanup)
{
    const qip_status status = qmath_xformPtrhConst_construct(handle);
    return status < 0 ? status : frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, handle);
}

qip_status gauss_setXform(const qmath_xformLinear* dstFromSrc, gauss_xforms* xforms, qimg_image* dst,
                          qimg_image* dst2, frame_cleanup* cleanup)
{
    qip_status status = qmath_xformPtrhConst_constructLinear(&xforms->dstFromSrc, dstFromSrc);
    if (status >= 0)
        status = frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, &xforms->dstFromSrc);
    if (status >= 0)
        status = gauss_constructXform(&xforms->dst, cleanup);
    if (status >= 0)
        status = qmath_xformPtrhConst_assignCompose(&xforms->dst, &xforms->dstFromSrc, &xforms->src);
    if (status >= 0)
        status = qimg_image_setImageFromClientXform(dst, &xforms->dst);
    if (status >= 0 && dst2)
        status = qimg_image_setImageFromClientXform(dst2, &xforms->dst);
    return status;
}

qip_status gauss_updateXform(const qimg_image* src, const qip_gaussParams* params, qimg_image* dst,
                             qimg_image* dst2, gauss_xforms* xforms, frame_cleanup* cleanup)
{
    int isLinear = 0;
    qmath_xformLinear dstFromSrc;
    qip_status status = gauss_constructXform(&xforms->src, cleanup);
    if (status >= 0)
        status = qimg_imageConst_getImageFromClientXform(src, &xforms->src);
    if (status >= 0)
        status = qmath_xformPtrhConst_getIsLinear(&xforms->src, &isLinear);
    if (status >= 0)
        status = gauss_dstFromSrc(params, &dstFromSrc);
    if (status < 0)
        return status;
    return isLinear ? gauss_setLinearXform(&dstFromSrc, &xforms->src, dst, dst2)
                    : gauss_setXform(&dstFromSrc, xforms, dst, dst2, cleanup);
}

} // namespace

qip_status gauss_udpateDstXform(const qimg_image* src, const qip_gaussParams* params, qimg_image* dst,
                                qimg_image* dst2)
{
    if (!src || !params || !dst)
        return QSYS_E_ARGUMENT;
    gauss_xforms xforms = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, gauss_updateXform(src, params, dst, dst2, &xforms, &cleanup));
}
