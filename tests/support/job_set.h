// A set of jobs written as functions: build it, run it, look at the statuses.
#pragma once

#include <qbase/jobs.h>

#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

class test_jobSet
{
public:
    test_jobSet()
    {
        qsys_jobThreadGroup_construct(&group_);
        qsys_jobParams_construct(&params_);
        qsys_jobRequestSet_construct(&requests_);
        qsys_jobResultSet_construct(&results_);
    }
    ~test_jobSet()
    {
        qsys_jobResultSet_destruct(&results_);
        qsys_jobRequestSet_destruct(&requests_);
        qsys_jobParams_destruct(&params_);
        qsys_jobThreadGroup_destruct(&group_);
    }
    test_jobSet(const test_jobSet&) = delete;
    test_jobSet& operator=(const test_jobSet&) = delete;

    // A job is a function without arguments that returns a status, or nothing for success. The services'
    // answer; the set is unchanged when it is a failure.
    template <class Job>
    qsys_status add(Job job)
    {
        void* data = new work([job = std::move(job)] {
            if constexpr (std::is_void_v<decltype(job())>)
                return job(), QSYS_OK;
            else
                return job();
        });
        qsys_status status = qsys_jobParams_takeData(&params_, &data, deleteWork);
        if (status < 0)
            deleteWork(&data);
        else
            status = qsys_jobRequestSet_addFuncAndParams(&requests_, callWork, &params_);
        return status;
    }

    template <class Job>
    void add(int count, const Job& job)
    {
        for (int i = 0; i < count; ++i)
            add(job);
    }

    qsys_status run()
    {
        return qsys_jobThreadGroup_dispatchAndWait(&group_, &requests_, &results_);
    }

    // The statuses of the last run.
    std::vector<qsys_status> results() const
    {
        int32_t count = 0;
        qsys_jobResultSet_getCount(&results_, &count);
        std::vector<qsys_status> all(static_cast<size_t>(count));
        for (int32_t i = 0; i < count; ++i)
            qsys_jobResultSet_getStatus(&results_, i, &all[static_cast<size_t>(i)]);
        return all;
    }

private:
    using work = std::function<qsys_status()>;

    static qsys_status callWork(const qsys_jobParams* params)
    {
        const void* data = nullptr;
        const qsys_status status = qsys_jobParams_getDataConst(params, &data);
        return status < 0 ? status : (*static_cast<const work*>(data))();
    }

    static qsys_status deleteWork(void** data)
    {
        delete static_cast<work*>(*data);
        *data = nullptr;
        return QSYS_OK;
    }

    qsys_jobThreadGroup group_;
    qsys_jobParams params_;
    qsys_jobRequestSet requests_;
    qsys_jobResultSet results_;
};
