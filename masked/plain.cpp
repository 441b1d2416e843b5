// The sums of source and mask, walked together: down the columns with three integrators for each column, then
// along the row of column sums, as gauss/running_sums.h says it. All sums are exact.
#include "masked/plain.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "gauss/running_sums.h"

#include <algorithm>

namespace
{

// The same sum over the valid source pixels, and over the mask.
struct sums {
    uint64_t source;
    uint64_t mask;

    void add(const sums& other)
    {
        source += other.source;
        mask += other.mask;
    }
};

// The third difference of the cube of a box, made of what stands 0, n, 2n and 3n positions back.
sums differenceOf(const sums* tap)
{
    return {tap[0].source - tap[3].source + 3 * (tap[2].source - tap[1].source),
            tap[0].mask - tap[3].mask + 3 * (tap[2].mask - tap[1].mask)};
}

struct integrators {
    sums first;
    sums second;
    sums third;

    void add(const sums& difference)
    {
        first.add(difference);
        second.add(first);
        third.add(second);
    }
};

struct plainRun {
    const masked_plan* plan;
    integrators* columns;    // of every source column
    int64_t* counts;         // the valid pixels of every source column within the kernel's reach
    int64_t lastColumn;      // under the kernel of the last output
    sums* extended;          // column sums from firstColumn to lastColumn; before them 3 n that are 0
    int64_t* extendedCounts; // likewise; before them as many as the kernel is wide
};

qip_status takeMemory(plainRun* run, frame_cleanup* cleanup)
{
    const masked_plan* const plan = run->plan;
    const int64_t extent = run->lastColumn + 1 - plan->firstColumn;
    qip_status status = frame_cleanupAllocClear(cleanup, plan->width, &run->columns);
    if (status >= 0)
        status = frame_cleanupAllocClear(cleanup, 3 * plan->boxX + extent, &run->extended);
    if (status >= 0)
        status = frame_cleanupAllocClear(cleanup, plan->width, &run->counts);
    if (status >= 0)
        status = frame_cleanupAllocClear(cleanup, masked_reach(plan->boxX) + extent, &run->extendedCounts);
    return status;
}

// ---- down the columns ----

// The rows of one position: null where there is no data.
template <class Src>
struct sourceRow {
    const Src* pixels;
    const uint8_t* mask; // null also where every pixel is valid

    sums at(int64_t column) const
    {
        const bool isValid = pixels && (!mask || mask[column] != 0);
        return {isValid ? uint64_t{pixels[column]} : 0, isValid ? 1u : 0u};
    }
};

// Rows above the first one that the kernels reach count as if there was no data; no output depends on them.
template <class Src>
sourceRow<Src> rowAt(const masked_plan* plan, int64_t position)
{
    const int64_t row = position < plan->firstRow ? -1 : gauss_reflectOnce(position, plan->height);
    if (row < 0)
        return {};
    return {masked_row<const Src>(plan->src, row),
            plan->srcMask.first ? masked_row<const uint8_t>(plan->srcMask, row) : nullptr};
}

template <class Src>
void addRow(const plainRun* run, int64_t position)
{
    const masked_plan* const plan = run->plan;
    sourceRow<Src> tap[4];
    for (int j = 0; j < 4; ++j)
        tap[j] = rowAt<Src>(plan, position - j * plan->boxY);
    const sourceRow<Src> leaving = rowAt<Src>(plan, position - masked_reach(plan->boxY));
    for (int64_t x = 0; x < plan->width; ++x) {
        const sums values[4] = {tap[0].at(x), tap[1].at(x), tap[2].at(x), tap[3].at(x)};
        run->columns[x].add(differenceOf(values));
        run->counts[x] += static_cast<int64_t>(values[0].mask) - static_cast<int64_t>(leaving.at(x).mask);
    }
}

// ---- along the row ----

void extendColumns(const plainRun* run)
{
    const masked_plan* const plan = run->plan;
    for (int64_t x = plan->firstColumn; x <= run->lastColumn; ++x) {
        const int64_t column = gauss_reflectOnce(x, plan->width);
        const int64_t i = x - plan->firstColumn;
        run->extended[3 * plan->boxX + i] = column < 0 ? sums{} : run->columns[column].third;
        run->extendedCounts[masked_reach(plan->boxX) + i] = column < 0 ? 0 : run->counts[column];
    }
}

template <class Src, class Dst, class Rule>
void writeRow(const plainRun* run, const Rule& rule, int64_t row)
{
    const masked_plan* const plan = run->plan;
    const int64_t n = plan->boxX;
    const int64_t reach = masked_reach(n);
    const int64_t centreRow = masked_centreRow(plan, row);
    const auto* const source = masked_row<const Src>(plan->src, centreRow);
    auto* const out = masked_row<Dst>(plan->dst, row);
    extendColumns(run);
    integrators along = {};
    int64_t count = 0;
    int64_t x = 0; // the next column of those extended
    for (int64_t i = 0; i < plan->columns; ++i) {
        for (const int64_t end = reach + i * plan->stepX; x < end; ++x) {
            const sums* const column = run->extended + 3 * n + x;
            const sums tap[4] = {column[0], column[-n], column[-2 * n], column[-3 * n]};
            along.add(differenceOf(tap));
            count += run->extendedCounts[reach + x] - run->extendedCounts[x];
        }
        const int64_t centre = masked_centreColumn(plan, i);
        const auto isSet = [=](masked_plane mask) {
            return !mask.first || masked_row<const uint8_t>(mask, centreRow)[centre] != 0;
        };
        const bool isValid =
            (plan->leastValid > 0 ? count >= plan->leastValid : isSet(plan->srcMask)) && isSet(plan->reset);
        const sums& total = along.third;
        out[i] = static_cast<Dst>(!isValid                        ? rule.reset(source[centre])
                                  : total.mask == rule.fullWeight ? rule.full(total.source)
                                                                  : rule.partial(total.source, total.mask));
        if (plan->dstMask.first)
            masked_row<uint8_t>(plan->dstMask, row)[i] = isValid ? 255 : 0;
    }
}

template <class Src, class Dst, class Rule>
qip_status smooth(plainRun* run, const Rule& rule, frame_cleanup* cleanup)
{
    const masked_plan* const plan = run->plan;
    qip_status status = takeMemory(run, cleanup);
    int64_t position = plan->firstRow;
    for (int64_t row = 0; row < plan->rows && status >= 0; ++row) {
        status = frame_pollAtRow(row);
        if (status < 0)
            break;
        const int64_t end = plan->firstRow + masked_reach(plan->boxY) + row * plan->stepY;
        for (; position < end; ++position)
            addRow<Src>(run, position);
        writeRow<Src, Dst>(run, rule, row);
    }
    return status;
}

} // namespace

template <class Rule>
qip_status masked_smoothPlain(const masked_plan* plan, const Rule& rule)
{
    plainRun run = {};
    run.plan = plan;
    run.lastColumn = plan->firstColumn + (plan->columns - 1) * plan->stepX + masked_reach(plan->boxX) - 1;
    frame_cleanup cleanup = {};
    const qip_status status = masked_withPixels(plan, [&](auto src, auto dst) {
        return smooth<decltype(src), decltype(dst)>(&run, rule, &cleanup);
    });
    return frame_cleanupEnd(&cleanup, status);
}

template qip_status masked_smoothPlain(const masked_plan* plan, const masked_fixedRule& rule);
template qip_status masked_smoothPlain(const masked_plan* plan, const masked_doubleRule& rule);
