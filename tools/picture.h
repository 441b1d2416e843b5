// A grey picture in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// Rows follow each other without gaps; 16-bit pixels are in the machine's byte order. The memory is not
// cleared when it is taken: a file whose header announces a large picture costs no time before its pixels
// are there.
struct picture {
    int32_t width = 0;
    int32_t height = 0;
    int depth = 8; // 8 or 16
    bool wasColour = false;
    bool wasTransparent = false;
    std::unique_ptr<uint8_t[]> pixels;

    int32_t stride() const
    {
        return width * (depth / 8);
    }
};

// Pixels of somebody else, to be written to a file.
struct picture_view {
    int32_t width;
    int32_t height;
    int depth;
    int32_t stride; // bytes from a row to the next
    const uint8_t* firstPixel;
};

// The bytes of so many pixels, when no 32-bit stride is too small for a row of them and no size of memory,
// of which `greatestSize` is the machine's, for all of them.
std::optional<size_t> picture_byteCount(uint64_t width, uint64_t height, uint64_t pixelBytes,
                                        uint64_t greatestSize = PTRDIFF_MAX);

// Takes memory for grey pixels. Failures: file_failure for a size that picture_byteCount does not know, for
// no pixels at all, and for a lack of memory.
void picture_allocate(picture& target, const std::string& path, uint64_t width, uint64_t height, int depth);

// Memory for one row of a file as it is stored, before it is made grey. Failures: file_failure.
std::unique_ptr<uint8_t[]> picture_allocateRow(const std::string& path, uint64_t byteCount);

// Turns the red, green and blue samples of `count` pixels into grey ones, in place, from the front.
void picture_greyFromRgb(uint8_t* samples, size_t count, int depth);
