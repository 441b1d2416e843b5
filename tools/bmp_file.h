// BMP files, reading only: unpacked pixels of 1, 4 and 8 bits with a palette, and of 24 and 32 bits. Where
// red, green and blue are equal in every pixel the picture is grey, else it is converted row by row.
// Run-length packing, pixels of 16 bits and embedded files of other formats are refused.
#pragma once

#include "input_file.h"
#include "picture.h"

// What of a file that arrives belongs to the picture is read. Failures: file_failure.
void bmp_pass(const input_file& file);

picture bmp_read(const input_file& file);
