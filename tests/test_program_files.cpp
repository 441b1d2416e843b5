// PNG and Netpbm files: every kind that is understood, every way to be broken; and outputs that appear
// whole or not at all.
#include "support/program.h"
#include "support/random.h"
#include "tools/picture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <png.h>

namespace
{

namespace fs = std::filesystem;

// ---- PNG files of every kind, from and to plain samples ----

struct png_kind {
    int colourType;
    int depth;
    bool isInterlaced;
};

int channelsOf(int colourType)
{
    const bool isRgb = colourType & PNG_COLOR_MASK_COLOR && colourType != PNG_COLOR_TYPE_PALETTE;
    return (isRgb ? 3 : 1) + (colourType & PNG_COLOR_MASK_ALPHA ? 1 : 0);
}

// The palette of the test files: entry i.
png_color paletteEntry(uint32_t i)
{
    return {static_cast<png_byte>(i * 7), static_cast<png_byte>(255 - i), static_cast<png_byte>(i * i)};
}

// Samples are one to a number, rows without gaps; with a text, packed, in front of them.
void writePng(const std::string& path, const png_kind& kind, int width, int height,
              const std::vector<uint16_t>& samples, char* text = nullptr)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), kind.depth,
                 kind.colourType, kind.isInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette;
    for (uint32_t i = 0; i < uint32_t{1} << std::min(kind.depth, 8); ++i)
        palette.push_back(paletteEntry(i));
    if (kind.colourType == PNG_COLOR_TYPE_PALETTE) {
        png_byte transparent[] = {0, 128};
        png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
        png_set_tRNS(png, info, transparent, 2, nullptr);
    }
    png_set_gAMA(png, info, 0.45455); // must not touch the values
    char key[] = "Comment";
    png_text packed = {PNG_TEXT_COMPRESSION_zTXt, key, text, 0, 0, nullptr, nullptr};
    if (text)
        png_set_text(png, info, &packed, 1);
    png_write_info(png, info);
    png_set_packing(png);
    std::vector<png_byte> bytes;
    for (const uint16_t sample : samples) {
        if (kind.depth == 16)
            bytes.push_back(static_cast<png_byte>(sample >> 8));
        bytes.push_back(static_cast<png_byte>(sample & 255));
    }
    std::vector<png_bytep> pointers;
    for (size_t row = 0; row < static_cast<size_t>(height); ++row)
        pointers.push_back(&bytes[row * bytes.size() / static_cast<size_t>(height)]);
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

// What the program makes of one pixel's samples.
uint16_t greyOf(const png_kind& kind, const uint16_t* samples)
{
    if (!(kind.colourType & PNG_COLOR_MASK_COLOR))
        return static_cast<uint16_t>(samples[0] * (kind.depth < 8 ? 255 / ((1 << kind.depth) - 1) : 1));
    const png_color entry = paletteEntry(samples[0]);
    const uint16_t colour[] = {entry.red, entry.green, entry.blue};
    const uint16_t* const rgb = kind.colourType == PNG_COLOR_TYPE_PALETTE ? colour : samples;
    return static_cast<uint16_t>((299u * rgb[0] + 587u * rgb[1] + 114u * rgb[2] + 500u) / 1000u);
}

class ProgramFiles : public testing::Test
{
protected:
    // A run that leaves every pixel as it is: OUT shows how IN was read.
    program_result copy(const std::string& from, const std::string& to)
    {
        return program_run({"binomial", folder.file(from), folder.file(to), "--passes", "0"});
    }

    // A run that fails and names the file at fault.
    void expectRefused(const std::string& from, const std::string& to, const std::string& name)
    {
        const program_result result = copy(from, to);
        EXPECT_EQ(result.exitStatus, 1) << name << ": " << result.errors;
        EXPECT_NE(result.errors.find(name), std::string::npos) << result.errors;
        EXPECT_LT(result.peakMemory, 500 << 20) << name; // the largest promise is of 2^62 bytes
    }

    program_folder folder;
    test_random random = test_randomFor(0);
};

} // namespace

TEST_F(ProgramFiles, EveryKindOfPngIsReadAsGrey)
{
    std::vector<png_kind> kinds;
    for (const int type : {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_PALETTE, PNG_COLOR_TYPE_GRAY_ALPHA,
                           PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA})
        for (const int depth : {1, 2, 4, 8, 16})
            if (type == PNG_COLOR_TYPE_GRAY || (type == PNG_COLOR_TYPE_PALETTE ? depth <= 8 : depth >= 8))
                kinds.insert(kinds.end(), {{type, depth, false}, {type, depth, true}});
    for (const png_kind& kind : kinds) {
        SCOPED_TRACE("type " + std::to_string(kind.colourType) + ", depth " + std::to_string(kind.depth));
        const size_t channels = static_cast<size_t>(channelsOf(kind.colourType));
        std::vector<uint16_t> samples(19 * 11 * channels);
        for (uint16_t& sample : samples)
            sample = static_cast<uint16_t>(test_randomRange(&random, 0, (1 << kind.depth) - 1));
        program_picture expected = {19, 11, kind.depth == 16 ? 65535 : 255, {}};
        for (size_t i = 0; i < samples.size(); i += channels)
            expected.pixels.push_back(greyOf(kind, &samples[i]));

        writePng(folder.file("in.PNG"), kind, 19, 11, samples);
        const program_result result = copy("in.PNG", "out.pgm");
        ASSERT_EQ(result.exitStatus, 0) << result.errors;
        EXPECT_EQ(program_readPgm(folder.file("out.pgm")), expected);
        const bool isConverted = kind.colourType != PNG_COLOR_TYPE_GRAY;
        EXPECT_EQ(result.errors.find("converted to grey") != std::string::npos, isConverted)
            << result.errors;
        const bool isTransparent = isConverted && kind.colourType != PNG_COLOR_TYPE_RGB;
        EXPECT_EQ(result.errors.find("without its transparency") != std::string::npos, isTransparent)
            << result.errors;
    }
}

TEST_F(ProgramFiles, NetpbmFilesAreReadAsTheyStand)
{
    const struct {
        std::string bytes;
        program_picture expected;
    } cases[] = {
        {"P5 2 1 255\nab", {2, 1, 255, {'a', 'b'}}},
        {"P5#\n# a comment\n2# another\n1 10\n\n\n", {2, 1, 255, {'\n', '\n'}}},
        {std::string("P5\n1 2\n4095\n\x0f\x01\x0f\xff", 16), {1, 2, 65535, {0x0f01, 4095}}},
        {"P6 1 2 255\nabcdef", {1, 2, 255, {98, 101}}},
        {std::string("P6 1 1 65535 \x10\x00\x20\x00\x40\x01", 19), {1, 1, 65535, {7901}}},
        {"P5 1 1 255 a and what follows", {1, 1, 255, {'a'}}},
    };
    for (const auto& c : cases) {
        program_writeFile(folder.file("in.ppm"), c.bytes);
        const program_result result = copy("in.ppm", "out.pgm");
        ASSERT_EQ(result.exitStatus, 0) << c.bytes << ": " << result.errors;
        EXPECT_EQ(program_readPgm(folder.file("out.pgm")), c.expected) << c.bytes;
        EXPECT_EQ(result.errors.find("converted to grey") != std::string::npos, c.bytes[1] == '6')
            << c.bytes;
    }
}

// Texts that would fill the memory when they are unpacked, and checksums of texts that are wrong.
TEST_F(ProgramFiles, TextsInPngFilesAreNotUnpacked)
{
    const png_kind kind = {PNG_COLOR_TYPE_GRAY, 8, false};
    std::string text(7 << 20, 'a');
    writePng(folder.file("in.png"), kind, 2, 1, {7, 8}, text.data());
    std::string png = program_readFile(folder.file("in.png"));
    const size_t start = png.find("zTXt") - 4;
    std::string chunk = png.substr(start, png.find("IDAT") - 4 - start);
    for (int i = 0; i < 60; ++i)
        png.insert(start, chunk);
    chunk.back() ^= 1;
    png.insert(start, chunk);
    program_writeFile(folder.file("in.png"), png);
    const program_result result = copy("in.png", "out.pgm");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(program_readPgm(folder.file("out.pgm")), (program_picture{2, 1, 255, {7, 8}}));
    EXPECT_LT(result.peakMemory, 200 << 20);
}

// Colour is never held whole: reading takes the grey picture and some rows more than a picture of one pixel
// takes. The program is looked at when its file is there and its report waits in a pipe that is full; what
// the system says after its end would count the memory of this process too.
TEST_F(ProgramFiles, ReadingTakesTheMemoryOfTheGreyPicture)
{
    constexpr int side = 3000;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const std::string stuffing(static_cast<size_t>(fcntl(ends[1], F_GETPIPE_SZ)), 'x');
    ASSERT_EQ(write(ends[1], stuffing.data(), stuffing.size()), static_cast<ssize_t>(stuffing.size()));
    const auto peak = [&](const std::string& name) {
        const pid_t process =
            program_start({program_path(), "binomial", folder.file(name), folder.file("out.pgm"),
                           "--passes", "0", "--roi", "0,0,1,1", "--json"},
                          ends[1], STDERR_FILENO);
        for (int i = 0; i < 60000 && !fs::exists(folder.file("out.pgm")); ++i)
            usleep(1000);
        const std::string about = program_readFile("/proc/" + std::to_string(process) + "/status");
        kill(process, SIGKILL);
        program_wait(process);
        EXPECT_TRUE(fs::remove(folder.file("out.pgm"))) << name;
        return std::stoll(about.substr(about.find("VmHWM:") + 6)) * 1024;
    };
    program_writeFile(folder.file("pixel.ppm"), "P6 1 1 255 abc");
    const int64_t least = peak("pixel.ppm");
    const std::vector<uint16_t> indices(side * side, 1);
    writePng(folder.file("rows.png"), {PNG_COLOR_TYPE_PALETTE, 1, false}, side, side, indices);
    writePng(folder.file("interlaced.png"), {PNG_COLOR_TYPE_PALETTE, 1, true}, side, side, indices);
    program_writeFile(folder.file("rows.ppm"), "P6 3000 3000 255 " + std::string(3 * side * side, 'a'));
    for (const char* name : {"rows.png", "interlaced.png", "rows.ppm"})
        EXPECT_LT(peak(name) - least, side * side * 3 / 2) << name;
    close(ends[0]);
    close(ends[1]);
}

// The sizes of a machine with 32-bit addresses too.
TEST_F(ProgramFiles, SizesThatNoMemoryHasAreKnown)
{
    constexpr uint64_t side = INT32_MAX;
    EXPECT_EQ(picture_byteCount(20000, 20000, 2, INT32_MAX), 800000000u);
    EXPECT_EQ(picture_byteCount(40000, 40000, 2, INT32_MAX), std::nullopt) << "3.2e9";
    EXPECT_EQ(picture_byteCount(65536, 65536, 1, INT32_MAX), std::nullopt) << "0 modulo 2^32";
    EXPECT_EQ(picture_byteCount(side, 1, 1, INT32_MAX), side);
    EXPECT_EQ(picture_byteCount(side, side, 1, INT64_MAX), side * side);
    EXPECT_EQ(picture_byteCount(side, side, 2, INT64_MAX), std::nullopt) << "no stride";
    EXPECT_EQ(picture_byteCount(1, side + 1, 1, INT64_MAX), std::nullopt);
    EXPECT_EQ(picture_byteCount(UINT64_MAX, UINT64_MAX, 2, INT64_MAX), std::nullopt);
}

// Read back by the program, whose reading is held above: as grey, in the same depth.
TEST_F(ProgramFiles, PngOutputHoldsThePixels)
{
    for (const int greatest : {255, 65535}) {
        const program_picture picture = program_randomPicture(&random, 33, 7, greatest);
        program_writeFile(folder.file("in.pgm"), program_pgmOf(picture));
        ASSERT_EQ(copy("in.pgm", "out.png").exitStatus, 0);
        EXPECT_EQ(copy("out.png", "back.pgm").errors, "");
        EXPECT_EQ(program_readPgm(folder.file("back.pgm")), picture);
    }
}

TEST_F(ProgramFiles, BrokenFilesAreRefusedInPlainWords)
{
    const png_kind kind = {PNG_COLOR_TYPE_GRAY, 8, false};
    writePng(folder.file("whole.png"), kind, 40, 30, std::vector<uint16_t>(1200, 77));
    const std::string png = program_readFile(folder.file("whole.png"));
    fs::remove(folder.file("whole.png"));
    std::string flipped = png;
    flipped[png.find("IDAT") + 6] ^= 1;
    // A size of 2^31 - 1 in both directions with the checksum that belongs to it.
    const std::string header("IHDR\x7f\xff\xff\xff\x7f\xff\xff\xff\x08\0\0\0\0\x31\xa2\x54\xba", 21);
    const std::pair<const char*, std::string> files[] = {
        {"empty.png", ""},
        {"signature.png", png.substr(0, 8)},
        {"header.png", png.substr(0, 30)},
        {"data.png", png.substr(0, png.find("IDAT") + 9)},
        {"noend.png", png.substr(0, png.size() - 12)},
        {"flipped.png", flipped},
        {"promise.png", png.substr(0, 12) + header + png.substr(33)},
        {"empty.pgm", ""},
        {"text.pgm", "P2 1 1 255 9"},
        {"width.pgm", "P5 x 1 255\na"},
        {"negative.pgm", "P5 -1 1 255\na"},
        {"zero.pgm", "P5 0 1 255\n"},
        {"black.pgm", "P5 1 1 0\na"},
        {"white.pgm", "P5 1 1 65536\naa"},
        {"digits.pgm", "P5 1 1 00000000000255\na"},
        {"comment.pgm", "P5 1 1 # and no end"},
        {"short.pgm", "P5 2 2 255\nabc"},
        {"short16.pgm", "P5 2 1 256\nabc"},
        {"promise.pgm", "P5 2147483647 2147483647 65535\nabc"},
        {"overflow.pgm", "P5 4294967296 4294967296 255\nabc"},
        {"colour.ppm", "P6 1 1 255\nab"},
        {"above.ppm", "P6 1 1 98\naca"},
        {"above16.pgm", "P5 1 1 4095\n\x10\x01"},
    };
    for (const auto& [name, bytes] : files) {
        program_writeFile(folder.file(name), bytes);
        expectRefused(name, "out.png", name);
        fs::remove(folder.file(name));
        EXPECT_EQ(folder.listing(), "") << name;
    }
}

TEST_F(ProgramFiles, WhatIsNoFileIsRefused)
{
    fs::create_directory(folder.file("folder.png"));
    ASSERT_EQ(mkfifo(folder.file("pipe.pgm").c_str(), 0600), 0);
    for (const char* name : {"folder.png", "pipe.pgm", "missing.png", "no/where.pgm"})
        expectRefused(name, "out.png", name);
    program_writeFile(folder.file("in.pgm"), program_pgmOf({1, 1, 255, {1}}));
    for (const char* name : {"folder.png", "pipe.pgm", "no/where.pgm"})
        expectRefused("in.pgm", name, name);
    EXPECT_EQ(folder.listing(), "folder.png in.pgm pipe.pgm ");
}

// A name, the file behind a link and the access rights stay; the input may be the output.
TEST_F(ProgramFiles, OutputTakesThePlaceOfTheOldFile)
{
    program_writeFile(folder.file("picture.pgm"), program_pgmOf({2, 1, 255, {7, 7}}));
    ASSERT_EQ(chmod(folder.file("picture.pgm").c_str(), 0640), 0);
    fs::create_symlink("picture.pgm", folder.file("link.pgm"));
    const program_result result = program_run(
        {"gauss", folder.file("picture.pgm"), folder.file("link.pgm"), "--gain", "2", "--kernel", "0"});
    ASSERT_EQ(result.exitStatus, 0) << result.errors;
    EXPECT_EQ(program_readPgm(folder.file("picture.pgm")), (program_picture{2, 1, 255, {14, 14}}));
    EXPECT_TRUE(fs::is_symlink(folder.file("link.pgm")));
    struct stat about = {};
    ASSERT_EQ(stat(folder.file("picture.pgm").c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 07777, 0640u);
    EXPECT_EQ(folder.listing(), "link.pgm picture.pgm ");
}

// The owner is the caller where it cannot be given; the rights of a group that cannot be given are dropped,
// and with them those of others that it did not have.
TEST_F(ProgramFiles, OwnerAndGroupStayAsFarAsTheyCan)
{
    const std::string picture = folder.file("picture.pgm");
    const auto command = [&](const std::string& groups) {
        return "setpriv --bounding-set -chown --inh-caps -chown --groups " + groups + " ";
    };
    const struct {
        std::string as;
        uid_t owner;
        gid_t group;
        mode_t rights;
    } cases[] = {{"", 1, 2, 0645}, {command("2"), 0, 2, 0645}, {command("3"), 0, 0, 0604}};
    for (const auto& c : cases) {
        program_writeFile(picture, program_pgmOf({2, 1, 255, {7, 7}}));
        if (chown(picture.c_str(), 1, 2) != 0 || chmod(picture.c_str(), 0645) != 0)
            GTEST_SKIP() << "files cannot be given away here";
        const program_result result = program_runAny(
            {"/bin/sh", "-c", c.as + program_path() + " binomial " + picture + " " + picture});
        ASSERT_EQ(result.errors, "");
        struct stat about = {};
        ASSERT_EQ(stat(picture.c_str(), &about), 0);
        EXPECT_EQ(about.st_uid, c.owner) << c.as;
        EXPECT_EQ(about.st_gid, c.group) << c.as;
        EXPECT_EQ(about.st_mode & 07777, c.rights) << c.as;
        fs::remove(picture);
    }
}

mode_t rightsOf(const fs::path& path)
{
    struct stat about = {};
    return stat(path.c_str(), &about) == 0 ? about.st_mode & 07777 : 0;
}

// Runs qip-smooth from one system call to the next, and looks at what the folder holds each time; -1 where
// the system does not let us.
int runStepByStep(std::vector<std::string> words, const std::function<void()>& look)
{
    words.insert(words.begin(), program_path());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // the search for leaks needs to be the only observer
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0)
            execv(argv[0], argv.data());
        _exit(255);
    }
    int status = 0;
    while (waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
        look();
        ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
    }
    return WIFEXITED(status) && WEXITSTATUS(status) != 255 ? WEXITSTATUS(status) : -1;
}

// At no moment while a file is written, and not when it is there: an old one keeps its rights, a new one
// has those that the caller's mask leaves.
TEST_F(ProgramFiles, NobodyGetsMoreRightsThanToTheResult)
{
    program_writeFile(folder.file("in.pgm"), program_pgmOf({1, 1, 255, {1}}));
    const mode_t maskBefore = umask(027);
    for (const mode_t rights : {0600u, 0660u, 0640u}) {
        const bool isNew = rights == 0640;
        const std::string out = folder.file("out" + std::to_string(rights) + ".png");
        if (!isNew) {
            program_writeFile(out, "old");
            ASSERT_EQ(chmod(out.c_str(), rights), 0);
        }
        int seen = 0;
        const int exitStatus =
            runStepByStep({"binomial", folder.file("in.pgm"), out, "--passes", "0"}, [&] {
                for (const fs::path& temporary : folder.temporaries()) {
                    EXPECT_EQ(rightsOf(temporary) & ~rights, 0u);
                    ++seen;
                }
            });
        if (exitStatus < 0) {
            umask(maskBefore);
            GTEST_SKIP() << "programs cannot be traced here";
        }
        EXPECT_EQ(exitStatus, 0);
        EXPECT_GT(seen, 0);
        EXPECT_EQ(rightsOf(out), rights);
    }
    umask(maskBefore);
}

// A link whose file is yet to come, over a second link in another folder; a circle is refused.
TEST_F(ProgramFiles, LinksStayLinks)
{
    program_writeFile(folder.file("in.pgm"), program_pgmOf({2, 1, 255, {7, 8}}));
    fs::create_directory(folder.file("sub"));
    fs::create_symlink("sub/next.pgm", folder.file("link.pgm"));
    fs::create_symlink("../new.pgm", folder.file("sub/next.pgm"));
    const std::vector<std::string> both = {
        "binomial",   folder.file("in.pgm"), folder.file("link.pgm"), "--mask", folder.file("in.pgm"),
        "--mask-out", folder.file("new.pgm")};
    EXPECT_EQ(program_run(both).exitStatus, 2) << "two outputs in one file";
    const program_result result = copy("in.pgm", "link.pgm");
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    EXPECT_TRUE(fs::is_symlink(folder.file("link.pgm")) && fs::is_symlink(folder.file("sub/next.pgm")));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder.file("new.pgm"))));
    EXPECT_EQ(program_readPgm(folder.file("new.pgm")), (program_picture{2, 1, 255, {7, 8}}));

    fs::create_symlink("there.pgm", folder.file("here.pgm"));
    fs::create_symlink("here.pgm", folder.file("there.pgm"));
    expectRefused("in.pgm", "here.pgm", "here.pgm: cannot be written: Too many levels of symbolic links");
    EXPECT_TRUE(fs::is_symlink(folder.file("here.pgm")));
    EXPECT_EQ(folder.listing(), "here.pgm in.pgm link.pgm new.pgm sub there.pgm ");
}

TEST_F(ProgramFiles, DeletedWorkingFolderIsSaidInPlainWords)
{
    program_writeFile(folder.file("in.pgm"), program_pgmOf({1, 1, 255, {1}}));
    fs::create_directory(folder.file("gone"));
    const std::string in = folder.file("in.pgm");
    const program_result result =
        program_runAny({"/bin/sh", "-c",
                        "cd " + folder.file("gone") + " && rmdir ../gone && " + program_path() +
                            " binomial " + in + " out.pgm --mask " + in + " --mask-out mask.pgm"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "qip-smooth: out.pgm: cannot be written: No such file or directory\n");
}

// A full disk, as a limit on the size of files shows it, for all formats; also where the last bytes of a
// part do not fit, which go to the disk when the writer seeks to the next part.
TEST_F(ProgramFiles, FailedWritesLeaveTheOldFile)
{
    program_writeFile(folder.file("in.pgm"), program_pgmOf(program_randomPicture(&random, 300, 300, 255)));
    const std::string command = program_path() + " gauss " + folder.file("in.pgm") + " ";
    for (const auto& [name, limit] : {std::pair("out.png", 4),
                                      {"out.pgm", 4},
                                      {"out.tif", 4},
                                      {"out.raw", 4},
                                      {"out.tif", 124},
                                      {"out.tif", 176}}) {
        program_writeFile(folder.file(name), "old");
        const program_result full = program_runAny(
            {"/bin/sh", "-c",
             "ulimit -f " + std::to_string(limit) + "; " + command + folder.file(name) + " --json"});
        EXPECT_EQ(full.exitStatus, 1) << full.errors;
        EXPECT_NE(full.errors.find(name + std::string(": cannot be written: File too large")),
                  std::string::npos)
            << full.errors;
        EXPECT_EQ(full.output, "") << "a report of a file that was not written";
        EXPECT_EQ(program_readFile(folder.file(name)), "old");
    }
    for (const std::string format : {"png", "tiff", "pgm", "raw"})
        EXPECT_EQ(
            program_runAny({"/bin/sh", "-c", "ulimit -f 4; " + command + "- --format " + format}).errors,
            "qip-smooth: temporary file for the standard output: cannot be written: File too large\n");
    EXPECT_EQ(folder.listing(), "in.pgm out.pgm out.png out.raw out.tif ");
}

// Of two outputs the second cannot be put into place, since its destination becomes a folder while the
// program is stopped after the creation of both temporaries. A program that was faster starts again.
TEST_F(ProgramFiles, TwoOutputsAreBothOrNone)
{
    program_writeFile(folder.file("in.pgm"),
                      program_pgmOf(program_randomPicture(&random, 2000, 1000, 255)));
    const std::string in = folder.file("in.pgm");
    const std::string out = folder.file("out.pgm");
    const std::string mask = folder.file("mask.png");
    for (const bool isThere : {true, false}) {
        bool isStopped = false;
        for (int i = 0; i < 50 && !isStopped; ++i) {
            fs::remove(out);
            fs::remove(mask);
            if (isThere)
                program_writeFile(out, "old");
            const pid_t process =
                program_startSilent({"binomial", in, out, "--mask", in, "--mask-out", mask, "--json"});
            ASSERT_TRUE(folder.waitForTemporaries(2));
            kill(process, SIGSTOP);
            siginfo_t change = {};
            waitid(P_PID, static_cast<id_t>(process), &change, WSTOPPED | WEXITED | WNOWAIT);
            isStopped = folder.temporaries().size() == 2;
            if (isStopped)
                fs::create_directory(mask);
            kill(process, SIGCONT);
            EXPECT_EQ(program_wait(process), isStopped ? 1 : 0);
        }
        EXPECT_TRUE(isStopped);
        fs::remove(mask);
        EXPECT_EQ(folder.listing(), isThere ? "in.pgm out.pgm " : "in.pgm ");
        if (isThere) {
            EXPECT_EQ(program_readFile(out), "old");
        }
    }
}

// Standard output is full or closed. A report comes after its files, which stay, and never into them.
TEST_F(ProgramFiles, WhatCannotBePrintedIsAFailure)
{
    program_writeFile(folder.file("in.pgm"), program_pgmOf({2, 1, 255, {7, 8}}));
    const std::string smooth = "binomial " + folder.file("in.pgm") + " " + folder.file("out.pgm");
    for (const auto& [output, reason] :
         {std::pair(" >/dev/full", "standard output: cannot be written: No space"),
          std::pair(" >&-", "standard output: cannot be written: Bad file")}) {
        for (const std::string& line :
             {std::string("--help"), std::string("half --help"), std::string("--version"),
              std::string("info"), smooth + " --json"}) {
            const program_result result =
                program_runAny({"/bin/sh", "-c", program_path() + " " + line + output});
            EXPECT_EQ(result.exitStatus, 1) << line << output;
            EXPECT_NE(result.errors.find(reason), std::string::npos) << line << output << result.errors;
            const bool hasWritten = result.errors.find("; the result is written\n") != std::string::npos;
            EXPECT_EQ(hasWritten, line == smooth + " --json") << result.errors;
        }
        EXPECT_EQ(program_readPgm(folder.file("out.pgm")).width, 2);
        fs::remove(folder.file("out.pgm"));
        EXPECT_EQ(program_runAny({"/bin/sh", "-c", program_path() + " " + smooth + output}).exitStatus, 0);
    }
}
