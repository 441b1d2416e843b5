// What the program says to a command line that is wrong, to values that the library refuses, and to questions.
#include "support/program.h"

#include <qip/export.h>
#include <qip/status.h>

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

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
        program_writeFile(folder.file("out.pgm"), "what was there before");
        before = folder.listing();
    }

    // Runs a line of words; IN, IN16 and OUT stand for files in the folder.
    program_result run(const std::string& line)
    {
        std::istringstream stream(line);
        std::vector<std::string> words;
        for (std::string word; stream >> word;) {
            if (word == "IN")
                word = folder.file("in.pgm");
            if (word == "IN16")
                word = folder.file("in16.pgm");
            if (word == "OUT")
                word = folder.file("out.pgm");
            words.push_back(word);
        }
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
    for (const char* line : {
             "",
             "smooth IN OUT",
             "gauss IN",
             "gauss IN OUT more.pgm",
             "gauss IN OUT --kernle 3",
             "gauss IN OUT --kernel",
             "gauss IN OUT --kernel 3y4",
             "gauss IN OUT --kernel 3x",
             "gauss IN OUT --kernel 3x4x5",
             "gauss IN OUT --kernel 1.5",
             "gauss IN OUT --kernel 99999999999",
             "gauss IN OUT --kernel 1 --kernel 2",
             "gauss IN OUT --sample 0x10y",
             "gauss IN OUT --gain 1,5",
             "gauss IN OUT --gain 1e999",
             "gauss IN OUT --mask-mode -1",
             "gauss IN OUT --threshold half",
             "gauss IN OUT --depth 12",
             "gauss IN16 OUT --depth 8",
             "gauss IN OUT --passes 2",
             "gauss IN.tif OUT",
             "gauss IN OUT.tif",
             "gauss IN out.ppm",
             "gauss IN noending",
             "gauss IN OUT --origin 1",
             "gauss IN OUT --origin 1,2,3",
             "gauss IN OUT --roi 0,0,4",
             "gauss IN OUT --roi 0,0,0,4",
             "gauss IN OUT --roi 0,0,4,-1",
             "gauss IN OUT --roi 0,0,4,4 --fill 256",
             "gauss IN OUT --depth 16 --roi 0,0,4,4 --fill 65536",
             "gauss IN OUT --roi 0,0,4,4 --fill -1",
             "gauss IN OUT --client 1,0,0,1,0",
             "gauss IN OUT --client 1,0,0,1,0,x",
             "gauss IN OUT --repeat 0",
             "gauss IN OUT --threads -1",
             "gauss IN OUT --cpu",
             "gauss IN OUT --cpu mmx",
             "info --cpu AVX2",
             "half IN OUT --axis z",
             "half IN OUT --mask-out mask.pgm",
             "half IN OUT --mask IN --mask-out OUT",
             "binomial IN OUT --mask-out mask.pgm",
             "binomial IN OUT --passes two",
             "result-mask IN OUT --centre-mask IN.bmp",
         }) {
        const program_result result = run(line);
        EXPECT_EQ(result.exitStatus, 2) << line;
        EXPECT_EQ(result.errors.rfind("qip-smooth: ", 0), 0u) << line << ": " << result.errors;
        EXPECT_EQ(result.output, "") << line;
        expectUntouched(line);
    }
}

TEST_F(ProgramOptions, WhatALaterFamilyServesIsNotAvailable)
{
    for (const char* line : {"gauss IN16 OUT", "gauss IN OUT --mask IN", "gauss IN OUT --reset-mask IN",
                             "gauss IN OUT --mask-out mask.pgm", "result-mask IN OUT"}) {
        const program_result result = run(line);
        EXPECT_EQ(result.exitStatus, 2) << line;
        EXPECT_NE(result.errors.find("not available in this build"), std::string::npos) << line;
        expectUntouched(line);
    }
}

TEST_F(ProgramOptions, RefusalsNameTheStatus)
{
    const struct {
        const char* line;
        qip_status status;
        const char* code;
    } cases[] = {
        {"gauss IN OUT --sample 0 --kernel -1", QIP_E_SAMPLING, "0x80000961"},
        {"gauss IN OUT --kernel 2x-1", QIP_E_KERNEL_SIZE, "0x80000962"},
        {"gauss IN OUT --gain 0", QIP_E_GAIN, "0x80000963"},
        {"gauss IN OUT --gain -inf", QIP_E_GAIN, "0x80000963"},
        {"gauss IN OUT --mask-mode 2", QIP_E_MASK_MODE, "0x80000ea8"},
        {"gauss IN OUT --result-mode 2", QIP_E_MASK_RESULT_MODE, "0x80000ea9"},
        {"gauss IN OUT --threshold 1.5", QIP_E_MASK_THRESHOLD, "0x80000eaa"},
        {"gauss IN OUT --threshold nan", QIP_E_MASK_THRESHOLD, "0x80000eaa"},
        {"gauss IN OUT --client 1,2,2,4,0,0", QMATH_E_SINGULAR, "0x80000121"},
        {"gauss IN OUT --origin 2147483647,0", QSYS_E_RANGE, "0x80000103"},
        {"gauss IN OUT --roi 2147483647,0,4,4", QSYS_E_RANGE, "0x80000103"},
    };
    for (const auto& c : cases) {
        const program_result quiet = run(c.line);
        EXPECT_EQ(quiet.exitStatus, 1) << c.line;
        EXPECT_NE(quiet.errors.find(c.code), std::string::npos) << c.line << ": " << quiet.errors;
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
    for (const char* level : {"plain", "sse", "avx2"}) {
        const bool isThere = qsys_cpuinfo_limitLevel(level) >= 0;
        const program_result result = run(std::string("info --json --threads 3 --cpu ") + level);
        EXPECT_EQ(result.exitStatus, isThere ? 0 : 2) << level;
        if (!isThere)
            continue;
        EXPECT_NE(result.output.find(std::string("\"cpu\": \"") + level + "\""), std::string::npos)
            << result.output;
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
