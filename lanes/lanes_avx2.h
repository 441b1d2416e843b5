// Lanes of the 256-bit level. Some instructions work on the two halves of a register separately; the
// functions here put their results in order, so that lanes are in the order of the columns unless a
// function says otherwise.
#pragma once

#include <immintrin.h>

namespace
{
inline constexpr int laneBytes = 32;
}

#define lanes_register          __m256i
#define lanes_instruction(name) _mm256_##name
#define lanes_onBits(name)      _mm256_##name##_si256

#include "lanes/lanes_x86.h"

namespace
{

// Exchanges the two middle quarters of a register, which an instruction on separate halves has left, or
// would leave, in the wrong order.
lanes_inline __m256i inOrder(__m256i a)
{
    return _mm256_permute4x64_epi64(a, 0xd8);
}

// The same 16 bytes in both halves.
lanes_inline u8s loadTwice(const uint8_t* from)
{
    return (u8s)_mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}

// ---- wider and narrower ----

lanes_inline u16s loadWidened(const uint8_t* from)
{
    return (u16s)_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}

// A mask of 0 and 255 becomes one of 0 and 65535.
lanes_inline u16s loadMaskWidened(const uint8_t* from)
{
    return (u16s)_mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}

// The lanes low | high << 16, in two registers.
lanes_inline void interleave(u16s low, u16s high, u32s* wide)
{
    const __m256i l = inOrder((__m256i)low);
    const __m256i h = inOrder((__m256i)high);
    wide[0] = (u32s)_mm256_unpacklo_epi16(l, h);
    wide[1] = (u32s)_mm256_unpackhi_epi16(l, h);
}

lanes_inline void widen(u16s a, u32s* wide)
{
    const __m256i ordered = inOrder((__m256i)a);
    wide[0] = (u32s)_mm256_unpacklo_epi16(ordered, _mm256_setzero_si256());
    wide[1] = (u32s)_mm256_unpackhi_epi16(ordered, _mm256_setzero_si256());
}

// The lanes of two registers side by side in one; all numbers must fit the narrow lanes.
lanes_inline u8s narrowed(u16s a, u16s b)
{
    return (u8s)inOrder(_mm256_packus_epi16((__m256i)a, (__m256i)b));
}

lanes_inline u16s narrowed(u32s a, u32s b)
{
    return (u16s)inOrder(_mm256_packus_epi32((__m256i)a, (__m256i)b));
}

// Widens in the order that costs least at this level, whichever it is; `gathered` narrows again and puts
// the lanes back into the order of the columns.
lanes_inline void spread(u16s a, u32s* wide)
{
    wide[0] = (u32s)_mm256_unpacklo_epi16((__m256i)a, _mm256_setzero_si256());
    wide[1] = (u32s)_mm256_unpackhi_epi16((__m256i)a, _mm256_setzero_si256());
}

lanes_inline u16s gathered(const u32s* wide)
{
    return (u16s)_mm256_packus_epi32((__m256i)wide[0], (__m256i)wide[1]);
}

// Numbers below 256, to half a register of bytes at each address.
lanes_inline void storeNarrowed(uint8_t* toA, u16s a, uint8_t* toB, u16s b)
{
    const __m256i both = (__m256i)narrowed(a, b);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(toA), _mm256_castsi256_si128(both));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(toB), _mm256_extracti128_si256(both, 1));
}

lanes_inline void storeNarrowed(uint8_t* to, u16s a)
{
    const __m256i half = (__m256i)narrowed(a, a);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(half));
}

// ---- the two halves of a register ----

// A half from each address.
template <class Number>
lanes_inline lanesOf<Number> loadHalves(const Number* low, const Number* high)
{
    const __m256i half = _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low)));
    return (lanesOf<Number>)_mm256_inserti128_si256(
        half, _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
}

// A half to each address.
template <class Number, class Lanes>
lanes_inline void storeHalves(Number* low, Number* high, Lanes a)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(low), _mm256_castsi256_si128((__m256i)a));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(high), _mm256_extracti128_si256((__m256i)a, 1));
}

// In each half, the lanes of these numbers, 0 .. 15, of that half.
template <char... lane>
lanes_inline u8s pickedInHalves(u8s a)
{
    static_assert(sizeof...(lane) == laneBytes / 2);
    return (u8s)_mm256_shuffle_epi8((__m256i)a, _mm256_setr_epi8(lane..., lane...));
}

// ---- wider and narrower, between 32 and 64 bits ----

// Signed numbers.
lanes_inline void widenSigned(u32s a, u64s* wide)
{
    wide[0] = (u64s)_mm256_cvtepi32_epi64(_mm256_castsi256_si128((__m256i)a));
    wide[1] = (u64s)_mm256_cvtepi32_epi64(_mm256_extracti128_si256((__m256i)a, 1));
}

lanes_inline void widen(u32s a, u64s* wide)
{
    wide[0] = (u64s)_mm256_cvtepu32_epi64(_mm256_castsi256_si128((__m256i)a));
    wide[1] = (u64s)_mm256_cvtepu32_epi64(_mm256_extracti128_si256((__m256i)a, 1));
}

// The low half of each lane of a, then of b.
lanes_inline u32s lowHalves(u64s a, u64s b)
{
    return (u32s)inOrder((__m256i)_mm256_shuffle_ps((__m256)a, (__m256)b, 0x88));
}

// The whole parts of the lanes of a, then of b, as signed numbers.
lanes_inline u32s truncated(f64s a, f64s b)
{
    return (u32s)_mm256_set_m128i(_mm256_cvttpd_epi32((__m256d)b), _mm256_cvttpd_epi32((__m256d)a));
}

// ---- bits ----

// The lanes shifted to the right, all by the same number of bits: a count for each lane costs less than one
// for all.
lanes_inline u32s shiftedRight(u32s a, int32_t bits)
{
    return (u32s)_mm256_srlv_epi32((__m256i)a, _mm256_set1_epi32(bits));
}

lanes_inline u64s shiftedRight(u64s a, int32_t bits)
{
    return (u64s)_mm256_srlv_epi64((__m256i)a, _mm256_set1_epi64x(bits));
}

// ---- neighbours ----

// The lanes that begin `columns` lanes further left in a row; the last lanes of `in` come in on the left.
template <int columns, class Lanes>
lanes_inline Lanes movedUp(Lanes a, Lanes in)
{
    constexpr int bytes = columns * static_cast<int>(sizeof(a[0]));
    const __m256i between = _mm256_permute2x128_si256((__m256i)in, (__m256i)a, 0x21);
    return (Lanes)_mm256_alignr_epi8((__m256i)a, between, 16 - bytes);
}

// The lanes that begin `columns` lanes further right; the first lanes of `in` come in on the right.
template <int columns, class Lanes>
lanes_inline Lanes movedDown(Lanes a, Lanes in)
{
    constexpr int bytes = columns * static_cast<int>(sizeof(a[0]));
    const __m256i between = _mm256_permute2x128_si256((__m256i)a, (__m256i)in, 0x21);
    return (Lanes)_mm256_alignr_epi8(between, (__m256i)a, bytes);
}

// ---- sums of neighbours ----

// Each lane becomes the sum of itself and all lanes before it.
lanes_inline u16s runningSums(u16s a)
{
    constexpr char none = -1;
    a = runningSumsOfFour(a);
    a += (u16s)pickedInHalves<none, none, none, none, none, none, none, none, 6, 7, 6, 7, 6, 7, 6, 7>(
        (u8s)a);
    const __m256i lowToHigh = _mm256_permute2x128_si256((__m256i)a, (__m256i)a, 0x08);
    return a + (u16s)picked((u8s)lowToHigh, (u8s)filled(uint16_t{0x0f0e}));
}

// The last lane, in all of them.
lanes_inline u16s lastInAll(u16s a)
{
    const __m256i lastFour = _mm256_permute4x64_epi64((__m256i)a, 0xff);
    return (u16s)picked((u8s)lastFour, (u8s)filled(uint16_t{0x0706}));
}

} // namespace
