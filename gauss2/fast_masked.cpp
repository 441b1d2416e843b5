// The drivers of the fast masked filters: which rows and columns a kernel sees, borders, polls and memory. One
// text for all filters and both depths.
//
// Kernels work on whole blocks of columns and read a few columns beside them. Blocks that lie inside the row
// with those columns are handed over as they lie; the first block and the last ones, or all blocks of a narrow
// image, are copied to where the border is repeated beside them, so that nothing outside a row is touched.
#include "gauss2/fast.h"

#include "frame/cleanup.h"
#include "gauss2/kernels/masked_kernels.h"

#include <qbase/attention.h>

#include <algorithm>
#include <cstring>

namespace
{

// What tells the filters apart.
struct maskedShape {
    bool halveX;
    bool halveY;
    bool sumsRows;    // the kernel is behind its input
    bool pollsBefore; // all polls come before the first pixel
};

constexpr int pollRows = 64;

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

// An end of a row with the border beside it.
constexpr int startColumns = gauss2_maskedMostBlock + gauss2_maskedAfter;
constexpr int endColumns =
    gauss2_maskedBefore + startColumns;       // from before the first block that is not inside
constexpr int repeatedColumns = startColumns; // the last block is filled up, and a little more is read
constexpr int narrowWidth = endColumns - 1;   // at most
constexpr int copyColumns = gauss2_maskedBefore + endColumns + repeatedColumns;
constexpr int lastColumns = 2 * gauss2_maskedMostBlock; // that the last blocks put out, at most

template <class Pixel>
struct rowsCopy {
    Pixel src[gauss2_maskedRows][copyColumns];
    uint8_t mask[gauss2_maskedRows][copyColumns];
};

template <class Pixel>
struct outputCopy {
    Pixel dst[gauss2_maskedRows][lastColumns];
    uint8_t mask[gauss2_maskedRows][lastColumns];
};

// The copies of both ends have a size that the compiler knows: they are made for every row.
template <class Value>
void copyStart(const Value* row, Value* to)
{
    std::fill_n(to, gauss2_maskedBefore, row[0]);
    std::memcpy(to + gauss2_maskedBefore, row, startColumns * sizeof(Value));
}

template <class Value>
void copyEnd(const Value* row, int64_t width, Value* to)
{
    std::memcpy(to, row + (width - endColumns), endColumns * sizeof(Value));
    std::fill_n(to + endColumns, repeatedColumns, row[width - 1]);
}

template <class Value>
void copyNarrow(const Value* row, int64_t width, Value* to)
{
    std::fill_n(to, gauss2_maskedBefore, row[0]);
    Value* const end = std::copy_n(row, width, to + gauss2_maskedBefore);
    std::fill_n(end, repeatedColumns, row[width - 1]);
}

// The blocks from `first` on, as they lie.
template <class Pixel>
gauss2_maskedPiece<Pixel> pieceOf(const maskedRun<Pixel>& run, const gauss2_maskedPiece<Pixel>& rows,
                                  int64_t first, int64_t blocks)
{
    gauss2_maskedPiece<Pixel> piece = rows;
    piece.blocks = blocks;
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        piece.src[i] += first * run.block;
        piece.mask[i] += first * run.block;
        piece.dst[i] += first * run.outBlock;
        piece.dstMask[i] += first * run.outBlock;
    }
    piece.state += first * run.kernel.stateBytes;
    return piece;
}

// The same blocks out of a copy, in which the piece begins at `column`.
template <class Pixel>
void takeFrom(const rowsCopy<Pixel>& copy, int64_t column, gauss2_maskedPiece<Pixel>* piece)
{
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        piece->src[i] = copy.src[i] + column;
        piece->mask[i] = copy.mask[i] + column;
    }
}

int64_t clamped(int64_t index, int64_t count)
{
    return std::clamp<int64_t>(index, 0, count - 1);
}

// Output rows of a step.
int64_t outRows(const maskedShape& shape)
{
    return shape.halveY ? gauss2_maskedRows / 2 : gauss2_maskedRows;
}

template <class Pixel>
gauss2_maskedPiece<Pixel> rowsOfStep(const maskedRun<Pixel>& run, int64_t index)
{
    const gauss2_maskedPlanes<Pixel>& planes = *run.planes;
    const int64_t ahead = run.shape.halveY ? 1 : run.shape.sumsRows ? 2 : 0;
    gauss2_maskedPiece<Pixel> rows;
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        const int64_t row = clamped(gauss2_maskedRows * index + ahead + i, planes.pixels.height);
        rows.src[i] = gauss2_row(planes.pixels.src, planes.pixels.srcStride, row);
        rows.mask[i] = gauss2_row(planes.mask, planes.maskStride, row);
        const int64_t out = outRows(run.shape) * index + i;
        const bool inside = i < outRows(run.shape) && out >= 0 && out < run.outHeight;
        rows.dst[i] = inside ? gauss2_row(planes.pixels.dst, planes.pixels.dstStride, out) : run.spareRow;
        rows.dstMask[i] = inside && planes.dstMask ? gauss2_row(planes.dstMask, planes.dstMaskStride, out)
                                                   : run.spareMask;
    }
    rows.state = run.state;
    rows.blocks = run.blocks;
    return rows;
}

// Describes the blocks of a row: those inside it first, so that vectors that straddle what was just copied
// need not wait for it. The last piece is the one with the end of the row.
template <class Pixel>
void describeStep(const maskedRun<Pixel>& run, const gauss2_maskedPiece<Pixel>& rows,
                  rowsCopy<Pixel>* copies, gauss2_maskedStep<Pixel>* step)
{
    const int64_t width = run.planes->pixels.width;
    if (width <= narrowWidth) {
        for (int i = 0; i < gauss2_maskedRows; ++i) {
            copyNarrow(rows.src[i], width, copies[0].src[i]);
            copyNarrow(rows.mask[i], width, copies[0].mask[i]);
        }
        step->pieceCount = 1;
        step->pieces[0] = rows;
        takeFrom(copies[0], gauss2_maskedBefore, &step->pieces[0]);
        return;
    }
    for (int i = 0; i < gauss2_maskedRows; ++i) {
        copyStart(rows.src[i], copies[0].src[i]);
        copyStart(rows.mask[i], copies[0].mask[i]);
        copyEnd(rows.src[i], width, copies[1].src[i]);
        copyEnd(rows.mask[i], width, copies[1].mask[i]);
    }
    step->pieceCount = 3;
    step->pieces[0] = pieceOf(run, rows, 1, run.innerEnd - 1);
    step->pieces[1] = pieceOf(run, rows, 0, 1);
    takeFrom(copies[0], gauss2_maskedBefore, &step->pieces[1]);
    step->pieces[2] = pieceOf(run, rows, run.innerEnd, run.blocks - run.innerEnd);
    takeFrom(copies[1], run.innerEnd * run.block - (width - endColumns), &step->pieces[2]);
}

template <class Pixel>
void runStep(const maskedRun<Pixel>& run, int64_t index)
{
    const gauss2_maskedPiece<Pixel> rows = rowsOfStep(run, index);
    rowsCopy<Pixel> copies[2];
    gauss2_maskedStep<Pixel> step;
    describeStep(run, rows, copies, &step);
    gauss2_maskedPiece<Pixel>* const last = &step.pieces[step.pieceCount - 1];
    const gauss2_maskedPiece<Pixel> lastRows = *last;
    const int64_t lastWidth = run.outWidth - (run.blocks - last->blocks) * run.outBlock;
    const bool overhangs = lastWidth < last->blocks * run.outBlock;
    outputCopy<Pixel> copy;
    for (int i = 0; overhangs && i < gauss2_maskedRows; ++i) {
        last->dst[i] = copy.dst[i];
        last->dstMask[i] = copy.mask[i];
    }
    run.kernel.run(&step);
    for (int i = 0; overhangs && i < outRows(run.shape); ++i) {
        std::copy_n(copy.dst[i], lastWidth, lastRows.dst[i]);
        std::copy_n(copy.mask[i], lastWidth, lastRows.dstMask[i]);
    }
}

qip_status pollRowsAhead(int64_t height)
{
    qip_status status = QIP_OK;
    for (int64_t row = 0; row < height && status >= 0; row += pollRows)
        status = qsys_attention_check();
    return status < 0 ? status : QIP_OK;
}

// All steps, the first one of a filter that sums over rows only for what it keeps of the rows above.
template <class Pixel>
qip_status runSteps(const maskedRun<Pixel>& run)
{
    const int64_t steps = (run.outHeight + outRows(run.shape) - 1) / outRows(run.shape);
    if (run.shape.pollsBefore) {
        const qip_status status = pollRowsAhead(run.planes->pixels.height);
        if (status < 0)
            return status;
    }
    for (int64_t index = run.shape.sumsRows ? -1 : 0; index < steps; ++index) {
        if (!run.shape.pollsBefore && index >= 0 && index % (pollRows / gauss2_maskedRows) == 0) {
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

template <class Pixel>
qip_status runMasked(gauss2_filter filter, const gauss2_maskedPlanes<Pixel>& planes)
{
    using kernels = gauss2_maskedKernels<Pixel>;
    const bool hasY = filter.y != gauss2_along::nothing;
    const maskedShape shape = {gauss2_stepOf(filter.x) == 2, gauss2_stepOf(filter.y) == 2, hasY,
                               gauss2_pollsFirst(filter)};
    if (filter.x == gauss2_along::nothing)
        return runFilter(planes, shape, shape.halveY ? &kernels::halfY : &kernels::full1x5);
    if (!hasY)
        return runFilter(planes, shape, shape.halveX ? &kernels::halfX : &kernels::full5x1);
    if (shape.halveX)
        return planes.dstMask ? runFilter(planes, shape, &kernels::half) : QIP_E_FALLBACK;
    if (sizeof(Pixel) == 2 && (!planes.dstMask || planes.pixels.height < 5))
        return QIP_E_FALLBACK;
    return runFilter(planes, shape, &kernels::full5x5);
}

} // namespace

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_maskedPlanes<uint8_t>& planes, int64_t)
{
    return runMasked(filter, planes);
}

template <>
qip_status gauss2_fast(gauss2_filter filter, const gauss2_maskedPlanes<uint16_t>& planes, int64_t)
{
    return runMasked(filter, planes);
}
