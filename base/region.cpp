// Regions, the older form of rectangles: functions that answer with their result, and with the null region
// for what does not fit.
#include "base/rect_arithmetic.h"

#include <qbase/rect.h>

const qsIRegion qsIRegionNull = {0, 0, 0, 0};

namespace
{

qsIRegion* storeOrNull(const base_rect64& rect, qsIRegion* out)
{
    if (!base_rect64_store(rect, out))
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
    const base_rect64 r = base_rect64_of(*region);
    const base_rect64 k = base_rect64_of(*kernel);
    const base_rect64 positions = {r.x - k.x, r.y - k.y, r.width - k.width + 1, r.height - k.height + 1};
    if (base_rect64_isNull(r) || base_rect64_isNull(k) || base_rect64_isNull(positions))
        return storeOrNull({0, 0, 0, 0}, out);
    return storeOrNull(positions, out);
}

qsIRegion* qsIRegionDilate(const qsIRegion* region, const qsIRegion* kernel, qsIRegion* out)
{
    if (!region || !kernel || !out)
        return nullptr;
    const base_rect64 r = base_rect64_of(*region);
    const base_rect64 k = base_rect64_of(*kernel);
    if (base_rect64_isNull(r) || base_rect64_isNull(k))
        return storeOrNull({0, 0, 0, 0}, out);
    return storeOrNull({r.x + k.x, r.y + k.y, r.width + k.width - 1, r.height + k.height - 1}, out);
}

qsIRegion* qsIRegionIntersect(const qsIRegion* a, const qsIRegion* b, qsIRegion* out)
{
    if (!a || !b || !out)
        return nullptr;
    return storeOrNull(base_rect64_intersect(base_rect64_of(*a), base_rect64_of(*b)), out);
}

int qsIRegionContains(const qsIRegion* outer, const qsIRegion* inner)
{
    return outer && inner && base_rect64_contains(base_rect64_of(*outer), base_rect64_of(*inner));
}

int qsIRegionIsNull(const qsIRegion* region)
{
    return !region || base_rect64_isNull(base_rect64_of(*region));
}
