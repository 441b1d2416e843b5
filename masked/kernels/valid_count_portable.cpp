// The kernels at the portable level.
#include "lanes/lanes_portable.h"

#include "masked/kernels/valid_count_body.h"

constexpr masked_countKernels masked_countKernelsPortable = countKernels();
