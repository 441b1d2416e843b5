#include "unmasked/older.h"

#include "gauss/smooth_rows.h"
#include "unmasked/fixed_point.h"

namespace
{

struct fixedPointRule {
    unmasked_fixedPoint numbers;

    double start() const
    {
        return 0.0;
    }
    int64_t pixel(double sum) const
    {
        return unmasked_fixedPointPixel(&numbers, unmasked_shortened(&numbers, sum));
    }
    int64_t columnPixel(double sum) const
    {
        return pixel(sum);
    }

    qip_status begin() const
    {
        return QIP_OK;
    }
    qip_status pollAtRow(int64_t) const
    {
        return QIP_OK;
    }
    qip_status pollAlong(int64_t, int64_t) const
    {
        return QIP_OK;
    }
};

bool declines(const qsImage* src, const qsGaussParams* params)
{
    return params->round || !unmasked_isPowerOfTwo(params->gain) ||
           qsImageWidth(src) < int64_t{9} * params->sampleX ||
           qsImageHeight(src) < int64_t{9} * params->sampleY;
}

qip_status run(const qsImage* src, qsVImage* dst, const qsGaussParams* params, const gauss_request* request)
{
    const int32_t type = qsVImageType(dst);
    if (gauss_areaIsNull(request->dst) || (type != QS_IMAGE_TYPE_8 && type != QS_IMAGE_TYPE_16))
        return QIP_OK;
    return gauss_smoothRows(src, dst, params, request, fixedPointRule{unmasked_fixedPointOf(params)});
}

} // namespace

qip_status unmasked_olderEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut)
{
    *dstOut = nullptr;
    if (declines(src, params))
        return QIP_E_FALLBACK;
    gauss_request request;
    qip_status status = gauss_setupReference(src, dst, params, dstRegion, dstOut, &request);
    if (status < 0)
        return status;
    status = run(src, *dstOut, params, &request);
    if (status < 0) {
        if (!dst)
            qsImageFree(*dstOut);
        *dstOut = nullptr;
    }
    return status;
}
