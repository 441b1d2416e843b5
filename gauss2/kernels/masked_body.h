// The masked kernels of gauss2/kernels/kernels.h, written once for both depths and all processor levels. A file that
// has included the lanes of its level includes this one and gets the kernels; all of it has internal linkage.
//
// A sweep prepares some blocks of its four fresh rows, then sums them, and so on. Most masks hold 0 and 255 only,
// mostly over wide areas, so there are four ways through a block:
//   full    no pixel that it reads is masked out: the pixel is a shift, the mask 255;
//   empty   all are: pixels and mask are 0;
//   binary  each is or is not;
//   mixed   the mask has other values somewhere around, in these rows or in those before.
// The first three go on from the same kept sums. A block that comes to the mixed way or leaves it works out what it
// must have kept from the rows before.
#pragma once

#include "gauss2/kernels/masked_pixels.h"
#include "gauss2/kernels/masked_sums.h"

namespace
{

// Prepared together before they are summed: a load that straddles two stores would have to wait for both.
constexpr int groupBlocks = 8;

template <class Pixel, along columns, along rows>
struct maskedRun {
    const gauss2_maskedSweep<Pixel>& sweep;
    maskedState<Pixel, columns, rows> state;
};

template <along columns, along rows>
constexpr int weightsOf = gauss2_weightOf(columns) * gauss2_weightOf(rows);

// ---- where a block goes ----

template <class Pixel>
struct blockOutput {
    Pixel* dst[freshRows];
    uint8_t* mask[freshRows];
};

// The sum of `valid` over the output rows of a block that is full.
template <along rows>
constexpr uint8_t fullTotal = static_cast<uint8_t>(gauss2_weightOf(rows) * rowsOut(rows));

// All of what a block reads of validTotal, in two vectors.
template <along columns>
struct totals {
    u8s a, b;
};

template <along columns, class State>
lanes_inline totals<columns> totalsAt(const State& state, int64_t column)
{
    const uint8_t* const total = state.validTotal + column;
    if constexpr (columns == along::nothing)
        return {load(total), load(total)};
    else
        return {load(total - columnsBefore), load(total + 3)};
}

// ---- the ways ----

template <class Pixel, along columns, along rows>
lanes_inline void runEmpty(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                           const blockOutput<Pixel>& out)
{
    constexpr size_t count = blockColumns / gauss2_stepOf(columns);
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memset(out.dst[i], 0, count * sizeof(Pixel));
        std::memset(out.mask[i], 0, count);
    }
    if constexpr (rows != along::nothing)
        std::memset(&run.state.binary[block], 0, sizeof run.state.binary[block]);
}

// S of the columns of one parity of a block, from four prepared rows: put(row, part, sum).
template <bool odd, class Pixel, along columns, along rows, class Put>
lanes_inline void sumBinaryRows(const preparedRows<Pixel>& pixels, int64_t column,
                                keptBinary<Pixel, rows>* kept, const Put& put)
{
    for (int part = 0; part < binaryParts<Pixel>; ++part)
        gauss2_sumDown<rows, freshRows>(
            kept->s[part],
            [&](int i) lanes_inlined { return sumBinary<columns, odd>(pixels.row(i) + column, part); },
            [&](int i, binaryLanes<Pixel> s) lanes_inlined { put(i, part, s); });
}

template <bool odd, class Pixel, along columns, along rows>
lanes_inline void fullColumns(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                              outputRow<Pixel, columns>* out)
{
    binaryLanes<Pixel> s[rowsOut(rows)][binaryParts<Pixel>];
    sumBinaryRows<odd, Pixel, columns, rows>(
        run.state.pixels, block * blockColumns, &run.state.binary[block][odd],
        [&](int i, int part, binaryLanes<Pixel> sum) lanes_inlined { s[i][part] = sum; });
    for (int i = 0; i < rowsOut(rows); ++i) {
        out[i].pixels[odd] = fullPixels<weightsOf<columns, rows>>(s[i]);
        out[i].mask[odd] = filled(uint16_t{255});
    }
}

template <bool odd, class Pixel, along columns, along rows>
lanes_inline void binaryColumns(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                                outputRow<Pixel, columns>* out)
{
    const int64_t column = block * blockColumns;
    binarySums<Pixel> sums[rowsOut(rows)];
    sumBinaryRows<odd, Pixel, columns, rows>(run.state.pixels, column, &run.state.binary[block][odd],
                                             [&](int i, int part, binaryLanes<Pixel> sum)
                                                 lanes_inlined { sums[i].s[part] = sum; });
    for (int i = 0; i < rowsOut(rows); ++i) {
        sums[i].v = sumBytes<columns, odd>(run.state.valid.row(i) + column);
        out[i].pixels[odd] = binaryPixels(sums[i]);
        out[i].mask[odd] = binaryMask<weightsOf<columns, rows>>(sums[i].v);
    }
}

// N and W of the columns of one parity of a block, from four prepared rows, for each output row.
template <bool odd, class Pixel, along columns, along rows>
lanes_inline void sumMixedRows(const preparedRows<uint16_t>& products, const preparedRows<uint8_t>& mask,
                               int64_t column, keptMixed<rows>* kept, mixedSums* sums)
{
    for (int part = 0; part < mixedParts; ++part)
        gauss2_sumDown<rows, freshRows>(
            kept->n[part],
            [&](int i) lanes_inlined {
                return sumMixed<Pixel, columns, odd>(products.row(i) + column, mask.row(i) + column, part);
            },
            [&](int i, u32s n) lanes_inlined { sums[i].n[part] = n; });
    gauss2_sumDown<rows, freshRows>(
        kept->w, [&](int i) lanes_inlined { return sumBytes<columns, odd>(mask.row(i) + column); },
        [&](int i, u16s w) lanes_inlined { sums[i].w = w; });
}

template <bool odd, class Pixel, along columns, along rows>
lanes_inline void mixedColumns(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                               outputRow<Pixel, columns>* out)
{
    mixedSums sums[rowsOut(rows)];
    sumMixedRows<odd, Pixel, columns, rows>(run.state.products, run.state.mask, block * blockColumns,
                                            &run.state.mixed[block][odd], sums);
    for (int i = 0; i < rowsOut(rows); ++i) {
        out[i].pixels[odd] = mixedPixels<weightsOf<columns, rows>>(sums[i], Pixel{});
        out[i].mask[odd] = mixedMask<weightsOf<columns, rows>>(sums[i].w);
    }
}

// ---- from one way of summing to the other: the rows before are summed again ----

// Prepared rows of a block and of its neighbours, with room for the border to their left.
template <class Value>
struct localRows {
    Value values[freshRows][4 * blockColumns];

    preparedRows<Value> around(int64_t block)
    {
        return {values[0] + (2 - block) * blockColumns, 4 * blockColumns};
    }
};

template <class Pixel, along columns, along rows>
[[gnu::noinline]] void keepBinary(const maskedRun<Pixel, columns, rows>& run, int64_t block)
{
    localRows<Pixel> local;
    const preparedRows<Pixel> pixels = local.around(block);
    for (int64_t near = block == 0 ? 0 : block - 1; near <= block + 1; ++near)
        withBlock(run.sweep, 0, near, [&](const auto& from) {
            for (int i = 0; i < freshRows; ++i)
                prepareBinaryRow(from.src(i), load(from.mask(i)), pixels.row(i) + near * blockColumns);
        });
    for (int i = 0; block == 0 && i < freshRows; ++i)
        repeatFirst(pixels.row(i));
    const auto nothing = [](int, int, binaryLanes<Pixel>) {
    };
    sumBinaryRows<false, Pixel, columns, rows>(pixels, block * blockColumns, &run.state.binary[block][0],
                                               nothing);
    if constexpr (parities<columns> == 2)
        sumBinaryRows<true, Pixel, columns, rows>(pixels, block * blockColumns, &run.state.binary[block][1],
                                                  nothing);
}

template <class Pixel, along columns, along rows>
[[gnu::noinline]] void keepMixed(const maskedRun<Pixel, columns, rows>& run, int64_t block)
{
    localRows<uint16_t> localProducts;
    localRows<uint8_t> localMask;
    const preparedRows<uint16_t> products = localProducts.around(block);
    const preparedRows<uint8_t> mask = localMask.around(block);
    for (int64_t near = block == 0 ? 0 : block - 1; near <= block + 1; ++near)
        withBlock(run.sweep, 0, near,
                  [&](const auto& from) { prepareMixedFrom(from, near, products, mask); });
    mixedSums sums[rowsOut(rows)];
    sumMixedRows<false, Pixel, columns, rows>(products, mask, block * blockColumns,
                                              &run.state.mixed[block][0], sums);
    if constexpr (parities<columns> == 2)
        sumMixedRows<true, Pixel, columns, rows>(products, mask, block * blockColumns,
                                                 &run.state.mixed[block][1], sums);
}

// ---- a block ----

// Whether the mask has other values than 0 and 255 where a block reads it, now or in the rows before.
template <class Pixel, along columns, along rows>
lanes_inline bool isMixed(const maskedRun<Pixel, columns, rows>& run, int64_t block)
{
    const blockNotes* const notes = run.state.notes + block;
    unsigned any = 0;
    for (int i = columns == along::nothing ? 0 : -1; i <= (columns == along::nothing ? 0 : 1); ++i) {
        any |= notes[i].mixedNow;
        if constexpr (rows != along::nothing)
            any |= notes[i].mixedBefore;
    }
    return any != 0;
}

template <class Pixel, along columns, along rows>
lanes_inline void putRows(const outputRow<Pixel, columns>* rowsOfBlock, const blockOutput<Pixel>& out)
{
    for (int i = 0; i < rowsOut(rows); ++i)
        put(rowsOfBlock[i], out.dst[i], out.mask[i]);
}

template <class Pixel, along columns, along rows>
[[gnu::noinline]] void runMixed(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                                const blockOutput<Pixel>& out)
{
    outputRow<Pixel, columns> output[rowsOut(rows)];
    if (rows != along::nothing && !run.state.notes[block].keepsMixed)
        keepMixed(run, block);
    run.state.notes[block].keepsMixed = true;
    mixedColumns<false>(run, block, output);
    if constexpr (parities<columns> == 2)
        mixedColumns<true>(run, block, output);
    putRows<Pixel, columns, rows>(output, out);
}

// A block that is not mixed.
template <class Pixel, along columns, along rows>
lanes_inline void runBinary(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                            const blockOutput<Pixel>& out)
{
    const totals<columns> total = totalsAt<columns>(run.state, block * blockColumns);
    outputRow<Pixel, columns> output[rowsOut(rows)];
    // The greatest total is a power of two, and the only one with that bit.
    if (isZero(~(total.a & total.b) & fullTotal<rows>)) {
        fullColumns<false>(run, block, output);
        if constexpr (parities<columns> == 2)
            fullColumns<true>(run, block, output);
    } else if (isZero(total.a | total.b)) {
        runEmpty(run, block, out);
        return;
    } else {
        binaryColumns<false>(run, block, output);
        if constexpr (parities<columns> == 2)
            binaryColumns<true>(run, block, output);
    }
    putRows<Pixel, columns, rows>(output, out);
}

template <class Pixel, along columns, along rows>
[[gnu::noinline]] void runAny(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                              const blockOutput<Pixel>& out)
{
    if (isMixed(run, block)) {
        runMixed(run, block, out);
        return;
    }
    if (rows != along::nothing && run.state.notes[block].keepsMixed)
        keepBinary(run, block);
    run.state.notes[block].keepsMixed = false;
    runBinary(run, block, out);
}

// ---- a sweep ----

// The last block of a row, which may reach beyond it: its output goes through a copy.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] void runLastBlock(const maskedRun<Pixel, columns, rows>& run, int64_t block,
                                    const blockOutput<Pixel>& out)
{
    constexpr int step = gauss2_stepOf(columns);
    Pixel dst[rowsOut(rows)][blockColumns];
    uint8_t mask[rowsOut(rows)][blockColumns];
    blockOutput<Pixel> copy;
    for (int i = 0; i < rowsOut(rows); ++i) {
        copy.dst[i] = dst[i];
        copy.mask[i] = mask[i];
    }
    runAny(run, block, copy);
    const auto count = static_cast<size_t>(run.sweep.width / step - block * blockColumns / step);
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memcpy(out.dst[i], dst[i], count * sizeof(Pixel));
        std::memcpy(out.mask[i], mask[i], count);
    }
}

template <class Pixel, along columns, along rows>
blockOutput<Pixel> outputOf(const gauss2_maskedSweep<Pixel>& sweep, int64_t block)
{
    const int64_t column = block * blockColumns / gauss2_stepOf(columns);
    blockOutput<Pixel> out;
    for (int i = 0; i < rowsOut(rows); ++i) {
        out.dst[i] = sweep.out[i] + column;
        out.mask[i] = sweep.outMask[i] + column;
    }
    return out;
}

// Prepares what the mixed blocks among first .. end - 1 read of blocks whose own mask is not mixed.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] void prepareMixed(const maskedRun<Pixel, columns, rows>& run, int64_t first, int64_t end)
{
    for (int64_t block = first > 0 ? first - 1 : 0; block <= end; ++block) {
        bool isRead = false;
        for (int64_t near = block - 1; near <= block + 1; ++near)
            isRead |= near >= first && near < end && isMixed(run, near);
        if (isRead && !run.state.notes[block].mixedNow)
            withBlock(run.sweep, gauss2_rowsBefore, block, [&](const auto& from) {
                prepareMixedFrom(from, block, run.state.products, run.state.mask);
            });
    }
}

// A group of blocks that lie in the row, none of them nor their neighbours mixed.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] void runBinaryGroup(const maskedRun<Pixel, columns, rows>& shared, int64_t first,
                                      int64_t end)
{
    // Copies that nobody else can write, so that they need not be read again after every store.
    const gauss2_maskedSweep<Pixel> sweep = shared.sweep;
    const maskedRun<Pixel, columns, rows> run = {sweep, shared.state};
    for (int64_t block = first; block < end; ++block)
        runBinary(run, block, outputOf<Pixel, columns, rows>(sweep, block));
}

template <class Pixel, along columns, along rows>
void runSweep(const gauss2_maskedSweep<Pixel>* sweep)
{
    maskedRun<Pixel, columns, rows> run = {*sweep, {}};
    memoryWalk walk = {sweep->state, 0};
    layOut(sweep->width, &walk, &run.state);
    const int64_t blocks = (sweep->width + blockColumns - 1) / blockColumns;
    const int64_t whole = sweep->width / blockColumns;
    int64_t prepared = 0;
    for (int64_t first = 0; first < blocks; first += groupBlocks) {
        const int64_t end = first + groupBlocks < blocks ? first + groupBlocks : blocks;
        // With the block behind, which the last one reads.
        bool isSpecial = prepareBlocks(*sweep, prepared, end + 1, run.state);
        prepared = end + 1;
        isSpecial |= run.state.notes[first - 1].any() | run.state.notes[first].any();
        const int64_t endOfWhole = end < whole ? end : whole;
        if (isSpecial) {
            prepareMixed(run, first, end);
            for (int64_t block = first; block < endOfWhole; ++block)
                runAny(run, block, outputOf<Pixel, columns, rows>(*sweep, block));
        } else {
            runBinaryGroup(run, first, endOfWhole);
        }
        if (endOfWhole < end)
            runLastBlock(run, endOfWhole, outputOf<Pixel, columns, rows>(*sweep, endOfWhole));
    }
}

// ---- the table ----

template <class Pixel, along columns, along rows>
constexpr gauss2_kernel<gauss2_maskedSweep<Pixel>> maskedKernel()
{
    return {runSweep<Pixel, columns, rows>, rowsOut(rows), maskedStateBytes<Pixel, columns, rows>};
}

template <class Pixel>
constexpr gauss2_kernels<gauss2_maskedSweep<Pixel>> maskedKernels()
{
    return {
        .leastWidth = 1,
        .half = maskedKernel<Pixel, along::sampled, along::sampled>(),
        .halfX = maskedKernel<Pixel, along::sampled, along::nothing>(),
        .halfY = maskedKernel<Pixel, along::nothing, along::sampled>(),
        .full5x5 = maskedKernel<Pixel, along::all, along::all>(),
        .full5x1 = maskedKernel<Pixel, along::all, along::nothing>(),
        .full1x5 = maskedKernel<Pixel, along::nothing, along::all>(),
    };
}

} // namespace
