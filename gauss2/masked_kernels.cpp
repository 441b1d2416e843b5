// The masked kernels for any processor, one column after the other, and the choice of a level.
#include "gauss2/masked_kernels.h"

#include "frame/cpu.h"
#include "gauss2/masked_rows.h"

namespace
{

constexpr int blockColumns = 16;

// N and W. Both fit: N + (W >> 1) <= 256 * 255 * 65535 + 32640 < 2^32.
struct weightedSum {
    uint32_t n;
    uint32_t w;
};

inline weightedSum operator+(const weightedSum& a, const weightedSum& b)
{
    return {a.n + b.n, a.w + b.w};
}

inline weightedSum quadruple(const weightedSum& a)
{
    return {4 * a.n, 4 * a.w};
}

template <class Pixel>
weightedSum weighted(const Pixel* src, const uint8_t* mask, int64_t column)
{
    return {uint32_t{mask[column]} * src[column], mask[column]};
}

template <class Pixel, along columns>
weightedSum sumColumns(const Pixel* src, const uint8_t* mask, int64_t column)
{
    const weightedSum centre = weighted(src, mask, column);
    if constexpr (columns == along::nothing)
        return centre;
    const weightedSum beside = weighted(src, mask, column - 1) + centre + weighted(src, mask, column + 1);
    return weighted(src, mask, column - 2) + quadruple(beside) + (centre + centre) +
           weighted(src, mask, column + 2);
}

template <class Pixel, along columns, along rows>
void runStep(const gauss2_maskedStep<Pixel>* step)
{
    constexpr int distance = columns == along::sampled ? 2 : 1;
    constexpr int shift = columns == along::nothing || rows == along::nothing ? 4 : 8;
    auto* kept = reinterpret_cast<weightedSum*>(step->state);
    for (int64_t out = 0; out < step->blocks * blockColumns / distance; ++out, kept += keptSums(rows)) {
        weightedSum fresh[2];
        for (int i = 0; i < 2; ++i)
            fresh[i] = sumColumns<Pixel, columns>(step->src[i], step->mask[i], out * distance);
        weightedSum sums[2];
        sumRows<rows>(kept, fresh[0], fresh[1], sums);
        for (int i = 0; i < rowsOut(rows); ++i) {
            const auto [n, w] = sums[i];
            step->dst[i][out] = static_cast<Pixel>(w == 0 ? 0 : (n + (w >> 1)) / w);
            step->dstMask[i][out] = static_cast<uint8_t>((w + (1u << shift >> 1)) >> shift);
        }
    }
}

template <class Pixel, along columns, along rows>
constexpr gauss2_maskedKernel<Pixel> kernelOf()
{
    constexpr int outColumns = columns == along::sampled ? blockColumns / 2 : blockColumns;
    return {runStep<Pixel, columns, rows>, int64_t{outColumns * keptSums(rows) * sizeof(weightedSum)}};
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
    constexpr uint32_t bit =
        sizeof(Pixel) == 1 ? QSYS_CPU_BIT_VECTOR128_BYTES : QSYS_CPU_BIT_VECTOR128_WORDS;
    gauss2_maskedKernelsPlain(kernels);
    if (!frame_cpuHas(info, bit))
        return;
    gauss2_maskedKernelsSse41(kernels);
    if (!frame_cpuHas(info, bit | QSYS_CPU_BIT_VECTOR256))
        return;
    gauss2_maskedKernelsAvx2(kernels);
}

template void gauss2_maskedKernelsFill(gauss2_maskedKernels<uint8_t>*, const qsys_cpuinfo*);
template void gauss2_maskedKernelsFill(gauss2_maskedKernels<uint16_t>*, const qsys_cpuinfo*);
