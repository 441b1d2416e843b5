// The kernels of gauss/box_sums.h, written once for all processor levels. A file that has included the
// lanes of its level includes this one; all of it has internal linkage.
#pragma once

#include "gauss/box_sums.h"

namespace
{

inline constexpr int64_t boxLanes = laneCount<uint32_t>;

// ---- the third difference of rows ----

// What is special about each depth: how the rows are interleaved to be multiplied and added in pairs, and
// which column stands in which lane then. Weights of 1, -1 and 3, -3 make the third difference.
template <class Pixel>
struct columnBlock;

// Bytes: the first integrator stays in 16-bit lanes. Each is two registers, of the lower and of the upper half of
// every 128 bits; widening parts the even from the odd columns.
template <>
struct columnBlock<uint8_t> {
    static constexpr int registers = 4;
    static constexpr int firstColumn[registers] = {0, 1, 8, 9};
    static constexpr int columnStep = 2;

    u16s first[2];
    u32s second[registers];
    u32s third[registers];

    lanes_inline void addRows(u8s row, u8s row1, u8s row2, u8s row3)
    {
        u8s outer[2];
        u8s inner[2];
        interleaveHalves(row, row3, outer);
        interleaveHalves(row2, row1, inner);
        for (int half = 0; half < 2; ++half) {
            first[half] += addPairs(outer[half], pairsOf<uint8_t>(1, -1)) +
                           addPairs(inner[half], pairsOf<uint8_t>(3, -3));
            second[2 * half] += addPairs(first[half], pairsOf<uint16_t>(1, 0));
            second[2 * half + 1] += addPairs(first[half], pairsOf<uint16_t>(0, 1));
        }
    }
};

// 16-bit pixels are multiplied as signed numbers, each lowered by the same: the weights of a pair add up to
// 0.
template <>
struct columnBlock<uint16_t> {
    static constexpr int registers = 2;
    static constexpr int firstColumn[registers] = {0, 4};
    static constexpr int columnStep = 1;

    u32s first[registers];
    u32s second[registers];
    u32s third[registers];

    lanes_inline void addRows(u16s row, u16s row1, u16s row2, u16s row3)
    {
        u16s outer[2];
        u16s inner[2];
        interleaveHalves(lowered(row), lowered(row3), outer);
        interleaveHalves(lowered(row2), lowered(row1), inner);
        for (int half = 0; half < 2; ++half) {
            first[half] += addPairs(outer[half], pairsOf<uint16_t>(1, -1)) +
                           addPairs(inner[half], pairsOf<uint16_t>(3, -3));
            second[half] += first[half];
        }
    }
};

// ---- from rows to columns ----

// From the third integrators of each row of the group to columns of sums.
template <class Pixel>
lanes_inline void storeColumns(const uint32_t (&rows)[boxLanes][laneCount<Pixel>], uint32_t* columns)
{
    using block = columnBlock<Pixel>;
    constexpr int halfColumns = 16 / int{sizeof(Pixel)};
#pragma GCC unroll 4
    for (int i = 0; i < block::registers; ++i)
        for (int half = 0; half < laneBytes / 16; ++half) {
            u32s quads[4];
            for (int row = 0; row < 4; ++row)
                quads[row] = loadHalves(&rows[row][i * boxLanes + 4 * half],
                                        &rows[(row + 4) % boxLanes][i * boxLanes + 4 * half]);
            transposeQuads(quads);
            for (int column = 0; column < 4; ++column)
                store(columns + (block::firstColumn[i] + block::columnStep * column + halfColumns * half) *
                                    boxLanes,
                      quads[column]);
        }
}

template <class Pixel>
void sumDown(const gauss_boxDown<Pixel>* step)
{
    using block = columnBlock<Pixel>;
    constexpr int64_t columns = laneCount<Pixel>;
    const int64_t n = step->box;
    const gauss_boxOutputs outputs = step->outputs;
    uint32_t rows[boxLanes][columns] = {};
    for (int64_t index = step->firstBlock; index < step->firstBlock + step->blocks; ++index) {
        const int64_t column =
            index * columns + columns <= step->width ? index * columns : step->width - columns;
        auto* const kept = reinterpret_cast<block*>(step->state + index * int64_t{sizeof(block)});
        block sums = *kept;
        const Pixel* const* row = step->rows;
        int64_t count = outputs.first;
        for (int64_t output = 0; output < outputs.count; ++output) {
            for (; count > 0; --count, ++row) {
                sums.addRows(load(row[0] + column), load(row[-n] + column), load(row[-2 * n] + column),
                             load(row[-3 * n] + column));
                for (int i = 0; i < block::registers; ++i)
                    sums.third[i] += sums.second[i];
            }
            for (int i = 0; i < block::registers; ++i)
                store(&rows[output][i * boxLanes], sums.third[i]);
            count = outputs.step;
        }
        *kept = sums;
        storeColumns<Pixel>(rows, step->sums + (column - step->firstBlock * columns) * boxLanes);
    }
}

template <class Pixel>
constexpr gauss_downKernel<Pixel> downKernel()
{
    return {laneCount<Pixel>, sizeof(columnBlock<Pixel>), sumDown<Pixel>};
}

constexpr gauss_boxKernels boxKernels()
{
    return {boxLanes, downKernel<uint8_t>(), downKernel<uint16_t>()};
}

} // namespace
