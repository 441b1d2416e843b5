// Choice of path: the names by which the inhibition hook is asked, and what runs after its answers.
#pragma once

#include "frame/fast_path.h"
#include "gauss2/fast.h"
#include "gauss2/plain.h"
#include "gauss2/through_full.h"

struct gauss2_names {
    gauss2_filter filter;
    const char* names[2][2]; // [masked][pixels of 16 bits]
};

// The names are irregular; they are what applications know.
// clang-format off
inline constexpr gauss2_names gauss2_nameTable[] = {
    {gauss2_half,    {{"gauss2",                "gauss2_16"},
                      {"gauss2Masked",          "gauss2Masked_16"}}},
    {gauss2_halfX,   {{"gauss2X",               "gauss2X_16"},
                      {"gauss2XMasked",         "gauss2XMasked_16"}}},
    {gauss2_halfY,   {{"gauss2Y",               "gauss2Y_16"},
                      {"gauss2YMasked",         "gauss2YMasked_16"}}},
    {gauss2_full5x5, {{"gauss2NoSample5x5",     "gauss2NoSample5x516"},
                      {"gauss2NoSample5x5Mask", "gauss2NoSample5x5Mask16"}}},
    {gauss2_full5x1, {{"gauss2NoSample5x1",     "gauss2NoSample5x116"},
                      {"gauss2NoSample5x1Mask", "gauss2NoSample5x1Mask16"}}},
    {gauss2_full1x5, {{"gauss2NoSample1x5",     "gauss2NoSample1x516"},
                      {"gauss2NoSample1x5Mask", "gauss2NoSample1x5Mask16"}}},
};
// clang-format on

// Asks the inhibition hook about a filter.
template <class Planes>
bool gauss2_isInhibited(gauss2_filter filter)
{
    const gauss2_names* row = gauss2_nameTable;
    while (row->filter.x != filter.x || row->filter.y != filter.y)
        ++row;
    return frame_isInhibited(row->names[Planes::masked][sizeof(typename Planes::Pixel) == 2]);
}

// The fast filter; and when its status belongs to the fallback class, wherever it came from, the plain one.
// The plain filter's status is the result as it stands.
template <class Planes>
qip_status gauss2_fastOrPlain(gauss2_filter filter, const Planes& planes)
{
    const qip_status status = gauss2_fast(filter, planes);
    return frame_isFallback(status) ? gauss2_plain(filter, planes) : status;
}

// Runs any of the six filters. Half resolution in one direction asks two names: its own, then that of the
// filter of that direction at full resolution.
//
//     its own      the other
//     allowed      allowed      the fast filter
//     inhibited    allowed      every second column or row of the fast filter at full resolution
//     either       inhibited    the plain filter
template <class Planes>
qip_status gauss2_run(gauss2_filter filter, const Planes& planes)
{
    const bool inhibited = gauss2_isInhibited<Planes>(filter);
    const bool asksTwo = gauss2_halvesOneDirection(filter);
    if (!asksTwo)
        return inhibited ? gauss2_plain(filter, planes) : gauss2_fastOrPlain(filter, planes);
    if (gauss2_isInhibited<Planes>(gauss2_unsampled(filter)))
        return gauss2_plain(filter, planes);
    return inhibited ? gauss2_halfThroughFull(filter, planes, gauss2_fastOrPlain<Planes>)
                     : gauss2_fastOrPlain(filter, planes);
}
