// The six entry points of masked smoothing: by window, and by image, which come down to windows.
#include "frame/cleanup.h"
#include "gauss/geometry.h"
#include "masked/request.h"

namespace
{

constexpr masked_form from8To8 = {1,
                                  1,
                                  qip_gaussParamsGetMaxSigma,
                                  qip_gauss_smoothWindow8_8,
                                  "gauss_smoothMaskedWindow8_8",
                                  "gauss_setMaskResetMaskedWindow8",
                                  nullptr};
constexpr masked_form from8To16 = {1,
                                   2,
                                   qip_gaussParamsGetMaxSigma,
                                   qip_gauss_smoothWindow8_16,
                                   "gauss_smoothMaskedWindow8_16",
                                   "gauss_setMaskResetMaskedWindow8",
                                   nullptr};
constexpr masked_form from16To16 = {2,
                                    2,
                                    qip_gaussParamsGetMaxSigma16,
                                    nullptr,
                                    "gauss_smoothMaskedWindow16_16",
                                    "gauss_setMaskResetMaskedWindow16",
                                    "gauss_smoothWindow_noSrcMask16_16"};

// ---- window forms ----

// Of windows that have been checked.
qip_status run(const masked_form* form, const masked_windows* windows, const qip_gaussParams* params)
{
    masked_request request;
    const qip_status status = masked_makeRequest(form, windows, params, &request);
    if (status < 0 || request.isEmpty)
        return status;
    return windows->srcMask ? masked_runRequest(&request, params)
                            : masked_smoothWithoutMask(form, windows, params, &request);
}

qip_status smoothWindows(const masked_form* form, masked_windows windows, const qip_gaussParams* params)
{
    if (!windows.src || !windows.dst || !params)
        return QSYS_E_ARGUMENT;
    qip_status status = masked_checkParams(form, params);
    if (status >= 0)
        status = masked_checkWindows(form, &windows);
    return status < 0 ? status : run(form, &windows, params);
}

// ---- image forms ----

struct images {
    const qimg_image* src;
    const qimg_image* srcMask;
    const qimg_image* resetMask;
    qimg_image* dst;
    qimg_image* dstMask;
};

// The windows over the images of a call.
struct imageWindows {
    qimg_windowConst src;
    qimg_windowConst srcMask;
    qimg_windowConst resetMask;
    qimg_window dst;
    qimg_window dstMask;
};

qip_status takeSource(const masked_form* form, const images& call, qimg_windowConst* src)
{
    int isBound = 0;
    const qip_status status = qimg_imageConst_getIsBound(call.src, &isBound);
    if (status < 0 || !isBound)
        return status < 0 ? status : QIP_E_NULL_IMAGE;
    return form->srcSize == 1 ? qimg_window8Const_init(src, call.src)
                              : qimg_window16Const_init(src, call.src);
}

// The window of a mask that may be absent; one that is not has the rectangle of its image.
qip_status takeMask(const qimg_image* image, const qimg_image* mask, qimg_windowConst* window)
{
    *window = {};
    if (!mask)
        return QIP_OK;
    int matches = 0;
    int isBound = 0;
    const qip_status status = gauss_checkImageWindowMatch(image, mask, &matches, &isBound);
    if (status < 0 || !matches)
        return status < 0 ? status : QIP_E_MASK_MISMATCH;
    return qimg_window8Const_init(window, mask);
}

// Whether both are bound, to the same rectangle, or neither is.
qip_status checkDestination(const images& call, int* isBound)
{
    int maskIsBound = 0;
    int matches = 1;
    qip_status status = qimg_image_getIsBound(call.dst, isBound);
    if (status < 0 || !call.dstMask)
        return status;
    status = qimg_image_getIsBound(call.dstMask, &maskIsBound);
    if (status >= 0 && *isBound)
        status = gauss_checkImageWindowMatch(call.dst, call.dstMask, &matches, &maskIsBound);
    if (status < 0)
        return status;
    if (!matches || *isBound != maskIsBound)
        return QIP_E_MASK_MISMATCH;
    // One image that is yet to be bound cannot become both.
    return !*isBound && call.dst == call.dstMask ? QIP_E_SAME_MEMORY : QIP_OK;
}

// Binds destination and mask to what the source yields: both, or when memory runs out neither.
qip_status bindDestination(const masked_form* form, const images& call, const qip_gaussParams* params,
                           const qimg_windowConst& src, qimg_image* newMask)
{
    qstd_rect32 srcRect;
    qstd_rect32 rect;
    qip_status status = qimg_windowConst_getWindow(&src, &srcRect);
    if (status >= 0)
        status = gauss_computeDstRect(&srcRect, params, &rect);
    if (status >= 0 && call.dstMask)
        status = qimg_image8_assignNewRect(newMask, &rect);
    if (status >= 0)
        status = qimg_image_assignNewRect(call.dst, form->dstSize, &rect);
    return status < 0 || !call.dstMask ? status : qimg_image_assign(call.dstMask, newMask);
}

qip_status prepareDestination(const masked_form* form, const images& call, const qip_gaussParams* params,
                              const qimg_windowConst& src)
{
    int isBound = 0;
    const qip_status status = checkDestination(call, &isBound);
    if (status < 0 || isBound)
        return status;
    qimg_image newMask = QIMG_IMAGE_UNBOUND;
    frame_cleanup cleanup = {};
    qip_status bound = frame_cleanupObject<qimg_image_destruct>(&cleanup, &newMask);
    if (bound >= 0)
        bound = bindDestination(form, call, params, src, &newMask);
    return frame_cleanupEnd(&cleanup, bound);
}

qip_status takeDestination(const masked_form* form, const images& call, imageWindows* taken)
{
    qip_status status = form->dstSize == 1 ? qimg_window8_init(&taken->dst, call.dst)
                                           : qimg_window16_init(&taken->dst, call.dst);
    taken->dstMask = {};
    return status < 0 || !call.dstMask ? status : qimg_window8_init(&taken->dstMask, call.dstMask);
}

qip_status smoothImages(const masked_form* form, const images& call, const qip_gaussParams* params)
{
    if (!call.src || !call.dst || !params)
        return QSYS_E_ARGUMENT;
    imageWindows taken;
    qip_status status = masked_checkParams(form, params);
    if (status >= 0)
        status = takeSource(form, call, &taken.src);
    if (status >= 0)
        status = takeMask(call.src, call.srcMask, &taken.srcMask);
    if (status >= 0)
        status = takeMask(call.src, call.resetMask, &taken.resetMask);
    if (status >= 0)
        status = prepareDestination(form, call, params, taken.src);
    if (status >= 0)
        status = takeDestination(form, call, &taken);
    masked_windows windows = {&taken.src, &taken.srcMask, &taken.resetMask, &taken.dst, &taken.dstMask};
    masked_request request;
    if (status >= 0)
        status = masked_makeRequest(form, &windows, params, &request);
    if (status < 0 || request.isEmpty)
        return status;
    status = smoothWindows(form, windows, params);
    return status < 0 ? status : gauss_udpateDstXform(call.src, params, call.dst, call.dstMask);
}

} // namespace

qip_status qip_gauss_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                     const qimg_image8* resetMask, const qip_gaussParams* params,
                                     qimg_image8* dst, qimg_image8* dstMask)
{
    return smoothImages(&from8To8, {src, srcMask, resetMask, dst, dstMask}, params);
}

qip_status qip_gauss_smoothMasked8_16(const qimg_image8* src, const qimg_image8* srcMask,
                                      const qimg_image8* resetMask, const qip_gaussParams* params,
                                      qimg_image16* dst, qimg_image8* dstMask)
{
    return smoothImages(&from8To16, {src, srcMask, resetMask, dst, dstMask}, params);
}

qip_status qip_gauss_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                       const qimg_image8* resetMask, const qip_gaussParams* params,
                                       qimg_image16* dst, qimg_image8* dstMask)
{
    return smoothImages(&from16To16, {src, srcMask, resetMask, dst, dstMask}, params);
}

qip_status qip_gauss_smoothMaskedWindow8_8(const qimg_window8Const* src, const qimg_window8Const* srcMask,
                                           const qimg_window8Const* resetMask,
                                           const qip_gaussParams* params, const qimg_window8* dst,
                                           const qimg_window8* dstMask)
{
    return smoothWindows(&from8To8, {src, srcMask, resetMask, dst, dstMask}, params);
}

qip_status qip_gauss_smoothMaskedWindow8_16(const qimg_window8Const* src, const qimg_window8Const* srcMask,
                                            const qimg_window8Const* resetMask,
                                            const qip_gaussParams* params, const qimg_window16* dst,
                                            const qimg_window8* dstMask)
{
    return smoothWindows(&from8To16, {src, srcMask, resetMask, dst, dstMask}, params);
}

qip_status qip_gauss_smoothMaskedWindow16_16(const qimg_window16Const* src,
                                             const qimg_window8Const* srcMask,
                                             const qimg_window8Const* resetMask,
                                             const qip_gaussParams* params, const qimg_window16* dst,
                                             const qimg_window8* dstMask)
{
    return smoothWindows(&from16To16, {src, srcMask, resetMask, dst, dstMask}, params);
}
