// The weights 1 3 3 1 at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "unmasked/kernels/small_kernel_body.h"

constexpr unmasked_smallKernels unmasked_smallKernels256 = smallKernels();
