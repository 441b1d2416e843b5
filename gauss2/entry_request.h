// What the exports of this family share: the arguments of one request, their check, the binding of unbound
// destinations, and the two forms of a call. The exports themselves only name their kind of planes and their
// sampling.
#pragma once

#include "gauss2/geometry.h"
#include "gauss2/planes.h"

#include <qip/status.h>

#include <qbase/image.h>

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

// Planes is gauss2_planes or gauss2_maskedPlanes of uint8_t or uint16_t, and tells the depth and whether the
// request is masked.
template <class Planes>
qip_status gauss2_smoothImages(const gauss2_images& images, gauss2_sampling sampling);
template <class Planes>
qip_status gauss2_smoothWindows(const gauss2_windows& windows, gauss2_sampling sampling,
                                const qmath_xformLinear* srcTransform, qmath_xformLinear* dstTransform);
template <class Planes>
qip_status gauss2_noSampleImages(const gauss2_images& images, int32_t passesX, int32_t passesY);
template <class Planes>
qip_status gauss2_noSampleWindows(const gauss2_windows& windows, int32_t passesX, int32_t passesY);
