// The parameter records: defaults, validation, comparison, and the greatest kernel sizes of the masked
// family. Of the services, only that of the processor is asked.
#include "frame/level.h"

#include <qip/params.h>

namespace
{

// "Different" means that one is less than the other: a value that is not a number equals everything, and
// the two zeros are equal. Required behaviour.
bool differs(double a, double b)
{
    return a < b || a > b;
}

} // namespace

qip_status qip_gaussParams_init(qip_gaussParams* params)
{
    if (!params)
        return QSYS_E_ARGUMENT;
    params->sampleX = 1;
    params->sampleY = 1;
    params->kernelSizeX = 1;
    params->kernelSizeY = 1;
    params->gain = 1.0;
    params->round = 0;
    return qip_filterMaskParams_init(&params->maskParams);
}

qip_status qip_gaussParams_validate(const qip_gaussParams* params)
{
    if (!params)
        return QSYS_E_ARGUMENT;
    qsys_cpuinfo info;
    const qip_status status = qsys_cpuinfo_init(&info);
    if (status < 0)
        return status;
    if (params->sampleX < 1 || params->sampleY < 1)
        return QIP_E_SAMPLING;
    if (params->kernelSizeX < 0 || params->kernelSizeY < 0)
        return QIP_E_KERNEL_SIZE;
    // Written so that a gain that is not a number passes: required behaviour.
    if (params->gain <= 0.0)
        return QIP_E_GAIN;
    return qip_filterMaskParams_validate(&params->maskParams);
}

qip_status qip_gaussParams_compareEqual(const qip_gaussParams* a, const qip_gaussParams* b, int* equal)
{
    if (!a || !b || !equal)
        return QSYS_E_ARGUMENT;
    *equal = a->sampleX == b->sampleX && a->sampleY == b->sampleY && a->kernelSizeX == b->kernelSizeX &&
             a->kernelSizeY == b->kernelSizeY && !differs(a->gain, b->gain) && a->round == b->round;
    return *equal ? qip_filterMaskParams_compareEqual(&a->maskParams, &b->maskParams, equal) : QIP_OK;
}

qip_status qip_gaussParamsGetMaxSigma(int* maxKernelSize)
{
    if (!maxKernelSize)
        return QSYS_E_ARGUMENT;
    *maxKernelSize = 24;
    qsys_cpuinfo info;
    const qip_status status = qsys_cpuinfo_init(&info);
    if (status >= 0 && frame_cpuHas(&info, QSYS_CPU_BIT_VECTOR128_BYTES))
        *maxKernelSize = 63;
    return status;
}

qip_status qip_gaussParamsGetMaxSigma16(int* maxKernelSize)
{
    if (!maxKernelSize)
        return QSYS_E_ARGUMENT;
    *maxKernelSize = 39;
    return QIP_OK;
}

qip_status qip_filterMaskParams_init(qip_filterMaskParams* params)
{
    if (!params)
        return QSYS_E_ARGUMENT;
    *params = {};
    return QIP_OK;
}

qip_status qip_filterMaskParams_validate(const qip_filterMaskParams* params)
{
    if (!params)
        return QSYS_E_ARGUMENT;
    if (params->mode > 1)
        return QIP_E_MASK_MODE;
    if (params->resultMode > 1)
        return QIP_E_MASK_RESULT_MODE;
    // Written so that a threshold that is not a number fails.
    if (!(params->threshold >= 0.0 && params->threshold <= 1.0))
        return QIP_E_MASK_THRESHOLD;
    return QIP_OK;
}

qip_status qip_filterMaskParams_compareEqual(const qip_filterMaskParams* a, const qip_filterMaskParams* b,
                                             int* equal)
{
    if (!a || !b || !equal)
        return QSYS_E_ARGUMENT;
    *equal = a->mode == b->mode && a->resultMode == b->resultMode && !differs(a->threshold, b->threshold);
    return QIP_OK;
}
