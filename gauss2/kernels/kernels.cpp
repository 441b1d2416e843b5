// Which kernels run on which processor.
#include "gauss2/kernels/kernels.h"

#include "frame/level.h"

template <class Pixel>
void gauss2_kernelsFill(gauss2_kernels<Pixel>* kernels, const qsys_cpuinfo* info)
{
    switch (frame_levelFor<Pixel>(info)) {
    case frame_level::portable:
        return gauss2_kernelsPlain(kernels);
    case frame_level::vector128:
        return gauss2_kernelsSse41(kernels);
    case frame_level::vector256:
        return gauss2_kernelsAvx2(kernels);
    }
}

template void gauss2_kernelsFill(gauss2_kernels<uint8_t>*, const qsys_cpuinfo*);
template void gauss2_kernelsFill(gauss2_kernels<uint16_t>*, const qsys_cpuinfo*);
