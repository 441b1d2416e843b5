// The kernels of unmasked/kernels/pixels.h, written once for all processor levels. A file that has included
// the lanes of its level includes this one; all of it has internal linkage.
#pragma once

#include "gauss/box_along.h"
#include "unmasked/kernels/pixels.h"

namespace
{

inline constexpr int pixelLanes = laneCount<uint32_t>;

// ---- the sums of one output, all rows of the group ----

using narrowSums = gauss_groupSums<uint32_t>;
using wideSums = gauss_groupSums<uint64_t>;

lanes_inline u32s shifted(const narrowSums& sums, int32_t bits)
{
    return sums.part[0] >> bits;
}

lanes_inline u32s shifted(const wideSums& sums, int32_t bits)
{
    return lowHalves(sums.part[0] >> bits, sums.part[1] >> bits);
}

lanes_inline wideSums widened(const narrowSums& sums)
{
    wideSums wide;
    widen(sums.part[0], wide.part);
    return wide;
}

lanes_inline wideSums widened(const wideSums& sums)
{
    return sums;
}

// A whole number below 2^52 becomes a double when it takes the place of the low bits of 2^52.
lanes_inline f64s toDoubles(u64s a)
{
    constexpr uint64_t bits = 0x4330000000000000;
    return (f64s)(a | bits) - 0x1p52;
}

// ---- the ways ----

struct shiftedWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        return shifted(sums, numbers.shift);
    }
};

struct scaledWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        const wideSums wide = widened(sums);
        return truncated(toDoubles(wide.part[0]) * numbers.factor + numbers.offset,
                         toDoubles(wide.part[1]) * numbers.factor + numbers.offset);
    }
};

struct fixedPointWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        const u32s product = addPairs((u16s)shifted(sums, numbers.shift),
                                      (u16s)filled(static_cast<uint32_t>(numbers.multiplier)));
        return numbers.lastShift >= 0 ? product >> numbers.lastShift : product << -numbers.lastShift;
    }
};

// ---- from columns to rows ----

// Some columns of pixels, as many as fit 32 bits, to one lane for each row with these pixels in it.
template <class Pixel>
lanes_inline u32s besideEachOther(const u32s* columns)
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
constexpr int quadColumns = 4 / int{sizeof(Pixel)};
template <class Pixel>
constexpr int tileColumns = 4 * quadColumns<Pixel>;

// toPixels(i) gives the numbers of output i of the tile; those that wrap lose what a pixel has no room for.
template <class Pixel, class ToPixels>
lanes_inline void makeQuads(bool wraps, u32s* quads, const ToPixels& toPixels)
{
    constexpr uint32_t pixelBits = (uint32_t{1} << 8 * sizeof(Pixel)) - 1;
    for (int quad = 0; quad < 4; ++quad) {
        u32s columns[quadColumns<Pixel>];
        for (int i = 0; i < quadColumns<Pixel>; ++i) {
            columns[i] = toPixels(quad * quadColumns<Pixel> + i);
            if (wraps)
                columns[i] &= pixelBits;
        }
        quads[quad] = besideEachOther<Pixel>(columns);
    }
}

template <class Pixel>
lanes_inline void storeTile(u32s* quads, void* const* rows, int64_t column)
{
    transposeQuads(quads);
    for (int row = 0; row < 4; ++row)
        storeHalves(static_cast<Pixel*>(rows[row]) + column,
                    static_cast<Pixel*>(rows[(row + 4) % pixelLanes]) + column, quads[row]);
}

// Runs makeTile(nextSums, quads) for all tiles. nextSums() gives the sums of the next output; beyond the
// last one, which the last tile may be, it gives the same again.
template <class Pixel, class Number, bool everyColumn, class MakeTile>
lanes_inline void overTiles(unmasked_pixelStep* step, const MakeTile& makeTile)
{
    constexpr int size = tileColumns<Pixel>;
    const gauss_boxOutputs outputs = step->outputs;
    void* rows[pixelLanes];
    std::memcpy(rows, step->rows, sizeof rows);
    gauss_alongCursor<Number> cursor(step->along);
    int64_t columns = outputs.first; // to be added for the next output
    const auto addColumns = [&](int64_t last) lanes_inlined {
        for (; columns > last; --columns)
            cursor.addColumn();
    };
    if constexpr (everyColumn)
        addColumns(1);
    const auto nextSums = [&]() lanes_inlined {
        if constexpr (everyColumn) {
            cursor.addColumn();
        } else {
            addColumns(0);
            columns = outputs.step;
        }
        return cursor.integrators[2];
    };
    u32s quads[4];
    int64_t column = 0;
    for (; column + size <= outputs.count; column += size) {
        makeTile(nextSums, quads);
        storeTile<Pixel>(quads, rows, column);
    }
    if (column < outputs.count) {
        Pixel last[pixelLanes][size];
        void* lastRows[pixelLanes];
        for (int row = 0; row < pixelLanes; ++row)
            lastRows[row] = last[row];
        int64_t left = outputs.count - column;
        makeTile(
            [&]() lanes_inlined {
                if (left-- > 0)
                    nextSums();
                return cursor.integrators[2];
            },
            quads);
        storeTile<Pixel>(quads, lastRows, 0);
        for (int row = 0; row < pixelLanes; ++row)
            std::memcpy(static_cast<Pixel*>(rows[row]) + column, last[row],
                        static_cast<size_t>(outputs.count - column) * sizeof(Pixel));
    }
    cursor.keep(&step->along);
}

// The same, with a constant for what does not change from tile to tile.
template <class Pixel, class Number, class MakeTile>
lanes_inline void overTiles(unmasked_pixelStep* step, const MakeTile& makeTile)
{
    if (step->outputs.step == 1)
        overTiles<Pixel, Number, true>(step, makeTile);
    else
        overTiles<Pixel, Number, false>(step, makeTile);
}

template <class Way, class Pixel, class Number>
void makePixels(unmasked_pixelStep* step)
{
    const unmasked_pixelNumbers numbers = *step->numbers;
    const auto makeTiles = [&](bool wraps) lanes_inlined {
        overTiles<Pixel, Number>(step, [=](const auto& nextSums, u32s* quads) lanes_inlined {
            makeQuads<Pixel>(wraps, quads,
                             [&](int) lanes_inlined { return Way::pixels(numbers, nextSums()); });
        });
    };
    if (numbers.wraps)
        makeTiles(true);
    else
        makeTiles(false);
}

// As the scaled way. In single precision the four roundings on the way, in whatever direction, are together
// below 2^-21 of the result, and the margin is more, so only a tile that comes closer to a whole number is
// made again in double precision.
template <class Pixel>
void makePixelsSingle(unmasked_pixelStep* step)
{
    const unmasked_pixelNumbers numbers = *step->numbers;
    overTiles<Pixel, uint32_t>(step, [&](const auto& nextSums, u32s* quads) lanes_inlined {
        narrowSums sums[tileColumns<Pixel>];
        u32s least = ~u32s{};
        makeQuads<Pixel>(numbers.wraps, quads, [&](int i) lanes_inlined {
            sums[i] = nextSums();
            const u32s scaled =
                truncated(toFloats(sums[i].part[0]) * numbers.singleFactor + numbers.singleOffset);
            least = smaller(least, scaled << 16);
            return scaled >> 16;
        });
        if (!isZero((u8s)(least < numbers.margin << 17)))
            makeQuads<Pixel>(numbers.wraps, quads,
                             [&](int i) lanes_inlined { return scaledWay::pixels(numbers, sums[i]); });
    });
}

template <class Way>
constexpr unmasked_pixelWay pixelWay()
{
    return {{{makePixels<Way, uint8_t, uint32_t>, makePixels<Way, uint16_t, uint32_t>},
             {makePixels<Way, uint8_t, uint64_t>, makePixels<Way, uint16_t, uint64_t>}}};
}

} // namespace
