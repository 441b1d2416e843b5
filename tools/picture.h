// A grey picture in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

// Rows follow each other without gaps; 16-bit pixels are in the machine's byte order. The memory is not
// cleared when it is taken: a file whose header announces a large picture costs no time before its pixels
// are there.
struct picture {
    int32_t width = 0;
    int32_t height = 0;
    int depth = 8; // 8 or 16
    bool wasColour = false;
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

// Takes memory for `channels` samples a pixel; pixels that do not fit the library's 32-bit strides, or
// memory, are a failure of the file.
void picture_allocate(picture& target, const std::string& path, uint64_t width, uint64_t height, int depth,
                      int channels);

// Turns red, green and blue samples into grey ones, in place.
void picture_greyFromRgb(picture& target);
