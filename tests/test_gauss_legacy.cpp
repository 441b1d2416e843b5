// The doors on older records: what qip_gauss refuses, and qfGauss with destinations given and created,
// regions asked for and reported, and what is written.
#include "support/any_call.h"
#include "support/policy.h"

#include <qbase/cpuinfo.h>
#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

// ---- qip_gauss ----

TEST(GaussLegacy, BadArguments)
{
    test_pixels pixels({8, 8, 1});
    test_pixels pixels16({8, 8, 2});
    qsVImage source = test_legacyOver(pixels, 0, 0);
    const qsVImage source16 = test_legacyOver(pixels16, 0, 0);
    qsVImage destination = test_legacyOver(pixels16, 0, 0);
    qsVImage* out = nullptr;
    const oracle_gauss request{.kernelX = 1, .kernelY = 1};
    const qsGaussParams params = test_legacyParams(request, qsUSImageNull);
    const qsGaussParams noPrototype = test_legacyParams(request, nullptr);
    EXPECT_EQ(qip_gauss(&source, nullptr, &noPrototype, nullptr, &out), QSYS_E_ARGUMENT);
    EXPECT_EQ(qip_gauss(&source16, nullptr, &params, nullptr, &out), QSYS_E_ARGUMENT);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(qip_gauss(&source, &destination, &noPrototype, nullptr, &out), QIP_OK);
    EXPECT_EQ(out, &destination);
    qsGaussParams bad = params;
    bad.sampleY = 0;
    bad.kernelSizeX = -1;
    EXPECT_EQ(qip_gauss(&source, nullptr, &bad, nullptr, &out), QIP_E_SAMPLING);
    bad.sampleY = 1;
    EXPECT_EQ(qip_gauss(&source, nullptr, &bad, nullptr, &out), QIP_E_KERNEL_SIZE);
}

// Records that are filled by hand may leave out where their pixels are; a source may reach beyond 32 bits.
TEST(GaussLegacy, ImagesThatCannotBeFollowedAreRefused)
{
    const test_pixels pixels({8, 8, 1}), written({8, 8, 1});
    const qsVImage good = test_legacyOver(pixels, 0, 0);
    const int32_t most = std::numeric_limits<int32_t>::max();
    const auto refuse = [&](qip_status expected, qsVImage source, qsVImage* dst) {
        for (const int32_t sample : {1, 2}) {
            const oracle_gauss request{
                .sampleX = sample, .sampleY = sample, .kernelX = 2, .kernelY = 2, .validOnly = sample == 2};
            const qsGaussParams params = test_legacyParams(request, qsImageNull);
            qsVImage* out = nullptr;
            EXPECT_EQ(qip_gauss(&source, dst, &params, nullptr, &out), expected);
            EXPECT_EQ(out, nullptr);
        }
        EXPECT_EQ(qfGauss(&source, dst, 2, 2, 2, 0, nullptr), nullptr);
    };
    qsVImage noPixels = good, destination = test_legacyOver(written, 0, 0);
    noPixels.firstPixel = nullptr;
    refuse(QIMG_E_UNBOUND, good, &noPixels);
    // A 16-bit destination, which only one of the two functions takes.
    const test_pixels written16({8, 8, 2});
    qsVImage oddPlace = test_legacyOver(written16, 0, 0), oddStride = oddPlace;
    oddPlace.firstPixel = static_cast<char*>(oddPlace.firstPixel) + 1;
    ++oddStride.rowStride;
    refuse(QIMG_E_ALIGNMENT, good, &oddPlace);
    refuse(QIMG_E_ALIGNMENT, good, &oddStride);
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canaryPixel(2)), written16.view()));
    for (qsVImage* dst : {static_cast<qsVImage*>(nullptr), &destination}) {
        refuse(QIMG_E_UNBOUND, noPixels, dst);
        for (const qsIRegion& far : {qsIRegion{most - 3, 0, 8, 8}, {0, most - 3, 8, 8}}) {
            qsVImage source = good;
            source.region = far;
            refuse(QSYS_E_RANGE, source, dst);
            EXPECT_EQ(qfGauss(&source, &source, 2, 2, 2, 0, nullptr), nullptr);
        }
    }
    EXPECT_EQ(qfGauss(&noPixels, &noPixels, 2, 2, 2, 0, nullptr), nullptr);
    EXPECT_EQ(destination.clientZScale, 1.0F);
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), written.view()));

    // As many passes as the largest image can hold: no 64-bit number counts the bytes of their sums.
    qsVImage largest = good;
    largest.rowStride = 0;
    largest.region = {0, 0, most, most};
    EXPECT_EQ(qfGauss(&largest, nullptr, most - 2, 1, 1, 0, nullptr), nullptr);
}

// An engine that cannot be chosen: a status of the fallback class runs the reference path, any other ends
// the call, and inhibited code asks no processor.
TEST(GaussLegacy, FailuresOfTheProcessorService)
{
    test_pixels pixels({8, 8, 1});
    test_pixels written({8, 8, 1});
    test_fillRandom(&pixels);
    const qsVImage source = test_legacyOver(pixels, 0, 0);
    qsVImage destination = test_legacyOver(written, 0, 0);
    const qip_gaussParams smooth = test_gaussParams(1, 2);
    const qsGaussParams params = test_legacyParams(test_gaussRequest(smooth), qsImageNull);
    const test_grid expected = test_smoothed(pixels.view(), smooth, {0, 0, 8, 8}, 1);
    const test_grid untouched(8, 8, test_canary);
    const auto expectRun = [&](int code, bool works) {
        const qip_status failure = QSYS_FAILURE(code);
        test_fill(&written, untouched);
        qsVImage* out = nullptr;
        qsys_cpuinfo_setFailure(failure);
        EXPECT_EQ(qip_gauss(&source, &destination, &params, nullptr, &out), works ? QIP_OK : failure);
        qsys_cpuinfo_setFailure(0);
        EXPECT_TRUE(test_samePixels(works ? expected : untouched, written.view()));
    };
    for (const int code : {0x0600, 0x0601, 0x061f})
        expectRun(code, true);
    for (const int code : {0x0620, 0x05ff, 0xf600, 0x0101})
        expectRun(code, false);
    const test_inhibition reference("gauss");
    expectRun(0x0101, true);
    EXPECT_EQ(test_inhibition::asked(), std::vector<std::string>{"gauss"});
}

TEST(GaussLegacy, RecordsThatAskForNoWork)
{
    EXPECT_TRUE(qfGaussNullParams(qsGaussParamsNull()));
    EXPECT_EQ(qsGaussParamsNull(), qsGaussParamsNull());
    EXPECT_FALSE(qfGaussNullParams(nullptr));
    qsGaussParams params = *qsGaussParamsNull();
    const auto expectWork = [&params](auto* field, auto value) {
        const auto before = std::exchange(*field, value);
        EXPECT_FALSE(qfGaussNullParams(&params));
        *field = before;
    };
    for (int32_t* const field :
         {&params.sampleX, &params.sampleY, &params.kernelSizeX, &params.kernelSizeY})
        expectWork(field, *field + 1);
    expectWork(&params.gain, 1.0000001F);
    expectWork(&params.prototype, qsUSImageNull);
    params.peakNormalize = params.keepFullRegion = params.round = 1;
    params.gain = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(qfGaussNullParams(&params));
}

// ---- qfGauss: any number of box passes ----

TEST(GaussBoxes, RandomCallsEqualADirectConvolution)
{
    const test_export what = {"qfGauss", test_family::boxes, 1, 1, false};
    test_forCases(3000, [&](test_random& random, uint64_t) {
        const auto number = [&](int64_t low, int64_t high) {
            return test_randomInt(&random, low, high);
        };
        test_call call;
        call.what = &what;
        call.transform = {1.0, 0.5, -0.25, 2.0, 7.0, -3.0};
        auto& [src, srcMask, resetMask, dst, dstMask] = call.planes;
        src.place(&random, {number(-50, 50), number(-50, 50), number(1, 40), number(1, 40)}, 1);
        test_fillRandom(src.pixels.get(), test_randomBits(&random));
        const test_grid before(src.pixels->view());
        const int32_t kernelX = number(0, 5), kernelY = number(0, 5), passes = std::max(number(-1, 5), 0);
        call.passesX = passes;
        call.params = test_gaussParams({.kernelX = kernelX, .kernelY = kernelY});
        call.peak = test_chance(&random, 50);
        const bool isCopy = passes == 0 || (kernelX == 0 && kernelY == 0);

        // A given destination is the request, else the region is, else everything.
        const oracle_rect valid = oracle_boxesValid(src.rect, passes, kernelX, kernelY);
        const oracle_rect& all = valid.isNull() ? src.rect : valid;
        const auto nearby = [&] {
            return oracle_rect{all.x + number(-4, 6), all.y + number(-4, 6), number(1, 30), number(1, 30)};
        };
        oracle_rect asked = nearby();
        call.region = {static_cast<int32_t>(asked.x), static_cast<int32_t>(asked.y),
                       static_cast<int32_t>(asked.width), static_cast<int32_t>(asked.height)};
        call.hasRegion = test_chance(&random, 50);
        if (test_chance(&random, 25))
            call.inPlace = before;
        else if (test_chance(&random, 65))
            dst.place(&random, nearby(), 1);
        if (call.inPlace || dst.pixels)
            asked = call.inPlace ? src.rect : dst.rect;
        else if (!call.hasRegion)
            asked = valid;
        const oracle_rect rect = oracle_intersection(valid, asked).orZeros();
        const oracle_values values = oracle_boxes(before.view(), src.rect.x, src.rect.y, passes, kernelX,
                                                  kernelY, call.peak && !isCopy, rect);
        const test_outcome seen = test_run(call);
        EXPECT_EQ(seen.status, QIP_OK);
        EXPECT_TRUE(!call.hasRegion || test_sameRect(rect, seen.region));
        if (call.inPlace) {
            test_grid after = before;
            test_putValues(&after, src.rect, values, 1);
            EXPECT_TRUE(test_samePixels(after, src.pixels->view()));
        } else {
            test_expectPlane(dst, seen.dst, true, rect, values);
        }
        if (isCopy || rect.isNull())
            return;
        qmath_xformLinear from, to;
        ASSERT_EQ(qmath_xformLinear_getInverse(&call.transform, &from), 0);
        ASSERT_EQ(qmath_xformLinear_getInverse(&seen.transform, &to), 0);
        EXPECT_NEAR(from.tx - to.tx, passes % 2 != 0 && kernelX % 2 != 0 ? 0.5 : 0.0, 1e-5);
        EXPECT_NEAR(from.ty - to.ty, passes % 2 != 0 && kernelY % 2 != 0 ? 0.5 : 0.0, 1e-5);
    });
}

TEST(GaussBoxes, BadAndExtremeArguments)
{
    test_pixels pixels({8, 8, 1});
    test_pixels pixels16({8, 8, 2});
    qsVImage source = test_legacyOver(pixels, 0, 0);
    qsVImage source16 = test_legacyOver(pixels16, 0, 0);
    EXPECT_EQ(qfGauss(nullptr, &source, 2, 1, 1, 0, nullptr), nullptr);
    EXPECT_EQ(qfGauss(&source16, nullptr, 2, 1, 1, 0, nullptr), nullptr);
    EXPECT_EQ(qfGauss(&source, &source16, 2, 1, 1, 0, nullptr), nullptr);
    EXPECT_EQ(qfGauss(&source, nullptr, 2, -1, 1, 0, nullptr), nullptr);
    EXPECT_EQ(qfGauss(&source, nullptr, 2, 1, -1, 0, nullptr), nullptr);
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    for (const int32_t passesMinusOne : {2, most, most - 1, -most - 1, 1000000})
        for (const int32_t kernel : {0, 1, most, most - 1}) {
            qsIRegion region = {0, 0, 8, 8};
            qsImage* const out = qfGauss(&source, nullptr, passesMinusOne, kernel, kernel, 1, &region);
            ASSERT_NE(out, nullptr);
            const bool isCopy = passesMinusOne < 0 || kernel == 0;
            EXPECT_EQ(oracle_rectOf(out->region).isNull(),
                      !isCopy && !(passesMinusOne == 2 && kernel == 1));
            qsImageFree(out);
        }
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), pixels.view()));
}
