#include "masked/run.h"

#include "frame/fast_path.h"
#include "frame/level.h"
#include "masked/fast.h"
#include "masked/plain.h"
#include "masked/short.h"

#include <qbase/arithmetic.h>

#include <cmath>

namespace
{

// Whether the gain is a power of two of at least 2, which is required to take double precision. The
// tolerance is absolute.
bool isPowerOfTwo(double gain)
{
    if (!(gain > 1.5) || !std::isfinite(gain))
        return false;
    int exponent = 0;
    std::frexp(gain, &exponent);
    return qmath_double_epsilonEqual(gain, std::ldexp(1.0, exponent - 1), 1e-06) != 0;
}

bool isLargeEnough(const masked_work* work)
{
    return work->plan.width >= 9 * work->plan.stepX && work->windowHeight >= 9 * work->plan.stepY;
}

template <class Rule>
qip_status smooth(const masked_work* work, const qsys_cpuinfo* info, const Rule& rule)
{
    if constexpr (frame_has128) {
        if (masked_canSmoothShort(&work->plan, rule, info))
            return masked_smoothShort(&work->plan, rule, info, work->prepareName);
        if (masked_canSmoothFast(&work->plan, rule, info))
            return masked_smoothFast(&work->plan, rule, info, work->prepareName);
    }
    return masked_smoothPlain(&work->plan, rule);
}

// The processor record for fast code; QIP_E_FALLBACK where the application forbids it.
qip_status mayBeFast(const masked_work* work, qsys_cpuinfo* info)
{
    return frame_isInhibited(work->name) ? QIP_E_FALLBACK : qsys_cpuinfo_init(info);
}

} // namespace

qip_status masked_run(const masked_work* work)
{
    if (work->plan.rows <= 0)
        return QIP_OK;
    qsys_cpuinfo info;
    const masked_doubleRule rule(&work->plan);
    qip_status status = mayBeFast(work, &info);
    // Where fixed point declines, double precision takes its place, and its status stands.
    if (status >= 0 && (!frame_cpuHas(&info, QSYS_CPU_BIT_VECTOR128) || !isLargeEnough(work)))
        return smooth(work, &info, rule);
    if (status >= 0)
        status = isPowerOfTwo(work->plan.gain) ? smooth(work, &info, rule)
                                               : smooth(work, &info, masked_fixedRule(&work->plan));
    return frame_isFallback(status) ? masked_smoothPlain(&work->plan, rule) : status;
}

qip_status masked_runDouble(const masked_work* work)
{
    qsys_cpuinfo info;
    const masked_doubleRule rule(&work->plan);
    qip_status status = mayBeFast(work, &info);
    if (status >= 0)
        status = smooth(work, &info, rule);
    return frame_isFallback(status) ? masked_smoothPlain(&work->plan, rule) : status;
}
