// Images: a counted reference to a pixel buffer, a rectangle, and two transforms that are each other's
// inverse. Whatever can fail is done on new objects first; the image changes only when all of it worked.
#include "base/pixel_memory.h"
#include "base/rect_arithmetic.h"
#include "base/refcount.h"

#include <qbase/image.h>
#include <qbase/memory.h>

#include <algorithm>
#include <new>

// What images over the same pixels share. Pixels made here follow the record in the same block of memory.
struct qimg_buffer {
    base_refcount count;
    qimg_releaseFunction release; // null for pixels made here
    void* context;
    void* firstPixel;
};

namespace
{

// The space of the record before pixels made here, which keeps them aligned.
constexpr int64_t headerSize = base_rowAlignment;
static_assert(sizeof(qimg_buffer) <= headerSize);

void dropBuffer(qimg_buffer* buffer)
{
    if (!buffer || !base_refcount_releaseIsLast(&buffer->count))
        return;
    if (buffer->release)
        buffer->release(buffer->context, buffer->firstPixel);
    void* block = buffer;
    qsys_memory_free_internal(&block);
}

// Everything of an image but its transforms.
struct pixelBinding {
    qimg_buffer* buffer;
    void* firstPixel;
    qstd_rect32 rect;
    int32_t stride;
    int32_t pixelSize;
};

// Lets go of the image's buffer. The image takes over the reference to a buffer that `next` holds.
void bind(qimg_image* image, const pixelBinding& next)
{
    dropBuffer(image->buffer);
    image->buffer = next.buffer;
    image->firstPixel = next.firstPixel;
    image->rect = next.rect;
    image->stride = next.stride;
    image->pixelSize = next.pixelSize;
}

qsys_status makePixels(int32_t pixelSize, const qstd_rect32& rect, pixelBinding* made)
{
    if (pixelSize != 1 && pixelSize != 2)
        return QSYS_E_ARGUMENT;
    base_pixelLayout layout;
    if (rect.width < 0 || rect.height < 0 || !base_rect64_fits(base_rect64_of(rect)) ||
        !base_pixelLayout_init(&layout, pixelSize, rect.width, rect.height))
        return QSYS_E_RANGE;
    void* block = nullptr;
    if (const qsys_status status = qsys_memory_allocClear_internal(headerSize + layout.size, &block);
        status < 0)
        return status;
    void* const firstPixel = static_cast<char*>(block) + headerSize;
    auto* const buffer = new (block) qimg_buffer{{}, nullptr, nullptr, firstPixel};
    *made = {buffer, firstPixel, rect, layout.stride, pixelSize};
    return QSYS_OK;
}

qsys_status constructPixels(qimg_image* image, int32_t pixelSize, const qstd_rect32* rect)
{
    if (!image)
        return QSYS_E_ARGUMENT;
    const qstd_rect32 wanted = rect ? *rect : qstd_rect32{};
    *image = QIMG_IMAGE_UNBOUND;
    pixelBinding made;
    const qsys_status status = rect ? makePixels(pixelSize, wanted, &made) : QSYS_E_ARGUMENT;
    if (status >= 0)
        bind(image, made);
    return status;
}

qsys_status constructSize(qimg_image* image, int32_t pixelSize, int32_t width, int32_t height)
{
    const qstd_rect32 rect = {0, 0, width, height};
    return constructPixels(image, pixelSize, &rect);
}

// Sets `*forward` to a transform and `*backward` to its inverse. `xform` may be either of them.
qsys_status setXforms(qmath_xformPtrhConst* forward, qmath_xformPtrhConst* backward,
                      const qmath_xformPtrhConst* xform)
{
    qmath_xformPtrhConst inverse{};
    if (const qsys_status status = qmath_xformPtrhConst_assignInverse(&inverse, xform); status < 0)
        return status;
    qmath_xformPtrhConst_assign(forward, xform);
    qmath_xformPtrhConst_assign(backward, &inverse);
    qmath_xformPtrhConst_destruct(&inverse);
    return QSYS_OK;
}

} // namespace

// ---- making and releasing ----

qsys_status qimg_image_constructUnbound(qimg_image* image)
{
    if (!image)
        return QSYS_E_ARGUMENT;
    *image = QIMG_IMAGE_UNBOUND;
    return QSYS_OK;
}

qsys_status qimg_image8_construct(qimg_image8* image, int32_t width, int32_t height)
{
    return constructSize(image, 1, width, height);
}

qsys_status qimg_image16_construct(qimg_image16* image, int32_t width, int32_t height)
{
    return constructSize(image, 2, width, height);
}

qsys_status qimg_image_constructUntyped(qimg_image* image, int32_t pixelSize, int32_t width, int32_t height)
{
    return constructSize(image, pixelSize, width, height);
}

qsys_status qimg_image8_constructRect(qimg_image8* image, const qstd_rect32* rect)
{
    return constructPixels(image, 1, rect);
}

qsys_status qimg_image_constructRectUntyped(qimg_image* image, int32_t pixelSize, const qstd_rect32* rect)
{
    return constructPixels(image, pixelSize, rect);
}

qsys_status qimg_image_constructMemory(qimg_image* image, int32_t pixelSize, const qstd_rect32* rect,
                                       int32_t stride, void* firstPixel, qimg_releaseFunction release,
                                       void* context)
{
    if (!image)
        return QSYS_E_ARGUMENT;
    qimg_window window;
    qsys_status status = qimg_window_initMemory(&window, pixelSize, rect, stride, firstPixel);
    *image = QIMG_IMAGE_UNBOUND;
    void* block = nullptr;
    if (status >= 0)
        status = qsys_memory_alloc_internal(sizeof(qimg_buffer), &block);
    if (status < 0)
        return status;
    auto* const buffer = new (block) qimg_buffer{{}, release, context, firstPixel};
    const qstd_rect32 covered = {window.x, window.y, window.width, window.height};
    bind(image, {buffer, firstPixel, covered, stride, pixelSize});
    return QSYS_OK;
}

qsys_status qimg_image_destruct(qimg_image* image)
{
    if (!image)
        return QSYS_OK;
    bind(image, {});
    qmath_xformPtrhConst_destruct(&image->imageFromClient);
    qmath_xformPtrhConst_destruct(&image->clientFromImage);
    return QSYS_OK;
}

// ---- binding ----

qsys_status qimg_image_assignNewRect(qimg_image* image, int32_t pixelSize, const qstd_rect32* rect)
{
    if (!image || !rect)
        return QSYS_E_ARGUMENT;
    const qstd_rect32 wanted = {rect->x, rect->y, std::max(rect->width, 0), std::max(rect->height, 0)};
    pixelBinding made;
    const qsys_status status = makePixels(pixelSize, wanted, &made);
    if (status >= 0)
        bind(image, made);
    return status;
}

qsys_status qimg_image8_assignNewRect(qimg_image8* image, const qstd_rect32* rect)
{
    return qimg_image_assignNewRect(image, 1, rect);
}

qsys_status qimg_image16_assignNewRect(qimg_image16* image, const qstd_rect32* rect)
{
    return qimg_image_assignNewRect(image, 2, rect);
}

qsys_status qimg_image_assign(qimg_image* dst, const qimg_image* src)
{
    if (!dst || !src)
        return QSYS_E_ARGUMENT;
    if (src->buffer)
        base_refcount_retain(&src->buffer->count);
    bind(dst, {src->buffer, src->firstPixel, src->rect, src->stride, src->pixelSize});
    return QSYS_OK;
}

qsys_status qimg_image_setOrigin(qimg_image* image, int32_t x, int32_t y)
{
    if (!image)
        return QSYS_E_ARGUMENT;
    if (!image->buffer)
        return QIMG_E_UNBOUND;
    return qstd_rect32_init(&image->rect, x, y, image->rect.width, image->rect.height);
}

// ---- asking ----

qsys_status qimg_imageConst_getIsBound(const qimg_image* image, int* isBound)
{
    if (!image || !isBound)
        return QSYS_E_ARGUMENT;
    *isBound = image->buffer != nullptr;
    return QSYS_OK;
}

qsys_status qimg_image_getIsBound(const qimg_image* image, int* isBound)
{
    return qimg_imageConst_getIsBound(image, isBound);
}

qsys_status qimg_imageConst_getWindow(const qimg_image* image, qstd_rect32* rect)
{
    if (!image || !rect)
        return QSYS_E_ARGUMENT;
    *rect = image->buffer ? image->rect : qstd_rect32{};
    return QSYS_OK;
}

qsys_status qimg_image_getWindow(const qimg_image* image, qstd_rect32* rect)
{
    return qimg_imageConst_getWindow(image, rect);
}

qsys_status qimg_image8Const_getWindow(const qimg_image8* image, qstd_rect32* rect)
{
    return qimg_imageConst_getWindow(image, rect);
}

// ---- transforms ----

qsys_status qimg_imageConst_getImageFromClientXform(const qimg_image* image, qmath_xformPtrhConst* xform)
{
    return image ? qmath_xformPtrhConst_assign(xform, &image->imageFromClient) : QSYS_E_ARGUMENT;
}

qsys_status qimg_imageConst_getClientFromImageXform(const qimg_image* image, qmath_xformPtrhConst* xform)
{
    return image ? qmath_xformPtrhConst_assign(xform, &image->clientFromImage) : QSYS_E_ARGUMENT;
}

qsys_status qimg_image_setImageFromClientXform(qimg_image* image, const qmath_xformPtrhConst* xform)
{
    if (!image || !xform)
        return QSYS_E_ARGUMENT;
    return setXforms(&image->imageFromClient, &image->clientFromImage, xform);
}

qsys_status qimg_image_setClientFromImageXform(qimg_image* image, const qmath_xformPtrhConst* xform)
{
    if (!image || !xform)
        return QSYS_E_ARGUMENT;
    return setXforms(&image->clientFromImage, &image->imageFromClient, xform);
}

qsys_status qimg_image_setLinearImageFromClientXform(qimg_image* image, const qmath_xformLinear* xform)
{
    if (!image)
        return QSYS_E_ARGUMENT;
    qmath_xformPtrhConst handle;
    qsys_status status = qmath_xformPtrhConst_constructLinear(&handle, xform);
    if (status >= 0)
        status = qimg_image_setImageFromClientXform(image, &handle);
    qmath_xformPtrhConst_destruct(&handle);
    return status;
}

qsys_status qimg_image_copyXforms(qimg_image* dst, const qimg_image* src)
{
    if (!dst || !src)
        return QSYS_E_ARGUMENT;
    qmath_xformPtrhConst_assign(&dst->imageFromClient, &src->imageFromClient);
    return qmath_xformPtrhConst_assign(&dst->clientFromImage, &src->clientFromImage);
}
