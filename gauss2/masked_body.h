// The kernels of gauss2/masked_kernels.h, written once for both depths and all vector levels. A file that has
// defined the vectors of its level (bytes, words, longs: lanes of 8, 16 and 32 bits) and their operations
// includes this one and gets the kernels; all of it has internal linkage.
//
// Even and odd columns stay apart: a multiplication that adds adjacent pairs gives the sums centred on the
// even columns, the same one column further those on the odd columns, and a shift and an or merge them when
// they are stored. Sampling the columns is leaving out the odd ones.
//
// Masks are mostly full (255) or empty over whole blocks. A block whose mask was so for as long as a filter
// remembers takes a short way:
//   full   N = 255 S and W = 255 w with S the unmasked sum and w = 16 or 256 the sum of the kernel's weights,
//          so (N + (W >> 1)) / W = (S + w / 2) / w, and only S is summed;
//   empty  there is nothing to sum, and pixels and mask are 0.
#pragma once

#include "gauss2/masked_kernels.h"
#include "gauss2/masked_rows.h"

#include <cstring>

namespace
{

constexpr int blockColumns = sizeof(bytes);
constexpr int laneColumns = blockColumns / 2; // of the even or the odd columns of a block

static_assert(blockColumns <= gauss2_maskedMostBlock);

// ---- sums of one row, or of several ----

// The columns of one parity in a block: N, less a bias, and W.
//
// Multiplications are signed, so N is summed over values that are lower than they are:
//   8 bits   mask * pixel - 32768, hence N - 32768 w with w the weights summed, whatever the mask;
//   16 bits  mask * (pixel - 32768), hence N - 32768 W, at least -32768 * 65280 > -2^31.
struct maskedSums {
    longs n[2];
    words w;
};

// One number a column in lanes of twice the pixel's width: unmasked sums, or pixels. Sums of 16-bit pixels
// are summed over pixel - 32768.
template <class Pixel>
struct numbers;
template <>
struct numbers<uint8_t> {
    words part;
};
template <>
struct numbers<uint16_t> {
    longs part[2];
};

inline maskedSums operator+(const maskedSums& a, const maskedSums& b)
{
    return {{a.n[0] + b.n[0], a.n[1] + b.n[1]}, a.w + b.w};
}

inline maskedSums quadruple(const maskedSums& a)
{
    return {{a.n[0] << 2, a.n[1] << 2}, a.w << 2};
}

inline numbers<uint8_t> operator+(const numbers<uint8_t>& a, const numbers<uint8_t>& b)
{
    return {a.part + b.part};
}

inline numbers<uint8_t> quadruple(const numbers<uint8_t>& a)
{
    return {a.part << 2};
}

inline numbers<uint16_t> operator+(const numbers<uint16_t>& a, const numbers<uint16_t>& b)
{
    return {{a.part[0] + b.part[0], a.part[1] + b.part[1]}};
}

inline numbers<uint16_t> quadruple(const numbers<uint16_t>& a)
{
    return {{a.part[0] << 2, a.part[1] << 2}};
}

// What the weights of a filter sum up to along its columns or rows.
constexpr int weightSum(along direction)
{
    return direction == along::nothing ? 1 : 16;
}

// How far a sum of weights 16 or 256 is shifted.
template <int weights>
constexpr int shiftOf = weights == 256 ? 8 : 4;

constexpr int bias8 = 32768;

// ---- along a row ----

// One source row at the first column of a block.
template <class Pixel>
struct freshRow {
    const Pixel* src;
    const uint8_t* mask;
    const int16_t* products; // 8 bits: mask * pixel - 32768
};

// even * x[0] + odd * x[1], even * x[2] + odd * x[3], ... with x the row from `column` on.
template <int even, int odd>
inline words bytePairs(const uint8_t* row, int column)
{
    const bytes x = loadBytes(row + column);
    if constexpr (even == 0)
        return reinterpret_cast<words>(x) >> 8;
    else if constexpr (odd == 0)
        return reinterpret_cast<words>(x) & wordsOf(0x00ff);
    else
        return addPairs(x, bytePairsOf(even, odd));
}

template <int even, int odd>
inline longs maskedPairs(const freshRow<uint8_t>& row, int column)
{
    return addPairs(loadWords(row.products + column), pairsOf(even, odd));
}

template <int even, int odd>
inline longs maskedPairs(const freshRow<uint16_t>& row, int column)
{
    const words weights = widened(row.mask + column) * pairsOf(even, odd);
    return addPairs(loadWords(row.src + column) ^ wordsOf(0x8000), weights);
}

template <int even, int odd>
inline longs centredPairs(const uint16_t* row, int column)
{
    return addPairs(loadWords(row + column) ^ wordsOf(0x8000), pairsOf(even, odd));
}

// The filter along a row, centred on `column`, `column` + 2, ...; `pairs` is one of the functions above.
template <along columns, bool odd, class Pairs>
inline auto sumColumns(int column, const Pairs& pairs)
{
    if constexpr (columns == along::nothing)
        return pairs.template operator() < odd ? 0 : 1, odd ? 1 : 0 > (column);
    else
        return pairs.template operator()<1, 4>(column + odd - 2) +
               pairs.template operator()<6, 4>(column + odd) +
               pairs.template operator()<1, 0>(column + odd + 2);
}

template <along columns, bool odd>
inline words sumBytes(const uint8_t* row)
{
    return sumColumns<columns, odd>(0, [&]<int a, int b>(int at) { return bytePairs<a, b>(row, at); });
}

template <along columns, bool odd, class Pixel>
inline maskedSums sumMasked(const freshRow<Pixel>& row)
{
    const auto pairs = [&]<int a, int b>(int at) {
        return maskedPairs<a, b>(row, at);
    };
    return {{sumColumns<columns, odd>(0, pairs), sumColumns<columns, odd>(laneColumns, pairs)},
            sumBytes<columns, odd>(row.mask)};
}

template <along columns, bool odd>
inline numbers<uint8_t> sumUnmasked(const freshRow<uint8_t>& row)
{
    return {sumBytes<columns, odd>(row.src)};
}

template <along columns, bool odd>
inline numbers<uint16_t> sumUnmasked(const freshRow<uint16_t>& row)
{
    const auto pairs = [&]<int a, int b>(int at) {
        return centredPairs<a, b>(row.src, at);
    };
    return {{sumColumns<columns, odd>(0, pairs), sumColumns<columns, odd>(laneColumns, pairs)}};
}

// ---- from sums to pixels ----

// (N + (W >> 1)) / W in single precision, 0 when W is 0.
//
// The dividend is at most 256 * 255 * 255 + 32640 < 2^24 and the divisor at most 65280, so both convert
// exactly. With the true quotient x and q its whole part, x <= q + 1 - 1 / 65280 < q + 1 - 2^-16, and the
// number q + 1 - 2^-16 < 256 is a float: the rounded quotient is at most that, in any rounding direction, and
// at least q. Truncation gives q.
template <int weights>
inline numbers<uint8_t> divided(const maskedSums& sums, const uint8_t*)
{
    const words w = sequenced(sums.w);
    const words half = w >> 1;
    const words divisor = w - (w == 0);
    const words bias = wordsOf(bias8 * weights >> 16); // as the upper half of a long
    const words none = wordsOf(0);
    const longs low = truncated(ratio(sums.n[0] + lowLongs(half, bias), lowLongs(divisor, none)));
    const longs high = truncated(ratio(sums.n[1] + highLongs(half, bias), highLongs(divisor, none)));
    return {narrowed(low, high)};
}

// The same for 16-bit pixels, with n = N - 32768 W, so that the quotient is that of n + (W >> 1) plus 32768.
//
// The estimate: n + (W >> 1) becomes a float with a relative error below 2^-23 in any rounding direction, the
// quotient, at most 32768 in size, gets another, together below 2^-7; the sum with 32768 + 31/32 is below
// 2^17 and gets an error below 2^-7. So the estimate is between x + 1 - 1/32 - 1/64 and x + 1 - 1/32 + 1/64,
// x the true quotient plus 32768, and truncation gives q or q + 1 with q the whole part of x. The remainder
// tells which: it is negative for q + 1.
inline longs dividedCentred(longs dividend, longs divisor)
{
    const longs estimate = truncated(ratio(dividend, divisor) + (32768.0f + 31.0f / 32.0f));
    const longs remainder = dividend - (estimate - longsOf(32768)) * divisor;
    return estimate + signs(remainder);
}

template <int>
inline numbers<uint16_t> divided(const maskedSums& sums, const uint16_t*)
{
    // Where W is 0, n is 0 too: -32768 / 1 is what stands for the pixel 0.
    const words w = sequenced(sums.w);
    const words zero = reinterpret_cast<words>(w == 0);
    const words half = (w >> 1) | (zero << 15);
    const words divisor = w - zero;
    const words none = wordsOf(0);
    return {{dividedCentred(sums.n[0] + lowLongs(half, zero), lowLongs(divisor, none)),
             dividedCentred(sums.n[1] + highLongs(half, zero), highLongs(divisor, none))}};
}

// (S + w / 2) / w with w the sum of the weights, a power of two.
template <int weights>
inline numbers<uint8_t> rounded(const numbers<uint8_t>& sums)
{
    return {(sums.part + wordsOf(weights / 2)) >> shiftOf<weights>};
}

template <int weights>
inline numbers<uint16_t> rounded(const numbers<uint16_t>& sums)
{
    const longs half = longsOf(weights / 2 + 32768 * weights);
    return {{(sums.part[0] + half) >> shiftOf<weights>, (sums.part[1] + half) >> shiftOf<weights>}};
}

// ---- the output ----

// The pixels and mask values of the even columns and, when the columns are not sampled, of the odd ones.
template <class Pixel, along columns>
struct output {
    numbers<Pixel> pixels[columns == along::sampled ? 1 : 2];
    words mask[columns == along::sampled ? 1 : 2];
};

template <class Pixel>
struct place {
    Pixel* dst;
    uint8_t* mask;
};

inline void put(const place<uint8_t>& at, const output<uint8_t, along::sampled>& out)
{
    storeBytes(at.dst, at.mask, out.pixels[0].part, out.mask[0]);
}

inline void put(const place<uint16_t>& at, const output<uint16_t, along::sampled>& out)
{
    store(at.dst, narrowed(out.pixels[0].part[0], out.pixels[0].part[1]));
    storeBytes(at.mask, out.mask[0]);
}

template <along columns>
inline void put(const place<uint8_t>& at, const output<uint8_t, columns>& out)
{
    store(at.dst, out.pixels[0].part | (out.pixels[1].part << 8));
    store(at.mask, out.mask[0] | (out.mask[1] << 8));
}

template <along columns>
inline void put(const place<uint16_t>& at, const output<uint16_t, columns>& out)
{
    for (int i = 0; i < 2; ++i)
        store(at.dst + i * laneColumns, out.pixels[0].part[i] | (out.pixels[1].part[i] << 16));
    store(at.mask, out.mask[0] | (out.mask[1] << 8));
}

// ---- what a block remembers ----

// What the mask is over a block of the fresh rows, and what the kept sums of a block are.
enum class cover : uint8_t { empty, full, mixed };

template <class Pixel, along columns, along rows>
struct alignas(64) blockState {
    cover kept;   // full: in `unmasked`; mixed: in `masked`; empty: nowhere
    cover last;   // of the last step
    uint8_t same; // steps in a row that were like the last one, 2 standing for more too
    maskedSums masked[columns == along::sampled ? 1 : 2][keptSums(rows)];
    numbers<Pixel> unmasked[columns == along::sampled ? 1 : 2][keptSums(rows)];
};

template <class Pixel, along columns>
struct alignas(64) blockState<Pixel, columns, along::nothing> {
};

// A kept sum of full masks, and back. 255 is undone by its inverse modulo 2^32.
template <int weights>
inline maskedSums fromUnmasked(const numbers<uint8_t>& sums)
{
    const words s = sequenced(sums.part);
    const longs low = lowLongs(s, wordsOf(0));
    const longs high = highLongs(s, wordsOf(0));
    const longs bias = longsOf(bias8 * weights);
    return {{(low << 8) - low - bias, (high << 8) - high - bias}, wordsOf(255 * weights)};
}

template <int weights>
inline maskedSums fromUnmasked(const numbers<uint16_t>& sums)
{
    return {{(sums.part[0] << 8) - sums.part[0], (sums.part[1] << 8) - sums.part[1]},
            wordsOf(255 * weights)};
}

constexpr int inverseOf255 = -0x01010101;

template <int weights>
inline void toUnmasked(const maskedSums& sums, numbers<uint8_t>* unmasked)
{
    const longs inverse = longsOf(inverseOf255);
    const longs bias = longsOf(bias8 * weights);
    unmasked->part = narrowed((sums.n[0] + bias) * inverse, (sums.n[1] + bias) * inverse);
}

template <int>
inline void toUnmasked(const maskedSums& sums, numbers<uint16_t>* unmasked)
{
    const longs inverse = longsOf(inverseOf255);
    *unmasked = {{sums.n[0] * inverse, sums.n[1] * inverse}};
}

template <int weights>
inline maskedSums emptySums(const uint8_t*)
{
    return {{longsOf(-bias8 * weights), longsOf(-bias8 * weights)}, wordsOf(0)};
}

template <int>
inline maskedSums emptySums(const uint16_t*)
{
    return {{longsOf(0), longsOf(0)}, wordsOf(0)};
}

// Brings the kept sum number `index` of one parity into another form.
template <int index, class Pixel, along columns, along rows>
inline void convertSum(blockState<Pixel, columns, rows>* state, int parity, cover to)
{
    constexpr int weights = weightSum(columns) * keptWeights<rows>[index];
    maskedSums* const masked = &state->masked[parity][index];
    numbers<Pixel>* const unmasked = &state->unmasked[parity][index];
    if (to == cover::full)
        toUnmasked<weights>(*masked, unmasked);
    else if (to == cover::mixed && state->kept == cover::full)
        *masked = fromUnmasked<weights>(*unmasked);
    else if (to == cover::mixed)
        *masked = emptySums<weights>(static_cast<const Pixel*>(nullptr));
}

template <class Pixel, along columns, along rows>
void convertKept(blockState<Pixel, columns, rows>* state, cover to)
{
    for (int parity = 0; parity < (columns == along::sampled ? 1 : 2); ++parity) {
        convertSum<0>(state, parity, to);
        convertSum<1>(state, parity, to);
        if constexpr (rows == along::all) {
            convertSum<2>(state, parity, to);
            convertSum<3>(state, parity, to);
        }
    }
    state->kept = to;
}

// ---- one block ----

template <along columns>
constexpr int outColumns = columns == along::sampled ? laneColumns : blockColumns;

template <class Pixel, along columns, along rows>
inline void emptyBlock(const place<Pixel>* at)
{
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memset(at[i].dst, 0, outColumns<columns> * sizeof(Pixel));
        std::memset(at[i].mask, 0, outColumns<columns>);
    }
}

template <bool odd, class Pixel, along columns, along rows>
inline void fullColumns(const freshRow<Pixel>* fresh, blockState<Pixel, columns, rows>* state,
                        output<Pixel, columns>* out)
{
    constexpr int weights = weightSum(columns) * weightSum(rows);
    numbers<Pixel>* kept = nullptr;
    if constexpr (rows != along::nothing)
        kept = state->unmasked[odd];
    numbers<Pixel> sums[2];
    sumRows<rows>(kept, sumUnmasked<columns, odd>(fresh[0]), sumUnmasked<columns, odd>(fresh[1]), sums);
    for (int i = 0; i < rowsOut(rows); ++i) {
        out[i].pixels[odd] = rounded<weights>(sums[i]);
        out[i].mask[odd] = wordsOf(255);
    }
}

template <bool odd, class Pixel, along columns, along rows>
inline void mixedColumns(const freshRow<Pixel>* fresh, blockState<Pixel, columns, rows>* state,
                         output<Pixel, columns>* out)
{
    constexpr int weights = weightSum(columns) * weightSum(rows);
    maskedSums* kept = nullptr;
    if constexpr (rows != along::nothing)
        kept = state->masked[odd];
    maskedSums sums[2];
    sumRows<rows>(kept, sumMasked<columns, odd>(fresh[0]), sumMasked<columns, odd>(fresh[1]), sums);
    for (int i = 0; i < rowsOut(rows); ++i) {
        out[i].pixels[odd] = divided<weights>(sums[i], static_cast<const Pixel*>(nullptr));
        out[i].mask[odd] = (sums[i].w + wordsOf(weights / 2)) >> shiftOf<weights>;
    }
}

template <class Pixel, along columns, along rows>
inline void fullBlock(const freshRow<Pixel>* fresh, blockState<Pixel, columns, rows>* state,
                      const place<Pixel>* at)
{
    output<Pixel, columns> out[2];
    fullColumns<false>(fresh, state, out);
    if constexpr (columns != along::sampled)
        fullColumns<true>(fresh, state, out);
    for (int i = 0; i < rowsOut(rows); ++i)
        put(at[i], out[i]);
}

template <class Pixel, along columns, along rows>
inline void mixedBlock(const freshRow<Pixel>* fresh, blockState<Pixel, columns, rows>* state,
                       const place<Pixel>* at)
{
    output<Pixel, columns> out[2];
    mixedColumns<false>(fresh, state, out);
    if constexpr (columns != along::sampled)
        mixedColumns<true>(fresh, state, out);
    for (int i = 0; i < rowsOut(rows); ++i)
        put(at[i], out[i]);
}

// ---- a step ----

// What the mask is over all columns that a block reads, in both rows.
inline cover coverOf(const uint8_t* d, const uint8_t* e)
{
    constexpr int right = gauss2_maskedAfter; // the second load ends with the last column
    const bytes a = loadBytes(d - gauss2_maskedBefore);
    const bytes b = loadBytes(d + right);
    const bytes a2 = loadBytes(e - gauss2_maskedBefore);
    const bytes b2 = loadBytes(e + right);
    if (isFull((a & b) & (a2 & b2)))
        return cover::full;
    return isEmpty((a | b) | (a2 | b2)) ? cover::empty : cover::mixed;
}

// How a block goes through this step; brings its kept sums into the form for it. Kept sums take a short
// form again when both steps that they hold were of that kind.
template <class Pixel, along columns, along rows>
inline cover planBlock(blockState<Pixel, columns, rows>* state, cover fresh)
{
    if constexpr (rows == along::nothing) {
        return fresh;
    } else {
        const bool same = fresh == state->last;
        const cover plan = same && state->same == 2 ? fresh : cover::mixed;
        if (plan != state->kept)
            convertKept(state, plan);
        state->same = same ? (state->same < 2 ? state->same + 1 : 2) : 1;
        state->last = fresh;
        return plan;
    }
}

constexpr int groupBlocks = 8;

// mask * pixel - 32768 of a group of blocks in both rows; column 0 is at gauss2_maskedBefore. They are worked
// out before the sums, since a load that straddles two stores has to wait for both.
struct alignas(64) groupProducts {
    int16_t row[2][groupBlocks * blockColumns + gauss2_maskedBefore + gauss2_maskedAfter];
};

inline void multiplyBlock(const freshRow<uint8_t>& row, int16_t* products)
{
    constexpr int columns[3] = {-gauss2_maskedBefore, laneColumns - gauss2_maskedBefore,
                                blockColumns + gauss2_maskedAfter - laneColumns};
    for (const int column : columns)
        store(products + column,
              (widened(row.src + column) * widened(row.mask + column)) ^ wordsOf(0x8000));
}

template <class Pixel>
inline void rowsAt(const gauss2_maskedStep<Pixel>* step, int64_t column, freshRow<Pixel>* fresh)
{
    for (int i = 0; i < 2; ++i)
        fresh[i] = {step->src[i] + column, step->mask[i] + column, nullptr};
}

template <class Pixel, along columns, along rows>
inline void runGroup(const gauss2_maskedStep<Pixel>* step, int64_t first, int count)
{
    auto* const states = reinterpret_cast<blockState<Pixel, columns, rows>*>(step->state) + first;
    groupProducts products;
    cover plan[groupBlocks];
    for (int i = 0; i < count; ++i) {
        freshRow<Pixel> fresh[2];
        rowsAt(step, (first + i) * blockColumns, fresh);
        plan[i] = planBlock(states + i, coverOf(fresh[0].mask, fresh[1].mask));
        if constexpr (sizeof(Pixel) == 1) {
            if (plan[i] == cover::mixed)
                for (int r = 0; r < 2; ++r)
                    multiplyBlock(fresh[r], products.row[r] + i * blockColumns + gauss2_maskedBefore);
        }
    }
    for (int i = 0; i < count; ++i) {
        const int64_t out = (first + i) * outColumns<columns>;
        const place<Pixel> at[2] = {{step->dst[0] + out, step->dstMask[0] + out},
                                    {step->dst[1] + out, step->dstMask[1] + out}};
        freshRow<Pixel> fresh[2];
        rowsAt(step, (first + i) * blockColumns, fresh);
        for (int r = 0; r < 2; ++r)
            fresh[r].products = products.row[r] + i * blockColumns + gauss2_maskedBefore;
        if (plan[i] == cover::full)
            fullBlock(fresh, states + i, at);
        else if (plan[i] == cover::mixed)
            mixedBlock(fresh, states + i, at);
        else
            emptyBlock<Pixel, columns, rows>(at);
    }
}

template <class Pixel, along columns, along rows>
void runStep(const gauss2_maskedStep<Pixel>* step)
{
    for (int64_t first = 0; first < step->blocks; first += groupBlocks) {
        const int64_t left = step->blocks - first;
        runGroup<Pixel, columns, rows>(step, first,
                                       left < groupBlocks ? static_cast<int>(left) : groupBlocks);
    }
}

template <class Pixel, along columns, along rows>
constexpr gauss2_maskedKernel<Pixel> kernelOf()
{
    return {runStep<Pixel, columns, rows>,
            rows == along::nothing ? 0 : int64_t{sizeof(blockState<Pixel, columns, rows>)}};
}

template <class Pixel>
void fillKernels(gauss2_maskedKernels<Pixel>* kernels)
{
    kernels->block = blockColumns;
    kernels->half = kernelOf<Pixel, along::sampled, along::sampled>();
    kernels->halfX = kernelOf<Pixel, along::sampled, along::nothing>();
    kernels->halfY = kernelOf<Pixel, along::nothing, along::sampled>();
    kernels->full5x5 = kernelOf<Pixel, along::all, along::all>();
    kernels->full5x1 = kernelOf<Pixel, along::all, along::nothing>();
    kernels->full1x5 = kernelOf<Pixel, along::nothing, along::all>();
}

} // namespace
