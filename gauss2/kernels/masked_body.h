// The masked kernels of gauss2/kernels/kernels.h, written once for both depths and all processor levels. A
// file that has included the lanes of its level includes this one and gets the kernels; all of it has
// internal linkage.
//
// A sweep prepares a group of blocks of its four fresh rows, sums it, goes on to the next group, and so on.
// (masked_state.h explains the words.) Most masks have no values but 0 and 255, and these in wide areas. So
// there are four ways to make a block:
//   full           a pixel is its sum of weighted pixels shifted, its mask value is 255;
//   empty          pixels and mask values are 0;
//   partly valid   a quotient with the sum of the weights of valid pixels, which is small;
//   mixed          a quotient with the sum of weights times mask values.
// The first three go on from the same kept sums. When a block becomes mixed, or is no longer, the sums that
// it should have kept are made from the rows before.
#pragma once

#include "gauss2/kernels/masked_ways.h"

namespace
{

// ---- what is known of a block ----

// The sum of `valid` over the output rows of a block that is full.
template <along rows>
constexpr uint8_t fullTotal = static_cast<uint8_t>(gauss2_weightOf(rows) * rowsOut(rows));

// All that a block reads of validTotal, in two registers that may overlap.
template <along columns>
struct totals {
    u8s a, b;
};

template <along columns, class State>
lanes_inline totals<columns> totalsAt(const State& state, int64_t column)
{
    const uint8_t* const total = state.validTotal.row(0) + column;
    if constexpr (columns == along::nothing)
        return {load(total), load(total)};
    else
        return {load(total - columnsBefore), load(total + columnsAfter)};
}

// ---- a block that becomes binary or mixed: its kept sums, from the rows before ----

// Prepared rows for one block and the blocks beside it.
template <class Value>
struct localRows {
    Value values[freshRows * preparedRows<Value>::distance];

    // As rows that begin with column 0, where nothing may be. Hence an address, not an element of the array.
    preparedRows<Value> around(int64_t block)
    {
        const int64_t offset = (2 - block) * blockColumns * int64_t{sizeof(Value)};
        return {
            reinterpret_cast<Value*>(reinterpret_cast<uintptr_t>(values) + static_cast<uintptr_t>(offset))};
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
                prepareBinaryRow(from.src(i), from.mask(i), load(from.mask(i)),
                                 pixels.row(i) + near * blockColumns);
        });
    for (int i = 0; block == 0 && i < freshRows; ++i)
        repeatFirst(pixels.row(i));
    const auto rowAt = [&](int i) {
        return pixels.row(i) + block * blockColumns;
    };
    const auto nothing = [](int, int, binaryLanes<Pixel>) {
    };
    sumBinaryRows<false, true, columns>(rowAt, run.state.binary[block], nothing);
    if constexpr (parities<columns> == 2)
        sumBinaryRows<true, true, columns>(rowAt, run.state.binary[block] + 1, nothing);
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
    const auto rowAt = [&](int i) {
        return products.row(i) + block * blockColumns;
    };
    const auto maskAt = [&](int i) {
        return mask.row(i) + block * blockColumns;
    };
    mixedSums sums[turnOutputs<rows>];
    sumMixedRows<Pixel, false, true, columns>(rowAt, maskAt, run.state.mixed[block], sums);
    if constexpr (parities<columns> == 2)
        sumMixedRows<Pixel, true, true, columns>(rowAt, maskAt, run.state.mixed[block] + 1, sums);
}

// ---- a block ----

// Whether a block is mixed.
template <class Pixel, along columns, along rows>
lanes_inline bool isMixed(const maskedRun<Pixel, columns, rows>& run, int64_t block)
{
    const uint8_t* const notes = run.state.notes + block;
    const unsigned around = columns == along::nothing ? notes[0] : notes[-1] | notes[0] | notes[1];
    return (around & (rows == along::nothing ? mixedNow : mixedNow | mixedBefore)) != 0;
}

template <class Pixel, along columns, along rows, class Out>
lanes_inline void runMixedBlock(const maskedRun<Pixel, columns, rows>& run, int64_t block, Out&& out)
{
    uint8_t& notes = run.state.notes[block];
    if (rows != along::nothing && !(notes & keepsMixed))
        keepMixed(run, block);
    notes = static_cast<uint8_t>(notes | keepsMixed);
    const int64_t column = block * blockColumns;
    const auto productsAt = [&](int i) lanes_inlined {
        return run.state.products.row(i) + column;
    };
    if (!isInner(block, run.endOfInners)) {
        runMixed<true, Pixel, columns, rows>(
            productsAt, [&](int i) { return run.state.mask.row(i) + column; }, run.state.mixed + block,
            out);
        return;
    }
    const auto maskAt = [&](int i) lanes_inlined {
        return run.input.mask[i] + column;
    };
    if constexpr (sizeof(Pixel) == 1)
        runMixed<true, Pixel, columns, rows>(productsAt, maskAt, run.state.mixed + block, out);
    else
        runMixed<false, Pixel, columns, rows>([&](int i)
                                                  lanes_inlined { return run.input.source[i] + column; },
                                              maskAt, run.state.mixed + block, out);
}

// A block that is not mixed. Returns whether it is full.
template <class Pixel, along columns, along rows, class Out>
lanes_inline bool runBinaryBlock(const maskedRun<Pixel, columns, rows>& run, int64_t block, Out&& out)
{
    const int64_t column = block * blockColumns;
    const totals<columns> total = totalsAt<columns>(run.state, column);
    // The greatest possible total is a power of two, so no other total has its bit.
    if (isZero(~(total.a & total.b) & fullTotal<rows>)) {
        runFull<true, Pixel, columns, rows>([&](int i)
                                                lanes_inlined { return run.state.pixels.row(i) + column; },
                                            run.state.binary + block, out);
        return true;
    }
    if (isZero(total.a | total.b))
        runEmpty(run, block, out);
    else
        runPartly(run, block, out);
    return false;
}

// A block that may be special.
template <class Pixel, along columns, along rows, class Out>
lanes_inline void runSpecialBlock(const maskedRun<Pixel, columns, rows>& run, int64_t block, Out&& out)
{
    if (isMixed(run, block)) {
        runMixedBlock(run, block, out);
        return;
    }
    uint8_t& notes = run.state.notes[block];
    if (rows != along::nothing && (notes & keepsMixed))
        keepBinary(run, block);
    notes = static_cast<uint8_t>(notes & ~keepsMixed);
    runBinaryBlock(run, block, out);
}

// ---- a sweep ----

// The last block of a row, when it reaches beyond the row: its output goes through a copy.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] void runLastBlock(const maskedRun<Pixel, columns, rows>& run, int64_t block)
{
    copiedOutput<Pixel> copy;
    runSpecialBlock(run, block, copy);
    const outputRows<Pixel> output(run.sweep);
    const rowOutput<Pixel, columns> out = {output, block};
    constexpr int step = gauss2_stepOf(columns);
    const auto count = static_cast<size_t>(run.sweep.width / step - block * blockColumns / step);
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memcpy(out.dst(i), copy.dst(i), count * sizeof(Pixel));
        std::memcpy(out.mask(i), copy.mask(i), count);
    }
}

// Prepares for N and W what the mixed blocks among first .. end - 1 read in blocks whose own mask values
// are all 0 or 255; prepareBlocks has prepared these for S and V only.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] void prepareMixed(const maskedRun<Pixel, columns, rows>& run, int64_t first, int64_t end)
{
    for (int64_t block = first > 0 ? first - 1 : 0; block <= end; ++block) {
        bool isRead = false;
        for (int64_t near = block - 1; near <= block + 1 && !(run.state.notes[block] & mixedNow); ++near)
            isRead |= near >= first && near < end && isMixed(run, near);
        if (isRead)
            withBlock(run.sweep, gauss2_rowsBefore, block,
                      [&](const auto& from) { prepareMixedFrom(from, block, run.endOfInners, run.state); });
    }
}

// Whether all pixels are valid that the blocks first .. end - 1, which are inner ones, read in the fresh
// rows.
template <class Pixel, along columns>
bool isFullGroup(const gauss2_maskedSweep<Pixel>& sweep, int64_t first, int64_t end)
{
    const int64_t last = end * blockColumns + columnsAfter - blockColumns;
    u8s all[freshRows];
    for (int i = 0; i < freshRows; ++i)
        all[i] = load(sweep.mask[gauss2_rowsBefore + i] + last);
    for (int64_t column = first * blockColumns - columnsBefore; column < last; column += blockColumns)
        for (int i = 0; i < freshRows; ++i)
            all[i] &= load(sweep.mask[gauss2_rowsBefore + i] + column);
    return isZero(~(all[0] & all[1] & all[2] & all[3]));
}

// The inner blocks of a group that is full, and was so in the sweep before: summed from the source rows,
// without prepared ones.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] void runFullGroup(const gauss2_maskedSweep<Pixel>& sweep, int64_t first, int64_t end,
                                    keptBinary<Pixel, rows> (*kept)[parities<columns>])
{
    const inputRows<Pixel> input(sweep);
    const outputRows<Pixel> output(sweep);
    for (int64_t block = first; block < end; ++block)
        runFull<false, Pixel, columns, rows>(
            [&](int i) lanes_inlined { return input.source[i] + block * blockColumns; }, kept + block,
            rowOutput<Pixel, columns>{output, block});
}

// The blocks first .. end - 1 of a group, none of which reaches beyond the row. Returns whether the group
// is not special and all of them are full.
template <bool isSpecial, class Pixel, along columns, along rows>
[[gnu::noinline]] bool runGroup(const maskedRun<Pixel, columns, rows>& shared, int64_t first, int64_t end)
{
    const maskedRun<Pixel, columns, rows> run = shared;
    const outputRows<Pixel> output(shared.sweep);
    bool areFull = !isSpecial;
    for (int64_t block = first; block < end; ++block)
        if constexpr (isSpecial)
            runSpecialBlock(run, block, rowOutput<Pixel, columns>{output, block});
        else
            areFull &= runBinaryBlock(run, block, rowOutput<Pixel, columns>{output, block});
    return areFull;
}

template <class Pixel, along columns, along rows>
void moveOn(maskedState<Pixel, columns, rows>* state, int64_t firstOfGroup, bool wasSpecial)
{
    moveOn(&state->pixels, firstOfGroup, freshRows);
    moveOn(&state->valid, firstOfGroup, rowsOut(rows));
    moveOn(&state->validTotal, firstOfGroup, 1);
    moveOn(&state->products, firstOfGroup, wasSpecial ? freshRows : 0);
    moveOn(&state->mask, firstOfGroup, wasSpecial ? freshRows : 0);
}

template <class Pixel, along columns, along rows>
void runSweep(const gauss2_maskedSweep<Pixel>* sweep)
{
    auto* const state = reinterpret_cast<maskedState<Pixel, columns, rows>*>(sweep->state);
    if (!state->pixels.first)
        layOut(sweep->width, sweep->state, state);
    maskedRun<Pixel, columns, rows> run = {*sweep, inputRows<Pixel>(*sweep), endOfInner(sweep->width),
                                           *state};
    const int64_t blocks = (sweep->width + blockColumns - 1) / blockColumns;
    const int64_t whole = sweep->width / blockColumns;
    int64_t prepared = 0;
    bool* wasFull = state->wasFull;
    bool isSpecial = false;
    for (int64_t first = 0; first < blocks; first += groupBlocks, ++wasFull) {
        const int64_t end = smaller(first + groupBlocks, blocks);
        const int64_t firstInner = first > 0 ? first : 1;
        const int64_t endOfInners = smaller(end, run.endOfInners);
        if (first > 0)
            moveOn(&run.state, first - groupBlocks, isSpecial);
        isSpecial = false;
        int64_t block = first;
        if (*wasFull && isFullGroup<Pixel, columns>(*sweep, firstInner, endOfInners)) {
            // What is not an inner block must be prepared as ever: the first block of the row, which reads
            // the one after it, and the blocks at the end of the row.
            if (first == 0) {
                if (prepareBlocks(*sweep, 0, 2, run.state)) {
                    state->hasNotes = true;
                    prepareMixed(run, 0, 1);
                }
                runGroup<true>(run, 0, 1);
            }
            runFullGroup<Pixel, columns, rows>(*sweep, firstInner, endOfInners, run.state.binary);
            block = endOfInners;
            if (block == end)
                continue;
        }
        // From the block before, which the first one reads, up to the block after the group, which the last
        // one reads. A block that is full, and was so in the sweep before, may be prepared twice.
        const unsigned notes =
            prepareBlocks(*sweep, prepared < block ? block - 1 : prepared, end + 1, run.state);
        prepared = end + 1;
        state->hasNotes |= notes != 0;
        isSpecial = (notes | run.state.notes[first - 1] | run.state.notes[first]) != 0;
        const int64_t endOfWhole = smaller(end, whole);
        if (isSpecial) {
            prepareMixed(run, first, end);
            *wasFull = runGroup<true>(run, block, endOfWhole);
        } else {
            *wasFull = runGroup<false>(run, block, endOfWhole) && firstInner < endOfInners;
        }
        if (endOfWhole < end)
            runLastBlock(run, endOfWhole);
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
