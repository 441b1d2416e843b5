// libpng reports an error by a jump out of its own call. Every call that can fail therefore happens in a
// "step", a function whose locals need no destruction, started by `attempt`, the only place where the jump
// lands.
#include "png_file.h"

#include "failure.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstring>

#include <png.h>

namespace
{

// No stream of DEFLATE data grows by more than this factor when it is unpacked.
constexpr uint64_t maxExpansion = 1032;

struct reader {
    png_structp png;
    png_infop info;
    std::FILE* stream;
    char message[128];

    png_uint_32 width, height;
    int depth;    // of a sample as it is delivered: 8 or 16
    int channels; // samples a pixel as they are delivered: 1 or 3
    bool hasPalette, hasColour, hasTransparency, isInterlaced;
    uint8_t greyOfIndex[3 * 256]; // the palette made grey; the last two thirds are not looked at
    uint64_t storedRowBytes;      // of a row in the file, unpacked
    size_t rowBytes;              // of the same row as it is delivered
    uint8_t* row;
    uint8_t* pixels;
};

// Pixels that a file stores together: every stepX-th of every stepY-th row. An interlaced picture is stored
// as seven of them, any other picture as one.
struct grid {
    png_uint_32 firstX, firstY, stepX, stepY;
};

struct writer {
    png_structp png;
    png_infop info;
    std::FILE* stream;
    char message[128];

    const picture_view* view;
};

// Session is reader or writer; both carry the message of the error that ended them.
template <typename Session>
void onError(png_structp png, png_const_charp text)
{
    Session* session = static_cast<Session*>(png_get_error_ptr(png));
    std::snprintf(session->message, sizeof session->message, "%s", text);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp)
{
}

template <typename Session>
bool attempt(Session* session, void (*step)(Session*))
{
    if (setjmp(png_jmpbuf(session->png)))
        return false;
    step(session);
    return true;
}

void allowEverySize(png_structp png)
{
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
}

void useMachineByteOrder(png_structp png, int depth)
{
    if (depth == 16 && std::endian::native == std::endian::little)
        png_set_swap(png);
}

// What describes the picture beside its pixels (texts, colour spaces, times) is passed over unread: to
// unpack it may cost more than the picture.
void skipDescriptions(png_structp png)
{
    constexpr int allThatAreNotNeeded = -1;
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, allThatAreNotNeeded);
}

void readHeader(reader* r)
{
    allowEverySize(r->png);
    skipDescriptions(r->png);
    png_init_io(r->png, r->stream);
    png_read_info(r->png, r->info);
    r->width = png_get_image_width(r->png, r->info);
    r->height = png_get_image_height(r->png, r->info);
    r->isInterlaced = png_get_interlace_type(r->png, r->info) != PNG_INTERLACE_NONE;
    r->storedRowBytes = png_get_rowbytes(r->png, r->info);
}

void readPalette(reader* r)
{
    png_colorp entries = nullptr;
    int count = 0;
    png_get_PLTE(r->png, r->info, &entries, &count);
    for (int i = 0; i < count; ++i) {
        r->greyOfIndex[3 * i] = entries[i].red;
        r->greyOfIndex[3 * i + 1] = entries[i].green;
        r->greyOfIndex[3 * i + 2] = entries[i].blue;
    }
    picture_greyFromRgb(r->greyOfIndex, 256, 8);
}

// Takes memory for rows, so it must be clear by now that the file is large enough for what its header says.
void startPixels(reader* r)
{
    const int colourType = png_get_color_type(r->png, r->info);
    const int storedDepth = png_get_bit_depth(r->png, r->info);
    r->hasPalette = colourType == PNG_COLOR_TYPE_PALETTE;
    r->hasColour = (colourType & PNG_COLOR_MASK_COLOR) != 0;
    r->hasTransparency =
        (colourType & PNG_COLOR_MASK_ALPHA) || png_get_valid(r->png, r->info, PNG_INFO_tRNS);
    if (r->hasPalette) {
        readPalette(r);
        png_set_packing(r->png); // one index a byte
    } else if (storedDepth < 8) {
        png_set_expand_gray_1_2_4_to_8(r->png);
    }
    png_set_strip_alpha(r->png);
    useMachineByteOrder(r->png, storedDepth);
    png_read_update_info(r->png, r->info);
    r->depth = png_get_bit_depth(r->png, r->info);
    r->channels = png_get_channels(r->png, r->info);
    r->rowBytes = png_get_rowbytes(r->png, r->info);
}

void makeRowGrey(reader* r, size_t count)
{
    if (r->hasPalette)
        for (size_t i = 0; i < count; ++i)
            r->row[i] = r->greyOfIndex[r->row[i]];
    else if (r->channels == 3)
        picture_greyFromRgb(r->row, count, r->depth);
}

// Writes `count` pixels of a row to every step-th pixel from `target` on.
template <typename Pixel>
void spread(const uint8_t* row, uint8_t* target, size_t count, size_t step)
{
    for (size_t i = 0; i < count; ++i)
        std::memcpy(target + i * step * sizeof(Pixel), row + i * sizeof(Pixel), sizeof(Pixel));
}

// libpng delivers the rows of a grid without gaps between the pixels.
void readGrid(reader* r, const grid& g)
{
    if (g.firstX >= r->width) // such a grid has no rows in the file
        return;
    const size_t count = (r->width - g.firstX + g.stepX - 1) / g.stepX;
    const size_t pixelBytes = static_cast<size_t>(r->depth) / 8;
    for (size_t y = g.firstY; y < r->height; y += g.stepY) {
        png_read_row(r->png, r->row, nullptr);
        makeRowGrey(r, count);
        uint8_t* target = r->pixels + (y * r->width + g.firstX) * pixelBytes;
        if (g.stepX == 1)
            std::memcpy(target, r->row, count * pixelBytes);
        else if (r->depth == 8)
            spread<uint8_t>(r->row, target, count, g.stepX);
        else
            spread<uint16_t>(r->row, target, count, g.stepX);
    }
}

void readPixels(reader* r)
{
    constexpr grid whole = {0, 0, 1, 1};
    constexpr grid interlaced[] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                   {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    if (r->isInterlaced)
        for (const grid& g : interlaced)
            readGrid(r, g);
    else
        readGrid(r, whole);
    png_read_end(r->png, nullptr);
}

// Instead of libpng's own way of writing, which does not say why it failed.
void writeBytes(png_structp png, png_bytep bytes, size_t count)
{
    if (std::fwrite(bytes, 1, count, static_cast<std::FILE*>(png_get_io_ptr(png))) != count)
        png_error(png, std::strerror(errno));
}

void writeAll(writer* w)
{
    const picture_view& view = *w->view;
    allowEverySize(w->png);
    png_set_write_fn(w->png, w->stream, writeBytes, nullptr);
    png_set_IHDR(w->png, w->info, static_cast<png_uint_32>(view.width),
                 static_cast<png_uint_32>(view.height), view.depth, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(w->png, w->info);
    useMachineByteOrder(w->png, view.depth);
    for (int64_t y = 0; y < view.height; ++y)
        png_write_row(w->png, view.firstPixel + y * view.stride);
    png_write_end(w->png, nullptr);
}

// Ends libpng's session whichever way the function that owns it is left.
struct readerGuard {
    reader* session;

    ~readerGuard()
    {
        png_destroy_read_struct(&session->png, &session->info, nullptr);
    }
};

struct writerGuard {
    writer* session;

    ~writerGuard()
    {
        png_destroy_write_struct(&session->png, &session->info);
    }
};

template <typename Session>
void makeInfo(Session* session, const std::string& path)
{
    if (session->png)
        session->info = png_create_info_struct(session->png);
    if (!session->info)
        throw file_failure(path, "not enough memory");
}

uint32_t numberAt(const uint8_t* at)
{
    return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
}

bool nameIs(const uint8_t* chunk, const char* name)
{
    return std::memcmp(chunk + 4, name, 4) == 0;
}

// The bytes of pixels that nobody packs into more: twice what they are, since an interlaced picture has up
// to two partial rows for each, and what cannot be packed takes a little more than it is.
uint64_t greatestPackedSize(const uint8_t* header)
{
    constexpr uint64_t greatest = uint64_t{1} << 60;
    constexpr uint64_t channels[] = {1, 0, 3, 1, 2, 0, 4, 0}; // by colour type
    const uint64_t pixelBits = header[8] * channels[header[9] & 7];
    const uint64_t rowBytes = (numberAt(header) * pixelBits + 7) / 8 + 1; // with its filter
    const uint64_t height = numberAt(header + 4);
    return 2 * (height < greatest / rowBytes ? height * rowBytes : greatest);
}

} // namespace

void png_pass(const input_file& file)
{
    uint8_t signature[8];
    input_read(file, signature, sizeof signature);
    uint64_t left = 64 << 20; // for what describes the picture; the header adds what its pixels may take
    bool hasHeader = false;
    uint8_t start[8]; // of a chunk: how long it is, and its name
    while (input_read(file, start, sizeof start) == sizeof start) {
        uint64_t length = numberAt(start) + uint64_t{4}; // with its checksum
        uint8_t header[13];
        if (!hasHeader && nameIs(start, "IHDR") &&
            input_read(file, header, sizeof header) == sizeof header) {
            hasHeader = true;
            length -= std::min<uint64_t>(length, sizeof header);
            left += greatestPackedSize(header);
        }
        if (length + sizeof start > left)
            throw file_failure(file.name, "is longer than its picture");
        left -= length + sizeof start;
        input_pass(file, length);
        if (nameIs(start, "IEND"))
            return;
    }
}

picture png_read(const input_file& file)
{
    reader session = {};
    const readerGuard guard = {&session};
    session.stream = file.stream.get();
    session.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &session, onError<reader>, onWarning);
    makeInfo(&session, file.name);

    const auto attemptOrFail = [&](void (*step)(reader*)) {
        if (!attempt(&session, step))
            throw file_failure(file.name, std::string("is not a sound PNG file: ") + session.message);
    };
    attemptOrFail(readHeader);
    if (session.height > (file.size + 1) * maxExpansion / session.storedRowBytes)
        throw file_failure(file.name, "is truncated: it is too short for its size in pixels");
    attemptOrFail(startPixels);
    picture result;
    picture_allocate(result, file.name, session.width, session.height, session.depth);
    const auto row = picture_allocateRow(file.name, session.rowBytes);
    session.row = row.get();
    session.pixels = result.pixels.get();
    attemptOrFail(readPixels);
    result.wasColour = session.hasColour;
    result.wasTransparent = session.hasTransparency;
    return result;
}

void png_write(std::FILE* stream, const std::string& path, const picture_view& pixels)
{
    writer session = {};
    const writerGuard guard = {&session};
    session.stream = stream;
    session.view = &pixels;
    session.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &session, onError<writer>, onWarning);
    makeInfo(&session, path);
    if (!attempt(&session, writeAll))
        throw file_failure(path, std::string("cannot be written: ") + session.message);
}
