// The path for kernel size 2, on guarded memory, against its definition in plain code; and the quotient that
// decides its pixels, for every sum there is.
//
//   check_seven_tap --bench     also times what it has verified, in cycles for each source pixel
#include "lanes/lanes_portable.h"
#include "unmasked/arithmetic.h"
#include "unmasked/kernels/quotient.h"
#include "unmasked/plain.h"
#include "unmasked/seven_tap.h"

#include "support/cycles.h"
#include "support/faults.h"
#include "support/pictures.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

namespace
{

constexpr float gains[] = {1.0f,
                           0.5f,
                           2.0f,
                           200.0f,
                           -1.0f,
                           1e30f,
                           1.0f + 0x1p-23f,
                           std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity()};

struct SevenTap : testing::Test {
    void SetUp() override
    {
        if (qsys_cpuinfo_limitLevel("avx2") == QSYS_E_LEVEL_UNAVAILABLE)
            GTEST_SKIP() << "the path needs the 256-bit level";
        qsys_cpuinfo_limitLevel("auto");
    }
};

// A plan without its pixels. Kernels reach up to three columns and rows beyond the source; now and then much
// further.
unmasked_plan planOver(test_random* random, int64_t width, int64_t height, int64_t stepX, int64_t stepY)
{
    const auto beyond = [&](int64_t length) {
        return test_randomRange(random, 0, test_chance(random, 3) ? 2 * length : 3);
    };
    const auto outputs = [&](int64_t first, int64_t length, int64_t step) {
        return std::max<int64_t>((length + beyond(length) - first - 7) / step + 1, 1);
    };
    unmasked_plan plan = {};
    plan.srcWidth = width;
    plan.srcHeight = height;
    plan.firstColumn = -beyond(width);
    plan.firstRow = -beyond(height);
    plan.stepX = stepX;
    plan.stepY = stepY;
    plan.columns = outputs(plan.firstColumn, width, stepX);
    plan.rows = outputs(plan.firstRow, height, stepY);
    plan.round = test_chance(random, 50);
    plan.gain = test_chance(random, 50) ? 1.0f : test_pick(random, gains);
    return plan;
}

unmasked_plan withDestination(unmasked_plan plan, const test_pixels& dst)
{
    plan.dst = dst.first();
    plan.dstStride = dst.stride();
    return plan;
}

// Runs the plan on a random picture, with a poll that stops when `stopAt` is not 0.
void check(test_random* random, unmasked_plan plan, int64_t stopAt = 0)
{
    SCOPED_TRACE(testing::Message() << plan.srcWidth << "x" << plan.srcHeight << " to " << plan.columns
                                    << "x" << plan.rows << ", first " << plan.firstColumn << ","
                                    << plan.firstRow << ", steps " << plan.stepX << "," << plan.stepY
                                    << ", gain " << plan.gain
                                    << (plan.round ? ", rounding" : ", truncating"));
    const auto pixels = [&](int64_t width, int64_t height) {
        return test_pixels(test_randomLayout(random, width, height, 1));
    };
    test_pixels src = pixels(plan.srcWidth, plan.srcHeight);
    test_fillAnyPixels(random, &src);
    plan.src = static_cast<const uint8_t*>(src.first());
    plan.srcStride = src.stride();
    const test_pixels expected = pixels(plan.columns, plan.rows);
    const test_pixels made = pixels(plan.columns, plan.rows);
    const unmasked_plan definition = withDestination(plan, expected);
    const int64_t written = stopAt ? 256 * stopAt - 1 : plan.rows;
    unmasked_plainSevenTap(&definition, 0, written);

    const test_attention attention(stopAt);
    const unmasked_plan path = withDestination(plan, made);
    EXPECT_EQ(unmasked_smoothSevenTap(&path), stopAt ? QSYS_E_CANCELLED : QIP_OK);
    EXPECT_EQ(attention.polls(), stopAt ? stopAt : plan.rows / 256 + (plan.rows % 256 == 255));
    EXPECT_TRUE(test_samePixels(expected.view(), made.view()));
    EXPECT_TRUE(test_undamaged(made));
}

} // namespace

TEST_F(SevenTap, SmallPictures)
{
    test_forCases(200 * 9 * 2, [](test_random& random, uint64_t number) {
        const auto length = static_cast<int64_t>(number / 18 + 1);
        const auto step = static_cast<int64_t>(number / 2 % 9 + 1);
        const int64_t other = test_randomRange(&random, 1, 60);
        const int64_t otherStep = test_randomRange(&random, 1, 9);
        check(&random, number % 2 ? planOver(&random, length, other, step, otherStep)
                                  : planOver(&random, other, length, otherStep, step));
    });
}

// Strips of columns, of which the last may be narrower than a block; several polls; large steps.
TEST_F(SevenTap, LargePictures)
{
    test_forCases(60, [](test_random& random, uint64_t number) {
        const bool isWide = number % 2;
        const int64_t mostStep = number % 3 ? 3 : 40;
        const int64_t stepX = test_randomRange(&random, 1, mostStep);
        const int64_t strips = test_randomRange(&random, 1, mostStep == 3 ? 3 : 1);
        const int64_t width = isWide ? (1024 * strips + test_randomRange(&random, 0, 40)) * stepX
                                     : test_randomRange(&random, 1, 200);
        const int64_t height = test_randomRange(&random, 1, isWide ? 40 : 1100);
        check(&random, planOver(&random, width, height, stepX, test_randomRange(&random, 1, mostStep)));
    });
}

// The rows before the poll are complete, in all strips, and no other row is written.
TEST_F(SevenTap, StopsAtAPoll)
{
    test_forCases(12, [](test_random& random, uint64_t number) {
        const auto step = static_cast<int64_t>(number % 4 + 1);
        unmasked_plan plan = planOver(&random, 1100, 515 * step, 1, step);
        plan.rows = 513;
        check(&random, plan, 1 + static_cast<int64_t>(number % 2));
    });
}

// Every sum, with every sum of quarters that three numbers can have beside it.
TEST_F(SevenTap, QuotientOfEverySum)
{
    for (const bool round : {false, true})
        for (uint32_t sum = 0; sum <= 729 * 255; ++sum)
            for (uint32_t quarters = sum < 9 ? 0 : (sum - 9 + 3) / 4; quarters <= sum / 4; ++quarters) {
                const u16s quotient =
                    dividedBy729(filled(static_cast<uint16_t>(sum)),
                                 filled(static_cast<uint16_t>(quarters)), mostLeftBy729(round));
                ASSERT_EQ(quotient[0], unmasked_dividedBy729(sum, round)) << sum << " " << quarters;
            }
}

// The same through the kernels: a picture of squares, each under one kernel, with every sum there is.
TEST_F(SevenTap, PixelOfEverySum)
{
    constexpr uint32_t weights[] = {1, 3, 6, 7, 6, 3, 1};
    constexpr size_t largestFirst[] = {3, 2, 4, 1, 5, 0, 6};
    constexpr uint32_t side = 432; // squares; the last row of them is not full
    std::vector<uint8_t> src(49 * side * side);
    for (uint32_t sum = 0; sum <= 729 * 255; ++sum) {
        uint32_t rest = sum % 729; // what the pixels that are one brighter than the others make up
        for (const size_t j : largestFirst)
            for (const size_t i : largestFirst) {
                const uint32_t weight = weights[j] * weights[i];
                const bool isBrighter = weight <= rest;
                rest -= isBrighter ? weight : 0;
                src[(sum / side * 7 + j) * 7 * side + sum % side * 7 + i] =
                    static_cast<uint8_t>(sum / 729 + isBrighter);
            }
    }
    std::vector<uint8_t> dst(side * side);
    for (const bool round : {false, true}) {
        unmasked_plan plan = {};
        plan.src = src.data();
        plan.srcStride = plan.srcWidth = plan.srcHeight = 7 * side;
        plan.dst = dst.data();
        plan.dstStride = plan.columns = plan.rows = side;
        plan.stepX = plan.stepY = 7;
        plan.round = round;
        plan.gain = 1.0f;
        EXPECT_EQ(unmasked_smoothSevenTap(&plan), QIP_OK);
        for (uint32_t sum = 0; sum <= 729 * 255; ++sum)
            ASSERT_EQ(dst[sum], unmasked_dividedBy729(sum, round)) << sum;
    }
}

// ---- speed ----

namespace
{

void bench(int32_t width, int32_t height, int64_t step)
{
    test_random random = test_randomFor(0);
    unmasked_plan plan = planOver(&random, width, height, step, step);
    plan.round = false;
    plan.gain = 1.0f;
    test_pixels src({width, height, 1, test_fence::block, 0, 64});
    test_fill(&src, test_randomPixels(&random, width, height, 1, test_anything));
    plan.src = static_cast<const uint8_t*>(src.first());
    plan.srcStride = src.stride();
    const test_pixels dst(
        {static_cast<int32_t>(plan.columns), static_cast<int32_t>(plan.rows), 1, test_fence::block, 0, 64});
    const unmasked_plan path = withDestination(plan, dst);
    const test_cycles cycles = test_cyclesOf([&] { unmasked_smoothSevenTap(&path); });
    const double pixels = double{1} * width * height;
    std::printf("%4dx%-4d step %d  %7.3f (%.3f to %.3f)\n", width, height, static_cast<int>(step),
                cycles.median / pixels, cycles.low / pixels, cycles.high / pixels);
}

} // namespace

int main(int argc, char** argv)
{
    return test_runAndBench(argc, argv, [] {
        std::puts("cycles per source pixel: median (10% to 90% of the calls)");
        for (const auto& [width, height] : {std::pair(64, 64), {512, 512}, {1024, 1024}, {4096, 3072}})
            for (const int64_t step : {1, 2, 3, 4})
                bench(width, height, step);
    });
}
