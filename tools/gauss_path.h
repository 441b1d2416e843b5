// Which path of the library serves an unmasked smoothing.
#pragma once

#include <qip/params.h>

#include <qbase/image.h>

#include <string>

// The path that has made `dst` from a source over this rectangle: "reference", "small-kernel", "seven-tap",
// "general" or "fixed-point", as the page on arithmetic calls them; "" when there was no pixel to make. The
// library cannot be asked, so this restates its rule, for the processor level that is reported now and an
// application that does not forbid optimised code.
std::string gauss_path(const qstd_rect32& src, const qimg_image& dst, const qip_gaussParams& params);
