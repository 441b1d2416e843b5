// Command lines, run in the fuzzer's process: whatever they say, they succeed or fail by one of the
// failures that the program reports, and leave complete files or none.
//
// An input is a command line, one argument in a line. It runs in a folder of its own that holds a few
// tiny pictures; slashes in arguments become underscores, so that nothing outside that folder is named.
#include "tools/batch.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/picture_file.h"

#include "fuzz.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <new>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sanitizer/common_interface_defs.h>

namespace
{

namespace fs = std::filesystem;

// ---- the folder ----

struct input {
    const char* name;
    int depth;
    int32_t width, height;
};

constexpr input inputs[] = {{"a.png", 8, 60, 50}, {"b.png", 16, 60, 50}, {"c.pgm", 8, 7, 9},
                            {"d.pgm", 16, 40, 3}, {"m.png", 8, 60, 50},  {"n.pgm", 8, 7, 9}};

void makeInput(const input& one)
{
    const size_t size = static_cast<size_t>(one.width * one.height * one.depth / 8);
    std::vector<uint8_t> pixels(size);
    test_random random{static_cast<uint64_t>(one.width)};
    for (uint8_t& each : pixels)
        each = static_cast<uint8_t>(one.name[0] >= 'm' ? test_randomBits(&random) % 8 ? 255 : 0
                                                       : test_randomBits(&random));
    std::FILE* const stream = std::fopen(one.name, "wb");
    picture_write(stream, one.name, *picture_formatOf(one.name),
                  {one.width, one.height, one.depth, one.width * one.depth / 8, pixels.data()});
    std::fclose(stream);
}

// The files there are, each with what changes when it is written or replaced.
std::map<std::string, std::pair<ino_t, int64_t>> listing()
{
    std::map<std::string, std::pair<ino_t, int64_t>> files;
    for (const auto& entry : fs::recursive_directory_iterator(".")) {
        struct stat about = {};
        lstat(entry.path().c_str(), &about);
        if (!S_ISDIR(about.st_mode))
            files[entry.path().lexically_normal().string()] = {
                about.st_ino, about.st_mtim.tv_sec * 1000000000 + about.st_mtim.tv_nsec};
    }
    return files;
}

void enterFolder()
{
    std::string folder =
        fs::exists("/dev/shm") ? "/dev/shm/fuzz-command-XXXXXX" : "/tmp/fuzz-command-XXXXXX";
    fuzz_check(mkdtemp(folder.data()) && chdir(folder.c_str()) == 0, "no folder to work in");
    static const std::string made = folder;
    std::atexit([] { fs::remove_all(made); });
    for (const input& one : inputs)
        makeInput(one);
    mkdir("folder.png", 0777); // which no picture replaces
}

// ---- running ----

// What the program prints goes nowhere; reports of the sanitizers still come out.
class silence
{
public:
    silence()
    {
        static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        std::fflush(stdout);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
    }
    ~silence()
    {
        std::fflush(stdout);
        dup2(errors, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
    }
    silence(const silence&) = delete;
    silence& operator=(const silence&) = delete;

private:
    static inline const int errors = [] {
        const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(copy)));
        return copy;
    }();
};

using output_formats = std::map<std::string, picture_format>;

// What a run may write, by the names that a listing has.
output_formats outputsOf(const options& o)
{
    const auto name = [](const std::string& path) {
        return fs::path(path).lexically_normal().string();
    };
    output_formats all;
    if (o.outDir && o.what != command::info)
        for (const options& one : batch_plan(o))
            all[name(one.output)] = one.outputFormat;
    else
        all[name(o.output)] = o.outputFormat;
    if (o.maskOut)
        all[name(*o.maskOut)] = o.maskOutFormat;
    return all;
}

// What a run may have written: nothing after a failure, save that of one picture among many.
output_formats run(const std::vector<std::string>& arguments)
{
    std::vector<const char*> argv = {"qip-smooth"};
    for (const std::string& each : arguments)
        argv.push_back(each.c_str());
    const silence quiet;
    output_formats written;
    bool isBatch = false;
    try {
        std::optional<options> chosen = options_parse(static_cast<int>(argv.size()), argv.data());
        if (!chosen)
            return {};
        // Numbers that cost time and lead to no other code.
        chosen->repeat = std::min(chosen->repeat, 3);
        chosen->passes = {std::min(chosen->passes.x, 50), std::min(chosen->passes.y, 50)};
        if (chosen->threadCount)
            chosen->threadCount = *chosen->threadCount % 4;
        chosen->jobs = chosen->jobs % 4;
        written = outputsOf(*chosen);
        isBatch = chosen->outDir.has_value();
        command_run(*chosen);
        return written;
    } catch (const failure& problem) {
        fuzz_check(problem.exitStatus == EXIT_REFUSED || problem.exitStatus == EXIT_USAGE,
                   "unknown exit status");
        fuzz_check(*problem.what(), "a failure without words");
    } catch (const std::bad_alloc&) {
    }
    return isBatch ? written : output_formats();
}

std::vector<std::string> argumentsOf(const uint8_t* data, size_t size)
{
    std::vector<std::string> arguments(1);
    for (size_t i = 0; i < size; ++i)
        if (data[i] == '\n')
            arguments.emplace_back();
        else
            arguments.back() += data[i] == '/' ? '_' : data[i] == 0 ? '0' : static_cast<char>(data[i]);
    return arguments;
}

void checkFile(const std::string& name)
{
    try {
        picture_read(name);
    } catch (const file_failure& problem) {
        fuzz_report("not a complete picture: " + std::string(problem.what()));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool isReady = (fuzz_installAllocator(), enterFolder(), true);
    static auto before = listing();
    (void)isReady;
    const output_formats written = run(argumentsOf(data, size));
    fuzz_apply({"auto", false, 1});
    const auto after = listing();
    if (after == before)
        return 0;
    for (const auto& [name, state] : after)
        if (!before.contains(name) || before[name] != state) {
            fuzz_check(written.contains(name), "a file that was not asked for: " + name);
            if (written.at(name) != picture_format::raw)
                checkFile(name);
        }
    for (const auto& each : after)
        if (!before.contains(each.first))
            unlink(each.first.c_str());
    for (const input& one : inputs)
        if (!after.contains(one.name))
            fuzz_report(std::string("an input is gone: ") + one.name);
        else if (after.at(one.name) != before[one.name])
            makeInput(one);
    before = listing();
    return 0;
}
