// The kernels at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "gauss2/kernels/masked_body.h"
#include "gauss2/kernels/unmasked_body.h"

constexpr gauss2_levelKernels gauss2_kernels256 = {unmaskedKernels<uint8_t>(), unmaskedKernels<uint16_t>(),
                                                   maskedKernels<uint8_t>(), maskedKernels<uint16_t>()};
