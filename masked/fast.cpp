// The rows of source and mask are prepared one after the other and kept as long as the kernel needs them. A
// group of output rows is made from left to right, in pieces: column sums of source and mask first, then sums
// along the rows, which go straight into pixels.
//
// Most masks are full, or empty, nearly everywhere. So each block of columns is known to be full, empty or
// mixed over all rows that a group sums: where it is full the sums of the mask are a constant, and where it is
// empty all sums are 0, so they are not made. The same is known of each stretch of outputs.
#include "masked/fast.h"

#include "frame/poll.h"
#include "gauss/column_window.h"
#include "masked/kernel_choice.h"
#include "masked/pixel_way.h"
#include "masked/valid_count.h"

namespace
{

constexpr int64_t mostSampling = 64;

template <class Src>
const gauss_downKernel<Src>& downKernel(const gauss_boxKernels* boxes)
{
    if constexpr (sizeof(Src) == 1)
        return boxes->down8;
    else
        return boxes->down16;
}

// ---- the run ----

// The sums of source or mask.
template <class Pixel>
struct sumsOf {
    const gauss_downKernel<Pixel>* down;
    int64_t blocks;
    unsigned char* state; // of the blocks
    uint32_t* window;     // of column sums
};

// What is known of a block of columns over all rows that a group sums.
struct blockState {
    masked_blockKind kind;
    bool isAsked;    // sums of the mask are read here: where not all is full, and nearby
    int64_t sameEnd; // the first block from here on that is of another kind
};

template <class Src>
struct fastRun {
    const masked_plan* plan;
    masked_pixelWay way;
    masked_finisher finish;
    masked_preparedRows<Src> rows;
    int64_t walked; // rows that the groups so far have summed

    gauss_windowPlan along; // in blocks of the mask; the source may have two for one
    blockState* blocks;     // for the group that is being made
    sumsOf<Src> source;
    sumsOf<uint8_t> mask;
    void* spareRow; // for lanes that have no output

    // Where enough pixels under the kernel have to be valid.
    masked_validCount count;
    uint8_t* isEnough; // a row of answers for each output row of a group
};

// What a column of valid pixels gives.
uint32_t fullColumn(const masked_plan* plan)
{
    return static_cast<uint32_t>(plan->boxY * plan->boxY * plan->boxY);
}

// How many blocks of the source stand for the blocks of the mask before `block`.
template <class Src>
int64_t sourceBlocks(const fastRun<Src>* run, int64_t block)
{
    const int64_t ratio = run->along.blockColumns / run->source.down->blockColumns;
    return std::min(block * ratio, run->source.blocks);
}

// Takes one zeroed block of memory for the sums. `block` must outlive the clean-up.
template <class Src>
qip_status takeSums(fastRun<Src>* run, unsigned char** block, frame_cleanup* cleanup)
{
    const gauss_windowPlan& along = run->along;
    const int64_t windowBytes = along.columns * along.lanes * int64_t{sizeof(uint32_t)};
    int64_t size = 0;
    const int64_t blocks = frame_setAside(&size, along.blocks * int64_t{sizeof(blockState)});
    const int64_t sourceState = frame_setAside(&size, run->source.blocks * run->source.down->blockState);
    const int64_t maskState = frame_setAside(&size, run->mask.blocks * run->mask.down->blockState);
    const int64_t sourceWindow = frame_setAside(&size, windowBytes);
    const int64_t maskWindow = frame_setAside(&size, windowBytes);
    const int64_t spareRow = frame_setAside(&size, along.outputs * int64_t{sizeof(uint16_t)});
    const qip_status status = frame_cleanupAllocClear(cleanup, size, block);
    if (status < 0)
        return status;
    unsigned char* const first = *block;
    run->blocks = reinterpret_cast<blockState*>(first + blocks);
    run->source.state = first + sourceState;
    run->mask.state = first + maskState;
    run->source.window = reinterpret_cast<uint32_t*>(first + sourceWindow);
    run->mask.window = reinterpret_cast<uint32_t*>(first + maskWindow);
    run->spareRow = first + spareRow;
    std::fill_n(run->blocks, along.blocks, blockState{masked_blockFull, false, along.blocks});
    return QIP_OK;
}

// ---- kinds of blocks ----

// A block goes from one kind to another: the integrators that were not kept up get what they have come to.
template <class Src>
void changeKind(fastRun<Src>* run, int64_t block, masked_blockKind kind)
{
    const gauss_downKernel<uint8_t>& down = *run->mask.down;
    if (run->blocks[block].kind != masked_blockMixed && kind == masked_blockMixed) {
        const uint32_t value = run->blocks[block].kind == masked_blockFull ? fullColumn(run->plan) : 0;
        unsigned char* const state = run->mask.state + block * down.blockState;
        const int64_t thirds = down.blockColumns * int64_t{sizeof(uint32_t)};
        std::memset(state, 0, static_cast<size_t>(down.blockState - thirds));
        std::fill_n(reinterpret_cast<uint32_t*>(state + down.blockState - thirds), down.blockColumns,
                    value);
    }
    if (kind == masked_blockEmpty) {
        const int64_t first = sourceBlocks(run, block);
        const int64_t stateSize = run->source.down->blockState;
        std::memset(run->source.state + first * stateSize, 0,
                    static_cast<size_t>((sourceBlocks(run, block + 1) - first) * stateSize));
    }
    run->blocks[block].kind = kind;
}

// What the blocks are over the rows of a group and the 3 n before it.
template <class Src>
void findKinds(fastRun<Src>* run)
{
    const gauss_windowPlan& along = run->along;
    const int64_t first = run->walked - 3 * run->plan->boxY;
    // A stretch of outputs that are not all full reads the columns under its kernels, and as many as the
    // integrators depend on.
    const int64_t columns = 3 * along.box + along.atOnce * along.step;
    const int64_t near = (columns + along.blockColumns - 1) / along.blockColumns;
    int64_t lastAsked = INT64_MIN / 2;
    for (int64_t block = 0; block < along.blocks; ++block) {
        const masked_blockKind kind = masked_kindSince(&run->rows, block, first);
        if (kind != run->blocks[block].kind)
            changeKind(run, block, kind);
        if (kind != masked_blockFull)
            lastAsked = block;
        run->blocks[block].isAsked = block - lastAsked <= near;
    }
    lastAsked = INT64_MAX / 2;
    int64_t sameEnd = along.blocks;
    for (int64_t block = along.blocks - 1; block >= 0; --block) {
        blockState& state = run->blocks[block];
        if (block + 1 < along.blocks && run->blocks[block + 1].kind != state.kind)
            sameEnd = block + 1;
        state.sameEnd = sameEnd;
        if (state.kind != masked_blockFull)
            lastAsked = block;
        state.isAsked |= lastAsked - block <= near;
    }
}

// Whether all blocks that hold any of these columns are of one kind; columns beyond the source reflect columns
// among those that are asked for.
template <class Src>
bool areAll(const fastRun<Src>* run, masked_blockKind kind, int64_t first, int64_t last)
{
    const int64_t firstBlock = std::max<int64_t>(first, 0) / run->along.blockColumns;
    const int64_t lastBlock = std::min(last, run->plan->width - 1) / run->along.blockColumns;
    return run->blocks[firstBlock].kind == kind && run->blocks[firstBlock].sameEnd > lastBlock;
}

// ---- column sums ----

// How far a group has come along its rows.
struct groupCursor {
    gauss_windowCursor at;
    int64_t row; // the first output row
    gauss_boxOutputs down;
    masked_pixelStep step;
};

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
void sumDown(const fastRun<Src>* run, const groupCursor* cursor, const sumsOf<Pixel>& sums,
             const Pixel* const* rows, int64_t block, int64_t count)
{
    gauss_boxDown<Pixel> down = {};
    down.rows = rows + run->walked;
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
    const blockState* const blocks = run->blocks;
    // Constants first: the last block may overlap the one before it.
    for (int64_t block = first; block < end; ++block) {
        const blockState& state = blocks[block];
        if (state.kind == masked_blockEmpty)
            fillBlock(run, cursor, run->source.window, block, 0);
        if (state.kind != masked_blockMixed && state.isAsked)
            fillBlock(run, cursor, run->mask.window, block,
                      state.kind == masked_blockFull ? fullColumn(run->plan) : 0);
    }
    forRuns(
        first, end, [=](int64_t block) { return blocks[block].kind != masked_blockEmpty; },
        [=](int64_t block, int64_t count) {
            const int64_t from = sourceBlocks(run, block);
            sumDown(run, cursor, run->source, run->rows.source, from,
                    sourceBlocks(run, block + count) - from);
        });
    forRuns(
        first, end, [=](int64_t block) { return blocks[block].kind == masked_blockMixed; },
        [=](int64_t block, int64_t count) {
            sumDown(run, cursor, run->mask, run->rows.mask, block, count);
        });
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
    if (areAll(run, masked_blockFull, firstColumn, lastColumn))
        return masked_allFull;
    // The columns before the first one count as full.
    if (firstColumn >= run->plan->firstColumn && areAll(run, masked_blockEmpty, firstColumn, lastColumn))
        return masked_allEmpty;
    return masked_allKinds;
}

template <class Src>
void finishRows(const fastRun<Src>* run, const groupCursor* cursor, int64_t count,
                masked_knowledge knowledge)
{
    const int64_t first = cursor->at.outputs;
    for (int64_t row = 0; row < cursor->down.count; ++row) {
        const uint8_t* const isEnough =
            run->isEnough ? run->isEnough + row * run->plan->columns + first : nullptr;
        const masked_stretch stretch = {cursor->row + row, first, count, knowledge, isEnough};
        run->finish(run->plan, &run->way.resets, &stretch);
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
        run->way.kernels.mixed(&step);
    else if (knowledge == masked_allFull)
        run->way.kernels.full(&step);
    if (knowledge == masked_allFull)
        setAlong(run, run->way.isWideMask, run->way.numbers.fullWeight, &step.mask);
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
            masked_changeCounts(&run->count, run->rows.mask[run->walked + row],
                                isOneLeaving ? run->rows.mask[run->walked + row - reach]
                                             : run->count.noRow);
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
    cursor.step.numbers = &run->way.numbers;
    cursor.step.source.box = cursor.step.mask.box = plan->boxX;
    // Before the first column come 3 n others, of which nothing depends: full ones of 0.
    setAlong(run, run->way.isWideMask, run->way.numbers.fullWeight, &cursor.step.mask);
    std::fill_n(run->source.window, 3 * plan->boxX * run->along.lanes, 0);
    std::fill_n(run->mask.window, 3 * plan->boxX * run->along.lanes, fullColumn(plan));
    return cursor;
}

// Makes the output rows from `row` on, down.count of them, out of the next source rows.
template <class Src>
void makeGroup(fastRun<Src>* run, int64_t row, gauss_boxOutputs down)
{
    groupCursor cursor = cursorAt(run, row, down);
    const gauss_windowPlan& along = run->along;
    const bool asksMask = run->blocks[0].kind != masked_blockFull || run->blocks[0].sameEnd < along.blocks;
    const gauss_windows windows = {run->source.window, asksMask ? run->mask.window : nullptr};
    for (int64_t block = 0; block < along.blocks; block += along.pieceBlocks) {
        const int64_t endBlock = std::min(block + along.pieceBlocks, along.blocks);
        gauss_slideWindows(along, block * along.blockColumns, windows, &cursor.at);
        sumBlocks(run, &cursor, block, endBlock);
        makeOutputs(run, gauss_endPiece(along, cursor.at, block, endBlock, windows), &cursor);
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
        masked_prepareRows(&run->rows, run->walked, run->walked + added);
        findKinds(run);
        testCounts(run, down);
        makeGroup(run, row, down);
        run->walked += added;
        down.first = plan->stepY;
    }
    return QIP_OK;
}

gauss_windowPlan alongOf(const masked_plan* plan, const gauss_boxKernels* boxes)
{
    return gauss_planWindow(boxes, plan, plan->width, plan->stepX == 1 ? 32 : 16);
}

template <class Src, class Rule>
qip_status smooth(const masked_plan* plan, const Rule& rule, frame_level level, const char* prepareName)
{
    const masked_kernels* const kernels = masked_kernelsAt(level);
    fastRun<Src> run = {};
    run.plan = plan;
    run.way = masked_wayFor(plan, rule, &kernels->pixels);
    run.finish = masked_finisherOf(plan);
    run.along = alongOf(plan, kernels->boxes);
    run.source.down = &downKernel<Src>(kernels->boxes);
    run.source.blocks = (plan->width + run.source.down->blockColumns - 1) / run.source.down->blockColumns;
    run.mask.down = &kernels->boxes->down8;
    run.mask.blocks = run.along.blocks;
    run.rows.plan = plan;
    run.rows.prepare = masked_prepareKernelOf<Src>(kernels, prepareName);
    run.rows.blocks = run.along.blocks;
    run.rows.keptRows = 3 * plan->boxY + gauss_mostGroupRows(run.along.lanes, plan->stepY) * plan->stepY;
    unsigned char* rows = nullptr;
    unsigned char* sums = nullptr;
    frame_cleanup cleanup = {};
    qip_status status = masked_takeRows(&cleanup, &run.rows, &rows);
    if (status >= 0)
        status = takeSums(&run, &sums, &cleanup);
    if (status >= 0)
        status = takeCount(&run, level, &cleanup);
    if (status >= 0)
        status = makeRows(&run);
    return frame_cleanupEnd(&cleanup, status);
}

bool canSum(const masked_plan* plan, const qsys_cpuinfo* info)
{
    const masked_kernels* const kernels = masked_kernelsAt(masked_levelFor(plan, info));
    return kernels && plan->width >= kernels->boxes->down8.blockColumns && plan->stepX <= mostSampling &&
           plan->stepY <= mostSampling && plan->firstColumn >= -plan->width &&
           alongOf(plan, kernels->boxes).lastColumn < 2 * plan->width;
}

} // namespace

template <class Rule>
bool masked_canSmoothFast(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info)
{
    return canSum(plan, info) && masked_fitsLanes(plan, rule);
}

template <class Rule>
qip_status masked_smoothFast(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info,
                             const char* prepareName)
{
    const frame_level level = masked_levelFor(plan, info);
    return plan->srcIsWide ? smooth<uint16_t>(plan, rule, level, prepareName)
                           : smooth<uint8_t>(plan, rule, level, prepareName);
}

template qip_status masked_smoothFast(const masked_plan* plan, const masked_fixedRule& rule,
                                      const qsys_cpuinfo* info, const char* prepareName);
template qip_status masked_smoothFast(const masked_plan* plan, const masked_doubleRule& rule,
                                      const qsys_cpuinfo* info, const char* prepareName);
template bool masked_canSmoothFast(const masked_plan* plan, const masked_fixedRule& rule,
                                   const qsys_cpuinfo* info);
template bool masked_canSmoothFast(const masked_plan* plan, const masked_doubleRule& rule,
                                   const qsys_cpuinfo* info);
