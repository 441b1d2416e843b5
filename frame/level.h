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

// Which of the two higher levels this build has, and what a processor has to report for the 128-bit one: on x86
// feature bit 3 stands for 128-bit instructions on 8-bit pixels, bit 8 for those on 16-bit pixels. The build
// leaves out the files of the other levels, and those of what no level of it runs.
#if defined(__x86_64__)

inline constexpr bool frame_has128 = true;
inline constexpr bool frame_has256 = true;

template <class Pixel>
bool frame_runs128(const qsys_cpuinfo* info)
{
    return frame_cpuHas(info,
                        sizeof(Pixel) == 1 ? QSYS_CPU_BIT_VECTOR128_BYTES : QSYS_CPU_BIT_VECTOR128_WORDS);
}

#elif defined(__aarch64__)

inline constexpr bool frame_has128 = true;
inline constexpr bool frame_has256 = false;

template <class Pixel>
bool frame_runs128(const qsys_cpuinfo* info)
{
    return info->processorClass == QSYS_CPU_CLASS_ARM && (info->features & QSYS_CPU_BIT_NEON);
}

#else

inline constexpr bool frame_has128 = false;
inline constexpr bool frame_has256 = false;

template <class Pixel>
bool frame_runs128(const qsys_cpuinfo*)
{
    return false;
}

#endif

// The highest level that a processor may run for pixels of this type.
template <class Pixel>
frame_level frame_levelFor(const qsys_cpuinfo* info)
{
    if (!frame_runs128<Pixel>(info))
        return frame_level::portable;
    return frame_has256 && frame_cpuHas(info, QSYS_CPU_BIT_VECTOR256) ? frame_level::vector256
                                                                      : frame_level::vector128;
}
