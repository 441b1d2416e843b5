// PNG files: grey of every depth as it is (1, 2 and 4 bits spread to 8), colour and palettes converted to
// grey row by row, transparency dropped. Chunks that no pixel depends on (texts, colour spaces, times) are
// passed over, whatever they hold, wrong checksums included: pixel values are measurements.
#pragma once

#include "input_file.h"
#include "picture.h"

#include <cstdio>
#include <string>

// What of a file that arrives belongs to the picture is read. Failures: file_failure.
void png_pass(const input_file& file);

picture png_read(const input_file& file);

// Grey, 8 or 16 bits.
void png_write(std::FILE* stream, const std::string& path, const picture_view& pixels);
