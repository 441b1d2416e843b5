// The unmasked smoothing as the paths of each processor level are required to compute it: which path serves
// a request, its pixels by a direct convolution with its own arithmetic, and when it polls.
#pragma once

#include "support/oracle_gauss.h"

#include <string>

enum class oracle_path { reference, sevenTap, smallKernel, general, older };

// A call as the choice of its path sees it.
struct oracle_call {
    oracle_gauss request;
    oracle_rect source;
    oracle_rect written; // at least one pixel
    int32_t pixelSize;   // of the destination
    bool hasRegion;      // whether the caller passed a destination region
};

oracle_path oracle_pathOf(const std::string& level, const oracle_call& call);

// The values of the written pixels, before they are cut to 8 or 16 bits, for sums that fit 53 bits. Sums of
// kernels above 2000 count as 0: of a few hundred pixels they leave less than half a level.
oracle_values oracle_smoothBy(oracle_path path, const test_view& source, const oracle_call& call);

// For every poll of an undisturbed call, in order: how many rows of the destination are complete by then.
// For kernel sizes of up to 300 in y; on the reference path, of up to a third of the source's height.
std::vector<int64_t> oracle_polls(oracle_path path, const oracle_call& call);
