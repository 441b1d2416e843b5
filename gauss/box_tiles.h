// From sums along the rows of a group to rows of pixels, for kernels: tiles of pixels, made column by column
// and stored row by row. A file that has included the lanes of its level includes this one; all of it has
// internal linkage.
#pragma once

#include "gauss/box_along.h"

namespace
{

inline constexpr int gauss_tileRows = laneCount<uint32_t>;

// Some columns of pixels, as many as fit 32 bits, to one lane for each row with these pixels in it.
template <class Pixel>
lanes_inline u32s gauss_besideEachOther(const u32s* columns)
{
    if constexpr (sizeof(Pixel) == 1) {
        constexpr uint8_t order[16] = {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
        const u8s four =
            packedHalves(packedHalves(columns[0], columns[1]), packedHalves(columns[2], columns[3]));
        return (u32s)picked(four, loadTwice(order));
    } else {
        return columns[0] | columns[1] << 16;
    }
}

// A tile is 16 bytes of each row: four registers, each with a few columns of all rows.
template <class Pixel>
constexpr int gauss_quadColumns = 4 / int{sizeof(Pixel)};
template <class Pixel>
constexpr int gauss_tileColumns = 4 * gauss_quadColumns<Pixel>;

// toPixels(i) gives the numbers of output i of the tile; those that wrap lose what a pixel has no room for.
template <class Pixel, class ToPixels>
lanes_inline void gauss_makeQuads(bool wraps, u32s* quads, const ToPixels& toPixels)
{
    constexpr uint32_t pixelBits = (uint32_t{1} << 8 * sizeof(Pixel)) - 1;
    for (int quad = 0; quad < 4; ++quad) {
        u32s columns[gauss_quadColumns<Pixel>];
        for (int i = 0; i < gauss_quadColumns<Pixel>; ++i) {
            columns[i] = toPixels(quad * gauss_quadColumns<Pixel> + i);
            if (wraps)
                columns[i] &= pixelBits;
        }
        quads[quad] = gauss_besideEachOther<Pixel>(columns);
    }
}

template <class Pixel>
lanes_inline void gauss_storeTile(u32s* quads, void* const* rows, int64_t column)
{
    transposeQuads(quads);
    for (int row = 0; row < 4; ++row)
        storeHalves(static_cast<Pixel*>(rows[row]) + column,
                    static_cast<Pixel*>(rows[(row + 4) % gauss_tileRows]) + column, quads[row]);
}

// Goes along the rows with a cursor, which has
//     addColumn()     adds the next column
//     sums()          the sums that the columns so far make
// and runs makeTile(nextSums, quads) for all tiles. nextSums() gives the sums of the next output; beyond the
// last one, which the last tile may be, it gives the same again.
template <class Pixel, bool everyColumn, class Cursor, class MakeTile>
lanes_inline void gauss_overTilesOf(const gauss_boxOutputs& outputs, void* const* outputRows,
                                    Cursor* cursor, const MakeTile& makeTile)
{
    constexpr int size = gauss_tileColumns<Pixel>;
    const int64_t count = outputs.count;
    const int64_t step = outputs.step;
    void* rows[gauss_tileRows];
    std::memcpy(rows, outputRows, sizeof rows);
    int64_t columns = outputs.first; // to be added for the next output
    const auto addColumns = [&](int64_t last) lanes_inlined {
        for (; columns > last; --columns)
            cursor->addColumn();
    };
    if constexpr (everyColumn)
        addColumns(1);
    const auto nextSums = [&]() lanes_inlined {
        if constexpr (everyColumn) {
            cursor->addColumn();
        } else {
            addColumns(0);
            columns = step;
        }
        return cursor->sums();
    };
    u32s quads[4];
    int64_t column = 0;
    for (; column + size <= count; column += size) {
        makeTile(nextSums, quads);
        gauss_storeTile<Pixel>(quads, rows, column);
    }
    if (column < count) {
        Pixel last[gauss_tileRows][size];
        void* lastRows[gauss_tileRows];
        for (int row = 0; row < gauss_tileRows; ++row)
            lastRows[row] = last[row];
        int64_t left = count - column;
        makeTile(
            [&]() lanes_inlined {
                if (left-- > 0)
                    nextSums();
                return cursor->sums();
            },
            quads);
        gauss_storeTile<Pixel>(quads, lastRows, 0);
        for (int row = 0; row < gauss_tileRows; ++row)
            std::memcpy(static_cast<Pixel*>(rows[row]) + column, last[row],
                        static_cast<size_t>(count - column) * sizeof(Pixel));
    }
}

// The same, with a constant for what does not change from tile to tile.
template <class Pixel, class Cursor, class MakeTile>
lanes_inline void gauss_overTiles(const gauss_boxOutputs& outputs, void* const* rows, Cursor* cursor,
                                  const MakeTile& makeTile)
{
    if (outputs.step == 1)
        gauss_overTilesOf<Pixel, true>(outputs, rows, cursor, makeTile);
    else
        gauss_overTilesOf<Pixel, false>(outputs, rows, cursor, makeTile);
}

} // namespace
