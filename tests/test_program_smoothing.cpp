// The program's pictures and numbers against the library called with the same choices.
#include "support/images.h"
#include "support/oracle_gauss2.h"
#include "support/program.h"

#include <qip/masked.h>
#include <qip/smoothing.h>

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <sstream>

namespace
{

// An image that the library binds, or that lies over pixels of its own.
struct plane {
    std::optional<test_pixels> pixels;
    test_image image;

    void lay(const qstd_rect32& rect, int32_t pixelSize,
             const std::function<uint32_t(int32_t x, int32_t y)>& value)
    {
        pixels.emplace(test_layout{rect.width, rect.height, pixelSize});
        test_fill(&*pixels, value);
        image.lay(*pixels, rect.x, rect.y);
    }

    void lay(const program_picture& picture, int x, int y)
    {
        lay({x, y, picture.width, picture.height}, picture.greatest > 255 ? 2 : 1,
            [&](int32_t column, int32_t row) {
                return picture.pixels[static_cast<size_t>(int64_t{row} * picture.width + column)];
            });
    }
};

program_picture pictureOf(const test_view& view)
{
    return {view.width, view.height, view.pixelSize == 2 ? 65535 : 255, test_grid(view).values};
}

std::string joined(const std::vector<int64_t>& numbers, const char* separator)
{
    std::string text;
    for (const int64_t number : numbers) {
        text += text.empty() ? "" : separator;
        text += std::to_string(number);
    }
    return text;
}

// One random case: an input, the options that all commands share, and what the library makes of them.
class scene
{
public:
    scene(uint64_t number, int greatest) : random(test_randomFor(number)), name(test_caseName(number))
    {
        input = program_randomPicture(&random, between(1, 40), between(1, 40), greatest);
        program_writeFile(folder.file("in.pgm"), program_pgmOf(input));
        const int x = between(-20, 20);
        const int y = between(-20, 20);
        add("--origin", joined({x, y}, ","));
        source.lay(input, x, y);
        if (between(0, 1)) {
            const qmath_xformLinear xform = {2, 0.5, -0.25, 4, between(-9, 9) / 8.0, 3};
            qimg_image_setLinearImageFromClientXform(&source.image.record, &xform);
            add("--client", "2,0.5,-0.25,4," + std::to_string(xform.tx) + ",3");
        }
    }

    int between(int low, int high)
    {
        return test_randomInt(&random, low, high);
    }

    void add(const std::string& option, const std::string& value)
    {
        arguments.push_back(option);
        arguments.push_back(value);
    }

    // Half of the cases write into a rectangle, which may miss the input.
    void maybeBindToRoi(int depth, bool withMask)
    {
        if (between(0, 1))
            return;
        const qstd_rect32 roi = {between(-25, 25), between(-25, 25), between(1, 40), between(1, 40)};
        const int fill = between(0, depth == 16 ? 65535 : 255);
        add("--roi", joined({roi.x, roi.y, roi.width, roi.height}, ","));
        add("--fill", std::to_string(fill));
        dst.lay(roi, depth / 8, [&](int32_t, int32_t) { return static_cast<uint32_t>(fill); });
        if (withMask)
            dstMask.lay(roi, 1, [](int32_t, int32_t) { return 0u; });
    }

    // A mask that covers the input, with values up to `greatest`.
    void addMask(const std::string& option, plane* mask, int greatest)
    {
        const std::string file = folder.file(option.substr(2) + ".pgm");
        const program_picture picture = program_randomPicture(&random, input.width, input.height, greatest);
        program_writeFile(file, program_pgmOf(picture));
        add(option, file);
        mask->lay(picture, source.image.record.rect.x, source.image.record.rect.y);
    }

    void addMaskOut()
    {
        add("--mask-out", folder.file("mask-out.pgm"));
        hasMaskOut = true;
    }

    // Kernel, sampling, gain and rounding.
    qip_gaussParams addParams(int greatestKernel)
    {
        qip_gaussParams params;
        qip_gaussParams_init(&params);
        params.kernelSizeX = between(0, greatestKernel);
        params.kernelSizeY = between(0, greatestKernel);
        add("--kernel", joined({params.kernelSizeX, params.kernelSizeY}, "x"));
        params.sampleX = params.sampleY = between(1, 4);
        add("--sample", std::to_string(params.sampleX));
        params.gain = between(1, 20) / 8.0;
        add("--gain", std::to_string(params.gain));
        params.round = between(0, 1);
        if (params.round)
            add("--round", "--repeat=2");
        return params;
    }

    // Runs the program and holds files and report against `dst` and, when it is asked for, `dstMask`.
    void compare(const std::string& command, qip_status status)
    {
        arguments.insert(arguments.begin(),
                         {command, folder.file("in.pgm"), folder.file("out.pgm"), "--json"});
        const program_result result = program_run(arguments);
        std::string line = name + ":";
        for (const std::string& word : arguments)
            line += " " + word;
        SCOPED_TRACE(line);
        if (status < 0) { // a mask that does not cover what a rectangle needs
            EXPECT_EQ(result.exitStatus, 1);
            EXPECT_EQ(program_jsonNumber(result.output, "status"), status);
            return;
        }
        ASSERT_EQ(result.exitStatus, 0) << result.errors;
        const qstd_rect32 rect = dst.image.record.rect;
        const bool isEmpty = rect.width <= 0 || rect.height <= 0;
        compareReport(result.output, isEmpty ? qstd_rect32{0, 0, 0, 0} : rect);
        EXPECT_EQ(std::filesystem::exists(folder.file("out.pgm")), !isEmpty);
        EXPECT_EQ(result.errors, isEmpty ? "qip-smooth: empty result\n" : "");
        if (isEmpty)
            return;
        EXPECT_EQ(program_readPgm(folder.file("out.pgm")), pictureOf(dst.image.view()));
        if (hasMaskOut) {
            EXPECT_EQ(program_readPgm(folder.file("mask-out.pgm")), pictureOf(dstMask.image.view()));
        }
    }

    plane source, mask, resetMask, dst, dstMask;

private:
    void compareReport(const std::string& json, const qstd_rect32& rect)
    {
        const std::string keys =
            "x y width height depth status cpu threads ms mpixel_per_s image_from_client ";
        const bool hasPath = json.find("\"path\"") != std::string::npos; // held by GaussNamesItsPath
        EXPECT_EQ(program_jsonKeys(json), keys + (hasPath ? "path " : ""));
        EXPECT_EQ(program_jsonNumber(json, "x"), rect.x);
        EXPECT_EQ(program_jsonNumber(json, "y"), rect.y);
        EXPECT_EQ(program_jsonNumber(json, "width"), rect.width);
        EXPECT_EQ(program_jsonNumber(json, "height"), rect.height);
        EXPECT_EQ(program_jsonNumber(json, "status"), 0);
        if (rect.width > 0) {
            EXPECT_EQ(program_jsonNumber(json, "depth"), dst.image.record.pixelSize * 8);
        }
        qmath_xformLinear xform = {};
        const qmath_point origin = {0, 0};
        ASSERT_GE(qmath_xformPtrhConst_getLinear(&dst.image.record.imageFromClient, &origin, &xform), 0);
        EXPECT_EQ(program_jsonNumbers(json, "image_from_client"),
                  (std::vector<double>{xform.m00, xform.m01, xform.m10, xform.m11, xform.tx, xform.ty}));
    }

    program_folder folder;
    test_random random;
    std::string name;
    program_picture input;
    bool hasMaskOut = false;
    std::vector<std::string> arguments;
};

} // namespace

TEST(ProgramSmoothing, GaussIsTheLibrarys)
{
    for (uint64_t number = 0; number < 40; ++number) {
        scene s(number, 255);
        qip_gaussParams params;
        qip_gaussParams_init(&params);
        if (s.between(0, 9)) // else the defaults
            params = s.addParams(9);
        const int depth = s.between(1, 2) * 8;
        if (depth == 16)
            s.add("--depth", "16");
        s.maybeBindToRoi(depth, false);
        const auto smooth = depth == 8 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
        s.compare("gauss", smooth(&s.source.image.record, &s.dst.image.record, &params));
    }
}

// With every choice of masks, and 16-bit input.
TEST(ProgramSmoothing, MaskedGaussIsTheLibrarys)
{
    for (uint64_t number = 2000; number < 2080; ++number) {
        const bool isDeep = number % 4 == 0;
        scene s(number, isDeep ? 65535 : 255);
        qip_gaussParams params = s.addParams(9);
        params.maskParams = {static_cast<uint32_t>(s.between(0, 1)), static_cast<uint32_t>(s.between(0, 1)),
                             s.between(0, 8) / 8.0};
        s.add("--mask-mode", std::to_string(params.maskParams.mode));
        s.add("--result-mode", std::to_string(params.maskParams.resultMode));
        s.add("--threshold", std::to_string(params.maskParams.threshold));
        const bool hasMask = s.between(0, 3);
        if (hasMask)
            s.addMask("--mask", &s.mask, 2);
        if (s.between(0, 1) || !(hasMask || isDeep))
            s.addMask("--reset-mask", &s.resetMask, 2);
        const bool hasMaskOut = s.between(0, 1);
        if (hasMaskOut)
            s.addMaskOut();
        const int depth = isDeep ? 16 : s.between(1, 2) * 8;
        s.add("--depth", std::to_string(depth));
        s.maybeBindToRoi(depth, hasMaskOut);
        const auto smooth = isDeep        ? qip_gauss_smoothMasked16_16
                            : depth == 16 ? qip_gauss_smoothMasked8_16
                                          : qip_gauss_smoothMasked8_8;
        s.compare("gauss",
                  smooth(&s.source.image.record, &s.mask.image.record, &s.resetMask.image.record, &params,
                         &s.dst.image.record, hasMaskOut ? &s.dstMask.image.record : nullptr));
    }
}

TEST(ProgramSmoothing, ResultMaskIsTheLibrarys)
{
    for (uint64_t number = 3000; number < 3030; ++number) {
        scene s(number, 255);
        const int32_t kernel[] = {s.between(0, 5), s.between(0, 5)};
        s.add("--kernel", joined({kernel[0], kernel[1]}, "x"));
        const int32_t sample[] = {s.between(1, 3), s.between(1, 3)};
        s.add("--sample", joined({sample[0], sample[1]}, "x"));
        const double threshold = s.between(6, 10) / 16.0; // about half of the input counts as valid
        s.add("--threshold", std::to_string(threshold));
        if (s.between(0, 1))
            s.addMask("--centre-mask", &s.mask, 2);
        s.maybeBindToRoi(8, false);
        s.compare("result-mask",
                  qip_filterMask_computeResultMask_(&s.source.image.record, &s.mask.image.record, kernel,
                                                    sample, threshold, &s.dst.image.record));
    }
}

// The path that is named has made the pixels: a flat picture has values that tell the paths apart.
TEST(ProgramSmoothing, GaussNamesItsPath)
{
    struct answer {
        const char* path;
        int pixel;
    };
    const char* const maskedFast = "masked-fixed-point";
    const char* const maskedDouble = "masked-double";
    const struct {
        uint16_t width, height, value;
        std::string options;
        answer avx2, sse;
        int reference; // the pixel of the path that every processor has
    } requests[] = {
        // Without rounding, 3 times the weights 729: a whole number, which two of the paths miss by one.
        {33, 33, 3, "--kernel 2", {"seven-tap", 2}, {"fixed-point", 2}, 3},
        {32, 90, 3, "--kernel 2", {"reference", 3}, {"fixed-point", 2}, 3},
        {90, 32, 3, "--kernel 2", {"reference", 3}, {"fixed-point", 2}, 3},
        {90, 90, 3, "--kernel 2 --roi 60,9,40,40", {"reference", 3}, {"fixed-point", 2}, 3},
        {90, 90, 3, "--kernel 2 --roi 57,9,40,40", {"seven-tap", 2}, {"fixed-point", 2}, 3},
        {99, 99, 3, "--kernel 2 --sample 3", {"seven-tap", 2}, {"fixed-point", 2}, 3},
        {40, 40, 3, "--kernel 2 --depth 16", {"general", 3}, {"fixed-point", 2}, 3},
        {18, 18, 3, "--kernel 2 --sample 2", {"reference", 3}, {"fixed-point", 2}, 3},
        {17, 18, 3, "--kernel 2 --sample 2", {"reference", 3}, {"reference", 3}, 3},
        {18, 17, 3, "--kernel 2 --sample 2", {"reference", 3}, {"reference", 3}, 3},
        {40, 40, 3, "--kernel 2 --round", {"seven-tap", 3}, {"reference", 3}, 3},
        {40, 40, 1, "--kernel 2x4 --gain 3", {"general", 3}, {"reference", 3}, 3},
        // 400 is cut to its low eight bits, except by the one path that clamps to 255.
        {40, 40, 200, "--kernel 1 --gain 2", {"small-kernel", 255}, {"fixed-point", 144}, 144},
        {99, 99, 200, "--kernel 1 --gain 2 --sample 3", {"small-kernel", 255}, {"fixed-point", 144}, 144},
        {160, 99, 200, "--kernel 1 --gain 2 --sample 4x1", {"general", 144}, {"fixed-point", 144}, 144},
        {40, 40, 200, "--kernel 3 --gain 2", {"general", 144}, {"fixed-point", 144}, 144},
        // Without a source mask the path is that of the call without masks; IN is a mask without a 0.
        {40, 40, 3, "--kernel 2 --reset-mask IN", {"seven-tap", 2}, {"fixed-point", 2}, 3},
        // With one, fixed point loses one where it truncates, and cuts to the low bits.
        {9, 9, 3, "--kernel 2 --mask IN", {maskedFast, 2}, {maskedFast, 2}, 3},
        {8, 9, 3, "--kernel 2 --mask IN", {maskedDouble, 3}, {maskedDouble, 3}, 3},
        {9, 17, 3, "--kernel 2 --sample 1x2 --mask IN", {maskedDouble, 3}, {maskedDouble, 3}, 3},
        {40, 40, 200, "--kernel 3 --gain 1.75 --mask IN", {maskedFast, 94}, {maskedFast, 94}, 255},
        {40, 40, 3, "--kernel 2 --mask IN --roi 6,9,3,4", {maskedFast, 2}, {maskedFast, 2}, 3},
        {40, 40, 3, "--kernel 2 --mask IN --roi 6,9,2,4", {maskedDouble, 3}, {maskedDouble, 3}, 3},
        {40, 40, 200, "--kernel 3 --gain 2 --mask IN", {maskedDouble, 255}, {maskedDouble, 255}, 255},
    };
    const program_folder folder;
    const std::string in = folder.file("in.pgm"), out = folder.file("out.pgm");
    for (const auto& request : requests) {
        program_picture flat = {request.width, request.height, 255, {}};
        flat.pixels.assign(size_t{1} * request.width * request.height, request.value);
        program_writeFile(in, program_pgmOf(flat));
        const bool isMasked = request.options.find("--mask") != std::string::npos;
        const answer byDefinition = {isMasked ? maskedDouble : "reference", request.reference};
        for (const auto& [level, expected] : {std::pair("avx2", request.avx2),
                                              {"sse", request.sse},
                                              {"neon", byDefinition},
                                              {"plain", byDefinition}}) {
            if (qsys_cpuinfo_limitLevel(level) < 0)
                continue; // not on this machine
            qsys_cpuinfo_limitLevel("auto");
            SCOPED_TRACE(std::to_string(request.width) + "x" + std::to_string(request.height) + " " +
                         request.options + " " + level);
            std::vector<std::string> words = {"gauss", in,       out,     "--origin",
                                              "1,1",   "--json", "--cpu", level};
            std::istringstream more(request.options);
            for (std::string word; more >> word;)
                words.push_back(word == "IN" ? in : word);
            const program_result result = program_run(words);
            ASSERT_EQ(result.exitStatus, 0) << result.errors;
            EXPECT_EQ(program_jsonText(result.output, "path"), expected.path);
            const program_picture smoothed = program_readPgm(out);
            EXPECT_EQ(smoothed.pixels[smoothed.pixels.size() / 2], expected.pixel);
        }
    }
}

// Half resolution in its three forms, and the binomial filter with even numbers of passes.
TEST(ProgramSmoothing, HalfAndBinomialAreTheLibrarys)
{
    uint64_t number = 1000;
    for (const oracle_gauss2Export& what : oracle_gauss2Exports())
        for (int repeat = 0; !what.windows && repeat < (what.sampled ? 3 : 6); ++repeat) {
            scene s(++number, what.pixelSize == 2 ? 65535 : 255);
            const int x = s.between(0, 2) * 2;
            const int y = s.between(0, 2) * 2;
            if (what.sampled)
                s.add("--axis", what.halveX ? what.halveY ? "xy" : "x" : "y");
            else
                s.add("--passes", x == y ? std::to_string(x) : joined({x, y}, "x"));
            if (what.masked) {
                s.addMask("--mask", &s.mask, 255);
                s.addMaskOut();
            }
            s.maybeBindToRoi(8 * what.pixelSize, what.masked);
            const oracle_gauss2Arguments arguments = {.src = &s.source.image.record,
                                                      .srcMask = &s.mask.image.record,
                                                      .dst = &s.dst.image.record,
                                                      .dstMask = &s.dstMask.image.record,
                                                      .passesX = x,
                                                      .passesY = y};
            s.compare(what.sampled ? "half" : "binomial", what.call(arguments));
        }
}

// Neither where threads share a call nor where they do not.
TEST(ProgramSmoothing, ThreadsChangeNoPixel)
{
    const program_folder folder;
    const std::string in = folder.file("in.pgm");
    test_random random = test_randomFor(4000);
    program_writeFile(in, program_pgmOf(program_randomPicture(&random, 500, 400, 255)));
    for (const char* line : {"gauss --kernel 2", "gauss --kernel 5 --mask", "half", "binomial --mask"}) {
        std::string alone;
        for (const char* threads : {"1", "2", "3"}) {
            std::istringstream stream(line);
            std::vector<std::string> words = {"--threads", threads};
            for (std::string word; stream >> word;)
                words.push_back(word);
            if (words.back() == "--mask")
                words.push_back(in); // random pixels, some of which are 0
            words.insert(words.end(), {"--json", in, folder.file("out.pgm")});
            const program_result result = program_run(words);
            ASSERT_EQ(result.exitStatus, 0) << line << ": " << result.errors;
            EXPECT_EQ(program_jsonNumber(result.output, "threads"), std::stoi(threads));
            const std::string smoothed = program_readFile(folder.file("out.pgm"));
            if (alone.empty())
                alone = smoothed;
            EXPECT_TRUE(smoothed == alone) << line << " on " << threads << " threads";
        }
    }
}

// The pictures of the repository are those that the generator paints; compared as pixels, because packed
// bytes depend on the compressor's version.
TEST(ProgramSmoothing, SamplesAreTheGenerators)
{
    const program_folder folder;
    ASSERT_EQ(program_runAny({"/bin/sh", "-c", "cd '" + folder.path.string() + "' && '" MAKE_SAMPLES "'"})
                  .exitStatus,
              0);
    EXPECT_EQ(folder.listing(), "dust_mask.png part16.png part8.png ");
    for (const char* name : {"dust_mask.png", "part16.png", "part8.png"}) {
        const std::string kept = std::string(SAMPLES) + "/" + name;
        for (const auto& [from, to] :
             {std::pair(kept, "kept.pgm"), std::pair(folder.file(name), "painted.pgm")})
            ASSERT_EQ(program_run({"binomial", from, folder.file(to), "--passes", "0"}).exitStatus, 0)
                << from;
        EXPECT_TRUE(program_readFile(folder.file("kept.pgm")) ==
                    program_readFile(folder.file("painted.pgm")))
            << name;
    }
}
