// Two rows of outputs are made at once: their source rows are summed down the columns, the sums are continued
// beyond the ends of the row, and sums along the row go straight into pixels.
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

    // Of column 0, for two rows of outputs.
    sum* source[masked_shortRows];
    sum* mask[masked_shortRows];

    masked_blockKind* kinds; // of the blocks of columns
    masked_blockKind* held;  // what the sums of the mask were when they were last made
    masked_knowledge* known; // of the blocks of outputs
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
    int64_t sums[2 * masked_shortRows];
    for (int64_t& row : sums)
        row = frame_setAside(&size, rowBytes);
    const int64_t kinds = frame_setAside(&size, run->rows.blocks);
    const int64_t held = frame_setAside(&size, run->rows.blocks);
    const int64_t known = frame_setAside(&size, outputBlocks * int64_t{sizeof(masked_knowledge)});
    const qip_status status = frame_cleanupAllocClear(cleanup, size, block);
    if (status < 0)
        return status;
    unsigned char* const first = *block;
    for (int row = 0; row < masked_shortRows; ++row) {
        run->source[row] = reinterpret_cast<sum*>(first + sums[row]) + sumsBeyond;
        run->mask[row] = reinterpret_cast<sum*>(first + sums[masked_shortRows + row]) + sumsBeyond;
    }
    run->kinds = reinterpret_cast<masked_blockKind*>(first + kinds);
    run->held = reinterpret_cast<masked_blockKind*>(first + held);
    run->known = reinterpret_cast<masked_knowledge*>(first + known);
    std::fill_n(run->held, run->rows.blocks, masked_blockMixed);
    return QIP_OK;
}

// ---- sums down the columns ----

// Columns beyond the ends of the row are reflected.
template <class Sum>
void reflectEnds(int64_t width, Sum* const* rows)
{
    for (int row = 0; row < masked_shortRows; ++row)
        for (int64_t i = 0; i < columnsBeyond; ++i) {
            rows[row][-1 - i] = rows[row][i];
            rows[row][width + i] = rows[row][width - 1 - i];
        }
}

// Sums the columns first .. end - 1 of the source rows under the outputs of `row` and the row after it.
template <class Pixel, class Sum>
void sumDown(masked_shortDownKernel<Pixel, Sum> kernel, const Pixel* const* rows, int64_t count,
             int64_t first, int64_t end, Sum* const* sums)
{
    masked_shortDown<Pixel, Sum> down = {};
    for (int64_t i = 0; i <= masked_mostShortReach; ++i)
        down.rows[i] = rows[std::min(i, count - 1)];
    down.first = first;
    down.end = end;
    std::copy_n(sums, masked_shortRows, down.sums);
    kernel(&down);
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
        const masked_blockKind kind = run->kinds[block];
        if (kind != masked_blockMixed && run->held[block] != kind)
            for (sum* const sums : run->mask)
                std::fill_n(sums + blockStart(block, width, run->block), run->block,
                            kind == masked_blockFull ? full : sum{0});
        run->held[block] = kind;
    }
    for (int64_t block = 0; block < run->rows.blocks; ++block)
        if (run->kinds[block] == masked_blockMixed) {
            const int64_t first = blockStart(block, width, run->block);
            sumDown(run->sumMask, run->rows.mask + row, count, first, first + run->block, run->mask);
        }
    reflectEnds(width, run->mask);
}

// ---- along the rows ----

// What is known of the outputs first .. end - 1.
template <class Src>
masked_knowledge knownOf(const shortRun<Src>* run, int64_t first, int64_t end)
{
    const masked_plan* const plan = run->plan;
    const int64_t firstColumn = plan->firstColumn + first;
    const int64_t lastColumn = plan->firstColumn + end - 1 + masked_reach(plan->boxX) - 1;
    // Columns beyond the source reflect columns among those that are asked for.
    const int64_t firstBlock = std::max<int64_t>(firstColumn, 0) / run->block;
    const int64_t lastBlock = std::min(lastColumn, plan->width - 1) / run->block;
    const masked_blockKind kind = run->kinds[firstBlock];
    for (int64_t block = firstBlock + 1; block <= lastBlock; ++block)
        if (run->kinds[block] != kind)
            return masked_allKinds;
    if (kind == masked_blockMixed)
        return masked_allKinds;
    return kind == masked_blockFull ? masked_allFull : masked_allEmpty;
}

// Makes the outputs first .. end - 1 of one row, of which the same is known.
template <class Src>
void makeStretch(const shortRun<Src>* run, int64_t row, int64_t first, int64_t end, masked_knowledge known)
{
    using sum = typename shortRun<Src>::sum;
    const masked_plan* const plan = run->plan;
    const int64_t column = plan->firstColumn + first;
    const int64_t pixelBytes = plan->dstIsWide ? 2 : 1;
    const masked_shortAlong<sum> along = {
        run->source[row % masked_shortRows] + column, run->mask[row % masked_shortRows] + column,
        end - first, masked_row<unsigned char>(plan->dst, row) + first * pixelBytes, &run->way.numbers};
    if (known == masked_allFull)
        run->pixels.full(&along);
    else if (known == masked_allKinds)
        run->pixels.mixed(&along);
    for (int64_t i = first; i < end; i += masked_mostStretch) {
        const masked_stretch stretch = {row, i, std::min(end - i, masked_mostStretch), known, nullptr};
        run->finish(plan, &run->way.resets, &stretch);
    }
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

// Makes `count` rows of outputs, at most two.
template <class Src>
void makeRows(shortRun<Src>* run, int64_t row, int64_t count)
{
    const masked_plan* const plan = run->plan;
    const int64_t summed = run->reachY + count - 1;
    sumDown(run->sumSource, run->rows.source + row, summed, 0, plan->width, run->source);
    reflectEnds(plan->width, run->source);
    bool isAllFull = true;
    for (int64_t block = 0; block < run->rows.blocks; ++block) {
        run->kinds[block] = masked_kindSince(&run->rows, block, row);
        isAllFull = isAllFull && run->kinds[block] == masked_blockFull;
    }
    if (!isAllFull)
        sumMaskBlocks(run, row, summed);
    for (int64_t i = 0; i < blocksIn(plan->columns, run->block); ++i) {
        const int64_t first = blockStart(i, plan->columns, run->block);
        run->known[i] = knownOf(run, first, first + run->block);
    }
    for (int64_t i = 0; i < count; ++i)
        makeRow(run, row + i);
}

template <class Src>
qip_status makeAllRows(shortRun<Src>* run)
{
    const masked_plan* const plan = run->plan;
    int64_t prepared = 0;
    // The rows that poll are even ones.
    for (int64_t row = 0; row < plan->rows; row += masked_shortRows) {
        const qip_status status = frame_pollAtRow(row);
        if (status < 0)
            return status;
        const int64_t count = std::min(masked_shortRows, plan->rows - row);
        const int64_t end = row + run->reachY + count - 1;
        masked_prepareRows(&run->rows, prepared, end);
        prepared = end;
        makeRows(run, row, count);
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
    run.rows.keptRows = run.reachY + masked_shortRows - 1;
    unsigned char* rows = nullptr;
    unsigned char* sums = nullptr;
    frame_cleanup cleanup = {};
    qip_status status = masked_takeRows(&cleanup, &run.rows, &rows);
    if (status >= 0)
        status = takeSums(&run, &sums, &cleanup);
    if (status >= 0)
        status = makeAllRows(&run);
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
