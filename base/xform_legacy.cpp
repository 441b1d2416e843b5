// The older linear transforms, in single precision.
#include "base/xform_linear.h"

#include <qbase/xform.h>

qsFXform* qsFXformElemCT(float scaleX, float scaleY, float tx, float ty, qsFXform* out)
{
    if (out)
        *out = {scaleX, 0, 0, scaleY, tx, ty};
    return out;
}

qsys_status qsFXformInv(const qsFXform* xform, qsFXform* out)
{
    if (!xform || !out)
        return QSYS_E_ARGUMENT;
    return base_linear_invert(*xform, out) ? QSYS_OK : QMATH_E_SINGULAR;
}

qsFXform* qsFXformCompose(const qsFXform* a, const qsFXform* b, qsFXform* out)
{
    if (!a || !b || !out)
        return nullptr;
    *out = base_linear_compose(*a, *b);
    return out;
}
