// The kernels of unmasked/kernels/pixels.h, written once for all processor levels. A file that has included
// the lanes of its level includes this one; all of it has internal linkage.
#pragma once

#include "gauss/box_tiles.h"
#include "unmasked/kernels/pixels.h"

namespace
{

// ---- the ways ----

struct shiftedWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        return gauss_shifted(sums, numbers.shift);
    }
};

struct scaledWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        const gauss_groupSums<uint64_t> wide = gauss_widened(sums);
        return truncated(toDoubles(wide.part[0]) * numbers.factor + numbers.offset,
                         toDoubles(wide.part[1]) * numbers.factor + numbers.offset);
    }
};

struct startedWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        const gauss_groupSums<uint64_t> wide = gauss_widened(sums);
        return truncated((toDoubles(wide.part[0]) + numbers.start) * numbers.factor,
                         (toDoubles(wide.part[1]) + numbers.start) * numbers.factor);
    }
};

struct fixedPointWay {
    template <class Sums>
    static lanes_inline u32s pixels(const unmasked_pixelNumbers& numbers, const Sums& sums)
    {
        const u32s product = addPairs((u16s)gauss_shifted(sums, numbers.shift),
                                      (u16s)filled(static_cast<uint32_t>(numbers.multiplier)));
        return numbers.lastShift >= 0 ? product >> numbers.lastShift : product << -numbers.lastShift;
    }
};

// ---- from sums to rows of pixels ----

template <class Way, class Pixel, class Number>
void makePixels(unmasked_pixelStep* step)
{
    const unmasked_pixelNumbers numbers = *step->numbers;
    gauss_alongCursor<Number> cursor(step->along);
    const auto makeTiles = [&](bool wraps) lanes_inlined {
        gauss_overTiles<Pixel>(
            step->outputs, step->rows, &cursor, [=](const auto& nextSums, u32s* quads) lanes_inlined {
                gauss_makeQuads<Pixel>(wraps, quads,
                                       [&](int) lanes_inlined { return Way::pixels(numbers, nextSums()); });
            });
        cursor.keep(&step->along);
    };
    if (numbers.wraps)
        makeTiles(true);
    else
        makeTiles(false);
}

// As the scaled way, or the started one. In single precision the four roundings on the way, in whatever direction, are together
// below 2^-21 of the result, and the margin is more, so only a tile that comes closer to a whole number is
// made again in double precision.
template <class Way, class Pixel>
void makePixelsSingle(unmasked_pixelStep* step)
{
    const unmasked_pixelNumbers numbers = *step->numbers;
    gauss_alongCursor<uint32_t> cursor(step->along);
    const auto makeTile = [&](const auto& nextSums, u32s* quads) lanes_inlined {
        gauss_groupSums<uint32_t> sums[gauss_tileColumns<Pixel>];
        u32s least = ~u32s{};
        gauss_makeQuads<Pixel>(numbers.wraps, quads, [&](int i) lanes_inlined {
            sums[i] = nextSums();
            const u32s scaled =
                truncated(toFloats(sums[i].part[0]) * numbers.singleFactor + numbers.singleOffset);
            least = smaller(least, scaled << 16);
            return scaled >> 16;
        });
        if (!isZero((u8s)(least < numbers.margin << 17)))
            gauss_makeQuads<Pixel>(numbers.wraps, quads,
                                   [&](int i) lanes_inlined { return Way::pixels(numbers, sums[i]); });
    };
    gauss_overTiles<Pixel>(step->outputs, step->rows, &cursor, makeTile);
    cursor.keep(&step->along);
}

template <class Way>
constexpr unmasked_pixelWay pixelWay()
{
    return {{{makePixels<Way, uint8_t, uint32_t>, makePixels<Way, uint16_t, uint32_t>},
             {makePixels<Way, uint8_t, uint64_t>, makePixels<Way, uint16_t, uint64_t>}}};
}

template <class Way>
constexpr unmasked_pixelWay pixelWaySingle()
{
    return {{{makePixelsSingle<Way, uint8_t>, makePixelsSingle<Way, uint16_t>}, {nullptr, nullptr}}};
}

} // namespace
