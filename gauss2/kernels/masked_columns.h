// The masked kernels along a row: sums of adjacent columns of one block.
//
// Even and odd columns stay apart: a multiplication that adds adjacent pairs gives the sums centred on the
// even columns, the same one column further those on the odd columns, and a shift and an or merge them when
// they are stored. Sampling the columns is leaving out the odd ones. Internal linkage; needs the operations of
// a level (gauss2/kernels/masked_body.h).
#pragma once

#include "gauss2/kernels/masked_kernels.h"
#include "gauss2/kernels/masked_rows.h"
#include "gauss2/kernels/masked_vectors.h"

namespace
{

inline constexpr int blockColumns = sizeof(bytes);
inline constexpr int laneColumns = blockColumns / 2; // the even or the odd columns of a block

static_assert(blockColumns <= gauss2_maskedMostBlock);

// What the mask is over a block: 0 everywhere, 255 everywhere, 0 or 255, anything.
enum class cover : uint8_t { unknown, empty, full, binary, mixed };

// Sums over 0 and 255 are 255 times the sums S over the pixels that are not masked out; only masks of anything
// need the sums N of mask * pixel. S lies in lanes of twice the pixel's width, N in lanes of 32 bits.
template <cover kind, class Pixel>
using lanes = std::conditional_t<kind == cover::mixed || sizeof(Pixel) == 2, longs, words>;
template <cover kind, class Pixel>
constexpr int laneParts = kind == cover::mixed || sizeof(Pixel) == 2 ? 2
                                                                     : 1; // for the columns of one parity

// Multiplications are signed, so they take values that are lower than they are:
//   N, 8 bits   mask * pixel - 32768: the sum is N - 32768 w, w the weights summed, whatever the mask;
//   N, 16 bits  mask * (pixel - 32768): the sum is N - 32768 W, at least -32768 * 65280 > -2^31;
//   S, 16 bits  pixel - 32768, masked out or not: the sum is S - 32768 W / 255.
// S of 8 bits is as it is.
inline constexpr int bias8 = 32768;

inline words centred(words pixels)
{
    return pixels ^ wordsOf(0x8000);
}

// A source row with its mask. Under a mask of anything, 8-bit pixels are multiplied with it once for all sums:
// `products` are those in its place.
template <class Pixel>
struct freshRow {
    const Pixel* src;
    const uint8_t* mask;
    const uint16_t* products;
};

// ---- pairs of columns: even * x[0] + odd * x[1], even * x[2] + odd * x[3], ... ----

inline words bytePairs(bytes x, int even, int odd)
{
    if (even == 0 && odd == 1)
        return reinterpret_cast<words>(x) >> 8;
    if (even == 1 && odd == 0)
        return reinterpret_cast<words>(x) & wordsOf(0x00ff);
    return addPairs(x, bytePairsOf(even, odd));
}

template <cover kind>
inline lanes<kind, uint8_t> pairsAt(const freshRow<uint8_t>& row, int column, int even, int odd)
{
    if constexpr (kind == cover::mixed)
        return addPairs(loadWords(row.products + column), pairsOf(even, odd));
    else if constexpr (kind == cover::binary)
        return bytePairs(loadBytes(row.src + column) & loadBytes(row.mask + column), even, odd);
    else
        return bytePairs(loadBytes(row.src + column), even, odd);
}

template <cover kind>
inline longs pairsAt(const freshRow<uint16_t>& row, int column, int even, int odd)
{
    const words pixels = centred(loadWords(row.src + column));
    if constexpr (kind == cover::mixed)
        return addPairs(pixels, widened(row.mask + column) * pairsOf(even, odd));
    else if constexpr (kind == cover::binary)
        return addPairs(pixels & signWidened(row.mask + column), pairsOf(even, odd));
    else
        return addPairs(pixels, pairsOf(even, odd));
}

// ---- the filter along a row, for the columns of one parity ----

template <along columns, bool odd, class Pairs>
inline auto filtered(int column, const Pairs& pairs)
{
    if constexpr (columns == along::nothing)
        return pairs(column, odd ? 0 : 1, odd ? 1 : 0);
    else
        return pairs(column + odd - 2, 1, 4) + pairs(column + odd, 6, 4) + pairs(column + odd + 2, 1, 0);
}

template <cover kind, along columns, bool odd, class Pixel>
inline lanes<kind, Pixel> sumPixels(const freshRow<Pixel>& row, int part)
{
    return filtered<columns, odd>(
        part * laneColumns, [&](int column, int a, int b) { return pairsAt<kind>(row, column, a, b); });
}

template <along columns, bool odd>
inline words sumMask(const uint8_t* mask)
{
    return filtered<columns, odd>(
        0, [=](int column, int a, int b) { return bytePairs(loadBytes(mask + column), a, b); });
}

} // namespace
