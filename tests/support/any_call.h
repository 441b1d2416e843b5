// Random calls of the exports that smooth or make a mask, and all that a caller can see of them. The
// numbers come from a generator or from the bytes of a fuzzer.
#pragma once

#include "support/gauss_calls.h"
#include "support/oracle_gauss2.h"
#include "support/oracle_masked.h"

#include <array>
#include <functional>
#include <optional>
#include <vector>

enum class test_family { gauss, boxes, resultMask, half, masked };

struct test_export {
    const char* name;
    test_family family;
    int32_t srcSize; // bytes of a pixel
    int32_t dstSize; // 0: either
    bool windows;
    const oracle_gauss2Export* half = nullptr;
    const oracle_maskedExport* masked = nullptr;
};

// Those of one family after the other, in its order above.
const std::vector<test_export>& test_exports();

// What a call is given in one place.
struct test_argument : test_placed {
    bool isGiven = true;                 // else a null pointer
    std::optional<qimg_window> odd = {}; // in place of what lies over the pixels
};

enum test_place { test_src, test_srcMask, test_resetMask, test_dst, test_dstMask, test_places };

// One call, with its own memory. Calls of one random state are alike, whatever runs them.
struct test_call {
    const test_export* what = nullptr;
    test_argument planes[test_places] = {};
    qip_gaussParams params = {};
    bool peak = false, validOnly = false; // of the older records
    int32_t passesX = 0, passesY = 0;
    bool hasPrototype = false, isDeep = false, hasRegion = false; // of qip_gauss; of 16 bits
    qsIRegion region = {};
    qmath_xformLinear transform = {};      // of the source
    bool isBent = false;                   // by a transform that is not linear instead
    std::optional<test_grid> inPlace = {}; // the source, which is the destination too
};

// Noise, dust, patches, nothing, everything.
void test_placeMask(test_random* random, test_placed* mask, const oracle_rect& rect);

// A good call.
test_call test_randomCall(test_random* random, const test_export& what);

// Spoils it somewhere, in most cases: records out of order, numbers at the ends of their range.
void test_spoil(test_random* random, test_call* made);

// Whether the call is given something with pixels in a place; of an odd record the library's services decide.
bool test_hasPixels(const test_call& made, test_place place);

// An image after a call.
struct test_seenPlane {
    bool isBound = false;
    int32_t pixelSize = 0;
    oracle_rect rect = {};
    std::vector<uint16_t> pixels;
    std::array<double, 4> client = {0.0, 0.0, 10.0, 50.0}; // where its points (0, 0) and (10, 50) lie

    bool operator==(const test_seenPlane& other) const
    {
        return isBound == other.isBound && rect == other.rect && pixels == other.pixels;
    }
};

// What a caller sees of a call.
struct test_outcome {
    qip_status status = 0;
    std::vector<uint64_t> places; // rectangles, transforms, and all else that is not pixels
    test_seenPlane dst, mask;
    bool hasWritten = false;   // into the memory of its destinations
    bool hasTransform = false; // a destination has got one, from a source that has one
    qmath_xformLinear transform =
        {};                  // of the destination, from pixels to the client; unless a source is bent
    float zScale = 0.0F;     // of an older image
    oracle_rect region = {}; // as qip_gauss and qfGauss report it
    bool setsResult = false; // qip_gauss has stored where its result is, or that there is none

    // In all that a caller can tell apart.
    bool operator==(const test_outcome& other) const
    {
        return status == other.status && places == other.places && dst == other.dst && mask == other.mask;
    }
};

// Runs a call over destinations of canaries, perhaps with all fast paths inhibited; `start` runs when all
// is ready. Several threads may run calls of their own, but none that inhibits.
test_outcome test_run(
    const test_call& made, bool inhibitsAll = false, const std::function<void()>& start = [] {});

// Expects `values` at the written part of a plane after a call, when there are any, and elsewhere what it
// held before: canaries, or zeros where the call bound it, to the rectangle `bindTo`, if it was to.
void test_expectPlane(const test_placed& made, const test_seenPlane& seen, bool binds,
                      const oracle_rect& bindTo, const oracle_values& values);

// Expects that the transforms of source and destination take the middle of the source pixels under a
// destination pixel to that pixel's centre, for the corners of `rect`.
void test_expectCentres(const test_call& made, const test_outcome& seen, const oracle_rect& rect,
                        double tolerance);
