// Masked smoothing worked out the slow way, from the formulas of <qip/masked.h>: sums by a direct
// convolution with explicit weights, down the columns and then along the rows; which arithmetic serves
// which rows; and the six functions behind one kind of call.
#pragma once

#include "support/gauss_calls.h"

#include <qip/masked.h>

#include <string>
#include <vector>

// ---- the functions ----

// The arguments of any of them; each takes those of its form.
struct oracle_maskedArguments {
    const qip_gaussParams* params = nullptr;
    const qimg_image* src = nullptr;
    const qimg_image* srcMask = nullptr;
    const qimg_image* resetMask = nullptr;
    qimg_image* dst = nullptr;
    qimg_image* dstMask = nullptr;
    const qimg_windowConst* srcWin = nullptr;
    const qimg_windowConst* srcMaskWin = nullptr;
    const qimg_windowConst* resetMaskWin = nullptr;
    const qimg_window* dstWin = nullptr;
    const qimg_window* dstMaskWin = nullptr;
};

struct oracle_maskedExport {
    const char* name;
    const char* inhibition; // the name that the application forbids fixed point with
    int32_t srcSize;        // bytes of a pixel
    int32_t dstSize;
    bool windows;
    qip_status (*call)(const oracle_maskedArguments& arguments);

    // The greatest kernel size at the processor level in use.
    int32_t largestKernel() const;
};

const std::vector<oracle_maskedExport>& oracle_maskedExports();

// ---- values ----

// A call that has something to write. Masks without pixels are absent.
struct oracle_masked {
    qip_gaussParams params;
    int32_t srcSize;
    int32_t dstSize;
    const test_placed* src;
    const test_placed* srcMask;
    const test_placed* resetMask;
    oracle_rect written;
    bool isFast;     // the processor and the application allow fixed point
    int32_t threads; // that the caller may use
};

// Destination rows that are computed together.
struct oracle_maskedBand {
    int64_t first; // counted from the first row that is written
    int64_t height;
    bool isFixed; // in fixed point, else in double precision
};

// With a source mask; without one a call has no bands.
std::vector<oracle_maskedBand> oracle_maskedBands(const oracle_masked& call);

// Pixels as they are stored, and the destination mask.
struct oracle_maskedPlanes {
    oracle_values pixels;
    oracle_values mask;
};

// Without a source mask, sources of 8 bits are smoothed by the library's own unmasked functions.
oracle_maskedPlanes oracle_smoothMasked(const oracle_masked& call);
