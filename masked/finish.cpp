#include "masked/finish.h"

#include <algorithm>
#include <cstring>

namespace
{

// What a plan asks for. A finisher is made for each combination, so that nothing is asked pixel by pixel.
enum properties : unsigned {
    marks = 1,  // there is a destination mask
    resets = 2, // there is a mask that resets
    counts = 4  // valid is what has enough valid pixels under the kernel, else what has a valid centre
};

template <class Number>
struct centres {
    const Number* first;
    int64_t step;

    template <class Use>
    void forEach(int64_t count, const Use& use) const
    {
        // Neighbours are worth a loop of their own: the compiler makes lanes of it.
        if (step == 1) {
            for (int64_t i = 0; i < count; ++i)
                use(i, first[i]);
        } else {
            for (int64_t i = 0; i < count; ++i)
                use(i, first[i * step]);
        }
    }
};

template <class Number>
centres<Number> centresIn(masked_plane plane, const masked_plan* plan, const masked_stretch* stretch)
{
    return {masked_row<const Number>(plane, masked_centreRow(plan, stretch->row)) +
                masked_centreColumn(plan, stretch->first),
            plan->stepX};
}

// 255 for each valid output, else 0.
template <unsigned property>
void findValid(const masked_plan* plan, const masked_stretch* stretch, uint8_t* valid)
{
    const auto count = static_cast<size_t>(stretch->count);
    if (stretch->knowledge == masked_allFull || !plan->srcMask.first)
        std::memset(valid, 255, count);
    else if (stretch->knowledge == masked_allEmpty)
        std::memset(valid, 0, count);
    else if constexpr ((property & counts) != 0)
        std::memcpy(valid, stretch->isEnough, count);
    else
        centresIn<uint8_t>(plan->srcMask, plan, stretch)
            .forEach(stretch->count, [=](int64_t i, uint8_t mask) { valid[i] = mask != 0 ? 255 : 0; });
    if constexpr ((property & resets) != 0)
        centresIn<uint8_t>(plan->reset, plan, stretch)
            .forEach(stretch->count, [=](int64_t i, uint8_t mask) { valid[i] = mask != 0 ? valid[i] : 0; });
}

template <class Src>
uint64_t resetPixel(const masked_resets* how, Src p)
{
    if constexpr (sizeof(Src) == 1)
        return how->table[p];
    else
        return how->pixel(how->rule, p);
}

template <class Src, class Dst>
void resetInvalid(const masked_plan* plan, const masked_resets* how, const masked_stretch* stretch,
                  const uint8_t* valid)
{
    const centres<Src> source = centresIn<Src>(plan->src, plan, stretch);
    Dst* const out = masked_row<Dst>(plan->dst, stretch->row) + stretch->first;
    if (how->copies) {
        source.forEach(stretch->count, [=](int64_t i, Src p) { out[i] = valid[i] ? out[i] : Dst{p}; });
        return;
    }
    for (int64_t i = 0; i < stretch->count;) {
        // Eight valid ones in a row are passed over at once.
        uint64_t eight = 0;
        if (i + 8 <= stretch->count)
            std::memcpy(&eight, valid + i, sizeof eight);
        if (eight == ~uint64_t{}) {
            i += 8;
            continue;
        }
        if (!valid[i])
            out[i] = static_cast<Dst>(resetPixel(how, source.first[i * source.step]));
        ++i;
    }
}

constexpr int64_t mostPiece = 512;

// At most mostPiece outputs.
template <class Src, class Dst, unsigned property>
void finishPiece(const masked_plan* plan, const masked_resets* how, const masked_stretch* piece)
{
    uint8_t valid[mostPiece];
    findValid<property>(plan, piece, valid);
    resetInvalid<Src, Dst>(plan, how, piece, valid);
    if constexpr ((property & marks) != 0)
        std::memcpy(masked_row<uint8_t>(plan->dstMask, piece->row) + piece->first, valid,
                    static_cast<size_t>(piece->count));
}

template <class Src, class Dst, unsigned property>
void finish(const masked_plan* plan, const masked_resets* how, const masked_stretch* stretch)
{
    if ((property & resets) == 0 && stretch->knowledge == masked_allFull) {
        if constexpr ((property & marks) != 0)
            std::memset(masked_row<uint8_t>(plan->dstMask, stretch->row) + stretch->first, 255,
                        static_cast<size_t>(stretch->count));
        return;
    }
    masked_stretch piece = *stretch;
    for (int64_t left = stretch->count; left > 0; left -= mostPiece) {
        piece.count = std::min(left, mostPiece);
        finishPiece<Src, Dst, property>(plan, how, &piece);
        piece.first += mostPiece;
        if constexpr ((property & counts) != 0)
            piece.isEnough += mostPiece;
    }
}

template <class Src, class Dst>
constexpr masked_finisher finishers[8] = {
    // no destination mask                     a destination mask
    finish<Src, Dst, 0>,
    finish<Src, Dst, marks>,
    finish<Src, Dst, resets>,
    finish<Src, Dst, marks | resets>,
    finish<Src, Dst, counts>,
    finish<Src, Dst, marks | counts>,
    finish<Src, Dst, resets | counts>,
    finish<Src, Dst, marks | resets | counts>,
};

} // namespace

masked_finisher masked_finisherOf(const masked_plan* plan)
{
    const unsigned property = (plan->dstMask.first ? marks : 0u) | (plan->reset.first ? resets : 0u) |
                              (plan->leastValid > 0 ? counts : 0u);
    return masked_withPixels(
        plan, [=](auto src, auto dst) { return finishers<decltype(src), decltype(dst)>[property]; });
}
