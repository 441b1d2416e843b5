// Images, windows and older images for tests: over guarded pixels, released at the end of the scope.
#pragma once

#include "support/guarded.h"
#include "support/oracle_gauss.h"

#include <qbase/image.h>
#include <qbase/legacy_image.h>

#include <gtest/gtest.h>

// Two rectangles or regions, two linear transforms.
template <class Rect>
requires requires(Rect r)
{
    r.x + r.y + r.width + r.height;
}
bool operator==(const Rect& a, const Rect& b)
{
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

template <class Xform>
requires requires(Xform f)
{
    f.m00 + f.m01 + f.m10 + f.m11 + f.tx + f.ty;
}
bool operator==(const Xform& a, const Xform& b)
{
    return a.m00 == b.m00 && a.m01 == b.m01 && a.m10 == b.m10 && a.m11 == b.m11 && a.tx == b.tx &&
           a.ty == b.ty;
}

// Every byte of the pixels random; one number gives the same bytes every time.
inline void test_fillRandom(test_pixels* pixels, uint64_t caseNumber = 0)
{
    test_random random = test_randomFor(caseNumber);
    const test_view view = pixels->view();
    for (int32_t y = 0; y < view.height; ++y)
        for (int32_t i = 0; i < view.width * view.pixelSize; ++i)
            pixels->row(y)[i] = static_cast<unsigned char>(test_randomBits(&random) >> 56);
}

// ---- images and windows ----

// An image record that starts unbound, or lies over pixels with its first one at (x, y).
struct test_image {
    qimg_image record = QIMG_IMAGE_UNBOUND;

    test_image() = default;
    test_image(const test_pixels& pixels, int32_t x, int32_t y)
    {
        lay(pixels, x, y);
    }
    ~test_image()
    {
        qimg_image_destruct(&record);
    }
    test_image(const test_image&) = delete;
    test_image& operator=(const test_image&) = delete;

    // Binds an unbound image.
    void lay(const test_pixels& pixels, int32_t x, int32_t y)
    {
        const test_view view = pixels.view();
        const qstd_rect32 rect{x, y, view.width, view.height};
        EXPECT_EQ(qimg_image_constructMemory(&record, view.pixelSize, &rect, pixels.stride(),
                                             pixels.first(), nullptr, nullptr),
                  0);
    }
    bool isBound() const
    {
        int bound = 0;
        qimg_image_getIsBound(&record, &bound);
        return bound != 0;
    }
    // Null while unbound.
    oracle_rect rect() const
    {
        qstd_rect32 rect = {};
        qimg_image_getWindow(&record, &rect);
        return oracle_rectOf(rect);
    }
    test_view view() const
    {
        qimg_windowConst window = {};
        qimg_windowConst_init(&window, &record);
        return {window.firstPixel, window.stride, window.width, window.height, window.pixelSize};
    }
};

inline qimg_window test_windowOver(const test_pixels& pixels, int32_t x, int32_t y)
{
    const test_view view = pixels.view();
    const qstd_rect32 rect{x, y, view.width, view.height};
    qimg_window window = {};
    EXPECT_EQ(qimg_window_initMemory(&window, view.pixelSize, &rect, pixels.stride(), pixels.first()), 0);
    return window;
}

inline qimg_windowConst test_windowConstOver(const test_pixels& pixels, int32_t x, int32_t y)
{
    const qimg_window window = test_windowOver(pixels, x, y);
    return qimg_window_asConst(&window);
}

// Pixels as the functions see them: an image and a window with the first pixel at the place of `rect`;
// without pixels both are unbound.
struct test_plane {
    test_image image;
    qimg_window window = {};
    qimg_windowConst windowConst = {};

    test_plane(const test_pixels* pixels, const oracle_rect& rect)
    {
        if (!pixels)
            return;
        const auto x = static_cast<int32_t>(rect.x);
        const auto y = static_cast<int32_t>(rect.y);
        image.lay(*pixels, x, y);
        window = test_windowOver(*pixels, x, y);
        windowConst = qimg_window_asConst(&window);
    }
};

// ---- older images ----

// It owns nothing and is not to be freed.
inline qsVImage test_legacyOver(const test_pixels& pixels, int32_t x, int32_t y)
{
    const test_view view = pixels.view();
    qsVImage image = {};
    image.type = view.pixelSize == 1 ? QS_IMAGE_TYPE_8 : QS_IMAGE_TYPE_16;
    image.rowStride = pixels.stride();
    image.region = {x, y, view.width, view.height};
    image.firstPixel = pixels.first();
    image.clientCoords = {1.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F};
    image.clientZScale = 1.0F;
    return image;
}

inline test_view test_legacyView(const qsVImage* image)
{
    return {image->firstPixel, image->rowStride, image->region.width, image->region.height,
            image->type == QS_IMAGE_TYPE_8 ? 1 : 2};
}

// ---- transforms ----

// A handle that is released at the end of the scope.
struct test_handle : qmath_xformPtrhConst {
    test_handle()
    {
        qmath_xformPtrhConst_construct(this);
    }
    ~test_handle()
    {
        qmath_xformPtrhConst_destruct(this);
    }
    test_handle(const test_handle&) = delete;
    test_handle& operator=(const test_handle&) = delete;
};

// The image-from-client transform of an image, linearised at the origin when it is not linear.
inline qmath_xformLinear test_imageFromClient(const qimg_image* image)
{
    test_handle handle;
    qmath_xformLinear linear = {};
    const qmath_point origin{0.0, 0.0};
    EXPECT_EQ(qimg_imageConst_getImageFromClientXform(image, &handle), 0);
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&handle, &origin, &linear), 0);
    return linear;
}

// The client-from-image transform, which must be linear.
inline qmath_xformLinear test_clientFromImage(const qimg_image* image)
{
    test_handle handle;
    qmath_xformLinear linear = {};
    EXPECT_EQ(qimg_imageConst_getClientFromImageXform(image, &handle), 0);
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&handle, nullptr, &linear), 0);
    return linear;
}

inline void test_setClientFromImage(qimg_image* image, const qmath_xformLinear& linear)
{
    test_handle handle;
    EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
    EXPECT_EQ(qimg_image_setClientFromImageXform(image, &handle), 0);
}

// A transform that is not linear: (x + y * y / 1000, y).
inline qsys_status test_constructBent(qmath_xformPtrhConst* handle)
{
    const auto bend = [](void*, qmath_point* point) {
        point->x += 0.001 * point->y * point->y;
        return qsys_status{0};
    };
    const auto straighten = [](void*, qmath_point* point) {
        point->x -= 0.001 * point->y * point->y;
        return qsys_status{0};
    };
    return qmath_xformPtrhConst_constructFunctions(handle, bend, straighten, nullptr, nullptr);
}
