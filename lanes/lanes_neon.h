// Lanes of the 128-bit level on 64-bit ARM processors.
#pragma once

#include <arm_neon.h>

namespace
{
inline constexpr int laneBytes = 16;
}

#include "lanes/lanes.h"

#include "lanes/halves_128.h"

namespace
{

// ---- multiply and add adjacent lanes ----

// a[0] * weights[0] + a[1] * weights[1], ...; the weights are signed. The sums must fit.
//
// A pair of bytes is the number a[0] + 256 a[1]. Multiplied by the first weight it has 256 times that weight too
// many of a[1], which the second weight makes up for; all of it wraps at 65536.
lanes_inline u16s addPairs(u8s a, u8s weights)
{
    const u16s low = (u16s)((i16s)((u16s)weights << 8) >> 8);
    const u16s high = (u16s)((i16s)weights >> 8);
    return (u16s)a * low + odds(a) * (high - (low << 8));
}

// Both are signed.
lanes_inline u32s addPairs(u16s a, u16s b)
{
    const int32x4_t low = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b));
    return (u32s)vpaddq_s32(low, vmull_high_s16((int16x8_t)a, (int16x8_t)b));
}

// (a * factor + 2^14) >> 15, for numbers below 2^15.
lanes_inline u16s mulRounded(u16s a, int16_t factor)
{
    return (u16s)vqrdmulhq_n_s16((int16x8_t)a, factor);
}

// The low halves of the lanes, multiplied.
lanes_inline u64s mulLow(u64s a, u64s b)
{
    return (u64s)vmull_u32(vmovn_u64((uint64x2_t)a), vmovn_u64((uint64x2_t)b));
}

// ---- side by side ----

// a0 b0 a1 b1 ..., the lower halves first.
lanes_inline void interleaveHalves(u8s a, u8s b, u8s* both)
{
    both[0] = (u8s)vzip1q_u8((uint8x16_t)a, (uint8x16_t)b);
    both[1] = (u8s)vzip2q_u8((uint8x16_t)a, (uint8x16_t)b);
}

lanes_inline void interleaveHalves(u16s a, u16s b, u16s* both)
{
    both[0] = (u16s)vzip1q_u16((uint16x8_t)a, (uint16x8_t)b);
    both[1] = (u16s)vzip2q_u16((uint16x8_t)a, (uint16x8_t)b);
}

lanes_inline void interleaveHalves(u32s a, u32s b, u32s* both)
{
    both[0] = (u32s)vzip1q_u32((uint32x4_t)a, (uint32x4_t)b);
    both[1] = (u32s)vzip2q_u32((uint32x4_t)a, (uint32x4_t)b);
}

} // namespace

#include "lanes/transpose.h"

namespace
{

// ---- wider and narrower ----

lanes_inline u16s loadWidened(const uint8_t* from)
{
    return (u16s)vmovl_u8(vld1_u8(from));
}

// A mask of 0 and 255 becomes one of 0 and 65535.
lanes_inline u16s loadMaskWidened(const uint8_t* from)
{
    return (u16s)vmovl_s8(vreinterpret_s8_u8(vld1_u8(from)));
}

// The lanes low | high << 16, in two registers.
lanes_inline void interleave(u16s low, u16s high, u32s* wide)
{
    u16s both[2];
    interleaveHalves(low, high, both);
    wide[0] = (u32s)both[0];
    wide[1] = (u32s)both[1];
}

lanes_inline void widen(u16s a, u32s* wide)
{
    wide[0] = (u32s)vmovl_u16(vget_low_u16((uint16x8_t)a));
    wide[1] = (u32s)vmovl_high_u16((uint16x8_t)a);
}

// The lanes of two registers side by side in one; all numbers must fit the narrow lanes.
lanes_inline u8s narrowed(u16s a, u16s b)
{
    return (u8s)vuzp1q_u8((uint8x16_t)a, (uint8x16_t)b);
}

lanes_inline u16s narrowed(u32s a, u32s b)
{
    return (u16s)vuzp1q_u16((uint16x8_t)a, (uint16x8_t)b);
}

// Two names at the 256-bit level, where the halves of registers make a difference.
lanes_inline u8s packedHalves(u16s a, u16s b)
{
    return narrowed(a, b);
}

lanes_inline u16s packedHalves(u32s a, u32s b)
{
    return narrowed(a, b);
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
    vst1_u8(to, vmovn_u16((uint16x8_t)a));
}

lanes_inline void storeNarrowed(uint8_t* toA, u16s a, uint8_t* toB, u16s b)
{
    storeNarrowed(toA, a);
    storeNarrowed(toB, b);
}

// Signed numbers.
lanes_inline void widenSigned(u32s a, u64s* wide)
{
    wide[0] = (u64s)vmovl_s32(vget_low_s32((int32x4_t)a));
    wide[1] = (u64s)vmovl_high_s32((int32x4_t)a);
}

lanes_inline void widen(u32s a, u64s* wide)
{
    wide[0] = (u64s)vmovl_u32(vget_low_u32((uint32x4_t)a));
    wide[1] = (u64s)vmovl_high_u32((uint32x4_t)a);
}

// The low half of each lane of a, then of b.
lanes_inline u32s lowHalves(u64s a, u64s b)
{
    return (u32s)vuzp1q_u32((uint32x4_t)a, (uint32x4_t)b);
}

// The whole parts of the lanes of a, then of b, as signed numbers.
lanes_inline u32s truncated(f64s a, f64s b)
{
    return lowHalves((u64s)vcvtq_s64_f64((float64x2_t)a), (u64s)vcvtq_s64_f64((float64x2_t)b));
}

// ---- numbers ----

// The lower of each pair of lanes.
lanes_inline u32s smaller(u32s a, u32s b)
{
    return (u32s)vminq_u32((uint32x4_t)a, (uint32x4_t)b);
}

lanes_inline f64s smaller(f64s a, f64s b)
{
    return (f64s)vminq_f64((float64x2_t)a, (float64x2_t)b);
}

// Averages, rounded up.
lanes_inline u8s average(u8s a, u8s b)
{
    return (u8s)vrhaddq_u8((uint8x16_t)a, (uint8x16_t)b);
}

lanes_inline u16s average(u16s a, u16s b)
{
    return (u16s)vrhaddq_u16((uint16x8_t)a, (uint16x8_t)b);
}

// ---- bits ----

// The lanes shifted to the right, all by the same number of bits.
template <class Lanes>
lanes_inline Lanes shiftedRight(Lanes a, int32_t bits)
{
    return a >> bits;
}

lanes_inline u16s mergedUpper(u32s even, u32s odd)
{
    return (u16s)vbslq_u32(vdupq_n_u32(0xffff), (uint32x4_t)even, (uint32x4_t)odd);
}

// a & ~b.
template <class Lanes>
lanes_inline Lanes andNot(Lanes a, Lanes b)
{
    return a & ~b;
}

lanes_inline bool isZero(u8s a)
{
    return vmaxvq_u32((uint32x4_t)a) == 0;
}

// from[index]; 0 for an index of 128 or more. Other bits above the low four do not count.
lanes_inline u8s picked(u8s from, u8s index)
{
    return (u8s)vqtbl1q_u8((uint8x16_t)from, (uint8x16_t)(index & uint8_t{0x8f}));
}

// ---- neighbours ----

// The lanes that begin `columns` lanes further left in a row; the last lanes of `in` come in on the left.
template <int columns, class Lanes>
lanes_inline Lanes movedUp(Lanes a, Lanes in)
{
    constexpr int bytes = columns * static_cast<int>(sizeof(a[0]));
    return (Lanes)vextq_u8((uint8x16_t)in, (uint8x16_t)a, 16 - bytes);
}

// The lanes that begin `columns` lanes further right; the first lanes of `in` come in on the right.
template <int columns, class Lanes>
lanes_inline Lanes movedDown(Lanes a, Lanes in)
{
    constexpr int bytes = columns * static_cast<int>(sizeof(a[0]));
    return (Lanes)vextq_u8((uint8x16_t)a, (uint8x16_t)in, bytes);
}

// ---- sums of neighbours ----

// Each lane becomes the sum of itself and all lanes before it.
lanes_inline u16s runningSums(u16s a)
{
    a = runningSumsOfFour(a);
    const uint16x8_t firstHalf = vdupq_laneq_u16((uint16x8_t)a, 3);
    return a + (u16s)vextq_u16(vdupq_n_u16(0), firstHalf, 4);
}

// The last lane, in all of them.
lanes_inline u16s lastInAll(u16s a)
{
    return (u16s)vdupq_laneq_u16((uint16x8_t)a, 7);
}

} // namespace
