// qip/image.hpp - pixels in C++17: views of what somebody else keeps, and images that clean up after themselves.
#ifndef QIP_IMAGE_HPP
#define QIP_IMAGE_HPP

#include <qip/error.hpp>

#include <qbase/image.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

namespace qip
{

using rect = qstd_rect32;
struct point {
    std::int32_t x = 0, y = 0;
};

// Pixels that somebody else keeps: T is std::uint8_t or std::uint16_t, const or not. `stride` is the distance of
// the rows in bytes, 0 for rows without a gap; `origin` the place of the first pixel in its picture.
template <class T>
struct view {
    static_assert(std::is_same_v<std::remove_const_t<T>, std::uint8_t> ||
                  std::is_same_v<std::remove_const_t<T>, std::uint16_t>);

    view() = default; // stands for a mask that is left out
    view(T* first, std::int32_t columns, std::int32_t rows, std::ptrdiff_t row_stride = 0,
         std::optional<point> place = {})
        : data(first), width(columns), height(rows),
          stride(row_stride != 0 ? row_stride : columns * std::ptrdiff_t{sizeof(T)}), origin(place)
    {
    }
    // Over all that has data() and size(), vectors and spans for example; it must hold the rows (QSYS_E_RANGE).
    template <class C,
              class = std::enable_if_t<std::is_convertible_v<decltype(std::declval<C&>().data()), T*>>>
    view(C&& pixels, std::int32_t columns, std::int32_t rows, std::ptrdiff_t row_stride = 0,
         std::optional<point> place = {})
        : view(pixels.data(), columns, rows, row_stride, place)
    {
        const auto held = std::ptrdiff_t(pixels.size() * sizeof(T)),
                   row = columns * std::ptrdiff_t{sizeof(T)};
        if (columns > 0 && rows > 0 && (held < row || stride < row || (held - row) / stride < rows - 1))
            throw error("view", QSYS_E_RANGE);
    }
    template <class U, class = std::enable_if_t<std::is_same_v<const U, T>>>
    view(const view<U>& other) : view(other.data, other.width, other.height, other.stride, other.origin)
    {
    }
    T* row(std::int32_t y) const { return data + y * stride / std::ptrdiff_t{sizeof(T)}; } // from 0 on

    T* data = nullptr;
    std::int32_t width = 0, height = 0;
    std::ptrdiff_t stride = 0;
    std::optional<point> origin;
};
template <class C, class... Rest>
view(C&&, Rest...) -> view<std::remove_pointer_t<decltype(std::declval<C&>().data())>>;

// An image of the library. It keeps its pixels as long as it lives, save those of a view, which are the caller's.
class image
{
public:
    image() = default; // without pixels
    // Over a view. `release`, where given, is called once, when the last image over these pixels has gone; not when
    // this throws, nor for a view without data.
    template <class T>
    image(const view<T>& pixels, qimg_releaseFunction release = nullptr, void* context = nullptr)
        : is_const_(std::is_const_v<T>), is_placed_(pixels.origin.has_value())
    {
        const point at = pixels.origin.value_or(point{});
        const rect place = {at.x, at.y, pixels.width, pixels.height};
        const auto stride = static_cast<std::int32_t>(pixels.stride);
        if (pixels.data)
            attention::check(
                "image", stride != pixels.stride
                             ? QSYS_E_RANGE
                             : qimg_image_constructMemory(&image_, sizeof(T), &place, stride,
                                                          const_cast<std::remove_const_t<T>*>(pixels.data),
                                                          release, context));
    }
    image(image&& other) noexcept { swap(other); }
    image& operator=(image&& other) noexcept { return image(std::move(other)).swap(*this), *this; }
    ~image() { qimg_image_destruct(&image_); }

    explicit operator bool() const noexcept { return image_.buffer != nullptr; }
    const rect& rectangle() const noexcept { return image_.rect; }
    std::int32_t width() const noexcept { return image_.rect.width; }
    std::int32_t height() const noexcept { return image_.rect.height; }
    std::int32_t pixel_size() const noexcept { return image_.pixelSize; } // bytes; 0 without pixels
    // QIMG_E_UNBOUND without pixels, QIMG_E_PIXEL_SIZE when T is another depth, QSYS_E_ARGUMENT when T is not const
    // and the view was.
    template <class T>
    view<T> pixels() const&
    {
        if (image_.pixelSize != sizeof(T))
            throw error("pixels", *this ? QIMG_E_PIXEL_SIZE : QIMG_E_UNBOUND);
        if (is_const_ && !std::is_const_v<T>)
            throw error("pixels", QSYS_E_ARGUMENT);
        return {static_cast<T*>(image_.firstPixel), width(), height(), image_.stride,
                point{image_.rect.x, image_.rect.y}};
    }
    template <class T>
    view<T> pixels() && = delete;
    qimg_image* handle() noexcept { return &image_; } // for the C interface: transforms and more
    const qimg_image* handle() const noexcept { return &image_; }

    // As the destination of a call whose source yields these pixels.
    void place_in(const char* where, const rect& yields)
    {
        if (!*this)
            return;
        if (is_const_)
            throw error(where, QSYS_E_ARGUMENT);
        if (!is_placed_)
            attention::check(where, qimg_image_setOrigin(&image_, yields.x, yields.y));
        rect common = image_.rect;
        int same = 0;
        qstd_rect32_intersect(&common, &yields);
        qstd_rect32_compareEqual(&common, &image_.rect, &same);
        attention::check(where, same ? QSYS_OK : QIMG_E_OUTSIDE);
    }

private:
    void swap(image& other) noexcept
    {
        std::swap(image_, other.image_);
        std::swap(is_const_, other.is_const_);
        std::swap(is_placed_, other.is_placed_);
    }

    qimg_image image_ = QIMG_IMAGE_UNBOUND;
    bool is_const_ = false, is_placed_ = true;
};

namespace detail
{

// Puts the destinations where the result is. The library makes both or none, so that one alone is made here.
class destinations
{
public:
    destinations(const char* where, const rect& yields, std::int32_t pixel_size, image& dst, image* result)
        : result_(result)
    {
        dst.place_in(where, yields);
        if (!result)
            return;
        result->place_in(where, dst ? dst.rectangle() : yields);
        // Half resolution and the binomial filter would mix the two without a word.
        if (*result && dst && result->handle()->firstPixel == dst.handle()->firstPixel)
            throw error(where, QIP_E_SAME_MEMORY);
        if (!*result != !dst) {
            const rect place = dst ? dst.rectangle() : result->rectangle();
            attention::check(where, qimg_image_assignNewRect((dst ? made_ : dst).handle(),
                                                             dst ? 1 : pixel_size, &place));
        }
    }
    qimg_image* mask() { return !result_ ? nullptr : (*result_ ? *result_ : made_).handle(); }
    void keep() // after the call has succeeded
    {
        if (result_ && !*result_)
            *result_ = std::move(made_);
    }

private:
    image* result_;
    image made_;
};

} // namespace detail

} // namespace qip

#endif
