// The geometry that the library keeps to itself: running sums over zeros and the split into jobs.
#include "gauss/geometry.h"
#include "gauss/running_sums.h"

#include <gtest/gtest.h>

#include <utility>

// A walk over zeros lands where single steps do. Up to a thousand or so it takes them, since each may round
// a last sum that began at half a divisor; a jump, which only kernels of thousands of pixels take, need
// not.
TEST(Walk, ZerosEqualSteps)
{
    for (const auto& [start, count] :
         {std::pair(gauss_integrators{0.1, -0.7, 1.0 / 3.0}, 1024), {{3.0, -7.0, 11.0}, 5000}}) {
        gauss_integrators stepped = start;
        gauss_integrators walked = start;
        for (int i = 0; i < count; ++i)
            gauss_integrate(&stepped, 0.0);
        gauss_integrateZeros(&walked, count);
        EXPECT_EQ(stepped.s2, walked.s2);
        EXPECT_EQ(stepped.s3, walked.s3);
    }
}

TEST(Jobs, CountFollowsRowsAreaAndThreads)
{
    qip_gaussParams params;
    ASSERT_EQ(qip_gaussParams_init(&params), 0);
    const qstd_rect32 large = {0, 0, 4096, 3072};
    const qstd_rect32 margin = {0, 0, 1, 7};
    // (6 * 5 - 4) / 1 + 2 = 28 rows a band.
    EXPECT_EQ(gauss_computeJobCount(&params, &large, &margin, &large, 1000), 3072 / 28);
    EXPECT_EQ(gauss_computeJobCount(&params, &large, &margin, &large, 8), 8);
    const qstd_rect32 small = {0, 0, 128, 128};
    EXPECT_EQ(gauss_computeJobCount(&params, &small, &margin, &large, 8), 1);
    const qstd_rect32 justOver = {0, 0, 16385, 1};
    EXPECT_EQ(gauss_computeJobCount(&params, &justOver, &margin, &large, 8), 2);
    // An area beyond 32 bits does not turn negative.
    const qstd_rect32 huge = {0, 0, 100000, 100000};
    EXPECT_EQ(gauss_computeJobCount(&params, &huge, &margin, &huge, 16), 16);
    const qstd_rect32 low = {0, 0, 4096, 27};
    EXPECT_LE(gauss_computeJobCount(&params, &large, &margin, &low, 8), 1);
}
