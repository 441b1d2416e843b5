// The path for kernel size 2 at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "unmasked/kernels/seven_tap_body.h"

constexpr unmasked_sevenTapKernels unmasked_sevenTapKernels256 = sevenTapKernels();
