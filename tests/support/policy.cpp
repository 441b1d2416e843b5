#include "support/policy.h"

#include <qbase/cpuinfo.h>
#include <qbase/inhibit.h>

#include <gtest/gtest.h>

#include <mutex>

namespace
{

// The hook has no context of its own.
std::mutex hookMutex;
std::string inhibited;
std::vector<std::string> names;

int hook(const char* name)
{
    const std::lock_guard<std::mutex> lock(hookMutex);
    names.emplace_back(name ? name : "(null)");
    return inhibited == "*" || inhibited == names.back();
}

} // namespace

test_inhibition::test_inhibition(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(hookMutex);
    inhibited = name;
    names.clear();
    qprt_isOptimizationInhibitedFP = hook;
}

test_inhibition::~test_inhibition()
{
    qprt_isOptimizationInhibitedFP = nullptr;
}

std::vector<std::string> test_inhibition::asked()
{
    const std::lock_guard<std::mutex> lock(hookMutex);
    return names;
}

test_processor::test_processor(int32_t processorClass, uint32_t features)
{
    qsys_cpuinfo_limitRaw(processorClass, features);
}

test_processor::~test_processor()
{
    qsys_cpuinfo_limitLevel("auto");
}

void test_atEveryLevel(const std::function<void(const std::string& level)>& body)
{
    for (const char* level : {"plain", "sse", "avx2"}) {
        if (qsys_cpuinfo_limitLevel(level) == QSYS_E_LEVEL_UNAVAILABLE)
            continue;
        const testing::ScopedTrace trace(__FILE__, __LINE__, std::string("level ") + level);
        EXPECT_STREQ(qsys_cpuinfo_levelName(), level);
        body(level);
    }
    qsys_cpuinfo_limitLevel("auto");
}
