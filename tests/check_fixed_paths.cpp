// The quotient that decides the pixels of kernel size 2 on the seven-tap path, for every sum there is.
#include "frame/level.h"
#include "lanes/lanes_portable.h"
#include "unmasked/arithmetic.h"
#include "unmasked/kernels/quotient.h"
#include "unmasked/seven_tap.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <vector>

// Every sum, with every sum of quarters that three numbers can have beside it.
TEST(SevenTap, QuotientOfEverySum)
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
TEST(SevenTap, PixelOfEverySum)
{
    if (!frame_has256 || qsys_cpuinfo_limitLevel("avx2") == QSYS_E_LEVEL_UNAVAILABLE)
        GTEST_SKIP() << "the path needs the 256-bit level";
    qsys_cpuinfo_limitLevel("auto");
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
        if constexpr (frame_has256) {
            EXPECT_EQ(unmasked_smoothSevenTap(&plan), QIP_OK);
        }
        for (uint32_t sum = 0; sum <= 729 * 255; ++sum)
            ASSERT_EQ(dst[sum], unmasked_dividedBy729(sum, round)) << sum;
    }
}
