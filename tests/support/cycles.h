// Times calls by the processor's cycle counter, for the checks that can also tell how fast the code is that
// they have just verified.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

inline uint64_t test_cyclesNow()
{
#if defined(__x86_64__)
    return __builtin_ia32_rdtsc();
#else
    return 0;
#endif
}

// What many calls took, each on its own, after a warm-up: the one in the middle, and one tenth from either
// end.
struct test_cycles {
    double median;
    double low;
    double high;
};

template <class Call>
test_cycles test_cyclesOf(const Call& call)
{
    using clock = std::chrono::steady_clock;
    constexpr auto warmUp = std::chrono::milliseconds(20);
    for (const auto start = clock::now(); clock::now() - start < warmUp;)
        call();
    std::vector<double> cycles(201);
    for (double& each : cycles) {
        const uint64_t start = test_cyclesNow();
        call();
        each = static_cast<double>(test_cyclesNow() - start);
    }
    std::sort(cycles.begin(), cycles.end());
    return {cycles[100], cycles[20], cycles[180]};
}

// Runs the tests of a program; when they pass and "--bench" was among the arguments, then `bench`.
template <class Bench>
int test_runAndBench(int argc, char** argv, const Bench& bench)
{
    testing::InitGoogleTest(&argc, argv);
    const bool wanted = std::find(argv, argv + argc, std::string("--bench")) != argv + argc;
    const int result = RUN_ALL_TESTS();
    if (wanted && result == 0 && test_cyclesNow() == 0)
        std::puts("no cycle counter");
    else if (wanted && result == 0)
        bench();
    return result;
}
