// The rows of source and mask are prepared one after the other and kept as long as the kernel needs them. A
// group of output rows is made from left to right, in pieces: column sums of source and mask first, then sums
// along the rows, which go straight into pixels.
//
// Most masks are full, or empty, nearly everywhere. So each block of columns is known to be full, empty or
// mixed over all rows that a group sums: where it is full the sums of the mask are a constant, and where it is
// empty all sums are 0, so they are not made. The same is known of each stretch of outputs.
#include "masked/fast.h"

#include "frame/cleanup.h"
#include "frame/fast_path.h"
#include "frame/level.h"
#include "frame/poll.h"
#include "gauss/column_window.h"
#include "masked/finish.h"
#include "masked/kernels/kernels.h"
#include "masked/valid_count.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{

constexpr int64_t mostSampling = 64;

enum blockKind : uint8_t { full, empty, mixed };

frame_level levelFor(const masked_plan* plan, const qsys_cpuinfo* info)
{
    return plan->srcIsWide ? frame_levelFor<uint16_t>(info) : frame_levelFor<uint8_t>(info);
}

const masked_kernels* kernelsAt(frame_level level)
{
    switch (level) {
    case frame_level::vector256:
        return &masked_kernelsAvx2;
    case frame_level::vector128:
        return &masked_kernelsSse41;
    case frame_level::portable:
        break;
    }
    return nullptr;
}

template <class Src>
const gauss_downKernel<Src>& downKernel(const gauss_boxKernels* boxes)
{
    if constexpr (sizeof(Src) == 1)
        return boxes->down8;
    else
        return boxes->down16;
}

double mostPixelOf(bool isWide)
{
    return isWide ? 65535.0 : 255.0;
}

double greatestSum(const masked_plan* plan)
{
    return masked_fullWeight(plan) * mostPixelOf(plan->srcIsWide);
}

// ---- what the pixels are made with ----

masked_width widthOf(const masked_plan* plan)
{
    // With boxes of up to 16 pixels the sums of 8-bit pixels fit 32 bits, and only then the factor is short.
    const bool isNarrow =
        plan->srcIsWide ? greatestSum(plan) < 0x1p32 : std::max(plan->boxX, plan->boxY) <= 16;
    if (isNarrow)
        return masked_narrow;
    if (plan->srcIsWide && plan->boxY > gauss_mostBoxSigned<uint16_t>)
        return masked_wideColumns;
    return masked_fullWeight(plan) < 0x1p32 ? masked_wideSource : masked_wideBoth;
}

masked_pixelPair pixelsOf(const masked_plan* plan, const masked_kernels* kernels, masked_way way)
{
    const masked_width width = widthOf(plan);
    if (plan->srcIsWide)
        return kernels->pixels.from16To16[way][width];
    return plan->dstIsWide ? kernels->pixels.from8To16[way][width] : kernels->pixels.from8To8[way][width];
}

masked_way wayOf(const masked_fixedRule& rule)
{
    return rule.hasGain ? masked_wayGain : masked_wayUnit;
}

masked_way wayOf(const masked_doubleRule& rule)
{
    const bool isWhole = rule.gain == std::trunc(rule.gain) && rule.gain < 0x1p31;
    return isWhole && rule.fullWeight <= uint64_t{1} << 30 ? masked_wayWholeGain : masked_wayDouble;
}

masked_pixelNumbers numbersOf(const masked_plan* plan, const masked_fixedRule& rule)
{
    masked_pixelNumbers numbers = {};
    numbers.multiplier = rule.factor.multiplier;
    numbers.rounding = rule.round ? rule.factor.rounding : 0;
    numbers.firstShift = rule.factor.firstShift;
    numbers.lastShift = rule.factor.lastShift;
    numbers.gain16 = static_cast<uint32_t>(rule.gain16);
    numbers.roundMask = rule.round ? ~uint32_t{} : 0;
    numbers.fullWeight = rule.fullWeight;
    numbers.wraps = plan->gain * mostPixelOf(plan->srcIsWide) > mostPixelOf(plan->dstIsWide);
    return numbers;
}

masked_pixelNumbers numbersOf(const masked_plan*, const masked_doubleRule& rule)
{
    masked_pixelNumbers numbers = {};
    numbers.fullWeight = rule.fullWeight;
    numbers.gain = rule.gain;
    numbers.fullWeightDouble = static_cast<double>(rule.fullWeight);
    numbers.fullFactor = rule.gain / numbers.fullWeightDouble * (1.0 + 0x1p-50);
    numbers.offset = rule.rounding;
    numbers.mostPixel = rule.mostPixel;
    return numbers;
}

template <class Rule>
uint64_t resetPixel(const void* rule, uint64_t p)
{
    return static_cast<const Rule*>(rule)->reset(p);
}

template <class Rule>
masked_resets resetsOf(const masked_plan* plan, const Rule& rule)
{
    masked_resets resets = {};
    resets.copies = plan->gain == 1.0;
    for (uint16_t p = 0; p < 256; ++p)
        resets.table[p] = static_cast<uint16_t>(rule.reset(p));
    resets.pixel = resetPixel<Rule>;
    resets.rule = &rule;
    return resets;
}

// ---- the run ----

// The sums of source or mask.
template <class Pixel>
struct sumsOf {
    const gauss_downKernel<Pixel>* down;
    const Pixel** rows; // the next one of the walk
    unsigned char* state;
    uint32_t* window; // column sums of a piece and of what has to be kept before it
};

template <class Src>
struct fastRun {
    const masked_plan* plan;
    const masked_kernels* kernels;
    masked_prepareKernel<Src> prepare;
    masked_pixelPair pixels;
    masked_pixelNumbers numbers;
    masked_resets resets;
    masked_finisher finish;
    bool isWideMask; // the sums of masks along the rows have 64 bits

    gauss_windowPlan along; // in blocks of the mask; the source may have two for one

    // Prepared rows: walk position i stands in slot i % ringRows.
    int64_t ringRows;
    int64_t ringStride; // in pixels
    Src* ringPixels;
    uint8_t* ringValid;
    int64_t* lastInvalid; // walk positions, for each block
    int64_t* lastValid;
    blockKind* kinds; // of the group that is being made
    int64_t walked;   // rows that the groups so far have summed

    sumsOf<Src> source;
    sumsOf<uint8_t> mask;
    bool maskIsConstant; // the whole window of the mask holds what a full column gives
    void* spareRow;      // for lanes that have no output

    // Where enough pixels under the kernel have to be valid.
    masked_validCount count;
    uint8_t* isEnough; // a row of answers for each output row of a group
};

// What a column of valid pixels gives.
uint32_t fullColumn(const masked_plan* plan)
{
    return static_cast<uint32_t>(plan->boxY * plan->boxY * plan->boxY);
}

// Whether there is data at a walk position, and in which row.
template <class Src>
int64_t dataRow(const fastRun<Src>* run, int64_t position)
{
    const int64_t row = run->plan->firstRow + position;
    const int64_t height = run->plan->height;
    return row >= -height && row < 2 * height ? gauss_reflect(row, height) : -1;
}

// ---- memory ----

template <class Src>
struct zeroRows {
    const Src* pixels;
    uint8_t* noneValid;
    uint8_t* allValid;
};

// The tables of rows, in the order of the walk, after 3 n that come before it. No output depends on these; all
// pixels in them are valid and 0.
template <class Src>
void fillRows(fastRun<Src>* run, const zeroRows<Src>& zeros, int64_t walkedRows)
{
    const masked_plan* const plan = run->plan;
    const int64_t before = 3 * plan->boxY;
    std::memset(zeros.allValid, 1, static_cast<size_t>(plan->width));
    std::fill_n(run->source.rows - before, before, zeros.pixels);
    std::fill_n(run->mask.rows - before, before, zeros.allValid);
    for (int64_t i = 0; i < walkedRows; ++i) {
        const int64_t row = dataRow(run, i);
        const int64_t slot = i % run->ringRows * run->ringStride;
        if (row < 0) {
            run->source.rows[i] = zeros.pixels;
            run->mask.rows[i] = zeros.noneValid;
        } else if (!plan->srcMask.first) {
            run->source.rows[i] = masked_row<const Src>(plan->src, row);
            run->mask.rows[i] = zeros.allValid;
        } else {
            run->source.rows[i] = run->ringPixels + slot;
            run->mask.rows[i] = run->ringValid + slot;
        }
    }
}

// Takes one zeroed block for everything. `block` must outlive the clean-up.
template <class Src>
qip_status takeMemory(fastRun<Src>* run, unsigned char** block, frame_cleanup* cleanup)
{
    const masked_plan* const plan = run->plan;
    const int64_t before = 3 * plan->boxY;
    const int64_t walkedRows = (plan->rows - 1) * plan->stepY + masked_reach(plan->boxY);
    const int64_t ringPixels = plan->srcMask.first ? run->ringRows * run->ringStride : 0;
    const int64_t windowBytes = run->along.columns * run->along.lanes * int64_t{sizeof(uint32_t)};
    const int64_t sourceBlocks =
        (plan->width + run->source.down->blockColumns - 1) / run->source.down->blockColumns;
    int64_t size = 0;
    const int64_t pixels = frame_setAside(&size, ringPixels * int64_t{sizeof(Src)});
    const int64_t valid = frame_setAside(&size, ringPixels);
    const int64_t lastInvalid = frame_setAside(&size, run->along.blocks * int64_t{sizeof(int64_t)});
    const int64_t lastValid = frame_setAside(&size, run->along.blocks * int64_t{sizeof(int64_t)});
    const int64_t kinds = frame_setAside(&size, run->along.blocks);
    const int64_t sourceState = frame_setAside(&size, sourceBlocks * run->source.down->blockState);
    const int64_t maskState = frame_setAside(&size, run->along.blocks * run->mask.down->blockState);
    const int64_t sourceWindow = frame_setAside(&size, windowBytes);
    const int64_t maskWindow = frame_setAside(&size, windowBytes);
    const int64_t spareRow = frame_setAside(&size, plan->columns * int64_t{sizeof(uint16_t)});
    const int64_t zeroRow = frame_setAside(&size, plan->width * int64_t{sizeof(Src)});
    const int64_t noneValid = frame_setAside(&size, plan->width);
    const int64_t allValid = frame_setAside(&size, plan->width);
    const int64_t sourceRows = frame_setAside(&size, (before + walkedRows) * int64_t{sizeof(Src*)});
    const int64_t maskRows = frame_setAside(&size, (before + walkedRows) * int64_t{sizeof(uint8_t*)});
    const qip_status status = frame_cleanupAllocClear(cleanup, size, block);
    if (status < 0)
        return status;
    unsigned char* const first = *block;
    run->ringPixels = reinterpret_cast<Src*>(first + pixels);
    run->ringValid = first + valid;
    run->lastInvalid = reinterpret_cast<int64_t*>(first + lastInvalid);
    run->lastValid = reinterpret_cast<int64_t*>(first + lastValid);
    run->kinds = reinterpret_cast<blockKind*>(first + kinds);
    run->source.state = first + sourceState;
    run->mask.state = first + maskState;
    run->source.window = reinterpret_cast<uint32_t*>(first + sourceWindow);
    run->mask.window = reinterpret_cast<uint32_t*>(first + maskWindow);
    run->spareRow = first + spareRow;
    run->source.rows = reinterpret_cast<const Src**>(first + sourceRows) + before;
    run->mask.rows = reinterpret_cast<const uint8_t**>(first + maskRows) + before;
    fillRows<Src>(run, {reinterpret_cast<const Src*>(first + zeroRow), first + noneValid, first + allValid},
                  walkedRows);
    // The rows before the walk are valid, and count as position -1.
    std::fill_n(run->lastInvalid, run->along.blocks, INT64_MIN);
    std::fill_n(run->lastValid, run->along.blocks, plan->srcMask.first ? -1 : INT64_MAX);
    return QIP_OK;
}

// ---- the rows of a group ----

// The definition of what a level's kernel does, for applications that forbid that.
template <class Pixel, int64_t columns>
void prepareRowPlainly(const masked_prepareStep<Pixel>* step)
{
    for (int64_t x = 0; x < step->width; ++x) {
        step->valid[x] = step->mask[x] != 0;
        step->pixels[x] = step->valid[x] ? step->src[x] : Pixel{0};
    }
    const int64_t blocks = (step->width + columns - 1) / columns;
    for (int64_t block = 0; block < blocks; ++block) {
        const uint8_t* const first = step->valid + std::min(block * columns, step->width - columns);
        const int64_t count = std::count(first, first + columns, 1);
        if (count < columns)
            step->lastInvalid[block] = step->row;
        if (count > 0)
            step->lastValid[block] = step->row;
    }
}

template <class Src>
void prepareRows(fastRun<Src>* run, int64_t count)
{
    const masked_plan* const plan = run->plan;
    for (int64_t i = run->walked; i < run->walked + count; ++i) {
        const int64_t row = dataRow(run, i);
        if (row < 0) {
            std::fill_n(run->lastInvalid, run->along.blocks, i);
        } else if (plan->srcMask.first) {
            const int64_t slot = i % run->ringRows * run->ringStride;
            const masked_prepareStep<Src> step = {masked_row<const Src>(plan->src, row),
                                                  masked_row<const uint8_t>(plan->srcMask, row),
                                                  plan->width,
                                                  run->ringPixels + slot,
                                                  run->ringValid + slot,
                                                  i,
                                                  run->lastInvalid,
                                                  run->lastValid};
            run->prepare(&step);
        }
    }
}

// A block goes from one kind to another: the integrators that were not kept up get what they have come to.
template <class Src>
void changeKind(fastRun<Src>* run, int64_t block, blockKind kind)
{
    const gauss_downKernel<uint8_t>& down = *run->mask.down;
    if (run->kinds[block] != mixed && kind == mixed) {
        const uint32_t value = run->kinds[block] == full ? fullColumn(run->plan) : 0;
        unsigned char* const state = run->mask.state + block * down.blockState;
        const int64_t thirds = down.blockColumns * int64_t{sizeof(uint32_t)};
        std::memset(state, 0, static_cast<size_t>(down.blockState - thirds));
        std::fill_n(reinterpret_cast<uint32_t*>(state + down.blockState - thirds), down.blockColumns,
                    value);
    }
    if (kind == empty) {
        const gauss_downKernel<Src>& source = *run->source.down;
        const int64_t ratio = down.blockColumns / source.blockColumns;
        const int64_t sourceBlocks = (run->plan->width + source.blockColumns - 1) / source.blockColumns;
        const int64_t end = std::min((block + 1) * ratio, sourceBlocks);
        std::memset(run->source.state + block * ratio * source.blockState, 0,
                    static_cast<size_t>((end - block * ratio) * source.blockState));
    }
    run->kinds[block] = kind;
}

// What the blocks are over the rows of a group and the 3 n before it.
template <class Src>
void findKinds(fastRun<Src>* run)
{
    const int64_t first = run->walked - 3 * run->plan->boxY;
    for (int64_t block = 0; block < run->along.blocks; ++block) {
        const blockKind kind = run->lastInvalid[block] < first ? full
                               : run->lastValid[block] < first ? empty
                                                               : mixed;
        if (kind != run->kinds[block])
            changeKind(run, block, kind);
    }
}

// Whether all blocks that hold any of these columns are of one kind; columns beyond the source reflect columns
// among those that are asked for.
template <class Src>
bool areAll(const fastRun<Src>* run, blockKind kind, int64_t first, int64_t last)
{
    const int64_t firstBlock = std::max<int64_t>(first, 0) / run->along.blockColumns;
    const int64_t lastBlock = std::min(last, run->plan->width - 1) / run->along.blockColumns;
    return std::all_of(run->kinds + firstBlock, run->kinds + lastBlock + 1,
                       [=](blockKind other) { return other == kind; });
}

// ---- column sums ----

// How far a group has come along its rows.
struct groupCursor {
    gauss_windowCursor at;
    int64_t row; // the first output row
    gauss_boxOutputs down;
    masked_pixelStep step;
};

// Once all columns before a piece are full again, the window of the mask becomes constant.
template <class Src>
void slideWindows(fastRun<Src>* run, int64_t column, groupCursor* cursor)
{
    const gauss_windowPlan& along = run->along;
    if (run->maskIsConstant)
        gauss_slideWindows(along, column, {run->source.window}, &cursor->at);
    else
        gauss_slideWindows(along, column, {run->source.window, run->mask.window}, &cursor->at);
    if (!run->maskIsConstant && areAll(run, full, cursor->at.first, column - 1)) {
        std::fill_n(run->mask.window, along.columns * along.lanes, fullColumn(run->plan));
        run->maskIsConstant = true;
    }
}

// The outputs that have all their columns when the blocks before endBlock do.
template <class Src>
int64_t endPiece(const fastRun<Src>* run, const groupCursor* cursor, int64_t block, int64_t endBlock)
{
    if (run->maskIsConstant)
        return gauss_endPiece(run->along, cursor->at, block, endBlock, {run->source.window});
    return gauss_endPiece(run->along, cursor->at, block, endBlock, {run->source.window, run->mask.window});
}

// Calls use(first, count) for each run of neighbouring blocks that pass.
template <class Passes, class Use>
void forRuns(int64_t first, int64_t end, const Passes& passes, const Use& use)
{
    for (int64_t block = first; block < end;) {
        int64_t next = block + 1;
        if (passes(block)) {
            while (next < end && passes(next))
                ++next;
            use(block, next - block);
        }
        block = next;
    }
}

template <class Pixel, class Src>
void sumDown(const fastRun<Src>* run, const groupCursor* cursor, const sumsOf<Pixel>& sums, int64_t block,
             int64_t count)
{
    gauss_boxDown<Pixel> down = {};
    down.rows = sums.rows;
    down.width = run->plan->width;
    down.box = run->plan->boxY;
    down.outputs = cursor->down;
    down.firstBlock = block;
    down.blocks = count;
    down.state = sums.state;
    down.sums = gauss_inWindow(run->along, cursor->at, sums.window, block * sums.down->blockColumns);
    sums.down->run(&down);
}

template <class Src>
void fillBlock(const fastRun<Src>* run, const groupCursor* cursor, uint32_t* window, int64_t block,
               uint32_t value)
{
    const gauss_windowPlan& along = run->along;
    const int64_t column = std::min(block * along.blockColumns, along.width - along.blockColumns);
    std::fill_n(gauss_inWindow(along, cursor->at, window, column), along.blockColumns * along.lanes, value);
}

// The column sums of some blocks.
template <class Src>
void sumBlocks(fastRun<Src>* run, const groupCursor* cursor, int64_t first, int64_t end)
{
    const blockKind* const kinds = run->kinds;
    const int64_t ratio = run->along.blockColumns / run->source.down->blockColumns;
    const int64_t sourceBlocks =
        (run->plan->width + run->source.down->blockColumns - 1) / run->source.down->blockColumns;
    const bool isAllFull =
        std::all_of(kinds + first, kinds + end, [](blockKind kind) { return kind == full; });
    if (!isAllFull)
        run->maskIsConstant = false;
    // Constants first: the last block may overlap the one before it.
    for (int64_t block = first; block < end; ++block) {
        if (kinds[block] == empty)
            fillBlock(run, cursor, run->source.window, block, 0);
        if (kinds[block] != mixed && !run->maskIsConstant)
            fillBlock(run, cursor, run->mask.window, block,
                      kinds[block] == full ? fullColumn(run->plan) : 0);
    }
    forRuns(
        first, end, [=](int64_t block) { return kinds[block] != empty; },
        [=](int64_t block, int64_t count) {
            const int64_t sourceEnd = std::min((block + count) * ratio, sourceBlocks);
            sumDown(run, cursor, run->source, block * ratio, sourceEnd - block * ratio);
        });
    forRuns(
        first, end, [=](int64_t block) { return kinds[block] == mixed; },
        [=](int64_t block, int64_t count) { sumDown(run, cursor, run->mask, block, count); });
}

// ---- along the rows ----

// Integrators that have seen columns of one value for 3 n columns.
template <class Src>
void setAlong(const fastRun<Src>* run, bool isWide, uint64_t sum, gauss_alongState* along)
{
    std::memset(along->integrators, 0, sizeof along->integrators);
    unsigned char* const thirds = along->integrators + 2 * run->along.lanes * (isWide ? 8 : 4);
    if (isWide)
        std::fill_n(reinterpret_cast<uint64_t*>(thirds), run->along.lanes, sum);
    else
        std::fill_n(reinterpret_cast<uint32_t*>(thirds), run->along.lanes, static_cast<uint32_t>(sum));
}

// What is known of the outputs first .. end - 1, and of the columns before them that the integrators
// depend on.
template <class Src>
masked_knowledge knownOf(const fastRun<Src>* run, int64_t first, int64_t end)
{
    const int64_t firstColumn = gauss_columnAfter(run->along, first) - 3 * run->plan->boxX;
    const int64_t lastColumn = gauss_columnAfter(run->along, end) - 1;
    if (areAll(run, full, firstColumn, lastColumn))
        return masked_allFull;
    // The columns before the first one count as full.
    if (firstColumn >= run->plan->firstColumn && areAll(run, empty, firstColumn, lastColumn))
        return masked_allEmpty;
    return masked_allKinds;
}

template <class Src>
void finishRows(const fastRun<Src>* run, const groupCursor* cursor, int64_t count,
                masked_knowledge knowledge)
{
    for (int64_t row = 0; row < cursor->down.count; ++row)
        for (int64_t i = 0; i < count; i += masked_mostStretch) {
            const int64_t first = cursor->at.outputs + i;
            const uint8_t* const isEnough =
                run->isEnough ? run->isEnough + row * run->plan->columns + first : nullptr;
            const masked_stretch stretch = {cursor->row + row, first,
                                            std::min(count - i, masked_mostStretch), knowledge, isEnough};
            run->finish(run->plan, &run->resets, &stretch);
        }
}

// Makes the next `count` outputs, of which the same is known.
template <class Src>
void makeStretch(const fastRun<Src>* run, groupCursor* cursor, int64_t count, masked_knowledge knowledge)
{
    const masked_plan* const plan = run->plan;
    masked_pixelStep& step = cursor->step;
    gauss_windowCursor& at = cursor->at;
    step.source.column = gauss_inWindow(run->along, at, run->source.window, at.column);
    step.mask.column = gauss_inWindow(run->along, at, run->mask.window, at.column);
    step.outputs = {gauss_columnAfter(run->along, at.outputs + 1) - at.column, plan->stepX, count};
    if (knowledge == masked_allKinds)
        run->pixels.mixed(&step);
    else if (knowledge == masked_allFull)
        run->pixels.full(&step);
    if (knowledge == masked_allFull)
        setAlong(run, run->isWideMask, run->numbers.fullWeight, &step.mask);
    if (knowledge == masked_allEmpty) {
        setAlong(run, false, 0, &step.source);
        setAlong(run, false, 0, &step.mask);
    }
    finishRows(run, cursor, count, knowledge);
    at.outputs += count;
    at.column = gauss_columnAfter(run->along, at.outputs);
    const int64_t bytes = count * (plan->dstIsWide ? 2 : 1);
    for (int64_t row = 0; row < cursor->down.count; ++row)
        step.rows[row] = static_cast<unsigned char*>(step.rows[row]) + bytes;
}

template <class Src>
void makeOutputs(const fastRun<Src>* run, int64_t end, groupCursor* cursor)
{
    const int64_t unit = run->along.atOnce;
    while (cursor->at.outputs < end) {
        const int64_t first = cursor->at.outputs;
        int64_t next = std::min(first + unit, end);
        const masked_knowledge knowledge = knownOf(run, first, next);
        while (next < end && knownOf(run, next, std::min(next + unit, end)) == knowledge)
            next = std::min(next + unit, end);
        makeStretch(run, cursor, next - first, knowledge);
    }
}

// ---- valid pixels ----

template <class Src>
qip_status takeCount(fastRun<Src>* run, frame_level level, frame_cleanup* cleanup)
{
    const masked_plan* const plan = run->plan;
    if (plan->leastValid == 0)
        return QIP_OK;
    masked_countRequest request = {};
    request.width = plan->width;
    request.firstColumn = plan->firstColumn;
    request.stepX = plan->stepX;
    request.columns = plan->columns;
    request.reachX = masked_reach(plan->boxX);
    request.reachY = masked_reach(plan->boxY);
    request.threshold = plan->leastValid;
    const qip_status status = masked_takeValidCount(cleanup, &request, level, &run->count);
    return status < 0 ? status
                      : frame_cleanupAlloc(cleanup, run->along.lanes * plan->columns, &run->isEnough);
}

// Tests the valid pixels under the kernels of a group.
template <class Src>
void testCounts(fastRun<Src>* run, gauss_boxOutputs down)
{
    if (!run->isEnough)
        return;
    const int64_t reach = masked_reach(run->plan->boxY);
    int64_t row = 0;
    int64_t end = down.first;
    for (int64_t output = 0; output < down.count; ++output, end += down.step) {
        for (; row < end; ++row) {
            const bool isOneLeaving = run->walked + row >= reach;
            masked_changeCounts(&run->count, run->mask.rows[row],
                                isOneLeaving ? run->mask.rows[row - reach] : run->count.noRow);
        }
        masked_testCounts(&run->count, run->isEnough + output * run->plan->columns);
    }
}

// ---- groups ----

template <class Src>
groupCursor cursorAt(const fastRun<Src>* run, int64_t row, gauss_boxOutputs down)
{
    const masked_plan* const plan = run->plan;
    groupCursor cursor = {};
    cursor.at = gauss_windowStart(run->along);
    cursor.row = row;
    cursor.down = down;
    for (int64_t lane = 0; lane < run->along.lanes; ++lane)
        cursor.step.rows[lane] =
            lane < down.count ? masked_row<unsigned char>(plan->dst, row + lane) : run->spareRow;
    cursor.step.numbers = &run->numbers;
    cursor.step.source.box = cursor.step.mask.box = plan->boxX;
    // Before the first column come 3 n others, of which nothing depends: full ones of 0.
    setAlong(run, run->isWideMask, run->numbers.fullWeight, &cursor.step.mask);
    std::fill_n(run->source.window, 3 * plan->boxX * run->along.lanes, 0);
    if (!run->maskIsConstant)
        std::fill_n(run->mask.window, 3 * plan->boxX * run->along.lanes, fullColumn(plan));
    return cursor;
}

// Makes the output rows from `row` on, down.count of them, out of the next source rows.
template <class Src>
void makeGroup(fastRun<Src>* run, int64_t row, gauss_boxOutputs down)
{
    groupCursor cursor = cursorAt(run, row, down);
    const gauss_windowPlan& along = run->along;
    for (int64_t block = 0; block < along.blocks; block += along.pieceBlocks) {
        slideWindows(run, block * along.blockColumns, &cursor);
        const int64_t endBlock = std::min(block + along.pieceBlocks, along.blocks);
        sumBlocks(run, &cursor, block, endBlock);
        makeOutputs(run, endPiece(run, &cursor, block, endBlock), &cursor);
    }
}

qip_status pollForRows(int64_t row, int64_t count)
{
    qip_status status = QIP_OK;
    for (int64_t i = row; i < row + count && status >= 0; ++i)
        status = frame_pollAtRow(i);
    return status;
}

template <class Src>
qip_status makeRows(fastRun<Src>* run)
{
    const masked_plan* const plan = run->plan;
    const int64_t mostOutputs = gauss_mostGroupRows(run->along.lanes, plan->stepY);
    gauss_boxOutputs down = {masked_reach(plan->boxY), plan->stepY, 0};
    for (int64_t row = 0; row < plan->rows; row += down.count) {
        down.count = std::min(mostOutputs, plan->rows - row);
        const qip_status status = pollForRows(row, down.count);
        if (status < 0)
            return status;
        const int64_t added = down.first + (down.count - 1) * down.step;
        prepareRows(run, added);
        findKinds(run);
        testCounts(run, down);
        makeGroup(run, row, down);
        run->walked += added;
        run->source.rows += added;
        run->mask.rows += added;
        down.first = plan->stepY;
    }
    return QIP_OK;
}

gauss_windowPlan alongOf(const masked_plan* plan, const gauss_boxKernels* boxes)
{
    gauss_windowPlan along = {};
    along.width = plan->width;
    along.lanes = boxes->lanes;
    along.blockColumns = boxes->down8.blockColumns;
    along.firstColumn = plan->firstColumn;
    along.step = plan->stepX;
    along.outputs = plan->columns;
    along.box = plan->boxX;
    along.atOnce = plan->stepX == 1 ? 32 : 16;
    gauss_planWindow(&along);
    return along;
}

template <class Src, class Rule>
qip_status smooth(const masked_plan* plan, const Rule& rule, frame_level level, const char* prepareName)
{
    const masked_kernels* const kernels = kernelsAt(level);
    fastRun<Src> run = {};
    run.plan = plan;
    run.kernels = kernels;
    run.along = alongOf(plan, kernels->boxes);
    run.source.down = &downKernel<Src>(kernels->boxes);
    run.mask.down = &kernels->boxes->down8;
    if constexpr (sizeof(Src) == 1)
        run.prepare = kernels->prepare8;
    else
        run.prepare = kernels->prepare16;
    if (frame_isInhibited(prepareName))
        run.prepare =
            run.along.blockColumns == 32 ? prepareRowPlainly<Src, 32> : prepareRowPlainly<Src, 16>;
    run.pixels = pixelsOf(plan, kernels, wayOf(rule));
    run.numbers = numbersOf(plan, rule);
    run.resets = resetsOf(plan, rule);
    run.finish = masked_finisherOf(plan);
    run.isWideMask = widthOf(plan) == masked_wideBoth;
    run.ringRows = 3 * plan->boxY + gauss_mostGroupRows(run.along.lanes, plan->stepY) * plan->stepY;
    run.ringStride = (plan->width + 63) / 64 * 64 + 64;
    unsigned char* block = nullptr;
    frame_cleanup cleanup = {};
    qip_status status = takeMemory(&run, &block, &cleanup);
    if (status >= 0)
        status = takeCount(&run, level, &cleanup);
    if (status >= 0)
        status = makeRows(&run);
    return frame_cleanupEnd(&cleanup, status);
}

bool canSum(const masked_plan* plan, const qsys_cpuinfo* info)
{
    const masked_kernels* const kernels = kernelsAt(levelFor(plan, info));
    return kernels && plan->width >= kernels->boxes->down8.blockColumns && plan->stepX <= mostSampling &&
           plan->stepY <= mostSampling && plan->firstColumn >= -plan->width &&
           alongOf(plan, kernels->boxes).lastColumn < 2 * plan->width;
}

} // namespace

bool masked_canSmoothFast(const masked_plan* plan, const masked_fixedRule& rule, const qsys_cpuinfo* info)
{
    // A full output, before the last shift; and a partial one, whose dividend has to be exact as a double and
    // whose quotient has to fit 32 bits.
    const double laneLimit = widthOf(plan) == masked_narrow && !plan->srcIsWide ? 0x1p32 : 0x1p64;
    const double product = std::ldexp(greatestSum(plan), -rule.factor.firstShift) *
                               static_cast<double>(rule.factor.multiplier) +
                           static_cast<double>(rule.factor.rounding);
    const double most = (mostPixelOf(plan->srcIsWide) + 1.0) * plan->gain;
    return canSum(plan, info) && product < laneLimit &&
           std::ldexp(1.0, rule.factor.lastShift) < laneLimit && plan->gain > 0.0 && plan->gain < 0x1p16 &&
           most < 0x1p31 && most * masked_fullWeight(plan) < 0x1p51;
}

bool masked_canSmoothFast(const masked_plan* plan, const masked_doubleRule& rule, const qsys_cpuinfo* info)
{
    return canSum(plan, info) && rule.gain > 0.0 && rule.gain < 0x1p64;
}

template <class Rule>
qip_status masked_smoothFast(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info,
                             const char* prepareName)
{
    const frame_level level = levelFor(plan, info);
    return plan->srcIsWide ? smooth<uint16_t>(plan, rule, level, prepareName)
                           : smooth<uint8_t>(plan, rule, level, prepareName);
}

template qip_status masked_smoothFast(const masked_plan* plan, const masked_fixedRule& rule,
                                      const qsys_cpuinfo* info, const char* prepareName);
template qip_status masked_smoothFast(const masked_plan* plan, const masked_doubleRule& rule,
                                      const qsys_cpuinfo* info, const char* prepareName);
