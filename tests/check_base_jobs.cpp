// The pool from inside: threads that cannot be had, threads that leave, and the time after the pool's end.
#include "base/jobs_pool.h"
#include "support/job_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <set>
#include <system_error>
#include <thread>
#include <vector>

#include <unistd.h>

namespace
{

std::atomic<int> startsLeft;

// Fails as the start of a thread does.
void limitStarts()
{
    if (--startsLeft < 0)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

// Runs `jobs` jobs and tells how many threads took part.
size_t threadsOfARun(int jobs)
{
    std::vector<std::thread::id> ids(static_cast<size_t>(jobs));
    test_jobSet set;
    for (std::thread::id& id : ids)
        set.add([&id] {
            id = std::this_thread::get_id();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    EXPECT_EQ(set.run(), QSYS_OK);
    EXPECT_EQ(std::count(ids.begin(), ids.end(), std::thread::id()), 0);
    return std::set<std::thread::id>(ids.begin(), ids.end()).size();
}

bool workersBecome(int32_t expected)
{
    for (int wait = 0; wait < 20000 && base_jobPool_workerCount() != expected; ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return base_jobPool_workerCount() == expected;
}

} // namespace

TEST(JobPool, StartsOnlyWorkersThatHaveWorkAndLetsThemGo)
{
    qsys_jobs_setThreadCount(1);
    EXPECT_EQ(threadsOfARun(10), 1u);
    EXPECT_EQ(base_jobPool_workerCount(), 0);
    qsys_jobs_setThreadCount(6);
    EXPECT_EQ(threadsOfARun(1), 1u);
    EXPECT_EQ(base_jobPool_workerCount(), 0);
    EXPECT_LE(threadsOfARun(3), 3u);
    EXPECT_EQ(base_jobPool_workerCount(), 2);
    threadsOfARun(30);
    EXPECT_EQ(base_jobPool_workerCount(), 5);
    qsys_jobs_setThreadCount(2);
    EXPECT_LE(threadsOfARun(30), 6u); // those who leave may be in a job still
    EXPECT_TRUE(workersBecome(1));
    EXPECT_LE(threadsOfARun(30), 2u);
    qsys_jobs_setThreadCount(4);
    threadsOfARun(30);
    EXPECT_EQ(base_jobPool_workerCount(), 3);
    qsys_jobs_setThreadCount(1);
    EXPECT_EQ(threadsOfARun(0), 0u);
    threadsOfARun(1);
    EXPECT_TRUE(workersBecome(0));
    qsys_jobs_setThreadCount(0);
}

TEST(JobPool, TheCallerDoesTheWorkOfThreadsThatCannotBeHad)
{
    qsys_jobs_setThreadCount(1);
    threadsOfARun(1);
    ASSERT_TRUE(workersBecome(0));
    qsys_jobs_setThreadCount(5);
    base_jobPool_beforeThreadStart = limitStarts;
    for (const int possible : {0, 1, 3}) {
        startsLeft = possible - base_jobPool_workerCount();
        EXPECT_LE(threadsOfARun(20), static_cast<size_t>(possible) + 1);
        EXPECT_EQ(base_jobPool_workerCount(), possible);
        EXPECT_EQ(startsLeft, -1); // one refusal is enough for one dispatch
    }
    base_jobPool_beforeThreadStart = nullptr;
    threadsOfARun(20);
    EXPECT_EQ(base_jobPool_workerCount(), 4);
    qsys_jobs_setThreadCount(0);
}

namespace
{

bool dispatchAfterTheEnd = false;

// Runs behind all destructors of objects, the pool's closing among them.
__attribute__((destructor)) void afterTheEnd()
{
    if (dispatchAfterTheEnd)
        _exit(threadsOfARun(10) == 1 && base_jobPool_workerCount() == 0 ? 7 : 1);
}

} // namespace

TEST(JobPoolDeathTest, AfterTheEndTheCallerDoesTheWork)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto end = [] {
        alarm(60); // a deadlock fails the test instead of hanging it
        qsys_jobs_setThreadCount(4);
        threadsOfARun(10);
        dispatchAfterTheEnd = true;
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(7), "");
}
