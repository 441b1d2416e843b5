// Linear transforms in double precision.
#include "base/xform_linear.h"

#include <qbase/xform.h>

qsys_status qmath_xformLinear_initMatrixTransElements(qmath_xformLinear* xform, double m00, double m01,
                                                      double m10, double m11, double tx, double ty)
{
    if (!xform)
        return QSYS_E_ARGUMENT;
    *xform = {m00, m01, m10, m11, tx, ty};
    return QSYS_OK;
}

qsys_status qmath_xformLinear_initCompose(qmath_xformLinear* out, const qmath_xformLinear* a,
                                          const qmath_xformLinear* b)
{
    if (!out || !a || !b)
        return QSYS_E_ARGUMENT;
    *out = base_linear_compose(*a, *b);
    return QSYS_OK;
}

qsys_status qmath_xformLinear_getInverse(const qmath_xformLinear* xform, qmath_xformLinear* inverse)
{
    if (!xform || !inverse)
        return QSYS_E_ARGUMENT;
    return base_linear_invert(*xform, inverse) ? QSYS_OK : QMATH_E_SINGULAR;
}
