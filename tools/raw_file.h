// Pixels as cameras deliver them, without a header: row after row, nothing between the rows and nothing
// behind the last. Values are taken as they stand: those of 10 and 12 bits become 16-bit pixels of 0 to
// 1023 or 4095.
#pragma once

#include "input_file.h"
#include "picture.h"

#include <cstdint>
#include <cstdio>
#include <string>

// Without p: a byte a pixel, or two with the low one first. With p: packed, 10 or 12 bits a pixel. A pixel
// begins at the lowest bit of a byte that the pixel before it, also that of the row before, leaves free;
// only behind the last pixel of the picture may bits be left over.
enum class raw_format { mono8, mono10, mono12, mono16, mono10p, mono12p };

struct raw_layout {
    int32_t width; // both at least 1
    int32_t height;
    raw_format format;
};

// The length of such a file.
uint64_t raw_byteCount(const raw_layout& layout);

// Failures: file_failure; also when the file is not exactly as long as its layout says, or a pixel of two
// bytes holds more bits than the format has.
picture raw_read(const input_file& file, const raw_layout& layout);

// As mono8 or mono16. Failures: file_failure.
void raw_write(std::FILE* stream, const std::string& name, const picture_view& pixels);
