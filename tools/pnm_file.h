// Binary PGM and PPM files (P5, P6). Values are taken as they stand, whatever the greatest value in the
// header, above which none may be; one up to 255 makes an 8-bit picture, one above a 16-bit picture.
#pragma once

#include "input_file.h"
#include "picture.h"

#include <cstdio>
#include <string>

// What of a file that arrives belongs to the picture is read. Failures: file_failure.
void pnm_pass(const input_file& file);

picture pnm_read(const input_file& file);

// P5 with the greatest value 255 or 65535.
void pnm_write(std::FILE* stream, const std::string& path, const picture_view& pixels);
