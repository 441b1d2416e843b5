// Regions, the older form of rectangles: functions that answer with their result, and with the null region
// for what does not fit.
#include <qbase/rect.h>

#include "rect_arithmetic.h"

const qsIRegion qsIRegionNull = {0, 0, 0, 0};

namespace
{

qsIRegion* storeOrNull(const qstd_rect64& rect, qsIRegion* out)
{
    if (!qstd_rect64_store(rect, out))
        *out = qsIRegionNull;
    return out;
}

} // namespace

qsIRegion* qsIRegionCT(int64_t x, int64_t y, int64_t width, int64_t height, qsIRegion* out)
{
    return out ? storeOrNull({x, y, width, height}, out) : nullptr;
}

qsIRegion* qsIRegionErode(const qsIRegion* region, const qsIRegion* kernel, qsIRegion* out)
{
    if (!region || !kernel || !out)
        return nullptr;
    const qstd_rect64 r = qstd_rect64_of(*region);
    const qstd_rect64 k = qstd_rect64_of(*kernel);
    const qstd_rect64 positions = {r.x - k.x, r.y - k.y, r.width - k.width + 1, r.height - k.height + 1};
    if (qstd_rect64_isNull(r) || qstd_rect64_isNull(k) || qstd_rect64_isNull(positions))
        return storeOrNull({0, 0, 0, 0}, out);
    return storeOrNull(positions, out);
}

qsIRegion* qsIRegionDilate(const qsIRegion* region, const qsIRegion* kernel, qsIRegion* out)
{
    if (!region || !kernel || !out)
        return nullptr;
    const qstd_rect64 r = qstd_rect64_of(*region);
    const qstd_rect64 k = qstd_rect64_of(*kernel);
    if (qstd_rect64_isNull(r) || qstd_rect64_isNull(k))
        return storeOrNull({0, 0, 0, 0}, out);
    return storeOrNull({r.x + k.x, r.y + k.y, r.width + k.width - 1, r.height + k.height - 1}, out);
}

qsIRegion* qsIRegionIntersect(const qsIRegion* a, const qsIRegion* b, qsIRegion* out)
{
    if (!a || !b || !out)
        return nullptr;
    return storeOrNull(qstd_rect64_intersect(qstd_rect64_of(*a), qstd_rect64_of(*b)), out);
}

int qsIRegionContains(const qsIRegion* outer, const qsIRegion* inner)
{
    return outer && inner && qstd_rect64_contains(qstd_rect64_of(*outer), qstd_rect64_of(*inner));
}

int qsIRegionIsNull(const qsIRegion* region)
{
    return !region || qstd_rect64_isNull(qstd_rect64_of(*region));
}
