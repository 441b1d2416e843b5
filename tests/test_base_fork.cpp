// Children of processes with threads: fork takes one thread along and leaves the others behind in the
// middle of whatever they did.
#include "support/faults.h"
#include "support/job_set.h"

#include <qbase/cpuinfo.h>
#include <qbase/pixels.h>
#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <latch>
#include <thread>
#include <vector>

#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define SANITIZER_LOCKS 1
#endif
#endif
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define SANITIZER_LOCKS 1
#endif

namespace
{

using namespace std::chrono_literals;

// A deadlock in the parent ends the program instead of hanging it.
const unsigned watchdog = alarm(300);

bool allocates()
{
    void* block = nullptr;
    const bool taken = qsys_memory_alloc_internal(1000, &block) == QSYS_OK;
    return taken && qsys_memory_free_internal(&block) == QSYS_OK;
}

bool dispatchesAndPolls()
{
    const test_attention handler;
    std::atomic<int> done = 0;
    test_jobSet set;
    set.add(4, [&done] {
        ++done;
        return qsys_attention_check();
    });
    return set.run() == QSYS_OK && done == 4 && handler.polls() == 4;
}

bool smooths()
{
    constexpr int32_t size = 96;
    qimg_image src = QIMG_IMAGE_UNBOUND;
    qimg_image dst = QIMG_IMAGE_UNBOUND;
    qip_gaussParams params = {};
    qip_gaussParams_init(&params);
    params.kernelSizeX = params.kernelSizeY = 4;
    bool good = qimg_image8_construct(&src, size, size) == QSYS_OK;
    qimg_window window = {};
    qimg_window_init(&window, &src);
    const qimg_window8 whole = window;
    good = good && qip_pelSetWindow8(&whole, 100) == QSYS_OK;
    const qip_status status = good ? qip_gauss_smooth8_8(&src, &dst, &params) : QSYS_E_MEMORY;
    qimg_window_init(&window, &dst);
    good = status == QIP_OK && window.width == size && static_cast<uint8_t*>(window.firstPixel)[0] == 100;
    qimg_image_destruct(&dst);
    qimg_image_destruct(&src);
    return good;
}

bool installsAllocators()
{
    const test_allocator installed;
    return allocates();
}

constexpr std::array services = {allocates, dispatchesAndPolls, smooths, installsAllocators};

bool allServicesWork()
{
    bool good = true;
    for (const auto service : services)
        good = service() && good;
    return good;
}

// Forks a child that answers whether `work` returned true. A deadlock ends it by its alarm, which the mask
// of a worker would hold back.
template <class Work>
bool childDoes(Work work)
{
    const pid_t child = fork();
    if (child == 0) {
        sigset_t none;
        sigemptyset(&none);
        pthread_sigmask(SIG_SETMASK, &none, nullptr);
        alarm(10);
        _exit(work() ? 0 : 1);
    }
    int state = 0;
    return waitpid(child, &state, 0) == child && WIFEXITED(state) && WEXITSTATUS(state) == 0;
}

// Forks while each service is in use on a thread of its own, and counts the children that failed or hung,
// three at most.
int badChildrenAmong(int count)
{
    qsys_jobs_setThreadCount(3);
    qsys_jobs_setSplitting(1000);
    std::atomic<bool> ends = false;
    std::latch started(services.size());
    std::vector<std::thread> threads;
    threads.reserve(services.size());
    for (const auto service : services)
        threads.emplace_back([&, service] {
            EXPECT_TRUE(service());
            started.count_down();
            while (!ends)
                service();
        });
    started.wait();
    int bad = 0;
    for (int i = 0; i < count && bad < 3; ++i)
        bad += !childDoes(allServicesWork);
    ends = true;
    for (std::thread& thread : threads)
        thread.join();
    qsys_jobs_setSplitting(0);
    qsys_jobs_setThreadCount(0);
    return bad;
}

// How often the services asked the system for the processors of this process: once, at the first use. The
// answer takes long here, and is that there is none.
std::atomic<int> slowQuestions = 0;

// Forks while another thread uses a service for the first time in this process.
bool forksDuringFirstUse(bool (*service)())
{
    std::thread user([service] { service(); });
    while (slowQuestions == 0)
        std::this_thread::sleep_for(1ms);
    const bool good = childDoes(service);
    user.join();
    return good && slowQuestions == 1;
}

bool asksTheProcessor()
{
    qsys_cpuinfo info;
    return qsys_cpuinfo_init(&info) == QSYS_OK;
}

void skipWithSanitizers()
{
#if defined(SANITIZER_LOCKS)
    GTEST_SKIP() << "locks of this sanitizer do not survive a fork with threads";
#endif
}

} // namespace

// In place of the system's own.
extern "C" int sched_getaffinity(pid_t, size_t, cpu_set_t*) noexcept
{
    ++slowQuestions;
    std::this_thread::sleep_for(100ms);
    return -1;
}

TEST(Fork, ChildrenOfABusyProcessUseEveryService)
{
    skipWithSanitizers();
    if (IsSkipped())
        return;
    EXPECT_EQ(badChildrenAmong(100), 0);
}

TEST(ForkDeathTest, ChildrenOfAProcessThatJustBeginsUseEveryService)
{
    skipWithSanitizers();
    if (IsSkipped())
        return;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(_exit(!forksDuringFirstUse(asksTheProcessor)), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(_exit(!forksDuringFirstUse(dispatchesAndPolls)), testing::ExitedWithCode(0), "");
}

// The job or the handler does not return in the child, but it may use the library.
TEST(Fork, AJobAndAHandlerMayForkChildrenThatUseEveryService)
{
    skipWithSanitizers();
    if (IsSkipped())
        return;
    qsys_jobs_setThreadCount(3);
    std::latch meeting(3);
    test_jobSet set;
    set.add(3, [&meeting] {
        meeting.arrive_and_wait();
        EXPECT_TRUE(childDoes(allServicesWork));
    });
    EXPECT_EQ(set.run(), QSYS_OK);

    const auto forkOnce = [](void* forked) -> qsys_status {
        if (static_cast<std::atomic<bool>*>(forked)->exchange(true))
            return QSYS_OK;
        EXPECT_TRUE(childDoes([] { return qsys_attention_check() == QSYS_OK && allServicesWork(); }));
        return QSYS_OK;
    };
    std::atomic<bool> forked = false;
    qsys_attention_setHandler(forkOnce, &forked);
    test_jobSet polling;
    polling.add(3, [] { return qsys_attention_check(); });
    EXPECT_EQ(polling.run(), QSYS_OK);
    EXPECT_TRUE(forked);
    qsys_attention_setHandler(nullptr, nullptr);
    qsys_jobs_setThreadCount(0);
}
