#include "unmasked/fast_sums.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "gauss/column_window.h"

#include <algorithm>
#include <cmath>

namespace
{

// The kernels make tiles of outputs, this many at most. A piece ends with a whole tile, unless sampling is
// so coarse that this would hold back a long stretch of columns.
constexpr int64_t tileOutputs = 16;

// The widest box along the rows: the column sums of 3 n columns before the next one are kept.
constexpr int64_t mostBoxAlong = 256;

struct sumsRun {
    unmasked_plan plan;
    const unmasked_sumsPath* path;
    gauss_windowPlan along;

    unsigned char* state; // of the blocks
    uint32_t* window;     // of column sums
    void* spareRow;       // for lanes that have no output
    const uint8_t** rows; // the next source row of the walk
};

// ---- memory ----

// The table of the rows that the kernel meets, in the order of the walk, and before them 3 n rows of zeros.
void fillRows(const unmasked_plan* plan, const uint8_t* zeroRow, int64_t walked, const uint8_t** table)
{
    std::fill_n(table - 3 * plan->boxY, 3 * plan->boxY, zeroRow);
    for (int64_t i = 0; i < walked; ++i) {
        const int64_t row = gauss_reflectOnce(plan->firstRow + i, plan->srcHeight);
        table[i] = row < 0 ? zeroRow : unmasked_srcRow(plan, row);
    }
}

// Where the parts of a run's block of memory begin.
struct memoryPlan {
    int64_t state;
    int64_t window;
    int64_t spareRow;
    int64_t zeroRow;
    int64_t rows;
    int64_t size;
};

int64_t rowsBefore(const unmasked_plan* plan)
{
    return 3 * plan->boxY;
}

int64_t walkedRows(const unmasked_plan* plan)
{
    return (plan->rows - 1) * plan->stepY + 3 * (plan->boxY - 1) + 1;
}

memoryPlan planMemory(const sumsRun* run)
{
    const unmasked_plan* const plan = &run->plan;
    memoryPlan memory = {};
    memory.state = frame_setAside(&memory.size, run->along.blocks * run->path->boxes->down8.blockState);
    memory.window =
        frame_setAside(&memory.size, run->along.columns * run->along.lanes * int64_t{sizeof(uint32_t)});
    memory.spareRow = frame_setAside(&memory.size, plan->columns * int64_t{sizeof(uint16_t)});
    memory.zeroRow = frame_setAside(&memory.size, plan->srcWidth);
    memory.rows =
        frame_setAside(&memory.size, (rowsBefore(plan) + walkedRows(plan)) * int64_t{sizeof(uint8_t*)});
    return memory;
}

// Gives a run its zeroed block.
void placeMemory(sumsRun* run, unsigned char* block)
{
    const memoryPlan memory = planMemory(run);
    run->state = block + memory.state;
    run->window = reinterpret_cast<uint32_t*>(block + memory.window);
    run->spareRow = block + memory.spareRow;
    run->rows = reinterpret_cast<const uint8_t**>(block + memory.rows) + rowsBefore(&run->plan);
    fillRows(&run->plan, block + memory.zeroRow, walkedRows(&run->plan), run->rows);
}

// ---- one group of rows ----

// How far a group has come along its rows.
struct groupCursor {
    gauss_windowCursor at;
    int64_t rows; // with outputs
    unmasked_pixelStep step;
};

// Makes the pixels of the outputs up to `end`.
void makeOutputs(const sumsRun* run, int64_t end, groupCursor* cursor)
{
    const unmasked_plan* const plan = &run->plan;
    unmasked_pixelStep& step = cursor->step;
    gauss_windowCursor& at = cursor->at;
    const int64_t count = end - at.outputs;
    if (count <= 0)
        return;
    step.along.column = gauss_inWindow(run->along, at, run->window, at.column);
    step.outputs = {gauss_columnAfter(run->along, at.outputs + 1) - at.column, plan->stepX, count};
    run->path->toPixels(&step);
    at.column = gauss_columnAfter(run->along, end);
    at.outputs = end;
    for (int64_t row = 0; row < cursor->rows; ++row)
        step.rows[row] = static_cast<unsigned char*>(step.rows[row]) + count * plan->dstPixelSize;
}

// The third integrators begin at what all sums include.
void startAlong(const sumsRun* run, gauss_alongState* along)
{
    const auto fill = [=](auto number) {
        auto* const third = reinterpret_cast<decltype(number)*>(along->integrators) + 2 * run->along.lanes;
        std::fill_n(third, run->along.lanes, number);
    };
    if (run->path->isWide)
        fill(run->path->start);
    else
        fill(static_cast<uint32_t>(run->path->start));
    along->box = run->plan.boxX;
}

groupCursor cursorAt(const sumsRun* run, int64_t row, int64_t rows)
{
    const unmasked_plan* const plan = &run->plan;
    groupCursor cursor = {};
    cursor.at = gauss_windowStart(run->along);
    cursor.rows = rows;
    for (int64_t lane = 0; lane < run->along.lanes; ++lane)
        cursor.step.rows[lane] = lane < rows ? unmasked_dstRow<void>(plan, row + lane) : run->spareRow;
    cursor.step.numbers = &run->path->numbers;
    startAlong(run, &cursor.step.along);
    std::fill_n(run->window, 3 * plan->boxX * run->along.lanes, 0);
    return cursor;
}

// Makes the output rows from `row` on, outputs.count of them, out of the next source rows.
void makeGroup(const sumsRun* run, int64_t row, gauss_boxOutputs outputs)
{
    const unmasked_plan* const plan = &run->plan;
    const gauss_boxKernels* const boxes = run->path->boxes;
    groupCursor cursor = cursorAt(run, row, outputs.count);
    gauss_boxDown<uint8_t> down = {};
    down.rows = run->rows;
    down.width = plan->srcWidth;
    down.box = plan->boxY;
    down.outputs = outputs;
    down.state = run->state;
    const gauss_windowPlan& along = run->along;
    for (int64_t block = 0; block < along.blocks; block += along.pieceBlocks) {
        const int64_t column = block * along.blockColumns;
        gauss_slideWindows(along, column, {{run->window}}, &cursor.at);
        down.firstBlock = block;
        down.blocks = std::min(along.pieceBlocks, along.blocks - block);
        down.sums = gauss_inWindow(along, cursor.at, run->window, column);
        boxes->down8.run(&down);
        makeOutputs(run, gauss_endPiece(along, cursor.at, block, block + down.blocks, {{run->window}}),
                    &cursor);
    }
}

// ---- all rows ----

qip_status pollForRows(const sumsRun* run, int64_t first, int64_t count)
{
    qip_status status = QIP_OK;
    for (int64_t row = first; run->path->polls && row < first + count && status >= 0; ++row)
        status = frame_pollAtRow(row + run->path->polledAs);
    return status;
}

// How many of the next outputs are complete before the first poll that follows the first of them.
int64_t outputsInTime(const sumsRun* run, int64_t nextRow, const gauss_boxOutputs& outputs)
{
    const int64_t firstDue = nextRow + run->path->polledAs + outputs.first - 1;
    return (frame_rowsPerPoll - 1 - firstDue % frame_rowsPerPoll) / outputs.step + 1;
}

qip_status makeRows(sumsRun* run)
{
    const unmasked_plan* const plan = &run->plan;
    const int64_t mostOutputs = gauss_mostGroupRows(run->along.lanes, plan->stepY);
    gauss_boxOutputs outputs = {3 * (plan->boxY - 1) + 1, plan->stepY, 0};
    int64_t walked = 0;
    for (int64_t row = 0; row < plan->rows; row += outputs.count) {
        outputs.count = std::min(mostOutputs, plan->rows - row);
        if (run->path->polls == unmasked_pollsInTime)
            outputs.count = std::min(outputs.count, outputsInTime(run, plan->firstRow + walked, outputs));
        const int64_t added = outputs.first + (outputs.count - 1) * outputs.step;
        const qip_status status = pollForRows(run, plan->firstRow + walked, added);
        if (status < 0)
            return status;
        makeGroup(run, row, outputs);
        walked += added;
        run->rows += added;
        outputs.first = plan->stepY;
    }
    return QIP_OK;
}

// A band of the rows, and the memory that it gets.
struct sumsBand {
    sumsRun run;
    unsigned char* block;
};

qip_status runBand(const sumsBand* band)
{
    sumsRun run = band->run;
    placeMemory(&run, band->block);
    unmasked_setZScale(&run.plan);
    const bool pollsOnce = run.path->polls && run.plan.rowsAbove == 0;
    const qip_status status = pollsOnce ? qsys_attention_check() : QIP_OK;
    return status < 0 ? status : makeRows(&run);
}

gauss_windowPlan alongOf(const gauss_boxKernels* boxes, const unmasked_plan* plan)
{
    return gauss_planWindow(boxes, plan, plan->srcWidth, plan->stepX <= tileOutputs ? tileOutputs : 1);
}

sumsRun runOf(const unmasked_plan* plan, const unmasked_sumsPath* path)
{
    sumsRun run = {};
    run.plan = *plan;
    run.path = path;
    run.along = alongOf(path->boxes, plan);
    return run;
}

// Takes one zeroed block for all bands, each of which gets as much as the highest one needs.
qip_status runBands(const unmasked_plan* plan, const unmasked_sumsPath* path, unsigned char** block,
                    frame_split* split, frame_cleanup* cleanup)
{
    qip_status status = frame_planSplit(cleanup, plan->rows, plan->columns, split);
    if (status < 0)
        return status;
    sumsRun run = runOf(plan, path);
    run.plan.rows = (plan->rows + split->count - 1) / split->count;
    const int64_t size = planMemory(&run).size;
    status = frame_cleanupAllocClear(cleanup, split->count * size, block);
    if (status < 0)
        return status;
    return frame_runSplit<sumsBand, runBand>(split, {0, plan->rows}, [&](int64_t i, frame_rowRange rows) {
        run.plan = unmasked_bandOf(plan, rows);
        return sumsBand{run, *block + i * size};
    });
}

} // namespace

bool unmasked_canSum(const gauss_boxKernels* boxes, const unmasked_plan* plan)
{
    return plan->srcWidth >= boxes->down8.blockColumns && plan->boxY <= gauss_mostBoxDown<uint8_t> &&
           plan->boxX <= mostBoxAlong && plan->firstColumn >= -plan->srcWidth &&
           alongOf(boxes, plan).lastColumn < 2 * plan->srcWidth;
}

double unmasked_greatestSum(const unmasked_plan* plan)
{
    return 255.0 * std::pow(static_cast<double>(plan->boxX * plan->boxY), 3.0);
}

qip_status unmasked_runSums(const unmasked_plan* plan, const unmasked_sumsPath* path)
{
    unsigned char* block = nullptr;
    frame_split split = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, runBands(plan, path, &block, &split, &cleanup));
}
