// Calls that split their rows into bands against the same calls on one thread: every export of the unmasked
// and of the half-resolution family, all that a caller can see of a call, and what the handler is asked.
#include "base/jobs_pool.h"
#include "gauss2/fast.h"
#include "support/any_call.h"
#include "support/faults.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <array>
#include <system_error>

namespace
{

// ---- no threads ----

void refuseStart()
{
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

// A call that is 300 rows high, row 1023 among them, over all that its source yields.
test_call highCall(int exportNumber, int64_t kernel, bool inhibitsAll)
{
    test_random random = test_randomFor(static_cast<uint64_t>(exportNumber));
    test_call made = {};
    const oracle_rect source = {0, 850, 50, 300};
    if (exportNumber >= test_unmaskedExports)
        made.half = &oracle_gauss2Exports()[static_cast<size_t>(exportNumber - test_unmaskedExports)];
    made.unmasked = exportNumber;
    made.request = {.kernelX = kernel, .kernelY = kernel, .round = true};
    made.params = test_gaussParams(made.request);
    made.passesX = made.passesY = 4;
    made.inhibitsAll = inhibitsAll;
    const int32_t size = made.half ? made.half->pixelSize : 1;
    made.src.place(&random, source, size);
    test_fillRandom(made.src.pixels.get());
    const oracle_rect all = made.half ? oracle_gauss2PlanOf(*made.half, source, source).full : source;
    made.dst.place(&random, all, made.half || made.unmasked % 2 || made.unmasked == 0 ? size : 2);
    made.srcMask.place(&random, source, 1);
    made.wantsMask = made.half && made.half->masked;
    if (made.wantsMask)
        made.dstMask.place(&random, all, 1);
    return made;
}

} // namespace

// No thread can be had, so the calling thread runs all bands, and its handler sees every poll. This is the
// first test of the program: no thread may be there already.
TEST(Splitting, AsksTheHandlerInEveryBandAndReturnsItsAnswer)
{
    ASSERT_EQ(base_jobPool_workerCount(), 0);
    base_jobPool_beforeThreadStart = refuseStart;
    const int exports = test_anyExportCount();
    for (int number = 0; number < exports; ++number)
        for (const int64_t kernel : {1, 2, 5})
            for (const bool inhibitsAll : {false, true}) {
                const test_call made = highCall(number, kernel, inhibitsAll);
                if (made.half && kernel != 1)
                    continue;
                SCOPED_TRACE(made.half ? made.half->name : "unmasked " + std::to_string(number));
                SCOPED_TRACE("kernel " + std::to_string(kernel) + (inhibitsAll ? ", inhibited" : ""));
                // Answers that are not negative may be results too.
                constexpr qip_status goOn = 7;
                const auto polls = [&](test_outcome* seen) {
                    const test_attention attention(1, goOn);
                    *seen = test_run(made);
                    return attention.polls();
                };
                test_outcome seenAlone;
                test_outcome seenSplit;
                const int64_t alone = polls(&seenAlone);
                const test_splitting splitting(300, 3);
                const int64_t split = polls(&seenSplit);
                EXPECT_EQ(seenAlone, seenSplit);
                // Only rows that two bands read are asked for twice.
                EXPECT_GE(split, alone);
                EXPECT_LE(split, alone + (made.half ? 0 : 2));
                for (int64_t n = 1; n <= split; ++n) {
                    const qip_status stop = QSYS_FAILURE(0x0abc);
                    const test_attention attention(n, stop, true);
                    const test_outcome seen = test_run(made);
                    EXPECT_NE(std::find(seen.begin(), seen.end(), stop), seen.end()) << "poll " << n;
                }
            }
    base_jobPool_beforeThreadStart = nullptr;
}

TEST(Splitting, ChangesNothingThatACallerSees)
{
    const int exports = test_anyExportCount();
    std::vector<std::string> levels;
    test_atEveryLevel([&](const std::string& level) { levels.push_back(level); });
    test_forCases(test_caseCount(1500), [&](test_random& random, uint64_t) {
        // As many of the unmasked exports, which have more paths, as of the others.
        const bool isHalf = test_chance(&random, 50);
        const auto number = isHalf ? test_randomInt(&random, test_unmaskedExports, exports - 1)
                                   : test_randomInt(&random, 0, test_unmaskedExports - 1);
        const test_call made = test_randomCall(&random, number);
        const std::string& level = test_pick(&random, levels);
        const int32_t threads = test_pick(&random, std::array{1, 2, 3, 7, 16});
        const int64_t leastPixels = test_chance(&random, 60) ? 1 : test_randomRange(&random, 2, 2000);
        SCOPED_TRACE((made.half ? made.half->name : "unmasked " + std::to_string(number)) + ", level " +
                     level + ", " + std::to_string(threads) + " threads, " + std::to_string(leastPixels) +
                     " pixels");
        ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
        const test_outcome alone = test_run(made);
        const test_splitting splitting(leastPixels, threads);
        const test_outcome split = test_run(made);
        ASSERT_EQ(alone.size(), split.size());
        const auto differs = std::mismatch(alone.begin(), alone.end(), split.begin()).first;
        EXPECT_EQ(differs - alone.begin(), static_cast<int64_t>(alone.size())) << "the first that differs";
    });
    qsys_cpuinfo_limitLevel("auto");
}

// A poll that stops a filter of one direction leaves its destination alone, although bands run side by
// side: those that are made before the last poll go to memory of the library's own.
TEST(Splitting, HalfInOneDirectionWritesNothingBeforeItsLastPoll)
{
    test_pixels source({50, 301, 1});
    test_fillRandom(&source);
    for (const gauss2_filter filter : {gauss2_halfX, gauss2_halfY}) {
        const int32_t width = 50 / gauss2_stepOf(filter.x);
        const int32_t height = 301 / gauss2_stepOf(filter.y);
        const auto smooth = [&](const test_pixels& to) {
            const gauss2_planes<uint8_t> planes = {50,        301,        source.row(0), source.stride(),
                                                   to.row(0), to.stride()};
            return gauss2_fast(filter, planes, 1);
        };
        const test_pixels alone({width, height, 1});
        EXPECT_EQ(smooth(alone), 0);
        const test_splitting splitting(1, 3);
        const test_pixels split({width, height, 1});
        {
            // Of the five polls, the calling thread makes three at least: two in its band, one after all
            // bands.
            const test_attention attention(3, QSYS_E_CANCELLED);
            EXPECT_EQ(smooth(split), QSYS_E_CANCELLED);
            EXPECT_TRUE(test_samePixels(test_grid(width, height, test_canary), split.view()));
        }
        EXPECT_EQ(smooth(split), 0);
        EXPECT_TRUE(test_samePixels(alone.view(), split.view()));
    }
}

TEST(Splitting, TheSettingIsOffAtFirstAndRefusesNegativeNumbers)
{
    EXPECT_EQ(qsys_jobs_getSplitting(), 0);
    EXPECT_EQ(qsys_jobs_setSplitting(INT64_MAX), 0);
    EXPECT_EQ(qsys_jobs_setSplitting(-1), QSYS_E_ARGUMENT);
    EXPECT_EQ(qsys_jobs_getSplitting(), INT64_MAX);
    EXPECT_EQ(qsys_jobs_setSplitting(0), 0);
}
