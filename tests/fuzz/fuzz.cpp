#include "fuzz.h"

#include <qbase/inhibit.h>
#include <qbase/jobs.h>
#include <qbase/memory.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>

#include <sanitizer/asan_interface.h>

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

int forbid(const char*)
{
    return 1;
}

uint64_t nextBits(uint64_t* state)
{
    test_random random{*state};
    const uint64_t bits = test_randomBits(&random);
    *state = random.state;
    return bits;
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

std::vector<fuzz_setting> fuzz_settings(bool onThreads)
{
    std::vector<fuzz_setting> settings;
    for (const int32_t threads : {1, 3})
        for (const char* level : fuzz_levels())
            for (const bool inhibited : {true, false})
                if (threads == 1 || onThreads)
                    settings.push_back({level, inhibited, threads});
    return settings;
}

void fuzz_apply(const fuzz_setting& setting)
{
    qsys_cpuinfo_limitLevel(setting.level);
    qprt_isOptimizationInhibitedFP = setting.inhibited ? forbid : nullptr;
    qsys_jobs_setThreadCount(setting.threads);
    qsys_jobs_setSplitting(setting.threads == 1 ? 0 : 1);
}

// ---- decoding ----

int32_t fuzz_extreme(FuzzedDataProvider* data, int32_t usualLow, int32_t usualHigh)
{
    const auto kind = data->ConsumeIntegral<uint8_t>();
    if (kind < 240)
        return data->ConsumeIntegralInRange(usualLow, usualHigh);
    if (kind < 245)
        return data->ConsumeIntegral<int32_t>();
    const auto offset = data->ConsumeIntegral<uint8_t>();
    return kind < 250 ? std::numeric_limits<int32_t>::max() - offset
                      : std::numeric_limits<int32_t>::min() + offset;
}

int32_t fuzz_mostHeight(FuzzedDataProvider* data, int32_t width)
{
    const int32_t mostPixels = data->PickValueInArray({1500, 1500, 1500, 5000, 5000, 20000});
    return std::clamp(mostPixels / width, 1, 150);
}

double fuzz_gain(FuzzedDataProvider* data)
{
    const auto kind = data->ConsumeIntegral<uint8_t>();
    if (kind < 100)
        return 1.0;
    if (kind < 150)
        return std::ldexp(1.0, data->ConsumeIntegralInRange(-20, 40));
    if (kind < 245)
        return data->ConsumeIntegralInRange(1, 4096) / 256.0;
    return data->ConsumeFloatingPoint<double>();
}

fuzz_pixels::fuzz_pixels(int32_t width, int32_t height, int32_t pixelSize, int32_t gap, bool upward)
    : rowBytes_(width * pixelSize), height_(height), stride_(rowBytes_ + gap), upward_(upward),
      blockBytes_(static_cast<size_t>(int64_t{stride_} * (height + 1)))
{
    block_ = std::make_unique_for_overwrite<unsigned char[]>(std::max<size_t>(blockBytes_, 1));
    ASAN_POISON_MEMORY_REGION(block_.get(), blockBytes_);
    for (int32_t y = 0; y < height_; ++y)
        ASAN_UNPOISON_MEMORY_REGION(row(y), static_cast<size_t>(rowBytes_));
}

fuzz_pixels::~fuzz_pixels()
{
    ASAN_UNPOISON_MEMORY_REGION(block_.get(), blockBytes_);
}

// A gap lies before the first row too.
unsigned char* fuzz_pixels::row(int64_t y) const
{
    return block_.get() + (stride_ - rowBytes_) + (upward_ ? height_ - 1 - y : y) * stride_;
}

void fuzz_pixels::clear() const
{
    for (int32_t y = 0; y < height_; ++y)
        std::memset(row(y), test_canary, static_cast<size_t>(rowBytes_));
}

bool fuzz_pixels::isClear() const
{
    const std::vector<unsigned char> canaries(static_cast<size_t>(rowBytes_), test_canary);
    for (int32_t y = 0; y < height_; ++y)
        if (std::memcmp(row(y), canaries.data(), canaries.size()) != 0)
            return false;
    return true;
}

void fuzz_plane::decode(FuzzedDataProvider* data, int32_t wantedPixelSize)
{
    const int32_t width = data->ConsumeIntegralInRange(1, 300);
    const int32_t height = data->ConsumeIntegralInRange(1, fuzz_mostHeight(data, width));
    decodeOver(
        data, {data->ConsumeIntegralInRange(-70, 70), data->ConsumeIntegralInRange(-70, 70), width, height},
        wantedPixelSize);
}

void fuzz_plane::decodeOver(FuzzedDataProvider* data, const qstd_rect32& over, int32_t wantedPixelSize)
{
    const auto oddity = data->ConsumeIntegral<uint8_t>();
    isGiven = oddity != 1;
    isBound = oddity != 2;
    rect = over;
    if (oddity == 3) // of a size that no memory stands behind
        rect = {fuzz_extreme(data, -9, 9), fuzz_extreme(data, -9, 9), fuzz_extreme(data, -9, 9),
                fuzz_extreme(data, -9, 0)};
    if (oddity == 4)
        rect.x = fuzz_extreme(data, -9, 9);
    if (oddity == 5)
        rect.y = fuzz_extreme(data, -9, 9);
    // Few places are a multiple of 32 bytes away from each other.
    pixelSize = oddity == 6 ? data->ConsumeIntegralInRange(0, 3) : wantedPixelSize;
    const int32_t memorySize = std::max(wantedPixelSize, pixelSize);
    const int32_t gap =
        memorySize * data->ConsumeIntegralInRange(0, 40) + (oddity == 8); // 8: odd addresses
    const bool upward = data->ConsumeIntegralInRange(0, 3) == 0;
    const bool hasMemory = oddity != 2 && oddity != 3 && oddity != 7 && rect.width > 0 && rect.height > 0;
    if (hasMemory)
        pixels = std::make_unique<fuzz_pixels>(rect.width, rect.height, memorySize, gap, upward);
    filling = data->ConsumeIntegralInRange(0, 7);
    seed = data->ConsumeIntegral<uint32_t>();
}

void fuzz_plane::fillPixels() const
{
    if (!pixels)
        return;
    uint64_t state = seed;
    for (int32_t y = 0; y < pixels->height(); ++y) {
        unsigned char* const row = pixels->row(y);
        for (int64_t i = 0; i < pixels->rowBytes(); i += 8) {
            uint64_t bits = ~uint64_t{0};
            if (filling == 0 || filling == 4 || filling == 5)
                bits = nextBits(&state);
            else if (filling == 1)
                bits = seed * 0x0101010101010101u;
            else if (filling == 2)
                bits = (nextBits(&state) & 0x0101010101010101u) * 255;
            std::memcpy(row + i, &bits, static_cast<size_t>(std::min<int64_t>(8, pixels->rowBytes() - i)));
        }
    }
}

// Full, empty, noise, binary, dust, holes and patches.
void fuzz_plane::fillMask() const
{
    if (!pixels)
        return;
    uint64_t state = seed;
    const int64_t width = pixels->rowBytes();
    for (int32_t y = 0; y < pixels->height(); ++y)
        std::memset(pixels->row(y), filling == 1 || filling == 7 ? 0 : 255, static_cast<size_t>(width));
    if (filling == 2 || filling == 3)
        fillPixels();
    for (int i = 0; i < 6 && filling > 3; ++i) {
        const uint64_t bits = nextBits(&state);
        const auto top = static_cast<int32_t>((bits & 0xffff) % static_cast<uint64_t>(pixels->height()));
        const auto left = static_cast<int64_t>((bits >> 16 & 0xffff) % static_cast<uint64_t>(width));
        const int32_t rows = filling == 4 ? 1 : static_cast<int32_t>(bits >> 32 & 31) + 1;
        const int64_t columns = filling == 4 ? 1 : static_cast<int64_t>(bits >> 40 & 127) + 1;
        const auto value = filling == 5 ? static_cast<int>(bits >> 48 & 255) : filling == 7 ? 255 : 0;
        for (int32_t y = top; y < std::min(top + rows, pixels->height()); ++y)
            std::memset(pixels->row(y) + left, value, static_cast<size_t>(std::min(columns, width - left)));
    }
}

void fuzz_plane::layInto(test_plane* plane) const
{
    void* const first = pixels ? pixels->row(0) : nullptr;
    const int32_t stride = pixels ? pixels->stride() : 0;
    // A record by hand: what the service would refuse, too.
    plane->window = {rect.width, rect.height, stride, first, isBound, pixelSize, rect.x, rect.y};
    plane->windowConst = qimg_window_asConst(&plane->window);
    // Refused, the image stays unbound.
    if (pixels)
        qimg_image_constructMemory(&plane->image.record, pixelSize, &rect, stride, first, nullptr, nullptr);
    else if (isBound)
        qimg_image_assignNewRect(&plane->image.record, std::clamp(pixelSize, 1, 2), &rect);
}

qsVImage fuzz_plane::legacy() const
{
    qsVImage image = {};
    image.type = pixelSize == 1 ? QS_IMAGE_TYPE_8 : pixelSize == 2 ? QS_IMAGE_TYPE_16 : pixelSize;
    image.rowStride = pixels ? pixels->stride() : 0;
    image.region = {rect.x, rect.y, rect.width, rect.height};
    image.firstPixel = pixels ? pixels->row(0) : nullptr;
    image.clientCoords = {1.25F, -0.5F, 0.75F, 2.0F, 31.0F, -17.5F};
    image.clientZScale = 1.5F;
    return image;
}

qip_gaussParams fuzz_params(FuzzedDataProvider* data, int32_t mostKernel)
{
    const auto kernel = [&] {
        if (data->ConsumeBool())
            return data->PickValueInArray({1, 1, 1, 1, 2, 2, 2, 2, 3, 15, 16, 24, 25, 39, 40, 63});
        return fuzz_extreme(data, -1, mostKernel);
    };
    const auto sample = [&] {
        return data->ConsumeBool() ? data->ConsumeIntegralInRange(1, 3) : fuzz_extreme(data, 0, 9);
    };
    qip_gaussParams params = {};
    params.kernelSizeX = kernel();
    params.kernelSizeY = data->ConsumeBool() ? params.kernelSizeX : kernel();
    params.sampleX = sample();
    params.sampleY = data->ConsumeBool() ? params.sampleX : sample();
    params.gain = fuzz_gain(data);
    params.round = data->ConsumeBool();
    const auto oddity = data->ConsumeIntegral<uint8_t>();
    if (oddity == 1)
        params.round = data->ConsumeIntegral<int32_t>();
    if (oddity == 2)
        params.maskParams.mode = data->ConsumeIntegral<uint32_t>();
    if (oddity == 3)
        params.maskParams.resultMode = data->ConsumeIntegral<uint32_t>();
    params.maskParams.threshold = oddity == 4 ? data->ConsumeFloatingPoint<double>() : oddity / 255.0;
    return params;
}

qmath_xformLinear fuzz_transform(FuzzedDataProvider* data)
{
    qmath_xformLinear made = {1, 0, 0, 1, 0, 0};
    if (data->ConsumeBool())
        for (double* each : {&made.m00, &made.m01, &made.m10, &made.m11, &made.tx, &made.ty})
            *each = data->ConsumeIntegral<uint8_t>() < 250 ? data->ConsumeIntegralInRange(-640, 640) / 64.0
                                                           : data->ConsumeFloatingPoint<double>();
    return made;
}

// ---- what a caller sees of a call ----

void fuzz_addPixels(fuzz_outcome* seen, const void* first, int64_t stride, int64_t rowBytes, int64_t height)
{
    for (int64_t y = 0; y < height; ++y) {
        const uint8_t* const row = static_cast<const uint8_t*>(first) + y * stride;
        seen->insert(seen->end(), row, row + rowBytes);
    }
}

void fuzz_addPlace(fuzz_outcome* seen, const qimg_image& image)
{
    fuzz_add(seen, image.rect);
    fuzz_add(seen, image.pixelSize);
    for (qmath_point point : {qmath_point{0.0, 0.0}, {10.0, 50.0}}) {
        fuzz_add(seen, qmath_xformPtrhConst_mapPoint(&image.clientFromImage, &point));
        fuzz_add(seen, point.x);
        fuzz_add(seen, point.y);
    }
}

void fuzz_addPixels(fuzz_outcome* seen, const qimg_image& image)
{
    if (image.firstPixel && image.rect.width > 0 && image.rect.height > 0)
        fuzz_addPixels(seen, image.firstPixel, image.stride, int64_t{image.rect.width} * image.pixelSize,
                       image.rect.height);
}

// ---- calls ----

std::string fuzz_groupOfPaths(const fuzz_setting& setting)
{
    return setting.inhibited ? "plain" : setting.level;
}

void fuzz_runEverywhere(const fuzz_call& call, bool onThreads)
{
    std::map<std::string, fuzz_result> places, pixels;
    for (const fuzz_setting& setting : fuzz_settings(onThreads)) {
        fuzz_apply(setting);
        const int64_t blocks = liveBlocks;
        const int64_t refused = refusedBlocks;
        const fuzz_result seen = call.run();
        // The threads of the pool keep blocks of their own.
        fuzz_check(setting.threads > 1 || liveBlocks == blocks, "blocks are left");
        // Paths need different amounts of memory; qfGauss does not say that it lacked some.
        if (refusedBlocks != refused)
            continue;
        const std::string where = std::string("level ") + setting.level +
                                  (setting.inhibited ? ", inhibited" : "") + ", threads " +
                                  std::to_string(setting.threads) + ": ";
        const fuzz_result& place = places.try_emplace(call.groupOfPlaces(setting), seen).first->second;
        const fuzz_result& pixel = pixels.try_emplace(call.groupOfPixels(setting), seen).first->second;
        fuzz_check(seen.status == place.status, where + "status " + std::to_string(seen.status) +
                                                    " instead of " + std::to_string(place.status));
        fuzz_check(seen.place == place.place, where + "other places or transforms");
        fuzz_check(seen.status != pixel.status || seen.pixels == pixel.pixels, where + "other pixels");
    }
}

void fuzz_destinations::clear() const
{
    for (const fuzz_plane* each : planes)
        if (each->pixels)
            each->pixels->clear();
}

void fuzz_destinations::checkRefused(qip_status status) const
{
    for (const fuzz_plane* each : planes)
        fuzz_check(status >= 0 || status == QSYS_E_MEMORY || !each->pixels || each->pixels->isClear(),
                   "a refusal has written pixels, status " + std::to_string(status));
}

void fuzz_destinations::addPixels(fuzz_outcome* seen) const
{
    for (const fuzz_plane* each : planes)
        if (each->pixels)
            fuzz_addPixels(seen, each->pixels->row(0), each->pixels->stride(), each->pixels->rowBytes(),
                           each->pixels->height());
}
