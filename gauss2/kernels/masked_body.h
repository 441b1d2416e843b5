// The kernels of gauss2/kernels/masked_kernels.h, written once for both depths and all vector levels. A file that has
// defined the operations of its level on the vectors of gauss2/kernels/masked_vectors.h includes this one and gets the
// kernels; all of it has internal linkage.
//
// Most masks hold 0 and 255 only, mostly over whole blocks, so there are four ways through a block. With S the
// sum over the pixels that are not masked out, and w = 16 or 256 the sum of the kernel's weights:
//   empty   there is nothing to sum, pixels and mask are 0;
//   full    N = 255 S and W = 255 w, so the pixel is (S + w / 2) / w, a shift;
//   binary  N = 255 S and W = 255 V, so it is (S + (V >> 1)) / V, since ((2 V + 1) * 255 >> 1) / 255 is V too;
//   mixed   the general case.
// A filter that sums over rows takes a way when the masks of this step and of the rows that it keeps allow it.
#pragma once

#include "gauss2/kernels/masked_columns.h"
#include "gauss2/kernels/masked_kept.h"
#include "gauss2/kernels/masked_kernels.h"
#include "gauss2/kernels/masked_quotient.h"
#include "gauss2/kernels/masked_rows.h"

#include <cstring>

namespace
{

// ---- from sums to pixels ----

// How far a sum of weights 16 or 256 is shifted.
template <int weights>
constexpr int shiftOf = weights == 256 ? 8 : 4;

// (S + w / 2) / w.
template <int weights>
inline words rounded(words sum)
{
    return (sum + wordsOf(weights / 2)) >> shiftOf<weights>;
}

template <int weights>
inline longs rounded(longs sum)
{
    return (sum + longsOf(weights / 2 + 32768 * weights)) >> shiftOf<weights>;
}

// The sums of the columns of one parity of an output row.
template <cover kind, class Pixel>
struct maskedSums {
    lanes<kind, Pixel> sum[laneParts<kind, Pixel>]; // N or S, less the bias
    words w;
};

// Pixels in the lanes that they are stored from.
template <class Pixel>
struct pixelLanes {
    lanes<cover::full, Pixel> part[laneParts<cover::full, Pixel>];
};

// V = W / 255 for W = 255 V, V up to 256; 1 for W = 0, where S is 0.
inline words validWeights(words w)
{
    return (w >> 8) + wordsOf(1);
}

template <int>
inline pixelLanes<uint8_t> divided(const maskedSums<cover::binary, uint8_t>& sums)
{
    const words v = sequenced(validWeights(sums.w));
    const words dividend = sequenced(sums.sum[0]) + (v >> 1); // at most 255 * 256 + 128
    const words none = wordsOf(0);
    return {narrowed(dividedSmall(lowLongs(dividend, none), lowLongs(v, none)),
                     dividedSmall(highLongs(dividend, none), highLongs(v, none)))};
}

template <int>
inline pixelLanes<uint16_t> divided(const maskedSums<cover::binary, uint16_t>& sums)
{
    // S + (V >> 1) + 32768 V, at most 65535 * 256 + 128; the last term is 0 where W is.
    const words w = sequenced(sums.w);
    const words v = validWeights(w);
    const words truly = v + reinterpret_cast<words>(w == 0);
    const words low = (truly >> 1) | (truly << 15);
    const words high = truly >> 1;
    const words none = wordsOf(0);
    return {dividedSmall(sums.sum[0] + lowLongs(low, high), lowLongs(v, none)),
            dividedSmall(sums.sum[1] + highLongs(low, high), highLongs(v, none))};
}

// (N + (W >> 1)) / W, 0 when W is 0. N + (W >> 1) is at most 256 * 255 * 255 + 32640 < 2^24.
template <int weights>
inline pixelLanes<uint8_t> divided(const maskedSums<cover::mixed, uint8_t>& sums)
{
    const words w = sequenced(sums.w);
    const words half = w >> 1;
    const words divisor = larger(w, wordsOf(1));
    const words bias = wordsOf(bias8 * weights >> 16); // as the upper half of a long
    const words none = wordsOf(0);
    return {narrowed(dividedSmall(sums.sum[0] + lowLongs(half, bias), lowLongs(divisor, none)),
                     dividedSmall(sums.sum[1] + highLongs(half, bias), highLongs(divisor, none)))};
}

template <int>
inline pixelLanes<uint16_t> divided(const maskedSums<cover::mixed, uint16_t>& sums)
{
    // Where W is 0, N is 0 too, and -32768 / 1 stands for the pixel 0.
    const words w = sequenced(sums.w);
    const words zero = reinterpret_cast<words>(w == 0);
    const words half = (w >> 1) | (zero << 15);
    const words divisor = w - zero;
    const words none = wordsOf(0);
    return {dividedCentred(sums.sum[0] + lowLongs(half, zero), lowLongs(divisor, none)),
            dividedCentred(sums.sum[1] + highLongs(half, zero), highLongs(divisor, none))};
}

// ---- the output ----

template <along columns>
constexpr int outColumns = laneColumns* parities<columns>;

// The pixels and mask values of a block in one row.
template <class Pixel, along columns>
struct output {
    pixelLanes<Pixel> pixels[parities<columns>];
    words mask[parities<columns>];
};

template <class Pixel>
struct place {
    Pixel* dst;
    uint8_t* mask;
};

inline void put(const place<uint8_t>& at, const output<uint8_t, along::sampled>& out)
{
    storeBytes(at.dst, at.mask, out.pixels[0].part[0], out.mask[0]);
}

inline void put(const place<uint16_t>& at, const output<uint16_t, along::sampled>& out)
{
    store(at.dst, narrowed(out.pixels[0].part[0], out.pixels[0].part[1]));
    storeBytes(at.mask, out.mask[0]);
}

template <class Pixel, along columns>
inline void put(const place<Pixel>& at, const output<Pixel, columns>& out)
{
    constexpr int bits = 8 * sizeof(Pixel);
    for (int part = 0; part < laneParts<cover::full, Pixel>; ++part)
        store(at.dst + part * laneColumns, out.pixels[0].part[part] | (out.pixels[1].part[part] << bits));
    store(at.mask, out.mask[0] | (out.mask[1] << 8));
}

// ---- a block of a piece ----

template <class Pixel, along columns, along rows>
struct cursor {
    const gauss2_maskedPiece<Pixel>* piece;
    int64_t block;
};

template <class Pixel, along columns, along rows>
inline freshRow<Pixel> freshAt(const cursor<Pixel, columns, rows>& at, int row)
{
    const int64_t column = at.block * blockColumns;
    return {at.piece->src[row] + column, at.piece->mask[row] + column, nullptr};
}

template <class Pixel, along columns, along rows>
inline place<Pixel> placeAt(const cursor<Pixel, columns, rows>& at, int row)
{
    const int64_t column = at.block * outColumns<columns>;
    return {at.piece->dst[row] + column, at.piece->dstMask[row] + column};
}

template <class Pixel, along columns, along rows>
inline blockState<Pixel, columns, rows>* stateAt(const cursor<Pixel, columns, rows>& at)
{
    return reinterpret_cast<blockState<Pixel, columns, rows>*>(at.piece->state) + at.block;
}

template <class Pixel, along columns, along rows>
inline keptColumns<Pixel, rows>* keptAt(const cursor<Pixel, columns, rows>& at, int parity)
{
    if constexpr (rows == along::nothing) {
        static keptColumns<Pixel, rows> none;
        return &none;
    } else
        return &stateAt(at)->sums[parity];
}

// ---- which way ----

// Where a mask is not as the name says; 0 elsewhere.
inline bytes notFull(bytes mask)
{
    return ~mask;
}

inline bytes notEmpty(bytes mask)
{
    return mask;
}

inline bytes notBinary(bytes mask)
{
    return (mask + uint8_t{1}) & uint8_t{0xfe}; // 0 and 255 give 1 and 0 before the and
}

// Whether the mask is nowhere so over all columns that a block reads.
template <bytes (*differs)(bytes), class Pixel, along columns, along rows>
inline bool maskNever(const cursor<Pixel, columns, rows>& at)
{
    bytes any = {};
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        const uint8_t* const mask = freshAt(at, i).mask;
        any |= differs(loadBytes(mask - gauss2_maskedBefore));
        any |= differs(loadBytes(mask + gauss2_maskedAfter)); // ends with the last column
    }
    return isEmpty(any);
}

// A few columns tell what the mask may be over all.
template <class Pixel, along columns, along rows>
inline cover coverAt(const cursor<Pixel, columns, rows>& at)
{
    const bytes some = loadBytes(freshAt(at, 0).mask);
    if (!isEmpty(notBinary(some)))
        return cover::mixed;
    if (isEmpty(notFull(some)) && maskNever<notFull>(at))
        return cover::full;
    if (isEmpty(notEmpty(some)) && maskNever<notEmpty>(at))
        return cover::empty;
    return maskNever<notBinary>(at) ? cover::binary : cover::mixed;
}

template <class Pixel, along columns, along rows>
inline cover planBlock(const cursor<Pixel, columns, rows>& at)
{
    const cover fresh = coverAt(at);
    if constexpr (rows == along::nothing)
        return fresh;
    else
        return fresh == stateAt(at)->steady ? fresh : changePlan(stateAt(at), fresh);
}

// ---- the ways ----

// Each runs the block at *at, whose plan is of its kind, and maybe more of that kind beside it. It leaves *at at
// the next block, and if there is one, the plan of that in *plan: a block must be planned once a step.

template <class Pixel, along columns, along rows>
inline void next(cursor<Pixel, columns, rows>* at, cover* plan)
{
    if (++at->block < at->piece->blocks)
        *plan = planBlock(*at);
}

template <class Pixel, along columns, along rows>
inline void runEmpty(cursor<Pixel, columns, rows>* at, cover* plan)
{
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memset(placeAt(*at, i).dst, 0, outColumns<columns> * sizeof(Pixel));
        std::memset(placeAt(*at, i).mask, 0, outColumns<columns>);
    }
    next(at, plan);
}

template <bool odd, class Pixel, along columns, along rows>
inline void fullColumns(const cursor<Pixel, columns, rows>& at, output<Pixel, columns>* out)
{
    constexpr int weights = weightSum(columns) * weightSum(rows);
    for (int part = 0; part < laneParts<cover::full, Pixel>; ++part) {
        lanes<cover::full, Pixel> s[rowsOut(rows)];
        sumRows<rows>(
            keptAt(at, odd)->s[part],
            [&](int row) { return sumPixels<cover::full, columns, odd>(freshAt(at, row), part); }, s);
        for (int i = 0; i < rowsOut(rows); ++i)
            out[i].pixels[odd].part[part] = rounded<weights>(s[i]);
    }
    for (int i = 0; i < rowsOut(rows); ++i)
        out[i].mask[odd] = wordsOf(255);
}

template <class Pixel, along columns, along rows>
inline bool isSteadilyFull(const cursor<Pixel, columns, rows>& at)
{
    if constexpr (rows != along::nothing)
        if (stateAt(at)->steady != cover::full)
            return false;
    return maskNever<notFull>(at);
}

template <class Pixel, along columns, along rows>
inline void fullBlock(const cursor<Pixel, columns, rows>& at)
{
    output<Pixel, columns> out[rowsOut(rows)];
    fullColumns<false>(at, out);
    if constexpr (parities<columns> == 2)
        fullColumns<true>(at, out);
    for (int i = 0; i < rowsOut(rows); ++i)
        put(placeAt(at, i), out[i]);
}

template <class Pixel, along columns, along rows>
inline void runFull(cursor<Pixel, columns, rows>* at, cover* plan)
{
    cursor<Pixel, columns, rows> here = *at;
    const int64_t last = here.piece->blocks - 1;
    fullBlock(here);
    while (here.block < last && isSteadilyFull(cursor<Pixel, columns, rows>{here.piece, here.block + 1})) {
        ++here.block;
        fullBlock(here);
    }
    *at = here;
    next(at, plan);
}

// A few binary or mixed blocks side by side. They are summed before any of them is divided, and their products
// are worked out before any of them is summed: short chains of work overlap, and a load that straddles two
// stores would have to wait for both.
inline constexpr int groupBlocks = 4;

struct alignas(64) groupProducts {
    uint16_t row[gauss2_maskedRows][gauss2_maskedBefore + groupBlocks * blockColumns + gauss2_maskedAfter];
};

// mask * pixel - bias8 of half a block, `column` columns from the first block.
template <along columns, along rows>
inline void multiply(const cursor<uint8_t, columns, rows>& first, int64_t column, groupProducts* products)
{
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        const freshRow<uint8_t> row = freshAt(first, i);
        store(products->row[i] + gauss2_maskedBefore + column,
              centred(widened(row.src + column) * widened(row.mask + column)));
    }
}

template <bool odd, cover kind, class Pixel, along columns, along rows>
inline void maskedColumns(const freshRow<Pixel>* row, keptColumns<Pixel, rows>* kept,
                          maskedSums<kind, Pixel> (*sums)[parities<columns>])
{
    for (int part = 0; part < laneParts<kind, Pixel>; ++part) {
        lanes<kind, Pixel> s[rowsOut(rows)];
        sumRows<rows>(
            keptLanes<kind>(kept, part), [&](int i) { return sumPixels<kind, columns, odd>(row[i], part); },
            s);
        for (int i = 0; i < rowsOut(rows); ++i)
            sums[i][odd].sum[part] = s[i];
    }
    words w[rowsOut(rows)];
    sumRows<rows>(
        kept->w, [&](int i) { return sumMask<columns, odd>(row[i].mask); }, w);
    for (int i = 0; i < rowsOut(rows); ++i)
        sums[i][odd].w = w[i];
}

template <cover kind, class Pixel, along columns, along rows>
inline void sumGroup(const cursor<Pixel, columns, rows>& first, int64_t count,
                     const groupProducts& products,
                     maskedSums<kind, Pixel> (*sums)[rowsOut(rows)][parities<columns>])
{
    cursor<Pixel, columns, rows> at = first;
    for (int64_t i = 0; i < count; ++i, ++at.block) {
        freshRow<Pixel> row[gauss2_maskedRows];
        for (int r = 0; r < gauss2_maskedRows; ++r) {
            row[r] = freshAt(at, r);
            row[r].products = products.row[r] + gauss2_maskedBefore + i * blockColumns;
        }
        maskedColumns<false, kind, Pixel, columns>(row, keptAt(at, 0), sums[i]);
        if constexpr (parities<columns> == 2)
            maskedColumns<true, kind, Pixel, columns>(row, keptAt(at, 1), sums[i]);
    }
}

template <cover kind, class Pixel, along columns, along rows>
inline void putGroup(const cursor<Pixel, columns, rows>& first, int64_t count,
                     const maskedSums<kind, Pixel> (*sums)[rowsOut(rows)][parities<columns>])
{
    constexpr int weights = weightSum(columns) * weightSum(rows);
    for (int r = 0; r < rowsOut(rows); ++r) {
        cursor<Pixel, columns, rows> at = first;
        for (int64_t i = 0; i < count; ++i, ++at.block) {
            output<Pixel, columns> out;
            for (int parity = 0; parity < parities<columns>; ++parity) {
                out.pixels[parity] = divided<weights>(sums[i][r][parity]);
                out.mask[parity] = rounded<weights>(sums[i][r][parity].w);
            }
            put(placeAt(at, r), out);
        }
    }
}

template <cover kind, class Pixel, along columns, along rows>
[[gnu::noinline]] void runMasked(cursor<Pixel, columns, rows>* at, cover* plan)
{
    constexpr bool multiplies = kind == cover::mixed && sizeof(Pixel) == 1;
    const cursor<Pixel, columns, rows> first = *at;
    groupProducts products;
    int64_t count = 0;
    do {
        if constexpr (multiplies)
            for (int half = 0; half < 2; ++half)
                multiply(first, count * blockColumns - gauss2_maskedBefore + half * laneColumns, &products);
        ++count;
        next(at, plan);
    } while (count < groupBlocks && at->block < at->piece->blocks && *plan == kind);
    if constexpr (multiplies)
        multiply(first, count * blockColumns + gauss2_maskedAfter - laneColumns, &products);
    maskedSums<kind, Pixel> sums[groupBlocks][rowsOut(rows)][parities<columns>];
    sumGroup(first, count, products, sums);
    putGroup(first, count, sums);
}

// ---- a step ----

template <class Pixel, along columns, along rows>
inline void runPiece(const gauss2_maskedPiece<Pixel>& piece)
{
    cursor<Pixel, columns, rows> at = {&piece, -1};
    cover plan = cover::unknown;
    next(&at, &plan);
    while (at.block < piece.blocks) {
        if (plan == cover::full)
            runFull(&at, &plan);
        else if (plan == cover::empty)
            runEmpty(&at, &plan);
        else if (plan == cover::binary)
            runMasked<cover::binary>(&at, &plan);
        else
            runMasked<cover::mixed>(&at, &plan);
    }
}

template <class Pixel, along columns, along rows>
void runStep(const gauss2_maskedStep<Pixel>* step)
{
    for (int i = 0; i < step->pieceCount; ++i)
        runPiece<Pixel, columns, rows>(step->pieces[i]);
}

template <class Pixel, along columns, along rows>
constexpr gauss2_maskedKernel<Pixel> kernelOf()
{
    if constexpr (rows == along::nothing)
        return {runStep<Pixel, columns, rows>, 0};
    else
        return {runStep<Pixel, columns, rows>, int64_t{sizeof(blockState<Pixel, columns, rows>)}};
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
