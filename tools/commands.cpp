#include "commands.h"

#include "batch.h"
#include "failure.h"
#include "report.h"
#include "smoothing.h"

#include <qbase/cpuinfo.h>
#include <qbase/jobs.h>

namespace
{

void useProcessor(const options& o)
{
    const qsys_status status = qsys_cpuinfo_limitLevel(o.cpuLevel.c_str());
    if (status < 0)
        throw usage_failure("--cpu: \"" + o.cpuLevel + "\": " + qsys_status_text(status));
}

// Without the option masked smoothing alone is split, over as many threads as there are processors.
void useThreads(const options& o)
{
    constexpr int64_t leastPixels = 65536; // smaller bands gain little
    if (!o.threadCount)
        return;
    refusal_check(qsys_jobs_setThreadCount(*o.threadCount));
    refusal_check(qsys_jobs_setSplitting(leastPixels));
}

void dispatch(const options& o)
{
    switch (o.what) {
    case command::gauss:
        return command_gauss(o);
    case command::half:
        return command_half(o);
    case command::binomial:
        return command_binomial(o);
    case command::result_mask:
        return command_resultMask(o);
    case command::info:
        return report_printInfo(options_version(), o.json);
    }
}

void runOne(const options& o)
{
    try {
        dispatch(o);
    } catch (const refusal& answer) {
        report nothing = smoothing_emptyReport(o);
        nothing.status = answer.status;
        if (o.json && o.what != command::info)
            report_print(nothing);
        throw;
    }
}

} // namespace

void command_run(const options& o)
{
    useProcessor(o);
    if (o.outDir && o.what != command::info)
        return batch_run(o, runOne);
    useThreads(o);
    runOne(o);
}
