// What a masked kernel keeps in the memory of a call, and where. Internal linkage; needs the lanes of a
// level.
//
// The words of all files masked_*.h:
//   sweep     one call of a kernel; fresh rows are those that it brings (gauss2/kernels/kernels.h)
//   block     as many columns as a register has bytes; rows are cut into blocks, the first at column 0
//   inner     a block that reads no column beyond the ends of the row; it reads some beside its own
//   group     sixteen neighbouring blocks; the last group of a row may have fewer
//   prepared  a fresh row in a form that can be summed at once: with the mask applied and with its borders
//   valid     a pixel whose mask value is 255
//   kept      sums down the columns that a sweep leaves for the next one to go on from
//   binary    a block in and beside which the mask has no values but 0 and 255, in the fresh rows and in
//             the rows before; it is full when all values that it reads are 255, empty when all are 0,
//             else partly valid
//   mixed     a block that is not binary
//   special   a block that may be mixed, or was mixed in the sweep before; a group in which, or right
//             beside which, there may be such a block
#pragma once

#include "gauss2/binomial.h"
#include "gauss2/kernels/kernels.h"

namespace
{

using along = gauss2_along;

inline constexpr int blockColumns = laneBytes;
inline constexpr int halfBlock = blockColumns / 2; // the even or the odd columns of a block
inline constexpr int freshRows = 4;                // of a sweep of a masked kernel

constexpr int64_t smaller(int64_t a, int64_t b)
{
    return a < b ? a : b;
}

constexpr int rowsOut(along rows)
{
    return freshRows / gauss2_stepOf(rows);
}

// A group is prepared, then summed. Block by block, a block would read columns beside its own that were
// stored just before: a load that straddles two stores waits for both. A whole row would not stay in the
// first-level cache between the two steps; a group does.
inline constexpr int groupBlocks = 16;

// Prepared rows, one for each fresh row, with room for a group, the block before it and the block after it,
// so that a block may read the columns beside it wherever it lies. Columns count from the first one of the
// image.
template <class Value>
struct preparedRows {
    static constexpr int64_t distance = (groupBlocks + 2) * blockColumns; // values from a row to the next

    Value* first;

    Value* row(int i) const
    {
        return first + i * distance;
    }
};

// Moves on to the next group. Its first block and the block before that are prepared already; they are
// copied from the end of the rows to the beginning.
template <class Value>
inline void moveOn(preparedRows<Value>* rows, int64_t firstOfGroup, int count)
{
    constexpr int64_t step = groupBlocks * blockColumns;
    for (int i = 0; i < count; ++i) {
        Value* const begin = rows->row(i) + (firstOfGroup - 1) * blockColumns;
        std::memcpy(begin, begin + step, 2 * blockColumns * sizeof(Value));
    }
    rows->first -= step;
}

// What is summed. With m the mask, p the pixels and w the weights:
//   mixed blocks   N = sum of w m p and W = sum of w m;
//   binary blocks  S = sum of w p over the valid pixels and V = sum of w over them, so that N = 255 S and
//                  W = 255 V.
// S of 8-bit pixels is in lanes of 16 bits, all other sums of pixels in lanes of 32 bits, in two registers
// (parts) for the columns of one parity. Multiplications are signed, so what might not fit is summed less
// 32768:
//   S, 16 bits  p - 32768 where it is valid, 0 elsewhere: the sum is S - 32768 V;
//   N, 8 bits   m p - 32768: the sum is N - 32768 w, with w the sum of all weights, whatever the mask;
//   N, 16 bits  m (p - 32768): the sum is N - 32768 W, at least -32768 * 65280 > -2^31.
template <class Pixel>
using binaryLanes = std::conditional_t<sizeof(Pixel) == 1, u16s, u32s>;
template <class Pixel>
constexpr int binaryParts = sizeof(Pixel);
inline constexpr int mixedParts = 2;

// The length of an array of kept sums: at least 1, since an array cannot be empty.
template <along rows>
constexpr int keptRows = gauss2_keptSums<rows> > 0 ? gauss2_keptSums<rows> : 1;

// The kept sums of the columns of one parity.
template <class Pixel, along rows>
struct keptBinary {
    binaryLanes<Pixel> s[binaryParts<Pixel>][keptRows<rows>];
};

template <along rows>
struct keptMixed {
    u32s n[mixedParts][keptRows<rows>];
    u16s w[keptRows<rows>];
};

template <along columns>
constexpr int parities = columns == along::sampled ? 1 : 2; // the even columns, and the odd ones

// What is known of a block and its mask from sweep to sweep, as bits.
inline constexpr unsigned mixedNow = 1;    // in the block, fresh mask rows have values besides 0 and 255
inline constexpr unsigned mixedBefore = 2; // so had the rows before
inline constexpr unsigned keepsMixed = 4;  // the sums kept for N and W are up to date, and not those for S

template <class Pixel, along columns, along rows>
struct maskedState {
    preparedRows<Pixel> pixels;       // 0 where not valid; elsewhere p, or the 16-bit p - 32768
    preparedRows<uint8_t> valid;      // for each output row, the part of V that is summed down the columns
    preparedRows<uint8_t> validTotal; // one row: the sum of `valid` over the output rows
    preparedRows<uint16_t> products;  // for mixed blocks: m p - 32768, or the 16-bit p - 32768
    preparedRows<uint8_t> mask;       // for mixed blocks

    u8s (*keptValid)[keptRows<rows>];
    keptBinary<Pixel, rows> (*binary)[parities<columns>];
    keptMixed<rows> (*mixed)[parities<columns>];
    uint8_t* notes; // the bits above, of every block and of one more on both sides
    bool hasNotes;  // whether there was a mixed block in any sweep before
    bool* wasFull;  // of each group: its blocks were full in the last sweep, and S is up to date
};

// Memory that is handed out front to back. `bytes` are taken so far; while `start` is null they are only
// counted.
struct memoryLayout {
    unsigned char* start;
    int64_t bytes;
};

// Takes room for `count` values; `values` will point at number `before` of them.
template <class Value>
void takeMemory(memoryLayout* memory, int64_t count, int64_t before, Value** values)
{
    const int64_t bytes = (count * int64_t{sizeof(Value)} + 63) / 64 * 64;
    *values = memory->start ? reinterpret_cast<Value*>(memory->start + memory->bytes) + before : nullptr;
    memory->bytes += bytes;
}

template <class Value>
void takeRows(memoryLayout* memory, int count, preparedRows<Value>* rows)
{
    takeMemory(memory, count * rows->distance, blockColumns, &rows->first);
}

// Lays a state out in memory that begins with the record itself, for rows of this width. Returns the bytes
// that it takes; with a null `start` it only counts these.
template <class Pixel, along columns, along rows>
int64_t layOut(int64_t width, unsigned char* start, maskedState<Pixel, columns, rows>* state)
{
    // With one more, which the last block of a row reads.
    const int64_t blocks = (width + blockColumns - 1) / blockColumns + 1;
    memoryLayout memory = {start, (int64_t{sizeof *state} + 63) / 64 * 64};
    takeRows(&memory, freshRows, &state->pixels);
    takeRows(&memory, rowsOut(rows), &state->valid);
    takeRows(&memory, 1, &state->validTotal);
    takeRows(&memory, freshRows, &state->products);
    takeRows(&memory, freshRows, &state->mask);
    takeMemory(&memory, blocks, 0, &state->keptValid);
    takeMemory(&memory, blocks, 0, &state->binary);
    takeMemory(&memory, blocks + 2, 1, &state->notes);
    takeMemory(&memory, blocks, 0, &state->wasFull);
    takeMemory(&memory, blocks, 0, &state->mixed);
    return memory.bytes;
}

template <class Pixel, along columns, along rows>
int64_t maskedStateBytes(int64_t width)
{
    maskedState<Pixel, columns, rows> state;
    return layOut(width, nullptr, &state);
}

} // namespace
