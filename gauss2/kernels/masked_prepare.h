// The first half of a masked sweep: source rows and mask rows, each read once, become rows that blocks can
// sum without asking for borders. Internal linkage; needs the lanes of a level.
#pragma once

#include "gauss2/kernels/masked_state.h"
#include "lanes/padded_row.h"

namespace
{

// Columns that a block reads beside its own: two before, three behind.
constexpr int columnsBefore = 2;
constexpr int columnsBehind = 3;

// A block of four source rows, from `firstRow` of the sweep on, that lies in the row.
template <class Pixel>
struct insideBlock {
    const gauss2_maskedSweep<Pixel>& sweep;
    int firstRow;
    int64_t column;

    const Pixel* src(int i) const
    {
        return sweep.source[firstRow + i] + column;
    }
    const uint8_t* mask(int i) const
    {
        return sweep.mask[firstRow + i] + column;
    }
};

// The same where the row ends, in a copy that repeats the last pixel: the border to the right needs nothing
// else.
template <class Pixel>
struct copiedBlock {
    Pixel srcCopy[freshRows][blockColumns];
    uint8_t maskCopy[freshRows][blockColumns];

    const Pixel* src(int i) const
    {
        return srcCopy[i];
    }
    const uint8_t* mask(int i) const
    {
        return maskCopy[i];
    }
};

template <class Pixel>
void copyBlock(const gauss2_maskedSweep<Pixel>& sweep, int firstRow, int64_t column,
               copiedBlock<Pixel>* copy)
{
    for (int i = 0; i < freshRows; ++i) {
        copyColumns<rowBorder::repeated, blockColumns>(sweep.source[firstRow + i], sweep.width, column,
                                                       copy->srcCopy[i]);
        copyColumns<rowBorder::repeated, blockColumns>(sweep.mask[firstRow + i], sweep.width, column,
                                                       copy->maskCopy[i]);
    }
}

// Calls use(block) with the one or the other.
template <class Pixel, class Use>
lanes_inline void withBlock(const gauss2_maskedSweep<Pixel>& sweep, int firstRow, int64_t block,
                            const Use& use)
{
    const int64_t column = block * blockColumns;
    if (column + blockColumns <= sweep.width) {
        use(insideBlock<Pixel>{sweep, firstRow, column});
        return;
    }
    copiedBlock<Pixel> copy;
    copyBlock(sweep, firstRow, column, &copy);
    use(copy);
}

// The border to the left: the first column again.
template <class Value>
lanes_inline void repeatFirst(Value* row)
{
    for (int i = 1; i <= columnsBefore; ++i)
        row[-i] = row[0];
}

// The pixels that are not masked out, for S. `loaded` is what stands at `mask`.
lanes_inline void prepareBinaryRow(const uint8_t* src, const uint8_t*, u8s loaded, uint8_t* to)
{
    store(to, load(src) & loaded);
}

lanes_inline void prepareBinaryRow(const uint16_t* src, const uint8_t* mask, u8s, uint16_t* to)
{
    store(to, lowered(load(src)) & loadMaskWidened(mask));
    store(to + halfBlock, lowered(load(src + halfBlock)) & loadMaskWidened(mask + halfBlock));
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

// Blocks that read nothing beyond the row.
inline int64_t endOfInner(int64_t width)
{
    return (width - columnsBehind) / blockColumns;
}

inline bool isInner(int64_t block, int64_t width)
{
    return block > 0 && block < endOfInner(width);
}

// Prepares a block for N and W, with what the blocks at the ends of a row need. `from` is one of the blocks
// above.
template <class From>
lanes_inline void prepareMixedFrom(const From& from, int64_t block, const preparedRows<uint16_t>& products,
                                   const preparedRows<uint8_t>& mask)
{
    for (int i = 0; i < freshRows; ++i) {
        prepareMixedRow(from.src(i), from.mask(i), products.row(i) + block * blockColumns);
        store(mask.row(i) + block * blockColumns, load(from.mask(i)));
    }
    for (int i = 0; block == 0 && i < freshRows; ++i) {
        repeatFirst(products.row(i));
        repeatFirst(mask.row(i));
    }
}

// The same of a sweep, where a block is read by inner blocks alone: they need the products of 8-bit pixels,
// and nothing else that does not lie in the row.
template <class From, class Pixel, along columns, along rows>
lanes_inline void prepareMixedFrom(const From& from, int64_t block, int64_t width,
                                   const maskedState<Pixel, columns, rows>& state)
{
    if (!isInner(block - 1, width) || !isInner(block + 1, width))
        prepareMixedFrom(from, block, state.products, state.mask);
    else if constexpr (sizeof(Pixel) == 1)
        for (int i = 0; i < freshRows; ++i)
            prepareMixedRow(from.src(i), from.mask(i), state.products.row(i) + block * blockColumns);
}

// A mask of 0 and 255 as numbers of 0 and 1: four of them are just another bit.
struct maskBits {
    u8s mask;

    lanes_inlined operator u8s() const
    {
        return mask & uint8_t{1};
    }
};

lanes_inline u8s operator<<(maskBits a, int bits)
{
    return a.mask & static_cast<uint8_t>(1 << bits);
}

lanes_inline u8s operator+(u8s a, maskBits b)
{
    return a + static_cast<u8s>(b);
}

// Prepares a block for S and V. `from` is one of the blocks above, `mask` what it has as masks.
template <class From, class Pixel, along columns, along rows>
lanes_inline void prepareBinaryFrom(const From& from, const u8s* mask, int64_t block,
                                    const maskedState<Pixel, columns, rows>& state)
{
    const int64_t column = block * blockColumns;
    for (int i = 0; i < freshRows; ++i)
        prepareBinaryRow(from.src(i), from.mask(i), mask[i], state.pixels.row(i) + column);
    u8s total = {};
    gauss2_sumDown<rows, freshRows>(
        state.keptValid[block], [&](int i) lanes_inlined { return maskBits{mask[i]}; },
        [&](int i, u8s valid) lanes_inlined {
            store(state.valid.row(i) + column, valid);
            total += valid;
        });
    store(state.validTotal.row(0) + column, total);
}

// Prepares a block for what its own mask calls for, and returns its notes. A block whose mask is mixed has
// no use for S and V, nor have those beside it, now and in the next sweep; after that what is kept of V is
// right again, since it depends on the last four rows alone.
template <class From, class Pixel, along columns, along rows>
lanes_inline unsigned prepareFrom(const From& from, int64_t block, int64_t width,
                                  const maskedState<Pixel, columns, rows>& state)
{
    u8s mask[freshRows];
    u8s notBinary = {};
    for (int i = 0; i < freshRows; ++i) {
        mask[i] = load(from.mask(i));
        notBinary |= mask[i] + uint8_t{1}; // 0 and 255 give 1 and 0
    }
    const unsigned isMixed = !isZero(notBinary & uint8_t{0xfe});
    unsigned notes = state.notes[block];
    notes = (notes & keepsMixed) | ((notes & mixedNow) << 1) | isMixed;
    state.notes[block] = static_cast<uint8_t>(notes);
    if (isMixed)
        prepareMixedFrom(from, block, width, state);
    else
        prepareBinaryFrom(from, mask, block, state);
    return notes;
}

// Prepares the blocks first .. end - 1 of the fresh rows. Returns the notes of all of them together.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] unsigned prepareBlocks(const gauss2_maskedSweep<Pixel>& sweep, int64_t first, int64_t end,
                                         const maskedState<Pixel, columns, rows> state)
{
    const int64_t whole = sweep.width / blockColumns;
    unsigned notes = 0;
    int64_t block = first;
    for (; block < end && block < whole; ++block)
        notes |= prepareFrom(insideBlock<Pixel>{sweep, gauss2_rowsBefore, block * blockColumns}, block,
                             sweep.width, state);
    for (; block < end; ++block) {
        copiedBlock<Pixel> copy;
        copyBlock(sweep, gauss2_rowsBefore, block * blockColumns, &copy);
        notes |= prepareFrom(copy, block, sweep.width, state);
    }
    if (first == 0) {
        for (int i = 0; i < freshRows; ++i)
            repeatFirst(state.pixels.row(i));
        for (int i = 0; i < rowsOut(rows); ++i)
            repeatFirst(state.valid.row(i));
        repeatFirst(state.validTotal.row(0));
    }
    return notes;
}

} // namespace
