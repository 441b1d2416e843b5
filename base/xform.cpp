// Transform handles: owning references to immutable transforms. An output handle changes only after
// everything that can fail has worked, so it may be one of the inputs.
#include "base/xform_linear.h"
#include "base/xform_steps.h"

#include <qbase/xform.h>

#include <algorithm>
#include <cmath>

namespace
{

// The handle takes over the caller's reference.
void replace(qmath_xformPtrhConst* handle, const qmath_xform* xform)
{
    base_xform_release(handle->xform);
    handle->xform = xform;
}

// The distance of the points of a central difference: about the cube root of the precision of double,
// relative to the coordinate where that exceeds 1. There the error by rounding and the error by the
// transform's curvature are about equal.
double differenceStep(double coordinate)
{
    return std::max(1.0, std::fabs(coordinate)) * 0x1p-17;
}

qsys_status linearise(const qmath_xform* xform, const qmath_point& at, qmath_xformLinear* linear)
{
    const double stepX = differenceStep(at.x);
    const double stepY = differenceStep(at.y);
    const qmath_point left = {at.x - stepX, at.y}, right = {at.x + stepX, at.y};
    const qmath_point above = {at.x, at.y - stepY}, below = {at.x, at.y + stepY};
    qmath_point centre = at, l = left, r = right, a = above, b = below;
    for (qmath_point* point : {&centre, &l, &r, &a, &b})
        if (const qsys_status status = base_xform_map(xform, point); status < 0)
            return status;

    // The distances of the points as they were rounded, not twice the steps.
    const double dx = right.x - left.x;
    const double dy = below.y - above.y;
    qmath_xformLinear result = {
        (r.x - l.x) / dx, (b.x - a.x) / dy, (r.y - l.y) / dx, (b.y - a.y) / dy, 0, 0};
    result.tx = centre.x - (result.m00 * at.x + result.m01 * at.y);
    result.ty = centre.y - (result.m10 * at.x + result.m11 * at.y);
    if (!base_linear_isFinite(result))
        return QMATH_E_NOT_LINEAR;
    *linear = result;
    return QSYS_OK;
}

} // namespace

// ---- making and releasing ----

qsys_status qmath_xformPtrhConst_construct(qmath_xformPtrhConst* handle)
{
    if (!handle)
        return QSYS_E_ARGUMENT;
    handle->xform = nullptr;
    return QSYS_OK;
}

qsys_status qmath_xformPtrhConst_constructLinear(qmath_xformPtrhConst* handle,
                                                 const qmath_xformLinear* linear)
{
    if (qmath_xformPtrhConst_construct(handle) < 0 || !linear)
        return QSYS_E_ARGUMENT;
    return base_xform_makeLinear(*linear, &handle->xform);
}

qsys_status qmath_xformPtrhConst_constructFunctions(qmath_xformPtrhConst* handle,
                                                    qmath_xformFunction forward,
                                                    qmath_xformFunction inverse, void* context,
                                                    qmath_xformReleaseFunction release)
{
    if (qmath_xformPtrhConst_construct(handle) < 0 || !forward || !inverse)
        return QSYS_E_ARGUMENT;
    return base_xform_makeFunctions(forward, inverse, context, release, &handle->xform);
}

qsys_status qmath_xformPtrhConst_destruct(qmath_xformPtrhConst* handle)
{
    if (handle)
        replace(handle, nullptr);
    return QSYS_OK;
}

qsys_status qmath_xformPtrhConst_assign(qmath_xformPtrhConst* out, const qmath_xformPtrhConst* handle)
{
    if (!out || !handle)
        return QSYS_E_ARGUMENT;
    base_xform_retain(handle->xform);
    replace(out, handle->xform);
    return QSYS_OK;
}

// ---- asking ----

qsys_status qmath_xformPtrhConst_getIsLinear(const qmath_xformPtrhConst* handle, int* isLinear)
{
    if (!handle || !isLinear)
        return QSYS_E_ARGUMENT;
    *isLinear = base_xform_getLinear(handle->xform) != nullptr;
    return QSYS_OK;
}

qsys_status qmath_xformPtrhConst_getLinear(const qmath_xformPtrhConst* handle, const qmath_point* at,
                                           qmath_xformLinear* linear)
{
    if (!handle || !linear)
        return QSYS_E_ARGUMENT;
    if (const qmath_xformLinear* const exact = base_xform_getLinear(handle->xform)) {
        *linear = *exact;
        return QSYS_OK;
    }
    return at ? linearise(handle->xform, *at, linear) : QSYS_E_ARGUMENT;
}

qsys_status qmath_xformPtrhConst_mapPoint(const qmath_xformPtrhConst* handle, qmath_point* point)
{
    if (!handle || !point)
        return QSYS_E_ARGUMENT;
    qmath_point mapped = *point;
    if (const qsys_status status = base_xform_map(handle->xform, &mapped); status < 0)
        return status;
    *point = mapped;
    return QSYS_OK;
}

// ---- composition and inverse ----

qsys_status qmath_xformPtrhConst_assignCompose(qmath_xformPtrhConst* out, const qmath_xformPtrhConst* a,
                                               const qmath_xformPtrhConst* b)
{
    if (!out || !a || !b)
        return QSYS_E_ARGUMENT;
    if (!a->xform || !b->xform)
        return qmath_xformPtrhConst_assign(out, a->xform ? a : b);
    const qmath_xform* xform = nullptr;
    if (const qsys_status status = base_xform_makeComposition(a->xform, b->xform, &xform); status < 0)
        return status;
    replace(out, xform);
    return QSYS_OK;
}

qsys_status qmath_xformPtrhConst_assignComposePtrhLinear(qmath_xformPtrhConst* out,
                                                         const qmath_xformPtrhConst* a,
                                                         const qmath_xformLinear* b)
{
    if (!out || !a || !b)
        return QSYS_E_ARGUMENT;
    qmath_xformPtrhConst inner;
    qsys_status status = qmath_xformPtrhConst_constructLinear(&inner, b);
    if (status >= 0)
        status = qmath_xformPtrhConst_assignCompose(out, a, &inner);
    qmath_xformPtrhConst_destruct(&inner);
    return status;
}

qsys_status qmath_xformPtrhConst_assignInverse(qmath_xformPtrhConst* out, const qmath_xformPtrhConst* a)
{
    if (!out || !a)
        return QSYS_E_ARGUMENT;
    const qmath_xform* xform = nullptr;
    if (a->xform)
        if (const qsys_status status = base_xform_makeInverse(a->xform, &xform); status < 0)
            return status;
    replace(out, xform);
    return QSYS_OK;
}
