// The job service as its users meet it.
#include "support/faults.h"
#include "support/job_set.h"

#include <qbase/attention.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <chrono>
#include <cstdlib>
#include <latch>
#include <thread>
#include <vector>

#include <signal.h>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;

constexpr qsys_status failureA = QSYS_FAILURE(0x1001);
constexpr qsys_status failureB = QSYS_FAILURE(0x1002);

// Every test states its thread count; the default returns afterwards.
struct ThreadCount {
    explicit ThreadCount(int32_t count)
    {
        qsys_jobs_setThreadCount(count);
    }
    ~ThreadCount()
    {
        qsys_jobs_setThreadCount(0);
    }
};

// A deadlock ends the program instead of hanging it; so does a job that waits for threads that never come.
const unsigned watchdog = alarm(120);

qsys_jobThreadState threadState()
{
    qsys_jobThreadGroup group;
    qsys_jobThreadState state = {-1, -1};
    qsys_jobThreadGroup_construct(&group);
    EXPECT_EQ(qsys_jobGetCurrentThreadState(&state, &group), QSYS_OK);
    qsys_jobThreadGroup_destruct(&group);
    return state;
}

// Whether `count` jobs meet, each on a thread of its own.
bool jobsMeet(int count)
{
    std::latch meeting(count);
    test_jobSet set;
    set.add(count, [&meeting] { meeting.arrive_and_wait(); });
    return set.run() == QSYS_OK;
}

} // namespace

TEST(Jobs, EachRequestRunsOnceAndTheFirstFailureInOrderIsTheResult)
{
    const test_allocator allocator;
    const int64_t before = test_allocator::liveBlocks();
    for (const int32_t threads : {1, 2, 7}) {
        const ThreadCount count(threads);
        std::vector<std::atomic<int>> runs(50);
        test_jobSet set;
        for (size_t i = 0; i < runs.size(); ++i)
            set.add([&runs, i] {
                ++runs[i];
                return i == 20 ? failureA : i == 40 ? failureB : static_cast<qsys_status>(i);
            });
        EXPECT_EQ(set.run(), failureA);
        const std::vector<qsys_status> results = set.results();
        ASSERT_EQ(results.size(), runs.size());
        EXPECT_EQ(results[20], failureA);
        EXPECT_EQ(results[40], failureB);
        EXPECT_EQ(results[49], 49);
        for (const std::atomic<int>& each : runs)
            EXPECT_EQ(each, 1);
        // The set may run again, and its results are replaced.
        EXPECT_EQ(set.run(), failureA);
        EXPECT_EQ(set.results().size(), runs.size());
        EXPECT_EQ(runs[49], 2);
    }
    EXPECT_EQ(test_allocator::liveBlocks(), before);
    test_jobSet empty;
    EXPECT_EQ(empty.run(), QSYS_OK);
    EXPECT_TRUE(empty.results().empty());
}

TEST(Jobs, TheThreadCountHoldsFromTheNextDispatch)
{
    for (const int threads : {4, 1, 3, 2, 6}) {
        const ThreadCount count(threads);
        EXPECT_EQ(qsys_jobs_getThreadCount(), threads);
        EXPECT_TRUE(jobsMeet(threads));
    }
    EXPECT_EQ(qsys_jobs_setThreadCount(-1), QSYS_E_ARGUMENT);
    EXPECT_GE(qsys_jobs_getThreadCount(), 1);
    const ThreadCount huge(INT32_MAX);
    EXPECT_EQ(qsys_jobs_getThreadCount(), 1024);
}

TEST(Jobs, AJobHasOneThreadAndRunsItsOwnJobsItself)
{
    const ThreadCount count(3);
    EXPECT_EQ(threadState().threadCount, 3);
    EXPECT_EQ(threadState().isWorker, 0);
    test_jobSet outer;
    outer.add(12, [] {
        EXPECT_EQ(threadState().threadCount, 1);
        EXPECT_NE(threadState().isWorker, 0);
        const std::thread::id thread = std::this_thread::get_id();
        test_jobSet inner;
        inner.add(5, [thread] {
            EXPECT_NE(threadState().isWorker, 0);
            return std::this_thread::get_id() == thread ? QSYS_OK : failureA;
        });
        const qsys_status status = inner.run();
        EXPECT_NE(threadState().isWorker, 0);
        return status;
    });
    EXPECT_EQ(outer.run(), QSYS_OK);
    EXPECT_EQ(threadState().isWorker, 0);
}

TEST(Jobs, SeveralThreadsMayDispatchAtOnce)
{
    const ThreadCount count(3);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> callers;
    for (int c = 0; c < 4; ++c)
        callers.emplace_back([&wrong, c] {
            for (int round = 0; round < 60; ++round) {
                // Thread counts that change under way must not hurt.
                qsys_jobs_setThreadCount(1 + (round + c) % 4);
                std::atomic<int> sum = 0;
                test_jobSet set;
                for (int i = 0; i <= round; ++i)
                    set.add([&sum, i] {
                        sum += i;
                        return i == 3 ? failureB : QSYS_OK;
                    });
                const qsys_status status = set.run();
                wrong += status != (round >= 3 ? failureB : QSYS_OK) || sum != round * (round + 1) / 2;
            }
        });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(wrong, 0);
}

// A worker computes as the dispatching thread would, whatever thread started it, and asks its attention
// handler, which need not be made for several threads. Other threads have none.
TEST(Jobs, WhatWorkersInherit)
{
    const ThreadCount count(4);
    const test_attention handler(1);
    const int before = std::fegetround();
    for (const int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD}) {
        std::fesetround(mode);
        std::latch meeting(4);
        test_jobSet set;
        set.add(4, [&] {
            meeting.arrive_and_wait();
            EXPECT_EQ(std::fegetround(), mode);
            EXPECT_EQ(qsys_attention_check(), QSYS_E_CANCELLED);
        });
        EXPECT_EQ(set.run(), QSYS_OK);
    }
    EXPECT_EQ(handler.polls(), 12);
    std::thread([] { EXPECT_EQ(qsys_attention_check(), QSYS_OK); }).join();
    std::fesetround(before);
}

// ---- signals ----

namespace
{

std::atomic<std::thread::id> handlingThread;
thread_local int signalsHere = 0;
std::atomic<int> signalsHandled = 0;

void noteSignal(int)
{
    handlingThread = std::this_thread::get_id();
    ++signalsHere;
    ++signalsHandled;
}

// Handles one signal with noteSignal.
class SignalHandler
{
public:
    explicit SignalHandler(int number) : number_(number)
    {
        struct sigaction action = {};
        action.sa_handler = noteSignal;
        sigaction(number, &action, &before_);
    }
    ~SignalHandler()
    {
        sigaction(number_, &before_, nullptr);
    }
    SignalHandler(const SignalHandler&) = delete;
    SignalHandler& operator=(const SignalHandler&) = delete;

private:
    int number_;
    struct sigaction before_ = {};
};

} // namespace

// Signals to the process find the one thread of the application that takes them, also while jobs run.
TEST(Jobs, WorkersTakeNoSignals)
{
    const ThreadCount count(4);
    const SignalHandler handler(SIGUSR1);
    // Workers are there first, started from a thread that takes signals: the system asks the oldest threads
    // first.
    ASSERT_TRUE(jobsMeet(4));
    std::latch ready(1);
    std::atomic<bool> ends = false;
    std::thread taker([&ready, &ends] {
        ready.count_down();
        while (!ends)
            std::this_thread::sleep_for(1ms);
    });
    const std::thread::id takerId = taker.get_id();
    ready.wait();
    sigset_t usr1;
    sigset_t before;
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &usr1, &before);
    const std::thread::id caller = std::this_thread::get_id();
    test_jobSet set;
    std::latch meeting(4);
    set.add(4, [&] {
        meeting.arrive_and_wait();
        for (int i = 0; i < 50 && std::this_thread::get_id() == caller; ++i) {
            const int handled = signalsHandled;
            kill(getpid(), SIGUSR1);
            while (signalsHandled == handled)
                std::this_thread::sleep_for(100us);
            EXPECT_EQ(handlingThread.load(), takerId);
        }
    });
    EXPECT_EQ(set.run(), QSYS_OK);
    ends = true;
    taker.join();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(Jobs, FaultsInAWorkerReachTheirHandler)
{
    const ThreadCount count(3);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        const SignalHandler handler(fault);
        std::latch meeting(3);
        test_jobSet set;
        set.add(3, [&meeting, fault] {
            meeting.arrive_and_wait();
            const int before = signalsHere;
            raise(fault);
            EXPECT_EQ(signalsHere, before + 1) << fault;
        });
        EXPECT_EQ(set.run(), QSYS_OK);
    }
    // The dispatching thread has its signals back.
    const SignalHandler handler(SIGUSR1);
    const int before = signalsHere;
    raise(SIGUSR1);
    EXPECT_EQ(signalsHere, before + 1);
}

// ---- ownership ----

namespace
{

std::atomic<int> released = 0;

qsys_status countRelease(void** data)
{
    ++released;
    *data = nullptr;
    return QSYS_OK;
}

qsys_status seesData(const qsys_jobParams* params)
{
    const void* data = nullptr;
    const qsys_status status = qsys_jobParams_getDataConst(params, &data);
    return status < 0 ? status : *static_cast<const int*>(data);
}

} // namespace

TEST(Jobs, DataLivesUntilTheLastWhoRefersToIt)
{
    released = 0;
    int numbers[] = {1, 2};
    qsys_jobThreadGroup group = {};
    qsys_jobParams params = {};
    qsys_jobRequestSet requests = {};
    qsys_jobResultSet results = {};

    const void* seen = &group;
    EXPECT_EQ(qsys_jobParams_getDataConst(&params, &seen), QSYS_E_JOB_NO_DATA);
    EXPECT_EQ(seen, nullptr);
    void* none = nullptr;
    EXPECT_EQ(qsys_jobParams_takeData(&params, &none, countRelease), QSYS_E_ARGUMENT);
    qsys_jobRequestSet_addFuncAndParams(&requests, seesData, &params);
    for (int& number : numbers) {
        void* data = &number;
        EXPECT_EQ(qsys_jobParams_takeData(&params, &data, countRelease), QSYS_OK);
        EXPECT_EQ(data, nullptr);
        qsys_jobRequestSet_addFuncAndParams(&requests, seesData, &params);
    }
    EXPECT_EQ(released, 0);
    EXPECT_EQ(qsys_jobThreadGroup_dispatchAndWait(&group, &requests, &results), QSYS_E_JOB_NO_DATA);
    qsys_status status = 0;
    for (const int32_t index : {1, 2}) {
        EXPECT_EQ(qsys_jobResultSet_getStatus(&results, index, &status), QSYS_OK);
        EXPECT_EQ(status, index);
    }
    EXPECT_EQ(qsys_jobResultSet_getStatus(&results, 3, &status), QSYS_E_ARGUMENT);
    EXPECT_EQ(qsys_jobResultSet_getStatus(&results, -1, &status), QSYS_E_ARGUMENT);

    // Destruct functions may be called twice.
    for (int i = 0; i < 2; ++i) {
        qsys_jobResultSet_destruct(&results);
        qsys_jobRequestSet_destruct(&requests);
        EXPECT_EQ(released, 1);
    }
    for (int i = 0; i < 2; ++i) {
        qsys_jobParams_destruct(&params);
        EXPECT_EQ(released, 2);
    }
}

// ---- the end of the process ----

namespace
{

[[noreturn]] void exitFromAJob(bool onWorker)
{
    qsys_jobs_setThreadCount(4);
    const std::thread::id caller = std::this_thread::get_id();
    std::latch meeting(4);
    std::atomic<bool> leaving = false;
    test_jobSet set;
    set.add(4, [&] {
        meeting.arrive_and_wait();
        if ((std::this_thread::get_id() != caller) == onWorker && !leaving.exchange(true))
            std::exit(7);
        std::this_thread::sleep_for(5ms);
    });
    set.run();
    // When a worker ends the process, this thread has nothing left to do but to wait for the end.
    for (;;)
        pause();
}

[[noreturn]] void exitWhileOthersDispatch()
{
    qsys_jobs_setThreadCount(4);
    std::latch started(3);
    for (int t = 0; t < 2; ++t)
        std::thread([&started] {
            for (int round = 0;; ++round) {
                test_jobSet set;
                set.add(20, [] {});
                set.run();
                if (round == 3)
                    started.count_down();
            }
        }).detach();
    started.arrive_and_wait();
    std::exit(7);
}

class JobsDeathTest : public testing::Test
{
protected:
    JobsDeathTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        // For the processes started here, which end in the middle of their work, as they should.
        setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    }
};

} // namespace

TEST_F(JobsDeathTest, TheProcessEndsFromAnywhere)
{
    const auto ended = testing::ExitedWithCode(7);
    EXPECT_EXIT(exitFromAJob(true), ended, "");
    EXPECT_EXIT(exitFromAJob(false), ended, "");
    EXPECT_EXIT(exitWhileOthersDispatch(), ended, "");
}
