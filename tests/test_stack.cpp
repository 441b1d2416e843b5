// How deep calls go: all of them on a thread whose stack is small, with pages below it that nobody may
// touch.
#include "support/any_call.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

// What docs/architecture.md promises, beside the least stack that the system starts a thread on.
constexpr size_t promised = 64 << 10;

// Every export many times, with kernels and samplings for all paths.
void* makeCalls(void* inhibitsAll)
{
    for (uint64_t number = 0; number < 20 * test_exports().size(); ++number) {
        test_random random = test_randomFor(number);
        const test_export& what = test_exports()[number % test_exports().size()];
        test_run(test_randomCall(&random, what), *static_cast<bool*>(inhibitsAll));
    }
    return nullptr;
}

// Runs the calls on a stack of that many bytes and returns how many of them they wrote to.
size_t depthOnStack(size_t bytes, bool inhibitsAll)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    bytes = (bytes + page - 1) / page * page;
    const size_t guard = 64 * page; // more than the largest frame: none can reach across
    void* const memory =
        mmap(nullptr, guard + bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    EXPECT_EQ(mprotect(memory, guard, PROT_NONE), 0);
    auto* const stack = static_cast<unsigned char*>(memory) + guard;
    std::memset(stack, test_canary, bytes);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack, bytes), 0);
    pthread_t thread;
    EXPECT_EQ(pthread_create(&thread, &attributes, makeCalls, &inhibitsAll), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const auto* const deepest =
        std::find_if(stack, stack + bytes, [](unsigned char byte) { return byte != test_canary; });
    const auto depth = static_cast<size_t>(stack + bytes - deepest);
    munmap(memory, guard + bytes);
    return depth;
}

} // namespace

TEST(Stack, EveryCallDoesWithASmallOne)
{
#if !defined(__OPTIMIZE__)
    GTEST_SKIP() << "frames of code without optimisation are larger";
#elif defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "red zones make frames larger";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "red zones make frames larger";
#endif
#endif
    const auto least = static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN));
    for (const bool inhibitsAll : {false, true})
        test_atEveryLevel([&](const std::string& level) {
            const size_t depth = depthOnStack(least + promised, inhibitsAll);
            RecordProperty("depth_" + level + (inhibitsAll ? "_plain_filters" : ""),
                           static_cast<int>(depth));
        });
}
