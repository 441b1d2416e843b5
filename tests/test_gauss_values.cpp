// The four smoothing functions against a direct convolution: random sizes (tiny ones and kernels larger
// than the image included), origins, kernels, samplings, gains, destination rectangles, memory layouts,
// depths; and the transforms that they leave on their destinations.
//
// These are the values of the reference path. Fast paths are inhibited: some are required to differ from
// it.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

namespace
{

constexpr int caseCount = 20000;

float randomGain(test_random* random)
{
    const float gains[] = {1.0F, std::ldexp(1.0F, test_randomInt(random, -3, 5)),
                           static_cast<float>(test_randomInt(random, 1, 400)) / 100.0F,
                           static_cast<float>(test_randomInt(random, 1, 1000000)) / 2777.0F};
    return test_pick(random, gains);
}

// One request with its memory. Destinations of image forms may start unbound; then there are no pixels.
struct smoothing {
    oracle_gauss request;
    int32_t pixelSize;
    bool windows;
    test_placed source, destination;
};

// Near the rectangle that the source yields: the same, a part of it, beyond it, sometimes beside it.
oracle_rect randomDestination(test_random* random, const smoothing& made)
{
    const oracle_rect all = oracle_destination(made.source.rect, made.request);
    if (test_chance(random, 25) && !all.isNull())
        return all;
    return {all.x + test_randomRange(random, -6, all.width),
            all.y + test_randomRange(random, -6, all.height),
            test_randomRange(random, 1, std::max<int64_t>(1, all.width + 6)),
            test_randomRange(random, 1, std::max<int64_t>(1, all.height + 6))};
}

// A constant image with a gain that puts the exact result half-way between two levels, where the last bit
// of the sums and of the reciprocal decides.
void makeTies(test_random* random, smoothing* made)
{
    const int64_t step = test_randomRange(random, 1, 40);
    const auto level = static_cast<uint32_t>(step * test_randomRange(random, 1, 255 / step));
    test_fill(made->source.pixels.get(), [&](int32_t, int32_t) { return level; });
    made->request.gain =
        static_cast<float>(2 * test_randomRange(random, 0, 40) + 1) / static_cast<float>(2 * step);
    made->request.round = true;
}

smoothing randomSmoothing(test_random* random)
{
    smoothing made;
    made.request.sampleX = test_chance(random, 50) ? 1 : test_randomRange(random, 1, 9);
    made.request.sampleY = test_chance(random, 50) ? 1 : test_randomRange(random, 1, 9);
    for (int64_t* const kernel : {&made.request.kernelX, &made.request.kernelY})
        *kernel = test_randomRange(random, 0, test_pick(random, std::array{0, 3, 3, 15, 63}));
    made.request.round = test_chance(random, 50);
    made.request.gain = randomGain(random);
    made.pixelSize = test_chance(random, 50) ? 1 : 2;
    made.windows = test_chance(random, 50);
    const int64_t far = test_chance(random, 10) ? 2000000 : 60;
    const int64_t x = test_randomRange(random, -far, far), y = test_randomRange(random, -far, far);
    made.source.place(random, {x, y, test_randomSize(random), test_randomSize(random)}, 1);
    test_fillAnyPixels(random, made.source.pixels.get());
    if (test_chance(random, 20))
        makeTies(random, &made);
    if (made.windows || test_chance(random, 60))
        made.destination.place(random, randomDestination(random, made), made.pixelSize);
    return made;
}

void run(const smoothing& made, test_random* random)
{
    const oracle_rect all = oracle_destination(made.source.rect, made.request);
    const qip_gaussParams params = test_gaussParams(made.request);
    test_plane source = made.source.over();
    test_plane destination = made.destination.over();
    const bool wide = made.pixelSize == 2;
    if (made.windows) {
        const auto smooth = wide ? qip_gauss_smoothWindow8_16 : qip_gauss_smoothWindow8_8;
        EXPECT_EQ(smooth(&source.windowConst, &destination.window, &params), QIP_OK);
    } else {
        test_setRandomTransform(random, &source.image.record);
        const auto smooth = wide ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8;
        EXPECT_EQ(smooth(&source.image.record, &destination.image.record, &params), QIP_OK);
    }
    const oracle_rect rect = made.destination.pixels ? made.destination.rect : all;
    const oracle_rect written = oracle_written(made.source.rect, made.request, rect);
    test_expectPlane(made.destination, destination, !all.isNull(), all,
                     oracle_smooth(made.source.pixels->view(), made.source.rect.x, made.source.rect.y,
                                   made.request, written));
    if (!made.windows && !written.isNull() && std::max(std::abs(rect.x), std::abs(rect.y)) < 150)
        // Coordinates are below about 1000, where single precision keeps a few 1e-4 through the
        // composition.
        test_expectCentres(&source.image.record, &destination.image.record, made.request, written, 2e-3);
}

} // namespace

TEST(GaussValues, EqualADirectConvolution)
{
    const test_inhibition reference("gauss");
    test_forCases(caseCount, [&](test_random& random, uint64_t) {
        const smoothing made = randomSmoothing(&random);
        const test_grid source(made.source.pixels->view());
        run(made, &random);
        EXPECT_TRUE(test_samePixels(source, made.source.pixels->view()));
        EXPECT_TRUE(test_undamaged(*made.source.pixels));
    });
}

// Exact half-way results from images so small that most of the kernel meets nothing: the accumulator goes
// on rounding there, column by column.
TEST(GaussValues, TiesWhereTheKernelIsLargerThanTheImage)
{
    const test_inhibition reference("gauss");
    for (int32_t width = 1; width <= 3; ++width)
        for (int64_t kernel = 1; kernel <= 20; ++kernel)
            for (int numerator = 1; numerator <= 41; numerator += 2) {
                const oracle_gauss request{
                    .kernelX = kernel, .round = true, .gain = static_cast<float>(numerator) / 2.0F};
                SCOPED_TRACE("width " + std::to_string(width) + " kernel " + std::to_string(kernel) +
                             " gain " + std::to_string(request.gain));
                // One row for every grey level.
                test_pixels source({width, 256, 1});
                test_fill(&source, [](int32_t, int32_t y) { return static_cast<uint32_t>(y); });
                const oracle_rect rect = oracle_destination({0, 0, width, 256}, request);
                const test_pixels written({width, 256, 2});
                const auto from = test_windowConstOver(source, 0, 0);
                const auto to = test_windowOver(written, static_cast<int32_t>(rect.x), 0);
                const qip_gaussParams params = test_gaussParams(request);
                ASSERT_EQ(qip_gauss_smoothWindow8_16(&from, &to, &params), QIP_OK);
                EXPECT_TRUE(test_samePixels(test_smoothed(source.view(), params, rect, 2), written.view()));
            }
}

// ---- no number is too large, too small or too strange ----

// Kernels and samplings up to the greatest number, rectangles at the ends of the 32-bit range: the pixels
// of the definition, or a range status with the destination unbound, and never a block that follows the
// kernel.
TEST(GaussExtremes, KernelsSamplingsAndOrigins)
{
    const test_inhibition reference("gauss");
    test_allocator allocator;
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    constexpr int32_t least = std::numeric_limits<int32_t>::min();
    const std::array kernels = {0, 1, 2, 150, 1000000, most / 3, most - 1, most};
    const std::array samplings = {1, 2, 3, 1000, most - 1, most};
    const std::array sizes = {1, 2, 3, 8};
    const std::array origins = {least, least + 1, -1, 0, most / 2 - 3, most - 8};
    int computed = 0;
    test_forCases(4000, [&](test_random& random, uint64_t number) {
        qip_gaussParams params = test_gaussParams(1, 0);
        for (int32_t* kernel : {&params.kernelSizeX, &params.kernelSizeY})
            *kernel = test_pick(&random, kernels);
        for (int32_t* sample : {&params.sampleX, &params.sampleY})
            *sample = test_pick(&random, samplings);
        params.round = test_randomInt(&random, 0, 1);
        const oracle_rect source = {test_pick(&random, origins), test_pick(&random, origins),
                                    test_pick(&random, sizes), test_pick(&random, sizes)};
        const oracle_rect rect = oracle_destination(source, test_gaussRequest(params));
        test_pixels pixels({static_cast<int32_t>(source.width), static_cast<int32_t>(source.height), 1});
        test_fillRandom(&pixels, number);
        const test_image image(pixels, static_cast<int32_t>(source.x), static_cast<int32_t>(source.y));
        test_image destination;
        allocator.arm(0, false);
        const qip_status status = qip_gauss_smooth8_8(&image.record, &destination.record, &params);
        EXPECT_LT(test_allocator::largestBlock(), 4096);
        EXPECT_EQ(destination.isBound(), status >= 0 && !rect.isNull());
        // Far from the ends of the range every kernel and sampling has a defined result.
        const bool isFar = std::abs(source.x) > 1 || std::abs(source.y) > 1;
        EXPECT_TRUE(status == QIP_OK || (status == QSYS_E_RANGE && isFar)) << status;
        if (!destination.isBound() || rect.isNull())
            return;
        ++computed;
        EXPECT_TRUE(test_sameRect(rect, destination.rect()));
        // A kernel of thousands of millions spreads a few pixels over so many that less than a level, and
        // less than half a level, remains of them.
        const bool isHuge = params.kernelSizeX > 150 || params.kernelSizeY > 150;
        test_expectValues(destination.view(), rect, 0,
                          oracle_smooth(pixels.view(), source.x, source.y, test_gaussRequest(params),
                                        isHuge ? oracle_rect{} : rect));
    });
    EXPECT_GT(computed, 400);
}

// Gains that overflow, vanish or are not numbers: what does not fit 64 bits stores 0, the rest wraps.
TEST(GaussExtremes, StrangeGains)
{
    const test_inhibition reference("gauss");
    test_pixels pixels({9, 7, 1});
    test_fillRandom(&pixels);
    const auto from = test_windowConstOver(pixels, 0, 0);
    using limits = std::numeric_limits<double>;
    for (const double gain : {limits::quiet_NaN(), limits::infinity(), limits::max(), limits::denorm_min(),
                              1e-310, 1e-45, 1e-30, 3.4e38, 1e18, 1e10, 7.0e4})
        for (const int32_t kernel : {0, 2})
            for (const int32_t round : {0, 1}) {
                SCOPED_TRACE("gain " + std::to_string(gain) + " kernel " + std::to_string(kernel) +
                             " round " + std::to_string(round));
                qip_gaussParams params = test_gaussParams(1, kernel, gain);
                params.round = round;
                const test_pixels written({9, 7, 2});
                const auto to = test_windowOver(written, 0, 0);
                EXPECT_EQ(qip_gauss_smoothWindow8_16(&from, &to, &params), QIP_OK);
                EXPECT_TRUE(
                    test_samePixels(test_smoothed(pixels.view(), params, {0, 0, 9, 7}, 2), written.view()));
            }
}
