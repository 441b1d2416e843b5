// The kernels of masked/kernels/valid_count.h, written once for all processor levels. A file that has
// included the lanes of its level includes this one; all of it has internal linkage.
#pragma once

#include "masked/kernels/valid_count.h"

namespace
{

// ---- down the columns ----

enum class validBy { value, topBit };

template <validBy valid>
lanes_inline u8s changed(u8s counts, u8s entering, u8s leaving)
{
    if constexpr (valid == validBy::value)
        return counts + entering - leaving;
    else // a comparison gives -1 where it holds
        return counts - (u8s)((i8s)entering < 0) + (u8s)((i8s)leaving < 0);
}

template <validBy valid>
void changeCounts(const uint8_t* entering, const uint8_t* leaving, int64_t width, uint8_t* counts)
{
    constexpr int64_t lanes = laneCount<uint8_t>;
    if (width < lanes) {
        constexpr int shift = valid == validBy::topBit ? 7 : 0;
        for (int64_t x = 0; x < width; ++x)
            counts[x] = static_cast<uint8_t>(counts[x] + (entering[x] >> shift) - (leaving[x] >> shift));
        return;
    }
    // The last register ends with the row and may overlap the one before: it is worked out before the
    // counts that both hold change.
    const auto at = [&](int64_t x) lanes_inlined {
        return changed<valid>(load(counts + x), load(entering + x), load(leaving + x));
    };
    const u8s last = at(width - lanes);
    for (int64_t x = 0; x < width - lanes; x += lanes)
        store(counts + x, at(x));
    store(counts + width - lanes, last);
}

// ---- along the rows ----

// sums[x] is what stands in the columns before x. Sums wrap at 65536, and the difference of two is right
// nevertheless.
lanes_inline void sumAlong(const uint8_t* counts, int64_t covered, uint16_t* sums)
{
    constexpr int64_t lanes = laneCount<uint16_t>;
    u16s before = {};
    sums[0] = 0;
    for (int64_t x = 0; x < covered; x += lanes) {
        const u16s within = runningSums(loadWidened(counts + x));
        store(sums + 1 + x, within + before);
        before += lastInAll(within);
    }
}

inline void testCounts(const masked_countTest* test)
{
    constexpr int64_t lanes = laneCount<uint8_t>;
    sumAlong(test->counts, test->covered, test->sums);
    const uint16_t* const begins = test->sums;
    const uint16_t* const ends = test->sums + test->reach;
    const int64_t step = test->step;
    const int64_t outputs = test->outputs;
    const uint16_t least = test->threshold;
    uint8_t* const out = test->out;
    if (step > 1 || outputs < lanes) {
        for (int64_t i = 0; i < outputs; ++i)
            out[i] = static_cast<uint16_t>(ends[i * step] - begins[i * step]) >= least ? 255 : 0;
        return;
    }
    const u16s threshold = filled(least);
    const auto half = [&](int64_t x) lanes_inlined {
        return (u16s)(load(ends + x) - load(begins + x) >= threshold) >> 8;
    };
    const auto testAt = [&](int64_t x) lanes_inlined {
        store(out + x, narrowed(half(x), half(x + laneCount<uint16_t>)));
    };
    for (int64_t x = 0; x < outputs - lanes; x += lanes)
        testAt(x);
    testAt(outputs - lanes);
}

constexpr masked_countKernels countKernels()
{
    return {changeCounts<validBy::value>, changeCounts<validBy::topBit>, testCounts};
}

} // namespace
