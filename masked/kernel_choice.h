// The choice of the kernels for a plan.
#pragma once

#include "frame/fast_path.h"
#include "frame/level.h"
#include "masked/kernels/kernels.h"
#include "masked/prepared_rows.h"

inline frame_level masked_levelFor(const masked_plan* plan, const qsys_cpuinfo* info)
{
    return plan->srcIsWide ? frame_levelFor<uint16_t>(info) : frame_levelFor<uint8_t>(info);
}

// Null at the portable level.
inline const masked_kernels* masked_kernelsAt(frame_level level)
{
    if constexpr (frame_has256)
        if (level == frame_level::vector256)
            return &masked_kernels256;
    return level == frame_level::portable ? nullptr : &masked_kernels128;
}

// `name` is that by which the application may forbid the kernel.
template <class Src>
masked_prepareKernel<Src> masked_prepareKernelOf(const masked_kernels* kernels, const char* name)
{
    if (frame_isInhibited(name))
        return kernels->boxes->down8.blockColumns == 32 ? masked_prepareRowPlainly<Src, 32>
                                                        : masked_prepareRowPlainly<Src, 16>;
    if constexpr (sizeof(Src) == 1)
        return kernels->prepare8;
    else
        return kernels->prepare16;
}
