// The drivers of the fast unmasked filters: rows, borders above and below, polls and memory, in one source for
// both depths and all processor levels. The pixels are made in gauss2/kernels_body.h.
#include "gauss2/fast.h"

#include "frame/cleanup.h"
#include "gauss2/kernels.h"

#include <qbase/attention.h>

#include <algorithm>

namespace
{

constexpr int64_t rowsPerPoll = 64;

// One filter as the rows see it. Output k takes the source rows from step * k + first on; a sweep of n
// outputs takes step * n + more of them.
template <class Pixel>
struct rowPlan {
    void (*kernel)(const gauss2_sweep<Pixel>* sweep);
    int32_t sweepRows;
    int32_t step;
    int32_t first;
    int32_t more;
    int64_t polledRows; // the rows that the polls count
    int64_t outRows;
    int64_t outWidth;
};

// One call: the planes, the kernels and the working memory.
template <class Pixel>
struct fastCall {
    gauss2_planes<Pixel> planes;
    gauss2_kernels<Pixel> kernels;
    frame_cleanup cleanup;
    unsigned char* columns; // what the kernels carry from sweep to sweep
    unsigned char* early;   // the output's first rows, made while the destination must not be written
    int64_t earlyRows;
    int64_t earlyStride;
    // The rows of one sweep of an image that is too narrow for the kernels.
    Pixel wideSource[gauss2_sweepSourceRows][gauss2_mostLeastWidth];
    Pixel wideOut[gauss2_sweepRows][gauss2_mostLeastWidth];
};

// ---- resources ----

qsys_status takeBytes(frame_cleanup* cleanup, int64_t count, unsigned char** block)
{
    void** const address = reinterpret_cast<void**>(block);
    const qsys_status status = qsys_memory_alloc_internal(count, address);
    if (status < 0)
        return status;
    return qsys_cleanup_register_(cleanup->entries, frame_cleanupCapacity, &cleanup->count,
                                  &cleanup->status, QSYS_CLEANUP_MEMORY, address, frame_freeBlock, nullptr);
}

template <class Pixel>
qsys_status chooseKernels(gauss2_kernels<Pixel>* kernels)
{
    qsys_cpuinfo info = {};
    const qsys_status status = qsys_cpuinfo_init(&info);
    if (status >= 0)
        gauss2_kernelsFill(kernels, &info);
    return status;
}

template <class Pixel>
bool isNarrow(const fastCall<Pixel>& call)
{
    return call.planes.width < call.kernels.leastWidth;
}

// ---- rows ----

// A source row; rows outside are the nearest one.
template <class Pixel>
const Pixel* sourceRow(const gauss2_planes<Pixel>& planes, int64_t y)
{
    return gauss2_row(planes.src, planes.srcStride, std::clamp<int64_t>(y, 0, planes.height - 1));
}

// The same, made as wide as the kernels need by repeating the last pixel as the border does.
template <class Pixel>
const Pixel* widenedRow(fastCall<Pixel>* call, int64_t y, int slot)
{
    const Pixel* const row = sourceRow(call->planes, y);
    if (!isNarrow(*call))
        return row;
    Pixel* const wide = call->wideSource[slot];
    std::fill(std::copy_n(row, call->planes.width, wide), wide + gauss2_mostLeastWidth,
              row[call->planes.width - 1]);
    return wide;
}

template <class Pixel>
Pixel* outRow(const fastCall<Pixel>& call, int64_t k)
{
    if (k < call.earlyRows)
        return gauss2_row(reinterpret_cast<Pixel*>(call.early), call.earlyStride, k);
    return gauss2_row(call.planes.dst, call.planes.dstStride, k);
}

template <class Pixel>
void makeSweep(fastCall<Pixel>* call, const rowPlan<Pixel>& plan, int64_t k, int32_t count)
{
    const bool narrow = isNarrow(*call);
    gauss2_sweep<Pixel> sweep;
    sweep.width = std::max<int64_t>(call->planes.width, call->kernels.leastWidth);
    sweep.count = count;
    sweep.columns = call->columns;
    for (int32_t i = 0; i < plan.step * count + plan.more; ++i)
        sweep.source[i] = widenedRow(call, plan.step * k + plan.first + i, i);
    for (int32_t i = 0; i < count; ++i)
        sweep.out[i] = narrow ? call->wideOut[i] : outRow(*call, k + i);
    plan.kernel(&sweep);
    for (int32_t i = 0; narrow && i < count; ++i)
        std::copy_n(call->wideOut[i], plan.outWidth, outRow(*call, k + i));
}

template <class Pixel>
qip_status makeRows(fastCall<Pixel>* call, const rowPlan<Pixel>& plan)
{
    for (int64_t polled = 0; polled < plan.polledRows; polled += rowsPerPoll) {
        const qsys_status status = qsys_attention_check();
        if (status < 0)
            return status;
        const int64_t end = std::min((polled + rowsPerPoll) / plan.step, plan.outRows);
        for (int64_t k = polled / plan.step; k < end; k += plan.sweepRows)
            makeSweep(call, plan, k, static_cast<int32_t>(std::min<int64_t>(plan.sweepRows, end - k)));
    }
    return QIP_OK;
}

// The same for a filter whose polls all come before the first pixel of the destination: the rows between the
// first poll and the last one are made in memory of our own.
template <class Pixel>
qip_status makeRowsAfterPolls(fastCall<Pixel>* call, const rowPlan<Pixel>& plan)
{
    constexpr int64_t pixelBytes = sizeof(Pixel);
    const int64_t lastPoll = (plan.polledRows - 1) / rowsPerPoll * rowsPerPoll;
    call->earlyRows = std::max<int64_t>(lastPoll / plan.step, 0);
    call->earlyStride = (plan.outWidth * pixelBytes + 63) / 64 * 64;
    if (call->earlyRows > 0) {
        const qsys_status status =
            takeBytes(&call->cleanup, call->earlyRows * call->earlyStride, &call->early);
        if (status < 0)
            return status;
    }
    const qip_status status = makeRows(call, plan);
    if (status < 0 || call->earlyRows == 0)
        return status;
    return qsys_memory_copyRect(plan.outWidth * pixelBytes, call->earlyRows, call->earlyStride,
                                call->planes.dstStride, call->early, call->planes.dst);
}

// ---- the filters ----

template <class Pixel>
qip_status half(fastCall<Pixel>* call)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    qsys_status status =
        takeBytes(&call->cleanup, gauss2_columnsBytes<Pixel>(planes.width), &call->columns);
    if (status < 0)
        return status;
    status = chooseKernels(&call->kernels);
    if (status < 0)
        return status;
    if (planes.height < 2)
        return QIP_OK;
    const int64_t width = std::max<int64_t>(planes.width, call->kernels.leastWidth);
    call->kernels.halfStart(widenedRow(call, 0, 0), width, call->columns);
    return makeRows(call, {call->kernels.half, gauss2_sweepRows, 2, 1, 0, planes.height - 1,
                           planes.height / 2, planes.width / 2});
}

template <class Pixel>
qip_status binomial(fastCall<Pixel>* call)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    qsys_status status =
        takeBytes(&call->cleanup, gauss2_columnsBytes<Pixel>(planes.width), &call->columns);
    if (status < 0)
        return status;
    status = chooseKernels(&call->kernels);
    if (status < 0)
        return status;
    if (planes.height < 1)
        return QIP_OK;
    const int64_t width = std::max<int64_t>(planes.width, call->kernels.leastWidth);
    call->kernels.binomialStart(widenedRow(call, 0, 0), widenedRow(call, 1, 1), width, call->columns);
    return makeRows(call, {call->kernels.binomial, gauss2_sweepRows, 1, 2, 0, planes.height, planes.height,
                           planes.width});
}

template <class Pixel>
qip_status rows(fastCall<Pixel>* call)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    const qsys_status status = chooseKernels(&call->kernels);
    if (status < 0)
        return status;
    return makeRows(
        call, {call->kernels.row, gauss2_sweepRows, 1, 0, 0, planes.height, planes.height, planes.width});
}

template <class Pixel>
qip_status columns(fastCall<Pixel>* call)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    const qsys_status status = chooseKernels(&call->kernels);
    if (status < 0)
        return status;
    return makeRows(call, {call->kernels.column, 4, 1, -2, 4, planes.height, planes.height, planes.width});
}

template <class Pixel>
qip_status halfRows(fastCall<Pixel>* call)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    const qsys_status status = chooseKernels(&call->kernels);
    if (status < 0)
        return status;
    return makeRowsAfterPolls(call, {call->kernels.halfRow, gauss2_sweepRows, 1, 0, 0, planes.height,
                                     planes.height, planes.width / 2});
}

template <class Pixel>
qip_status halfColumns(fastCall<Pixel>* call)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    const qsys_status status = chooseKernels(&call->kernels);
    if (status < 0)
        return status;
    return makeRowsAfterPolls(
        call, {call->kernels.halfColumn, 2, 2, -2, 3, planes.height, planes.height / 2, planes.width});
}

// Below three columns the borders meet, and the plain filter runs.
template <class Pixel>
qip_status run(const gauss2_planes<Pixel>& planes, qip_status (*filter)(fastCall<Pixel>*))
{
    if (planes.width < 3)
        return QIP_E_FALLBACK;
    fastCall<Pixel> call;
    call.planes = planes;
    call.cleanup = {};
    call.columns = nullptr;
    call.early = nullptr;
    call.earlyRows = 0;
    return frame_cleanupEnd(&call.cleanup, filter(&call));
}

} // namespace

template <class Pixel>
qip_status gauss2_fastHalf(const gauss2_planes<Pixel>& planes)
{
    return run(planes, half<Pixel>);
}

template <class Pixel>
qip_status gauss2_fast5x5(const gauss2_planes<Pixel>& planes)
{
    return run(planes, binomial<Pixel>);
}

template <class Pixel>
qip_status gauss2_fast5x1(const gauss2_planes<Pixel>& planes)
{
    return run(planes, rows<Pixel>);
}

template <class Pixel>
qip_status gauss2_fast1x5(const gauss2_planes<Pixel>& planes)
{
    return run(planes, columns<Pixel>);
}

template <class Pixel>
qip_status gauss2_fastHalfX(const gauss2_planes<Pixel>& planes)
{
    return run(planes, halfRows<Pixel>);
}

template <class Pixel>
qip_status gauss2_fastHalfY(const gauss2_planes<Pixel>& planes)
{
    return run(planes, halfColumns<Pixel>);
}

template qip_status gauss2_fastHalf(const gauss2_planes<uint8_t>&);
template qip_status gauss2_fastHalf(const gauss2_planes<uint16_t>&);
template qip_status gauss2_fast5x5(const gauss2_planes<uint8_t>&);
template qip_status gauss2_fast5x5(const gauss2_planes<uint16_t>&);
template qip_status gauss2_fast5x1(const gauss2_planes<uint8_t>&);
template qip_status gauss2_fast5x1(const gauss2_planes<uint16_t>&);
template qip_status gauss2_fast1x5(const gauss2_planes<uint8_t>&);
template qip_status gauss2_fast1x5(const gauss2_planes<uint16_t>&);
template qip_status gauss2_fastHalfX(const gauss2_planes<uint8_t>&);
template qip_status gauss2_fastHalfX(const gauss2_planes<uint16_t>&);
template qip_status gauss2_fastHalfY(const gauss2_planes<uint8_t>&);
template qip_status gauss2_fastHalfY(const gauss2_planes<uint16_t>&);
