#include "masked/valid_count.h"

#include "gauss/running_sums.h"

#include <algorithm>
#include <cstring>

namespace
{

const masked_countKernels* kernelsAt(frame_level level)
{
    if constexpr (frame_has256)
        if (level == frame_level::vector256)
            return &masked_countKernels256;
    if constexpr (frame_has128)
        if (level == frame_level::vector128)
            return &masked_countKernels128;
    return &masked_countKernelsPortable;
}

// The end of the last footprint.
int64_t endColumn(const masked_countRequest& request)
{
    return request.firstColumn + (request.columns - 1) * request.stepX + request.reachX;
}

// Whether counts down the columns fit 8 bits, sums along the row 16 bits, and all footprints the row with
// its two reflections.
bool suitsKernels(const masked_countRequest& request)
{
    return request.reachY <= UINT8_MAX && request.reachX * request.reachY <= UINT16_MAX &&
           request.firstColumn >= -request.width && endColumn(request) <= 2 * request.width;
}

qip_status takeKernelMemory(frame_cleanup* cleanup, masked_validCount* count)
{
    const masked_countRequest& request = count->request;
    const int64_t before = std::max<int64_t>(-request.firstColumn, 0);
    const int64_t counts = before + std::max(request.width, endColumn(request)) + masked_countSpare;
    const int64_t sums = endColumn(request) - request.firstColumn + 1 + masked_countSpare;
    qip_status status = frame_cleanupAllocClear(cleanup, counts + request.width, &count->countBlock);
    if (status < 0)
        return status;
    count->counts = count->countBlock + before;
    count->noRow = count->countBlock + counts;
    return frame_cleanupAlloc(cleanup, sums, &count->sums);
}

// ---- plain code ----

qip_status takePlainMemory(frame_cleanup* cleanup, masked_validCount* count)
{
    const int64_t width = count->request.width;
    qip_status status = frame_cleanupAllocClear(cleanup, width, &count->wideCounts);
    if (status >= 0)
        status = frame_cleanupAllocClear(cleanup, width, &count->countBlock);
    count->noRow = count->countBlock;
    return status;
}

void changePlain(masked_validCount* count, const uint8_t* entering, const uint8_t* leaving)
{
    const int shift = count->request.byTopBit ? 7 : 0;
    for (int64_t x = count->usedColumn; x < count->usedColumn + count->usedColumns; ++x)
        count->wideCounts[x] += (entering[x] >> shift) - (leaving[x] >> shift);
}

// One sum follows the footprint along the row and its two reflections.
void testPlain(const masked_validCount* count, uint8_t* out)
{
    const masked_countRequest& request = count->request;
    const int64_t width = request.width;
    int64_t sum = 0; // of the columns begin .. end - 1
    int64_t begin = std::clamp(request.firstColumn, -width, 2 * width);
    int64_t end = begin;
    for (int64_t i = 0; i < request.columns; ++i) {
        const int64_t column = request.firstColumn + i * request.stepX;
        for (; end < std::clamp(column + request.reachX, -width, 2 * width); ++end)
            sum += count->wideCounts[gauss_reflect(end, width)];
        for (; begin < std::clamp(column, -width, 2 * width); ++begin)
            sum -= count->wideCounts[gauss_reflect(begin, width)];
        out[i] = sum >= request.threshold ? 255 : 0;
    }
}

} // namespace

int64_t masked_countThreshold(const qip_gaussParams* params)
{
    const double columns = 3.0 * params->kernelSizeX + 1.0;
    const double rows = 3.0 * params->kernelSizeY + 1.0;
    const double least = rows * columns * params->maskParams.threshold + 0.5;
    if (least >= 0x1p63)
        return INT64_MAX;
    if (least <= -0x1p63)
        return INT64_MIN;
    const int64_t whole = least == least ? static_cast<int64_t>(least) : 0;
    return whole == 0 ? 1 : whole;
}

qip_status masked_takeValidCount(frame_cleanup* cleanup, const masked_countRequest* request,
                                 frame_level level, masked_validCount* count)
{
    *count = {};
    count->request = *request;
    gauss_walk walk = {};
    walk.first = std::max(request->firstColumn, -request->width);
    walk.last = std::min(endColumn(*request), 2 * request->width) - 1;
    const gauss_span used = gauss_walkSource(&walk, request->width);
    count->usedColumn = used.start;
    count->usedColumns = used.length;
    if (!suitsKernels(*request))
        return takePlainMemory(cleanup, count);
    count->kernels = kernelsAt(level);
    return takeKernelMemory(cleanup, count);
}

void masked_clearCounts(masked_validCount* count)
{
    if (count->kernels)
        std::fill_n(count->counts, count->request.width, uint8_t{0});
    else
        std::fill_n(count->wideCounts, count->request.width, int64_t{0});
}

void masked_changeCounts(masked_validCount* count, const uint8_t* entering, const uint8_t* leaving)
{
    if (!count->kernels) {
        changePlain(count, entering, leaving);
        return;
    }
    const auto change =
        count->request.byTopBit ? count->kernels->changeByTopBit : count->kernels->changeByValue;
    const int64_t x = count->usedColumn;
    change(entering + x, leaving + x, count->usedColumns, count->counts + x);
}

void masked_testCounts(masked_validCount* count, uint8_t* out)
{
    const masked_countRequest& request = count->request;
    if (!count->kernels) {
        testPlain(count, out);
        return;
    }
    if (request.threshold <= 0 || request.threshold > UINT16_MAX) {
        std::memset(out, request.threshold <= 0 ? 255 : 0, static_cast<size_t>(request.columns));
        return;
    }
    const int64_t end = endColumn(request);
    for (int64_t x = request.firstColumn; x < 0; ++x)
        count->counts[x] = count->counts[gauss_reflect(x, request.width)];
    for (int64_t x = request.width; x < end; ++x)
        count->counts[x] = count->counts[gauss_reflect(x, request.width)];
    const masked_countTest test = {count->counts + request.firstColumn,
                                   end - request.firstColumn,
                                   count->sums,
                                   request.reachX,
                                   request.stepX,
                                   request.columns,
                                   static_cast<uint16_t>(request.threshold),
                                   out};
    count->kernels->test(&test);
}
