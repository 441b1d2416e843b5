// The kernels at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "masked/kernels/valid_count_body.h"

constexpr masked_countKernels masked_countKernels256 = countKernels();
