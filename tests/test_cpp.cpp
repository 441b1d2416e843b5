// The headers for C++ and for OpenCV give what the C interface gives: pixels, rectangles, masks, refusals.
#include <qip/qip.hpp>

#include "support/compare.h"
#include "support/images.h"

#include <array>
#include <limits>
#include <memory>
#include <optional>
#ifdef QIP_OPENCV
#include <qip/opencv.hpp>
#endif

namespace
{

// One of the filters with its choices, and the call of the C interface that is meant.
struct request {
    enum { gaussian, half, binomial, resultMask } filter;
    qip_gaussParams record;
    qip::params params;
    qip::axis axis;
    int32_t passes[2];
    bool deep; // the destination

    qip_status callC(const qimg_image* src, const qimg_image* mask, const qimg_image* reset,
                     qimg_image* dst, qimg_image* dstMask) const
    {
        const qip_gaussParams* const p = &record;
        const bool deepSource = src->pixelSize == 2;
        if (filter == gaussian && !deepSource && !mask->buffer && !reset->buffer && !dstMask)
            return (deep ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8)(src, dst, p);
        if (filter == gaussian)
            return (deepSource ? qip_gauss_smoothMasked16_16
                    : deep     ? qip_gauss_smoothMasked8_16
                               : qip_gauss_smoothMasked8_8)(src, mask, reset, p, dst, dstMask);
        if (filter == resultMask)
            return qip_filterMask_computeResultMask_(src, mask, &p->kernelSizeX, &p->sampleX,
                                                     p->maskParams.threshold, dst);
        if (filter == binomial)
            return mask->buffer
                       ? (deep ? qip_gauss2_smoothNoSampleMasked16_16 : qip_gauss2_smoothNoSampleMasked8_8)(
                             src, mask, dst, dstMask, passes[0], passes[1])
                       : (deep ? qip_gauss2_smoothNoSample16_16
                               : qip_gauss2_smoothNoSample8_8)(src, dst, passes[0], passes[1]);
        if (!mask->buffer)
            return axis == qip::axis::xy ? (deep ? qip_gauss2_smooth16_16 : qip_gauss2_smooth8_8)(src, dst)
                   : axis == qip::axis::x
                       ? (deep ? qip_gauss2X_smooth16_16 : qip_gauss2X_smooth8_8)(src, dst)
                       : (deep ? qip_gauss2Y_smooth16_16 : qip_gauss2Y_smooth8_8)(src, dst);
        const auto masked =
            axis == qip::axis::xy  ? (deep ? qip_gauss2_smoothMasked16_16 : qip_gauss2_smoothMasked8_8)
            : axis == qip::axis::x ? (deep ? qip_gauss2X_smoothMasked16_16 : qip_gauss2X_smoothMasked8_8)
                                   : (deep ? qip_gauss2Y_smoothMasked16_16 : qip_gauss2Y_smoothMasked8_8);
        return masked(src, mask, dst, dstMask);
    }

    qip::image callCpp(const qip::image& src, const qip::masks& masks, qip::image dst) const
    {
        switch (filter) {
        case gaussian:
            return deep && src.pixel_size() == 1
                       ? qip::gaussian<std::uint16_t>(src, params, masks, std::move(dst))
                       : qip::gaussian(src, params, masks, std::move(dst));
        case half:
            return qip::half(src, axis, masks, std::move(dst));
        case binomial:
            return qip::binomial(src, passes[0], passes[1], masks, std::move(dst));
        default:
            return qip::result_mask(src, params, masks.source, std::move(dst));
        }
    }
};

request randomRequest(test_random* random, bool deepSource)
{
    request made = {};
    made.filter = static_cast<decltype(made.filter)>(test_randomInt(random, 0, deepSource ? 2 : 3));
    made.deep = deepSource || (made.filter == request::gaussian && test_chance(random, 30));
    qip_gaussParams& p = made.record;
    p.kernelSizeX = test_randomInt(random, 0, 9);
    p.kernelSizeY = test_randomInt(random, 0, 9);
    p.sampleX = test_randomInt(random, 1, 3);
    p.sampleY = test_randomInt(random, 1, 3);
    p.gain = test_randomInt(random, 1, 3);
    p.round = test_randomInt(random, 0, 1);
    p.maskParams = {static_cast<uint32_t>(test_randomInt(random, 0, 1)),
                    static_cast<uint32_t>(test_randomInt(random, 0, 1)),
                    test_randomInt(random, 0, 4) / 4.0};
    made.params.kernel(p.kernelSizeX, p.kernelSizeY)
        .sample(p.sampleX, p.sampleY)
        .gain(p.gain)
        .round(p.round != 0);
    made.params.mask_mode(p.maskParams.mode)
        .result_mode(p.maskParams.resultMode)
        .threshold(p.maskParams.threshold);
    made.axis = static_cast<qip::axis>(test_randomInt(random, 0, 2));
    made.passes[0] = 2 * test_randomInt(random, 0, 2);
    made.passes[1] = 2 * test_randomInt(random, 0, 2);
    return made;
}

qip::image imageOver(const test_pixels& pixels, std::optional<qip::point> at)
{
    const test_view v = pixels.view();
    if (v.pixelSize == 2)
        return qip::view(static_cast<std::uint16_t*>(pixels.first()), v.width, v.height, pixels.stride(),
                         at);
    return qip::view(static_cast<std::uint8_t*>(pixels.first()), v.width, v.height, pixels.stride(), at);
}

test_view viewOf(const qip::image& image)
{
    const qimg_image* const record = image.handle();
    return {record->firstPixel, record->stride, image.width(), image.height(), image.pixel_size()};
}

qip::view<const std::uint8_t> maskOver(const test_pixels* pixels)
{
    if (!pixels)
        return {};
    return qip::view(static_cast<const std::uint8_t*>(pixels->first()), pixels->view().width,
                     pixels->view().height, pixels->stride());
}

// A mask of one in four zeros and arbitrary values, or none.
std::unique_ptr<test_pixels> randomMask(test_random* random, int32_t width, int32_t height)
{
    if (test_chance(random, 40))
        return nullptr;
    auto mask = std::make_unique<test_pixels>(test_randomLayout(random, width, height, 1));
    test_fill(mask.get(), [&](int32_t, int32_t) {
        return test_chance(random, 75) ? static_cast<uint32_t>(test_randomInt(random, 0, 255)) : 0;
    });
    return mask;
}

void layMask(test_image* image, const test_pixels* pixels, const qip::point& at)
{
    if (pixels)
        image->lay(*pixels, at.x, at.y);
}

} // namespace

TEST(Cpp, GivesWhatTheCInterfaceGives)
{
    test_forCases(test_caseCount(3000), [](test_random& random, uint64_t) {
        const int32_t width = test_randomInt(&random, 1, 90), height = test_randomInt(&random, 1, 60);
        const qip::point at = {test_randomInt(&random, -9, 9), test_randomInt(&random, -9, 9)};
        const int32_t size = test_randomInt(&random, 1, 2);
        const request wanted = randomRequest(&random, size == 2);
        test_pixels pixels(test_randomLayout(&random, width, height, size));
        test_fillRandom(&pixels, test_randomBits(&random));
        const auto mask = randomMask(&random, width, height);
        const auto reset =
            wanted.filter == request::gaussian ? randomMask(&random, width, height) : nullptr;
        const bool wantsMask = wanted.filter == request::gaussian
                                   ? test_chance(&random, 50)
                                   : mask && wanted.filter != request::resultMask;
        const int32_t dstSize = wanted.deep ? 2 : 1;

        test_image src(pixels, at.x, at.y), srcMask, srcReset, all, allMask;
        layMask(&srcMask, mask.get(), at);
        layMask(&srcReset, reset.get(), at);
        ASSERT_EQ(wanted.callC(&src.record, &srcMask.record, &srcReset.record, &all.record,
                               wantsMask ? &allMask.record : nullptr),
                  0);

        qip::image made, madeMask;
        qip::masks masks{maskOver(mask.get()), maskOver(reset.get()), wantsMask ? &madeMask : nullptr};
        made = wanted.callCpp(imageOver(pixels, at), masks, {});
        EXPECT_TRUE(made.rectangle() == all.record.rect);
        EXPECT_TRUE(test_samePixels(all.view(), viewOf(made)));
        if (wantsMask) {
            EXPECT_TRUE(test_samePixels(allMask.view(), viewOf(madeMask)));
        }
        if (!all.isBound() || all.record.rect.width <= 0 || all.record.rect.height <= 0)
            return;

        // Into memory of the caller: all of it, or a part that the origin names.
        qstd_rect32 part = all.record.rect;
        std::optional<qip::point> origin;
        if (test_chance(&random, 50)) {
            const int32_t dx = test_randomInt(&random, 0, part.width - 1),
                          dy = test_randomInt(&random, 0, part.height - 1);
            part = {part.x + dx, part.y + dy, test_randomInt(&random, 1, part.width - dx),
                    test_randomInt(&random, 1, part.height - dy)};
            origin = qip::point{part.x, part.y};
        }
        const test_layout layouts[] = {test_randomLayout(&random, part.width, part.height, dstSize),
                                       test_randomLayout(&random, part.width, part.height, 1)};
        test_pixels expected(layouts[0]), expectedMask(layouts[1]), written(layouts[0]),
            writtenMask(layouts[1]);
        test_image dst(expected, part.x, part.y), dstMask(expectedMask, part.x, part.y);
        const qip_status status = wanted.callC(&src.record, &srcMask.record, &srcReset.record, &dst.record,
                                               wantsMask ? &dstMask.record : nullptr);
        // Of image and mask, one may be left to be made.
        const int32_t left = wantsMask ? test_randomInt(&random, 0, 2) : 0;
        madeMask = left == 1 ? qip::image()
                             : imageOver(writtenMask,
                                         left == 0 && test_chance(&random, 50) ? std::nullopt : origin);
        try {
            made = wanted.callCpp(imageOver(pixels, at), masks,
                                  left == 2 ? qip::image() : imageOver(written, origin));
            EXPECT_EQ(status, 0);
            EXPECT_TRUE(test_samePixels(expected.view(), viewOf(made)));
            if (wantsMask) {
                EXPECT_TRUE(test_samePixels(expectedMask.view(), viewOf(madeMask)));
            }
        } catch (const qip::error& failure) {
            EXPECT_EQ(failure.code(), status) << failure.what();
        }
        EXPECT_TRUE(left == 2 || test_samePixels(expected.view(), written.view()));
        EXPECT_TRUE(left == 1 || test_samePixels(expectedMask.view(), writtenMask.view()));
    });
}

template <class Work>
qip_status codeOf(const Work& work)
{
    try {
        work();
    } catch (const qip::error& failure) {
        return failure.code();
    }
    return 0;
}

TEST(Cpp, RefusesInWordsAndWithACode)
{
    std::vector<std::uint8_t> pixels(20 * 10), other(20 * 10, 7);
    const std::vector<std::uint8_t>& constant = pixels;
    const qip::view<std::uint8_t> src(pixels, 20, 10);
    const auto smooth = [&](const qip::params& p) {
        return codeOf([&] { qip::gaussian(src, p); });
    };
    EXPECT_EQ(smooth(qip::params().gain(0)), QIP_E_GAIN);
    EXPECT_EQ(smooth(qip::params().sample(0)), QIP_E_SAMPLING);
    EXPECT_EQ(codeOf([&] { qip::params().sigma(std::nan("")); }), QSYS_E_ARGUMENT);
    EXPECT_EQ(codeOf([&] { qip::params().sigma(1e10); }), QSYS_E_ARGUMENT);
    EXPECT_EQ(codeOf([&] { qip::view(pixels, 20, 11); }), QSYS_E_RANGE);
    EXPECT_EQ(codeOf([&] { qip::view(pixels, 20, 10, 21); }), QSYS_E_RANGE);
    EXPECT_EQ(codeOf([&] { qip::view(pixels, 20, 10, -20); }), QSYS_E_RANGE);
    EXPECT_EQ(codeOf([&] { qip::image wide = qip::view(pixels.data(), 20, 1, std::ptrdiff_t{1} << 32); }),
              QSYS_E_RANGE);
    qip::image read;
    EXPECT_EQ(codeOf([&] { read.pixels<std::uint8_t>(); }), QIMG_E_UNBOUND);
    read = qip::view(constant, 20, 10);
    EXPECT_EQ(codeOf([&] { read.pixels<std::uint8_t>(); }), QSYS_E_ARGUMENT);
    EXPECT_EQ(codeOf([&] { qip::half(src, qip::axis::x, {}, qip::view(constant, 10, 10)); }),
              QSYS_E_ARGUMENT);
    EXPECT_EQ(codeOf([&] { qip::binomial(src, 1, 2); }), QSYS_E_ARGUMENT);
    EXPECT_EQ(codeOf([&] { qip::gaussian(src, {}, {}, src); }), QIP_E_SAME_MEMORY);
    const auto withMask = [&](const qip::view<const std::uint8_t>& mask) {
        return std::array{codeOf([&] { qip::gaussian(src, {}, {mask}); }),
                          codeOf([&] { qip::half(src, qip::axis::y, {mask}); }),
                          codeOf([&] { qip::binomial(src, 2, 2, {mask}); }),
                          codeOf([&] { qip::result_mask(src, {}, mask); })};
    };
    std::array<qip_status, 4> mismatches;
    mismatches.fill(QIP_E_MASK_MISMATCH);
    const std::vector<std::uint8_t> larger(21 * 10, 255);
    EXPECT_EQ(withMask(qip::view(other, 19, 10)), mismatches);
    EXPECT_EQ(withMask(qip::view(larger, 21, 10)), mismatches);
    qip::image shared = src;
    EXPECT_EQ(codeOf([&] {
                  qip::binomial(qip::view(other, 20, 10), 2, 2, {src, {}, &shared}, src);
              }),
              QIP_E_SAME_MEMORY);
    try {
        qip::result_mask(src, qip::params().sample(0));
        ADD_FAILURE();
    } catch (const qip::error& failure) {
        EXPECT_EQ(std::string(failure.what()).find("result_mask: "), 0U);
    }
    EXPECT_EQ(codeOf([&] {
                  qip::gaussian(src, {}, {}, qip::view(other, 20, 10, 0, qip::point{0, 1}));
              }),
              QIMG_E_OUTSIDE);
    std::vector<std::uint16_t> deep(20 * 10);
    EXPECT_EQ(codeOf([&] { qip::gaussian(qip::view(deep, 20, 10), {}, {}, qip::view(other, 20, 10)); }),
              QIMG_E_PIXEL_SIZE);
    qip::image result;
    EXPECT_EQ(codeOf([&] { qip::half(src, qip::axis::xy, {{}, {}, &result}); }), QSYS_E_ARGUMENT);
    EXPECT_EQ(other, std::vector<std::uint8_t>(20 * 10, 7));
    const qip::params between = qip::params().sigma(1.156, 1.18); // 6.35 and 6.57 for n n, which is 4 or 9
    EXPECT_EQ(between.record.kernelSizeX, 1);
    EXPECT_EQ(between.record.kernelSizeY, 2);
    const int32_t greatest = std::numeric_limits<int32_t>::max();
    for (int32_t kernel : {0, 1, 2, 3, 7, 99, greatest - 1, greatest})
        EXPECT_EQ(qip::params().sigma(qip::params().kernel(kernel).sigma_x()).record.kernelSizeY, kernel);
}

TEST(Cpp, AnImageTakesThePlaceOfAnother)
{
    std::vector<std::uint8_t> pixels(20 * 10);
    int released = 0;
    const auto release = [](void* count, void*) {
        ++*static_cast<int*>(count);
    };
    qip::image first(qip::view(pixels, 20, 10), release, &released), second(qip::view(pixels, 10, 10));
    first = std::move(second);
    EXPECT_EQ(released, 1);
    EXPECT_EQ(first.width(), 10);
    EXPECT_FALSE(second); // NOLINT: moved from, without pixels
}

TEST(Cpp, AHandlerStopsACallByAnAnswerOrAnException)
{
    std::vector<std::uint8_t> pixels(400 * 400);
    const auto smooth = [&] {
        qip::gaussian(qip::view(pixels, 400, 400), qip::params().kernel(5), {qip::view(pixels, 400, 400)});
    };
    {
        const qip::attention outer([] { return false; });
        {
            int asked = 0;
            const qip::attention thrower([&]() -> bool { throw ++asked; });
            EXPECT_THROW(smooth(), int);
            EXPECT_THROW(smooth(), int);
            EXPECT_EQ(asked, 2);
        }
        EXPECT_EQ(codeOf(smooth), QSYS_E_CANCELLED);
    }
    EXPECT_EQ(codeOf(smooth), 0);
}

TEST(Cpp, TheLevelIsLimitedWhileItIsAskedFor)
{
    const std::string before = qsys_cpuinfo_levelName();
    {
        const qip::level_limit limit("plain");
        EXPECT_STREQ(qsys_cpuinfo_levelName(), "plain");
        EXPECT_EQ(codeOf([] { const qip::level_limit unknown("fastest"); }), QSYS_E_LEVEL_UNKNOWN);
    }
    EXPECT_EQ(qsys_cpuinfo_levelName(), before);
}

#ifdef QIP_OPENCV

namespace
{

// A part somewhere in a larger random matrix.
cv::Mat randomPart(test_random* random, int rows, int columns, int type)
{
    const int left = test_randomInt(random, 0, 9), top = test_randomInt(random, 0, 9);
    cv::Mat whole(rows + top + test_randomInt(random, 0, 9), columns + left + test_randomInt(random, 0, 9),
                  type);
    for (int y = 0; y < whole.rows; ++y)
        for (size_t i = 0; i < static_cast<size_t>(whole.cols) * whole.elemSize(); ++i)
            whole.ptr(y)[i] =
                static_cast<uchar>(test_randomBits(random) >> 56 & test_randomBits(random) >> 40);
    return whole(cv::Rect(left, top, columns, rows));
}

// The result of the C interface for matrices; the parts' places are those in their matrices.
qimg_image* layOver(test_image* image, const cv::Mat& mat, cv::Point at)
{
    const qstd_rect32 rect = {at.x, at.y, mat.cols, mat.rows};
    if (!mat.empty()) {
        EXPECT_EQ(qimg_image_constructMemory(&image->record, static_cast<int32_t>(mat.elemSize()), &rect,
                                             static_cast<int32_t>(mat.step[0]), mat.data, nullptr, nullptr),
                  0);
    }
    return &image->record;
}

bool isSame(const test_image& expected, const cv::Mat& mat)
{
    const test_view actual = {mat.data, static_cast<int64_t>(mat.step[0]), mat.cols, mat.rows,
                              static_cast<int32_t>(mat.elemSize())};
    return test_samePixels(expected.view(), actual);
}

} // namespace

TEST(Opencv, GivesWhatTheCInterfaceGives)
{
    test_forCases(test_caseCount(1500), [](test_random& random, uint64_t) {
        const int rows = test_randomInt(&random, 2, 60), columns = test_randomInt(&random, 2, 60);
        const bool deepSource = test_chance(&random, 40);
        request wanted = randomRequest(&random, deepSource);
        if (wanted.filter == request::resultMask)
            return;
        cv::Mat src = randomPart(&random, rows, columns, deepSource ? CV_16U : CV_8U);
        const cv::Mat mask =
            test_chance(&random, 50) ? randomPart(&random, rows, columns, CV_8U) : cv::Mat();
        const bool wantsMask = !mask.empty() && test_chance(&random, 50);
        cv::Size whole;
        cv::Point at, inside;
        src.locateROI(whole, at);
        const cv::Mat before = src.clone();
        test_image from, valid, none, all, allMask;
        ASSERT_EQ(wanted.callC(layOver(&from, before, at), layOver(&valid, mask, at), &none.record,
                               &all.record, wantsMask ? &allMask.record : nullptr),
                  0);

        // A new matrix, a part of one with its surroundings, or the source itself.
        const oracle_rect size = all.rect();
        const int depth = wanted.deep ? CV_16U : CV_8U;
        cv::Mat dst, around, aroundBefore, dstMask;
        const int way = test_randomInt(&random, 0, 2);
        if (size.isNull())
            return;
        if (way == 1) {
            dst = randomPart(&random, static_cast<int>(size.height), static_cast<int>(size.width), depth);
            dst.locateROI(whole, inside);
            around = dst;
            around.adjustROI(50, 50, 50, 50);
            aroundBefore = around.clone();
        } else if (way == 2)
            dst = src;
        if (test_chance(&random, 30))
            dstMask = mask; // in place
        const uchar* const place = dst.data;
        const bool fits = way == 1 || (way == 2 && dst.type() == depth && dst.cols == size.width &&
                                       dst.rows == size.height);
        const cv::_InputArray maskArgument =
            mask.empty() ? cv::_InputArray(cv::noArray()) : cv::_InputArray(mask);
        const cv::_OutputArray maskResult =
            wantsMask ? cv::_OutputArray(dstMask) : cv::_OutputArray(cv::noArray());
        if (wanted.filter == request::gaussian)
            qip::opencv::gaussian(src, dst, wanted.params, maskArgument, maskResult, depth);
        else if (wanted.filter == request::half)
            qip::opencv::half(src, dst, wanted.axis, maskArgument, maskResult);
        else
            qip::opencv::binomial(src, dst, {wanted.passes[0], wanted.passes[1]}, maskArgument, maskResult);
        EXPECT_TRUE(isSame(all, dst));
        EXPECT_TRUE(!wantsMask || isSame(allMask, dstMask));
        EXPECT_TRUE(!fits || dst.data == place);
        if (way == 1) {
            dst.setTo(0);
            aroundBefore(cv::Rect(inside, dst.size())).setTo(0);
            EXPECT_EQ(cv::norm(around, aroundBefore, cv::NORM_INF), 0);
        }
    });
}

TEST(Opencv, WrapsWithoutACopyAndRefusesAsOpencvDoes)
{
    cv::Mat whole(40, 50, CV_16U, cv::Scalar(3));
    const auto references = [&] {
        return whole.u->refcount;
    };
    {
        const qip::image image = qip::opencv::wrap(whole(cv::Rect(5, 6, 7, 8)));
        EXPECT_EQ(references(), 2);
        EXPECT_TRUE((image.rectangle() == qstd_rect32{5, 6, 7, 8}));
        EXPECT_EQ(image.pixels<const std::uint16_t>().data, whole.ptr<std::uint16_t>(6) + 5);
    }
    EXPECT_EQ(references(), 1);
    cv::Mat dst(9, 9, CV_8U, cv::Scalar(7));
    EXPECT_THROW(qip::opencv::wrap(cv::Mat(4, 4, CV_32F)), cv::Exception);
    EXPECT_THROW(qip::opencv::gaussian(cv::Mat(), dst), cv::Exception);
    EXPECT_THROW(qip::opencv::gaussian(cv::Mat(4, 4, CV_8UC3), dst), cv::Exception);
    EXPECT_THROW(qip::opencv::gaussian(whole, dst, qip::params().gain(-1)), cv::Exception);
    EXPECT_THROW(qip::opencv::gaussian(whole, dst, {}, cv::Mat(40, 50, CV_16U)), cv::Exception);
    EXPECT_THROW(qip::opencv::binomial(whole, dst, {3, 2}), cv::Exception);
    cv::UMat device(40, 50, CV_8U, cv::Scalar(5)); // in place, though it is made anew
    qip::opencv::half(device, device);
    EXPECT_EQ(cv::norm(device, cv::Mat(20, 25, CV_8U, cv::Scalar(5)), cv::NORM_INF), 0);
    cv::Mat_<float> fixed;
    EXPECT_THROW(qip::opencv::half(whole, fixed), cv::Exception);
    EXPECT_EQ(references(), 1);
}

#endif
