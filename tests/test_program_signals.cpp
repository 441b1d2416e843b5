// Signals that end the program: it goes at once, and leaves behind what was there before.
#include "support/program.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include <sys/resource.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

class ProgramSignals : public testing::Test
{
protected:
    ProgramSignals()
    {
        const rlimit noCores = {0, 0}; // a dump of the memory would take the time that is looked at here
        setrlimit(RLIMIT_CORE, &noCores);
        program_writeFile(in, program_pgmOf(program_randomPicture(&random, 4000, 2500, 255)));
    }

    void sleepRandomly(int mostMilliseconds)
    {
        usleep(static_cast<useconds_t>(test_randomRange(&random, 0, mostMilliseconds * 1000)));
    }

    // Sends the signal, and looks at the end of the process and at the folder.
    void expectEnd(pid_t process, int number, const std::string& before)
    {
        const auto start = std::chrono::steady_clock::now();
        kill(process, number);
        EXPECT_EQ(program_wait(process), -number);
        // It takes some milliseconds; the bound only tells it from the seconds that a file takes.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << number;
        EXPECT_EQ(folder.listing(), before) << number;
        EXPECT_EQ(program_readFile(out), "old") << number;
    }

    program_folder folder;
    test_random random = test_randomFor(0);
    const std::string in = folder.file("in.pgm");
    const std::string out = folder.file("out.png");
};

} // namespace

TEST_F(ProgramSignals, LeaveNothingBehind)
{
    program_writeFile(out, "old");
    const std::string before = folder.listing();
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGABRT, SIGALRM, SIGVTALRM, SIGPROF,
                             SIGUSR1, SIGUSR2, SIGXCPU, SIGPOLL, SIGPWR, SIGSTKFLT, SIGRTMIN, SIGRTMAX}) {
        const pid_t writing = program_startSilent({"binomial", in, out, "--passes", "0"});
        ASSERT_TRUE(folder.waitForTemporaries(1));
        sleepRandomly(50);
        expectEnd(writing, number, before);
    }
}

// There is no temporary file yet; other threads are at work.
TEST_F(ProgramSignals, EndReadingAndSmoothingToo)
{
    const std::string png = folder.file("in.png");
    ASSERT_EQ(program_wait(program_startSilent({"binomial", in, png, "--passes", "0"})), 0);
    program_writeFile(out, "old");
    const std::string before = folder.listing();
    for (const int number : {SIGTERM, SIGQUIT, SIGUSR1, SIGXCPU}) {
        const pid_t reading =
            program_startSilent({"binomial", png, out, "--passes", "0", "--repeat", "100000"});
        sleepRandomly(100);
        expectEnd(reading, number, before);
        const pid_t smoothing = program_startSilent(
            {"gauss", in, out, "--kernel", "9", "--mask", in, "--threads", "3", "--repeat", "100000"});
        sleepRandomly(300);
        expectEnd(smoothing, number, before);
    }
}

TEST_F(ProgramSignals, StayIgnoredWhereTheyWere)
{
    const std::string command = "trap '' HUP USR1; exec " + program_path() + " binomial " + in + " " + out;
    const pid_t process = program_start({"/bin/sh", "-c", command}, STDOUT_FILENO, STDERR_FILENO);
    ASSERT_TRUE(folder.waitForTemporaries(1));
    kill(process, SIGHUP);
    kill(process, SIGUSR1);
    EXPECT_EQ(program_wait(process), 0);
    EXPECT_EQ(folder.listing(), "in.pgm out.png ");
}

// Signals at any moment of short runs, thus also while files are put into place.
TEST_F(ProgramSignals, PublishBothOutputsOrNone)
{
    program_writeFile(in, program_pgmOf({2, 2, 255, {1, 2, 3, 4}}));
    const std::string mask = folder.file("mask.pgm");
    const std::string before = "in.pgm mask.pgm out.png ";
    int ended = 0;
    for (int i = 0; i < 200; ++i) {
        program_writeFile(out, "old");
        program_writeFile(mask, "old");
        const pid_t process = program_startSilent({"half", in, out, "--mask", in, "--mask-out", mask});
        sleepRandomly(8);
        kill(process, SIGTERM);
        ended += program_wait(process) == -SIGTERM;
        EXPECT_EQ(folder.listing(), before);
        EXPECT_EQ(program_readFile(out) == "old", program_readFile(mask) == "old");
    }
    EXPECT_GT(ended, 0);
}
