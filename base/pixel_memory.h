// How pixels lie in memory: the strides of the blocks made here, the address of a pixel, and whether a
// window has the memory that it speaks of.
#pragma once

#include <cstdint>
#include <limits>

constexpr int64_t base_rowAlignment = 64;

// Rows at such distances share a few sets of the first-level cache: the pixels of a column drive each other
// out of it, and a filter that works on ten or twenty rows waits for memory.
constexpr int64_t base_crowdedStride = 2048;

// The layout of a block whose rows begin on 64-byte boundaries, and not at multiples of a crowded stride.
struct base_pixelLayout {
    int32_t stride;
    int64_t size; // of all rows, in bytes
};

// False when the stride does not fit its 32 bits. The sizes are not negative, so that everything here
// stays below 2^62.
inline bool base_pixelLayout_init(base_pixelLayout* layout, int32_t pixelSize, int32_t width,
                                  int32_t height)
{
    const int64_t rowSize = int64_t{width} * pixelSize;
    int64_t stride = (rowSize + base_rowAlignment - 1) / base_rowAlignment * base_rowAlignment;
    if (stride > 0 && stride % base_crowdedStride == 0)
        stride += base_rowAlignment;
    if (stride > std::numeric_limits<int32_t>::max())
        return false;
    *layout = {static_cast<int32_t>(stride), stride * height};
    return true;
}

// The address `rows` rows below and `columns` pixels right of a pixel. It is computed modulo 2^64, because
// it may be asked for a position outside the pixels.
inline void* base_pixelAddress(const void* pixel, int64_t stride, int64_t pixelSize, int64_t columns,
                               int64_t rows)
{
    const uint64_t offset = static_cast<uint64_t>(rows) * static_cast<uint64_t>(stride) +
                            static_cast<uint64_t>(columns) * static_cast<uint64_t>(pixelSize);
    return reinterpret_cast<void*>(reinterpret_cast<uint64_t>(pixel) + offset);
}

// Whether a window that was filled by hand speaks of pixels without giving their address.
template <class Window>
bool base_lacksMemory(const Window& window)
{
    return window.bound && !window.firstPixel && window.width > 0 && window.height > 0;
}
