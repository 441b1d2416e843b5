// Choice of path: the names that the inhibition hook is asked with, and the rule between the fast filter and the
// plain one. The names are irregular; they are what applications know.
#pragma once

#include "frame/fast_path.h"
#include "gauss2/fast.h"
#include "gauss2/plain_full.h"
#include "gauss2/plain_half.h"
#include "gauss2/plain_half_along.h"

// The names of the filters for one kind of planes.
struct gauss2_names {
    const char* half;
    const char* halfX;
    const char* halfY;
    const char* full5x5;
    const char* full5x1;
    const char* full1x5;
};

template <class Planes>
inline constexpr gauss2_names gauss2_namesOf = {};

template <>
inline constexpr gauss2_names gauss2_namesOf<gauss2_planes<uint8_t>> = {
    "gauss2", "gauss2X", "gauss2Y", "gauss2NoSample5x5", "gauss2NoSample5x1", "gauss2NoSample1x5"};

template <>
inline constexpr gauss2_names gauss2_namesOf<gauss2_planes<uint16_t>> = {
    "gauss2_16",           "gauss2X_16",          "gauss2Y_16",
    "gauss2NoSample5x516", "gauss2NoSample5x116", "gauss2NoSample1x516"};

template <>
inline constexpr gauss2_names gauss2_namesOf<gauss2_maskedPlanes<uint8_t>> = {
    "gauss2Masked",          "gauss2XMasked",         "gauss2YMasked",
    "gauss2NoSample5x5Mask", "gauss2NoSample5x1Mask", "gauss2NoSample1x5Mask"};

template <>
inline constexpr gauss2_names gauss2_namesOf<gauss2_maskedPlanes<uint16_t>> = {
    "gauss2Masked_16",         "gauss2XMasked_16",        "gauss2YMasked_16",
    "gauss2NoSample5x5Mask16", "gauss2NoSample5x1Mask16", "gauss2NoSample1x5Mask16"};

// A filter with its name and its plain form.
template <class Planes>
struct gauss2_path {
    const char* name;
    gauss2_filter filter;
    qip_status (*plain)(const Planes&);
};

template <class Planes>
inline constexpr gauss2_path<Planes> gauss2_pathHalf = {gauss2_namesOf<Planes>.half, gauss2_half,
                                                        gauss2_plainHalf<Planes>};
template <class Planes>
inline constexpr gauss2_path<Planes> gauss2_path5x5 = {gauss2_namesOf<Planes>.full5x5, gauss2_full5x5,
                                                       gauss2_plain5x5<Planes>};
template <class Planes>
inline constexpr gauss2_path<Planes> gauss2_path5x1 = {gauss2_namesOf<Planes>.full5x1, gauss2_full5x1,
                                                       gauss2_plain5x1<Planes>};
template <class Planes>
inline constexpr gauss2_path<Planes> gauss2_path1x5 = {gauss2_namesOf<Planes>.full1x5, gauss2_full1x5,
                                                       gauss2_plain1x5<Planes>};

// The fast filter, and the plain one when that answers a status of the fallback class, wherever that status
// came from. The plain filter's status is the result as it stands.
template <class Planes>
qip_status gauss2_runFast(const gauss2_path<Planes>& path, const Planes& planes)
{
    const qip_status status = gauss2_fast(path.filter, planes);
    return frame_isFallback(status) ? path.plain(planes) : status;
}

template <class Planes>
qip_status gauss2_run(const gauss2_path<Planes>& path, const Planes& planes)
{
    return frame_isInhibited(path.name) ? path.plain(planes) : gauss2_runFast(path, planes);
}

template <class Planes>
qip_status gauss2_runFast5x1(const Planes& planes)
{
    return gauss2_runFast(gauss2_path5x1<Planes>, planes);
}

template <class Planes>
qip_status gauss2_runFast1x5(const Planes& planes)
{
    return gauss2_runFast(gauss2_path1x5<Planes>, planes);
}

// Half resolution in one direction asks two names in turn: its own, then that of the full-resolution filter. Its
// fast filter stands for that filter's fast one and declines where that does, so the plain filter is next.
template <class Planes>
qip_status gauss2_runHalfAlong(gauss2_filter half, const Planes& planes)
{
    const bool isX = half.x == gauss2_along::sampled;
    const gauss2_names& names = gauss2_namesOf<Planes>;
    const auto& full = isX ? gauss2_path5x1<Planes> : gauss2_path1x5<Planes>;
    const bool mayFuse = !frame_isInhibited(isX ? names.halfX : names.halfY);
    const auto axis = isX ? gauss2_axis::x : gauss2_axis::y;
    if (frame_isInhibited(full.name))
        return gauss2_plainHalfAlong(axis, planes, full.plain);
    if (!mayFuse)
        return gauss2_plainHalfAlong(axis, planes,
                                     isX ? gauss2_runFast5x1<Planes> : gauss2_runFast1x5<Planes>);
    const qip_status status = gauss2_fast(half, planes);
    return frame_isFallback(status) ? gauss2_plainHalfAlong(axis, planes, full.plain) : status;
}

// Half resolution in the directions sampled, at least one.
template <class Planes>
qip_status gauss2_runHalf(bool halveX, bool halveY, const Planes& planes)
{
    if (halveX && halveY)
        return gauss2_run(gauss2_pathHalf<Planes>, planes);
    return gauss2_runHalfAlong(halveX ? gauss2_halfX : gauss2_halfY, planes);
}
