// What the fuzzers share: the check that ends a run with a finding, base services that refuse large blocks,
// and calls that are made in every setting.
#pragma once

#include "support/any_call.h"

#include <qbase/cpuinfo.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// ---- findings ----

// libFuzzer keeps the input that led here.
[[noreturn]] void fuzz_report(const std::string& what);

inline void fuzz_check(bool holds, const std::string& what)
{
    if (!holds)
        fuzz_report(what);
}

// ---- base services ----

// From now on the library is refused blocks above a few megabytes, so that the greatest sizes there are
// cost no time, and all its blocks are counted.
void fuzz_installAllocator();
int64_t fuzz_liveBlocks();

// The levels that the machine has, from "plain" on.
const std::vector<const char*>& fuzz_levels();

// How a call is run: processor level, whether optimised code is forbidden by every name, and threads, 1
// or more.
struct fuzz_setting {
    const char* level;
    bool inhibited;
    int32_t threads;
};

// In force until the next one.
void fuzz_apply(const fuzz_setting& setting);

// ---- calls ----

// How high an image may be: most are small, so that many run in a second. Some reach the sizes from which
// on there are faster paths, a few those that are shared among threads.
int32_t fuzz_mostHeight(test_random* random, int32_t width);

// Makes a call at every level with and without optimised code, perhaps on three threads too. What a caller
// sees must agree: all of it, but the pixels where the level or the bands help to decide the arithmetic. A
// refusal leaves the destinations as they were, and blocks of memory must be given back.
void fuzz_runEverywhere(const test_call& call, bool onThreads);
