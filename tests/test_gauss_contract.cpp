// Sources and destinations of the four smoothing functions: which are refused and with which status, and
// what stays untouched.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

// Sources and destinations without pixels; records filled by hand that leave out where their pixels are or
// reach beyond 32-bit coordinates; pixels of the other depth.
TEST(GaussContract, RefusedWindows)
{
    const test_pixels pixels({9, 9, 1}), pixels8({9, 9, 1}), pixels16({9, 9, 2});
    const auto refuse = [&](qip_status expected, const auto& change) {
        for (const int32_t sample : {1, 2})
            for (const test_pixels* written : {&pixels8, &pixels16}) {
                auto from = test_windowConstOver(pixels, 0, 0);
                auto to = test_windowOver(*written, 0, 0);
                change(from, to);
                to.x = from.x / sample;
                to.y = from.y / sample;
                const auto smooth =
                    written == &pixels8 ? qip_gauss_smoothWindow8_8 : qip_gauss_smoothWindow8_16;
                const qip_gaussParams params = test_gaussParams(sample, 2);
                EXPECT_EQ(smooth(&from, &to, &params), expected);
            }
    };
    refuse(QIP_E_NULL_IMAGE, [](auto& from, auto&) { from = {}; });
    refuse(QIP_E_NULL_IMAGE, [](auto&, auto& to) { to = {}; });
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()}) {
        // The same memory is looked at later.
        refuse(QIP_E_NULL_IMAGE,
               [=](auto& from, auto& to) { from.firstPixel = to.firstPixel, from.width = size; });
        refuse(QIP_E_NULL_IMAGE,
               [=](auto& from, auto& to) { from.firstPixel = to.firstPixel, from.height = size; });
        refuse(QIP_E_NULL_IMAGE, [=](auto&, auto& to) { to.width = size; });
        refuse(QIP_E_NULL_IMAGE, [=](auto&, auto& to) { to.firstPixel = nullptr, to.height = size; });
    }
    refuse(QIMG_E_UNBOUND, [](auto& from, auto&) { from.firstPixel = nullptr; });
    refuse(QIMG_E_UNBOUND, [](auto&, auto& to) { to.firstPixel = nullptr; });
    refuse(QIMG_E_UNBOUND, [](auto& from, auto& to) { from.firstPixel = to.firstPixel = nullptr; });
    // Of the 16-bit destination alone.
    const auto refuseMisaligned = [&](const auto& change) {
        auto from = test_windowConstOver(pixels, 0, 0);
        auto to = test_windowOver(pixels16, 0, 0);
        change(from, to);
        const qip_gaussParams params = test_gaussParams(1, 2);
        EXPECT_EQ(qip_gauss_smoothWindow8_16(&from, &to, &params), QIMG_E_ALIGNMENT);
        qsUSImage* view = nullptr;
        const qimg_windowConst written = qimg_window_asConst(&to);
        EXPECT_EQ(generate_qsUSImage_from_qimg_windowConst(&written, &view), QIMG_E_ALIGNMENT);
        EXPECT_EQ(view, nullptr);
    };
    refuseMisaligned([](auto&, auto& to) { to.firstPixel = static_cast<char*>(to.firstPixel) + 1; });
    refuseMisaligned([](auto&, auto& to) { ++to.stride; });
    refuseMisaligned([](auto&, auto& to) { to.height = 1, to.stride = -1; });
    const int32_t far = std::numeric_limits<int32_t>::max() - 3;
    refuse(QSYS_E_RANGE, [=](auto& from, auto&) { from.x = far; });
    refuse(QSYS_E_RANGE, [=](auto& from, auto&) { from.y = far; });
    refuse(QIMG_E_PIXEL_SIZE, [](auto& from, auto&) { from.pixelSize = 2; });
    refuse(QIMG_E_PIXEL_SIZE, [](auto&, auto& to) { to.pixelSize = 3 - to.pixelSize; });

    const auto refuseCopy = [&](qip_status expected, const auto& change) {
        const int32_t one[2] = {1, 1};
        auto from = test_windowConstOver(pixels, 0, 0);
        auto to = test_windowOver(pixels8, 0, 0);
        change(from, to);
        EXPECT_EQ(gauss_pelCopySampledWindow8(&from, one, one, &to), expected);
    };
    refuseCopy(QIMG_E_UNBOUND, [](auto& from, auto&) { from.firstPixel = nullptr; });
    refuseCopy(QIMG_E_UNBOUND, [](auto&, auto& to) { to.firstPixel = nullptr; });
    refuseCopy(QIMG_E_PIXEL_SIZE, [](auto& from, auto&) { from.pixelSize = 2; });
    refuseCopy(QIMG_E_PIXEL_SIZE, [](auto&, auto& to) { to.pixelSize = 2; });
    refuseCopy(QIP_OK, [](auto&, auto& to) { to = {}; });
    EXPECT_TRUE(test_samePixels(test_grid(9, 9, test_canary), pixels8.view()));
    EXPECT_TRUE(test_samePixels(test_grid(9, 9, 0x101 * test_canary), pixels16.view()));
}

TEST(GaussContract, RefusedImages)
{
    const test_pixels pixels8({9, 9, 1}), pixels16({9, 9, 2});
    const qip_gaussParams params = test_gaussParams(1, 1);
    test_image unbound, narrow(pixels8, 0, 0), wide(pixels16, 0, 0), destination;
    qimg_image* const dst = &destination.record;
    EXPECT_EQ(qip_gauss_smooth8_8(&unbound.record, dst, &params), QSYS_FAILURE(0x03c3));
    EXPECT_EQ(qip_gauss_smooth8_16(&unbound.record, dst, &params), QIP_E_NULL_IMAGE);
    EXPECT_EQ(qip_gauss_smooth8_8(&wide.record, dst, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smooth8_16(&wide.record, dst, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smooth8_8(&narrow.record, &wide.record, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_gauss_smooth8_16(&narrow.record, &narrow.record, &params), QIMG_E_PIXEL_SIZE);
    EXPECT_FALSE(destination.isBound());
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
        test_image from, to;
        const auto lay = [&](test_image* image, const qstd_rect32& rect, int32_t x, int32_t y) {
            EXPECT_EQ(qimg_image_constructMemory(&image->record, 1, &rect, pixels.stride(),
                                                 pixels.row(y) + x, nullptr, nullptr),
                      0);
        };
        lay(&from, {4, 2, 12, 12}, 4, 2);
        lay(&to, {4, 2, place.width, place.height}, place.x, place.y);
        qimg_windowConst windowFrom = {};
        qimg_window windowTo = {};
        ASSERT_EQ(qimg_windowConst_init(&windowFrom, &from.record), 0);
        ASSERT_EQ(qimg_window_init(&windowTo, &to.record), 0);
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&windowFrom, &windowTo, &params), place.status) << place.x;
        EXPECT_EQ(qip_gauss_smooth8_8(&from.record, &to.record, &params), place.status) << place.x;
        EXPECT_EQ(test_samePixels(before, pixels.view()), place.status < 0);
        test_fill(&pixels, before);
    }
    EXPECT_TRUE(test_undamaged(pixels));
}

// The transforms of sources that no destination can take over: linear ones pass through single precision,
// where they may vanish or overflow, and other ones may end in a linear step that sampling makes vanish.
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
        test_handle handle;
        ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
        refuse(handle, 3);
    }
    const auto same = [](void*, qmath_point*) {
        return qsys_status{0};
    };
    const qmath_xformLinear linear = {1e-160, 0, 0, 1e-160, 0, 0};
    test_handle last, handle;
    ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&last, &linear), 0);
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&handle, same, same, nullptr, nullptr), 0);
    ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&handle, &last, &handle), 0);
    refuse(handle, coarse);
}
