// Pixels and masks by their kinds: noise, and what drives sums to their ends or divides a vector.
#pragma once

#include "support/compare.h"

enum test_pixelKind {
    test_brightest,
    test_checkers,
    test_columns,
    test_level,
    test_extremes,
    test_anything,
    test_pixelKinds
};

test_grid test_randomPixels(test_random* random, int32_t width, int32_t height, int32_t pixelSize,
                            int64_t kind);

enum test_maskKind {
    test_full,
    test_empty,
    test_dust, // one pixel in 500 masked out alone
    test_noise,
    test_binary,
    test_sparse,  // an eighth is there
    test_faint,   // weights whose share rounds to 0
    test_patches, // alike over areas larger than a vector, changing within one
    test_maskKinds
};

test_grid test_randomMask(test_random* random, int32_t width, int32_t height, int64_t kind);

// Pixels of any kind, half of them noise; a mask of any kind.
void test_fillAnyPixels(test_random* random, test_pixels* pixels);
void test_fillAnyMask(test_random* random, test_pixels* mask);
