// The program's pictures and numbers against the library called with the same choices.
#include "support/program.h"
#include "support/random.h"

#include <qip/half_resolution.h>
#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace
{

struct image {
    image() = default;
    image(const image&) = delete;
    image& operator=(const image&) = delete;

    ~image()
    {
        qimg_image_destruct(&record);
    }

    qimg_image record = QIMG_IMAGE_UNBOUND;
};

void setPixel(const qimg_image& target, int column, int row, uint16_t value)
{
    auto* bytes = static_cast<uint8_t*>(target.firstPixel) + int64_t{row} * target.stride;
    if (target.pixelSize == 1)
        bytes[column] = static_cast<uint8_t>(value);
    else
        std::memcpy(bytes + 2 * column, &value, 2);
}

program_picture pictureOf(const qimg_image& source)
{
    program_picture picture = {
        source.rect.width, source.rect.height, source.pixelSize == 2 ? 65535 : 255, {}};
    for (int64_t y = 0; y < source.rect.height; ++y)
        for (int64_t x = 0; x < source.rect.width; ++x) {
            const uint8_t* bytes = static_cast<uint8_t*>(source.firstPixel) + y * source.stride;
            uint16_t value = bytes[x * source.pixelSize];
            if (source.pixelSize == 2)
                std::memcpy(&value, bytes + 2 * x, 2);
            picture.pixels.push_back(value);
        }
    return picture;
}

program_picture randomPicture(test_random* random, int width, int height, int greatest)
{
    program_picture picture = {width, height, greatest, {}};
    for (int64_t i = 0; i < int64_t{width} * height; ++i)
        picture.pixels.push_back(static_cast<uint16_t>(test_randomRange(random, 0, greatest)));
    return picture;
}

void bind(image& target, const program_picture& picture, int x, int y)
{
    const qstd_rect32 rect = {x, y, picture.width, picture.height};
    ASSERT_GE(qimg_image_assignNewRect(&target.record, picture.greatest > 255 ? 2 : 1, &rect), 0);
    for (int row = 0; row < picture.height; ++row)
        for (int column = 0; column < picture.width; ++column)
            setPixel(target.record, column, row,
                     picture.pixels[static_cast<size_t>(row) * static_cast<size_t>(picture.width) +
                                    static_cast<size_t>(column)]);
}

std::string joined(const std::vector<int64_t>& numbers, const char* separator)
{
    std::string text;
    for (const int64_t number : numbers)
        text += (text.empty() ? "" : separator) + std::to_string(number);
    return text;
}

// One random case: an input, the options that all commands share, and what the library makes of them.
class scene
{
public:
    scene(uint64_t number, int greatest) : random(test_randomFor(number)), name(test_caseName(number))
    {
        input = randomPicture(&random, between(1, 40), between(1, 40), greatest);
        program_writeFile(folder.file("in.pgm"), program_pgmOf(input));
        const int x = between(-20, 20);
        const int y = between(-20, 20);
        add("--origin", joined({x, y}, ","));
        bind(source, input, x, y);
        if (between(0, 1)) {
            const qmath_xformLinear xform = {2, 0.5, -0.25, 4, between(-9, 9) / 8.0, 3};
            qimg_image_setLinearImageFromClientXform(&source.record, &xform);
            add("--client", "2,0.5,-0.25,4," + std::to_string(xform.tx) + ",3");
        }
    }

    int between(int low, int high)
    {
        return static_cast<int>(test_randomRange(&random, low, high));
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
        qimg_image_assignNewRect(&dst.record, depth / 8, &roi);
        for (int row = 0; row < roi.height; ++row)
            for (int column = 0; column < roi.width; ++column)
                setPixel(dst.record, column, row, static_cast<uint16_t>(fill));
        if (withMask)
            qimg_image8_assignNewRect(&dstMask.record, &roi);
    }

    // The mask covers the input.
    void addMask()
    {
        program_picture picture = randomPicture(&random, input.width, input.height, 255);
        program_writeFile(folder.file("mask.pgm"), program_pgmOf(picture));
        add("--mask", folder.file("mask.pgm"));
        add("--mask-out", folder.file("mask-out.pgm"));
        bind(mask, picture, source.record.rect.x, source.record.rect.y);
    }

    // Runs the program and holds files and report against `dst` and, when there is a mask, `dstMask`.
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
        const qstd_rect32 rect = dst.record.rect;
        const bool isEmpty = rect.width <= 0 || rect.height <= 0;
        compareReport(result.output, isEmpty ? qstd_rect32{0, 0, 0, 0} : rect);
        EXPECT_EQ(std::filesystem::exists(folder.file("out.pgm")), !isEmpty);
        EXPECT_EQ(result.errors, isEmpty ? "qip-smooth: empty result\n" : "");
        if (isEmpty)
            return;
        EXPECT_EQ(program_readPgm(folder.file("out.pgm")), pictureOf(dst.record));
        if (mask.record.pixelSize != 0) {
            EXPECT_EQ(program_readPgm(folder.file("mask-out.pgm")), pictureOf(dstMask.record));
        }
    }

    image source, mask, dst, dstMask;

private:
    void compareReport(const std::string& json, const qstd_rect32& rect)
    {
        EXPECT_EQ(program_jsonKeys(json),
                  "x y width height depth status cpu threads ms mpixel_per_s image_from_client ");
        EXPECT_EQ(program_jsonNumber(json, "x"), rect.x);
        EXPECT_EQ(program_jsonNumber(json, "y"), rect.y);
        EXPECT_EQ(program_jsonNumber(json, "width"), rect.width);
        EXPECT_EQ(program_jsonNumber(json, "height"), rect.height);
        EXPECT_EQ(program_jsonNumber(json, "status"), 0);
        if (rect.width > 0) {
            EXPECT_EQ(program_jsonNumber(json, "depth"), dst.record.pixelSize * 8);
        }
        qmath_xformLinear xform = {};
        const qmath_point origin = {0, 0};
        ASSERT_GE(qmath_xformPtrhConst_getLinear(&dst.record.imageFromClient, &origin, &xform), 0);
        EXPECT_EQ(program_jsonNumbers(json, "image_from_client"),
                  (std::vector<double>{xform.m00, xform.m01, xform.m10, xform.m11, xform.tx, xform.ty}));
    }

    program_folder folder;
    test_random random;
    std::string name;
    program_picture input;
    std::vector<std::string> arguments;
};

} // namespace

TEST(ProgramSmoothing, GaussIsTheLibrarys)
{
    for (uint64_t number = 0; number < 40; ++number) {
        scene s(number, 255);
        qip_gaussParams params;
        qip_gaussParams_init(&params);
        if (s.between(0, 9)) { // else the defaults
            params.kernelSizeX = s.between(0, 9);
            params.kernelSizeY = s.between(0, 9);
            s.add("--kernel", joined({params.kernelSizeX, params.kernelSizeY}, "x"));
            params.sampleX = params.sampleY = s.between(1, 4);
            s.add("--sample", std::to_string(params.sampleX));
            params.gain = s.between(1, 12) / 8.0;
            s.add("--gain", std::to_string(params.gain));
            params.round = s.between(0, 1);
            if (params.round)
                s.add("--round", "--repeat=2");
        }
        const int depth = s.between(1, 2) * 8;
        if (depth == 16)
            s.add("--depth", "16");
        s.maybeBindToRoi(depth, false);
        const auto smooth = depth == 8 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
        s.compare("gauss", smooth(&s.source.record, &s.dst.record, &params));
    }
}

TEST(ProgramSmoothing, HalfIsTheLibrarys)
{
    using plain_form = qip_status (*)(const qimg_image*, qimg_image*);
    using masked_form = qip_status (*)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*);
    const struct {
        const char* axis;
        plain_form plain[2];
        masked_form masked[2];
    } forms[] = {{"xy",
                  {qip_gauss2_smooth8_8, qip_gauss2_smooth16_16},
                  {qip_gauss2_smoothMasked8_8, qip_gauss2_smoothMasked16_16}},
                 {"x",
                  {qip_gauss2X_smooth8_8, qip_gauss2X_smooth16_16},
                  {qip_gauss2X_smoothMasked8_8, qip_gauss2X_smoothMasked16_16}},
                 {"y",
                  {qip_gauss2Y_smooth8_8, qip_gauss2Y_smooth16_16},
                  {qip_gauss2Y_smoothMasked8_8, qip_gauss2Y_smoothMasked16_16}}};
    uint64_t number = 1000;
    for (const auto& form : forms)
        for (int sixteen = 0; sixteen < 2; ++sixteen)
            for (int masked = 0; masked < 2; ++masked)
                for (int repeat = 0; repeat < 3; ++repeat) {
                    scene s(++number, sixteen ? 65535 : 255);
                    s.add("--axis", form.axis);
                    if (masked)
                        s.addMask();
                    s.maybeBindToRoi(sixteen ? 16 : 8, masked);
                    s.compare("half", masked ? form.masked[sixteen](&s.source.record, &s.mask.record,
                                                                    &s.dst.record, &s.dstMask.record)
                                             : form.plain[sixteen](&s.source.record, &s.dst.record));
                }
}

TEST(ProgramSmoothing, BinomialIsTheLibrarys)
{
    for (uint64_t number = 2000; number < 2024; ++number) {
        const bool sixteen = number % 2;
        scene s(number, sixteen ? 65535 : 255);
        const int x = s.between(0, 2) * 2;
        const int y = s.between(0, 2) * 2;
        s.add("--passes", x == y ? std::to_string(x) : joined({x, y}, "x"));
        const bool masked = number & 2;
        if (masked)
            s.addMask();
        s.maybeBindToRoi(sixteen ? 16 : 8, masked);
        const auto plain = sixteen ? qip_gauss2_smoothNoSample16_16 : qip_gauss2_smoothNoSample8_8;
        const auto withMask =
            sixteen ? qip_gauss2_smoothNoSampleMasked16_16 : qip_gauss2_smoothNoSampleMasked8_8;
        s.compare("binomial", masked ? withMask(&s.source.record, &s.mask.record, &s.dst.record,
                                                &s.dstMask.record, x, y)
                                     : plain(&s.source.record, &s.dst.record, x, y));
    }
}

// The transform says where a destination pixel's centre came from: the middle of its kernel.
TEST(ProgramSmoothing, ReportedTransformMapsCentresOntoKernels)
{
    const program_folder folder;
    program_writeFile(folder.file("in.pgm"), program_pgmOf({20, 20, 255, std::vector<uint16_t>(400, 9)}));
    for (int s = 1; s <= 9; ++s) {
        const int k = 9 - s + s % 2;
        const program_result result =
            program_run({"gauss", folder.file("in.pgm"), folder.file("out.pgm"), "--json", "--kernel",
                         std::to_string(k) + "x0", "--sample", std::to_string(s) + "x1"});
        ASSERT_EQ(result.exitStatus, 0) << result.errors;
        const std::vector<double> t = program_jsonNumbers(result.output, "image_from_client");
        const double i = program_jsonNumber(result.output, "x");
        const double sampled = i * s + s / 2 + (s & (k + 1) & 1) - 1;
        const double middle = sampled - (3 * k) / 2 + (3 * k + 1) / 2.0;
        EXPECT_NEAR(t[0] * middle + t[4], i + 0.5, 1e-5) << "sample " << s << ", kernel " << k;
    }
}

TEST(ProgramSmoothing, EmptyResultIsNoFailure)
{
    const program_folder folder;
    program_writeFile(folder.file("in.pgm"), program_pgmOf({2, 2, 255, {1, 2, 3, 4}}));
    const program_result result =
        program_run({"gauss", folder.file("in.pgm"), folder.file("out.png"), "--sample", "9", "--json"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "qip-smooth: empty result\n");
    EXPECT_EQ(program_jsonNumber(result.output, "width"), 0);
    EXPECT_EQ(program_jsonNumber(result.output, "height"), 0);
    EXPECT_EQ(folder.listing(), "in.pgm ");
}

// The pictures of the repository are those that the generator paints; compared as pixels, because packed bytes
// depend on the compressor's version.
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
