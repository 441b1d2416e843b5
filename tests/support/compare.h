// Comparison of pixels, with a report that shows where they differ.
#pragma once

#include "support/guarded.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

// Expected pixels of any depth.
struct test_grid {
    int32_t width;
    int32_t height;
    std::vector<uint16_t> values;

    test_grid(int32_t gridWidth, int32_t gridHeight, uint16_t value = 0);
    explicit test_grid(const test_view& view);
    uint16_t& at(int64_t x, int64_t y);
    test_view view() const;
};

// Stores value(x, y) into every pixel, or the values of a grid of the same size.
void test_fill(test_pixels* pixels, const std::function<uint32_t(int32_t x, int32_t y)>& value);
void test_fill(test_pixels* pixels, const test_grid& values);

// Success when sizes and values agree; pixel sizes may differ. A failure names the first bad pixel in
// reading order and shows a map of the surroundings, one character a pixel.
testing::AssertionResult test_samePixels(const test_view& expected, const test_view& actual);
testing::AssertionResult test_samePixels(const test_grid& expected, const test_view& actual);

// Success when nothing was written outside the pixels.
testing::AssertionResult test_undamaged(const test_pixels& pixels);
