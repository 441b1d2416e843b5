// Images, windows and older images for tests: over guarded pixels, released at the end of the scope.
#pragma once

#include "support/guarded.h"
#include "support/oracle_gauss.h"

#include <qbase/image.h>
#include <qbase/legacy_image.h>

// An image record that starts unbound, or lies over pixels with its first one at (x, y).
struct test_image {
    qimg_image record = QIMG_IMAGE_UNBOUND;

    test_image() = default;
    test_image(const test_pixels& pixels, int32_t x, int32_t y)
    {
        lay(pixels, x, y);
    }
    ~test_image();
    test_image(const test_image&) = delete;
    test_image& operator=(const test_image&) = delete;

    // Binds an unbound image.
    void lay(const test_pixels& pixels, int32_t x, int32_t y);
    bool isBound() const;
    oracle_rect rect() const; // null while unbound
    test_view view() const;
};

// The image-from-client transform, linearised at the origin when it is not linear.
qmath_xformLinear test_imageFromClient(const qimg_image* image);

// Where `destination` sees the client point that `source` sees at (x, y).
qmath_point test_throughClient(const qimg_image* source, const qimg_image* destination, double x, double y);

// Every byte of the pixels random; one number gives the same bytes every time.
void test_fillRandom(test_pixels* pixels, uint64_t caseNumber = 0);

qimg_window test_windowOver(const test_pixels& pixels, int32_t x, int32_t y);
qimg_windowConst test_windowConstOver(const test_pixels& pixels, int32_t x, int32_t y);

// Pixels as the functions see them: an image and a window with the first pixel at the place of `rect`;
// without pixels both are unbound.
struct test_plane {
    test_image image;
    qimg_window window = {};
    qimg_windowConst windowConst = {};

    test_plane(const test_pixels* pixels, const oracle_rect& rect);
};

// An older image over pixels; it owns nothing and is not to be freed.
qsVImage test_legacyOver(const test_pixels& pixels, int32_t x, int32_t y);
test_view test_legacyView(const qsVImage* image);
oracle_rect test_legacyRect(const qsVImage* image);

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

// The client-from-image transform of an image, which must be linear.
void test_setClientFromImage(qimg_image* image, const qmath_xformLinear& linear);
qmath_xformLinear test_clientFromImage(const qimg_image* image);

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

// A transform that is not linear: (x + y * y / 1000, y).
qsys_status test_constructBent(qmath_xformPtrhConst* handle);

// Gives an image a client-to-image transform: nothing, linear with a determinant well away from zero, not
// linear.
void test_setRandomTransform(test_random* random, qimg_image* image);
