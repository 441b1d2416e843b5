// What the half-resolution family promises beside its pixels: rectangles, statuses, what is bound and when,
// transforms, polls, and calls that nobody should make.
#include "support/faults.h"
#include "support/images.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"

#include <qip/half_resolution.h>

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <functional>

namespace
{

constexpr qmath_xformLinear srcTransform = {2.0, 0.0, 0.0, 4.0, 10.0, 20.0};
constexpr qmath_xformLinear untouched = {7.0, 0.0, 0.0, 7.0, 7.0, 7.0};

struct memory {
    test_pixels pixels;
};

// Pixels with noise, or canaries for seed 0, under an image and a window.
struct plane : memory, test_plane {
    plane(const oracle_rect& rect, int32_t pixelSize, uint64_t seed)
        : memory{test_pixels(
              {static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), pixelSize})},
          test_plane(&pixels, rect)
    {
        if (seed)
            test_fillRandom(&pixels, seed);
    }
};

// A request over four planes that belong to it, for any export; the masks lie where their images lie.
struct request {
    const oracle_gauss2Export& what;
    plane src, srcMask, dst, dstMask;
    qmath_xformLinear windowTransform = untouched;
    oracle_gauss2Arguments arguments;

    request(const oracle_gauss2Export& called, const oracle_rect& source, const oracle_rect& destination)
        : what(called), src(source, called.pixelSize, 1), srcMask(source, 1, 2),
          dst(destination, called.pixelSize, 0), dstMask(destination, 1, 0)
    {
        test_setClientFromImage(&src.image.record, srcTransform);
        test_setClientFromImage(&dst.image.record, untouched);
        arguments.take({&src, &srcMask, &dst, &dstMask});
        arguments.srcTransform = &srcTransform;
        arguments.dstTransform = &windowTransform;
    }

    // Over the rectangle that the source yields.
    request(const oracle_gauss2Export& called, const oracle_rect& source)
        : request(called, source, oracle_gauss2PlanOf(called, source, source).full)
    {
    }

    qsys_status call() const
    {
        return what.call(arguments);
    }

    // With some of the arguments changed.
    template <class Change>
    qsys_status callWith(const Change& change) const
    {
        oracle_gauss2Arguments changed = arguments;
        change(changed);
        return what.call(changed);
    }

    // With other planes in some places.
    qsys_status callOn(const oracle_gauss2Places& others) const
    {
        return callWith([&](auto& a) { a.take(others); });
    }

    qmath_xformLinear transform() const
    {
        return what.windows ? windowTransform : test_clientFromImage(&dst.image.record);
    }

    // The destinations hold what they held before the call.
    bool isUntouched() const
    {
        for (const plane* p : {&dst, &dstMask})
            for (int32_t y = 0; y < p->window.height; ++y)
                for (int32_t x = 0; x < p->window.width * p->window.pixelSize; ++x)
                    if (p->pixels.row(y)[x] != test_canary)
                        return false;
        return true;
    }

    oracle_gauss2Planes expected(int32_t passesX, int32_t passesY) const
    {
        oracle_gauss2Planes used = {test_grid(src.pixels.view()), {}};
        if (what.masked)
            used.mask = test_grid(srcMask.pixels.view());
        return *oracle_gauss2Smooth(what, used, passesX, passesY);
    }
};

void forEveryExport(const std::function<void(const oracle_gauss2Export& what)>& body)
{
    for (const oracle_gauss2Export& what : oracle_gauss2Exports()) {
        SCOPED_TRACE(what.name);
        body(what);
    }
}

} // namespace

// ---- rectangles ----

TEST(Gauss2Contract, DestinationRectangles)
{
    for (const qstd_rect32& src : {qstd_rect32{3, 5, 10, 10},
                                   {1, -3, 4, 7},
                                   {-1, 0, 1, 0},
                                   {0, 0, -5, -4},
                                   {INT32_MIN, INT32_MAX, INT32_MAX, 1}})
        forEveryExport([&](const oracle_gauss2Export& what) {
            qstd_rect32 rect = src;
            if (!what.sampled)
                EXPECT_EQ(qip_gauss2NoSampleGetDestRect(&src, -9, 9, &rect), 0);
            else if (what.halveX && what.halveY)
                EXPECT_EQ(qip_gauss2GetDestRect(&rect, &rect), 0);
            else
                EXPECT_EQ((what.halveX ? qip_gauss2XGetDestRect : qip_gauss2YGetDestRect)(&src, &rect), 0);
            EXPECT_EQ(oracle_rectOf(rect), oracle_gauss2PlanOf(what, oracle_rectOf(src), {}).full);
        });
}

// ---- arguments ----

TEST(Gauss2Contract, NullArguments)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const request made(what, {0, 0, 12, 12});
        EXPECT_EQ(made.callWith([](auto& a) { a.src = nullptr, a.srcWin = nullptr; }), QSYS_E_ARGUMENT);
        EXPECT_EQ(made.callWith([](auto& a) { a.dst = nullptr, a.dstWin = nullptr; }), QSYS_E_ARGUMENT);
        EXPECT_EQ(made.callWith([](auto& a) { a.srcMask = nullptr, a.srcMaskWin = nullptr; }),
                  what.masked ? QSYS_E_ARGUMENT : QIP_OK);
    });
}

// One unbound image given as destination and as its mask would be bound twice, with two pixel sizes.
TEST(Gauss2Contract, OneImageInTwoPlaces)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (what.windows || !what.masked)
            return;
        test_plane both(nullptr, {});
        EXPECT_EQ(request(what, {0, 0, 12, 12}).callOn({.dst = &both, .dstMask = &both}),
                  what.pixelSize == 1 ? QIP_OK : QIMG_E_PIXEL_SIZE);
        EXPECT_EQ(both.image.isBound(), what.pixelSize == 1);
    });
}

// An unbound source is a source without pixels, an unbound mask one that does not cover its image.
TEST(Gauss2Contract, UnboundEmptyAndMisalignedArguments)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const request made(what, {0, 0, 12, 12});
        const test_image unbound;
        const qimg_windowConst unboundWindow = {};
        const auto callUnbound = [&](qimg_image* dst, qimg_image* dstMask) {
            return made.callWith([&](auto& a) {
                a.src = &unbound.record, a.srcWin = &unboundWindow;
                a.dst = dst, a.dstMask = dstMask;
            });
        };
        test_image dst;
        EXPECT_EQ(callUnbound(made.arguments.dst, made.arguments.dstMask), QIP_OK);
        EXPECT_EQ(callUnbound(&dst.record, nullptr), QIP_OK);
        EXPECT_EQ(dst.isBound(), !what.windows);
        EXPECT_TRUE(dst.rect().isNull());
        if (what.windows) {
            const qimg_window unboundDst = {};
            EXPECT_EQ(made.callWith([&](auto& a) { a.dstWin = &unboundDst; }), QIP_OK);
            // A record that says "bound" and has no memory.
            qimg_windowConst broken = made.src.windowConst;
            broken.firstPixel = nullptr;
            EXPECT_EQ(made.callWith([&](auto& a) { a.srcWin = &broken; }), QIMG_E_UNBOUND);
            broken.width = -3;
            broken.height = -4;
            EXPECT_EQ(made.callWith([&](auto& a) { a.srcWin = &broken; }), QIP_OK);
        }
        if (what.windows && what.pixelSize == 2) {
            qimg_windowConst odd = made.src.windowConst;
            odd.firstPixel = static_cast<const char*>(odd.firstPixel) + 1;
            EXPECT_EQ(made.callWith([&](auto& a) { a.srcWin = &odd; }), QIMG_E_ALIGNMENT);
            qimg_window oddStride = made.dst.window;
            ++oddStride.stride;
            EXPECT_EQ(made.callWith([&](auto& a) { a.dstWin = &oddStride; }), QIMG_E_ALIGNMENT);
        }
        EXPECT_TRUE(made.isUntouched());
    });
}

// ---- where a call reads and writes ----

// A refused call binds nothing, whichever of its arguments is at fault.
TEST(Gauss2Contract, RefusedCallsBindNothing)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const oracle_rect source = {0, 0, 20, 20};
        const plane shifted({1, 0, 20, 20}, 1, 3);
        plane other(source, 3 - what.pixelSize, 3);
        plane wide(source, 2, 3);
        plane small({0, 0, 5, 5}, 1, 3);
        const test_plane unbound(nullptr, {});
        request made(what, source);
        test_image dst, dstMask;
        made.arguments.dst = &dst.record;
        made.arguments.dstMask = &dstMask.record;
        const auto refuses = [&](const oracle_gauss2Places& o, qsys_status status) {
            EXPECT_EQ(made.callOn(o), status);
            EXPECT_FALSE(dst.isBound() || dstMask.isBound());
            EXPECT_EQ(test_clientFromImage(&dst.record), (qmath_xformLinear{1.0, 0.0, 0.0, 1.0, 0.0, 0.0}));
            EXPECT_TRUE(made.isUntouched());
        };
        refuses({.src = &other}, QIMG_E_PIXEL_SIZE);
        refuses({.dst = &other}, QIMG_E_PIXEL_SIZE);
        if (!what.masked)
            return;
        refuses({.srcMask = &wide}, QIMG_E_PIXEL_SIZE);
        refuses({.dstMask = &wide}, QIMG_E_PIXEL_SIZE);
        refuses({.srcMask = &unbound}, QIMG_E_UNBOUND);
        refuses({.srcMask = &shifted}, QIMG_E_OUTSIDE);
        refuses({.dstMask = &small}, QIMG_E_OUTSIDE);
    });
}

TEST(Gauss2Contract, TransformsOfWindowsMayBeAbsentOrShared)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (!what.windows || !what.sampled)
            return;
        const request made(what, {0, 0, 20, 20});
        EXPECT_EQ(made.callWith([](auto& a) { a.srcTransform = nullptr; }), QIP_OK);
        EXPECT_EQ(made.transform(), untouched);
        EXPECT_EQ(made.callWith([](auto& a) { a.dstTransform = nullptr; }), QIP_OK);
        qmath_xformLinear shared = srcTransform;
        EXPECT_EQ(made.callWith([&](auto& a) { a.srcTransform = a.dstTransform = &shared; }), QIP_OK);
        EXPECT_EQ(made.call(), QIP_OK);
        EXPECT_EQ(shared, made.transform());
    });
}

// ---- passes ----

TEST(Gauss2Contract, PassCountsAtTheirEnds)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (what.sampled)
            return;
        request made(what, {0, 0, 70, 9});
        made.arguments.passesX = made.arguments.passesY = INT32_MIN;
        EXPECT_EQ(made.call(), QIP_OK);
        EXPECT_TRUE(made.isUntouched());
        made.arguments.passesX = made.arguments.passesY = INT32_MAX;
        const test_attention attention(100);
        EXPECT_EQ(made.call(), QSYS_E_CANCELLED);
        EXPECT_EQ(attention.polls(), 100);
    });
}

// One pass takes a few rows, with and without a destination mask: no plane of pixels, no mask.
TEST(Gauss2Contract, OnePassTakesAFewRows)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        request made(what, {0, 0, 400, 400});
        for (int without = 0; without < 2; ++without) {
            test_allocator allocator;
            EXPECT_EQ(made.call(), QIP_OK);
            EXPECT_LT(test_allocator::largestBlock(), 400 * 400 / 4);
            made.arguments.dstMask = nullptr;
            made.arguments.dstMaskWin = nullptr;
        }
    });
}

// ---- polls ----

// Any status of the fallback class from a fast filter starts the plain one anew; from the plain one it is
// the result.
TEST(Gauss2Contract, AnAnswerOfTheFallbackClass)
{
    for (const qsys_status code : {QIP_E_FALLBACK, QSYS_FAILURE(0x061f)})
        forEveryExport([&](const oracle_gauss2Export& what) {
            request made(what, {0, 0, 40, 130});
            const int64_t polls = oracle_gauss2Polls(what, 130, 2, 2);
            {
                const test_attention handler(2, code, true);
                EXPECT_EQ(made.call(), QIP_OK);
                EXPECT_EQ(handler.polls(), 2 + polls);
                EXPECT_TRUE(test_samePixels(made.expected(2, 2).pixels, made.dst.pixels.view()));
            }
            {
                const test_attention always(2, code);
                EXPECT_EQ(made.call(), code);
                EXPECT_EQ(always.polls(), 3);
            }
            const test_inhibition inhibition("*");
            const test_attention always(2, code);
            EXPECT_EQ(made.call(), code);
            EXPECT_EQ(always.polls(), 2);
        });
}

// ---- the processor service ----

TEST(Gauss2Contract, AFailingProcessorServiceEndsFastPathsOnly)
{
    static constexpr qsys_status failure = QSYS_FAILURE(0x7171);
    ASSERT_EQ(qsys_cpuinfo_setFailure(failure), 0);
    forEveryExport([](const oracle_gauss2Export& what) {
        request made(what, {0, 0, 40, 12});
        EXPECT_EQ(made.call(), failure);
        EXPECT_TRUE(made.isUntouched());
        EXPECT_EQ(made.transform(), untouched);
        request narrow(what, {0, 0, 2, 12});
        EXPECT_EQ(narrow.call(), QIP_OK);
        // Half resolution in two directions without a destination mask does not depend on that service.
        made.arguments.dstMask = nullptr;
        made.arguments.dstMaskWin = nullptr;
        const bool countsAsPlain = what.masked && what.sampled && what.halveX && what.halveY;
        EXPECT_EQ(made.call(), countsAsPlain ? QIP_OK : failure);
        const test_inhibition inhibition("*");
        EXPECT_EQ(made.call(), QIP_OK);
    });
    qsys_cpuinfo_setFailure(0);
}

// ---- calls that nobody should make ----

// The pixels are anybody's guess; the memory around them is not touched.
TEST(Gauss2Contract, InPlaceCallsStayInsideTheirMemory)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        test_atEveryLevel([&](const std::string&) {
            for (const int32_t width : {2, 5, 33, 100}) {
                request made(what, {0, 0, width, 67});
                made.arguments.passesX = 4;
                plane src({0, 0, width, 67}, what.pixelSize, 1);
                plane mask({0, 0, width, 67}, 1, 2);
                EXPECT_EQ(made.callOn({&src, &mask, &src, &mask}), QIP_OK);
                EXPECT_TRUE(test_undamaged(src.pixels));
                EXPECT_TRUE(test_undamaged(mask.pixels));
            }
        });
    });
}

// Rectangles at the ends of the range of coordinates.
TEST(Gauss2Contract, OriginsAtTheEndsOfTheirRange)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        for (const oracle_rect& source : {oracle_rect{INT32_MIN, INT32_MIN, 40, 40},
                                          oracle_rect{INT32_MAX - 39, INT32_MAX - 39, 40, 40}}) {
            request made(what, source);
            EXPECT_EQ(made.call(), QIP_OK);
            EXPECT_TRUE(test_samePixels(made.expected(2, 2).pixels, made.dst.pixels.view()));
            const oracle_rect full = oracle_gauss2PlanOf(what, source, source).full;
            request cut(what, source, {full.x + 2, full.y + 2, full.width - 2, full.height - 2});
            EXPECT_EQ(cut.call(), QIP_OK);
        }
    });
}

// Rows a gigabyte apart: products of rows and strides need 64 bits.
TEST(Gauss2Contract, RowsFarApart)
{
    constexpr int32_t stride = 1 << 30;
    constexpr int32_t height = 7;
    constexpr size_t size = size_t{stride} * (height + 1);
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        GTEST_SKIP() << "no address space";
    const qstd_rect32 rect = {0, 0, 40, height};
    forEveryExport([&](const oracle_gauss2Export& what) {
        if (!what.windows)
            return;
        request made(what, {0, 0, 40, height});
        qimg_window far = {};
        ASSERT_EQ(qimg_window_initMemory(&far, what.pixelSize, &rect, stride, memory), 0);
        for (int32_t y = 0; y < height; ++y)
            std::copy_n(made.src.pixels.row(y), 40 * what.pixelSize,
                        static_cast<unsigned char*>(memory) + size_t{stride} * static_cast<size_t>(y));
        const qimg_windowConst farConst = qimg_window_asConst(&far);
        made.arguments.srcWin = &farConst;
        test_atEveryLevel([&](const std::string&) {
            EXPECT_EQ(made.call(), QIP_OK);
            EXPECT_TRUE(test_samePixels(made.expected(2, 2).pixels, made.dst.pixels.view()));
        });
    });
    munmap(memory, size);
}
