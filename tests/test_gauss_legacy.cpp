// The door on legacy records: destinations given and created, regions asked for and reported, the smaller
// destination without reflection, peak normalisation, client coordinates and z-scale, and the choice of path.
#include "support/compare.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/nulls.h"
#include "support/policy.h"
#include "support/random.h"

#include <qbase/cpuinfo.h>
#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace
{

qsGaussParams legacyParams(const oracle_gauss& request, const qsVImage* prototype)
{
    return {static_cast<int32_t>(request.sampleX),
            static_cast<int32_t>(request.sampleY),
            static_cast<int32_t>(request.kernelX),
            static_cast<int32_t>(request.kernelY),
            request.peak ? 1 : 0,
            request.validOnly ? 0 : 1,
            request.round ? test_anyRound : 0,
            request.gain,
            prototype,
            0};
}

oracle_gauss randomRequest(test_random* random)
{
    const auto number = [&](int64_t low, int64_t high) {
        return test_randomRange(random, low, high);
    };
    const float gains[] = {1.0F, 0.5F, 1.5F, 3.0F};
    return {.sampleX = number(1, 4),
            .sampleY = number(1, 4),
            .kernelX = number(0, 9),
            .kernelY = number(0, 9),
            .round = number(0, 1) == 1,
            .gain = gains[number(0, 3)],
            .peak = number(0, 3) == 0,
            .validOnly = number(0, 1) == 1};
}

qsIRegion randomRegion(test_random* random, const oracle_rect& near)
{
    const auto number = [&](int64_t low, int64_t high) {
        return static_cast<int32_t>(test_randomRange(random, low, high));
    };
    return {static_cast<int32_t>(near.x) + number(-4, 6), static_cast<int32_t>(near.y) + number(-4, 6),
            number(1, 20), number(1, 20)};
}

oracle_rect rectOf(const qsIRegion& region)
{
    return {region.x, region.y, region.width, region.height};
}

// The client point seen by the source at the middle of a support is seen by the destination at the centre of
// the pixel.
void expectCentres(const qsFXform& source, const qsFXform& destination, const oracle_gauss& request)
{
    qsFXform clientFromSource = {};
    ASSERT_EQ(qsFXformInv(&source, &clientFromSource), 0);
    qsFXform map = {};
    qsFXformCompose(&destination, &clientFromSource, &map);
    for (const int64_t i : {0, 7}) {
        const double x = oracle_supportCentre(i, request.sampleX, request.kernelX);
        const double y = oracle_supportCentre(i, request.sampleY, request.kernelY);
        EXPECT_NEAR(map.m00 * x + map.m01 * y + map.tx, static_cast<double>(i) + 0.5, 1e-3);
        EXPECT_NEAR(map.m10 * x + map.m11 * y + map.ty, static_cast<double>(i) + 0.5, 1e-3);
    }
}

// One call: the source, an optional destination over pixels of its own, an optional region.
struct legacyCall {
    oracle_gauss request;
    test_pixels pixels;
    qsVImage source;
    std::unique_ptr<test_pixels> written;
    qsVImage destination = {};
    std::optional<qsIRegion> region;
    int32_t pixelSize;

    explicit legacyCall(test_random* random)
        : request(randomRequest(random)), pixels({static_cast<int32_t>(test_randomRange(random, 1, 30)),
                                                  static_cast<int32_t>(test_randomRange(random, 1, 30)), 1,
                                                  static_cast<test_fence>(test_randomRange(random, 0, 2)),
                                                  0, 0, test_randomRange(random, 0, 3) == 0}),
          source(test_legacyOver(pixels, static_cast<int32_t>(test_randomRange(random, -50, 50)),
                                 static_cast<int32_t>(test_randomRange(random, -50, 50)))),
          pixelSize(static_cast<int32_t>(test_randomRange(random, 1, 2)))
    {
        test_fillRandom(&pixels, test_randomBits(random));
        source.clientCoords = {2.0F, 0.5F, -0.25F, 1.5F, 7.0F, -3.0F};
        source.clientZScale = 0.75F;
        const oracle_rect all = oracle_destination(sourceRect(), request);
        if (test_randomRange(random, 0, 1) == 1) {
            const qsIRegion r = randomRegion(random, all);
            written = std::make_unique<test_pixels>(test_layout{r.width, r.height, pixelSize});
            destination = test_legacyOver(*written, r.x, r.y);
        }
        if (test_randomRange(random, 0, 1) == 1)
            region = randomRegion(random, all);
    }

    oracle_rect sourceRect() const
    {
        return test_legacyRect(&source);
    }

    // A given destination is the request, else the region is, else everything.
    oracle_rect expectedRect() const
    {
        if (written)
            return oracle_written(sourceRect(), request, test_legacyRect(&destination));
        if (region)
            return oracle_written(sourceRect(), request, rectOf(*region));
        return oracle_destination(sourceRect(), request);
    }
};

void runLegacyCall(legacyCall* made)
{
    const oracle_rect rect = made->expectedRect();
    const qsGaussParams params =
        legacyParams(made->request, made->pixelSize == 1 ? qsImageNull : qsUSImageNull);
    qsIRegion region = made->region.value_or(qsIRegion{});
    qsVImage* const given = made->written ? &made->destination : nullptr;
    qsVImage* out = nullptr;
    ASSERT_EQ(qip_gauss(&made->source, given, &params, made->region ? &region : nullptr, &out), QIP_OK);
    ASSERT_NE(out, nullptr);
    if (made->region) {
        EXPECT_TRUE(test_sameRect(rect, rectOf(region)));
    }
    if (given) {
        EXPECT_EQ(out, given);
        EXPECT_TRUE(test_undamaged(*made->written));
    } else {
        EXPECT_TRUE(test_sameRect(rect, test_legacyRect(out)));
        EXPECT_EQ(qsVImageType(out), made->pixelSize == 1 ? QS_IMAGE_TYPE_8 : QS_IMAGE_TYPE_16);
    }
    expectCentres(made->source.clientCoords, out->clientCoords, made->request);
    const test_view view = test_legacyView(out);
    if (given || !rect.isNull()) {
        const auto before = static_cast<uint16_t>(given ? (made->pixelSize == 1 ? 0x99 : 0x9999) : 0);
        test_grid expected(view.width, view.height, before);
        if (!rect.isNull())
            test_putValues(&expected, test_legacyRect(out),
                           oracle_smooth(made->pixels.view(), made->source.region.x, made->source.region.y,
                                         made->request, rect),
                           made->pixelSize);
        EXPECT_TRUE(test_samePixels(expected, view));
    }
    if (!rect.isNull()) {
        EXPECT_EQ(out->clientZScale, made->request.peak ? 1.0F : 0.75F * made->request.gain);
    }
    if (!given)
        qsImageFree(out);
}

} // namespace

TEST(GaussLegacy, RandomCallsEqualTheDefinition)
{
    const test_inhibition reference("gauss");
    for (uint64_t number = 0; number < 3000 && !HasFailure(); ++number) {
        test_random random = test_randomFor(number);
        legacyCall made(&random);
        SCOPED_TRACE(test_caseName(number) + (made.request.peak ? ", peak" : "") +
                     (made.request.validOnly ? ", valid only" : "") + (made.written ? ", given" : "") +
                     (made.region ? ", region" : ""));
        runLegacyCall(&made);
    }
}

TEST(GaussLegacy, BadArguments)
{
    test_pixels pixels({8, 8, 1});
    test_pixels pixels16({8, 8, 2});
    qsVImage source = test_legacyOver(pixels, 0, 0);
    const qsVImage source16 = test_legacyOver(pixels16, 0, 0);
    qsVImage destination = test_legacyOver(pixels16, 0, 0);
    qsIRegion region = {0, 0, 8, 8};
    qsVImage* out = nullptr;
    const oracle_gauss request{.kernelX = 1, .kernelY = 1};
    const qsGaussParams params = legacyParams(request, qsUSImageNull);
    test_refusesNull("qip_gauss", qip_gauss, {1, 3}, &source, &destination, &params, &region, &out);
    const qsGaussParams noPrototype = legacyParams(request, nullptr);
    out = nullptr;
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
    test_pixels pixels({8, 8, 1});
    test_pixels written({8, 8, 1});
    const qsVImage good = test_legacyOver(pixels, 0, 0);
    qsVImage destination = test_legacyOver(written, 0, 0);
    qsVImage noPixels = good;
    noPixels.firstPixel = nullptr;
    const auto refuse = [&](qip_status expected, qsVImage source, qsVImage* dst) {
        for (const int32_t sample : {1, 2}) {
            const oracle_gauss request{
                .sampleX = sample, .sampleY = sample, .kernelX = 2, .kernelY = 2, .validOnly = sample == 2};
            const qsGaussParams params = legacyParams(request, qsImageNull);
            qsVImage* out = nullptr;
            EXPECT_EQ(qip_gauss(&source, dst, &params, nullptr, &out), expected);
            EXPECT_EQ(out, nullptr);
        }
        EXPECT_EQ(qfGauss(&source, dst, 2, 2, 2, 0, nullptr), nullptr);
        if (!dst) {
            EXPECT_EQ(qfGauss(&source, &source, 2, 2, 2, 0, nullptr), nullptr);
        }
    };
    for (qsVImage* dst : {static_cast<qsVImage*>(nullptr), &destination}) {
        refuse(QIMG_E_UNBOUND, noPixels, dst);
        qsVImage far = good;
        far.region.x = std::numeric_limits<int32_t>::max() - 3;
        refuse(QSYS_E_RANGE, far, dst);
        far.region = {0, std::numeric_limits<int32_t>::max() - 3, 8, 8};
        refuse(QSYS_E_RANGE, far, dst);
    }
    refuse(QIMG_E_UNBOUND, good, &noPixels);
    EXPECT_EQ(destination.clientZScale, 1.0F);
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), written.view()));

    // As many passes as the largest image can hold: no 64-bit number counts the bytes of their sums.
    const int32_t most = std::numeric_limits<int32_t>::max();
    qsVImage largest = good;
    largest.rowStride = 0;
    largest.region = {0, 0, most, most};
    EXPECT_EQ(qfGauss(&largest, nullptr, most - 2, 1, 1, 0, nullptr), nullptr);
}

// An engine that cannot be chosen: a status of the fallback class runs the reference path, any other ends the
// call, and inhibited code asks no processor.
TEST(GaussLegacy, FailuresOfTheProcessorService)
{
    test_pixels pixels({8, 8, 1});
    test_pixels written({8, 8, 1});
    test_fillRandom(&pixels);
    const qsVImage source = test_legacyOver(pixels, 0, 0);
    qsVImage destination = test_legacyOver(written, 0, 0);
    qip_gaussParams smooth = test_gaussParams(1, 2);
    const qsGaussParams params = legacyParams(test_gaussRequest(smooth), qsImageNull);
    const test_grid expected = test_smoothed(pixels.view(), smooth, {0, 0, 8, 8}, 1);
    const test_grid untouched(8, 8, test_canary);
    const auto run = [&](qip_status failure) {
        for (int32_t y = 0; y < 8; ++y)
            for (int32_t x = 0; x < 8; ++x)
                written.set(x, y, test_canary);
        qsVImage* out = nullptr;
        qsys_cpuinfo_setFailure(failure);
        const qip_status status = qip_gauss(&source, &destination, &params, nullptr, &out);
        qsys_cpuinfo_setFailure(0);
        return status;
    };
    for (const int code : {0x0600, 0x0601, 0x061f}) {
        EXPECT_EQ(run(QSYS_FAILURE(code)), QIP_OK);
        EXPECT_TRUE(test_samePixels(expected, written.view()));
    }
    for (const int code : {0x0620, 0x05ff, 0xf600, 0x0101}) {
        EXPECT_EQ(run(QSYS_FAILURE(code)), QSYS_FAILURE(code));
        EXPECT_TRUE(test_samePixels(untouched, written.view()));
    }
    const test_inhibition reference("gauss");
    EXPECT_EQ(run(QSYS_FAILURE(0x0101)), QIP_OK);
    EXPECT_TRUE(test_samePixels(expected, written.view()));
    EXPECT_EQ(test_inhibition::asked(), std::vector<std::string>{"gauss"});
}

TEST(GaussLegacy, RecordsThatAskForNoWork)
{
    EXPECT_TRUE(qfGaussNullParams(qsGaussParamsNull()));
    EXPECT_EQ(qsGaussParamsNull(), qsGaussParamsNull());
    EXPECT_FALSE(qfGaussNullParams(nullptr));
    const std::vector<std::function<void(qsGaussParams*)>> work = {
        [](auto* p) { p->sampleX = 2; },       [](auto* p) { p->sampleY = 2; },
        [](auto* p) { p->kernelSizeX = 1; },   [](auto* p) { p->kernelSizeY = 1; },
        [](auto* p) { p->gain = 1.0000001F; }, [](auto* p) { p->prototype = qsUSImageNull; },
    };
    for (size_t i = 0; i < work.size(); ++i) {
        qsGaussParams params = *qsGaussParamsNull();
        work[i](&params);
        EXPECT_FALSE(qfGaussNullParams(&params)) << i;
    }
    qsGaussParams params = *qsGaussParamsNull();
    params.peakNormalize = params.keepFullRegion = params.round = 1;
    params.gain = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(qfGaussNullParams(&params));
}
