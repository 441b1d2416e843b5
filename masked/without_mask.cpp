// The masked call without a source mask: plain smoothing, then pixels that a reset mask sets back.
#include "masked/finish.h"
#include "masked/pixel_rule.h"
#include "masked/request.h"

#include <qip/smoothing.h>

#include <qbase/pixels.h>

namespace
{

// Sets the outputs back whose centre the reset mask excludes.
void resetPixels(const masked_plan* plan)
{
    const masked_doubleRule rule(plan);
    const masked_resets resets = masked_resetsOf(plan, rule);
    const masked_finisher finish = masked_finisherOf(plan);
    for (int64_t row = 0; row < plan->rows; ++row) {
        const masked_stretch whole = {row, 0, plan->columns, masked_allFull, nullptr};
        finish(plan, &resets, &whole);
    }
}

// What the smoothing without any mask left, or what double precision makes of a mask without gaps.
qip_status smooth(const masked_form* form, const masked_windows* windows, const qip_gaussParams* params,
                  const masked_request* request)
{
    masked_work work = request->work;
    work.plan.dstMask = {};
    work.plan.leastValid = 0;
    if (!form->smoothWindow) {
        work.name = form->noMaskName;
        return masked_runDouble(&work);
    }
    const qip_status status = form->smoothWindow(windows->src, windows->dst, params);
    if (status >= 0 && windows->resetMask)
        resetPixels(&work.plan);
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
