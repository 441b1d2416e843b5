// No number is too large, too small or too strange for the smoothing functions.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace
{

constexpr int32_t most = std::numeric_limits<int32_t>::max();
constexpr int32_t least = std::numeric_limits<int32_t>::min();

qip_gaussParams extremeParams(test_random* random)
{
    const std::array kernels = {0, 1, 2, 150, 1000000, most / 3, most - 1, most};
    const std::array samplings = {1, 2, 3, 1000, most - 1, most};
    qip_gaussParams params = test_gaussParams(1, 0);
    params.kernelSizeX = test_pick(random, kernels);
    params.kernelSizeY = test_pick(random, kernels);
    params.sampleX = test_pick(random, samplings);
    params.sampleY = test_pick(random, samplings);
    params.round = test_randomInt(random, 0, 1);
    return params;
}

oracle_rect extremeRect(test_random* random)
{
    const std::array sizes = {1, 2, 3, 8};
    const std::array origins = {least, least + 1, -1, 0, most / 2 - 3, most - 8};
    return {test_pick(random, origins), test_pick(random, origins), test_pick(random, sizes),
            test_pick(random, sizes)};
}

} // namespace

// Kernels and samplings up to the greatest number, rectangles at the ends of the 32-bit range: the pixels
// of the definition, or a range status with the destination unbound, and never a block that follows the
// kernel.
TEST(GaussExtremes, KernelsSamplingsAndOrigins)
{
    const test_inhibition reference("gauss");
    test_allocator allocator;
    int computed = 0;
    for (uint64_t number = 0; number < 4000 && !HasFailure(); ++number) {
        test_random random = test_randomFor(number);
        const qip_gaussParams params = extremeParams(&random);
        const oracle_rect source = extremeRect(&random);
        const oracle_rect rect = oracle_destination(source, test_gaussRequest(params));
        SCOPED_TRACE(test_caseName(number));
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
            continue;
        ++computed;
        EXPECT_TRUE(test_sameRect(rect, destination.rect()));
        // A kernel of thousands of millions spreads a few pixels over so many that less than a level, and
        // less than half a level, remains of them.
        const bool isHuge = params.kernelSizeX > 150 || params.kernelSizeY > 150;
        test_expectValues(destination.view(), rect, 0,
                          oracle_smooth(pixels.view(), source.x, source.y, test_gaussRequest(params),
                                        isHuge ? oracle_rect{} : rect));
    }
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
