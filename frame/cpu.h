// The one way in which the library asks what a processor may execute.
#pragma once

#include <qbase/cpuinfo.h>

// Whether the record reports all of `bits` on a processor of a class whose feature bits have the meaning of
// qbase/cpuinfo.h: class 1 or 5.
inline bool frame_cpuHas(const qsys_cpuinfo* info, uint32_t bits)
{
    return (info->processorClass == 1 || info->processorClass == 5) && (info->features & bits) == bits;
}
