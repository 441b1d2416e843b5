// The kernels of gauss/box_sums.h, written once for all processor levels. A file that has included the
// lanes of its level includes this one; all of it has internal linkage.
#pragma once

#include "gauss/box_sums.h"

namespace
{

inline constexpr int64_t boxLanes = laneCount<uint32_t>;
inline constexpr int64_t blockColumns = laneCount<uint8_t>;

// ---- down the columns ----

// The integrators of a block. The bytes of the rows are interleaved to be multiplied in pairs, which leaves
// the columns in four registers: the even and the odd ones of the lower and the upper half of each 128
// bits.
struct blockIntegrators {
    u16s first[2];
    u32s second[4];
    u32s third[4];
};

// Adds the rows that the four pointers point to: a row and those n, 2n and 3n above it. Weights in pairs
// make the third difference of them without a multiplication for each row.
lanes_inline void addRows(const uint8_t* row, const uint8_t* row1, const uint8_t* row2, const uint8_t* row3,
                          int64_t column, blockIntegrators* sums)
{
    u8s outer[2];
    u8s inner[2];
    interleaveHalves(load(row + column), load(row3 + column), outer);
    interleaveHalves(load(row2 + column), load(row1 + column), inner);
    for (int half = 0; half < 2; ++half) {
        sums->first[half] +=
            addPairs(outer[half], pairsOf<uint8_t>(1, -1)) + addPairs(inner[half], pairsOf<uint8_t>(3, -3));
        sums->second[2 * half] += addPairs(sums->first[half], pairsOf<uint16_t>(1, 0));
        sums->second[2 * half + 1] += addPairs(sums->first[half], pairsOf<uint16_t>(0, 1));
    }
    for (int i = 0; i < 4; ++i)
        sums->third[i] += sums->second[i];
}

// From the third integrators of each row of the group, four registers a row, to columns of sums.
lanes_inline void storeColumns(const uint32_t (&rows)[boxLanes][blockColumns], uint32_t* columns)
{
    // The first column of each register; the others are two apart.
    constexpr int64_t firstColumn[4] = {0, 1, 8, 9};
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
        for (int half = 0; half < laneBytes / 16; ++half) {
            u32s quads[4];
            for (int row = 0; row < 4; ++row)
                quads[row] = loadHalves(&rows[row][i * boxLanes + 4 * half],
                                        &rows[(row + 4) % boxLanes][i * boxLanes + 4 * half]);
            transposeQuads(quads);
            for (int column = 0; column < 4; ++column)
                store(columns + (firstColumn[i] + 2 * column + 16 * half) * boxLanes, quads[column]);
        }
}

inline void sumDown(const gauss_boxDown* step)
{
    const int64_t n = step->box;
    const gauss_boxOutputs outputs = step->outputs;
    uint32_t rows[boxLanes][blockColumns] = {};
    for (int64_t block = step->firstBlock; block < step->firstBlock + step->blocks; ++block) {
        const int64_t column = block * blockColumns + blockColumns <= step->width
                                   ? block * blockColumns
                                   : step->width - blockColumns;
        auto* const kept =
            reinterpret_cast<blockIntegrators*>(step->state + block * int64_t{sizeof(blockIntegrators)});
        blockIntegrators sums = *kept;
        const uint8_t* const* row = step->rows;
        int64_t count = outputs.first;
        for (int64_t output = 0; output < outputs.count; ++output) {
            for (; count > 0; --count, ++row)
                addRows(row[0], row[-n], row[-2 * n], row[-3 * n], column, &sums);
            for (int i = 0; i < 4; ++i)
                store(&rows[output][i * boxLanes], sums.third[i]);
            count = outputs.step;
        }
        *kept = sums;
        storeColumns(rows, step->sums + (column - step->firstBlock * blockColumns) * boxLanes);
    }
}

constexpr gauss_boxKernels boxKernels()
{
    return {boxLanes, blockColumns, sizeof(blockIntegrators), sumDown};
}

} // namespace
