// The older smoothing with any number of box passes, against a direct convolution.
#include "support/compare.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/random.h"

#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace
{

enum class target { created, given, inPlace };

struct boxesCase {
    int32_t passes, kernelX, kernelY;
    bool peak;
    target to;
    test_pixels pixels;
    qsVImage source;
    qsVImage given = {};
    std::unique_ptr<test_pixels> givenPixels;
    std::optional<qsIRegion> region;

    explicit boxesCase(test_random* random)
        : passes(number(random, -1, 5)), kernelX(number(random, 0, 5)), kernelY(number(random, 0, 5)),
          peak(number(random, 0, 1) == 1), to(static_cast<target>(number(random, 0, 2))),
          pixels({number(random, 1, 40), number(random, 1, 40), 1,
                  static_cast<test_fence>(number(random, 0, 2)), 0, 0, number(random, 0, 3) == 0}),
          source(test_legacyOver(pixels, number(random, -30, 30), number(random, -30, 30)))
    {
        test_fillRandom(&pixels, test_randomBits(random));
        source.clientCoords = {2.0F, 0.5F, -0.25F, 1.5F, 7.0F, -3.0F};
        const auto nearby = [&] {
            return qsIRegion{source.region.x + number(random, -5, 10),
                             source.region.y + number(random, -5, 10), number(random, 1, 40),
                             number(random, 1, 40)};
        };
        if (to == target::given) {
            const qsIRegion rect = nearby();
            givenPixels = std::make_unique<test_pixels>(test_layout{rect.width, rect.height, 1});
            given = test_legacyOver(*givenPixels, rect.x, rect.y);
        }
        if (number(random, 0, 1) == 1)
            region = nearby();
    }

    static int32_t number(test_random* random, int64_t low, int64_t high)
    {
        return static_cast<int32_t>(test_randomRange(random, low, high));
    }

    int64_t effectivePasses() const
    {
        return std::max(passes, 0);
    }

    bool isCopy() const
    {
        return effectivePasses() * kernelX == 0 && effectivePasses() * kernelY == 0;
    }

    // What is computable and asked for: by the destination, else by the region.
    oracle_rect expectedRect() const
    {
        const oracle_rect sourceRect = test_legacyRect(&source);
        const oracle_rect valid = oracle_boxesValid(sourceRect, effectivePasses(), kernelX, kernelY);
        // Without sampling and kernel the written part is the intersection.
        if (to == target::given)
            return oracle_written(valid, {}, test_legacyRect(&given));
        if (to == target::created && region)
            return oracle_written(valid, {}, {region->x, region->y, region->width, region->height});
        return valid;
    }
};

void expectCoordinates(const boxesCase& made, const qsFXform& actual)
{
    const auto shift = [&](int32_t kernel) {
        return made.passes % 2 != 0 && kernel % 2 != 0 ? 0.5F : 0.0F;
    };
    const qsFXform& before = made.source.clientCoords;
    EXPECT_EQ(actual.m00, before.m00);
    EXPECT_EQ(actual.m01, before.m01);
    EXPECT_EQ(actual.m10, before.m10);
    EXPECT_EQ(actual.m11, before.m11);
    EXPECT_NEAR(actual.tx, 7.0F - shift(made.kernelX), 1e-5);
    EXPECT_NEAR(actual.ty, -3.0F - shift(made.kernelY), 1e-5);
}

void runBoxes(boxesCase* made)
{
    const oracle_rect rect = made->expectedRect();
    const test_grid before(made->pixels.view());
    const oracle_values values =
        rect.isNull() ? oracle_values{}
                      : oracle_boxes(made->pixels.view(), made->source.region.x, made->source.region.y,
                                     made->effectivePasses(), made->kernelX, made->kernelY,
                                     made->peak && !made->isCopy(), rect);
    qsVImage source = made->source;
    qsVImage* const destination = made->to == target::created ? nullptr
                                  : made->to == target::given ? &made->given
                                                              : &source;
    qsIRegion region = made->region.value_or(qsIRegion{});
    qsImage* const out = qfGauss(&source, destination, made->passes - 1, made->kernelX, made->kernelY,
                                 made->peak ? 1 : 0, made->region ? &region : nullptr);
    ASSERT_NE(out, nullptr);
    if (made->region) {
        EXPECT_TRUE(test_sameRect(rect, {region.x, region.y, region.width, region.height}));
    }
    const oracle_rect outRect = test_legacyRect(out);
    if (destination) {
        EXPECT_EQ(out, destination);
    } else {
        EXPECT_EQ(outRect.isNull(), rect.isNull());
    }
    if (!outRect.isNull()) {
        test_grid expected = made->to == target::inPlace ? before
                                                         : test_grid(static_cast<int32_t>(outRect.width),
                                                                     static_cast<int32_t>(outRect.height),
                                                                     destination ? test_canary : 0);
        if (!rect.isNull())
            test_putValues(&expected, outRect, values, 1);
        EXPECT_TRUE(test_samePixels(expected, test_legacyView(out)));
    }
    if (!made->isCopy() && !rect.isNull())
        expectCoordinates(*made, out->clientCoords);
    EXPECT_TRUE(test_undamaged(made->pixels));
    if (made->givenPixels) {
        EXPECT_TRUE(test_undamaged(*made->givenPixels));
    }
    if (made->to != target::inPlace) {
        EXPECT_TRUE(test_samePixels(before, made->pixels.view()));
    }
    if (!destination)
        qsImageFree(out);
}

} // namespace

TEST(GaussBoxes, RandomCallsEqualADirectConvolution)
{
    for (uint64_t number = 0; number < 2000 && !HasFailure(); ++number) {
        test_random random = test_randomFor(number);
        boxesCase made(&random);
        SCOPED_TRACE(test_caseName(number) + ": passes " + std::to_string(made.passes) + " kernel " +
                     std::to_string(made.kernelX) + "x" + std::to_string(made.kernelY) + " target " +
                     std::to_string(static_cast<int>(made.to)) + (made.peak ? " peak" : "") +
                     (made.region ? " region" : ""));
        runBoxes(&made);
    }
}

// The division is a true one: a constant image keeps its level, even where the reciprocal of the other
// smoothings loses one.
TEST(GaussBoxes, ConstantImagesKeepTheirLevel)
{
    for (uint32_t value = 0; value < 256; ++value) {
        test_pixels pixels({40, 7, 1});
        std::fill_n(pixels.row(3), 40, static_cast<unsigned char>(value));
        qsVImage source = test_legacyOver(pixels, 0, 3);
        source.region.height = 1;
        source.firstPixel = pixels.row(3);
        for (const int32_t kernel : {2, 5, 11}) {
            qsImage* const out = qfGauss(&source, nullptr, 2, kernel, 0, 0, nullptr);
            ASSERT_NE(out, nullptr);
            EXPECT_EQ(test_pixel(test_legacyView(out), 0, 0), value) << kernel;
            qsImageFree(out);
        }
    }
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
            EXPECT_EQ(test_legacyRect(out).isNull(), !isCopy && !(passesMinusOne == 2 && kernel == 1));
            qsImageFree(out);
        }
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), pixels.view()));
}
