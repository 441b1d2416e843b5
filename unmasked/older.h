// The older engine of the unmasked smoothing, for processors with 128-bit instructions.
#pragma once

#include <qip/smoothing.h>

// The five arguments of qip_gauss, checked. It declines what it cannot do in integers: QIP_E_FALLBACK when
// the request rounds, when its gain is not a power of two, and when the source has fewer than 9 sampleX
// columns or 9 sampleY rows.
// Result:  the pixels of unmasked/fixed_point.h, the sums being exact up to 2^53, that is, for kernel sizes
//          up to 180 in both directions. *dstOut receives the destination, created when dst is null.
//          Nothing is written to an image of an unknown type.
// Errors:  QSYS_E_RANGE, QSYS_E_MEMORY, QMATH_E_SINGULAR, nothing is written then; *dstOut is null after
//          these and after a decline.
// Polls:   none. A call cannot be interrupted.
qip_status unmasked_olderEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut);
