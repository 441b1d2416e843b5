// Calls on several threads against the same calls on one: all that a caller can see of them, and what the
// handler is asked.
#include "base/jobs_pool.h"
#include "gauss2/fast.h"
#include "support/any_call.h"
#include "support/faults.h"
#include "support/job_set.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <system_error>
#include <thread>

namespace
{

std::atomic<int> startsLeft;

// Fails as the start of a thread does.
void limitStarts()
{
    if (--startsLeft < 0)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

// Bands of masked smoothing are made without being asked for, and choose their arithmetic by themselves.
bool splits(const test_export& what)
{
    return what.family == test_family::gauss || what.half;
}

} // namespace

// No thread can be had, so the calling thread runs all bands, and its handler sees every poll. This is the
// first test of the program: no thread may be there already.
TEST(Splitting, AsksTheHandlerInEveryBandAndReturnsItsAnswer)
{
    ASSERT_EQ(base_jobPool_workerCount(), 0);
    base_jobPool_beforeThreadStart = limitStarts;
    startsLeft = 0;
    for (const test_export& what : test_exports())
        for (uint64_t number = 0; number < 12 && splits(what); ++number) {
            test_random random = test_randomFor(number);
            const test_call made = test_randomCall(&random, what);
            const bool inhibitsAll = number % 2;
            SCOPED_TRACE(std::string(what.name) + ", " + test_caseName(number));
            // Answers that are not negative may be results too.
            const auto polls = [&](test_outcome* seen) {
                constexpr qip_status goOn = 7;
                const test_attention attention(1, goOn);
                *seen = test_run(made, inhibitsAll);
                return attention.polls();
            };
            test_outcome seenAlone, seenSplit;
            const int64_t alone = polls(&seenAlone);
            const test_splitting splitting(300, 3);
            const int64_t split = polls(&seenSplit);
            EXPECT_TRUE(seenAlone == seenSplit);
            // Only rows that two bands read are asked for twice.
            EXPECT_GE(split, alone);
            EXPECT_TRUE(split == alone || !what.half);
            for (int64_t n = 1; n <= split; ++n) {
                const qip_status stop = QSYS_FAILURE(0x0abc);
                const test_attention attention(n, stop, true);
                EXPECT_EQ(test_run(made, inhibitsAll).status, stop) << "poll " << n;
            }
        }
    base_jobPool_beforeThreadStart = nullptr;
}

// Threads of the application that call at once, each with bands for more threads; and a job, where nothing
// is split.
TEST(Splitting, ManyThreadsMayCallAtOnce)
{
    const auto runAll = [] {
        std::vector<test_outcome> seen;
        for (uint64_t number = 0; number < 2 * test_exports().size(); ++number) {
            test_random random = test_randomFor(number);
            seen.push_back(
                test_run(test_randomCall(&random, test_exports()[number % test_exports().size()])));
        }
        return seen;
    };
    for (const bool isInJob : {false, true}) {
        std::vector<test_outcome> expected;
        {
            const test_splitting splitting(300, isInJob ? 1 : 7);
            expected = runAll();
        }
        const test_splitting splitting(300, 7);
        const auto check = [&] {
            EXPECT_TRUE(runAll() == expected);
        };
        test_jobSet jobs;
        jobs.add(1, check);
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4 && !isInJob; ++i)
            threads.emplace_back(check);
        if (isInJob) {
            EXPECT_EQ(jobs.run(), QSYS_OK);
        }
    }
}

TEST(Splitting, ChangesNothingThatACallerSees)
{
    std::vector<std::string> levels;
    test_atEveryLevel([&](const std::string& level) { levels.push_back(level); });
    test_forCases(test_caseCount(1500), [&](test_random& random, uint64_t) {
        // As many of the unmasked exports, which have more paths, as of the others.
        const auto last = test_chance(&random, 50) ? 4 : std::ssize(test_exports()) - 1;
        const test_export& what = test_exports()[static_cast<size_t>(test_randomRange(&random, 0, last))];
        if (!splits(what))
            return;
        const test_call made = test_randomCall(&random, what);
        const std::string& level = test_pick(&random, levels);
        const bool inhibitsAll = test_chance(&random, 30);
        const int32_t threads = test_pick(&random, std::array{1, 2, 3, 7, 16});
        const int64_t leastPixels = test_chance(&random, 60) ? 1 : test_randomRange(&random, 2, 2000);
        SCOPED_TRACE(std::string(what.name) + ", level " + level + ", " + std::to_string(threads) +
                     " threads, " + std::to_string(leastPixels) + " pixels");
        ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
        const test_outcome alone = test_run(made, inhibitsAll);
        const test_splitting splitting(leastPixels, threads);
        const test_outcome split = test_run(made, inhibitsAll);
        EXPECT_EQ(alone.status, split.status);
        EXPECT_TRUE(alone.places == split.places);
        EXPECT_TRUE(alone.mask == split.mask && alone.dst == split.dst);
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
