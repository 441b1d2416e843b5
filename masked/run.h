// Masked smoothing of the rows of one band, or of all: the choice between fixed point and double precision,
// and between fast and plain code.
#pragma once

#include "masked/plan.h"

#include <qip/status.h>

struct masked_work {
    masked_plan plan;
    const char* name; // by which the application may forbid optimised code
    // How many source rows count when it is decided whether there are enough of them for fixed point: all of
    // them, or in a band those that are its own.
    int64_t windowHeight;
    // By which it may forbid the fast preparation of mask and source.
    const char* prepareName;
};

// A band without rows is done.
// Errors:  failures of base services.
qip_status masked_run(const masked_work* work);

// The same in double precision throughout, whether fast or not: for smoothing without a source mask.
qip_status masked_runDouble(const masked_work* work);
