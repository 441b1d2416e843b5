// The doors on older records: what qip_gauss refuses, and qfGauss with destinations given and created,
// regions asked for and reported, and what is written.
#include "support/gauss_calls.h"
#include "support/images.h"
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
    test_forCases(3000, [&](test_random& random, uint64_t) {
        const auto number = [&](int64_t low, int64_t high) {
            return test_randomInt(&random, low, high);
        };
        test_placed source, destination;
        source.place(&random, {number(-50, 50), number(-50, 50), number(1, 40), number(1, 40)}, 1);
        test_fillRandom(source.pixels.get(), test_randomBits(&random));
        const int32_t passes = number(-1, 5), kernelX = number(0, 5), kernelY = number(0, 5);
        const int32_t peak = number(0, 1);
        const bool isCopy = passes <= 0 || (kernelX == 0 && kernelY == 0);

        // A given destination is the request, else the region is, else everything.
        const oracle_rect valid = oracle_boxesValid(source.rect, std::max(passes, 0), kernelX, kernelY);
        const oracle_rect& all = valid.isNull() ? source.rect : valid;
        const auto nearby = [&] {
            return oracle_rect{all.x + number(-4, 6), all.y + number(-4, 6), number(1, 30), number(1, 30)};
        };
        oracle_rect asked = valid;
        qsIRegion region = {};
        const bool hasRegion = test_chance(&random, 50);
        if (hasRegion) {
            asked = nearby();
            region = {static_cast<int32_t>(asked.x), static_cast<int32_t>(asked.y),
                      static_cast<int32_t>(asked.width), static_cast<int32_t>(asked.height)};
        }
        const bool isGiven = test_chance(&random, 50);
        const bool inPlace = !isGiven && test_chance(&random, 50);
        if (isGiven)
            destination.place(&random, nearby(), 1);
        if (isGiven || inPlace)
            asked = isGiven ? destination.rect : source.rect;
        const oracle_rect rect = oracle_intersection(valid, asked).orZeros();

        const test_grid before(source.pixels->view());
        const oracle_values values =
            oracle_boxes(before.view(), source.rect.x, source.rect.y, std::max(passes, 0), kernelX, kernelY,
                         peak && !isCopy, rect);
        qsVImage from = source.legacy(), to = destination.legacy();
        from.clientCoords = {2.0F, 0.5F, -0.25F, 1.5F, 7.0F, -3.0F};
        qsVImage* const given = isGiven ? &to : inPlace ? &from : nullptr;
        qsVImage* const out =
            qfGauss(&from, given, passes - 1, kernelX, kernelY, peak, hasRegion ? &region : nullptr);
        ASSERT_NE(out, nullptr);
        EXPECT_TRUE(!given || out == given);
        EXPECT_EQ(qsVImageType(out), QS_IMAGE_TYPE_8);
        EXPECT_TRUE(test_sameRect(given ? asked : rect, oracle_rectOf(out->region)));
        EXPECT_TRUE(!hasRegion || test_sameRect(rect, oracle_rectOf(region)));
        if (!isCopy && !rect.isNull()) {
            qsFXform expected = {2.0F, 0.5F, -0.25F, 1.5F, 7.0F, -3.0F};
            expected.tx -= passes % 2 != 0 && kernelX % 2 != 0 ? 0.5F : 0.0F;
            expected.ty -= passes % 2 != 0 && kernelY % 2 != 0 ? 0.5F : 0.0F;
            EXPECT_EQ(expected, out->clientCoords);
        }
        test_grid after = before;
        if (inPlace)
            test_putValues(&after, source.rect, values, 1);
        else if (given || !rect.isNull())
            test_expectValues(test_legacyView(out), oracle_rectOf(out->region), given ? test_canary : 0,
                              values);
        EXPECT_TRUE(test_samePixels(after, source.pixels->view()));
        EXPECT_TRUE(test_undamaged(*source.pixels));
        EXPECT_TRUE(!isGiven || test_undamaged(*destination.pixels));
        if (!given)
            qsImageFree(out);
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
