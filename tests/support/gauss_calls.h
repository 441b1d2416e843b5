// The smoothing functions in the terms of the oracle: parameter records, expected pixels, and the four
// functions behind one signature.
#pragma once

#include "support/compare.h"
#include "support/oracle_gauss.h"

#include <qip/smoothing.h>

#include <functional>

// The default record with the same sampling and the same kernel size in both axes.
qip_gaussParams test_gaussParams(int32_t sample, int32_t kernel, double gain = 1.0);

// Every number but 0 asks for rounding: one that is not 1 and whose low byte is 0.
constexpr int32_t test_anyRound = -256;

qip_gaussParams test_gaussParams(const oracle_gauss& request);
oracle_gauss test_gaussRequest(const qip_gaussParams& params);

// Stores values, cut to 8 or 16 bits, into the expected pixels of an image that covers `gridRect`.
void test_putValues(test_grid* grid, const oracle_rect& gridRect, const oracle_values& values,
                    int32_t pixelSize);

// Expects `before` in all pixels of an image over `rect` but those that `values` covers.
void test_expectValues(const test_view& actual, const oracle_rect& rect, uint16_t before,
                       const oracle_values& values);

// Expects that the centres of a destination's outer pixels are, in client coordinates, the centres of the
// source pixels that they were computed from.
void test_expectCentres(const qimg_image* source, const qimg_image* destination,
                        const oracle_gauss& request, const oracle_rect& rect, double tolerance);

// The pixels that a smoothing of `source`, which begins at (0, 0), writes into an image over `rect`, all of
// which it reaches.
test_grid test_smoothed(const test_view& source, const qip_gaussParams& params, const oracle_rect& rect,
                        int32_t pixelSize);

using test_gaussCall = std::function<qip_status(const qip_gaussParams& params)>;

// Runs the body with each of the four functions in turn, over these pixels, all placed at (0, 0).
void test_forEachGauss(const test_pixels& source, const test_pixels& destination8,
                       const test_pixels& destination16,
                       const std::function<void(const char* name, const test_gaussCall& call)>& body);
