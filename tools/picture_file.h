// Pictures in files of every format that the program knows; the ending of the path says which.
#pragma once

#include "picture.h"

#include <cstdio>
#include <string>

enum class picture_format { unknown, png, pgm, ppm };

// What a file's ending says, in capital or small letters.
picture_format picture_formatOf(const std::string& path);

// Reads a file. Failures: file_failure.
picture picture_read(const std::string& path);

// Writes a whole file in the format of the path's ending; the stream is left open. Failures: file_failure.
void picture_write(std::FILE* stream, const std::string& path, const picture_view& pixels);
