// Pixels and masks by their kinds: noise, and what drives sums to their ends or divides a vector.
#pragma once

#include "support/compare.h"

#include <algorithm>

enum test_pixelKind {
    test_brightest,
    test_checkers,
    test_columns,
    test_level,
    test_extremes,
    test_anything,
    test_pixelKinds
};

inline test_grid test_randomPixels(test_random* random, int32_t width, int32_t height, int32_t pixelSize,
                                   int64_t kind)
{
    const uint16_t most = pixelSize == 1 ? 255 : 65535;
    test_grid made(width, height,
                   kind == test_level ? static_cast<uint16_t>(test_randomBits(random)) & most : most);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            if (kind == test_anything)
                made.at(x, y) = static_cast<uint16_t>(test_randomBits(random)) & most;
            else if ((kind == test_checkers && (x ^ y) & 1) || (kind == test_columns && x & 2) ||
                     (kind == test_extremes && test_chance(random, 50)))
                made.at(x, y) = 0;
    return made;
}

enum test_maskKind {
    test_full,
    test_empty,
    test_dust, // one pixel in 500 masked out alone
    test_noise,
    test_binary,
    test_sparse,  // an eighth is there
    test_faint,   // weights whose share rounds to 0
    test_patches, // alike over areas larger than a vector, changing within one
    test_areas,   // nothing in large areas, whose edges are near those of blocks of columns and rows
    test_maskKinds
};

inline test_grid test_randomMask(test_random* random, int32_t width, int32_t height, int64_t kind)
{
    test_grid made(width, height, kind == test_full || kind == test_dust || kind == test_areas ? 255 : 0);
    for (uint16_t& value : made.values) {
        const auto any = static_cast<uint16_t>(test_randomInt(random, 0, 255));
        if (kind == test_noise || (kind == test_sparse && test_chance(random, 12)))
            value = any;
        else if (kind == test_binary)
            value = any & 1 ? 255 : 0;
        else if (kind == test_faint)
            value = any % 16 == 0;
        else if (kind == test_dust && test_randomInt(random, 0, 499) == 0)
            value = 0;
    }
    for (int patch = 0; kind == test_patches && patch < 6; ++patch) {
        const int64_t right = test_randomRange(random, 1, width);
        const int64_t bottom = test_randomRange(random, 1, height);
        const auto value = static_cast<uint16_t>(std::clamp(test_randomInt(random, -200, 455), 0, 255));
        for (int64_t y = test_randomRange(random, 0, bottom - 1); y < bottom; ++y)
            for (int64_t x = test_randomRange(random, 0, right - 1) / 2; x < right; ++x)
                made.at(x, y) = value;
    }
    const auto edge = [&](int32_t most, int32_t block, int32_t near) {
        const int32_t place = block * test_randomInt(random, 0, most / block);
        return std::clamp(place + test_randomInt(random, -near, near), 0, most);
    };
    for (int area = 0; kind == test_areas && area < 3; ++area) {
        const int32_t right = edge(width, 16, 3);
        const int32_t left = edge(right, 16, 3);
        const int32_t bottom = edge(height, 4, 1);
        for (int32_t y = edge(bottom, 4, 1); y < bottom; ++y)
            for (int32_t x = left; x < right; ++x)
                made.at(x, y) = 0;
    }
    return made;
}

// Pixels of any kind, half of them noise.
inline void test_fillAnyPixels(test_random* random, test_pixels* pixels)
{
    const test_view view = pixels->view();
    const int64_t kind = std::min(test_randomInt(random, 0, 2 * test_anything), int{test_anything});
    test_fill(pixels, test_randomPixels(random, view.width, view.height, view.pixelSize, kind));
}
