// The first half of a masked sweep: source rows and mask rows, each read once, become rows that blocks can sum
// without asking for borders. Internal linkage; needs the lanes of a level.
#pragma once

#include "gauss2/kernels/masked_state.h"
#include "lanes/padded_row.h"

namespace
{

lanes_inline u16s lowered(u16s a)
{
    return a ^ uint16_t { 0x8000 }; // less 32768, as a signed number
}

// Columns that a block reads beside its own: two before, three behind.
constexpr int columnsBefore = 2;

// One block of four source rows. Where the row ends within the block, it stands in a copy that repeats the last
// pixel: the border to the right needs nothing else.
template <class Pixel>
struct sourceBlock {
    const Pixel* src[freshRows];
    const uint8_t* mask[freshRows];
    Pixel srcCopy[freshRows][blockColumns];
    uint8_t maskCopy[freshRows][blockColumns];
};

template <class Pixel>
lanes_inline void findBlock(const gauss2_maskedSweep<Pixel>& sweep, int firstRow, int64_t block,
                            sourceBlock<Pixel>* found)
{
    const int64_t column = block * blockColumns;
    const bool isInside = column + blockColumns <= sweep.width;
    for (int i = 0; i < freshRows; ++i) {
        const Pixel* const src = sweep.source[firstRow + i];
        const uint8_t* const mask = sweep.mask[firstRow + i];
        if (isInside) {
            found->src[i] = src + column;
            found->mask[i] = mask + column;
        } else {
            copyColumns<rowBorder::repeated>(src, sweep.width, column, blockColumns, found->srcCopy[i]);
            copyColumns<rowBorder::repeated>(mask, sweep.width, column, blockColumns, found->maskCopy[i]);
            found->src[i] = found->srcCopy[i];
            found->mask[i] = found->maskCopy[i];
        }
    }
}

// The border to the left: the first column again.
template <class Value>
lanes_inline void repeatFirst(Value* row)
{
    for (int i = 1; i <= columnsBefore; ++i)
        row[-i] = row[0];
}

// The pixels that are not masked out, for S.
lanes_inline void prepareBinaryRow(const uint8_t* src, const uint8_t* mask, uint8_t* to)
{
    store(to, load(src) & load(mask));
}

lanes_inline void prepareBinaryRow(const uint16_t* src, const uint8_t* mask, uint16_t* to)
{
    store(to, lowered(load(src)) & loadSignWidened(mask));
    store(to + halfBlock, lowered(load(src + halfBlock)) & loadSignWidened(mask + halfBlock));
}

// What N is summed from.
lanes_inline void prepareMixedRow(const uint8_t* src, const uint8_t* mask, uint16_t* to)
{
    store(to, lowered(loadWidened(src) * loadWidened(mask)));
    store(to + halfBlock, lowered(loadWidened(src + halfBlock) * loadWidened(mask + halfBlock)));
}

lanes_inline void prepareMixedRow(const uint16_t* src, const uint8_t*, uint16_t* to)
{
    store(to, lowered(load(src)));
    store(to + halfBlock, lowered(load(src + halfBlock)));
}

// Prepares a block for S and V, and notes whether its mask is 0 or 255 everywhere.
template <class Pixel, along columns, along rows>
lanes_inline void prepareBlock(const gauss2_maskedSweep<Pixel>& sweep, int64_t block,
                               const maskedState<Pixel, columns, rows>& state)
{
    const int64_t column = block * blockColumns;
    sourceBlock<Pixel> from;
    findBlock(sweep, gauss2_rowsBefore, block, &from);
    u8s notBinary = {};
    for (int i = 0; i < freshRows; ++i) {
        prepareBinaryRow(from.src[i], from.mask[i], state.pixels.row[i] + column);
        notBinary |= load(from.mask[i]) + uint8_t{1}; // 0 and 255 give 1 and 0
    }
    u8s total = {};
    gauss2_sumDown<rows, freshRows>(
        state.keptValid[block], [&](int i) lanes_inlined { return load(from.mask[i]) & uint8_t{1}; },
        [&](int i, u8s valid) lanes_inlined {
            store(state.valid.row[i] + column, valid);
            total += valid;
        });
    store(state.validTotal + column, total);
    state.notes[block].mixedNow = !isZero(notBinary & uint8_t{0xfe});
    if (block == 0) {
        for (int i = 0; i < freshRows; ++i)
            repeatFirst(state.pixels.row[i]);
        for (int i = 0; i < rowsOut(rows); ++i)
            repeatFirst(state.valid.row[i]);
        repeatFirst(state.validTotal);
    }
}

// Prepares a block of the rows from `firstRow` of the sweep on for N and W.
template <class Pixel>
lanes_inline void prepareMixedBlock(const gauss2_maskedSweep<Pixel>& sweep, int firstRow, int64_t block,
                                    const preparedRows<uint16_t>& products,
                                    const preparedRows<uint8_t>& mask)
{
    const int64_t column = block * blockColumns;
    sourceBlock<Pixel> from;
    findBlock(sweep, firstRow, block, &from);
    for (int i = 0; i < freshRows; ++i) {
        prepareMixedRow(from.src[i], from.mask[i], products.row[i] + column);
        store(mask.row[i] + column, load(from.mask[i]));
        if (block == 0) {
            repeatFirst(products.row[i]);
            repeatFirst(mask.row[i]);
        }
    }
}

} // namespace
