// The fixed paths in plain code: what their pixels are, written for reading. It runs where an image is too
// small for the kernels.
#pragma once

#include "unmasked/plan.h"

// Makes the output rows first .. first + count - 1, each pixel by the rules of unmasked/seven_tap.h or
// unmasked/small_kernel.h.
void unmasked_plainSevenTap(const unmasked_plan* plan, int64_t first, int64_t count);
void unmasked_plainSmallKernel(const unmasked_plan* plan, int64_t first, int64_t count);
