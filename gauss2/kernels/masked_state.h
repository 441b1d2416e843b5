// What a masked kernel keeps in the memory of a call, and where: rows that are prepared once and read by the blocks
// beside them too, and sums that go on from sweep to sweep. Internal linkage; needs the lanes of a level.
//
// A row is cut into blocks as wide as a vector of bytes. Prepared rows have room for one block more on both sides,
// so that a block may read the columns beside it wherever it lies.
#pragma once

#include "gauss2/binomial.h"
#include "gauss2/kernels/kernels.h"

namespace
{

using along = gauss2_along;

constexpr int blockColumns = laneBytes;
constexpr int halfBlock = blockColumns / 2; // the even or the odd columns of a block
constexpr int freshRows = 4;                // of a sweep of a masked kernel

constexpr int rowsOut(along rows)
{
    return freshRows / gauss2_stepOf(rows);
}

// Prepared rows, one for each fresh row.
template <class Value>
struct preparedRows {
    Value* first;
    int64_t distance; // values from a row to the next

    Value* row(int i) const
    {
        return first + i * distance;
    }
};

// The two ways in which a block is summed. With m the mask, p the pixels and w the weights:
//   binary   where m is 0 or 255 all around, S = sum of w p over the pixels that are not masked out, and
//            V = sum of w over them; N = 255 S and W = 255 V;
//   mixed    N = sum of w m p and W = sum of w m.
// S of 8-bit pixels lies in lanes of 16 bits, all other sums of pixels in lanes of 32 bits, in two vectors for the
// columns of one parity. Multiplications are signed, so values are taken off where they might not fit:
//   S, 16 bits  pixel - 32768 where it is not masked out, 0 elsewhere: the sum is S - 32768 V;
//   N, 8 bits   m p - 32768: the sum is N - 32768 w, with w the sum of all weights, whatever the mask;
//   N, 16 bits  m (p - 32768): the sum is N - 32768 W, at least -32768 * 65280 > -2^31.
template <class Pixel>
using binaryLanes = std::conditional_t<sizeof(Pixel) == 1, u16s, u32s>;
template <class Pixel>
constexpr int binaryParts = sizeof(Pixel);
constexpr int mixedParts = 2;

// The kept sums of the columns of one parity.
template <class Pixel, along rows>
struct keptBinary {
    binaryLanes<Pixel> s[binaryParts<Pixel>][gauss2_keptSums<rows> + !gauss2_keptSums<rows>];
};

template <along rows>
struct keptMixed {
    u32s n[mixedParts][gauss2_keptSums<rows> + !gauss2_keptSums<rows>];
    u16s w[gauss2_keptSums<rows> + !gauss2_keptSums<rows>];
};

template <along columns>
constexpr int parities = columns == along::sampled ? 1 : 2; // the even columns, and the odd ones

// What is known of a block from sweep to sweep.
struct blockNotes {
    bool mixedNow;    // the mask of the fresh rows has other values than 0 and 255
    bool mixedBefore; // so had that of the rows before
    bool keepsMixed;  // N and W are up to date, and not S

    bool any() const
    {
        return mixedNow | mixedBefore | keepsMixed;
    }
};

template <class Pixel, along columns, along rows>
struct maskedState {
    static constexpr int keptRows = gauss2_keptSums<rows> + !gauss2_keptSums<rows>;

    preparedRows<Pixel> pixels;      // with 0 where masked out; 16-bit ones less 32768 elsewhere
    preparedRows<uint8_t> valid;     // V summed down the columns, for each output row
    uint8_t* validTotal;             // the sum of `valid` over the output rows
    preparedRows<uint16_t> products; // for mixed blocks: m p - 32768, or the 16-bit p - 32768
    preparedRows<uint8_t> mask;      // for mixed blocks

    u8s (*keptValid)[keptRows];
    keptBinary<Pixel, rows> (*binary)[parities<columns>];
    keptMixed<rows> (*mixed)[parities<columns>];
    blockNotes* notes; // with one more on both sides
};

// Hands out consecutive pieces of memory; without any, it counts how much there has to be.
struct memoryWalk {
    unsigned char* at;
    int64_t bytes;
};

// `piece` points at value `before` of them.
template <class Value>
void takeMemory(memoryWalk* walk, int64_t count, int64_t before, Value** piece)
{
    const int64_t bytes = (count * int64_t{sizeof(Value)} + 63) / 64 * 64;
    *piece = walk->at ? reinterpret_cast<Value*>(walk->at + walk->bytes) + before : nullptr;
    walk->bytes += bytes;
}

template <class Value>
void takeRows(memoryWalk* walk, int64_t blocks, preparedRows<Value>* rows)
{
    rows->distance = (blocks + 1) * blockColumns;
    takeMemory(walk, freshRows * rows->distance, blockColumns, &rows->first);
}

template <class Pixel, along columns, along rows>
void layOut(int64_t width, memoryWalk* walk, maskedState<Pixel, columns, rows>* state)
{
    const int64_t blocks =
        (width + blockColumns - 1) / blockColumns + 1; // the last one is read, not summed
    takeRows(walk, blocks, &state->pixels);
    takeRows(walk, blocks, &state->valid);
    takeMemory(walk, (blocks + 1) * blockColumns, blockColumns, &state->validTotal);
    takeMemory(walk, blocks, 0, &state->keptValid);
    takeMemory(walk, blocks, 0, &state->binary);
    takeMemory(walk, blocks + 2, 1, &state->notes);
    takeRows(walk, blocks, &state->products);
    takeRows(walk, blocks, &state->mask);
    takeMemory(walk, blocks, 0, &state->mixed);
}

template <class Pixel, along columns, along rows>
int64_t maskedStateBytes(int64_t width)
{
    memoryWalk walk = {nullptr, 0};
    maskedState<Pixel, columns, rows> state;
    layOut(width, &walk, &state);
    return walk.bytes;
}

} // namespace
