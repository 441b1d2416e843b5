#include "unmasked/older.h"

#include "unmasked/fast_sums.h"
#include "unmasked/fixed_point.h"
#include "unmasked/plain_sums.h"

#include <cstdlib>

namespace
{

// Chooses the kernel and its numbers. False: there is none for numbers of this size.
bool choosePath(const unmasked_plan* plan, const unmasked_fixedPoint& fixed, unmasked_sumsPath* path)
{
    const double greatestSum = unmasked_greatestSum(plan);
    if (!(greatestSum < 0x1p52)) // `half` may be greater than any integer then
        return false;
    path->numbers.shift = fixed.firstShift + fixed.secondShift;
    path->numbers.multiplier = fixed.multiplier;
    path->numbers.lastShift = fixed.lastShift;
    path->start = static_cast<uint64_t>(fixed.half);
    path->isWide = greatestSum + fixed.half >= 0x1p32;
    path->numbers.wraps = true;
    path->toPixels = unmasked_fixedPoint128.kernels[path->isWide][plan->dstPixelSize == 2];
    path->boxes = &gauss_boxKernels128;
    return unmasked_shortened(&fixed, greatestSum) < 0x8000 && std::abs(fixed.lastShift) <= 31 &&
           unmasked_canSum(path->boxes, plan);
}

bool declines(const qsImage* src, const qsGaussParams* params)
{
    return params->round || !unmasked_isPowerOfTwo(params->gain) ||
           qsImageWidth(src) < int64_t{9} * params->sampleX ||
           qsImageHeight(src) < int64_t{9} * params->sampleY;
}

qip_status run(const qsImage* src, qsVImage* dst, const qsGaussParams* params, const gauss_request* request)
{
    const int32_t type = qsVImageType(dst);
    if (gauss_areaIsNull(request->dst) || (type != QS_IMAGE_TYPE_8 && type != QS_IMAGE_TYPE_16))
        return QIP_OK;
    const unmasked_plan plan = unmasked_planOf(src, dst, params, request);
    unmasked_sumsPath path = {};
    if (!choosePath(&plan, unmasked_fixedPointOf(params), &path))
        return unmasked_plainFixedPoint(src, dst, params, request);
    return unmasked_runSums(&plan, &path);
}

} // namespace

qip_status unmasked_olderEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut)
{
    *dstOut = nullptr;
    if (declines(src, params))
        return QIP_E_FALLBACK;
    gauss_request request;
    qip_status status = gauss_setupReference(src, dst, params, dstRegion, dstOut, &request);
    if (status < 0)
        return status;
    status = run(src, *dstOut, params, &request);
    if (status < 0) {
        if (!dst)
            qsImageFree(*dstOut);
        *dstOut = nullptr;
    }
    return status;
}
