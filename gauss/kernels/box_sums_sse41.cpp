// The kernels at the 128-bit level.
#include "lanes/lanes_sse41.h"

#include "gauss/kernels/box_sums_body.h"

constexpr gauss_boxKernels gauss_boxKernelsSse41 = boxKernels();
