#include "support/images.h"

#include <gtest/gtest.h>

void test_image::lay(const test_pixels& pixels, int32_t x, int32_t y)
{
    const test_view view = pixels.view();
    const qstd_rect32 rect{x, y, view.width, view.height};
    EXPECT_EQ(qimg_image_constructMemory(&record, view.pixelSize, &rect, pixels.stride(), pixels.first(),
                                         nullptr, nullptr),
              0);
}

test_image::~test_image()
{
    qimg_image_destruct(&record);
}

bool test_image::isBound() const
{
    int bound = 0;
    qimg_image_getIsBound(&record, &bound);
    return bound != 0;
}

oracle_rect test_image::rect() const
{
    qstd_rect32 rect = {};
    qimg_image_getWindow(&record, &rect);
    return {rect.x, rect.y, rect.width, rect.height};
}

test_view test_image::view() const
{
    qimg_windowConst window = {};
    qimg_windowConst_init(&window, &record);
    return {window.firstPixel, window.stride, window.width, window.height, window.pixelSize};
}

qmath_xformLinear test_imageFromClient(const qimg_image* image)
{
    test_handle handle;
    qmath_xformLinear linear = {};
    const qmath_point origin{0.0, 0.0};
    EXPECT_EQ(qimg_imageConst_getImageFromClientXform(image, &handle), 0);
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&handle, &origin, &linear), 0);
    return linear;
}

qmath_point test_throughClient(const qimg_image* source, const qimg_image* destination, double x, double y)
{
    qmath_point point{x, y};
    test_handle handle;
    EXPECT_EQ(qimg_imageConst_getClientFromImageXform(source, &handle), 0);
    EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&handle, &point), 0);
    EXPECT_EQ(qimg_imageConst_getImageFromClientXform(destination, &handle), 0);
    EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&handle, &point), 0);
    return point;
}

void test_setClientFromImage(qimg_image* image, const qmath_xformLinear& linear)
{
    test_handle handle;
    EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
    EXPECT_EQ(qimg_image_setClientFromImageXform(image, &handle), 0);
}

qmath_xformLinear test_clientFromImage(const qimg_image* image)
{
    qmath_xformLinear linear = {};
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&image->clientFromImage, nullptr, &linear), 0);
    return linear;
}

qsys_status test_constructBent(qmath_xformPtrhConst* handle)
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

void test_setRandomTransform(test_random* random, qimg_image* image)
{
    const auto number = [&](int64_t low, int64_t high) {
        return static_cast<double>(test_randomRange(random, low, high)) / 16.0;
    };
    const qmath_xformLinear linear = {number(8, 32), number(-6, 6),     number(-6, 6),
                                      number(8, 32), number(-999, 999), number(-999, 999)};
    test_handle handle;
    if (test_chance(random, 50)) {
        EXPECT_EQ(test_constructBent(&handle), 0);
    }
    if (test_chance(random, 50)) {
        EXPECT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&handle, &handle, &linear), 0);
    }
    EXPECT_EQ(qimg_image_setImageFromClientXform(image, &handle), 0);
}

void test_fillRandom(test_pixels* pixels, uint64_t caseNumber)
{
    test_random random = test_randomFor(caseNumber);
    const test_view view = pixels->view();
    for (int32_t y = 0; y < view.height; ++y)
        test_randomFill(&random, pixels->row(y), int64_t{view.width} * view.pixelSize);
}

qimg_window test_windowOver(const test_pixels& pixels, int32_t x, int32_t y)
{
    const test_view view = pixels.view();
    const qstd_rect32 rect{x, y, view.width, view.height};
    qimg_window window = {};
    EXPECT_EQ(qimg_window_initMemory(&window, view.pixelSize, &rect, pixels.stride(), pixels.first()), 0);
    return window;
}

qimg_windowConst test_windowConstOver(const test_pixels& pixels, int32_t x, int32_t y)
{
    const qimg_window window = test_windowOver(pixels, x, y);
    return qimg_window_asConst(&window);
}

test_plane::test_plane(const test_pixels* pixels, const oracle_rect& rect)
{
    if (!pixels)
        return;
    const auto x = static_cast<int32_t>(rect.x);
    const auto y = static_cast<int32_t>(rect.y);
    image.lay(*pixels, x, y);
    window = test_windowOver(*pixels, x, y);
    windowConst = qimg_window_asConst(&window);
}

qsVImage test_legacyOver(const test_pixels& pixels, int32_t x, int32_t y)
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

test_view test_legacyView(const qsVImage* image)
{
    return {image->firstPixel, image->rowStride, image->region.width, image->region.height,
            image->type == QS_IMAGE_TYPE_8 ? 1 : 2};
}

oracle_rect test_legacyRect(const qsVImage* image)
{
    return {image->region.x, image->region.y, image->region.width, image->region.height};
}
