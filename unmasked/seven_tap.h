// The path for kernel size 2 in both directions and 8-bit pixels: the weights 1 3 6 7 6 3 1, any sampling.
#pragma once

#include "unmasked/plan.h"

#include <qip/status.h>

// Result:  each pixel is unmasked_dividedBy729 of its sum, followed by unmasked_scaledBy729 when
//          unmasked_hasGain says so. Rows and columns further out than one reflection count as zeros.
// Errors:  QSYS_E_MEMORY, when the call is split into bands and before anything is written.
// Polls:   before the output rows 255, 511, ..., counted from 0. A negative answer ends the path and is its
//          status; the rows before that row are complete then, and no other pixel is written. Else the last
//          answer is the status, 0 when there was none.
// Memory:  none but the stack, at most 16 KiB of it for each band.
// Level:   256-bit; the caller has made sure of it.
qip_status unmasked_smoothSevenTap(const unmasked_plan* plan);
