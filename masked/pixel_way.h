// What the kernels make pixels with: the choice of kernels for a rule, and their numbers.
#pragma once

#include "masked/finish.h"
#include "masked/kernels/pixels.h"
#include "masked/pixel_rule.h"

struct masked_pixelWay {
    masked_way way;
    masked_pixelPair kernels;
    masked_pixelNumbers numbers;
    masked_resets resets;
    bool isWideMask; // the sums of masks along the rows have 64 bits
};

// Whether all that a rule makes of the sums of a plan fits the lanes.
bool masked_fitsLanes(const masked_plan* plan, const masked_fixedRule& rule);
bool masked_fitsLanes(const masked_plan* plan, const masked_doubleRule& rule);

// The way of a plan that fits. `rule` must outlive it.
template <class Rule>
masked_pixelWay masked_wayFor(const masked_plan* plan, const Rule& rule,
                              const masked_pixelKernels* kernels);
