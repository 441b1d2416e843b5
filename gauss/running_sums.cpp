#include "gauss/running_sums.h"

#include <algorithm>

gauss_walk gauss_walkOf(gauss_axis axis, gauss_span dst, gauss_span src)
{
    const int64_t before = 3 * axis.kernelSize / 2;
    const int64_t after = 3 * axis.kernelSize - before;
    const int64_t firstCentre = gauss_samplePosition(axis, dst.start) - src.start;
    gauss_walk walk;
    walk.box = axis.kernelSize + 1;
    walk.firstOutput = firstCentre + after;
    walk.step = axis.step;
    walk.outputs = dst.length;
    const int64_t lastOutput = walk.firstOutput + (dst.length - 1) * axis.step;
    walk.first = std::max(firstCentre - before, -src.length);
    walk.last = std::min(lastOutput, 2 * src.length - 1);
    return walk;
}

gauss_stretch gauss_stretchAt(const gauss_walk* walk, int64_t position, int64_t most)
{
    gauss_stretch stretch = {most, {}, true};
    for (int tap = 0; tap < 4; ++tap) {
        const int64_t at = position - tap * walk->box;
        stretch.inside[tap] = at >= walk->first && at <= walk->last;
        stretch.isEmpty = stretch.isEmpty && !stretch.inside[tap];
        if (at < walk->first)
            stretch.length = std::min(stretch.length, walk->first - at);
        else if (at <= walk->last)
            stretch.length = std::min(stretch.length, walk->last + 1 - at);
    }
    return stretch;
}

gauss_span gauss_walkSource(const gauss_walk* walk, int64_t length)
{
    int64_t low = std::clamp<int64_t>(walk->first, 0, length - 1);
    int64_t high = std::clamp<int64_t>(walk->last, 0, length - 1);
    if (walk->first < 0) {
        low = 0;
        high = std::max(high, gauss_reflect(walk->first, length));
    }
    if (walk->last >= length) {
        low = std::min(low, gauss_reflect(walk->last, length));
        high = length - 1;
    }
    return {low, high - low + 1};
}
