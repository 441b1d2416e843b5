// The kernels at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "gauss2/kernels/masked_body.h"
#include "gauss2/kernels/unmasked_body.h"

template <>
gauss2_kernels<gauss2_sweep<uint8_t>> gauss2_kernelsAvx2()
{
    return unmaskedKernels<uint8_t>();
}

template <>
gauss2_kernels<gauss2_sweep<uint16_t>> gauss2_kernelsAvx2()
{
    return unmaskedKernels<uint16_t>();
}

template <>
gauss2_kernels<gauss2_maskedSweep<uint8_t>> gauss2_kernelsAvx2()
{
    return maskedKernels<uint8_t>();
}

template <>
gauss2_kernels<gauss2_maskedSweep<uint16_t>> gauss2_kernelsAvx2()
{
    return maskedKernels<uint16_t>();
}
