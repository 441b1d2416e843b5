// The kernels at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "gauss/kernels/box_sums_body.h"

constexpr gauss_boxKernels gauss_boxKernels256 = boxKernels();
