#include "unmasked/general.h"

#include "gauss/kernel.h"
#include "unmasked/fast_scaling.h"
#include "unmasked/plain_sums.h"

qip_status unmasked_smoothGeneral(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                  const gauss_request* request)
{
    const unmasked_plan plan = unmasked_planOf(src, dst, params, request);
    const unmasked_scaling scaling = {gauss_normalisationOf(params).reciprocal, 0.0,
                                      plan.round ? 0.5 : 0.0};
    unmasked_sumsPath path = {};
    path.polls = unmasked_pollsEarly;
    if (!unmasked_chooseScaling(&plan, &scaling, &unmasked_scaling256, &path))
        return unmasked_plainGeneral(src, dst, params, request);
    return unmasked_runSums(&plan, &path);
}
