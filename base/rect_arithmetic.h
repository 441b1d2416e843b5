// Rectangles in 64 bits. Both 32-bit records (qstd_rect32, qsIRegion) are widened, worked on, and stored
// back only when the result fits, so no intermediate value can overflow: every number that enters is a
// 32-bit one or has been checked to be one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

struct base_rect64 {
    int64_t x, y, width, height;
};

template <class Rect>
base_rect64 base_rect64_of(const Rect& rect)
{
    return {rect.x, rect.y, rect.width, rect.height};
}

inline bool base_rect64_isNull(const base_rect64& rect)
{
    return rect.width <= 0 || rect.height <= 0;
}

inline bool base_rect64_fitsIn32(int64_t value)
{
    return value >= std::numeric_limits<int32_t>::min() && value <= std::numeric_limits<int32_t>::max();
}

// A null rectangle has no last pixel, so only its numbers have to fit.
inline bool base_rect64_fits(const base_rect64& rect)
{
    for (const int64_t value : {rect.x, rect.y, rect.width, rect.height})
        if (!base_rect64_fitsIn32(value))
            return false;
    return base_rect64_isNull(rect) || (base_rect64_fitsIn32(rect.x + rect.width - 1) &&
                                        base_rect64_fitsIn32(rect.y + rect.height - 1));
}

// False, with *out untouched, when the rectangle does not fit.
template <class Rect>
bool base_rect64_store(const base_rect64& rect, Rect* out)
{
    if (!base_rect64_fits(rect))
        return false;
    *out = {static_cast<int32_t>(rect.x), static_cast<int32_t>(rect.y), static_cast<int32_t>(rect.width),
            static_cast<int32_t>(rect.height)};
    return true;
}

// (0, 0, 0, 0) when the two share no pixel.
inline base_rect64 base_rect64_intersect(const base_rect64& a, const base_rect64& b)
{
    const int64_t x = std::max(a.x, b.x);
    const int64_t y = std::max(a.y, b.y);
    const base_rect64 common = {x, y, std::min(a.x + a.width, b.x + b.width) - x,
                                std::min(a.y + a.height, b.y + b.height) - y};
    if (base_rect64_isNull(a) || base_rect64_isNull(b) || base_rect64_isNull(common))
        return {0, 0, 0, 0};
    return common;
}

// A null inner rectangle lies in everything.
inline bool base_rect64_contains(const base_rect64& outer, const base_rect64& inner)
{
    if (base_rect64_isNull(inner))
        return true;
    return !base_rect64_isNull(outer) && inner.x >= outer.x && inner.y >= outer.y &&
           inner.x + inner.width <= outer.x + outer.width &&
           inner.y + inner.height <= outer.y + outer.height;
}
