#include "raw_file.h"

#include "failure.h"

#include <cerrno>
#include <cstring>
#include <vector>

namespace
{

struct coding {
    unsigned valueBits;  // of which a value makes use
    unsigned storedBits; // from a pixel to the next
};

coding codingOf(raw_format format)
{
    switch (format) {
    case raw_format::mono8:
        return {8, 8};
    case raw_format::mono10:
        return {10, 16};
    case raw_format::mono12:
        return {12, 16};
    case raw_format::mono16:
        return {16, 16};
    case raw_format::mono10p:
        return {10, 10};
    case raw_format::mono12p:
        return {12, 12};
    }
    return {};
}

// Pixels one after the other, whose bits follow each other from the lowest bit of each byte on.
class bitReader
{
public:
    bitReader(const input_file& file, unsigned pixelBits) : file(file), pixelBits(pixelBits)
    {
    }

    uint32_t next()
    {
        while (heldBits < pixelBits) {
            const int byte = getc_unlocked(file.stream.get());
            if (byte == EOF)
                throw file_failure(file.name,
                                   std::ferror(file.stream.get()) ? "cannot be read" : "is truncated");
            held |= static_cast<uint32_t>(byte) << heldBits;
            heldBits += 8;
        }
        const uint32_t value = held & ((uint32_t{1} << pixelBits) - 1);
        held >>= pixelBits;
        heldBits -= pixelBits;
        return value;
    }

private:
    const input_file& file;
    unsigned pixelBits;
    uint32_t held = 0; // at most 15 + 8 bits
    unsigned heldBits = 0;
};

} // namespace

uint64_t raw_byteCount(const raw_layout& layout)
{
    const uint64_t pixels = static_cast<uint64_t>(layout.width) * static_cast<uint64_t>(layout.height);
    const unsigned bits = codingOf(layout.format).storedBits;
    return pixels / 8 * bits + (pixels % 8 * bits + 7) / 8; // below 2^63, where pixels * bits need not be
}

picture raw_read(const input_file& file, const raw_layout& layout)
{
    const uint64_t wanted = raw_byteCount(layout);
    if (file.size != wanted)
        throw file_failure(file.name, std::string("is too ") + (file.size < wanted ? "short" : "long") +
                                          " for its size in pixels, which takes " + std::to_string(wanted) +
                                          " bytes");
    const coding bits = codingOf(layout.format);
    const uint32_t greatest = (uint32_t{1} << bits.valueBits) - 1;
    picture result;
    picture_allocate(result, file.name, static_cast<uint64_t>(layout.width),
                     static_cast<uint64_t>(layout.height), bits.valueBits > 8 ? 16 : 8);
    bitReader pixels(file, bits.storedBits);
    for (int64_t y = 0; y < result.height; ++y) {
        uint8_t* const row = result.pixels.get() + y * result.stride();
        for (int64_t x = 0; x < result.width; ++x) {
            const uint32_t value = pixels.next();
            if (value > greatest)
                throw file_failure(file.name, "holds the value " + std::to_string(value) +
                                                  ", and the greatest is " + std::to_string(greatest));
            const uint16_t wide = static_cast<uint16_t>(value);
            if (result.depth == 8)
                row[x] = static_cast<uint8_t>(value);
            else
                std::memcpy(row + 2 * x, &wide, sizeof wide);
        }
    }
    return result;
}

void raw_write(std::FILE* stream, const std::string& name, const picture_view& pixels)
{
    std::vector<uint8_t> lowFirst(static_cast<size_t>(pixels.width) *
                                  static_cast<size_t>(pixels.depth / 8));
    for (int64_t y = 0; y < pixels.height; ++y) {
        const uint8_t* const row = pixels.firstPixel + y * pixels.stride;
        std::memcpy(lowFirst.data(), row, lowFirst.size());
        for (size_t i = 0; pixels.depth == 16 && i < lowFirst.size(); i += 2) {
            uint16_t value = 0;
            std::memcpy(&value, row + i, sizeof value);
            lowFirst[i] = static_cast<uint8_t>(value);
            lowFirst[i + 1] = static_cast<uint8_t>(value >> 8);
        }
        if (std::fwrite(lowFirst.data(), 1, lowFirst.size(), stream) != lowFirst.size())
            throw file_failure(name, std::string("cannot be written: ") + std::strerror(errno));
    }
}
