// Comparison of pixels, with a report that shows where they differ.
#pragma once

#include "support/guarded.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

// Expected pixels of any depth.
struct test_grid {
    int32_t width;
    int32_t height;
    std::vector<uint16_t> values;

    test_grid(int32_t gridWidth, int32_t gridHeight, uint16_t value = 0)
        : width(gridWidth), height(gridHeight),
          values(static_cast<size_t>(gridWidth) * static_cast<size_t>(gridHeight), value)
    {
    }
    explicit test_grid(const test_view& view) : test_grid(view.width, view.height)
    {
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x)
                at(x, y) = static_cast<uint16_t>(test_pixel(view, x, y));
    }
    uint16_t& at(int64_t x, int64_t y)
    {
        return values[static_cast<size_t>(y * width + x)];
    }
    test_view view() const
    {
        return {values.data(), int64_t{2} * width, width, height, 2};
    }
};

// Stores value(x, y) into every pixel.
template <class Value>
void test_fill(test_pixels* pixels, const Value& value)
{
    const test_view view = pixels->view();
    for (int32_t y = 0; y < view.height; ++y)
        for (int32_t x = 0; x < view.width; ++x)
            pixels->set(x, y, value(x, y));
}

// The values of a grid of the same size.
inline void test_fill(test_pixels* pixels, const test_grid& values)
{
    const test_view view = values.view();
    test_fill(pixels, [&](int32_t x, int32_t y) { return test_pixel(view, x, y); });
}

// Success when sizes and values agree; pixel sizes may differ. A failure names the first bad pixel in
// reading order and shows a map of the surroundings, one character a pixel: '.' where both agree.
inline testing::AssertionResult test_samePixels(const test_view& expected, const test_view& actual)
{
    if (expected.width != actual.width || expected.height != actual.height)
        return testing::AssertionFailure() << "size " << actual.width << "x" << actual.height
                                           << " instead of " << expected.width << "x" << expected.height;
    const auto differs = [&](int32_t x, int32_t y) {
        return test_pixel(expected, x, y) != test_pixel(actual, x, y);
    };
    int64_t count = 0;
    int32_t badX = 0;
    int32_t badY = 0;
    for (int32_t y = 0; y < expected.height; ++y)
        for (int32_t x = 0; x < expected.width; ++x)
            if (differs(x, y) && count++ == 0) {
                badX = x;
                badY = y;
            }
    if (count == 0)
        return testing::AssertionSuccess();
    const int32_t left = std::max(0, std::min(badX - 32, expected.width - 64));
    const int32_t top = std::max(0, std::min(badY - 1, expected.height - 16));
    auto result = testing::AssertionFailure()
                  << count << " of " << expected.width << "x" << expected.height
                  << " pixels differ, first (" << badX << ", " << badY
                  << "): " << test_pixel(actual, badX, badY) << " instead of "
                  << test_pixel(expected, badX, badY) << "\nmap from (" << left << ", " << top << "):\n";
    for (int32_t y = top; y < std::min(top + 16, expected.height); ++y) {
        for (int32_t x = left; x < std::min(left + 64, expected.width); ++x)
            result << (differs(x, y) ? 'X' : '.');
        result << '\n';
    }
    return result;
}

inline testing::AssertionResult test_samePixels(const test_grid& expected, const test_view& actual)
{
    return test_samePixels(expected.view(), actual);
}

// Success when nothing was written outside the pixels.
inline testing::AssertionResult test_undamaged(const test_pixels& pixels)
{
    if (pixels.damage().empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "written outside the pixels, " << pixels.damage();
}
