#include "unmasked/newer.h"

#include "gauss/reference.h"
#include "gauss/request.h"
#include "unmasked/general.h"
#include "unmasked/seven_tap.h"
#include "unmasked/small_kernel.h"

namespace
{

// Regions with fewer columns or rows than this run on the reference path.
constexpr int64_t leastSide = 33;

using fixedPath = qip_status (*)(const unmasked_plan* plan);

// The fixed path that serves this request, or null. The peak flag is not looked at: required behaviour.
fixedPath fixedPathFor(const qsVImage* dst, const qsGaussParams* params)
{
    const auto both = [=](int32_t kernelSize) {
        return params->kernelSizeX == kernelSize && params->kernelSizeY == kernelSize;
    };
    if (qsVImageType(dst) != QS_IMAGE_TYPE_8)
        return nullptr;
    if (both(1) && params->sampleX < 4 && params->sampleY < 4)
        return unmasked_smoothSmallKernel;
    return both(2) ? unmasked_smoothSevenTap : nullptr;
}

qip_status run(const qsImage* src, qsVImage* dst, const qsGaussParams* params, qsIRegion* dstRegion,
               const gauss_request* request)
{
    if (gauss_areaIsNull(request->dst))
        return QIP_OK;
    if (dstRegion && (request->dst.x.length < leastSide || request->dst.y.length < leastSide)) {
        qsVImage* used = nullptr;
        return gauss_smoothReference(src, dst, params, dstRegion, &used);
    }
    const fixedPath path = fixedPathFor(dst, params);
    if (!path)
        return unmasked_smoothGeneral(src, dst, params, request);
    const unmasked_plan plan = unmasked_planOf(src, dst, params, request);
    return path(&plan);
}

} // namespace

qip_status unmasked_newerEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut)
{
    gauss_request request;
    qsVImage* used = nullptr;
    qip_status status = gauss_setupReference(src, dst, params, dstRegion, &used, &request);
    if (status < 0)
        return status;
    status = run(src, used, params, dstRegion, &request);
    if (status >= 0)
        *dstOut = used;
    else if (!dst)
        qsImageFree(used);
    return status;
}
