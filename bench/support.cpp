#include "bench/support.h"

#include <qbase/jobs.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <map>
#include <new>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

namespace
{

constexpr bench_size smallSize = {64, 64};
constexpr std::array<bench_size, 3> sizes{{{256, 256}, {1024, 1024}, {4096, 3072}}};
constexpr int64_t leastPixelsOfBand = 65536; // where a call may use several threads
constexpr std::array<const char*, 4> levels{"plain", "sse", "avx2", "neon"};

struct variantRecord {
    std::string caseName;
    std::string name;
    bool isOurs; // the name is a processor level
    bench_prepare prepare;
    bench_measuring measuring; // peers are measured at the sizes of ours
};

std::vector<variantRecord>& variants()
{
    static std::vector<variantRecord> variants;
    return variants;
}

double seconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// The time of a memcpy that reads and writes `bytes` in all: the median of some samples, each long enough
// for the clock.
double memcpySeconds(int64_t bytes)
{
    const auto count = static_cast<std::size_t>(bytes / 2);
    static std::vector<char> from;
    static std::vector<char> to;
    if (from.size() < count) {
        from.assign(count, 1);
        to.assign(count, 2);
    }
    const std::size_t copies = std::max<std::size_t>(1, (1 << 20) / (count + 1));
    std::array<double, 9> samples{};
    for (double& sample : samples) {
        const double start = seconds(CLOCK_THREAD_CPUTIME_ID);
        for (std::size_t i = 0; i < copies; ++i) {
            std::memcpy(to.data(), from.data(), count);
            benchmark::DoNotOptimize(to.data());
            benchmark::ClobberMemory();
        }
        sample = (seconds(CLOCK_THREAD_CPUTIME_ID) - start) / static_cast<double>(copies);
    }
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    return samples[samples.size() / 2];
}

void measure(benchmark::State& state, const variantRecord& variant, const bench_size& size)
{
    const int threads = variant.measuring.threads;
    const clockid_t clock = threads > 1 ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
    if (variant.isOurs)
        qsys_cpuinfo_limitLevel(variant.name.c_str());
    qsys_jobs_setThreadCount(threads);
    qsys_jobs_setSplitting(threads > 1 ? leastPixelsOfBand : 0);
    const bench_work work = variant.prepare(size);
    const double memcpyTime = memcpySeconds(work.bytes);
    bool good = work.run(); // binds the destination, and warms up
    const int64_t allocated = bench_allocations();
    const double start = seconds(clock);
    for ([[maybe_unused]] auto iteration : state)
        good = work.run() && good;
    const auto calls = static_cast<double>(state.iterations());
    const double callTime = (seconds(clock) - start) / calls;
    const auto allocations = static_cast<double>(bench_allocations() - allocated) / calls;
    qsys_cpuinfo_limitLevel("auto");
    if (!good) {
        state.SkipWithError("the call failed");
        return;
    }
    state.counters["Mpixel/s"] = 1e-6 * static_cast<double>(bench_pixels(size)) / callTime;
    state.counters["allocations"] = allocations;
    state.counters["memcpy"] = memcpyTime / callTime;
    state.counters["microseconds"] = 1e6 * callTime;
}

bench_image newImage(const bench_size& size, int32_t pixelSize)
{
    bench_image image = bench_unbound();
    const qstd_rect32 rect{0, 0, size.width, size.height};
    if (qimg_image_assignNewRect(image.get(), pixelSize, &rect) < 0)
        throw std::bad_alloc();
    return image;
}

char* rowOf(const bench_image& image, int32_t y)
{
    return static_cast<char*>(image->firstPixel) + int64_t{y} * image->stride;
}

void fillRandom(const bench_image& image)
{
    std::mt19937_64 random(20);
    const auto rowBytes = static_cast<std::size_t>(int64_t{image->rect.width} * image->pixelSize);
    std::vector<std::uint64_t> row(rowBytes / sizeof(std::uint64_t) + 1);
    for (int32_t y = 0; y < image->rect.height; ++y) {
        std::generate(row.begin(), row.end(), random);
        std::memcpy(rowOf(image, y), row.data(), rowBytes);
    }
}

// Sets the round area to 0, as far as it lies in the mask; the number of pixels that were not 0 before.
int64_t clearDisc(const bench_image& mask, int32_t centreX, int32_t centreY, int32_t radius)
{
    int64_t cleared = 0;
    for (int32_t y = std::max(0, centreY - radius); y < std::min(mask->rect.height, centreY + radius); ++y)
        for (int32_t x = std::max(0, centreX - radius); x < std::min(mask->rect.width, centreX + radius);
             ++x)
            if ((x - centreX) * (x - centreX) + (y - centreY) * (y - centreY) < radius * radius) {
                cleared += rowOf(mask, y)[x] != 0;
                rowOf(mask, y)[x] = 0;
            }
    return cleared;
}

// Sets discs to 0 until a share of the valid mask is; the radius is drawn from low to high.
void clearDiscs(const bench_image& mask, std::mt19937& random, double share, int32_t low, int32_t high)
{
    const auto below = [&](int32_t bound) {
        return static_cast<int32_t>(random() % static_cast<unsigned>(bound));
    };
    auto left = static_cast<int64_t>(share * mask->rect.width * mask->rect.height);
    while (left > 0) {
        const int32_t radius = low + below(high - low + 1);
        const int32_t centreX = below(mask->rect.width);
        const int32_t centreY = below(mask->rect.height);
        left -= clearDisc(mask, centreX, centreY, radius);
    }
}

void fillValid(const bench_image& mask)
{
    for (int32_t y = 0; y < mask->rect.height; ++y)
        std::memset(rowOf(mask, y), 255, static_cast<std::size_t>(mask->rect.width));
}

void fillSpots(const bench_image& mask)
{
    std::mt19937 random(21);
    fillValid(mask);
    clearDiscs(mask, random, 0.1, 2, 21);
}

// Smaller areas in a small picture, so that the share is met there too.
int32_t greatestRadius(const bench_image& mask, int32_t wanted)
{
    return std::max(20, std::min({wanted, mask->rect.width / 8, mask->rect.height / 8}));
}

void fillDust(const bench_image& mask)
{
    std::mt19937 random(22);
    fillValid(mask);
    clearDiscs(mask, random, 0.25, 20, greatestRadius(mask, 120));
    for (int32_t y = 0; y < mask->rect.height; ++y)
        for (int32_t x = 0; x < mask->rect.width; ++x)
            if (random() % 500 == 0)
                rowOf(mask, y)[x] = 0;
}

void fillBlobs(const bench_image& mask)
{
    std::mt19937 random(23);
    fillValid(mask);
    clearDiscs(mask, random, 0.1, 20, greatestRadius(mask, 60));
}

using fillPicture = void (*)(const bench_image&);

// The picture of this size, depth and content, made at first use.
bench_image kept(const bench_size& size, int32_t pixelSize, fillPicture fill)
{
    static std::map<std::tuple<int32_t, int32_t, int32_t, fillPicture>, bench_image> pictures;
    bench_image& picture = pictures[{size.width, size.height, pixelSize, fill}];
    if (!picture) {
        picture = newImage(size, pixelSize);
        fill(picture);
    }
    return picture;
}

} // namespace

void bench_addOurs(const std::string& caseName, const bench_prepare& prepare,
                   const bench_measuring& measuring)
{
    for (const char* level : levels)
        if (!(measuring.notPortable && level == levels[0]) && qsys_cpuinfo_limitLevel(level) >= 0)
            variants().push_back({caseName, level, true, prepare, measuring});
    qsys_cpuinfo_limitLevel("auto");
}

void bench_addPeer(const std::string& caseName, const std::string& variant, const bench_prepare& prepare,
                   int threads)
{
    variants().push_back({caseName, variant, false, prepare, {.threads = threads}});
}

void bench_registerAll()
{
    std::vector<variantRecord>& all = variants();
    std::stable_sort(all.begin(), all.end(), [](const variantRecord& a, const variantRecord& b) {
        return a.caseName < b.caseName;
    });
    for (auto first = all.begin(); first != all.end();) {
        const auto last = std::find_if(
            first, all.end(), [&](const variantRecord& v) { return v.caseName != first->caseName; });
        std::vector<bench_size> measured(sizes.begin(), sizes.end());
        if (first->measuring.alsoSmall)
            measured.insert(measured.begin(), smallSize);
        for (const bench_size& size : measured)
            for (auto variant = first; variant != last; ++variant) {
                const std::string name = variant->caseName + "/" + std::to_string(size.width) + "x" +
                                         std::to_string(size.height) + "/" + variant->name;
                benchmark::RegisterBenchmark(name.c_str(), [variant, size](benchmark::State& state) {
                    measure(state, *variant, size);
                });
            }
        first = last;
    }
}

bench_image bench_source(const bench_size& size, int32_t pixelSize)
{
    return kept(size, pixelSize, fillRandom);
}

bench_image bench_mask(const bench_size& size, bench_maskKind kind)
{
    constexpr fillPicture fills[] = {fillSpots, fillDust, fillBlobs, fillValid}; // as bench_maskKind
    return kept(size, 1, fills[static_cast<int>(kind)]);
}

bench_image bench_unbound()
{
    return {new qimg_image QIMG_IMAGE_UNBOUND, [](qimg_image* image) {
                qimg_image_destruct(image);
                delete image;
            }};
}
