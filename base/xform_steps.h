// The immutable transforms behind the handles. Everywhere a null transform is the identity. `make...`
// functions store a transform with one owner, or fail and store nothing.
#pragma once

#include <qbase/xform.h>

struct qmath_xform;

qsys_status base_xform_makeLinear(const qmath_xformLinear& linear, const qmath_xform** out);
qsys_status base_xform_makeFunctions(qmath_xformFunction forward, qmath_xformFunction inverse,
                                     void* context, qmath_xformReleaseFunction release,
                                     const qmath_xform** out);

// Maps a point by `inner`, then by `outer`.
qsys_status base_xform_makeComposition(const qmath_xform* outer, const qmath_xform* inner,
                                       const qmath_xform** out);
qsys_status base_xform_makeInverse(const qmath_xform* xform, const qmath_xform** out);

void base_xform_retain(const qmath_xform* xform);
void base_xform_release(const qmath_xform* xform);

// The linear form of a transform, or null when it has none.
const qmath_xformLinear* base_xform_getLinear(const qmath_xform* xform);

// *point is unspecified after a failure.
qsys_status base_xform_map(const qmath_xform* xform, qmath_point* point);
