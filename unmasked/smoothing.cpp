// The four unmasked entry points: they check a request, translate it into the legacy records and hand it to
// qip_gauss. One source text serves 8-bit and 16-bit destinations.
#include "frame/handles.h"
#include "frame/window_check.h"
#include "gauss/geometry.h"
#include "gauss/transform.h"

#include <qbase/attention.h>
#include <qbase/pixels.h>

namespace
{

// What differs with the depth of the destination. Only an 8-bit destination may have pixels of the source's
// size, so only that is checked for shared memory.
struct depthForm {
    int32_t pixelSize;
    bool checksMemory;
    bool pollsFirst; // window form: one attention check before qip_gauss
    const qsVImage* const* prototype;
    qip_status (*initWindow)(qimg_window* window, qimg_image* image);
    qip_status (*makeView)(const qimg_windowConst* window, qsVImage** out);
};

constexpr depthForm to8 = {
    1, true, true, &qsImageNull, qimg_window8_init, generate_qsImage_from_qimg_windowConst};
constexpr depthForm to16 = {
    2, false, false, &qsUSImageNull, qimg_window16_init, generate_qsUSImage_from_qimg_windowConst};

// A call in the terms of qip_gauss, and all resources that it takes. It stands in the frame of the outer
// function, so that it outlives the clean-up.
struct smoothingCall {
    const depthForm* depth;
    qsGaussParams params;
    qsIRegion region; // what the source yields; null when that is nothing
    qsImage* src;     // views of the pixels
    qsVImage* dst;
    qmath_xformPtrhConst srcXform;
    qmath_xformPtrhConst dstXform;
    qimg_image transforms; // unbound; it has the transforms that the destination is to get
    frame_cleanup cleanup;
};

qip_status startCall(smoothingCall* call, const depthForm* depth, const qip_gaussParams* params)
{
    *call = {};
    const qip_status status = qip_gaussParams_validate(params);
    if (status < 0)
        return status;
    call->depth = depth;
    call->params = gauss_legacyParams(params, *depth->prototype);
    return QIP_OK;
}

// Checks two windows that are not null for shared memory, and computes the region.
qip_status checkWindows(smoothingCall* call, const qimg_windowConst* src, const qimg_windowConst* dst)
{
    if (call->depth->checksMemory) {
        const qip_status status = qip_pelfunc_checkMemoryOverlap(src, dst);
        if (status < 0)
            return status;
        if (src->firstPixel == dst->firstPixel)
            return QIP_E_SAME_MEMORY;
    }
    qstd_rect32 rect;
    const qip_status status = qimg_windowConst_getWindow(src, &rect);
    if (status < 0)
        return status;
    return gauss_regionOf(gauss_computeDstRegion(gauss_areaOf(&rect), &call->params), &call->region);
}

qip_status viewDestination(smoothingCall* call, const qimg_window* window)
{
    const qimg_windowConst view = qimg_window_asConst(window);
    const qip_status status = call->depth->makeView(&view, &call->dst);
    return status < 0 ? status : frame_cleanupObject<qsImageFree>(&call->cleanup, call->dst);
}

qip_status run(smoothingCall* call)
{
    qsVImage* written = nullptr;
    return qip_gauss(call->src, call->dst, &call->params, &call->region, &written);
}

// ---- image forms ----

qip_status checkImages(smoothingCall* call, const qimg_image* src, qimg_image* dst)
{
    int srcIsBound = 0;
    qip_status status = qimg_imageConst_getIsBound(src, &srcIsBound);
    if (status < 0 || !srcIsBound)
        return status < 0 ? status : QIP_E_NULL_IMAGE;
    qimg_windowConst srcWindow;
    qimg_window dstWindow;
    status = qimg_window8Const_init(&srcWindow, src);
    if (status >= 0)
        status = call->depth->initWindow(&dstWindow, dst);
    if (status < 0)
        return status;
    const qimg_windowConst dstView = qimg_window_asConst(&dstWindow);
    return checkWindows(call, &srcWindow, &dstView);
}

// Makes the view of the source. A transform that is not linear does not fit the view: that gets the
// identity, and prepareTransforms composes the result with the transform itself.
qip_status viewSource(smoothingCall* call, const qimg_image* src, int* isLinear)
{
    qip_status status = generate_qsImage_from_qimg_image8Const(src, &call->src);
    if (status >= 0)
        status = frame_cleanupObject<qsImageFree>(&call->cleanup, call->src);
    if (status >= 0)
        status = frame_takeXform(&call->cleanup, &call->srcXform);
    if (status >= 0)
        status = qimg_imageConst_getImageFromClientXform(src, &call->srcXform);
    if (status >= 0)
        status = qmath_xformPtrhConst_getIsLinear(&call->srcXform, isLinear);
    if (status >= 0 && !*isLinear) {
        const qsFXform identity = {1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};
        qsImageSetClientCoords(call->src, &identity);
    }
    return status;
}

// Computes the destination's transforms, in single precision where they are linear. They are set on an
// image of their own first: in single precision a transform may lose its inverse, and that must be found
// out before a pixel is written.
qip_status prepareTransforms(smoothingCall* call, int srcIsLinear)
{
    qsFXform c;
    qip_status status = gauss_dstClientCoords(call->src, gauss_gridOf(&call->params), &c);
    if (status < 0)
        return status;
    const qmath_xformLinear coords = {static_cast<double>(c.m00), static_cast<double>(c.m01),
                                      static_cast<double>(c.m10), static_cast<double>(c.m11),
                                      static_cast<double>(c.tx),  static_cast<double>(c.ty)};
    status = frame_takeLinearXform(&call->cleanup, &coords, &call->dstXform);
    if (status >= 0 && !srcIsLinear)
        status = qmath_xformPtrhConst_assignCompose(&call->dstXform, &call->dstXform, &call->srcXform);
    if (status >= 0)
        status = frame_cleanupObject<qimg_image_destruct>(&call->cleanup, &call->transforms);
    return status < 0 ? status : qimg_image_setImageFromClientXform(&call->transforms, &call->dstXform);
}

// Binds an unbound destination to what the source yields.
qip_status bindDestination(const smoothingCall* call, qimg_image* dst)
{
    int isBound = 0;
    const qip_status status = qimg_image_getIsBound(dst, &isBound);
    if (status < 0 || isBound)
        return status;
    const qstd_rect32 rect = {call->region.x, call->region.y, call->region.width, call->region.height};
    return qimg_image_assignNewRect(dst, call->depth->pixelSize, &rect);
}

qip_status smoothImage(smoothingCall* call, const qimg_image* src, qimg_image* dst)
{
    qip_status status = checkImages(call, src, dst);
    if (status < 0 || qsIRegionIsNull(&call->region))
        return status;
    int isLinear = 0;
    qimg_window dstWindow;
    status = viewSource(call, src, &isLinear);
    if (status >= 0)
        status = prepareTransforms(call, isLinear);
    if (status >= 0)
        status = bindDestination(call, dst);
    if (status >= 0)
        status = call->depth->initWindow(&dstWindow, dst);
    if (status >= 0)
        status = viewDestination(call, &dstWindow);
    if (status >= 0)
        status = run(call);
    if (status < 0)
        return status;
    const qip_status copied = qimg_image_copyXforms(dst, &call->transforms);
    return copied < 0 ? copied : status;
}

// ---- window forms ----

bool areNull(const qimg_windowConst* src, const qimg_window* dst)
{
    return !src->bound || !dst->bound || src->width <= 0 || src->height <= 0 || dst->width <= 0 ||
           dst->height <= 0;
}

qip_status smoothWindow(smoothingCall* call, const qimg_windowConst* src, const qimg_window* dst)
{
    if (areNull(src, dst))
        return QIP_E_NULL_IMAGE;
    const qimg_windowConst dstView = qimg_window_asConst(dst);
    qip_status status = frame_checkWindow(*src, 1);
    if (status >= 0)
        status = frame_checkWindow(*dst, call->depth->pixelSize);
    if (status >= 0)
        status = checkWindows(call, src, &dstView);
    if (status < 0 || qsIRegionIsNull(&call->region))
        return status;
    status = generate_qsImage_from_qimg_windowConst(src, &call->src);
    if (status >= 0)
        status = frame_cleanupObject<qsImageFree>(&call->cleanup, call->src);
    if (status >= 0)
        status = viewDestination(call, dst);
    if (status >= 0 && call->depth->pollsFirst)
        status = qsys_attention_check();
    return status < 0 ? status : run(call);
}

// ---- either form ----

template <class Src, class Dst>
qip_status smooth(const depthForm* depth, const Src* src, Dst* dst, const qip_gaussParams* params,
                  qip_status (*form)(smoothingCall* call, const Src* src, Dst* dst))
{
    if (!src || !dst || !params)
        return QSYS_E_ARGUMENT;
    smoothingCall call;
    qip_status status = startCall(&call, depth, params);
    if (status >= 0)
        status = form(&call, src, dst);
    return frame_cleanupEnd(&call.cleanup, status);
}

} // namespace

qip_status qip_gauss_smooth8_8(const qimg_image8* src, qimg_image8* dst, const qip_gaussParams* params)
{
    return smooth(&to8, src, dst, params, smoothImage);
}

qip_status qip_gauss_smooth8_16(const qimg_image8* src, qimg_image16* dst, const qip_gaussParams* params)
{
    return smooth(&to16, src, dst, params, smoothImage);
}

qip_status qip_gauss_smoothWindow8_8(const qimg_window8Const* src, const qimg_window8* dst,
                                     const qip_gaussParams* params)
{
    return smooth(&to8, src, dst, params, smoothWindow);
}

qip_status qip_gauss_smoothWindow8_16(const qimg_window8Const* src, const qimg_window16* dst,
                                      const qip_gaussParams* params)
{
    return smooth(&to16, src, dst, params, smoothWindow);
}
