/* The functions of the module (METH_FASTCALL | METH_KEYWORDS) and what Python's help says of them. */
#ifndef CORE_FUNCTIONS_H
#define CORE_FUNCTIONS_H

#include "state.h"

extern const char core_gaussianDoc[];
extern const char core_gaussianAloneDoc[];
extern const char core_destRectDoc[];
extern const char core_halfDoc[];
extern const char core_binomialDoc[];
extern const char core_resultMaskDoc[];

PyObject* core_gaussian(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords);
PyObject* core_gaussianAlone(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                             PyObject* keywords);
PyObject* core_destRect(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords);
PyObject* core_half(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords);
PyObject* core_binomial(PyObject* module, PyObject* const* arguments, Py_ssize_t count, PyObject* keywords);
PyObject* core_resultMask(PyObject* module, PyObject* const* arguments, Py_ssize_t count,
                          PyObject* keywords);

#endif
