// 5x5 filters every source row across once, keeps the sums of five rows and rounds once, at the end; 5x1 and
// 1x5 go from pixels to pixels.
#include "gauss2/plain_full.h"

#include "frame/cleanup.h"
#include "gauss2/plain_sums.h"

namespace
{

enum { gauss2_keptRows = 5 };

// The sums of row y are kept in row y % 5 of the block: any five neighbouring rows are there together.
template <class Planes>
typename gauss2_rows<Planes>::Stored* gauss2_keptRow(const Planes& planes,
                                                     typename gauss2_rows<Planes>::Stored* block, int64_t y)
{
    return block + y % gauss2_keptRows * gauss2_pixelsOf(planes).width;
}

template <class Planes>
void gauss2_filterAcross(const Planes& planes, int64_t y, typename gauss2_rows<Planes>::Stored* sums)
{
    using Stored = typename gauss2_rows<Planes>::Stored;
    const int64_t width = gauss2_pixelsOf(planes).width;
    const auto row = gauss2_sourceRow(planes, y);
    for (int64_t x = 0; x < width; ++x)
        sums[x] = static_cast<Stored>(gauss2_weighRow<Planes>(row, x, width));
}

template <class Planes>
void gauss2_sumKeptRows(const Planes& planes, int64_t y, typename gauss2_rows<Planes>::Stored* block)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    const auto kept = [&](int64_t i) {
        return gauss2_keptRow(planes, block, gauss2_clampIndex(y + i, pixels.height));
    };
    const typename gauss2_rows<Planes>::Stored* const rows[] = {kept(-2), kept(-1), kept(0), kept(1),
                                                                kept(2)};
    const auto dest = gauss2_destRow(planes, y);
    for (int64_t x = 0; x < pixels.width; ++x)
        gauss2_store<Planes>(dest, x,
                             gauss2_weigh(rows[0][x], rows[1][x], rows[2][x], rows[3][x], rows[4][x]), 8);
}

template <class Planes>
qip_status gauss2_rows5x5(const Planes& planes, typename gauss2_rows<Planes>::Stored* block)
{
    const int64_t height = gauss2_pixelsOf(planes).height;
    int64_t filtered = 0;
    for (int64_t y = 0; y < height; ++y) {
        const qip_status status = gauss2_poll(y);
        if (status < 0)
            return status;
        for (; filtered < std::min(y + 3, height); ++filtered)
            gauss2_filterAcross(planes, filtered, gauss2_keptRow(planes, block, filtered));
        gauss2_sumKeptRows(planes, y, block);
    }
    return QIP_OK;
}

template <class Planes>
void gauss2_row5x1(const Planes& planes, int64_t y)
{
    const int64_t width = gauss2_pixelsOf(planes).width;
    const auto source = gauss2_sourceRow(planes, y);
    const auto dest = gauss2_destRow(planes, y);
    for (int64_t x = 0; x < width; ++x)
        gauss2_store<Planes>(dest, x, gauss2_weighRow<Planes>(source, x, width), 4);
}

template <class Planes>
void gauss2_row1x5(const Planes& planes, int64_t y)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    const auto source = [&](int64_t i) {
        return gauss2_sourceRow(planes, gauss2_clampIndex(y + i, pixels.height));
    };
    const typename gauss2_rows<Planes>::Source rows[] = {source(-2), source(-1), source(0), source(1),
                                                         source(2)};
    const auto dest = gauss2_destRow(planes, y);
    for (int64_t x = 0; x < pixels.width; ++x) {
        const auto at = [&](int k) {
            return gauss2_valueAt<Planes>(rows[k], x);
        };
        gauss2_store<Planes>(dest, x, gauss2_weigh(at(0), at(1), at(2), at(3), at(4)), 4);
    }
}

template <class Planes, class FilterRow>
qip_status gauss2_everyRow(const Planes& planes, FilterRow filterRow)
{
    for (int64_t y = 0; y < gauss2_pixelsOf(planes).height; ++y) {
        const qip_status status = gauss2_poll(y);
        if (status < 0)
            return status;
        filterRow(planes, y);
    }
    return QIP_OK;
}

} // namespace

template <class Planes>
qip_status gauss2_plain5x5(const Planes& planes)
{
    frame_cleanup cleanup = {};
    typename gauss2_rows<Planes>::Stored* block = nullptr;
    const int64_t count = gauss2_pixelsOf(planes).width;
    qip_status status = frame_cleanupAllocClear(&cleanup, gauss2_keptRows * count, &block);
    if (status >= 0)
        status = gauss2_rows5x5(planes, block);
    return frame_cleanupEnd(&cleanup, status);
}

template <class Planes>
qip_status gauss2_plain5x1(const Planes& planes)
{
    return gauss2_everyRow(planes, gauss2_row5x1<Planes>);
}

template <class Planes>
qip_status gauss2_plain1x5(const Planes& planes)
{
    return gauss2_everyRow(planes, gauss2_row1x5<Planes>);
}

template qip_status gauss2_plain5x5(const gauss2_planes<uint8_t>&);
template qip_status gauss2_plain5x5(const gauss2_planes<uint16_t>&);
template qip_status gauss2_plain5x5(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_plain5x5(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_plain5x1(const gauss2_planes<uint8_t>&);
template qip_status gauss2_plain5x1(const gauss2_planes<uint16_t>&);
template qip_status gauss2_plain5x1(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_plain5x1(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_plain1x5(const gauss2_planes<uint8_t>&);
template qip_status gauss2_plain1x5(const gauss2_planes<uint16_t>&);
template qip_status gauss2_plain1x5(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_plain1x5(const gauss2_maskedPlanes<uint16_t>&);
