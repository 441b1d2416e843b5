// The four unmasked entry points: they check a request, translate it into the legacy records and hand it to
// qip_gauss. One source text serves 8-bit and 16-bit destinations.
#include "frame/cleanup.h"
#include "gauss/geometry.h"

#include <qbase/attention.h>
#include <qbase/pixels.h>

namespace
{

// What differs with the depth of the destination. Only 8-bit destinations can share memory with the source
// pixel by pixel, so only they are checked for it.
struct gauss_depth {
    int32_t pixelSize;
    bool checksMemory;
    bool pollsFirst; // window form: one attention check before qip_gauss
    qip_status (*initWindow)(qimg_window* window, struct qimg_image* image);
    qip_status (*makeLegacy)(const qimg_windowConst* window, qsVImage** out);
};

constexpr gauss_depth gauss_to8 = {1, true, true, qimg_window8_init,
                                   generate_qsImage_from_qimg_windowConst};
constexpr gauss_depth gauss_to16 = {2, false, false, qimg_window16_init,
                                    generate_qsUSImage_from_qimg_windowConst};

qsGaussParams gauss_legacyParamsFor(const gauss_depth* depth, const qip_gaussParams* params)
{
    return gauss_legacyParams(params, depth->pixelSize == 1 ? qsImageNull : qsUSImageNull);
}

// What one call takes. It stands in the outer function's frame, so that it outlives the clean-up.
struct gauss_resources {
    qmath_xformPtrhConst srcXform;
    qmath_xformPtrhConst dstFromSrc;
    qmath_xformPtrhConst dstXform;
    qimg_image created;
    qsImage* src;
    qsVImage* dst;
};

qsys_status gauss_freeLegacy(void* image)
{
    qsImageFree(static_cast<qsVImage*>(image));
    return QSYS_OK;
}

qip_status gauss_keepLegacy(frame_cleanup* cleanup, qsVImage* image)
{
    return qsys_cleanup_register_(cleanup->entries, frame_cleanupCapacity, &cleanup->count,
                                  &cleanup->status, QSYS_CLEANUP_OBJECT, image, gauss_freeLegacy, nullptr);
}

qip_status gauss_checkMemory(const qimg_windowConst* src, const qimg_window* dst)
{
    const qimg_windowConst dstView = qimg_window_asConst(dst);
    const qip_status status = qip_pelfunc_checkMemoryOverlap(src, &dstView);
    if (status < 0)
        return status;
    return src->firstPixel == dst->firstPixel ? QIP_E_SAME_MEMORY : QIP_OK;
}

// Makes the legacy view of a destination window.
qip_status gauss_makeLegacyDst(const gauss_depth* depth, const qimg_window* window,
                               gauss_resources* resources, frame_cleanup* cleanup)
{
    const qimg_windowConst view = qimg_window_asConst(window);
    const qip_status status = depth->makeLegacy(&view, &resources->dst);
    return status < 0 ? status : gauss_keepLegacy(cleanup, resources->dst);
}

// ---- image forms ----

// Binds an unbound destination to a new image over `region`.
qip_status gauss_bindDst(const gauss_depth* depth, const qsIRegion* region, qimg_image* dst,
                         gauss_resources* resources, frame_cleanup* cleanup)
{
    int id = 0;
    qip_status status =
        qimg_image_constructUntyped(&resources->created, depth->pixelSize, region->width, region->height);
    if (status < 0)
        return status;
    status = frame_cleanupObject<qimg_image_destruct>(cleanup, &resources->created, &id);
    if (status >= 0)
        status = qimg_image_setOrigin(&resources->created, region->x, region->y);
    if (status >= 0)
        status = qimg_image_assign(dst, &resources->created);
    // Released at once, so that only the destination refers to the pixels.
    return status < 0 ? status : frame_cleanupNow(cleanup, id);
}

// Makes the legacy view of the source. A source whose transform is not linear enters with the identity
// whatever the service's view gives it: the rest of the transform is composed afterwards.
qip_status gauss_makeLegacySrc(const qimg_image* src, int* isLinear, gauss_resources* resources,
                               frame_cleanup* cleanup)
{
    qip_status status = generate_qsImage_from_qimg_image8Const(src, &resources->src);
    if (status >= 0)
        status = gauss_keepLegacy(cleanup, resources->src);
    if (status >= 0)
        status = qimg_imageConst_getImageFromClientXform(src, &resources->srcXform);
    if (status >= 0)
        status = qmath_xformPtrhConst_getIsLinear(&resources->srcXform, isLinear);
    if (status >= 0 && !*isLinear) {
        const qsFXform identity = {1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};
        qsImageSetClientCoords(resources->src, &identity);
    }
    return status;
}

// Sets the destination's transform from the client coordinates that the smoothing gave the legacy view.
qip_status gauss_setDstXform(int srcIsLinear, qimg_image* dst, gauss_resources* resources,
                             frame_cleanup* cleanup)
{
    const qsFXform c = qsVImageClientCoords(resources->dst);
    const qmath_xformLinear coords = {static_cast<double>(c.m00), static_cast<double>(c.m01),
                                      static_cast<double>(c.m10), static_cast<double>(c.m11),
                                      static_cast<double>(c.tx),  static_cast<double>(c.ty)};
    if (srcIsLinear)
        return qimg_image_setLinearImageFromClientXform(dst, &coords);
    qip_status status = qmath_xformPtrhConst_constructLinear(&resources->dstFromSrc, &coords);
    if (status >= 0)
        status = frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, &resources->dstFromSrc);
    if (status >= 0)
        status = frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, &resources->dstXform);
    if (status >= 0)
        status = qmath_xformPtrhConst_assignCompose(&resources->dstXform, &resources->dstFromSrc,
                                                    &resources->srcXform);
    return status < 0 ? status : qimg_image_setImageFromClientXform(dst, &resources->dstXform);
}

// Checks both images. *region is what the source yields, null when that is nothing.
qip_status gauss_checkImages(const gauss_depth* depth, const qimg_image* src, qimg_image* dst,
                             const qsGaussParams* legacy, int* dstIsBound, qsIRegion* region)
{
    int srcIsBound = 0;
    qimg_windowConst srcWindow;
    qimg_window dstWindow;
    qstd_rect32 srcRect;
    qip_status status = qimg_imageConst_getIsBound(src, &srcIsBound);
    if (status < 0 || !srcIsBound)
        return status < 0 ? status : QIP_E_NULL_IMAGE;
    status = qimg_window8Const_init(&srcWindow, src);
    if (status >= 0)
        status = depth->initWindow(&dstWindow, dst);
    if (status >= 0 && depth->checksMemory)
        status = gauss_checkMemory(&srcWindow, &dstWindow);
    if (status >= 0)
        status = qimg_image_getIsBound(dst, dstIsBound);
    if (status >= 0)
        status = qimg_imageConst_getWindow(src, &srcRect);
    if (status < 0)
        return status;
    return gauss_regionOf(gauss_computeDstRegion(gauss_areaOf(&srcRect), legacy), region);
}

qip_status gauss_runImage(const gauss_depth* depth, const qimg_image* src, qimg_image* dst,
                          const qsGaussParams* legacy, qsIRegion* region, gauss_resources* resources,
                          frame_cleanup* cleanup)
{
    int isLinear = 0;
    qimg_window dstWindow;
    qsVImage* written = nullptr;
    qip_status status = gauss_makeLegacySrc(src, &isLinear, resources, cleanup);
    if (status >= 0)
        status = depth->initWindow(&dstWindow, dst);
    if (status >= 0)
        status = gauss_makeLegacyDst(depth, &dstWindow, resources, cleanup);
    if (status >= 0)
        status = qip_gauss(resources->src, resources->dst, legacy, region, &written);
    if (status < 0)
        return status;
    const qip_status xformStatus = gauss_setDstXform(isLinear, dst, resources, cleanup);
    return xformStatus < 0 ? xformStatus : status;
}

qip_status gauss_smoothImage(const gauss_depth* depth, const qimg_image* src, qimg_image* dst,
                             const qip_gaussParams* params, gauss_resources* resources,
                             frame_cleanup* cleanup)
{
    int dstIsBound = 0;
    qsIRegion region;
    qip_status status = qmath_xformPtrhConst_construct(&resources->srcXform);
    if (status >= 0)
        status = frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, &resources->srcXform);
    if (status >= 0)
        status = qip_gaussParams_validate(params);
    if (status < 0)
        return status;
    const qsGaussParams legacy = gauss_legacyParamsFor(depth, params);
    status = gauss_checkImages(depth, src, dst, &legacy, &dstIsBound, &region);
    if (status < 0 || qsIRegionIsNull(&region))
        return status;
    if (!dstIsBound)
        status = gauss_bindDst(depth, &region, dst, resources, cleanup);
    return status < 0 ? status : gauss_runImage(depth, src, dst, &legacy, &region, resources, cleanup);
}

qip_status gauss_smoothImageCall(const gauss_depth* depth, const qimg_image* src, qimg_image* dst,
                                 const qip_gaussParams* params)
{
    if (!src || !dst || !params)
        return QSYS_E_ARGUMENT;
    gauss_resources resources = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, gauss_smoothImage(depth, src, dst, params, &resources, &cleanup));
}

// ---- window forms ----

bool gauss_windowsAreNull(const qimg_windowConst* src, const qimg_window* dst)
{
    return !src->bound || !dst->bound || src->width <= 0 || src->height <= 0 || dst->width <= 0 ||
           dst->height <= 0;
}

// Checks both windows. *region is what the source yields, null when that is nothing.
qip_status gauss_checkWindows(const gauss_depth* depth, const qimg_windowConst* src, const qimg_window* dst,
                              const qsGaussParams* legacy, qsIRegion* region)
{
    if (gauss_windowsAreNull(src, dst))
        return QIP_E_NULL_IMAGE;
    if (src->pixelSize != 1 || dst->pixelSize != depth->pixelSize)
        return QIMG_E_PIXEL_SIZE;
    qip_status status = depth->checksMemory ? gauss_checkMemory(src, dst) : QIP_OK;
    if (status < 0)
        return status;
    qstd_rect32 srcRect;
    status = qimg_windowConst_getWindow(src, &srcRect);
    if (status < 0)
        return status;
    return gauss_regionOf(gauss_computeDstRegion(gauss_areaOf(&srcRect), legacy), region);
}

qip_status gauss_smoothWindow(const gauss_depth* depth, const qimg_windowConst* src, const qimg_window* dst,
                              const qip_gaussParams* params, gauss_resources* resources,
                              frame_cleanup* cleanup)
{
    qip_status status = qip_gaussParams_validate(params);
    if (status < 0)
        return status;
    const qsGaussParams legacy = gauss_legacyParamsFor(depth, params);
    qsIRegion region;
    status = gauss_checkWindows(depth, src, dst, &legacy, &region);
    if (status < 0 || qsIRegionIsNull(&region))
        return status;
    status = generate_qsImage_from_qimg_windowConst(src, &resources->src);
    if (status >= 0)
        status = gauss_keepLegacy(cleanup, resources->src);
    if (status >= 0)
        status = gauss_makeLegacyDst(depth, dst, resources, cleanup);
    if (status >= 0 && depth->pollsFirst)
        status = qsys_attention_check();
    if (status < 0)
        return status;
    qsVImage* written = nullptr;
    return qip_gauss(resources->src, resources->dst, &legacy, &region, &written);
}

qip_status gauss_smoothWindowCall(const gauss_depth* depth, const qimg_windowConst* src,
                                  const qimg_window* dst, const qip_gaussParams* params)
{
    if (!src || !dst || !params)
        return QSYS_E_ARGUMENT;
    gauss_resources resources = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, gauss_smoothWindow(depth, src, dst, params, &resources, &cleanup));
}

} // namespace

qip_status qip_gauss_smooth8_8(const qimg_image8* src, qimg_image8* dst, const qip_gaussParams* params)
{
    return gauss_smoothImageCall(&gauss_to8, src, dst, params);
}

qip_status qip_gauss_smooth8_16(const qimg_image8* src, qimg_image16* dst, const qip_gaussParams* params)
{
    return gauss_smoothImageCall(&gauss_to16, src, dst, params);
}

qip_status qip_gauss_smoothWindow8_8(const qimg_window8Const* src, const qimg_window8* dst,
                                     const qip_gaussParams* params)
{
    return gauss_smoothWindowCall(&gauss_to8, src, dst, params);
}

qip_status qip_gauss_smoothWindow8_16(const qimg_window8Const* src, const qimg_window16* dst,
                                      const qip_gaussParams* params)
{
    return gauss_smoothWindowCall(&gauss_to16, src, dst, params);
}
