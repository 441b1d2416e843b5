#include "bmp_file.h"

#include "failure.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace
{

[[noreturn]] void fail(const input_file& file, const std::string& reason)
{
    throw file_failure(file.name, reason);
}

void readBytes(const input_file& file, uint8_t* bytes, size_t count)
{
    if (input_read(file, bytes, count) != count)
        fail(file, "is truncated");
}

uint32_t number16(const uint8_t* at)
{
    return static_cast<uint32_t>(at[0] | at[1] << 8);
}

uint32_t number32(const uint8_t* at)
{
    return number16(at) | number16(at + 2) << 16;
}

struct header {
    uint32_t pixelsAt; // counted in bytes from the file's beginning
    uint32_t paletteAt;
    uint32_t paletteCount; // 0 for pixels that are colours themselves
    uint32_t entryBytes;   // of a palette's entry
    uint64_t width, height;
    uint32_t pixelBits;
    bool isTopDown;

    uint64_t rowBytes() const // rows are filled up to a multiple of four bytes
    {
        return (width * pixelBits + 31) / 32 * 4;
    }
};

constexpr uint32_t fileHeaderBytes = 14;
constexpr uint32_t oldestHeaderBytes = 12; // with sizes of 16 bits and palettes of three bytes an entry
constexpr uint32_t usualHeaderBytes = 40;  // what the later ones begin with

void checkCompression(const input_file& file, const uint8_t* bytes, uint32_t headerBytes, header* h)
{
    constexpr uint32_t none = 0, bitMasks = 3;
    const uint32_t compression = number32(bytes + 30);
    if (compression == bitMasks && h->pixelBits != 32)
        fail(file,
             "has bit masks for " + std::to_string(h->pixelBits) + " bits a pixel, which are read for 32");
    if (compression == bitMasks) {
        uint8_t masks[12]; // behind the usual header, or a part of a later one: in the same place
        readBytes(file, masks, sizeof masks);
        if (number32(masks) != 0xff0000 || number32(masks + 4) != 0xff00 || number32(masks + 8) != 0xff)
            fail(file, "has its colours in an order that is not read");
        if (headerBytes == usualHeaderBytes)
            h->paletteAt += sizeof masks;
    } else if (compression != none) {
        fail(file, "is packed (compression " + std::to_string(compression) + "), which is not read");
    }
}

header readHeader(const input_file& file)
{
    uint8_t bytes[fileHeaderBytes + usualHeaderBytes] = {};
    readBytes(file, bytes, fileHeaderBytes + 4);
    const uint32_t headerBytes = number32(bytes + fileHeaderBytes);
    const bool isOldest = headerBytes == oldestHeaderBytes;
    if (!isOldest && (headerBytes < usualHeaderBytes || headerBytes > 124))
        fail(file, "has a header of " + std::to_string(headerBytes) + " bytes, which is not read");
    readBytes(file, bytes + fileHeaderBytes + 4, (isOldest ? oldestHeaderBytes : usualHeaderBytes) - 4);

    header h = {number32(bytes + 10), fileHeaderBytes + headerBytes, 0, 3, 0, 0, 0, false};
    if (isOldest) {
        h.width = number16(bytes + 18);
        h.height = number16(bytes + 20);
        h.pixelBits = number16(bytes + 24);
    } else {
        const int64_t width = static_cast<int32_t>(number32(bytes + 18));
        const int64_t height = static_cast<int32_t>(number32(bytes + 22));
        if (width < 0)
            fail(file, "has a broken header");
        h.width = static_cast<uint64_t>(width);
        h.height = static_cast<uint64_t>(std::abs(height));
        h.isTopDown = height < 0;
        h.pixelBits = number16(bytes + 28);
        h.entryBytes = 4;
        checkCompression(file, bytes, headerBytes, &h);
    }
    if (h.pixelBits == 1 || h.pixelBits == 4 || h.pixelBits == 8) {
        const uint32_t most = 1u << h.pixelBits;
        const uint32_t stated = isOldest ? 0 : number32(bytes + 46);
        h.paletteCount = stated == 0 ? most : stated;
        if (h.paletteCount > most)
            fail(file, "has a palette with more colours than its pixels can name");
    } else if (h.pixelBits != 24 && h.pixelBits != 32) {
        fail(file, "has " + std::to_string(h.pixelBits) + " bits a pixel, which is not read");
    }
    return h;
}

// The places that the header names, held against the file's size. What the header says of that is not
// looked at: programs are known to write anything there.
void checkPlaces(const input_file& file, const header& h)
{
    const uint64_t headersEnd = uint64_t{h.paletteAt} + uint64_t{h.paletteCount} * h.entryBytes;
    if (h.pixelsAt < headersEnd)
        fail(file, "has a broken header: its pixels begin inside of it");
    const uint64_t held = file.size > h.pixelsAt ? file.size - h.pixelsAt : 0;
    if (h.width > 0 && h.height > held / h.rowBytes())
        fail(file, "is truncated: it is too short for its size in pixels");
}

void seek(const input_file& file, uint32_t place)
{
    if (fseeko(file.stream.get(), place, SEEK_SET) != 0)
        fail(file, "cannot be read");
}

struct palette {
    std::array<uint8_t, 256> grey;
    std::array<bool, 256> isColour;
};

palette readPalette(const input_file& file, const header& h)
{
    seek(file, h.paletteAt);
    palette colours = {};
    for (uint32_t i = 0; i < h.paletteCount; ++i) {
        uint8_t entry[4]; // blue, green, red
        readBytes(file, entry, h.entryBytes);
        uint8_t rgb[] = {entry[2], entry[1], entry[0]};
        colours.isColour[i] = rgb[0] != rgb[1] || rgb[1] != rgb[2];
        picture_greyFromRgb(rgb, 1, 8);
        colours.grey[i] = rgb[0];
    }
    return colours;
}

// The first pixels stand in the highest bits of a byte. Answers whether a pixel has colour.
bool greyFromIndices(const input_file& file, const header& h, const palette& colours, const uint8_t* row,
                     uint8_t* grey)
{
    const uint64_t pixelsPerByte = 8 / h.pixelBits;
    bool hasColour = false;
    for (uint64_t x = 0; x < h.width; ++x) {
        const uint64_t shift = 8 - h.pixelBits * (x % pixelsPerByte + 1);
        const size_t index = (row[x / pixelsPerByte] >> shift) & ((1u << h.pixelBits) - 1);
        if (index >= h.paletteCount)
            fail(file, "has a pixel that its palette does not have");
        grey[x] = colours.grey[index];
        hasColour |= colours.isColour[index];
    }
    return hasColour;
}

// Blue comes first; a fourth byte says nothing. Works in place, from the front.
bool greyFromColours(const header& h, uint8_t* row, uint8_t* grey)
{
    const size_t pixelBytes = h.pixelBits / 8;
    const size_t count = static_cast<size_t>(h.width);
    bool hasColour = false;
    for (size_t x = 0; x < count; ++x) {
        const uint8_t* const pixel = row + x * pixelBytes;
        const uint8_t rgb[] = {pixel[2], pixel[1], pixel[0]};
        hasColour |= rgb[0] != rgb[1] || rgb[1] != rgb[2];
        std::copy_n(rgb, 3, row + 3 * x);
    }
    picture_greyFromRgb(row, count, 8);
    std::copy_n(row, count, grey);
    return hasColour;
}

} // namespace

void bmp_pass(const input_file& file)
{
    const header h = readHeader(file);
    input_pass(file, h.pixelsAt - std::min<uint64_t>(h.pixelsAt, file.arrival->size));
    input_pass(file, h.height, h.rowBytes());
}

picture bmp_read(const input_file& file)
{
    const header h = readHeader(file);
    checkPlaces(file, h);
    const palette colours = readPalette(file, h);
    picture result;
    picture_allocate(result, file.name, h.width, h.height, 8);
    const auto row = picture_allocateRow(file.name, h.rowBytes());
    seek(file, h.pixelsAt);
    for (uint64_t y = 0; y < h.height; ++y) {
        readBytes(file, row.get(), static_cast<size_t>(h.rowBytes()));
        const uint64_t place = h.isTopDown ? y : h.height - 1 - y;
        uint8_t* const grey = result.pixels.get() + place * h.width;
        result.wasColour |= h.paletteCount > 0 ? greyFromIndices(file, h, colours, row.get(), grey)
                                               : greyFromColours(h, row.get(), grey);
    }
    return result;
}
