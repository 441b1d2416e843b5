// The unmasked smoothing with kernels, samplings and origins up to the ends of the 32-bit range, on every
// path.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/oracle_engines.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <array>
#include <limits>

// Kernels and samplings up to the greatest number, rectangles at the ends of the 32-bit range: the pixels
// of the path, or a range status and nothing made, and never a block that follows the kernel.
TEST(GaussExtremes, KernelsSamplingsAndOrigins)
{
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    constexpr int32_t least = std::numeric_limits<int32_t>::min();
    const std::array kernels = {0, 1, 2, 150, 1000000, most / 3, most - 1, most};
    const std::array samplings = {1, 2, 3, 1000, most - 1, most};
    const std::array sizes = {1, 2, 3, 8, 9, 27};
    const std::array origins = {least, least + 1, -1, 0, most / 2 - 3, most - 27};
    test_atEveryLevel([&](const std::string& level) {
        int computed = 0;
        test_forCases(4000, [&](test_random& random, uint64_t number) {
            qip_gaussParams params = test_gaussParams(1, 0);
            for (int32_t* kernel : {&params.kernelSizeX, &params.kernelSizeY})
                *kernel = test_pick(&random, kernels);
            for (int32_t* sample : {&params.sampleX, &params.sampleY})
                *sample = test_pick(&random, samplings);
            params.round = test_randomInt(&random, 0, 1);
            const oracle_gauss request = test_gaussRequest(params);
            const oracle_rect source = {test_pick(&random, origins), test_pick(&random, origins),
                                        test_pick(&random, sizes), test_pick(&random, sizes)};
            const oracle_rect rect = oracle_destination(source, request);
            const oracle_call call = {request, source, rect, 1, false};
            test_pixels pixels(
                {static_cast<int32_t>(source.width), static_cast<int32_t>(source.height), 1});
            test_fillRandom(&pixels, number);
            const qsVImage image =
                test_legacyOver(pixels, static_cast<int32_t>(source.x), static_cast<int32_t>(source.y));
            const qsGaussParams legacy = test_legacyParams(request, qsImageNull);
            qsVImage other = {};
            qsVImage* out = &other;
            test_allocator allocator;
            const qip_status status = qip_gauss(&image, nullptr, &legacy, nullptr, &out);
            EXPECT_LT(test_allocator::largestBlock(), 8192);
            // Far from the ends of the range every kernel and sampling has a defined result.
            const bool isFar = std::abs(source.x) > 1 || std::abs(source.y) > 1;
            EXPECT_TRUE(status == QIP_OK || (status == QSYS_E_RANGE && isFar)) << status;
            if (status < 0) {
                EXPECT_EQ(out, level == "sse" ? nullptr : &other); // the older engine forgets it first
                return;
            }
            EXPECT_TRUE(test_sameRect(rect, oracle_rectOf(out->region)));
            if (!rect.isNull() && !HasFailure()) {
                ++computed;
                test_expectValues(test_legacyView(out), rect, 0,
                                  oracle_smoothBy(oracle_pathOf(level, call), pixels.view(), call));
            }
            qsImageFree(out);
        });
        EXPECT_GT(computed, 400);
    });
}
