#include <qbase/arithmetic.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

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
