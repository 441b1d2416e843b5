// Every source row is filtered across once, at the columns that are kept, and goes through a ring of five rows;
// a destination row is the sum of the ring. Rows that meet weight 4 when they are summed are stored four-fold.
#include "gauss2/plain_half.h"

#include "frame/cleanup.h"
#include "gauss2/plain_sums.h"

namespace
{

enum { gauss2_ringRows = 5 };

// Oldest row first.
template <class Planes>
struct gauss2_ring {
    typename gauss2_rows<Planes>::Stored* rows[gauss2_ringRows];
};

// The sums of source row y at the columns kept, times `factor`.
template <class Planes>
void gauss2_fillRow(const Planes& planes, int64_t y, uint32_t factor,
                    typename gauss2_rows<Planes>::Stored* sums)
{
    using Stored = typename gauss2_rows<Planes>::Stored;
    const int64_t width = gauss2_pixelsOf(planes).width;
    const auto row = gauss2_sourceRow(planes, y);
    for (int64_t i = 0; i < width >> 1; ++i)
        sums[i] = static_cast<Stored>(factor * gauss2_weighRow<Planes>(row, 2 * i, width));
}

// The ring before step 0: a slot that step 0 frees, then what stands for the rows -2 (single), -1 (four-fold),
// 0 and 1 (four-fold) around destination row 0.
template <class Planes>
gauss2_ring<Planes> gauss2_startRing(const Planes& planes, typename gauss2_rows<Planes>::Stored* block)
{
    using Stored = typename gauss2_rows<Planes>::Stored;
    const int64_t count = gauss2_pixelsOf(planes).width >> 1;
    gauss2_ring<Planes> ring;
    for (int k = 0; k < gauss2_ringRows; ++k)
        ring.rows[k] = block + k * count;
    gauss2_fillRow(planes, 0, 1, ring.rows[1]);
    for (int64_t i = 0; i < count; ++i) {
        ring.rows[2][i] = static_cast<Stored>(4u * ring.rows[1][i]);
        ring.rows[3][i] = ring.rows[1][i];
    }
    gauss2_fillRow(planes, 1, 4, ring.rows[4]);
    return ring;
}

// Turns the ring by one row and fills the slot that becomes free with source row t + 2, which meets weight 4
// when t is odd. Past the last row that row repeats: it is the one before the slot, stored for the other weight.
template <class Planes>
void gauss2_turnRing(const Planes& planes, int64_t t, gauss2_ring<Planes>* ring)
{
    using Stored = typename gauss2_rows<Planes>::Stored;
    const auto& pixels = gauss2_pixelsOf(planes);
    const bool fourfold = t % 2 != 0;
    std::rotate(ring->rows, ring->rows + 1, ring->rows + gauss2_ringRows);
    Stored* const slot = ring->rows[4];
    if (t < pixels.height - 2) {
        gauss2_fillRow(planes, t + 2, fourfold ? 4 : 1, slot);
        return;
    }
    const Stored* const last = ring->rows[3];
    for (int64_t i = 0; i < pixels.width >> 1; ++i)
        slot[i] = static_cast<Stored>(fourfold ? 4u * last[i] : last[i] / 4u);
}

template <class Planes>
void gauss2_sumRing(const Planes& planes, const gauss2_ring<Planes>& ring, int64_t destRow)
{
    const auto row = gauss2_destRow(planes, destRow);
    const auto& rows = ring.rows;
    for (int64_t i = 0; i < gauss2_pixelsOf(planes).width >> 1; ++i) {
        const auto outer = 1u * rows[0][i] + rows[1][i] + rows[3][i] + rows[4][i];
        gauss2_store<Planes>(row, i, outer + 6u * rows[2][i], 8);
    }
}

template <class Planes>
qip_status gauss2_halfRows(const Planes& planes, typename gauss2_rows<Planes>::Stored* block)
{
    gauss2_ring<Planes> ring = gauss2_startRing(planes, block);
    for (int64_t t = 0; t < gauss2_pixelsOf(planes).height - 1; ++t) {
        const qip_status status = gauss2_poll(t);
        if (status < 0)
            return status;
        gauss2_turnRing(planes, t, &ring);
        if (t % 2 == 0)
            gauss2_sumRing(planes, ring, t / 2);
    }
    return QIP_OK;
}

} // namespace

template <class Planes>
qip_status gauss2_plainHalf(const Planes& planes)
{
    frame_cleanup cleanup = {};
    typename gauss2_rows<Planes>::Stored* block = nullptr;
    const int64_t count = gauss2_pixelsOf(planes).width >> 1;
    qip_status status = frame_cleanupAllocClear(&cleanup, gauss2_ringRows * count, &block);
    if (status >= 0)
        status = gauss2_halfRows(planes, block);
    return frame_cleanupEnd(&cleanup, status);
}

template qip_status gauss2_plainHalf(const gauss2_planes<uint8_t>&);
template qip_status gauss2_plainHalf(const gauss2_planes<uint16_t>&);
template qip_status gauss2_plainHalf(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_plainHalf(const gauss2_maskedPlanes<uint16_t>&);
