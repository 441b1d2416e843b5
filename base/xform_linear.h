// The arithmetic of linear transforms, written once for both precisions: Xform is qmath_xformLinear or
// qsFXform, and every product and sum is rounded to the precision of its elements.
#pragma once

#include <cmath>
#include <initializer_list>

// Maps a point by b, then by a.
template <class Xform>
Xform base_linear_compose(const Xform& a, const Xform& b)
{
    return {a.m00 * b.m00 + a.m01 * b.m10,      a.m00 * b.m01 + a.m01 * b.m11,
            a.m10 * b.m00 + a.m11 * b.m10,      a.m10 * b.m01 + a.m11 * b.m11,
            a.m00 * b.tx + a.m01 * b.ty + a.tx, a.m10 * b.tx + a.m11 * b.ty + a.ty};
}

template <class Xform>
bool base_linear_isFinite(const Xform& xform)
{
    for (const auto element : {xform.m00, xform.m01, xform.m10, xform.m11, xform.tx, xform.ty})
        if (!std::isfinite(element))
            return false;
    return true;
}

// False, with *inverse untouched, when the determinant is zero or the inverse is not finite. Zeros are
// negated by subtraction, which gives no negative zeros.
template <class Xform>
bool base_linear_invert(const Xform& xform, Xform* inverse)
{
    const auto determinant = xform.m00 * xform.m11 - xform.m01 * xform.m10;
    Xform result = {xform.m11 / determinant,
                    (0 - xform.m01) / determinant,
                    (0 - xform.m10) / determinant,
                    xform.m00 / determinant,
                    0,
                    0};
    result.tx = 0 - (result.m00 * xform.tx + result.m01 * xform.ty);
    result.ty = 0 - (result.m10 * xform.tx + result.m11 * xform.ty);
    if (determinant == 0 || !base_linear_isFinite(result))
        return false;
    *inverse = result;
    return true;
}
