/* What every file of the module's C core needs: Python's limited interface, the state of the module, the
 * names of all arguments, and how calls are refused.
 *
 * Functions that return int answer 0, or -1 with a Python exception set. */
#ifndef CORE_STATE_H
#define CORE_STATE_H

#define Py_LIMITED_API 0x030b0000
#include <Python.h>

#include <qbase/status.h>

/* The arguments of all functions, under one name each. */
typedef enum core_argument {
    CORE_IMAGE,
    CORE_KERNEL,
    CORE_SIGMA,
    CORE_SAMPLE,
    CORE_GAIN,
    CORE_ROUND,
    CORE_DTYPE,
    CORE_MASK,
    CORE_RESET_MASK,
    CORE_MASK_MODE,
    CORE_RESULT_MODE,
    CORE_THRESHOLD,
    CORE_ORIGIN,
    CORE_ROI,
    CORE_OUT,
    CORE_MASK_OUT,
    CORE_AXIS,
    CORE_PASSES,
    CORE_CENTRE_MASK,
    CORE_SHAPE,
    CORE_ARGUMENT_COUNT
} core_argument;

typedef struct core_state {
    PyObject* error;                      /* the class qip.Error */
    PyObject* names[CORE_ARGUMENT_COUNT]; /* interned */
    /* Of NumPy, which is imported when an array or a dtype is first asked for; null before. */
    PyObject* numpyDtype;
    PyObject* numpyEmpty;
    PyObject* types[2];  /* numpy.uint8, numpy.uint16 */
    PyObject* dtypes[2]; /* the dtype objects of these */
} core_state;

/* Raises qip.Error with this status and the text "argument: ...". `format` is that of PyUnicode_FromFormat.
 * Result:  -1. */
int core_refuse(const core_state* state, qsys_status status, core_argument argument, const char* format,
                ...);

/* Raises TypeError with the text "argument: expected is needed, not <type of value>". A failure that is no
 * answer about the value (memory, an interruption) and is set already stays. Result: -1. */
int core_refuseType(const core_state* state, core_argument argument, const char* expected, PyObject* value);

/* Raises what stands for the failure of a library call: MemoryError, or qip.Error, which names an argument
 * where the status speaks of one. Result: -1. */
int core_raise(const core_state* state, qsys_status status);

/* Fills what the state holds of NumPy. */
int core_importNumpy(core_state* state);

#endif
