// Every function under failing allocations and an attention handler that says stop: the right status,
// everything as it was, nothing lost, and the next call works.
//
// A new function needs a line: in test_exports when it smooths, else in `takingNothing`, and in `services`
// when it takes memory.
#include "support/any_call.h"
#include "support/faults.h"
#include "support/job_set.h"
#include "support/oracle_engines.h"
#include "support/policy.h"

#include <qbase/qbase.h>
#include <qip/qip_gauss.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

namespace
{

// ---- calls that smooth or make a mask ----

// Runs body(call, inhibitsAll) for some calls of every export.
template <class Body>
void forCalls(uint64_t count, const Body& body)
{
    for (const test_export& what : test_exports()) {
        const uint64_t paths = what.family == test_family::gauss || what.masked ? 10 : 1;
        for (uint64_t number = 0; number < paths * count && !testing::Test::HasFailure(); ++number) {
            SCOPED_TRACE(std::string(what.name) + ", " + test_caseName(number));
            test_random random = test_randomFor(number);
            test_call made = test_randomCall(&random, what);
            if (what.half) // one pass, where there are passes
                made.passesX = made.passesY = 2;
            body(made, number % 3 == 0);
        }
    }
}

// Each allocation fails, alone and with all later ones, until none is left to fail: the status says so,
// nothing is written where a call takes all its memory first, and no block is lost.
void failEveryAllocationOf(const test_call& made, bool inhibitsAll)
{
    const test_export& what = *made.what;
    // Images get their transforms last, and passes take turns in the destination.
    const bool isImage = !what.windows && what.dstSize && what.family != test_family::resultMask;
    const bool writesFirst = isImage || (what.half && !what.half->sampled);
    test_allocator allocator;
    const test_outcome whole = test_run(made, inhibitsAll);
    for (const bool andAllLater : {false, true})
        for (int64_t n = 1; !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            const int64_t blocks = test_allocator::liveBlocks();
            const test_outcome seen = test_run(made, inhibitsAll, [&] { allocator.arm(n, andAllLater); });
            const bool fired = allocator.disarm();
            EXPECT_EQ(test_allocator::liveBlocks(), blocks) << "blocks lost";
            if (!fired) {
                EXPECT_TRUE(seen == whole);
                break;
            }
            // The older functions have no status.
            EXPECT_EQ(seen.status, what.family == test_family::boxes ? QSYS_E_ARGUMENT : QSYS_E_MEMORY);
            EXPECT_TRUE(writesFirst || (!seen.hasWritten && !seen.hasTransform));
        }
}

// Of the rows that a call writes, those that are written at its n-th poll: `least` for certain, `most`
// perhaps. Only the general path leaves that open: it may finish its rows some at a time, but has finished
// them by the next poll.
struct rowCounts {
    int64_t least, most;
};

rowCounts rowsAtPoll(const test_call& made, const oracle_call& call, oracle_path path, int64_t n)
{
    int64_t rows = 64 * (n - 1);
    if (made.what->half && made.what->half->sampled)
        rows = made.what->half->halveX && made.what->half->halveY ? rows / 2 : 0;
    if (made.what->half || (made.what->masked && made.planes[test_srcMask].pixels))
        return {rows, rows};
    const int64_t mostKernel = path == oracle_path::reference ? call.source.height / 3 : 300;
    if (made.what->family != test_family::gauss || call.request.kernelY > mostKernel)
        return {0, INT64_MAX};
    const bool pollsFirst = made.what->windows && made.what->dstSize == 1;
    if (pollsFirst && n == 1)
        return {0, 0};
    const std::vector<int64_t> polls = oracle_polls(path, call);
    const auto at = static_cast<size_t>(n - 1 - pollsFirst);
    const int64_t least = path != oracle_path::general ? polls.at(at) : at == 0 ? 0 : polls.at(at - 1);
    return {least, polls.at(at)};
}

// A plane over `rect` at a poll: rows of the whole call, and from some row on canaries.
void expectRows(const test_argument& made, const std::vector<uint16_t>& whole, const oracle_rect& written,
                const rowCounts& rows)
{
    if (!made.pixels || !made.isGiven)
        return;
    const test_grid seen(made.pixels->view());
    const uint16_t canary = test_canaryPixel(made.pixels->view().pixelSize);
    const auto width = static_cast<ptrdiff_t>(made.rect.width);
    for (int64_t y = 0; y < made.rect.height; ++y) {
        const auto row = seen.values.begin() + y * width;
        const bool isWritten = std::equal(row, row + width, whole.begin() + y * width);
        const bool isUntouched = std::count(row, row + width, canary) == width;
        const int64_t inWritten = made.rect.y + y - written.y;
        EXPECT_TRUE(inWritten < rows.least   ? isWritten
                    : inWritten >= rows.most ? isUntouched
                                             : isWritten || isUntouched)
            << "row " << y;
    }
}

// Each poll says stop, which comes back. The rows finished by then are written, from the top, and no
// others; the transform is not set.
void stopAtEveryPoll(const test_call& made, const std::string& level, bool inhibitsAll)
{
    const test_export& what = *made.what;
    const test_argument& dst = made.planes[test_dst];
    oracle_gauss request = test_gaussRequest(made.params);
    const bool isLegacy = what.dstSize == 0;
    request.peak = isLegacy && made.peak;
    request.validOnly = isLegacy && made.validOnly;
    oracle_call call = {request, made.planes[test_src].rect, {}, 1, !isLegacy || made.hasRegion};
    if (dst.pixels) {
        call.pixelSize = dst.pixels->view().pixelSize;
        call.written = what.half ? oracle_gauss2PlanOf(*what.half, call.source, dst.rect).written
                                 : oracle_written(call.source, request, dst.rect);
    }
    const oracle_path path = inhibitsAll ? oracle_path::reference : oracle_pathOf(level, call);
    const test_allocator allocator;
    int64_t polls = 0;
    test_outcome whole;
    {
        const test_attention counting;
        whole = test_run(made, inhibitsAll);
        polls = counting.polls();
    }
    for (int64_t n = 1; n <= polls && !testing::Test::HasFailure(); ++n) {
        SCOPED_TRACE("poll " + std::to_string(n));
        constexpr qsys_status stopped = QSYS_FAILURE(0x0abc);
        const int64_t blocks = test_allocator::liveBlocks();
        const test_attention attention(n, stopped);
        const test_outcome seen = test_run(made, inhibitsAll);
        EXPECT_EQ(seen.status, what.family == test_family::boxes ? QSYS_E_ARGUMENT : stopped);
        EXPECT_EQ(attention.polls(), n);
        EXPECT_EQ(test_allocator::liveBlocks(), blocks) << "blocks lost";
        EXPECT_FALSE(seen.hasTransform);
        // The newer engine stores its result last, the reference path first.
        EXPECT_TRUE(!isLegacy || seen.setsResult == (inhibitsAll || level != "avx2"));
        if (what.family == test_family::boxes || made.inPlace || !dst.pixels)
            continue;
        const rowCounts rows = rowsAtPoll(made, call, path, n);
        expectRows(dst, whole.dst.pixels, call.written, rows);
        expectRows(made.planes[test_dstMask], whole.mask.pixels, call.written, rows);
    }
}

// ---- services ----

// Everything that a service may need. All of it is released with the scene, whatever the service left
// behind.
struct scene {
    std::atomic<int> counted = 0; // jobs that ran, owners that were told
    test_pixels pixels8{{40, 30, 1}}, pixels16{{40, 30, 2}};
    test_image images[6];

    qimg_image &src8 = images[0].record, &src16 = images[1].record, &bent8 = images[2].record;
    qimg_image &dst8 = images[3].record, &dst16 = images[4].record; // unbound
    qimg_image& bound8 = images[5].record;
    qimg_windowConst srcWindow8, srcWindow16;
    qsVImage* made = nullptr;
    qsIRegion region = {5, 6, 20, 30};
    qip_gaussParams params = test_gaussParams(1, 2);
    qmath_xformLinear linear = {1.5, 0.25, -0.25, 1.25, 8.0, -3.0};
    test_handle handle, bent, out, fresh; // linear, bent, bent, nothing

    scene()
    {
        const test_pixels* const sources[] = {&pixels8, &pixels16, &pixels8};
        for (int i = 0; i < 3; ++i)
            images[i].lay(*sources[i], 2, 4);
        qimg_windowConst_init(&srcWindow8, &src8);
        qimg_windowConst_init(&srcWindow16, &src16);
        EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
        EXPECT_EQ(test_constructBent(&bent), 0);
        EXPECT_EQ(qmath_xformPtrhConst_assign(&out, &bent), 0);
        EXPECT_EQ(qimg_image_setImageFromClientXform(&src8, &handle), 0);
        EXPECT_EQ(qimg_image_setImageFromClientXform(&bent8, &bent), 0);
        const qstd_rect32 rect = {3, 5, 18, 70};
        EXPECT_EQ(qimg_image8_assignNewRect(&bound8, &rect), 0);
        EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&bound8, &linear), 0);
    }
    ~scene()
    {
        qsImageFree(made);
    }

    // All that a service may change.
    std::vector<double> state() const
    {
        std::vector<double> all = {static_cast<double>(counted)};
        const auto add = [&](const oracle_rect& r) {
            for (const int64_t each : {r.x, r.y, r.width, r.height})
                all.push_back(static_cast<double>(each));
        };
        const auto addHandle = [&](const qmath_xformPtrhConst* transform) {
            for (qmath_point point : {qmath_point{0.0, 0.0}, {10.0, 50.0}}) {
                EXPECT_EQ(qmath_xformPtrhConst_mapPoint(transform, &point), 0);
                all.insert(all.end(), {point.x, point.y});
            }
        };
        for (const test_image& image : images) {
            add(image.rect());
            addHandle(&image.record.imageFromClient);
            addHandle(&image.record.clientFromImage);
        }
        if (made)
            add(oracle_rectOf(made->region));
        addHandle(&out);
        addHandle(&fresh);
        return all;
    }
};

struct service {
    const char* name;
    std::function<qsys_status(scene& scene)> call;
    bool mayChange = false; // a failure may leave something changed
};

// Each allocation fails, alone and with all later ones: nothing is changed, no block lost, and the same
// call then works on the same scene and gives the result of a call that met no fault.
void failEveryAllocation(const service& service)
{
    scene clean;
    const qsys_status cleanStatus = service.call(clean);
    EXPECT_GE(cleanStatus, 0);
    test_allocator allocator;
    for (const bool andAllLater : {false, true}) {
        bool fired = true;
        int64_t n = 0;
        while (fired && !testing::Test::HasFailure()) {
            SCOPED_TRACE(std::string(service.name) + ", allocation " + std::to_string(++n));
            const int64_t blocks = test_allocator::liveBlocks();
            {
                scene s;
                const std::vector<double> before = s.state();
                allocator.arm(n, andAllLater);
                qsys_status status = service.call(s);
                fired = allocator.disarm();
                if (fired) {
                    EXPECT_EQ(status, QSYS_E_MEMORY);
                    EXPECT_TRUE(service.mayChange || s.state() == before)
                        << "changed by a call that failed";
                    status = service.call(s);
                }
                EXPECT_EQ(status, cleanStatus);
                EXPECT_EQ(s.state(), clean.state()) << "another result than without faults";
            }
            EXPECT_EQ(test_allocator::liveBlocks(), blocks) << "blocks lost";
        }
        EXPECT_GT(n, 1) << service.name << " takes no memory";
    }
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

// The other functions: they need no memory and ask no handler, but for the first one, which is among the
// services.
const char takingNothing[] =
    "gauss_udpateDstXform gauss_checkImageWindowMatch gauss_checkWindowMatch "
    "gauss_computeSampleStartOffset gauss_setup "
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
std::vector<service> services()
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
        {"gauss_udpateDstXform",
         [](scene& s) { return gauss_udpateDstXform(&s.src8, &s.params, &s.dst8, &s.bound8); }, true},
        {"gauss_udpateDstXform",
         [](scene& s) { return gauss_udpateDstXform(&s.bent8, &s.params, &s.dst8, &s.bound8); }, true},
    };
}

} // namespace

TEST(Faults, EveryAllocationOfTheLibrary)
{
    test_atEveryLevel([](const std::string&) { forCalls(6, failEveryAllocationOf); });
}

// In bands on several threads, what they need is taken before the first one runs.
TEST(Faults, EveryAllocationOfBands)
{
    const test_splitting splitting(50, 3);
    forCalls(4, failEveryAllocationOf);
}

TEST(Faults, EveryPollOfTheLibrary)
{
    qsys_jobs_setThreadCount(1);
    test_atEveryLevel([](const std::string& level) {
        forCalls(20, [&](const test_call& made, bool inhibitsAll) {
            stopAtEveryPoll(made, level, inhibitsAll);
        });
    });
    qsys_jobs_setThreadCount(0);
}

TEST(Faults, EveryAllocationOfTheServices)
{
    for (const service& each : services())
        failEveryAllocation(each);
}

// No exported function is missing from the tables.
TEST(Faults, EveryExportedFunctionIsTested)
{
    std::istringstream names(takingNothing);
    std::set<std::string> tested;
    for (std::string name; names >> name;)
        tested.insert(name);
    for (const test_export& each : test_exports())
        tested.insert(each.name);
    std::set<std::string> exported;
    std::ifstream list(QIP_EXPORT_LIST);
    for (std::string name; std::getline(list, name);)
        exported.insert(name);
    EXPECT_EQ(tested, exported);
}
