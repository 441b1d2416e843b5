// What the filters of this family work on: pixels, strides and the source's size, nothing else. The
// destination's size follows from the filter.
#pragma once

#include <cstdint>
#include <type_traits>

template <class Pixel> // uint8_t or uint16_t
struct gauss2_planes {
    int32_t width; // of the source
    int32_t height;
    const Pixel* src;
    int64_t srcStride; // bytes, may be negative
    Pixel* dst;
    int64_t dstStride;
};

// The same with a source mask, and a destination mask that may be absent.
template <class Pixel>
struct gauss2_maskedPlanes {
    gauss2_planes<Pixel> pixels;
    const uint8_t* mask;
    int64_t maskStride;
    uint8_t* dstMask; // null when absent
    int64_t dstMaskStride;
};

// Row y of a plane.
template <class Pixel>
inline Pixel* gauss2_row(Pixel* first, int64_t stride, int64_t y)
{
    using Byte = std::conditional_t<std::is_const_v<Pixel>, const unsigned char, unsigned char>;
    return reinterpret_cast<Pixel*>(reinterpret_cast<Byte*>(first) + y * stride);
}

// What a template on either kind of planes asks of it.
template <class Planes>
struct gauss2_kind;

template <class PixelType>
struct gauss2_kind<gauss2_planes<PixelType>> {
    using Pixel = PixelType;
    static constexpr bool masked = false;
};

template <class PixelType>
struct gauss2_kind<gauss2_maskedPlanes<PixelType>> {
    using Pixel = PixelType;
    static constexpr bool masked = true;
};

// The pixels' part of either kind, const or not.
template <class Planes>
auto& gauss2_pixelsOf(Planes& planes)
{
    if constexpr (gauss2_kind<std::remove_const_t<Planes>>::masked)
        return planes.pixels;
    else
        return planes;
}
