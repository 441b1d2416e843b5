// A masked call: its windows, the checks that it has to pass, and its plan.
#pragma once

#include "masked/run.h"

#include <qip/masked.h>

// What differs between the three combinations of depths.
struct masked_form {
    int32_t srcSize; // bytes of a pixel
    int32_t dstSize;
    qip_status (*getMostKernel)(int32_t* size);
    // The smoothing without a source mask; null when it is that of masked_runDouble.
    qip_status (*smoothWindow)(const qimg_windowConst* src, const qimg_window* dst,
                               const qip_gaussParams* params);
    const char* name; // see masked_work
    const char* prepareName;
    const char* noMaskName; // that of the smoothing by masked_runDouble
};

// The windows of a call; null where an optional one is absent.
struct masked_windows {
    const qimg_windowConst* src;
    const qimg_windowConst* srcMask;
    const qimg_windowConst* resetMask;
    const qimg_window* dst;
    const qimg_window* dstMask;
};

// What all forms check first.
// Errors:  those of qip_gaussParams_validate; QIP_E_KERNEL_SIZE.
qip_status masked_checkParams(const masked_form* form, const qip_gaussParams* params);

// Checks the windows of a call: null windows, pixel sizes, masks that match, overlaps. Null windows among the
// optional ones become null pointers.
// Errors:  as include/qip/masked.h says.
qip_status masked_checkWindows(const masked_form* form, masked_windows* windows);

// What a call touches, and the work on all of it at once.
struct masked_request {
    bool isEmpty;          // there is nothing to write; the rest is unspecified then
    qstd_rect32 srcInside; // as gauss_setup says
    qstd_rect32 dstEffective;
    qstd_rect32 margin;
    masked_work work;
};

// Errors:  QSYS_E_RANGE.
qip_status masked_makeRequest(const masked_form* form, const masked_windows* windows,
                              const qip_gaussParams* params, masked_request* request);

// Runs a request that is not empty, split into bands where that pays.
// Errors:  failures of base services.
qip_status masked_runRequest(const masked_request* request, const qip_gaussParams* params);

// Does all that a call without a source mask has to do, for a request that is not empty.
// Errors:  failures of base services.
qip_status masked_smoothWithoutMask(const masked_form* form, const masked_windows* windows,
                                    const qip_gaussParams* params, const masked_request* request);
