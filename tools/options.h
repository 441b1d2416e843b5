// The command line as a record.
#pragma once

#include "option_values.h"
#include "picture_file.h"

#include <qip/params.h>

#include <optional>
#include <string>
#include <vector>

enum class command { gauss, half, binomial, result_mask, info };
enum class half_axis { xy, x, y };

struct options {
    command what = command::info;

    std::vector<std::string> files;    // as they stand in the command line
    std::optional<std::string> outDir; // for the outputs of all of `files`
    int32_t jobs = 0;                  // 0: one a processor
    bool quiet = false;

    // What is read and written; with outDir, for each file in options of its own.
    std::string input;  // the mask in the case of result-mask; "-" is the standard input
    std::string output; // "-" is the standard output, for the masks to write too
    std::optional<raw_layout> raw;
    std::optional<picture_format> format;
    picture_format outputFormat = picture_format::png; // what `format` and the names come to
    picture_format maskOutFormat = picture_format::png;
    std::optional<std::string> mask;
    std::optional<std::string> resetMask;
    std::optional<std::string> centreMask;
    std::optional<std::string> maskOut;

    qip_gaussParams params = {};
    std::optional<int> depth; // 8 or 16; the library's choice when not given
    half_axis axis = half_axis::xy;
    int_pair passes = {2, 2};

    int_pair origin = {0, 0};
    std::optional<qstd_rect32> roi;
    int32_t fill = 0;
    std::optional<qmath_xformLinear> imageFromClient;

    std::string cpuLevel = "auto";
    std::optional<int32_t> threadCount;
    int32_t repeat = 1;
    bool json = false;
};

// Reads the command line. Nothing is returned when it asked for help or the version, which has been printed
// then.
// Failures: usage_failure; file_failure when help or version cannot be printed.
std::optional<options> options_parse(int argc, const char* const* argv);

// "major.minor.patch" of the library.
std::string options_version();
