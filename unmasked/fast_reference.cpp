#include "unmasked/fast_reference.h"

#include "frame/level.h"
#include "gauss/kernel.h"
#include "gauss/reference.h"
#include "unmasked/fast_scaling.h"

#include <cmath>

namespace
{

bool hasKernels()
{
    qsys_cpuinfo info;
    return qsys_cpuinfo_init(&info) >= 0 && frame_levelFor<uint8_t>(&info) != frame_level::portable;
}

// Whether `start` plus any whole number up to `greatest` is exact: all of these are multiples of what separates
// doubles as large as the last of them.
bool isExactFrom(double start, double greatest)
{
    const int bits = 52 - std::ilogb(start + greatest);
    const double units = std::ldexp(start, bits);
    return bits >= 0 && units == std::trunc(units);
}

// Reflection answers for all rows, so that each is polled for.
bool reachesOneReflection(const unmasked_plan* plan)
{
    const int64_t lastRow = plan->firstRow + (plan->rows - 1) * plan->stepY + 3 * (plan->boxY - 1);
    return plan->firstRow >= -plan->srcHeight && lastRow < 2 * plan->srcHeight;
}

// Chooses the kernel and its numbers. False: there is none that gives the reference pixels.
bool choosePath(const unmasked_plan* plan, const gauss_normalisation& scale, unmasked_sumsPath* path)
{
    unmasked_scaling scaling = {scale.reciprocal, 0.0, 0.0};
    // Where a kernel is one pixel along the row, half a unit is added to the product, else half the divisor to
    // the sum: required. This half is added first of all, and every sum on the way has to be exact.
    if (plan->round && plan->boxX == 1)
        scaling.offset = 0.5;
    else if (plan->round)
        scaling.start = scale.half;
    return unmasked_chooseScaling(plan, &scaling, &unmasked_scaling128, path) &&
           reachesOneReflection(plan) && isExactFrom(scaling.start, unmasked_greatestSum(plan));
}

qip_status smoothRows(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                      const gauss_request* request)
{
    const int32_t type = qsVImageType(dst);
    if (hasKernels() && (type == QS_IMAGE_TYPE_8 || type == QS_IMAGE_TYPE_16)) {
        const unmasked_plan plan = unmasked_planOf(src, dst, params, request);
        unmasked_sumsPath path = {};
        path.polls = unmasked_pollsInTime;
        path.polledAs = request->read.y.start - request->source.y.start;
        if (choosePath(&plan, gauss_normalisationOf(params), &path))
            return unmasked_runSums(&plan, &path);
    }
    return gauss_smoothReferenceRows(src, dst, params, request);
}

} // namespace

qip_status unmasked_smoothReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                    qsIRegion* dstRegion, qsVImage** dstOut)
{
    return gauss_smoothReferenceBy(smoothRows, src, dst, params, dstRegion, dstOut);
}
