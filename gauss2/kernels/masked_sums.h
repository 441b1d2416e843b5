// The masked kernels along a row: sums of the even or of the odd columns of one block.
// Internal linkage; needs the lanes of a level.
#pragma once

#include "gauss2/kernels/masked_prepare.h"

namespace
{

lanes_inline u16s weightedBytes(u8s x, int even, int odd)
{
    if (even == 0 && odd == 1)
        return odds(x);
    if (even == 1 && odd == 0)
        return evens(x);
    return addPairs(x, pairsOf<uint8_t>(even, odd));
}

// Sums of bytes: of 8-bit pixels (S), of mask values (W), or of sums down the columns (V).
template <along columns, bool odd>
lanes_inline u16s sumBytes(const uint8_t* row)
{
    return gauss2_sumAlong<columns, odd>(
        [=](int column, int a, int b) lanes_inlined { return weightedBytes(load(row + column), a, b); });
}

// One part of S, from a prepared row, or of a full block from the source row itself.
template <along columns, bool odd, bool isPrepared>
lanes_inline u16s sumBinary(const uint8_t* row, int)
{
    return sumBytes<columns, odd>(row);
}

template <along columns, bool odd, bool isPrepared>
lanes_inline u32s sumBinary(const uint16_t* row, int part)
{
    return gauss2_sumAlong<columns, odd>([=](int column, int a, int b) lanes_inlined {
        const u16s pixels = load(row + part * halfBlock + column);
        return addPairs(isPrepared ? pixels : lowered(pixels), pairsOf<uint16_t>(a, b));
    });
}

// One part of N, from prepared rows, or for 16-bit pixels from the source row itself.
template <class Pixel, along columns, bool odd, bool isPrepared>
lanes_inline u32s sumMixed(const uint16_t* row, const uint8_t* mask, int part)
{
    return gauss2_sumAlong<columns, odd>([=](int column, int a, int b) lanes_inlined {
        const int at = part * halfBlock + column;
        const u16s values = isPrepared ? load(row + at) : lowered(load(row + at));
        if constexpr (sizeof(Pixel) == 1)
            return addPairs(values, pairsOf<uint16_t>(a, b));
        else
            return addPairs(values, loadWidened(mask + at) * pairsOf<uint16_t>(a, b));
    });
}

} // namespace
