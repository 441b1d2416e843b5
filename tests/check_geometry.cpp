// The geometry that the library keeps to itself: the walk of the running sums and the split into jobs.
#include "gauss/geometry.h"
#include "gauss/running_sums.h"

#include "support/random.h"

#include <gtest/gtest.h>

// The stretches of a walk must say of every position which taps are inside, without gap or overlap.
TEST(Walk, StretchesCoverEveryPosition)
{
    for (uint64_t number = 0; number < 300; ++number) {
        test_random random = test_randomFor(number);
        const gauss_axis axis = {test_randomRange(&random, 1, 5), test_randomRange(&random, 0, 30)};
        const gauss_span src = {test_randomRange(&random, -9, 9), test_randomRange(&random, 5, 12)};
        const gauss_span dst = gauss_dstSpan(axis, src);
        ASSERT_GT(dst.length, 0);
        const gauss_walk walk = gauss_walkOf(axis, dst, src);
        const int64_t end = walk.firstOutput + (walk.outputs - 1) * walk.step + 1;
        for (int64_t x = walk.first; x < end;) {
            const gauss_stretch stretch = gauss_stretchAt(&walk, x, end - x);
            ASSERT_GT(stretch.length, 0);
            for (int64_t i = 0; i < stretch.length; ++i, ++x)
                for (int tap = 0; tap < 4; ++tap) {
                    const int64_t place = x - tap * walk.box;
                    ASSERT_EQ(stretch.inside[tap], place >= walk.first && place <= walk.last)
                        << test_caseName(number);
                }
        }
    }
}

// A jump over zeros must land where single steps do.
TEST(Walk, JumpsEqualSteps)
{
    gauss_integrators stepped = {3.0, -7.0, 11.0};
    gauss_integrators jumped = stepped;
    for (int i = 0; i < 5000; ++i)
        gauss_integrate(&stepped, 0.0);
    gauss_integrateZeros(&jumped, 5000);
    EXPECT_EQ(stepped.s2, jumped.s2);
    EXPECT_EQ(stepped.s3, jumped.s3);
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
