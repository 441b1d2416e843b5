// TIFF files with one grey picture of 8 or 16 bits a pixel, in rows or in tiles; where 0 is white, pixels
// are inverted. Not packed, or packed without loss by LZW, DEFLATE or PackBits. Anything else is refused:
// colour, several samples a pixel, signed values, floats, several pictures in a file, rows that do not run
// from the top left.
#pragma once

#include "input_file.h"
#include "picture.h"

#include <cstdio>
#include <string>

// What of a file that arrives belongs to the picture is read. Failures: file_failure.
void tiff_pass(const input_file& file);

picture tiff_read(const input_file& file);

// Not packed, in strips; 0 is black. The stream must be one that can be sought in. Failures: file_failure.
void tiff_write(std::FILE* stream, const std::string& name, const picture_view& pixels);
