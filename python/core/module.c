/* The module qip._core: its table of functions, and its state. */
#include "arguments.h"
#include "attention.h"
#include "functions.h"

#include <qbase/cpuinfo.h>

#include <qip/smoothing.h>

#include <dlfcn.h>
#include <string.h>

/* A function of one argument. */
static PyObject* valueOf(PyObject* module, const core_signature* signature, PyObject* const* arguments,
                         Py_ssize_t count, PyObject* keywords,
                         PyObject* (*function)(const core_state*, PyObject*))
{
    const core_state* state = PyModule_GetState(module);
    PyObject* values[CORE_ARGUMENT_COUNT] = {NULL};
    if (core_bind(state, signature, arguments, count, keywords, values) < 0)
        return NULL;
    return function(state, values[signature->arguments[0]]);
}

static PyObject* kernelForSigma(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                                PyObject* keywords)
{
    static const core_signature signature = {"kernel_for_sigma", 1, 1, 1, {CORE_SIGMA}};
    return valueOf(module, &signature, arguments, count, keywords, core_kernelForSigma);
}

static PyObject* sigmaForKernel(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                                PyObject* keywords)
{
    static const core_signature signature = {"sigma_for_kernel", 1, 1, 1, {CORE_KERNEL}};
    return valueOf(module, &signature, arguments, count, keywords, core_sigmaForKernel);
}

/* The file that a function of a library was loaded from. */
static const char* fileOf(void (*function)(void))
{
    Dl_info found = {0};
    void* address;
    memcpy(&address, &function, sizeof address);
    return dladdr(address, &found) && found.dli_fname ? found.dli_fname : "";
}

static PyObject* info(PyObject* module, PyObject* unused)
{
    qsys_cpuinfo processor;
    (void)unused;
    const qsys_status status = qsys_cpuinfo_init(&processor);
    if (status < 0) {
        core_raise(PyModule_GetState(module), status);
        return NULL;
    }
    PyObject* version =
        PyUnicode_FromFormat("%d.%d.%d", QIP_VERSION_MAJOR, QIP_VERSION_MINOR, QIP_VERSION_PATCH);
    if (!version)
        return NULL;
    PyObject* gauss = PyUnicode_DecodeFSDefault(fileOf((void (*)(void))qip_gauss_smooth8_8));
    PyObject* base = PyUnicode_DecodeFSDefault(fileOf((void (*)(void))qsys_cpuinfo_init));
    if (!gauss || !base) {
        Py_DECREF(version);
        Py_XDECREF(gauss);
        Py_XDECREF(base);
        return NULL;
    }
    return Py_BuildValue("{s:N,s:s,s:i,s:{s:N,s:N}}", "version", version, "level", qsys_cpuinfo_levelName(),
                         "processors", (int)processor.processorCount, "libraries", "qip_gauss", gauss,
                         "qbase", base);
}

#define FAST(function) (PyCFunction)(void (*)(void))(function)

static PyMethodDef methods[] = {
    {"gaussian", FAST(core_gaussian), METH_FASTCALL | METH_KEYWORDS, core_gaussianDoc},
    {"gaussian_alone", FAST(core_gaussianAlone), METH_FASTCALL | METH_KEYWORDS, core_gaussianAloneDoc},
    {"dest_rect", FAST(core_destRect), METH_FASTCALL | METH_KEYWORDS, core_destRectDoc},
    {"half", FAST(core_half), METH_FASTCALL | METH_KEYWORDS, core_halfDoc},
    {"binomial", FAST(core_binomial), METH_FASTCALL | METH_KEYWORDS, core_binomialDoc},
    {"result_mask", FAST(core_resultMask), METH_FASTCALL | METH_KEYWORDS, core_resultMaskDoc},
    {"kernel_for_sigma", FAST(kernelForSigma), METH_FASTCALL | METH_KEYWORDS,
     "kernel_for_sigma(sigma)\n--\n\n"
     "The kernel size whose standard deviation sqrt(((kernel + 1)^2 - 1) / 4) is nearest to sigma, in\n"
     "pixels, by variance; the smaller of two. An int for one number, a pair (x, y) for a pair.\n"
     "Raises qip.Error and TypeError, which name the argument."},
    {"sigma_for_kernel", FAST(sigmaForKernel), METH_FASTCALL | METH_KEYWORDS,
     "sigma_for_kernel(kernel)\n--\n\n"
     "The standard deviation of a kernel size, sqrt(((kernel + 1)^2 - 1) / 4) pixels, of which\n"
     "kernel_for_sigma gives that size again. A float for one number, a pair (x, y) for a pair.\n"
     "Raises qip.Error and TypeError, which name the argument."},
    {"info", info, METH_NOARGS,
     "info()\n--\n\n"
     "What is at work: 'version' of the library, 'level' of the processor that it uses ('plain', 'sse',\n"
     "'avx2' or 'neon'), 'processors' that the process may run on, 'libraries', the files by name."},
    {NULL, NULL, 0, NULL}};

static const char errorDoc[] =
    "An argument that cannot be served. The message begins with the name of the argument;\n"
    "status is the negative number by which the library calls the failure. On threads other than the\n"
    "main one also what an application's attention handler in C has answered, without such a name.";

static const char* const argumentNames[CORE_ARGUMENT_COUNT] = {
    "image", "kernel",     "sigma",     "sample",      "gain",        "round",  "dtype",
    "mask",  "reset_mask", "mask_mode", "result_mode", "threshold",   "origin", "roi",
    "out",   "mask_out",   "axis",      "passes",      "centre_mask", "shape"};

static PyObject* newError(void)
{
    PyObject* members = Py_BuildValue("{s:i}", "status", 0);
    PyObject* error =
        members ? PyErr_NewExceptionWithDoc("qip.Error", errorDoc, PyExc_ValueError, members) : NULL;
    Py_XDECREF(members);
    return error;
}

static int fillModule(PyObject* module)
{
    core_state* state = PyModule_GetState(module);
    for (int i = 0; i < CORE_ARGUMENT_COUNT; ++i) {
        state->names[i] = PyUnicode_InternFromString(argumentNames[i]);
        if (!state->names[i])
            return -1;
    }
    state->error = newError();
    if (!state->error || PyModule_AddObjectRef(module, "Error", state->error) < 0 ||
        PyModule_AddIntConstant(module, "E_ARGUMENT", QSYS_E_ARGUMENT) < 0)
        return -1;
    return core_attention_prepare();
}

static int visitState(PyObject* module, visitproc visit, void* arg)
{
    core_state* state = PyModule_GetState(module);
    Py_VISIT(state->error);
    Py_VISIT(state->numpyDtype);
    Py_VISIT(state->numpyEmpty);
    for (int i = 0; i < 2; ++i) {
        Py_VISIT(state->types[i]);
        Py_VISIT(state->dtypes[i]);
    }
    return 0;
}

static int clearState(PyObject* module)
{
    core_state* state = PyModule_GetState(module);
    Py_CLEAR(state->error);
    Py_CLEAR(state->numpyDtype);
    Py_CLEAR(state->numpyEmpty);
    for (int i = 0; i < 2; ++i) {
        Py_CLEAR(state->types[i]);
        Py_CLEAR(state->dtypes[i]);
    }
    for (int i = 0; i < CORE_ARGUMENT_COUNT; ++i)
        Py_CLEAR(state->names[i]);
    return 0;
}

static void freeState(void* module)
{
    clearState(module);
}

static PyModuleDef_Slot slots[] = {{Py_mod_exec, NULL}, {0, NULL}};

static struct PyModuleDef definition = {PyModuleDef_HEAD_INIT,
                                        "qip._core",
                                        "The functions of qip.",
                                        sizeof(core_state),
                                        methods,
                                        slots,
                                        visitState,
                                        clearState,
                                        freeState};

PyMODINIT_FUNC PyInit__core(void)
{
    int (*fill)(PyObject*) = fillModule;
    memcpy(&slots[0].value, &fill,
           sizeof fill); /* C has no conversion of a function to an object's address */
    return PyModuleDef_Init(&definition);
}
