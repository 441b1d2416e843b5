// Masked smoothing while threads cannot be had: the caller does their bands, with the same pixels.
#include "base/jobs_pool.h"
#include "support/oracle_masked.h"

#include <gtest/gtest.h>

#include <atomic>
#include <system_error>

namespace
{

std::atomic<int> startsLeft;

// Fails as the start of a thread does.
void limitStarts()
{
    if (--startsLeft < 0)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

} // namespace

TEST(MaskedThreads, TheStartOfEveryThreadMayFail)
{
    test_pixels source({260, 260, 1});
    test_fillRandom(&source);
    const test_plane from(&source, {});
    const qip_gaussParams params = test_gaussParams(1, 1);
    const auto smooth = [&](const test_pixels& written) {
        const test_plane to(&written, {});
        EXPECT_EQ(qip_gauss_smoothMaskedWindow8_8(&from.windowConst, &from.windowConst, nullptr, &params,
                                                  &to.window, nullptr),
                  QIP_OK);
    };
    const test_pixels expected({260, 260, 1});
    qsys_jobs_setThreadCount(1);
    smooth(expected);
    qsys_jobs_setThreadCount(5);
    base_jobPool_beforeThreadStart = limitStarts;
    // One more may start each time.
    for (int possible = 0; possible <= 4; ++possible) {
        startsLeft = possible - base_jobPool_workerCount();
        const test_pixels written({260, 260, 1});
        smooth(written);
        EXPECT_TRUE(test_samePixels(expected.view(), written.view()));
        EXPECT_EQ(base_jobPool_workerCount(), possible);
    }
    base_jobPool_beforeThreadStart = nullptr;
    qsys_jobs_setThreadCount(0);
}
