#include "tiff_file.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <memory>

#include <tiffio.h>

namespace
{

// What libtiff's calls back to us work on.
struct session {
    std::FILE* stream;
    char message[160]; // of the first error; "" when there was none
};

// ---- libtiff on a stream of ours ----

session* sessionOf(thandle_t handle)
{
    return static_cast<session*>(handle);
}

tmsize_t readBytes(thandle_t handle, void* bytes, tmsize_t count)
{
    return static_cast<tmsize_t>(
        std::fread(bytes, 1, static_cast<size_t>(count), sessionOf(handle)->stream));
}

// libtiff does not say why a call of ours failed.
void noteError(session* s)
{
    if (!*s->message)
        std::snprintf(s->message, sizeof s->message, "%s", std::strerror(errno));
}

tmsize_t writeBytes(thandle_t handle, void* bytes, tmsize_t count)
{
    session* const s = sessionOf(handle);
    const size_t written = std::fwrite(bytes, 1, static_cast<size_t>(count), s->stream);
    if (written != static_cast<size_t>(count))
        noteError(s);
    return static_cast<tmsize_t>(written);
}

toff_t seek(thandle_t handle, toff_t place, int from)
{
    session* const s = sessionOf(handle);
    std::FILE* const stream = s->stream;
    if (place > INT64_MAX)
        return static_cast<toff_t>(-1);
    if (fseeko(stream, static_cast<off_t>(place), from) != 0) {
        if (errno != EINVAL) // no place in a file, but bytes that wait to be written go first
            noteError(s);
        return static_cast<toff_t>(-1);
    }
    return static_cast<toff_t>(ftello(stream));
}

toff_t sizeOf(thandle_t handle)
{
    std::FILE* const stream = sessionOf(handle)->stream;
    const off_t before = ftello(stream);
    fseeko(stream, 0, SEEK_END);
    const off_t size = ftello(stream);
    fseeko(stream, before, SEEK_SET);
    return static_cast<toff_t>(size);
}

int closeNothing(thandle_t)
{
    return 0; // the stream is its owner's
}

// Nothing more is said of these by libtiff itself.
int onError(TIFF*, void* user, const char*, const char* form, va_list values)
{
    session* const s = static_cast<session*>(user);
    if (!*s->message)
        std::vsnprintf(s->message, sizeof s->message, form, values);
    return 1;
}

int onWarning(TIFF*, void*, const char*, const char*, va_list)
{
    return 1;
}

struct closer {
    void operator()(TIFF* tiff) const
    {
        TIFFClose(tiff);
    }
};

using owned_tiff = std::unique_ptr<TIFF, closer>;

// Null with a message when the file cannot be opened. No block that libtiff takes is larger than
// `greatestBlock`.
owned_tiff open(session* s, const std::string& name, const char* mode, uint64_t greatestBlock)
{
    TIFFOpenOptions* const wishes = TIFFOpenOptionsAlloc();
    if (!wishes)
        throw file_failure(name, "not enough memory");
    TIFFOpenOptionsSetErrorHandlerExtR(wishes, onError, s);
    TIFFOpenOptionsSetWarningHandlerExtR(wishes, onWarning, s);
    TIFFOpenOptionsSetMaxSingleMemAlloc(
        wishes, static_cast<tmsize_t>(std::min<uint64_t>(greatestBlock, PTRDIFF_MAX)));
    owned_tiff tiff(TIFFClientOpenExt(name.c_str(), mode, s, readBytes, writeBytes, seek, closeNothing,
                                      sizeOf, nullptr, nullptr, wishes));
    TIFFOpenOptionsFree(wishes);
    return tiff;
}

// ---- reading ----

[[noreturn]] void fail(const input_file& file, const std::string& reason)
{
    throw file_failure(file.name, reason);
}

[[noreturn]] void failUnsound(const input_file& file, const session& s)
{
    fail(file, std::string("is not a sound TIFF file: ") + (*s.message ? s.message : "it cannot be read"));
}

// A number of the file's description, or what holds when the file does not say.
template <typename Number>
uint64_t numberOf(TIFF* tiff, uint32_t tag)
{
    Number number = 0;
    return TIFFGetFieldDefaulted(tiff, tag, &number) ? number : 0;
}

uint64_t shortOf(TIFF* tiff, uint32_t tag)
{
    return numberOf<uint16_t>(tiff, tag);
}

uint64_t longOf(TIFF* tiff, uint32_t tag)
{
    return numberOf<uint32_t>(tiff, tag);
}

// How many bytes a byte of packed data yields at most; 0 for packing that is not read.
uint64_t greatestExpansion(uint64_t compression)
{
    switch (compression) {
    case COMPRESSION_NONE:
        return 1;
    case COMPRESSION_PACKBITS:
        return 64; // two bytes stand for up to 128
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
        return 1032;
    case COMPRESSION_LZW:
        return 4096; // a code of nine bits or more stands for less than 4096 bytes
    default:
        return 0;
    }
}

void checkKind(const input_file& file, TIFF* tiff)
{
    const uint64_t samples = shortOf(tiff, TIFFTAG_SAMPLESPERPIXEL);
    uint16_t photometric = 0;
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric))
        fail(file, "does not say whether 0 is black or white");
    if (photometric == PHOTOMETRIC_PALETTE)
        fail(file, "has a colour map; grey pictures are read");
    if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_MINISWHITE)
        fail(file, "is a colour picture (photometric " + std::to_string(photometric) +
                       "); grey pictures are read");
    if (samples != 1)
        fail(file, "has " + std::to_string(samples) + " samples a pixel; those with one are read");
    if (longOf(tiff, TIFFTAG_IMAGEDEPTH) > 1)
        fail(file, "has several planes; those with one are read");
    const uint64_t bits = shortOf(tiff, TIFFTAG_BITSPERSAMPLE);
    if (bits != 8 && bits != 16)
        fail(file, "has " + std::to_string(bits) + " bits a pixel; those with 8 or 16 are read");
    const uint64_t sampleFormat = shortOf(tiff, TIFFTAG_SAMPLEFORMAT);
    if (sampleFormat != SAMPLEFORMAT_UINT && sampleFormat != SAMPLEFORMAT_VOID)
        fail(file, "has pixels that are signed or not whole numbers");
    const uint64_t orientation = shortOf(tiff, TIFFTAG_ORIENTATION);
    if (orientation != ORIENTATION_TOPLEFT)
        fail(file, "is turned or mirrored (orientation " + std::to_string(orientation) +
                       "); pictures from the top left are read");
    const uint64_t compression = shortOf(tiff, TIFFTAG_COMPRESSION);
    if (greatestExpansion(compression) == 0 || !TIFFIsCODECConfigured(static_cast<uint16_t>(compression)))
        fail(file, "is packed in a way that is not read (compression " + std::to_string(compression) + ")");
    if (!TIFFLastDirectory(tiff))
        fail(file, "holds several pictures; one is read");
}

struct tiling {
    uint64_t width, height;
    uint64_t bytes; // of a tile; none where this is 0
};

uint64_t countOver(uint64_t whole, uint64_t part)
{
    return (whole + part - 1) / part;
}

// Whether the file can hold so many pieces of that size, or what they are when they are packed.
bool canHold(const input_file& file, TIFF* tiff, uint64_t pieceCount, uint64_t pieceBytes)
{
    const uint64_t expansion = greatestExpansion(shortOf(tiff, TIFFTAG_COMPRESSION));
    const uint64_t most = file.size < INT64_MAX / expansion ? file.size * expansion : INT64_MAX;
    return pieceBytes > 0 && pieceCount <= most / pieceBytes;
}

void readRows(const input_file& file, const session& s, TIFF* tiff, picture* result)
{
    for (uint32_t y = 0; y < static_cast<uint32_t>(result->height); ++y)
        if (TIFFReadScanline(tiff, result->pixels.get() + int64_t{y} * result->stride(), y, 0) < 0)
            failUnsound(file, s);
}

void readTiles(const input_file& file, const session& s, TIFF* tiff, const tiling& tiles, picture* result)
{
    const auto tile = picture_allocateRow(file.name, tiles.bytes);
    const uint64_t width = static_cast<uint64_t>(result->width);
    const uint64_t height = static_cast<uint64_t>(result->height);
    const uint64_t pixelBytes = static_cast<uint64_t>(result->depth) / 8;
    for (uint64_t top = 0; top < height; top += tiles.height)
        for (uint64_t left = 0; left < width; left += tiles.width) {
            if (TIFFReadTile(tiff, tile.get(), static_cast<uint32_t>(left), static_cast<uint32_t>(top), 0,
                             0) < 0)
                failUnsound(file, s);
            const uint64_t columns = std::min(tiles.width, width - left);
            const uint64_t rows = std::min(tiles.height, height - top);
            for (uint64_t y = 0; y < rows; ++y)
                std::copy_n(tile.get() + y * tiles.width * pixelBytes, columns * pixelBytes,
                            result->pixels.get() + ((top + y) * width + left) * pixelBytes);
        }
}

void invert(picture* target)
{
    uint8_t* const bytes = target->pixels.get();
    const int64_t count = int64_t{target->stride()} * target->height;
    for (int64_t i = 0; i < count; ++i) // the greatest value of either depth has all bits set
        bytes[i] = static_cast<uint8_t>(~bytes[i]);
}

} // namespace

// Parts of the picture may stand anywhere in the file, which is read to its end, or as far as its addresses
// reach.
void tiff_pass(const input_file& file)
{
    constexpr uint64_t endOfShortAddresses = uint64_t{1} << 32;
    const bool isShort = file.head[2] == '*' || file.head[3] == '*';
    input_pass(file, isShort ? endOfShortAddresses : UINT64_MAX);
}

picture tiff_read(const input_file& file)
{
    constexpr uint64_t forItsOwn = 1 << 20;
    session s = {file.stream.get(), ""};
    // Of a place in the file, which takes four bytes there or more, libtiff makes one of eight.
    const owned_tiff owner = open(&s, file.name, "rm", 2 * file.size + forItsOwn);
    TIFF* const tiff = owner.get();
    if (!tiff)
        failUnsound(file, s);
    checkKind(file, tiff);
    const uint64_t width = longOf(tiff, TIFFTAG_IMAGEWIDTH);
    const uint64_t height = longOf(tiff, TIFFTAG_IMAGELENGTH);
    const int depth = static_cast<int>(shortOf(tiff, TIFFTAG_BITSPERSAMPLE));
    tiling tiles = {0, 0, 0};
    if (TIFFIsTiled(tiff))
        tiles = {longOf(tiff, TIFFTAG_TILEWIDTH), longOf(tiff, TIFFTAG_TILELENGTH), TIFFTileSize64(tiff)};
    if (TIFFIsTiled(tiff) && (tiles.width == 0 || tiles.height == 0))
        fail(file, "has tiles without pixels");
    const bool isHeld =
        TIFFIsTiled(tiff)
            ? canHold(file, tiff, countOver(width, tiles.width) * countOver(height, tiles.height),
                      tiles.bytes)
            : canHold(file, tiff, height, TIFFScanlineSize64(tiff));
    if (width > 0 && height > 0 && !isHeld)
        fail(file, "is truncated: it is too short for its size in pixels");

    picture result;
    picture_allocate(result, file.name, width, height, depth);
    if (TIFFIsTiled(tiff))
        readTiles(file, s, tiff, tiles, &result);
    else
        readRows(file, s, tiff, &result);
    if (shortOf(tiff, TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_MINISWHITE)
        invert(&result);
    return result;
}

void tiff_write(std::FILE* stream, const std::string& name, const picture_view& pixels)
{
    constexpr int64_t stripBytes = 1 << 16;
    constexpr int64_t greatestWithShortAddresses = 0xf0000000; // the rest is for the description
    const int64_t rowBytes = int64_t{pixels.width} * (pixels.depth / 8);
    session s = {stream, ""};
    const auto check = [&](bool hasWorked) {
        if (!hasWorked)
            throw file_failure(name, std::string("cannot be written: ") + s.message);
    };
    const bool isLong = rowBytes * pixels.height > greatestWithShortAddresses;
    owned_tiff owner = open(&s, name, isLong ? "w8" : "w", PTRDIFF_MAX);
    TIFF* const tiff = owner.get();
    check(tiff != nullptr);
    const std::pair<uint32_t, uint32_t> description[] = {
        {TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(pixels.width)},
        {TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(pixels.height)},
        {TIFFTAG_BITSPERSAMPLE, static_cast<uint32_t>(pixels.depth)},
        {TIFFTAG_SAMPLESPERPIXEL, 1},
        {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG},
        {TIFFTAG_COMPRESSION, COMPRESSION_NONE},
        {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
        {TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(std::max<int64_t>(1, stripBytes / rowBytes))},
    };
    for (const auto& [tag, value] : description)
        check(TIFFSetField(tiff, tag, value) == 1);
    for (int64_t y = 0; y < pixels.height; ++y) {
        // libtiff changes a row only where it has to change the order of its bytes, which it has not here.
        uint8_t* const row = const_cast<uint8_t*>(pixels.firstPixel + y * pixels.stride);
        check(TIFFWriteScanline(tiff, row, static_cast<uint32_t>(y), 0) >= 0);
    }
    check(TIFFFlush(tiff) == 1);
}
