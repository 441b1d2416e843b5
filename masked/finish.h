// What remains to be done with a stretch of outputs when the sums have been made into pixels: to find out which
// are valid, to reset the others, and to write the destination mask.
#pragma once

#include "masked/plan.h"

// How source pixels become reset pixels.
struct masked_resets {
    bool copies; // as they are
    // Pixels of 8 bits by a table; of 16 bits by a function of the rule.
    uint16_t table[256];
    uint64_t (*pixel)(const void* rule, uint64_t p);
    const void* rule;
};

template <class Rule>
uint64_t masked_resetPixel(const void* rule, uint64_t p)
{
    return static_cast<const Rule*>(rule)->reset(p);
}

// As a rule says, which must outlive what it says.
template <class Rule>
masked_resets masked_resetsOf(const masked_plan* plan, const Rule& rule)
{
    masked_resets resets = {};
    resets.copies = plan->gain == 1.0;
    for (uint16_t p = 0; p < 256; ++p)
        resets.table[p] = static_cast<uint16_t>(rule.reset(p));
    resets.pixel = masked_resetPixel<Rule>;
    resets.rule = &rule;
    return resets;
}

// What is known of a stretch beforehand.
enum masked_knowledge {
    masked_allFull,  // all pixels under the kernels are valid
    masked_allEmpty, // none is
    masked_allKinds
};

// Some outputs of one row, pixels already made of their sums.
struct masked_stretch {
    int64_t row;
    int64_t first;
    int64_t count;
    masked_knowledge knowledge;
    // Of the first output: 255 where enough pixels are valid, else 0. Read where that is what makes valid.
    const uint8_t* isEnough;
};

using masked_finisher = void (*)(const masked_plan* plan, const masked_resets* resets,
                                 const masked_stretch* stretch);

// The finisher of a plan.
masked_finisher masked_finisherOf(const masked_plan* plan);
