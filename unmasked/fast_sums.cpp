#include "unmasked/fast_sums.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "gauss/running_sums.h"

#include <algorithm>
#include <cmath>

namespace
{

// The kernels make tiles of outputs, this many at most. A piece ends with a whole tile, unless sampling is
// so coarse that this would hold back a long stretch of columns.
constexpr int64_t tileOutputs = 16;

// Columns are summed in pieces that stay in the first cache from one step to the next.
constexpr int64_t leastPiece = 256;

// The widest box along the rows: the column sums of 3 n columns before the next one are kept.
constexpr int64_t mostBoxAlong = 256;

// A group takes no more source rows than this where sampling lets it: all its polls come before it.
constexpr int64_t mostGroupRows = 256;

struct sumsRun {
    unmasked_plan plan;
    const unmasked_sumsPath* path;
    int64_t lanes;
    int64_t blocks;
    int64_t pieceBlocks;
    int64_t lastColumn;    // the last one under the kernel of the last output
    int64_t outputsAtOnce; // outputs are made in multiples of this, but for the last ones

    unsigned char* state; // of the blocks
    uint32_t* window;     // column sums of a piece and of what has to be kept before it
    void* spareRow;       // for lanes that have no output
    const uint8_t** rows; // the next source row of the walk
};

int64_t lastColumnOf(const unmasked_plan* plan)
{
    return plan->firstColumn + (plan->columns - 1) * plan->stepX + 3 * (plan->boxX - 1);
}

// The greatest number of columns that are kept before a piece. Outputs are made when all their columns are
// there; so beside the 3 n columns before the next one these are the columns of outputs that were not.
int64_t mostKept(const sumsRun* run)
{
    const unmasked_plan* const plan = &run->plan;
    return std::max(6 * plan->boxX + run->outputsAtOnce * plan->stepX,
                    run->path->boxes->down8.blockColumns);
}

// ---- memory ----

// Sets aside some bytes at the end of a block of memory, on a 64-byte boundary; returns where they begin.
int64_t setAside(int64_t* size, int64_t bytes)
{
    const int64_t begin = *size;
    *size += (bytes + 63) / 64 * 64;
    return begin;
}

// The table of the rows that the kernel meets, in the order of the walk, and before them 3 n rows of zeros.
void fillRows(const unmasked_plan* plan, const uint8_t* zeroRow, int64_t walked, const uint8_t** table)
{
    std::fill_n(table - 3 * plan->boxY, 3 * plan->boxY, zeroRow);
    for (int64_t i = 0; i < walked; ++i) {
        const int64_t row = plan->firstRow + i;
        const bool isData = row >= -plan->srcHeight && row < 2 * plan->srcHeight;
        table[i] = isData ? unmasked_srcRow(plan, gauss_reflect(row, plan->srcHeight)) : zeroRow;
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
    // After the last piece come the columns beyond the source.
    const int64_t columns =
        mostKept(run) + run->pieceBlocks * run->path->boxes->down8.blockColumns + 2 * plan->boxX;
    memoryPlan memory = {};
    memory.state = setAside(&memory.size, run->blocks * run->path->boxes->down8.blockState);
    memory.window = setAside(&memory.size, columns * run->lanes * int64_t{sizeof(uint32_t)});
    memory.spareRow = setAside(&memory.size, plan->columns * int64_t{sizeof(uint16_t)});
    memory.zeroRow = setAside(&memory.size, plan->srcWidth);
    memory.rows = setAside(&memory.size, (rowsBefore(plan) + walkedRows(plan)) * int64_t{sizeof(uint8_t*)});
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
    int64_t windowFirst; // the column at the beginning of the window
    int64_t column;      // the next one to be added along the rows
    int64_t outputs;     // made so far
    int64_t rows;        // with outputs
    unmasked_pixelStep step;
};

uint32_t* columnSums(const sumsRun* run, const groupCursor* cursor, int64_t column)
{
    return run->window + (column - cursor->windowFirst) * run->lanes;
}

// Gives the columns first .. end - 1, all of them beyond the source, the sums of those that they reflect.
void reflectColumns(const sumsRun* run, const groupCursor* cursor, int64_t first, int64_t end)
{
    for (int64_t column = first; column < end; ++column)
        std::copy_n(columnSums(run, cursor, gauss_reflect(column, run->plan.srcWidth)), run->lanes,
                    columnSums(run, cursor, column));
}

// Moves what is still needed of the columns before `column` to the beginning of the window.
void slideWindow(const sumsRun* run, int64_t column, groupCursor* cursor)
{
    // The last block may begin before its piece.
    const int64_t first =
        std::min(cursor->column - 3 * run->plan.boxX, column - run->path->boxes->down8.blockColumns);
    if (first <= cursor->windowFirst)
        return;
    const uint32_t* const from = columnSums(run, cursor, first);
    std::copy(from, from + (column - first) * run->lanes, run->window);
    cursor->windowFirst = first;
}

// The outputs whose columns are all there when the columns before `end` are.
int64_t outputsBefore(const sumsRun* run, int64_t end)
{
    if (end > run->lastColumn)
        return run->plan.columns;
    const int64_t beyondFirst = end - 1 - (run->plan.firstColumn + 3 * (run->plan.boxX - 1));
    const int64_t complete = beyondFirst < 0 ? 0 : beyondFirst / run->plan.stepX + 1;
    return complete - complete % run->outputsAtOnce;
}

// Makes the pixels of the outputs up to `end`.
void makeOutputs(const sumsRun* run, int64_t end, groupCursor* cursor)
{
    const unmasked_plan* const plan = &run->plan;
    unmasked_pixelStep& step = cursor->step;
    const int64_t count = end - cursor->outputs;
    if (count <= 0)
        return;
    step.along.column = columnSums(run, cursor, cursor->column);
    step.outputs = {cursor->outputs == 0 ? 3 * (plan->boxX - 1) + 1 : plan->stepX, plan->stepX, count};
    run->path->toPixels(&step);
    cursor->column += step.outputs.first + (count - 1) * plan->stepX;
    cursor->outputs = end;
    for (int64_t row = 0; row < cursor->rows; ++row)
        step.rows[row] = static_cast<unsigned char*>(step.rows[row]) + count * plan->dstPixelSize;
}

// The third integrators begin at what all sums include.
void startAlong(const sumsRun* run, gauss_alongState* along)
{
    const auto fill = [=](auto number) {
        auto* const third = reinterpret_cast<decltype(number)*>(along->integrators) + 2 * run->lanes;
        std::fill_n(third, run->lanes, number);
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
    cursor.windowFirst = plan->firstColumn - 3 * plan->boxX;
    cursor.column = plan->firstColumn;
    cursor.rows = rows;
    for (int64_t lane = 0; lane < run->lanes; ++lane)
        cursor.step.rows[lane] = lane < rows ? unmasked_dstRow<void>(plan, row + lane) : run->spareRow;
    cursor.step.numbers = &run->path->numbers;
    startAlong(run, &cursor.step.along);
    std::fill_n(run->window, 3 * plan->boxX * run->lanes, 0);
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
    for (int64_t block = 0; block < run->blocks; block += run->pieceBlocks) {
        const int64_t column = block * boxes->down8.blockColumns;
        slideWindow(run, column, &cursor);
        down.firstBlock = block;
        down.blocks = std::min(run->pieceBlocks, run->blocks - block);
        down.sums = columnSums(run, &cursor, column);
        boxes->down8.run(&down);
        if (block == 0)
            reflectColumns(run, &cursor, plan->firstColumn, 0);
        int64_t end = column + down.blocks * boxes->down8.blockColumns;
        if (end >= plan->srcWidth) {
            end = run->lastColumn + 1;
            reflectColumns(run, &cursor, plan->srcWidth, end);
        }
        makeOutputs(run, outputsBefore(run, end), &cursor);
    }
}

// ---- all rows ----

qip_status pollForRows(const sumsRun* run, int64_t first, int64_t count)
{
    qip_status status = QIP_OK;
    for (int64_t row = first; run->path->polls && row < first + count && status >= 0; ++row)
        status = frame_pollAtRow(row);
    return status;
}

qip_status makeRows(sumsRun* run)
{
    const unmasked_plan* const plan = &run->plan;
    const int64_t mostOutputs = std::clamp<int64_t>(mostGroupRows / plan->stepY, 1, run->lanes);
    gauss_boxOutputs outputs = {3 * (plan->boxY - 1) + 1, plan->stepY, 0};
    int64_t walked = 0;
    for (int64_t row = 0; row < plan->rows; row += outputs.count) {
        outputs.count = std::min(mostOutputs, plan->rows - row);
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

sumsRun runOf(const unmasked_plan* plan, const unmasked_sumsPath* path)
{
    sumsRun run = {};
    run.plan = *plan;
    run.path = path;
    run.lanes = path->boxes->lanes;
    run.blocks = (plan->srcWidth + path->boxes->down8.blockColumns - 1) / path->boxes->down8.blockColumns;
    run.lastColumn = lastColumnOf(plan);
    run.outputsAtOnce = plan->stepX <= tileOutputs ? tileOutputs : 1;
    const int64_t piece = std::max(leastPiece, 2 * mostKept(&run));
    run.pieceBlocks = std::min(run.blocks, piece / path->boxes->down8.blockColumns);
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
           lastColumnOf(plan) < 2 * plan->srcWidth;
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
