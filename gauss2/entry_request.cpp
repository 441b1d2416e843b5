#include "gauss2/entry_request.h"

#include "frame/cleanup.h"
#include "gauss2/no_sample.h"
#include "gauss2/pipeline.h"

namespace
{

// ---- arguments ----

// Unbound windows pass: they are null rectangles of no pixel size. So do empty ones, which need no memory.
template <class Window>
qip_status gauss2_checkWindow(const Window& window, int32_t pixelSize)
{
    if (!window.bound)
        return QIP_OK;
    if (window.pixelSize != pixelSize)
        return QIMG_E_PIXEL_SIZE;
    return window.firstPixel || window.width <= 0 || window.height <= 0 ? QIP_OK : QIMG_E_UNBOUND;
}

qip_status gauss2_checkViews(gauss2_format format, const gauss2_views& views)
{
    qip_status status = gauss2_checkWindow(views.src, format.pixelSize);
    if (status >= 0 && views.masked)
        status = gauss2_checkWindow(views.srcMask, 1);
    if (status >= 0)
        status = gauss2_checkWindow(views.dst, format.pixelSize);
    if (status >= 0 && views.hasDstMask)
        status = gauss2_checkWindow(views.dstMask, 1);
    return status;
}

// The windows over images or over the caller's windows, checked.
qip_status gauss2_viewsOf(gauss2_format format, const gauss2_images& images, gauss2_views* views)
{
    *views = {};
    views->masked = format.masked;
    views->hasDstMask = images.dstMask != nullptr;
    qip_status status = qimg_windowConst_init(&views->src, images.src);
    if (status >= 0 && views->masked)
        status = qimg_windowConst_init(&views->srcMask, images.srcMask);
    if (status >= 0)
        status = qimg_window_init(&views->dst, images.dst);
    if (status >= 0 && views->hasDstMask)
        status = qimg_window_init(&views->dstMask, images.dstMask);
    return status < 0 ? status : gauss2_checkViews(format, *views);
}

qip_status gauss2_viewsOf(gauss2_format format, const gauss2_windows& windows, gauss2_views* views)
{
    *views = {};
    views->masked = format.masked;
    views->hasDstMask = windows.dstMask != nullptr;
    if (!windows.src || !windows.dst || (views->masked && !windows.srcMask))
        return QSYS_E_ARGUMENT;
    views->src = *windows.src;
    views->dst = *windows.dst;
    if (views->masked)
        views->srcMask = *windows.srcMask;
    if (views->hasDstMask)
        views->dstMask = *windows.dstMask;
    return gauss2_checkViews(format, *views);
}

// ---- rectangles and binding ----

// The windows of a request, the full destination rectangle D, and the part of it to be written, R.
struct gauss2_prepared {
    gauss2_views views;
    qstd_rect32 full;
    qstd_rect32 part;
    bool missed; // image forms: the destination is bound and does not meet D
};

template <class Arguments>
qip_status gauss2_prepareFull(gauss2_format format, gauss2_sampling sampling, const Arguments& arguments,
                              gauss2_prepared* prepared)
{
    qip_status status = gauss2_viewsOf(format, arguments, &prepared->views);
    if (status < 0)
        return status;
    qstd_rect32 source;
    status = qimg_windowConst_getWindow(&prepared->views.src, &source);
    prepared->full = gauss2_destRect(sampling, source);
    prepared->part = prepared->full;
    prepared->missed = false;
    return status;
}

// Gives *part, D at first, what the destination takes of it.
qip_status gauss2_intersectDestination(const gauss2_views& views, qstd_rect32* part)
{
    qstd_rect32 dest;
    const qip_status status = qimg_window_getWindow(&views.dst, &dest);
    return status < 0 ? status : qstd_rect32_intersect(part, &dest);
}

// Binds an unbound destination to D, and an unbound mask to R. When a bound destination misses D nothing is
// bound, no mask either.
qip_status gauss2_bindImages(gauss2_format format, const gauss2_images& images, gauss2_prepared* prepared)
{
    int isBound = 0;
    qip_status status = qimg_image_getIsBound(images.dst, &isBound);
    if (status < 0)
        return status;
    if (isBound) {
        status = gauss2_intersectDestination(prepared->views, &prepared->part);
        prepared->missed = gauss2_isNull(prepared->part);
    } else {
        status = qimg_image_assignNewRect(images.dst, format.pixelSize, &prepared->full);
    }
    if (status < 0 || prepared->missed || !images.dstMask)
        return status;
    status = qimg_image_getIsBound(images.dstMask, &isBound);
    return status < 0 || isBound ? status : qimg_image8_assignNewRect(images.dstMask, &prepared->part);
}

qip_status gauss2_prepareImages(gauss2_format format, gauss2_sampling sampling, const gauss2_images& images,
                                gauss2_prepared* prepared)
{
    qip_status status = gauss2_prepareFull(format, sampling, images, prepared);
    if (status >= 0)
        status = gauss2_bindImages(format, images, prepared);
    // The windows are taken and checked again, since binding changes images, and one image may have been given
    // in two places.
    return status < 0 || prepared->missed ? status : gauss2_viewsOf(format, images, &prepared->views);
}

// ---- the transform of the image forms ----

struct gauss2_handles {
    qmath_xformPtrhConst source;
    qmath_xformPtrhConst result;
};

qip_status gauss2_takeHandle(frame_cleanup* cleanup, qmath_xformPtrhConst* handle)
{
    const qip_status status = qmath_xformPtrhConst_construct(handle);
    return status < 0 ? status : frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, handle);
}

qip_status gauss2_composeTransform(const gauss2_images& images, const qmath_xformLinear& map,
                                   gauss2_handles* handles, frame_cleanup* cleanup)
{
    qip_status status = gauss2_takeHandle(cleanup, &handles->source);
    if (status >= 0)
        status = gauss2_takeHandle(cleanup, &handles->result);
    if (status >= 0)
        status = qimg_imageConst_getClientFromImageXform(images.src, &handles->source);
    if (status >= 0)
        status = qmath_xformPtrhConst_assignComposePtrhLinear(&handles->result, &handles->source, &map);
    return status < 0 ? status : qimg_image_setClientFromImageXform(images.dst, &handles->result);
}

// The destination's client-from-image transform becomes the source's after `map`.
qip_status gauss2_setTransform(const gauss2_images& images, const qmath_xformLinear& map)
{
    frame_cleanup cleanup = {};
    gauss2_handles handles = {};
    return frame_cleanupEnd(&cleanup, gauss2_composeTransform(images, map, &handles, &cleanup));
}

} // namespace

// ---- the four forms ----

qip_status gauss2_smoothImages(gauss2_format format, gauss2_sampling sampling, const gauss2_images& images)
{
    gauss2_prepared prepared;
    qip_status status = gauss2_prepareImages(format, sampling, images, &prepared);
    if (status < 0 || prepared.missed)
        return status;
    qmath_xformLinear map;
    status = gauss2_halfPipeline(prepared.views, sampling, prepared.full, prepared.part, &map);
    return status < 0 ? status : gauss2_setTransform(images, map);
}

qip_status gauss2_smoothWindows(gauss2_format format, gauss2_sampling sampling,
                                const gauss2_windows& windows, const qmath_xformLinear* srcTransform,
                                qmath_xformLinear* dstTransform)
{
    gauss2_prepared prepared;
    qip_status status = gauss2_prepareFull(format, sampling, windows, &prepared);
    if (status >= 0)
        status = gauss2_intersectDestination(prepared.views, &prepared.part);
    if (status < 0)
        return status;
    qmath_xformLinear map;
    status = gauss2_halfPipeline(prepared.views, sampling, prepared.full, prepared.part, &map);
    if (status < 0 || !srcTransform || !dstTransform)
        return status;
    return qmath_xformLinear_initCompose(dstTransform, srcTransform, &map);
}

qip_status gauss2_noSampleImages(gauss2_format format, const gauss2_images& images, int32_t passesX,
                                 int32_t passesY)
{
    gauss2_prepared prepared;
    qip_status status = gauss2_prepareImages(format, gauss2_sampleNone, images, &prepared);
    if (status >= 0 && !prepared.missed)
        status = gauss2_noSample(prepared.views, passesX, passesY);
    // A destination that misses the source gets the transforms all the same: required behaviour.
    return status < 0 ? status : qimg_image_copyXforms(images.dst, images.src);
}

qip_status gauss2_noSampleWindows(gauss2_format format, const gauss2_windows& windows, int32_t passesX,
                                  int32_t passesY)
{
    gauss2_views views;
    const qip_status status = gauss2_viewsOf(format, windows, &views);
    return status < 0 ? status : gauss2_noSample(views, passesX, passesY);
}
