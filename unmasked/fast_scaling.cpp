#include "unmasked/fast_scaling.h"

#include <cmath>

namespace
{

// A factor that is a power of two scales exactly, so it is a shift to the right; 0 for others.
int shiftOf(double factor)
{
    int exponent = 0;
    const bool isPower = std::frexp(factor, &exponent) == 0.5;
    const int shift = 1 - exponent;
    return isPower && shift >= 1 && shift < 52 ? shift : 0;
}

const unmasked_pixelWay* wayOf(const unmasked_scalingKernels* kernels, bool starts, bool isSingle)
{
    if (starts)
        return isSingle ? &kernels->startedSingle : &kernels->started;
    return isSingle ? &kernels->scaledSingle : &kernels->scaled;
}

} // namespace

bool unmasked_chooseScaling(const unmasked_plan* plan, const unmasked_scaling* scaling,
                            const unmasked_scalingKernels* kernels, unmasked_sumsPath* path)
{
    const double factor = scaling->factor;
    const double half = scaling->offset + scaling->start * factor;
    const double greatestSum = unmasked_greatestSum(plan);
    const double greatest = greatestSum * factor + half;
    if (!(factor > 0.0 && greatest < 0x1p31 && greatestSum < 0x1p52))
        return false;
    const bool deep = plan->dstPixelSize == 2;
    unmasked_pixelNumbers& numbers = path->numbers;
    numbers.factor = factor;
    numbers.offset = scaling->offset;
    numbers.start = scaling->start;
    numbers.wraps = greatest >= (deep ? 0x1p16 : 0x1p8);

    // Where pixels are shifted, one half is a whole number to be added before.
    numbers.shift = shiftOf(factor);
    const bool shifts = numbers.shift != 0;
    path->start = shifts && half > 0.0 ? uint64_t{1} << (numbers.shift - 1) : 0;
    path->isWide = greatestSum + static_cast<double>(path->start) >= 0x1p32 || numbers.shift > 31;

    // Single precision is worth its while where few pixels come close to a whole number.
    constexpr double mostSingle = 0x1p11;
    const bool isSingle = !path->isWide && greatestSum < 0x1p31 && greatest < mostSingle;
    numbers.margin = static_cast<uint32_t>(greatest / 32.0) + 3;
    numbers.singleFactor = static_cast<float>(factor * 0x1p16);
    numbers.singleOffset = static_cast<float>(half * 0x1p16 + numbers.margin);
    const unmasked_pixelWay* const way =
        shifts ? &kernels->shifted : wayOf(kernels, scaling->start > 0.0, isSingle);
    path->toPixels = way->kernels[path->isWide][deep];
    path->boxes = kernels->boxes;
    return unmasked_canSum(path->boxes, plan);
}
