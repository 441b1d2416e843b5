// The smoothing functions in the terms of the oracle: parameter records, expected pixels, places.
#pragma once

#include "support/compare.h"
#include "support/images.h"

#include <qip/smoothing.h>

#include <functional>
#include <memory>

// The default record with the same sampling and the same kernel size in both axes.
inline qip_gaussParams test_gaussParams(int32_t sample, int32_t kernel, double gain = 1.0)
{
    qip_gaussParams params = {};
    EXPECT_EQ(qip_gaussParams_init(&params), 0);
    params.sampleX = params.sampleY = sample;
    params.kernelSizeX = params.kernelSizeY = kernel;
    params.gain = gain;
    return params;
}

// Every number but 0 asks for rounding: one that is not 1 and whose low byte is 0.
constexpr int32_t test_anyRound = -256;

inline qip_gaussParams test_gaussParams(const oracle_gauss& request)
{
    qip_gaussParams params = test_gaussParams(1, 0, static_cast<double>(request.gain));
    params.sampleX = static_cast<int32_t>(request.sampleX);
    params.sampleY = static_cast<int32_t>(request.sampleY);
    params.kernelSizeX = static_cast<int32_t>(request.kernelX);
    params.kernelSizeY = static_cast<int32_t>(request.kernelY);
    params.round = request.round ? test_anyRound : 0;
    return params;
}

inline qsGaussParams test_legacyParams(const oracle_gauss& request, const qsVImage* prototype)
{
    return {static_cast<int32_t>(request.sampleX),
            static_cast<int32_t>(request.sampleY),
            static_cast<int32_t>(request.kernelX),
            static_cast<int32_t>(request.kernelY),
            request.peak,
            !request.validOnly,
            request.round ? test_anyRound : 0,
            request.gain,
            prototype,
            0};
}

inline oracle_gauss test_gaussRequest(const qip_gaussParams& params)
{
    return {.sampleX = params.sampleX,
            .sampleY = params.sampleY,
            .kernelX = params.kernelSizeX,
            .kernelY = params.kernelSizeY,
            .round = params.round != 0,
            .gain = static_cast<float>(params.gain)};
}

// Stores values, cut to 8 or 16 bits, into the expected pixels of an image that covers `gridRect`.
inline void test_putValues(test_grid* grid, const oracle_rect& gridRect, const oracle_values& values,
                           int32_t pixelSize)
{
    const int64_t mask = pixelSize == 1 ? 0xff : 0xffff;
    const oracle_rect& rect = values.rect;
    for (int64_t y = rect.y; y < rect.y + rect.height; ++y)
        for (int64_t x = rect.x; x < rect.x + rect.width; ++x)
            grid->at(x - gridRect.x, y - gridRect.y) = static_cast<uint16_t>(values.at(x, y) & mask);
}

// What an untouched pixel of guarded memory holds.
inline uint16_t test_canaryPixel(int32_t pixelSize)
{
    return pixelSize == 1 ? test_canary : 0x101 * test_canary;
}

// An image over `rect`: `before` in all pixels but those that `values` covers.
inline test_grid test_expected(const oracle_rect& rect, uint16_t before, const oracle_values& values,
                               int32_t pixelSize)
{
    test_grid expected(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), before);
    test_putValues(&expected, rect, values, pixelSize);
    return expected;
}

inline void test_expectValues(const test_view& actual, const oracle_rect& rect, uint16_t before,
                              const oracle_values& values)
{
    EXPECT_TRUE(test_samePixels(test_expected(rect, before, values, actual.pixelSize), actual));
}

// Pixels somewhere in memory and their place, or nothing: an image that starts unbound, a mask left out.
struct test_placed {
    std::unique_ptr<test_pixels> pixels;
    oracle_rect rect = {};

    void place(test_random* random, const oracle_rect& place, int32_t pixelSize)
    {
        rect = place;
        pixels =
            std::make_unique<test_pixels>(test_randomLayout(random, rect.width, rect.height, pixelSize));
    }
    test_plane over() const
    {
        return {pixels.get(), rect};
    }
    // It owns nothing; an empty record without pixels.
    qsVImage legacy() const
    {
        return pixels ? test_legacyOver(*pixels, static_cast<int32_t>(rect.x), static_cast<int32_t>(rect.y))
                      : qsVImage{};
    }
};

// Half of them tiny.
inline int64_t test_randomSize(test_random* random)
{
    if (test_chance(random, 50))
        return test_randomRange(random, 1, 9);
    return test_randomRange(random, 1, test_chance(random, 20) ? 80 : 40);
}

// Expects that the transforms of two images take the middle of the source pixels under a destination pixel
// to that pixel's centre, for the corners of `rect`.
inline void test_expectCentres(const qimg_image* source, const qimg_image* destination,
                               const oracle_gauss& request, const oracle_rect& rect, double tolerance)
{
    for (const int64_t x : {rect.x, rect.x + rect.width - 1})
        for (const int64_t y : {rect.y, rect.y + rect.height - 1}) {
            qmath_point point = {oracle_supportCentre(x, request.sampleX, request.kernelX),
                                 oracle_supportCentre(y, request.sampleY, request.kernelY)};
            EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&source->clientFromImage, &point), 0);
            EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&destination->imageFromClient, &point), 0);
            EXPECT_NEAR(point.x, static_cast<double>(x) + 0.5, tolerance);
            EXPECT_NEAR(point.y, static_cast<double>(y) + 0.5, tolerance);
        }
}

// Gives an image a client-to-image transform: nothing, linear with a determinant well away from zero, not
// linear.
inline void test_setRandomTransform(test_random* random, qimg_image* image)
{
    const auto number = [&](int64_t low, int64_t high) {
        return static_cast<double>(test_randomRange(random, low, high)) / 16.0;
    };
    const qmath_xformLinear linear = {number(8, 32), number(-6, 6),     number(-6, 6),
                                      number(8, 32), number(-999, 999), number(-999, 999)};
    test_handle handle;
    if (test_chance(random, 50)) {
        EXPECT_EQ(test_constructBent(&handle), 0);
    }
    if (test_chance(random, 50)) {
        EXPECT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&handle, &handle, &linear), 0);
    }
    EXPECT_EQ(qimg_image_setImageFromClientXform(image, &handle), 0);
}

// The pixels that a smoothing of `source`, which begins at (0, 0), writes into an image over `rect`, all of
// which it reaches.
inline test_grid test_smoothed(const test_view& source, const qip_gaussParams& params,
                               const oracle_rect& rect, int32_t pixelSize)
{
    test_grid grid(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height));
    test_putValues(&grid, rect, oracle_smooth(source, 0, 0, test_gaussRequest(params), rect), pixelSize);
    return grid;
}
