// The harness must catch what it is there to catch: a kernel that is wrong in one pixel, one that writes
// and one that reads a byte too far. The oracle is held against numbers worked out by hand.
#include "support/faults.h"
#include "support/images.h"

#include <qbase/memory.h>

#include <gtest/gtest.h>

namespace
{

// What the kernels under test do: dst = 255 - src, with a fault.
struct fault {
    int64_t readBefore = 0;
    int64_t readBehind = 0;
    int64_t writeBefore = 0;
    int64_t writeBehind = 0;
    int64_t wrongPixel = -1; // counted in reading order
};

void invert(const test_pixels& src, const test_pixels& dst, const fault& fault)
{
    const test_view view = src.view();
    for (int64_t y = 0; y < view.height; ++y) {
        volatile const unsigned char* const in = src.row(y);
        unsigned char* const out = dst.row(y);
        for (int64_t x = -fault.readBefore; x < view.width + fault.readBehind; ++x) {
            const auto value = static_cast<unsigned char>(255 - in[x]);
            if (x >= -fault.writeBefore && x < view.width + fault.writeBehind)
                out[x] = value;
            if (y * view.width + x == fault.wrongPixel)
                ++out[x];
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
        const bool pageBehind = layout.fence != test_fence::rowStarts && layout.shift == 0;
        const bool pageBefore = layout.fence == test_fence::rowStarts && layout.shift == 0;
        const test_pixels src({37, 5, 1, test_fence::block, 64, 64});
        const auto run = [&](const fault& fault) {
            const test_pixels dst(layout);
            invert(src, dst, fault);
            EXPECT_FALSE(test_undamaged(dst));
        };
        const fault behind{.readBehind = 1, .writeBehind = 1};
        const fault before{.readBefore = 1, .writeBefore = 1};
        if (pageBehind)
            EXPECT_DEATH(run(behind), "");
        else
            run(behind);
        if (pageBefore)
            EXPECT_DEATH(run(before), "");
        else
            run(before);
    }
}

TEST(HarnessDeathTest, CatchesAReadOneByteTooFar)
{
    const test_pixels dst({37, 5, 1});
    for (const bool upward : {false, true}) {
        const test_pixels ends({37, 5, 1, test_fence::rowEnds, 0, 0, upward});
        const test_pixels starts({37, 5, 1, test_fence::rowStarts, 0, 0, upward});
        const test_pixels block({37, 5, 1, test_fence::block, 0, 7, upward});
        EXPECT_DEATH(invert(ends, dst, {.readBehind = 1}), "");
        EXPECT_DEATH(invert(starts, dst, {.readBefore = 1}), "");
        EXPECT_DEATH(invert(block, dst, {.readBehind = 1}), "");
        invert(ends, dst, {.readBefore = 1});
        invert(starts, dst, {.readBehind = 1});
    }
}

TEST(Harness, TheAllocatorFailsTheNthAllocationAloneOrFromThereOn)
{
    const int64_t before = test_allocator::liveBlocks();
    test_allocator allocator;
    for (const bool andAllLater : {false, true}) {
        allocator.arm(2, andAllLater);
        void* blocks[3];
        const qsys_status expected[3] = {0, QSYS_E_MEMORY, andAllLater ? QSYS_E_MEMORY : 0};
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(qsys_memory_alloc_internal(100, &blocks[i]), expected[i]);
        EXPECT_EQ(test_allocator::allocations(), 3);
        EXPECT_TRUE(allocator.disarm());
        EXPECT_EQ(test_allocator::liveBlocks(), before + (andAllLater ? 1 : 2));
        for (void*& block : blocks)
            qsys_memory_free_internal(&block);
        EXPECT_EQ(test_allocator::liveBlocks(), before);
    }
    allocator.arm(5, true);
    EXPECT_FALSE(allocator.disarm());
}

TEST(Harness, OracleWeightsAndCentres)
{
    EXPECT_EQ(oracle_boxPower(2, 3), (std::vector<int64_t>{1, 3, 3, 1}));
    EXPECT_EQ(oracle_boxPower(3, 3), (std::vector<int64_t>{1, 3, 6, 7, 6, 3, 1}));
    EXPECT_EQ(oracle_boxPower(2, 5), (std::vector<int64_t>{1, 5, 10, 10, 5, 1}));
    EXPECT_EQ(oracle_boxPower(4, 0), std::vector<int64_t>{1});
    // The middle of three pixels, one to its left for an even box, the pixel left of the middle of two.
    EXPECT_EQ(oracle_centre(0, 3, 0), 1);
    EXPECT_EQ(oracle_centre(0, 3, 1), 0);
    EXPECT_EQ(oracle_centre(0, 2, 0), 0);
    EXPECT_EQ(oracle_centre(-2, 1, 2), -2);
    const oracle_span span = oracle_destinationSpan(1, 10, 2, 0);
    EXPECT_EQ(span.start, 1);
    EXPECT_EQ(span.length, 5);
    EXPECT_EQ(oracle_destinationSpan(0, 1, 4, 0).length, 0);
    EXPECT_EQ(oracle_destinationSpan(0, 6, 1, 2, true).length, 0);
    EXPECT_EQ(oracle_destinationSpan(5, 7, 1, 2, true).start, 8);
}

TEST(Harness, OracleValues)
{
    // One pixel, 1 3 3 1 at offsets -1 .. 2 around it: -1 and 1 reflect to it, 2 is beyond one reflection.
    test_grid one(1, 1, 100);
    const oracle_gauss k1{.kernelX = 1};
    const oracle_values single = oracle_smooth(one.view(), 0, 0, k1, {1, 0, 1, 1});
    EXPECT_EQ(single.at(1, 0), 100 * (1 + 3 + 3) / 8);
    // Height 1, kernel 2: rows -1 and 1 reflect, those further out are zero: (6 + 7 + 6) / 27.
    EXPECT_EQ(oracle_smooth(one.view(), 0, 0, {.kernelY = 2}, {0, 0, 1, 1}).at(0, 0), 1900 / 27);
    // Gain, rounding and the peak.
    test_grid flat(9, 9, 10);
    const oracle_gauss peak{.kernelX = 2, .kernelY = 2, .peak = true};
    EXPECT_EQ(oracle_smooth(flat.view(), 0, 0, peak, {3, 3, 1, 1}).at(3, 3), 148); // 7290 / 49
    EXPECT_EQ(oracle_smooth(flat.view(), 0, 0, {.round = true, .gain = 0.25F}, {0, 0, 1, 1}).at(0, 0), 3);
    EXPECT_EQ(oracle_smooth(flat.view(), 0, 0, {.gain = 1e30F}, {0, 0, 1, 1}).at(0, 0), 0);
    // With two by two boxes and truncation, 125 of the 255 grey levels lose one to the reciprocal.
    int lower = 0;
    for (uint16_t value = 1; value < 256; ++value) {
        test_grid level(7, 7, value);
        const oracle_gauss k2{.kernelX = 2, .kernelY = 2};
        const int64_t out = oracle_smooth(level.view(), 0, 0, k2, {3, 3, 1, 1}).at(3, 3);
        EXPECT_TRUE(out == value || out == value - 1);
        lower += out != value;
    }
    EXPECT_EQ(lower, 125);
}

TEST(Harness, OracleBoxes)
{
    test_grid ramp(5, 1);
    for (int x = 0; x < 5; ++x)
        ramp.at(x, 0) = static_cast<uint16_t>(16 * x);
    // 1 2 1 around the pixel itself; the norm is 4, the weight at offset 0 is 2.
    EXPECT_EQ(oracle_boxes(ramp.view(), 0, 0, 2, 1, 0, false, {1, 0, 3, 1}).at(2, 0), 32);
    EXPECT_EQ(oracle_boxes(ramp.view(), 0, 0, 2, 1, 0, true, {1, 0, 3, 1}).at(2, 0), 64);
    EXPECT_EQ(oracle_boxesValid({0, 0, 5, 1}, 3, 1, 0).width, 2);
    EXPECT_TRUE(oracle_boxesValid({0, 0, 5, 1}, 3, 2, 0).isNull());
}
