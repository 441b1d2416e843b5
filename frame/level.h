// The three processor levels, lowest first, and the choice among them for every family: the portable level,
// which any processor runs, the 128-bit level and the 256-bit level.
#pragma once

#include <qbase/cpuinfo.h>

// Whether the record reports all of `bits` on a processor of a class whose feature bits have the meaning of
// qbase/cpuinfo.h: class 1 or 5.
inline bool frame_cpuHas(const qsys_cpuinfo* info, uint32_t bits)
{
    return (info->processorClass == 1 || info->processorClass == 5) && (info->features & bits) == bits;
}

enum class frame_level { portable, vector128, vector256 };

// Whether this build has the two higher levels. The build leaves their files out for other processors.
#if defined(__x86_64__)
inline constexpr bool frame_hasVectors = true;
#else
inline constexpr bool frame_hasVectors = false;
#endif

// The highest level that a processor may run for pixels of this type. Feature bit 3 stands for 128-bit
// instructions on 8-bit pixels, bit 8 for those on 16-bit pixels.
template <class Pixel>
frame_level frame_levelFor(const qsys_cpuinfo* info)
{
    constexpr uint32_t vector128 =
        sizeof(Pixel) == 1 ? QSYS_CPU_BIT_VECTOR128_BYTES : QSYS_CPU_BIT_VECTOR128_WORDS;
    if (!frame_hasVectors || !frame_cpuHas(info, vector128))
        return frame_level::portable;
    return frame_cpuHas(info, QSYS_CPU_BIT_VECTOR256) ? frame_level::vector256 : frame_level::vector128;
}
