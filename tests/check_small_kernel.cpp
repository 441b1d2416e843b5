// The path for kernel size 1 on guarded memory: the pixels of its vector code are those of its plain code.
//
//   check_small_kernel --bench     also times what it has verified, in cycles for each source pixel
#include "unmasked/plain.h"
#include "unmasked/small_kernel.h"

#include "frame/level.h"
#include "support/cycles.h"
#include "support/faults.h"
#include "support/pictures.h"

#include <cfenv>
#include <cmath>
#include <limits>

namespace
{

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float gains[] = {1, 1, 1, 0.5, 1.5, 2, 200, -1, 1e30F, NAN, infinity, 1 + 0x1p-23F};

// A source of a width and a height, and a plan for it. `beyond` are the columns and the rows that the
// kernels of the last outputs reach beyond the source, where there are as many.
struct task {
    test_pixels src, dst;
    unmasked_plan plan;

    static int64_t outputs(int64_t length, int64_t first, int64_t beyond, int64_t step)
    {
        return std::max<int64_t>(length + beyond - first - 4, 0) / step + 1;
    }
    task(test_random* random, int64_t width, int64_t height, int64_t beyond)
        : task(random, width, height, test_randomInt(random, -1, 0), test_randomInt(random, -1, 0), beyond,
               test_randomInt(random, 1, 3), test_randomInt(random, 1, 3))
    {
    }
    task(test_random* random, int64_t width, int64_t height, int64_t left, int64_t above, int64_t beyond,
         int64_t stepX, int64_t stepY)
        : src(test_randomLayout(random, width, height, 1)),
          dst(test_randomLayout(random, outputs(width, left, beyond, stepX),
                                outputs(height, above, beyond, stepY), 1))
    {
        test_fillAnyPixels(random, &src);
        plan = {};
        plan.src = static_cast<const uint8_t*>(src.first());
        plan.srcStride = src.stride();
        plan.srcWidth = width;
        plan.srcHeight = height;
        plan.dst = dst.first();
        plan.dstStride = dst.stride();
        plan.columns = dst.view().width;
        plan.rows = dst.view().height;
        plan.dstTop = test_randomInt(random, -5, 2100);
        plan.firstColumn = left;
        plan.firstRow = above;
        plan.stepX = stepX;
        plan.stepY = stepY;
        plan.round = test_chance(random, 50);
        plan.gain = test_pick(random, gains);
    }

    int64_t polls() const
    {
        return ((plan.dstTop + plan.rows) >> 10) - (plan.dstTop >> 10);
    }

    // The first rows are those of the plain code, the others as nobody wrote them; nor is anything beside.
    void expectRows(int64_t rows) const
    {
        std::vector<uint8_t> values(static_cast<size_t>(plan.columns * plan.rows), test_canary);
        unmasked_plan plain = plan;
        plain.dst = values.data();
        plain.dstStride = plan.columns;
        unmasked_plainSmallKernel(&plain, 0, rows);
        const test_view view = dst.view();
        EXPECT_TRUE(
            test_samePixels(test_view{values.data(), plan.columns, view.width, view.height, 1}, view));
        EXPECT_TRUE(test_undamaged(dst));
    }

    void check() const
    {
        SCOPED_TRACE(testing::Message()
                     << plan.srcWidth << "x" << plan.srcHeight << " to " << plan.columns << "x" << plan.rows
                     << " from " << plan.firstColumn << ", " << plan.firstRow << ", steps " << plan.stepX
                     << ", " << plan.stepY << ", top " << plan.dstTop << ", gain " << plan.gain);
        const test_attention attention;
        EXPECT_EQ(unmasked_smoothSmallKernel(&plan), QIP_OK);
        EXPECT_EQ(attention.polls(), polls());
        expectRows(plan.rows);
    }
};

struct SmallKernel : testing::Test {
    void SetUp() override
    {
        qsys_cpuinfo info;
        ASSERT_EQ(qsys_cpuinfo_init(&info), 0);
        if (frame_levelFor<uint8_t>(&info) != frame_level::vector256)
            GTEST_SKIP() << "the path needs 256-bit lanes";
    }
};

} // namespace

TEST_F(SmallKernel, EveryWidth)
{
    test_forCases(3000, [](test_random& random, uint64_t number) {
        const auto width = static_cast<int64_t>(1 + number % 200);
        const int64_t height = test_randomRange(&random, 1, test_chance(&random, 20) ? 60 : 12);
        task(&random, width, height, test_randomInt(&random, -3, test_chance(&random, 10) ? 12 : 2))
            .check();
    });
}

TEST_F(SmallKernel, LargeImages)
{
    test_forCases(30, [](test_random& random, uint64_t number) {
        const bool isWide = number % 2 != 0;
        const int64_t length = test_randomRange(&random, 1000, 5000);
        const int64_t other = test_randomRange(&random, 1, 100);
        task(&random, isWide ? length : other, isWide ? other : length, 2).check();
    });
}

TEST_F(SmallKernel, EveryRoundingDirection)
{
    const int before = std::fegetround();
    for (const int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO})
        test_forCases(24, [=](test_random& random, uint64_t number) {
            std::fesetround(direction);
            task one(&random, 100, 9, 2);
            one.plan.gain = gains[number % std::size(gains)];
            one.check();
            std::fesetround(before);
        });
}

TEST_F(SmallKernel, StopsAtAPoll)
{
    test_random random = test_randomFor(0);
    for (const int64_t top : {1000, 1023, 1024, -30, 2047 - 1024})
        for (int64_t n = 1; n <= 2; ++n) {
            task one(&random, 40, 1500, -1, -1, 2, 1, 1);
            one.plan.dstTop = top;
            const test_attention attention(n);
            EXPECT_EQ(unmasked_smoothSmallKernel(&one.plan), one.polls() < n ? QIP_OK : QSYS_E_CANCELLED);
            one.expectRows(one.polls() < n ? one.plan.rows : ((top >> 10) + n) * 1024 - 1 - top);
        }
}

TEST_F(SmallKernel, ReportsAFailureOfMemoryOnAnyImage)
{
    test_random random = test_randomFor(0);
    test_allocator allocator;
    for (const int64_t width : {1, 3, 300}) {
        const task one(&random, width, 50, 2);
        const int64_t before = test_allocator::liveBlocks();
        bool failed = true;
        for (int64_t n = 1; failed; ++n) {
            allocator.arm(n, false);
            const qip_status status = unmasked_smoothSmallKernel(&one.plan);
            failed = allocator.disarm();
            EXPECT_TRUE(failed || n > 1);
            EXPECT_EQ(status, failed ? QSYS_E_MEMORY : QIP_OK);
            EXPECT_EQ(test_allocator::liveBlocks(), before);
            one.expectRows(failed ? 0 : one.plan.rows);
        }
    }
}

int main(int argc, char** argv)
{
    return test_runAndBench(argc, argv, [] {
        std::puts("size, steps, cycles for each source pixel: median (10% to 90% of the calls)");
        for (const int64_t size : {64, 512, 2000})
            for (int64_t step = 1; step <= 3; ++step) {
                test_random random = test_randomFor(0);
                task one(&random, size, size, -1, -1, 2, step, step);
                one.plan.gain = 1;
                const test_cycles cycles = test_cyclesOf([&] { unmasked_smoothSmallKernel(&one.plan); });
                const auto pixels = static_cast<double>(size * size);
                std::printf("%4d  %dx%d  %.3f (%.3f to %.3f)\n", static_cast<int>(size),
                            static_cast<int>(step), static_cast<int>(step), cycles.median / pixels,
                            cycles.low / pixels, cycles.high / pixels);
            }
    });
}
