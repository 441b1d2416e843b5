// Legacy images. Every image is a record of its own block; its pixels are a second block when the image
// owns them, and somebody else's when it is a view.
#include "base/pixel_memory.h"
#include "base/rect_arithmetic.h"

#include <qbase/legacy_image.h>
#include <qbase/memory.h>

#include <algorithm>
#include <new>

namespace
{

constexpr qsFXform identity = {1, 0, 0, 1, 0, 0};
constexpr qsVImage nullImage8 = {QS_IMAGE_TYPE_8, 0, {}, nullptr, identity, 1.0f, nullptr};
constexpr qsVImage nullImage16 = {QS_IMAGE_TYPE_16, 0, {}, nullptr, identity, 1.0f, nullptr};

// 0 for a type that does not exist.
int32_t pixelSizeOf(int32_t type)
{
    if (type == QS_IMAGE_TYPE_8)
        return 1;
    return type == QS_IMAGE_TYPE_16 ? 2 : 0;
}

// The null images stand in constant memory.
bool isWritable(const qsVImage* image)
{
    return image && image != &nullImage8 && image != &nullImage16;
}

bool hasPixels(const qsVImage& image)
{
    return image.firstPixel && !base_rect64_isNull(base_rect64_of(image.region));
}

void* pixelAddress(const qsVImage& image, int64_t x, int64_t y)
{
    return base_pixelAddress(image.firstPixel, image.rowStride, pixelSizeOf(image.type), x - image.region.x,
                             y - image.region.y);
}

qsys_status makeImage(const qsVImage& image, qsVImage** out)
{
    void* block = nullptr;
    if (const qsys_status status = qsys_memory_alloc_internal(sizeof(qsVImage), &block); status < 0)
        return status;
    *out = new (block) qsVImage(image);
    return QSYS_OK;
}

// Takes the pixels of an image that has its type and a region without negative sizes.
qsys_status makePixels(qsVImage* image)
{
    base_pixelLayout layout;
    const qsIRegion& region = image->region;
    if (!base_rect64_fits(base_rect64_of(region)) ||
        !base_pixelLayout_init(&layout, pixelSizeOf(image->type), region.width, region.height))
        return QSYS_E_RANGE;
    if (layout.size == 0)
        return QSYS_OK;
    image->rowStride = layout.stride;
    const qsys_status status = qsys_memory_allocClear_internal(layout.size, &image->memory);
    image->firstPixel = image->memory;
    return status;
}

qsys_status viewWindow(const qimg_windowConst& window, int32_t type, const qsFXform& clientCoords,
                       qsVImage** out)
{
    if (!window.bound)
        return QIMG_E_UNBOUND;
    if (window.pixelSize != pixelSizeOf(type))
        return QIMG_E_PIXEL_SIZE;
    if (base_lacksMemory(window))
        return QIMG_E_UNBOUND;
    const bool hasPixels = window.width > 0 && window.height > 0;
    if (hasPixels && !qimg_pixels_areAligned(window.pixelSize, window.firstPixel, window.stride))
        return QIMG_E_ALIGNMENT;
    return makeImage({type,
                      window.stride,
                      {window.x, window.y, window.width, window.height},
                      const_cast<void*>(window.firstPixel),
                      clientCoords,
                      1.0f,
                      nullptr},
                     out);
}

qsys_status viewOfWindow(const qimg_windowConst* window, int32_t type, qsVImage** out)
{
    if (out)
        *out = nullptr;
    return window && out ? viewWindow(*window, type, identity, out) : QSYS_E_ARGUMENT;
}

// A non-linear transform does not fit the record, and need not even be defined anywhere near the image; the
// view gets the identity then.
qsFXform clientCoordsOf(const qimg_image& image)
{
    int isLinear = 0;
    qmath_xformLinear linear;
    qmath_xformPtrhConst_getIsLinear(&image.imageFromClient, &isLinear);
    if (!isLinear)
        return identity;
    qmath_xformPtrhConst_getLinear(&image.imageFromClient, nullptr, &linear);
    return {static_cast<float>(linear.m00), static_cast<float>(linear.m01), static_cast<float>(linear.m10),
            static_cast<float>(linear.m11), static_cast<float>(linear.tx),  static_cast<float>(linear.ty)};
}

qsys_status viewOfImage(const qimg_image* image, int32_t type, qsVImage** out)
{
    if (out)
        *out = nullptr;
    if (!image || !out)
        return QSYS_E_ARGUMENT;
    qimg_windowConst window;
    qimg_windowConst_init(&window, image);
    if (!window.bound)
        return QIMG_E_UNBOUND;
    return viewWindow(window, type, clientCoordsOf(*image), out);
}

} // namespace

const qsImage* const qsImageNull = &nullImage8;
const qsUSImage* const qsUSImageNull = &nullImage16;

// ---- making and releasing ----

qsVImage* qsVImageCreateReg(const qsVImage* prototype, const qsIRegion* region)
{
    if (!prototype || !region || pixelSizeOf(prototype->type) == 0)
        return nullptr;
    qsVImage image = {prototype->type, 0, *region, nullptr, identity, 1.0f, nullptr};
    image.region.width = std::max(region->width, 0);
    image.region.height = std::max(region->height, 0);
    qsVImage* made = nullptr;
    if (makePixels(&image) < 0)
        return nullptr;
    if (makeImage(image, &made) < 0)
        qsys_memory_free_internal(&image.memory);
    return made;
}

qsImage* qsImageCreate(int32_t width, int32_t height)
{
    const qsIRegion region = {0, 0, width, height};
    return qsVImageCreateReg(qsImageNull, &region);
}

void qsImageFree(qsVImage* image)
{
    if (!isWritable(image))
        return;
    qsys_memory_free_internal(&image->memory);
    void* block = image;
    qsys_memory_free_internal(&block);
}

void qsImageMoveTo(qsImage* image, int32_t x, int32_t y)
{
    if (isWritable(image))
        base_rect64_store({x, y, image->region.width, image->region.height}, &image->region);
}

void qsImageCopy(const qsImage* src, qsImage* dst)
{
    if (!src || !dst || src->type != QS_IMAGE_TYPE_8 || dst->type != QS_IMAGE_TYPE_8 || !hasPixels(*src) ||
        !hasPixels(*dst))
        return;
    const base_rect64 common =
        base_rect64_intersect(base_rect64_of(src->region), base_rect64_of(dst->region));
    const void* const from = pixelAddress(*src, common.x, common.y);
    void* const to = pixelAddress(*dst, common.x, common.y);
    if (from != to || src->rowStride != dst->rowStride)
        qsys_memory_copyRect(common.width, common.height, src->rowStride, dst->rowStride, from, to);
}

// ---- bridges ----

qsys_status generate_qsImage_from_qimg_image8Const(const qimg_image8* image, qsImage** out)
{
    return viewOfImage(image, QS_IMAGE_TYPE_8, out);
}

qsys_status generate_qsUSImage_from_qimg_image16Const(const qimg_image16* image, qsUSImage** out)
{
    return viewOfImage(image, QS_IMAGE_TYPE_16, out);
}

qsys_status generate_qsImage_from_qimg_windowConst(const qimg_windowConst* window, qsImage** out)
{
    return viewOfWindow(window, QS_IMAGE_TYPE_8, out);
}

qsys_status generate_qsUSImage_from_qimg_windowConst(const qimg_windowConst* window, qsUSImage** out)
{
    return viewOfWindow(window, QS_IMAGE_TYPE_16, out);
}

// ---- asking ----

int32_t qsVImageType(const qsVImage* image)
{
    return image ? image->type : 0;
}

qsIRegion qsVImageRegion(const qsVImage* image)
{
    return image ? image->region : qsIRegionNull;
}

qsIRegion qsImageRegion(const qsImage* image)
{
    return qsVImageRegion(image);
}

int32_t qsImageWidth(const qsImage* image)
{
    return qsVImageRegion(image).width;
}

int32_t qsImageHeight(const qsImage* image)
{
    return qsVImageRegion(image).height;
}

qsImage* qsImageVirt(qsVImage* image)
{
    return image && image->type == QS_IMAGE_TYPE_8 ? image : nullptr;
}

qsUSImage* qsUSImageVirt(qsVImage* image)
{
    return image && image->type == QS_IMAGE_TYPE_16 ? image : nullptr;
}

uint8_t* qsImagePixAddr(const qsImage* image, int32_t x, int32_t y)
{
    if (!image || image->type != QS_IMAGE_TYPE_8 || !hasPixels(*image))
        return nullptr;
    return static_cast<uint8_t*>(pixelAddress(*image, x, y));
}

uint16_t* qsUSImagePixAddr(const qsUSImage* image, int32_t x, int32_t y)
{
    if (!image || image->type != QS_IMAGE_TYPE_16 || !hasPixels(*image))
        return nullptr;
    return static_cast<uint16_t*>(pixelAddress(*image, x, y));
}

// ---- client coordinates and z-scale ----

qsFXform qsVImageClientCoords(const qsVImage* image)
{
    return image ? image->clientCoords : qsFXform{};
}

qsFXform qsImageClientCoords(const qsImage* image)
{
    return qsVImageClientCoords(image);
}

void qsVImageSetClientCoords(qsVImage* image, const qsFXform* coords)
{
    if (isWritable(image) && coords)
        image->clientCoords = *coords;
}

void qsImageSetClientCoords(qsImage* image, const qsFXform* coords)
{
    qsVImageSetClientCoords(image, coords);
}

float qsImageClientZScale(const qsImage* image)
{
    return image ? image->clientZScale : 0.0f;
}

void qsVImageSetClientZScale(qsVImage* image, float scale)
{
    if (isWritable(image))
        image->clientZScale = scale;
}
