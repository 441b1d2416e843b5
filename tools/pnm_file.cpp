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

// The next character of the header; a comment counts as the line end that closes it.
int nextCharacter(std::FILE* stream)
{
    int c = std::getc(stream);
    if (c == '#')
        while (c != '\n' && c != EOF)
            c = std::getc(stream);
    return c;
}

// A number of the header together with the one white-space character behind it, which in the case of the
// last number is all that separates it from the pixels.
uint64_t readNumber(std::FILE* stream, const std::string& path)
{
    int c = nextCharacter(stream);
    while (isSpace(c))
        c = nextCharacter(stream);
    uint64_t number = 0;
    int digits = 0;
    for (; c >= '0' && c <= '9' && digits < 10; ++digits, c = nextCharacter(stream))
        number = number * 10 + static_cast<uint64_t>(c - '0');
    if (digits == 0 || !isSpace(c))
        throw file_failure(path, "has a broken header");
    return number;
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

} // namespace

picture pnm_read(const input_file& file)
{
    std::FILE* stream = file.stream.get();
    const int magic = std::getc(stream) == 'P' ? std::getc(stream) : EOF; // 5 or 6
    const uint64_t width = readNumber(stream, file.name);
    const uint64_t height = readNumber(stream, file.name);
    const uint64_t greatest = readNumber(stream, file.name);
    if (greatest < 1 || greatest > 65535)
        throw file_failure(file.name, "has a greatest value outside 1 to 65535");

    const int channels = magic == '6' ? 3 : 1;
    const int depth = greatest <= 255 ? 8 : 16;
    const uint64_t pixelBytes = static_cast<uint64_t>(channels) * static_cast<uint64_t>(depth) / 8;
    const uint64_t held = file.size / pixelBytes;
    if (width > 0 && height > held / width)
        throw file_failure(file.name, "is truncated: it is too short for its size in pixels");
    picture result;
    picture_allocate(result, file.name, width, height, depth);
    result.wasColour = channels == 3;
    const uint64_t rowSamples = width * static_cast<uint64_t>(channels);
    const uint64_t rowBytes = rowSamples * static_cast<uint64_t>(depth) / 8;
    const auto row = picture_allocateRow(file.name, rowBytes);
    for (int64_t y = 0; y < result.height; ++y) {
        if (std::fread(row.get(), 1, static_cast<size_t>(rowBytes), stream) != rowBytes)
            throw file_failure(file.name, std::ferror(stream) ? "cannot be read" : "is truncated");
        if (depth == 16)
            sixteenBitFromBytes(row.get(), static_cast<size_t>(rowSamples));
        if (channels == 3)
            picture_greyFromRgb(row.get(), static_cast<size_t>(width), depth);
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
