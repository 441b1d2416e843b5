// What a block of a masked kernel keeps from step to step: sums over rows, in the form that its mask calls for.
// Internal linkage; needs the operations of a level (gauss2/kernels/masked_body.h).
#pragma once

#include "gauss2/kernels/masked_columns.h"

namespace
{

// Of the even columns, or of all, in that order.
template <along columns>
constexpr int parities = columns == along::sampled ? 1 : 2;

// What the weights of a filter sum up to along its columns or rows.
constexpr int weightSum(along direction)
{
    return direction == along::nothing ? 1 : 16;
}

// The kept sums of the columns of one parity: S and, where the mask is not full, W; or N and W.
template <class Pixel, along rows>
struct keptColumns {
    lanes<cover::full, Pixel> s[laneParts<cover::full, Pixel>][keptSums(rows)];
    longs n[2][keptSums(rows)];
    words w[keptSums(rows)];
};

template <class Pixel>
struct keptColumns<Pixel, along::nothing> {
    lanes<cover::full, Pixel>* s[laneParts<cover::full, Pixel>];
    longs* n[2];
    words* w;
};

template <cover kind, class Pixel, along rows>
inline lanes<kind, Pixel>* keptLanes(keptColumns<Pixel, rows>* kept, int part)
{
    if constexpr (kind == cover::mixed)
        return kept->n[part];
    else
        return kept->s[part];
}

template <class Pixel, along columns, along rows>
struct alignas(64) blockState {
    cover steady; // a step whose mask is of this kind changes nothing here, and goes that way
    cover last;   // the mask of the last step
    cover form;   // of the kept sums
    keptColumns<Pixel, rows> sums[parities<columns>];
};

// S as two parts of longs, whatever the depth.
template <along rows>
inline void splitSum(const keptColumns<uint8_t, rows>& kept, int index, longs* s)
{
    const words ordered = sequenced(kept.s[0][index]);
    s[0] = lowLongs(ordered, wordsOf(0));
    s[1] = highLongs(ordered, wordsOf(0));
}

template <along rows>
inline void splitSum(const keptColumns<uint16_t, rows>& kept, int index, longs* s)
{
    s[0] = kept.s[0][index];
    s[1] = kept.s[1][index];
}

template <along rows>
inline void joinSum(const longs* s, int index, keptColumns<uint8_t, rows>* kept)
{
    kept->s[0][index] = narrowed(s[0], s[1]);
}

template <along rows>
inline void joinSum(const longs* s, int index, keptColumns<uint16_t, rows>* kept)
{
    kept->s[0][index] = s[0];
    kept->s[1][index] = s[1];
}

// Brings a kept sum, of `weights` in all, from one form into all of them. N is 255 S where the mask was not mixed
// or no longer is; the inverse of 255 modulo 2^32 takes it back.
template <class Pixel, along rows>
inline void convertSum(keptColumns<Pixel, rows>* kept, int index, int weights, cover form)
{
    constexpr int inverseOf255 = -0x01010101;
    const longs bias = longsOf(sizeof(Pixel) == 1 ? bias8 * weights : 0);
    longs s[2] = {longsOf(0), longsOf(0)};
    if (form == cover::full || form == cover::binary)
        splitSum(*kept, index, s);
    for (int part = 0; part < 2; ++part)
        if (form == cover::mixed)
            s[part] = (kept->n[part][index] + bias) * longsOf(inverseOf255);
        else
            kept->n[part][index] = s[part] * longsOf(255) - bias;
    joinSum(s, index, kept);
    if (form != cover::mixed && form != cover::binary)
        kept->w[index] = wordsOf(form == cover::full ? 255 * weights : 0);
}

// How a block goes through a step whose mask does not keep it steady; brings its kept sums into the form for
// it. They are sums of the last step's rows, so it is the simplest form for the masks of both steps. What the
// first step gives is of no use, whatever the form.
template <class Pixel, along columns, along rows>
[[gnu::noinline]] cover changePlan(blockState<Pixel, columns, rows>* state, cover fresh)
{
    cover plan = fresh;
    if (state->last != fresh && state->last != cover::unknown)
        plan = fresh == cover::mixed || state->last == cover::mixed ? cover::mixed : cover::binary;
    if (plan != state->form)
        for (auto& kept : state->sums)
            for (int i = 0; i < keptSums(rows); ++i)
                convertSum(&kept, i, weightSum(columns) * keptWeights<rows>[i], state -> form);
    state->form = plan;
    state->last = fresh;
    state->steady = plan == fresh ? fresh : cover::unknown;
    return plan;
}

} // namespace
