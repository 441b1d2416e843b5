// What masked smoothing promises beside its pixels: statuses and their order, and overlaps.
#include "support/any_call.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace
{

// A call over five planes of the same rectangle, of kernel size 2, to be changed before it is made. Memory
// goes on for a while behind every row.
test_call callOf(const test_export& what)
{
    test_call made;
    made.what = &what;
    made.params = test_gaussParams(1, 2);
    made.transform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};
    for (const int i : {test_src, test_srcMask, test_resetMask, test_dst, test_dstMask}) {
        const int32_t pixelSize = i == test_src ? what.srcSize : i == test_dst ? what.dstSize : 1;
        test_argument& plane = made.planes[i];
        plane.rect = {3, 5, 24, 20};
        plane.pixels =
            std::make_unique<test_pixels>(test_layout{24, 20, pixelSize, test_fence::block, 64, 40});
        test_fillRandom(plane.pixels.get(), 1);
    }
    return made;
}

// A record over the plane, to be put out of order.
qimg_window* oddOf(test_argument* plane)
{
    if (!plane->odd)
        plane->odd = test_windowOver(*plane->pixels, static_cast<int32_t>(plane->rect.x),
                                     static_cast<int32_t>(plane->rect.y));
    return &*plane->odd;
}

// `offset` bytes behind the begin of another plane.
void layOver(test_argument* plane, const test_argument& other, int64_t offset)
{
    qimg_window* const odd = oddOf(plane);
    odd->firstPixel = other.pixels->row(0) + offset;
    odd->stride = other.pixels->stride();
}

// Expects an answer and nothing changed.
void expectRefused(const test_call& call, qip_status status)
{
    const test_outcome seen = test_run(call);
    EXPECT_EQ(seen.status, status);
    EXPECT_FALSE(seen.hasWritten || seen.hasTransform);
    const test_argument& dst = call.planes[test_dst];
    EXPECT_TRUE(call.what->windows || seen.dst.isBound == (!dst.odd || dst.odd->bound));
}

template <class Body>
void forEveryExport(const Body& body)
{
    for (const test_export& what : test_exports())
        if (what.masked) {
            SCOPED_TRACE(what.name);
            body(what);
        }
}

struct fault {
    qip_status status;
    std::function<void(test_call& c)> make;
};

} // namespace

// Each fault alone, and each with any that is looked at later. The image forms form their rectangles before
// they look for overlaps.
TEST(MaskedContract, StatusesComeInTheirOrder)
{
    std::vector<fault> faults = {
        {QSYS_E_ARGUMENT,
         [](test_call& c) {
             c.planes[test_dst].isGiven = false;
         }},
        {QIP_E_SAMPLING,
         [](test_call& c) {
             c.params.sampleX = 0;
         }},
        {QIP_E_MASK_THRESHOLD,
         [](test_call& c) {
             c.params.maskParams.threshold = 1.5;
         }},
        {QIP_E_KERNEL_SIZE,
         [](test_call& c) {
             c.params.kernelSizeY = c.what->masked->largestKernel() + 1;
         }},
        {QIP_E_NULL_IMAGE,
         [](test_call& c) {
             c.planes[test_src].odd = qimg_window();
         }},
        {QIP_E_MASK_MISMATCH,
         [](test_call& c) {
             ++oddOf(&c.planes[test_resetMask])->y;
         }},
        {QIP_E_PEL_OVERLAP,
         [](test_call& c) {
             layOver(&c.planes[test_dstMask], c.planes[test_resetMask], 2);
         }},
        {QSYS_E_RANGE,
         [](test_call& c) {
             for (test_argument& plane : c.planes)
                 oddOf(&plane)->x = std::numeric_limits<int32_t>::max() - 24;
         }},
    };
    forEveryExport([&](const test_export& what) {
        if (faults.back().status == (what.windows ? QIP_E_PEL_OVERLAP : QSYS_E_RANGE))
            std::iter_swap(faults.end() - 1, faults.end() - 2);
        for (size_t first = 0; first < faults.size(); ++first)
            for (size_t later = first; later < faults.size(); ++later) {
                SCOPED_TRACE("faults " + std::to_string(first) + " and " + std::to_string(later));
                test_call call = callOf(what);
                faults[later].make(call);
                if (later != first)
                    faults[first].make(call);
                expectRefused(call, faults[first].status);
            }
    });
}

TEST(MaskedContract, PlanesThatCannotBeUsed)
{
    forEveryExport([](const test_export& what) {
        const auto refuses = [&](qip_status status, test_place place, const auto& change) {
            test_call call = callOf(what);
            change(oddOf(&call.planes[place]));
            expectRefused(call, status);
        };
        for (const test_place mask : {test_srcMask, test_resetMask, test_dstMask}) {
            refuses(QIP_E_MASK_MISMATCH, mask, [](qimg_window* w) { --w->x; });
            refuses(QIP_E_MASK_MISMATCH, mask, [](qimg_window* w) { ++w->y; });
            refuses(QIP_E_MASK_MISMATCH, mask, [](qimg_window* w) { --w->width; });
            refuses(QIP_E_MASK_MISMATCH, mask, [](qimg_window* w) { --w->height; });
        }
        for (const test_place any : {test_src, test_srcMask, test_resetMask, test_dst, test_dstMask}) {
            refuses(QIMG_E_PIXEL_SIZE, any, [](qimg_window* w) { w->pixelSize ^= 3; });
            if (what.windows)
                refuses(QIMG_E_UNBOUND, any, [](qimg_window* w) { w->firstPixel = nullptr; });
            if (what.windows && callOf(what).planes[any].pixels->view().pixelSize == 2)
                refuses(QIMG_E_ALIGNMENT, any,
                        [](qimg_window* w) { w->firstPixel = static_cast<char*>(w->firstPixel) + 1; });
        }
        const auto unbind = [](qimg_window* w) {
            *w = {};
        };
        refuses(what.windows ? QIP_E_NULL_IMAGE : QIP_E_MASK_MISMATCH, test_dst, unbind);
        if (what.windows) {
            refuses(QIP_E_NULL_IMAGE, test_dst, [](qimg_window* w) { w->width = 0; });
            refuses(QIP_E_NULL_IMAGE, test_src, [](qimg_window* w) { w->height = -1; });
        } else {
            refuses(QIP_E_MASK_MISMATCH, test_dstMask, unbind);
        }
    });
}

// Sources may share memory among themselves; whatever is written has its own.
TEST(MaskedContract, EveryPairOfPlanesThatOverlap)
{
    forEveryExport([](const test_export& what) {
        for (int a = test_src; a < test_places; ++a)
            for (int b = a + 1; b < test_places; ++b)
                for (const bool isSame : {false, true}) {
                    SCOPED_TRACE("planes " + std::to_string(a) + " and " + std::to_string(b));
                    test_call call = callOf(what);
                    layOver(&call.planes[b], call.planes[a], isSame ? 0 : 2);
                    if (b < test_dst)
                        EXPECT_EQ(test_run(call).status, QIP_OK);
                    else
                        expectRefused(call, isSame ? QIP_E_SAME_MEMORY : QIP_E_PEL_OVERLAP);
                    // A mask that is left out overlaps nothing.
                    call.planes[test_dstMask].isGiven = false;
                    if (b == test_dstMask) {
                        EXPECT_EQ(test_run(call).status, QIP_OK);
                    }
                }
    });
}

TEST(MaskedContract, TheGreatestKernelOfTheProcessorLevel)
{
    test_atEveryLevel([](const std::string& level) {
        forEveryExport([&](const test_export& what) {
            const int32_t largest = what.masked->largestKernel();
            EXPECT_EQ(largest, what.srcSize == 2 ? 39 : test_hasEngines(level) ? 63 : 24);
            for (int32_t qip_gaussParams::*const kernel :
                 {&qip_gaussParams::kernelSizeX, &qip_gaussParams::kernelSizeY}) {
                test_call call = callOf(what);
                call.params.*kernel = largest + 1;
                expectRefused(call, QIP_E_KERNEL_SIZE);
                call.params.*kernel = largest;
                EXPECT_EQ(test_run(call).status, QIP_OK);
            }
        });
    });
}
