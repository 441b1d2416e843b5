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

// What differs with the depth of the destination. Only 8-bit destinations can share memory with the source
// pixel by pixel, so only they are checked for it.
struct Depth {
    int32_t pixelSize;
    bool checksMemory;
    bool pollsFirst; // window form: one attention check before qip_gauss
    const qsVImage* const* prototype;
    qip_status (*initWindow)(qimg_window* window, qimg_image* image);
    qip_status (*makeView)(const qimg_windowConst* window, qsVImage** out);
};

constexpr Depth to8 = {
    1, true, true, &qsImageNull, qimg_window8_init, generate_qsImage_from_qimg_windowConst};
constexpr Depth to16 = {
    2, false, false, &qsUSImageNull, qimg_window16_init, generate_qsUSImage_from_qimg_windowConst};

// A request in the terms of qip_gauss, and all that it takes. It stands in the frame of the outer function,
// so that it outlives the clean-up.
struct Request {
    const Depth* depth;
    qsGaussParams params;
    qsIRegion region; // what the source yields; null when that is nothing
    qsImage* src;     // views of the pixels
    qsVImage* dst;
    qmath_xformPtrhConst srcXform;
    qmath_xformPtrhConst dstXform;
    qimg_image transforms; // unbound; it has the transforms that the destination is to get
    frame_cleanup cleanup;
};

qip_status startRequest(Request* request, const Depth* depth, const qip_gaussParams* params)
{
    *request = {};
    const qip_status status = qip_gaussParams_validate(params);
    if (status < 0)
        return status;
    request->depth = depth;
    request->params = gauss_legacyParams(params, *depth->prototype);
    return QIP_OK;
}

// Checks two windows that are not null for shared memory, and computes the region.
qip_status checkWindows(Request* request, const qimg_windowConst* src, const qimg_windowConst* dst)
{
    if (request->depth->checksMemory) {
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
    return gauss_regionOf(gauss_computeDstRegion(gauss_areaOf(&rect), &request->params), &request->region);
}

qip_status viewDestination(Request* request, const qimg_window* window)
{
    const qimg_windowConst view = qimg_window_asConst(window);
    const qip_status status = request->depth->makeView(&view, &request->dst);
    return status < 0 ? status : frame_cleanupObject<qsImageFree>(&request->cleanup, request->dst);
}

qip_status run(Request* request)
{
    qsVImage* written = nullptr;
    return qip_gauss(request->src, request->dst, &request->params, &request->region, &written);
}

// ---- image forms ----

qip_status checkImages(Request* request, const qimg_image* src, qimg_image* dst)
{
    int srcIsBound = 0;
    qip_status status = qimg_imageConst_getIsBound(src, &srcIsBound);
    if (status < 0 || !srcIsBound)
        return status < 0 ? status : QIP_E_NULL_IMAGE;
    qimg_windowConst srcWindow;
    qimg_window dstWindow;
    status = qimg_window8Const_init(&srcWindow, src);
    if (status >= 0)
        status = request->depth->initWindow(&dstWindow, dst);
    if (status < 0)
        return status;
    const qimg_windowConst dstView = qimg_window_asConst(&dstWindow);
    return checkWindows(request, &srcWindow, &dstView);
}

// Makes the view of the source. A transform that is not linear does not fit the view; the smoothing sees
// the identity in its stead, and the transform is composed with what comes of that.
qip_status viewSource(Request* request, const qimg_image* src, int* isLinear)
{
    qip_status status = generate_qsImage_from_qimg_image8Const(src, &request->src);
    if (status >= 0)
        status = frame_cleanupObject<qsImageFree>(&request->cleanup, request->src);
    if (status >= 0)
        status = frame_takeXform(&request->cleanup, &request->srcXform);
    if (status >= 0)
        status = qimg_imageConst_getImageFromClientXform(src, &request->srcXform);
    if (status >= 0)
        status = qmath_xformPtrhConst_getIsLinear(&request->srcXform, isLinear);
    if (status >= 0 && !*isLinear) {
        const qsFXform identity = {1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};
        qsImageSetClientCoords(request->src, &identity);
    }
    return status;
}

// Computes the destination's transforms, in single precision where they are linear. They are set on an
// image of their own first: in single precision a transform may vanish, and that must show before a pixel
// is written.
qip_status prepareTransforms(Request* request, int srcIsLinear)
{
    qsFXform c;
    qip_status status = gauss_dstClientCoords(request->src, gauss_gridOf(&request->params), &c);
    if (status < 0)
        return status;
    const qmath_xformLinear coords = {static_cast<double>(c.m00), static_cast<double>(c.m01),
                                      static_cast<double>(c.m10), static_cast<double>(c.m11),
                                      static_cast<double>(c.tx),  static_cast<double>(c.ty)};
    status = frame_takeLinearXform(&request->cleanup, &coords, &request->dstXform);
    if (status >= 0 && !srcIsLinear)
        status =
            qmath_xformPtrhConst_assignCompose(&request->dstXform, &request->dstXform, &request->srcXform);
    if (status >= 0)
        status = frame_cleanupObject<qimg_image_destruct>(&request->cleanup, &request->transforms);
    return status < 0 ? status
                      : qimg_image_setImageFromClientXform(&request->transforms, &request->dstXform);
}

// Binds an unbound destination to what the source yields.
qip_status bindDestination(const Request* request, qimg_image* dst)
{
    int isBound = 0;
    const qip_status status = qimg_image_getIsBound(dst, &isBound);
    if (status < 0 || isBound)
        return status;
    const qstd_rect32 rect = {request->region.x, request->region.y, request->region.width,
                              request->region.height};
    return qimg_image_assignNewRect(dst, request->depth->pixelSize, &rect);
}

qip_status smoothImage(Request* request, const qimg_image* src, qimg_image* dst)
{
    qip_status status = checkImages(request, src, dst);
    if (status < 0 || qsIRegionIsNull(&request->region))
        return status;
    int isLinear = 0;
    qimg_window dstWindow;
    status = viewSource(request, src, &isLinear);
    if (status >= 0)
        status = prepareTransforms(request, isLinear);
    if (status >= 0)
        status = bindDestination(request, dst);
    if (status >= 0)
        status = request->depth->initWindow(&dstWindow, dst);
    if (status >= 0)
        status = viewDestination(request, &dstWindow);
    if (status >= 0)
        status = run(request);
    if (status < 0)
        return status;
    const qip_status copied = qimg_image_copyXforms(dst, &request->transforms);
    return copied < 0 ? copied : status;
}

qip_status smoothImageTo(const Depth* depth, const qimg_image* src, qimg_image* dst,
                         const qip_gaussParams* params)
{
    if (!src || !dst || !params)
        return QSYS_E_ARGUMENT;
    Request request;
    qip_status status = startRequest(&request, depth, params);
    if (status >= 0)
        status = smoothImage(&request, src, dst);
    return frame_cleanupEnd(&request.cleanup, status);
}

// ---- window forms ----

bool areNull(const qimg_windowConst* src, const qimg_window* dst)
{
    return !src->bound || !dst->bound || src->width <= 0 || src->height <= 0 || dst->width <= 0 ||
           dst->height <= 0;
}

qip_status smoothWindow(Request* request, const qimg_windowConst* src, const qimg_window* dst)
{
    if (areNull(src, dst))
        return QIP_E_NULL_IMAGE;
    const qimg_windowConst dstView = qimg_window_asConst(dst);
    qip_status status = frame_checkWindow(*src, 1);
    if (status >= 0)
        status = frame_checkWindow(*dst, request->depth->pixelSize);
    if (status >= 0)
        status = checkWindows(request, src, &dstView);
    if (status < 0 || qsIRegionIsNull(&request->region))
        return status;
    status = generate_qsImage_from_qimg_windowConst(src, &request->src);
    if (status >= 0)
        status = frame_cleanupObject<qsImageFree>(&request->cleanup, request->src);
    if (status >= 0)
        status = viewDestination(request, dst);
    if (status >= 0 && request->depth->pollsFirst)
        status = qsys_attention_check();
    return status < 0 ? status : run(request);
}

qip_status smoothWindowTo(const Depth* depth, const qimg_windowConst* src, const qimg_window* dst,
                          const qip_gaussParams* params)
{
    if (!src || !dst || !params)
        return QSYS_E_ARGUMENT;
    Request request;
    qip_status status = startRequest(&request, depth, params);
    if (status >= 0)
        status = smoothWindow(&request, src, dst);
    return frame_cleanupEnd(&request.cleanup, status);
}

} // namespace

qip_status qip_gauss_smooth8_8(const qimg_image8* src, qimg_image8* dst, const qip_gaussParams* params)
{
    return smoothImageTo(&to8, src, dst, params);
}

qip_status qip_gauss_smooth8_16(const qimg_image8* src, qimg_image16* dst, const qip_gaussParams* params)
{
    return smoothImageTo(&to16, src, dst, params);
}

qip_status qip_gauss_smoothWindow8_8(const qimg_window8Const* src, const qimg_window8* dst,
                                     const qip_gaussParams* params)
{
    return smoothWindowTo(&to8, src, dst, params);
}

qip_status qip_gauss_smoothWindow8_16(const qimg_window8Const* src, const qimg_window16* dst,
                                      const qip_gaussParams* params)
{
    return smoothWindowTo(&to16, src, dst, params);
}
