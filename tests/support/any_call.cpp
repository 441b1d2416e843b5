#include "support/any_call.h"

#include "support/pictures.h"
#include "support/policy.h"

#include <qip/legacy.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

// ---- random calls ----

namespace
{

int64_t randomKernel(test_random* random)
{
    if (test_chance(random, 50))
        return test_randomRange(random, 1, 2);
    if (test_chance(random, 5))
        return test_pick(random, std::array{3000, 30000, 1 << 22, 1 << 30});
    return test_randomRange(random, 0, test_chance(random, 15) ? 70 : 9);
}

qip_gaussParams randomParams(test_random* random, test_family family)
{
    const bool isMasked = family == test_family::masked;
    qip_gaussParams params = test_gaussParams(1, 0);
    params.kernelSizeX = static_cast<int32_t>(randomKernel(random));
    params.kernelSizeY =
        test_chance(random, 30) ? static_cast<int32_t>(randomKernel(random)) : params.kernelSizeX;
    if (isMasked) // the greatest size of every level
        for (int32_t* kernel : {&params.kernelSizeX, &params.kernelSizeY})
            *kernel = std::min(*kernel, 24);
    if (family == test_family::boxes)
        for (int32_t* kernel : {&params.kernelSizeX, &params.kernelSizeY})
            *kernel %= 5;
    params.sampleX = test_chance(random, 50) ? 1 : test_randomInt(random, 1, 5);
    params.sampleY = test_chance(random, 50) ? 1 : test_randomInt(random, 1, 5);
    params.round = test_chance(random, 50) ? test_anyRound : 0;
    params.gain = test_pick(random, std::array{1.0, 1.0, 2.0, 0.25, 1.75, 60000.0});
    // The sums of such kernels are not exact. The gain brings their last bits down to the pixels.
    if (params.kernelSizeY > 30000)
        params.gain = 1e15;
    params.maskParams = {test_chance(random, 50), test_chance(random, 50),
                         0.25 * test_randomInt(random, 0, 4)};
    return params;
}

// What the source yields.
oracle_rect fullDestination(const test_call& made)
{
    const oracle_rect& source = made.planes[test_src].rect;
    if (made.what->half)
        return oracle_gauss2PlanOf(*made.what->half, source, source).full;
    return made.what->family == test_family::boxes
               ? oracle_boxesValid(source, made.passesX, made.params.kernelSizeX, made.params.kernelSizeY)
               : oracle_destination(source, test_gaussRequest(made.params));
}

// Part of it, or more than it.
oracle_rect randomDestination(test_random* random, const oracle_rect& all)
{
    const auto move = [=](int64_t size) {
        return test_chance(random, 40) ? test_randomRange(random, -3, size / 3) : 0;
    };
    const int64_t left = move(all.width);
    const int64_t top = move(all.height);
    return {all.x + left, all.y + top, std::max<int64_t>(all.width - left - move(all.width), 1),
            std::max<int64_t>(all.height - top - move(all.height), 1)};
}

} // namespace

const std::vector<test_export>& test_exports()
{
    static const std::vector<test_export> all = [] {
        using enum test_family;
        std::vector<test_export> made = {
            {"qip_gauss", gauss, 1, 0, false},
            {"qip_gauss_smooth8_8", gauss, 1, 1, false},
            {"qip_gauss_smooth8_16", gauss, 1, 2, false},
            {"qip_gauss_smoothWindow8_8", gauss, 1, 1, true},
            {"qip_gauss_smoothWindow8_16", gauss, 1, 2, true},
            {"qfGauss", boxes, 1, 1, false},
            {"qip_filterMask_computeResultMask_", resultMask, 1, 1, false},
        };
        for (const oracle_gauss2Export& each : oracle_gauss2Exports())
            made.push_back({each.name, half, each.pixelSize, each.pixelSize, each.windows, &each});
        for (const oracle_maskedExport& each : oracle_maskedExports())
            made.push_back({each.name, masked, each.srcSize, each.dstSize, each.windows, nullptr, &each});
        return made;
    }();
    return all;
}

void test_placeMask(test_random* random, test_placed* mask, const oracle_rect& rect)
{
    mask->place(random, rect, 1);
    const int64_t kind = test_randomRange(random, 0, test_maskKinds - 1);
    test_random values = test_branch(random);
    test_fill(mask->pixels.get(), test_randomMask(&values, static_cast<int32_t>(rect.width),
                                                  static_cast<int32_t>(rect.height), kind));
}

test_call test_randomCall(test_random* random, const test_export& what)
{
    const test_family family = what.family;
    test_call made;
    made.what = &what;
    made.params = randomParams(random, family);
    made.peak = test_chance(random, 10);
    made.validOnly = test_chance(random, 20);
    made.passesX = test_randomInt(random, 0, 7);
    made.passesY = test_randomInt(random, 0, 7);
    made.hasPrototype = true;
    made.isDeep = test_chance(random, 50);
    made.hasRegion = test_chance(random, 40);
    made.transform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};
    made.isBent = test_chance(random, 20);

    auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    // Most are small, so that many run in a second.
    int64_t height = test_randomRange(random, 1, test_pick(random, std::array{20, 20, 20, 90, 90, 300}));
    if (test_chance(random, 10)) // of several polls on all paths
        height = test_randomRange(random, 257, 300);
    int64_t top = test_randomRange(random, -40, 40);
    top += test_pick(random, std::array{0, 900});
    const oracle_rect source = {test_randomRange(random, -40, 40), top,
                                test_randomRange(random, 1, test_pick(random, std::array{9, 30, 30, 120})),
                                height};
    made.region = {static_cast<int32_t>(source.x), static_cast<int32_t>(source.y), 40, 70};
    src.place(random, source, what.srcSize);
    test_random pixels = test_branch(random);
    if (family == test_family::resultMask)
        test_placeMask(random, &src, source);
    else
        test_fillAnyPixels(&pixels, src.pixels.get());
    // Draws are statements of their own: the order of arguments is the compiler's choice.
    if (what.windows || test_chance(random, 50)) {
        const oracle_rect rect = randomDestination(random, fullDestination(made));
        const int32_t dstSize = what.dstSize ? what.dstSize : test_randomInt(random, 1, 2);
        dst.place(random, rect, dstSize);
    }
    if (family == test_family::resultMask || family == test_family::boxes) {
        if (test_chance(random, 20))
            made.inPlace = test_grid(src.pixels->view());
    }
    if (family == test_family::masked || family == test_family::resultMask ||
        (what.half && what.half->masked)) {
        if (what.half || test_chance(random, 90))
            test_placeMask(random, &srcMask, source);
        if (test_chance(random, 40))
            test_placeMask(random, &resetMask, source);
        dstMask.isGiven = test_chance(random, 70);
        if (dstMask.isGiven && dst.pixels)
            dstMask.place(random, dst.rect, 1);
    }
    return made;
}

void test_spoil(test_random* random, test_call* made)
{
    // What follows the last byte of a fuzzer spoils nothing.
    const auto chance = [&](int percent) {
        return test_randomRange(random, 0, 99) >= 100 - percent;
    };
    const auto extreme = [&] {
        using ends = std::numeric_limits<int32_t>;
        const int32_t near = test_randomInt(random, -9, 9);
        return test_pick(random,
                         std::array{near, near, ends::max() - std::abs(near), ends::min() + std::abs(near),
                                    test_randomInt(random, ends::min(), ends::max())});
    };
    qip_gaussParams& p = made->params;
    for (int32_t* number : {&p.kernelSizeX, &p.kernelSizeY}) {
        if (chance(10))
            *number = test_randomInt(random, 0, 66);
        if (chance(2))
            *number = extreme();
    }
    for (int32_t* number : {&p.sampleX, &p.sampleY, &p.round})
        if (chance(2))
            *number = extreme();
    for (double* number : {&p.gain, &p.maskParams.threshold, &made->transform.m01, &made->transform.ty})
        if (chance(2))
            *number = std::bit_cast<double>(test_randomBits(random));
    if (chance(20))
        p.gain = std::exp2(test_randomInt(random, -20, 40));
    if (chance(20))
        p.gain = test_randomInt(random, 1, 4096) / 256.0;
    if (chance(2))
        made->transform = {};
    for (uint32_t* mode : {&p.maskParams.mode, &p.maskParams.resultMode})
        if (chance(1))
            *mode = static_cast<uint32_t>(extreme());
    for (int32_t* number : {&made->passesX, &made->passesY})
        if (chance(5))
            *number = test_randomInt(random, -2, 9);
    if (chance(10))
        for (int32_t* number : {&made->region.x, &made->region.y})
            *number = extreme();
    made->hasPrototype = chance(95);
    for (test_argument& each : made->planes) {
        if (chance(3))
            each.isGiven = false;
        if (chance(3)) { // the other depth, or the other place
            const oracle_rect rect = {test_randomInt(random, -70, 70), each.rect.y, 30, 40};
            const int32_t pixelSize = test_randomInt(random, 1, 2);
            each.place(random, rect, pixelSize);
            if (made->inPlace && &each == &made->planes[test_src])
                made->inPlace = test_grid(each.pixels->view());
        }
        if (chance(5) && each.pixels)
            each.rect.x = test_pick(random, std::array{std::numeric_limits<int32_t>::min(),
                                                       std::numeric_limits<int32_t>::max() - 300});
        if (chance(3))
            each.odd = qimg_window{extreme(),  std::min(extreme(), 9),       extreme(), nullptr,
                                   chance(80), test_randomInt(random, 0, 3), extreme(), extreme()};
    }
}

// ---- running ----

namespace
{

void add(std::vector<uint64_t>* seen, std::initializer_list<double> numbers)
{
    for (const double each : numbers)
        seen->push_back(std::bit_cast<uint64_t>(each));
}

// A linear transform of either precision.
template <class Linear>
void addLinear(std::vector<uint64_t>* seen, const Linear& x)
{
    add(seen, {x.m00, x.m01, x.m10, x.m11, x.tx, x.ty});
}

void add(std::vector<uint64_t>* seen, const oracle_rect& r)
{
    for (const int64_t number : {r.x, r.y, r.width, r.height})
        seen->push_back(static_cast<uint64_t>(number));
}

test_seenPlane seenOf(const test_image& image)
{
    test_seenPlane seen;
    seen.isBound = image.isBound();
    seen.rect = image.rect();
    if (seen.isBound) {
        seen.pixelSize = image.view().pixelSize;
        seen.pixels = test_grid(image.view()).values;
    }
    for (size_t i = 0; i < 4; i += 2) {
        qmath_point point = {seen.client[i], seen.client[i + 1]};
        EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&image.record.clientFromImage, &point), 0);
        seen.client[i] = point.x;
        seen.client[i + 1] = point.y;
    }
    return seen;
}

// An image and windows over what is given, or the odd record.
struct plane : test_plane {
    const bool isGiven;

    explicit plane(const test_argument& made)
        : test_plane(made.odd ? nullptr : made.pixels.get(), made.rect), isGiven(made.isGiven)
    {
        if (!made.odd)
            return;
        window = *made.odd;
        windowConst = qimg_window_asConst(&window);
        qstd_rect32 rect = {window.x, window.y, window.width, window.height};
        if (window.firstPixel) // or stays unbound
            qimg_image_constructMemory(&image.record, window.pixelSize, &rect, window.stride,
                                       window.firstPixel, nullptr, nullptr);
        rect.width = std::min(rect.width, 0);
        if (window.bound && !window.firstPixel)
            qimg_image_assignNewRect(&image.record, window.pixelSize, &rect);
    }
    qimg_image* orNull()
    {
        return isGiven ? &image.record : nullptr;
    }
    const qimg_windowConst* sourceOrNull() const
    {
        return isGiven ? &windowConst : nullptr;
    }
    const qimg_window* windowOrNull() const
    {
        return isGiven ? &window : nullptr;
    }
};

qsVImage legacyOf(const test_argument& made)
{
    qsVImage image = made.legacy();
    if (made.odd) {
        image.firstPixel = nullptr;
        image.region = {made.odd->x, made.odd->y, made.odd->width, made.odd->height};
    }
    return image;
}

qsFXform clientCoordsOf(const qmath_xformLinear& clientFromImage)
{
    qmath_xformLinear t = {};
    qmath_xformLinear_getInverse(&clientFromImage, &t);
    const auto number = [](double each) {
        return static_cast<float>(each);
    };
    return {number(t.m00), number(t.m01), number(t.m10), number(t.m11), number(t.tx), number(t.ty)};
}

// qip_gauss itself, and qfGauss. They get a destination, or make one.
void callLegacy(const test_call& made, test_outcome* seen)
{
    const test_argument& dst = made.planes[test_dst];
    qsVImage src = legacyOf(made.planes[test_src]);
    src.clientCoords = clientCoordsOf(made.transform);
    src.clientZScale = 1.5F;
    qsVImage to = legacyOf(dst);
    qsVImage* const given = made.inPlace ? &src : dst.pixels && dst.isGiven ? &to : nullptr;
    const qip_gaussParams& p = made.params;
    const qsVImage* const prototype = made.isDeep ? qsUSImageNull : qsImageNull;
    const qsGaussParams params = {p.sampleX,
                                  p.sampleY,
                                  p.kernelSizeX,
                                  p.kernelSizeY,
                                  made.peak,
                                  !made.validOnly,
                                  p.round,
                                  static_cast<float>(p.gain),
                                  made.hasPrototype ? prototype : nullptr,
                                  0};
    qsIRegion region = made.region;
    qsIRegion* const wanted = made.hasRegion ? &region : nullptr;
    qsVImage untouched = {};
    qsVImage* written = &untouched;
    if (made.what->family == test_family::boxes) {
        written = qfGauss(&src, given, made.passesX - 1, p.kernelSizeX, p.kernelSizeY, made.peak, wanted);
        seen->status = written ? QIP_OK : QSYS_E_ARGUMENT;
    } else {
        seen->status = qip_gauss(&src, given, &params, wanted, &written);
    }
    seen->region = oracle_rectOf(region);
    if (seen->status >= 0)
        add(&seen->places, seen->region);
    seen->setsResult = written != &untouched;
    if (!written || !seen->setsResult)
        return;
    EXPECT_TRUE(!given || written == given);
    const qsFXform& c = written->clientCoords;
    const qmath_xformLinear fromClient = {c.m00, c.m01, c.m10, c.m11, c.tx, c.ty};
    qmath_xformLinear_getInverse(&fromClient, &seen->transform);
    seen->zScale = written->clientZScale;
    seen->dst.isBound = true;
    seen->dst.rect = oracle_rectOf(written->region);
    seen->dst.pixelSize = written->type == QS_IMAGE_TYPE_8 ? 1 : 2;
    if (!seen->dst.rect.isNull())
        seen->dst.pixels = test_grid(test_legacyView(written)).values;
    addLinear(&seen->places, c);
    add(&seen->places, seen->dst.rect);
    add(&seen->places, {written->clientZScale});
    if (written != given)
        qsImageFree(written);
}

qip_status callImages(const test_call& made, plane (&planes)[test_places], qmath_xformLinear* dstTransform)
{
    auto& [src, srcMask, resetMask, dst, dstMask] = planes;
    const qip_gaussParams& p = made.params;
    if (made.what->half)
        return made.what->half->call({src.orNull(), srcMask.orNull(), dst.orNull(), dstMask.orNull(),
                                      src.sourceOrNull(), srcMask.sourceOrNull(), dst.windowOrNull(),
                                      dstMask.windowOrNull(), made.hasRegion ? nullptr : &made.transform,
                                      dstTransform, made.passesX, made.passesY});
    if (made.what->masked)
        return made.what->masked->call({&p, src.orNull(), srcMask.orNull(), resetMask.orNull(),
                                        dst.orNull(), dstMask.orNull(), src.sourceOrNull(),
                                        srcMask.sourceOrNull(), resetMask.sourceOrNull(),
                                        dst.windowOrNull(), dstMask.windowOrNull()});
    const bool isWide = made.what->dstSize == 2;
    if (made.what->windows)
        return (isWide ? qip_gauss_smoothWindow8_16 : qip_gauss_smoothWindow8_8)(src.sourceOrNull(),
                                                                                 dst.windowOrNull(), &p);
    if (made.what->family == test_family::gauss)
        return (isWide ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8)(src.orNull(), dst.orNull(), &p);
    const int32_t kernel[] = {p.kernelSizeX, p.kernelSizeY};
    const int32_t sample[] = {p.sampleX, p.sampleY};
    return qip_filterMask_computeResultMask_(src.orNull(), srcMask.orNull(), kernel, sample,
                                             p.maskParams.threshold,
                                             made.inPlace ? src.orNull() : dst.orNull());
}

using bytes = std::vector<unsigned char>;

// All rows.
bytes bytesOf(const test_placed& made)
{
    bytes all;
    const test_view view = made.pixels ? made.pixels->view() : test_view{};
    for (int32_t y = 0; y < view.height; ++y)
        all.insert(all.end(), made.pixels->row(y), made.pixels->row(y) + view.width * view.pixelSize);
    return all;
}

bool isUntouched(const test_placed& made)
{
    const bytes all = bytesOf(made);
    return all == bytes(all.size(), test_canary);
}

} // namespace

bool test_hasPixels(const test_call& made, test_place place)
{
    const plane given(made.planes[place]);
    int isNull = 0;
    if (made.what->windows && qimg_windowConst_getIsNull(&given.windowConst, &isNull) < 0)
        isNull = 1;
    return given.isGiven && (made.what->windows ? isNull == 0 : given.image.isBound());
}

test_outcome test_run(const test_call& made, bool inhibitsAll, const std::function<void()>& start)
{
    const test_argument& written = made.planes[test_dst];
    const test_argument& writtenMask = made.planes[test_dstMask];
    for (const test_placed* each : {&written, &writtenMask})
        for (int64_t y = 0; each->pixels && y < each->rect.height; ++y)
            std::memset(each->pixels->row(y), test_canary,
                        static_cast<size_t>(each->rect.width * each->pixels->view().pixelSize));
    if (made.inPlace)
        test_fill(made.planes[test_src].pixels.get(), *made.inPlace);
    std::optional<test_inhibition> inhibition;
    if (inhibitsAll)
        inhibition.emplace("*");
    std::vector<bytes> before;
    for (const test_argument& each : made.planes)
        before.push_back(bytesOf(each));
    test_outcome seen;
    if (made.what->dstSize == 0 || made.what->family == test_family::boxes) {
        start();
        callLegacy(made, &seen);
    } else {
        plane planes[] = {plane(made.planes[0]), plane(made.planes[1]), plane(made.planes[2]),
                          plane(written), plane(writtenMask)};
        test_handle handle;
        EXPECT_EQ(made.isBent ? test_constructBent(&handle)
                              : qmath_xformPtrhConst_constructLinear(&handle, &made.transform),
                  0);
        qimg_image_setClientFromImageXform(&planes[test_src].image.record,
                                           &handle); // unless it is singular
        qmath_xformLinear transform = {};
        start();
        seen.status = callImages(made, planes, &transform);
        seen.hasTransform = transform.m00 != 0.0;
        addLinear(&seen.places, transform);
        for (const int i : {test_dst, test_dstMask}) {
            const test_image& image =
                made.inPlace && i == test_dst ? planes[test_src].image : planes[i].image;
            test_seenPlane& plane = i == test_dst ? seen.dst : seen.mask;
            plane = seenOf(image);
            add(&seen.places, plane.rect);
            for (const double each : plane.client)
                add(&seen.places, {each});
            seen.hasTransform |= !made.inPlace && plane.client != test_seenPlane().client;
        }
        seen.transform = made.what->windows ? transform
                         : made.isBent      ? qmath_xformLinear{}
                                            : test_clientFromImage(&planes[test_dst].image.record);
    }
    seen.hasWritten = !isUntouched(written) || !isUntouched(writtenMask);
    for (size_t i = 0; i < test_places; ++i) {
        const test_argument& each = made.planes[i];
        EXPECT_TRUE(!each.pixels || test_undamaged(*each.pixels));
        EXPECT_TRUE(i >= test_dst || made.inPlace || bytesOf(each) == before[i]) << "a source has changed";
    }
    return seen;
}

void test_expectPlane(const test_placed& made, const test_seenPlane& seen, bool binds,
                      const oracle_rect& bindTo, const oracle_values& values)
{
    const oracle_rect wanted = made.pixels ? made.rect : bindTo;
    ASSERT_EQ(seen.isBound, made.pixels || binds);
    if (!seen.isBound)
        return;
    EXPECT_TRUE(test_sameRect(wanted, seen.rect));
    EXPECT_TRUE(seen.rect.width == wanted.width && seen.rect.height == wanted.height); // of no pixels too
    if (wanted.isNull() || testing::Test::HasFailure())
        return;
    test_grid actual(static_cast<int32_t>(wanted.width), static_cast<int32_t>(wanted.height));
    actual.values = seen.pixels;
    const test_grid expected = test_expected(
        wanted, made.pixels ? test_canaryPixel(seen.pixelSize) : uint16_t{0}, values, seen.pixelSize);
    EXPECT_TRUE(test_samePixels(expected, actual.view()));
}

void test_expectCentres(const test_call& made, const test_outcome& seen, const oracle_rect& rect,
                        double tolerance)
{
    const auto map = [](const qmath_xformLinear& l, const qmath_point& p) {
        return qmath_point{l.m00 * p.x + l.m01 * p.y + l.tx, l.m10 * p.x + l.m11 * p.y + l.ty};
    };
    qmath_xformLinear back = {};
    ASSERT_EQ(qmath_xformLinear_getInverse(&seen.transform, &back), 0);
    const qip_gaussParams& p = made.params;
    for (const int64_t x : {rect.x, rect.x + rect.width - 1})
        for (const int64_t y : {rect.y, rect.y + rect.height - 1}) {
            const qmath_point middle = {oracle_supportCentre(x, p.sampleX, p.kernelSizeX),
                                        oracle_supportCentre(y, p.sampleY, p.kernelSizeY)};
            const qmath_point point = map(back, map(made.transform, middle));
            EXPECT_NEAR(point.x, static_cast<double>(x) + 0.5, tolerance);
            EXPECT_NEAR(point.y, static_cast<double>(y) + 0.5, tolerance);
        }
}
