#include "unmasked/general.h"

#include "gauss/kernel.h"
#include "unmasked/fast_sums.h"
#include "unmasked/plain_sums.h"

#include <cmath>

namespace
{

// Chooses the kernel and its numbers. False: this arithmetic has none, as with gains that are no sensible
// numbers.
bool choosePath(const unmasked_plan* plan, double factor, unmasked_sumsPath* path)
{
    const double offset = plan->round ? 0.5 : 0.0;
    const double greatestSum = unmasked_greatestSum(plan);
    const double greatest = greatestSum * factor + offset;
    if (!(factor > 0.0 && greatest < 0x1p31 && greatestSum < 0x1p52))
        return false;
    const bool deep = plan->dstPixelSize == 2;
    unmasked_pixelNumbers& numbers = path->numbers;
    numbers.factor = factor;
    numbers.offset = offset;
    numbers.wraps = greatest >= (deep ? 0x1p16 : 0x1p8);

    // A factor that is a power of two scales exactly, so it is a shift, and one half is a whole number to
    // be added before.
    int exponent = 0;
    const bool isPower = std::frexp(factor, &exponent) == 0.5;
    const int shift = 1 - exponent;
    const bool shifts = isPower && shift >= 1 && shift < 52;
    path->start = shifts && offset > 0.0 ? uint64_t{1} << (shift - 1) : 0;
    path->isWide = greatestSum + static_cast<double>(path->start) >= 0x1p32 || (shifts && shift > 31);

    // Single precision is worth its while where few pixels come close to a whole number.
    constexpr double mostSingle = 0x1p11;
    const bool single = !path->isWide && greatestSum < 0x1p31 && greatest < mostSingle;
    numbers.shift = shift;
    numbers.margin = static_cast<uint32_t>(greatest / 32.0) + 3;
    numbers.singleFactor = static_cast<float>(factor * 0x1p16);
    numbers.singleOffset = static_cast<float>(offset * 0x1p16 + numbers.margin);
    const unmasked_pixelWay& way = shifts   ? unmasked_shiftedAvx2
                                   : single ? unmasked_scaledSingleAvx2
                                            : unmasked_scaledAvx2;
    path->toPixels = way.kernels[path->isWide][deep];
    path->boxes = &gauss_boxKernelsAvx2;
    path->polls = true;
    return unmasked_canSum(path->boxes, plan);
}

} // namespace

qip_status unmasked_smoothGeneral(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                  const gauss_request* request)
{
    const unmasked_plan plan = unmasked_planOf(src, dst, params, request);
    unmasked_sumsPath path = {};
    if (!choosePath(&plan, gauss_normalisationOf(params).reciprocal, &path))
        return unmasked_plainGeneral(src, dst, params, request);
    return unmasked_runSums(&plan, &path);
}
