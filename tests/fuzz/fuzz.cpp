#include "fuzz.h"

#include <qbase/inhibit.h>
#include <qbase/jobs.h>
#include <qbase/memory.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace
{

std::atomic<int64_t> liveBlocks, refusedBlocks;

void* allocate(void*, size_t size)
{
    constexpr size_t most = size_t{8} << 20;
    void* const block = size <= most ? std::malloc(size) : nullptr;
    (block ? liveBlocks : refusedBlocks) += 1;
    return block;
}

void release(void*, void* block)
{
    liveBlocks -= block != nullptr;
    std::free(block);
}

// Settings with one name must give the same status and places.
std::string groupOfPlaces(const test_call& call, const fuzz_setting& setting)
{
    // The greatest kernel size under masks depends on the level.
    const bool isLarge = std::max(call.params.kernelSizeX, call.params.kernelSizeY) > 24;
    return call.what->masked && call.what->srcSize == 1 && isLarge && setting.level == std::string("plain")
               ? "plain"
               : "";
}

// Settings with one name must give the same pixels.
std::string groupOfPixels(const test_call& call, const fuzz_setting& setting)
{
    const std::string path = setting.inhibited ? "plain" : setting.level;
    if (call.what->family == test_family::gauss)
        return path;
    if (!call.what->masked)
        return "";
    if (path == "plain")
        return path + groupOfPlaces(call, setting);
    if (call.what->srcSize == 1 && !test_hasPixels(call, test_srcMask))
        return path;
    // Bands of rows choose their arithmetic by themselves.
    return "fast on " + std::to_string(setting.threads);
}

} // namespace

// Large sizes are answered by null, as in a program. Long call stacks of every block cost half the time;
// to see them, set malloc_context_size in ASAN_OPTIONS.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1:malloc_context_size=2";
}

// Expectations of the shared test helpers end the run as findings do.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    GTEST_FLAG_SET(break_on_failure, true);
    return 0;
}

void fuzz_report(const std::string& what)
{
    std::fprintf(stderr, "finding: %s\n", what.c_str());
    std::abort();
}

void fuzz_installAllocator()
{
    qsys_memory_setAllocator(allocate, release, nullptr);
}

int64_t fuzz_liveBlocks()
{
    return liveBlocks;
}

const std::vector<const char*>& fuzz_levels()
{
    static const std::vector<const char*> levels = [] {
        std::vector<const char*> found;
        for (const char* level : {"plain", "sse", "avx2", "neon"})
            if (qsys_cpuinfo_limitLevel(level) == 0)
                found.push_back(level);
        return found;
    }();
    return levels;
}

void fuzz_apply(const fuzz_setting& setting)
{
    qsys_cpuinfo_limitLevel(setting.level);
    qsys_jobs_setThreadCount(setting.threads);
    qsys_jobs_setSplitting(setting.threads == 1 ? 0 : 1);
}

int32_t fuzz_mostHeight(test_random* random, int32_t width)
{
    const int32_t mostPixels = test_pick(random, std::array{1500, 1500, 1500, 5000, 5000, 20000});
    return std::clamp(mostPixels / width, 1, 150);
}

void fuzz_runEverywhere(const test_call& call, bool onThreads)
{
    std::map<std::string, test_outcome> places, pixels;
    std::vector<fuzz_setting> settings;
    for (const int32_t threads : {1, 3})
        for (const char* level : fuzz_levels())
            for (const bool inhibited : {true, false})
                if (threads == 1 || onThreads)
                    settings.push_back({level, inhibited, threads});
    for (const fuzz_setting& setting : settings) {
        fuzz_apply(setting);
        const int64_t blocks = liveBlocks;
        const int64_t refused = refusedBlocks;
        const test_outcome seen = test_run(call, setting.inhibited);
        // The threads of the pool keep blocks of their own.
        fuzz_check(setting.threads > 1 || liveBlocks == blocks, "blocks are left");
        // Paths need different amounts of memory; qfGauss does not say that it lacked some.
        if (refusedBlocks != refused)
            continue;
        const std::string where = std::string(call.what->name) + ", level " + setting.level +
                                  (setting.inhibited ? ", inhibited" : "") + ", threads " +
                                  std::to_string(setting.threads) + ": ";
        const test_outcome& place = places.try_emplace(groupOfPlaces(call, setting), seen).first->second;
        const test_outcome& pixel = pixels.try_emplace(groupOfPixels(call, setting), seen).first->second;
        fuzz_check(seen.status == place.status, where + "status " + std::to_string(seen.status) +
                                                    " instead of " + std::to_string(place.status));
        fuzz_check(seen.places == place.places, where + "other places or transforms");
        fuzz_check(seen.mask == place.mask, where + "other masks");
        fuzz_check(seen.status != pixel.status || seen.dst == pixel.dst, where + "other pixels");
        // The transform is set last; that of a source may be one which the service cannot carry over.
        const bool isRefused = seen.status < 0 && seen.status != QMATH_E_SINGULAR;
        fuzz_check(!isRefused || !seen.hasWritten, where + "a refusal has written pixels");
    }
}
