// Sources and destinations of the four smoothing functions: which are refused and with which status, what
// stays untouched, and which path serves the rest.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

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
    expectNull({}, to);
    expectNull(from, {});
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()})
        for (const bool width : {true, false}) {
            // The same memory and overlaps are looked at later.
            qimg_windowConst source = qimg_window_asConst(&to);
            (width ? source.width : source.height) = size;
            expectNull(source, to);
            qimg_window destination = to;
            (width ? destination.width : destination.height) = size;
            expectNull(from, destination);
        }
    test_image unbound, destination;
    EXPECT_EQ(qip_gauss_smooth8_8(&unbound.record, &destination.record, &params), nullImage);
    EXPECT_EQ(qip_gauss_smooth8_16(&unbound.record, &destination.record, &params), nullImage);
    EXPECT_FALSE(destination.isBound());
}

TEST(GaussContract, PixelsOfTheOtherDepthAreRefused)
{
    const test_pixels pixels8({9, 9, 1});
    const test_pixels pixels16({9, 9, 2});
    const qip_gaussParams params = test_gaussParams(1, 1);
    test_plane narrow(&pixels8, {0, 0, 9, 9});
    test_plane wide(&pixels16, {0, 0, 9, 9});
    test_image unbound;
    const auto expectRefused = [&](const test_plane& src, test_plane& dst, qimg_image* image, auto smooth,
                                   auto smoothWindow) {
        EXPECT_EQ(smooth(&src.image.record, image, &params), QIMG_E_PIXEL_SIZE);
        EXPECT_EQ(smoothWindow(&src.windowConst, &dst.window, &params), QIMG_E_PIXEL_SIZE);
    };
    expectRefused(wide, narrow, &unbound.record, qip_gauss_smooth8_8, qip_gauss_smoothWindow8_8);
    expectRefused(wide, wide, &unbound.record, qip_gauss_smooth8_16, qip_gauss_smoothWindow8_16);
    expectRefused(narrow, wide, &wide.image.record, qip_gauss_smooth8_8, qip_gauss_smoothWindow8_8);
    expectRefused(narrow, narrow, &narrow.image.record, qip_gauss_smooth8_16, qip_gauss_smoothWindow8_16);
    EXPECT_FALSE(unbound.isBound());
    EXPECT_TRUE(test_samePixels(test_grid(9, 9, 0x9999), pixels16.view()));
}

TEST(GaussContract, OverlapOfSourceAndDestination)
{
    test_pixels pixels({40, 20, 1, test_fence::block, 0, 8});
    test_fillRandom(&pixels);
    const test_grid before(pixels.view());
    const qip_gaussParams params = test_gaussParams(1, 2);
    const struct {
        int32_t x, y, width, height;
        qip_status status;
    } destinations[] = {
        {4, 2, 12, 12, QSYS_FAILURE(0x06a1)}, // the same
        {4, 2, 5, 3, QSYS_FAILURE(0x06a1)},   // the same first pixel
        {5, 2, 12, 12, QIP_E_PEL_OVERLAP},
        {4, 13, 12, 5, QIP_E_PEL_OVERLAP},
        {15, 13, 20, 5, QIP_E_PEL_OVERLAP}, // one pixel
        {16, 2, 12, 12, 0},                 // side by side
        {4, 14, 12, 5, 0},                  // below
    };
    for (const auto& place : destinations) {
        const qstd_rect32 rect{4, 2, 12, 12};
        const qstd_rect32 rectTo{4, 2, place.width, place.height};
        test_image from, to;
        qimg_windowConst windowFrom = {};
        qimg_window windowTo = {};
        ASSERT_EQ(qimg_image_constructMemory(&from.record, 1, &rect, pixels.stride(), pixels.row(2) + 4,
                                             nullptr, nullptr),
                  0);
        ASSERT_EQ(qimg_image_constructMemory(&to.record, 1, &rectTo, pixels.stride(),
                                             pixels.row(place.y) + place.x, nullptr, nullptr),
                  0);
        ASSERT_EQ(qimg_windowConst_init(&windowFrom, &from.record), 0);
        ASSERT_EQ(qimg_window_init(&windowTo, &to.record), 0);
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&windowFrom, &windowTo, &params), place.status) << place.x;
        EXPECT_EQ(qip_gauss_smooth8_8(&from.record, &to.record, &params), place.status) << place.x;
        EXPECT_EQ(test_samePixels(before, pixels.view()), place.status < 0);
        test_fill(&pixels, before);
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
    const qstd_rect32 none{3, 3, 0, 0};
    test_image unbound, emptySource;
    ASSERT_EQ(qimg_image8_assignNewRect(&emptySource.record, &none), 0);
    const qimg_image* const sources[] = {&source.record, &emptySource.record};
    for (const qimg_image* const image : sources) {
        EXPECT_EQ(qip_gauss_smooth8_8(image, &unbound.record, &coarse), QIP_OK);
        EXPECT_EQ(qip_gauss_smooth8_16(image, &unbound.record, &coarse), QIP_OK);
        EXPECT_FALSE(unbound.isBound());
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
