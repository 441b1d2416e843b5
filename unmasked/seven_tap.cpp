#include "unmasked/seven_tap.h"

#include "gauss/running_sums.h"
#include "lanes/padded_row.h"
#include "unmasked/arithmetic.h"
#include "unmasked/kernels/look_up.h"
#include "unmasked/kernels/seven_tap.h"
#include "unmasked/plain.h"

#include <qbase/attention.h>

#include <algorithm>
#include <cstring>

namespace
{

constexpr const unmasked_sevenTapKernels& kernels = unmasked_sevenTapKernels256;

constexpr int64_t taps = 7;
constexpr int64_t columnsRead = unmasked_sevenTapReads; // for one output
constexpr int64_t widestBlock = 32;
constexpr int64_t mostOutputRows = 4;

// Of the source: a block that begins at the left border must be within one reflection at the right one.
constexpr int64_t leastWidth = (widestBlock + columnsRead) / 2;
constexpr int64_t leastHeight = taps;

// Rows are made in strips, so that the kept sums stay in the first-level cache and on the stack.
constexpr int64_t stripOutputs = 1024;

// How the rows of a plan are made: by runs of fresh rows, which may go on from sums of the rows before.
struct rowMethod {
    unmasked_sevenTapKernel::function makeRun;
    int64_t freshRows;
    int64_t outputRows;
    bool goesOn;
};

// One call. Most of it is memory, which is not cleared.
struct sevenTapCall {
    const unmasked_plan* plan;
    const unmasked_sevenTapKernel* kernel;
    rowMethod method;
    bool scales;

    alignas(64) unsigned char kept[stripOutputs * unmasked_sevenTapKeptBytes];
    uint8_t unwanted[stripOutputs];                    // output rows beyond the last
    uint8_t narrow[mostOutputRows][widestBlock];       // outputs of a plan that is narrower than a block
    uint8_t edge[taps][widestBlock / 2 * columnsRead]; // columns of a block at a border
    unmasked_pixelTable scaled;                        // each quotient with the gain, where there is one
};

// ---- columns ----

// Outputs that are made together, row after row, as blocks side by side.
struct strip {
    int64_t begin;
    int64_t end;
    int64_t blocks;
    int64_t firstInside; // the blocks from this one to before endInside read the source itself, in one run
    int64_t endInside;
};

int64_t firstColumnOf(const unmasked_plan* plan, int64_t output)
{
    return plan->firstColumn + output * plan->stepX;
}

// A block that would go beyond the last output begins earlier.
int64_t firstOutputOf(const sevenTapCall* call, const strip& strip, int64_t block)
{
    const int64_t latest = std::max<int64_t>(call->plan->columns - call->kernel->outputs, 0);
    return std::min(strip.begin + block * call->kernel->outputs, latest);
}

bool isInside(const sevenTapCall* call, int64_t output)
{
    const int64_t last = firstColumnOf(call->plan, output + call->kernel->outputs - 1);
    return firstColumnOf(call->plan, output) >= 0 && last + columnsRead <= call->plan->srcWidth;
}

strip stripFrom(const sevenTapCall* call, int64_t begin)
{
    const int64_t outputs = call->kernel->outputs;
    const int64_t end = std::min(begin + stripOutputs, call->plan->columns);
    strip made = {begin, end, (end - begin + outputs - 1) / outputs, 0, 0};
    while (made.firstInside < made.blocks && !isInside(call, begin + made.firstInside * outputs))
        ++made.firstInside;
    made.endInside = made.firstInside;
    while (made.endInside < made.blocks && isInside(call, begin + made.endInside * outputs))
        ++made.endInside;
    return made;
}

// Copies what a block at a border reads of a row. With a large step the columns between the kernels are
// left out: the copy has a step of its own, which is returned.
int64_t copyEdge(const sevenTapCall* call, const uint8_t* row, int64_t output, uint8_t* to)
{
    const unmasked_plan* const plan = call->plan;
    if (plan->stepX <= 2) {
        copyColumns<rowBorder::reflected, widestBlock + columnsRead>(row, plan->srcWidth,
                                                                     firstColumnOf(plan, output), to);
        return plan->stepX;
    }
    for (int64_t i = 0; i < call->kernel->outputs; ++i, to += columnsRead) {
        const int64_t column = firstColumnOf(plan, std::min(output + i, plan->columns - 1));
        if (column >= 0 && column + columnsRead <= plan->srcWidth)
            std::memcpy(to, row + column, columnsRead);
        else
            copyColumns<rowBorder::reflected, columnsRead>(row, plan->srcWidth, column, to);
    }
    return columnsRead;
}

// ---- rows ----

// A source row below all kernels stands for those that a run asks for beyond them.
const uint8_t* sourceRow(const unmasked_plan* plan, int64_t row)
{
    const int64_t last = plan->firstRow + (plan->rows - 1) * plan->stepY + taps - 1;
    return unmasked_srcRow(plan, gauss_reflect(std::min(row, last), plan->srcHeight));
}

// The rows of a run at one place: source rows from column 0 on, output rows from output 0 on, or null for
// those that are not wanted.
struct rowsOfRun {
    const uint8_t* source[taps];
    int64_t sourceCount;
    uint8_t* out[mostOutputRows];
    unmasked_sevenTapKernel::function make;
};

// Makes blocks side by side from `block` on.
void makeBlocks(sevenTapCall* call, const rowsOfRun& rows, const strip& strip, int64_t block, int64_t count)
{
    const unmasked_plan* const plan = call->plan;
    const int64_t output = firstOutputOf(call, strip, block);
    const bool isNarrow = plan->columns < call->kernel->outputs;
    unmasked_sevenTapRun run;
    run.kept = call->kept + block * call->kernel->outputs * unmasked_sevenTapKeptBytes;
    run.blocks = count;
    run.stepX = plan->stepX;
    run.ahead = call->method.outputRows * plan->dstStride;
    run.round = plan->round;
    const bool isEdge = !isInside(call, output);
    for (int64_t i = 0; i < rows.sourceCount; ++i)
        if (isEdge) {
            run.stepX = copyEdge(call, rows.source[i], output, call->edge[i]);
            run.source[i] = call->edge[i];
        } else {
            run.source[i] = rows.source[i] + firstColumnOf(plan, output);
        }
    for (int64_t i = 0; i < call->method.outputRows; ++i)
        run.out[i] = isNarrow ? call->narrow[i] : rows.out[i] ? rows.out[i] + output : call->unwanted;
    rows.make(&run);
    for (int64_t i = 0; isNarrow && i < call->method.outputRows; ++i)
        if (rows.out[i])
            std::copy_n(call->narrow[i], plan->columns, rows.out[i]);
}

void makeStripRows(sevenTapCall* call, const rowsOfRun& rows, const strip& strip)
{
    for (int64_t block = 0; block < strip.firstInside; ++block)
        makeBlocks(call, rows, strip, block, 1);
    if (strip.firstInside < strip.endInside)
        makeBlocks(call, rows, strip, strip.firstInside, strip.endInside - strip.firstInside);
    for (int64_t block = strip.endInside; block < strip.blocks; ++block)
        makeBlocks(call, rows, strip, block, 1);
}

// The last block may have made outputs of the strip before again: these too lack the gain.
void scaleOutputs(const sevenTapCall* call, const strip& strip, uint8_t* row)
{
    const int64_t begin = std::min(strip.begin, firstOutputOf(call, strip, strip.blocks - 1));
    unmasked_lookUp256(&call->scaled, row + begin, strip.end - begin);
}

// Makes the output rows first .. end - 1 of a strip.
void makeStrip(sevenTapCall* call, const strip& strip, int64_t first, int64_t end)
{
    const unmasked_plan* const plan = call->plan;
    const rowMethod& method = call->method;
    rowsOfRun rows = {};
    int64_t row = plan->firstRow + first * plan->stepY;
    if (method.goesOn) {
        row += 1 - plan->stepY;
        rows.make = call->kernel->prepare;
        for (rows.sourceCount = 0; rows.sourceCount < taps - 1; ++row)
            rows.source[rows.sourceCount++] = sourceRow(plan, row);
        makeStripRows(call, rows, strip);
    }
    rows.make = method.makeRun;
    rows.sourceCount = method.freshRows;
    for (int64_t k = first; k < end; k += method.outputRows) {
        for (int64_t i = 0; i < method.freshRows; ++i)
            rows.source[i] = sourceRow(plan, row + i);
        for (int64_t i = 0; i < method.outputRows; ++i)
            rows.out[i] = k + i < end ? unmasked_dstRow<uint8_t>(plan, k + i) : nullptr;
        makeStripRows(call, rows, strip);
        for (int64_t i = 0; call->scales && i < method.outputRows && k + i < end; ++i)
            scaleOutputs(call, strip, rows.out[i]);
        row += method.outputRows * plan->stepY;
    }
}

void makeRows(sevenTapCall* call, int64_t first, int64_t end)
{
    for (int64_t begin = 0; begin < call->plan->columns; begin += stripOutputs)
        makeStrip(call, stripFrom(call, begin), first, end);
}

// ---- one call ----

// Kernels need room for a block and a border of one reflection: outputs are centred within the source, so that
// their kernels reach three pixels beyond it.
bool suitsKernels(const unmasked_plan* plan)
{
    return plan->srcWidth >= leastWidth && plan->srcHeight >= leastHeight;
}

const unmasked_sevenTapKernel* kernelFor(int64_t stepX)
{
    if (stepX == 1)
        return &kernels.step1;
    return stepX == 2 ? &kernels.step2 : &kernels.anyStep;
}

rowMethod methodFor(const unmasked_sevenTapKernel& kernel, int64_t stepY)
{
    switch (stepY) {
    case 1:
        return {kernel.everyRow, 4, 4, true};
    case 2:
        return {kernel.everySecond, 4, 2, true};
    case 3:
        return {kernel.everyThird, 3, 1, true};
    default:
        return {kernel.alone, taps, 1, false};
    }
}

void setUp(sevenTapCall* call, const unmasked_plan* plan)
{
    call->plan = plan;
    call->kernel = kernelFor(plan->stepX);
    call->method = methodFor(*call->kernel, plan->stepY);
    call->scales = unmasked_hasGain(plan->gain);
    for (uint32_t quotient = 0; call->scales && quotient < 256; ++quotient)
        call->scaled.pixel[quotient] = unmasked_scaledBy729(quotient, plan->gain, plan->round);
}

// Calls make(first, end) for the output rows between two polls, which are counted from the first row of the
// request.
template <class Make>
qip_status makePolledRows(const unmasked_plan* plan, const Make& make)
{
    constexpr int64_t polled = 255; // the low bits of the rows that are polled before
    const int64_t above = plan->rowsAbove;
    qip_status status = QIP_OK;
    int64_t end = 0;
    for (int64_t row = above; row < above + plan->rows; row = end) {
        if ((row & polled) == polled) {
            status = qsys_attention_check();
            if (status < 0)
                return status;
        }
        end = std::min(above + plan->rows, (row + 1) | polled);
        make(row - above, end - above);
    }
    return status;
}

qip_status runBand(const unmasked_plan* plan)
{
    unmasked_setZScale(plan);
    if (!suitsKernels(plan))
        return makePolledRows(
            plan, [=](int64_t first, int64_t end) { unmasked_plainSevenTap(plan, first, end - first); });
    sevenTapCall call;
    setUp(&call, plan);
    return makePolledRows(plan, [&](int64_t first, int64_t end) { makeRows(&call, first, end); });
}

qip_status runBands(const unmasked_plan* plan, frame_split* split, frame_cleanup* cleanup)
{
    const qip_status status = frame_planSplit(cleanup, plan->rows, plan->columns, split);
    if (status < 0)
        return status;
    return frame_runSplit<unmasked_plan, runBand>(
        split, {0, plan->rows}, [=](int64_t, frame_rowRange rows) { return unmasked_bandOf(plan, rows); });
}

} // namespace

qip_status unmasked_smoothSevenTap(const unmasked_plan* plan)
{
    frame_split split = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, runBands(plan, &split, &cleanup));
}
