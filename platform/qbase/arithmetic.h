/* qbase/arithmetic.h - small arithmetic that every family needs done the same way.
 * All functions are pure and callable from any thread. */
#ifndef QBASE_ARITHMETIC_H
#define QBASE_ARITHMETIC_H

#include <stdint.h>

#include <qbase/export.h>

QBASE_BEGIN_DECLS

/* a / b with a remainder that is not negative: floor for b > 0, ceiling for b < 0. A divisor of 0 gives
 * 0; a quotient of 2^63 gives the largest number. */
QBASE_API int64_t qmath_idiv(int64_t a, int64_t b);

/* The smallest whole number not below the value, as a double. */
QBASE_API double qmath_double_ceil(double value);

/* Non-zero when |a - b| <= epsilon; 0 when any of them is not a number. */
QBASE_API int qmath_double_epsilonEqual(double a, double b, double epsilon);

/* value brought into low .. high: low when it is below, high when it is above. */
QBASE_API int32_t qxfILimit(int32_t value, int32_t low, int32_t high);

/* The greater of two integers, the lesser of two doubles (b when either is not a number). */
QBASE_API int32_t qxfIMax(int32_t a, int32_t b);
QBASE_API double qxfDMin(double a, double b);

QBASE_END_DECLS

#endif
