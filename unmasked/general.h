// The general path of the newer engine: any kernel sizes, any sampling, both depths.
#pragma once

#include "gauss/request.h"

// Writes the destination region of a request, at least one pixel, and sets the destination's client
// z-scale, which stays set when a poll ends the call.
// Result:  with S the exact sum, F = 1 / N and R = 0.5 when rounding, else 0, each in double precision: the
//          low 8 or 16 bits of trunc(S F + R); 0 for what does not fit 64 bits. Sums are exact up to 2^53,
//          that is, for kernel sizes up to 180 in both directions.
// Polls:   once at the start, then before the source rows 0, 64, 128, ..., counted from the first row that
//          is read and from above it where the kernel begins there. Of stretches of more than 1024 rows
//          that no source row stands for, none is polled.
// Errors:  QSYS_E_MEMORY, before anything is changed; what a poll answers: the rows written so far are
//          complete and run from the top.
qip_status unmasked_smoothGeneral(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                  const gauss_request* request);
