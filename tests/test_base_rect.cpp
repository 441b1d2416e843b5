// Rectangles and regions against sets of pixels, and at the ends of the 32-bit range; small arithmetic.
#include "support/images.h"

#include <qbase/arithmetic.h>
#include <qbase/rect.h>

#include <gtest/gtest.h>

#include <bitset>
#include <cmath>
#include <cstdint>

namespace
{

// All rectangles and results of the random cases lie in a field of 64 x 64 pixels around the origin.
constexpr int field = 64;
constexpr int middle = field / 2;
using PixelSet = std::bitset<field * field>;

PixelSet pixels(const qsIRegion& region)
{
    PixelSet set;
    for (int y = region.y; y < region.y + region.height; ++y)
        for (int x = region.x; x < region.x + region.width; ++x)
            set.set(static_cast<size_t>(y + middle) * field + static_cast<size_t>(x + middle));
    return set;
}

qsIRegion randomRegion(test_random* random)
{
    return {test_randomInt(random, -6, 6), test_randomInt(random, -6, 6), test_randomInt(random, -1, 7),
            test_randomInt(random, -1, 7)};
}

// The places where the pixels of `small` lie in `large`, asked place by place.
PixelSet everyFit(const qsIRegion& large, const qsIRegion& small)
{
    const PixelSet outside = ~pixels(large);
    PixelSet set;
    for (int y = -12; y <= 18; ++y)
        for (int x = -12; x <= 18; ++x) {
            const PixelSet shifted = pixels({small.x + x, small.y + y, small.width, small.height});
            if ((shifted & outside).none())
                set |= pixels({x, y, 1, 1});
        }
    return set;
}

// The pixels of b shifted to every pixel of a.
PixelSet everySum(const qsIRegion& a, const qsIRegion& b)
{
    PixelSet set;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            set |= pixels({a.x + x + b.x, a.y + y + b.y, b.width, b.height});
    return set;
}

} // namespace

TEST(BaseRect, OperationsAreOperationsOnPixelSets)
{
    test_forCases(1000, [&](test_random& random, uint64_t) {
        const qsIRegion a = randomRegion(&random);
        const qsIRegion b = randomRegion(&random);
        const bool anyNull = qsIRegionIsNull(&a) || qsIRegionIsNull(&b);
        qsIRegion out;
        EXPECT_TRUE(pixels(*qsIRegionIntersect(&a, &b, &out)) == (pixels(a) & pixels(b)));
        EXPECT_TRUE(pixels(*qsIRegionErode(&a, &b, &out)) == (anyNull ? PixelSet() : everyFit(a, b)));
        EXPECT_TRUE(pixels(*qsIRegionDilate(&a, &b, &out)) == everySum(a, b));
        EXPECT_EQ(qsIRegionContains(&a, &b) != 0, (pixels(b) & ~pixels(a)).none());

        const qstd_rect32 first = {a.x, a.y, a.width, a.height};
        const qstd_rect32 second = {b.x, b.y, b.width, b.height};
        qstd_rect32 common = first;
        int equal = -1;
        ASSERT_EQ(qstd_rect32_intersect(&common, &second), 0);
        EXPECT_TRUE(pixels({common.x, common.y, common.width, common.height}) == (pixels(a) & pixels(b)));
        ASSERT_EQ(qstd_rect32_compareEqual(&first, &second, &equal), 0);
        EXPECT_EQ(equal != 0, pixels(a) == pixels(b));

        for (qsIRegion* (*operation)(const qsIRegion*, const qsIRegion*, qsIRegion*) :
             {qsIRegionIntersect, qsIRegionErode, qsIRegionDilate}) {
            qsIRegion inPlace = a;
            operation(&a, &b, &out);
            EXPECT_EQ(*operation(&inPlace, &b, &inPlace), out);
            inPlace = b;
            EXPECT_EQ(*operation(&a, &inPlace, &inPlace), out);
        }
    });
}

TEST(BaseRect, WhatDoesNotFitIsRefused)
{
    qstd_rect32 rect = {7, 7, 7, 7};
    EXPECT_EQ(qstd_rect32_init(&rect, INT32_MAX, 0, 2, 1), QSYS_E_RANGE);
    EXPECT_EQ(qstd_rect32_init(&rect, 0, INT64_MIN, 1, 1), QSYS_E_RANGE);
    EXPECT_EQ(qstd_rect32_init(&rect, 0, 0, 1, INT64_MAX), QSYS_E_RANGE);
    EXPECT_EQ(rect.x + rect.y + rect.width + rect.height, 28);
    EXPECT_EQ(qstd_rect32_init(&rect, INT32_MAX, INT32_MIN, 1, INT32_MAX), 0);
    EXPECT_EQ(qstd_rect32_init(&rect, INT32_MAX, 0, INT32_MIN, 5), 0); // null: no last pixel

    qsIRegion out;
    EXPECT_EQ(*qsIRegionCT(INT32_MAX, 0, 2, 1, &out), qsIRegionNull);
    const qsIRegion whole = {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    const qsIRegion atEnd = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX}; // reaches past the range
    EXPECT_EQ(*qsIRegionDilate(&whole, &whole, &out), qsIRegionNull);
    EXPECT_EQ(*qsIRegionErode(&atEnd, &whole, &out), qsIRegionNull);
    EXPECT_EQ(*qsIRegionErode(&whole, &whole, &out), (qsIRegion{0, 0, 1, 1}));
    EXPECT_FALSE(qsIRegionContains(&whole, &atEnd));
    const qsIRegion last = {INT32_MAX, INT32_MAX, 1, 1};
    EXPECT_TRUE(qsIRegionContains(&atEnd, &last));
    EXPECT_EQ(*qsIRegionIntersect(&atEnd, &last, &out), last);
    EXPECT_FALSE(qsIRegionContains(nullptr, &last));
    EXPECT_TRUE(qsIRegionIsNull(nullptr));
}

// The remainder is never negative, and the extremes do not trap.
TEST(Arithmetic, IdivHasANonNegativeRemainder)
{
    for (int64_t a = -25; a <= 25; ++a)
        for (int64_t b : {-7, -3, -1, 1, 2, 5}) {
            const int64_t remainder = a - qmath_idiv(a, b) * b;
            EXPECT_GE(remainder, 0) << a << " / " << b;
            EXPECT_LT(remainder, std::abs(b)) << a << " / " << b;
        }
    EXPECT_EQ(qmath_idiv(5, 0), 0);
    EXPECT_EQ(qmath_idiv(INT64_MIN, -1), INT64_MAX);
}

TEST(Arithmetic, ValuesThatAreNotNumbers)
{
    EXPECT_FALSE(qmath_double_epsilonEqual(NAN, NAN, 1.0));
    EXPECT_TRUE(qmath_double_epsilonEqual(1.0, 1.5, 0.5));
    EXPECT_EQ(qxfDMin(NAN, 2.0), 2.0);
    EXPECT_EQ(qxfILimit(7, 9, 8), 9);
}
