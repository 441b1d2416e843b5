// The four forms of a smoothing call: by image or by window, at half or at full resolution. Each checks the
// arguments, makes the plan, binds unbound destinations, runs the filter and sets the destination's
// transform. The exported functions only name their format and their filter.
#pragma once

#include "gauss2/filter.h"
#include "gauss2/passes.h"

#include <qip/status.h>

#include <qbase/image.h>

struct gauss2_format {
    int32_t pixelSize;
    bool masked;
};

inline constexpr gauss2_format gauss2_pixels8 = {1, false};
inline constexpr gauss2_format gauss2_pixels16 = {2, false};
inline constexpr gauss2_format gauss2_masked8 = {1, true};
inline constexpr gauss2_format gauss2_masked16 = {2, true};

// The masks are null in unmasked requests; dstMask may be null in all.
struct gauss2_images {
    const qimg_image* src;
    const qimg_image8* srcMask;
    qimg_image* dst;
    qimg_image8* dstMask;
};

struct gauss2_windows {
    const qimg_windowConst* src;
    const qimg_window8Const* srcMask;
    const qimg_window* dst;
    const qimg_window8* dstMask;
};

qip_status gauss2_halfImages(gauss2_format format, gauss2_filter filter, const gauss2_images& images);
qip_status gauss2_halfWindows(gauss2_format format, gauss2_filter filter, const gauss2_windows& windows,
                              const qmath_xformLinear* srcTransform, qmath_xformLinear* dstTransform);
qip_status gauss2_fullImages(gauss2_format format, const gauss2_images& images, gauss2_passes passes);
qip_status gauss2_fullWindows(gauss2_format format, const gauss2_windows& windows, gauss2_passes passes);
