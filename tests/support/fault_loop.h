// The fault loop: runs one operation again and again, each time with another of its allocations, or another
// of its questions to the attention handler, failing, until a run meets no fault.
#pragma once

#include "support/guarded.h"

#include <qbase/qbase.h>
#include <qip/qip_gauss.h>

#include <atomic>
#include <functional>

// Everything that an operation may need: sources of both depths, plain and with a bent transform, a mask,
// destinations unbound and bound, windows over them, handles and records for what comes out. All of it is
// released with the scene, whatever the operation left behind.
class test_scene
{
public:
    test_scene();
    ~test_scene();
    test_scene(const test_scene&) = delete;
    test_scene& operator=(const test_scene&) = delete;

    // 40 columns and 150 rows at (2, 4).
    qimg_image src8 = QIMG_IMAGE_UNBOUND;
    qimg_image src16 = QIMG_IMAGE_UNBOUND;
    qimg_image bent8 = QIMG_IMAGE_UNBOUND;
    qimg_image mask = QIMG_IMAGE_UNBOUND;
    qimg_windowConst srcWindow8;
    qimg_windowConst srcWindow16;
    qimg_windowConst maskWindow;

    // Unbound.
    qimg_image dst8 = QIMG_IMAGE_UNBOUND;
    qimg_image dst16 = QIMG_IMAGE_UNBOUND;
    qimg_image dstMask = QIMG_IMAGE_UNBOUND;

    // 18 columns and 70 rows at (3, 5), inside all that the sources yield with a sampling of up to 2.
    qimg_image bound8 = QIMG_IMAGE_UNBOUND;
    qimg_image bound16 = QIMG_IMAGE_UNBOUND;
    qimg_image boundMask = QIMG_IMAGE_UNBOUND;
    qimg_window window8;
    qimg_window window16;
    qimg_window windowMask;

    qip_gaussParams params; // kernel 2, sampling 1, rounding
    qsVImage legacy;        // the pixels of src8
    qsVImage* made = nullptr;
    qsGaussParams legacyParams;
    qsIRegion region = {5, 6, 20, 30};
    qmath_xformLinear linear;
    qmath_xformLinear linearOut = {};
    qmath_xformPtrhConst handle = {}; // linear
    qmath_xformPtrhConst bent = {};
    qmath_xformPtrhConst out = {}; // bent
    qmath_xformPtrhConst fresh = {};
    std::atomic<int> counted = 0; // jobs that ran, owners that were told

    // A number that changes when any pixel, rectangle or transform of the destinations does.
    uint64_t digest() const;

private:
    test_pixels pixels8_;
    test_pixels pixels16_;
    test_pixels pixelsMask_;
};

struct test_operation {
    const char* name;
    std::function<qsys_status(test_scene& scene)> call;
    bool mayTakeNone = false; // there may be no allocation to fail
    bool mayChange = false;   // a failure may leave something changed
};

// Fails every allocation in turn, alone and with all later ones. Expects QSYS_E_MEMORY, nothing changed, no
// block lost, and that the same call then works on the same scene and gives the result of a call that met
// no fault.
void test_failEveryAllocation(const test_operation& operation);

// The same with the attention handler's answers, which must come back as they stand; rows may be written.
void test_failEveryPoll(const test_operation& operation);
