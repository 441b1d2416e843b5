#include "gauss2/pipeline.h"

#include "gauss2/select.h"

template <class Planes>
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
            status = gauss2_runHalf(sampling.halveX, sampling.halveY, gauss2_planesOf<Planes>(restricted));
        if (status < 0)
            return status;
    }
    return gauss2_mapToSource(sampling, part, used, map);
}

template qip_status gauss2_halfPipeline<gauss2_planes<uint8_t>>(const gauss2_views&, gauss2_sampling,
                                                                const qstd_rect32&, const qstd_rect32&,
                                                                qmath_xformLinear*);
template qip_status gauss2_halfPipeline<gauss2_planes<uint16_t>>(const gauss2_views&, gauss2_sampling,
                                                                 const qstd_rect32&, const qstd_rect32&,
                                                                 qmath_xformLinear*);
template qip_status gauss2_halfPipeline<gauss2_maskedPlanes<uint8_t>>(const gauss2_views&, gauss2_sampling,
                                                                      const qstd_rect32&,
                                                                      const qstd_rect32&,
                                                                      qmath_xformLinear*);
template qip_status gauss2_halfPipeline<gauss2_maskedPlanes<uint16_t>>(const gauss2_views&, gauss2_sampling,
                                                                       const qstd_rect32&,
                                                                       const qstd_rect32&,
                                                                       qmath_xformLinear*);
