// The kernels of masked/kernels/short.h, over the lanes of the level that the including file has chosen.
#pragma once

#include "masked/kernels/short.h"
#include "masked/kernels/ways.h"

namespace
{

constexpr int shortReach(int box)
{
    return 3 * (box - 1) + 1;
}

inline constexpr int shortWeights[masked_mostShortBox][masked_mostShortReach] = {
    {1}, {1, 3, 3, 1}, {1, 3, 6, 7, 6, 3, 1}};

// 0 beside the kernel.
constexpr int shortWeight(int box, int tap)
{
    return tap >= 0 && tap < masked_mostShortReach ? shortWeights[box - 1][tap] : 0;
}

// The weights of a tap and the one after it.
template <class Number, int box, int tap>
lanes_inline lanesOf<Number> weightPairs()
{
    return pairsOf<Number>(shortWeight(box, tap), shortWeight(box, tap + 1));
}

// Calls use for each second tap up to the reach, with the tap as a constant: weights are to be constants too.
template <int box, int tap = 0, class Use>
lanes_inline void forTapPairs(const Use& use)
{
    use(std::integral_constant<int, tap>{});
    if constexpr (tap + 2 <= shortReach(box))
        forTapPairs<box, tap + 2>(use);
}

inline constexpr int64_t shortBlock = laneCount<uint8_t>;

// Calls use(column) for the first column of each register of `count` from first to end - 1.
template <int64_t count, class Use>
lanes_inline void forBlocks(int64_t first, int64_t end, const Use& use)
{
    int64_t column = first;
    for (; column + count <= end; column += count)
        use(column);
    if (column < end)
        use(end - count);
}

// ---- down the columns ----

// Pixels of 16 bits are lowered, to be multiplied as signed numbers.
lanes_inline u8s factorOf(u8s pixels)
{
    return pixels;
}
lanes_inline u16s factorOf(u16s pixels)
{
    return lowered(pixels);
}

// What the sums begin with: for lowered pixels, what these leave out.
template <int box, class Pixel>
lanes_inline auto startOfSums()
{
    if constexpr (sizeof(Pixel) == 1)
        return u16s{};
    else
        return filled(uint32_t{32768 * box * box * box});
}

// Stores one of the two registers of sums that interleaved rows make. In its lower half it has the columns of
// the first quarter of a block, or of the second; in its upper half, at the 256-bit level, those half a block
// further on.
lanes_inline void storeQuarter(uint16_t* to, int quarter, u16s sums)
{
    constexpr int half = laneBytes / 2;
    uint16_t* const first = to + quarter * 8;
    storeHalves(first, first + half, sums);
}

lanes_inline void storeQuarter(uint32_t* to, int quarter, u16s sums)
{
    constexpr int half = laneBytes / 2;
    u16s wide[2];
    interleaveHalves(sums, u16s{}, wide);
    for (int i = 0; i < 2; ++i) {
        uint32_t* const first = to + quarter * 8 + i * 4;
        storeHalves(first, first + half, (u32s)wide[i]);
    }
}

lanes_inline void storeQuarter(uint32_t* to, int quarter, u32s sums)
{
    constexpr int half = laneBytes / 4;
    uint32_t* const first = to + quarter * 4;
    storeHalves(first, first + half, sums);
}

// Neighbouring rows are multiplied and added in pairs, which serve both rows of outputs. The sums of 8-bit
// pixels, at most 27 * 255, fit signed numbers of 16 bits.
template <class Pixel, class Sum, int box>
void sumDown(const masked_shortDown<Pixel, Sum>* step)
{
    constexpr int reach = shortReach(box);
    const masked_shortDown<Pixel, Sum> down = *step;
    forBlocks<laneCount<Pixel>>(down.first, down.end, [&](int64_t column) lanes_inlined {
        const auto start = startOfSums<box, Pixel>();
        std::remove_const_t<decltype(start)> sums[masked_shortRows][2] = {{start, start}, {start, start}};
        forTapPairs<box>([&](auto tapOf) lanes_inlined {
            constexpr int tap = decltype(tapOf)::value;
            lanesOf<Pixel> both[2];
            interleaveHalves(factorOf(load(down.rows[tap] + column)),
                             factorOf(load(down.rows[tap < reach ? tap + 1 : tap] + column)), both);
            for (int quarter = 0; quarter < 2; ++quarter) {
                if constexpr (tap < reach)
                    sums[0][quarter] += addPairs(both[quarter], weightPairs<Pixel, box, tap>());
                sums[1][quarter] += addPairs(both[quarter], weightPairs<Pixel, box, tap - 1>());
            }
        });
        for (int row = 0; row < masked_shortRows; ++row)
            for (int quarter = 0; quarter < 2; ++quarter)
                storeQuarter(down.sums[row] + column, quarter, sums[row][quarter]);
    });
}

// ---- along the rows ----

// The sums of as many outputs as a register has 16-bit lanes, in two registers: the even ones and the odd ones.
template <int box>
lanes_inline void sumAlong(const uint16_t* columns, u32s* sums)
{
    sums[0] = sums[1] = u32s{};
    forTapPairs<box>([&](auto tapOf) lanes_inlined {
        constexpr int tap = decltype(tapOf)::value;
        const u16s pairs = load(columns + tap);
        if constexpr (tap < shortReach(box))
            sums[0] += addPairs(pairs, weightPairs<uint16_t, box, tap>());
        sums[1] += addPairs(pairs, weightPairs<uint16_t, box, tap - 1>());
    });
}

lanes_inline u16s besideEachOther(const uint16_t*, const u32s* pixels)
{
    return mergedUpper(pixels[0], pixels[1] << 16);
}

// The same, the first half of the outputs and the second one.
template <int box>
lanes_inline void sumAlong(const uint32_t* columns, u32s* sums)
{
    for (int half = 0; half < 2; ++half) {
        const uint32_t* const from = columns + half * laneCount<uint32_t>;
        const auto at = [=](int tap) lanes_inlined {
            return load(from + tap);
        };
        if constexpr (box == 1) {
            sums[half] = at(0);
        } else if constexpr (box == 2) {
            const u32s inner = at(1) + at(2);
            sums[half] = at(0) + at(3) + inner + (inner + inner);
        } else {
            // 6 and 7 are 3 * 2, and 1 more in the middle.
            const u32s middle = at(3);
            const u32s twice = at(2) + middle + at(4);
            const u32s inner = at(1) + at(5) + (twice + twice);
            sums[half] = at(0) + middle + at(6) + inner + (inner + inner);
        }
    }
}

lanes_inline u16s besideEachOther(const uint32_t*, const u32s* pixels)
{
    constexpr uint32_t bits = 0xffff;
    return narrowed(pixels[0] & bits, pixels[1] & bits);
}

// Pixels that wrap lose what they have no room for.
lanes_inline void storePixels(uint8_t* to, const u16s* pixels)
{
    store(to, narrowed(evens((u8s)pixels[0]), evens((u8s)pixels[1])));
}

lanes_inline void storePixels(uint16_t* to, const u16s* pixels)
{
    store(to, pixels[0]);
    store(to + laneCount<uint16_t>, pixels[1]);
}

// toPixels(column) makes the pixels of two registers of sums, in the same order.
template <class Dst, class Sum, class ToPixels>
lanes_inline void makeShort(const masked_shortAlong<Sum>& step, const ToPixels& toPixels)
{
    Dst* const out = static_cast<Dst*>(step.pixels);
    forBlocks<shortBlock>(0, step.outputs, [&](int64_t column) lanes_inlined {
        u16s pixels[2];
        for (int half = 0; half < 2; ++half) {
            u32s made[2];
            toPixels(column + half * laneCount<uint16_t>, made);
            pixels[half] = besideEachOther(step.source, made);
        }
        storePixels(out + column, pixels);
    });
}

template <class Way, class Dst, class Sum, int box>
void makeShortFull(const masked_shortAlong<Sum>* step)
{
    const masked_pixelNumbers numbers = *step->numbers;
    const masked_shortAlong<Sum> along = *step;
    makeShort<Dst>(along, [&](int64_t column, u32s* pixels) lanes_inlined {
        u32s sums[2];
        sumAlong<box>(along.source + column, sums);
        for (int i = 0; i < 2; ++i)
            pixels[i] = Way::full(numbers, groupSums<uint32_t>{{sums[i]}});
    });
}

template <class Way, class Dst, class Sum, int box>
void makeShortMixed(const masked_shortAlong<Sum>* step)
{
    const masked_pixelNumbers numbers = *step->numbers;
    const masked_shortAlong<Sum> along = *step;
    makeShort<Dst>(along, [&](int64_t column, u32s* pixels) lanes_inlined {
        u32s sums[2];
        u32s weights[2];
        sumAlong<box>(along.source + column, sums);
        sumAlong<box>(along.mask + column, weights);
        const u32s full = filled(static_cast<uint32_t>(numbers.fullWeight));
        // Near the edges of a mask most outputs are full nevertheless.
        if (isZero((u8s)((weights[0] ^ full) | (weights[1] ^ full)))) {
            for (int i = 0; i < 2; ++i)
                pixels[i] = Way::full(numbers, groupSums<uint32_t>{{sums[i]}});
        } else {
            for (int i = 0; i < 2; ++i)
                pixels[i] = mixedPixels<Way>(numbers, groupSums<uint32_t>{{sums[i]}},
                                             groupSums<uint32_t>{{weights[i]}});
        }
    });
}

// ---- the tables ----

template <class Full, class Mixed, class Dst, class Sum>
constexpr void fillShortWay(masked_shortPair<Sum>* boxes)
{
    boxes[0] = {makeShortFull<Full, Dst, Sum, 1>, makeShortMixed<Mixed, Dst, Sum, 1>};
    boxes[1] = {makeShortFull<Full, Dst, Sum, 2>, makeShortMixed<Mixed, Dst, Sum, 2>};
    boxes[2] = {makeShortFull<Full, Dst, Sum, 3>, makeShortMixed<Mixed, Dst, Sum, 3>};
}

// The products of 8-bit pixels are short.
template <class Src, class Dst>
constexpr auto shortKernelsOf()
{
    using sum = typename masked_shortSum<Src>::type;
    constexpr bool isShort = sizeof(Src) == 1;
    masked_shortKernels<Src, sum> made = {
        {sumDown<Src, sum, 1>, sumDown<Src, sum, 2>, sumDown<Src, sum, 3>},
        {sumDown<uint8_t, sum, 1>, sumDown<uint8_t, sum, 2>, sumDown<uint8_t, sum, 3>},
        {}};
    using unit = fixedWay<isShort, false>;
    using gain = fixedWay<isShort, true>;
    fillShortWay<unit, unit, Dst>(made.pixels[masked_wayUnit]);
    fillShortWay<gain, gain, Dst>(made.pixels[masked_wayGain]);
    fillShortWay<doubleWay, doubleWay, Dst>(made.pixels[masked_wayDouble]);
    fillShortWay<wholeGainWay, doubleWay, Dst>(made.pixels[masked_wayWholeGain]);
    return made;
}

constexpr masked_shortTables shortTables()
{
    return {shortKernelsOf<uint8_t, uint8_t>(), shortKernelsOf<uint8_t, uint16_t>(),
            shortKernelsOf<uint16_t, uint16_t>()};
}

} // namespace
