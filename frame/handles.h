// Handles of transforms that live as long as one operation.
#pragma once

#include "frame/cleanup.h"

#include <qbase/xform.h>

// Constructs a handle and registers it; `handle` must outlive the clean-up.
inline qsys_status frame_takeXform(frame_cleanup* cleanup, qmath_xformPtrhConst* handle)
{
    const qsys_status status = qmath_xformPtrhConst_construct(handle);
    return status < 0 ? status : frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, handle);
}

// The same for a handle of a linear transform.
inline qsys_status frame_takeLinearXform(frame_cleanup* cleanup, const qmath_xformLinear* linear,
                                         qmath_xformPtrhConst* handle)
{
    const qsys_status status = qmath_xformPtrhConst_constructLinear(handle, linear);
    return status < 0 ? status : frame_cleanupObject<qmath_xformPtrhConst_destruct>(cleanup, handle);
}
