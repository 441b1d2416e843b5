// What the 128-bit and the 256-bit level have in common: instructions that have one name for registers of
// either width. Before a level's header includes this one, it defines:
//   lanes_register        the type of its registers
//   lanes_instruction(n)  the instruction n on these
//   lanes_onBits(n)       the instruction n that takes a register as bits and not as lanes
#pragma once

#include "lanes/lanes.h"

namespace
{

// ---- multiply and add adjacent lanes ----

// a[0] * weights[0] + a[1] * weights[1], ...; the weights are signed, and the sums saturate.
lanes_inline u16s addPairs(u8s a, u8s weights)
{
    return (u16s)lanes_instruction(maddubs_epi16)((lanes_register)a, (lanes_register)weights);
}

// Both are signed.
lanes_inline u32s addPairs(u16s a, u16s b)
{
    return (u32s)lanes_instruction(madd_epi16)((lanes_register)a, (lanes_register)b);
}

// (a * factor + 2^14) >> 15, for numbers below 2^15.
lanes_inline u16s mulRounded(u16s a, int16_t factor)
{
    return (u16s)lanes_instruction(mulhrs_epi16)((lanes_register)a, lanes_instruction(set1_epi16)(factor));
}

// ---- side by side, within each 128 bits of a register ----

// a0 b0 a1 b1 ..., the lower halves first.
lanes_inline void interleaveHalves(u8s a, u8s b, u8s* both)
{
    both[0] = (u8s)lanes_instruction(unpacklo_epi8)((lanes_register)a, (lanes_register)b);
    both[1] = (u8s)lanes_instruction(unpackhi_epi8)((lanes_register)a, (lanes_register)b);
}

lanes_inline void interleaveHalves(u16s a, u16s b, u16s* both)
{
    both[0] = (u16s)lanes_instruction(unpacklo_epi16)((lanes_register)a, (lanes_register)b);
    both[1] = (u16s)lanes_instruction(unpackhi_epi16)((lanes_register)a, (lanes_register)b);
}

lanes_inline void interleaveHalves(u32s a, u32s b, u32s* both)
{
    both[0] = (u32s)lanes_instruction(unpacklo_epi32)((lanes_register)a, (lanes_register)b);
    both[1] = (u32s)lanes_instruction(unpackhi_epi32)((lanes_register)a, (lanes_register)b);
}

lanes_inline void interleaveHalves(u64s a, u64s b, u64s* both)
{
    both[0] = (u64s)lanes_instruction(unpacklo_epi64)((lanes_register)a, (lanes_register)b);
    both[1] = (u64s)lanes_instruction(unpackhi_epi64)((lanes_register)a, (lanes_register)b);
}

} // namespace

#include "lanes/transpose.h"

namespace
{

// The lanes of a, then those of b, in narrower lanes, for each 128 bits on their own. Numbers that do not
// fit are not kept as they are.
lanes_inline u16s packedHalves(u32s a, u32s b)
{
    return (u16s)lanes_instruction(packus_epi32)((lanes_register)a, (lanes_register)b);
}

lanes_inline u8s packedHalves(u16s a, u16s b)
{
    return (u8s)lanes_instruction(packus_epi16)((lanes_register)a, (lanes_register)b);
}

// The lower of each pair of lanes.
lanes_inline u32s smaller(u32s a, u32s b)
{
    return (u32s)lanes_instruction(min_epu32)((lanes_register)a, (lanes_register)b);
}

lanes_inline f64s smaller(f64s a, f64s b)
{
    return (f64s)lanes_instruction(min_pd)(a, b);
}

// The low halves of the lanes, multiplied.
lanes_inline u64s mulLow(u64s a, u64s b)
{
    return (u64s)lanes_instruction(mul_epu32)((lanes_register)a, (lanes_register)b);
}

// a * factor >> 16.
lanes_inline u16s mulHigh(u16s a, uint16_t factor)
{
    return (u16s)lanes_instruction(mulhi_epu16)((lanes_register)a, (lanes_register)filled(factor));
}

// Sums of adjacent lanes: those of a, then those of b; at the 256-bit level in each half of a register.
lanes_inline u16s neighboursAdded(u16s a, u16s b)
{
    return (u16s)lanes_instruction(hadd_epi16)((lanes_register)a, (lanes_register)b);
}

// ---- bytes by their number ----

// from[index], within the same 16 bytes; 0 for an index of 128 or more. Other bits above the low four do
// not count.
lanes_inline u8s picked(u8s from, u8s index)
{
    return (u8s)lanes_instruction(shuffle_epi8)((lanes_register)from, (lanes_register)index);
}

// Sums above 255 become 255.
lanes_inline u8s addSaturating(u8s a, u8s b)
{
    return (u8s)lanes_instruction(adds_epu8)((lanes_register)a, (lanes_register)b);
}

// ---- averages, rounded up ----

lanes_inline u8s average(u8s a, u8s b)
{
    return (u8s)lanes_instruction(avg_epu8)((lanes_register)a, (lanes_register)b);
}

lanes_inline u16s average(u16s a, u16s b)
{
    return (u16s)lanes_instruction(avg_epu16)((lanes_register)a, (lanes_register)b);
}

// ---- bits ----

lanes_inline u16s mergedUpper(u32s even, u32s odd)
{
    return (u16s)lanes_instruction(blend_epi16)((lanes_register)even, (lanes_register)odd, 0xaa);
}

// a & ~b. Named as an instruction: with operators the compiler moves the complement into the expression
// that b comes from, and loads what that is made of twice.
template <class Lanes>
lanes_inline Lanes andNot(Lanes a, Lanes b)
{
    return (Lanes)lanes_onBits(andnot)((lanes_register)b, (lanes_register)a);
}

lanes_inline bool isZero(u8s a)
{
    return lanes_onBits(testz)((lanes_register)a, (lanes_register)a) != 0;
}

} // namespace
