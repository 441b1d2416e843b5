// When the smoothing asks the attention handler, and what a call that it ended leaves behind.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

// The source rows before which the handler is asked: every row of the walk that 64 divides. The walk goes
// from the first to the last row under the kernels, counted from the source's top.
std::vector<int64_t> polledRows(int64_t firstRow, int64_t lastRow, const oracle_gauss& request)
{
    std::vector<int64_t> rows;
    const int64_t reach = 3 * request.kernelY;
    const int64_t from = oracle_centre(firstRow, request.sampleY, request.kernelY) - reach / 2;
    const int64_t to = oracle_centre(lastRow, request.sampleY, request.kernelY) + reach - reach / 2;
    for (int64_t y = from; y <= to; ++y)
        if (y % 64 == 0)
            rows.push_back(y);
    return rows;
}

// The smoothing of one source, ended at a chosen poll.
struct endedSmoothing {
    test_pixels source;
    qip_gaussParams params;
    oracle_gauss request;
    oracle_rect rect; // all that the source yields
    oracle_values values;
    std::vector<int64_t> rows; // the polls after the first

    endedSmoothing(int32_t height, int32_t sample, int32_t kernel)
        : source({5, height, 1}), params(test_gaussParams(sample, kernel)),
          request(test_gaussRequest(params)), rect(oracle_destination({0, 0, 5, height}, request)),
          rows(polledRows(rect.y, rect.y + rect.height - 1, request))
    {
        test_fillRandom(&source);
        values = oracle_smooth(source.view(), 0, 0, request, rect);
    }

    int64_t polls() const
    {
        return static_cast<int64_t>(rows.size()) + 1;
    }

    // Written are the rows whose kernel was complete before the source row at which poll n ended the call.
    test_grid expected(int64_t n) const
    {
        int64_t count = 0;
        const auto isWritten = [&](int64_t y) {
            const int64_t lastRow = oracle_centre(y, request.sampleY, request.kernelY) +
                                    3 * request.kernelY - 3 * request.kernelY / 2;
            return n > polls() || (n >= 2 && lastRow < rows[static_cast<size_t>(n - 2)]);
        };
        while (count < rect.height && isWritten(rect.y + count))
            ++count;
        test_grid grid(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), test_canary);
        oracle_values written = values;
        written.rect.height = count;
        test_putValues(&grid, rect, written, 1);
        return grid;
    }
};

// Ends the call at every poll in turn, and at none: the status comes back, the rows finished by then are
// written and no others, the transform is set by the last call only.
void endAtEveryPoll(int32_t height, int32_t sample, int32_t kernel)
{
    const endedSmoothing made(height, sample, kernel);
    const test_image source(made.source, 0, 0);
    for (int64_t n = 1; n <= made.polls() + 1; ++n) {
        SCOPED_TRACE("height " + std::to_string(height) + " sampling " + std::to_string(sample) +
                     " kernel " + std::to_string(kernel) + " ended at poll " + std::to_string(n));
        const test_grid expected = made.expected(n);
        const test_pixels written({expected.width, expected.height, 1});
        test_image destination(written, static_cast<int32_t>(made.rect.x),
                               static_cast<int32_t>(made.rect.y));
        const test_attention attention(n, -4321);
        EXPECT_EQ(qip_gauss_smooth8_8(&source.record, &destination.record, &made.params),
                  n <= made.polls() ? -4321 : QIP_OK);
        EXPECT_EQ(attention.polls(), std::min(n, made.polls()));
        EXPECT_TRUE(test_samePixels(expected, written.view()));
        const bool isIdentity = test_imageFromClient(&destination.record).m00 == 1.0 &&
                                test_imageFromClient(&destination.record).tx == 0.0;
        if (n <= made.polls()) {
            EXPECT_TRUE(isIdentity) << "transform set by a call that failed";
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
