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

template <class Planes>
qip_status gauss2_checkViews(const gauss2_views& views)
{
    const int32_t pixelSize = sizeof(typename gauss2_kind<Planes>::Pixel);
    qip_status status = gauss2_checkWindow(views.src, pixelSize);
    if (status >= 0 && views.masked)
        status = gauss2_checkWindow(views.srcMask, 1);
    if (status >= 0)
        status = gauss2_checkWindow(views.dst, pixelSize);
    if (status >= 0 && views.hasDstMask)
        status = gauss2_checkWindow(views.dstMask, 1);
    return status;
}

// The windows over images or over the caller's windows, checked.
template <class Planes>
qip_status gauss2_viewsOf(const gauss2_images& images, gauss2_views* views)
{
    *views = {};
    views->masked = gauss2_kind<Planes>::masked;
    views->hasDstMask = images.dstMask != nullptr;
    qip_status status = qimg_windowConst_init(&views->src, images.src);
    if (status >= 0 && views->masked)
        status = qimg_windowConst_init(&views->srcMask, images.srcMask);
    if (status >= 0)
        status = qimg_window_init(&views->dst, images.dst);
    if (status >= 0 && views->hasDstMask)
        status = qimg_window_init(&views->dstMask, images.dstMask);
    return status < 0 ? status : gauss2_checkViews<Planes>(*views);
}

template <class Planes>
qip_status gauss2_viewsOf(const gauss2_windows& windows, gauss2_views* views)
{
    *views = {};
    views->masked = gauss2_kind<Planes>::masked;
    views->hasDstMask = windows.dstMask != nullptr;
    if (!windows.src || !windows.dst || (views->masked && !windows.srcMask))
        return QSYS_E_ARGUMENT;
    views->src = *windows.src;
    views->dst = *windows.dst;
    if (views->masked)
        views->srcMask = *windows.srcMask;
    if (views->hasDstMask)
        views->dstMask = *windows.dstMask;
    return gauss2_checkViews<Planes>(*views);
}

// ---- binding ----

// The rectangle R to be written of the full one, D. An unbound destination is bound to D. `missed` says that
// a bound one does not meet D; then nothing is bound, no mask either.
template <class Planes>
qip_status gauss2_bindImages(const gauss2_images& images, const qstd_rect32& full, qstd_rect32* part,
                             bool* missed)
{
    *missed = false;
    *part = full;
    int isBound = 0;
    qip_status status = qimg_image_getIsBound(images.dst, &isBound);
    if (status >= 0 && isBound) {
        status = qimg_image_getWindow(images.dst, part);
        if (status >= 0)
            status = qstd_rect32_intersect(part, &full);
        *missed = gauss2_isNull(*part);
    } else if (status >= 0) {
        status = qimg_image_assignNewRect(images.dst, sizeof(typename gauss2_kind<Planes>::Pixel), &full);
    }
    if (status < 0 || *missed || !images.dstMask)
        return status;
    status = qimg_image_getIsBound(images.dstMask, &isBound);
    return status < 0 || isBound ? status : qimg_image8_assignNewRect(images.dstMask, part);
}

// The windows of a request after binding, and its rectangles.
template <class Planes>
qip_status gauss2_prepareImages(const gauss2_images& images, gauss2_sampling sampling, gauss2_views* views,
                                qstd_rect32* full, qstd_rect32* part, bool* missed)
{
    qip_status status = gauss2_viewsOf<Planes>(images, views);
    if (status < 0)
        return status;
    qstd_rect32 source;
    status = qimg_windowConst_getWindow(&views->src, &source);
    if (status < 0)
        return status;
    *full = gauss2_destRect(sampling, source);
    status = gauss2_bindImages<Planes>(images, *full, part, missed);
    // The windows are taken and checked again, since binding changes images, and one image may have been given
    // in two places.
    return status < 0 || *missed ? status : gauss2_viewsOf<Planes>(images, views);
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

template <class Planes>
qip_status gauss2_smoothImages(const gauss2_images& images, gauss2_sampling sampling)
{
    gauss2_views views;
    qstd_rect32 full;
    qstd_rect32 part;
    bool missed = false;
    qip_status status = gauss2_prepareImages<Planes>(images, sampling, &views, &full, &part, &missed);
    if (status < 0 || missed)
        return status;
    qmath_xformLinear map;
    status = gauss2_halfPipeline<Planes>(views, sampling, full, part, &map);
    return status < 0 ? status : gauss2_setTransform(images, map);
}

template <class Planes>
qip_status gauss2_smoothWindows(const gauss2_windows& windows, gauss2_sampling sampling,
                                const qmath_xformLinear* srcTransform, qmath_xformLinear* dstTransform)
{
    gauss2_views views;
    qip_status status = gauss2_viewsOf<Planes>(windows, &views);
    if (status < 0)
        return status;
    qstd_rect32 source;
    status = qimg_windowConst_getWindow(&views.src, &source);
    if (status < 0)
        return status;
    const qstd_rect32 full = gauss2_destRect(sampling, source);
    qstd_rect32 part;
    status = qimg_window_getWindow(&views.dst, &part);
    if (status >= 0)
        status = qstd_rect32_intersect(&part, &full);
    if (status < 0)
        return status;
    qmath_xformLinear map;
    status = gauss2_halfPipeline<Planes>(views, sampling, full, part, &map);
    if (status < 0 || !srcTransform || !dstTransform)
        return status;
    return qmath_xformLinear_initCompose(dstTransform, srcTransform, &map);
}

template <class Planes>
qip_status gauss2_noSampleImages(const gauss2_images& images, int32_t passesX, int32_t passesY)
{
    gauss2_views views;
    qstd_rect32 full;
    qstd_rect32 part;
    bool missed = false;
    qip_status status =
        gauss2_prepareImages<Planes>(images, gauss2_sampleNone, &views, &full, &part, &missed);
    if (status >= 0 && !missed)
        status = gauss2_noSample<Planes>(views, passesX, passesY);
    // A destination that misses the source gets the transforms all the same: required behaviour.
    return status < 0 ? status : qimg_image_copyXforms(images.dst, images.src);
}

template <class Planes>
qip_status gauss2_noSampleWindows(const gauss2_windows& windows, int32_t passesX, int32_t passesY)
{
    gauss2_views views;
    const qip_status status = gauss2_viewsOf<Planes>(windows, &views);
    return status < 0 ? status : gauss2_noSample<Planes>(views, passesX, passesY);
}

template qip_status gauss2_smoothImages<gauss2_planes<uint8_t>>(const gauss2_images&, gauss2_sampling);
template qip_status gauss2_smoothWindows<gauss2_planes<uint8_t>>(const gauss2_windows&, gauss2_sampling,
                                                                 const qmath_xformLinear*,
                                                                 qmath_xformLinear*);
template qip_status gauss2_noSampleImages<gauss2_planes<uint8_t>>(const gauss2_images&, int32_t, int32_t);
template qip_status gauss2_noSampleWindows<gauss2_planes<uint8_t>>(const gauss2_windows&, int32_t, int32_t);
template qip_status gauss2_smoothImages<gauss2_planes<uint16_t>>(const gauss2_images&, gauss2_sampling);
template qip_status gauss2_smoothWindows<gauss2_planes<uint16_t>>(const gauss2_windows&, gauss2_sampling,
                                                                  const qmath_xformLinear*,
                                                                  qmath_xformLinear*);
template qip_status gauss2_noSampleImages<gauss2_planes<uint16_t>>(const gauss2_images&, int32_t, int32_t);
template qip_status gauss2_noSampleWindows<gauss2_planes<uint16_t>>(const gauss2_windows&, int32_t,
                                                                    int32_t);
template qip_status gauss2_smoothImages<gauss2_maskedPlanes<uint8_t>>(const gauss2_images&,
                                                                      gauss2_sampling);
template qip_status gauss2_smoothWindows<gauss2_maskedPlanes<uint8_t>>(const gauss2_windows&,
                                                                       gauss2_sampling,
                                                                       const qmath_xformLinear*,
                                                                       qmath_xformLinear*);
template qip_status gauss2_noSampleImages<gauss2_maskedPlanes<uint8_t>>(const gauss2_images&, int32_t,
                                                                        int32_t);
template qip_status gauss2_noSampleWindows<gauss2_maskedPlanes<uint8_t>>(const gauss2_windows&, int32_t,
                                                                         int32_t);
template qip_status gauss2_smoothImages<gauss2_maskedPlanes<uint16_t>>(const gauss2_images&,
                                                                       gauss2_sampling);
template qip_status gauss2_smoothWindows<gauss2_maskedPlanes<uint16_t>>(const gauss2_windows&,
                                                                        gauss2_sampling,
                                                                        const qmath_xformLinear*,
                                                                        qmath_xformLinear*);
template qip_status gauss2_noSampleImages<gauss2_maskedPlanes<uint16_t>>(const gauss2_images&, int32_t,
                                                                         int32_t);
template qip_status gauss2_noSampleWindows<gauss2_maskedPlanes<uint16_t>>(const gauss2_windows&, int32_t,
                                                                          int32_t);
