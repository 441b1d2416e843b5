/* A job service with one job runs it on the thread that asks. */
#include "alone.h"

#include <qbase/jobs.h>

#include <stddef.h>

typedef struct oneCall {
    qsys_status (*work)(const void*);
    const void* data;
} oneCall;

static qsys_status runJob(const qsys_jobParams* params)
{
    const void* taken = NULL;
    const qsys_status status = qsys_jobParams_getDataConst(params, &taken);
    const oneCall* call = taken;
    return status < 0 ? status : call->work(call->data);
}

/* The job's data is on the stack of the thread that waits. */
static qsys_status releaseNothing(void** data)
{
    *data = NULL;
    return QSYS_OK;
}

qsys_status core_runAlone(qsys_status (*work)(const void*), const void* data)
{
    oneCall call = {work, data};
    void* taken = &call;
    qsys_jobThreadGroup group = {NULL};
    qsys_jobParams params = {NULL};
    qsys_jobRequestSet requests = {NULL};
    qsys_jobResultSet results = {NULL};
    qsys_status status = qsys_jobThreadGroup_construct(&group);
    if (status >= 0)
        status = qsys_jobParams_construct(&params);
    if (status >= 0)
        status = qsys_jobRequestSet_construct(&requests);
    if (status >= 0)
        status = qsys_jobResultSet_construct(&results);
    if (status >= 0)
        status = qsys_jobParams_takeData(&params, &taken, releaseNothing);
    if (status >= 0)
        status = qsys_jobRequestSet_addFuncAndParams(&requests, runJob, &params);
    if (status >= 0)
        status = qsys_jobThreadGroup_dispatchAndWait(&group, &requests, &results);
    qsys_jobResultSet_destruct(&results);
    qsys_jobRequestSet_destruct(&requests);
    qsys_jobParams_destruct(&params);
    qsys_jobThreadGroup_destruct(&group);
    return status;
}
