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

constexpr int64_t smaller(int64_t a, int64_t b)
{
    return a < b ? a : b;
}

constexpr int rowsOut(along rows)
{
    return freshRows / gauss2_stepOf(rows);
}

// Blocks are prepared and summed in groups: a load that straddles two stores would have to wait for both, and what
// lies between the two steps stays in the first cache.
constexpr int groupBlocks = 16;

// Prepared rows, one for each fresh row: a group, the block before it and the block behind it. Columns count from
// the first one of the image.
template <class Value>
struct preparedRows {
    static constexpr int64_t distance = (groupBlocks + 2) * blockColumns; // values from a row to the next

    Value* first;

    Value* row(int i) const
    {
        return first + i * distance;
    }
};

// On to the next group: its first block, and the block before that, are prepared already.
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

// What is known of a block from sweep to sweep, as bits.
constexpr unsigned mixedNow = 1;    // the mask of the fresh rows has other values than 0 and 255
constexpr unsigned mixedBefore = 2; // so had that of the rows before
constexpr unsigned keepsMixed = 4;  // N and W are up to date, and not S

template <class Pixel, along columns, along rows>
struct maskedState {
    static constexpr int keptRows = gauss2_keptSums<rows> + !gauss2_keptSums<rows>;

    preparedRows<Pixel> pixels;       // with 0 where masked out; 16-bit ones less 32768 elsewhere
    preparedRows<uint8_t> valid;      // V summed down the columns, for each output row
    preparedRows<uint8_t> validTotal; // one row: the sum of `valid` over the output rows
    preparedRows<uint16_t> products;  // for mixed blocks: m p - 32768, or the 16-bit p - 32768
    preparedRows<uint8_t> mask;       // for mixed blocks

    u8s (*keptValid)[keptRows];
    keptBinary<Pixel, rows> (*binary)[parities<columns>];
    keptMixed<rows> (*mixed)[parities<columns>];
    uint8_t* notes; // the bits above, of every block and of one more on both sides
    bool* wasFull;  // for each group of blocks: no pixel was masked out, and S is up to date
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
void takeRows(memoryWalk* walk, int count, preparedRows<Value>* rows)
{
    takeMemory(walk, count * rows->distance, blockColumns, &rows->first);
}

// Lays a state out in `memory`, behind the record itself, for rows of this width. Returns the bytes that it takes.
template <class Pixel, along columns, along rows>
int64_t layOut(int64_t width, unsigned char* memory, maskedState<Pixel, columns, rows>* state)
{
    const int64_t blocks =
        (width + blockColumns - 1) / blockColumns + 1; // the last one is read, not summed
    memoryWalk walk = {memory, (int64_t{sizeof *state} + 63) / 64 * 64};
    takeRows(&walk, freshRows, &state->pixels);
    takeRows(&walk, rowsOut(rows), &state->valid);
    takeRows(&walk, 1, &state->validTotal);
    takeRows(&walk, freshRows, &state->products);
    takeRows(&walk, freshRows, &state->mask);
    takeMemory(&walk, blocks, 0, &state->keptValid);
    takeMemory(&walk, blocks, 0, &state->binary);
    takeMemory(&walk, blocks + 2, 1, &state->notes);
    takeMemory(&walk, blocks, 0, &state->wasFull);
    takeMemory(&walk, blocks, 0, &state->mixed);
    return walk.bytes;
}

template <class Pixel, along columns, along rows>
int64_t maskedStateBytes(int64_t width)
{
    maskedState<Pixel, columns, rows> state;
    return layOut(width, nullptr, &state);
}

} // namespace
