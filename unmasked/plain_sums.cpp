#include "unmasked/plain_sums.h"

#include "frame/poll.h"
#include "gauss/smooth_rows.h"
#include "unmasked/arithmetic.h"
#include "unmasked/fixed_point.h"

namespace
{

struct generalRule {
    double factor;
    double offset;
    int64_t polledFrom; // the first row that is read

    double start() const
    {
        return 0.0;
    }
    int64_t pixel(double sum) const
    {
        return unmasked_scaledSum(sum, factor, offset);
    }
    int64_t columnPixel(double sum) const
    {
        return pixel(sum);
    }

    qip_status begin() const
    {
        return qsys_attention_check();
    }
    qip_status pollAtRow(int64_t y) const
    {
        return frame_pollAtRow(y - polledFrom);
    }
    qip_status pollAlong(int64_t y, int64_t count) const
    {
        qip_status status = QIP_OK;
        for (int64_t row = y; count <= 1024 && row < y + count && status >= 0; ++row)
            status = pollAtRow(row);
        return status;
    }
};

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

} // namespace

qip_status unmasked_plainGeneral(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 const gauss_request* request)
{
    const generalRule rule = {gauss_normalisationOf(params).reciprocal, params->round ? 0.5 : 0.0,
                              request->read.y.start - request->source.y.start};
    return gauss_smoothRows(src, dst, params, request, rule);
}

qip_status unmasked_plainFixedPoint(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                    const gauss_request* request)
{
    return gauss_smoothRows(src, dst, params, request, fixedPointRule{unmasked_fixedPointOf(params)});
}
