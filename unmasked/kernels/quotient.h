// The quotient that the path for kernel size 2 is required to give, in 16-bit lanes only.
#pragma once

#include "lanes/lanes.h"

namespace
{

// What may be left of a sum after the estimate of dividedBy729, unless that is one too low.
lanes_inline i16s mostLeftBy729(bool round)
{
    return filled(static_cast<int16_t>(round ? 728 - 363 : 728 + 1));
}

// unmasked_dividedBy729 of a sum S of 0 .. 185895. Given are S modulo 2^16, and c, a sum of three quarters:
// S is the sum of three numbers, and c the sum of their fourths, each without its fraction, so that S - 9
// <= 4c <= S.
//
// The required quotient is Q = floor((S + 363) / 729) with rounding; without, it is floor((S - 1) / 729),
// or 0 for S = 0. The estimate q = 359c >> 16 = floor(c / 182.551...) is Q or Q - 1. It is not above Q: 4c
// <= S gives q <= S / 730.2, and S <= 729Q + 729 is below 730.2 (Q + 1). It is not below Q - 1: S >= 729Q -
// 363 gives c / 182.551... >= (729Q - 372) / 730.21 > Q - 0.0017Q - 0.51, which is above Q - 1, since Q is
// at most 255.
//
// So S - 729q is from -363 to 1458, and 16 bits have it as a signed number. Q is q + 1 where S + 363 -
// 729q, or S - 1 - 729q, is above 728; S = 0 leaves 0 and gets 0.
lanes_inline u16s dividedBy729(u16s sum, u16s quarters, i16s mostLeft)
{
    const u16s estimate = mulHigh(quarters, 359);
    const u16s left = sum - estimate * uint16_t{729};
    return estimate - (u16s)((i16s)left > mostLeft);
}

} // namespace
