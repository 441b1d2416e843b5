// The kernels of gauss2/kernels/kernels.h, written once for both depths and all processor levels. A file that has
// defined the vectors of its level, pixels<Pixel> and sums<Pixel>, and their operations includes this one and
// gets the kernels; all of it has internal linkage.
//
// pixels<Pixel> holds one vector of pixels. sums<Pixel> holds every second column in lanes of twice the width:
// the even columns of a stretch of pixels lie in one, the odd ones in another, and stay apart until the
// result is stored. So no sum is ever unpacked, and half the resolution is simply the even half.
//
// Sums of 8-bit pixels fit their 16 bits: 256 x 255 + 128 = 65408. The sums of a row of 16-bit pixels may be
// off by `rowBias`, which a level may choose to get by with signed multiplications; it is put right in the
// rounding constant.
#pragma once

#include "gauss2/kernels/kernels.h"

#define gauss2_inlined __attribute__((always_inline))
#define gauss2_inline  gauss2_inlined inline

namespace
{

template <class Pixel>
constexpr int64_t laneCount = sizeof(pixels<Pixel>) / sizeof(Pixel);

// ---- the borders left and right ----

// A row is cut into blocks: the first and the last make up the missing columns from their own, the others
// have what they need beside them.
enum { firstBlock, innerBlock, lastBlock };
template <int Place>
struct place {
};

// Calls block(place, column, index) for blocks of `span` columns that cover 0 .. lastColumn + span - 1. The
// last ones may overlap the one before: their place in what is carried from row to row follows from the index.
template <class Block>
gauss2_inline void overBlocks(int64_t width, int64_t span, int64_t lastColumn, const Block& block)
{
    block(place<firstBlock>{}, int64_t{0}, int64_t{0});
    int64_t column = span;
    int64_t index = 1;
    for (; column + span + 2 <= width; column += span)
        block(place<innerBlock>{}, column, index++);
    if (column < lastColumn) // by one, when the column behind the next block is the row's last
        block(place<innerBlock>{}, lastColumn - 2, index++);
    block(place<lastBlock>{}, lastColumn, index);
}

// The vector of pixels that begins `Offset` columns beside the block's; columns outside are the nearest one.
template <int Place, int Offset, class Pixel>
gauss2_inline pixels<Pixel> pixelsAt(const Pixel* row, int64_t column, int64_t width)
{
    if constexpr (Place == firstBlock && Offset < 0)
        return movedUp<-Offset>(load(row), filled(row[0]));
    else if constexpr (Place == lastBlock && Offset > 0)
        return movedDown<Offset>(load(row + column), filled(row[width - 1]));
    else
        return load(row + column + Offset);
}

// ---- the arithmetic ----

// What the sums of a block are made of: its own pixels, and those two columns to the left and to the right.
template <class Pixel>
struct neighbours {
    pixels<Pixel> left;
    pixels<Pixel> own;
    pixels<Pixel> right;
};

template <int Place, class Pixel>
gauss2_inline neighbours<Pixel> neighboursAt(const Pixel* row, int64_t column, int64_t width)
{
    return {pixelsAt<Place, -2>(row, column, width), pixelsAt<Place, 0>(row, column, width),
            pixelsAt<Place, 2>(row, column, width)};
}

// 1 4 6 4 1 at the even columns, and at the odd ones.
template <class Pixel>
gauss2_inline sums<Pixel> evenSums(const neighbours<Pixel>& at)
{
    return pairs<1, 4>(at.left) + pairs<6, 4>(at.own) + evens(at.right);
}

template <class Pixel>
gauss2_inline sums<Pixel> oddSums(const neighbours<Pixel>& at)
{
    return odds(at.left) + pairs<4, 6>(at.own) + pairs<4, 1>(at.right);
}

// What is added to a sum of weight 16 or 256 to round half up.
template <class Pixel>
gauss2_inline sums<Pixel> rounding16()
{
    return everywhere<Pixel>(8 - rowBias<Pixel>);
}

template <class Pixel>
gauss2_inline sums<Pixel> rounding256()
{
    return everywhere<Pixel>(128 - 16 * rowBias<Pixel>);
}

// (a + 4b + 6c + 4d + e + 8) >> 4 in lanes of the pixels' own width, out of averages. Halving rounds down,
// and what it drops cannot reach the result:
//   the sum is 2m + (0 or 1)  with m = half(a + e) + 3c + 2b + 2d, so the result is (m + 4) >> 3;
//   m       is 2k + (0 or 1)  with k = half(half(a + e) + c) + c + b + d, so it is (k + 2) >> 2;
//   k       is 2x + g + 2z + h  with x = half(half(half(a + e) + c) + c), z = half(b + d), and g and h the
//                             bits that these two drop, so it is (x + z + (g & h) + 1) >> 1.
// The processor's average rounds up; on complements that is rounding down.
template <class Pixel>
gauss2_inline pixels<Pixel> binomial(pixels<Pixel> a, pixels<Pixel> b, pixels<Pixel> c, pixels<Pixel> d,
                                     pixels<Pixel> e)
{
    const pixels<Pixel> notC = ~c;
    const pixels<Pixel> notV = average(average(~a, ~e), notC);
    const pixels<Pixel> x = ~average(notV, notC);
    const pixels<Pixel> hNotG = andNot(b ^ d, notV ^ notC) & ones<Pixel>();
    return average(x, average(b, d) - hNotG);
}

// ---- half resolution in both directions ----

// For every column of the output: a = r[-2] + 4 r[-1] + 6 r[0] and c = r[0], where r[0] is the last source
// row taken. With the next rows d and e and g = 4d + e the output is a + g; then a = c + g + 5e and c = e.
template <class Pixel>
struct halfColumns {
    sums<Pixel> a[2];
    sums<Pixel> c[2];
};

// The even sums of both vectors of a block. In a row of odd width the last block ends one column early, and
// what comes in behind it is the row's last pixel and no repetition.
template <class Pixel>
struct sumsPair {
    sums<Pixel> part[2];
};

template <int Place, class Pixel>
gauss2_inline sumsPair<Pixel> halfBlockSums(const Pixel* row, int64_t column, int64_t width)
{
    constexpr int left = Place == firstBlock ? firstBlock : innerBlock;
    constexpr int right = Place == lastBlock ? lastBlock : innerBlock;
    return {evenSums(neighboursAt<left>(row, column, width)),
            evenSums(neighboursAt<right>(row, column + laneCount<Pixel>, width))};
}

template <class Pixel, class Block>
gauss2_inline void overHalfBlocks(int64_t width, const Block& block)
{
    constexpr int64_t span = 2 * laneCount<Pixel>;
    overBlocks(width, span, (width & ~int64_t{1}) - span, block);
}

template <class Pixel>
void halfStart(const Pixel* row0, int64_t width, void* columns)
{
    auto* const carried = static_cast<halfColumns<Pixel>*>(columns);
    overHalfBlocks<Pixel>(
        width, [=]<int Place>(place<Place>, int64_t column, int64_t index) gauss2_inlined {
            const sumsPair<Pixel> row = halfBlockSums<Place>(row0, column, width);
            for (int i = 0; i < 2; ++i) {
                carried[index].a[i] = shifted<3>(row.part[i]) + shifted<1>(row.part[i]) + row.part[i];
                carried[index].c[i] = row.part[i];
            }
        });
}

template <int Place, class Pixel>
gauss2_inline void halfBlock(const gauss2_sweep<Pixel>& sweep, int64_t column, halfColumns<Pixel>* carried)
{
    halfColumns<Pixel> at = *carried;
    for (int32_t k = 0; k < sweep.count; ++k) {
        const sumsPair<Pixel> d = halfBlockSums<Place>(sweep.source[2 * k], column, sweep.width);
        const sumsPair<Pixel> e = halfBlockSums<Place>(sweep.source[2 * k + 1], column, sweep.width);
        sums<Pixel> result[2];
        for (int i = 0; i < 2; ++i) {
            const sums<Pixel> g = shifted<2>(d.part[i]) + e.part[i];
            result[i] = at.a[i] + rounding256<Pixel>() + g;
            at.a[i] = at.c[i] + g + shifted<2>(e.part[i]) + e.part[i];
            at.c[i] = e.part[i];
        }
        store(sweep.out[k] + column / 2, narrowed<8>(result[0], result[1]));
    }
    *carried = at;
}

template <class Pixel>
void half(const gauss2_sweep<Pixel>* sweep)
{
    auto* const carried = static_cast<halfColumns<Pixel>*>(sweep->columns);
    overHalfBlocks<Pixel>(sweep->width,
                          [=]<int Place>(place<Place>, int64_t column, int64_t index)
                              gauss2_inlined { halfBlock<Place>(*sweep, column, carried + index); });
}

template <class Pixel>
void halfRows(const gauss2_sweep<Pixel>* sweep)
{
    overHalfBlocks<Pixel>(
        sweep->width, [=]<int Place>(place<Place>, int64_t column, int64_t) gauss2_inlined {
            for (int32_t y = 0; y < sweep->count; ++y) {
                const sumsPair<Pixel> row = halfBlockSums<Place>(sweep->source[y], column, sweep->width);
                store(sweep->out[y] + column / 2,
                      narrowed<4>(row.part[0] + rounding16<Pixel>(), row.part[1] + rounding16<Pixel>()));
            }
        });
}

// ---- full resolution ----

// 1 4 6 4 1 down the columns as four sums of two neighbours, one after the other: order[i] is the newest of
// the i-fold sums.
template <class Pixel>
struct binomialChain {
    sums<Pixel> order[4];
};

template <class Pixel>
gauss2_inline sums<Pixel> advanced(binomialChain<Pixel>* chain, sums<Pixel> row)
{
    for (int i = 0; i < 4; ++i) {
        const sums<Pixel> next = chain->order[i] + row;
        chain->order[i] = row;
        row = next;
    }
    return row;
}

// A chain that has taken row 0 for ever, as the border above wants it, and then row 1.
template <class Pixel>
gauss2_inline binomialChain<Pixel> startedChain(sums<Pixel> row0, sums<Pixel> row1)
{
    binomialChain<Pixel> chain = {{row0, shifted<1>(row0), shifted<2>(row0), shifted<3>(row0)}};
    advanced(&chain, row1);
    return chain;
}

template <class Pixel>
struct binomialColumns {
    binomialChain<Pixel> even;
    binomialChain<Pixel> odd;
};

template <class Pixel, class Block>
gauss2_inline void overFullBlocks(int64_t width, const Block& block)
{
    overBlocks(width, laneCount<Pixel>, width - laneCount<Pixel>, block);
}

template <class Pixel>
void binomialStart(const Pixel* row0, const Pixel* row1, int64_t width, void* columns)
{
    auto* const carried = static_cast<binomialColumns<Pixel>*>(columns);
    overFullBlocks<Pixel>(width,
                          [=]<int Place>(place<Place>, int64_t column, int64_t index) gauss2_inlined {
                              const neighbours<Pixel> at0 = neighboursAt<Place>(row0, column, width);
                              const neighbours<Pixel> at1 = neighboursAt<Place>(row1, column, width);
                              carried[index].even = startedChain(evenSums(at0), evenSums(at1));
                              carried[index].odd = startedChain(oddSums(at0), oddSums(at1));
                          });
}

template <int Place, class Pixel>
gauss2_inline void binomialBlock(const gauss2_sweep<Pixel>& sweep, int64_t column,
                                 binomialColumns<Pixel>* carried)
{
    binomialColumns<Pixel> chains = *carried;
    for (int32_t y = 0; y < sweep.count; ++y) {
        const neighbours<Pixel> at = neighboursAt<Place>(sweep.source[y], column, sweep.width);
        const sums<Pixel> even = advanced(&chains.even, evenSums(at)) + rounding256<Pixel>();
        const sums<Pixel> odd = advanced(&chains.odd, oddSums(at)) + rounding256<Pixel>();
        store(sweep.out[y] + column, merged<8>(even, odd));
    }
    *carried = chains;
}

template <class Pixel>
void binomial5x5(const gauss2_sweep<Pixel>* sweep)
{
    auto* const carried = static_cast<binomialColumns<Pixel>*>(sweep->columns);
    overFullBlocks<Pixel>(sweep->width,
                          [=]<int Place>(place<Place>, int64_t column, int64_t index)
                              gauss2_inlined { binomialBlock<Place>(*sweep, column, carried + index); });
}

template <int Place, class Pixel>
gauss2_inline pixels<Pixel> binomialAlong(const Pixel* row, int64_t column, int64_t width)
{
    return binomial(pixelsAt<Place, -2>(row, column, width), pixelsAt<Place, -1>(row, column, width),
                    pixelsAt<Place, 0>(row, column, width), pixelsAt<Place, 1>(row, column, width),
                    pixelsAt<Place, 2>(row, column, width));
}

template <class Pixel>
void rows5x1(const gauss2_sweep<Pixel>* sweep)
{
    overFullBlocks<Pixel>(
        sweep->width, [=]<int Place>(place<Place>, int64_t column, int64_t) gauss2_inlined {
            for (int32_t y = 0; y < sweep->count; ++y)
                store(sweep->out[y] + column, binomialAlong<Place>(sweep->source[y], column, sweep->width));
        });
}

// ---- down the columns ----

template <int Count, int Step, class Pixel>
gauss2_inline void columnBlock(const gauss2_sweep<Pixel>& sweep, int64_t column)
{
    pixels<Pixel> row[Step * (Count - 1) + 5];
    for (int i = 0; i < Step * (Count - 1) + 5; ++i)
        row[i] = load(sweep.source[i] + column);
    for (int k = 0; k < Count; ++k) {
        const pixels<Pixel>* const r = row + Step * k;
        store(sweep.out[k] + column, binomial(r[0], r[1], r[2], r[3], r[4]));
    }
}

template <int Count, int Step, class Pixel>
void columnRows(const gauss2_sweep<Pixel>& sweep)
{
    int64_t column = 0;
    for (; column + laneCount<Pixel> <= sweep.width; column += laneCount<Pixel>)
        columnBlock<Count, Step>(sweep, column);
    if (column < sweep.width)
        columnBlock<Count, Step>(sweep, sweep.width - laneCount<Pixel>);
}

// A sweep of any count, a full one in one go.
template <int Full, int Step, class Pixel>
void columnSweep(const gauss2_sweep<Pixel>* sweep)
{
    if (sweep->count == Full) {
        columnRows<Full, Step>(*sweep);
        return;
    }
    gauss2_sweep<Pixel> one = *sweep;
    for (int32_t k = 0; k < sweep->count; ++k) {
        for (int i = 0; i < 5; ++i)
            one.source[i] = sweep->source[Step * k + i];
        one.out[0] = sweep->out[k];
        columnRows<1, Step>(one);
    }
}

template <class Pixel>
constexpr gauss2_kernels<Pixel> kernelsOfThisLevel()
{
    return {2 * laneCount<Pixel> + 2, halfStart<Pixel>,         half<Pixel>,
            binomialStart<Pixel>,     binomial5x5<Pixel>,       rows5x1<Pixel>,
            halfRows<Pixel>,          columnSweep<4, 1, Pixel>, columnSweep<2, 2, Pixel>};
}

} // namespace
