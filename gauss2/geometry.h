// Where a request of this family reads and writes: the full destination rectangle D of a source rectangle S,
// the part U of the source that feeds the part R of D, the map from destination to source pixels, and the
// windows of a request with their restriction. Relies on the rectangle, window and transform services.
#pragma once

#include <qip/status.h>

#include <qbase/window.h>
#include <qbase/xform.h>

// Which directions keep every second pixel.
struct gauss2_sampling {
    bool halveX;
    bool halveY;
};

inline constexpr gauss2_sampling gauss2_sampleBoth = {true, true};
inline constexpr gauss2_sampling gauss2_sampleX = {true, false};
inline constexpr gauss2_sampling gauss2_sampleY = {false, true};
inline constexpr gauss2_sampling gauss2_sampleNone = {false, false};

// D of S: origin and size are halved separately in a sampled direction.
qstd_rect32 gauss2_destRect(gauss2_sampling sampling, const qstd_rect32& source);

// U: the whole of S when R is D or null, else R times the sampling factors. With an odd origin of S that can
// begin one pixel before S; the restriction of the window then refuses.
qip_status gauss2_sourceRect(gauss2_sampling sampling, const qstd_rect32& source, const qstd_rect32& full,
                             const qstd_rect32& part, qstd_rect32* used);

// The map from pixel coordinates of the destination to those of the source, for R fed by U.
qip_status gauss2_mapToSource(gauss2_sampling sampling, const qstd_rect32& part, const qstd_rect32& used,
                              qmath_xformLinear* map);

inline bool gauss2_isNull(const qstd_rect32& rect)
{
    return rect.width <= 0 || rect.height <= 0;
}

// The windows of one request, copies that belong to it.
struct gauss2_views {
    qimg_windowConst src;
    qimg_window dst;
    bool masked;
    qimg_windowConst srcMask; // looked at when masked
    bool hasDstMask;
    qimg_window dstMask; // looked at when hasDstMask
};

// Restricts the source and its mask to `used`, the destination and its mask to `written`.
// Errors:  the refusal of the first window that does not cover its rectangle.
qip_status gauss2_restrict(gauss2_views* views, const qstd_rect32& used, const qstd_rect32& written);
