/* The rectangle of a result, or the exception that says that there is none. */
#include "sampling.h"

#include <qip/dest_rect.h>

int core_destinationOf(const core_state* state, const qstd_rect32* source, const int32_t kernel[2],
                       const int32_t sample[2], qstd_rect32* destination)
{
    qip_gaussParams params;
    qip_gaussParams_init(&params);
    params.kernelSizeX = kernel[0];
    params.kernelSizeY = kernel[1];
    params.sampleX = sample[0];
    params.sampleY = sample[1];
    if (qip_gauss_getDestRect(source, &params, destination) < 0)
        return core_refuse(state, QSYS_E_RANGE, CORE_ORIGIN,
                           "coordinates of the result do not fit 32 bits");
    return 0;
}
