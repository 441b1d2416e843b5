// A transform is kept in a normal form: the list of its steps in the order in which a point passes them,
// each step linear or half of a function pair, never two linear ones in a row. So a composition is a
// concatenation, an inverse is the list backwards, nothing recurses however long the history of an image
// is, and "linear" means one linear step. Lists are immutable and shared, function pairs are shared by the
// lists that contain them.
#include "base/xform_steps.h"
#include "base/refcount.h"
#include "base/xform_linear.h"

#include <qbase/memory.h>

#include <limits>
#include <new>

namespace
{

struct functionPair {
    base_refcount count;
    qmath_xformFunction forward;
    qmath_xformFunction inverse;
    void* context;
    qmath_xformReleaseFunction release;
};

struct xformStep {
    functionPair* functions;  // null in a linear step
    bool inverted;            // of a function pair: its inverse maps forward
    qmath_xformLinear linear; // of a linear step
};

constexpr qmath_xformLinear identity = {1, 0, 0, 1, 0, 0};

} // namespace

// The steps follow the record in the same block of memory.
struct qmath_xform {
    mutable base_refcount count;
    int64_t stepCount = 0;

    xformStep* steps()
    {
        return reinterpret_cast<xformStep*>(this + 1);
    }
    const xformStep* steps() const
    {
        return reinterpret_cast<const xformStep*>(this + 1);
    }
};
static_assert(alignof(xformStep) <= alignof(qmath_xform));

namespace
{

int64_t stepCountOf(const qmath_xform* xform)
{
    return xform ? xform->stepCount : 0;
}

// A transform without steps that has room for `capacity` of them.
qsys_status makeEmpty(int64_t capacity, qmath_xform** xform)
{
    constexpr int64_t header = sizeof(qmath_xform);
    constexpr int64_t most = (std::numeric_limits<int64_t>::max() - header) / int64_t{sizeof(xformStep)};
    if (capacity > most)
        return QSYS_E_MEMORY;
    void* block = nullptr;
    const int64_t size = header + capacity * int64_t{sizeof(xformStep)};
    if (const qsys_status status = qsys_memory_alloc_internal(size, &block); status < 0)
        return status;
    *xform = new (block) qmath_xform;
    return QSYS_OK;
}

void releaseFunctions(functionPair* functions)
{
    if (!functions || !base_refcount_releaseIsLast(&functions->count))
        return;
    if (functions->release)
        functions->release(functions->context);
    void* block = functions;
    qsys_memory_free_internal(&block);
}

// Adds a step after the last one; a linear step after a linear one is multiplied out.
void append(qmath_xform* xform, const xformStep& step)
{
    xformStep* const end = xform->steps() + xform->stepCount;
    if (!step.functions && xform->stepCount > 0 && !end[-1].functions) {
        end[-1].linear = base_linear_compose(step.linear, end[-1].linear);
        return;
    }
    if (step.functions)
        base_refcount_retain(&step.functions->count);
    new (end) xformStep(step);
    ++xform->stepCount;
}

void appendAll(qmath_xform* xform, const qmath_xform* steps)
{
    for (int64_t i = 0; i < stepCountOf(steps); ++i)
        append(xform, steps->steps()[i]);
}

qsys_status mapByStep(const xformStep& step, qmath_point* point)
{
    if (step.functions) {
        const functionPair& pair = *step.functions;
        return (step.inverted ? pair.inverse : pair.forward)(pair.context, point);
    }
    const qmath_xformLinear& l = step.linear;
    *point = {l.m00 * point->x + l.m01 * point->y + l.tx, l.m10 * point->x + l.m11 * point->y + l.ty};
    return QSYS_OK;
}

} // namespace

qsys_status base_xform_makeLinear(const qmath_xformLinear& linear, const qmath_xform** out)
{
    qmath_xform* xform = nullptr;
    if (const qsys_status status = makeEmpty(1, &xform); status < 0)
        return status;
    append(xform, {nullptr, false, linear});
    *out = xform;
    return QSYS_OK;
}

qsys_status base_xform_makeFunctions(qmath_xformFunction forward, qmath_xformFunction inverse,
                                     void* context, qmath_xformReleaseFunction release,
                                     const qmath_xform** out)
{
    qmath_xform* xform = nullptr;
    if (const qsys_status status = makeEmpty(1, &xform); status < 0)
        return status;
    void* block = nullptr;
    if (const qsys_status status = qsys_memory_alloc_internal(sizeof(functionPair), &block); status < 0) {
        base_xform_release(xform);
        return status;
    }
    auto* const functions = new (block) functionPair{{}, forward, inverse, context, release};
    append(xform, {functions, false, identity});
    releaseFunctions(functions); // the list owns it now
    *out = xform;
    return QSYS_OK;
}

qsys_status base_xform_makeComposition(const qmath_xform* outer, const qmath_xform* inner,
                                       const qmath_xform** out)
{
    qmath_xform* xform = nullptr;
    if (const qsys_status status = makeEmpty(stepCountOf(inner) + stepCountOf(outer), &xform); status < 0)
        return status;
    appendAll(xform, inner);
    appendAll(xform, outer);
    *out = xform;
    return QSYS_OK;
}

qsys_status base_xform_makeInverse(const qmath_xform* xform, const qmath_xform** out)
{
    qmath_xform* backwards = nullptr;
    if (const qsys_status status = makeEmpty(stepCountOf(xform), &backwards); status < 0)
        return status;
    for (int64_t i = stepCountOf(xform); i-- > 0;) {
        xformStep step = xform->steps()[i];
        step.inverted = !step.inverted;
        if (!step.functions && !base_linear_invert(step.linear, &step.linear)) {
            base_xform_release(backwards);
            return QMATH_E_SINGULAR;
        }
        append(backwards, step);
    }
    *out = backwards;
    return QSYS_OK;
}

void base_xform_retain(const qmath_xform* xform)
{
    if (xform)
        base_refcount_retain(&xform->count);
}

void base_xform_release(const qmath_xform* xform)
{
    if (!xform || !base_refcount_releaseIsLast(&xform->count))
        return;
    for (int64_t i = 0; i < xform->stepCount; ++i)
        releaseFunctions(xform->steps()[i].functions);
    void* block = const_cast<qmath_xform*>(xform); // was const only because it was shared
    qsys_memory_free_internal(&block);
}

const qmath_xformLinear* base_xform_getLinear(const qmath_xform* xform)
{
    if (stepCountOf(xform) == 0)
        return &identity;
    const xformStep& step = *xform->steps();
    return xform->stepCount == 1 && !step.functions ? &step.linear : nullptr;
}

qsys_status base_xform_map(const qmath_xform* xform, qmath_point* point)
{
    for (int64_t i = 0; i < stepCountOf(xform); ++i)
        if (const qsys_status status = mapByStep(xform->steps()[i], point); status < 0)
            return status;
    return QSYS_OK;
}
