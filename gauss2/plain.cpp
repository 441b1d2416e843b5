#include "gauss2/plain.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "frame/splitting.h"
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

// Some rows of the result of one call. It reads the source of all of it.
template <class Planes>
struct plainBand {
    Planes planes;
    gauss2_filter filter;
    frame_rowRange rows;
    gauss2_sum<Planes>* sums; // memory for a filter of two directions
};

template <class Planes>
qip_status oneDirection(const plainBand<Planes>* band)
{
    const auto filterRow = band->filter.y == gauss2_along::nothing ? row5x1<Planes> : row1x5<Planes>;
    for (int64_t y = band->rows.first; y < band->rows.end; ++y) {
        const qip_status status = frame_pollAtRow(y);
        if (status < 0)
            return status;
        filterRow(band->planes, y);
    }
    return QIP_OK;
}

// ---- two directions ----

constexpr int64_t keptRows = 5;

// Every source row is summed across once, at the columns of the result. The sums of source row y are kept
// in row y % 5 of the block, so that any five neighbours are there together, and are rounded once, at the
// end.
template <class Planes>
qip_status rowsOfSums(const plainBand<Planes>* band)
{
    const Planes& planes = band->planes;
    const auto& pixels = gauss2_pixelsOf(planes);
    const int step = gauss2_stepOf(band->filter.x);
    const int64_t columns = pixels.width / step;
    const auto kept = [&](int64_t y) {
        return band->sums + y % keptRows * columns;
    };
    int64_t summed = std::max<int64_t>(step * band->rows.first - 2, 0);
    for (int64_t k = band->rows.first; k < band->rows.end; ++k) {
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

// ---- bands ----

bool sumsBothDirections(gauss2_filter filter)
{
    return filter.x != gauss2_along::nothing && filter.y != gauss2_along::nothing;
}

template <class Planes>
qip_status runBand(const plainBand<Planes>* band)
{
    return sumsBothDirections(band->filter) ? rowsOfSums(band) : oneDirection(band);
}

template <class Planes>
qip_status runBands(plainBand<Planes>* whole, frame_split* split, frame_cleanup* cleanup)
{
    const auto& pixels = gauss2_pixelsOf(whole->planes);
    const int64_t columns = pixels.width / gauss2_stepOf(whole->filter.x);
    const int64_t sums = sumsBothDirections(whole->filter) ? keptRows * columns : 0;
    qip_status status = frame_planSplit(cleanup, whole->rows.end, columns, split);
    if (status >= 0 && sums > 0)
        status = frame_cleanupAlloc(cleanup, split->count * sums, &whole->sums);
    if (status < 0)
        return status;
    return frame_runSplit<plainBand<Planes>, runBand<Planes>>(
        split, whole->rows, [=](int64_t i, frame_rowRange rows) {
            return plainBand<Planes>{whole->planes, whole->filter, rows,
                                     sums > 0 ? whole->sums + i * sums : nullptr};
        });
}

} // namespace

template <class Planes>
qip_status gauss2_plain(gauss2_filter filter, const Planes& planes)
{
    if (gauss2_halvesOneDirection(filter))
        return gauss2_halfThroughFull(filter, planes, gauss2_plain<Planes>);
    const int64_t rows = gauss2_pixelsOf(planes).height / gauss2_stepOf(filter.y);
    plainBand<Planes> whole = {planes, filter, {0, rows}, nullptr};
    frame_split split = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, runBands(&whole, &split, &cleanup));
}

template qip_status gauss2_plain(gauss2_filter, const gauss2_planes<uint8_t>&);
template qip_status gauss2_plain(gauss2_filter, const gauss2_planes<uint16_t>&);
template qip_status gauss2_plain(gauss2_filter, const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_plain(gauss2_filter, const gauss2_maskedPlanes<uint16_t>&);
