// The masked call without a source mask: plain smoothing, then pixels that a reset mask sets back.
#include "masked/pixel_rule.h"
#include "masked/request.h"

#include <qip/smoothing.h>

#include <qbase/pixels.h>

namespace
{

template <class Src, class Dst>
void resetPixels(const masked_plan* plan)
{
    const masked_doubleRule rule(plan);
    for (int64_t row = 0; row < plan->rows; ++row) {
        const int64_t centreRow = masked_centreRow(plan, row);
        const auto* const source = masked_row<const Src>(plan->src, centreRow);
        const auto* const reset = masked_row<const uint8_t>(plan->reset, centreRow);
        auto* const out = masked_row<Dst>(plan->dst, row);
        for (int64_t i = 0; i < plan->columns; ++i) {
            const int64_t centre = masked_centreColumn(plan, i);
            if (reset[centre] == 0)
                out[i] = static_cast<Dst>(rule.reset(source[centre]));
        }
    }
}

// What the smoothing without any mask left, or what double precision makes of a mask without gaps.
qip_status smooth(const masked_form* form, const masked_windows* windows, const qip_gaussParams* params,
                  const masked_request* request)
{
    if (!form->smoothWindow) {
        masked_work work = request->work;
        work.name = form->noMaskName;
        work.plan.dstMask = {};
        work.plan.leastValid = 0;
        return masked_runDouble(&work);
    }
    const qip_status status = form->smoothWindow(windows->src, windows->dst, params);
    if (status >= 0 && windows->resetMask)
        masked_withPixels(&request->work.plan, [&](auto src, auto dst) {
            resetPixels<decltype(src), decltype(dst)>(&request->work.plan);
        });
    return status;
}

// The destination mask: what the reset mask is at the centres, else 255 everywhere.
qip_status writeMask(const masked_windows* windows, const qip_gaussParams* params,
                     const masked_request* request)
{
    qimg_window8 out = *windows->dstMask;
    const qip_status status = qimg_window_windowRect(&out, &request->dstEffective, 0);
    if (status < 0)
        return status;
    if (!windows->resetMask)
        return qip_pelSetWindow8(&out, 255);
    const masked_plan& plan = request->work.plan;
    const int32_t step[2] = {params->sampleX, params->sampleY};
    const int32_t start[2] = {
        static_cast<int32_t>(request->srcInside.x - windows->resetMask->x + masked_centreColumn(&plan, 0)),
        static_cast<int32_t>(request->srcInside.y - windows->resetMask->y + masked_centreRow(&plan, 0))};
    return gauss_pelCopySampledWindow8(windows->resetMask, step, start, &out);
}

} // namespace

qip_status masked_smoothWithoutMask(const masked_form* form, const masked_windows* windows,
                                    const qip_gaussParams* params, const masked_request* request)
{
    const qip_status status = smooth(form, windows, params, request);
    return status < 0 || !windows->dstMask ? status : writeMask(windows, params, request);
}
