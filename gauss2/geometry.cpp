// The rectangles of this family, its four exported rectangle functions, and its transform.
#include "gauss2/geometry.h"

#include <qip/half_resolution.h>

namespace
{

// Origins round towards minus infinity; a negative size is none.
void gauss2_halve(int32_t* origin, int32_t* size)
{
    *origin >>= 1;
    *size = *size < 0 ? 0 : *size >> 1;
}

qip_status gauss2_storeDestRect(gauss2_sampling sampling, const qstd_rect32* src, qstd_rect32* dst)
{
    if (!src || !dst)
        return QSYS_E_ARGUMENT;
    *dst = gauss2_destRect(sampling, *src);
    return QIP_OK;
}

// Pixel centres lie at + 0.5: the centre of destination pixel d is the centre of source pixel 2 d, shifted by
// the pixel that an odd source origin adds.
double gauss2_sampledOffset(bool partIsNull, int32_t part, int32_t used)
{
    return partIsNull ? -0.5 : static_cast<double>(used - int64_t{2} * part) - 0.5;
}

} // namespace

qstd_rect32 gauss2_destRect(gauss2_sampling sampling, const qstd_rect32& source)
{
    qstd_rect32 full = source;
    if (sampling.halveX)
        gauss2_halve(&full.x, &full.width);
    if (sampling.halveY)
        gauss2_halve(&full.y, &full.height);
    return full;
}

qip_status gauss2_sourceRect(gauss2_sampling sampling, const qstd_rect32& source, const qstd_rect32& full,
                             const qstd_rect32& part, qstd_rect32* used)
{
    int isWhole = 0;
    const qip_status status = qstd_rect32_compareEqual(&part, &full, &isWhole);
    if (status < 0)
        return status;
    if (isWhole || gauss2_isNull(part)) {
        *used = source;
        return QIP_OK;
    }
    const int64_t factorX = sampling.halveX ? 2 : 1;
    const int64_t factorY = sampling.halveY ? 2 : 1;
    return qstd_rect32_init(used, part.x * factorX, part.y * factorY, part.width * factorX,
                            part.height * factorY);
}

qip_status gauss2_mapToSource(gauss2_sampling sampling, const qstd_rect32& part, const qstd_rect32& used,
                              qmath_xformLinear* map)
{
    const bool isNull = gauss2_isNull(part);
    const double tx = sampling.halveX ? gauss2_sampledOffset(isNull, part.x, used.x) : 0.0;
    const double ty = sampling.halveY ? gauss2_sampledOffset(isNull, part.y, used.y) : 0.0;
    return qmath_xformLinear_initMatrixTransElements(map, sampling.halveX ? 2.0 : 1.0, 0.0, 0.0,
                                                     sampling.halveY ? 2.0 : 1.0, tx, ty);
}

qip_status gauss2_restrict(gauss2_views* views, const qstd_rect32& used, const qstd_rect32& written)
{
    qip_status status = qimg_windowConst_windowRect(&views->src, &used, 0);
    if (status >= 0 && views->masked)
        status = qimg_windowConst_windowRect(&views->srcMask, &used, 0);
    if (status >= 0)
        status = qimg_window_windowRect(&views->dst, &written, 0);
    if (status >= 0 && views->hasDstMask)
        status = qimg_window_windowRect(&views->dstMask, &written, 0);
    return status;
}

qip_status qip_gauss2GetDestRect(const qstd_rect32* src, qstd_rect32* dst)
{
    return gauss2_storeDestRect(gauss2_sampleBoth, src, dst);
}

qip_status qip_gauss2XGetDestRect(const qstd_rect32* src, qstd_rect32* dst)
{
    return gauss2_storeDestRect(gauss2_sampleX, src, dst);
}

qip_status qip_gauss2YGetDestRect(const qstd_rect32* src, qstd_rect32* dst)
{
    return gauss2_storeDestRect(gauss2_sampleY, src, dst);
}

qip_status qip_gauss2NoSampleGetDestRect(const qstd_rect32* src, int32_t, int32_t, qstd_rect32* dst)
{
    return gauss2_storeDestRect(gauss2_sampleNone, src, dst);
}
