#include "support/cycles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace
{

uint64_t now()
{
#if defined(__x86_64__)
    return __builtin_ia32_rdtsc();
#else
    return 0;
#endif
}

} // namespace

test_cycles test_cyclesOf(const std::function<void()>& call)
{
    using clock = std::chrono::steady_clock;
    constexpr auto warmUp = std::chrono::milliseconds(20);
    for (const auto start = clock::now(); clock::now() - start < warmUp;)
        call();
    std::vector<double> cycles(201);
    for (double& each : cycles) {
        const uint64_t start = now();
        call();
        each = static_cast<double>(now() - start);
    }
    std::sort(cycles.begin(), cycles.end());
    return {cycles[100], cycles[20], cycles[180]};
}

int test_runAndBench(int argc, char** argv, const std::function<void()>& bench)
{
    testing::InitGoogleTest(&argc, argv);
    const bool wanted = std::find(argv, argv + argc, std::string("--bench")) != argv + argc;
    const int result = RUN_ALL_TESTS();
    if (wanted && result == 0 && now() == 0)
        std::puts("no cycle counter");
    else if (wanted && result == 0)
        bench();
    return result;
}
