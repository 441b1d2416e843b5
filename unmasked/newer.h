// The newer engine of the unmasked smoothing, for processors with 256-bit instructions.
#pragma once

#include <qip/smoothing.h>

// The five arguments of qip_gauss, checked. Which way computes the pixels, the first that matches:
//   dstRegion given, and fewer than 33 columns or rows to write       the reference smoothing
//   8-bit destination, kernel size 1 and sampling up to 3, both axes  unmasked_smoothSmallKernel
//   8-bit destination, kernel size 2 in both axes                     unmasked_smoothSevenTap
//   all others                                                        unmasked_smoothGeneral
// A destination that is created is of the prototype's type.
// Result:  *dstOut receives the destination. Its client z-scale is set by every way but with peakNormalize.
// Errors:  those of the ways and of gauss_setupReference; *dstOut is left as it was and a destination
//          created here is released.
qip_status unmasked_newerEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut);
