// What the program says to a command line that is wrong, to values that the library refuses, and to
// questions.
#include "support/program.h"

#include <qip/export.h>
#include <qip/status.h>

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <set>
#include <sstream>

namespace
{

class ProgramOptions : public testing::Test
{
protected:
    ProgramOptions()
    {
        program_writeFile(folder.file("in.pgm"), program_pgmOf({3, 2, 255, {1, 2, 3, 4, 5, 6}}));
        program_writeFile(folder.file("in16.pgm"), program_pgmOf({1, 1, 65535, {999}}));
        program_writeFile(folder.file("small.pgm"), program_pgmOf({2, 2, 255, {0, 1, 2, 3}}));
        program_writeFile(folder.file("out.pgm"), "what was there before");
        before = folder.listing();
    }

    // Runs a line of words; IN, IN16, SMALL and OUT stand for files in the folder.
    program_result run(const std::string& line)
    {
        std::istringstream stream(line);
        std::vector<std::string> words;
        for (std::string word; stream >> word;)
            words.push_back(word == "IN"      ? folder.file("in.pgm")
                            : word == "IN16"  ? folder.file("in16.pgm")
                            : word == "SMALL" ? folder.file("small.pgm")
                            : word == "OUT"   ? folder.file("out.pgm")
                                              : word);
        return program_run(words);
    }

    // No file came, and none was changed.
    void expectUntouched(const std::string& line)
    {
        EXPECT_EQ(folder.listing(), before) << line;
        EXPECT_EQ(program_readFile(folder.file("out.pgm")), "what was there before") << line;
    }

    program_folder folder;
    std::string before;
};

} // namespace

TEST_F(ProgramOptions, UsageErrorsEndWithTwo)
{
    // Lines are separated by "|"; what begins with "--" stands behind "gauss IN OUT".
    std::istringstream lines(
        "|smooth IN OUT|gauss IN|gauss IN OUT more.pgm|--kernle 3|--kernel|--kernel 3y4|--kernel 3x"
        "|--kernel 3x4x5|--kernel 1.5|--kernel 99999999999|--kernel 1 --kernel 2|--sample 0x10y|--gain 1,5"
        "|--gain 1e999|--mask-mode -1|--threshold half|--depth 12|--jobs 2|gauss IN16 OUT --depth "
        "8|--passes 2"
        "|gauss IN OUT.jpg|gauss IN out.ppm|gauss IN noending|gauss IN -|gauss - OUT --mask -|--format jpg"
        "|gauss IN - --format png --json|--raw 3x2|--raw 3x2,mono9|--raw 0x2,mono8|--raw "
        "9,mono8x2|--origin 1|--origin 1,2,3"
        "|--roi 0,0,4|--roi 0,0,0,4|--roi 0,0,4,-1|--roi 0,0,4,4 --fill 256|--roi 0,0,4,4 --fill -1"
        "|--depth 16 --roi 0,0,4,4 --fill 65536|--client 1,0,0,1,0|--client 1,0,0,1,0,x|--repeat 0"
        "|--threads -1|--cpu|--cpu mmx|info --cpu AVX2|half IN OUT --axis z|half IN OUT --mask-out mask.pgm"
        "|half IN OUT --mask IN --mask-out OUT|binomial IN OUT --mask-out mask.pgm"
        "|binomial IN OUT --passes two");
    int count = 0;
    for (std::string line; std::getline(lines, line, '|'); ++count) {
        if (line.starts_with("--"))
            line = "gauss IN OUT " + line;
        const program_result result = run(line);
        EXPECT_EQ(result.exitStatus, 2) << line;
        EXPECT_EQ(result.errors.rfind("qip-smooth: ", 0), 0u) << line << ": " << result.errors;
        EXPECT_EQ(result.output, "") << line;
        expectUntouched(line);
    }
    EXPECT_EQ(count, 52);
}

// Brackets and signs that a parser may give a meaning of its own.
TEST_F(ProgramOptions, NamesAreTakenAsTheyStand)
{
    for (const std::string name : {"[a]", "[in.pgm,out.pgm]", "++"}) {
        program_writeFile(folder.file(name), program_pgmOf({2, 1, 255, {7, 8}}));
        const std::string smooth = " && " + program_path() + " binomial --mask '" + name + "' '" + name;
        const program_result result =
            program_runAny({"/bin/sh", "-c",
                            "cd " + folder.path.string() + " && mkdir out && cp in.pgm '[o]'" + smooth +
                                "' '[o]' --format pgm --passes 0" + smooth + "' '[o]' --out-dir out"});
        EXPECT_EQ(result.errors, "") << name;
        EXPECT_EQ(program_readPgm(folder.file("[o]")), (program_picture{2, 1, 255, {7, 8}}));
        EXPECT_TRUE(std::filesystem::exists(folder.file("out/[o].png"))) << name;
        for (const std::string& made : {name, std::string("[o]"), std::string("out")})
            std::filesystem::remove_all(folder.file(made));
        expectUntouched(name);
    }
    EXPECT_EQ(run("gauss IN OUT --kernel [3]").exitStatus, 2);
}

TEST_F(ProgramOptions, RefusalsNameTheStatus)
{
    const struct {
        const char* line;
        qip_status status;
    } cases[] = {
        {"gauss IN OUT --sample 0 --kernel -1", QIP_E_SAMPLING},
        {"gauss IN OUT --kernel 2x-1", QIP_E_KERNEL_SIZE},
        {"gauss IN OUT --gain 0", QIP_E_GAIN},
        {"gauss IN OUT --gain -inf", QIP_E_GAIN},
        {"gauss IN OUT --mask-mode 2", QIP_E_MASK_MODE},
        {"gauss IN OUT --result-mode 2", QIP_E_MASK_RESULT_MODE},
        {"gauss IN OUT --threshold 1.5", QIP_E_MASK_THRESHOLD},
        {"gauss IN OUT --threshold nan", QIP_E_MASK_THRESHOLD},
        {"gauss IN OUT --client 1,2,2,4,0,0", QMATH_E_SINGULAR},
        {"gauss IN OUT --origin 2147483647,0", QSYS_E_RANGE},
        {"gauss IN OUT --roi 2147483647,0,4,4", QSYS_E_RANGE},
        {"gauss IN OUT --mask IN --kernel 64", QIP_E_KERNEL_SIZE},
        {"gauss IN16 OUT --kernel 40", QIP_E_KERNEL_SIZE},
        {"gauss IN OUT --mask SMALL", QIP_E_MASK_MISMATCH},
        {"gauss IN OUT --reset-mask SMALL", QIP_E_MASK_MISMATCH},
        {"result-mask IN OUT --sample 0 --roi 0,0,4,4", QIP_E_SAMPLING},
        {"result-mask IN OUT --threshold 1.5", QIP_E_MASK_THRESHOLD},
    };
    for (const auto& c : cases) {
        const program_result quiet = run(c.line);
        EXPECT_EQ(quiet.exitStatus, 1) << c.line;
        char code[16];
        std::snprintf(code, sizeof code, "0x%08x", static_cast<unsigned>(c.status));
        EXPECT_NE(quiet.errors.find(code), std::string::npos) << c.line << ": " << quiet.errors;
        EXPECT_NE(quiet.errors.find(qip_statusText(c.status)), std::string::npos) << quiet.errors;
        EXPECT_EQ(quiet.output, "") << c.line;

        const program_result json = run(c.line + std::string(" --json"));
        EXPECT_EQ(json.exitStatus, 1) << c.line;
        EXPECT_EQ(program_jsonNumber(json.output, "status"), c.status) << json.output;
        EXPECT_EQ(program_jsonNumber(json.output, "width"), 0) << json.output;
        EXPECT_EQ(program_jsonNumbers(json.output, "image_from_client"), std::vector<double>(6, 0.0));
        expectUntouched(c.line);
    }
}

// Each level that the machine has can be chosen, the others are usage errors.
TEST_F(ProgramOptions, LevelsAndThreadsAreReported)
{
    for (const char* level : {"plain", "sse", "avx2", "neon"}) {
        const bool isThere = qsys_cpuinfo_limitLevel(level) >= 0;
        const program_result result = run(std::string("info --json --threads 3 --cpu ") + level);
        EXPECT_EQ(result.exitStatus, isThere ? 0 : 2) << level;
        if (!isThere)
            continue;
        EXPECT_EQ(program_jsonText(result.output, "cpu"), level);
        EXPECT_EQ(program_jsonNumber(result.output, "threads"), 3);
        EXPECT_EQ(program_jsonKeys(result.output), "version cpu threads ");
    }
    ASSERT_GE(qsys_cpuinfo_limitLevel("auto"), 0);
    const program_result result = run("info --cpu auto --threads 0");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.output.find(std::to_string(QIP_VERSION_MAJOR) + "."), std::string::npos);
    EXPECT_NE(result.output.find(std::string("level ") + qsys_cpuinfo_levelName()), std::string::npos);
}

TEST_F(ProgramOptions, HelpAndVersionAreAnswers)
{
    for (const char* line : {"--help", "gauss --help", "--version"}) {
        const program_result result = run(line);
        EXPECT_EQ(result.exitStatus, 0) << line;
        EXPECT_NE(result.output, "") << line;
        EXPECT_EQ(result.errors, "") << line;
    }
}

// The manual page and the completion know the options that the program has, and no others.
TEST_F(ProgramOptions, OptionsAreDocumentedAndCompleted)
{
    const auto optionsIn = [](const std::string& text, const char* before = "") {
        const std::regex form(std::string(before) + "(--[a-z][a-z-]*)");
        return std::set<std::string>(std::sregex_token_iterator(text.begin(), text.end(), form, 1), {});
    };
    const char* const startOfLine = "\n  (?:-h,)?"; // others are part of a description
    const std::string common = run("--help").output;
    std::string all = common;
    for (const std::string command : {"", "gauss", "half", "binomial", "result-mask", "info"}) {
        const std::string help = command.empty() ? common : common + run(command + " --help").output;
        all += help;
        std::set<std::string> expected = optionsIn(help, startOfLine);
        if (!command.empty())
            expected.erase("--version");
        const program_result completed =
            program_runAny({"/bin/bash", "-c",
                            "source " TOOLS "/qip-smooth.bash; COMP_WORDS=(qip-smooth " + command +
                                " --); COMP_CWORD=" + (command.empty() ? "1" : "2") +
                                "; _qip_smooth; echo \"${COMPREPLY[@]}\""});
        EXPECT_EQ(optionsIn(completed.output), expected) << command << completed.errors;
    }
    EXPECT_EQ(optionsIn(program_readFile(TOOLS "/qip-smooth.1.scd")), optionsIn(all, startOfLine));
}
