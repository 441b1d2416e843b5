// Random calls of the exports of the unmasked and of the half-resolution family, and all that a caller can see of
// them.
#pragma once

#include "support/gauss_calls.h"
#include "support/oracle_gauss2.h"

#include <vector>

constexpr int test_unmaskedExports = 5;

// One call, with its own memory. Calls of one random state are alike, whatever runs them.
struct test_call {
    const oracle_gauss2Export* half; // null: one of the unmasked exports
    int unmasked;
    test_placed src, srcMask, dst, dstMask;
    bool wantsMask;
    oracle_gauss request;
    qip_gaussParams params;
    int32_t passesX, passesY;
    bool givesRegion;
    bool inhibitsAll; // all fast paths
};

// What a caller sees of a call: status, places, pixels, transforms.
using test_outcome = std::vector<double>;

// The exports are numbered: first the unmasked ones, then those of oracle_gauss2Exports.
inline int test_anyExportCount()
{
    return test_unmaskedExports + static_cast<int>(oracle_gauss2Exports().size());
}

test_call test_randomCall(test_random* random, int exportNumber);

// Runs a call over destinations of canaries.
test_outcome test_run(const test_call& made);
