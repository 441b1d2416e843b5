#include "unmasked/plain.h"

#include "gauss/running_sums.h"
#include "unmasked/arithmetic.h"

#include <algorithm>

namespace
{

constexpr uint32_t sevenTaps[] = {1, 3, 6, 7, 6, 3, 1};
constexpr uint32_t fourTaps[] = {1, 3, 3, 1};

// Whether a position is inside the source or one reflection away from it.
bool isReached(int64_t position, int64_t length)
{
    return position >= -length && position < 2 * length;
}

uint32_t pixelOrZero(const unmasked_plan* plan, int64_t row, int64_t column)
{
    if (!isReached(row, plan->srcHeight) || !isReached(column, plan->srcWidth))
        return 0;
    return unmasked_srcRow(plan,
                           gauss_reflect(row, plan->srcHeight))[gauss_reflect(column, plan->srcWidth)];
}

int64_t nearestReflected(int64_t position, int64_t length)
{
    return gauss_reflect(std::clamp(position, -length, 2 * length - 1), length);
}

uint32_t nearestPixel(const unmasked_plan* plan, int64_t row, int64_t column)
{
    return unmasked_srcRow(
        plan, nearestReflected(row, plan->srcHeight))[nearestReflected(column, plan->srcWidth)];
}

// The weighted sum whose first tap in either direction is at this row and column.
template <size_t taps, class PixelAt>
uint32_t weightedSum(const unmasked_plan* plan, const uint32_t (&weights)[taps], const PixelAt& pixelAt,
                     int64_t row, int64_t column)
{
    uint32_t sum = 0;
    for (size_t j = 0; j < taps; ++j)
        for (size_t i = 0; i < taps; ++i)
            sum += weights[j] * weights[i] *
                   pixelAt(plan, row + static_cast<int64_t>(j), column + static_cast<int64_t>(i));
    return sum;
}

template <size_t taps, class PixelAt, class ToPixel>
void makeRows(const unmasked_plan* plan, const uint32_t (&weights)[taps], const PixelAt& pixelAt,
              const ToPixel& toPixel, int64_t first, int64_t count)
{
    for (int64_t j = first; j < first + count; ++j) {
        auto* const out = unmasked_dstRow<uint8_t>(plan, j);
        for (int64_t i = 0; i < plan->columns; ++i)
            out[i] = toPixel(weightedSum(plan, weights, pixelAt, plan->firstRow + j * plan->stepY,
                                         plan->firstColumn + i * plan->stepX));
    }
}

} // namespace

void unmasked_plainSevenTap(const unmasked_plan* plan, int64_t first, int64_t count)
{
    const auto toPixel = [=, scales = unmasked_hasGain(plan->gain)](uint32_t sum) {
        const uint32_t quotient = unmasked_dividedBy729(sum, plan->round);
        return scales ? unmasked_scaledBy729(quotient, plan->gain, plan->round)
                      : static_cast<uint8_t>(quotient);
    };
    makeRows(plan, sevenTaps, pixelOrZero, toPixel, first, count);
}

void unmasked_plainSmallKernel(const unmasked_plan* plan, int64_t first, int64_t count)
{
    const auto toPixel = [=, scales = unmasked_hasGain(plan->gain)](uint32_t sum) {
        const uint32_t quotient = unmasked_dividedBy64(sum, plan->round);
        return scales ? unmasked_scaledBy64(quotient, plan->gain) : static_cast<uint8_t>(quotient);
    };
    makeRows(plan, fourTaps, nearestPixel, toPixel, first, count);
}
