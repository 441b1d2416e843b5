#include "picture.h"

#include "failure.h"

#include <cstring>
#include <limits>
#include <new>

namespace
{

// The luma weights 0.299, 0.587, 0.114 in thousandths, rounded half up; 65535 * 1000 + 500 fits 32 bits.
uint32_t greyOf(uint32_t red, uint32_t green, uint32_t blue)
{
    return (299 * red + 587 * green + 114 * blue + 500) / 1000;
}

// Works in place from the front: a grey pixel is written no later than the first sample that it replaces is
// read.
template <typename Pixel>
void greyFromRgb(uint8_t* bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        Pixel rgb[3];
        std::memcpy(rgb, bytes + i * sizeof rgb, sizeof rgb);
        const Pixel grey = static_cast<Pixel>(greyOf(rgb[0], rgb[1], rgb[2]));
        std::memcpy(bytes + i * sizeof grey, &grey, sizeof grey);
    }
}

std::unique_ptr<uint8_t[]> takeMemory(const std::string& path, std::optional<size_t> byteCount)
{
    if (!byteCount)
        throw file_failure(path, "the picture is too large");
    std::unique_ptr<uint8_t[]> memory(new (std::nothrow) uint8_t[*byteCount]);
    if (!memory)
        throw file_failure(path, "not enough memory for the picture");
    return memory;
}

} // namespace

std::optional<size_t> picture_byteCount(uint64_t width, uint64_t height, uint64_t pixelBytes,
                                        uint64_t greatestSize)
{
    constexpr uint64_t limit = std::numeric_limits<int32_t>::max();
    if (width > limit / pixelBytes || height > limit)
        return std::nullopt;
    const uint64_t bytes = width * pixelBytes * height; // less than 2^62
    return bytes <= greatestSize ? std::optional(static_cast<size_t>(bytes)) : std::nullopt;
}

void picture_allocate(picture& target, const std::string& path, uint64_t width, uint64_t height, int depth)
{
    if (width == 0 || height == 0)
        throw file_failure(path, "the picture has no pixels");
    target.pixels = takeMemory(path, picture_byteCount(width, height, static_cast<uint64_t>(depth) / 8));
    target.width = static_cast<int32_t>(width);
    target.height = static_cast<int32_t>(height);
    target.depth = depth;
}

std::unique_ptr<uint8_t[]> picture_allocateRow(const std::string& path, uint64_t byteCount)
{
    const bool fits = byteCount <= PTRDIFF_MAX;
    return takeMemory(path, fits ? std::optional(static_cast<size_t>(byteCount)) : std::nullopt);
}

void picture_greyFromRgb(uint8_t* samples, size_t count, int depth)
{
    if (depth == 8)
        greyFromRgb<uint8_t>(samples, count);
    else
        greyFromRgb<uint16_t>(samples, count);
}
