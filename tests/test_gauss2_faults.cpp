// Every export of the half-resolution family with every allocation failing in turn, alone and with all later
// ones, and with every poll ending the call: the failure is the answer, nothing leaks, transforms stay, and the
// next call works.
#include "support/faults.h"
#include "support/images.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"
#include "support/random.h"

#include <qip/status.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

// The image forms bind both destinations themselves, so that their allocations fail too.
struct request {
    const oracle_gauss2Export& what;
    test_pixels srcPixels, maskPixels, dstPixels, dstMaskPixels;
    test_image src, srcMask;
    qimg_windowConst srcWin, srcMaskWin;
    qimg_window dstWin, dstMaskWin;
    oracle_gauss2Planes expected;

    explicit request(const oracle_gauss2Export& called)
        : what(called), srcPixels({50, 150, called.pixelSize}), maskPixels({50, 150, 1}),
          dstPixels({called.halveX ? 25 : 50, called.halveY ? 75 : 150, called.pixelSize}),
          dstMaskPixels({called.halveX ? 25 : 50, called.halveY ? 75 : 150, 1}), src(srcPixels, 0, 0),
          srcMask(maskPixels, 0, 0), srcWin(test_windowConstOver(srcPixels, 0, 0)),
          srcMaskWin(test_windowConstOver(maskPixels, 0, 0)), dstWin(test_windowOver(dstPixels, 0, 0)),
          dstMaskWin(test_windowOver(dstMaskPixels, 0, 0)), expected{test_grid(0, 0), {}}
    {
        test_random random = test_randomFor(0);
        for (int32_t y = 0; y < 150; ++y) {
            test_randomFill(&random, srcPixels.row(y), 50 * what.pixelSize);
            test_randomFill(&random, maskPixels.row(y), 50);
        }
        oracle_gauss2Planes used = {test_grid(srcPixels.view()), {}};
        if (what.masked)
            used.mask = test_grid(maskPixels.view());
        expected = *oracle_gauss2Smooth(what, used, passesX, passesY);
    }

    static constexpr int32_t passesX = 6;
    static constexpr int32_t passesY = 4;

    // Calls with fresh destinations; after a success the pixels are right, after a failure no transform is set.
    qsys_status call() const
    {
        test_image dst, dstMask;
        qmath_xformLinear transform = {0, 0, 0, 0, 0, 0};
        const qmath_xformLinear srcTransform = {1, 0, 0, 1, 0, 0};
        oracle_gauss2Arguments arguments;
        arguments.src = &src.record;
        arguments.srcMask = &srcMask.record;
        arguments.dst = &dst.record;
        arguments.dstMask = &dstMask.record;
        arguments.srcWin = &srcWin;
        arguments.srcMaskWin = &srcMaskWin;
        arguments.dstWin = &dstWin;
        arguments.dstMaskWin = &dstMaskWin;
        arguments.srcTransform = &srcTransform;
        arguments.dstTransform = &transform;
        arguments.passesX = passesX;
        arguments.passesY = passesY;
        const qsys_status status = what.call(arguments);
        if (status >= 0)
            EXPECT_TRUE(test_samePixels(expected.pixels, what.windows ? dstPixels.view() : dst.view()));
        else
            EXPECT_TRUE(!dst.record.clientFromImage.xform && transform.m00 == 0.0);
        return status;
    }
};

// Both paths of every export: the fast one and, with everything inhibited, the plain one.
template <class Body>
void forEveryPath(Body body)
{
    for (const oracle_gauss2Export& what : oracle_gauss2Exports())
        for (const char* inhibited : {"", "*"}) {
            SCOPED_TRACE(std::string(what.name) + (*inhibited ? ", plain" : ", fast"));
            const test_inhibition inhibition(inhibited);
            const request made(what);
            body(made);
        }
}

} // namespace

TEST(Gauss2Faults, EveryAllocation)
{
    test_allocator allocator;
    forEveryPath([&](const request& made) {
        for (const bool andAllLater : {false, true}) {
            bool fired = true;
            for (int64_t n = 1; fired; ++n) {
                const int64_t before = test_allocator::liveBlocks();
                allocator.arm(n, andAllLater);
                const qsys_status status = made.call();
                fired = allocator.disarm();
                ASSERT_EQ(status, fired ? QSYS_E_MEMORY : QIP_OK) << "allocation " << n;
                ASSERT_EQ(test_allocator::liveBlocks(), before) << "allocation " << n;
            }
            EXPECT_EQ(made.call(), QIP_OK);
        }
    });
}

TEST(Gauss2Faults, EveryPoll)
{
    const test_allocator allocator;
    forEveryPath([&](const request& made) {
        const int64_t polls = oracle_gauss2Polls(made.what, 150, request::passesX, request::passesY);
        for (int64_t n = 1; n <= polls + 1; ++n) {
            const int64_t before = test_allocator::liveBlocks();
            const test_attention attention(n);
            ASSERT_EQ(made.call(), n <= polls ? QSYS_E_CANCELLED : QIP_OK) << "poll " << n;
            ASSERT_EQ(attention.polls(), std::min(n, polls));
            ASSERT_EQ(test_allocator::liveBlocks(), before) << "poll " << n;
        }
    });
}
