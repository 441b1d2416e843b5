// The kernels of unmasked/kernels/pixels.h, written once for all processor levels. A file that has included
// the lanes of its level includes this one; all of it has internal linkage.
#pragma once

#include "unmasked/kernels/pixels.h"

namespace
{

constexpr int64_t pixelLanes = laneCount<uint32_t>;

// ---- the sums of one column, all rows of the group ----

template <class Sum>
struct columnSums;

template <>
struct columnSums<uint32_t> {
    u32s sums;

    explicit lanes_inline columnSums(const uint32_t* from) : sums(load(from))
    {
    }
    lanes_inline u32s shifted(int32_t bits) const
    {
        return sums >> bits;
    }
    lanes_inline void toWide(u64s* wide) const
    {
        widen(sums, wide);
    }
};

template <>
struct columnSums<uint64_t> {
    u64s sums[2];

    explicit lanes_inline columnSums(const uint64_t* from) : sums{load(from), load(from + pixelLanes / 2)}
    {
    }
    lanes_inline u32s shifted(int32_t bits) const
    {
        return lowHalves(sums[0] >> bits, sums[1] >> bits);
    }
    lanes_inline void toWide(u64s* wide) const
    {
        wide[0] = sums[0];
        wide[1] = sums[1];
    }
};

// A whole number below 2^52 becomes a double when it takes the place of the low bits of 2^52.
lanes_inline f64s toDoubles(u64s a)
{
    constexpr uint64_t bits = 0x4330000000000000;
    return (f64s)(a | bits) - 0x1p52;
}

// ---- the ways ----

struct shiftedWay {
    template <class Sum>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const columnSums<Sum>& column)
    {
        return column.shifted(numbers.shift);
    }
};

struct scaledWay {
    template <class Sum>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const columnSums<Sum>& column)
    {
        u64s wide[2];
        column.toWide(wide);
        return truncated(toDoubles(wide[0]) * numbers.factor + numbers.offset,
                         toDoubles(wide[1]) * numbers.factor + numbers.offset);
    }
};

struct fixedPointWay {
    template <class Sum>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const columnSums<Sum>& column)
    {
        const u32s product = addPairs((u16s)column.shifted(numbers.shift),
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
constexpr int64_t quadColumns = 4 / sizeof(Pixel);
template <class Pixel>
constexpr int64_t tileColumns = 4 * quadColumns<Pixel>;

// toPixels gives a column's numbers; those that wrap lose what a pixel has no room for.
template <class Pixel, class Sum, class ToPixels>
lanes_inline void makeQuads(const Sum* sums, bool wraps, u32s* quads, const ToPixels& toPixels)
{
    constexpr uint32_t pixelBits = (uint32_t{1} << 8 * sizeof(Pixel)) - 1;
    for (int64_t quad = 0; quad < 4; ++quad) {
        u32s columns[quadColumns<Pixel>];
        for (int64_t i = 0; i < quadColumns<Pixel>; ++i) {
            columns[i] = toPixels(columnSums<Sum>(sums + (quad * quadColumns<Pixel> + i) * pixelLanes));
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

// Runs makeTile(sums, quads) for all tiles; the last one may have columns that are not wanted.
template <class Pixel, class Sum, class MakeTile>
lanes_inline void overTiles(const unmasked_pixelStep* step, const MakeTile& makeTile)
{
    constexpr int64_t size = tileColumns<Pixel>;
    const auto* sums = static_cast<const Sum*>(step->sums);
    u32s quads[4];
    int64_t column = 0;
    for (; column + size <= step->columns; column += size, sums += size * pixelLanes) {
        makeTile(sums, quads);
        storeTile<Pixel>(quads, step->rows, column);
    }
    if (column == step->columns)
        return;
    Pixel last[pixelLanes][size];
    void* rows[pixelLanes];
    for (int64_t row = 0; row < pixelLanes; ++row)
        rows[row] = last[row];
    makeTile(sums, quads);
    storeTile<Pixel>(quads, rows, 0);
    for (int64_t row = 0; row < pixelLanes; ++row)
        std::memcpy(static_cast<Pixel*>(step->rows[row]) + column, last[row],
                    static_cast<size_t>(step->columns - column) * sizeof(Pixel));
}

template <class Way, class Pixel, class Sum>
void makePixels(const unmasked_pixelStep* step)
{
    const unmasked_pixelNumbers numbers = *step->numbers;
    const auto toPixels = [&](const columnSums<Sum>& column) lanes_inlined {
        return Way::pixels(numbers, column);
    };
    const auto makeTile = [&](bool wraps) lanes_inlined {
        overTiles<Pixel, Sum>(step, [=](const Sum* sums, u32s* quads)
                                        lanes_inlined { makeQuads<Pixel>(sums, wraps, quads, toPixels); });
    };
    if (numbers.wraps)
        makeTile(true);
    else
        makeTile(false);
}

// As the scaled way. In single precision the four roundings on the way, in whatever direction, are together
// below 2^-21 of the result, the margin is more, so only a tile that comes closer to a whole number is made
// again in double precision.
template <class Pixel>
void makePixelsSingle(const unmasked_pixelStep* step)
{
    const unmasked_pixelNumbers numbers = *step->numbers;
    overTiles<Pixel, uint32_t>(step, [&](const uint32_t* sums, u32s* quads) lanes_inlined {
        u32s least = ~u32s{};
        makeQuads<Pixel>(sums, numbers.wraps, quads, [&](const columnSums<uint32_t>& column) lanes_inlined {
            const u32s scaled =
                truncated(toFloats(column.sums) * numbers.singleFactor + numbers.singleOffset);
            least = smaller(least, scaled << 16);
            return scaled >> 16;
        });
        if (!isZero((u8s)(least < numbers.margin << 17)))
            makeQuads<Pixel>(sums, numbers.wraps, quads,
                             [&](const columnSums<uint32_t>& column)
                                 lanes_inlined { return scaledWay::pixels(numbers, column); });
    });
}

template <class Way>
constexpr unmasked_pixelWay pixelWay()
{
    return {{{makePixels<Way, uint8_t, uint32_t>, makePixels<Way, uint16_t, uint32_t>},
             {makePixels<Way, uint8_t, uint64_t>, makePixels<Way, uint16_t, uint64_t>}}};
}

} // namespace
