/* qbase/xform.h - two-dimensional transforms: linear records, shared handles, and the older record in
 * single precision.
 *
 * Coordinates are continuous: pixel i covers [i, i + 1), so its centre is i + 0.5. Composition reads from
 * the right: "compose(a, b)" maps a point by b first, then by a. */
#ifndef QBASE_XFORM_H
#define QBASE_XFORM_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

/* ---- linear transforms ---- */

/* (x, y) -> (m00 x + m01 y + tx, m10 x + m11 y + ty) */
typedef struct qmath_xformLinear {
    double m00, m01, m10, m11;
    double tx, ty;
} qmath_xformLinear;

/* Fills the record. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qmath_xformLinear_initMatrixTransElements(qmath_xformLinear* xform, double m00,
                                                                double m01, double m10, double m11,
                                                                double tx, double ty);

/* out maps a point by b, then by a. out may be a or b. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qmath_xformLinear_initCompose(qmath_xformLinear* out, const qmath_xformLinear* a,
                                                    const qmath_xformLinear* b);

/* inverse may be xform itself. Errors: QSYS_E_ARGUMENT; QMATH_E_SINGULAR when the determinant is zero or
 * the inverse is not finite, with *inverse untouched. */
QBASE_API qsys_status qmath_xformLinear_getInverse(const qmath_xformLinear* xform,
                                                   qmath_xformLinear* inverse);

/* ---- transform handles ---- */

typedef struct qmath_point {
    double x, y;
} qmath_point;

/* A shared, immutable, possibly non-linear transform. A record filled with zeros is an empty handle and
 * stands for the identity. The transform behind it may be shared by handles on several threads; one
 * handle record belongs to one thread at a time. Every output handle must have been constructed (or
 * filled with zeros): what it held is let go. */
typedef struct qmath_xformPtrhConst {
    const struct qmath_xform* xform;
} qmath_xformPtrhConst;

/* One half of a non-linear transform: maps *point in place. A negative status says that the transform is
 * not defined there. Called from any thread; must not throw. */
typedef qsys_status (*qmath_xformFunction)(void* context, qmath_point* point);
typedef void (*qmath_xformReleaseFunction)(void* context);

/* An empty handle. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qmath_xformPtrhConst_construct(qmath_xformPtrhConst* handle);

/* A handle of a linear transform. A singular one is accepted; only its inverse fails.
 * Errors:  QSYS_E_ARGUMENT, QSYS_E_MEMORY; the handle is then empty. */
QBASE_API qsys_status qmath_xformPtrhConst_constructLinear(qmath_xformPtrhConst* handle,
                                                           const qmath_xformLinear* linear);

/* A handle of a non-linear transform given by a function and its inverse. `release`, which may be null,
 * is called with `context` when the last handle is gone.
 * Errors:  QSYS_E_ARGUMENT, QSYS_E_MEMORY; the handle is then empty and `release` is not called. */
QBASE_API qsys_status qmath_xformPtrhConst_constructFunctions(qmath_xformPtrhConst* handle,
                                                              qmath_xformFunction forward,
                                                              qmath_xformFunction inverse, void* context,
                                                              qmath_xformReleaseFunction release);

/* Releases the handle and leaves it empty. Always returns 0; null is accepted. */
QBASE_API qsys_status qmath_xformPtrhConst_destruct(qmath_xformPtrhConst* handle);

/* out shares the transform of `handle`. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qmath_xformPtrhConst_assign(qmath_xformPtrhConst* out,
                                                  const qmath_xformPtrhConst* handle);

/* *isLinear = 1 or 0. A composition or an inverse is linear when all of its parts are.
 * Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qmath_xformPtrhConst_getIsLinear(const qmath_xformPtrhConst* handle, int* isLinear);

/* The linear form; for a non-linear transform its linearisation at `at`: the value there and the matrix of
 * the central differences around it. `at` is not looked at for a linear transform and may then be null.
 * Errors:  QSYS_E_ARGUMENT; what the transform's function answers; QMATH_E_NOT_LINEAR when the result is
 *          not finite. *linear is then untouched. */
QBASE_API qsys_status qmath_xformPtrhConst_getLinear(const qmath_xformPtrhConst* handle,
                                                     const qmath_point* at, qmath_xformLinear* linear);

/* Maps *point in place. Errors: QSYS_E_ARGUMENT; what the transform's function answers. */
QBASE_API qsys_status qmath_xformPtrhConst_mapPoint(const qmath_xformPtrhConst* handle, qmath_point* point);

/* out maps a point by b, then by a; out may be a or b. Linear parts are multiplied out at once.
 * Errors:  QSYS_E_ARGUMENT, QSYS_E_MEMORY; out is then unchanged. */
QBASE_API qsys_status qmath_xformPtrhConst_assignCompose(qmath_xformPtrhConst* out,
                                                         const qmath_xformPtrhConst* a,
                                                         const qmath_xformPtrhConst* b);

/* The same with a linear b. */
QBASE_API qsys_status qmath_xformPtrhConst_assignComposePtrhLinear(qmath_xformPtrhConst* out,
                                                                   const qmath_xformPtrhConst* a,
                                                                   const qmath_xformLinear* b);

/* out is the inverse of a; out may be a. Errors: QSYS_E_ARGUMENT, QSYS_E_MEMORY, QMATH_E_SINGULAR; out is
 * then unchanged. */
QBASE_API qsys_status qmath_xformPtrhConst_assignInverse(qmath_xformPtrhConst* out,
                                                         const qmath_xformPtrhConst* a);

/* ---- the older record, single precision ---- */

typedef struct qsFXform {
    float m00, m01, m10, m11;
    float tx, ty;
} qsFXform;

/* A scale followed by a translation. Returns out, null when out is null. */
QBASE_API qsFXform* qsFXformElemCT(float scaleX, float scaleY, float tx, float ty, qsFXform* out);

/* The inverse; out may be xform. Errors: QSYS_E_ARGUMENT, QMATH_E_SINGULAR (out untouched). */
QBASE_API qsys_status qsFXformInv(const qsFXform* xform, qsFXform* out);

/* out maps a point by b, then by a; out may be a or b. Every product and sum is in single precision.
 * Returns out, null when a pointer is null. */
QBASE_API qsFXform* qsFXformCompose(const qsFXform* a, const qsFXform* b, qsFXform* out);

QBASE_END_DECLS

#endif
