// How the cube of a box is summed along one axis without multiplications by weights, and at which
// positions.
//
// With n the box width and x(p) the data at position p, the third difference
//     e(p) = x(p) - 3 x(p - n) + 3 x(p - 2n) - x(p - 3n)
// is integrated three times. After position p the last sum holds the cube-of-box sum whose last tap is p.
// Data exists only from the first tap of the first output (but no further than one reflection of the
// source) to the last one needed; outside, x is zero. Where all four taps are outside for long, the
// integrators move on in closed form, so the work grows with the data and not with the kernel.
#pragma once

#include "gauss/geometry.h"

// How one axis is walked, position by position. Positions count from the source's first pixel.
struct gauss_walk {
    int64_t box;         // n
    int64_t first;       // first position with data
    int64_t last;        // last position with data
    int64_t firstOutput; // the position that completes the first output
    int64_t step;        // positions between outputs
    int64_t outputs;
};

// The walk for the indices `dst`, at least one, whose sampled positions lie in `src`.
gauss_walk gauss_walkOf(gauss_axis axis, gauss_span dst, gauss_span src);

// A stretch of positions over which each of the four taps stays inside or outside the data.
struct gauss_stretch {
    int64_t length;
    bool inside[4]; // tap j, at distance j n
    bool isEmpty;   // no tap inside
};

// The stretch that begins at `position`, no longer than `most`.
gauss_stretch gauss_stretchAt(const gauss_walk* walk, int64_t position, int64_t most);

// The source position whose data stands at `position`: reflection with the edge repeated. Defined for
// -length .. 2 length - 1.
inline int64_t gauss_reflect(int64_t position, int64_t length)
{
    if (position < 0)
        return -position - 1;
    return position < length ? position : 2 * length - 1 - position;
}

// The same; -1 for positions beyond one reflection, where there is no data.
inline int64_t gauss_reflectOnce(int64_t position, int64_t length)
{
    return position >= -length && position < 2 * length ? gauss_reflect(position, length) : -1;
}

// The source positions that the walk reads, directly or by reflection.
gauss_span gauss_walkSource(const gauss_walk* walk, int64_t length);

// Three sums in a row, each integrating the one before.
struct gauss_integrators {
    double s1, s2, s3;
};

inline void gauss_integrate(gauss_integrators* sums, double difference)
{
    sums->s1 += difference;
    sums->s2 += sums->s1;
    sums->s3 += sums->s2;
}

// `count` integrations of a zero difference. A short stretch is stepped through: a last sum that started at
// half a divisor may not be exact, then each step rounds it again, and that is the definition. A long one,
// which only kernels of more than a thousand pixels have, is crossed in closed form.
inline void gauss_integrateZeros(gauss_integrators* sums, int64_t count)
{
    constexpr int64_t mostSteps = 1024;
    if (count > mostSteps) {
        const double n = static_cast<double>(count);
        sums->s3 += n * sums->s2 + 0.5 * n * (n + 1.0) * sums->s1;
        sums->s2 += n * sums->s1;
        return;
    }
    for (int64_t i = 0; i < count; ++i)
        gauss_integrate(sums, 0.0);
}
