// Times calls by the processor's cycle counter, for the checks that can also tell how fast the code is that
// they have just verified.
#pragma once

#include <functional>

// What many calls took, each on its own, after a warm-up: the one in the middle, and one tenth from either
// end.
struct test_cycles {
    double median;
    double low;
    double high;
};

// All 0 where there is no cycle counter.
test_cycles test_cyclesOf(const std::function<void()>& call);

// Runs the tests of a program; when they pass and "--bench" was among the arguments, then `bench`.
int test_runAndBench(int argc, char** argv, const std::function<void()>& bench);
