// The first half of a masked sweep: fresh source rows and mask rows, each read once, become prepared rows.
// Internal linkage; needs the lanes of a level.
#pragma once

#include "gauss2/kernels/masked_state.h"
#include "lanes/padded_row.h"

namespace
{

// Columns that a block reads beside its own: two before it, three after it.
inline constexpr int columnsBefore = 2;
inline constexpr int columnsAfter = 3;

// Four rows of the sweep, from number `firstRow` on. A copy, which a store to other rows cannot change, so
// that the compiler need not read it again after it; the whole sweep takes too long to copy.
template <class Pixel>
struct inputRows {
    const Pixel* source[freshRows];
    const uint8_t* mask[freshRows];

    explicit inputRows(const gauss2_maskedSweep<Pixel>& sweep, int firstRow = gauss2_rowsBefore)
    {
        for (int i = 0; i < freshRows; ++i) {
            source[i] = sweep.source[firstRow + i];
            mask[i] = sweep.mask[firstRow + i];
        }
    }
};

// A block of four rows that lies in the row as a whole.
template <class Pixel>
struct insideBlock {
    const inputRows<Pixel>& rows;
    int64_t column;

    const Pixel* src(int i) const
    {
        return rows.source[i] + column;
    }
    const uint8_t* mask(int i) const
    {
        return rows.mask[i] + column;
    }
};

// A block that the row ends in, or before: a copy of it in which the row's last pixel repeats. The border
// to the right needs nothing else.
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

// Calls use(block), with an insideBlock or a copiedBlock.
template <class Pixel, class Use>
lanes_inline void withBlock(const gauss2_maskedSweep<Pixel>& sweep, int firstRow, int64_t block,
                            const Use& use)
{
    const int64_t column = block * blockColumns;
    if (column + blockColumns <= sweep.width) {
        const inputRows<Pixel> rows(sweep, firstRow);
        use(insideBlock<Pixel>{rows, column});
        return;
    }
    copiedBlock<Pixel> copy;
    copyBlock(sweep, firstRow, column, &copy);
    use(copy);
}

// The border to the left repeats the first column.
template <class Value>
lanes_inline void repeatFirst(Value* row)
{
    for (int i = 1; i <= columnsBefore; ++i)
        row[-i] = row[0];
}

// The valid pixels, from which S is summed; the block is binary. `loaded` are the mask values at `mask`.
lanes_inline void prepareBinaryRow(const uint8_t* src, const uint8_t*, u8s loaded, uint8_t* to)
{
    store(to, load(src) & loaded);
}

lanes_inline void prepareBinaryRow(const uint16_t* src, const uint8_t* mask, u8s, uint16_t* to)
{
    store(to, lowered(load(src)) & loadMaskWidened(mask));
    store(to + halfBlock, lowered(load(src + halfBlock)) & loadMaskWidened(mask + halfBlock));
}

// What N is summed from: the products of 8-bit pixels and mask values, or 16-bit pixels alone, whose
// products would not fit (sumMixed multiplies their weights by the mask instead).
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

// The inner blocks are 1 .. endOfInner - 1.
inline int64_t endOfInner(int64_t width)
{
    return (width - columnsAfter) / blockColumns;
}

inline bool isInner(int64_t block, int64_t endOfInners)
{
    return block > 0 && block < endOfInners;
}

// Prepares a block for N and W, with all that the blocks at the ends of a row need. `from` is an
// insideBlock or a copiedBlock.
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

// The same in a sweep's own rows. A block that only inner blocks read needs less: these need the products
// of 8-bit pixels, and read everything else from the source and mask rows themselves.
template <class From, class Pixel, along columns, along rows>
lanes_inline void prepareMixedFrom(const From& from, int64_t block, int64_t endOfInners,
                                   const maskedState<Pixel, columns, rows>& state)
{
    if (!isInner(block - 1, endOfInners) || !isInner(block + 1, endOfInners))
        prepareMixedFrom(from, block, state.products, state.mask);
    else if constexpr (sizeof(Pixel) == 1)
        for (int i = 0; i < freshRows; ++i)
            prepareMixedRow(from.src(i), from.mask(i), state.products.row(i) + block * blockColumns);
}

// A mask of 0 and 255, to be summed as numbers of 0 and 1. Shifted, these are another bit of the mask, so a
// shift costs no more than the numbers themselves.
struct maskBits {
    u8s mask;

    lanes_inlined operator u8s() const
    {
        return mask & uint8_t{1};
    }
};

lanes_inline u8s operator<<(maskBits a, int bits)
{
    return a.mask & filled(static_cast<uint8_t>(1 << bits));
}

lanes_inline u8s operator+(u8s a, maskBits b)
{
    return a + static_cast<u8s>(b);
}

// Prepares a block for S and V. `from` is an insideBlock or a copiedBlock.
template <class From, class Pixel, along columns, along rows>
lanes_inline void prepareBinaryFrom(const From& from, int64_t block,
                                    const maskedState<Pixel, columns, rows>& state)
{
    const int64_t column = block * blockColumns;
    u8s mask[freshRows];
    for (int i = 0; i < freshRows; ++i) {
        mask[i] = load(from.mask(i));
        prepareBinaryRow(from.src(i), from.mask(i), mask[i], state.pixels.row(i) + column);
    }
    u8s total = {};
    gauss2_sumDown<rows, freshRows>(
        state.keptValid[block], [&](int i) lanes_inlined { return maskBits{mask[i]}; },
        [&](int i, u8s valid) lanes_inlined {
            store(state.valid.row(i) + column, valid);
            total += valid;
        });
    store(state.validTotal.row(0) + column, total);
}

// Prepares a block in the way that its own mask values call for, and returns its notes. When these are not
// all 0 or 255, neither the block nor those beside it need S and V, now and in the next sweep. After that
// the sums kept for V are right again, since they depend on the last four rows alone.
template <class From, class Pixel, along columns, along rows>
lanes_inline unsigned prepareFrom(const From& from, int64_t block, int64_t endOfInners,
                                  const maskedState<Pixel, columns, rows>& state)
{
    // Where values are arbitrary, one row tells.
    const auto notBinary = [&](int i) lanes_inlined {
        return load(from.mask(i)) + uint8_t{1}; // 0 and 255 give 1 and 0
    };
    unsigned isMixed = !isZero(notBinary(0) & uint8_t{0xfe});
    if (!isMixed)
        isMixed = !isZero((notBinary(1) | notBinary(2) | notBinary(3)) & uint8_t{0xfe});
    unsigned notes = state.notes[block];
    notes = (notes & keepsMixed) | ((notes & mixedNow) << 1) | isMixed;
    state.notes[block] = static_cast<uint8_t>(notes);
    if (isMixed)
        prepareMixedFrom(from, block, endOfInners, state);
    else
        prepareBinaryFrom(from, block, state);
    return notes;
}

// Whether the fresh rows of these blocks have no mask values but 0 and 255; none reaches beyond the row.
template <class Pixel>
lanes_inline bool areBinary(const inputRows<Pixel>& rows, int64_t first, int64_t end)
{
    u8s notBinary = {};
    for (int64_t column = first * blockColumns; column < end * blockColumns; column += blockColumns)
        for (int i = 0; i < freshRows; ++i)
            notBinary |= load(rows.mask[i] + column) + uint8_t{1};
    return isZero(notBinary & uint8_t{0xfe}); // 0 and 255 give 1 and 0
}

// Prepares the blocks first .. end - 1 of the fresh rows. Returns the notes of all of them together.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] unsigned prepareBlocks(const gauss2_maskedSweep<Pixel>& sweep, int64_t first, int64_t end,
                                         const maskedState<Pixel, columns, rows> state)
{
    const inputRows<Pixel> input(sweep);
    const int64_t endOfWhole = smaller(end, sweep.width / blockColumns);
    const int64_t endOfInners = endOfInner(sweep.width);
    unsigned notes = 0;
    int64_t block = first;
    // As long as no mask value in the picture was another, one question for all of these blocks costs less
    // than a note on each.
    if (!state.hasNotes && areBinary(input, first, endOfWhole))
        for (; block < endOfWhole; ++block)
            prepareBinaryFrom(insideBlock<Pixel>{input, block * blockColumns}, block, state);
    for (; block < endOfWhole; ++block)
        notes |= prepareFrom(insideBlock<Pixel>{input, block * blockColumns}, block, endOfInners, state);
    for (; block < end; ++block) {
        copiedBlock<Pixel> copy;
        copyBlock(sweep, gauss2_rowsBefore, block * blockColumns, &copy);
        notes |= prepareFrom(copy, block, endOfInners, state);
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
