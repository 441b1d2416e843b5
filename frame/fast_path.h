// The two rules that every operation with a fast path follows: the application may forbid optimised code by
// name, and a status of the fallback class means that the definition runs instead (the reference path, or a
// plain filter).
#pragma once

#include <qip/status.h>

#include <qbase/inhibit.h>

// Whether the application forbids optimised code for the routine of this name.
inline bool frame_isInhibited(const char* name)
{
    int (*const inhibited)(const char*) = qprt_isOptimizationInhibitedFP;
    return inhibited && inhibited(name) != 0;
}

// Whether a status belongs to the fallback class. Only the low 16 bits are looked at, so a status of a base
// service, even a positive one, can belong to it: required behaviour.
inline bool frame_isFallback(qip_status status)
{
    return (static_cast<uint32_t>(status) & 0xffe0u) == 0x0600u;
}
