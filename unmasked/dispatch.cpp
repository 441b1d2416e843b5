// Every unmasked request comes through here, and goes on to a fast engine or to the reference path.
#include "unmasked/dispatch.h"

#include "frame/fast_path.h"
#include "frame/level.h"
#include "gauss/reference.h"
#include "gauss/request.h"
#include "unmasked/fast_reference.h"
#include "unmasked/newer.h"
#include "unmasked/older.h"

namespace
{

// Both engines are arithmetic of the processor classes 1 and 5. Those are the ones that have a 256-bit level.
constexpr unmasked_engines builtInEngines =
    frame_has256 ? unmasked_engines{unmasked_newerEngine, unmasked_olderEngine} : unmasked_engines{};

qip_status checkArguments(const qsImage* src, const qsVImage* dst, const qsGaussParams* params,
                          qsVImage* const* dstOut)
{
    if (!src || !params || !dstOut || (!dst && !params->prototype))
        return QSYS_E_ARGUMENT;
    if (qsVImageType(src) != QS_IMAGE_TYPE_8)
        return QSYS_E_ARGUMENT;
    if (params->sampleX < 1 || params->sampleY < 1)
        return QIP_E_SAMPLING;
    if (params->kernelSizeX < 0 || params->kernelSizeY < 0)
        return QIP_E_KERNEL_SIZE;
    const qip_status status = gauss_checkSource(src);
    return status < 0 || !dst ? status : gauss_checkPixels(dst);
}

} // namespace

qip_status unmasked_runEngine(const unmasked_engines* engines, const qsImage* src, qsVImage* dst,
                              const qsGaussParams* params, qsIRegion* dstRegion, qsVImage** dstOut)
{
    qsys_cpuinfo info;
    const qip_status status = qsys_cpuinfo_init(&info);
    if (status < 0)
        return status;
    if (engines->newer && frame_cpuHas(&info, QSYS_CPU_BIT_VECTOR128 | QSYS_CPU_BIT_VECTOR256)) {
        const qip_status answer = engines->newer(src, dst, params, dstRegion, dstOut);
        // A request that the newer engine declines counts as done: required behaviour.
        return answer == QIP_E_FALLBACK ? QIP_OK : answer;
    }
    if (engines->older && frame_cpuHas(&info, QSYS_CPU_BIT_VECTOR128))
        return engines->older(src, dst, params, dstRegion, dstOut);
    return QIP_E_FALLBACK;
}

qip_status unmasked_selectEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 qsIRegion* dstRegion, qsVImage** dstOut)
{
    return unmasked_runEngine(&builtInEngines, src, dst, params, dstRegion, dstOut);
}

qip_status qip_gauss(const qsImage* src, qsVImage* dst, const qsGaussParams* params, qsIRegion* dstRegion,
                     qsVImage** dstOut)
{
    const qip_status fault = checkArguments(src, dst, params, dstOut);
    if (fault < 0)
        return fault;
    if (frame_isInhibited("gauss"))
        return gauss_smoothReference(src, dst, params, dstRegion, dstOut);
    const qip_status status = unmasked_selectEngine(src, dst, params, dstRegion, dstOut);
    if (!frame_isFallback(status))
        return status;
    if constexpr (frame_has128)
        return unmasked_smoothReference(src, dst, params, dstRegion, dstOut);
    return gauss_smoothReference(src, dst, params, dstRegion, dstOut);
}
