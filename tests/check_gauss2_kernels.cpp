// The fast unmasked filters of the half-resolution and binomial family: every filter at every processor level
// against the weighted sum written out pixel by pixel, on guarded memory.
#include "gauss2/fast.h"

#include "support/compare.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/policy.h"
#include "support/random.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

// A filter by its formula: taps in each direction, the step between outputs, the rows that its polls count.
template <class Pixel>
struct filter {
    const char* name;
    gauss2_filter which;
    int tapsX, tapsY;
    int stepX, stepY;
    int uncountedRows;
    bool pollsFirst; // nothing is written before the last poll
};

enum { fiveByOne = 2, oneByFive = 3 };
template <class Pixel>
const filter<Pixel> filters[] = {
    {"half", gauss2_half, 5, 5, 2, 2, 1, false},   {"5x5", gauss2_full5x5, 5, 5, 1, 1, 0, false},
    {"5x1", gauss2_full5x1, 5, 1, 1, 1, 0, false}, {"1x5", gauss2_full1x5, 1, 5, 1, 1, 0, false},
    {"halfX", gauss2_halfX, 5, 1, 2, 1, 0, true},  {"halfY", gauss2_halfY, 1, 5, 1, 2, 0, true},
};

constexpr int64_t pollPeriod = 64;
constexpr uint32_t binomialWeights[5] = {1, 4, 6, 4, 1};

// One direction's part of a weighted sum: calls visit(index, weight) for the taps around `centre`.
template <class Visit>
void forTaps(int taps, int64_t centre, int64_t size, const Visit& visit)
{
    if (taps == 1)
        visit(centre, 1u);
    for (int i = 0; taps == 5 && i < 5; ++i)
        visit(std::clamp<int64_t>(centre + i - 2, 0, size - 1), binomialWeights[i]);
}

template <class Pixel>
test_grid expected(const filter<Pixel>& filter, const test_grid& source)
{
    const uint32_t weight = (filter.tapsX == 5 ? 16u : 1u) * (filter.tapsY == 5 ? 16u : 1u);
    test_grid result(source.width / filter.stepX, source.height / filter.stepY);
    const test_view view = source.view();
    for (int64_t y = 0; y < result.height; ++y)
        for (int64_t x = 0; x < result.width; ++x) {
            uint32_t sum = weight / 2;
            forTaps(filter.tapsY, filter.stepY * y, source.height, [&](int64_t row, uint32_t weightY) {
                forTaps(filter.tapsX, filter.stepX * x, source.width,
                        [&](int64_t column, uint32_t weightX) {
                            sum += weightY * weightX * test_pixel(view, column, row);
                        });
            });
            result.at(x, y) = static_cast<uint16_t>(sum / weight);
        }
    return result;
}

// Memory of any shape against forbidden pages, drawn from the case's random numbers.
test_layout randomLayout(test_random* random, int32_t width, int32_t height, int32_t pixelSize)
{
    const test_fence fences[] = {test_fence::rowEnds, test_fence::rowStarts, test_fence::block};
    test_layout layout = {width, height, pixelSize};
    layout.fence = fences[test_randomRange(random, 0, 2)];
    layout.shift = test_randomRange(random, 0, 1)
                       ? static_cast<int32_t>(pixelSize * test_randomRange(random, 0, 31))
                       : 0;
    layout.gap = static_cast<int32_t>(pixelSize * test_randomRange(random, 0, 40));
    layout.upward = test_randomRange(random, 0, 1);
    return layout;
}

template <class Pixel>
gauss2_planes<Pixel> planesOf(const test_pixels& source, const test_pixels& destination)
{
    const test_view view = source.view();
    return {view.width,
            view.height,
            static_cast<const Pixel*>(view.first),
            view.stride,
            static_cast<Pixel*>(destination.first()),
            destination.stride()};
}

void fill(test_pixels& pixels, const test_grid& values)
{
    const test_view view = values.view();
    for (int32_t y = 0; y < values.height; ++y)
        for (int32_t x = 0; x < values.width; ++x)
            pixels.set(x, y, test_pixel(view, x, y));
}

// Runs one filter at every level and compares pixels, status, polls and memory.
template <class Pixel>
void check(const filter<Pixel>& filter, const test_grid& source, test_random* random)
{
    const test_grid result = expected(filter, source);
    const int64_t counted = source.height - filter.uncountedRows;
    test_pixels from(randomLayout(random, source.width, source.height, sizeof(Pixel)));
    fill(from, source);
    const test_layout layout = randomLayout(random, result.width, result.height, sizeof(Pixel));
    test_atEveryLevel([&](const std::string&) {
        SCOPED_TRACE(testing::Message() << filter.name << ", " << 8 * sizeof(Pixel) << " bits, "
                                        << source.width << "x" << source.height);
        test_pixels to(layout);
        const test_grid untouched(to.view());
        const test_attention attention;
        const qip_status status = gauss2_fast(filter.which, planesOf<Pixel>(from, to));
        EXPECT_TRUE(test_undamaged(to));
        if (source.width < 3) {
            EXPECT_EQ(status, QIP_E_FALLBACK);
            EXPECT_EQ(attention.polls(), 0);
            EXPECT_TRUE(test_samePixels(untouched, to.view()));
            return;
        }
        EXPECT_EQ(status, QIP_OK);
        EXPECT_EQ(attention.polls(), (counted + pollPeriod - 1) / pollPeriod);
        EXPECT_TRUE(test_samePixels(result, to.view()));
    });
}

template <class Pixel>
test_grid randomGrid(test_random* random, int32_t width, int32_t height)
{
    test_grid grid(width, height);
    for (uint16_t& value : grid.values)
        value = static_cast<Pixel>(test_randomBits(random));
    return grid;
}

template <class Pixel>
struct Gauss2Kernels : testing::Test {
};
using Depths = testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(Gauss2Kernels, Depths);

} // namespace

TYPED_TEST(Gauss2Kernels, EveryWidth)
{
    for (int32_t width = 1; width <= 140 && !this->HasFailure(); ++width)
        for (const filter<TypeParam>& each : filters<TypeParam>) {
            test_random random = test_randomFor(static_cast<uint64_t>(width));
            SCOPED_TRACE(test_caseName(static_cast<uint64_t>(width)));
            const auto height = static_cast<int32_t>(test_randomRange(&random, 1, 12));
            check(each, randomGrid<TypeParam>(&random, width, height), &random);
        }
}

TYPED_TEST(Gauss2Kernels, RandomSizes)
{
    for (uint64_t number = 1000; number < 1040 && !this->HasFailure(); ++number)
        for (const filter<TypeParam>& each : filters<TypeParam>) {
            test_random random = test_randomFor(number);
            SCOPED_TRACE(test_caseName(number));
            const auto width = static_cast<int32_t>(test_randomRange(&random, 1, 400));
            const auto height = static_cast<int32_t>(test_randomRange(&random, 1, 150));
            check(each, randomGrid<TypeParam>(&random, width, height), &random);
        }
}

// The greatest sums, the greatest differences between neighbours, and all heights around a poll and a sweep.
TYPED_TEST(Gauss2Kernels, ExtremesAndEveryHeight)
{
    constexpr TypeParam most = static_cast<TypeParam>(~TypeParam{0});
    for (int32_t height = 1; height <= 140 && !this->HasFailure(); height += height == 20 ? 41 : 1)
        for (const filter<TypeParam>& each : filters<TypeParam>) {
            test_random random = test_randomFor(static_cast<uint64_t>(2000 + height));
            const auto width = static_cast<int32_t>(test_randomRange(&random, 3, 100));
            test_grid source(width, height, most);
            check(each, source, &random);
            for (int32_t y = 0; y < height; ++y)
                for (int32_t x = 0; x < width; ++x)
                    source.at(x, y) = (x ^ y) & 1 ? most : 0;
            check(each, source, &random);
        }
}

// All combinations of the low four bits, which alone decide the rounding of a sum of weight 16, at the bottom
// and at the top of the range. One column of the image is one combination; row 2 is the result.
TYPED_TEST(Gauss2Kernels, EveryRoundingOfFivePixels)
{
    constexpr int32_t combinations = 1 << 20;
    const TypeParam tops[] = {0, static_cast<TypeParam>(~TypeParam{15})};
    for (const TypeParam top : tops) {
        std::vector<TypeParam> source(5 * size_t{combinations});
        std::vector<TypeParam> result(5 * size_t{combinations});
        for (size_t i = 0; i < source.size(); ++i)
            source[i] = static_cast<TypeParam>(top + (i % combinations >> 4 * (i / combinations) & 15));
        const int64_t stride = combinations * int64_t{sizeof(TypeParam)};
        test_atEveryLevel([&](const std::string&) {
            EXPECT_EQ(gauss2_fast(gauss2_full1x5, gauss2_planes<TypeParam>{combinations, 5, source.data(),
                                                                           stride, result.data(), stride}),
                      QIP_OK);
            int64_t wrong = 0;
            for (size_t x = 0; x < combinations; ++x) {
                uint32_t sum = 8;
                for (size_t y = 0; y < 5; ++y)
                    sum += binomialWeights[y] * source[y * combinations + x];
                wrong += result[2 * size_t{combinations} + x] != sum >> 4;
            }
            EXPECT_EQ(wrong, 0);
        });
    }
}

// A poll that says stop: its status comes back, and just the rows before it are written.
TYPED_TEST(Gauss2Kernels, StopsAtAPoll)
{
    constexpr int32_t height = 200;
    test_random random = test_randomFor(4000);
    const test_grid source = randomGrid<TypeParam>(&random, 90, height);
    test_pixels from({source.width, source.height, sizeof(TypeParam)});
    fill(from, source);
    for (const filter<TypeParam>& each : filters<TypeParam>)
        for (int64_t n = 1; n <= 4; ++n) {
            const test_grid result = expected(each, source);
            test_atEveryLevel([&](const std::string&) {
                SCOPED_TRACE(testing::Message() << each.name << ", poll " << n);
                test_pixels to({result.width, result.height, sizeof(TypeParam)});
                test_grid partly(to.view());
                if (!each.pollsFirst)
                    std::copy_n(result.values.begin(), (n - 1) * pollPeriod / each.stepY * result.width,
                                partly.values.begin());
                const test_attention attention(n);
                EXPECT_EQ(gauss2_fast(each.which, planesOf<TypeParam>(from, to)), QSYS_E_CANCELLED);
                EXPECT_EQ(attention.polls(), n);
                EXPECT_TRUE(test_samePixels(partly, to.view()));
                EXPECT_EQ(test_allocator::liveBlocks(), 0);
            });
        }
}

TYPED_TEST(Gauss2Kernels, FailuresOfServicesComeBack)
{
    test_random random = test_randomFor(5000);
    const test_grid source = randomGrid<TypeParam>(&random, 70, 70);
    test_pixels from({source.width, source.height, sizeof(TypeParam)});
    fill(from, source);
    test_allocator allocator;
    for (const filter<TypeParam>& each : filters<TypeParam>) {
        SCOPED_TRACE(each.name);
        test_pixels to({source.width / each.stepX, source.height / each.stepY, sizeof(TypeParam)});
        const test_grid untouched(to.view());
        const gauss2_planes<TypeParam> planes = planesOf<TypeParam>(from, to);
        qsys_cpuinfo_setFailure(QSYS_E_RANGE);
        EXPECT_EQ(gauss2_fast(each.which, planes), QSYS_E_RANGE);
        qsys_cpuinfo_setFailure(0);
        allocator.arm(1, false);
        const qip_status status = gauss2_fast(each.which, planes);
        EXPECT_EQ(status, allocator.disarm() ? QSYS_E_MEMORY : QIP_OK);
        EXPECT_EQ(test_allocator::liveBlocks(), 0);
        if (status < 0) {
            EXPECT_TRUE(test_samePixels(untouched, to.view()));
        }
    }
}

// Above 2^24 pixels the one-direction filters make their first rows in memory of their own. What they give is
// every second column or row of what 5x1 and 1x5 give, which the other tests hold against the sums.
TYPED_TEST(Gauss2Kernels, LargeImagesWaitForTheLastPoll)
{
    const struct {
        const filter<TypeParam>& half;
        const filter<TypeParam>& full;
    } cases[] = {{filters<TypeParam>[4], filters<TypeParam>[fiveByOne]},
                 {filters<TypeParam>[5], filters<TypeParam>[oneByFive]}};
    test_random random = test_randomFor(6000);
    const int32_t width = 100'001;
    const int32_t height = 201;
    test_pixels from({width, height, sizeof(TypeParam)});
    for (int32_t y = 0; y < height; ++y)
        test_randomFill(&random, from.row(y), int64_t{width} * int64_t{sizeof(TypeParam)});
    test_pixels smoothed({width, height, sizeof(TypeParam)});
    test_allocator allocator;
    for (const auto& [half, full] : cases) {
        SCOPED_TRACE(half.name);
        ASSERT_EQ(gauss2_fast(full.which, planesOf<TypeParam>(from, smoothed)), QIP_OK);
        test_pixels to({width / half.stepX, height / half.stepY, sizeof(TypeParam)});
        const gauss2_planes<TypeParam> planes = planesOf<TypeParam>(from, to);
        {
            const test_attention attention(4);
            EXPECT_EQ(gauss2_fast(half.which, planes), QSYS_E_CANCELLED);
        }
        allocator.arm(1, false);
        EXPECT_EQ(gauss2_fast(half.which, planes), QSYS_E_MEMORY);
        EXPECT_TRUE(allocator.disarm());
        EXPECT_EQ(*to.row(0), test_canary);
        EXPECT_EQ(*to.row(height / half.stepY - 1), test_canary);

        const test_attention attention;
        EXPECT_EQ(gauss2_fast(half.which, planes), QIP_OK);
        EXPECT_EQ(attention.polls(), 4);
        EXPECT_EQ(test_allocator::liveBlocks(), 0);
        EXPECT_TRUE(test_undamaged(to));
        int64_t wrong = 0;
        for (int32_t y = 0; y < height / half.stepY; ++y) {
            const auto* const row = reinterpret_cast<const TypeParam*>(to.row(y));
            const auto* const every = reinterpret_cast<const TypeParam*>(smoothed.row(half.stepY * y));
            for (int32_t x = 0; x < width / half.stepX; ++x)
                wrong += row[x] != every[half.stepX * x];
        }
        EXPECT_EQ(wrong, 0);
    }
}
