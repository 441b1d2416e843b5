#include "options.h"

#include "failure.h"
#include "output.h"
#include "report.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>

namespace
{

using textReader = std::function<void(const std::string& option, const std::string& text)>;

// Every value goes through a reader of ours, which throws usage failures that name the option.
CLI::Option* addText(CLI::App* app, const std::string& name, const std::string& form,
                     const std::string& help, const textReader& read)
{
    const auto pass = [=](const std::string& text) {
        read(name, text);
    };
    return app->add_option_function<std::string>(name, pass, help)->type_name(form);
}

template <typename Target, typename Value>
CLI::Option* addValue(CLI::App* app, const std::string& name, const std::string& form,
                      const std::string& help, Target& target,
                      Value (*read)(const std::string& option, const std::string& text))
{
    return addText(app, name, form, help,
                   [&target, read](const std::string& option, const std::string& text) {
                       target = read(option, text);
                   });
}

template <typename Target>
CLI::Option* addIntInRange(CLI::App* app, const std::string& name, const std::string& form,
                           const std::string& help, Target& target, int32_t least, int32_t greatest)
{
    return addText(app, name, form, help, [=, &target](const std::string& option, const std::string& text) {
        target = option_intInRange(option, text, least, greatest);
    });
}

// ---- values that only one option takes ----

// What is asked of these shows when they are used: files may not be there, the processor service knows the
// names of levels.
std::string readText(const std::string&, const std::string& text)
{
    return text;
}

picture_format readFormat(const std::string&, const std::string& text)
{
    return *picture_formatOf("." + text);
}

raw_layout readRaw(const std::string& option, const std::string& text)
{
    constexpr std::pair<const char*, raw_format> formats[] = {
        {"mono8", raw_format::mono8},   {"mono10", raw_format::mono10},   {"mono12", raw_format::mono12},
        {"mono16", raw_format::mono16}, {"mono10p", raw_format::mono10p}, {"mono12p", raw_format::mono12p}};
    const size_t by = text.find('x');
    const size_t comma = text.find(',');
    for (const auto& [name, format] : formats)
        if (by < comma && text.substr(comma + 1) == name)
            return {option_intInRange(option, text.substr(0, by), 1, INT32_MAX),
                    option_intInRange(option, text.substr(by + 1, comma - by - 1), 1, INT32_MAX), format};
    throw usage_failure(
        option + ": \"" + text +
        "\" is not WxH,FORMAT with a FORMAT of mono8, mono10, mono12, mono16, mono10p, mono12p");
}

half_axis readAxis(const std::string&, const std::string& text)
{
    return text == "xy" ? half_axis::xy : text == "x" ? half_axis::x : half_axis::y;
}

// ---- the commands ----

CLI::App* addCommand(CLI::App* app, const std::string& name, command what, const std::string& help,
                     options& o)
{
    CLI::App* sub = app->add_subcommand(name, help);
    sub->fallthrough();
    sub->footer("The options that all commands share are listed by: qip-smooth --help");
    sub->callback([&o, what] { o.what = what; });
    return sub;
}

void addFiles(CLI::App* sub, const std::string& inputName, options& o)
{
    sub->add_option("FILES", o.files,
                    inputName +
                        " and OUT, the pictures to read (PNG, TIFF, BMP, PGM or PPM) and to write (.png, "
                        ".tif, .tiff, .pgm or .raw), where - is standard input or output; with "
                        "--out-dir the pictures to read")
        ->type_name("")
        ->required();
}

void addKernelAndSample(CLI::App* sub, qip_gaussParams& params)
{
    addText(sub, "--kernel", "K|KXxKY", "kernel size: three boxes of K + 1 pixels (default 1)",
            [&](const std::string& option, const std::string& text) {
                const int_pair size = option_intByInt(option, text);
                params.kernelSizeX = size.x;
                params.kernelSizeY = size.y;
            });
    addText(sub, "--sample", "S|SXxSY", "keep one pixel of S (default 1)",
            [&](const std::string& option, const std::string& text) {
                const int_pair step = option_intByInt(option, text);
                params.sampleX = step.x;
                params.sampleY = step.y;
            });
}

void addThreshold(CLI::App* sub, qip_gaussParams& params)
{
    addValue(sub, "--threshold", "T", "share of the kernel that must be valid, 0 to 1 (default 0)",
             params.maskParams.threshold, option_double);
}

void addMasks(CLI::App* sub, options& o)
{
    addValue(sub, "--mask", "FILE", "8-bit mask of the input", o.mask, readText);
    addValue(sub, "--mask-out", "FILE", "mask to write", o.maskOut, readText);
}

void addGauss(CLI::App* app, options& o)
{
    CLI::App* sub = addCommand(app, "gauss", command::gauss, "smooth with a kernel of any size", o);
    addFiles(sub, "IN", o);
    addKernelAndSample(sub, o.params);
    addValue(sub, "--gain", "G", "factor on every value (default 1)", o.params.gain, option_double);
    sub->add_flag_callback(
        "--round", [&o] { o.params.round = 1; }, "round half up instead of truncating");
    addValue(sub, "--depth", "BITS", "bits of an output pixel (default: as the input)", o.depth, option_int)
        ->check(CLI::IsMember({"8", "16"}));
    addMasks(sub, o);
    addValue(sub, "--reset-mask", "FILE", "8-bit mask: where it is 0 pixels are not smoothed", o.resetMask,
             readText);
    addValue(sub, "--mask-mode", "0|1", "1: fill masked-out pixels from their neighbours",
             o.params.maskParams.mode, option_unsigned);
    addValue(sub, "--result-mode", "0|1", "1: a pixel is valid when enough of its kernel is",
             o.params.maskParams.resultMode, option_unsigned);
    addThreshold(sub, o.params);
}

void addHalf(CLI::App* app, options& o)
{
    CLI::App* sub = addCommand(app, "half", command::half, "smooth with 1 4 6 4 1 and halve", o);
    addFiles(sub, "IN", o);
    addValue(sub, "--axis", "AXIS", "directions to smooth and halve (default xy)", o.axis, readAxis)
        ->check(CLI::IsMember({"xy", "x", "y"}));
    addMasks(sub, o);
}

void addBinomial(CLI::App* app, options& o)
{
    CLI::App* sub = addCommand(app, "binomial", command::binomial, "smooth with 1 4 6 4 1 at full size", o);
    addFiles(sub, "IN", o);
    addValue(sub, "--passes", "N|NXxNY", "two for every time that the filter is applied (default 2)",
             o.passes, option_intByInt);
    addMasks(sub, o);
}

void addResultMask(CLI::App* app, options& o)
{
    CLI::App* sub = addCommand(app, "result-mask", command::result_mask,
                               "the mask that a masked gauss gives, without smoothing", o);
    addFiles(sub, "MASK", o);
    addKernelAndSample(sub, o.params);
    addThreshold(sub, o.params);
    addValue(sub, "--centre-mask", "FILE", "8-bit mask of the kernels' centres", o.centreMask, readText);
}

void addCommonOptions(CLI::App* app, options& o)
{
    CLI::Option* const outDir =
        addValue(app, "--out-dir", "DIR",
                 "read all FILES and write each picture to this folder, side by side", o.outDir, readText);
    addIntInRange(app, "--jobs", "N", "pictures at a time with --out-dir, 0: one a processor (default 0)",
                  o.jobs, 0, 128)
        ->needs(outDir);
    app->add_flag("--quiet", o.quiet, "no progress bar with --out-dir");
    addValue(
        app, "--raw", "WxH,FORMAT",
        "the input is a camera's pixels without a header; FORMAT: mono8, mono10, mono12, mono16, mono10p, "
        "mono12p",
        o.raw, readRaw);
    addValue(app, "--format", "FORMAT",
             "format to write (default: as the name ends, with --out-dir else png)", o.format, readFormat)
        ->check(CLI::IsMember({"png", "tiff", "pgm", "raw"}));
    addValue(app, "--origin", "X,Y", "origin of the input's rectangle (default 0,0)", o.origin,
             option_point);
    addValue(app, "--roi", "X,Y,W,H", "write this rectangle instead of all that the input yields", o.roi,
             option_rect);
    // A value that is too great for an 8-bit output shows when the input is read.
    addIntInRange(app, "--fill", "V", "value of the pixels of --roi that nothing reaches (default 0)",
                  o.fill, 0, UINT16_MAX);
    addValue(app, "--client", "A,B,C,D,TX,TY",
             "the input's image-from-client transform: m00, m01, m10, m11, tx, ty (default: identity)",
             o.imageFromClient, option_xform);
    addValue(app, "--cpu", "auto|plain|sse|avx2|neon",
             "processor level to use at most, to compare levels or to get the pixels that gauss gives on a "
             "lesser processor (default auto)",
             o.cpuLevel, readText);
    addIntInRange(
        app, "--threads", "N",
        "split large pictures over this many threads, 0: one a processor (default: one a processor for "
        "gauss with --mask, else one)",
        o.threadCount, 0, INT32_MAX);
    addIntInRange(app, "--repeat", "N", "run the call N times and report the median time (default 1)",
                  o.repeat, 1, INT32_MAX);
    app->add_flag("--json", o.json,
                  "describe the result, and the path that gauss took, on standard output");
}

// ---- rules that span options ----

bool areSameFile(const std::string& a, const std::string& b)
{
    const std::filesystem::path pathOfA = output_fullPath(a);
    return !pathOfA.empty() && pathOfA == output_fullPath(b);
}

picture_format formatOf(const std::string& option, const std::string& name)
{
    if (name == "-")
        throw usage_failure(option + ": the standard output needs --format");
    if (const auto format = picture_formatOf(name))
        return *format;
    throw usage_failure(option + ": \"" + name +
                        "\" does not end in .png, .tif, .tiff, .pgm or .raw, and there is no --format");
}

void chooseFormats(options& o)
{
    o.outputFormat = o.format ? *o.format : formatOf("OUT", o.output);
    if (!o.maskOut)
        return;
    const std::optional<picture_format> byName = picture_formatOf(*o.maskOut);
    o.maskOutFormat = !byName && o.format ? *o.format : formatOf("--mask-out", *o.maskOut);
}

void checkStandardStreams(const options& o)
{
    int readers = o.input == "-";
    for (const auto* mask : {&o.mask, &o.resetMask, &o.centreMask})
        readers += *mask == "-";
    if (readers > 1)
        throw usage_failure("the standard input can be read as one picture only");
    if (o.json && (o.output == "-" || o.maskOut == "-"))
        throw usage_failure("--json: the standard output is taken by a picture");
}

void checkOne(options& o)
{
    if (o.files.size() < 2)
        throw usage_failure("OUT is missing (qip-smooth --help)");
    if (o.files.size() > 2)
        throw usage_failure("\"" + o.files[2] + "\" is one file too many; several are read with --out-dir");
    o.input = o.files[0];
    o.output = o.files[1];
    checkStandardStreams(o);
    chooseFormats(o);
    if (!o.maskOut)
        return;
    if (!o.mask && o.what != command::gauss)
        throw usage_failure("--mask-out needs --mask");
    if (areSameFile(*o.maskOut, o.output))
        throw usage_failure("--mask-out: \"" + *o.maskOut + "\" is OUT as well");
}

void checkBatch(const options& o)
{
    if (o.maskOut)
        throw usage_failure("--mask-out does not go with --out-dir");
    if (o.threadCount)
        throw usage_failure("--threads does not go with --out-dir, which has --jobs");
    std::vector<std::string> inputs = o.files;
    for (const auto* mask : {&o.mask, &o.resetMask, &o.centreMask})
        inputs.push_back(mask->value_or(""));
    if (std::find(inputs.begin(), inputs.end(), "-") != inputs.end())
        throw usage_failure("the standard input does not go with --out-dir");
}

// CLI11 takes a positional argument "[a,b]" for a list, and "++" for the end of a command. To this program
// both are names of files, which "./" in front does not change; no option takes a value of that form.
std::vector<std::string> protectedWords(int argc, const char* const* argv)
{
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    for (std::string& word : words)
        if (word == "++" || (word.starts_with('[') && word.ends_with(']')))
            word.insert(0, "./");
    return words;
}

} // namespace

std::string options_version()
{
    return std::to_string(QIP_VERSION_MAJOR) + "." + std::to_string(QIP_VERSION_MINOR) + "." +
           std::to_string(QIP_VERSION_PATCH);
}

std::optional<options> options_parse(int argc, const char* const* argv)
{
    options o;
    qip_gaussParams_init(&o.params);
    CLI::App app("Smooths grey pictures.", "qip-smooth");
    app.set_version_flag("--version", "qip-smooth " + options_version());
    app.require_subcommand(1);
    addGauss(&app, o);
    addHalf(&app, o);
    addBinomial(&app, o);
    addResultMask(&app, o);
    addCommand(&app, "info", command::info, "print version, processor level and thread count", o);
    addCommonOptions(&app, o);
    try {
        std::vector<std::string> words = protectedWords(argc, argv);
        std::reverse(words.begin(), words.end()); // as CLI11 asks for
        app.parse(std::move(words));
    } catch (const CLI::Success& answer) {
        std::ostringstream text;
        app.exit(answer, text, text);
        report_printText(text.str().substr(0, text.str().find_last_not_of('\n') + 1));
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw usage_failure(std::string(error.what()) + " (qip-smooth --help)");
    }
    if (o.what == command::info)
        return o;
    if (o.outDir)
        checkBatch(o);
    else
        checkOne(o);
    return o;
}
