// What the half-resolution family promises beside its pixels: rectangles, statuses, what is bound and when,
// transforms, polls, and calls that nobody should make.
#include "support/faults.h"
#include "support/images.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"
#include "support/random.h"

#include <qip/half_resolution.h>

#include <qbase/attention.h>
#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <functional>

namespace
{

constexpr qmath_xformLinear srcTransform = {2.0, 0.0, 0.0, 4.0, 10.0, 20.0};
constexpr qmath_xformLinear untouched = {7.0, 0.0, 0.0, 7.0, 7.0, 7.0};

bool operator==(const qmath_xformLinear& a, const qmath_xformLinear& b)
{
    return a.m00 == b.m00 && a.m01 == b.m01 && a.m10 == b.m10 && a.m11 == b.m11 && a.tx == b.tx &&
           a.ty == b.ty;
}

// Pixels with noise, under an image and a window.
struct plane {
    test_pixels pixels;
    test_image image;
    qimg_window window;
    qimg_windowConst windowConst;

    plane(const oracle_rect& rect, int32_t pixelSize, uint64_t seed)
        : pixels({static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), pixelSize}),
          image(pixels, static_cast<int32_t>(rect.x), static_cast<int32_t>(rect.y)),
          window(test_windowOver(pixels, static_cast<int32_t>(rect.x), static_cast<int32_t>(rect.y))),
          windowConst(qimg_window_asConst(&window))
    {
        test_random random = test_randomFor(seed);
        for (int32_t y = 0; seed && y < window.height; ++y)
            test_randomFill(&random, pixels.row(y), int64_t{window.width} * pixelSize);
    }

    test_grid grid() const
    {
        return test_grid(pixels.view());
    }
};

void setTransform(qimg_image* image, const qmath_xformLinear& linear)
{
    qmath_xformPtrhConst handle = {};
    EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
    EXPECT_EQ(qimg_image_setClientFromImageXform(image, &handle), 0);
    qmath_xformPtrhConst_destruct(&handle);
}

qmath_xformLinear transformOf(const qimg_image& image)
{
    qmath_xformLinear linear = {};
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&image.clientFromImage, nullptr, &linear), 0);
    return linear;
}

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
        setTransform(&src.image.record, srcTransform);
        setTransform(&dst.image.record, untouched);
        arguments.src = &src.image.record;
        arguments.srcMask = &srcMask.image.record;
        arguments.dst = &dst.image.record;
        arguments.dstMask = &dstMask.image.record;
        arguments.srcWin = &src.windowConst;
        arguments.srcMaskWin = &srcMask.windowConst;
        arguments.dstWin = &dst.window;
        arguments.dstMaskWin = &dstMask.window;
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

    qmath_xformLinear transform() const
    {
        return what.windows ? windowTransform : transformOf(dst.image.record);
    }

    // The destination's rows from `first` on hold what they held before the call, masks included.
    bool isUntouched(int32_t first = 0) const
    {
        for (const plane* p : {&dst, &dstMask})
            for (int32_t y = first; y < p->window.height; ++y)
                for (int32_t x = 0; x < p->window.width * p->window.pixelSize; ++x)
                    if (p->pixels.row(y)[x] != test_canary)
                        return false;
        return true;
    }

    oracle_gauss2Planes expected(int32_t passesX, int32_t passesY) const
    {
        oracle_gauss2Planes used = {src.grid(), {}};
        if (what.masked)
            used.mask = srcMask.grid();
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

// Answers one code at its n-th call and goes on at all others.
struct oneAnswer {
    int64_t at;
    qsys_status code;
    int64_t polls = 0;

    oneAnswer(int64_t n, qsys_status answer) : at(n), code(answer)
    {
        qsys_attention_setHandler(
            [](void* context) {
                auto* const self = static_cast<oneAnswer*>(context);
                return ++self->polls == self->at ? self->code : 0;
            },
            this);
    }
    ~oneAnswer()
    {
        qsys_attention_setHandler(nullptr, nullptr);
    }
    oneAnswer(const oneAnswer&) = delete;
    oneAnswer& operator=(const oneAnswer&) = delete;
};

} // namespace

// ---- rectangles ----

TEST(Gauss2Contract, DestinationRectangles)
{
    struct row {
        qstd_rect32 src, both, x, y;
    };
    const row rows[] = {
        {{3, 5, 10, 10}, {1, 2, 5, 5}, {1, 5, 5, 10}, {3, 2, 10, 5}},
        {{1, -3, 4, 7}, {0, -2, 2, 3}, {0, -3, 2, 7}, {1, -2, 4, 3}},
        {{-1, 0, 1, 0}, {-1, 0, 0, 0}, {-1, 0, 0, 0}, {-1, 0, 1, 0}},
        {{0, 0, -5, -4}, {0, 0, 0, 0}, {0, 0, 0, -4}, {0, 0, -5, 0}},
        {{INT32_MIN, INT32_MAX, INT32_MAX, 1},
         {INT32_MIN / 2, INT32_MAX / 2, INT32_MAX / 2, 0},
         {INT32_MIN / 2, INT32_MAX, INT32_MAX / 2, 1},
         {INT32_MIN, INT32_MAX / 2, INT32_MAX, 0}},
    };
    const auto equal = [](const qstd_rect32& a, const qstd_rect32& b) {
        return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
    };
    for (const row& r : rows) {
        qstd_rect32 rect = r.src;
        EXPECT_TRUE(qip_gauss2GetDestRect(&rect, &rect) == 0 && equal(rect, r.both)) << rect.x;
        EXPECT_TRUE(qip_gauss2XGetDestRect(&r.src, &rect) == 0 && equal(rect, r.x)) << rect.x;
        EXPECT_TRUE(qip_gauss2YGetDestRect(&r.src, &rect) == 0 && equal(rect, r.y)) << rect.x;
        EXPECT_TRUE(qip_gauss2NoSampleGetDestRect(&r.src, -9, 9, &rect) == 0 && equal(rect, r.src))
            << rect.x;
    }
}

// ---- arguments ----

TEST(Gauss2Contract, NullArguments)
{
    qstd_rect32 rect = {};
    for (const auto function : {qip_gauss2GetDestRect, qip_gauss2XGetDestRect, qip_gauss2YGetDestRect}) {
        EXPECT_EQ(function(nullptr, &rect), QSYS_E_ARGUMENT);
        EXPECT_EQ(function(&rect, nullptr), QSYS_E_ARGUMENT);
    }
    EXPECT_EQ(qip_gauss2NoSampleGetDestRect(nullptr, 0, 0, &rect), QSYS_E_ARGUMENT);
    EXPECT_EQ(qip_gauss2NoSampleGetDestRect(&rect, 0, 0, nullptr), QSYS_E_ARGUMENT);
    forEveryExport([](const oracle_gauss2Export& what) {
        request made(what, {0, 0, 12, 12});
        const oracle_gauss2Arguments good = made.arguments;
        made.arguments.src = nullptr;
        made.arguments.srcWin = nullptr;
        EXPECT_EQ(made.call(), QSYS_E_ARGUMENT);
        made.arguments = good;
        made.arguments.dst = nullptr;
        made.arguments.dstWin = nullptr;
        EXPECT_EQ(made.call(), QSYS_E_ARGUMENT);
        made.arguments = good;
        made.arguments.srcMask = nullptr;
        made.arguments.srcMaskWin = nullptr;
        EXPECT_EQ(made.call(), what.masked ? QSYS_E_ARGUMENT : QIP_OK);
    });
}

TEST(Gauss2Contract, PixelsOfAnotherDepthAreRefused)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const oracle_rect source = {0, 0, 12, 12};
        request made(what, source);
        const int32_t otherSize = 3 - what.pixelSize;
        const plane other(source, otherSize, 0);
        plane otherDst(source, otherSize, 0);
        plane wide(source, 2, 0);
        const oracle_gauss2Arguments good = made.arguments;
        made.arguments.src = &other.image.record;
        made.arguments.srcWin = &other.windowConst;
        EXPECT_EQ(made.call(), QIMG_E_PIXEL_SIZE);
        made.arguments = good;
        made.arguments.dst = &otherDst.image.record;
        made.arguments.dstWin = &otherDst.window;
        EXPECT_EQ(made.call(), QIMG_E_PIXEL_SIZE);
        if (!what.masked)
            return;
        made.arguments = good;
        made.arguments.srcMask = &wide.image.record;
        made.arguments.srcMaskWin = &wide.windowConst;
        EXPECT_EQ(made.call(), QIMG_E_PIXEL_SIZE);
        made.arguments = good;
        made.arguments.dstMask = &wide.image.record;
        made.arguments.dstMaskWin = &wide.window;
        EXPECT_EQ(made.call(), QIMG_E_PIXEL_SIZE);
        EXPECT_TRUE(made.isUntouched());
    });
}

// One unbound image given as destination and as its mask would be bound twice, with two pixel sizes.
TEST(Gauss2Contract, OneImageInTwoPlaces)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (what.windows || !what.masked)
            return;
        request made(what, {0, 0, 12, 12});
        test_image both;
        made.arguments.dst = &both.record;
        made.arguments.dstMask = &both.record;
        EXPECT_EQ(made.call(), what.pixelSize == 1 ? QIP_OK : QIMG_E_PIXEL_SIZE);
        EXPECT_EQ(both.isBound(), what.pixelSize == 1);
    });
}

// An unbound source is a source without pixels, an unbound mask one that does not cover its image.
TEST(Gauss2Contract, UnboundAndEmptyArguments)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        request made(what, {0, 0, 12, 12});
        const oracle_gauss2Arguments good = made.arguments;
        const test_image unbound;
        const qimg_windowConst unboundWindow = {};
        test_image dst;
        made.arguments.src = &unbound.record;
        made.arguments.srcWin = &unboundWindow;
        EXPECT_EQ(made.call(), QIP_OK);
        made.arguments.dst = &dst.record;
        made.arguments.dstMask = nullptr;
        EXPECT_EQ(made.call(), QIP_OK);
        EXPECT_EQ(dst.isBound(), !what.windows);
        EXPECT_TRUE(dst.rect().isNull());
        if (what.masked) {
            made.arguments = good;
            made.arguments.srcMask = &unbound.record;
            made.arguments.srcMaskWin = &unboundWindow;
            EXPECT_EQ(made.call(), QIMG_E_UNBOUND);
        }
        if (what.windows) {
            made.arguments = good;
            const qimg_window unboundDst = {};
            made.arguments.dstWin = &unboundDst;
            EXPECT_EQ(made.call(), QIP_OK);
            // A record that says "bound" and has no memory.
            qimg_windowConst broken = made.src.windowConst;
            broken.firstPixel = nullptr;
            made.arguments = good;
            made.arguments.srcWin = &broken;
            EXPECT_EQ(made.call(), QIMG_E_UNBOUND);
            broken.width = -3;
            broken.height = -4;
            EXPECT_EQ(made.call(), QIP_OK);
        }
        EXPECT_TRUE(made.isUntouched());
    });
}

// ---- where a call reads and writes ----

// With an odd origin D's first column lies half before the source. The whole of D is fine; once the request is
// cut, in either direction, that column cannot be had.
TEST(Gauss2Contract, OddOriginsRefuseACutDestination)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (!what.sampled)
            return;
        const oracle_rect source = {what.halveX ? 5 : 4, what.halveY ? -3 : 4, 20, 20};
        const oracle_rect full = oracle_gauss2PlanOf(what, source, source).full;
        request whole(what, source);
        EXPECT_EQ(whole.call(), QIP_OK);
        const double shiftX = what.halveX ? 0.5 : 0.0;
        const double shiftY = what.halveY ? 0.5 : 0.0;
        EXPECT_TRUE((whole.transform() == qmath_xformLinear{what.halveX ? 4.0 : 2.0, 0.0, 0.0,
                                                            what.halveY ? 8.0 : 4.0, 10.0 + 2.0 * shiftX,
                                                            20.0 + 4.0 * shiftY}));
        for (const oracle_rect& cut : {oracle_rect{full.x, full.y, full.width - 1, full.height},
                                       oracle_rect{full.x, full.y, full.width, full.height - 1}}) {
            request made(what, source, cut);
            const test_inhibition inhibition("");
            EXPECT_EQ(made.call(), QIMG_E_OUTSIDE);
            EXPECT_TRUE(made.isUntouched());
            EXPECT_TRUE(made.transform() == untouched);
            EXPECT_TRUE(test_inhibition::asked().empty());
        }
    });
}

// The image forms leave a destination that misses alone; the windows, and images bound by the call to nothing,
// still get the transform, -0.5 whatever the origin.
TEST(Gauss2Contract, NothingToWrite)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const test_inhibition inhibition("");
        const test_attention attention;
        const qmath_xformLinear sampled = {
            what.halveX ? 4.0 : 2.0,  0.0, 0.0, what.halveY ? 8.0 : 4.0, what.halveX ? 9.0 : 10.0,
            what.halveY ? 18.0 : 20.0};
        request missed(what, {5, 5, 20, 20}, {100, 100, 4, 4});
        test_image mask;
        missed.arguments.dstMask = &mask.record;
        EXPECT_EQ(missed.call(), QIP_OK);
        EXPECT_TRUE(missed.isUntouched());
        EXPECT_FALSE(mask.isBound());
        if (what.windows)
            EXPECT_TRUE(missed.transform() == (what.sampled ? sampled : untouched));
        else
            EXPECT_TRUE(missed.transform() == (what.sampled ? untouched : srcTransform));
        if (!what.windows && what.sampled) {
            request empty(what, {5, 5, what.halveX ? 1 : 20, what.halveX ? 20 : 1});
            test_image dst;
            empty.arguments.dst = &dst.record;
            empty.arguments.dstMask = &mask.record;
            EXPECT_EQ(empty.call(), QIP_OK);
            EXPECT_TRUE(dst.isBound() && dst.rect().isNull());
            EXPECT_EQ(mask.isBound(), what.masked);
            EXPECT_TRUE(transformOf(dst.record) == sampled);
        }
        EXPECT_TRUE(test_inhibition::asked().empty());
        EXPECT_EQ(attention.polls(), 0);
    });
}

// A refused call binds nothing, whichever of its arguments is at fault.
TEST(Gauss2Contract, RefusedCallsBindNothing)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const oracle_rect source = {0, 0, 20, 20};
        const test_image unbound;
        const qimg_windowConst unboundWindow = {};
        const plane shifted({1, 0, 20, 20}, 1, 3);
        const plane other(source, 3 - what.pixelSize, 3);
        plane small({0, 0, 5, 5}, 1, 3);
        request made(what, source);
        test_image dst, dstMask;
        made.arguments.dst = &dst.record;
        made.arguments.dstMask = &dstMask.record;
        const oracle_gauss2Arguments good = made.arguments;
        const auto refuses = [&](qsys_status status) {
            EXPECT_EQ(made.call(), status);
            EXPECT_FALSE(dst.isBound() || dstMask.isBound());
            EXPECT_TRUE(transformOf(dst.record) == transformOf(test_image().record));
            EXPECT_TRUE(made.isUntouched());
            made.arguments = good;
        };
        made.arguments.src = &other.image.record;
        made.arguments.srcWin = &other.windowConst;
        refuses(QIMG_E_PIXEL_SIZE);
        if (!what.masked)
            return;
        made.arguments.srcMask = &unbound.record;
        made.arguments.srcMaskWin = &unboundWindow;
        refuses(QIMG_E_UNBOUND);
        made.arguments.srcMask = &shifted.image.record;
        made.arguments.srcMaskWin = &shifted.windowConst;
        refuses(QIMG_E_OUTSIDE);
        made.arguments.dstMask = &small.image.record;
        made.arguments.dstMaskWin = &small.window;
        refuses(QIMG_E_OUTSIDE);
    });
}

// An unbound mask beside a bound destination covers the part that is written, no more.
TEST(Gauss2Contract, UnboundMasksAreBoundToTheWrittenPart)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (what.windows || !what.masked)
            return;
        request made(what, {0, 0, 20, 20}, {-3, 2, 9, 50});
        test_image mask;
        made.arguments.dstMask = &mask.record;
        EXPECT_EQ(made.call(), QIP_OK);
        const oracle_rect written = oracle_gauss2PlanOf(what, {0, 0, 20, 20}, {-3, 2, 9, 50}).written;
        const oracle_rect rect = mask.rect();
        EXPECT_TRUE(rect.x == written.x && rect.y == written.y && rect.width == written.width &&
                    rect.height == written.height);
    });
}

// A weight of 1 somewhere under the kernel is enough for a pixel, though its share rounds to 0.
TEST(Gauss2Contract, PixelsAreDecidedOnTheWeightsAndNotOnTheirShare)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (!what.masked)
            return;
        request made(what, {0, 0, 16, 16});
        for (int32_t y = 0; y < 16; ++y)
            for (int32_t x = 0; x < 16; ++x)
                made.srcMask.pixels.set(x, y, x == 8 && y == 8);
        made.src.pixels.set(8, 8, 200);
        EXPECT_EQ(made.call(), QIP_OK);
        const int32_t x = what.halveX ? 4 : 8;
        const int32_t y = what.halveY ? 4 : 8;
        EXPECT_EQ(test_pixel(made.dst.pixels.view(), x, y), 200u);
        EXPECT_EQ(test_pixel(made.dstMask.pixels.view(), x, y), 0u);
        EXPECT_EQ(test_pixel(made.dst.pixels.view(), 0, 0), 0u);
    });
}

TEST(Gauss2Contract, TransformsOfWindowsMayBeAbsentOrShared)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (!what.windows || !what.sampled)
            return;
        request made(what, {0, 0, 20, 20});
        made.arguments.srcTransform = nullptr;
        EXPECT_EQ(made.call(), QIP_OK);
        EXPECT_TRUE(made.transform() == untouched);
        made.arguments.srcTransform = &srcTransform;
        made.arguments.dstTransform = nullptr;
        EXPECT_EQ(made.call(), QIP_OK);
        qmath_xformLinear shared = srcTransform;
        made.arguments.srcTransform = &shared;
        made.arguments.dstTransform = &shared;
        EXPECT_EQ(made.call(), QIP_OK);
        EXPECT_EQ(shared.m00, what.halveX ? 4.0 : 2.0);
        EXPECT_EQ(shared.tx, what.halveX ? 9.0 : 10.0);
        EXPECT_EQ(shared.m11, what.halveY ? 8.0 : 4.0);
        EXPECT_EQ(shared.ty, what.halveY ? 18.0 : 20.0);
    });
}

// ---- passes ----

TEST(Gauss2Contract, PassCountsAtTheirEnds)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        if (what.sampled)
            return;
        request made(what, {0, 0, 70, 9});
        for (const int32_t count : {INT32_MIN, -2, -1}) {
            made.arguments.passesX = count;
            made.arguments.passesY = count;
            EXPECT_EQ(made.call(), QIP_OK);
            EXPECT_TRUE(made.isUntouched());
        }
        made.arguments.passesX = INT32_MAX;
        made.arguments.passesY = INT32_MAX;
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

TEST(Gauss2Contract, PollsComeEvery64Rows)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        for (const int32_t height : {2, 3, 64, 65, 66, 128, 129, 130, 193})
            for (const int32_t passes : {2, 5}) {
                request made(what, {0, 0, 40, height});
                made.arguments.passesX = passes;
                for (const char* inhibited : {"", "*"}) {
                    const test_inhibition inhibition(inhibited);
                    test_atEveryLevel([&](const std::string&) {
                        const test_attention attention;
                        EXPECT_EQ(made.call(), QIP_OK);
                        EXPECT_EQ(attention.polls(), oracle_gauss2Polls(what, height, passes, 2)) << height;
                    });
                }
            }
    });
}

// A call that is ended has written the rows before the poll: half as many when rows are sampled, none when the
// polls all come before the copy. The transform is not set.
TEST(Gauss2Contract, EndedCalls)
{
    forEveryExport([](const oracle_gauss2Export& what) {
        const int32_t rows = !what.sampled ? 64 : what.halveX && what.halveY ? 32 : 0;
        for (const char* inhibited : {"", "*"}) {
            const test_inhibition inhibition(inhibited);
            test_atEveryLevel([&](const std::string&) {
                for (const int64_t poll : {1, 2}) {
                    request made(what, {0, 0, 40, 130});
                    const int32_t written = poll == 1 ? 0 : rows;
                    const test_attention attention(poll, QSYS_FAILURE(0x7777));
                    EXPECT_EQ(made.call(), QSYS_FAILURE(0x7777));
                    EXPECT_EQ(attention.polls(), poll);
                    EXPECT_TRUE(made.isUntouched(written));
                    EXPECT_TRUE(made.transform() == untouched);
                    const oracle_gauss2Planes expected = made.expected(2, 2);
                    for (int32_t y = 0; y < written; ++y)
                        for (int32_t x = 0; x < expected.pixels.width; ++x)
                            ASSERT_EQ(
                                test_pixel(made.dst.pixels.view(), x, y),
                                expected.pixels.values[static_cast<size_t>(y * expected.pixels.width + x)]);
                }
            });
        }
    });
}

// Any status of the fallback class from a fast filter starts the plain one anew; from the plain one it is the
// result.
TEST(Gauss2Contract, AnAnswerOfTheFallbackClass)
{
    for (const qsys_status code : {QIP_E_FALLBACK, QSYS_FAILURE(0x061f)})
        forEveryExport([&](const oracle_gauss2Export& what) {
            request made(what, {0, 0, 40, 130});
            const int64_t polls = oracle_gauss2Polls(what, 130, 2, 2);
            {
                const oneAnswer handler(2, code);
                EXPECT_EQ(made.call(), QIP_OK);
                EXPECT_EQ(handler.polls, 2 + polls);
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
        EXPECT_TRUE(made.transform() == untouched);
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
                plane& shared = made.src;
                made.arguments.dst = &shared.image.record;
                made.arguments.dstWin = &shared.window;
                made.arguments.dstMask = &made.srcMask.image.record;
                made.arguments.dstMaskWin = &made.srcMask.window;
                made.arguments.passesX = 4;
                EXPECT_EQ(made.call(), QIP_OK);
                EXPECT_TRUE(test_undamaged(shared.pixels));
                EXPECT_TRUE(test_undamaged(made.srcMask.pixels));
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
