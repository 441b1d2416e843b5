#include "gauss2/plain.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "gauss2/plain_sums.h"
#include "gauss2/through_full.h"

#include <algorithm>

namespace
{

// ---- one direction, from pixels to pixels ----

template <class Planes>
void row5x1(const Planes& planes, int64_t y)
{
    const int64_t width = gauss2_pixelsOf(planes).width;
    const auto source = gauss2_sourceRowAt(planes, y);
    const auto dest = gauss2_destRowAt(planes, y);
    for (int64_t x = 0; x < width; ++x)
        gauss2_store(dest, x, gauss2_sumAcross(source, x, width), 4);
}

template <class Planes>
void row1x5(const Planes& planes, int64_t y)
{
    gauss2_sourceRow<Planes> rows[5];
    for (int i = 0; i < 5; ++i)
        rows[i] = gauss2_sourceRowAt(planes, y + i - 2);
    const auto dest = gauss2_destRowAt(planes, y);
    for (int64_t x = 0; x < gauss2_pixelsOf(planes).width; ++x) {
        const auto at = [&](int i) {
            return gauss2_valueAt(rows[i], x);
        };
        gauss2_store(dest, x, gauss2_sumOfFive(at(0), at(1), at(2), at(3), at(4)), 4);
    }
}

template <class Planes>
qip_status oneDirection(gauss2_filter filter, const Planes& planes)
{
    const auto filterRow = filter.y == gauss2_along::nothing ? row5x1<Planes> : row1x5<Planes>;
    for (int64_t y = 0; y < gauss2_pixelsOf(planes).height; ++y) {
        const qip_status status = frame_pollAtRow(y);
        if (status < 0)
            return status;
        filterRow(planes, y);
    }
    return QIP_OK;
}

// ---- two directions ----

constexpr int64_t keptRows = 5;

// Every source row is summed across once, at the columns of the result. The sums of source row y are kept
// in row y % 5 of the block, so that any five neighbours are there together, and are rounded once, at the
// end.
template <class Planes>
qip_status rowsOfSums(int step, const Planes& planes, gauss2_sum<Planes>* block)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    const int64_t columns = pixels.width / step;
    const auto kept = [&](int64_t y) {
        return block + y % keptRows * columns;
    };
    int64_t summed = 0;
    for (int64_t k = 0; k < pixels.height / step; ++k) {
        const int64_t y = step * k;
        const qip_status status = frame_pollAtRow(y);
        if (status < 0)
            return status;
        for (; summed < std::min<int64_t>(y + 3, pixels.height); ++summed) {
            const auto source = gauss2_sourceRowAt(planes, summed);
            for (int64_t i = 0; i < columns; ++i)
                kept(summed)[i] = gauss2_sumAcross(source, step * i, pixels.width);
        }
        const gauss2_sum<Planes>* rows[keptRows];
        for (int i = 0; i < keptRows; ++i)
            rows[i] = kept(gauss2_clampIndex(y + i - 2, pixels.height));
        const auto dest = gauss2_destRowAt(planes, k);
        for (int64_t i = 0; i < columns; ++i)
            gauss2_store(dest, i,
                         gauss2_sumOfFive(rows[0][i], rows[1][i], rows[2][i], rows[3][i], rows[4][i]), 8);
    }
    return QIP_OK;
}

template <class Planes>
qip_status twoDirections(gauss2_filter filter, const Planes& planes)
{
    const int step = gauss2_stepOf(filter.x);
    frame_cleanup cleanup = {};
    gauss2_sum<Planes>* block = nullptr;
    qip_status status =
        frame_cleanupAlloc(&cleanup, keptRows * (gauss2_pixelsOf(planes).width / step), &block);
    if (status >= 0)
        status = rowsOfSums(step, planes, block);
    return frame_cleanupEnd(&cleanup, status);
}

} // namespace

template <class Planes>
qip_status gauss2_plain(gauss2_filter filter, const Planes& planes)
{
    if (gauss2_halvesOneDirection(filter))
        return gauss2_halfThroughFull(filter, planes, gauss2_plain<Planes>);
    if (filter.x == gauss2_along::nothing || filter.y == gauss2_along::nothing)
        return oneDirection(filter, planes);
    return twoDirections(filter, planes);
}

template qip_status gauss2_plain(gauss2_filter, const gauss2_planes<uint8_t>&);
template qip_status gauss2_plain(gauss2_filter, const gauss2_planes<uint16_t>&);
template qip_status gauss2_plain(gauss2_filter, const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_plain(gauss2_filter, const gauss2_maskedPlanes<uint16_t>&);
