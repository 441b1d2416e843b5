// The harness must catch what it is there to catch: a kernel that is wrong in one pixel, one that writes
// and one that reads a byte too far. The oracle is held against numbers worked out by hand.
#include "support/images.h"

#include <gtest/gtest.h>

namespace
{

// What the kernels under test do: dst = 255 - src, with a fault.
struct fault {
    int64_t before = 0; // pixels read
    int64_t behind = 0;
    bool writesToo = false;
    int64_t wrongPixel = -1; // counted in reading order
};

void invert(const test_pixels& src, const test_pixels& dst, const fault& fault)
{
    const int64_t width = src.view().width;
    for (int64_t y = 0; y < src.view().height; ++y) {
        volatile const unsigned char* const in = src.row(y);
        for (int64_t x = -fault.before; x < width + fault.behind; ++x) {
            const int value = 255 - in[x] + (y * width + x == fault.wrongPixel ? 1 : 0);
            if (fault.writesToo || (x >= 0 && x < width))
                dst.row(y)[x] = static_cast<unsigned char>(value);
        }
    }
}

std::vector<test_layout> layouts()
{
    std::vector<test_layout> all;
    for (const auto fence : {test_fence::rowEnds, test_fence::rowStarts, test_fence::block})
        for (const bool upward : {false, true})
            for (const int32_t shift : {0, 1, 13})
                all.push_back({37, 5, 1, fence, shift, fence == test_fence::block ? 3 : 0, upward});
    return all;
}

} // namespace

TEST(Harness, CatchesOneWrongPixelAndShowsIt)
{
    for (const test_layout& layout : layouts()) {
        test_pixels src(layout);
        test_fillRandom(&src);
        const test_pixels good(layout);
        const test_pixels bad(layout);
        invert(src, good, {});
        invert(src, bad, {.wrongPixel = 37 * 2 + 30});
        EXPECT_TRUE(test_samePixels(good.view(), good.view()));
        const testing::AssertionResult result = test_samePixels(test_grid(good.view()), bad.view());
        EXPECT_FALSE(result);
        const std::string report = result.message();
        EXPECT_NE(report.find("1 of 37x5 pixels differ, first (30, 2)"), std::string::npos) << report;
        EXPECT_NE(report.find("\n..............................X......\n"), std::string::npos) << report;
        EXPECT_TRUE(test_undamaged(good));
        EXPECT_TRUE(test_undamaged(bad));
    }
}

// A canary finds the write where no page does; both together leave no place for one.
TEST(HarnessDeathTest, CatchesAWriteOneByteTooFar)
{
    for (const test_layout& layout : layouts()) {
        const test_pixels src({37, 5, 1, test_fence::block, 64, 64});
        for (const bool behind : {false, true}) {
            const auto run = [&] {
                const test_pixels dst(layout);
                invert(src, dst, {.before = !behind, .behind = behind, .writesToo = true});
                EXPECT_FALSE(test_undamaged(dst));
            };
            if (layout.shift == 0 && behind != (layout.fence == test_fence::rowStarts))
                EXPECT_DEATH(run(), "");
            else
                run();
        }
    }
}

TEST(HarnessDeathTest, CatchesAReadOneByteTooFar)
{
    const test_pixels dst({37, 5, 1});
    for (const bool upward : {false, true}) {
        const test_pixels ends({37, 5, 1, test_fence::rowEnds, 0, 0, upward});
        const test_pixels starts({37, 5, 1, test_fence::rowStarts, 0, 0, upward});
        const test_pixels block({37, 5, 1, test_fence::block, 0, 7, upward});
        EXPECT_DEATH(invert(ends, dst, {.behind = 1}), "");
        EXPECT_DEATH(invert(starts, dst, {.before = 1}), "");
        EXPECT_DEATH(invert(block, dst, {.behind = 1}), "");
        invert(ends, dst, {.before = 1});
        invert(starts, dst, {.behind = 1});
    }
}

TEST(Harness, OracleBorders)
{
    // One pixel, 1 3 3 1 at offsets -1 .. 2 around it: -1 and 1 reflect to it, 2 is beyond one reflection.
    test_grid one(1, 1, 100);
    const oracle_gauss k1{.kernelX = 1};
    const oracle_values single = oracle_smooth(one.view(), 0, 0, k1, {1, 0, 1, 1});
    EXPECT_EQ(single.at(1, 0), 100 * (1 + 3 + 3) / 8);
    // Height 1, kernel 2: rows -1 and 1 reflect, those further out are zero: (6 + 7 + 6) / 27.
    EXPECT_EQ(oracle_smooth(one.view(), 0, 0, {.kernelY = 2}, {0, 0, 1, 1}).at(0, 0), 1900 / 27);
}

TEST(Harness, OracleBoxes)
{
    test_grid ramp(5, 1);
    ramp.values = {0, 16, 32, 48, 64};
    // 1 2 1 around the pixel itself; the norm is 4, the weight at offset 0 is 2.
    EXPECT_EQ(oracle_boxes(ramp.view(), 0, 0, 2, 1, 0, false, {1, 0, 3, 1}).at(2, 0), 32);
    EXPECT_EQ(oracle_boxes(ramp.view(), 0, 0, 2, 1, 0, true, {1, 0, 3, 1}).at(2, 0), 64);
}
