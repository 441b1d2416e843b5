/* gaussian and dest_rect: smoothing by the cube of a box. */
#include "alone.h"
#include "attention.h"
#include "call.h"
#include "functions.h"
#include "sampling.h"

#include <qip/masked.h>
#include <qip/smoothing.h>

#include <math.h>

/* ---- parameters ---- */

typedef struct parameters {
    int32_t kernel[2];
    int32_t sample[2];
    core_argument named; /* kernel or sigma, whichever was given */
    qip_gaussParams record;
} parameters;

static int readModes(const core_call* call, qip_filterMaskParams* record)
{
    int32_t mode = 0;
    int32_t resultMode = 0;
    if (core_readInteger(call->state, CORE_MASK_MODE, call->values[CORE_MASK_MODE], 0, QIP_E_MASK_MODE,
                         &mode) < 0 ||
        core_readInteger(call->state, CORE_RESULT_MODE, call->values[CORE_RESULT_MODE], 0,
                         QIP_E_MASK_RESULT_MODE, &resultMode) < 0 ||
        core_readReal(call->state, CORE_THRESHOLD, call->values[CORE_THRESHOLD], &record->threshold) < 0)
        return -1;
    record->mode = (uint32_t)mode;
    record->resultMode = (uint32_t)resultMode;
    return 0;
}

static int readParameters(const core_call* call, parameters* read)
{
    core_state* state = call->state;
    PyObject* const* values = call->values;
    qip_gaussParams* record = &read->record;
    read->sample[0] = read->sample[1] = 1;
    qip_gaussParams_init(record);
    record->round = 1;
    if (core_readKernel(state, values, read->kernel, &read->named) < 0 ||
        core_readPair(state, CORE_SAMPLE, values[CORE_SAMPLE], 1, QIP_E_SAMPLING, read->sample) < 0 ||
        core_readReal(state, CORE_GAIN, values[CORE_GAIN], &record->gain) < 0 ||
        core_readFlag(state, CORE_ROUND, values[CORE_ROUND], &record->round) < 0 ||
        readModes(call, &record->maskParams) < 0)
        return -1;
    if (!isfinite(record->gain))
        return core_refuse(state, QIP_E_GAIN, CORE_GAIN, "%R is no finite number", values[CORE_GAIN]);
    record->kernelSizeX = read->kernel[0];
    record->kernelSizeY = read->kernel[1];
    record->sampleX = read->sample[0];
    record->sampleY = read->sample[1];
    const qip_status status = qip_gaussParams_validate(record);
    return status < 0 ? core_raise(state, status) : 0;
}

/* ---- depth of the result ---- */

/* The index of a dtype among those that there are (0: uint8, 1: uint16), -1 for any other one. */
static int indexOfDtype(core_state* state, PyObject* dtype)
{
    for (int i = 0; i < 2; ++i) {
        if (dtype == state->types[i] || dtype == state->dtypes[i])
            return i;
    }
    PyObject* made = PyObject_CallFunctionObjArgs(state->numpyDtype, dtype, NULL);
    int index = -1;
    for (int i = 0; made && i < 2 && index < 0; ++i) {
        if (PyObject_RichCompareBool(made, state->dtypes[i], Py_EQ) == 1)
            index = i;
    }
    Py_XDECREF(made);
    return index;
}

static int readDepth(const core_call* call, int32_t* pixelSize)
{
    PyObject* dtype = call->values[CORE_DTYPE];
    *pixelSize = call->image.window.pixelSize;
    if (!dtype)
        return 0;
    if (core_importNumpy(call->state) < 0)
        return -1;
    const int index = indexOfDtype(call->state, dtype);
    if (index < 0 && PyErr_Occurred())
        return core_refuseType(call->state, CORE_DTYPE, "uint8 or uint16", dtype);
    if (index < 0)
        return core_refuse(call->state, QIMG_E_PIXEL_SIZE, CORE_DTYPE, "%R is neither uint8 nor uint16",
                           dtype);
    if (index + 1 < *pixelSize)
        return core_refuse(call->state, QIMG_E_PIXEL_SIZE, CORE_DTYPE, "uint16 is not smoothed to uint8");
    *pixelSize = index + 1;
    return 0;
}

/* ---- the call ---- */

static int isMasked(const core_call* call)
{
    return call->image.window.pixelSize == 2 || call->mask.window.bound || call->resetMask.window.bound ||
           call->maskOut.window.bound;
}

/* Smoothing with masks, and of 16 bits, has greatest kernel sizes. */
static int refuseLargeKernel(const core_call* call, const parameters* read)
{
    int greatest = 0;
    const qip_status status = call->image.window.pixelSize == 2 ? qip_gaussParamsGetMaxSigma16(&greatest)
                                                                : qip_gaussParamsGetMaxSigma(&greatest);
    if (status < 0)
        return core_raise(call->state, status);
    if (read->kernel[0] > greatest || read->kernel[1] > greatest)
        return core_refuse(call->state, QIP_E_KERNEL_SIZE, read->named,
                           "the kernel size is above %d, the greatest for uint16 or with masks", greatest);
    return 0;
}

static qip_status smooth(const core_call* call, const qimg_windowConst* image,
                         const qip_gaussParams* params)
{
    const int32_t depth = call->out.window.pixelSize;
    if (!isMasked(call))
        return depth == 1 ? qip_gauss_smoothWindow8_8(image, &call->out.window, params)
                          : qip_gauss_smoothWindow8_16(image, &call->out.window, params);
    qimg_windowConst mask = qimg_window_asConst(&call->mask.window);
    qimg_windowConst reset = qimg_window_asConst(&call->resetMask.window);
    mask.x = reset.x = image->x;
    mask.y = reset.y = image->y;
    if (image->pixelSize == 2)
        return qip_gauss_smoothMaskedWindow16_16(image, &mask, &reset, params, &call->out.window,
                                                 &call->maskOut.window);
    return depth == 1 ? qip_gauss_smoothMaskedWindow8_8(image, &mask, &reset, params, &call->out.window,
                                                        &call->maskOut.window)
                      : qip_gauss_smoothMaskedWindow8_16(image, &mask, &reset, params, &call->out.window,
                                                         &call->maskOut.window);
}

typedef struct smoothing {
    const core_call* call;
    const qimg_windowConst* image;
    const qip_gaussParams* params;
} smoothing;

static qsys_status smoothAsJob(const void* data)
{
    const smoothing* s = data;
    return smooth(s->call, s->image, s->params);
}

static int run(core_call* call, const parameters* read, const qstd_rect32* source, int isAlone)
{
    core_attention attention;
    if (isMasked(call) && refuseLargeKernel(call, read) < 0)
        return -1;
    if (core_call_isEmpty(call))
        return 0;
    qimg_windowConst image = qimg_window_asConst(&call->image.window);
    image.x = source->x;
    image.y = source->y;
    const smoothing job = {call, &image, &read->record};
    core_attention_begin(&attention);
    const qip_status status = isAlone ? core_runAlone(smoothAsJob, &job) : smoothAsJob(&job);
    return core_attention_end(&attention, call->state, status);
}

const char core_gaussianDoc[] =
    "gaussian(image, kernel=None, *, sigma=None, sample=1, gain=1.0, round=True, dtype=None,\n"
    "         mask=None, reset_mask=None, mask_mode=0, result_mode=0, threshold=0.0, origin=(0, 0),\n"
    "         roi=None, out=None, mask_out=None)\n"
    "--\n"
    "\n"
    "Smooth a grey picture by three passes of a box of kernel + 1 pixels, nearly a Gaussian.\n"
    "\n"
    "image       (rows, columns) of uint8 or uint16, any row stride; other layouts are copied first.\n"
    "kernel      kernel size k from 0 on: 3 k + 1 taps, with the standard deviation sqrt(((k + 1)^2 -\n"
    "            1) / 4) pixels; default 1. At most 39 for uint16, and 63 with masks (24 on processors\n"
    "            without vector registers).\n"
    "sigma       standard deviation in pixels, instead of kernel; see kernel_for_sigma.\n"
    "sample      keep one pixel of every sample in each direction, from 1 on.\n"
    "gain        factor on every value, above 0. Results above the range wrap or are clamped.\n"
    "round       round half up; False drops the fraction, which darkens by half a grey level.\n"
    "dtype       numpy.uint16 for a uint16 result of a uint8 picture.\n"
    "mask        uint8 or bool of the image's shape: pixels that are 0 take no part.\n"
    "reset_mask  the same: pixels that are 0 keep their value in the result.\n"
    "mask_mode, result_mode, threshold\n"
    "            result_mode 0: masked-out pixels keep their value. 1: so do pixels under whose kernel\n"
    "            less than threshold (0 to 1) of all pixels are valid; with mask_mode 1 as well,\n"
    "            masked-out ones are filled where enough are valid.\n"
    "origin      (x, y), coordinates of the first pixel of the image in pixels.\n"
    "roi         (x, y, width, height), the part of dest_rect(image.shape, kernel, sample, origin)\n"
    "            that is computed; default all of it. On processors with 256-bit registers parts of\n"
    "            fewer than 33 rows or columns may differ from the same part of the whole by 1, and\n"
    "            with masks parts that read fewer than 9 samples in a direction.\n"
    "out         what the result is written to, exactly of its shape and dtype, neighbouring columns,\n"
    "            any row stride; it may share no memory with an input.\n"
    "mask_out    True: return (result, mask), mask being 255 where a pixel was smoothed and 0 where it\n"
    "            was kept. An array: written in place, as out.\n"
    "\n"
    "kernel, sigma, sample and origin are pairs (x, y); one number means both.\n"
    "\n"
    "A result is int(S * gain / N + 0.5), S being the sum of weights times pixels under the kernel and\n"
    "N that of the weights; with masks both are taken over the pixels that count. Beyond the border\n"
    "the picture is reflected with its edge repeated.\n"
    "\n"
    "Returns the result, (rows, columns) of dest_rect, which is the shape of the image when sample is\n"
    "1.\n"
    "Raises qip.Error (a ValueError) or TypeError, which name the argument, and MemoryError. A signal\n"
    "handler that raises, as that of Ctrl-C does, stops a call on the main thread; out is partly\n"
    "written then.";

static PyObject* gaussian(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                          PyObject* keywords, int isAlone)
{
    static const core_signature signature = {"gaussian",
                                             1,
                                             2,
                                             16,
                                             {CORE_IMAGE, CORE_KERNEL, CORE_SIGMA, CORE_SAMPLE, CORE_GAIN,
                                              CORE_ROUND, CORE_DTYPE, CORE_MASK, CORE_RESET_MASK,
                                              CORE_MASK_MODE, CORE_RESULT_MODE, CORE_THRESHOLD, CORE_ORIGIN,
                                              CORE_ROI, CORE_OUT, CORE_MASK_OUT}};
    core_call call = {0};
    parameters read;
    qstd_rect32 source;
    qstd_rect32 rect;
    int32_t pixelSize = 0;
    if (core_call_begin(&call, module, &signature, arguments, count, keywords) < 0 ||
        readParameters(&call, &read) < 0 ||
        core_call_readImage(&call, CORE_IMAGE, CORE_PIXELS_8 | CORE_PIXELS_16) < 0 ||
        readDepth(&call, &pixelSize) < 0 || core_call_readMask(&call, CORE_MASK, &call.mask) < 0 ||
        core_call_readMask(&call, CORE_RESET_MASK, &call.resetMask) < 0 ||
        core_call_readOrigin(&call, &source) < 0 ||
        core_destinationOf(call.state, &source, read.kernel, read.sample, &rect) < 0 ||
        core_call_readRoi(&call, &rect) < 0 || core_call_openResults(&call, pixelSize, &rect) < 0)
        return core_call_end(&call, -1);
    return core_call_end(&call, run(&call, &read, &source, isAlone));
}

PyObject* core_gaussian(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords)
{
    return gaussian(module, arguments, count, keywords, 0);
}

const char core_gaussianAloneDoc[] =
    "gaussian on the calling thread alone. A call with masks shares its rows among threads otherwise,\n"
    "and a last share of few rows may be computed in double precision, which fixed point differs from.";

PyObject* core_gaussianAlone(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                             PyObject* keywords)
{
    return gaussian(module, arguments, count, keywords, 1);
}

/* ---- dest_rect ---- */

const char core_destRectDoc[] =
    "dest_rect(shape, kernel=1, sample=1, origin=(0, 0))\n"
    "--\n"
    "\n"
    "Where the result of gaussian or result_mask lies.\n"
    "\n"
    "shape       (rows, columns) of the picture.\n"
    "kernel, sample, origin\n"
    "            as for gaussian, in pixels: (x, y) or one number for both.\n"
    "\n"
    "Result pixel i of an axis is centred on source pixel i * s + s // 2 + (s & (k + 1) & 1) - 1, with\n"
    "the sampling step s and the kernel size k; those whose centre lies in the picture are there. So\n"
    "for an odd kernel size without sampling the result begins at origin + 1.\n"
    "\n"
    "Returns (x, y, width, height), ints in pixels of the result; 0 wide or high where nothing is\n"
    "left.\n"
    "Raises qip.Error and TypeError, which name the argument.";

PyObject* core_destRect(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords)
{
    static const core_signature signature = {
        "dest_rect", 1, 4, 4, {CORE_SHAPE, CORE_KERNEL, CORE_SAMPLE, CORE_ORIGIN}};
    core_call call = {0};
    core_argument named;
    int32_t shape[2];
    int32_t kernel[2];
    int32_t sample[2] = {1, 1};
    qstd_rect32 source;
    qstd_rect32 rect;
    if (core_call_begin(&call, module, &signature, arguments, count, keywords) < 0 ||
        core_readPair(call.state, CORE_SHAPE, call.values[CORE_SHAPE], 1, QIP_E_NULL_IMAGE, shape) < 0 ||
        core_readKernel(call.state, call.values, kernel, &named) < 0 ||
        core_readPair(call.state, CORE_SAMPLE, call.values[CORE_SAMPLE], 1, QIP_E_SAMPLING, sample) < 0)
        return NULL;
    call.image.window.height = shape[0];
    call.image.window.width = shape[1];
    if (core_call_readOrigin(&call, &source) < 0 ||
        core_destinationOf(call.state, &source, kernel, sample, &rect) < 0)
        return NULL;
    return Py_BuildValue("(iiii)", (int)rect.x, (int)rect.y, (int)rect.width, (int)rect.height);
}
