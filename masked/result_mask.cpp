// The mask of the pixels that can be trusted, on its own: where enough of the kernel's footprint is valid.
#include "frame/poll.h"
#include "gauss/running_sums.h"
#include "masked/valid_count.h"

#include <qip/masked.h>

#include <qbase/pixels.h>

#include <algorithm>

namespace
{

// One call, in memory of the exported function, so that it outlives the clean-up.
struct resultMaskCall {
    qip_gaussParams params;
    qimg_windowConst src;
    qimg_windowConst centre; // unbound when there is none
    gauss_area dst;          // what is written, in coordinates of the destination
    int64_t firstCentreX; // the source pixel under the first output, counted from the source's first pixel
    int64_t firstCentreY;
    masked_validCount count;
    uint8_t* srcCopy; // of masks that share memory with the destination
    uint8_t* centreCopy;
    frame_cleanup cleanup;
};

const uint8_t* rowOf(const qimg_windowConst& window, int64_t y)
{
    return static_cast<const uint8_t*>(window.firstPixel) + y * window.stride;
}

// ---- the request ----

bool writesNothing(const qip_gaussParams& params)
{
    return params.sampleX < 1 || params.sampleY < 1 || params.kernelSizeX < 0 || params.kernelSizeY < 0;
}

// What is written: all that the source yields, or the part of it that lies in a destination that is there.
void planDestination(resultMaskCall* call, const gauss_area* bound)
{
    const gauss_grid grid = gauss_gridOf(&call->params);
    const gauss_area src = {{call->src.x, call->src.width}, {call->src.y, call->src.height}};
    const qsGaussParams legacy = gauss_legacyParams(&call->params, nullptr);
    call->dst = bound ? gauss_clipToSource(grid, *bound, src) : gauss_computeDstRegion(src, &legacy);
    call->firstCentreX = gauss_samplePosition(grid.x, call->dst.x.start) - src.x.start;
    call->firstCentreY = gauss_samplePosition(grid.y, call->dst.y.start) - src.y.start;
}

qip_status takeCount(resultMaskCall* call)
{
    qsys_cpuinfo info;
    const qip_status status = qsys_cpuinfo_init(&info);
    if (status < 0)
        return status;
    const gauss_area kernel = gauss_kernelArea(gauss_gridOf(&call->params));
    masked_countRequest request = {};
    request.width = call->src.width;
    request.firstColumn = call->firstCentreX + kernel.x.start;
    request.stepX = call->params.sampleX;
    request.columns = call->dst.x.length;
    request.reachX = kernel.x.length;
    request.reachY = kernel.y.length;
    request.threshold = masked_countThreshold(&call->params);
    request.byTopBit = true;
    return masked_takeValidCount(&call->cleanup, &request, frame_levelFor<uint8_t>(&info), &call->count);
}

// Replaces a mask by a copy when it shares memory with the destination.
qip_status separate(frame_cleanup* cleanup, const qimg_window8& result, uint8_t** copy,
                    qimg_windowConst* mask)
{
    const qimg_windowConst written = qimg_window_asConst(&result);
    if (mask->firstPixel != result.firstPixel && qip_pelfunc_checkMemoryOverlap(mask, &written) >= 0)
        return QIP_OK;
    const int64_t width = mask->width;
    const qip_status status = frame_cleanupAlloc(cleanup, width * mask->height, copy);
    if (status < 0)
        return status;
    for (int64_t y = 0; y < mask->height; ++y)
        std::copy_n(rowOf(*mask, y), width, *copy + y * width);
    mask->firstPixel = *copy;
    mask->stride = mask->width;
    return QIP_OK;
}

// ---- the rows ----

// Clears the outputs where the centre mask is 0, which it is outside its rectangle.
void applyCentre(const resultMaskCall& call, int64_t row, uint8_t* out)
{
    const int64_t step = call.params.sampleX;
    const int64_t columns = call.dst.x.length;
    const int64_t y = call.firstCentreY + row * call.params.sampleY;
    const int64_t inside = y < call.centre.height && call.firstCentreX < call.centre.width
                               ? std::min((call.centre.width - 1 - call.firstCentreX) / step + 1, columns)
                               : 0;
    if (inside > 0) {
        const uint8_t* const centre = rowOf(call.centre, y) + call.firstCentreX;
        for (int64_t i = 0; step == 1 && i < inside; ++i) // the compiler makes lanes of this
            out[i] = static_cast<uint8_t>(out[i] & (centre[i] != 0 ? 255 : 0));
        for (int64_t i = 0; step > 1 && i < inside; ++i)
            out[i] = static_cast<uint8_t>(out[i] & (centre[i * step] != 0 ? 255 : 0));
    }
    std::fill_n(out + inside, columns - inside, uint8_t{0});
}

// Rows are counted from the source's first one. They go up to one reflection beyond the source, so that the
// work grows with the source and not with the kernel.
qip_status writeRows(resultMaskCall* call, const qimg_window8& result)
{
    masked_validCount* const count = &call->count;
    const int64_t height = call->src.height;
    const int64_t reach = count->request.reachY;
    const int64_t firstRow = call->firstCentreY + gauss_kernelSpan(gauss_gridOf(&call->params).y).start;
    const auto sourceRow = [&](int64_t y) {
        return rowOf(call->src, gauss_reflect(y, height));
    };

    // The rows begin .. end - 1 are under the footprint.
    int64_t begin = -height;
    int64_t end = -height;
    int64_t changes = 0;
    for (int64_t row = 0; row < call->dst.y.length; ++row) {
        const int64_t first = firstRow + row * call->params.sampleY;
        const int64_t nextBegin = std::clamp(first, -height, 2 * height);
        const int64_t nextEnd = std::clamp(first + reach, -height, 2 * height);
        if (nextBegin > end) {
            masked_clearCounts(count);
            begin = end = nextBegin;
        }
        while (begin < nextBegin || end < nextEnd) {
            const qip_status status = frame_pollAtRow(changes++);
            if (status < 0)
                return status;
            const uint8_t* const entering = end < nextEnd ? sourceRow(end++) : count->noRow;
            const uint8_t* const leaving = begin < nextBegin ? sourceRow(begin++) : count->noRow;
            masked_changeCounts(count, entering, leaving);
        }
        uint8_t* const out = static_cast<uint8_t*>(result.firstPixel) + row * result.stride;
        masked_testCounts(count, out);
        if (call->centre.bound)
            applyCentre(*call, row, out);
    }
    return QIP_OK;
}

// ---- the call ----

// Takes what a request with outputs needs. Nothing of the caller's has changed when this fails.
qip_status prepare(resultMaskCall* call, const qimg_window8& result)
{
    qip_status status = takeCount(call);
    if (status >= 0)
        status = separate(&call->cleanup, result, &call->srcCopy, &call->src);
    if (status >= 0)
        status = separate(&call->cleanup, result, &call->centreCopy, &call->centre);
    return status;
}

// The windows of what is bound.
qip_status openWindows(resultMaskCall* call, const qimg_image8* srcMask, const qimg_image8* centreMask,
                       qimg_image8* resultMask, qimg_window8* result)
{
    qip_status status = qimg_window8Const_init(&call->src, srcMask);
    if (status >= 0 && !call->src.bound)
        return QIP_E_NULL_IMAGE;
    if (status >= 0 && centreMask)
        status = qimg_window8Const_init(&call->centre, centreMask);
    return status < 0 ? status : qimg_window8_init(result, resultMask);
}

qip_status computeResultMask(resultMaskCall* call, const qimg_image8* srcMask,
                             const qimg_image8* centreMask, qimg_image8* resultMask)
{
    qimg_window8 result;
    qip_status status = openWindows(call, srcMask, centreMask, resultMask, &result);
    if (status < 0 || writesNothing(call->params))
        return status;

    const gauss_area bound = {{result.x, result.width}, {result.y, result.height}};
    planDestination(call, result.bound ? &bound : nullptr);
    const bool isEmpty = gauss_areaIsNull(call->dst);
    qstd_rect32 rect;
    status = gauss_rectOf(call->dst, &rect);
    if (status >= 0 && result.bound && !isEmpty)
        status = qimg_window_windowRect(&result, &rect, 0);
    if (status >= 0 && !isEmpty)
        status = prepare(call, result);
    if (status >= 0 && !result.bound) {
        status = qimg_image8_assignNewRect(resultMask, &rect);
        if (status >= 0)
            status = qimg_window8_init(&result, resultMask);
    }
    return status < 0 || isEmpty ? status : writeRows(call, result);
}

} // namespace

qip_status qip_filterMask_computeResultMask_(const qimg_image8* srcMask, const qimg_image8* centreMask,
                                             const int32_t* kernelSize, const int32_t* sample,
                                             double threshold, qimg_image8* resultMask)
{
    if (!srcMask || !kernelSize || !sample || !resultMask)
        return QSYS_E_ARGUMENT;
    resultMaskCall call = {};
    qip_status status = qip_gaussParams_init(&call.params);
    call.params.kernelSizeX = kernelSize[0];
    call.params.kernelSizeY = kernelSize[1];
    call.params.sampleX = sample[0];
    call.params.sampleY = sample[1];
    call.params.maskParams.threshold = threshold;
    if (status >= 0)
        status = computeResultMask(&call, srcMask, centreMask, resultMask);
    return frame_cleanupEnd(&call.cleanup, status);
}
