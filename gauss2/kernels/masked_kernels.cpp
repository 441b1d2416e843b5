// The masked kernels for any processor, one column after the other, and the choice of a level.
#include "gauss2/kernels/masked_kernels.h"

#include "frame/level.h"
#include "gauss2/kernels/masked_rows.h"

namespace
{

constexpr int blockColumns = 16;

// Values of a row, value(row, column), summed along it.
template <along columns, class Value>
uint32_t sumColumns(const Value& value, int row, int64_t x)
{
    if constexpr (columns == along::nothing)
        return value(row, x);
    return value(row, x - 2) + 4 * (value(row, x - 1) + value(row, x + 1)) + 6 * value(row, x) +
           value(row, x + 2);
}

// N and W fit: N + (W >> 1) <= 256 * 255 * 65535 + 32640 < 2^32. A column keeps the sums of N, then those of W.
template <class Pixel, along columns, along rows>
void runPiece(const gauss2_maskedPiece<Pixel>& piece)
{
    constexpr int distance = columns == along::sampled ? 2 : 1;
    constexpr int shift = columns == along::nothing || rows == along::nothing ? 4 : 8;
    auto* kept = reinterpret_cast<uint32_t*>(piece.state);
    for (int64_t out = 0; out < piece.blocks * blockColumns / distance; ++out, kept += 2 * keptSums(rows)) {
        uint32_t n[rowsOut(rows)] = {};
        uint32_t w[rowsOut(rows)] = {};
        const auto product = [&](int row, int64_t x) {
            return uint32_t{piece.mask[row][x]} * piece.src[row][x];
        };
        const auto weight = [&](int row, int64_t x) {
            return uint32_t{piece.mask[row][x]};
        };
        sumRows<rows>(
            kept, [&](int row) { return sumColumns<columns>(product, row, out * distance); }, n);
        sumRows<rows>(
            kept + keptSums(rows),
            [&](int row) { return sumColumns<columns>(weight, row, out * distance); }, w);
        for (int i = 0; i < rowsOut(rows); ++i) {
            piece.dst[i][out] = static_cast<Pixel>(w[i] == 0 ? 0 : (n[i] + (w[i] >> 1)) / w[i]);
            piece.dstMask[i][out] = static_cast<uint8_t>((w[i] + (1u << shift >> 1)) >> shift);
        }
    }
}

template <class Pixel, along columns, along rows>
void runStep(const gauss2_maskedStep<Pixel>* step)
{
    for (int i = 0; i < step->pieceCount; ++i)
        runPiece<Pixel, columns, rows>(step->pieces[i]);
}

template <class Pixel, along columns, along rows>
constexpr gauss2_maskedKernel<Pixel> kernelOf()
{
    constexpr int outColumns = columns == along::sampled ? blockColumns / 2 : blockColumns;
    return {runStep<Pixel, columns, rows>, int64_t{outColumns * 2 * keptSums(rows) * sizeof(uint32_t)}};
}

template <class Pixel>
void fillKernels(gauss2_maskedKernels<Pixel>* kernels)
{
    kernels->block = blockColumns;
    kernels->half = kernelOf<Pixel, along::sampled, along::sampled>();
    kernels->halfX = kernelOf<Pixel, along::sampled, along::nothing>();
    kernels->halfY = kernelOf<Pixel, along::nothing, along::sampled>();
    kernels->full5x5 = kernelOf<Pixel, along::all, along::all>();
    kernels->full5x1 = kernelOf<Pixel, along::all, along::nothing>();
    kernels->full1x5 = kernelOf<Pixel, along::nothing, along::all>();
}

} // namespace

void gauss2_maskedKernelsPlain(gauss2_maskedKernels<uint8_t>* kernels)
{
    fillKernels(kernels);
}

void gauss2_maskedKernelsPlain(gauss2_maskedKernels<uint16_t>* kernels)
{
    fillKernels(kernels);
}

template <class Pixel>
void gauss2_maskedKernelsFill(gauss2_maskedKernels<Pixel>* kernels, const qsys_cpuinfo* info)
{
    switch (frame_levelFor<Pixel>(info)) {
    case frame_level::portable:
        return gauss2_maskedKernelsPlain(kernels);
    case frame_level::vector128:
        return gauss2_maskedKernelsSse41(kernels);
    case frame_level::vector256:
        return gauss2_maskedKernelsAvx2(kernels);
    }
}

template void gauss2_maskedKernelsFill(gauss2_maskedKernels<uint8_t>*, const qsys_cpuinfo*);
template void gauss2_maskedKernelsFill(gauss2_maskedKernels<uint16_t>*, const qsys_cpuinfo*);
