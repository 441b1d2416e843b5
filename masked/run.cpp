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
    if constexpr (frame_hasVectors) {
        if (masked_canSmoothShort(&work->plan, rule, info))
            return masked_smoothShort(&work->plan, rule, info, work->prepareName);
        if (masked_canSmoothFast(&work->plan, rule, info))
            return masked_smoothFast(&work->plan, rule, info, work->prepareName);
    }
    return masked_smoothPlain(&work->plan, rule);
}

qip_status smoothOptimised(const masked_work* work)
{
    qsys_cpuinfo info;
    const qip_status status = frame_isInhibited(work->name) ? QIP_E_FALLBACK : qsys_cpuinfo_init(&info);
    if (status < 0)
        return status;
    if (!frame_cpuHas(&info, QSYS_CPU_BIT_VECTOR128) || !isLargeEnough(work))
        return QIP_E_FALLBACK;
    if (isPowerOfTwo(work->plan.gain))
        return smooth(work, &info, masked_doubleRule(&work->plan));
    return smooth(work, &info, masked_fixedRule(&work->plan));
}

} // namespace

qip_status masked_run(const masked_work* work)
{
    if (work->plan.rows <= 0)
        return QIP_OK;
    const qip_status status = smoothOptimised(work);
    if (!frame_isFallback(status))
        return status;
    return masked_smoothPlain(&work->plan, masked_doubleRule(&work->plan));
}

qip_status masked_runDouble(const masked_work* work)
{
    qsys_cpuinfo info;
    const masked_doubleRule rule(&work->plan);
    qip_status status = frame_isInhibited(work->name) ? QIP_E_FALLBACK : qsys_cpuinfo_init(&info);
    if (status >= 0)
        status = smooth(work, &info, rule);
    return frame_isFallback(status) ? masked_smoothPlain(&work->plan, rule) : status;
}
