// The mask of pixels that can be trusted, against a count by its definition, and what else the function
// promises.
#include "support/faults.h"
#include "support/images.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qip/masked.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

namespace
{

struct request {
    int32_t kernel[2] = {1, 1};
    int32_t sample[2] = {1, 1};
    double threshold = 0.5;

    qip_status call(const qimg_image* src, const qimg_image* centre, qimg_image* result) const
    {
        return qip_filterMask_computeResultMask_(src, centre, kernel, sample, threshold, result);
    }
    oracle_gauss geometry() const
    {
        return {.sampleX = sample[0], .sampleY = sample[1], .kernelX = kernel[0], .kernelY = kernel[1]};
    }
};

// ---- the definition ----

// The positions in the source that stand for those under the footprint around `centre`.
std::vector<int64_t> covered(int64_t centre, int64_t kernel, int64_t length)
{
    std::vector<int64_t> positions;
    const int64_t first = centre - 3 * kernel / 2;
    for (int64_t p = std::max(first, -length); p <= std::min(first + 3 * kernel, 2 * length - 1); ++p)
        positions.push_back(oracle_reflected(p, length));
    return positions;
}

// The values of `written`, a part of what the source yields; its first source pixel is at src.x, src.y.
test_grid expectedMask(test_grid mask, const oracle_rect& src, std::optional<test_grid> centre,
                       const request& request, const oracle_rect& written)
{
    const double area = (3.0 * request.kernel[0] + 1.0) * (3.0 * request.kernel[1] + 1.0);
    double least = std::trunc(area * request.threshold + 0.5);
    if (least == 0.0 || std::isnan(least))
        least = 1.0;
    test_grid result(static_cast<int32_t>(written.width), static_cast<int32_t>(written.height));
    for (int64_t y = 0; y < written.height; ++y) {
        const int64_t cy = oracle_centre(written.y + y, request.sample[1], request.kernel[1]) - src.y;
        std::vector<int64_t> inColumn(static_cast<size_t>(mask.width));
        for (const int64_t row : covered(cy, request.kernel[1], mask.height))
            for (int32_t x = 0; x < mask.width; ++x)
                inColumn[static_cast<size_t>(x)] += mask.at(x, row) >= 128;
        for (int64_t x = 0; x < written.width; ++x) {
            const int64_t cx = oracle_centre(written.x + x, request.sample[0], request.kernel[0]) - src.x;
            int64_t count = 0;
            for (const int64_t column : covered(cx, request.kernel[0], mask.width))
                count += inColumn[static_cast<size_t>(column)];
            const bool isCleared =
                centre && (cx >= centre->width || cy >= centre->height || centre->at(cx, cy) == 0);
            result.at(x, y) = static_cast<double>(count) >= least && !isCleared ? 255 : 0;
        }
    }
    return result;
}

// ---- random cases ----

int32_t randomKernel(test_random* random)
{
    if (test_chance(random, 85))
        return test_randomInt(random, 0, test_pick(random, std::vector<int>{3, 15, 63}));
    return test_pick(random, std::vector<int32_t>{84, 85, 100, 400, 30000, 1000000, INT32_MAX});
}

request randomRequest(test_random* random)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    request made;
    for (int axis = 0; axis < 2; ++axis) {
        made.kernel[axis] = randomKernel(random);
        made.sample[axis] = test_chance(random, 50) ? 1 : test_randomInt(random, 1, 7);
    }
    if (test_chance(random, 2))
        made.sample[0] = test_randomInt(random, 1, INT32_MAX);
    made.threshold = static_cast<double>(test_randomInt(random, 0, 1000)) / 1000.0;
    if (test_chance(random, 25))
        made.threshold = test_pick(random, std::vector<double>{0.0, 1.0, 1e-5, -1e-9, -0.3, 1.2, 1e300,
                                                               -1e300, infinity, -infinity, NAN});
    return made;
}

int32_t randomSize(test_random* random)
{
    return test_randomInt(random, 1, test_pick(random, std::vector<int>{8, 70, 200}));
}

// Around 128, or of any kind.
test_grid randomMask(test_random* random, int32_t width, int32_t height)
{
    test_grid made = test_randomMask(random, width, height, test_randomInt(random, 0, test_maskKinds - 1));
    if (test_chance(random, 30))
        for (uint16_t& value : made.values)
            value = test_randomBits(random) & 1 ? 128 : 127;
    return made;
}

enum class centreKind { none, unbound, own, source };
enum class resultKind { unbound, own, inSource, inCentre };

struct maskCase {
    request asked;
    oracle_rect src;
    test_grid srcMask{0, 0};
    centreKind centre = centreKind::none;
    std::optional<test_grid> centreMask;
    resultKind result = resultKind::own;
    oracle_rect dst;    // a result of its own
    int64_t inside = 0; // columns and rows from the first pixel of a mask to that of a result in it
};

maskCase randomCase(test_random* random)
{
    maskCase made;
    made.asked = randomRequest(random);
    made.src = {test_randomInt(random, -300, 300), test_randomInt(random, -300, 300), randomSize(random),
                randomSize(random)};
    const auto width = static_cast<int32_t>(made.src.width);
    const auto height = static_cast<int32_t>(made.src.height);
    made.srcMask = randomMask(random, width, height);
    made.centre = static_cast<centreKind>(test_randomInt(random, 0, 3));
    if (made.centre == centreKind::source)
        made.centreMask = made.srcMask;
    if (made.centre == centreKind::own)
        made.centreMask = test_chance(random, 50)
                              ? randomMask(random, width, height)
                              : randomMask(random, randomSize(random), randomSize(random));
    if (test_chance(random, 30))
        made.result = static_cast<resultKind>(test_randomInt(random, 0, 3));
    if (made.result == resultKind::inCentre && made.centre != centreKind::own)
        made.result = resultKind::inSource;
    const test_grid& around = made.result == resultKind::inCentre ? *made.centreMask : made.srcMask;
    made.inside = test_randomRange(random, 0, std::min({3, around.width, around.height}) - 1);

    const oracle_rect all = oracle_destination(made.src, made.asked.geometry());
    const int64_t left = test_randomRange(random, -3, all.width / 2);
    const int64_t top = test_randomRange(random, -3, all.height / 2);
    made.dst = {all.x + left, all.y + top,
                test_randomRange(random, 1, std::max<int64_t>(all.width - left + 3, 1)),
                test_randomRange(random, 1, std::max<int64_t>(all.height - top + 3, 1))};
    return made;
}

void check(const maskCase& made, test_random random)
{
    const test_grid centreMask = made.centreMask.value_or(test_grid(1, 1));
    test_pixels srcPixels(test_randomLayout(&random, made.src.width, made.src.height, 1));
    test_pixels centrePixels(test_randomLayout(&random, centreMask.width, centreMask.height, 1));
    test_pixels dstPixels(test_randomLayout(&random, made.dst.width, made.dst.height, 1));
    test_fill(&srcPixels, made.srcMask);
    test_fill(&centrePixels, centreMask);
    const test_image src(srcPixels, static_cast<int32_t>(made.src.x), static_cast<int32_t>(made.src.y));
    test_image centre;
    if (made.centre == centreKind::own)
        centre.lay(centrePixels, 7, -9); // its place does not matter

    test_image result;
    const test_pixels* const places[] = {nullptr, &dstPixels, &srcPixels, &centrePixels};
    const test_pixels* const place = places[static_cast<int>(made.result)];
    if (place) {
        const int64_t inside = made.result == resultKind::own ? 0 : made.inside;
        const auto shift = static_cast<int32_t>(inside);
        const test_view view = place->view();
        const qstd_rect32 rect = {static_cast<int32_t>(made.dst.x), static_cast<int32_t>(made.dst.y),
                                  view.width - shift, view.height - shift};
        EXPECT_EQ(qimg_image_constructMemory(&result.record, 1, &rect, place->stride(),
                                             place->row(inside) + inside, nullptr, nullptr),
                  0);
    }
    const oracle_rect rect = place ? result.rect() : oracle_destination(made.src, made.asked.geometry());
    const oracle_rect written = oracle_written(made.src, made.asked.geometry(), rect);
    test_grid values = expectedMask(made.srcMask, made.src, made.centreMask, made.asked, written);
    test_grid expected(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height));
    if (place)
        expected = test_grid(result.view());
    for (int64_t y = 0; y < written.height; ++y)
        for (int64_t x = 0; x < written.width; ++x)
            expected.at(written.x - rect.x + x, written.y - rect.y + y) = values.at(x, y);

    const qimg_image* const centres[] = {nullptr, &centre.record, &centre.record, &src.record};
    EXPECT_EQ(made.asked.call(&src.record, centres[static_cast<int>(made.centre)], &result.record), QIP_OK);
    EXPECT_TRUE(test_sameRect(rect, result.rect()));
    EXPECT_TRUE(test_samePixels(expected.view(), result.view()));
    for (const test_pixels* pixels : {&srcPixels, &centrePixels, &dstPixels})
        EXPECT_EQ(pixels->damage(), "");
}

// A source of noise in memory of its own, at (2, 3), and an image for the result.
struct noise {
    test_pixels pixels{{60, 90, 1}};
    test_image src, result;

    noise()
    {
        test_fillRandom(&pixels);
        src.lay(pixels, 2, 3);
    }
};

} // namespace

TEST(ResultMask, CountsByDefinition)
{
    test_forCases(test_caseCount(400), [](test_random& random, uint64_t) {
        const maskCase made = randomCase(&random);
        test_atEveryLevel([&](const std::string&) { check(made, random); });
    });
}

// Footprints of 253 and 256 rows, of 65344 and 65536 pixels: what 8 bits and 16 bits just hold, and what
// they just do not. All of it is valid, and one pixel not.
TEST(ResultMask, LargestCounts)
{
    const int32_t kernels[][2] = {{3, 84}, {3, 85}, {340, 21}, {341, 21}};
    for (const auto& kernel : kernels) {
        maskCase made;
        made.asked = {{kernel[0], kernel[1]}, {1, 1}, 1.0};
        made.src = made.dst = {0, 0, 520, 130};
        made.srcMask = test_grid(520, 130, 255);
        made.srcMask.at(140, 100) = 0;
        test_atEveryLevel([&](const std::string&) { check(made, test_randomFor(1)); });
    }
}

TEST(ResultMask, Statuses)
{
    noise made;
    const request good;
    test_image unbound;
    test_image wide;
    const qstd_rect32 rect{0, 0, 4, 4};
    ASSERT_EQ(qimg_image16_assignNewRect(&wide.record, &rect), 0);
    EXPECT_EQ(good.call(&unbound.record, nullptr, &made.result.record), QIP_E_NULL_IMAGE);
    EXPECT_EQ(good.call(&wide.record, nullptr, &made.result.record), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(good.call(&made.src.record, &wide.record, &made.result.record), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(good.call(&made.src.record, nullptr, &wide.record), QIMG_E_PIXEL_SIZE);
    for (const request& nothing : {request{{-1, 1}, {1, 1}}, request{{1, INT32_MIN}, {1, 1}},
                                   request{{1, 1}, {0, 1}}, request{{1, 1}, {1, INT32_MIN}}}) {
        EXPECT_EQ(nothing.call(&made.src.record, nullptr, &made.result.record), QIP_OK);
        EXPECT_EQ(nothing.call(&made.src.record, nullptr, &made.src.record), QIP_OK);
    }
    const test_pixels before({60, 90, 1});
    test_image last(before, INT32_MAX - 59, 0); // with an even box, one more than the source's last column
    EXPECT_EQ(good.call(&last.record, nullptr, &made.result.record), QSYS_E_RANGE);
    EXPECT_FALSE(made.result.isBound());

    test_image empty;
    const qstd_rect32 none{3, 4, 0, 5};
    ASSERT_EQ(qimg_image8_assignNewRect(&empty.record, &none), 0);
    EXPECT_EQ(good.call(&empty.record, nullptr, &made.result.record), QIP_OK);
    EXPECT_TRUE(made.result.isBound() && made.result.rect().isNull());
}

// The first 64 rows that enter, 3 of which are reflected at the top, and the 29 and 3 others.
TEST(ResultMask, StopsWhereItIsTold)
{
    noise made;
    const test_pixels target({60, 90, 1});
    test_image result(target, 2, 3);
    const request asked{{2, 2}};
    const test_attention stopping(2);
    EXPECT_EQ(asked.call(&made.src.record, nullptr, &result.record), QSYS_E_CANCELLED);
    // The rows -3 .. 60 have come under the kernel, which reaches three rows down.
    EXPECT_NE(target.row(57)[0], test_canary);
    EXPECT_EQ(target.row(58)[0], test_canary);
}
