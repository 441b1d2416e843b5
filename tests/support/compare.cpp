#include "support/compare.h"

#include <algorithm>
#include <sstream>

namespace
{

constexpr int32_t mapWidth = 64;
constexpr int32_t mapHeight = 16;

// A piece of the image that contains the first bad pixel: '.' where the pixels agree, 'X' where not.
void drawMap(std::ostream& out, const test_view& expected, const test_view& actual, int32_t badX,
             int32_t badY)
{
    const int32_t left = std::max(0, std::min(badX - mapWidth / 2, expected.width - mapWidth));
    const int32_t top = std::max(0, std::min(badY - 1, expected.height - mapHeight));
    out << "map from (" << left << ", " << top << "):\n";
    for (int32_t y = top; y < std::min(top + mapHeight, expected.height); ++y) {
        for (int32_t x = left; x < std::min(left + mapWidth, expected.width); ++x)
            out << (test_pixel(expected, x, y) == test_pixel(actual, x, y) ? '.' : 'X');
        out << '\n';
    }
}

} // namespace

test_grid::test_grid(int32_t gridWidth, int32_t gridHeight, uint16_t value)
    : width(gridWidth), height(gridHeight),
      values(static_cast<size_t>(gridWidth) * static_cast<size_t>(gridHeight), value)
{
}

test_grid::test_grid(const test_view& view) : test_grid(view.width, view.height)
{
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            at(x, y) = static_cast<uint16_t>(test_pixel(view, x, y));
}

uint16_t& test_grid::at(int64_t x, int64_t y)
{
    return values[static_cast<size_t>(y * width + x)];
}

test_view test_grid::view() const
{
    return {values.data(), int64_t{2} * width, width, height, 2};
}

void test_fill(test_pixels* pixels, const std::function<uint32_t(int32_t x, int32_t y)>& value)
{
    const test_view view = pixels->view();
    for (int32_t y = 0; y < view.height; ++y)
        for (int32_t x = 0; x < view.width; ++x)
            pixels->set(x, y, value(x, y));
}

void test_fill(test_pixels* pixels, const test_grid& values)
{
    const test_view view = values.view();
    test_fill(pixels, [&](int32_t x, int32_t y) { return test_pixel(view, x, y); });
}

testing::AssertionResult test_samePixels(const test_view& expected, const test_view& actual)
{
    if (expected.width != actual.width || expected.height != actual.height)
        return testing::AssertionFailure() << "size " << actual.width << "x" << actual.height
                                           << " instead of " << expected.width << "x" << expected.height;
    int64_t count = 0;
    int32_t badX = 0;
    int32_t badY = 0;
    for (int32_t y = 0; y < expected.height; ++y)
        for (int32_t x = 0; x < expected.width; ++x)
            if (test_pixel(expected, x, y) != test_pixel(actual, x, y) && count++ == 0) {
                badX = x;
                badY = y;
            }
    if (count == 0)
        return testing::AssertionSuccess();
    std::ostringstream report;
    report << count << " of " << expected.width << "x" << expected.height << " pixels differ, first ("
           << badX << ", " << badY << "): " << test_pixel(actual, badX, badY) << " instead of "
           << test_pixel(expected, badX, badY) << '\n';
    drawMap(report, expected, actual, badX, badY);
    return testing::AssertionFailure() << report.str();
}

testing::AssertionResult test_samePixels(const test_grid& expected, const test_view& actual)
{
    return test_samePixels(expected.view(), actual);
}

testing::AssertionResult test_undamaged(const test_pixels& pixels)
{
    const std::string damage = pixels.damage();
    if (damage.empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "written outside the pixels, " << damage;
}
