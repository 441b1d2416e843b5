#include "batch.h"

#include "failure.h"
#include "message.h"
#include "output.h"

#include <qbase/jobs.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

// ---- the plan ----

// What makes two names name the same file.
using identity = std::pair<dev_t, ino_t>;

std::optional<identity> identityOf(const std::string& path)
{
    struct stat about = {};
    if (stat(path.c_str(), &about) != 0)
        return std::nullopt;
    return identity(about.st_dev, about.st_ino);
}

std::set<identity> identitiesOfInputs(const options& o)
{
    std::vector<std::string> names = o.files;
    for (const auto* mask : {&o.mask, &o.resetMask, &o.centreMask})
        if (*mask)
            names.push_back(**mask);
    std::set<identity> all;
    for (const std::string& name : names)
        if (const auto found = identityOf(name)) // one that is missing fails when it is its turn
            all.insert(*found);
    return all;
}

std::string outputFor(const options& o, const std::string& input)
{
    fs::path name = fs::path(input).filename();
    if (o.format)
        name.replace_extension(picture_endingOf(*o.format));
    else if (!picture_formatOf(name))
        name.replace_extension(picture_endingOf(picture_format::png));
    return (fs::path(*o.outDir) / name).string();
}

// ---- how far it is ----

class progress
{
public:
    progress(const std::vector<options>& runs, bool isShown) : pictureCount(runs.size()), isShown(isShown)
    {
        for (const options& one : runs)
            byteCount += sizeOf(one);
        show();
    }

    ~progress()
    {
        message_setStatus("");
    }

    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    void addDone(const options& one)
    {
        const std::lock_guard mine(turn);
        ++donePictures;
        doneBytes += sizeOf(one);
        show();
    }

private:
    using clock = std::chrono::steady_clock;

    static double sizeOf(const options& one)
    {
        std::error_code error;
        const uintmax_t size = fs::file_size(one.input, error);
        return error ? 0 : static_cast<double>(size);
    }

    void show()
    {
        constexpr auto pause = std::chrono::milliseconds(100);
        const auto now = clock::now();
        if (!isShown || (donePictures > 0 && now - shownAt < pause))
            return;
        shownAt = now;
        const double seconds = std::chrono::duration<double>(now - start).count();
        const double rate = seconds > 0 ? doneBytes / seconds : 0;
        constexpr size_t width = 30;
        const size_t filled = width * donePictures / std::max<size_t>(pictureCount, 1);
        std::string text(width + 2, '.');
        std::fill_n(text.begin() + 1, filled, '#');
        text.front() = '[';
        text.back() = ']';
        text += ' ';
        text += std::to_string(donePictures) + "/" + std::to_string(pictureCount);
        if (rate > 0) {
            const int64_t left = std::llround((byteCount - doneBytes) / rate);
            char more[64];
            std::snprintf(more, sizeof more, "  %.1f MB/s  %lld:%02lld left", rate / 1e6,
                          static_cast<long long>(left / 60), static_cast<long long>(left % 60));
            text += more;
        }
        message_setStatus(text);
    }

    size_t pictureCount;
    bool isShown;
    double byteCount = 0; // of the inputs, as they are packed
    std::mutex turn;
    size_t donePictures = 0;
    double doneBytes = 0;
    const clock::time_point start = clock::now();
    clock::time_point shownAt = start;
};

// ---- the work ----

// Answers whether it worked; says so if not.
bool runOne(const options& one, const std::function<void(const options& one)>& run)
{
    try {
        run(one);
        return true;
    } catch (const file_failure& problem) {
        message_print(problem.what()); // which names the file
    } catch (const std::bad_alloc&) {
        message_print(one.input + ": not enough memory");
    } catch (const std::exception& problem) {
        message_print(one.input + ": " + problem.what());
    }
    return false;
}

// The next picture is mostly as large as the last one. Its memory stays with the process then: to get pages
// from the system and to give them back takes longer than to smooth them, and threads wait for each other
// there. Greater blocks than these still go back at once.
void keepMemory()
{
#ifdef M_MMAP_THRESHOLD // of the GNU C library
    constexpr int greatestBlock = 32 << 20;
    mallopt(M_MMAP_THRESHOLD, greatestBlock);
    mallopt(M_TRIM_THRESHOLD, 8 * greatestBlock);
#endif
}

// Runs `work` on so many threads, or on as many as there can be; this one is the first of them.
void runSideBySide(size_t threadCount, const std::function<void()>& work)
{
    std::vector<std::jthread> others;
    try {
        while (others.size() + 1 < threadCount)
            others.emplace_back(work);
    } catch (const std::system_error&) { // the system has no more threads for us
    }
    work();
}

} // namespace

std::vector<options> batch_plan(const options& o)
{
    std::error_code error;
    if (!fs::is_directory(*o.outDir, error))
        throw usage_failure("--out-dir: \"" + *o.outDir + "\" is not a folder");
    const std::set<identity> inputs = identitiesOfInputs(o);
    std::map<fs::path, std::string> inputOf;
    std::vector<options> runs;
    options common = o;
    common.files = {}; // a copy of them in every run would take memory with the square of their number
    for (const std::string& input : o.files) {
        options one = common;
        one.input = input;
        one.output = outputFor(o, input);
        one.outputFormat = *picture_formatOf(one.output);
        // One whose path cannot be told fails when it is its turn.
        fs::path whole = output_fullPath(one.output);
        if (whole.empty())
            whole = one.output;
        const auto [other, isNew] = inputOf.emplace(std::move(whole), input);
        if (!isNew)
            throw usage_failure("--out-dir: \"" + one.output + "\" would come of \"" + other->second +
                                "\" and of \"" + input + "\"");
        const auto there = identityOf(one.output);
        if (there && inputs.contains(*there))
            throw usage_failure("--out-dir: \"" + one.output + "\" is an input");
        runs.push_back(std::move(one));
    }
    return runs;
}

void batch_run(const options& o, const std::function<void(const options& one)>& run)
{
    refusal_check(qsys_jobs_setThreadCount(1));
    keepMemory();
    const std::vector<options> runs = batch_plan(o);
    std::atomic<size_t> next = 0, failed = 0;
    {
        const bool hasReports = o.json && isatty(STDOUT_FILENO); // which would come behind the bar
        progress status(runs, isatty(STDERR_FILENO) && !o.quiet && !hasReports);
        const auto work = [&] {
            for (size_t i = next++; i < runs.size(); i = next++) {
                failed += !runOne(runs[i], run);
                status.addDone(runs[i]);
            }
        };
        const size_t jobs = static_cast<size_t>(o.jobs);
        runSideBySide(std::min(jobs ? jobs : std::thread::hardware_concurrency(), runs.size()), work);
    }
    if (failed > 0)
        throw failure(EXIT_REFUSED, std::to_string(failed) + " of " + std::to_string(runs.size()) +
                                        (runs.size() == 1 ? " picture" : " pictures") + " failed");
}
