/* result_mask: where enough of the kernel's footprint is valid. */
#include "attention.h"
#include "call.h"
#include "functions.h"
#include "images.h"
#include "sampling.h"

#include <qip/masked.h>

/* The mask to be judged is what the call has as its image, the centre mask what it has as its mask. */
static int run(core_call* call, const int32_t kernel[2], const int32_t sample[2], double threshold)
{
    core_attention attention;
    core_images images;
    if (core_call_isEmpty(call))
        return 0;
    qip_status status = core_images_cover(&images, &call->image.window, &call->mask.window,
                                          &call->out.window, &call->maskOut.window);
    if (status < 0)
        return core_raise(call->state, status);
    core_attention_begin(&attention);
    status = qip_filterMask_computeResultMask_(&images.src, &images.mask, kernel, sample, threshold,
                                               &images.dst);
    core_images_release(&images);
    return core_attention_end(&attention, call->state, status);
}

const char core_resultMaskDoc[] =
    "result_mask(mask, kernel=1, *, sample=1, threshold=0.0, centre_mask=None, out=None)\n"
    "--\n"
    "\n"
    "Where enough of the pixels under the kernel are valid, without smoothing anything.\n"
    "\n"
    "mask         (rows, columns) of uint8 or bool: a pixel is valid from 128 on, or where it is True.\n"
    "kernel, sample\n"
    "             as for gaussian: (x, y) or one number for both, in pixels.\n"
    "threshold    the share of the A = (3 kx + 1) (3 ky + 1) pixels under the kernel that has to be\n"
    "             valid, 0 to 1.\n"
    "centre_mask  uint8 or bool of the mask's shape: the result is 0 where it is 0.\n"
    "out          what the result is written to, uint8 and exactly of its shape, neighbouring columns,\n"
    "             any row stride; it may share no memory with an input.\n"
    "\n"
    "Returns uint8 over dest_rect(mask.shape, kernel, sample): 255 where at least max(int(A *\n"
    "threshold + 0.5), 1) pixels are valid, 0 elsewhere. Beyond the border the mask is reflected, and\n"
    "beyond one reflection it is 0.\n"
    "Raises qip.Error (a ValueError) or TypeError, which name the argument, and MemoryError. A signal\n"
    "handler that raises, as that of Ctrl-C does, stops a call on the main thread; out is partly\n"
    "written then.";

PyObject* core_resultMask(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                          PyObject* keywords)
{
    static const core_signature signature = {
        "result_mask",
        1,
        2,
        6,
        {CORE_MASK, CORE_KERNEL, CORE_SAMPLE, CORE_THRESHOLD, CORE_CENTRE_MASK, CORE_OUT}};
    core_call call = {0};
    core_argument named;
    int32_t kernel[2];
    int32_t sample[2] = {1, 1};
    double threshold = 0.0;
    qstd_rect32 source;
    qstd_rect32 rect;
    if (core_call_begin(&call, module, &signature, arguments, count, keywords) < 0 ||
        core_readKernel(call.state, call.values, kernel, &named) < 0 ||
        core_readPair(call.state, CORE_SAMPLE, call.values[CORE_SAMPLE], 1, QIP_E_SAMPLING, sample) < 0 ||
        core_readReal(call.state, CORE_THRESHOLD, call.values[CORE_THRESHOLD], &threshold) < 0)
        return NULL;
    if (!(threshold >= 0.0 && threshold <= 1.0)) {
        core_refuse(call.state, QIP_E_MASK_THRESHOLD, CORE_THRESHOLD, "%R is not from 0 to 1",
                    call.values[CORE_THRESHOLD]);
        return NULL;
    }
    if (core_call_readImage(&call, CORE_MASK, CORE_PIXELS_8 | CORE_PIXELS_BOOL) < 0 ||
        core_call_readMask(&call, CORE_CENTRE_MASK, &call.mask) < 0 ||
        core_call_readOrigin(&call, &source) < 0 ||
        core_destinationOf(call.state, &source, kernel, sample, &rect) < 0 ||
        core_call_openResults(&call, 1, &rect) < 0)
        return core_call_end(&call, -1);
    return core_call_end(&call, run(&call, kernel, sample, threshold));
}
