// Every function under failing allocations and an attention handler that says stop: the right status, nothing
// lost, and the next call works.
//
// A new function needs one line: in `working` when it takes memory or polls, else in `takingNothing`. The
// half-resolution family has a loop of its own in test_gauss2_faults.cpp.
#include "support/fault_loop.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

namespace
{

// The older functions have no status: null is the sign of failure.
qsys_status madeOrMemory(test_scene& s, qsVImage* made)
{
    s.made = made;
    return made ? QSYS_OK : QSYS_E_MEMORY;
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
                               oracle_gauss2Arguments arguments;
                               arguments.src = wide ? &s.src16 : &s.bent8;
                               arguments.srcMask = &s.mask;
                               arguments.dst = wide ? &s.dst16 : &s.dst8;
                               arguments.dstMask = &s.dstMask;
                               arguments.srcWin = wide ? &s.srcWindow16 : &s.srcWindow8;
                               arguments.srcMaskWin = &s.maskWindow;
                               arguments.dstWin = wide ? &s.window16 : &s.window8;
                               arguments.dstMaskWin = &s.windowMask;
                               arguments.srcTransform = &s.linear;
                               arguments.dstTransform = &s.linearOut;
                               arguments.passesX = 6;
                               arguments.passesY = 4;
                               const test_inhibition inhibition(inhibited);
                               return what.call(arguments);
                           }});
            // The fast forms of one direction write small images without any memory of their own.
            all.back().mayTakeNone = !*inhibited && what.halveX != what.halveY;
        }
    return all;
}

std::vector<test_operation> working()
{
    std::vector<test_operation> all = halfResolution();
    const std::vector<test_operation> others = {
        {"qip_gauss_smooth8_8",
         [](auto& s) {
             return qip_gauss_smooth8_8(&s.src8, &s.dst8, &s.params);
         }},
        {"qip_gauss_smooth8_8",
         [](auto& s) {
             return qip_gauss_smooth8_8(&s.bent8, &s.bound8, &s.params);
         }},
        {"qip_gauss_smooth8_16",
         [](auto& s) {
             return qip_gauss_smooth8_16(&s.bent8, &s.dst16, &s.params);
         }},
        {"qip_gauss_smooth8_16",
         [](auto& s) {
             return qip_gauss_smooth8_16(&s.src8, &s.bound16, &s.params);
         }},
        {"qip_gauss_smoothWindow8_8",
         [](auto& s) {
             return qip_gauss_smoothWindow8_8(&s.srcWindow8, &s.window8, &s.params);
         }},
        {"qip_gauss_smoothWindow8_16",
         [](auto& s) {
             return qip_gauss_smoothWindow8_16(&s.srcWindow8, &s.window16, &s.params);
         }},
        {"qip_gauss",
         [](auto& s) {
             return qip_gauss(&s.legacy, nullptr, &s.legacyParams, &s.region, &s.made);
         }},
        {"gauss_udpateDstXform",
         [](auto& s) {
             return gauss_udpateDstXform(&s.src8, &s.params, &s.dst8, &s.dstMask);
         }},
        {"gauss_udpateDstXform",
         [](auto& s) {
             return gauss_udpateDstXform(&s.bent8, &s.params, &s.dst8, &s.dstMask);
         }},
        {"qfGauss",
         [](auto& s) {
             return madeOrMemory(s, qfGauss(&s.legacy, nullptr, 2, 3, 2, 0, &s.region));
         }},
        {"qfGauss", smoothInPlace},
    };
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

std::vector<test_operation> takingNothing()
{
    return {
        {"gauss_checkImageWindowMatch",
         [](auto& s) {
             int match[2];
             return gauss_checkImageWindowMatch(&s.src8, &s.mask, &match[0], &match[1]);
         }},
        {"gauss_checkWindowMatch",
         [](auto& s) {
             int match[2];
             return gauss_checkWindowMatch(&s.srcWindow8, &s.maskWindow, &match[0], &match[1]);
         }},
        {"gauss_computeSampleStartOffset",
         [](auto& s) {
             int64_t offset;
             return gauss_computeSampleStartOffset(&s.srcWindow8, &s.params, &offset);
         }},
        {"gauss_computeSrcRectsFromDstRect",
         [](auto& s) {
             return gauss_computeSrcRectsFromDstRect(&s.params, &s.src8.rect, &s.src8.rect, &s.bound8.rect,
                                                     0, &s.rects[0], &s.rects[1]);
         }},
        {"gauss_pelCopySampledWindow8",
         [](auto& s) {
             const int32_t step[2] = {2, 2};
             const int32_t start[2] = {0, 0};
             return gauss_pelCopySampledWindow8(&s.srcWindow8, step, start, &s.window8);
         }},
        {"gauss_setup",
         [](auto& s) {
             return gauss_setup(&s.src8.rect, &s.bound8.rect, &s.params, &s.rects[0], &s.rects[1],
                                &s.rects[2], &s.rects[3], &s.rects[4]);
         }},
        {"qfGaussGetDstReg",
         [](auto& s) {
             return qfGaussGetDstReg(&s.region, &s.region, 2, 2, 3, 3) ? 0 : -1;
         }},
        {"qfGaussGetDummyReg",
         [](auto& s) {
             return qfGaussGetDummyReg(&s.region, &s.region, 2, 2, 3, 3) ? 0 : -1;
         }},
        {"qfGaussNullParams",
         [](auto& s) {
             return qfGaussNullParams(&s.legacyParams);
         }},
        {"qsGaussParamsNull",
         [](auto&) {
             return qsGaussParamsNull() ? 0 : -1;
         }},
        {"qip_gauss2GetDestRect",
         [](auto& s) {
             return qip_gauss2GetDestRect(&s.src8.rect, &s.rects[0]);
         }},
        {"qip_gauss2XGetDestRect",
         [](auto& s) {
             return qip_gauss2XGetDestRect(&s.src8.rect, &s.rects[0]);
         }},
        {"qip_gauss2YGetDestRect",
         [](auto& s) {
             return qip_gauss2YGetDestRect(&s.src8.rect, &s.rects[0]);
         }},
        {"qip_gauss2NoSampleGetDestRect",
         [](auto& s) {
             return qip_gauss2NoSampleGetDestRect(&s.src8.rect, 2, 2, &s.rects[0]);
         }},
        {"qip_filterMaskParams_compareEqual",
         [](auto& s) {
             int equal;
             return qip_filterMaskParams_compareEqual(&s.params.maskParams, &s.params.maskParams, &equal);
         }},
        {"qip_filterMaskParams_init",
         [](auto& s) {
             return qip_filterMaskParams_init(&s.params.maskParams);
         }},
        {"qip_filterMaskParams_validate",
         [](auto& s) {
             return qip_filterMaskParams_validate(&s.params.maskParams);
         }},
        {"qip_gauss2GetDestRect",
         [](auto& s) {
             return qip_gauss2GetDestRect(&s.rects[0], &s.rects[1]);
         }},
        {"qip_gauss2NoSampleGetDestRect",
         [](auto& s) {
             return qip_gauss2NoSampleGetDestRect(&s.rects[0], 2, 2, &s.rects[1]);
         }},
        {"qip_gauss2XGetDestRect",
         [](auto& s) {
             return qip_gauss2XGetDestRect(&s.rects[0], &s.rects[1]);
         }},
        {"qip_gauss2YGetDestRect",
         [](auto& s) {
             return qip_gauss2YGetDestRect(&s.rects[0], &s.rects[1]);
         }},
        {"qip_gaussParamsGetMaxSigma",
         [](auto&) {
             int size;
             return qip_gaussParamsGetMaxSigma(&size);
         }},
        {"qip_gaussParamsGetMaxSigma16",
         [](auto&) {
             int size;
             return qip_gaussParamsGetMaxSigma16(&size);
         }},
        {"qip_gaussParams_compareEqual",
         [](auto& s) {
             int equal;
             return qip_gaussParams_compareEqual(&s.params, &s.params, &equal);
         }},
        {"qip_gaussParams_init",
         [](auto& s) {
             return qip_gaussParams_init(&s.params);
         }},
        {"qip_gaussParams_validate",
         [](auto& s) {
             return qip_gaussParams_validate(&s.params);
         }},
    };
}

qsys_status job(const qsys_jobParams* params)
{
    const void* data = nullptr;
    return qsys_jobParams_getDataConst(params, &data);
}

// Two requests that share a block, from construction to the end.
qsys_status runJobs(test_scene&)
{
    qsys_jobThreadGroup group = {};
    qsys_jobParams params = {};
    qsys_jobRequestSet requests = {};
    qsys_jobResultSet results = {};
    void* data = nullptr;
    const std::function<qsys_status()> steps[] = {
        [&] { return qsys_jobThreadGroup_construct(&group); },
        [&] { return qsys_jobParams_construct(&params); },
        [&] { return qsys_jobRequestSet_construct(&requests); },
        [&] { return qsys_jobResultSet_construct(&results); },
        [&] { return qsys_memory_alloc_internal(8, &data); },
        [&] { return qsys_jobParams_takeData(&params, &data, qsys_memory_free_internal); },
        [&] { return qsys_jobRequestSet_addFuncAndParams(&requests, job, &params); },
        [&] { return qsys_jobRequestSet_addFuncAndParams(&requests, job, &params); },
        [&] { return qsys_jobThreadGroup_dispatchAndWait(&group, &requests, &results); },
    };
    qsys_status status = 0;
    for (const auto& step : steps)
        if (status >= 0)
            status = step();
    qsys_memory_free_internal(&data);
    qsys_jobResultSet_destruct(&results);
    qsys_jobRequestSet_destruct(&requests);
    qsys_jobParams_destruct(&params);
    qsys_jobThreadGroup_destruct(&group);
    return status;
}

// The services that hold memory.
std::vector<test_operation> services()
{
    return {
        {"qimg_image8_construct",
         [](auto& s) {
             return qimg_image8_construct(&s.dst8, 5, 6);
         }},
        {"qimg_image16_construct",
         [](auto& s) {
             return qimg_image16_construct(&s.dst16, 5, 6);
         }},
        {"qimg_image_constructUntyped",
         [](auto& s) {
             return qimg_image_constructUntyped(&s.dst8, 1, 5, 6);
         }},
        {"qimg_image8_constructRect",
         [](auto& s) {
             return qimg_image8_constructRect(&s.dst8, &s.src8.rect);
         }},
        {"qimg_image_constructRectUntyped",
         [](auto& s) {
             return qimg_image_constructRectUntyped(&s.dst16, 2, &s.src8.rect);
         }},
        {"qimg_image_constructMemory",
         [](auto& s) {
             return qimg_image_constructMemory(&s.dst8, 1, &s.src8.rect, s.srcWindow8.stride,
                                               s.src8.firstPixel, nullptr, nullptr);
         }},
        {"qimg_image_assignNewRect",
         [](auto& s) {
             return qimg_image_assignNewRect(&s.bound8, 2, &s.src8.rect);
         }},
        {"qimg_image8_assignNewRect",
         [](auto& s) {
             return qimg_image8_assignNewRect(&s.bound8, &s.src8.rect);
         }},
        {"qimg_image16_assignNewRect",
         [](auto& s) {
             return qimg_image16_assignNewRect(&s.bound8, &s.src8.rect);
         }},
        {"qimg_image_setImageFromClientXform",
         [](auto& s) {
             return qimg_image_setImageFromClientXform(&s.dst8, &s.bent);
         }},
        {"qimg_image_setClientFromImageXform",
         [](auto& s) {
             return qimg_image_setClientFromImageXform(&s.dst8, &s.bent);
         }},
        {"qimg_image_setLinearImageFromClientXform",
         [](auto& s) {
             return qimg_image_setLinearImageFromClientXform(&s.dst8, &s.linear);
         }},
        {"qmath_xformPtrhConst_constructLinear",
         [](auto& s) {
             return qmath_xformPtrhConst_constructLinear(&s.out, &s.linear);
         }},
        {"qmath_xformPtrhConst_constructFunctions",
         [](auto& s) {
             const auto same = [](void*, qmath_point*) {
                 return qsys_status{0};
             };
             return qmath_xformPtrhConst_constructFunctions(&s.out, same, same, nullptr, nullptr);
         }},
        {"qmath_xformPtrhConst_assignCompose",
         [](auto& s) {
             return qmath_xformPtrhConst_assignCompose(&s.out, &s.handle, &s.bent);
         }},
        {"qmath_xformPtrhConst_assignComposePtrhLinear",
         [](auto& s) {
             return qmath_xformPtrhConst_assignComposePtrhLinear(&s.out, &s.bent, &s.linear);
         }},
        {"qmath_xformPtrhConst_assignInverse",
         [](auto& s) {
             return qmath_xformPtrhConst_assignInverse(&s.out, &s.handle);
         }},
        {"generate_qsImage_from_qimg_image8Const",
         [](auto& s) {
             return generate_qsImage_from_qimg_image8Const(&s.bent8, &s.made);
         }},
        {"generate_qsUSImage_from_qimg_image16Const",
         [](auto& s) {
             return generate_qsUSImage_from_qimg_image16Const(&s.src16, &s.made);
         }},
        {"generate_qsImage_from_qimg_windowConst",
         [](auto& s) {
             return generate_qsImage_from_qimg_windowConst(&s.srcWindow8, &s.made);
         }},
        {"generate_qsUSImage_from_qimg_windowConst",
         [](auto& s) {
             return generate_qsUSImage_from_qimg_windowConst(&s.srcWindow16, &s.made);
         }},
        {"qsVImageCreateReg",
         [](auto& s) {
             return madeOrMemory(s, qsVImageCreateReg(qsUSImageNull, &s.region));
         }},
        {"qsImageCreate",
         [](auto& s) {
             return madeOrMemory(s, qsImageCreate(7, 8));
         }},
        {"jobs", runJobs, true},
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

TEST(Faults, TheRestTakesNothing)
{
    for (const test_operation& operation : takingNothing())
        test_takesNothing(operation);
}

// No exported function is missing from the tables.
TEST(Faults, EveryExportedFunctionIsTested)
{
    std::set<std::string> tested;
    for (const auto& table : {working(), takingNothing()})
        for (const test_operation& operation : table)
            tested.insert(operation.name);
    for (const oracle_gauss2Export& halfResolution : oracle_gauss2Exports())
        tested.insert(halfResolution.name);
    std::set<std::string> exported;
    std::ifstream list(QIP_EXPORT_LIST);
    for (std::string name; std::getline(list, name);)
        exported.insert(name);
    EXPECT_EQ(tested, exported);
}
