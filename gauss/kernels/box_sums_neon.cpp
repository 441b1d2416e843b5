// The kernels at the 128-bit level of 64-bit ARM processors.
#include "lanes/lanes_neon.h"

#include "gauss/kernels/box_sums_body.h"

constexpr gauss_boxKernels gauss_boxKernels128 = boxKernels();
