// Choice of path: the names that the inhibition hook is asked with, the fast and the plain function behind each
// name, and the rule between them. The names are irregular; they are what applications know.
#pragma once

#include "frame/fast_path.h"
#include "gauss2/fast.h"
#include "gauss2/fast_masked.h"
#include "gauss2/plain_full.h"
#include "gauss2/plain_half.h"
#include "gauss2/plain_half_along.h"

template <class Planes>
struct gauss2_path {
    const char* name;
    qip_status (*fast)(const Planes&);
    qip_status (*plain)(const Planes&);
};

// Half resolution in one direction has a name of its own, and a fast form that stands for the full-resolution
// filter of that direction together with the copy; its plain form is made of that filter.
template <class Planes>
struct gauss2_alongPath {
    const char* name;
    qip_status (*fused)(const Planes&);
};

template <class Planes>
struct gauss2_paths {
    gauss2_path<Planes> half;
    gauss2_alongPath<Planes> halfX;
    gauss2_alongPath<Planes> halfY;
    gauss2_path<Planes> full5x5;
    gauss2_path<Planes> full5x1;
    gauss2_path<Planes> full1x5;
};

template <class Planes>
inline constexpr gauss2_paths<Planes> gauss2_pathsOf = {};

template <>
inline constexpr gauss2_paths<gauss2_planes<uint8_t>> gauss2_pathsOf<gauss2_planes<uint8_t>> = {
    {"gauss2", gauss2_fastHalf, gauss2_plainHalf},
    {"gauss2X", gauss2_fastHalfX},
    {"gauss2Y", gauss2_fastHalfY},
    {"gauss2NoSample5x5", gauss2_fast5x5, gauss2_plain5x5},
    {"gauss2NoSample5x1", gauss2_fast5x1, gauss2_plain5x1},
    {"gauss2NoSample1x5", gauss2_fast1x5, gauss2_plain1x5},
};

template <>
inline constexpr gauss2_paths<gauss2_planes<uint16_t>> gauss2_pathsOf<gauss2_planes<uint16_t>> = {
    {"gauss2_16", gauss2_fastHalf, gauss2_plainHalf},
    {"gauss2X_16", gauss2_fastHalfX},
    {"gauss2Y_16", gauss2_fastHalfY},
    {"gauss2NoSample5x516", gauss2_fast5x5, gauss2_plain5x5},
    {"gauss2NoSample5x116", gauss2_fast5x1, gauss2_plain5x1},
    {"gauss2NoSample1x516", gauss2_fast1x5, gauss2_plain1x5},
};

template <>
inline constexpr gauss2_paths<gauss2_maskedPlanes<uint8_t>> gauss2_pathsOf<gauss2_maskedPlanes<uint8_t>> = {
    {"gauss2Masked", gauss2_fastMaskedHalf, gauss2_plainHalf},
    {"gauss2XMasked", gauss2_fastMaskedHalfX},
    {"gauss2YMasked", gauss2_fastMaskedHalfY},
    {"gauss2NoSample5x5Mask", gauss2_fastMasked5x5, gauss2_plain5x5},
    {"gauss2NoSample5x1Mask", gauss2_fastMasked5x1, gauss2_plain5x1},
    {"gauss2NoSample1x5Mask", gauss2_fastMasked1x5, gauss2_plain1x5},
};

template <>
inline constexpr gauss2_paths<gauss2_maskedPlanes<uint16_t>> gauss2_pathsOf<gauss2_maskedPlanes<uint16_t>> =
    {
        {"gauss2Masked_16", gauss2_fastMaskedHalf, gauss2_plainHalf},
        {"gauss2XMasked_16", gauss2_fastMaskedHalfX},
        {"gauss2YMasked_16", gauss2_fastMaskedHalfY},
        {"gauss2NoSample5x5Mask16", gauss2_fastMasked5x5, gauss2_plain5x5},
        {"gauss2NoSample5x1Mask16", gauss2_fastMasked5x1, gauss2_plain5x1},
        {"gauss2NoSample1x5Mask16", gauss2_fastMasked1x5, gauss2_plain1x5},
};

// The fast function, and the plain one when that answers a status of the fallback class, wherever that status
// came from. The plain function's status is the result as it stands.
template <class Planes>
qip_status gauss2_runFast(const gauss2_path<Planes>& path, const Planes& planes)
{
    const qip_status status = path.fast(planes);
    return frame_isFallback(status) ? path.plain(planes) : status;
}

template <class Planes>
qip_status gauss2_run(const gauss2_path<Planes>& path, const Planes& planes)
{
    return frame_isInhibited(path.name) ? path.plain(planes) : gauss2_runFast(path, planes);
}

template <gauss2_axis axis, class Planes>
inline constexpr const gauss2_path<Planes>& gauss2_filterAlong =
    axis == gauss2_axis::x ? gauss2_pathsOf<Planes>.full5x1 : gauss2_pathsOf<Planes>.full1x5;

template <gauss2_axis axis, class Planes>
qip_status gauss2_runFastFilterAlong(const Planes& planes)
{
    return gauss2_runFast(gauss2_filterAlong<axis, Planes>, planes);
}

// Half resolution in one direction asks two names in turn: its own, then that of the full-resolution filter. The
// fused form stands for that filter's fast one and declines where that does, so the plain filter is next.
template <gauss2_axis axis, class Planes>
qip_status gauss2_runHalfAlong(const Planes& planes)
{
    const auto& along =
        axis == gauss2_axis::x ? gauss2_pathsOf<Planes>.halfX : gauss2_pathsOf<Planes>.halfY;
    const auto& filter = gauss2_filterAlong<axis, Planes>;
    const bool mayFuse = !frame_isInhibited(along.name);
    if (frame_isInhibited(filter.name))
        return gauss2_plainHalfAlong(axis, planes, filter.plain);
    if (!mayFuse)
        return gauss2_plainHalfAlong(axis, planes, gauss2_runFastFilterAlong<axis, Planes>);
    const qip_status status = along.fused(planes);
    return frame_isFallback(status) ? gauss2_plainHalfAlong(axis, planes, filter.plain) : status;
}

// Half resolution in the directions sampled, at least one.
template <class Planes>
qip_status gauss2_runHalf(bool halveX, bool halveY, const Planes& planes)
{
    if (halveX && halveY)
        return gauss2_run(gauss2_pathsOf<Planes>.half, planes);
    return halveX ? gauss2_runHalfAlong<gauss2_axis::x>(planes)
                  : gauss2_runHalfAlong<gauss2_axis::y>(planes);
}
