// Masked smoothing in plain code: the definition, and what runs where no fast code can.
#pragma once

#include "masked/pixel_rule.h"

#include <qip/status.h>

// Writes all outputs of a plan. Rule is masked_fixedRule or masked_doubleRule.
// Polls:   before the output rows 0, 64, 128, ...
// Errors:  QSYS_E_MEMORY, before anything is written; what a poll answers: the rows written so far are
//          complete and run from the top.
template <class Rule>
qip_status masked_smoothPlain(const masked_plan* plan, const Rule& rule);
