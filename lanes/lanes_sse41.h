// Lanes of the 128-bit level.
#pragma once

#include <smmintrin.h>

namespace
{
inline constexpr int laneBytes = 16;
}

#define lanes_register          __m128i
#define lanes_instruction(name) _mm_##name
#define lanes_onBits(name)      _mm_##name##_si128

#include "lanes/lanes_x86.h"

#include "lanes/halves_128.h"

namespace
{

// ---- wider and narrower ----

lanes_inline u16s loadWidened(const uint8_t* from)
{
    return (u16s)_mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
}

// A mask of 0 and 255 becomes one of 0 and 65535.
lanes_inline u16s loadMaskWidened(const uint8_t* from)
{
    return (u16s)_mm_cvtepi8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
}

// The lanes low | high << 16, in two registers.
lanes_inline void interleave(u16s low, u16s high, u32s* wide)
{
    wide[0] = (u32s)_mm_unpacklo_epi16((__m128i)low, (__m128i)high);
    wide[1] = (u32s)_mm_unpackhi_epi16((__m128i)low, (__m128i)high);
}

lanes_inline void widen(u16s a, u32s* wide)
{
    interleave(a, u16s{}, wide);
}

// The lanes of two registers side by side in one; all numbers must fit the narrow lanes.
lanes_inline u8s narrowed(u16s a, u16s b)
{
    return (u8s)_mm_packus_epi16((__m128i)a, (__m128i)b);
}

lanes_inline u16s narrowed(u32s a, u32s b)
{
    return (u16s)_mm_packus_epi32((__m128i)a, (__m128i)b);
}

// Widens in the order that costs least at this level, whichever it is; `gathered` narrows again and puts
// the lanes back into the order of the columns.
lanes_inline void spread(u16s a, u32s* wide)
{
    widen(a, wide);
}

lanes_inline u16s gathered(const u32s* wide)
{
    return narrowed(wide[0], wide[1]);
}

// Numbers below 256, to half a register of bytes at each address.
lanes_inline void storeNarrowed(uint8_t* to, u16s a)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), (__m128i)narrowed(a, a));
}

lanes_inline void storeNarrowed(uint8_t* toA, u16s a, uint8_t* toB, u16s b)
{
    storeNarrowed(toA, a);
    storeNarrowed(toB, b);
}

// Signed numbers.
lanes_inline void widenSigned(u32s a, u64s* wide)
{
    wide[0] = (u64s)_mm_cvtepi32_epi64((__m128i)a);
    wide[1] = (u64s)_mm_cvtepi32_epi64(_mm_srli_si128((__m128i)a, 8));
}

lanes_inline void widen(u32s a, u64s* wide)
{
    wide[0] = (u64s)_mm_cvtepu32_epi64((__m128i)a);
    wide[1] = (u64s)_mm_cvtepu32_epi64(_mm_srli_si128((__m128i)a, 8));
}

// The low half of each lane of a, then of b.
lanes_inline u32s lowHalves(u64s a, u64s b)
{
    return (u32s)_mm_shuffle_ps((__m128)a, (__m128)b, 0x88);
}

// The whole parts of the lanes of a, then of b, as signed numbers.
lanes_inline u32s truncated(f64s a, f64s b)
{
    return (u32s)_mm_unpacklo_epi64(_mm_cvttpd_epi32((__m128d)a), _mm_cvttpd_epi32((__m128d)b));
}

// ---- bits ----

// The lanes shifted to the right, all by the same number of bits.
template <class Lanes>
lanes_inline Lanes shiftedRight(Lanes a, int32_t bits)
{
    return a >> bits;
}

// ---- neighbours ----

// The lanes that begin `columns` lanes further left in a row; the last lanes of `in` come in on the left.
template <int columns, class Lanes>
lanes_inline Lanes movedUp(Lanes a, Lanes in)
{
    constexpr int bytes = columns * static_cast<int>(sizeof(a[0]));
    return (Lanes)_mm_alignr_epi8((__m128i)a, (__m128i)in, 16 - bytes);
}

// The lanes that begin `columns` lanes further right; the first lanes of `in` come in on the right.
template <int columns, class Lanes>
lanes_inline Lanes movedDown(Lanes a, Lanes in)
{
    constexpr int bytes = columns * static_cast<int>(sizeof(a[0]));
    return (Lanes)_mm_alignr_epi8((__m128i)in, (__m128i)a, bytes);
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

} // namespace
