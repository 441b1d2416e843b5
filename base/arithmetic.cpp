// Small arithmetic shared by every family.
#include <qbase/arithmetic.h>

#include <cmath>
#include <limits>

int64_t qmath_idiv(int64_t a, int64_t b)
{
    if (b == 0)
        return 0;
    if (a == std::numeric_limits<int64_t>::min() && b == -1)
        return std::numeric_limits<int64_t>::max();
    const int64_t quotient = a / b;
    const int64_t remainder = a % b;
    if (remainder >= 0)
        return quotient;
    return b > 0 ? quotient - 1 : quotient + 1;
}

double qmath_double_ceil(double value)
{
    return std::ceil(value);
}

int qmath_double_epsilonEqual(double a, double b, double epsilon)
{
    return std::fabs(a - b) <= epsilon;
}

int32_t qxfILimit(int32_t value, int32_t low, int32_t high)
{
    if (value < low)
        return low;
    return value > high ? high : value;
}

int32_t qxfIMax(int32_t a, int32_t b)
{
    return a > b ? a : b;
}

double qxfDMin(double a, double b)
{
    return a < b ? a : b;
}
