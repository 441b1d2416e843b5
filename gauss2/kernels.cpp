// Which kernels run on which processor.
#include "gauss2/kernels.h"

#include "frame/cpu.h"

// Bit 3 speaks of vectors of 8-bit pixels, bit 8 of vectors of 16-bit pixels.
template <class Pixel>
void gauss2_kernelsFill(gauss2_kernels<Pixel>* kernels, const qsys_cpuinfo* info)
{
    constexpr uint32_t level128 =
        sizeof(Pixel) == 1 ? QSYS_CPU_BIT_VECTOR128_BYTES : QSYS_CPU_BIT_VECTOR128_WORDS;
    gauss2_kernelsPlain(kernels);
    if (!frame_cpuHas(info, level128))
        return;
    gauss2_kernelsSse41(kernels);
    if (!frame_cpuHas(info, QSYS_CPU_BIT_VECTOR256))
        return;
    gauss2_kernelsAvx2(kernels);
}

template void gauss2_kernelsFill(gauss2_kernels<uint8_t>*, const qsys_cpuinfo*);
template void gauss2_kernelsFill(gauss2_kernels<uint16_t>*, const qsys_cpuinfo*);
