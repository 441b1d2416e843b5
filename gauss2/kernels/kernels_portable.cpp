// The kernels at the portable level.
#include "lanes/lanes_portable.h"

#include "gauss2/kernels/masked_body.h"
#include "gauss2/kernels/unmasked_body.h"

constexpr gauss2_levelKernels gauss2_kernelsPortable = {
    unmaskedKernels<uint8_t>(), unmaskedKernels<uint16_t>(), maskedKernels<uint8_t>(),
    maskedKernels<uint16_t>()};
