#include "gauss/reference.h"

#include "frame/poll.h"
#include "gauss/smooth_rows.h"

namespace
{

struct referenceRule {
    gauss_normalisation scale;
    bool round;

    // For gains that are not powers of two the half is not exact and every step along the row rounds it
    // into the sum again. The integrator that starts at the half is the definition, not the sum plus the
    // half.
    double start() const
    {
        return round ? scale.half : 0.0;
    }
    int64_t pixel(double sum) const
    {
        return gauss_truncate(sum * scale.reciprocal);
    }
    int64_t columnPixel(double sum) const
    {
        return gauss_truncate(scale.reciprocal * sum + (round ? 0.5 : 0.0));
    }

    qip_status begin() const
    {
        return qsys_attention_check();
    }
    qip_status pollAtRow(int64_t y) const
    {
        return frame_pollAtRow(y);
    }
    qip_status pollAlong(int64_t, int64_t) const
    {
        return QIP_OK;
    }
};

} // namespace

qip_status gauss_smoothReferenceRows(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                     const gauss_request* request)
{
    const referenceRule rule = {gauss_normalisationOf(params), params->round != 0};
    return gauss_smoothRows(src, dst, params, request, rule);
}

qip_status gauss_smoothReferenceBy(gauss_rowsFunction makeRows, const qsImage* src, qsVImage* dst,
                                   const qsGaussParams* params, qsIRegion* dstRegion, qsVImage** dstOut)
{
    gauss_request request;
    qip_status status = gauss_setupReference(src, dst, params, dstRegion, dstOut, &request);
    if (status < 0 || gauss_areaIsNull(request.dst))
        return status;
    status = makeRows(src, *dstOut, params, &request);
    if (status < 0 && !dst) {
        qsImageFree(*dstOut);
        *dstOut = nullptr;
    }
    return status;
}

qip_status gauss_smoothReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 qsIRegion* dstRegion, qsVImage** dstOut)
{
    return gauss_smoothReferenceBy(gauss_smoothReferenceRows, src, dst, params, dstRegion, dstOut);
}
