// Half resolution and binomial smoothing worked out the slow way, from the formulas of
// <qip/half_resolution.h>: every pixel by its own two-dimensional sum, passes by counting them. And the 28
// smoothing exports behind one kind of call, so that a test can say what it says once for all of them.
#pragma once

#include "support/compare.h"
#include "support/images.h"

#include <optional>
#include <string>
#include <vector>

// ---- the exports ----

// The planes of a call, as images and as windows.
struct oracle_gauss2Places {
    const test_plane* src = nullptr;
    const test_plane* srcMask = nullptr;
    test_plane* dst = nullptr;
    test_plane* dstMask = nullptr;
};

// The arguments of any export; each takes those of its form.
struct oracle_gauss2Arguments {
    const qimg_image* src = nullptr;
    const qimg_image* srcMask = nullptr;
    qimg_image* dst = nullptr;
    qimg_image* dstMask = nullptr;
    const qimg_windowConst* srcWin = nullptr;
    const qimg_windowConst* srcMaskWin = nullptr;
    const qimg_window* dstWin = nullptr;
    const qimg_window* dstMaskWin = nullptr;
    const qmath_xformLinear* srcTransform = nullptr;
    qmath_xformLinear* dstTransform = nullptr;
    int32_t passesX = 2;
    int32_t passesY = 2;

    // Those places that are given.
    void take(const oracle_gauss2Places& p)
    {
        if (p.src)
            src = &p.src->image.record, srcWin = &p.src->windowConst;
        if (p.srcMask)
            srcMask = &p.srcMask->image.record, srcMaskWin = &p.srcMask->windowConst;
        if (p.dst)
            dst = &p.dst->image.record, dstWin = &p.dst->window;
        if (p.dstMask)
            dstMask = &p.dstMask->image.record, dstMaskWin = &p.dstMask->window;
    }
};

struct oracle_gauss2Export {
    const char* name;
    int32_t pixelSize;
    bool masked;
    bool windows;
    bool sampled; // else it takes pass counts
    bool halveX;
    bool halveY;
    qsys_status (*call)(const oracle_gauss2Arguments& arguments);
};

const std::vector<oracle_gauss2Export>& oracle_gauss2Exports();

// ---- geometry ----

// D, the rectangle that a source yields; R, its part in `destination`; U, the part of the source that
// counts.
struct oracle_gauss2Plan {
    oracle_rect full;    // D
    oracle_rect written; // R
    oracle_rect used;    // U
    bool refused;        // U is not inside the source
};

oracle_gauss2Plan oracle_gauss2PlanOf(const oracle_gauss2Export& what, const oracle_rect& source,
                                      const oracle_rect& destination);

// The map from destination to source pixels; meaningless for a full-resolution export.
qmath_xformLinear oracle_gauss2Map(const oracle_gauss2Export& what, const oracle_gauss2Plan& plan);

// ---- values ----

// Pixels, and a mask of the same size in masked requests.
struct oracle_gauss2Planes {
    test_grid pixels;
    std::optional<test_grid> mask;
};

// Which directions a filter sums in, and how far apart the sums are that it keeps.
struct oracle_gauss2Filter {
    bool alongX;
    bool alongY;
    int stepX;
    int stepY;
};

oracle_gauss2Planes oracle_gauss2Apply(const oracle_gauss2Planes& source, const oracle_gauss2Filter& what);

// What the export makes of the used part of the source. Nothing when no pixel of the destination is
// written.
std::optional<oracle_gauss2Planes> oracle_gauss2Smooth(const oracle_gauss2Export& what,
                                                       const oracle_gauss2Planes& used, int32_t passesX,
                                                       int32_t passesY);

// The names that the export asks the hook with, in order, when it runs over pixels.
std::vector<std::string> oracle_gauss2Asked(const oracle_gauss2Export& what, int32_t passesX,
                                            int32_t passesY);

// How often it polls, over a used part of this height.
int64_t oracle_gauss2Polls(const oracle_gauss2Export& what, int64_t height, int32_t passesX,
                           int32_t passesY);
