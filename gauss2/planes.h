// What the filters of this family work on: pixels, strides and the source's size, nothing else. The
// destination's size follows from the filter.
#pragma once

#include <cstdint>
#include <type_traits>

template <class PixelType> // uint8_t or uint16_t
struct gauss2_planes {
    using Pixel = PixelType;
    static constexpr bool masked = false;

    int32_t width; // of the source
    int32_t height;
    const Pixel* src;
    int64_t srcStride; // bytes, may be negative
    Pixel* dst;
    int64_t dstStride;
};

// The same with a source mask, and a destination mask that may be absent.
template <class PixelType>
struct gauss2_maskedPlanes {
    using Pixel = PixelType;
    static constexpr bool masked = true;

    gauss2_planes<Pixel> pixels;
    const uint8_t* mask;
    int64_t maskStride;
    uint8_t* dstMask; // null when absent
    int64_t dstMaskStride;
};

// The pixels of planes, whether masked or not, const or not.
template <class Planes>
auto& gauss2_pixelsOf(Planes& planes)
{
    if constexpr (Planes::masked)
        return planes.pixels;
    else
        return planes;
}

// One plane of pixels or of a mask.
template <class Pixel>
struct gauss2_plane {
    Pixel* first;
    int64_t stride; // bytes
};

// Row y of a plane.
template <class Pixel>
inline Pixel* gauss2_row(Pixel* first, int64_t stride, int64_t y)
{
    using Byte = std::conditional_t<std::is_const_v<Pixel>, const unsigned char, unsigned char>;
    return reinterpret_cast<Pixel*>(reinterpret_cast<Byte*>(first) + y * stride);
}
