// Masked smoothing with kernel sizes of at most 2 and every pixel an output: weighted sums of few rows and few
// columns, where masked/fast.h keeps up running sums.
#pragma once

#include "masked/pixel_rule.h"

#include <qip/status.h>

#include <qbase/cpuinfo.h>

// Whether these kernels can serve a plan on this processor: valid pixels need not be counted, and rows of
// source and outputs are as wide as a block of columns.
// Rule is masked_fixedRule or masked_doubleRule.
template <class Rule>
bool masked_canSmoothShort(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info);

// As masked_smoothFast, for plans that masked_canSmoothShort accepts.
template <class Rule>
qip_status masked_smoothShort(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info,
                              const char* prepareName);
