// Choosing the code that runs: processor levels, the inhibition of fast paths by name, and splitting.
//
// The classes install themselves and put the default back.
#pragma once

#include <qbase/cpuinfo.h>
#include <qbase/inhibit.h>
#include <qbase/jobs.h>

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

// Inhibits one routine, all of them ("*") or none (""), and records the names asked, in order. Thread-safe.
class test_inhibition
{
public:
    explicit test_inhibition(const std::string& name)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        inhibited = name;
        names.clear();
        qprt_isOptimizationInhibitedFP = hook;
    }
    ~test_inhibition()
    {
        qprt_isOptimizationInhibitedFP = nullptr;
    }
    test_inhibition(const test_inhibition&) = delete;
    test_inhibition& operator=(const test_inhibition&) = delete;

    static std::vector<std::string> asked()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return names;
    }

private:
    static int hook(const char* name)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        names.emplace_back(name ? name : "(null)");
        return inhibited == "*" || inhibited == names.back();
    }

    // The hook has no context of its own.
    static inline std::mutex mutex;
    static inline std::string inhibited;
    static inline std::vector<std::string> names;
};

// Splitting into bands of at least so many pixels, on so many threads.
class test_splitting
{
public:
    test_splitting(int64_t leastPixels, int32_t threads)
    {
        qsys_jobs_setSplitting(leastPixels);
        qsys_jobs_setThreadCount(threads);
    }
    ~test_splitting()
    {
        qsys_jobs_setSplitting(0);
        qsys_jobs_setThreadCount(0);
    }
    test_splitting(const test_splitting&) = delete;
    test_splitting& operator=(const test_splitting&) = delete;
};

// Whether requests without a mask run on engines and masked ones in fixed point at this level, where they can.
// At the others all pixels are those of the definition.
inline bool test_hasEngines(const std::string& level)
{
    return level == "sse" || level == "avx2";
}

// Runs body(level) at every processor level that the machine has, with the level's name in every failure.
template <class Body>
void test_atEveryLevel(const Body& body)
{
    for (const std::string level : {"plain", "sse", "avx2", "neon"}) {
        if (qsys_cpuinfo_limitLevel(level.c_str()) == QSYS_E_LEVEL_UNAVAILABLE)
            continue;
        SCOPED_TRACE("level " + level);
        EXPECT_EQ(qsys_cpuinfo_levelName(), level);
        body(level);
    }
    qsys_cpuinfo_limitLevel("auto");
}
