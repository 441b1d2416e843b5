/* Refusals, and what is taken from NumPy. */
#include "state.h"

#include <qip/status.h>

#include <stdarg.h>

static int raiseError(const core_state* state, qsys_status status, PyObject* text)
{
    PyObject* error = text ? PyObject_CallFunctionObjArgs(state->error, text, NULL) : NULL;
    PyObject* number = error ? PyLong_FromLong(status) : NULL;
    if (number && PyObject_SetAttrString(error, "status", number) == 0)
        PyErr_SetObject(state->error, error);
    Py_XDECREF(number);
    Py_XDECREF(error);
    return -1;
}

int core_refuse(const core_state* state, qsys_status status, core_argument argument, const char* format,
                ...)
{
    va_list values;
    va_start(values, format);
    PyObject* reason = PyUnicode_FromFormatV(format, values);
    va_end(values);
    PyObject* text = reason ? PyUnicode_FromFormat("%U: %U", state->names[argument], reason) : NULL;
    raiseError(state, status, text);
    Py_XDECREF(text);
    Py_XDECREF(reason);
    return -1;
}

int core_refuseType(const core_state* state, core_argument argument, const char* expected, PyObject* value)
{
    if (PyErr_Occurred() &&
        (!PyErr_ExceptionMatches(PyExc_Exception) || PyErr_ExceptionMatches(PyExc_MemoryError)))
        return -1;
    PyErr_Clear();
    PyObject* type = PyObject_GetAttrString((PyObject*)Py_TYPE(value), "__name__");
    if (type)
        PyErr_Format(PyExc_TypeError, "%U: %s is needed, not %S", state->names[argument], expected, type);
    Py_XDECREF(type);
    return -1;
}

/* The argument that a status speaks of, CORE_ARGUMENT_COUNT when it is none. */
static core_argument argumentOf(qsys_status status)
{
    switch (status) {
    case QIP_E_SAMPLING:
        return CORE_SAMPLE;
    case QIP_E_KERNEL_SIZE:
        return CORE_KERNEL;
    case QIP_E_GAIN:
        return CORE_GAIN;
    case QIP_E_MASK_MODE:
        return CORE_MASK_MODE;
    case QIP_E_MASK_RESULT_MODE:
        return CORE_RESULT_MODE;
    case QIP_E_MASK_THRESHOLD:
        return CORE_THRESHOLD;
    case QIP_E_MASK_MISMATCH:
        return CORE_MASK;
    case QIP_E_PEL_OVERLAP:
    case QIP_E_SAME_MEMORY:
        return CORE_OUT;
    case QSYS_E_RANGE:
        return CORE_ORIGIN;
    case QIP_E_NULL_IMAGE:
    case QIMG_E_UNBOUND:
    case QIMG_E_PIXEL_SIZE:
    case QIMG_E_ALIGNMENT:
        return CORE_IMAGE;
    default: /* among them what an application's attention handler has answered */
        return CORE_ARGUMENT_COUNT;
    }
}

int core_raise(const core_state* state, qsys_status status)
{
    if (status == QSYS_E_MEMORY) {
        PyErr_NoMemory();
        return -1;
    }
    const core_argument argument = argumentOf(status);
    if (argument != CORE_ARGUMENT_COUNT)
        return core_refuse(state, status, argument, "%s", qip_statusText(status));
    PyObject* text = PyUnicode_FromString(qip_statusText(status));
    raiseError(state, status, text);
    Py_XDECREF(text);
    return -1;
}

/* Takes the member `name` of an object, unless it was taken before. */
static int take(PyObject* object, const char* name, PyObject** member)
{
    if (!*member)
        *member = PyObject_GetAttrString(object, name);
    return *member ? 0 : -1;
}

int core_importNumpy(core_state* state)
{
    static const char* const typeNames[2] = {"uint8", "uint16"};
    if (state->dtypes[1])
        return 0;
    PyObject* numpy = PyImport_ImportModule("numpy");
    if (!numpy)
        return -1;
    int status = take(numpy, "empty", &state->numpyEmpty);
    if (status == 0)
        status = take(numpy, "dtype", &state->numpyDtype);
    for (int i = 0; i < 2 && status == 0; ++i) {
        status = take(numpy, typeNames[i], &state->types[i]);
        if (status == 0 && !state->dtypes[i])
            state->dtypes[i] = PyObject_CallFunctionObjArgs(state->numpyDtype, state->types[i], NULL);
        if (!state->dtypes[i])
            status = -1;
    }
    Py_DECREF(numpy);
    return status;
}
