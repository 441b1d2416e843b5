// The masked kernels along a row: sums of adjacent columns of one block.
//
// Even and odd columns stay apart: a multiplication that adds adjacent pairs gives the sums centred on the
// even columns, the same one column further those on the odd columns, and a shift and an or merge them when
// they are stored. Sampling the columns is leaving out the odd ones. Internal linkage; needs the operations of
// a level (gauss2/masked_body.h).
#pragma once

#include "gauss2/masked_kernels.h"
#include "gauss2/masked_rows.h"
#include "gauss2/masked_vectors.h"

namespace
{

constexpr int blockColumns = sizeof(bytes);
constexpr int laneColumns = blockColumns / 2; // the even or the odd columns of a block

static_assert(blockColumns <= gauss2_maskedMostBlock);

// Numbers of one parity, one a column, lie in lanes of twice the pixel's width: so many vectors of them.
template <class Pixel>
using lanes = std::conditional_t<sizeof(Pixel) == 1, words, longs>;
template <class Pixel>
constexpr int laneParts = sizeof(Pixel);

// One source row from the first column of a block on.
template <class Pixel>
struct freshRow {
    const Pixel* src;
    const uint8_t* mask;
    const int16_t* products; // 8 bits: mask * pixel - bias8
};

// Multiplications are signed, so they take values that are lower than they are:
//   8 bits   mask * pixel - 32768: a sum with weights w is N - 32768 w, whatever the mask;
//   16 bits  mask * (pixel - 32768): a sum is N - 32768 W, at least -32768 * 65280 > -2^31;
//            unmasked, pixel - 32768: a sum S is less by 32768 w.
constexpr int bias8 = 32768;

inline words centred(words pixels)
{
    return pixels ^ wordsOf(0x8000);
}

// even * x[0] + odd * x[1], even * x[2] + odd * x[3], ... of values that are bytes, mask * pixel, and pixels
// of 16 bits.
inline words bytePairs(const uint8_t* x, int even, int odd)
{
    if (even == 0 && odd == 1)
        return reinterpret_cast<words>(loadBytes(x)) >> 8;
    if (even == 1 && odd == 0)
        return reinterpret_cast<words>(loadBytes(x)) & wordsOf(0x00ff);
    return addPairs(loadBytes(x), bytePairsOf(even, odd));
}

inline longs maskedPairs(const freshRow<uint8_t>& row, int column, int even, int odd)
{
    return addPairs(loadWords(row.products + column), pairsOf(even, odd));
}

inline longs maskedPairs(const freshRow<uint16_t>& row, int column, int even, int odd)
{
    return addPairs(centred(loadWords(row.src + column)), widened(row.mask + column) * pairsOf(even, odd));
}

inline longs wordPairs(const uint16_t* x, int even, int odd)
{
    return addPairs(centred(loadWords(x)), pairsOf(even, odd));
}

// The filter along a row for the columns of one parity, from `column` on; `pairs` is one of the above.
template <along columns, bool odd, class Pairs>
inline auto filtered(int column, const Pairs& pairs)
{
    if constexpr (columns == along::nothing)
        return pairs(column, odd ? 0 : 1, odd ? 1 : 0);
    else
        return pairs(column + odd - 2, 1, 4) + pairs(column + odd, 6, 4) + pairs(column + odd + 2, 1, 0);
}

// W, N and S. N has two parts for both depths, S laneParts.
template <along columns, bool odd>
inline words sumWeights(const uint8_t* mask)
{
    return filtered<columns, odd>(0, [=](int at, int a, int b) { return bytePairs(mask + at, a, b); });
}

template <along columns, bool odd, class Pixel>
inline longs sumMasked(const freshRow<Pixel>& row, int part)
{
    return filtered<columns, odd>(part * laneColumns,
                                  [&](int at, int a, int b) { return maskedPairs(row, at, a, b); });
}

template <along columns, bool odd>
inline words sumUnmasked(const freshRow<uint8_t>& row, int)
{
    return sumWeights<columns, odd>(row.src);
}

template <along columns, bool odd>
inline longs sumUnmasked(const freshRow<uint16_t>& row, int part)
{
    return filtered<columns, odd>(part * laneColumns,
                                  [&](int at, int a, int b) { return wordPairs(row.src + at, a, b); });
}

} // namespace
