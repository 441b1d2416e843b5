// Which path of the library serves a smoothing by the cube of a box.
#pragma once

#include <qip/params.h>

#include <qbase/image.h>

#include <string>

// The path that has made `dst` from a source over this rectangle: "reference", "small-kernel", "seven-tap",
// "general" or "fixed-point", as the page on arithmetic calls them; "" when there was no pixel to make. The
// library cannot be asked, so this restates its rule, for the processor level that is reported now and an
// application that does not forbid optimised code.
std::string gauss_path(const qstd_rect32& src, const qimg_image& dst, const qip_gaussParams& params);

// The same of a smoothing with a source mask, or of a 16-bit source: "masked-fixed-point" or
// "masked-double". It speaks of the whole call: where threads share it, a last band of few rows may take
// double precision.
std::string gauss_maskedPath(const qstd_rect32& src, const qimg_image& dst, const qip_gaussParams& params,
                             bool hasSourceMask);
