// Masked smoothing by the kernels of a processor level.
#pragma once

#include "masked/pixel_rule.h"

#include <qip/status.h>

#include <qbase/cpuinfo.h>

// Whether the kernels can serve a plan on this processor: rows are as wide as a block of columns, kernels
// reach no further out than one reflection, sampling is at most 64, and what the arithmetic makes on the way
// fits the lanes.
// Rule is masked_fixedRule or masked_doubleRule.
template <class Rule>
bool masked_canSmoothFast(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info);

// Writes all outputs of a plan that masked_canSmoothFast accepts. `prepareName` is that by which the
// application may forbid the fast preparation of source and mask.
// Polls:   before the output rows 0, 64, 128, ...
// Errors:  QSYS_E_MEMORY, before anything is written; what a poll answers: the rows written so far are
//          complete and run from the top.
template <class Rule>
qip_status masked_smoothFast(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info,
                             const char* prepareName);
