// When the smoothing asks the attention handler, and what a call that it ended leaves behind.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace
{

// Ends a smoothing at every poll in turn, and at none: the status comes back, the rows finished by then are
// written and no others, the transform is set by the last call only.
void endAtEveryPoll(int32_t height, int32_t sample, int32_t kernel)
{
    test_pixels source({5, height, 1});
    test_fillRandom(&source);
    const qip_gaussParams params = test_gaussParams(sample, kernel);
    const oracle_gauss request = test_gaussRequest(params);
    const oracle_rect rect = oracle_destination({0, 0, 5, height}, request);
    oracle_values values = oracle_smooth(source.view(), 0, 0, request, rect);
    const auto lastRowUnder = [&](int64_t y) {
        return oracle_centre(y, sample, kernel) + 3 * kernel - 3 * kernel / 2;
    };
    // Asked is once before the walk, which goes from the first to the last row under the kernels, and then
    // before every row that 64 divides, counted from the source's top.
    std::vector<int64_t> asked = {std::numeric_limits<int64_t>::min()};
    for (int64_t y = lastRowUnder(rect.y) - 3 * kernel; y <= lastRowUnder(rect.y + rect.height - 1); ++y)
        if (y % 64 == 0)
            asked.push_back(y);
    const test_image image(source, 0, 0);
    for (size_t n = 1; n <= asked.size() + 1; ++n) {
        SCOPED_TRACE("height " + std::to_string(height) + " sampling " + std::to_string(sample) +
                     " kernel " + std::to_string(kernel) + " ended at poll " + std::to_string(n));
        const bool ends = n <= asked.size();
        // Written are the rows whose kernel was complete before the source row at which the call was ended.
        values.rect.height = 0;
        while (values.rect.height < rect.height &&
               (!ends || lastRowUnder(rect.y + values.rect.height) < asked[n - 1]))
            ++values.rect.height;
        const test_pixels written({static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), 1});
        test_plane destination(&written, rect);
        const test_attention attention(static_cast<int64_t>(n), -4321);
        EXPECT_EQ(qip_gauss_smooth8_8(&image.record, &destination.image.record, &params),
                  ends ? -4321 : QIP_OK);
        EXPECT_EQ(attention.polls(), std::min(n, asked.size()));
        test_expectValues(written.view(), rect, test_canary, values);
        if (ends) {
            EXPECT_EQ(test_imageFromClient(&destination.image.record),
                      (qmath_xformLinear{1.0, 0.0, 0.0, 1.0, 0.0, 0.0}));
        }
    }
}

} // namespace

TEST(GaussAttention, TheAttentionHandlerEndsTheCallAndWrittenRowsStay)
{
    const test_inhibition reference("gauss");
    endAtEveryPoll(1000, 1, 1);
    endAtEveryPoll(130, 1, 2);
    endAtEveryPoll(300, 3, 5);
    endAtEveryPoll(200, 1, 63); // the walk begins at row -94
    endAtEveryPoll(64, 2, 0);
}

TEST(GaussAttention, PollsOfTheFourFunctions)
{
    const test_inhibition reference("gauss");
    const test_pixels source({5, 100, 1});
    const test_pixels destination8({5, 100, 1});
    const test_pixels destination16({5, 100, 2});
    // One before the rows, one at row 0, one at row 64; the 8-bit window form asks once more at first.
    test_forEachGauss(source, destination8, destination16,
                      [](const char* name, const test_gaussCall& smooth) {
                          const int64_t polls = std::string(name) == "window 8_8" ? 4 : 3;
                          for (int64_t n = 1; n <= polls + 1; ++n) {
                              const test_attention attention(n, -1);
                              EXPECT_EQ(smooth(test_gaussParams(1, 2)), n <= polls ? -1 : QIP_OK);
                              EXPECT_EQ(attention.polls(), std::min(n, polls));
                          }
                      });
}
