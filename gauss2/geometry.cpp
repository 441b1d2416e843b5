// The rectangles of this family, its four exported rectangle functions, and its transform.
#include "gauss2/geometry.h"

#include <qip/half_resolution.h>

namespace
{

// Origins round towards minus infinity; a negative size is none.
void halve(int32_t* origin, int32_t* size)
{
    *origin >>= 1;
    *size = *size < 0 ? 0 : *size >> 1;
}

qstd_rect32 destRect(gauss2_filter filter, const qstd_rect32& source)
{
    qstd_rect32 full = source;
    if (gauss2_stepOf(filter.x) == 2)
        halve(&full.x, &full.width);
    if (gauss2_stepOf(filter.y) == 2)
        halve(&full.y, &full.height);
    return full;
}

qip_status storeDestRect(gauss2_filter filter, const qstd_rect32* src, qstd_rect32* dst)
{
    if (!src || !dst)
        return QSYS_E_ARGUMENT;
    *dst = destRect(filter, *src);
    return QIP_OK;
}

// Pixel centres lie at + 0.5: the centre of destination pixel d is the centre of source pixel 2 d, shifted
// by the pixel that an odd source origin adds.
double offset(int step, bool partIsNull, int32_t part, int32_t used)
{
    if (step == 1)
        return 0.0;
    return partIsNull ? -0.5 : static_cast<double>(used - int64_t{2} * part) - 0.5;
}

} // namespace

qip_status gauss2_makePlan(gauss2_filter filter, const qstd_rect32& source, const qstd_rect32* dest,
                           gauss2_plan* plan)
{
    plan->full = destRect(filter, source);
    plan->part = plan->full;
    plan->used = source;
    int isWhole = 1;
    qip_status status = QIP_OK;
    if (dest)
        status = qstd_rect32_intersect(&plan->part, dest);
    if (status >= 0)
        status = qstd_rect32_compareEqual(&plan->part, &plan->full, &isWhole);
    if (status < 0 || isWhole || gauss2_isNull(plan->part))
        return status;
    const qstd_rect32& part = plan->part;
    const int64_t stepX = gauss2_stepOf(filter.x);
    const int64_t stepY = gauss2_stepOf(filter.y);
    return qstd_rect32_init(&plan->used, part.x * stepX, part.y * stepY, part.width * stepX,
                            part.height * stepY);
}

qip_status gauss2_mapToSource(gauss2_filter filter, const gauss2_plan& plan, qmath_xformLinear* map)
{
    const bool isNull = gauss2_isNull(plan.part);
    const int stepX = gauss2_stepOf(filter.x);
    const int stepY = gauss2_stepOf(filter.y);
    return qmath_xformLinear_initMatrixTransElements(map, stepX, 0.0, 0.0, stepY,
                                                     offset(stepX, isNull, plan.part.x, plan.used.x),
                                                     offset(stepY, isNull, plan.part.y, plan.used.y));
}

qip_status qip_gauss2GetDestRect(const qstd_rect32* src, qstd_rect32* dst)
{
    return storeDestRect(gauss2_half, src, dst);
}

qip_status qip_gauss2XGetDestRect(const qstd_rect32* src, qstd_rect32* dst)
{
    return storeDestRect(gauss2_halfX, src, dst);
}

qip_status qip_gauss2YGetDestRect(const qstd_rect32* src, qstd_rect32* dst)
{
    return storeDestRect(gauss2_halfY, src, dst);
}

qip_status qip_gauss2NoSampleGetDestRect(const qstd_rect32* src, int32_t, int32_t, qstd_rect32* dst)
{
    return storeDestRect(gauss2_full5x5, src, dst);
}
