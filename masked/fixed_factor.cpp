#include "masked/fixed_factor.h"

#include <algorithm>
#include <cmath>

masked_fixedFactor masked_makeFactor(masked_factorBits bits, double factor, double greatestSum)
{
    int factorExponent = 0;
    int sumExponent = 0;
    const double mantissa = std::frexp(factor, &factorExponent);
    std::frexp(greatestSum, &sumExponent);

    masked_fixedFactor made = {};
    const double most = std::ldexp(1.0, bits.multiplier) - 1.0;
    made.multiplier = static_cast<uint64_t>(std::min(std::ldexp(mantissa, bits.multiplier) + 0.5, most));
    made.firstShift = std::max(sumExponent - bits.sum, 0);
    made.lastShift = std::max(bits.multiplier - made.firstShift - factorExponent, 0);
    if (made.lastShift > 0 && made.lastShift <= bits.rounding)
        made.rounding = uint64_t{1} << (made.lastShift - 1);
    return made;
}
