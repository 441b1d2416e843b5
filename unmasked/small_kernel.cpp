#include "unmasked/small_kernel.h"

#include "frame/cleanup.h"
#include "gauss/running_sums.h"
#include "unmasked/arithmetic.h"
#include "unmasked/kernels/look_up.h"
#include "unmasked/kernels/small_kernel.h"
#include "unmasked/plain.h"

#include <qbase/attention.h>

#include <algorithm>

namespace
{

struct smallCall {
    const unmasked_plan* plan;
    void (*kernel)(const unmasked_smallSweep* sweep); // null where the plain code serves
    unmasked_smallSweep sweep;
    bool scales;
    unmasked_pixelTable scaled; // each quotient with the gain, where there is one
};

// Whether the rows and columns that the kernels reach are those that the vector code knows: one reflection
// away at most, and columns not far away.
bool isServed(const unmasked_plan& plan)
{
    constexpr int64_t outside = unmasked_smallMostOutside;
    const int64_t endColumn = plan.firstColumn + plan.stepX * (plan.columns - 1) + 4;
    const int64_t endRow = plan.firstRow + plan.stepY * (plan.rows - 1) + 4;
    return plan.srcWidth >= outside && plan.firstColumn >= -outside &&
           endColumn <= plan.srcWidth + outside && plan.firstRow >= -plan.srcHeight &&
           endRow <= 2 * plan.srcHeight;
}

void startCall(const unmasked_plan* plan, smallCall* call)
{
    call->plan = plan;
    call->kernel = nullptr;
    if (!isServed(*plan))
        return;
    call->kernel = unmasked_smallKernels256.run[plan->round][plan->stepY - 1][plan->stepX - 1];
    call->sweep.srcWidth = plan->srcWidth;
    call->sweep.firstColumn = plan->firstColumn;
    call->sweep.columns = plan->columns;
    call->scales = unmasked_hasGain(plan->gain);
    for (uint32_t quotient = 0; call->scales && quotient < 256; ++quotient)
        call->scaled.pixel[quotient] = unmasked_scaledBy64(quotient, plan->gain);
}

// Makes `count` output rows, at most unmasked_smallMostRows, from row j on.
void makeSweep(smallCall* call, int64_t j, int64_t count)
{
    const unmasked_plan& plan = *call->plan;
    unmasked_smallSweep& sweep = call->sweep;
    const int64_t first = plan.firstRow + plan.stepY * j;
    for (int64_t i = 0; i < plan.stepY * (count - 1) + 4; ++i)
        sweep.source[i] = unmasked_srcRow(&plan, gauss_reflect(first + i, plan.srcHeight));
    for (int64_t i = 0; i < count; ++i)
        sweep.out[i] = unmasked_dstRow<uint8_t>(&plan, j + i);
    sweep.rows = static_cast<int>(count);
    call->kernel(&sweep);
    for (int64_t i = 0; call->scales && i < count; ++i)
        unmasked_lookUp256(&call->scaled, sweep.out[i], plan.columns);
}

void makeRows(smallCall* call, int64_t first, int64_t count)
{
    if (!call->kernel)
        return unmasked_plainSmallKernel(call->plan, first, count);
    for (int64_t j = 0; j < count; j += unmasked_smallMostRows)
        makeSweep(call, first + j, std::min<int64_t>(unmasked_smallMostRows, count - j));
}

struct smallBand {
    unmasked_plan plan;
    smallCall* call; // memory
};

qip_status runBand(const smallBand* band)
{
    const unmasked_plan* const plan = &band->plan;
    unmasked_setZScale(plan);
    startCall(plan, band->call);
    qip_status status = QIP_OK;
    constexpr int64_t polled = 1023; // the low bits of the image rows that are polled before
    const int64_t top = plan->dstTop;
    int64_t end = 0;
    for (int64_t y = top; y < top + plan->rows; y = end) {
        if ((y & polled) == polled)
            status = qsys_attention_check();
        if (status < 0)
            return status;
        end = std::min(top + plan->rows, (y + 1) | polled);
        makeRows(band->call, y - top, end - y);
    }
    return status;
}

qip_status runBands(const unmasked_plan* plan, smallCall** calls, frame_split* split,
                    frame_cleanup* cleanup)
{
    qip_status status = frame_planSplit(cleanup, plan->rows, plan->columns, split);
    // Taken on every call, also where the plain code serves: a failure has to be reported on any image.
    if (status >= 0)
        status = frame_cleanupAlloc(cleanup, split->count, calls);
    if (status < 0)
        return status;
    return frame_runSplit<smallBand, runBand>(split, {0, plan->rows}, [=](int64_t i, frame_rowRange rows) {
        return smallBand{unmasked_bandOf(plan, rows), *calls + i};
    });
}

} // namespace

qip_status unmasked_smoothSmallKernel(const unmasked_plan* plan)
{
    smallCall* calls = nullptr;
    frame_split split = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, runBands(plan, &calls, &split, &cleanup));
}
