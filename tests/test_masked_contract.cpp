// What masked smoothing promises beside its pixels: statuses and their order, overlaps, and calls that
// have nothing to write.
#include "support/faults.h"
#include "support/oracle_masked.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <limits>

namespace
{

enum place { src, srcMask, resetMask, dst, dstMask, places };

constexpr qmath_xformLinear untouched = {7.0, 0.0, 0.0, 7.0, 7.0, 7.0};

// A call over five planes of the same rectangle, each of which can be changed before it is made.
struct scene {
    struct plane {
        unsigned char* first;
        int32_t pixelSize;
        qstd_rect32 rect;
        bool isGiven = true; // else its address is null
        bool isBound = true;
    };

    const oracle_maskedExport& what;
    int32_t stride;
    std::vector<unsigned char> memory; // noise in the sources, canaries in the destinations
    std::array<plane, places> planes;
    qip_gaussParams params = test_gaussParams(1, 2);

    // After the call: of the images.
    qmath_xformLinear transform = untouched;
    bool isDstBound = false;

    scene(const oracle_maskedExport& called, int32_t width, int32_t height)
        : what(called), stride(2 * width + 16),
          memory(static_cast<size_t>(places * (stride * height + 64)), test_canary)
    {
        test_random random = {1};
        for (int i = 0; i < places; ++i) {
            unsigned char* const first = memory.data() + i * (stride * height + 64) + 32;
            const int32_t pixelSize = i == src ? what.srcSize : i == dst ? what.dstSize : 1;
            planes[static_cast<size_t>(i)] = {first, pixelSize, {3, 5, width, height}};
            for (int32_t at = 0; i < dst && at < stride * height; ++at)
                first[at] = static_cast<unsigned char>(test_randomBits(&random) >> 56);
        }
        // Blobs of masked-out pixels.
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x)
                if ((x / 7 + y / 5) % 4 == 0)
                    planes[srcMask].first[y * stride + x] = planes[resetMask].first[y * stride + x] = 0;
    }
    scene(const scene&) = delete;
    scene& operator=(const scene&) = delete;

    qip_status call()
    {
        test_image images[places];
        qimg_window windows[places] = {};
        qimg_windowConst sources[dst] = {};
        qimg_image* image[places] = {};
        qimg_window* window[places] = {};
        for (size_t i = 0; i < places; ++i) {
            const plane& p = planes[i];
            if (p.isBound)
                windows[i] = {p.rect.width, p.rect.height, stride,  p.first, 1,
                              p.pixelSize,  p.rect.x,      p.rect.y};
            if (p.isBound && !what.windows) {
                EXPECT_EQ(qimg_image_constructMemory(&images[i].record, p.pixelSize, &p.rect, stride,
                                                     p.first, nullptr, nullptr),
                          0);
            }
            if (i < dst)
                sources[i] = qimg_window_asConst(&windows[i]);
            if (p.isGiven)
                image[i] = &images[i].record, window[i] = &windows[i];
        }
        const auto source = [&](place i) {
            return planes[i].isGiven ? &sources[i] : nullptr;
        };
        test_setClientFromImage(&images[dst].record, untouched);
        const qip_status status =
            what.call({&params, image[src], image[srcMask], image[resetMask], image[dst], image[dstMask],
                       source(src), source(srcMask), source(resetMask), window[dst], window[dstMask]});
        transform = test_clientFromImage(&images[dst].record);
        isDstBound = images[dst].isBound();
        return status;
    }

    // Expects an answer and nothing changed.
    void expect(qip_status status)
    {
        const std::vector<unsigned char> before = memory;
        EXPECT_EQ(call(), status);
        EXPECT_TRUE(memory == before) << "written";
        EXPECT_EQ(transform, untouched);
        EXPECT_EQ(isDstBound, planes[dst].isBound && !what.windows);
    }
};

void forEveryExport(const std::function<void(const oracle_maskedExport& what)>& body)
{
    for (const oracle_maskedExport& what : oracle_maskedExports()) {
        SCOPED_TRACE(what.name);
        body(what);
    }
}

struct fault {
    qip_status status;
    std::function<void(scene& s)> make;
};

} // namespace

// Each fault alone, and each with any that is looked at later. The image forms form their rectangles before
// they look for overlaps.
TEST(MaskedContract, StatusesComeInTheirOrder)
{
    std::vector<fault> faults = {
        {QSYS_E_ARGUMENT,
         [](scene& s) {
             s.planes[dst].isGiven = false;
         }},
        {QIP_E_SAMPLING,
         [](scene& s) {
             s.params.sampleX = 0;
         }},
        {QIP_E_MASK_THRESHOLD,
         [](scene& s) {
             s.params.maskParams.threshold = 1.5;
         }},
        {QIP_E_KERNEL_SIZE,
         [](scene& s) {
             s.params.kernelSizeY = s.what.largestKernel() + 1;
         }},
        {QIP_E_NULL_IMAGE,
         [](scene& s) {
             s.planes[src].isBound = false;
         }},
        {QIP_E_MASK_MISMATCH,
         [](scene& s) {
             ++s.planes[resetMask].rect.y;
         }},
        {QIP_E_PEL_OVERLAP,
         [](scene& s) {
             s.planes[dstMask].first = s.planes[resetMask].first + 2;
         }},
        {QSYS_E_RANGE,
         [](scene& s) {
             for (scene::plane& plane : s.planes)
                 plane.rect.x = std::numeric_limits<int32_t>::max() - plane.rect.width;
         }},
    };
    forEveryExport([&](const oracle_maskedExport& what) {
        if (faults.back().status == (what.windows ? QIP_E_PEL_OVERLAP : QSYS_E_RANGE))
            std::iter_swap(faults.end() - 1, faults.end() - 2);
        for (size_t first = 0; first < faults.size(); ++first)
            for (size_t later = first; later < faults.size(); ++later) {
                SCOPED_TRACE("faults " + std::to_string(first) + " and " + std::to_string(later));
                scene s(what, 24, 20);
                faults[later].make(s);
                if (later != first)
                    faults[first].make(s);
                s.expect(faults[first].status);
            }
    });
}

TEST(MaskedContract, PlanesThatCannotBeUsed)
{
    forEveryExport([](const oracle_maskedExport& what) {
        const auto refuses = [&](qip_status status, const std::function<void(scene & s)>& make) {
            scene s(what, 24, 20);
            make(s);
            s.expect(status);
        };
        for (const place mask : {srcMask, resetMask, dstMask}) {
            refuses(QIP_E_MASK_MISMATCH, [=](scene& s) { --s.planes[mask].rect.x; });
            refuses(QIP_E_MASK_MISMATCH, [=](scene& s) { ++s.planes[mask].rect.y; });
            refuses(QIP_E_MASK_MISMATCH, [=](scene& s) { --s.planes[mask].rect.width; });
            refuses(QIP_E_MASK_MISMATCH, [=](scene& s) { --s.planes[mask].rect.height; });
        }
        for (const place any : {src, srcMask, resetMask, dst, dstMask}) {
            refuses(QIMG_E_PIXEL_SIZE, [=](scene& s) { s.planes[any].pixelSize ^= 3; });
            if (what.windows)
                refuses(QIMG_E_UNBOUND, [=](scene& s) { s.planes[any].first = nullptr; });
            if (what.windows && scene(what, 24, 20).planes[any].pixelSize == 2)
                refuses(QIMG_E_ALIGNMENT, [=](scene& s) { ++s.planes[any].first; });
        }
        if (what.windows) {
            refuses(QIP_E_NULL_IMAGE, [](scene& s) { s.planes[dst].isBound = false; });
            refuses(QIP_E_NULL_IMAGE, [](scene& s) { s.planes[dst].rect.width = 0; });
            refuses(QIP_E_NULL_IMAGE, [](scene& s) { s.planes[src].rect.height = -1; });
        } else {
            refuses(QIP_E_MASK_MISMATCH, [](scene& s) { s.planes[dst].isBound = false; });
            refuses(QIP_E_MASK_MISMATCH, [](scene& s) { s.planes[dstMask].isBound = false; });
        }
    });
}

// Sources may share memory among themselves; whatever is written has its own.
TEST(MaskedContract, EveryPairOfPlanesThatOverlap)
{
    forEveryExport([](const oracle_maskedExport& what) {
        for (int a = src; a < places; ++a)
            for (int b = a + 1; b < places; ++b)
                for (const bool isSame : {false, true}) {
                    SCOPED_TRACE("planes " + std::to_string(a) + " and " + std::to_string(b));
                    scene s(what, 24, 20);
                    s.planes[static_cast<size_t>(b)].first =
                        s.planes[static_cast<size_t>(a)].first + (isSame ? 0 : 2);
                    if (b < dst)
                        EXPECT_EQ(s.call(), QIP_OK);
                    else
                        s.expect(isSame ? QIP_E_SAME_MEMORY : QIP_E_PEL_OVERLAP);
                    // A mask that is left out overlaps nothing.
                    if (b == dstMask) {
                        s.planes[dstMask].isGiven = false;
                        EXPECT_EQ(s.call(), QIP_OK);
                    }
                }
    });
}

TEST(MaskedContract, TheGreatestKernelOfTheProcessorLevel)
{
    test_atEveryLevel([](const std::string& level) {
        forEveryExport([&](const oracle_maskedExport& what) {
            EXPECT_EQ(what.largestKernel(), what.srcSize == 2 ? 39 : test_hasEngines(level) ? 63 : 24);
            for (int32_t qip_gaussParams::*const kernel :
                 {&qip_gaussParams::kernelSizeX, &qip_gaussParams::kernelSizeY}) {
                scene s(what, 24, 20);
                s.params.*kernel = what.largestKernel() + 1;
                s.expect(QIP_E_KERNEL_SIZE);
                --(s.params.*kernel);
                EXPECT_EQ(s.call(), QIP_OK);
            }
        });
    });
}

TEST(MaskedContract, NothingToWrite)
{
    forEveryExport([](const oracle_maskedExport& what) {
        scene beside(what, 24, 20);
        beside.planes[dst].rect.x = beside.planes[dstMask].rect.x = 27;
        beside.expect(QIP_OK);
        scene coarse(what, 24, 20);
        coarse.params.sampleX = 100;
        coarse.expect(QIP_OK);
        coarse.planes[srcMask].isGiven = false;
        coarse.expect(QIP_OK);
    });
}
