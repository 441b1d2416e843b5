// How deep calls go: all of them on a thread whose stack is small, with pages below it that nobody may touch.
#include "support/images.h"
#include "support/oracle_gauss2.h"
#include "support/oracle_masked.h"
#include "support/policy.h"

#include <qip/qip_gauss.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

// What docs/architecture.md promises, beside the least stack that the system starts a thread on.
constexpr size_t promised = 64 << 10;

constexpr int32_t width = 203;
constexpr int32_t height = 150;

// Pixels of all values; of a mask, some of them 0.
void fill(test_image* image, int32_t pixelSize)
{
    ASSERT_EQ(qimg_image_constructUntyped(&image->record, pixelSize, width, height), QSYS_OK);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t i = 0; i < width * pixelSize; ++i) {
            auto* const row = static_cast<uint8_t*>(image->record.firstPixel) + y * image->record.stride;
            row[i] = static_cast<uint8_t>(i / 40 % 2 ? 255 : i * 7 + y * y);
        }
}

struct sources {
    test_image image8, image16;
    int failures = 0;

    sources()
    {
        fill(&image8, 1);
        fill(&image16, 2);
    }
    const qimg_image* of(int32_t pixelSize) const
    {
        return pixelSize == 1 ? &image8.record : &image16.record;
    }
};

qip_gaussParams paramsOf(int32_t sample, int32_t kernel, double gain)
{
    qip_gaussParams params = {};
    qip_gaussParams_init(&params);
    params.sampleX = params.sampleY = sample;
    params.kernelSizeX = params.kernelSizeY = kernel;
    params.gain = gain;
    return params;
}

// Nothing here may go deep itself, so failures are only counted.
void callUnmaskedAndMasked(sources* s, const qip_gaussParams& params)
{
    for (const auto smooth : {qip_gauss_smooth8_8, qip_gauss_smooth8_16}) {
        qimg_image dst = QIMG_IMAGE_UNBOUND;
        s->failures += smooth(s->of(1), &dst, &params) < 0;
        qimg_image_destruct(&dst);
    }
    const int32_t kernel[2] = {params.kernelSizeX, params.kernelSizeY};
    const int32_t sample[2] = {params.sampleX, params.sampleY};
    qimg_image mask = QIMG_IMAGE_UNBOUND;
    s->failures += qip_filterMask_computeResultMask_(s->of(1), s->of(1), kernel, sample, 0.5, &mask) < 0;
    for (const oracle_maskedExport& what : oracle_maskedExports()) {
        if (what.windows || params.kernelSizeX > what.largestKernel())
            continue;
        qstd_rect32 rect = {};
        qimg_image_getWindow(&mask, &rect);
        qimg_image dst = QIMG_IMAGE_UNBOUND;
        qimg_image dstMask = QIMG_IMAGE_UNBOUND;
        s->failures += qimg_image_assignNewRect(&dst, what.dstSize, &rect) < 0;
        s->failures += qimg_image8_assignNewRect(&dstMask, &rect) < 0;
        oracle_maskedArguments arguments = {};
        arguments.params = &params;
        arguments.src = s->of(what.srcSize);
        arguments.dst = &dst;
        s->failures += what.call(arguments) < 0;
        arguments.srcMask = s->of(1);
        s->failures += what.call(arguments) < 0;
        arguments.dstMask = &dstMask;
        s->failures += what.call(arguments) < 0;
        qimg_image_destruct(&dstMask);
        qimg_image_destruct(&dst);
    }
    qimg_image_destruct(&mask);
}

void callGauss2(sources* s)
{
    for (const oracle_gauss2Export& what : oracle_gauss2Exports()) {
        if (what.windows)
            continue;
        qimg_image dst = QIMG_IMAGE_UNBOUND;
        qimg_image dstMask = QIMG_IMAGE_UNBOUND;
        oracle_gauss2Arguments arguments = {};
        arguments.src = s->of(what.pixelSize);
        arguments.srcMask = s->of(1);
        arguments.dst = &dst;
        arguments.dstMask = &dstMask;
        s->failures += what.call(arguments) < 0;
        qimg_image_destruct(&dstMask);
        qimg_image_destruct(&dst);
    }
}

void* callAll(void* context)
{
    auto* const s = static_cast<sources*>(context);
    for (const int32_t kernel : {0, 1, 2, 3, 4, 7, 24})
        for (const int32_t sample : {1, 2, 3, 5})
            for (const double gain : {1.0, 1.25})
                callUnmaskedAndMasked(s, paramsOf(sample, kernel, gain));
    callGauss2(s);
    return nullptr;
}

// Runs callAll on a stack of that many bytes and returns how many of them it wrote to.
size_t depthOnStack(size_t bytes, sources* s)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    bytes = (bytes + page - 1) / page * page;
    const size_t guard = 64 * page; // more than the largest frame: none can reach across
    void* const memory =
        mmap(nullptr, guard + bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    EXPECT_EQ(mprotect(memory, guard, PROT_NONE), 0);
    auto* const stack = static_cast<unsigned char*>(memory) + guard;
    std::memset(stack, test_canary, bytes);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack, bytes), 0);
    pthread_t thread;
    EXPECT_EQ(pthread_create(&thread, &attributes, callAll, s), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const auto* const deepest =
        std::find_if(stack, stack + bytes, [](unsigned char byte) { return byte != test_canary; });
    const auto depth = static_cast<size_t>(stack + bytes - deepest);
    munmap(memory, guard + bytes);
    return depth;
}

} // namespace

TEST(Stack, EveryCallDoesWithASmallOne)
{
#if !defined(__OPTIMIZE__)
    GTEST_SKIP() << "frames of code without optimisation are larger";
#elif defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "red zones make frames larger";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "red zones make frames larger";
#endif
#endif
    sources s;
    const auto least = static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN));
    for (const char* inhibited : {"", "*"}) {
        const test_inhibition policy(inhibited);
        test_atEveryLevel([&](const std::string& level) {
            const size_t depth = depthOnStack(least + promised, &s);
            RecordProperty("depth_" + level + (*inhibited ? "_plain_filters" : ""),
                           static_cast<int>(depth));
            EXPECT_EQ(s.failures, 0);
        });
    }
}
