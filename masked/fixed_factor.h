// A real factor as a whole number between two shifts.
#pragma once

#include <cstdint>

// sum * factor is ((sum >> firstShift) * multiplier) >> lastShift; what rounds is added before the last
// shift.
struct masked_fixedFactor {
    uint64_t multiplier;
    int32_t firstShift;
    int32_t lastShift; // 0 and above, without bound
    uint64_t rounding;
};

// How many bits there are: of the multiplier, of what the first shift leaves of a sum, of the rounding.
struct masked_factorBits {
    int32_t multiplier;
    int32_t sum;
    int32_t rounding;
};
constexpr masked_factorBits masked_factor32 = {15, 17, 32};
constexpr masked_factorBits masked_factor64 = {20, 44, 64};

// For sums up to `greatestSum`. The steps are required; they decide pixels.
masked_fixedFactor masked_makeFactor(masked_factorBits bits, double factor, double greatestSum);
