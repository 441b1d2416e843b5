// The unmasked kernels of gauss2/kernels/kernels.h, written once for both depths and all processor levels.
// A file that has included the lanes of its level includes this one and gets the kernels; all of it has
// internal linkage.
//
// The sums of the even columns are in one register, those of the odd columns in another, in lanes of twice
// the pixels' width. They stay apart until the result is stored: no sum has to be unpacked, and half
// resolution just leaves the odd ones out.
//
// Sums of 8-bit pixels fit their 16 bits: 256 x 255 + 128 = 65408. Multiplications are signed, so the sums
// of a row of 16-bit pixels differ from the true ones by `rowBias`; the rounding constant takes that off.
#pragma once

#include "gauss2/binomial.h"
#include "gauss2/kernels/kernels.h"

namespace
{

// ---- the borders left and right ----

// A row is cut into blocks. A block also needs the two columns on either side of it. An inner block reads
// them from the row; the first and the last block repeat the pixel at the row's end.
enum class side { left, inner, right };
template <side which>
struct sideTag {
};

// Calls block(tag, column, index) for blocks of `span` columns that cover 0 .. lastColumn + span - 1. The
// last two may overlap the block before them; the sums that are kept of a block are found by its index.
template <class Block>
lanes_inline void overBlocks(int64_t width, int64_t span, int64_t lastColumn, const Block& block)
{
    block(sideTag<side::left>{}, int64_t{0}, int64_t{0});
    int64_t column = span;
    int64_t index = 1;
    for (; column + span + 2 <= width; column += span)
        block(sideTag<side::inner>{}, column, index++);
    // One column may be left between these blocks and the last one. An inner block that began there would
    // read beyond the row, so it begins two columns before the last one.
    if (column < lastColumn)
        block(sideTag<side::inner>{}, lastColumn - 2, index++);
    block(sideTag<side::right>{}, lastColumn, index);
}

// The pixels `offset` columns to the right of the block's own; a column outside the row reads the pixel at
// the row's end.
template <side which, int offset, class Pixel>
lanes_inline lanesOf<Pixel> pixelsAt(const Pixel* row, int64_t column, int64_t width)
{
    if constexpr (which == side::left && offset < 0)
        return movedUp<-offset>(load(row), filled(row[0]));
    else if constexpr (which == side::right && offset > 0)
        return movedDown<offset>(load(row + column), filled(row[width - 1]));
    else
        return load(row + column + offset);
}

// ---- the arithmetic ----

template <class Pixel>
using sumsOf = std::conditional_t<sizeof(Pixel) == 1, u16s, u32s>;

// A pixel p of 16 bits is multiplied as the signed number p - 32768. Of the weights, 16 in all, one weight
// of 1 takes p itself, without a multiplication; so the sum of a row is 15 * 32768 too small.
template <class Pixel>
constexpr int rowBias = sizeof(Pixel) == 1 ? 0 : -15 * 32768;

template <class Pixel>
lanes_inline sumsOf<Pixel> weightedPairs(lanesOf<Pixel> pixels, int even, int odd)
{
    if (even == 0)
        return odds(pixels);
    if (odd == 0)
        return evens(pixels);
    if constexpr (sizeof(Pixel) == 1)
        return addPairs(pixels, pairsOf<Pixel>(even, odd));
    else
        return addPairs(lowered(pixels), pairsOf<Pixel>(even, odd));
}

// Sums of a row: those of the even and those of the odd columns of one register of pixels, or those of the
// even columns of two registers of pixels.
template <class Sums>
struct twoSums {
    Sums part[2];
};

template <class Sums>
lanes_inline twoSums<Sums> operator+(const twoSums<Sums>& a, const twoSums<Sums>& b)
{
    return {{a.part[0] + b.part[0], a.part[1] + b.part[1]}};
}

template <class Sums>
lanes_inline twoSums<Sums> operator<<(const twoSums<Sums>& a, int bits)
{
    return {{a.part[0] << bits, a.part[1] << bits}};
}

// 1 4 6 4 1 at the even columns of the register of pixels at `column`, or at the odd ones.
template <side which, bool odd, class Pixel>
lanes_inline sumsOf<Pixel> sumsAt(const Pixel* row, int64_t column, int64_t width)
{
    return gauss2_sumAlong<gauss2_along::all, odd>([=](int offset, int a, int b) lanes_inlined {
        return weightedPairs<Pixel>(offset < 0   ? pixelsAt<which, -2>(row, column, width)
                                    : offset > 0 ? pixelsAt<which, 2>(row, column, width)
                                                 : pixelsAt<which, 0>(row, column, width),
                                    a, b);
    });
}

// What is added to a sum of weight 16 or 256 before the shift: the half that rounds, and the bias that its
// rows lack.
template <int shift, class Pixel>
lanes_inline sumsOf<Pixel> rounding()
{
    using Sum = std::conditional_t<sizeof(Pixel) == 1, uint16_t, uint32_t>;
    return filled(static_cast<Sum>((1 << shift >> 1) - (shift == 8 ? 16 : 1) * rowBias<Pixel>));
}

// (a + 4b + 6c + 4d + e + 8) >> 4 in lanes of the pixels' own width, out of averages. Halving rounds down,
// and what it drops cannot reach the result:
//   the sum is 2m + (0 or 1)  with m = half(a + e) + 3c + 2b + 2d, so the result is (m + 4) >> 3;
//   m       is 2k + (0 or 1)  with k = half(half(a + e) + c) + c + b + d, so it is (k + 2) >> 2;
//   k       is 2x + g + 2z + h  with x = half(half(half(a + e) + c) + c), z = half(b + d), and g and h the
//                             bits that these two drop, so it is (x + z + (g & h) + 1) >> 1.
// average() rounds up; on complements that is rounding down.
template <class Lanes>
lanes_inline Lanes roundedSumOfFive(Lanes a, Lanes b, Lanes c, Lanes d, Lanes e)
{
    const Lanes notC = ~c;
    const Lanes notV = average(average(~a, ~e), notC);
    const Lanes x = ~average(notV, notC);
    const Lanes one = Lanes{} + 1;
    const Lanes hNotG = andNot(b ^ d, notV ^ notC) & one;
    return average(x, average(b, d) - hNotG);
}

// ---- half resolution along the rows ----

// The even columns of a block of two registers of pixels. In a row of odd width the last block ends one
// column before the row does; the pixel at the row's end, which pixelsAt brings in, is then the very next
// one.
template <side which, class Pixel>
lanes_inline twoSums<sumsOf<Pixel>> evenSumsAt(const Pixel* row, int64_t column, int64_t width)
{
    constexpr side left = which == side::left ? side::left : side::inner;
    constexpr side right = which == side::right ? side::right : side::inner;
    return {{sumsAt<left, false>(row, column, width),
             sumsAt<right, false>(row, column + laneCount<Pixel>, width)}};
}

template <class Pixel, class Block>
lanes_inline void overDoubleBlocks(int64_t width, const Block& block)
{
    constexpr int64_t span = 2 * laneCount<Pixel>;
    overBlocks(width, span, (width & ~int64_t{1}) - span, block);
}

template <int shift, class Pixel>
lanes_inline void storeEvens(const twoSums<sumsOf<Pixel>>& sums, Pixel* to)
{
    const auto half = rounding<shift, Pixel>();
    store(to, narrowed((sums.part[0] + half) >> shift, (sums.part[1] + half) >> shift));
}

template <class Pixel>
void half(const gauss2_sweep<Pixel>* sweep)
{
    using sums = twoSums<sumsOf<Pixel>>;
    const gauss2_sweep<Pixel>& rows = *sweep;
    auto* const kept = reinterpret_cast<sums(*)[gauss2_keptSums<gauss2_along::sampled>]>(rows.state);
    overDoubleBlocks<Pixel>(
        rows.width, [&]<side which>(sideTag<which>, int64_t column, int64_t index) lanes_inlined {
            gauss2_sumDown<gauss2_along::sampled, gauss2_mostFreshRows>(
                kept[index],
                [&](int i) lanes_inlined {
                    return evenSumsAt<which>(rows.source[gauss2_rowsBefore + i], column, rows.width);
                },
                [&](int i, const sums& sum)
                    lanes_inlined { storeEvens<8, Pixel>(sum, rows.out[i] + column / 2); });
        });
}

template <class Pixel>
void halfX(const gauss2_sweep<Pixel>* sweep)
{
    const gauss2_sweep<Pixel>& rows = *sweep;
    overDoubleBlocks<Pixel>(rows.width, [&]<side which>(sideTag<which>, int64_t column,
                                                        int64_t) lanes_inlined {
        for (int i = 0; i < gauss2_mostOutputRows; ++i)
            storeEvens<4, Pixel>(evenSumsAt<which>(rows.source[gauss2_rowsBefore + i], column, rows.width),
                                 rows.out[i] + column / 2);
    });
}

// ---- full resolution ----

template <class Pixel, class Block>
lanes_inline void overSingleBlocks(int64_t width, const Block& block)
{
    overBlocks(width, laneCount<Pixel>, width - laneCount<Pixel>, block);
}

template <class Pixel>
void full5x5(const gauss2_sweep<Pixel>* sweep)
{
    using sums = twoSums<sumsOf<Pixel>>;
    const gauss2_sweep<Pixel>& rows = *sweep;
    auto* const kept = reinterpret_cast<sums(*)[gauss2_keptSums<gauss2_along::all>]>(rows.state);
    overSingleBlocks<Pixel>(rows.width,
                            [&]<side which>(sideTag<which>, int64_t column, int64_t index) lanes_inlined {
                                gauss2_sumDown<gauss2_along::all, gauss2_mostOutputRows>(
                                    kept[index],
                                    [&](int i) lanes_inlined {
                                        const Pixel* const row = rows.source[gauss2_rowsBefore + i];
                                        return sums{{sumsAt<which, false>(row, column, rows.width),
                                                     sumsAt<which, true>(row, column, rows.width)}};
                                    },
                                    [&](int i, const sums& sum) lanes_inlined {
                                        constexpr int up = 8 * static_cast<int>(sizeof(Pixel)) - 8;
                                        const auto even = (sum.part[0] + rounding<8, Pixel>()) >> 8;
                                        const auto odd = (sum.part[1] + rounding<8, Pixel>()) << up;
                                        store(rows.out[i] + column, mergedUpper(even, odd));
                                    });
                            });
}

template <class Pixel>
void full5x1(const gauss2_sweep<Pixel>* sweep)
{
    const gauss2_sweep<Pixel>& rows = *sweep;
    overSingleBlocks<Pixel>(
        rows.width, [&]<side which>(sideTag<which>, int64_t column, int64_t) lanes_inlined {
            for (int i = 0; i < gauss2_mostOutputRows; ++i) {
                const Pixel* const row = rows.source[gauss2_rowsBefore + i];
                store(rows.out[i] + column, roundedSumOfFive(pixelsAt<which, -2>(row, column, rows.width),
                                                             pixelsAt<which, -1>(row, column, rows.width),
                                                             pixelsAt<which, 0>(row, column, rows.width),
                                                             pixelsAt<which, 1>(row, column, rows.width),
                                                             pixelsAt<which, 2>(row, column, rows.width)));
            }
        });
}

// ---- down the columns only ----

template <int step, class Pixel>
lanes_inline void columnBlock(const gauss2_sweep<Pixel>& rows, int64_t column)
{
    constexpr int outputs = gauss2_mostOutputRows / step;
    constexpr int rowsRead = step * (outputs - 1) + 5;
    constexpr int first = step - 1; // the sampled filter does not need the first of the rows before
    lanesOf<Pixel> row[rowsRead];
    for (int i = 0; i < rowsRead; ++i)
        row[i] = load(rows.source[first + i] + column);
    for (int i = 0; i < outputs; ++i) {
        const lanesOf<Pixel>* const r = row + step * i;
        store(rows.out[i] + column, roundedSumOfFive(r[0], r[1], r[2], r[3], r[4]));
    }
}

template <int step, class Pixel>
void columnRows(const gauss2_sweep<Pixel>* sweep)
{
    const gauss2_sweep<Pixel>& rows = *sweep;
    constexpr int64_t span = laneCount<Pixel>;
    int64_t column = 0;
    for (; column + span <= rows.width; column += span)
        columnBlock<step>(rows, column);
    if (column < rows.width)
        columnBlock<step>(rows, rows.width - span);
}

// ---- the table ----

// The bytes kept for a row: one record for each block of `span` columns, as many as cover the row, and two
// more, since the last two blocks may overlap others.
template <class Kept, int64_t span>
int64_t keptBytes(int64_t width)
{
    return (width / span + 3) * int64_t{sizeof(Kept)};
}

template <class Pixel>
constexpr gauss2_kernels<gauss2_sweep<Pixel>> unmaskedKernels()
{
    using sums = twoSums<sumsOf<Pixel>>;
    constexpr int64_t span = laneCount<Pixel>;
    return {
        .leastWidth = 2 * span + 2,
        .half = {half<Pixel>, 4, keptBytes<sums[gauss2_keptSums<gauss2_along::sampled>], 2 * span>},
        .halfX = {halfX<Pixel>, 4, nullptr},
        .halfY = {columnRows<2, Pixel>, 2, nullptr},
        .full5x5 = {full5x5<Pixel>, 4, keptBytes<sums[gauss2_keptSums<gauss2_along::all>], span>},
        .full5x1 = {full5x1<Pixel>, 4, nullptr},
        .full1x5 = {columnRows<1, Pixel>, 4, nullptr},
    };
}

} // namespace
