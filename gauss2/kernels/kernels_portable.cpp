// The kernels at the portable level.
#include "lanes/lanes_portable.h"

#include "gauss2/kernels/masked_body.h"
#include "gauss2/kernels/unmasked_body.h"

template <>
gauss2_kernels<gauss2_sweep<uint8_t>> gauss2_kernelsPortable()
{
    return unmaskedKernels<uint8_t>();
}

template <>
gauss2_kernels<gauss2_sweep<uint16_t>> gauss2_kernelsPortable()
{
    return unmaskedKernels<uint16_t>();
}

template <>
gauss2_kernels<gauss2_maskedSweep<uint8_t>> gauss2_kernelsPortable()
{
    return maskedKernels<uint8_t>();
}

template <>
gauss2_kernels<gauss2_maskedSweep<uint16_t>> gauss2_kernelsPortable()
{
    return maskedKernels<uint16_t>();
}
