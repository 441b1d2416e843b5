// Groups of rows of outputs are made at once: their source rows are summed down the columns, the sums are
// continued beyond the ends of the row, and sums along the row go straight into pixels.
//
// Most masks are full, or empty, nearly everywhere. So each block of columns is known to be full, empty or
// mixed over all rows that are summed. Masks are summed where they are mixed; where all columns under some
// outputs are full, or all are empty, their sums are not looked at.
#include "masked/short.h"

#include "frame/poll.h"
#include "masked/kernel_choice.h"
#include "masked/pixel_way.h"

namespace
{

// Beyond either end of a row of sums. Kernels reach 3 columns out and read one more.
constexpr int64_t sumsBeyond = 16;
constexpr int64_t columnsBeyond = 3;
constexpr int64_t blocksBeyond = 1;

// Rows of outputs for which it is found out once what the mask holds: as many as a kernel sums, or twice that.
constexpr int64_t groupRows = 2 * masked_shortRows;

// What some columns hold: a bit for valid pixels and one for others.
enum columnKind : uint8_t { allFull = 1, allEmpty = 2, allKinds = allFull | allEmpty };

columnKind together(columnKind a, columnKind b)
{
    return static_cast<columnKind>(a | b);
}

template <class Src>
struct shortRun {
    using sum = typename masked_shortSum<Src>::type;

    const masked_plan* plan;
    masked_pixelWay way;
    masked_finisher finish;
    masked_preparedRows<Src> rows;
    int64_t block; // columns
    int64_t reachY;

    masked_shortDownKernel<Src, sum> sumSource;
    masked_shortDownKernel<uint8_t, sum> sumMask;
    masked_shortPair<sum> pixels;

    // Of column 0, for the rows of a group.
    sum* source[groupRows];
    sum* mask[groupRows];

    columnKind* kinds; // of the blocks of columns
    columnKind* held;  // what the sums of the mask were when they were last made
    columnKind* known; // of the columns under the blocks of outputs
};

int64_t blocksIn(int64_t columns, int64_t block)
{
    return (columns + block - 1) / block;
}

// Where a block begins; the last one ends with the row.
int64_t blockStart(int64_t number, int64_t columns, int64_t block)
{
    return std::min(number * block, columns - block);
}

template <class Src>
const auto& kernelsFor(const masked_plan* plan, const masked_shortTables& tables)
{
    if constexpr (sizeof(Src) == 2)
        return tables.from16To16;
    else
        return plan->dstIsWide ? tables.from8To16 : tables.from8To8;
}

// Takes one zeroed block of memory for the sums. `block` must outlive the clean-up.
template <class Src>
qip_status takeSums(shortRun<Src>* run, unsigned char** block, frame_cleanup* cleanup)
{
    using sum = typename shortRun<Src>::sum;
    const masked_plan* const plan = run->plan;
    const int64_t rowBytes = (plan->width + 2 * sumsBeyond) * int64_t{sizeof(sum)};
    const int64_t outputBlocks = blocksIn(plan->columns, run->block);
    int64_t size = 0;
    int64_t sums[2 * groupRows];
    for (int64_t& row : sums)
        row = frame_setAside(&size, rowBytes);
    const int64_t kinds = frame_setAside(&size, run->rows.blocks + 2 * blocksBeyond);
    const int64_t held = frame_setAside(&size, run->rows.blocks);
    const int64_t known = frame_setAside(&size, outputBlocks);
    const qip_status status = frame_cleanupAllocClear(cleanup, size, block);
    if (status < 0)
        return status;
    unsigned char* const first = *block;
    for (int row = 0; row < groupRows; ++row) {
        run->source[row] = reinterpret_cast<sum*>(first + sums[row]) + sumsBeyond;
        run->mask[row] = reinterpret_cast<sum*>(first + sums[groupRows + row]) + sumsBeyond;
    }
    run->kinds = reinterpret_cast<columnKind*>(first + kinds) + blocksBeyond;
    run->held = reinterpret_cast<columnKind*>(first + held);
    run->known = reinterpret_cast<columnKind*>(first + known);
    std::fill_n(run->held, run->rows.blocks, allKinds);
    return QIP_OK;
}

// ---- kinds of blocks ----

// What the blocks of columns hold in all rows from one on; the answer is what all of them hold together.
template <class Src>
columnKind findKinds(const shortRun<Src>* run, int64_t firstRow)
{
    const int64_t blocks = run->rows.blocks;
    const int64_t* const lastValid = run->rows.lastValid;
    const int64_t* const lastInvalid = run->rows.lastInvalid;
    auto all = columnKind{};
    for (int64_t block = 0; block < blocks; ++block) {
        const auto kind = static_cast<columnKind>((lastValid[block] >= firstRow ? allFull : 0) |
                                                  (lastInvalid[block] >= firstRow ? allEmpty : 0));
        run->kinds[block] = kind;
        all = together(all, kind);
    }
    // Columns beyond the source reflect columns of the first block or the last one.
    run->kinds[-1] = run->kinds[0];
    run->kinds[blocks] = run->kinds[blocks - 1];
    return all;
}

// The block of a column, which may lie up to a block before the first one.
int64_t blockOf(int64_t column, int64_t block)
{
    return (column + block) / block - 1;
}

template <class Src>
columnKind kindOfBlocks(const shortRun<Src>* run, int64_t first, int64_t last)
{
    auto kind = columnKind{};
    for (int64_t block = first; block <= last; ++block)
        kind = together(kind, run->kinds[block]);
    return kind;
}

// What the columns under the blocks of outputs hold.
template <class Src>
void findKnown(const shortRun<Src>* run)
{
    const masked_plan* const plan = run->plan;
    const int64_t firstBlock = blockOf(plan->firstColumn, run->block);
    const int64_t toLastColumn = run->block - 1 + masked_reach(plan->boxX) - 1;
    const int64_t lastBlock = blockOf(plan->firstColumn + toLastColumn, run->block);
    const int64_t last = blocksIn(plan->columns, run->block) - 1;
    for (int64_t i = 0; i < last; ++i)
        run->known[i] = kindOfBlocks(run, i + firstBlock, i + lastBlock);
    const int64_t lastColumn = plan->firstColumn + plan->columns - run->block;
    run->known[last] =
        kindOfBlocks(run, blockOf(lastColumn, run->block), blockOf(lastColumn + toLastColumn, run->block));
}

// ---- sums down the columns ----

// Columns beyond the ends of the row are reflected.
template <class Sum>
void reflectEnds(int64_t width, Sum* const* rows)
{
    for (int row = 0; row < groupRows; ++row)
        for (int64_t i = 0; i < columnsBeyond; ++i) {
            rows[row][-1 - i] = rows[row][i];
            rows[row][width + i] = rows[row][width - 1 - i];
        }
}

// Sums some columns for a group. `count` source rows are under it; where the last group has fewer, the last one
// stands for the others, in sums that are not used.
template <class Pixel, class Sum>
void sumDown(masked_shortDownKernel<Pixel, Sum> kernel, const Pixel* const* rows, int64_t count,
             int64_t first, int64_t end, Sum* const* sums)
{
    for (int64_t row = 0; row < groupRows; row += masked_shortRows) {
        masked_shortDown<Pixel, Sum> down = {};
        for (int64_t i = 0; i <= masked_mostShortReach; ++i)
            down.rows[i] = rows[std::min(row + i, count - 1)];
        down.first = first;
        down.end = end;
        std::copy_n(sums + row, masked_shortRows, down.sums);
        kernel(&down);
    }
}

template <class Src>
void sumMaskBlocks(shortRun<Src>* run, int64_t row, int64_t count)
{
    using sum = typename shortRun<Src>::sum;
    const int64_t width = run->plan->width;
    const int64_t boxY = run->plan->boxY;
    const auto full = static_cast<sum>(boxY * boxY * boxY);
    // Constants first: the last block may overlap the one before it.
    for (int64_t block = 0; block < run->rows.blocks; ++block) {
        const columnKind kind = run->kinds[block];
        if (kind != allKinds && run->held[block] != kind)
            for (sum* const sums : run->mask)
                std::fill_n(sums + blockStart(block, width, run->block), run->block,
                            kind == allFull ? full : sum{0});
        run->held[block] = kind;
    }
    for (int64_t block = 0; block < run->rows.blocks; ++block)
        if (run->kinds[block] == allKinds) {
            const int64_t first = blockStart(block, width, run->block);
            sumDown(run->sumMask, run->rows.mask + row, count, first, first + run->block, run->mask);
        }
    reflectEnds(width, run->mask);
}

// ---- along the rows ----

// Makes the outputs first .. end - 1 of one row, of which the same is known.
template <class Src>
void makeStretch(const shortRun<Src>* run, int64_t row, int64_t first, int64_t end, columnKind known)
{
    using sum = typename shortRun<Src>::sum;
    const masked_plan* const plan = run->plan;
    const int64_t column = plan->firstColumn + first;
    const int64_t pixelBytes = plan->dstIsWide ? 2 : 1;
    const masked_shortAlong<sum> along = {
        run->source[row % groupRows] + column, run->mask[row % groupRows] + column, end - first,
        masked_row<unsigned char>(plan->dst, row) + first * pixelBytes, &run->way.numbers};
    if (known == allFull)
        run->pixels.full(&along);
    else if (known == allKinds)
        run->pixels.mixed(&along);
    const masked_knowledge knowledge = known == allFull    ? masked_allFull
                                       : known == allEmpty ? masked_allEmpty
                                                           : masked_allKinds;
    const masked_stretch stretch = {row, first, end - first, knowledge, nullptr};
    run->finish(plan, &run->way.resets, &stretch);
}

template <class Src>
void makeRow(const shortRun<Src>* run, int64_t row)
{
    const int64_t columns = run->plan->columns;
    const int64_t blocks = blocksIn(columns, run->block);
    for (int64_t block = 0; block < blocks;) {
        int64_t next = block + 1;
        while (next < blocks && run->known[next] == run->known[block])
            ++next;
        makeStretch(run, row, blockStart(block, columns, run->block), std::min(next * run->block, columns),
                    run->known[block]);
        block = next;
    }
}

// ---- rows ----

// Makes the `count` rows of a group.
template <class Src>
void makeGroup(shortRun<Src>* run, int64_t row, int64_t count)
{
    const masked_plan* const plan = run->plan;
    const int64_t summed = run->reachY + count - 1;
    sumDown(run->sumSource, run->rows.source + row, summed, 0, plan->width, run->source);
    reflectEnds(plan->width, run->source);
    if (findKinds(run, row) != allFull)
        sumMaskBlocks(run, row, summed);
    findKnown(run);
    for (int64_t i = 0; i < count; ++i)
        makeRow(run, row + i);
}

template <class Src>
qip_status makeRows(shortRun<Src>* run)
{
    const masked_plan* const plan = run->plan;
    int64_t prepared = 0;
    // Rows that poll are the first ones of their groups.
    static_assert(frame_rowsPerPoll % groupRows == 0);
    for (int64_t row = 0; row < plan->rows; row += groupRows) {
        const qip_status status = frame_pollAtRow(row);
        if (status < 0)
            return status;
        const int64_t count = std::min(groupRows, plan->rows - row);
        const int64_t end = row + run->reachY + count - 1;
        masked_prepareRows(&run->rows, prepared, end);
        prepared = end;
        makeGroup(run, row, count);
    }
    return QIP_OK;
}

template <class Src, class Rule>
qip_status smooth(const masked_plan* plan, const Rule& rule, const masked_kernels* kernels,
                  const char* prepareName)
{
    shortRun<Src> run = {};
    run.plan = plan;
    run.way = masked_wayFor(plan, rule, &kernels->pixels);
    run.finish = masked_finisherOf(plan);
    run.block = kernels->boxes->down8.blockColumns;
    run.reachY = masked_reach(plan->boxY);
    const auto& shortKernels = kernelsFor<Src>(plan, kernels->shortTables);
    run.sumSource = shortKernels.source[plan->boxY - 1];
    run.sumMask = shortKernels.mask[plan->boxY - 1];
    run.pixels = shortKernels.pixels[run.way.way][plan->boxX - 1];
    run.rows.plan = plan;
    run.rows.prepare = masked_prepareKernelOf<Src>(kernels, prepareName);
    run.rows.blocks = blocksIn(plan->width, run.block);
    run.rows.keptRows = run.reachY + groupRows - 1;
    unsigned char* rows = nullptr;
    unsigned char* sums = nullptr;
    frame_cleanup cleanup = {};
    qip_status status = masked_takeRows(&cleanup, &run.rows, &rows);
    if (status >= 0)
        status = takeSums(&run, &sums, &cleanup);
    if (status >= 0)
        status = makeRows(&run);
    return frame_cleanupEnd(&cleanup, status);
}

} // namespace

template <class Rule>
bool masked_canSmoothShort(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info)
{
    const masked_kernels* const kernels = masked_kernelsAt(masked_levelFor(plan, info));
    if (!kernels || std::max(plan->boxX, plan->boxY) > masked_mostShortBox || plan->leastValid > 0)
        return false;
    const int64_t endColumn = plan->firstColumn + plan->columns - 1 + masked_reach(plan->boxX);
    return plan->stepX == 1 && plan->stepY == 1 &&
           std::min(plan->width, plan->columns) >= kernels->boxes->down8.blockColumns &&
           plan->firstColumn >= -columnsBeyond && endColumn <= plan->width + columnsBeyond &&
           masked_fitsLanes(plan, rule);
}

template <class Rule>
qip_status masked_smoothShort(const masked_plan* plan, const Rule& rule, const qsys_cpuinfo* info,
                              const char* prepareName)
{
    const masked_kernels* const kernels = masked_kernelsAt(masked_levelFor(plan, info));
    return plan->srcIsWide ? smooth<uint16_t>(plan, rule, kernels, prepareName)
                           : smooth<uint8_t>(plan, rule, kernels, prepareName);
}

template bool masked_canSmoothShort(const masked_plan* plan, const masked_fixedRule& rule,
                                    const qsys_cpuinfo* info);
template bool masked_canSmoothShort(const masked_plan* plan, const masked_doubleRule& rule,
                                    const qsys_cpuinfo* info);
template qip_status masked_smoothShort(const masked_plan* plan, const masked_fixedRule& rule,
                                       const qsys_cpuinfo* info, const char* prepareName);
template qip_status masked_smoothShort(const masked_plan* plan, const masked_doubleRule& rule,
                                       const qsys_cpuinfo* info, const char* prepareName);
