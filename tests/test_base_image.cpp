// Images and the windows on them: layout, sharing, memory of the caller, restriction, transforms, refusals.
#include "support/faults.h"
#include "support/images.h"

#include <qbase/image.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace
{

qstd_rect32 rectOf(const test_image& image)
{
    qstd_rect32 rect;
    EXPECT_EQ(qimg_image_getWindow(&image.record, &rect), 0);
    return rect;
}

void countRelease(void* context, void*)
{
    ++*static_cast<int*>(context);
}

// That the image's transforms undo each other and that the first one is `expected`.
void expectXform(const test_image& image, const qmath_xformLinear& expected)
{
    const qmath_xformLinear there = test_imageFromClient(&image.record);
    const qmath_xformLinear back = test_clientFromImage(&image.record);
    EXPECT_EQ(there, expected);
    EXPECT_NEAR(back.m00 * there.m00 + back.m01 * there.m10, 1, 1e-12);
    EXPECT_NEAR(back.m00 * there.m01 + back.m01 * there.m11, 0, 1e-12);
    EXPECT_NEAR(back.m10 * there.m00 + back.m11 * there.m10, 0, 1e-12);
    EXPECT_NEAR(back.m00 * there.tx + back.m01 * there.ty + back.tx, 0, 1e-12);
    EXPECT_NEAR(back.m10 * there.tx + back.m11 * there.ty + back.ty, 0, 1e-12);
}

constexpr qmath_xformLinear identity = {1, 0, 0, 1, 0, 0};
constexpr qmath_xformLinear turned = {0, 2, -4, 0, 1, 7};

} // namespace

TEST(BaseImage, NewPixelsAreZeroAndRowsAligned)
{
    for (const int32_t pixelSize : {1, 2})
        for (const qstd_rect32 rect :
             {qstd_rect32{-3, 4, 1, 1}, {5, -6, 65, 3}, {0, 0, 32, 2}, {7, 7, 0, 5}, {0, 0, 4096, 3}}) {
            test_image image;
            ASSERT_EQ(qimg_image_assignNewRect(&image.record, pixelSize, &rect), 0);
            EXPECT_EQ(rectOf(image), rect);
            qimg_window window;
            ASSERT_EQ(qimg_window_init(&window, &image.record), 0);
            EXPECT_NE(window.bound, 0);
            EXPECT_EQ(window.pixelSize, pixelSize);
            EXPECT_GE(window.stride, rect.width * pixelSize);
            EXPECT_TRUE(rect.width == 0 || window.stride % 2048 != 0) << "rows would share few cache sets";
            for (int32_t y = 0; y < rect.height; ++y) {
                auto* const row = static_cast<unsigned char*>(window.firstPixel) + y * window.stride;
                EXPECT_EQ(reinterpret_cast<uintptr_t>(row) % 64, 0u);
                EXPECT_EQ(std::count(row, row + rect.width * pixelSize, 0), rect.width * pixelSize);
                std::fill_n(row, rect.width * pixelSize, 0xff); // for the address sanitizer
            }
        }
}

TEST(BaseImage, SizesThatCannotBe)
{
    test_image made;
    qimg_image* const image = &made.record;
    ASSERT_EQ(qimg_image8_construct(image, 4, 3), 0);
    const qimg_image before = *image;
    const qstd_rect32 wide = {0, 0, INT32_MAX / 2 + 1, 1}, last = {INT32_MAX, 0, 2, 1};
    const qstd_rect32 huge = {0, 0, INT32_MAX - 63, INT32_MAX}, unit = {0, 0, 1, 1};
    EXPECT_EQ(qimg_image16_assignNewRect(image, &wide), QSYS_E_RANGE);
    EXPECT_EQ(qimg_image8_assignNewRect(image, &last), QSYS_E_RANGE);
    EXPECT_EQ(qimg_image_assignNewRect(image, 3, &unit), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_setOrigin(image, INT32_MAX - 2, 0), QSYS_E_RANGE);
    {
        test_allocator allocator; // 2^62 bytes are asked for, and not to be had
        allocator.arm(1, false);
        EXPECT_EQ(qimg_image8_assignNewRect(image, &huge), QSYS_E_MEMORY);
    }
    EXPECT_EQ(std::memcmp(image, &before, sizeof before), 0);
    EXPECT_EQ(qimg_image_setOrigin(image, INT32_MAX - 3, INT32_MIN), 0);

    const qstd_rect32 negative = {3, 4, -5, 6};
    EXPECT_EQ(qimg_image8_assignNewRect(image, &negative), 0) << "bound and empty";
    EXPECT_EQ(rectOf(made), (qstd_rect32{3, 4, 0, 6}));
    test_image constructed;
    EXPECT_EQ(qimg_image8_constructRect(&constructed.record, &negative), QSYS_E_RANGE);
    EXPECT_EQ(qimg_image_setOrigin(&constructed.record, 0, 0), QIMG_E_UNBOUND);
    EXPECT_EQ(rectOf(constructed), (qstd_rect32{0, 0, 0, 0}));
}

TEST(BaseImage, TheLastImageReleasesThePixels)
{
    test_allocator allocator;
    std::array<uint8_t, 12> pixels{};
    int released = 0;
    const qstd_rect32 rect = {-2, 8, 4, 3};
    {
        test_image first, second, third;
        // Bottom row first in memory.
        ASSERT_EQ(
            qimg_image_constructMemory(&first.record, 1, &rect, -4, &pixels[8], countRelease, &released),
            0);
        ASSERT_EQ(qimg_image8_construct(&second.record, 100, 100), 0);
        ASSERT_EQ(qimg_image_assign(&second.record, &first.record), 0);
        ASSERT_EQ(qimg_image_assign(&third.record, &second.record), 0);
        ASSERT_EQ(qimg_image_assign(&third.record, &third.record), 0);
        ASSERT_EQ(qimg_image_destruct(&first.record), 0);
        ASSERT_EQ(qimg_image_assign(&second.record, &first.record), 0) << "unbound now";
        EXPECT_FALSE(second.isBound());
        EXPECT_EQ(released, 0);

        qimg_window8 window;
        const qstd_rect32 corner = {1, 10, 1, 1};
        ASSERT_EQ(qimg_window8_init(&window, &third.record), 0);
        ASSERT_EQ(qimg_window_windowRect(&window, &corner, 0), 0);
        EXPECT_EQ(window.firstPixel, &pixels[3]);

        // The rectangle may be the image's own record.
        ASSERT_EQ(qimg_image8_assignNewRect(&third.record, &third.record.rect), 0);
        EXPECT_EQ(released, 1);
        EXPECT_EQ(rectOf(third), rect);
    }
    EXPECT_EQ(test_allocator::liveBlocks(), 0);
    EXPECT_EQ(released, 1);
}

TEST(BaseImage, MemoryThatCannotHoldTheImage)
{
    alignas(2) std::array<uint8_t, 64> pixels{};
    int released = 0;
    test_image image;
    const auto lay = [&](int32_t pixelSize, qstd_rect32 rect, int32_t stride, void* first) {
        return qimg_image_constructMemory(&image.record, pixelSize, &rect, stride, first, countRelease,
                                          &released);
    };
    EXPECT_EQ(lay(1, {0, 0, 4, 2}, 3, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, -6, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, 9, &pixels), QIMG_E_ALIGNMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, -9, &pixels[10]), QIMG_E_ALIGNMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, 8, &pixels[1]), QIMG_E_ALIGNMENT);
    EXPECT_EQ(lay(1, {0, 0, 4, 2}, 4, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(4, {0, 0, 4, 2}, 16, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(1, {0, INT32_MAX, 4, 2}, INT32_MIN, &pixels), QSYS_E_RANGE);
    EXPECT_FALSE(image.isBound());
    EXPECT_EQ(released, 0);
    EXPECT_EQ(lay(1, {0, 0, 4, 1}, 0, &pixels), 0) << "one row needs no stride";
    qimg_image_destruct(&image.record);
    EXPECT_EQ(lay(1, {0, 0, 0, 5}, 0, &pixels), 0) << "nor do empty rows";
}

TEST(BaseImage, TransformsStayInverse)
{
    test_image made, other;
    qimg_image* const image = &made.record;
    expectXform(made, identity);
    ASSERT_EQ(qimg_image_setLinearImageFromClientXform(image, &turned), 0);
    expectXform(made, turned);
    ASSERT_EQ(qimg_image_copyXforms(&other.record, image), 0);
    ASSERT_EQ(qimg_image_copyXforms(&other.record, &other.record), 0);
    // One of the image's own handles as the new value of the other swaps the two, and again.
    ASSERT_EQ(qimg_image_setClientFromImageXform(image, &image->imageFromClient), 0);
    EXPECT_EQ(qimg_image_setImageFromClientXform(image, &image->clientFromImage), 0);
    expectXform(made, turned);

    const qmath_xformLinear flat = {1, 1, 1, 1, 0, 0};
    EXPECT_EQ(qimg_image_setLinearImageFromClientXform(image, &flat), QMATH_E_SINGULAR);
    expectXform(made, turned);
    const qstd_rect32 rect = {0, 0, 2, 2};
    ASSERT_EQ(qimg_image8_assignNewRect(image, &rect), 0);
    expectXform(made, turned);
    qimg_image_destruct(image);
    expectXform(made, identity);
    expectXform(other, turned);
}

TEST(BaseWindow, RestrictionRefusesWhatIsOutside)
{
    std::array<uint16_t, 20> pixels{};
    qimg_window window;
    const qstd_rect32 whole = {INT32_MAX - 4, INT32_MIN, 5, 4};
    ASSERT_EQ(qimg_window_initMemory(&window, 2, &whole, 10, &pixels), 0);
    for (const qstd_rect32 outside : {qstd_rect32{INT32_MAX - 5, INT32_MIN, 2, 2},
                                      {INT32_MAX - 4, INT32_MIN, 6, 1},
                                      {INT32_MAX - 4, INT32_MIN + 3, 1, 2},
                                      {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX},
                                      {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX}})
        EXPECT_EQ(qimg_window_windowRect(&window, &outside, 0), QIMG_E_OUTSIDE);
    const qstd_rect32 inside = {INT32_MAX - 1, INT32_MIN + 2, 2, 2}, empty = {7, 7, 3, -1};
    EXPECT_EQ(qimg_window_windowRect(&window, &inside, 1), QSYS_E_ARGUMENT);
    qstd_rect32 rect;
    ASSERT_EQ(qimg_window_getWindow(&window, &rect), 0);
    EXPECT_EQ(rect, whole);
    EXPECT_EQ(window.firstPixel, &pixels);

    ASSERT_EQ(qimg_window_windowRect(&window, &inside, 0), 0);
    EXPECT_EQ(window.firstPixel, &pixels[2 * 5 + 3]);
    ASSERT_EQ(qimg_window_getWindow(&window, &rect), 0);
    EXPECT_EQ(rect, inside);
    EXPECT_EQ(qimg_window_windowRect(&window, &whole, 0), QIMG_E_OUTSIDE) << "of what is left";

    int isNull = -1;
    qimg_windowConst view = qimg_window_asConst(&window);
    ASSERT_EQ(qimg_windowConst_windowRect(&view, &empty, 0), 0);
    ASSERT_EQ(qimg_windowConst_getIsNull(&view, &isNull), 0);
    EXPECT_EQ(isNull, 1);
    ASSERT_EQ(qimg_windowConst_initUnbound(&view), 0);
    EXPECT_EQ(qimg_windowConst_windowRect(&view, &empty, 0), QIMG_E_UNBOUND);
}

TEST(BaseWindow, OfImages)
{
    test_image image;
    qimg_window8 window;
    ASSERT_EQ(qimg_window8_init(&window, &image.record), 0);
    EXPECT_EQ(window.bound, 0);
    ASSERT_EQ(qimg_image16_construct(&image.record, 3, 2), 0);
    window.bound = 1;
    EXPECT_EQ(qimg_window8_init(&window, &image.record), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(window.bound, 0);
}
