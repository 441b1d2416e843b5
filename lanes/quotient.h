// Exact integer quotients out of single precision, in whatever direction the caller's thread rounds: one function
// for each range, with its proof. Divisors are at least 1.
#pragma once

#include "lanes/lanes.h"

namespace
{

// floor(dividend / divisor) for dividends of 0 .. 2^24 - 1, where the product of a power of two above all
// quotients and the greatest divisor is at most 2^24: quotients below 256 by divisors up to 65280, or below 65536
// by divisors up to 256.
//
// Both numbers convert exactly. With x the true quotient, q its whole part and D the greatest divisor, x is at
// most q + 1 - 1/D. Floats below 2^k lie 2^(k-24) or less apart, which is at most 1/D, so there is one from x
// on that is below q + 1: the rounded quotient is at most that, and at least q. Truncation gives q.
lanes_inline u32s dividedSmall(u32s dividend, u32s divisor)
{
    return truncated(toFloats(dividend) / toFloats(divisor));
}

// floor(dividend / divisor) + 32768 for signed dividends, divisors up to 65280 and results of 0 .. 65535.
//
// The dividend becomes a float with a relative error below 2^-23, the quotient, at most 32768 in size, gets
// another, together below 2^-7; the sum with 32768.5 is below 2^17 and gets an error below 2^-7. So the
// estimate is within 1/64 of x + 1/2, where x is the true quotient plus 32768, and truncation gives q or q + 1
// with q the whole part of x. The remainder tells which: it is negative for q + 1.
lanes_inline u32s dividedCentred(u32s dividend, u32s divisor)
{
    const u32s estimate = truncated(toFloats(dividend) / toFloats(divisor) + 32768.5f);
    const u32s remainder = dividend - (estimate - uint32_t{32768}) * divisor;
    return estimate + signsOf(remainder);
}

} // namespace
