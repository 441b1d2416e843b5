#include "picture_file.h"

#include "png_file.h"
#include "pnm_file.h"

#include <algorithm>
#include <cctype>

picture_format picture_formatOf(const std::string& path)
{
    const size_t dot = path.rfind('.');
    std::string ending = dot == std::string::npos ? "" : path.substr(dot + 1);
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == "png")
        return picture_format::png;
    if (ending == "pgm")
        return picture_format::pgm;
    return ending == "ppm" ? picture_format::ppm : picture_format::unknown;
}

picture picture_read(const std::string& path)
{
    return picture_formatOf(path) == picture_format::png ? png_read(path) : pnm_read(path);
}

void picture_write(std::FILE* stream, const std::string& path, const picture_view& pixels)
{
    if (picture_formatOf(path) == picture_format::png)
        png_write(stream, path, pixels);
    else
        pnm_write(stream, path, pixels);
}
