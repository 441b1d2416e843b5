/* Inputs and results of a call. */
#include "call.h"

#include <qip/status.h>

int core_call_begin(core_call* call, PyObject* module, const core_signature* signature,
                    PyObject* const* arguments, Py_ssize_t count, PyObject* keywords)
{
    call->state = PyModule_GetState(module);
    return core_bind(call->state, signature, arguments, count, keywords, call->values);
}

int core_call_readImage(core_call* call, core_argument argument, int kinds)
{
    return core_pixels_read(call->state, argument, call->values[argument], kinds, &call->image);
}

int core_call_readMask(core_call* call, core_argument argument, core_pixels* mask)
{
    const qimg_window* image = &call->image.window;
    if (!call->values[argument])
        return 0;
    if (core_pixels_read(call->state, argument, call->values[argument], CORE_PIXELS_8 | CORE_PIXELS_BOOL,
                         mask) < 0)
        return -1;
    if (mask->window.width != image->width || mask->window.height != image->height)
        return core_refuse(call->state, QIP_E_MASK_MISMATCH, argument,
                           "has %d rows of %d pixels; what it goes with has %d of %d",
                           (int)mask->window.height, (int)mask->window.width, (int)image->height,
                           (int)image->width);
    return 0;
}

/* ---- rectangles ---- */

int core_call_readOrigin(const core_call* call, qstd_rect32* rect)
{
    int32_t origin[2] = {0, 0};
    if (core_readPair(call->state, CORE_ORIGIN, call->values[CORE_ORIGIN], INT32_MIN, QSYS_E_RANGE,
                      origin) < 0)
        return -1;
    if (qstd_rect32_init(rect, origin[0], origin[1], call->image.window.width, call->image.window.height) <
        0)
        return core_refuse(call->state, QSYS_E_RANGE, CORE_ORIGIN,
                           "coordinates of the last pixel do not fit 32 bits");
    return 0;
}

int core_call_readRoi(const core_call* call, qstd_rect32* rect)
{
    const qstd_rect32 whole = *rect;
    qstd_rect32 common;
    int isInside = 0;
    int isNull = 1;
    if (!call->values[CORE_ROI])
        return 0;
    if (core_readRect(call->state, CORE_ROI, call->values[CORE_ROI], rect) < 0)
        return -1;
    common = *rect;
    qstd_rect32_intersect(&common, &whole);
    qstd_rect32_compareEqual(&common, rect, &isInside);
    qstd_rect32_getIsNull(rect, &isNull);
    if (isNull || !isInside)
        return core_refuse(call->state, QIMG_E_OUTSIDE, CORE_ROI,
                           "%R is no part of the result, (%d, %d, %d, %d)", call->values[CORE_ROI],
                           (int)whole.x, (int)whole.y, (int)whole.width, (int)whole.height);
    return 0;
}

/* ---- results ---- */

/* Opens what the caller has given, or makes an array. */
static int openResult(core_call* call, core_argument argument, PyObject* given, int32_t pixelSize,
                      const qstd_rect32* rect, PyObject** result, core_pixels* pixels)
{
    if (!given) {
        if (core_pixels_make(call->state, argument, pixelSize, rect->width, rect->height, result, pixels) <
            0)
            return -1;
    } else if (core_pixels_write(call->state, argument, given, pixelSize, rect->width, rect->height,
                                 pixels) < 0) {
        return -1;
    }
    pixels->window.x = rect->x;
    pixels->window.y = rect->y;
    return 0;
}

static int refuseOverlaps(const core_call* call)
{
    const core_pixels* const inputs[] = {&call->image, &call->mask, &call->resetMask};
    for (int i = 0; i < 3; ++i) {
        if (core_pixels_refuseOverlap(call->state, CORE_OUT, &call->out, inputs[i]) < 0 ||
            core_pixels_refuseOverlap(call->state, CORE_MASK_OUT, &call->maskOut, inputs[i]) < 0)
            return -1;
    }
    return core_pixels_refuseOverlap(call->state, CORE_MASK_OUT, &call->maskOut, &call->out);
}

int core_call_openResults(core_call* call, int32_t pixelSize, const qstd_rect32* rect)
{
    PyObject* const out = call->values[CORE_OUT];
    PyObject* maskOut = call->values[CORE_MASK_OUT];
    const int isMaskReturned = maskOut == Py_True;
    if (maskOut == Py_True || maskOut == Py_False)
        maskOut = NULL;
    if (openResult(call, CORE_OUT, out, pixelSize, rect, &call->result, &call->out) < 0)
        return -1;
    if (out)
        call->result = Py_NewRef(out);
    if ((isMaskReturned || maskOut) &&
        openResult(call, CORE_MASK_OUT, maskOut, 1, rect, &call->resultMask, &call->maskOut) < 0)
        return -1;
    if (core_call_isEmpty(call))
        return 0;
    if (core_pixels_prepare(&call->image) < 0 || core_pixels_prepare(&call->mask) < 0 ||
        core_pixels_prepare(&call->resetMask) < 0)
        return -1;
    return out || maskOut ? refuseOverlaps(call) : 0;
}

int core_call_isEmpty(const core_call* call)
{
    return call->out.window.width == 0 || call->out.window.height == 0;
}

PyObject* core_call_end(core_call* call, int status)
{
    PyObject* answer = NULL;
    core_pixels_release(&call->image);
    core_pixels_release(&call->mask);
    core_pixels_release(&call->resetMask);
    core_pixels_release(&call->out);
    core_pixels_release(&call->maskOut);
    if (status == 0)
        answer =
            call->resultMask ? PyTuple_Pack(2, call->result, call->resultMask) : Py_NewRef(call->result);
    Py_XDECREF(call->result);
    Py_XDECREF(call->resultMask);
    return answer;
}
