// Null pointers: functions of both libraries that must refuse them, each of their pointers null in turn.
// The 28 exports of the half-resolution family are asked beside their other promises.
#include <qbase/qbase.h>
#include <qip/qip_gauss.h>

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace
{

// Storage of zeros for any record, and pointers to it.
alignas(64) char zeros[4096];
void* toZeros[] = {zeros};

// A good argument: zeros, a pointer to zeros, or the number 1.
template <class Argument>
Argument good()
{
    if constexpr (!std::is_pointer_v<Argument>)
        return static_cast<Argument>(1);
    else if constexpr (std::is_pointer_v<std::remove_pointer_t<Argument>>)
        return static_cast<Argument>(static_cast<void*>(toZeros));
    else
        return reinterpret_cast<Argument>(zeros);
}

// Expects the sign of refusal for every pointer argument that is null, those at the positions `optional`
// (from 0) excepted, and no crash when all are null.
template <class Result, class... Arguments>
void refuse(const std::string& name, Result (*function)(Arguments...), std::set<size_t> optional = {})
{
    Result refusal = {};
    if constexpr (!std::is_pointer_v<Result>)
        refusal = QSYS_E_ARGUMENT;
    const std::tuple<Arguments...> goodOnes(good<Arguments>()...);
    auto allNull = goodOnes;
    const auto position = [&]<size_t N>(std::integral_constant<size_t, N>) {
        if constexpr (std::is_pointer_v<std::tuple_element_t<N, std::tuple<Arguments...>>>) {
            auto bad = goodOnes;
            std::get<N>(bad) = nullptr;
            std::get<N>(allNull) = nullptr;
            if (!optional.contains(N)) {
                EXPECT_EQ(std::apply(function, bad), refusal) << name << ", argument " << N;
            }
        }
    };
    [&]<size_t... N>(std::index_sequence<N...>)
    {
        (position(std::integral_constant<size_t, N>{}), ...);
    }
    (std::index_sequence_for<Arguments...>{});
    EXPECT_EQ(std::apply(function, allNull), refusal) << name << ", all null";
}

// All of a list of functions without optional arguments.
template <class... Functions>
void refuseAll(const char* names, Functions... functions)
{
    std::istringstream stream(names);
    const auto next = [&](auto function) {
        std::string name;
        stream >> name;
        refuse(name, function);
    };
    (next(functions), ...);
}

#define REFUSE(...) refuseAll(#__VA_ARGS__, __VA_ARGS__)

} // namespace

TEST(Nulls, OfTheServices)
{
    REFUSE(qimg_image_assign, qimg_image_assignNewRect, qimg_image8_assignNewRect, qimg_image8_construct,
           qimg_image_copyXforms, qimg_image_getIsBound, qimg_imageConst_getClientFromImageXform,
           qimg_imageConst_getImageFromClientXform, qimg_image_setClientFromImageXform,
           qimg_image_setImageFromClientXform, qimg_image_setLinearImageFromClientXform, qimg_window_init,
           qip_pelCopyWindow8, qip_pelCopyWindow16, qip_pelSetWindow8, qip_pelfunc_checkMemoryOverlap,
           generate_qsImage_from_qimg_image8Const, generate_qsUSImage_from_qimg_image16Const,
           generate_qsImage_from_qimg_windowConst, qmath_xformLinear_getInverse,
           qmath_xformPtrhConst_assignCompose, qmath_xformPtrhConst_assignComposePtrhLinear,
           qmath_xformPtrhConst_assignInverse, qmath_xformPtrhConst_mapPoint, qsFXformCompose,
           qsFXformElemCT, qsFXformInv, qstd_rect32_init, qstd_rect32_intersect, qsIRegionDilate,
           qsIRegionErode, qsIRegionIntersect, qsys_cleanupExecute_, qsys_cleanup_doId_, qsys_cpuinfo_init,
           qsys_cpuinfo_limitLevel, qsys_jobGetCurrentThreadState, qsys_jobParams_getDataConst,
           qsys_jobParams_takeData, qsys_jobRequestSet_addFuncAndParams, qsys_jobResultSet_getCount,
           qsys_jobResultSet_getStatus, qsys_jobThreadGroup_dispatchAndWait, qsys_memory_alloc_internal,
           qsys_memory_alloc64_internal, qsys_memory_allocClear_internal, qsys_memory_copy,
           qsys_memory_copyRect, qsys_memory_fill, qsys_memory_free_internal, qstd_vector32_constructFill,
           qstd_vector32_getBeginEnd);
    refuse("qimg_image_constructMemory", qimg_image_constructMemory, {5, 6});
    refuse("qmath_xformPtrhConst_getLinear", qmath_xformPtrhConst_getLinear, {1});
    EXPECT_EQ(qimg_image_destruct(nullptr), QSYS_OK);
}

TEST(Nulls, OfTheLibrary)
{
    REFUSE(gauss_checkImageWindowMatch, gauss_checkWindowMatch, gauss_computeSrcRectsFromDstRect,
           gauss_pelCopySampledWindow8, gauss_setup, qfGaussGetDstReg, qfGaussGetDummyReg,
           qip_filterMaskParams_compareEqual, qip_filterMaskParams_init, qip_filterMaskParams_validate,
           qip_gauss2GetDestRect, qip_gauss2NoSampleGetDestRect, qip_gauss2XGetDestRect,
           qip_gauss2YGetDestRect, qip_gaussParamsGetMaxSigma, qip_gaussParamsGetMaxSigma16,
           qip_gaussParams_compareEqual, qip_gaussParams_init, qip_gaussParams_validate,
           qip_gauss_smooth8_16, qip_gauss_smooth8_8, qip_gauss_smoothWindow8_16,
           qip_gauss_smoothWindow8_8);
    refuse("gauss_computeSampleStartOffset", gauss_computeSampleStartOffset, {0, 1});
    refuse("gauss_udpateDstXform", gauss_udpateDstXform, {3});
    refuse("qip_gauss", qip_gauss, {1, 3});
    refuse("qip_filterMask_computeResultMask_", qip_filterMask_computeResultMask_, {1});
    const std::set<size_t> masks = {1, 2, 5};
    refuse("qip_gauss_smoothMasked8_8", qip_gauss_smoothMasked8_8, masks);
    refuse("qip_gauss_smoothMasked8_16", qip_gauss_smoothMasked8_16, masks);
    refuse("qip_gauss_smoothMasked16_16", qip_gauss_smoothMasked16_16, masks);
    refuse("qip_gauss_smoothMaskedWindow8_8", qip_gauss_smoothMaskedWindow8_8, masks);
    refuse("qip_gauss_smoothMaskedWindow8_16", qip_gauss_smoothMaskedWindow8_16, masks);
    refuse("qip_gauss_smoothMaskedWindow16_16", qip_gauss_smoothMaskedWindow16_16, masks);
    int64_t offset = -1;
    EXPECT_EQ(gauss_computeSampleStartOffset(nullptr, nullptr, &offset), QIP_OK);
    EXPECT_EQ(offset, 0);
}
