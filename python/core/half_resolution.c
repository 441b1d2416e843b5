/* half and binomial: the kernel 1 4 6 4 1, at half and at full resolution. */
#include "attention.h"
#include "call.h"
#include "functions.h"
#include "images.h"

#include <qbase/memory.h>
#include <qbase/pixels.h>

#include <qip/half_resolution.h>

/* ---- the library's functions ---- */

typedef enum filterKind { HALF_XY, HALF_X, HALF_Y, BINOMIAL } filterKind;

typedef struct filter {
    filterKind kind;
    int32_t passes[2]; /* of the binomial filter */
} filter;

typedef qip_status (*halfFunction)(const qimg_image*, qimg_image*);
typedef qip_status (*maskedHalfFunction)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*);
typedef qip_status (*destinationFunction)(const qstd_rect32*, qstd_rect32*);

/* By kind, then for 8 and for 16 bits. */
static const halfFunction halves[3][2] = {{qip_gauss2_smooth8_8, qip_gauss2_smooth16_16},
                                          {qip_gauss2X_smooth8_8, qip_gauss2X_smooth16_16},
                                          {qip_gauss2Y_smooth8_8, qip_gauss2Y_smooth16_16}};
static const maskedHalfFunction maskedHalves[3][2] = {
    {qip_gauss2_smoothMasked8_8, qip_gauss2_smoothMasked16_16},
    {qip_gauss2X_smoothMasked8_8, qip_gauss2X_smoothMasked16_16},
    {qip_gauss2Y_smoothMasked8_8, qip_gauss2Y_smoothMasked16_16}};
static const destinationFunction halfDestinations[3] = {qip_gauss2GetDestRect, qip_gauss2XGetDestRect,
                                                        qip_gauss2YGetDestRect};

static qip_status applyBinomial(const filter* f, core_images* images, int isMasked)
{
    const int32_t x = f->passes[0];
    const int32_t y = f->passes[1];
    qimg_image* dstMask = images->dstMask.buffer ? &images->dstMask : NULL;
    if (images->src.pixelSize == 1)
        return isMasked ? qip_gauss2_smoothNoSampleMasked8_8(&images->src, &images->mask, &images->dst,
                                                             dstMask, x, y)
                        : qip_gauss2_smoothNoSample8_8(&images->src, &images->dst, x, y);
    return isMasked ? qip_gauss2_smoothNoSampleMasked16_16(&images->src, &images->mask, &images->dst,
                                                           dstMask, x, y)
                    : qip_gauss2_smoothNoSample16_16(&images->src, &images->dst, x, y);
}

static qip_status apply(const filter* f, core_images* images)
{
    const int isMasked = images->mask.buffer != NULL;
    const int depth = images->src.pixelSize - 1;
    qimg_image* dstMask = images->dstMask.buffer ? &images->dstMask : NULL;
    if (f->kind == BINOMIAL)
        return applyBinomial(f, images, isMasked);
    return isMasked ? maskedHalves[f->kind][depth](&images->src, &images->mask, &images->dst, dstMask)
                    : halves[f->kind][depth](&images->src, &images->dst);
}

/* ---- parts of the result ---- */

/* What makes a part of the result as it is in the whole one. The library repeats the border of what it
 * is given, so the source is cut where the border has no effect: it begins two pixels of the source, one
 * of the result, before what is wanted, and that one is dropped. */
typedef struct part {
    int32_t first[2];   /* of the source, counted from its first pixel */
    int32_t size[2];    /* of the source */
    int32_t dropped[2]; /* pixels of the result before those wanted: 0 or 1 */
} part;

static part partOf(const filter* f, const qimg_window* source, const qstd_rect32* whole,
                   const qstd_rect32* wanted)
{
    const int isHalved[2] = {f->kind == HALF_XY || f->kind == HALF_X,
                             f->kind == HALF_XY || f->kind == HALF_Y};
    const int32_t starts[2] = {wanted->x - whole->x, wanted->y - whole->y};
    const int32_t counts[2] = {wanted->width, wanted->height};
    const int32_t sizes[2] = {source->width, source->height};
    part p;
    for (int i = 0; i < 2; ++i) {
        p.dropped[i] = isHalved[i] && starts[i] > 0;
        p.first[i] = isHalved[i] ? 2 * (starts[i] - p.dropped[i]) : starts[i];
        const int64_t end = isHalved[i] ? 2 * ((int64_t)starts[i] + counts[i]) + 1 : starts[i] + counts[i];
        p.size[i] = (int32_t)((end < sizes[i] ? end : sizes[i]) - p.first[i]);
    }
    return p;
}

static qimg_window cutOf(const qimg_window* window, const part* p)
{
    qimg_window cut = *window;
    if (!cut.bound)
        return cut;
    cut.firstPixel = (char*)window->firstPixel + (int64_t)p->first[1] * window->stride +
                     (int64_t)p->first[0] * window->pixelSize;
    cut.width = p->size[0];
    cut.height = p->size[1];
    return cut;
}

/* Where a result is computed: over the result itself, or over memory of its own that has room for what
 * is dropped from it. *memory is null in the first case. */
static qsys_status openTarget(const qimg_window* result, const part* p, qimg_window* target, void** memory)
{
    *memory = NULL;
    *target = *result;
    target->x = target->y = 0;
    if (!result->bound || (p->dropped[0] == 0 && p->dropped[1] == 0))
        return QSYS_OK;
    target->width += p->dropped[0];
    target->height += p->dropped[1];
    target->stride = target->width * target->pixelSize;
    const qsys_status status =
        qsys_memory_alloc64_internal((int64_t)target->stride * target->height, memory);
    target->firstPixel = *memory;
    return status;
}

static void closeTarget(const qimg_window* target, const part* p, const qimg_window* result, void** memory)
{
    if (*memory) {
        const char* first = (const char*)target->firstPixel + (int64_t)p->dropped[1] * target->stride +
                            (int64_t)p->dropped[0] * target->pixelSize;
        qsys_memory_copyRect((int64_t)result->width * result->pixelSize, result->height, target->stride,
                             result->stride, first, result->firstPixel);
    }
    qsys_memory_free_internal(memory);
}

static qip_status compute(const filter* f, core_call* call, const part* p)
{
    const qimg_window src = cutOf(&call->image.window, p);
    const qimg_window mask = cutOf(&call->mask.window, p);
    qimg_window dst;
    qimg_window dstMask;
    void* memory = NULL;
    void* maskMemory = NULL;
    core_images images;
    qip_status status = openTarget(&call->out.window, p, &dst, &memory);
    if (status >= 0)
        status = openTarget(&call->maskOut.window, p, &dstMask, &maskMemory);
    if (status >= 0)
        status = core_images_cover(&images, &src, &mask, &dst, &dstMask);
    if (status >= 0) {
        status = apply(f, &images);
        core_images_release(&images);
    }
    if (status >= 0 && dstMask.bound && !mask.bound)
        status = qip_pelSetWindow8(&dstMask, 255); /* as with a mask of 255 */
    if (status >= 0) {
        closeTarget(&dst, p, &call->out.window, &memory);
        closeTarget(&dstMask, p, &call->maskOut.window, &maskMemory);
    }
    qsys_memory_free_internal(&memory);
    qsys_memory_free_internal(&maskMemory);
    return status;
}

/* Opens inputs and results of a filter that is known, and computes. */
static int run(const filter* f, core_call* call)
{
    core_attention attention;
    qstd_rect32 source;
    if (core_call_readImage(call, CORE_IMAGE, CORE_PIXELS_8 | CORE_PIXELS_16) < 0 ||
        core_call_readMask(call, CORE_MASK, &call->mask) < 0 || core_call_readOrigin(call, &source) < 0)
        return -1;
    qstd_rect32 whole = source;
    if (f->kind != BINOMIAL)
        halfDestinations[f->kind](&source, &whole);
    qstd_rect32 wanted = whole;
    if (core_call_readRoi(call, &wanted) < 0 ||
        core_call_openResults(call, call->image.window.pixelSize, &wanted) < 0)
        return -1;
    if (core_call_isEmpty(call))
        return 0;
    const part p = partOf(f, &call->image.window, &whole, &wanted);
    core_attention_begin(&attention);
    const qip_status status = compute(f, call, &p);
    return core_attention_end(&attention, call->state, status);
}

/* ---- half ---- */

static int readAxis(const core_call* call, filterKind* kind)
{
    static const char* const axes[3] = {"xy", "x", "y"};
    PyObject* axis = call->values[CORE_AXIS];
    *kind = HALF_XY;
    if (!axis)
        return 0;
    if (!PyUnicode_Check(axis))
        return core_refuseType(call->state, CORE_AXIS, "'xy', 'x' or 'y'", axis);
    for (int i = 0; i < 3; ++i) {
        if (PyUnicode_CompareWithASCIIString(axis, axes[i]) == 0) {
            *kind = (filterKind)i;
            return 0;
        }
    }
    return core_refuse(call->state, QSYS_E_ARGUMENT, CORE_AXIS, "%R is none of 'xy', 'x' and 'y'", axis);
}

const char core_halfDoc[] =
    "half(image, axis='xy', *, mask=None, origin=(0, 0), roi=None, out=None, mask_out=None)\n"
    "--\n"
    "\n"
    "Smooth by the kernel 1 4 6 4 1 and keep every second pixel, the first one included.\n"
    "\n"
    "image     (rows, columns) of uint8 or uint16, any row stride; other layouts are copied first.\n"
    "axis      'xy' halves width and height, 'x' the width alone, 'y' the height alone; odd sizes are\n"
    "          rounded down.\n"
    "mask      uint8 or bool of the image's shape: weights of the pixels from 0 to 255; True is 255.\n"
    "origin    (x, y) of the first pixel of the image; the result begins at half of that, rounded\n"
    "          down.\n"
    "roi       (x, y, width, height), the part of the result that is computed, in its coordinates.\n"
    "out       what the result is written to, exactly of its shape and dtype, neighbouring columns,\n"
    "          any row stride; it may share no memory with an input.\n"
    "mask_out  True: return (result, mask), mask being the share of the weights that was there, 0 to\n"
    "          255. An array: written in place, as out. 255 everywhere when there is no mask.\n"
    "\n"
    "With the weights w and the pixels p a result is (sum w w p + 128) >> 8 in two directions and (sum\n"
    "w p + 8) >> 4 in one; with a mask m it is (N + (W >> 1)) // W for N = sum w m p and W = sum w m,\n"
    "0 where W is 0. Beyond the border its edge is repeated.\n"
    "\n"
    "Returns the result, of the image's dtype. Raises qip.Error (a ValueError) or TypeError, which\n"
    "name the argument, and MemoryError. A signal handler that raises, as that of Ctrl-C does, stops a\n"
    "call on the main thread; out is partly written then.";

PyObject* core_half(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords)
{
    static const core_signature signature = {
        "half",
        1,
        2,
        7,
        {CORE_IMAGE, CORE_AXIS, CORE_MASK, CORE_ORIGIN, CORE_ROI, CORE_OUT, CORE_MASK_OUT}};
    core_call call = {0};
    filter f = {HALF_XY, {0, 0}};
    if (core_call_begin(&call, module, &signature, arguments, count, keywords) < 0 ||
        readAxis(&call, &f.kind) < 0)
        return core_call_end(&call, -1);
    return core_call_end(&call, run(&f, &call));
}

/* ---- binomial ---- */

const char core_binomialDoc[] =
    "binomial(image, passes=2, *, mask=None, out=None, mask_out=None)\n"
    "--\n"
    "\n"
    "Smooth by the kernel 1 4 6 4 1 at full resolution, several times over.\n"
    "\n"
    "image     (rows, columns) of uint8 or uint16, any row stride; other layouts are copied first.\n"
    "passes    even, from 0 on, (x, y) or one number for both: every 2 are one pass of 1 4 6 4 1 in\n"
    "          that direction, which is rounded; 0 leaves the direction as it is. The standard\n"
    "          deviation is sqrt(passes / 2) pixels.\n"
    "mask      uint8 or bool of the image's shape: weights of the pixels from 0 to 255; True is 255.\n"
    "out       what the result is written to, exactly of the image's shape and dtype, neighbouring\n"
    "          columns, any row stride; it may share no memory with an input.\n"
    "mask_out  True: return (result, mask), mask being the share of the weights that was there, 0 to\n"
    "          255. An array: written in place, as out. 255 everywhere when there is no mask.\n"
    "\n"
    "The formulas are those of half. Beyond the border its edge is repeated.\n"
    "\n"
    "Returns the result, of the image's shape and dtype. Raises qip.Error (a ValueError) or TypeError,\n"
    "which name the argument, and MemoryError. A signal handler that raises, as that of Ctrl-C does,\n"
    "stops a call on the main thread; out is partly written then.";

PyObject* core_binomial(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords)
{
    static const core_signature signature = {
        "binomial", 1, 2, 5, {CORE_IMAGE, CORE_PASSES, CORE_MASK, CORE_OUT, CORE_MASK_OUT}};
    core_call call = {0};
    filter f = {BINOMIAL, {2, 2}};
    if (core_call_begin(&call, module, &signature, arguments, count, keywords) < 0 ||
        core_readPair(call.state, CORE_PASSES, call.values[CORE_PASSES], 0, QSYS_E_ARGUMENT, f.passes) < 0)
        return core_call_end(&call, -1);
    if (f.passes[0] % 2 != 0 || f.passes[1] % 2 != 0) {
        core_refuse(call.state, QSYS_E_ARGUMENT, CORE_PASSES, "%R is not even", call.values[CORE_PASSES]);
        return core_call_end(&call, -1);
    }
    return core_call_end(&call, run(&f, &call));
}
