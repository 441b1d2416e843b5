// The counter of valid pixels where bytes are 0 and 1, which the result mask alone does not use: the same
// outputs as from the same validity in top bits, at every level and in plain code, on guarded memory.
#include "masked/valid_count.h"

#include "support/compare.h"
#include "support/policy.h"

#include <gtest/gtest.h>

namespace
{

// The outputs of a footprint that covers the row twice, once and once less.
std::vector<unsigned char> outputsOf(const test_pixels& row, const masked_countRequest& request,
                                     frame_level level)
{
    test_pixels out({static_cast<int32_t>(request.columns), 3, 1});
    frame_cleanup cleanup = {};
    masked_validCount count = {};
    EXPECT_EQ(masked_takeValidCount(&cleanup, &request, level, &count), QIP_OK);
    masked_changeCounts(&count, row.row(0), count.noRow);
    masked_changeCounts(&count, row.row(0), count.noRow);
    masked_testCounts(&count, out.row(0));
    masked_changeCounts(&count, count.noRow, row.row(0));
    masked_testCounts(&count, out.row(1));
    masked_clearCounts(&count);
    masked_testCounts(&count, out.row(2));
    EXPECT_EQ(frame_cleanupEnd(&cleanup, 0), 0);
    EXPECT_EQ(out.damage(), "");
    std::vector<unsigned char> all;
    for (int32_t y = 0; y < 3; ++y)
        all.insert(all.end(), out.row(y), out.row(y) + request.columns);
    return all;
}

} // namespace

TEST(ValidCount, ByValueAsByTopBit)
{
    test_forCases(200, [](test_random& random, uint64_t) {
        const int32_t width = test_randomInt(&random, 1, 150);
        const test_fence fence = test_chance(&random, 50) ? test_fence::rowEnds : test_fence::rowStarts;
        test_pixels values({width, 1, 1, fence});
        test_pixels topBits({width, 1, 1, fence});
        for (int32_t x = 0; x < width; ++x) {
            const auto any = static_cast<uint32_t>(test_randomInt(&random, 0, 255));
            values.set(x, 0, any >> 7);
            topBits.set(x, 0, any);
        }
        const int64_t reach = test_randomInt(&random, 1, 2 * width);
        const int64_t step = test_randomInt(&random, 1, 3);
        masked_countRequest request = {width, -reach / 2, step,  (width - 1) / step + 1,
                                       reach, 2,          reach, false};
        masked_countRequest plain = request;
        plain.byTopBit = true;
        plain.reachY = 256; // more than the kernels count
        const std::vector<unsigned char> expected = outputsOf(topBits, plain, frame_level::portable);
        test_atEveryLevel([&](const std::string&) {
            qsys_cpuinfo info;
            EXPECT_EQ(qsys_cpuinfo_init(&info), QSYS_OK);
            EXPECT_EQ(outputsOf(values, request, frame_levelFor<uint8_t>(&info)), expected);
        });
    });
}
