// The doors on older records: what qip_gauss refuses, and qfGauss with destinations given and created,
// regions asked for and reported, and what is written.
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qbase/cpuinfo.h>
#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace
{

// The arguments of one call: a source, an optional destination over pixels of its own, an optional region.
struct legacyCall {
    test_pixels pixels;
    qsVImage source;
    std::unique_ptr<test_pixels> written;
    qsVImage destination = {};
    std::optional<qsIRegion> region;

    explicit legacyCall(test_random* random)
        : pixels({test_randomInt(random, 1, 40), test_randomInt(random, 1, 40), 1,
                  static_cast<test_fence>(test_randomInt(random, 0, 2)), 0, 0, test_chance(random, 25)}),
          source(test_legacyOver(pixels, test_randomInt(random, -50, 50), test_randomInt(random, -50, 50)))
    {
        test_fillRandom(&pixels, test_randomBits(random));
        source.clientCoords = {2.0F, 0.5F, -0.25F, 1.5F, 7.0F, -3.0F};
        source.clientZScale = 0.75F;
    }

    // Perhaps a destination and a region, near what the source yields.
    void ask(test_random* random, const oracle_rect& all)
    {
        const auto nearby = [&] {
            return qsIRegion{static_cast<int32_t>(all.x) + test_randomInt(random, -4, 6),
                             static_cast<int32_t>(all.y) + test_randomInt(random, -4, 6),
                             test_randomInt(random, 1, 30), test_randomInt(random, 1, 30)};
        };
        if (test_chance(random, 50)) {
            const qsIRegion r = nearby();
            written = std::make_unique<test_pixels>(test_layout{r.width, r.height, 1});
            destination = test_legacyOver(*written, r.x, r.y);
        }
        if (test_chance(random, 50))
            region = nearby();
    }

    qsVImage* given()
    {
        return written ? &destination : nullptr;
    }

    // What of the valid part is written: a given destination is the request, else the region is, else
    // everything.
    oracle_rect writtenPart(const oracle_rect& valid) const
    {
        if (written)
            return oracle_intersection(valid, oracle_rectOf(destination.region)).orZeros();
        return region ? oracle_intersection(valid, oracle_rectOf(*region)).orZeros() : valid;
    }

    // The result after a call that reported `reported` as its region, and releases what the call made.
    void expectResult(qsVImage* out, const qsIRegion& reported, const oracle_rect& rect,
                      const oracle_values& values)
    {
        if (region) {
            EXPECT_TRUE(test_sameRect(rect, oracle_rectOf(reported)));
        }
        EXPECT_TRUE(test_undamaged(pixels));
        if (written) {
            EXPECT_EQ(out, &destination);
            EXPECT_TRUE(test_undamaged(*written));
        } else {
            EXPECT_TRUE(test_sameRect(rect, oracle_rectOf(out->region)));
            EXPECT_EQ(qsVImageType(out), QS_IMAGE_TYPE_8);
        }
        if (written || !rect.isNull())
            test_expectValues(test_legacyView(out), oracle_rectOf(out->region), written ? test_canary : 0,
                              values);
        if (!written)
            qsImageFree(out);
    }
};

} // namespace

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
        legacyCall made(&random);
        const oracle_rect source = oracle_rectOf(made.source.region);
        const int32_t passes = test_randomInt(&random, -1, 5);
        const int32_t kernelX = test_randomInt(&random, 0, 5);
        const int32_t kernelY = test_randomInt(&random, 0, 5);
        const bool isCopy = passes <= 0 || (kernelX == 0 && kernelY == 0);
        const int32_t peak = test_randomInt(&random, 0, 1);
        const oracle_rect valid = oracle_boxesValid(source, std::max(passes, 0), kernelX, kernelY);
        made.ask(&random, valid.isNull() ? source : valid);
        const bool inPlace = !made.written && test_chance(&random, 50);
        const oracle_rect rect = inPlace ? valid : made.writtenPart(valid);
        const test_grid before(made.pixels.view());
        const oracle_values values =
            oracle_boxes(made.pixels.view(), source.x, source.y, std::max(passes, 0), kernelX, kernelY,
                         peak && !isCopy, rect);
        const qsFXform client = made.source.clientCoords;
        qsIRegion region = made.region.value_or(qsIRegion{});
        qsVImage* const out = qfGauss(&made.source, inPlace ? &made.source : made.given(), passes - 1,
                                      kernelX, kernelY, peak, made.region ? &region : nullptr);
        ASSERT_NE(out, nullptr);
        if (!isCopy && !rect.isNull()) {
            qsFXform expected = client;
            expected.tx = 7.0F - (passes % 2 != 0 && kernelX % 2 != 0 ? 0.5F : 0.0F);
            expected.ty = -3.0F - (passes % 2 != 0 && kernelY % 2 != 0 ? 0.5F : 0.0F);
            EXPECT_EQ(expected, out->clientCoords);
        }
        if (!inPlace) {
            EXPECT_TRUE(test_samePixels(before, made.pixels.view()));
            made.expectResult(out, region, rect, values);
            return;
        }
        EXPECT_EQ(out, &made.source);
        EXPECT_TRUE(test_undamaged(made.pixels));
        test_grid expected = before;
        test_putValues(&expected, source, values, 1);
        EXPECT_TRUE(test_samePixels(expected, made.pixels.view()));
        if (made.region) {
            EXPECT_TRUE(test_sameRect(rect, oracle_rectOf(region)));
        }
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
