// The driver of the fast filters: it chooses the rows of each sweep, supplies the borders above and below,
// polls and takes memory; one source for all filters, both depths, with and without a mask, and all
// processor levels. The pixels are made in gauss2/kernels/.
#include "gauss2/fast.h"

#include "frame/cleanup.h"
#include "frame/level.h"
#include "frame/poll.h"
#include "frame/splitting.h"
#include "gauss2/kernels/kernels.h"
#include "gauss2/scratch.h"
#include "lanes/padded_row.h"

#include <algorithm>

namespace
{

// ---- one call ----

// Where output rows go.
template <class Pixel>
struct target {
    gauss2_plane<Pixel> pixels;
    gauss2_plane<uint8_t> mask; // null when none is wanted
};

template <class Planes>
struct fastCall {
    using Pixel = typename Planes::Pixel;
    using Sweep = std::conditional_t<Planes::masked, gauss2_maskedSweep<Pixel>, gauss2_sweep<Pixel>>;
    static constexpr bool masked = Planes::masked;

    Planes planes;
    gauss2_filter filter;
    gauss2_kernel<Sweep> kernel;
    bool isNarrow; // too narrow for the kernel, which gets wider copies of the rows
    int64_t width; // of the rows that the kernel gets
    int64_t outRows;
    int64_t outColumns;
    int64_t pollsTogether; // the polls for the source rows from this one on come together, before it
    int64_t earlyRows;     // output rows made before the last poll, which must not be in the result yet
    target<Pixel> early;   // memory of our own for these
    target<Pixel> result;

    frame_cleanup cleanup;
    frame_split split;
    int64_t spareBytes;        // one row of pixels and one of mask values, for outputs that are not wanted
    int64_t stateBytes;        // what the kernel keeps, or 0
    unsigned char* spareBlock; // such rows for every band
    unsigned char* stateBlock;
};

// Some rows of the result, made by one thread.
template <class Planes>
struct fastBand {
    const fastCall<Planes>* call;
    frame_rowRange rows;
    bool polls; // else all polls for its rows came before
    unsigned char* spare;
    unsigned char* state; // null when the kernel keeps nothing
};

// The copies of the rows of one sweep when isNarrow is set.
template <class Pixel>
struct wideRows {
    Pixel source[gauss2_rowsBefore + gauss2_mostFreshRows][gauss2_mostLeastWidth];
    Pixel out[gauss2_mostOutputRows][gauss2_mostLeastWidth];
};

// How many rows the first fresh row of a sweep lies below the source row that its first output is centred
// on.
int64_t rowsAhead(gauss2_filter filter)
{
    switch (filter.y) {
    case gauss2_along::all:
        return 2;
    case gauss2_along::sampled:
        return 1;
    default:
        return 0;
    }
}

// ---- one sweep ----

template <class Planes>
const auto* sourceRow(const fastCall<Planes>& call, int64_t y, typename Planes::Pixel* wide)
{
    const auto& pixels = gauss2_pixelsOf(call.planes);
    const int64_t inside = std::clamp<int64_t>(y, 0, pixels.height - 1);
    const auto* const row = gauss2_row(pixels.src, pixels.srcStride, inside);
    if (!call.isNarrow)
        return row;
    copyColumns<rowBorder::repeated, gauss2_mostLeastWidth>(row, pixels.width, 0, wide);
    return static_cast<decltype(row)>(wide);
}

template <class Planes>
const target<typename Planes::Pixel>& targetOf(const fastCall<Planes>& call, int64_t k)
{
    return k < call.earlyRows ? call.early : call.result;
}

// Makes `count` output rows from row k on; the other outputs of the sweep go to spare memory. With a count
// of 0 the sweep only fills the sums that the kernel keeps.
template <class Planes>
void makeSweep(const fastBand<Planes>* band, wideRows<typename Planes::Pixel>* wide, int64_t k,
               int64_t count)
{
    using Pixel = typename Planes::Pixel;
    constexpr bool masked = Planes::masked;
    const fastCall<Planes>& call = *band->call;
    const int step = gauss2_stepOf(call.filter.y);
    const int64_t before = step * k + rowsAhead(call.filter) - gauss2_rowsBefore;
    typename fastCall<Planes>::Sweep sweep;
    sweep.width = call.width;
    sweep.state = band->state;
    for (int i = 0; i < gauss2_rowsBefore + step * call.kernel.outputRows; ++i) {
        sweep.source[i] = sourceRow(call, before + i, wide->source[i]);
        if constexpr (masked)
            sweep.mask[i] = gauss2_row(call.planes.mask, call.planes.maskStride,
                                       std::clamp<int64_t>(before + i, 0, call.planes.pixels.height - 1));
    }
    auto* const sparePixels = reinterpret_cast<Pixel*>(band->spare);
    for (int i = 0; i < call.kernel.outputRows; ++i) {
        const target<Pixel>& to = targetOf(call, k + i);
        Pixel* const row = i < count ? gauss2_row(to.pixels.first, to.pixels.stride, k + i) : sparePixels;
        sweep.out[i] = call.isNarrow ? wide->out[i] : row;
        if constexpr (masked)
            sweep.outMask[i] = i < count && to.mask.first
                                   ? gauss2_row(to.mask.first, to.mask.stride, k + i)
                                   : reinterpret_cast<uint8_t*>(sparePixels + call.outColumns);
    }
    call.kernel.run(&sweep);
    for (int i = 0; call.isNarrow && i < count; ++i) {
        const target<Pixel>& to = targetOf(call, k + i);
        std::copy_n(wide->out[i], call.outColumns, gauss2_row(to.pixels.first, to.pixels.stride, k + i));
    }
}

// ---- the rows of a band, with their polls ----

template <class Planes>
qip_status runBand(const fastBand<Planes>* band)
{
    const fastCall<Planes>& call = *band->call;
    const int step = gauss2_stepOf(call.filter.y);
    const int64_t rowsPerPoll = frame_rowsPerPoll / step;
    const int64_t outputRows = call.kernel.outputRows;
    const bool keepsSums = band->state && call.filter.y != gauss2_along::nothing;
    wideRows<typename Planes::Pixel> wide;
    bool goesOn = !keepsSums;
    int64_t end = 0;
    for (int64_t first = band->rows.first; first < band->rows.end; first = end) {
        const qsys_status status = band->polls ? frame_pollAtRow(step * first) : QSYS_OK;
        if (status < 0)
            return status;
        const int64_t nextPoll = band->polls ? (first / rowsPerPoll + 1) * rowsPerPoll : INT64_MAX;
        end = std::min(band->rows.end, nextPoll);
        for (int64_t k = first; k < end; k += outputRows) {
            if (!goesOn)
                makeSweep(band, &wide, k - outputRows, 0);
            makeSweep(band, &wide, k, std::min(outputRows, end - k));
            // Where not all outputs were wanted, the next ones do not go on from the sums that are kept.
            goesOn = !keepsSums || k + outputRows <= end;
        }
    }
    return QIP_OK;
}

// Makes some rows of the result, in bands.
template <class Planes>
qip_status makeRows(fastCall<Planes>* call, frame_rowRange rows, bool polls)
{
    return frame_runSplit<fastBand<Planes>, runBand<Planes>>(
        &call->split, rows, [=](int64_t i, frame_rowRange part) {
            return fastBand<Planes>{call, part, polls, call->spareBlock + i * call->spareBytes,
                                    call->stateBlock ? call->stateBlock + i * call->stateBytes : nullptr};
        });
}

template <class Pixel>
qip_status copyRows(int64_t columns, int64_t rows, const gauss2_plane<Pixel>& from,
                    const gauss2_plane<Pixel>& to)
{
    return qsys_memory_copyRect(columns * int64_t{sizeof(Pixel)}, rows, from.stride, to.stride, from.first,
                                to.first);
}

template <class Planes>
qip_status copyEarlyRows(const fastCall<Planes>& call)
{
    const qip_status status =
        copyRows(call.outColumns, call.earlyRows, call.early.pixels, call.result.pixels);
    if (status < 0 || !call.result.mask.first)
        return status;
    return copyRows(call.outColumns, call.earlyRows, call.early.mask, call.result.mask);
}

// ---- the plan and the memory of a call ----

const gauss2_levelKernels& kernelsAt(frame_level level)
{
    if constexpr (frame_has256)
        if (level == frame_level::vector256)
            return gauss2_kernels256;
    if constexpr (frame_has128)
        if (level == frame_level::vector128)
            return gauss2_kernels128;
    return gauss2_kernelsPortable;
}

template <class Sweep>
const gauss2_kernels<Sweep>& tableOf(const gauss2_levelKernels& level)
{
    if constexpr (std::is_same_v<Sweep, gauss2_sweep<uint8_t>>)
        return level.of8;
    else if constexpr (std::is_same_v<Sweep, gauss2_sweep<uint16_t>>)
        return level.of16;
    else if constexpr (std::is_same_v<Sweep, gauss2_maskedSweep<uint8_t>>)
        return level.ofMasked8;
    else
        return level.ofMasked16;
}

template <class Sweep>
const gauss2_kernel<Sweep>& kernelOf(const gauss2_kernels<Sweep>& kernels, gauss2_filter filter)
{
    if (filter.x == gauss2_along::nothing)
        return filter.y == gauss2_along::sampled ? kernels.halfY : kernels.full1x5;
    if (filter.y == gauss2_along::nothing)
        return filter.x == gauss2_along::sampled ? kernels.halfX : kernels.full5x1;
    return filter.x == gauss2_along::sampled ? kernels.half : kernels.full5x5;
}

template <class Planes>
qip_status chooseKernel(fastCall<Planes>* call)
{
    qsys_cpuinfo info = {};
    const qip_status status = qsys_cpuinfo_init(&info);
    if (status < 0)
        return status;
    const auto& kernels =
        tableOf<typename fastCall<Planes>::Sweep>(kernelsAt(frame_levelFor<typename Planes::Pixel>(&info)));
    call->kernel = kernelOf(kernels, call->filter);
    const int64_t width = gauss2_pixelsOf(call->planes).width;
    call->isNarrow = width < kernels.leastWidth;
    call->width = std::max(width, kernels.leastWidth);
    return QIP_OK;
}

// For a filter that may not write to the result before its last poll: decides how many output rows are made
// before that, and takes memory for them.
template <class Planes>
qip_status takeEarlyRows(fastCall<Planes>* call, int64_t mostUnpolled)
{
    const int64_t unpolled = std::max<int64_t>(mostUnpolled / call->width / frame_rowsPerPoll, 1);
    const int64_t polls = frame_pollsIn(gauss2_pixelsOf(call->planes).height) - unpolled;
    call->pollsTogether = std::max<int64_t>(polls, 0) * frame_rowsPerPoll;
    call->earlyRows = call->pollsTogether / gauss2_stepOf(call->filter.y);
    if (call->earlyRows == 0)
        return QIP_OK;
    qip_status status =
        gauss2_takePlane(&call->cleanup, call->outColumns, call->earlyRows, &call->early.pixels);
    if (status >= 0 && call->result.mask.first)
        status = gauss2_takePlane(&call->cleanup, call->outColumns, call->earlyRows, &call->early.mask);
    return status;
}

// Takes what the bands work with, each on lines of the cache of its own.
template <class Planes>
qip_status takeRows(fastCall<Planes>* call)
{
    const auto wholeLines = [](int64_t bytes) {
        return (bytes + 63) / 64 * 64;
    };
    call->spareBytes = wholeLines(call->outColumns * int64_t{sizeof(typename Planes::Pixel) + 1});
    const qip_status status =
        frame_cleanupAlloc(&call->cleanup, call->split.count * call->spareBytes, &call->spareBlock);
    if (status < 0 || !call->kernel.stateBytes)
        return status;
    call->stateBytes = wholeLines(call->kernel.stateBytes(call->width));
    return frame_cleanupAllocClear(&call->cleanup, call->split.count * call->stateBytes, &call->stateBlock);
}

// Makes the rows of a filter that may not write to the result before its last poll.
template <class Planes>
qip_status runAfterPolls(fastCall<Planes>* call, int64_t mostUnpolled)
{
    qip_status status = takeEarlyRows(call, mostUnpolled);
    if (status >= 0 && call->earlyRows > 0)
        status = makeRows(call, {0, call->earlyRows}, true);
    if (status >= 0)
        status = frame_pollForRows(gauss2_pixelsOf(call->planes).height - call->pollsTogether);
    if (status >= 0 && call->earlyRows < call->outRows)
        status = makeRows(call, {call->earlyRows, call->outRows}, false);
    return status < 0 ? status : copyEarlyRows(*call);
}

template <class Planes>
qip_status runCall(fastCall<Planes>* call, int64_t mostUnpolled)
{
    qip_status status = frame_planSplit(&call->cleanup, call->outRows, call->outColumns, &call->split);
    if (status >= 0)
        status = takeRows(call);
    if (status < 0)
        return status;
    return gauss2_halvesOneDirection(call->filter) ? runAfterPolls(call, mostUnpolled)
                                                   : makeRows(call, {0, call->outRows}, true);
}

template <class Planes>
target<typename Planes::Pixel> resultOf(const Planes& planes)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    if constexpr (Planes::masked)
        return {{pixels.dst, pixels.dstStride}, {planes.dstMask, planes.dstMaskStride}};
    else
        return {{pixels.dst, pixels.dstStride}, {}};
}

// Whether a request must behave as if the plain filter served it, although the fast one does: it must not
// fail when the processor service fails. Required behaviour.
template <class Planes>
bool countsAsPlain(gauss2_filter filter, const Planes& planes)
{
    if constexpr (Planes::masked) {
        const bool isBoth = filter.x != gauss2_along::nothing && filter.y != gauss2_along::nothing;
        if (isBoth && filter.x == gauss2_along::sampled)
            return !planes.dstMask;
        return isBoth && sizeof(typename Planes::Pixel) == 2 && planes.pixels.height < 5;
    }
    return false;
}

// With fewer than three columns both borders reach the same pixels; then the plain filter runs.
template <class Planes>
qip_status run(gauss2_filter filter, const Planes& planes, int64_t mostUnpolled)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    if (pixels.width < 3)
        return QIP_E_FALLBACK;
    fastCall<Planes> call = {};
    call.planes = planes;
    call.filter = filter;
    call.result = resultOf(planes);
    call.outRows = pixels.height / gauss2_stepOf(filter.y);
    call.outColumns = pixels.width / gauss2_stepOf(filter.x);
    const qip_status status = chooseKernel(&call);
    if (status < 0)
        return countsAsPlain(filter, planes) ? QIP_E_FALLBACK : status;
    return frame_cleanupEnd(&call.cleanup, runCall(&call, mostUnpolled));
}

} // namespace

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_planes<uint8_t>& planes, int64_t mostUnpolled)
{
    return run(filter, planes, mostUnpolled);
}

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_planes<uint16_t>& planes, int64_t mostUnpolled)
{
    return run(filter, planes, mostUnpolled);
}

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_maskedPlanes<uint8_t>& planes,
                       int64_t mostUnpolled)
{
    return run(filter, planes, mostUnpolled);
}

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_maskedPlanes<uint16_t>& planes,
                       int64_t mostUnpolled)
{
    return run(filter, planes, mostUnpolled);
}
