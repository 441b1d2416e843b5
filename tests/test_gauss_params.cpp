// The parameter records: which rule wins, what passes, what is equal.
#include "support/any_call.h"

#include <qbase/cpuinfo.h>
#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

constexpr int32_t most = std::numeric_limits<int32_t>::max();
constexpr int32_t least = std::numeric_limits<int32_t>::min();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

} // namespace

TEST(GaussParams, TheFirstRuleThatFailsDecides)
{
    struct rule {
        std::function<void(qip_gaussParams*)> breakIt;
        qip_status status;
    };
    // In the order of the checks; each breaks only its own.
    const std::vector<rule> rules = {
        {[](qip_gaussParams* p) { p->sampleX = 0; }, QSYS_FAILURE(0x0961)},
        {[](qip_gaussParams* p) { p->sampleY = least; }, QSYS_FAILURE(0x0961)},
        {[](qip_gaussParams* p) { p->kernelSizeX = -1; }, QSYS_FAILURE(0x0962)},
        {[](qip_gaussParams* p) { p->kernelSizeY = least; }, QSYS_FAILURE(0x0962)},
        {[](qip_gaussParams* p) { p->gain = -0.0; }, QSYS_FAILURE(0x0963)},
        {[](qip_gaussParams* p) { p->maskParams.mode = 2; }, QSYS_FAILURE(0x0ea8)},
        {[](qip_gaussParams* p) { p->maskParams.resultMode = 0xffffffff; }, QSYS_FAILURE(0x0ea9)},
        {[](qip_gaussParams* p) { p->maskParams.threshold = notANumber; }, QSYS_FAILURE(0x0eaa)},
    };
    for (const test_export& what : test_exports()) {
        if (!what.masked && (what.family != test_family::gauss || !what.dstSize))
            continue;
        SCOPED_TRACE(what.name);
        test_call call; // without pixels: rules come first
        call.what = &what;
        const auto expect = [&](const qip_gaussParams& params, qip_status status) {
            call.params = params;
            EXPECT_EQ(test_run(call).status, status);
        };
        // Each rule alone, then with all later ones broken too.
        for (size_t i = 0; i < rules.size(); ++i) {
            SCOPED_TRACE(i);
            qip_gaussParams params = test_gaussParams(1, 1);
            rules[i].breakIt(&params);
            expect(params, rules[i].status);
            for (size_t j = i; j < rules.size(); ++j)
                rules[j].breakIt(&params);
            expect(params, rules[i].status);
        }
        if (what.masked)
            continue;
        qsys_cpuinfo_setFailure(-5);
        expect(test_gaussParams(0, 1), -5);
        qsys_cpuinfo_setFailure(0);
    }
}

TEST(GaussParams, GoodRecordsPass)
{
    qip_gaussParams params = test_gaussParams(1, 0);
    EXPECT_EQ(qip_gaussParams_validate(&params), QIP_OK);
    for (const double gain :
         {notANumber, std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::infinity()}) {
        params.gain = gain;
        EXPECT_EQ(qip_gaussParams_validate(&params), QIP_OK) << gain;
    }
    params = test_gaussParams(most, most);
    params.maskParams = {1, 1, 1.0};
    EXPECT_EQ(qip_gaussParams_validate(&params), QIP_OK);
    params.maskParams.threshold = std::nextafter(1.0, 2.0);
    EXPECT_EQ(qip_gaussParams_validate(&params), QIP_E_MASK_THRESHOLD);
}

TEST(GaussParams, RecordsAreComparedFieldByField)
{
    const qip_gaussParams a = test_gaussParams(3, 4);
    qip_gaussParams b = a;
    int equal = -1;
    EXPECT_EQ(qip_gaussParams_compareEqual(&a, &b, &equal), 0);
    EXPECT_EQ(equal, 1);
    const auto expectDifferent = [&](auto* field) {
        const auto before = (*field)++;
        EXPECT_EQ(qip_gaussParams_compareEqual(&a, &b, &equal), 0);
        EXPECT_EQ(equal, 0);
        *field = before;
    };
    for (int32_t* const field : {&b.sampleX, &b.sampleY, &b.kernelSizeX, &b.kernelSizeY, &b.round})
        expectDifferent(field);
    for (double* const field : {&b.gain, &b.maskParams.threshold})
        expectDifferent(field);
    expectDifferent(&b.maskParams.mode);
    expectDifferent(&b.maskParams.resultMode);
    // What is not a number differs from nothing.
    b.gain = b.maskParams.threshold = notANumber;
    EXPECT_EQ(qip_gaussParams_compareEqual(&b, &a, &equal), 0);
    EXPECT_EQ(equal, 1);
}

TEST(GaussParams, GreatestKernelSizesFollowTheProcessor)
{
    qsys_cpuinfo machine = {};
    ASSERT_EQ(qsys_cpuinfo_init(&machine), 0);
    int size = 0;
    for (const int32_t processorClass : {-3, 0, 1, 2, 3, 5, 6})
        for (const uint32_t features : {0xffffffffu, ~QSYS_CPU_BIT_VECTOR128_BYTES}) {
            qsys_cpuinfo_limitRaw(processorClass, features);
            const bool isLarge = (processorClass == 1 || processorClass == 5) &&
                                 machine.features & features & QSYS_CPU_BIT_VECTOR128_BYTES;
            EXPECT_EQ(qip_gaussParamsGetMaxSigma(&size), 0);
            EXPECT_EQ(size, isLarge ? 63 : 24) << processorClass << " " << features;
        }
    qsys_cpuinfo_limitLevel("auto");
    qsys_cpuinfo_setFailure(-9);
    EXPECT_EQ(qip_gaussParamsGetMaxSigma(&size), -9);
    EXPECT_EQ(size, 24);
    EXPECT_EQ(qip_gaussParamsGetMaxSigma16(&size), 0);
    EXPECT_EQ(size, 39);
    qsys_cpuinfo_setFailure(0);
}
