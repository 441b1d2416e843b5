/* What all functions on pictures have in common: their inputs and results, and the release of these. */
#ifndef CORE_CALL_H
#define CORE_CALL_H

#include "arguments.h"
#include "pixels.h"

typedef struct core_call {
    core_state* state;
    PyObject* values[CORE_ARGUMENT_COUNT]; /* borrowed; null when not given */
    core_pixels image, mask, resetMask;
    core_pixels out, maskOut; /* maskOut is bound when a mask is to be written */
    PyObject* result;         /* what `out` lies over */
    PyObject* resultMask;     /* what `maskOut` lies over, when the caller gets it as a second result */
} core_call;

/* Begins a call, whose record is filled with zeros: binds the arguments. */
int core_call_begin(core_call* call, PyObject* module, const core_signature* signature,
                    PyObject* const* arguments, Py_ssize_t count, PyObject* keywords);

/* Opens the image, to one of these kinds. */
int core_call_readImage(core_call* call, core_argument argument, int kinds);

/* Opens a mask, which has the image's size; nothing when it was not given. */
int core_call_readMask(core_call* call, core_argument argument, core_pixels* mask);

/* The rectangle of the image, whose first pixel is at `origin`. */
int core_call_readOrigin(const core_call* call, qstd_rect32* rect);

/* *rect, that of the whole result, becomes the part `roi` of it, when that is given. */
int core_call_readRoi(const core_call* call, qstd_rect32* rect);

/* Makes or opens the results over `rect`, prepares the inputs unless the results are empty, and refuses
 * results that share memory with an input. The mask is one of them when `mask_out` asks for it. */
int core_call_openResults(core_call* call, int32_t pixelSize, const qstd_rect32* rect);

/* Whether the results have no pixel, so that there is nothing to compute. */
int core_call_isEmpty(const core_call* call);

/* Ends a call: releases everything.
 * Result:  what the caller gets, when status is 0; null otherwise. */
PyObject* core_call_end(core_call* call, int status);

#endif
