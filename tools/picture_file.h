// Pictures in files of every format that the program knows. What is read is known by its first bytes,
// whatever its name is; what is written is asked for by name.
#pragma once

#include "picture.h"
#include "raw_file.h"

#include <cstdio>
#include <optional>
#include <string>

enum class picture_format { png, pgm, tiff, raw };

// The format in which a file of this name is written: what its ending says, in capital or small letters.
std::optional<picture_format> picture_formatOf(const std::string& path);

// The ending under which a format is written.
std::string picture_endingOf(picture_format format);

// Reads a file, or the standard input ("-"): a picture in one of the formats that are known, or, when a
// layout is given, pixels of a camera without any header. Failures: file_failure.
picture picture_read(const std::string& path, const std::optional<raw_layout>& layout = std::nullopt);

// Writes a whole file; the stream is left open. `name` is for messages. Failures: file_failure.
void picture_write(std::FILE* stream, const std::string& name, picture_format format,
                   const picture_view& pixels);
