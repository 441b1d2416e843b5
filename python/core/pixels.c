/* Buffers: what they hold, whether the library can work on them as they are, and the copy otherwise. */
#include "pixels.h"

#include <qip/status.h>

#include <qbase/pixels.h>

#include <string.h>

/* ---- what a buffer holds ---- */

typedef struct layout {
    int kind;              /* CORE_PIXELS_..., 0 for none of them */
    int isForeign;         /* 16 bits in the other byte order */
    int64_t rows, columns; /* counts */
    int64_t row, column;   /* distances in bytes; those of a single row and column are what is usual */
} layout;

static int isLittleEndian(void)
{
    const uint16_t one = 1;
    uint8_t first;
    memcpy(&first, &one, 1);
    return first == 1;
}

static void readFormat(const Py_buffer* buffer, layout* found)
{
    const char* format = buffer->format ? buffer->format : "B";
    char order = '@';
    if (strchr("@=<>!", *format))
        order = *format++;
    found->isForeign =
        order == '<' ? !isLittleEndian() : (order == '>' || order == '!') && isLittleEndian();
    found->kind = 0;
    if (strcmp(format, "B") == 0)
        found->kind = CORE_PIXELS_8;
    else if (strcmp(format, "?") == 0 && buffer->itemsize == 1)
        found->kind = CORE_PIXELS_BOOL;
    else if (strcmp(format, "H") == 0 && buffer->itemsize == 2)
        found->kind = CORE_PIXELS_16;
}

/* The layout of a buffer with two dimensions. */
static layout layoutOf(const Py_buffer* buffer)
{
    const Py_ssize_t* strides = buffer->strides; /* ctypes gives none, though asked: rows without a gap */
    layout found;
    readFormat(buffer, &found);
    found.rows = buffer->shape[0];
    found.columns = buffer->shape[1];
    found.column = strides && found.columns > 1 ? strides[1] : buffer->itemsize;
    found.row = strides && found.rows > 1 ? strides[0] : found.columns * buffer->itemsize;
    return found;
}

/* Opens the buffer of the object and describes it. */
static int openBuffer(const core_state* state, core_argument argument, PyObject* object,
                      core_pixels* pixels, layout* found)
{
    Py_buffer* buffer = &pixels->buffer;
    if (PyObject_GetBuffer(object, buffer, PyBUF_STRIDES | PyBUF_FORMAT) < 0) {
        buffer->obj = NULL;
        if (PyErr_ExceptionMatches(PyExc_TypeError))
            return core_refuseType(state, argument, "an array, or another object with a buffer,", object);
        if (!PyErr_ExceptionMatches(PyExc_BufferError) && !PyErr_ExceptionMatches(PyExc_ValueError))
            return -1;
        PyErr_Clear();
        return core_refuse(state, QIMG_E_PIXEL_SIZE, argument,
                           "its pixels cannot be read through a buffer");
    }
    if (buffer->ndim != 2)
        return core_refuse(state, QSYS_E_ARGUMENT, argument,
                           "has %d dimensions; a grey picture has two, (rows, columns)", buffer->ndim);
    const int64_t size = buffer->itemsize;
    if (buffer->shape[0] > INT32_MAX || (size > 0 && buffer->shape[1] > INT32_MAX / size))
        return core_refuse(state, QSYS_E_RANGE, argument, "is too large: 2^31 rows or bytes in a row");
    *found = layoutOf(buffer);
    return 0;
}

/* Whether a window can lie over the buffer. */
static int isUsable(const core_pixels* pixels, const layout* found)
{
    const int64_t size = pixels->buffer.itemsize;
    const int64_t distance = found->row < 0 ? -found->row : found->row;
    return !found->isForeign && found->column == size && found->row > INT32_MIN &&
           found->row <= INT32_MAX && (found->rows <= 1 || distance >= found->columns * size) &&
           qimg_pixels_areAligned((int32_t)size, pixels->buffer.buf, (int32_t)found->row);
}

static void setWindow(core_pixels* pixels, const layout* found, void* first, int64_t stride)
{
    qimg_window* window = &pixels->window;
    window->width = (int32_t)found->columns;
    window->height = (int32_t)found->rows;
    window->stride = (int32_t)stride;
    window->firstPixel = first;
    window->bound = 1;
    window->pixelSize = (int32_t)pixels->buffer.itemsize;
}

/* ---- inputs ---- */

static void copyRow(const layout* found, const char* source, char* target, int64_t size)
{
    if (found->kind == CORE_PIXELS_BOOL) {
        for (int64_t i = 0; i < found->columns; ++i)
            target[i] = (char)(source[i * found->column] ? 255 : 0);
    } else if (found->column == size && !found->isForeign) {
        memcpy(target, source, (size_t)(found->columns * size));
    } else if (size == 1) {
        for (int64_t i = 0; i < found->columns; ++i)
            target[i] = source[i * found->column];
    } else {
        for (int64_t i = 0; i < found->columns; ++i) {
            uint16_t pixel;
            memcpy(&pixel, source + i * found->column, 2);
            if (found->isForeign)
                pixel = (uint16_t)(pixel << 8 | pixel >> 8);
            memcpy(target + 2 * i, &pixel, 2);
        }
    }
}

static int copyPixels(core_pixels* pixels, const layout* found)
{
    const int64_t size = pixels->buffer.itemsize;
    const int64_t stride = found->columns * size;
    char* target = PyMem_Malloc((size_t)(found->rows * stride));
    if (!target) {
        PyErr_NoMemory();
        return -1;
    }
    for (int64_t y = 0; y < found->rows; ++y)
        copyRow(found, (const char*)pixels->buffer.buf + y * found->row, target + y * stride, size);
    pixels->copy = target;
    setWindow(pixels, found, target, stride);
    return 0;
}

int core_pixels_read(const core_state* state, core_argument argument, PyObject* object, int kinds,
                     core_pixels* pixels)
{
    layout found = {0, 0, 0, 0, 0, 0};
    if (openBuffer(state, argument, object, pixels, &found) < 0)
        return -1;
    if (!(found.kind & kinds))
        return core_refuse(state, QIMG_E_PIXEL_SIZE, argument, "has pixels of format '%s'; %s is needed",
                           pixels->buffer.format ? pixels->buffer.format : "B",
                           kinds & CORE_PIXELS_BOOL ? "uint8 or bool" : "uint8 or uint16");
    if (found.rows == 0 || found.columns == 0)
        return core_refuse(state, QIP_E_NULL_IMAGE, argument, "has no pixels");
    setWindow(pixels, &found, pixels->buffer.buf, found.row);
    return 0;
}

int core_pixels_prepare(core_pixels* pixels)
{
    if (!pixels->window.bound)
        return 0;
    const layout found = layoutOf(&pixels->buffer);
    return found.kind == CORE_PIXELS_BOOL || !isUsable(pixels, &found) ? copyPixels(pixels, &found) : 0;
}

/* ---- destinations ---- */

int core_pixels_write(const core_state* state, core_argument argument, PyObject* object, int32_t pixelSize,
                      int32_t width, int32_t height, core_pixels* pixels)
{
    layout found = {0, 0, 0, 0, 0, 0};
    if (openBuffer(state, argument, object, pixels, &found) < 0)
        return -1;
    if (found.rows != height || found.columns != width)
        return core_refuse(state, QSYS_E_ARGUMENT, argument,
                           "has %zd rows of %zd pixels; the result has %d of %d", pixels->buffer.shape[0],
                           pixels->buffer.shape[1], (int)height, (int)width);
    if (found.kind != (pixelSize == 1 ? CORE_PIXELS_8 : CORE_PIXELS_16))
        return core_refuse(
            state, QIMG_E_PIXEL_SIZE, argument, "has pixels of format '%s'; the result is %s",
            pixels->buffer.format ? pixels->buffer.format : "B", pixelSize == 1 ? "uint8" : "uint16");
    if (pixels->buffer.readonly)
        return core_refuse(state, QSYS_E_ARGUMENT, argument, "is read-only");
    if (width > 0 && height > 0 && !isUsable(pixels, &found))
        return core_refuse(state, QSYS_E_ARGUMENT, argument,
                           "needs neighbouring columns, rows apart and native, aligned pixels");
    setWindow(pixels, &found, pixels->buffer.buf, found.row);
    return 0;
}

int core_pixels_make(core_state* state, core_argument argument, int32_t pixelSize, int32_t width,
                     int32_t height, PyObject** array, core_pixels* pixels)
{
    if (core_importNumpy(state) < 0)
        return -1;
    PyObject* shape = Py_BuildValue("(ii)", (int)height, (int)width);
    if (!shape)
        return -1;
    *array = PyObject_CallFunctionObjArgs(state->numpyEmpty, shape, state->dtypes[pixelSize - 1], NULL);
    Py_DECREF(shape);
    return *array ? core_pixels_write(state, argument, *array, pixelSize, width, height, pixels) : -1;
}

int core_pixels_refuseOverlap(const core_state* state, core_argument argument, const core_pixels* out,
                              const core_pixels* input)
{
    const qimg_windowConst written = qimg_window_asConst(&out->window);
    const qimg_windowConst read = qimg_window_asConst(&input->window);
    const int isSame = written.bound && read.bound && written.firstPixel == read.firstPixel;
    if (isSame || qip_pelfunc_checkMemoryOverlap(&written, &read) < 0)
        return core_refuse(state, isSame ? QIP_E_SAME_MEMORY : QIP_E_PEL_OVERLAP, argument,
                           "shares memory with another argument");
    return 0;
}

void core_pixels_release(core_pixels* pixels)
{
    PyMem_Free(pixels->copy);
    if (pixels->buffer.obj)
        PyBuffer_Release(&pixels->buffer);
}
