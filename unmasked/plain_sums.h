// The paths for kernels of any size in plain code: what their pixels are, written for reading. It runs
// where the kernels cannot serve a request.
#pragma once

#include "gauss/request.h"

// Writes the destination region of a request, at least one pixel, as unmasked_smoothGeneral promises.
qip_status unmasked_plainGeneral(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 const gauss_request* request);

// The same as unmasked_olderEngine promises of a request that it does not decline.
qip_status unmasked_plainFixedPoint(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                    const gauss_request* request);
