// The kernels at the 128-bit level of 64-bit ARM processors.
#include "lanes/lanes_neon.h"

#include "masked/kernels/valid_count_body.h"

constexpr masked_countKernels masked_countKernels128 = countKernels();
