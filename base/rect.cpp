// Rectangles whose functions answer with a status.
#include "base/rect_arithmetic.h"

#include <qbase/rect.h>

qsys_status qstd_rect32_init(qstd_rect32* rect, int64_t x, int64_t y, int64_t width, int64_t height)
{
    if (!rect)
        return QSYS_E_ARGUMENT;
    return base_rect64_store({x, y, width, height}, rect) ? QSYS_OK : QSYS_E_RANGE;
}

qsys_status qstd_rect32_getIsNull(const qstd_rect32* rect, int* isNull)
{
    if (!rect || !isNull)
        return QSYS_E_ARGUMENT;
    *isNull = base_rect64_isNull(base_rect64_of(*rect));
    return QSYS_OK;
}

qsys_status qstd_rect32_intersect(qstd_rect32* a, const qstd_rect32* b)
{
    if (!a || !b)
        return QSYS_E_ARGUMENT;
    const base_rect64 common = base_rect64_intersect(base_rect64_of(*a), base_rect64_of(*b));
    return base_rect64_store(common, a) ? QSYS_OK : QSYS_E_RANGE;
}

qsys_status qstd_rect32_compareEqual(const qstd_rect32* a, const qstd_rect32* b, int* equal)
{
    if (!a || !b || !equal)
        return QSYS_E_ARGUMENT;
    const bool aIsNull = base_rect64_isNull(base_rect64_of(*a));
    const bool bIsNull = base_rect64_isNull(base_rect64_of(*b));
    if (aIsNull || bIsNull)
        *equal = aIsNull && bIsNull;
    else
        *equal = a->x == b->x && a->y == b->y && a->width == b->width && a->height == b->height;
    return QSYS_OK;
}
