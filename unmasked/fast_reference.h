// The reference smoothing, made by the kernels of the 128-bit level.
#pragma once

#include <qip/smoothing.h>

// The five arguments of qip_gauss, checked.
// Result:  all that gauss_smoothReference promises: pixels, statuses, polls, and the rows that are written when a
//          poll ends the call. Where the kernels cannot serve the request, or the processor does not have the
//          level, that is what runs.
qip_status unmasked_smoothReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                    qsIRegion* dstRegion, qsVImage** dstOut);
