#include "masked/request.h"

#include "frame/window_check.h"
#include "gauss/geometry.h"
#include "masked/valid_count.h"

#include <qbase/pixels.h>

namespace
{

bool isNull(const qimg_windowConst* window)
{
    int answer = 1;
    return !window || qimg_windowConst_getIsNull(window, &answer) < 0 || answer != 0;
}

// A mask that is there has to cover the rectangle of its image.
qip_status checkMask(const qimg_windowConst* image, const qimg_windowConst* mask)
{
    if (!mask)
        return QIP_OK;
    int matches = 0;
    int isPresent = 0;
    const qip_status status = gauss_checkWindowMatch(image, mask, &matches, &isPresent);
    if (status < 0 || !matches)
        return status < 0 ? status : QIP_E_MASK_MISMATCH;
    return frame_checkWindow(*mask, 1);
}

qip_status checkApart(const qimg_windowConst* a, const qimg_windowConst* b)
{
    if (!a || !b)
        return QIP_OK;
    const qip_status status = qip_pelfunc_checkMemoryOverlap(a, b);
    return status >= 0 && a->firstPixel == b->firstPixel ? QIP_E_SAME_MEMORY : status;
}

// The part of a window that begins at (x, y) of its image.
masked_plane planeAt(const qimg_windowConst* window, int64_t x, int64_t y)
{
    if (!window || !window->firstPixel)
        return {};
    // The planes of sources and masks are only read.
    auto* const first = static_cast<unsigned char*>(const_cast<void*>(window->firstPixel));
    return {first + (y - window->y) * window->stride + (x - window->x) * window->pixelSize, window->stride};
}

masked_plan makePlan(const masked_form* form, const masked_windows* windows, const qip_gaussParams* params,
                     const masked_request* request, const qstd_rect32* needed)
{
    const qstd_rect32& source = request->srcInside;
    const qstd_rect32& written = request->dstEffective;
    const qimg_windowConst dst = qimg_window_asConst(windows->dst);
    const qimg_windowConst dstMask = qimg_window_asConst(windows->dstMask);
    const bool sourceMaskResets = params->maskParams.mode == 0;
    masked_plan plan = {};
    plan.srcIsWide = form->srcSize == 2;
    plan.dstIsWide = form->dstSize == 2;
    plan.src = planeAt(windows->src, source.x, source.y);
    plan.srcMask = planeAt(windows->srcMask, source.x, source.y);
    plan.leastValid = params->maskParams.resultMode == 1 ? masked_countThreshold(params) : 0;
    // Where the centre decides, the source mask has been asked already.
    if (windows->resetMask)
        plan.reset = planeAt(windows->resetMask, source.x, source.y);
    else if (sourceMaskResets && plan.leastValid > 0)
        plan.reset = plan.srcMask;
    plan.width = source.width;
    plan.height = source.height;
    plan.dst = planeAt(&dst, written.x, written.y);
    plan.dstMask = planeAt(windows->dstMask ? &dstMask : nullptr, written.x, written.y);
    plan.columns = written.width;
    plan.rows = written.height;
    plan.firstColumn = int64_t{needed->x} - source.x;
    plan.firstRow = int64_t{needed->y} - source.y;
    plan.stepX = params->sampleX;
    plan.stepY = params->sampleY;
    plan.boxX = int64_t{params->kernelSizeX} + 1;
    plan.boxY = int64_t{params->kernelSizeY} + 1;
    plan.gain = params->gain;
    plan.round = params->round != 0;
    return plan;
}

} // namespace

qip_status masked_checkParams(const masked_form* form, const qip_gaussParams* params)
{
    int32_t most = 0;
    qip_status status = qip_gaussParams_validate(params);
    if (status >= 0)
        status = form->getMostKernel(&most);
    if (status < 0)
        return status;
    return params->kernelSizeX > most || params->kernelSizeY > most ? QIP_E_KERNEL_SIZE : QIP_OK;
}

qip_status masked_checkWindows(const masked_form* form, masked_windows* windows)
{
    const qimg_windowConst dst = qimg_window_asConst(windows->dst);
    const qimg_windowConst dstMask = qimg_window_asConst(windows->dstMask);
    if (isNull(windows->src) || isNull(&dst))
        return QIP_E_NULL_IMAGE;
    if (isNull(windows->srcMask))
        windows->srcMask = nullptr;
    if (isNull(windows->resetMask))
        windows->resetMask = nullptr;
    if (isNull(&dstMask))
        windows->dstMask = nullptr;
    const qimg_windowConst* const writtenMask = windows->dstMask ? &dstMask : nullptr;

    qip_status status = frame_checkWindow(*windows->src, form->srcSize);
    if (status >= 0)
        status = frame_checkWindow(dst, form->dstSize);
    if (status >= 0)
        status = checkMask(windows->src, windows->srcMask);
    if (status >= 0)
        status = checkMask(windows->src, windows->resetMask);
    if (status >= 0)
        status = checkMask(&dst, writtenMask);

    const qimg_windowConst* const pairs[7][2] = {{windows->src, &dst},
                                                 {windows->srcMask, &dst},
                                                 {windows->resetMask, &dst},
                                                 {writtenMask, &dst},
                                                 {windows->src, writtenMask},
                                                 {windows->srcMask, writtenMask},
                                                 {windows->resetMask, writtenMask}};
    for (const auto& pair : pairs)
        if (status >= 0)
            status = checkApart(pair[0], pair[1]);
    return status < 0 ? status : QIP_OK;
}

qip_status masked_makeRequest(const masked_form* form, const masked_windows* windows,
                              const qip_gaussParams* params, masked_request* request)
{
    *request = {};
    qstd_rect32 src;
    qstd_rect32 dst;
    qstd_rect32 marginClipped;
    qstd_rect32 needed;
    qip_status status = qimg_windowConst_getWindow(windows->src, &src);
    if (status >= 0)
        status = qimg_window_getWindow(windows->dst, &dst);
    if (status >= 0)
        status = gauss_setup(&src, &dst, params, &request->srcInside, &request->dstEffective,
                             &marginClipped, &request->margin, &needed);
    if (status < 0)
        return status;
    request->isEmpty = gauss_areaIsNull(gauss_areaOf(&request->srcInside)) ||
                       gauss_areaIsNull(gauss_areaOf(&request->dstEffective));
    if (request->isEmpty)
        return QIP_OK;
    request->work = {makePlan(form, windows, params, request, &needed), form->name,
                     request->srcInside.height, form->prepareName};
    return QIP_OK;
}
