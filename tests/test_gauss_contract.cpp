// Sources and destinations of the four smoothing functions: which are refused and with which status, what
// stays untouched, and which path serves the rest.
#include "support/compare.h"
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qbase/cpuinfo.h>
#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

TEST(GaussContract, SourcesAndDestinationsWithoutPixels)
{
    const test_pixels pixels({9, 9, 1});
    const test_pixels pixels8({9, 9, 1});
    const auto from = test_windowConstOver(pixels, 0, 0);
    const auto to = test_windowOver(pixels8, 0, 0);
    const qip_gaussParams params = test_gaussParams(1, 1);
    const qip_status nullImage = QSYS_FAILURE(0x03c3);
    const auto expectNull = [&](const qimg_windowConst& src, const qimg_window& dst) {
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&src, &dst, &params), nullImage);
        qimg_window dst16 = dst;
        dst16.pixelSize = dst.pixelSize == 0 ? 0 : 2;
        EXPECT_EQ(qip_gauss_smoothWindow8_16(&src, &dst16, &params), nullImage);
    };
    qimg_windowConst unboundSource = {};
    qimg_window unboundDestination = {};
    expectNull(unboundSource, to);
    expectNull(from, unboundDestination);
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()}) {
        for (const bool width : {true, false}) {
            // The same memory and overlaps are looked at later.
            qimg_windowConst source = qimg_window_asConst(&to);
            (width ? source.width : source.height) = size;
            expectNull(source, to);
            qimg_window destination = to;
            (width ? destination.width : destination.height) = size;
            expectNull(from, destination);
        }
    }
    test_image unbound;
    test_image destination;
    EXPECT_EQ(qip_gauss_smooth8_8(&unbound.record, &destination.record, &params), nullImage);
    EXPECT_EQ(qip_gauss_smooth8_16(&unbound.record, &destination.record, &params), nullImage);
    EXPECT_FALSE(destination.isBound());
}

// Windows that are filled by hand may leave out where their pixels are, or reach beyond 32-bit coordinates.
TEST(GaussContract, WindowsThatCannotBeFollowedAreRefused)
{
    const test_pixels pixels({8, 8, 1});
    const test_pixels pixels8({8, 8, 1});
    const test_pixels pixels16({8, 8, 2});
    const auto expect = [&](qip_status expected, const qimg_windowConst& from, bool hasDestination,
                            const qip_gaussParams& params) {
        for (const test_pixels* written : {&pixels8, &pixels16}) {
            const auto smooth =
                written == &pixels8 ? qip_gauss_smoothWindow8_8 : qip_gauss_smoothWindow8_16;
            auto to = test_windowOver(*written, 0, 0);
            to.x = from.x / params.sampleX;
            to.y = from.y / params.sampleY;
            if (!hasDestination)
                to.firstPixel = nullptr;
            EXPECT_EQ(smooth(&from, &to, &params), expected);
            to.height = 0; // what is empty needs no pixels
            EXPECT_EQ(smooth(&from, &to, &params), QSYS_FAILURE(0x03c3));
        }
    };
    const auto source = test_windowConstOver(pixels, 0, 0);
    auto noSource = source;
    noSource.firstPixel = nullptr;
    for (const int32_t sample : {1, 2}) {
        const qip_gaussParams params = test_gaussParams(sample, 2);
        expect(QIMG_E_UNBOUND, noSource, true, params);
        expect(QIMG_E_UNBOUND, source, false, params);
        expect(QIMG_E_UNBOUND, noSource, false, params);
        auto far = source;
        far.y = std::numeric_limits<int32_t>::max() - 3;
        expect(QSYS_E_RANGE, far, true, params);
        std::swap(far.x, far.y);
        expect(QSYS_E_RANGE, far, true, params);
    }
    const int32_t one[2] = {1, 1};
    const auto to = test_windowOver(pixels8, 0, 0);
    auto noDestination = to;
    noDestination.firstPixel = nullptr;
    EXPECT_EQ(gauss_pelCopySampledWindow8(&noSource, one, one, &to), QIMG_E_UNBOUND);
    EXPECT_EQ(gauss_pelCopySampledWindow8(&source, one, one, &noDestination), QIMG_E_UNBOUND);
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), pixels8.view()));
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, 0x101 * test_canary), pixels16.view()));
}

TEST(GaussContract, PixelsOfTheOtherDepthAreRefused)
{
    const test_pixels pixels8({9, 9, 1});
    const test_pixels pixels16({9, 9, 2});
    const qip_gaussParams params = test_gaussParams(1, 1);
    const auto source16 = test_windowConstOver(pixels16, 0, 0);
    const auto source8 = test_windowConstOver(pixels8, 0, 0);
    const auto to8 = test_windowOver(pixels8, 0, 0);
    const auto to16 = test_windowOver(pixels16, 0, 0);
    EXPECT_EQ(qip_gauss_smoothWindow8_8(&source16, &to8, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smoothWindow8_16(&source16, &to16, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smoothWindow8_8(&source8, &to16, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smoothWindow8_16(&source8, &to8, &params), QIMG_E_PIXEL_SIZE);
    const test_image image8(pixels8, 0, 0);
    const test_image image16(pixels16, 0, 0);
    test_image bound8(pixels8, 0, 0);
    test_image bound16(pixels16, 0, 0);
    test_image unbound;
    EXPECT_EQ(qip_gauss_smooth8_8(&image16.record, &unbound.record, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smooth8_16(&image16.record, &unbound.record, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smooth8_8(&image8.record, &bound16.record, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smooth8_16(&image8.record, &bound8.record, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_FALSE(unbound.isBound());
    EXPECT_TRUE(test_samePixels(test_grid(9, 9, 0x9999), pixels16.view()));
}

TEST(GaussContract, OverlapOfSourceAndDestination)
{
    test_pixels pixels({40, 20, 1, test_fence::block, 0, 8});
    test_fillRandom(&pixels);
    const test_grid before(pixels.view());
    const qip_gaussParams params = test_gaussParams(1, 2);
    struct place {
        int32_t x, y, width, height;
        qip_status status;
    };
    const place source = {4, 2, 12, 12, 0};
    const place destinations[] = {
        {4, 2, 12, 12, QSYS_FAILURE(0x06a1)}, // the same
        {4, 2, 5, 3, QSYS_FAILURE(0x06a1)},   // the same first pixel
        {5, 2, 12, 12, QIP_E_PEL_OVERLAP},
        {4, 13, 12, 5, QIP_E_PEL_OVERLAP},
        {15, 13, 20, 5, QIP_E_PEL_OVERLAP}, // one pixel
        {16, 2, 12, 12, 0},                 // side by side
        {4, 14, 12, 5, 0},                  // below
    };
    const auto at = [&](const place& p) {
        return pixels.row(p.y) + p.x;
    };
    for (const place& place : destinations) {
        const qstd_rect32 rect{source.x, source.y, source.width, source.height};
        const qstd_rect32 rectTo{source.x, source.y, place.width, place.height};
        qimg_windowConst from = {};
        qimg_window to = {};
        ASSERT_EQ(qimg_windowConst_initMemory(&from, 1, &rect, pixels.stride(), at(source)), 0);
        ASSERT_EQ(qimg_window_initMemory(&to, 1, &rectTo, pixels.stride(), at(place)), 0);
        test_image imageFrom;
        test_image imageTo;
        ASSERT_EQ(qimg_image_constructMemory(&imageFrom.record, 1, &rect, pixels.stride(), at(source),
                                             nullptr, nullptr),
                  0);
        ASSERT_EQ(qimg_image_constructMemory(&imageTo.record, 1, &rectTo, pixels.stride(), at(place),
                                             nullptr, nullptr),
                  0);
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&from, &to, &params), place.status) << place.x;
        EXPECT_EQ(qip_gauss_smooth8_8(&imageFrom.record, &imageTo.record, &params), place.status)
            << place.x;
        EXPECT_EQ(test_samePixels(before, pixels.view()), place.status < 0);
        for (int32_t y = 0; y < 20; ++y)
            for (int32_t x = 0; x < 40; ++x)
                pixels.set(x, y, test_pixel(before.view(), x, y));
    }
    EXPECT_TRUE(test_undamaged(pixels));
}

// A source that yields nothing, and a destination beside what it yields: success, and no work.
TEST(GaussContract, NothingToComputeIsSuccess)
{
    test_pixels narrow({1, 30, 1});
    test_fillRandom(&narrow);
    const test_inhibition names("");
    const test_image source(narrow, 0, 0);
    const qip_gaussParams coarse = test_gaussParams(4, 1); // samples source column 1 first
    {
        test_image destination;
        EXPECT_EQ(qip_gauss_smooth8_8(&source.record, &destination.record, &coarse), QIP_OK);
        EXPECT_FALSE(destination.isBound());
        EXPECT_EQ(qip_gauss_smooth8_16(&source.record, &destination.record, &coarse), QIP_OK);
        EXPECT_FALSE(destination.isBound());
        const qstd_rect32 none{3, 3, 0, 0};
        test_image emptySource;
        ASSERT_EQ(qimg_image8_assignNewRect(&emptySource.record, &none), 0);
        EXPECT_EQ(qip_gauss_smooth8_8(&emptySource.record, &destination.record, &coarse), QIP_OK);
        EXPECT_FALSE(destination.isBound());
    }
    EXPECT_TRUE(test_inhibition::asked().empty());

    const test_pixels beside({6, 6, 1});
    test_image destination(beside, 500, 0);
    const test_attention attention;
    const qip_gaussParams params = test_gaussParams(3, 1);
    EXPECT_EQ(qip_gauss_smooth8_8(&source.record, &destination.record, &params), QIP_OK);
    EXPECT_TRUE(test_samePixels(test_grid(6, 6, test_canary), beside.view()));
    EXPECT_EQ(attention.polls(), 0);
    // Source coordinates are three times the destination's: the inverse stands in the image.
    const qmath_xformLinear linear = test_imageFromClient(&destination.record);
    EXPECT_NEAR(linear.m00, 1.0 / 3.0, 1e-6);
    EXPECT_NEAR(linear.ty, 0.5 / 3.0, 1e-6);

    const test_pixels narrow8({6, 6, 1});
    const test_pixels narrow16({6, 6, 2});
    test_forEachGauss(narrow, narrow8, narrow16, [&](const char*, const test_gaussCall& smooth) {
        EXPECT_EQ(smooth(coarse), QIP_OK);
    });
    EXPECT_TRUE(test_samePixels(test_grid(6, 6, test_canary), narrow8.view()));
}

// The transforms of sources that no destination can take over: linear ones pass through single precision, where
// they may vanish or overflow, and other ones may end in a linear step that sampling makes vanish.
TEST(GaussContract, TransformsThatVanishAreRefusedFirst)
{
    const int32_t coarse = 4000000;
    const test_pixels pixels({9, 9, 1});
    const auto refuse = [&](const qmath_xformPtrhConst& xform, int32_t sample) {
        const int32_t origin = sample / 2 - 4; // the source holds the first sample
        test_image source(pixels, origin, origin);
        ASSERT_EQ(qimg_image_setImageFromClientXform(&source.record, &xform), 0);
        const qip_gaussParams params = test_gaussParams(sample, 2);
        for (const int32_t pixelSize : {1, 2}) {
            const auto smooth = pixelSize == 1 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
            const test_attention attention;
            test_image unbound;
            EXPECT_EQ(smooth(&source.record, &unbound.record, &params), QMATH_E_SINGULAR);
            EXPECT_FALSE(unbound.isBound());
            const test_pixels written({9, 9, pixelSize});
            const test_grid before(written.view());
            test_image bound(written, -2, -2);
            const qmath_xformLinear linear = {2, 0, 0, 2, 0, 0};
            ASSERT_EQ(qimg_image_setLinearImageFromClientXform(&bound.record, &linear), 0);
            EXPECT_EQ(smooth(&source.record, &bound.record, &params), QMATH_E_SINGULAR);
            EXPECT_EQ(test_imageFromClient(&bound.record).m00, 2.0);
            EXPECT_TRUE(test_samePixels(before, written.view()));
            EXPECT_EQ(attention.polls(), 0);
        }
    };
    // 2e-45 is the least single-precision number that is not 0; a third of it is rounded to 0.
    for (const double scale : {1e-50, -1e-46, 2e-45, 1e60}) {
        const qmath_xformLinear linear = {scale, 0, 0, scale, 5, 5};
        qmath_xformPtrhConst handle = {};
        ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
        refuse(handle, 3);
        qmath_xformPtrhConst_destruct(&handle);
    }
    const auto same = [](void*, qmath_point*) {
        return qsys_status{0};
    };
    const qmath_xformLinear linear = {1e-160, 0, 0, 1e-160, 0, 0};
    qmath_xformPtrhConst last = {};
    qmath_xformPtrhConst handle = {};
    ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&last, &linear), 0);
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&handle, same, same, nullptr, nullptr), 0);
    ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&handle, &last, &handle), 0);
    refuse(handle, coarse);
    qmath_xformPtrhConst_destruct(&handle);
    qmath_xformPtrhConst_destruct(&last);
}

// Levels with engines of their own are held against the reference elsewhere; here, that a processor without a
// usable engine takes the reference path, with its values, whatever else it reports.
TEST(GaussContract, ProcessorsWithoutAnEngineTakeTheReferencePath)
{
    test_pixels pixels({50, 50, 1});
    test_fillRandom(&pixels);
    const auto from = test_windowConstOver(pixels, 0, 0);
    const qip_gaussParams params = test_gaussParams(1, 2);
    const test_grid expected = test_smoothed(pixels.view(), params, {0, 0, 50, 50}, 1);
    struct processor {
        int32_t processorClass;
        uint32_t features;
    };
    for (const processor& p : {processor{2, 0xffffffff},
                               {0, 0xffffffff},
                               {-3, 0xffffffff},
                               {1, 0},
                               {5, 0},
                               {1, QSYS_CPU_BIT_VECTOR256},
                               {5, 0xfffffffe}}) {
        const test_processor lowered(p.processorClass, p.features);
        const test_inhibition names("");
        const test_pixels written({50, 50, 1});
        const auto to = test_windowOver(written, 0, 0);
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&from, &to, &params), QIP_OK);
        EXPECT_TRUE(test_samePixels(expected, written.view()))
            << "class " << p.processorClass << ", features " << p.features;
        EXPECT_EQ(test_inhibition::asked(), std::vector<std::string>{"gauss"});
    }
}

TEST(GaussContract, ThreadsSmoothOneSourceAtOnce)
{
    test_pixels pixels({60, 60, 1});
    test_fillRandom(&pixels);
    const auto from = test_windowConstOver(pixels, 0, 0);
    const qip_gaussParams params = test_gaussParams(1, 4);
    const test_grid expected = test_smoothed(pixels.view(), params, {0, 0, 60, 60}, 2);
    std::atomic<int> failures{0};
    struct worker {
        test_pixels written{{60, 60, 2}};
        std::thread thread;
    };
    worker workers[4];
    for (worker& w : workers)
        w.thread = std::thread([&, to = test_windowOver(w.written, 0, 0)] {
            for (int run = 0; run < 5; ++run)
                failures += qip_gauss_smoothWindow8_16(&from, &to, &params) != QIP_OK;
        });
    for (worker& w : workers)
        w.thread.join();
    EXPECT_EQ(failures, 0);
    for (const worker& w : workers)
        EXPECT_TRUE(test_samePixels(expected, w.written.view()));
}
