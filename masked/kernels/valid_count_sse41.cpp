// The kernels at the 128-bit level of x86 processors.
#include "lanes/lanes_sse41.h"

#include "masked/kernels/valid_count_body.h"

constexpr masked_countKernels masked_countKernels128 = countKernels();
