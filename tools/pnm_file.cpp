#include "pnm_file.h"

#include "failure.h"

#include <cerrno>
#include <cstring>
#include <vector>

namespace
{

bool isSpace(int c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

class headerReader
{
public:
    explicit headerReader(const input_file& file) : file(file)
    {
    }

    // A number together with the one white-space character behind it, which in the case of the last number is
    // all that separates it from the pixels.
    uint64_t readNumber()
    {
        int c = next();
        while (isSpace(c))
            c = next();
        uint64_t number = 0;
        int digits = 0;
        for (; c >= '0' && c <= '9' && digits < 10; ++digits, c = next())
            number = number * 10 + static_cast<uint64_t>(c - '0');
        if (digits == 0 || !isSpace(c))
            throw file_failure(file.name, "has a broken header");
        return number;
    }

    int nextByte()
    {
        uint8_t byte = 0;
        return left-- > 0 && input_read(file, &byte, 1) == 1 ? byte : EOF;
    }

private:
    // A comment counts as the line end that closes it.
    int next()
    {
        int c = nextByte();
        if (c == '#')
            while (c != '\n' && c != EOF)
                c = nextByte();
        return c;
    }

    const input_file& file;
    int left = 1 << 20; // comments without end would be read for ever from a pipe
};

struct header {
    int channels, depth;
    uint64_t width, height, greatest;

    uint64_t rowSamples() const
    {
        return width * static_cast<uint64_t>(channels);
    }

    uint64_t rowBytes() const
    {
        return rowSamples() * static_cast<uint64_t>(depth) / 8;
    }
};

header readHeader(const input_file& file)
{
    headerReader reader(file);
    const int magic = reader.nextByte() == 'P' ? reader.nextByte() : EOF; // 5 or 6
    header h = {magic == '6' ? 3 : 1, 8, 0, 0, 0};
    h.width = reader.readNumber();
    h.height = reader.readNumber();
    h.greatest = reader.readNumber();
    if (h.greatest < 1 || h.greatest > 65535)
        throw file_failure(file.name, "has a greatest value outside 1 to 65535");
    h.depth = h.greatest <= 255 ? 8 : 16;
    return h;
}

// Samples of 16 bits are stored with the high byte first.
void sixteenBitFromBytes(uint8_t* bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const uint16_t value = static_cast<uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
        std::memcpy(bytes + 2 * i, &value, sizeof value);
    }
}

void bytesFromSixteenBit(uint8_t* bytes, const uint8_t* pixels, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        uint16_t value = 0;
        std::memcpy(&value, pixels + 2 * i, sizeof value);
        bytes[2 * i] = static_cast<uint8_t>(value >> 8);
        bytes[2 * i + 1] = static_cast<uint8_t>(value);
    }
}

template <typename Sample>
void checkValues(const input_file& file, const uint8_t* samples, uint64_t count, uint64_t greatest)
{
    for (uint64_t i = 0; i < count; ++i) {
        Sample value = 0;
        std::memcpy(&value, samples + i * sizeof value, sizeof value);
        if (value > greatest)
            throw file_failure(file.name, "holds the value " + std::to_string(value) +
                                              ", and the greatest is " + std::to_string(greatest));
    }
}

} // namespace

void pnm_pass(const input_file& file)
{
    const header h = readHeader(file);
    input_pass(file, h.height, h.rowBytes());
}

picture pnm_read(const input_file& file)
{
    const header h = readHeader(file);
    if (h.width > 0 && h.height > file.size / h.rowBytes())
        throw file_failure(file.name, "is truncated: it is too short for its size in pixels");
    picture result;
    picture_allocate(result, file.name, h.width, h.height, h.depth);
    result.wasColour = h.channels == 3;
    const auto row = picture_allocateRow(file.name, h.rowBytes());
    for (int64_t y = 0; y < result.height; ++y) {
        if (input_read(file, row.get(), static_cast<size_t>(h.rowBytes())) != h.rowBytes())
            throw file_failure(file.name, "is truncated");
        if (h.depth == 16)
            sixteenBitFromBytes(row.get(), static_cast<size_t>(h.rowSamples()));
        if (h.depth == 16 && h.greatest < 65535)
            checkValues<uint16_t>(file, row.get(), h.rowSamples(), h.greatest);
        else if (h.greatest < 255)
            checkValues<uint8_t>(file, row.get(), h.rowSamples(), h.greatest);
        if (h.channels == 3)
            picture_greyFromRgb(row.get(), static_cast<size_t>(h.width), h.depth);
        std::memcpy(result.pixels.get() + y * result.stride(), row.get(),
                    static_cast<size_t>(result.stride()));
    }
    return result;
}

void pnm_write(std::FILE* stream, const std::string& path, const picture_view& pixels)
{
    const size_t rowBytes = static_cast<size_t>(pixels.width) * static_cast<size_t>(pixels.depth / 8);
    std::vector<uint8_t> swapped(pixels.depth == 16 ? rowBytes : 0);
    std::fprintf(stream, "P5\n%d %d\n%d\n", pixels.width, pixels.height, pixels.depth == 16 ? 65535 : 255);
    for (int64_t y = 0; y < pixels.height; ++y) {
        const uint8_t* row = pixels.firstPixel + y * pixels.stride;
        if (pixels.depth == 16) {
            bytesFromSixteenBit(swapped.data(), row, static_cast<size_t>(pixels.width));
            row = swapped.data();
        }
        if (std::fwrite(row, 1, rowBytes, stream) != rowBytes)
            throw file_failure(path, std::string("cannot be written: ") + std::strerror(errno));
    }
}
