// The reference smoothing: any parameters, any processor, from an 8-bit legacy image into an 8-bit or
// 16-bit one. It is the definition of the values that every other path is held against.
#pragma once

#include "gauss/request.h"

// The five arguments of qip_gauss, checked by the caller: src is an 8-bit image, the sampling factors and
// kernel sizes of params are valid, dst or params->prototype is there, src and dst have their pixels.
// Result:  *dstOut receives the destination, created when dst is null. A region that reaches no source
//          pixel is success: nothing is written and nothing but a missing destination is allocated.
// Errors:  QSYS_E_RANGE, QSYS_E_MEMORY, what the attention check answers (rows already written stay
//          written). A destination created here is released again and *dstOut is null.
// Polls:   once before the first row, then before each source row y that is a multiple of 64.
qip_status gauss_smoothReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 qsIRegion* dstRegion, qsVImage** dstOut);

// The rows of a request that is set up and has pixels to write.
// Errors:  QSYS_E_ARGUMENT for a destination of neither depth, QSYS_E_MEMORY, what the attention check answers.
qip_status gauss_smoothReferenceRows(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                     const gauss_request* request);

// The same smoothing with rows made by other code, which has to do all that gauss_smoothReferenceRows does.
using gauss_rowsFunction = qip_status (*)(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                          const gauss_request* request);
qip_status gauss_smoothReferenceBy(gauss_rowsFunction makeRows, const qsImage* src, qsVImage* dst,
                                   const qsGaussParams* params, qsIRegion* dstRegion, qsVImage** dstOut);
