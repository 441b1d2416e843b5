// The kernels at the 128-bit level of 64-bit ARM processors.
#include "lanes/lanes_neon.h"

#include "gauss2/kernels/masked_body.h"
#include "gauss2/kernels/unmasked_body.h"

constexpr gauss2_levelKernels gauss2_kernels128 = {unmaskedKernels<uint8_t>(), unmaskedKernels<uint16_t>(),
                                                   maskedKernels<uint8_t>(), maskedKernels<uint16_t>()};
