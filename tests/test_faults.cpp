// Every function under failing allocations and an attention handler that says stop: the right status,
// everything as it was, nothing lost, and the next call works.
//
// A new function needs one line: in `working` when it takes memory or polls, else in `takingNothing`.
#include "support/faults.h"
#include "support/images.h"
#include "support/job_set.h"
#include "support/oracle_gauss2.h"
#include "support/oracle_masked.h"
#include "support/policy.h"

#include <qbase/qbase.h>
#include <qip/qip_gauss.h>

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <set>
#include <sstream>

namespace
{

// Everything that an operation may need. All of it is released with the scene, whatever the operation left
// behind.
struct scene {
    std::atomic<int> counted = 0; // jobs that ran, owners that were told
    test_pixels pixels8, pixels16, maskPixels;
    test_image images[10];

    // 150 rows at (2, 4).
    qimg_image &src8 = images[0].record, &src16 = images[1].record, &mask = images[2].record;
    qimg_image& bent8 = images[3].record; // the pixels of src8
    // Unbound.
    qimg_image &dst8 = images[4].record, &dst16 = images[5].record, &dstMask = images[6].record;
    // 18 columns and 70 rows at (3, 5), inside all that the sources yield with a sampling of up to 2.
    qimg_image &bound8 = images[7].record, &bound16 = images[8].record, &boundMask = images[9].record;

    qimg_windowConst srcWindow8, srcWindow16, maskWindow;
    qimg_window window8, window16, windowMask; // over the bound ones
    qip_gaussParams params;                    // kernel 2, sampling 1, rounding
    qsVImage legacy;                           // the pixels of src8
    qsVImage* made = nullptr;
    qsGaussParams legacyParams = *qsGaussParamsNull();
    qsIRegion region = {5, 6, 20, 30};
    qmath_xformLinear linear = {1.5, 0.25, -0.25, 1.25, 8.0, -3.0};
    qmath_xformLinear linearOut = {};
    test_handle handle, bent, out, fresh; // linear, bent, bent, nothing

    explicit scene(int32_t width)
        : pixels8({width, 150, 1}), pixels16({width, 150, 2}), maskPixels({width, 150, 1})
    {
        uint64_t number = 0;
        for (test_pixels* pixels : {&pixels8, &pixels16, &maskPixels})
            test_fillRandom(pixels, ++number);
        const test_pixels* const sources[] = {&pixels8, &pixels16, &maskPixels, &pixels8};
        for (int i = 0; i < 4; ++i)
            images[i].lay(*sources[i], 2, 4);
        qimg_windowConst_init(&srcWindow8, &src8);
        qimg_windowConst_init(&srcWindow16, &src16);
        qimg_windowConst_init(&maskWindow, &mask);
        EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
        EXPECT_EQ(test_constructBent(&bent), 0);
        EXPECT_EQ(qmath_xformPtrhConst_assign(&out, &bent), 0);
        for (qimg_image* image : {&src8, &src16, &bent8})
            EXPECT_EQ(qimg_image_setImageFromClientXform(image, image == &bent8 ? &bent : &handle), 0);

        const qstd_rect32 rect = {3, 5, 18, 70};
        const qmath_xformLinear other = {0.5, 1.0, -1.0, 0.5, 3.0, 4.0};
        for (qimg_image* image : {&bound8, &bound16, &boundMask}) {
            EXPECT_EQ(qimg_image_assignNewRect(image, image == &bound16 ? 2 : 1, &rect), 0);
            EXPECT_EQ(qimg_image_setLinearImageFromClientXform(image, &other), 0);
        }
        qimg_window_init(&window8, &bound8);
        qimg_window_init(&window16, &bound16);
        qimg_window_init(&windowMask, &boundMask);

        qip_gaussParams_init(&params);
        params.kernelSizeX = params.kernelSizeY = 2;
        params.round = 1;
        legacy = test_legacyOver(pixels8, 2, 4);
        legacyParams.kernelSizeX = legacyParams.kernelSizeY = 2;
        legacyParams.keepFullRegion = 1;
    }
    ~scene()
    {
        qsImageFree(made);
    }

    // A number that changes when any pixel, rectangle or transform of the destinations does.
    uint64_t digest() const
    {
        uint64_t hash = 0xcbf29ce484222325u;
        const auto mix = [&hash](const auto* values, size_t count = 1) {
            for (size_t i = 0; i < count * sizeof *values; ++i)
                hash = (hash ^ reinterpret_cast<const unsigned char*>(values)[i]) * 0x100000001b3u;
        };
        const auto mixPixels = [&](const test_view& view) {
            const test_grid pixels(view);
            mix(pixels.values.data(), pixels.values.size());
        };
        const auto mixHandle = [&](const qmath_xformPtrhConst* transform) {
            for (qmath_point point : {qmath_point{0.0, 0.0}, {10.0, 50.0}}) {
                EXPECT_EQ(qmath_xformPtrhConst_mapPoint(transform, &point), 0);
                mix(&point);
            }
        };
        for (int i = 4; i < 10; ++i) {
            mix(&images[i].record.rect);
            mixPixels(images[i].view());
            mixHandle(&images[i].record.imageFromClient);
            mixHandle(&images[i].record.clientFromImage);
        }
        if (made) {
            mix(&made->region);
            mix(&made->clientCoords);
            mixPixels(test_legacyView(made));
        }
        mix(&region);
        mix(&linearOut);
        mixHandle(&out);
        mixHandle(&fresh);
        const int count = counted;
        mix(&count);
        return hash;
    }
};

struct operation {
    const char* name;
    std::function<qsys_status(scene& scene)> call;
    bool mayTakeNone = false; // there may be no allocation to fail
    bool mayChange = false;   // a failure may leave something changed
    int32_t width = 40;       // of the sources
};

// Runs the operation with one fault after another, until a run meets none: the fault's status comes back,
// nothing is changed, no block lost, and the same call then works on the same scene and gives the result of
// a call that met no fault. `run(scene, n, status)` calls it with the n-th fault and tells whether there
// was one. Returns how many there were.
template <class Run>
int64_t failEvery(const operation& operation, qsys_status expected, bool mayChange, const Run& run)
{
    scene clean(operation.width);
    const qsys_status cleanStatus = operation.call(clean);
    EXPECT_GE(cleanStatus, 0);
    int64_t n = 0;
    for (bool fired = true; fired && !testing::Test::HasFailure();) {
        SCOPED_TRACE(std::string(operation.name) + ", fault " + std::to_string(++n));
        EXPECT_LE(n, 200);
        const int64_t blocks = test_allocator::liveBlocks();
        {
            scene s(operation.width);
            const uint64_t before = s.digest();
            qsys_status status = 0;
            fired = run(s, n, &status);
            if (fired) {
                EXPECT_EQ(status, expected);
                EXPECT_TRUE(mayChange || s.digest() == before) << "changed by a call that failed";
                status = operation.call(s);
            }
            EXPECT_EQ(status, cleanStatus);
            EXPECT_EQ(s.digest(), clean.digest()) << "another result than without faults";
        }
        EXPECT_EQ(test_allocator::liveBlocks(), blocks) << "blocks lost";
    }
    return n - 1;
}

// Each allocation fails, alone and with all later ones.
void failEveryAllocation(const operation& operation)
{
    test_allocator allocator;
    for (const bool andAllLater : {false, true}) {
        const int64_t faults = failEvery(operation, QSYS_E_MEMORY, operation.mayChange,
                                         [&](scene& s, int64_t n, qsys_status* status) {
                                             allocator.arm(n, andAllLater);
                                             *status = operation.call(s);
                                             return allocator.disarm();
                                         });
        EXPECT_TRUE(faults > 0 || operation.mayTakeNone) << operation.name << " takes no memory";
    }
}

// The same with the attention handler's answers, which must come back as they stand; rows may be written.
void failEveryPoll(const operation& operation)
{
    const test_allocator allocator;
    constexpr qsys_status stopped = QSYS_FAILURE(0x0abc);
    failEvery(operation, stopped, true, [&](scene& s, int64_t n, qsys_status* status) {
        const test_attention attention(n, stopped);
        *status = operation.call(s);
        return attention.polls() >= n;
    });
}

// One call in the terms of a scene `s`, under the function's name.
#define CALL(function, ...)                                                                                \
    {                                                                                                      \
#function, [](scene & s) {                                                                         \
            return function(__VA_ARGS__);                                                                  \
        }                                                                                                  \
    }

// The older functions have no status: null is the sign of failure.
qsys_status madeOrMemory(scene& s, qsVImage* made)
{
    s.made = made;
    return made ? QSYS_OK : QSYS_E_MEMORY;
}

// What owners of pixels and contexts are told by.
void countPixels(void* count, void*)
{
    ++*static_cast<std::atomic<int>*>(count);
}

void countContext(void* count)
{
    ++*static_cast<std::atomic<int>*>(count);
}

qsys_status keepPoint(void*, qmath_point*)
{
    return 0;
}

// A copy, then the copy onto itself.
qsys_status smoothInPlace(scene& s)
{
    if (!s.made)
        s.made = qfGauss(&s.legacy, nullptr, 2, 0, 0, 0, nullptr);
    return s.made && qfGauss(s.made, s.made, 2, 3, 2, 1, nullptr) ? QSYS_OK : QSYS_E_MEMORY;
}

// The half-resolution family, fast and with everything inhibited; the image forms bind both destinations.
std::vector<operation> halfResolution()
{
    std::vector<operation> all;
    for (const oracle_gauss2Export& what : oracle_gauss2Exports())
        for (const char* inhibited : {"", "*"}) {
            all.push_back({what.name, [&what, inhibited](scene& s) {
                               const bool wide = what.pixelSize == 2;
                               const test_inhibition inhibition(inhibited);
                               return what.call({wide ? &s.src16 : &s.bent8, &s.mask,
                                                 wide ? &s.dst16 : &s.dst8, &s.dstMask,
                                                 wide ? &s.srcWindow16 : &s.srcWindow8, &s.maskWindow,
                                                 wide ? &s.window16 : &s.window8, &s.windowMask, &s.linear,
                                                 &s.linearOut, 6, 4});
                           }});
            // The image forms bind their destinations at first; passes take turns in the destination.
            all.back().mayChange = !what.windows || !what.sampled;
            // The fast forms of one direction write small images without any memory of their own.
            all.back().mayTakeNone = !*inhibited && what.halveX != what.halveY;
        }
    return all;
}

// Truncating, without a region: the engines of the processor level serve it, each path of them by its
// kernel size and depth.
std::vector<operation> engines()
{
    std::vector<operation> all;
    for (const int32_t kernel : {1, 2, 5})
        for (const qsVImage* const prototype : {qsImageNull, qsUSImageNull})
            all.push_back({"qip_gauss", [kernel, prototype](scene& s) {
                               qsGaussParams params = s.legacyParams;
                               params.kernelSizeX = params.kernelSizeY = kernel;
                               params.round = 0;
                               params.prototype = prototype;
                               return qip_gauss(&s.legacy, nullptr, &params, nullptr, &s.made);
                           }});
    return all;
}

// Masked smoothing with and without a source mask, with one thread and with two.
qip_status smoothMasked(const oracle_maskedExport& what, bool hasMask, int32_t threads, scene& s)
{
    const bool fromWide = what.srcSize == 2;
    qimg_image* const to = what.dstSize == 2 ? &s.dst16 : &s.dst8;
    qip_gaussParams params = s.params;
    params.maskParams.resultMode = 1;
    params.gain = 0.75;
    qsys_jobs_setThreadCount(threads);
    return what.call({&params, fromWide ? &s.src16 : &s.bent8, hasMask ? &s.mask : nullptr, &s.mask, to,
                      &s.dstMask, fromWide ? &s.srcWindow16 : &s.srcWindow8,
                      hasMask ? &s.maskWindow : nullptr, &s.maskWindow,
                      what.dstSize == 2 ? &s.window16 : &s.window8, &s.windowMask});
}

std::vector<operation> masked()
{
    std::vector<operation> all;
    for (const oracle_maskedExport& what : oracle_maskedExports())
        for (const bool hasMask : {true, false})
            for (const int32_t threads : {1, 2})
                all.push_back({what.name,
                               [&what, hasMask, threads](scene& s) {
                                   return smoothMasked(what, hasMask, threads, s);
                               },
                               // The image forms bind their destinations at first, to all that the
                               // source yields; it is large enough for two bands.
                               false, !what.windows, threads == 2 && !what.windows ? 120 : 40});
    return all;
}

std::vector<operation> working()
{
    std::vector<operation> all = {
        CALL(qip_gauss_smooth8_8, &s.src8, &s.dst8, &s.params),
        CALL(qip_gauss_smooth8_8, &s.bent8, &s.bound8, &s.params),
        CALL(qip_gauss_smooth8_16, &s.bent8, &s.dst16, &s.params),
        CALL(qip_gauss_smooth8_16, &s.src8, &s.bound16, &s.params),
        CALL(gauss_udpateDstXform, &s.src8, &s.params, &s.dst8, &s.dstMask),
        CALL(gauss_udpateDstXform, &s.bent8, &s.params, &s.dst8, &s.dstMask),
        {"qfGauss",
         [](scene& s) {
             return madeOrMemory(s, qfGauss(&s.legacy, nullptr, 2, 3, 2, 0, &s.region));
         }},
        {"qfGauss", smoothInPlace},
    };
    for (operation& each : all)
        each.mayChange = true; // pixels and transforms that came before the failure
    const std::vector<operation> others = {
        CALL(qip_gauss_smoothWindow8_8, &s.srcWindow8, &s.window8, &s.params),
        CALL(qip_gauss_smoothWindow8_16, &s.srcWindow8, &s.window16, &s.params),
        CALL(qip_gauss, &s.legacy, nullptr, &s.legacyParams, &s.region, &s.made),
        CALL(qip_filterMask_computeResultMask_, &s.mask, &s.src8, &s.params.kernelSizeX, &s.params.sampleX,
             0.4, &s.dst8),
        CALL(qip_filterMask_computeResultMask_, &s.mask, nullptr, &s.params.kernelSizeX, &s.params.sampleX,
             0.4, &s.bound8),
    };
    all.insert(all.end(), others.begin(), others.end());
    for (const std::vector<operation>& more : {engines(), halfResolution(), masked()})
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

// The functions that need no memory and ask no handler.
const char takingNothing[] =
    "gauss_checkImageWindowMatch gauss_checkWindowMatch gauss_computeSampleStartOffset gauss_setup "
    "gauss_computeSrcRectsFromDstRect gauss_pelCopySampledWindow8 qfGaussGetDstReg qfGaussGetDummyReg "
    "qfGaussNullParams qip_filterMaskParams_compareEqual qip_filterMaskParams_init "
    "qip_filterMaskParams_validate qip_gauss2GetDestRect qip_gauss2NoSampleGetDestRect "
    "qip_gauss2XGetDestRect qip_gauss2YGetDestRect qip_gaussParams_compareEqual qip_gaussParams_init "
    "qip_gaussParams_validate qip_gaussParamsGetMaxSigma qip_gaussParamsGetMaxSigma16 qsGaussParamsNull";

// Forty jobs, from construction to the end: all of them run, or none.
qsys_status runJobs(scene& s)
{
    qsys_jobs_setThreadCount(3);
    test_jobSet set;
    qsys_status status = 0;
    for (int i = 0; i < 40 && status >= 0; ++i)
        status = set.add([&s] { ++s.counted; });
    return status < 0 ? status : set.run();
}

// The services that hold memory.
std::vector<operation> services()
{
    return {
        CALL(qimg_image8_construct, &s.dst8, 5, 6),
        CALL(qimg_image16_construct, &s.dst16, 5, 6),
        CALL(qimg_image_constructUntyped, &s.dst8, 1, 5, 6),
        CALL(qimg_image8_constructRect, &s.dst8, &s.src8.rect),
        CALL(qimg_image_constructRectUntyped, &s.dst16, 2, &s.src8.rect),
        CALL(qimg_image_constructMemory, &s.dst8, 1, &s.src8.rect, s.srcWindow8.stride, s.src8.firstPixel,
             countPixels, &s.counted),
        CALL(qimg_image_assignNewRect, &s.bound8, 2, &s.src8.rect),
        CALL(qimg_image8_assignNewRect, &s.bound8, &s.src8.rect),
        CALL(qimg_image16_assignNewRect, &s.bound8, &s.src8.rect),
        CALL(qimg_image_setImageFromClientXform, &s.bound8, &s.bent),
        CALL(qimg_image_setClientFromImageXform, &s.bound8, &s.bent),
        CALL(qimg_image_setClientFromImageXform, &s.bound8, &s.bound8.imageFromClient),
        CALL(qimg_image_setLinearImageFromClientXform, &s.bound8, &s.linear),
        CALL(qmath_xformPtrhConst_constructLinear, &s.fresh, &s.linear),
        CALL(qmath_xformPtrhConst_constructFunctions, &s.fresh, keepPoint, keepPoint, &s.counted,
             countContext),
        CALL(qmath_xformPtrhConst_assignCompose, &s.out, &s.handle, &s.out),
        CALL(qmath_xformPtrhConst_assignComposePtrhLinear, &s.out, &s.out, &s.linear),
        CALL(qmath_xformPtrhConst_assignInverse, &s.out, &s.out),
        CALL(generate_qsImage_from_qimg_image8Const, &s.bent8, &s.made),
        CALL(generate_qsUSImage_from_qimg_image16Const, &s.src16, &s.made),
        CALL(generate_qsImage_from_qimg_windowConst, &s.srcWindow8, &s.made),
        CALL(generate_qsUSImage_from_qimg_windowConst, &s.srcWindow16, &s.made),
        {"qsVImageCreateReg",
         [](scene& s) {
             return madeOrMemory(s, qsVImageCreateReg(qsUSImageNull, &s.region));
         }},
        {"qsImageCreate",
         [](scene& s) {
             return madeOrMemory(s, qsImageCreate(7, 8));
         }},
        {"jobs", runJobs},
    };
}

} // namespace

TEST(Faults, EveryAllocationOfTheLibrary)
{
    test_atEveryLevel([](const std::string&) {
        for (const operation& each : working())
            failEveryAllocation(each);
    });
}

TEST(Faults, EveryPollOfTheLibrary)
{
    test_atEveryLevel([](const std::string&) {
        for (const operation& each : working())
            failEveryPoll(each);
    });
}

// With every call in three bands, on as many threads: what its bands need is taken before the first one
// runs.
TEST(Faults, EveryAllocationAndPollOfBands)
{
    const test_splitting splitting(50, 3);
    for (const operation& each : working()) {
        failEveryAllocation(each);
        failEveryPoll(each);
    }
}

TEST(Faults, EveryAllocationOfTheServices)
{
    for (const operation& each : services())
        failEveryAllocation(each);
}

// No exported function is missing from the tables.
TEST(Faults, EveryExportedFunctionIsTested)
{
    std::istringstream names(takingNothing);
    std::set<std::string> tested;
    for (std::string name; names >> name;)
        tested.insert(name);
    for (const operation& each : working())
        tested.insert(each.name);
    std::set<std::string> exported;
    std::ifstream list(QIP_EXPORT_LIST);
    for (std::string name; std::getline(list, name);)
        exported.insert(name);
    EXPECT_EQ(tested, exported);
}
