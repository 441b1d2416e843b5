// Every function under failing allocations and an attention handler that says stop: the right status,
// everything as it was, nothing lost, and the next call works.
//
// A new function needs one line: in `working` when it takes memory or polls, else in `takingNothing`.
#include "support/fault_loop.h"
#include "support/job_set.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

// One call in the terms of a scene `s`, under the function's name.
#define CALL(function, ...)                                                                                \
    {                                                                                                      \
#function, [](test_scene & s) {                                                                    \
            return function(__VA_ARGS__);                                                                  \
        }                                                                                                  \
    }

namespace
{

// The older functions have no status: null is the sign of failure.
qsys_status madeOrMemory(test_scene& s, qsVImage* made)
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
qsys_status smoothInPlace(test_scene& s)
{
    if (!s.made)
        s.made = qfGauss(&s.legacy, nullptr, 2, 0, 0, 0, nullptr);
    return s.made && qfGauss(s.made, s.made, 2, 3, 2, 1, nullptr) ? QSYS_OK : QSYS_E_MEMORY;
}

// The half-resolution family, fast and with everything inhibited; the image forms bind both destinations.
std::vector<test_operation> halfResolution()
{
    std::vector<test_operation> all;
    for (const oracle_gauss2Export& what : oracle_gauss2Exports())
        for (const char* inhibited : {"", "*"}) {
            all.push_back({what.name, [&what, inhibited](test_scene& s) {
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

std::vector<test_operation> working()
{
    std::vector<test_operation> all = {
        CALL(qip_gauss_smooth8_8, &s.src8, &s.dst8, &s.params),
        CALL(qip_gauss_smooth8_8, &s.bent8, &s.bound8, &s.params),
        CALL(qip_gauss_smooth8_16, &s.bent8, &s.dst16, &s.params),
        CALL(qip_gauss_smooth8_16, &s.src8, &s.bound16, &s.params),
        CALL(gauss_udpateDstXform, &s.src8, &s.params, &s.dst8, &s.dstMask),
        CALL(gauss_udpateDstXform, &s.bent8, &s.params, &s.dst8, &s.dstMask),
        {"qfGauss",
         [](test_scene& s) {
             return madeOrMemory(s, qfGauss(&s.legacy, nullptr, 2, 3, 2, 0, &s.region));
         }},
        {"qfGauss", smoothInPlace},
    };
    for (test_operation& operation : all)
        operation.mayChange = true; // pixels and transforms that came before the failure
    const std::vector<test_operation> others = {
        CALL(qip_gauss_smoothWindow8_8, &s.srcWindow8, &s.window8, &s.params),
        CALL(qip_gauss_smoothWindow8_16, &s.srcWindow8, &s.window16, &s.params),
        CALL(qip_gauss, &s.legacy, nullptr, &s.legacyParams, &s.region, &s.made),
    };
    all.insert(all.end(), others.begin(), others.end());
    const std::vector<test_operation> half = halfResolution();
    all.insert(all.end(), half.begin(), half.end());
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
qsys_status runJobs(test_scene& s)
{
    qsys_jobs_setThreadCount(3);
    test_jobSet set;
    qsys_status status = 0;
    for (int i = 0; i < 40 && status >= 0; ++i)
        status = set.add([&s] { ++s.counted; });
    return status < 0 ? status : set.run();
}

// The services that hold memory.
std::vector<test_operation> services()
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
         [](test_scene& s) {
             return madeOrMemory(s, qsVImageCreateReg(qsUSImageNull, &s.region));
         }},
        {"qsImageCreate",
         [](test_scene& s) {
             return madeOrMemory(s, qsImageCreate(7, 8));
         }},
        {"jobs", runJobs},
    };
}

} // namespace

TEST(Faults, EveryAllocationOfTheLibrary)
{
    test_atEveryLevel([](const std::string&) {
        for (const test_operation& operation : working())
            test_failEveryAllocation(operation);
    });
}

TEST(Faults, EveryPollOfTheLibrary)
{
    test_atEveryLevel([](const std::string&) {
        for (const test_operation& operation : working())
            test_failEveryPoll(operation);
    });
}

TEST(Faults, EveryAllocationOfTheServices)
{
    for (const test_operation& operation : services())
        test_failEveryAllocation(operation);
}

// No exported function is missing from the tables.
TEST(Faults, EveryExportedFunctionIsTested)
{
    std::istringstream names(takingNothing);
    std::set<std::string> tested;
    for (std::string name; names >> name;)
        tested.insert(name);
    for (const test_operation& operation : working())
        tested.insert(operation.name);
    std::set<std::string> exported;
    std::ifstream list(QIP_EXPORT_LIST);
    for (std::string name; std::getline(list, name);)
        exported.insert(name);
    EXPECT_EQ(tested, exported);
}
