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
    test_image(const test_pixels& pixels, int32_t x, int32_t y);
    ~test_image();
    test_image(const test_image&) = delete;
    test_image& operator=(const test_image&) = delete;

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

// An older image over pixels; it owns nothing and is not to be freed.
qsVImage test_legacyOver(const test_pixels& pixels, int32_t x, int32_t y);
test_view test_legacyView(const qsVImage* image);
oracle_rect test_legacyRect(const qsVImage* image);
