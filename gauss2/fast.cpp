// The drivers of the fast unmasked filters: rows, borders above and below, polls and memory, in one source for
// both depths and all processor levels. The pixels are made in gauss2/kernels/kernels_body.h.
#include "gauss2/fast.h"

#include "frame/cleanup.h"
#include "gauss2/kernels/kernels.h"

#include <qbase/attention.h>
#include <qbase/cpuinfo.h>

#include <algorithm>

namespace
{

constexpr int64_t rowsPerPoll = 64;

// One call: the planes, the kernels and the working memory.
template <class Pixel>
struct fastCall {
    gauss2_planes<Pixel> planes;
    int64_t mostUnpolled;
    gauss2_kernels<Pixel> kernels;
    frame_cleanup cleanup;
    unsigned char* columns; // what the kernels carry from sweep to sweep
    unsigned char* early;   // the output's first rows, made while the destination must not be written
    int64_t earlyRows;
    int64_t earlyStride;
    int64_t pollsTogether; // from this row on all polls come at once
    // The rows of one sweep of an image that is too narrow for the kernels.
    Pixel wideSource[gauss2_sweepSourceRows][gauss2_mostLeastWidth];
    Pixel wideOut[gauss2_sweepRows][gauss2_mostLeastWidth];
};

// A filter as the rows see it. Output k takes the source rows from stepY * k + first on; a sweep of n outputs
// takes stepY * n + more of them.
template <class Pixel>
struct filter {
    void (*gauss2_kernels<Pixel>::*kernel)(const gauss2_sweep<Pixel>* sweep);
    void (*start)(fastCall<Pixel>* call) = nullptr; // for kernels that carry something
    bool pollsFirst = false; // all polls come before the first pixel of the destination
    int32_t uncounted = 0;   // the rows of the source that the polls do not count
    int32_t sweepRows = 4;
    int32_t stepX = 1;
    int32_t stepY = 1;
    int32_t first = 0;
    int32_t more = 0;
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

// ---- rows ----

template <class Pixel>
bool isNarrow(const fastCall<Pixel>& call)
{
    return call.planes.width < call.kernels.leastWidth;
}

template <class Pixel>
int64_t widthForKernels(const fastCall<Pixel>& call)
{
    return std::max<int64_t>(call.planes.width, call.kernels.leastWidth);
}

// Source row y, or the nearest one. A narrow row is copied to place `slot` and made wide enough by repeating
// its last pixel, as the border does, so that no pixel of the result changes.
template <class Pixel>
const Pixel* sourceRow(fastCall<Pixel>* call, int64_t y, int slot)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    const Pixel* const row =
        gauss2_row(planes.src, planes.srcStride, std::clamp<int64_t>(y, 0, planes.height - 1));
    if (!isNarrow(*call))
        return row;
    Pixel* const wide = call->wideSource[slot];
    std::fill(std::copy_n(row, planes.width, wide), wide + gauss2_mostLeastWidth, row[planes.width - 1]);
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
void makeSweep(fastCall<Pixel>* call, const filter<Pixel>& filter, int64_t k, int32_t count)
{
    const bool narrow = isNarrow(*call);
    gauss2_sweep<Pixel> sweep;
    sweep.width = widthForKernels(*call);
    sweep.count = count;
    sweep.columns = call->columns;
    for (int32_t i = 0; i < filter.stepY * count + filter.more; ++i)
        sweep.source[i] = sourceRow(call, filter.stepY * k + filter.first + i, i);
    for (int32_t i = 0; i < count; ++i)
        sweep.out[i] = narrow ? call->wideOut[i] : outRow(*call, k + i);
    (call->kernels.*filter.kernel)(&sweep);
    for (int32_t i = 0; narrow && i < count; ++i)
        std::copy_n(call->wideOut[i], call->planes.width / filter.stepX, outRow(*call, k + i));
}

// ---- polls ----

int64_t pollsIn(int64_t rows)
{
    return (rows + rowsPerPoll - 1) / rowsPerPoll;
}

qsys_status poll(int64_t count)
{
    qsys_status status = 0;
    for (int64_t i = 0; i < count && status >= 0; ++i)
        status = qsys_attention_check();
    return status;
}

template <class Pixel>
qip_status makeRows(fastCall<Pixel>* call, const filter<Pixel>& filter)
{
    const int64_t counted = call->planes.height - filter.uncounted;
    const int64_t outRows = call->planes.height / filter.stepY;
    int64_t end = 0;
    for (int64_t row = 0; row < counted; row = end) {
        end = row < call->pollsTogether ? row + rowsPerPoll : std::max(counted, row + rowsPerPoll);
        const qsys_status status = poll(pollsIn(std::min(end, counted) - row));
        if (status < 0)
            return status;
        const int64_t outEnd = std::min(end / filter.stepY, outRows);
        for (int64_t k = row / filter.stepY; k < outEnd; k += filter.sweepRows)
            makeSweep(call, filter, k,
                      static_cast<int32_t>(std::min<int64_t>(filter.sweepRows, outEnd - k)));
    }
    return QIP_OK;
}

// For a filter whose polls come first: where they come together, and memory for the rows before.
template <class Pixel>
qsys_status takeEarlyRows(fastCall<Pixel>* call, const filter<Pixel>& filter)
{
    const int64_t unpolled =
        std::max<int64_t>(call->mostUnpolled / widthForKernels(*call) / rowsPerPoll, 1);
    call->pollsTogether = std::max<int64_t>(pollsIn(call->planes.height) - unpolled, 0) * rowsPerPoll;
    if (call->pollsTogether == 0)
        return 0;
    call->earlyRows = call->pollsTogether / filter.stepY;
    call->earlyStride = (call->planes.width / filter.stepX * int64_t{sizeof(Pixel)} + 63) / 64 * 64;
    return takeBytes(&call->cleanup, call->earlyRows * call->earlyStride, &call->early);
}

// ---- the filters ----

template <class Pixel>
void startHalf(fastCall<Pixel>* call)
{
    call->kernels.halfStart(sourceRow(call, 0, 0), widthForKernels(*call), call->columns);
}

template <class Pixel>
void startBinomial(fastCall<Pixel>* call)
{
    call->kernels.binomialStart(sourceRow(call, 0, 0), sourceRow(call, 1, 1), widthForKernels(*call),
                                call->columns);
}

template <class Pixel>
qip_status runBody(fastCall<Pixel>* call, const filter<Pixel>& filter)
{
    const gauss2_planes<Pixel>& planes = call->planes;
    qsys_status status = 0;
    if (filter.start)
        status = takeBytes(&call->cleanup, gauss2_columnsBytes<Pixel>(planes.width), &call->columns);
    if (status >= 0)
        status = chooseKernels(&call->kernels);
    if (status >= 0 && filter.pollsFirst)
        status = takeEarlyRows(call, filter);
    if (status < 0 || planes.height < 1)
        return status;
    if (filter.start)
        filter.start(call);
    status = makeRows(call, filter);
    if (status < 0)
        return status;
    return qsys_memory_copyRect(planes.width / filter.stepX * int64_t{sizeof(Pixel)}, call->earlyRows,
                                call->earlyStride, planes.dstStride, call->early, planes.dst);
}

// Below three columns the borders meet, and the plain filter runs.
template <class Pixel>
qip_status run(const gauss2_planes<Pixel>& planes, const filter<Pixel>& filter, int64_t mostUnpolled)
{
    if (planes.width < 3)
        return QIP_E_FALLBACK;
    fastCall<Pixel> call;
    call.planes = planes;
    call.mostUnpolled = mostUnpolled;
    call.cleanup = {};
    call.columns = nullptr;
    call.early = nullptr;
    call.earlyRows = 0;
    call.earlyStride = 0;
    call.pollsTogether = INT64_MAX;
    return frame_cleanupEnd(&call.cleanup, runBody(&call, filter));
}

template <class Pixel>
filter<Pixel> describe(gauss2_filter which)
{
    using kernels = gauss2_kernels<Pixel>;
    if (which.y == gauss2_along::nothing)
        return which.x == gauss2_along::sampled
                   ? filter<Pixel>{.kernel = &kernels::halfRow, .pollsFirst = true, .stepX = 2}
                   : filter<Pixel>{.kernel = &kernels::row};
    if (which.x == gauss2_along::nothing)
        return which.y == gauss2_along::sampled
                   ? filter<Pixel>{.kernel = &kernels::halfColumn,
                                   .pollsFirst = true,
                                   .sweepRows = 2,
                                   .stepY = 2,
                                   .first = -2,
                                   .more = 3}
                   : filter<Pixel>{.kernel = &kernels::column, .first = -2, .more = 4};
    return which.x == gauss2_along::sampled
               ? filter<Pixel>{.kernel = &kernels::half,
                               .start = startHalf,
                               .uncounted = 1,
                               .stepX = 2,
                               .stepY = 2,
                               .first = 1}
               : filter<Pixel>{.kernel = &kernels::binomial, .start = startBinomial, .first = 2};
}

} // namespace

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_planes<uint8_t>& planes, int64_t mostUnpolled)
{
    return run(planes, describe<uint8_t>(filter), mostUnpolled);
}

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_planes<uint16_t>& planes, int64_t mostUnpolled)
{
    return run(planes, describe<uint16_t>(filter), mostUnpolled);
}
