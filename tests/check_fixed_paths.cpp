// The two paths with fixed weights, for the kernel sizes 1 and 2, on guarded memory: the pixels of their
// vector code are those of their plain code. And the quotient that decides the pixels of kernel size 2, for
// every sum there is.
//
//   check_fixed_paths --bench     also times what it has verified, in cycles for each source pixel
#include "frame/level.h"
#include "lanes/lanes_portable.h"
#include "unmasked/arithmetic.h"
#include "unmasked/kernels/quotient.h"
#include "unmasked/plain.h"
#include "unmasked/seven_tap.h"
#include "unmasked/small_kernel.h"

#include "support/cycles.h"
#include "support/faults.h"
#include "support/pictures.h"

#include <qbase/cpuinfo.h>

#include <array>
#include <cfenv>
#include <cmath>

namespace
{

// A path, and what it promises beside the pixels of its plain code.
struct sevenTap {
    static constexpr auto name = "seven-tap";
    static qip_status smooth(const unmasked_plan* plan)
    {
        if constexpr (frame_has256)
            return unmasked_smoothSevenTap(plan);
        return QIP_E_FALLBACK;
    }
    static constexpr auto plain = unmasked_plainSevenTap;
    static constexpr int64_t taps = 7, mostStep = 40;
    static constexpr int64_t rowsPerPoll = 256;
    static constexpr bool pollsByImageRow = false; // else by output row
    static constexpr bool takesMemory = false;
};

struct smallKernel {
    static constexpr auto name = "small-kernel";
    static qip_status smooth(const unmasked_plan* plan)
    {
        if constexpr (frame_has256)
            return unmasked_smoothSmallKernel(plan);
        return QIP_E_FALLBACK;
    }
    static constexpr auto plain = unmasked_plainSmallKernel;
    static constexpr int64_t taps = 4, mostStep = 3;
    static constexpr int64_t rowsPerPoll = 1024;
    static constexpr bool pollsByImageRow = true;
    static constexpr bool takesMemory = true;
};

constexpr float gains[] = {0.5F, 1.5F, 2, 200, -1, 1e30F, 1 + 0x1p-23F, NAN, HUGE_VALF};

// A call of a path on a random picture. Kernels reach up to three columns and rows beyond the source; now
// and then much further.
template <class Path>
struct call {
    unmasked_plan plan;
    test_pixels src, dst;

    call(test_random* random, int64_t width, int64_t height, int64_t stepX, int64_t stepY,
         bool isGuarded = true)
        : plan(planOver(random, width, height, stepX, stepY)),
          src(layout(isGuarded ? random : nullptr, width, height)),
          dst(layout(isGuarded ? random : nullptr, plan.columns, plan.rows))
    {
        test_fillAnyPixels(random, &src);
        plan.src = static_cast<const uint8_t*>(src.first());
        plan.srcStride = src.stride();
        plan.dst = dst.first();
        plan.dstStride = dst.stride();
    }

    static test_layout layout(test_random* random, int64_t width, int64_t height)
    {
        const test_layout simple = {
            static_cast<int32_t>(width), static_cast<int32_t>(height), 1, test_fence::block, 0, 64};
        return random ? test_randomLayout(random, width, height, 1) : simple;
    }

    static unmasked_plan planOver(test_random* random, int64_t width, int64_t height, int64_t stepX,
                                  int64_t stepY)
    {
        const auto beyond = [&](int64_t length) {
            return test_randomRange(random, 0, test_chance(random, 3) ? 2 * length : 3);
        };
        const auto outputs = [&](int64_t first, int64_t length, int64_t step) {
            return std::max<int64_t>((length + beyond(length) - first - Path::taps) / step + 1, 1);
        };
        unmasked_plan made = {};
        made.srcWidth = width;
        made.srcHeight = height;
        made.firstColumn = -beyond(width);
        made.firstRow = -beyond(height);
        made.stepX = stepX;
        made.stepY = stepY;
        made.columns = outputs(made.firstColumn, width, stepX);
        made.rows = outputs(made.firstRow, height, stepY);
        made.dstTop = test_randomRange(random, -2100, 2100);
        made.round = test_chance(random, 50);
        made.gain = test_chance(random, 40) ? 1.0F : test_pick(random, gains);
        return made;
    }

    // The output row before which the n-th poll comes: the last one of its group.
    int64_t polledRow(int64_t n) const
    {
        const int64_t top = Path::pollsByImageRow ? plan.dstTop : 0;
        const int64_t inGroup = top & (Path::rowsPerPoll - 1);
        return n * Path::rowsPerPoll - 1 - inGroup;
    }
    int64_t polls() const
    {
        int64_t n = 0;
        while (polledRow(n + 1) < plan.rows)
            ++n;
        return n;
    }

    // The first rows are those of the plain code, the others as nobody wrote them; nor is anything beside.
    void expectRows(int64_t rows) const
    {
        const test_view view = dst.view();
        std::vector<uint8_t> values(static_cast<size_t>(plan.columns * plan.rows), test_canary);
        unmasked_plan definition = plan;
        definition.dst = values.data();
        definition.dstStride = plan.columns;
        Path::plain(&definition, 0, rows);
        EXPECT_TRUE(test_samePixels({values.data(), plan.columns, view.width, view.height, 1}, view));
        EXPECT_TRUE(test_undamaged(dst));
    }

    // With a poll that says stop, when there are so many and `stopAt` is not 0.
    void check(int64_t stopAt = 0) const
    {
        SCOPED_TRACE(testing::Message()
                     << plan.srcWidth << "x" << plan.srcHeight << " to " << plan.columns << "x" << plan.rows
                     << ", first " << plan.firstColumn << "," << plan.firstRow << ", steps " << plan.stepX
                     << "," << plan.stepY << ", top " << plan.dstTop << ", gain " << plan.gain
                     << (plan.round ? ", rounding" : ", truncating"));
        const bool stops = stopAt != 0 && stopAt <= polls();
        const test_attention attention(stopAt);
        EXPECT_EQ(Path::smooth(&plan), stops ? QSYS_E_CANCELLED : QIP_OK);
        EXPECT_EQ(attention.polls(), stops ? stopAt : polls());
        expectRows(stops ? polledRow(stopAt) : plan.rows);
    }
};

struct NeedsLongLanes : testing::Test {
    void SetUp() override
    {
        if (qsys_cpuinfo_limitLevel("avx2") == QSYS_E_LEVEL_UNAVAILABLE)
            GTEST_SKIP() << "the paths need the 256-bit level";
        qsys_cpuinfo_limitLevel("auto");
    }
};

template <class Path>
struct FixedPaths : NeedsLongLanes {
};

using Paths = testing::Types<sevenTap, smallKernel>;
TYPED_TEST_SUITE(FixedPaths, Paths);

} // namespace

TYPED_TEST(FixedPaths, SmallPictures)
{
    test_forCases(200 * 9 * 2, [](test_random& random, uint64_t number) {
        const int64_t mostStep = std::min<int64_t>(TypeParam::mostStep, 9);
        const auto length = static_cast<int64_t>(number / 18 + 1);
        const auto step = static_cast<int64_t>(number / 2) % mostStep + 1;
        const int64_t other = test_randomRange(&random, 1, 60);
        const int64_t otherStep = test_randomRange(&random, 1, mostStep);
        if (number % 2)
            call<TypeParam>(&random, length, other, step, otherStep).check();
        else
            call<TypeParam>(&random, other, length, otherStep, step).check();
    });
}

// Strips of columns, of which the last may be narrower than a block; several polls; large steps.
TYPED_TEST(FixedPaths, LargePictures)
{
    test_forCases(60, [](test_random& random, uint64_t number) {
        const bool isWide = number % 2;
        const int64_t mostStep = number % 3 ? 3 : TypeParam::mostStep;
        const int64_t stepX = test_randomRange(&random, 1, mostStep);
        const int64_t strips = test_randomRange(&random, 1, mostStep == 3 ? 3 : 1);
        const int64_t width = isWide ? (1024 * strips + test_randomRange(&random, 0, 40)) * stepX
                                     : test_randomRange(&random, 1, 200);
        const int64_t height = test_randomRange(&random, 1, isWide ? 40 : 1100);
        call<TypeParam>(&random, width, height, stepX, test_randomRange(&random, 1, mostStep)).check();
    });
}

// The caller's direction of rounding decides the gain of one path, and nothing else.
TYPED_TEST(FixedPaths, EveryRoundingDirection)
{
    const int before = std::fegetround();
    for (const int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO})
        test_forCases(24, [=](test_random& random, uint64_t number) {
            std::fesetround(direction);
            call<TypeParam> one(&random, 100, 9, 1, 1);
            one.plan.gain = gains[number % std::size(gains)];
            one.check();
            std::fesetround(before);
        });
}

// The rows before the poll are complete, in all strips, and no other row is written.
TYPED_TEST(FixedPaths, StopsAtAPoll)
{
    test_forCases(16, [](test_random& random, uint64_t number) {
        const auto step = static_cast<int64_t>(number) % std::min<int64_t>(TypeParam::mostStep, 4) + 1;
        call<TypeParam> one(&random, 1100, (2 * TypeParam::rowsPerPoll + 8) * step, 1, step);
        one.plan.dstTop = test_pick(&random, std::array{1000, 1023, 1024, -30});
        EXPECT_GE(one.polls(), 2);
        one.check(test_randomRange(&random, 1, 2));
    });
}

TYPED_TEST(FixedPaths, ReportAFailureOfMemoryOnAnyImage)
{
    test_random random = test_randomFor(0);
    test_allocator allocator;
    for (const int64_t width : {1, 3, 300}) {
        const call<TypeParam> one(&random, width, 50, 2, 2);
        const int64_t before = test_allocator::liveBlocks();
        int64_t failures = -1;
        for (bool failed = true; failed;) {
            allocator.arm(++failures + 1, false);
            const qip_status status = TypeParam::smooth(&one.plan);
            failed = allocator.disarm();
            EXPECT_EQ(status, failed ? QSYS_E_MEMORY : QIP_OK);
            EXPECT_EQ(test_allocator::liveBlocks(), before);
            one.expectRows(failed ? 0 : one.plan.rows);
        }
        EXPECT_EQ(failures > 0, TypeParam::takesMemory);
    }
}

// ---- the quotient of kernel size 2 ----

// Every sum, with every sum of quarters that three numbers can have beside it.
TEST(SevenTapQuotient, OfEverySum)
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
TEST_F(NeedsLongLanes, SevenTapPixelOfEverySum)
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
        plan.gain = 1.0F;
        EXPECT_EQ(sevenTap::smooth(&plan), QIP_OK);
        for (uint32_t sum = 0; sum <= 729 * 255; ++sum)
            ASSERT_EQ(dst[sum], unmasked_dividedBy729(sum, round)) << sum;
    }
}

// ---- speed ----

namespace
{

template <class Path>
void bench()
{
    for (const auto& [width, height] : {std::pair(64, 64), {512, 512}, {1024, 1024}, {4096, 3072}})
        for (int64_t step = 1; step <= std::min<int64_t>(Path::mostStep, 4); ++step) {
            test_random random = test_randomFor(0);
            call<Path> one(&random, width, height, step, step, false);
            one.plan.round = false;
            one.plan.gain = 1.0F;
            const test_cycles cycles = test_cyclesOf([&] { Path::smooth(&one.plan); });
            const double pixels = double{1} * width * height;
            std::printf("%-12s %4dx%-4d step %d  %7.3f (%.3f to %.3f)\n", Path::name, width, height,
                        static_cast<int>(step), cycles.median / pixels, cycles.low / pixels,
                        cycles.high / pixels);
        }
}

} // namespace

int main(int argc, char** argv)
{
    return test_runAndBench(argc, argv, [] {
        std::puts("cycles per source pixel: median (10% to 90% of the calls)");
        bench<sevenTap>();
        bench<smallKernel>();
    });
}
