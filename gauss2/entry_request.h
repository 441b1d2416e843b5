// What the exports of this family share: the arguments of one request, their check, the binding of unbound
// destinations, and the two forms of a call. The exports themselves only name their format and their sampling.
#pragma once

#include "gauss2/geometry.h"

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

qip_status gauss2_smoothImages(gauss2_format format, gauss2_sampling sampling, const gauss2_images& images);
qip_status gauss2_smoothWindows(gauss2_format format, gauss2_sampling sampling,
                                const gauss2_windows& windows, const qmath_xformLinear* srcTransform,
                                qmath_xformLinear* dstTransform);
qip_status gauss2_noSampleImages(gauss2_format format, const gauss2_images& images, int32_t passesX,
                                 int32_t passesY);
qip_status gauss2_noSampleWindows(gauss2_format format, const gauss2_windows& windows, int32_t passesX,
                                  int32_t passesY);
