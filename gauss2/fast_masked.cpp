// The drivers of the fast masked filters: which rows and columns a kernel sees, borders, polls and memory. One
// text for all filters and both depths.
//
// Kernels work on whole blocks of columns and read a few columns beside them. Blocks that lie inside the row
// with those columns are handed over as they lie; the first block and the last ones go through a small copy
// in which the border is repeated, so that nothing outside a row is ever touched.
#include "gauss2/fast_masked.h"

#include "frame/cleanup.h"
#include "gauss2/masked_kernels.h"

#include <qbase/attention.h>

#include <algorithm>
#include <cstring>

namespace
{

// What tells the filters apart.
struct maskedShape {
    bool halveX;
    bool halveY;
    bool sumsRows;    // the kernel is two steps behind its input
    bool pollsBefore; // all polls come before the first pixel
};

enum { pollRows = 64 };

// A filter at work on an image.
template <class Pixel>
struct maskedRun {
    const gauss2_maskedPlanes<Pixel>* planes;
    maskedShape shape;
    gauss2_maskedKernel<Pixel> kernel;
    int64_t block;    // source columns of a block
    int64_t outBlock; // output columns of a block
    int64_t outWidth;
    int64_t outHeight;
    int64_t blocks;   // that cover a row
    int64_t innerEnd; // blocks 1 .. innerEnd - 1 are handed over as they lie
    unsigned char* state;
    Pixel* spareRow;    // takes output rows outside the image
    uint8_t* spareMask; // takes mask rows that nobody asked for
};

// The blocks at one end of the two fresh rows, with the border beside them, and their output.
enum {
    borderBlocks = 2, // at most
    borderOutColumns = borderBlocks * gauss2_maskedMostBlock,
    borderColumns = gauss2_maskedBefore + borderOutColumns + gauss2_maskedAfter,
};

template <class Pixel>
struct borderCopy {
    Pixel src[2][borderColumns];
    uint8_t mask[2][borderColumns];
    Pixel dst[2][borderOutColumns];
    uint8_t dstMask[2][borderOutColumns];
};

int64_t clamped(int64_t index, int64_t count)
{
    return std::clamp<int64_t>(index, 0, count - 1);
}

// Copies borderColumns pixels from column `first` on, the edge pixels repeated outside the row.
template <class Pixel>
void copyRepeated(const Pixel* row, int64_t width, int64_t first, Pixel* to)
{
    const int64_t begin = std::max<int64_t>(first, 0);
    const int64_t end = std::min<int64_t>(first + borderColumns, width);
    std::fill_n(to, begin - first, row[0]);
    std::copy(row + begin, row + end, to + (begin - first));
    std::fill(to + (end - first), to + borderColumns, row[width - 1]);
}

template <class Pixel>
void copyBorder(const maskedRun<Pixel>& run, const gauss2_maskedStep<Pixel>& rows, int64_t firstBlock,
                borderCopy<Pixel>* copy)
{
    const int64_t width = run.planes->pixels.width;
    const int64_t first = firstBlock * run.block - gauss2_maskedBefore;
    for (int i = 0; i < 2; ++i) {
        copyRepeated(rows.src[i], width, first, copy->src[i]);
        copyRepeated(rows.mask[i], width, first, copy->mask[i]);
    }
}

template <class Pixel>
void runBorder(const maskedRun<Pixel>& run, const gauss2_maskedStep<Pixel>& rows, int64_t firstBlock,
               int64_t blocks, borderCopy<Pixel>* copy)
{
    const int64_t out = firstBlock * run.outBlock;
    const int64_t outCount = std::min(blocks * run.outBlock, run.outWidth - out);
    const bool whole = outCount == blocks * run.outBlock;
    gauss2_maskedStep<Pixel> step;
    for (int i = 0; i < 2; ++i) {
        step.src[i] = copy->src[i] + gauss2_maskedBefore;
        step.mask[i] = copy->mask[i] + gauss2_maskedBefore;
        step.dst[i] = whole ? rows.dst[i] + out : copy->dst[i];
        step.dstMask[i] = whole ? rows.dstMask[i] + out : copy->dstMask[i];
    }
    step.state = rows.state + firstBlock * run.kernel.stateBytes;
    step.blocks = blocks;
    run.kernel.run(&step);
    for (int i = 0; !whole && i < (run.shape.halveY ? 1 : 2); ++i) {
        std::copy_n(copy->dst[i], outCount, rows.dst[i] + out);
        std::copy_n(copy->dstMask[i], outCount, rows.dstMask[i] + out);
    }
}

template <class Pixel>
void runInner(const maskedRun<Pixel>& run, const gauss2_maskedStep<Pixel>& rows)
{
    gauss2_maskedStep<Pixel> step = rows;
    for (int i = 0; i < 2; ++i) {
        step.src[i] += run.block;
        step.mask[i] += run.block;
        step.dst[i] += run.outBlock;
        step.dstMask[i] += run.outBlock;
    }
    step.state += run.kernel.stateBytes;
    step.blocks = run.innerEnd - 1;
    run.kernel.run(&step);
}

// The rows of step `index`: the first output row is index, or 2 * index without sampling.
template <class Pixel>
gauss2_maskedStep<Pixel> rowsOfStep(const maskedRun<Pixel>& run, int64_t index)
{
    const gauss2_maskedPlanes<Pixel>& planes = *run.planes;
    const int64_t ahead = run.shape.halveY ? 1 : run.shape.sumsRows ? 2 : 0;
    gauss2_maskedStep<Pixel> step;
    for (int i = 0; i < 2; ++i) {
        const int64_t row = clamped(2 * index + ahead + i, planes.pixels.height);
        step.src[i] = gauss2_row(planes.pixels.src, planes.pixels.srcStride, row);
        step.mask[i] = gauss2_row(planes.mask, planes.maskStride, row);
        const int64_t out = run.shape.halveY ? index : 2 * index + i;
        const bool inside = out >= 0 && out < run.outHeight;
        step.dst[i] = inside ? gauss2_row(planes.pixels.dst, planes.pixels.dstStride, out) : run.spareRow;
        step.dstMask[i] = inside && planes.dstMask ? gauss2_row(planes.dstMask, planes.dstMaskStride, out)
                                                   : run.spareMask;
    }
    step.state = run.state;
    step.blocks = run.blocks;
    return step;
}

// Both ends are copied before the rest runs: vectors that straddle what was just stored would have to wait.
template <class Pixel>
void runStep(const maskedRun<Pixel>& run, int64_t index)
{
    const gauss2_maskedStep<Pixel> rows = rowsOfStep(run, index);
    borderCopy<Pixel> left;
    borderCopy<Pixel> right;
    const int64_t rightBlock = std::max<int64_t>(run.innerEnd, 1);
    copyBorder(run, rows, 0, &left);
    if (rightBlock < run.blocks)
        copyBorder(run, rows, rightBlock, &right);
    if (run.innerEnd > 1)
        runInner(run, rows);
    runBorder(run, rows, 0, 1, &left);
    if (rightBlock < run.blocks)
        runBorder(run, rows, rightBlock, run.blocks - rightBlock, &right);
}

qip_status pollRowsAhead(int64_t height)
{
    qip_status status = QIP_OK;
    for (int64_t row = 0; row < height && status >= 0; row += pollRows)
        status = qsys_attention_check();
    return status < 0 ? status : QIP_OK;
}

// All steps, the first two of a filter that sums over rows only for what it remembers of the rows above.
template <class Pixel>
qip_status runSteps(const maskedRun<Pixel>& run)
{
    const int64_t stepRows = run.shape.halveY ? 1 : 2; // of the output
    const int64_t steps = (run.outHeight + stepRows - 1) / stepRows;
    if (run.shape.pollsBefore) {
        const qip_status status = pollRowsAhead(run.planes->pixels.height);
        if (status < 0)
            return status;
    }
    for (int64_t index = run.shape.sumsRows ? -2 : 0; index < steps; ++index) {
        if (!run.shape.pollsBefore && index >= 0 && index % (pollRows / 2) == 0) {
            const qip_status status = qsys_attention_check();
            if (status < 0)
                return status;
        }
        runStep(run, index);
    }
    return QIP_OK;
}

template <class Pixel>
maskedRun<Pixel> describeRun(const gauss2_maskedPlanes<Pixel>& planes, const maskedShape& shape,
                             const gauss2_maskedKernels<Pixel>& kernels,
                             const gauss2_maskedKernel<Pixel>& kernel)
{
    const int64_t width = planes.pixels.width;
    maskedRun<Pixel> run = {};
    run.planes = &planes;
    run.shape = shape;
    run.kernel = kernel;
    run.block = kernels.block;
    run.outBlock = shape.halveX ? run.block / 2 : run.block;
    run.outWidth = shape.halveX ? width >> 1 : width;
    run.outHeight = shape.halveY ? planes.pixels.height >> 1 : planes.pixels.height;
    run.blocks = (run.outWidth + run.outBlock - 1) / run.outBlock;
    // The last column that block b reads is (b + 1) * block - 1 + gauss2_maskedAfter.
    run.innerEnd = std::min((width - gauss2_maskedAfter) / run.block, run.outWidth / run.outBlock);
    return run;
}

// One block of memory for everything: the state of all blocks, then the spare rows.
template <class Pixel>
qip_status allocateAndRun(maskedRun<Pixel>* run, unsigned char** block, frame_cleanup* cleanup)
{
    const int64_t stateBytes = run->blocks * run->kernel.stateBytes;
    const int64_t spareColumns = run->blocks * run->outBlock;
    const int64_t bytes = stateBytes + spareColumns * int64_t{sizeof(Pixel) + sizeof(uint8_t)};
    const qip_status status = frame_cleanupAllocClear(cleanup, bytes, block);
    if (status < 0)
        return status;
    run->state = *block;
    run->spareRow = reinterpret_cast<Pixel*>(*block + stateBytes);
    run->spareMask = reinterpret_cast<uint8_t*>(run->spareRow + spareColumns);
    return runSteps(*run);
}

template <class Pixel>
qip_status runFilter(const gauss2_maskedPlanes<Pixel>& planes, const maskedShape& shape,
                     gauss2_maskedKernel<Pixel> gauss2_maskedKernels<Pixel>::*kernel)
{
    if (planes.pixels.width <= 2)
        return QIP_E_FALLBACK;
    qsys_cpuinfo info;
    const qip_status status = qsys_cpuinfo_init(&info);
    if (status < 0)
        return status;
    gauss2_maskedKernels<Pixel> kernels;
    gauss2_maskedKernelsFill(&kernels, &info);
    maskedRun<Pixel> run = describeRun(planes, shape, kernels, kernels.*kernel);
    if (run.outHeight <= 0)
        return shape.pollsBefore ? pollRowsAhead(planes.pixels.height) : QIP_OK;
    frame_cleanup cleanup = {};
    unsigned char* block = nullptr;
    return frame_cleanupEnd(&cleanup, allocateAndRun(&run, &block, &cleanup));
}

} // namespace

template <class Pixel>
qip_status gauss2_fastMaskedHalf(const gauss2_maskedPlanes<Pixel>& planes)
{
    if (!planes.dstMask)
        return QIP_E_FALLBACK;
    return runFilter(planes, {true, true, true, false}, &gauss2_maskedKernels<Pixel>::half);
}

template <class Pixel>
qip_status gauss2_fastMaskedHalfX(const gauss2_maskedPlanes<Pixel>& planes)
{
    return runFilter(planes, {true, false, false, true}, &gauss2_maskedKernels<Pixel>::halfX);
}

template <class Pixel>
qip_status gauss2_fastMaskedHalfY(const gauss2_maskedPlanes<Pixel>& planes)
{
    return runFilter(planes, {false, true, true, true}, &gauss2_maskedKernels<Pixel>::halfY);
}

template <class Pixel>
qip_status gauss2_fastMasked5x5(const gauss2_maskedPlanes<Pixel>& planes)
{
    if (sizeof(Pixel) == 2 && (!planes.dstMask || planes.pixels.height < 5))
        return QIP_E_FALLBACK;
    return runFilter(planes, {false, false, true, false}, &gauss2_maskedKernels<Pixel>::full5x5);
}

template <class Pixel>
qip_status gauss2_fastMasked5x1(const gauss2_maskedPlanes<Pixel>& planes)
{
    return runFilter(planes, {false, false, false, false}, &gauss2_maskedKernels<Pixel>::full5x1);
}

template <class Pixel>
qip_status gauss2_fastMasked1x5(const gauss2_maskedPlanes<Pixel>& planes)
{
    return runFilter(planes, {false, false, true, false}, &gauss2_maskedKernels<Pixel>::full1x5);
}

template qip_status gauss2_fastMaskedHalf(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_fastMaskedHalf(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_fastMaskedHalfX(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_fastMaskedHalfX(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_fastMaskedHalfY(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_fastMaskedHalfY(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_fastMasked5x5(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_fastMasked5x5(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_fastMasked5x1(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_fastMasked5x1(const gauss2_maskedPlanes<uint16_t>&);
template qip_status gauss2_fastMasked1x5(const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_fastMasked1x5(const gauss2_maskedPlanes<uint16_t>&);
