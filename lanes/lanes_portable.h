// Lanes of the portable level, for processors without feature bits: registers of 16 bytes, written with
// operators, from which the compiler makes the instructions that every processor of its target has. Where
// compilers do not find such an instruction by themselves, it is named; the namespace `operators` says the
// same without it, for targets that lack it.
#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace
{
inline constexpr int laneBytes = 16;
}

#include "lanes/lanes.h"

namespace
{

// ---- multiply and add adjacent lanes ----

// a[0] * weights[0] + a[1] * weights[1], ...; the weights are signed. The sums must fit.
lanes_inline u16s addPairs(u8s a, u8s weights)
{
    const u16s low = (u16s)((i16s)((u16s)weights << 8) >> 8);
    const u16s high = (u16s)((i16s)weights >> 8);
    return evens(a) * low + odds(a) * high;
}

namespace operators
{

lanes_inline u32s addPairs(u16s a, u16s b)
{
    const i32s low = ((i32s)((u32s)a << 16) >> 16) * ((i32s)((u32s)b << 16) >> 16);
    const i32s high = ((i32s)a >> 16) * ((i32s)b >> 16);
    return (u32s)low + (u32s)high;
}

template <class Lanes>
lanes_inline Lanes average(Lanes a, Lanes b)
{
    return (a | b) - ((a ^ b) >> 1);
}

} // namespace operators

// Both are signed.
lanes_inline u32s addPairs(u16s a, u16s b)
{
#ifdef __SSE2__
    return (u32s)_mm_madd_epi16((__m128i)a, (__m128i)b);
#else
    return operators::addPairs(a, b);
#endif
}

// ---- bits ----

// a & ~b.
template <class Lanes>
lanes_inline Lanes andNot(Lanes a, Lanes b)
{
    return a & ~b;
}

lanes_inline u16s mergedUpper(u32s even, u32s odd)
{
    return (u16s)(even | (odd & uint32_t{0xffff0000}));
}

// ---- averages, rounded up ----

lanes_inline u8s average(u8s a, u8s b)
{
#ifdef __SSE2__
    return (u8s)_mm_avg_epu8((__m128i)a, (__m128i)b);
#else
    return operators::average(a, b);
#endif
}

lanes_inline u16s average(u16s a, u16s b)
{
#ifdef __SSE2__
    return (u16s)_mm_avg_epu16((__m128i)a, (__m128i)b);
#else
    return operators::average(a, b);
#endif
}

// ---- wider and narrower ----

lanes_inline u16s loadWidened(const uint8_t* from)
{
    uint8_t half __attribute__((vector_size(laneBytes / 2)));
    std::memcpy(&half, from, sizeof half);
    return __builtin_convertvector(half, u16s);
}

// A mask of 0 and 255 becomes one of 0 and 65535.
lanes_inline u16s loadMaskWidened(const uint8_t* from)
{
    uint8_t half __attribute__((vector_size(laneBytes / 2)));
    std::memcpy(&half, from, sizeof half);
    return (u16s)__builtin_shufflevector(half, half, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
}

// The lanes low | high << 16, in two registers.
lanes_inline void interleave(u16s low, u16s high, u32s* wide)
{
    wide[0] = (u32s)__builtin_shufflevector(low, high, 0, 8, 1, 9, 2, 10, 3, 11);
    wide[1] = (u32s)__builtin_shufflevector(low, high, 4, 12, 5, 13, 6, 14, 7, 15);
}

lanes_inline void widen(u16s a, u32s* wide)
{
    interleave(a, u16s{}, wide);
}

// The lanes of two registers side by side in one; all numbers must fit the narrow lanes.
lanes_inline u8s narrowed(u16s a, u16s b)
{
    return __builtin_shufflevector((u8s)a, (u8s)b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28,
                                   30);
}

lanes_inline u16s narrowed(u32s a, u32s b)
{
    return __builtin_shufflevector((u16s)a, (u16s)b, 0, 2, 4, 6, 8, 10, 12, 14);
}

// Widens in the order that costs least at this level, whichever it is; `gathered` narrows again and puts
// the lanes back into the order of the columns.
lanes_inline void spread(u16s a, u32s* wide)
{
    wide[0] = evens(a);
    wide[1] = odds(a);
}

lanes_inline u16s gathered(const u32s* wide)
{
    return merged(wide[0], wide[1]);
}

// Numbers below 256, to half a register of bytes at each address.
lanes_inline void storeNarrowed(uint8_t* to, u16s a)
{
    const u8s bytes = narrowed(a, a);
    std::memcpy(to, &bytes, sizeof bytes / 2);
}

lanes_inline void storeNarrowed(uint8_t* toA, u16s a, uint8_t* toB, u16s b)
{
    storeNarrowed(toA, a);
    storeNarrowed(toB, b);
}

// (a * factor + 2^14) >> 15, for numbers below 2^15.
lanes_inline u16s mulRounded(u16s a, int16_t factor)
{
    u32s wide[2];
    widen(a, wide);
    for (u32s& half : wide)
        half = (half * static_cast<uint32_t>(factor) + 0x4000u) >> 15;
    return narrowed(wide[0], wide[1]);
}

// a * factor >> 16.
lanes_inline u16s mulHigh(u16s a, uint16_t factor)
{
    u32s wide[2];
    widen(a, wide);
    for (u32s& half : wide)
        half = half * uint32_t{factor} >> 16;
    return narrowed(wide[0], wide[1]);
}

// ---- neighbours ----

// The lanes that begin `columns` lanes further left in a row; the last lanes of `in` come in on the left.
template <int columns, class Lanes>
lanes_inline Lanes movedUp(Lanes a, Lanes in)
{
    const Lanes both[2] = {in, a};
    Lanes moved;
    std::memcpy(&moved, reinterpret_cast<const char*>(both + 1) - columns * sizeof(a[0]), sizeof moved);
    return moved;
}

// The lanes that begin `columns` lanes further right; the first lanes of `in` come in on the right.
template <int columns, class Lanes>
lanes_inline Lanes movedDown(Lanes a, Lanes in)
{
    const Lanes both[2] = {a, in};
    Lanes moved;
    std::memcpy(&moved, reinterpret_cast<const char*>(both) + columns * sizeof(a[0]), sizeof moved);
    return moved;
}

// ---- sums of neighbours ----

// Each lane becomes the sum of itself and all lanes before it.
lanes_inline u16s runningSums(u16s a)
{
    a = runningSumsOfFour(a);
    return a + __builtin_shufflevector(a, u16s{}, 8, 8, 8, 8, 3, 3, 3, 3);
}

// The last lane, in all of them.
lanes_inline u16s lastInAll(u16s a)
{
    return __builtin_shufflevector(a, a, 7, 7, 7, 7, 7, 7, 7, 7);
}

// ---- questions ----

lanes_inline bool isZero(u8s a)
{
    uint64_t half[2];
    std::memcpy(half, &a, sizeof half);
    return (half[0] | half[1]) == 0;
}

} // namespace
