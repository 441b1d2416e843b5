#include "picture_file.h"

#include "bmp_file.h"
#include "failure.h"
#include "input_file.h"
#include "png_file.h"
#include "pnm_file.h"
#include "tiff_file.h"

#include <algorithm>
#include <cctype>
#include <string_view>

using namespace std::string_view_literals;

namespace
{

struct known {
    std::string_view signature;
    picture (*read)(const input_file& file);
    void (*pass)(const input_file& file); // reads as much of a file that arrives as belongs to the picture
};

// Two byte orders of TIFF, each with addresses of 32 and of 64 bits.
constexpr known formats[] = {
    {"\x89PNG\r\n\x1a\n"sv, png_read, png_pass},
    {"P5"sv, pnm_read, pnm_pass},
    {"P6"sv, pnm_read, pnm_pass},
    {"II*\0"sv, tiff_read, tiff_pass},
    {"MM\0*"sv, tiff_read, tiff_pass},
    {"II+\0"sv, tiff_read, tiff_pass},
    {"MM\0+"sv, tiff_read, tiff_pass},
    {"BM"sv, bmp_read, bmp_pass},
};

} // namespace

std::optional<picture_format> picture_formatOf(const std::string& path)
{
    const size_t dot = path.rfind('.');
    std::string ending = dot == std::string::npos ? "" : path.substr(dot + 1);
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == "png")
        return picture_format::png;
    if (ending == "pgm")
        return picture_format::pgm;
    if (ending == "tif" || ending == "tiff")
        return picture_format::tiff;
    return ending == "raw" ? std::optional(picture_format::raw) : std::nullopt;
}

std::string picture_endingOf(picture_format format)
{
    switch (format) {
    case picture_format::png:
        return "png";
    case picture_format::pgm:
        return "pgm";
    case picture_format::tiff:
        return "tif";
    case picture_format::raw:
        return "raw";
    }
    return "";
}

picture picture_read(const std::string& path, const std::optional<raw_layout>& layout)
{
    input_file file = input_open(path);
    if (layout) {
        input_complete(&file, [&](const input_file& arriving) {
            input_pass(arriving, raw_byteCount(*layout) + 1); // one more shows that the file is too long
        });
        return raw_read(file, *layout);
    }
    const std::string_view head(reinterpret_cast<const char*>(file.head.data()), file.headSize);
    for (const known& format : formats)
        if (head.starts_with(format.signature)) {
            input_complete(&file, format.pass);
            return format.read(file);
        }
    throw file_failure(file.name, "is not a PNG, TIFF, BMP or binary PGM or PPM file");
}

void picture_write(std::FILE* stream, const std::string& name, picture_format format,
                   const picture_view& pixels)
{
    switch (format) {
    case picture_format::png:
        return png_write(stream, name, pixels);
    case picture_format::pgm:
        return pnm_write(stream, name, pixels);
    case picture_format::tiff:
        return tiff_write(stream, name, pixels);
    case picture_format::raw:
        return raw_write(stream, name, pixels);
    }
}
