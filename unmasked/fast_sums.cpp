#include "unmasked/fast_sums.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "gauss/running_sums.h"

#include <algorithm>
#include <cmath>

namespace
{

// Columns are summed in pieces that stay in the first cache from one step to the next.
constexpr int64_t pieceColumns = 256;
constexpr int64_t columnsReadAfter = 16; // by the kernels that make pixels

// The widest box along the rows: column sums of 3 n columns before the row are kept, too.
constexpr int64_t mostBoxAlong = 256;

// A group takes no more source rows than this where sampling lets it: all its polls come before it.
constexpr int64_t mostGroupRows = 256;

struct sumsRun {
    const unmasked_plan* plan;
    const unmasked_sumsPath* path;
    int64_t lanes;
    int64_t blocks;
    int64_t pieceOutputs; // made at a time
    int64_t lastColumn;   // the last one under the kernel of the last output

    unsigned char* state; // of the blocks
    uint32_t* columnSums; // column 0
    void* sums;           // of one piece
    void* spareRow;       // one piece of pixels, for lanes that have no output
    const uint8_t** rows; // the next source row of the walk
};

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

// Takes one zeroed block for everything. `block` must outlive the clean-up.
qip_status takeMemory(sumsRun* run, unsigned char** block, frame_cleanup* cleanup)
{
    const unmasked_plan* const plan = run->plan;
    const int64_t rowsBefore = 3 * plan->boxY;
    const int64_t walkedRows = (plan->rows - 1) * plan->stepY + 3 * (plan->boxY - 1) + 1;
    const int64_t columnsBefore = 3 * plan->boxX - plan->firstColumn;
    const int64_t columns = columnsBefore + std::max(run->lastColumn + 1, plan->srcWidth);
    const int64_t pieceSums = (run->pieceOutputs + columnsReadAfter) * run->lanes;
    int64_t size = 0;
    const int64_t state = setAside(&size, run->blocks * run->path->boxes->blockState);
    const int64_t columnSums = setAside(&size, columns * run->lanes * int64_t{sizeof(uint32_t)});
    const int64_t sums = setAside(&size, pieceSums * int64_t{sizeof(uint64_t)});
    const int64_t spareRow = setAside(&size, run->pieceOutputs * int64_t{sizeof(uint16_t)});
    const int64_t zeroRow = setAside(&size, plan->srcWidth);
    const int64_t rows = setAside(&size, (rowsBefore + walkedRows) * int64_t{sizeof(uint8_t*)});
    const qip_status status = frame_cleanupAllocClear(cleanup, size, block);
    if (status < 0)
        return status;
    run->state = *block + state;
    run->columnSums = reinterpret_cast<uint32_t*>(*block + columnSums) + columnsBefore * run->lanes;
    run->sums = *block + sums;
    run->spareRow = *block + spareRow;
    run->rows = reinterpret_cast<const uint8_t**>(*block + rows) + rowsBefore;
    fillRows(plan, *block + zeroRow, walkedRows, run->rows);
    return QIP_OK;
}

// ---- the columns beyond the source ----

// Gives the columns first .. end - 1 the sums of those that they reflect. Further out than one reflection the
// sums stay 0, as they were at first.
void reflectColumns(const sumsRun* run, int64_t first, int64_t end)
{
    const int64_t width = run->plan->srcWidth;
    for (int64_t column = std::max(first, -width); column < std::min(end, 2 * width); ++column)
        std::copy_n(run->columnSums + gauss_reflect(column, width) * run->lanes, run->lanes,
                    run->columnSums + column * run->lanes);
}

// ---- one group of rows ----

// How far a group has come along its rows.
struct groupCursor {
    gauss_boxAlong along;
    int64_t outputs; // made so far
    void* rows[gauss_mostBoxLanes];
};

// Makes the pixels of the outputs up to `end`.
void makeOutputs(const sumsRun* run, int64_t outputRows, int64_t end, groupCursor* cursor)
{
    const unmasked_plan* const plan = run->plan;
    const unmasked_sumsPath* const path = run->path;
    gauss_boxAlong* const along = &cursor->along;
    while (cursor->outputs < end) {
        along->outputs = {cursor->outputs == 0 ? 3 * (plan->boxX - 1) + 1 : plan->stepX, plan->stepX,
                          std::min(end - cursor->outputs, run->pieceOutputs)};
        along->sums = run->sums;
        (path->isWide ? path->boxes->along64 : path->boxes->along32)(along);
        const gauss_boxOutputs& made = along->outputs;
        along->columns += (made.first + (made.count - 1) * made.step) * run->lanes;
        const unmasked_pixelStep step = {run->sums, made.count, cursor->rows, &path->numbers};
        path->toPixels(&step);
        cursor->outputs += made.count;
        for (int64_t row = 0; row < outputRows; ++row)
            cursor->rows[row] =
                static_cast<unsigned char*>(cursor->rows[row]) + made.count * plan->dstPixelSize;
    }
}

// The outputs whose columns are all there when the columns before `end` are. Whole tiles of pixels only, but
// for the last outputs.
int64_t outputsBefore(const sumsRun* run, int64_t end)
{
    if (end > run->lastColumn)
        return run->plan->columns;
    const int64_t beyondFirst = end - 1 - (run->plan->firstColumn + 3 * (run->plan->boxX - 1));
    return beyondFirst < 0 ? 0 : (beyondFirst / run->plan->stepX + 1) / columnsReadAfter * columnsReadAfter;
}

// Makes the output rows from `row` on, `count` of them, out of the next source rows.
void makeGroup(const sumsRun* run, int64_t row, gauss_boxOutputs outputs)
{
    const unmasked_plan* const plan = run->plan;
    const gauss_boxKernels* const boxes = run->path->boxes;
    const int64_t pieceBlocks = pieceColumns / boxes->blockColumns;
    groupCursor cursor = {};
    for (int64_t lane = 0; lane < run->lanes; ++lane)
        cursor.rows[lane] = lane < outputs.count ? unmasked_dstRow<void>(plan, row + lane)
                                                 : static_cast<void*>(run->spareRow);
    cursor.along.columns = run->columnSums + plan->firstColumn * run->lanes;
    cursor.along.box = plan->boxX;
    (run->path->isWide ? boxes->start64 : boxes->start32)(&cursor.along, run->path->start);

    gauss_boxDown down = {run->rows, plan->srcWidth, plan->boxY,     outputs, 0,
                          0,         run->state,     run->columnSums};
    bool leftIsThere = plan->firstColumn == 0;
    for (int64_t block = 0; block < run->blocks; block += pieceBlocks) {
        down.firstBlock = block;
        down.blocks = std::min(pieceBlocks, run->blocks - block);
        boxes->down(&down);
        const int64_t ready = std::min(plan->srcWidth, (block + down.blocks) * boxes->blockColumns);
        const bool isLast = ready == plan->srcWidth;
        if (!leftIsThere && (isLast || ready >= -plan->firstColumn)) {
            reflectColumns(run, plan->firstColumn, 0);
            leftIsThere = true;
        }
        if (isLast)
            reflectColumns(run, plan->srcWidth, run->lastColumn + 1);
        if (leftIsThere)
            makeOutputs(run, outputs.count, outputsBefore(run, isLast ? run->lastColumn + 1 : ready),
                        &cursor);
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
    const unmasked_plan* const plan = run->plan;
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

} // namespace

bool unmasked_canSum(const gauss_boxKernels* boxes, const unmasked_plan* plan)
{
    return plan->srcWidth >= boxes->blockColumns && plan->boxY <= gauss_mostBoxDown &&
           plan->boxX <= std::min(plan->srcWidth, mostBoxAlong);
}

double unmasked_greatestSum(const unmasked_plan* plan)
{
    return 255.0 * std::pow(static_cast<double>(plan->boxX * plan->boxY), 3.0);
}

qip_status unmasked_runSums(const unmasked_plan* plan, const unmasked_sumsPath* path)
{
    sumsRun run = {};
    run.plan = plan;
    run.path = path;
    run.lanes = path->boxes->lanes;
    run.blocks = (plan->srcWidth + path->boxes->blockColumns - 1) / path->boxes->blockColumns;
    run.pieceOutputs = std::min(plan->columns, pieceColumns);
    run.lastColumn = plan->firstColumn + (plan->columns - 1) * plan->stepX + 3 * (plan->boxX - 1);
    unsigned char* block = nullptr;
    frame_cleanup cleanup = {};
    qip_status status = takeMemory(&run, &block, &cleanup);
    if (status >= 0)
        unmasked_setZScale(plan);
    if (status >= 0 && path->polls)
        status = qsys_attention_check();
    if (status >= 0)
        status = makeRows(&run);
    return frame_cleanupEnd(&cleanup, status);
}
