#include "gauss2/pipeline.h"

#include "gauss2/select.h"

qip_status gauss2_halfPipeline(const gauss2_views& views, gauss2_sampling sampling, const qstd_rect32& full,
                               const qstd_rect32& part, qmath_xformLinear* map)
{
    qstd_rect32 source;
    qip_status status = qimg_windowConst_getWindow(&views.src, &source);
    if (status < 0)
        return status;
    qstd_rect32 used;
    status = gauss2_sourceRect(sampling, source, full, part, &used);
    if (status < 0)
        return status;
    if (!gauss2_isNull(part)) {
        gauss2_views restricted = views;
        status = gauss2_restrict(&restricted, used, part);
        if (status >= 0)
            status = gauss2_withPlanes(restricted, [&](const auto& planes) {
                return gauss2_runHalf(sampling.halveX, sampling.halveY, planes);
            });
        if (status < 0)
            return status;
    }
    return gauss2_mapToSource(sampling, part, used, map);
}
