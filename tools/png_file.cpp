// libpng reports an error by a jump out of its own call. Every call that can fail therefore happens in a
// "step", a function whose locals need no destruction, started by `attempt`, the only place where the jump
// lands.
#include "png_file.h"

#include "failure.h"
#include "input_file.h"

#include <bit>
#include <csetjmp>
#include <limits>

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
    bool hasColour;
    uint64_t storedBytes; // what the file must hold, unpacked
    int passes;
    size_t rowBytes;
    uint8_t* pixels;
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

void readHeader(reader* r)
{
    allowEverySize(r->png);
    png_init_io(r->png, r->stream);
    png_read_info(r->png, r->info);
    r->width = png_get_image_width(r->png, r->info);
    r->height = png_get_image_height(r->png, r->info);
    r->storedBytes = static_cast<uint64_t>(png_get_rowbytes(r->png, r->info)) * r->height;
}

// Takes memory for rows, so it must be clear by now that the file is large enough for what its header says.
void startPixels(reader* r)
{
    const int colourType = png_get_color_type(r->png, r->info);
    const int storedDepth = png_get_bit_depth(r->png, r->info);
    r->hasColour = (colourType & (PNG_COLOR_MASK_COLOR | PNG_COLOR_MASK_ALPHA)) != 0;
    if (colourType == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(r->png);
    else if (storedDepth < 8)
        png_set_expand_gray_1_2_4_to_8(r->png);
    png_set_strip_alpha(r->png);
    useMachineByteOrder(r->png, storedDepth);
    r->passes = png_set_interlace_handling(r->png);
    png_read_update_info(r->png, r->info);
    r->depth = png_get_bit_depth(r->png, r->info);
    r->channels = png_get_channels(r->png, r->info);
    r->rowBytes = png_get_rowbytes(r->png, r->info);
}

void readPixels(reader* r)
{
    for (int pass = 0; pass < r->passes; ++pass)
        for (png_uint_32 y = 0; y < r->height; ++y)
            png_read_row(r->png, r->pixels + y * r->rowBytes, nullptr);
    png_read_end(r->png, nullptr);
}

void writeAll(writer* w)
{
    const picture_view& view = *w->view;
    allowEverySize(w->png);
    png_init_io(w->png, w->stream);
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

} // namespace

picture png_read(const std::string& path)
{
    const input_file file = input_open(path);
    reader session = {};
    const readerGuard guard = {&session};
    session.stream = file.stream.get();
    session.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &session, onError<reader>, onWarning);
    makeInfo(&session, path);

    const auto attemptOrFail = [&](void (*step)(reader*)) {
        if (!attempt(&session, step))
            throw file_failure(path, std::string("is not a sound PNG file: ") + session.message);
    };
    attemptOrFail(readHeader);
    if (session.storedBytes / maxExpansion > file.size)
        throw file_failure(path, "is truncated: it is too short for its size in pixels");
    attemptOrFail(startPixels);
    picture result;
    picture_allocate(result, path, session.width, session.height, session.depth, session.channels);
    session.pixels = result.pixels.get();
    attemptOrFail(readPixels);

    if (session.channels == 3)
        picture_greyFromRgb(result);
    result.wasColour = session.hasColour;
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
