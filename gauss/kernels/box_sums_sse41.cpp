// The kernels at the 128-bit level of x86 processors.
#include "lanes/lanes_sse41.h"

#include "gauss/kernels/box_sums_body.h"

constexpr gauss_boxKernels gauss_boxKernels128 = boxKernels();
