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

} // namespace

void picture_allocate(picture& target, const std::string& path, uint64_t width, uint64_t height, int depth,
                      int channels)
{
    const uint64_t limit = std::numeric_limits<int32_t>::max();
    const uint64_t pixelBytes = static_cast<uint64_t>(depth) / 8 * static_cast<uint64_t>(channels);
    if (width == 0 || height == 0)
        throw file_failure(path, "the picture has no pixels");
    if (width > limit / pixelBytes || height > limit)
        throw file_failure(path, "the picture is too large");
    target.width = static_cast<int32_t>(width);
    target.height = static_cast<int32_t>(height);
    target.depth = depth;
    target.pixels.reset(new (std::nothrow) uint8_t[width * height * pixelBytes]);
    if (!target.pixels)
        throw file_failure(path, "not enough memory for the picture");
}

void picture_greyFromRgb(picture& target)
{
    const size_t count = static_cast<size_t>(target.width) * static_cast<size_t>(target.height);
    if (target.depth == 8)
        greyFromRgb<uint8_t>(target.pixels.get(), count);
    else
        greyFromRgb<uint16_t>(target.pixels.get(), count);
    target.wasColour = true;
}
