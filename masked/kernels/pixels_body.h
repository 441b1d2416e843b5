// The kernels of masked/kernels/pixels.h, over the lanes of the level that the including file has chosen.
#pragma once

#include "gauss/box_tiles.h"
#include "masked/kernels/pixels.h"
#include "masked/kernels/ways.h"

namespace
{

// ---- along the rows ----

// Source and mask side by side.
template <class Source, class Mask, bool wideColumns>
struct pairCursor {
    gauss_alongCursor<Source, wideColumns> source;
    gauss_alongCursor<Mask> mask;

    struct pairSums {
        groupSums<Source> source;
        groupSums<Mask> mask;
    };

    lanes_inline void addColumn()
    {
        source.addColumn();
        mask.addColumn();
    }

    lanes_inline pairSums sums() const
    {
        return {source.sums(), mask.sums()};
    }
};

template <class Way, class Dst, class Source, bool wideColumns>
void makeFull(masked_pixelStep* step)
{
    const masked_pixelNumbers numbers = *step->numbers;
    gauss_alongCursor<Source, wideColumns> cursor(step->source);
    gauss_overTiles<Dst>(
        step->outputs, step->rows, &cursor, [&](const auto& nextSums, u32s* quads) lanes_inlined {
            gauss_makeQuads<Dst>(Way::wraps, quads,
                                 [&](int) lanes_inlined { return Way::full(numbers, nextSums()); });
        });
    cursor.keep(&step->source);
}

template <class Way, class Dst, class Source, class Mask, bool wideColumns>
void makeMixed(masked_pixelStep* step)
{
    const masked_pixelNumbers numbers = *step->numbers;
    pairCursor<Source, Mask, wideColumns> cursor = {gauss_alongCursor<Source, wideColumns>(step->source),
                                                    gauss_alongCursor<Mask>(step->mask)};
    const auto pixels = [&](const auto& sums) lanes_inlined {
        return mixedPixels<Way>(numbers, sums.source, sums.mask);
    };
    gauss_overTiles<Dst>(
        step->outputs, step->rows, &cursor, [&](const auto& nextSums, u32s* quads) lanes_inlined {
            gauss_makeQuads<Dst>(Way::wraps, quads, [&](int) lanes_inlined { return pixels(nextSums()); });
        });
    cursor.source.keep(&step->source);
    cursor.mask.keep(&step->mask);
}

// ---- the tables ----

template <class Full, class Mixed, class Dst, class Source, class Mask, bool wideColumns = false>
constexpr masked_pixelPair pairOf()
{
    return {makeFull<Full, Dst, Source, wideColumns>, makeMixed<Mixed, Dst, Source, Mask, wideColumns>};
}

// The widths that sums of pixels of 8 bits have; Short is the way of narrow ones.
template <class Short, class Full, class Mixed, class Dst>
constexpr void fillFrom8(masked_pixelPair* widths)
{
    widths[masked_narrow] = pairOf<Short, std::conditional_t<std::is_same_v<Full, Mixed>, Short, Mixed>,
                                   Dst, uint32_t, uint32_t>();
    widths[masked_wideSource] = pairOf<Full, Mixed, Dst, uint64_t, uint32_t>();
    widths[masked_wideBoth] = pairOf<Full, Mixed, Dst, uint64_t, uint64_t>();
}

template <class Full, class Mixed>
constexpr void fillFrom16(masked_pixelPair* widths)
{
    widths[masked_narrow] = pairOf<Full, Mixed, uint16_t, uint32_t, uint32_t>();
    widths[masked_wideSource] = pairOf<Full, Mixed, uint16_t, uint64_t, uint32_t>();
    widths[masked_wideColumns] = pairOf<Full, Mixed, uint16_t, uint64_t, uint32_t, true>();
}

template <class Dst>
constexpr void fillWaysFrom8(masked_pixelPair (*ways)[masked_widths])
{
    using unit = fixedWay<false, false>;
    using gain = fixedWay<false, true>;
    fillFrom8<fixedWay<true, false>, unit, unit, Dst>(ways[masked_wayUnit]);
    fillFrom8<fixedWay<true, true>, gain, gain, Dst>(ways[masked_wayGain]);
    fillFrom8<doubleWay, doubleWay, doubleWay, Dst>(ways[masked_wayDouble]);
    fillFrom8<wholeGainWay, wholeGainWay, doubleWay, Dst>(ways[masked_wayWholeGain]);
}

constexpr masked_pixelKernels pixelKernels()
{
    masked_pixelKernels made = {};
    fillWaysFrom8<uint8_t>(made.from8To8);
    fillWaysFrom8<uint16_t>(made.from8To16);
    fillFrom16<fixedWay<false, false>, fixedWay<false, false>>(made.from16To16[masked_wayUnit]);
    fillFrom16<fixedWay<false, true>, fixedWay<false, true>>(made.from16To16[masked_wayGain]);
    fillFrom16<doubleWay, doubleWay>(made.from16To16[masked_wayDouble]);
    fillFrom16<wholeGainWay, doubleWay>(made.from16To16[masked_wayWholeGain]);
    return made;
}

} // namespace
