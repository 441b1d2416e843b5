// The path for kernel size 1 in both directions, 8-bit pixels and sampling factors up to 3: the weights
// 1 3 3 1.
#pragma once

#include "unmasked/plan.h"

#include <qip/status.h>

// Result:  each pixel is unmasked_dividedBy64 of its sum, followed by unmasked_scaledBy64 when
//          unmasked_hasGain says so. A row or column further out than one reflection reads the nearest
//          reflected one.
// Polls:   before the output rows 1023, 2047, ... in coordinates of the image. A negative answer ends the
//          path and is its status; the rows before that row are complete then, and no other pixel is
//          written. Else the last answer is the status, 0 when there was none.
// Errors:  QSYS_E_MEMORY, before anything is written.
// Level:   256-bit; the caller has made sure of it.
qip_status unmasked_smoothSmallKernel(const unmasked_plan* plan);
