#include "gauss2/request.h"

#include "frame/handles.h"
#include "frame/window_check.h"
#include "gauss2/geometry.h"
#include "gauss2/select.h"

namespace
{

// One call: its own copies of the windows, and its plan.
struct request {
    bool masked;
    bool hasDstMask;
    bool bindsDst; // image forms: the destination is unbound, and the call binds it
    bool bindsDstMask;
    bool missed; // image forms: the destination is bound and does not meet what the source yields
    qimg_windowConst src;
    qimg_windowConst srcMask; // used when masked
    qimg_window dst;
    qimg_window dstMask; // used when hasDstMask
    gauss2_plan plan;
};

// ---- windows ----

qip_status checkWindows(gauss2_format format, const request& made)
{
    qip_status status = frame_checkWindow(made.src, format.pixelSize);
    if (status >= 0 && made.masked)
        status = frame_checkWindow(made.srcMask, 1);
    if (status >= 0)
        status = frame_checkWindow(made.dst, format.pixelSize);
    if (status >= 0 && made.hasDstMask)
        status = frame_checkWindow(made.dstMask, 1);
    return status;
}

qip_status takeWindows(gauss2_format format, const gauss2_images& images, request* made)
{
    *made = {};
    made->masked = format.masked;
    made->hasDstMask = images.dstMask != nullptr;
    qip_status status = qimg_windowConst_init(&made->src, images.src);
    if (status >= 0 && made->masked)
        status = qimg_windowConst_init(&made->srcMask, images.srcMask);
    if (status >= 0)
        status = qimg_window_init(&made->dst, images.dst);
    if (status >= 0 && made->hasDstMask)
        status = qimg_window_init(&made->dstMask, images.dstMask);
    made->bindsDst = !made->dst.bound;
    made->bindsDstMask = made->hasDstMask && !made->dstMask.bound;
    return status < 0 ? status : checkWindows(format, *made);
}

qip_status takeWindows(gauss2_format format, const gauss2_windows& windows, request* made)
{
    *made = {};
    made->masked = format.masked;
    made->hasDstMask = windows.dstMask != nullptr;
    if (!windows.src || !windows.dst || (made->masked && !windows.srcMask))
        return QSYS_E_ARGUMENT;
    made->src = *windows.src;
    made->dst = *windows.dst;
    if (made->masked)
        made->srcMask = *windows.srcMask;
    if (made->hasDstMask)
        made->dstMask = *windows.dstMask;
    return checkWindows(format, *made);
}

// ---- the plan ----

// Makes the plan and, when there is something to write, restricts the windows to it; a window that does not
// cover its part of the plan is refused. What is still to be bound will fit the plan anyhow.
qip_status planWindows(gauss2_filter filter, request* made)
{
    qstd_rect32 source;
    qstd_rect32 dest;
    qip_status status = qimg_windowConst_getWindow(&made->src, &source);
    if (status >= 0)
        status = qimg_window_getWindow(&made->dst, &dest);
    if (status >= 0)
        status = gauss2_makePlan(filter, source, made->bindsDst ? nullptr : &dest, &made->plan);
    if (status < 0 || gauss2_isNull(made->plan.part))
        return status;
    status = qimg_windowConst_windowRect(&made->src, &made->plan.used, 0);
    if (status >= 0 && made->masked)
        status = qimg_windowConst_windowRect(&made->srcMask, &made->plan.used, 0);
    if (status >= 0 && !made->bindsDst)
        status = qimg_window_windowRect(&made->dst, &made->plan.part, 0);
    if (status >= 0 && made->hasDstMask && !made->bindsDstMask)
        status = qimg_window_windowRect(&made->dstMask, &made->plan.part, 0);
    return status;
}

// Binds the destination to D, and the mask to R, and takes their windows.
qip_status bindImages(gauss2_format format, const gauss2_images& images, request* made)
{
    qip_status status = QIP_OK;
    if (made->bindsDst) {
        status = qimg_image_assignNewRect(images.dst, format.pixelSize, &made->plan.full);
        if (status >= 0)
            status = qimg_window_init(&made->dst, images.dst);
    }
    if (status < 0 || !made->bindsDstMask)
        return status;
    // The same image may be destination and mask; then it is bound already.
    if (images.dstMask != images.dst)
        status = qimg_image8_assignNewRect(images.dstMask, &made->plan.part);
    return status < 0 ? status : qimg_window_init(&made->dstMask, images.dstMask);
}

// Refuses what can be refused before anything is bound. When a bound destination misses D, its mask is not
// bound either.
qip_status prepare(gauss2_format format, gauss2_filter filter, const gauss2_images& images, request* made)
{
    qip_status status = takeWindows(format, images, made);
    if (status >= 0)
        status = planWindows(filter, made);
    made->missed = !made->bindsDst && gauss2_isNull(made->plan.part);
    if (status < 0 || made->missed)
        return status;
    // One unbound image given as destination and as its mask cannot have pixels of both depths.
    if (made->bindsDstMask && images.dstMask == images.dst && format.pixelSize != 1)
        return QIMG_E_PIXEL_SIZE;
    return bindImages(format, images, made);
}

qip_status prepare(gauss2_format format, gauss2_filter filter, const gauss2_windows& windows, request* made)
{
    const qip_status status = takeWindows(format, windows, made);
    return status < 0 ? status : planWindows(filter, made);
}

// ---- pixels ----

template <class Planes>
Planes planesOf(const request& made)
{
    using Pixel = typename Planes::Pixel;
    const gauss2_planes<Pixel> pixels = {made.src.width,
                                         made.src.height,
                                         static_cast<const Pixel*>(made.src.firstPixel),
                                         made.src.stride,
                                         static_cast<Pixel*>(made.dst.firstPixel),
                                         made.dst.stride};
    if constexpr (Planes::masked)
        return {pixels, static_cast<const uint8_t*>(made.srcMask.firstPixel), made.srcMask.stride,
                made.hasDstMask ? static_cast<uint8_t*>(made.dstMask.firstPixel) : nullptr,
                made.dstMask.stride};
    else
        return pixels;
}

// Calls `run` with the planes that the windows hold, when there is something to write.
template <class Run>
qip_status withPlanes(const request& made, Run run)
{
    if (gauss2_isNull(made.plan.part))
        return QIP_OK;
    if (made.src.pixelSize == 1)
        return made.masked ? run(planesOf<gauss2_maskedPlanes<uint8_t>>(made))
                           : run(planesOf<gauss2_planes<uint8_t>>(made));
    return made.masked ? run(planesOf<gauss2_maskedPlanes<uint16_t>>(made))
                       : run(planesOf<gauss2_planes<uint16_t>>(made));
}

// Filters, and gives the map from destination to source pixels, which exists also when nothing is written.
qip_status smoothHalf(gauss2_filter filter, const request& made, qmath_xformLinear* map)
{
    const qip_status status =
        withPlanes(made, [&](const auto& planes) { return gauss2_run(filter, planes); });
    return status < 0 ? status : gauss2_mapToSource(filter, made.plan, map);
}

// ---- the transform of the image forms ----

struct xformHandles {
    qmath_xformPtrhConst source;
    qmath_xformPtrhConst result;
};

qip_status composeTransform(const gauss2_images& images, const qmath_xformLinear& map,
                            xformHandles* handles, frame_cleanup* cleanup)
{
    qip_status status = frame_takeXform(cleanup, &handles->source);
    if (status >= 0)
        status = frame_takeXform(cleanup, &handles->result);
    if (status >= 0)
        status = qimg_imageConst_getClientFromImageXform(images.src, &handles->source);
    if (status >= 0)
        status = qmath_xformPtrhConst_assignComposePtrhLinear(&handles->result, &handles->source, &map);
    return status < 0 ? status : qimg_image_setClientFromImageXform(images.dst, &handles->result);
}

// The destination's client-from-image transform becomes the source's after `map`.
qip_status setTransform(const gauss2_images& images, const qmath_xformLinear& map)
{
    frame_cleanup cleanup = {};
    xformHandles handles = {};
    return frame_cleanupEnd(&cleanup, composeTransform(images, map, &handles, &cleanup));
}

} // namespace

// ---- the four forms ----

qip_status gauss2_halfImages(gauss2_format format, gauss2_filter filter, const gauss2_images& images)
{
    request made;
    qip_status status = prepare(format, filter, images, &made);
    if (status < 0 || made.missed)
        return status;
    qmath_xformLinear map;
    status = smoothHalf(filter, made, &map);
    return status < 0 ? status : setTransform(images, map);
}

qip_status gauss2_halfWindows(gauss2_format format, gauss2_filter filter, const gauss2_windows& windows,
                              const qmath_xformLinear* srcTransform, qmath_xformLinear* dstTransform)
{
    request made;
    qmath_xformLinear map;
    qip_status status = prepare(format, filter, windows, &made);
    if (status >= 0)
        status = smoothHalf(filter, made, &map);
    if (status < 0 || !srcTransform || !dstTransform)
        return status;
    return qmath_xformLinear_initCompose(dstTransform, srcTransform, &map);
}

qip_status gauss2_fullImages(gauss2_format format, const gauss2_images& images, gauss2_passes passes)
{
    request made;
    qip_status status = prepare(format, gauss2_full5x5, images, &made);
    if (status >= 0)
        status = withPlanes(made, [&](const auto& planes) { return gauss2_runPasses(passes, planes); });
    // A destination that misses the source gets the transforms all the same: required behaviour.
    return status < 0 ? status : qimg_image_copyXforms(images.dst, images.src);
}

qip_status gauss2_fullWindows(gauss2_format format, const gauss2_windows& windows, gauss2_passes passes)
{
    request made;
    const qip_status status = prepare(format, gauss2_full5x5, windows, &made);
    if (status < 0)
        return status;
    return withPlanes(made, [&](const auto& planes) { return gauss2_runPasses(passes, planes); });
}
