// TIFF, BMP and raw files: every kind that is understood, every way to be broken, and the standard streams.
#include "support/program.h"
#include "support/random.h"
#include "tools/failure.h"
#include "tools/picture_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>

#include <tiffio.h>

namespace
{

std::string littleEndian(uint64_t number, int byteCount)
{
    std::string bytes;
    for (int i = 0; i < byteCount; ++i)
        bytes += static_cast<char>(number >> (8 * i));
    return bytes;
}

// ---- TIFF ----

struct tiff_kind {
    int depth;
    int compression;
    int photometric;
    bool isTiled;
    const char* mode;
};

constexpr tiff_kind plainKind = {8, COMPRESSION_NONE, PHOTOMETRIC_MINISBLACK, false, "w"};

// `change` is called before the pixels are written.
void writeTiff(
    const std::string& path, const tiff_kind& kind, const program_picture& picture,
    const std::function<void(TIFF*)>& change = [](TIFF*) {})
{
    TIFF* const tiff = TIFFOpen(path.c_str(), kind.mode);
    const int side = 16; // of a tile, which is larger than the picture or does not divide it
    const std::pair<int, int> tags[] = {{TIFFTAG_IMAGEWIDTH, picture.width},
                                        {TIFFTAG_IMAGELENGTH, picture.height},
                                        {TIFFTAG_BITSPERSAMPLE, kind.depth},
                                        {TIFFTAG_COMPRESSION, kind.compression},
                                        {TIFFTAG_PHOTOMETRIC, kind.photometric},
                                        {kind.isTiled ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, side},
                                        {kind.isTiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, side}};
    for (const auto& [tag, value] : tags)
        TIFFSetField(tiff, static_cast<uint32_t>(tag), value);
    change(tiff);
    const int stepX = kind.isTiled ? side : picture.width;
    const int stepY = kind.isTiled ? side : 1;
    for (int top = 0; top < picture.height; top += stepY)
        for (int left = 0; left < picture.width; left += stepX) {
            std::string bytes;
            for (int y = top; y < top + stepY; ++y)
                for (int x = left; x < left + stepX; ++x) {
                    const bool isInside = x < picture.width && y < picture.height;
                    const int value =
                        isInside ? picture.pixels[static_cast<size_t>(y * picture.width + x)] : 0x5555;
                    bytes += littleEndian(
                        static_cast<uint64_t>(kind.photometric == PHOTOMETRIC_MINISWHITE ? ~value : value),
                        kind.depth / 8);
                }
            bytes.resize(16 * bytes.size()); // what some changes make of a row is longer
            if (kind.isTiled)
                TIFFWriteTile(tiff, bytes.data(), static_cast<uint32_t>(left), static_cast<uint32_t>(top),
                              0, 0);
            else
                TIFFWriteScanline(tiff, bytes.data(), static_cast<uint32_t>(top), 0);
        }
    TIFFClose(tiff);
}

// Puts another value into the first entry of that tag, of a file in the order of bytes of this machine.
void replaceEntry(std::string* tiff, uint16_t tag, uint32_t value)
{
    const std::string entry = littleEndian(tag, 2);
    uint32_t directory = 0;
    std::memcpy(&directory, tiff->data() + 4, sizeof directory);
    for (size_t place = directory + 2; place + 12 <= tiff->size(); place += 12)
        if (tiff->compare(place, 2, entry) == 0) {
            tiff->replace(place + 2, 10, littleEndian(4, 2) + littleEndian(1, 4) + littleEndian(value, 4));
            return;
        }
    ADD_FAILURE() << "no entry " << tag;
}

// ---- BMP ----

struct bmp_kind {
    uint32_t headerBytes;
    uint32_t bits;
    int32_t width, height; // rows from the top when negative
    uint32_t compression;
    std::string palette; // and what else is between header and pixels
    std::string pixels;
    uint32_t paletteCount = 0;
    uint32_t pixelsAt = 0; // 0: behind the palette
};

std::string bmpOf(const bmp_kind& kind)
{
    const uint64_t width = static_cast<uint64_t>(kind.width);
    const uint64_t height = static_cast<uint64_t>(kind.height);
    std::string info = littleEndian(kind.headerBytes, 4);
    if (kind.headerBytes == 12)
        info += littleEndian(width, 2) + littleEndian(height, 2) + littleEndian(1, 2) +
                littleEndian(kind.bits, 2);
    else
        info += littleEndian(width, 4) + littleEndian(height, 4) + littleEndian(1, 2) +
                littleEndian(kind.bits, 2) + littleEndian(kind.compression, 4) + std::string(12, 0) +
                littleEndian(kind.paletteCount, 4) + std::string(4, 0);
    const size_t place = kind.pixelsAt ? kind.pixelsAt : 14 + info.size() + kind.palette.size();
    // The size in the header is false in many files, as it is here.
    return "BM" + littleEndian(7, 8) + littleEndian(place, 4) + info + kind.palette + kind.pixels;
}

class ProgramFormats : public testing::Test
{
protected:
    // As the program reads it.
    void expectRead(const std::string& path, const program_picture& expected, bool isColour = false,
                    const std::optional<raw_layout>& layout = std::nullopt)
    {
        const picture read = picture_read(path, layout);
        program_picture found = {read.width, read.height, read.depth == 16 ? 65535 : 255, {}};
        const size_t pixelBytes = static_cast<size_t>(read.depth) / 8;
        for (size_t i = 0; i < expected.pixels.size(); ++i) {
            uint16_t value = 0;
            std::memcpy(&value, read.pixels.get() + i * pixelBytes, pixelBytes);
            found.pixels.push_back(value);
        }
        EXPECT_EQ(found, expected);
        EXPECT_EQ(read.wasColour, isColour);
    }

    // In words that hold `reason`, with little memory and nothing left behind.
    void expectRefused(const std::string& bytes, const std::string& reason,
                       const std::vector<std::string>& more = {})
    {
        program_writeFile(in, bytes);
        std::vector<std::string> words = {"half", in, folder.file("out.png")};
        words.insert(words.end(), more.begin(), more.end());
        const program_result result = program_run(words);
        EXPECT_EQ(result.exitStatus, 1) << reason << ": " << result.errors;
        EXPECT_NE(result.errors.find(in + ": "), std::string::npos) << result.errors;
        EXPECT_NE(result.errors.find(reason), std::string::npos) << reason << ": " << result.errors;
        EXPECT_LT(result.peakMemory, 500 << 20) << reason;
        EXPECT_EQ(folder.listing(), "in ") << reason;
    }

    program_folder folder;
    const std::string in = folder.file("in"); // formats are known by their content
    test_random random = test_randomFor(0);
};

} // namespace

TEST_F(ProgramFormats, EveryKindOfGreyTiffIsRead)
{
    for (const int depth : {8, 16})
        for (const int compression :
             {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS})
            for (const int photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
                for (const bool isTiled : {false, true})
                    for (const char* mode : {"wl", "wb", "w8"}) {
                        const program_picture picture =
                            program_randomPicture(&random, 37, 21, depth == 8 ? 255 : 65535);
                        const tiff_kind kind = {depth, compression, photometric, isTiled, mode};
                        SCOPED_TRACE(std::to_string(depth) + " " + std::to_string(compression) + " " +
                                     mode + " " + std::to_string(photometric) + std::to_string(isTiled));
                        writeTiff(in, kind, picture);
                        expectRead(in, picture);
                    }
}

TEST_F(ProgramFormats, OtherTiffsAreRefusedInPlainWords)
{
    TIFFSetWarningHandler(nullptr);
    const program_picture picture = program_randomPicture(&random, 40, 30, 255);
    const auto set = [](uint32_t tag, uint32_t value) {
        return [=](TIFF* tiff) {
            TIFFSetField(tiff, tag, value);
        };
    };
    const auto inColour = [](uint32_t planar) {
        return [=](TIFF* tiff) {
            TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
            TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, planar);
        };
    };
    const struct {
        std::function<void(TIFF*)> change;
        const char* reason;
    } kinds[] = {
        {inColour(PLANARCONFIG_CONTIG), "is a colour picture"},
        {inColour(PLANARCONFIG_SEPARATE), "is a colour picture"},
        {set(TIFFTAG_SAMPLESPERPIXEL, 2), "has 2 samples a pixel"},
        {set(TIFFTAG_IMAGEDEPTH, 2), "has several planes"},
        {set(TIFFTAG_BITSPERSAMPLE, 32), "has 32 bits a pixel"},
        {set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT), "signed or not whole"},
        {set(TIFFTAG_ORIENTATION, ORIENTATION_LEFTBOT), "turned or mirrored (orientation 8)"},
        {set(TIFFTAG_COMPRESSION, COMPRESSION_JPEG), "packed in a way that is not read (compression 7)"},
        {[](TIFF* tiff) {
             uint16_t map[256] = {};
             TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
             TIFFSetField(tiff, TIFFTAG_COLORMAP, map, map, map);
         },
         "has a colour map"},
    };
    for (const auto& kind : kinds) {
        writeTiff(in, plainKind, picture, kind.change);
        expectRefused(program_readFile(in), kind.reason);
    }
    writeTiff(in, plainKind, picture);
    const std::string one = program_readFile(in);
    tiff_kind second = plainKind;
    second.mode = "a";
    writeTiff(in, second, picture);
    expectRefused(program_readFile(in), "holds several pictures");

    // Sizes that are not there, packed and not, in rows and in tiles.
    constexpr uint32_t large = 60000;
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE})
        for (const bool isTiled : {false, true}) {
            writeTiff(in, {8, compression, PHOTOMETRIC_MINISBLACK, isTiled, "w"}, picture);
            std::string bytes = program_readFile(in);
            replaceEntry(&bytes, isTiled ? TIFFTAG_TILEWIDTH : TIFFTAG_IMAGEWIDTH, large);
            replaceEntry(&bytes, isTiled ? TIFFTAG_TILELENGTH : TIFFTAG_IMAGELENGTH, large);
            expectRefused(bytes, "is truncated: it is too short for its size in pixels");
        }
    std::string places = one;
    replaceEntry(&places, TIFFTAG_STRIPOFFSETS, 1 << 30);
    expectRefused(places, "is not a sound TIFF file");
    expectRefused(one.substr(0, one.size() - 40), "is not a sound TIFF file");
    expectRefused(one.substr(0, 6), "is not a sound TIFF file");
}

TEST_F(ProgramFormats, EveryKindOfBmpIsRead)
{
    const std::string black(4, 0), white("\xff\xff\xff\0", 4), ramp("\x11\x11\x11\0", 4);
    const std::string red("\0\0\xff\0", 4); // 76 as grey
    const std::string masks("\0\0\xff\0\0\xff\0\0\xff\0\0\0", 12);
    const struct {
        bmp_kind kind;
        program_picture expected;
        bool isColour;
    } cases[] = {
        {{40, 1, 3, 2, 0, black + white, std::string("\xa0\0\0\0\x40\0\0\0", 8)},
         {3, 2, 255, {0, 255, 0, 255, 0, 255}},
         false},
        {{40, 4, 3, -1, 0, black + ramp + white, std::string("\x12\x0f\0\0", 4), 3},
         {3, 1, 255, {17, 255, 0}},
         false},
        {{40, 8, 2, 1, 0, black + ramp + red, std::string("\1\0\0\0", 4), 3}, {2, 1, 255, {17, 0}}, false},
        {{40, 8, 2, 1, 0, black + ramp + red, std::string("\1\2\0\0", 4), 3}, {2, 1, 255, {17, 76}}, true},
        {{12, 1, 1, 1, 0, std::string("\0\0\0\x20\x20\x20", 6), std::string("\x80\0\0\0", 4)},
         {1, 1, 255, {32}},
         false},
        {{12, 24, 1, 2, 0, "", "ccc\1aaa\1"}, {1, 2, 255, {'a', 'c'}}, false},
        {{40, 24, 1, 1, 0, "", std::string("\0\0\xff\0", 4)}, {1, 1, 255, {76}}, true},
        {{40, 32, 2, 1, 0, "", "aaa\1bbb\2"}, {2, 1, 255, {'a', 'b'}}, false},
        {{40, 32, 2, 1, 3, masks, "aaa\1bbb\2"}, {2, 1, 255, {'a', 'b'}}, false},
        {{124, 32, 1, -2, 3, masks + std::string(72, 0), "aaa\1bbb\2"}, {1, 2, 255, {'a', 'b'}}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        program_writeFile(in, bmpOf(c.kind));
        expectRead(in, c.expected, c.isColour);
    }
}

TEST_F(ProgramFormats, BrokenBmpsAreRefusedInPlainWords)
{
    const std::string palette(1024, 0), row(4, 1);
    const std::pair<bmp_kind, const char*> cases[] = {
        {{40, 8, INT32_MAX, INT32_MAX, 0, palette, row}, "too short for its size in pixels"},
        {{40, 24, 1, INT32_MIN, 0, "", row}, "too short for its size in pixels"},
        {{40, 8, 1, 2, 0, palette, row}, "too short for its size in pixels"},
        {{40, 8, 1, 1, 0, palette, row, 0, 0xfffffff0}, "too short for its size in pixels"},
        {{40, 8, 1, 1, 0, palette, row, 0, 60}, "its pixels begin inside of it"},
        {{40, 8, 1, 1, 0, palette, row, 257}, "more colours than its pixels can name"},
        {{40, 8, 1, 1, 0, "", row, 1, 58}, "too short for its size in pixels"},
        {{40, 8, 1, 1, 0, palette.substr(0, 4), row, 1}, "a pixel that its palette does not have"},
        {{40, 8, 1, 1, 1, palette, row}, "is packed (compression 1)"},
        {{40, 16, 1, 1, 0, "", row}, "has 16 bits a pixel"},
        {{40, 16, 1, 1, 3, std::string(12, 0), row}, "has bit masks for 16 bits a pixel"},
        {{40, 32, 1, 1, 3, std::string(12, 0), row}, "colours in an order that is not read"},
        {{40, 8, -1, 1, 0, palette, row}, "has a broken header"},
        {{41000, 8, 1, 1, 0, palette, row}, "has a header of 41000 bytes"},
        {{40, 8, 0, 1, 0, palette, row}, "has no pixels"},
    };
    for (const auto& [kind, reason] : cases)
        expectRefused(bmpOf(kind), reason);
    expectRefused(bmpOf(cases[0].first).substr(0, 30), "is truncated");
    expectRefused("BM", "is truncated");
    expectRefused("", "is not a PNG");
    expectRefused("no picture", "is not a PNG");
}

TEST_F(ProgramFormats, RawFilesAreReadByTheirLayout)
{
    const struct {
        raw_layout layout;
        std::string bytes;
        std::vector<uint16_t> pixels;
    } cases[] = {
        {{2, 2, raw_format::mono8}, "abcd", {'a', 'b', 'c', 'd'}},
        {{2, 1, raw_format::mono10}, "\xff\3\1\2", {1023, 513}},
        {{1, 2, raw_format::mono12}, "\xff\xf\1\2", {4095, 513}},
        {{2, 1, raw_format::mono16}, "\xff\xff\1\2", {65535, 513}},
        // Each from the lowest free bit on; rows begin within bytes.
        {{1, 4, raw_format::mono10p}, "\xaa\x56\xf5\x7f\x40", {0x2aa, 0x155, 0x3ff, 0x101}},
        {{3, 1, raw_format::mono12p}, "\x23\x61\x45\x89\xf7", {0x123, 0x456, 0x789}},
    };
    const char* const names[] = {"mono8", "mono10", "mono12", "mono16", "mono10p", "mono12p"};
    for (const auto& c : cases) {
        const raw_layout& layout = c.layout;
        const std::string name = names[static_cast<int>(layout.format)];
        SCOPED_TRACE(name);
        program_writeFile(in, c.bytes);
        const int greatest = layout.format == raw_format::mono8 ? 255 : 65535;
        expectRead(in, {layout.width, layout.height, greatest, c.pixels}, false, layout);
        const std::vector<std::string> option = {"--raw", std::to_string(layout.width) + "x" +
                                                              std::to_string(layout.height) + "," + name};
        expectRefused(c.bytes.substr(1), "is too short for its size in pixels, which takes", option);
        expectRefused(c.bytes + "a", "is too long for its size in pixels, which takes", option);
    }
    expectRefused("a", "is too short", {"--raw", "2147483647x2147483647,mono16"});
    expectRefused(std::string("\0\4", 2), "holds the value 1024", {"--raw", "1x1,mono10"});
}

// What is written in a format is read back, through files and through pipes, whole or not at all.
TEST_F(ProgramFormats, StandardStreamsCarryPictures)
{
    for (const int greatest : {255, 65535}) {
        const program_picture picture = program_randomPicture(&random, 300, 70, greatest);
        program_writeFile(in, program_pgmOf(picture));
        const std::string same = program_path() + " binomial --passes 0 ";
        for (const std::string format : {"png", "tiff", "pgm", "raw"}) {
            const std::string layout =
                format == "raw" ? greatest == 255 ? "--raw 300x70,mono8 " : "--raw 300x70,mono16 " : "";
            const std::string file = folder.file("file." + format);
            const std::string line = same + in + " " + file + " && " + same + "- - --format " + format +
                                     " < " + in + " | tee " + folder.file("piped") + " | " + same + layout +
                                     "- " + folder.file("back.pgm");
            const program_result result = program_runAny({"/bin/sh", "-c", line});
            EXPECT_EQ(result.exitStatus, 0) << result.errors;
            EXPECT_EQ(program_readPgm(folder.file("back.pgm")), picture) << format;
            EXPECT_EQ(program_readFile(folder.file("piped")), program_readFile(file)) << format;
        }
    }
    const std::string smooth = program_path() + " half ";
    for (const auto& [line, reason] :
         {std::pair(smooth + in + " - --format tiff > /dev/full",
                    "standard output: cannot be written: No space left on device"),
          std::pair("(cat " + in + "; cat) < /dev/null | head -c 99 | " + smooth + "- " +
                        folder.file("out.png"),
                    "standard input: is truncated"),
          std::pair("yes | " + smooth + "- " + folder.file("out.png"), "standard input: is not a PNG"),
          std::pair(smooth + "- " + folder.file("out.png") + " --raw 9x9,mono8 < /dev/zero",
                    "standard input: is too long"),
          std::pair(smooth + "- " + folder.file("out.png") + " < /", "standard input: cannot be read"),
          std::pair(smooth + "- " + folder.file("out.png") + " <&-", "standard input: is not a PNG")}) {
        const program_result result = program_runAny({"/bin/sh", "-c", line});
        EXPECT_EQ(result.exitStatus, 1) << line;
        EXPECT_NE(result.errors.find(reason), std::string::npos) << line << ": " << result.errors;
        EXPECT_FALSE(std::filesystem::exists(folder.file("out.png"))) << line;
    }
}

// Of a pipe no more is read, and kept on the disk, than the picture's own head announces.
TEST_F(ProgramFormats, WhatFollowsAPictureStaysInThePipe)
{
    const program_picture picture = {2, 1, 255, {'a', 'b'}};
    program_writeFile(folder.file("in.pgm"), "P5 # a comment\n2 1 255 ab");
    program_writeFile(folder.file("in.bmp"), bmpOf({40, 24, 2, 1, 0, "", std::string("aaabbb\0\0", 8)}));
    const std::string read = program_path() + " binomial --passes 0 ";
    ASSERT_EQ(program_run({"binomial", folder.file("in.pgm"), folder.file("in.png")}).errors, "");
    const auto runBehind = [&](const std::string& writers, const std::string& readers) {
        const std::string limit = "ulimit -f 8000; "; // a fault is not to fill the disk
        return program_runAny(
            {"/bin/sh", "-c", limit + "(" + writers + "; yes) 2> /dev/null | " + readers});
    };
    const std::string first = folder.file("1.pgm"), second = folder.file("2.pgm");
    for (const std::string ending : {"pgm", "bmp", "png"}) {
        const std::string one = folder.file("in." + ending);
        const program_result result = runBehind(
            "cat " + one + " " + one, "(" + read + "- " + first + " && " + read + "- " + second + ")");
        EXPECT_EQ(result.errors, "") << ending;
        for (const std::string& made : {first, second}) {
            EXPECT_EQ(program_readPgm(made), picture) << ending;
            std::filesystem::remove(made);
        }
    }
    const std::pair<std::string, std::string> endless[] = {
        {"head -c 33 " + folder.file("in.png") + "; printf '\\20\\0\\0\\0tEXt'",
         "is longer than its picture"},
        {"printf 'P5 1 #'; yes | tr -d '\n'", "has a broken header"}};
    for (const auto& [head, reason] : endless) {
        const program_result result = runBehind(head, read + "- " + first);
        EXPECT_NE(result.errors.find("standard input: " + reason), std::string::npos) << result.errors;
    }
}
