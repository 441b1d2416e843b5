// Many pictures by one run: what comes of each, what is refused before any of them, the terminal, and
// signals.
#include "support/program.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <map>

#include <fcntl.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

class ProgramBatch : public testing::Test
{
protected:
    ProgramBatch()
    {
        for (const char* name : {"a", "b", "out"})
            fs::create_directory(folder.file(name));
        const auto add = [&](const std::string& name, int greatest) {
            const program_picture picture = program_randomPicture(&random, 300, 200, greatest);
            program_writeFile(folder.file(name), program_pgmOf(picture));
        };
        add("a/8.pgm", 255);
        add("a/16.pgm", 65535);
        add("b/8.pgm", 255);
        add("a/other.ppm", 255);
    }

    std::vector<std::string> words(const std::string& command, const std::vector<std::string>& names,
                                   const std::vector<std::string>& more = {})
    {
        std::vector<std::string> all = {command, "--out-dir", folder.file("out")};
        for (const std::string& name : names)
            all.push_back(folder.file(name));
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    std::map<std::string, std::string> outputs() const
    {
        std::map<std::string, std::string> contents;
        for (const auto& entry : fs::directory_iterator(folder.file("out")))
            contents[entry.path().filename().string()] = program_readFile(entry.path().string());
        return contents;
    }

    program_folder folder;
    test_random random = test_randomFor(0);
};

} // namespace

// A picture that fails is one line, whatever is wrong with it; the others come out as they do alone.
TEST_F(ProgramBatch, GivesWhatSingleRunsGive)
{
    program_writeFile(folder.file("a/bad.png"), "no picture");
    const std::vector<std::string> names = {"a/8.pgm", "a/bad.png", "a/16.pgm", "a/missing.tif",
                                            "a/other.ppm"};
    const program_result result = program_run(words(
        "gauss", names, {"--kernel", "3", "--mask", folder.file("b/8.pgm"), "--jobs", "3", "--json"}));
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 3) << result.errors;
    for (const char* part :
         {"a/bad.png: is not", "a/missing.tif: cannot be read", ": 2 of 5 pictures failed\n"})
        EXPECT_NE(result.errors.find(part), std::string::npos) << result.errors;

    std::istringstream lines(result.output);
    size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const std::string made = program_jsonText(line, "output");
        const std::string alone = folder.file("alone" + fs::path(made).extension().string());
        EXPECT_EQ(program_jsonNumber(line, "threads"), 1) << "the library splits pictures";
        program_run({"gauss", program_jsonText(line, "input"), alone, "--kernel", "3", "--mask",
                     folder.file("b/8.pgm")});
        EXPECT_TRUE(program_readFile(made) == program_readFile(alone)) << made;
    }
    EXPECT_EQ(count, 3u);
    std::string all;
    for (const auto& each : outputs())
        all += each.first + " ";
    EXPECT_EQ(all, "16.pgm 8.pgm other.png ");
    EXPECT_EQ(program_run(words("half", {"a/8.pgm"}, {"--format", "tiff"})).errors, "");
    EXPECT_EQ(program_readFile(folder.file("out/8.tif")).substr(0, 2), "II");
}

TEST_F(ProgramBatch, MemoryDoesNotGrowWithTheSquareOfTheNames)
{
    std::vector<std::string> names;
    for (int i = 0; i < 4000; ++i)
        names.push_back("none" + std::to_string(i) + ".png");
    const program_result result = program_run(words("half", names));
    EXPECT_NE(result.errors.find(": 4000 of 4000 pictures failed\n"), std::string::npos);
    EXPECT_LT(result.peakMemory, 200 << 20);
}

// Names whose outputs are too long or links in a circle are failures of their own, each in one line.
TEST_F(ProgramBatch, NamesThatCannotBeUsedHoldUpNoOthers)
{
    const std::string lines = "a/no\nsuch\x1b]0;\x07\xc2\x9b\xc3\xa4.png";
    std::vector<std::string> names = {lines, "a/8.pgm"};
    for (const char letter : {'b', 'c'}) {
        names.push_back("a/" + std::string(255, letter));
        program_writeFile(folder.file(names.back()), program_pgmOf({2, 1, 255, {7, 8}}));
        names.push_back(std::string("a/") + letter);
        program_writeFile(folder.file(names.back()), program_pgmOf({2, 1, 255, {7, 8}}));
    }
    fs::create_symlink("c.png", folder.file("out/b.png"));
    fs::create_symlink("b.png", folder.file("out/c.png"));
    const program_result result = program_run(words("binomial", names));
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 6) << result.errors;
    for (const char* part :
         {"a/no\\nsuch\\x1b]0;\\x07\\xc2\\x9b\xc3\xa4.png: cannot be read",
          "b.png: cannot be written: Too many levels of symbolic links",
          "bbb.png: cannot be written: File name too long", ": 5 of 6 pictures failed\n"})
        EXPECT_NE(result.errors.find(part), std::string::npos) << part << ": " << result.errors;
    EXPECT_EQ(program_readPgm(folder.file("out/8.pgm")).width, 300);
}

TEST_F(ProgramBatch, NamesAreCheckedBeforeTheWork)
{
    fs::create_symlink("../a/16.pgm", folder.file("out/other.png"));
    const std::string before = program_readFile(folder.file("a/16.pgm"));
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {words("half", {"a/8.pgm", "b/8.pgm"}), "a/8.pgm\" and of \""},
        {words("half", {"a/8.pgm", "a/8.pgm"}), "a/8.pgm\" and of \""},
        {words("half", {"a/8.pgm", "a/16.pgm", "a/other.ppm"}), "out/other.png\" is an input"},
        {words("gauss", {"a/8.pgm", "a/other.ppm"}, {"--mask", folder.file("a/16.pgm")}),
         "out/other.png\" is an input"},
        {words("half", {"a/8.pgm"}, {"-"}), "standard input"},
        {words("half", {"a/8.pgm"}, {"--threads", "2"}), "--threads"},
        {words("half", {"a/8.pgm"}, {"--jobs", "129"}), "--jobs"},
        {words("gauss", {"a/8.pgm"}, {"--mask-out", folder.file("m.png")}), "--mask-out"},
        {{"half", "--out-dir", folder.file("none"), folder.file("a/8.pgm")}, "none\" is not a folder"},
        {{"half", "--out-dir", folder.file("out")}, "FILES"},
    };
    for (const auto& [line, reason] : cases) {
        const program_result result = program_run(line);
        EXPECT_EQ(result.exitStatus, 2) << reason;
        EXPECT_NE(result.errors.find(reason), std::string::npos) << reason << ": " << result.errors;
        EXPECT_EQ(outputs().size(), 1u) << reason;
    }
    EXPECT_TRUE(program_readFile(folder.file("a/16.pgm")) == before);
}

// On a terminal the bar is there from the start; it is erased before a message, and at the end.
TEST_F(ProgramBatch, ProgressIsShownOnATerminalOnly)
{
    for (const bool isQuiet : {false, true}) {
        const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        std::vector<std::string> line = words("half", {"a/8.pgm", "a/no"});
        line.insert(line.begin(), program_path());
        if (isQuiet)
            line.push_back("--quiet");
        EXPECT_EQ(program_wait(program_start(line, STDOUT_FILENO, terminal)), 1);
        close(terminal);
        std::string seen(4096, 0);
        seen.resize(static_cast<size_t>(std::max<ssize_t>(read(master, seen.data(), seen.size()), 0)));
        close(master);
        EXPECT_NE(seen.find("a/no: cannot be read"), std::string::npos) << seen;
        EXPECT_EQ(seen.find("[..............................] 0/2") != std::string::npos, !isQuiet) << seen;
        EXPECT_EQ(seen.find("\r\x1b[Kqip-smooth: 1 of 2 pictures failed") != std::string::npos, !isQuiet)
            << seen;
    }
    EXPECT_EQ(program_run(words("half", {"a/8.pgm"})).errors, "");
}

// At any moment files under their final names are whole; a signal that can be caught leaves no others.
TEST_F(ProgramBatch, SignalsLeaveWholeFiles)
{
    std::vector<std::string> names;
    for (int i = 0; i < 12; ++i) {
        names.push_back("a/" + std::to_string(i) + ".pgm");
        program_writeFile(folder.file(names.back()),
                          program_pgmOf(program_randomPicture(&random, 400, 300, 255)));
    }
    const std::vector<std::string> line = words("binomial", names, {"--jobs", "3", "--format", "png"});
    ASSERT_EQ(program_run(line).errors, "");
    const auto whole = outputs();
    int ended = 0;
    size_t written = 0;
    for (int i = 0; i < 60; ++i) {
        const int number = i % 2 ? SIGKILL : i % 4 ? SIGTERM : SIGINT;
        fs::remove_all(folder.file("out"));
        fs::create_directory(folder.file("out"));
        const pid_t process = program_startSilent(line);
        usleep(static_cast<useconds_t>(test_randomRange(&random, 0, 200000)));
        kill(process, number);
        ended += program_wait(process) == -number;
        for (const auto& [name, content] : outputs()) {
            if (number == SIGKILL && name.ends_with(".tmp"))
                continue;
            ASSERT_TRUE(whole.contains(name)) << name << " after signal " << number;
            EXPECT_TRUE(content == whole.at(name)) << name << " after signal " << number;
            ++written;
        }
    }
    EXPECT_GT(ended, 0);
    EXPECT_GT(written, 0u);
}
