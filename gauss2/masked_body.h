// The kernels of gauss2/masked_kernels.h, written once for both depths and all vector levels. A file that has
// defined the operations of its level on the vectors of gauss2/masked_vectors.h includes this one and gets the
// kernels; all of it has internal linkage.
//
// Masks are mostly full (255) or empty over whole blocks. A block whose mask was so for as long as a filter
// remembers takes a short way:
//   full   N = 255 S and W = 255 w with S the unmasked sum and w = 16 or 256 the sum of the kernel's weights,
//          so (N + (W >> 1)) / W = (S + w / 2) / w, and only S is summed;
//   empty  there is nothing to sum, and pixels and mask are 0.
#pragma once

#include "gauss2/masked_columns.h"
#include "gauss2/masked_kernels.h"
#include "gauss2/masked_quotient.h"
#include "gauss2/masked_rows.h"

#include <cstring>

namespace
{

// ---- the output ----

template <along columns>
constexpr int parities = columns == along::sampled ? 1 : 2;
template <along columns>
constexpr int outColumns = laneColumns* parities<columns>;

// What the weights of a filter sum up to along its columns or rows, and how far a sum of 16 or 256 is shifted.
constexpr int weightSum(along direction)
{
    return direction == along::nothing ? 1 : 16;
}
template <int weights>
constexpr int shiftOf = weights == 256 ? 8 : 4;

// The pixels and mask values of a block and of a row.
template <class Pixel, along columns>
struct output {
    lanes<Pixel> pixels[parities<columns>][laneParts<Pixel>];
    words mask[parities<columns>];
};

template <class Pixel>
struct place {
    Pixel* dst;
    uint8_t* mask;
};

inline void put(const place<uint8_t>& at, const output<uint8_t, along::sampled>& out)
{
    storeBytes(at.dst, at.mask, out.pixels[0][0], out.mask[0]);
}

inline void put(const place<uint16_t>& at, const output<uint16_t, along::sampled>& out)
{
    store(at.dst, narrowed(out.pixels[0][0], out.pixels[0][1]));
    storeBytes(at.mask, out.mask[0]);
}

template <class Pixel, along columns>
inline void put(const place<Pixel>& at, const output<Pixel, columns>& out)
{
    constexpr int bits = 8 * sizeof(Pixel);
    for (int part = 0; part < laneParts<Pixel>; ++part)
        store(at.dst + part * laneColumns, out.pixels[0][part] | (out.pixels[1][part] << bits));
    store(at.mask, out.mask[0] | (out.mask[1] << 8));
}

// ---- from sums to pixels ----

// (N + (W >> 1)) / W, 0 when W is 0. N comes less its bias: see gauss2/masked_columns.h.
template <int weights>
inline void divide(const longs* n, words w, words* pixels)
{
    const words ordered = sequenced(w);
    const words half = ordered >> 1;
    const words divisor = larger(ordered, wordsOf(1));
    const words bias = wordsOf(bias8 * weights >> 16); // as the upper half of a long
    const words none = wordsOf(0);
    const longs low = dividedSmall(n[0] + lowLongs(half, bias), lowLongs(divisor, none));
    const longs high = dividedSmall(n[1] + highLongs(half, bias), highLongs(divisor, none));
    *pixels = narrowed(low, high);
}

template <int>
inline void divide(const longs* n, words w, longs* pixels)
{
    // Where W is 0, n is 0 too, and -32768 / 1 stands for the pixel 0.
    const words ordered = sequenced(w);
    const words zero = reinterpret_cast<words>(ordered == 0);
    const words half = (ordered >> 1) | (zero << 15);
    const words divisor = ordered - zero;
    const words none = wordsOf(0);
    pixels[0] = dividedCentred(n[0] + lowLongs(half, zero), lowLongs(divisor, none));
    pixels[1] = dividedCentred(n[1] + highLongs(half, zero), highLongs(divisor, none));
}

// (S + w / 2) / w with w the sum of the weights, a power of two.
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

// ---- what a block remembers ----

// What the mask is over a block of the fresh rows, and what the kept sums of a block are.
enum class cover : uint8_t { changing, empty, full, mixed };

// The kept sums over rows of the columns of one parity.
template <class Pixel, along rows>
struct keptColumns {
    longs n[2][keptSums(rows)];
    words w[keptSums(rows)];
    lanes<Pixel> unmasked[laneParts<Pixel>][keptSums(rows)];
};

template <class Pixel>
struct keptColumns<Pixel, along::nothing> {
    longs* n[2];
    words* w;
    lanes<Pixel>* unmasked[laneParts<Pixel>];
};

template <class Pixel, along columns, along rows>
struct alignas(64) blockState {
    cover steady; // a step whose mask is this one goes that way, and changes nothing here
    cover kept;   // full: the sums are in `unmasked`; mixed: in `n` and `w`; else they are all empty
    cover last;   // of the last step
    keptColumns<Pixel, rows> sums[parities<columns>];
};

// One kept sum S as two parts in columns' order.
template <along rows>
inline void splitUnmasked(const keptColumns<uint8_t, rows>& kept, int index, longs* s)
{
    const words ordered = sequenced(kept.unmasked[0][index]);
    s[0] = lowLongs(ordered, wordsOf(0));
    s[1] = highLongs(ordered, wordsOf(0));
}

template <along rows>
inline void splitUnmasked(const keptColumns<uint16_t, rows>& kept, int index, longs* s)
{
    s[0] = kept.unmasked[0][index];
    s[1] = kept.unmasked[1][index];
}

template <along rows>
inline void joinUnmasked(const longs* s, int index, keptColumns<uint8_t, rows>* kept)
{
    kept->unmasked[0][index] = narrowed(s[0], s[1]);
}

template <along rows>
inline void joinUnmasked(const longs* s, int index, keptColumns<uint16_t, rows>* kept)
{
    kept->unmasked[0][index] = s[0];
    kept->unmasked[1][index] = s[1];
}

// Brings a kept sum from one form into another, with its `weights` summed. Of a full mask N is 255 S: the
// inverse of 255 modulo 2^32 takes it back.
template <class Pixel, along rows>
inline void convertSum(keptColumns<Pixel, rows>* kept, int index, int weights, cover from, cover to)
{
    constexpr int inverseOf255 = -0x01010101;
    const longs bias = longsOf(sizeof(Pixel) == 1 ? bias8 * weights : 0);
    longs s[2] = {longsOf(0), longsOf(0)};
    if (to == cover::full) {
        for (int part = 0; part < 2; ++part)
            s[part] = (kept->n[part][index] + bias) * longsOf(inverseOf255);
        joinUnmasked(s, index, kept);
    } else if (to == cover::mixed) {
        if (from == cover::full)
            splitUnmasked(*kept, index, s);
        for (int part = 0; part < 2; ++part)
            kept->n[part][index] = s[part] * longsOf(255) - bias;
        kept->w[index] = wordsOf(from == cover::full ? 255 * weights : 0);
    }
}

// How a block goes through a step whose mask does not keep it steady; brings its kept sums into the form for
// it. Kept sums are those of the last step's rows, so they take a short form when that was of the same kind, or
// when there was none: what the first step gives is of no use.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] cover changePlan(blockState<Pixel, columns, rows>* state, cover fresh)
{
    const bool keeps = state->last == fresh || state->last == cover::changing;
    const cover plan = keeps ? fresh : cover::mixed;
    if (plan != state->kept)
        for (auto& kept : state->sums)
            for (int i = 0; i < keptSums(rows); ++i)
                convertSum(&kept, i, weightSum(columns) * keptWeights<rows>[i], state -> kept, plan);
    state->kept = plan;
    state->last = fresh;
    state->steady = plan == fresh ? fresh : cover::changing;
    return plan;
}

// ---- one block ----

template <along rows, bool odd, class Pixel, along columns>
inline void fullColumns(const freshRow<Pixel>* fresh, keptColumns<Pixel, rows>* kept,
                        output<Pixel, columns>* out)
{
    constexpr int weights = weightSum(columns) * weightSum(rows);
    for (int part = 0; part < laneParts<Pixel>; ++part) {
        lanes<Pixel> s[rowsOut(rows)];
        sumRows<rows>(
            kept->unmasked[part], [&](int i) { return sumUnmasked<columns, odd>(fresh[i], part); }, s);
        for (int i = 0; i < rowsOut(rows); ++i)
            out[i].pixels[odd][part] = rounded<weights>(s[i]);
    }
    for (int i = 0; i < rowsOut(rows); ++i)
        out[i].mask[odd] = wordsOf(255);
}

// The masked sums of the columns of one parity of an output row.
struct maskedSums {
    longs n[2];
    words w;
};

template <along rows, bool odd, along columns, class Pixel>
inline void mixedColumns(const freshRow<Pixel>* fresh, keptColumns<Pixel, rows>* kept,
                         maskedSums (*sums)[parities<columns>])
{
    for (int part = 0; part < 2; ++part) {
        longs n[rowsOut(rows)];
        sumRows<rows>(
            kept->n[part], [&](int i) { return sumMasked<columns, odd>(fresh[i], part); }, n);
        for (int i = 0; i < rowsOut(rows); ++i)
            sums[i][odd].n[part] = n[i];
    }
    words w[rowsOut(rows)];
    sumRows<rows>(
        kept->w, [&](int i) { return sumWeights<columns, odd>(fresh[i].mask); }, w);
    for (int i = 0; i < rowsOut(rows); ++i)
        sums[i][odd].w = w[i];
}

template <int weights, along columns, class Pixel>
inline void mixedOutput(const maskedSums* sums, output<Pixel, columns>* out)
{
    for (int parity = 0; parity < parities<columns>; ++parity) {
        divide<weights>(sums[parity].n, sums[parity].w, out->pixels[parity]);
        out->mask[parity] = rounded<weights>(sums[parity].w);
    }
}

// ---- a step ----

// A block of a piece.
template <class Pixel, along columns, along rows>
struct cursor {
    const gauss2_maskedPiece<Pixel>* piece;
    int64_t block;
};

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

template <class Pixel, along columns, along rows>
inline void freshAt(const cursor<Pixel, columns, rows>& at, freshRow<Pixel>* fresh)
{
    const int64_t column = at.block * blockColumns;
    for (int i = 0; i < gauss2_maskedRows; ++i)
        fresh[i] = {at.piece->src[i] + column, at.piece->mask[i] + column, nullptr};
}

template <class Pixel, along columns, along rows>
inline place<Pixel> placeAt(const cursor<Pixel, columns, rows>& at, int row)
{
    const int64_t column = at.block * outColumns<columns>;
    return {at.piece->dst[row] + column, at.piece->dstMask[row] + column};
}

// Whether the mask is full, or empty, over all columns that a block reads.
template <class Pixel, along columns, along rows>
inline bool isFullAt(const cursor<Pixel, columns, rows>& at)
{
    bytes all = {};
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        const uint8_t* const mask = at.piece->mask[i] + at.block * blockColumns;
        const bytes both = loadBytes(mask - gauss2_maskedBefore) & loadBytes(mask + gauss2_maskedAfter);
        all = i == 0 ? both : all & both;
    }
    return isFull(all);
}

template <class Pixel, along columns, along rows>
inline bool isEmptyAt(const cursor<Pixel, columns, rows>& at)
{
    bytes any = {};
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        const uint8_t* const mask = at.piece->mask[i] + at.block * blockColumns;
        any |= loadBytes(mask - gauss2_maskedBefore) | loadBytes(mask + gauss2_maskedAfter);
    }
    return isEmpty(any);
}

template <class Pixel, along columns, along rows>
inline cover planBlock(const cursor<Pixel, columns, rows>& at)
{
    const cover fresh = isFullAt(at) ? cover::full : isEmptyAt(at) ? cover::empty : cover::mixed;
    if constexpr (rows == along::nothing)
        return fresh;
    else
        return fresh == stateAt(at)->steady ? fresh : changePlan(stateAt(at), fresh);
}

template <class Pixel, along columns, along rows>
inline bool isSteadilyFull(const cursor<Pixel, columns, rows>& at)
{
    if constexpr (rows != along::nothing)
        if (stateAt(at)->steady != cover::full)
            return false;
    return isFullAt(at);
}

// Runs full blocks from the first on, as many as there are side by side. Returns the block after them.
template <class Pixel, along columns, along rows>
inline int64_t runFull(cursor<Pixel, columns, rows> at)
{
    const int64_t blocks = at.piece->blocks;
    do {
        freshRow<Pixel> fresh[gauss2_maskedRows];
        output<Pixel, columns> out[rowsOut(rows)];
        freshAt(at, fresh);
        fullColumns<rows, false>(fresh, keptAt(at, 0), out);
        if constexpr (parities<columns> == 2)
            fullColumns<rows, true>(fresh, keptAt(at, 1), out);
        for (int i = 0; i < rowsOut(rows); ++i)
            put(placeAt(at, i), out[i]);
        ++at.block;
    } while (at.block < blocks && isSteadilyFull(at));
    return at.block;
}

template <class Pixel, along columns, along rows>
inline void runEmpty(const cursor<Pixel, columns, rows>& at)
{
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memset(placeAt(at, i).dst, 0, outColumns<columns> * sizeof(Pixel));
        std::memset(placeAt(at, i).mask, 0, outColumns<columns>);
    }
}

// mask * pixel - bias8 of a few mixed blocks; column 0 is at gauss2_maskedBefore. They are worked out before
// the sums, since a load that straddles two stores has to wait for both.
constexpr int groupBlocks = 4;

struct alignas(64) groupProducts {
    int16_t row[gauss2_maskedRows][groupBlocks * blockColumns + gauss2_maskedBefore + gauss2_maskedAfter];
};

// From `column` on, half a block of them.
inline void multiply(const freshRow<uint8_t>* fresh, int64_t column, groupProducts* products)
{
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        const words product = widened(fresh[i].src + column) * widened(fresh[i].mask + column);
        store(products->row[i] + gauss2_maskedBefore + column, centred(product));
    }
}

// Runs mixed blocks from the first on, as many as there are side by side, at most a group. Returns the block
// after them; *plan, that of the first block, becomes that of the next one if it is not mixed.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] int64_t runMixed(const cursor<Pixel, columns, rows>& first, cover* plan)
{
    groupProducts products;
    freshRow<Pixel> fresh[gauss2_maskedRows];
    cursor<Pixel, columns, rows> at = first;
    const int64_t left = at.piece->blocks - at.block;
    const int64_t most = left < groupBlocks ? left : groupBlocks;
    freshAt(first, fresh);
    int64_t done = 0;
    do {
        if constexpr (sizeof(Pixel) == 1)
            for (int half = 0; half < 2; ++half)
                multiply(fresh, done * blockColumns - gauss2_maskedBefore + half * laneColumns, &products);
        ++at.block;
        ++done;
    } while (done < most && (*plan = planBlock(at)) == cover::mixed);
    if constexpr (sizeof(Pixel) == 1)
        multiply(fresh, done * blockColumns + gauss2_maskedAfter - laneColumns, &products);
    maskedSums sums[groupBlocks][rowsOut(rows)][parities<columns>];
    for (int64_t i = 0; i < done; ++i) {
        at.block = first.block + i;
        freshAt(at, fresh);
        for (int r = 0; r < gauss2_maskedRows; ++r)
            fresh[r].products = products.row[r] + gauss2_maskedBefore + i * blockColumns;
        mixedColumns<rows, false, columns>(fresh, keptAt(at, 0), sums[i]);
        if constexpr (parities<columns> == 2)
            mixedColumns<rows, true, columns>(fresh, keptAt(at, 1), sums[i]);
    }
    for (int r = 0; r < rowsOut(rows); ++r)
        for (int64_t i = 0; i < done; ++i) {
            at.block = first.block + i;
            output<Pixel, columns> out;
            mixedOutput<weightSum(columns) * weightSum(rows)>(sums[i][r], &out);
            put(placeAt(at, r), out);
        }
    return first.block + done;
}

template <class Pixel, along columns, along rows>
inline void runPiece(const gauss2_maskedPiece<Pixel>& piece)
{
    cursor<Pixel, columns, rows> at = {&piece, 0};
    while (at.block < piece.blocks) {
        cover plan = planBlock(at);
        if (plan == cover::mixed)
            at.block = runMixed(at, &plan);
        if (plan == cover::full)
            at.block = runFull(at);
        else if (plan == cover::empty)
            runEmpty(at), ++at.block;
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
