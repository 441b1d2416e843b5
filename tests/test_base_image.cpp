// Images and the windows on them: layout, sharing, memory of the caller, restriction, transforms, refusals.
#include "support/faults.h"

#include <qbase/image.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

namespace
{

struct Image : qimg_image {
    Image()
    {
        qimg_image_constructUnbound(this);
    }
    ~Image()
    {
        qimg_image_destruct(this);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
};

bool operator==(const qimg_image& a, const qimg_image& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

qstd_rect32 rectOf(const qimg_image& image)
{
    qstd_rect32 rect;
    EXPECT_EQ(qimg_image_getWindow(&image, &rect), 0);
    return rect;
}

void expectRect(const qstd_rect32& rect, const qstd_rect32& expected)
{
    EXPECT_EQ(std::memcmp(&rect, &expected, sizeof rect), 0)
        << rect.x << ' ' << rect.y << ' ' << rect.width << ' ' << rect.height;
}

void countRelease(void* context, void*)
{
    ++*static_cast<int*>(context);
}

// That the image's transforms undo each other and that the first one is `expected`.
void expectXform(const qimg_image& image, const qmath_xformLinear& expected)
{
    qmath_point point = {3, 5};
    qmath_xformPtrhConst there{}, back{};
    ASSERT_EQ(qimg_imageConst_getImageFromClientXform(&image, &there), 0);
    ASSERT_EQ(qimg_imageConst_getClientFromImageXform(&image, &back), 0);
    ASSERT_EQ(qmath_xformPtrhConst_mapPoint(&there, &point), 0);
    EXPECT_NEAR(point.x, expected.m00 * 3 + expected.m01 * 5 + expected.tx, 1e-12);
    EXPECT_NEAR(point.y, expected.m10 * 3 + expected.m11 * 5 + expected.ty, 1e-12);
    ASSERT_EQ(qmath_xformPtrhConst_mapPoint(&back, &point), 0);
    EXPECT_NEAR(point.x, 3, 1e-12);
    EXPECT_NEAR(point.y, 5, 1e-12);
    qmath_xformPtrhConst_destruct(&there);
    qmath_xformPtrhConst_destruct(&back);
}

constexpr qmath_xformLinear identity = {1, 0, 0, 1, 0, 0};
constexpr qmath_xformLinear turned = {0, 2, -4, 0, 1, 7};

} // namespace

TEST(BaseImage, NewPixelsAreZeroAndRowsAligned)
{
    for (const int32_t pixelSize : {1, 2})
        for (const qstd_rect32 rect :
             {qstd_rect32{-3, 4, 1, 1}, {5, -6, 65, 3}, {0, 0, 32, 2}, {7, 7, 0, 5}}) {
            Image image;
            ASSERT_EQ(qimg_image_assignNewRect(&image, pixelSize, &rect), 0);
            expectRect(rectOf(image), rect);
            qimg_window window;
            ASSERT_EQ(qimg_window_init(&window, &image), 0);
            EXPECT_NE(window.bound, 0);
            EXPECT_EQ(window.pixelSize, pixelSize);
            EXPECT_GE(window.stride, rect.width * pixelSize);
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
    Image image;
    ASSERT_EQ(qimg_image8_construct(&image, 4, 3), 0);
    qimg_image before;
    std::memcpy(&before, static_cast<const qimg_image*>(&image), sizeof before);
    const qstd_rect32 wide = {0, 0, INT32_MAX / 2 + 1, 1}, last = {INT32_MAX, 0, 2, 1};
    const qstd_rect32 huge = {0, 0, INT32_MAX - 63, INT32_MAX}, unit = {0, 0, 1, 1};
    EXPECT_EQ(qimg_image16_assignNewRect(&image, &wide), QSYS_E_RANGE);
    EXPECT_EQ(qimg_image8_assignNewRect(&image, &last), QSYS_E_RANGE);
    EXPECT_EQ(qimg_image_assignNewRect(&image, 3, &unit), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_setOrigin(&image, INT32_MAX - 2, 0), QSYS_E_RANGE);
    {
        test_allocator allocator; // 2^62 bytes are asked for, and not to be had
        allocator.arm(1, false);
        EXPECT_EQ(qimg_image8_assignNewRect(&image, &huge), QSYS_E_MEMORY);
    }
    EXPECT_TRUE(image == before);
    EXPECT_EQ(qimg_image_setOrigin(&image, INT32_MAX - 3, INT32_MIN), 0);

    const qstd_rect32 negative = {3, 4, -5, 6};
    EXPECT_EQ(qimg_image8_assignNewRect(&image, &negative), 0) << "bound and empty";
    expectRect(rectOf(image), {3, 4, 0, 6});
    Image constructed;
    EXPECT_EQ(qimg_image8_constructRect(&constructed, &negative), QSYS_E_RANGE);
    EXPECT_EQ(qimg_image_setOrigin(&constructed, 0, 0), QIMG_E_UNBOUND);
    expectRect(rectOf(constructed), {0, 0, 0, 0});
}

TEST(BaseImage, TheLastImageReleasesThePixels)
{
    test_allocator allocator;
    std::array<uint8_t, 12> pixels{};
    int released = 0;
    const qstd_rect32 rect = {-2, 8, 4, 3};
    {
        Image first, second, third;
        // Bottom row first in memory.
        ASSERT_EQ(qimg_image_constructMemory(&first, 1, &rect, -4, &pixels[8], countRelease, &released), 0);
        ASSERT_EQ(qimg_image8_construct(&second, 100, 100), 0);
        ASSERT_EQ(qimg_image_assign(&second, &first), 0);
        ASSERT_EQ(qimg_image_assign(&third, &second), 0);
        ASSERT_EQ(qimg_image_assign(&third, &third), 0);
        ASSERT_EQ(qimg_image_destruct(&first), 0);
        ASSERT_EQ(qimg_image_assign(&second, &first), 0) << "unbound now";
        int isBound = -1;
        EXPECT_EQ(qimg_image_getIsBound(&second, &isBound), 0);
        EXPECT_EQ(isBound, 0);
        EXPECT_EQ(released, 0);

        qimg_window8 window;
        const qstd_rect32 corner = {1, 10, 1, 1};
        ASSERT_EQ(qimg_window8_init(&window, &third), 0);
        ASSERT_EQ(qimg_window_windowRect(&window, &corner, 0), 0);
        EXPECT_EQ(window.firstPixel, &pixels[3]);

        // The rectangle may be the image's own record.
        ASSERT_EQ(qimg_image8_assignNewRect(&third, &third.rect), 0);
        EXPECT_EQ(released, 1);
        expectRect(rectOf(third), rect);
    }
    EXPECT_EQ(test_allocator::liveBlocks(), 0);
    EXPECT_EQ(released, 1);
}

TEST(BaseImage, MemoryThatCannotHoldTheImage)
{
    alignas(2) std::array<uint8_t, 64> pixels{};
    int released = 0;
    Image image;
    const auto lay = [&](int32_t pixelSize, qstd_rect32 rect, int32_t stride, void* first) {
        return qimg_image_constructMemory(&image, pixelSize, &rect, stride, first, countRelease, &released);
    };
    EXPECT_EQ(lay(1, {0, 0, 4, 2}, 3, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, -6, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, 9, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(2, {0, 0, 4, 2}, 8, &pixels[1]), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(1, {0, 0, 4, 2}, 4, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(4, {0, 0, 4, 2}, 16, &pixels), QSYS_E_ARGUMENT);
    EXPECT_EQ(lay(1, {0, INT32_MAX, 4, 2}, INT32_MIN, &pixels), QSYS_E_RANGE);
    EXPECT_EQ(image.buffer, nullptr);
    EXPECT_EQ(released, 0);
    EXPECT_EQ(lay(1, {0, 0, 4, 1}, 0, &pixels), 0) << "one row needs no stride";
    qimg_image_destruct(&image);
    EXPECT_EQ(lay(1, {0, 0, 0, 5}, 0, &pixels), 0) << "nor do empty rows";
}

TEST(BaseImage, TransformsStayInverse)
{
    Image image, other;
    expectXform(image, identity);
    ASSERT_EQ(qimg_image_setLinearImageFromClientXform(&image, &turned), 0);
    expectXform(image, turned);
    ASSERT_EQ(qimg_image_copyXforms(&other, &image), 0);
    ASSERT_EQ(qimg_image_copyXforms(&other, &other), 0);
    // One of the image's own handles as the new value of the other swaps the two, and again.
    ASSERT_EQ(qimg_image_setClientFromImageXform(&image, &image.imageFromClient), 0);
    EXPECT_EQ(qimg_image_setImageFromClientXform(&image, &image.clientFromImage), 0);
    expectXform(image, turned);

    const qmath_xformLinear flat = {1, 1, 1, 1, 0, 0};
    EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&image, &flat), QMATH_E_SINGULAR);
    expectXform(image, turned);
    const qstd_rect32 rect = {0, 0, 2, 2};
    ASSERT_EQ(qimg_image8_assignNewRect(&image, &rect), 0);
    expectXform(image, turned);
    qimg_image_destruct(&image);
    expectXform(image, identity);
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
    expectRect(rect, whole);
    EXPECT_EQ(window.firstPixel, &pixels);

    ASSERT_EQ(qimg_window_windowRect(&window, &inside, 0), 0);
    EXPECT_EQ(window.firstPixel, &pixels[2 * 5 + 3]);
    ASSERT_EQ(qimg_window_getWindow(&window, &rect), 0);
    expectRect(rect, inside);
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
    Image image;
    qimg_window8 window;
    qimg_window16Const view;
    ASSERT_EQ(qimg_window8_init(&window, &image), 0);
    EXPECT_EQ(window.bound, 0);
    ASSERT_EQ(qimg_image16_construct(&image, 3, 2), 0);
    ASSERT_EQ(qimg_image_setOrigin(&image, -9, 9), 0);
    ASSERT_EQ(qimg_window16Const_init(&view, &image), 0);
    qstd_rect32 rect;
    ASSERT_EQ(qimg_windowConst_getWindow(&view, &rect), 0);
    expectRect(rect, {-9, 9, 3, 2});
    window.bound = 1;
    EXPECT_EQ(qimg_window8_init(&window, &image), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(window.bound, 0);
    EXPECT_EQ(qimg_window_init(&window, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_window_init(nullptr, &image), QSYS_E_ARGUMENT);
}

TEST(BaseImage, MissingPointers)
{
    Image image;
    qmath_xformPtrhConst handle{};
    const qstd_rect32 rect = {0, 0, 1, 1};
    EXPECT_EQ(qimg_image8_construct(nullptr, 1, 1), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image8_assignNewRect(&image, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image8_assignNewRect(nullptr, &rect), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_assign(&image, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_getIsBound(nullptr, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_imageConst_getClientFromImageXform(&image, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&image, nullptr), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_setImageFromClientXform(nullptr, &handle), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_copyXforms(nullptr, &image), QSYS_E_ARGUMENT);
    EXPECT_EQ(qimg_image_destruct(nullptr), 0);
}
