/* The arguments of a call: bound to their names, and read as numbers, pairs and rectangles. */
#ifndef CORE_ARGUMENTS_H
#define CORE_ARGUMENTS_H

#include "state.h"

#include <qbase/rect.h>

/* Which arguments a function has: the first `positional` of `arguments` may come without a name, the first
 * `required` have to be there. */
typedef struct core_signature {
    const char* function;
    int required;
    int positional;
    int count;
    core_argument arguments[CORE_ARGUMENT_COUNT];
} core_signature;

/* Sorts the arguments of a METH_FASTCALL call by name. values[argument] is a borrowed reference; null for
 * an argument that was not given, and for one that is not required and None. */
int core_bind(const core_state* state, const core_signature* signature, PyObject* const* arguments,
              Py_ssize_t count, PyObject* keywords, PyObject* values[CORE_ARGUMENT_COUNT]);

/* The functions below leave *number, which holds the default, as it is when the value is null. They raise
 * TypeError for a value that is no such number, and qip.Error with `status` for one that is below `least`
 * or does not fit. Pairs are (x, y); one number means both. */
int core_readPair(const core_state* state, core_argument argument, PyObject* value, int32_t least,
                  qsys_status status, int32_t pair[2]);
int core_readInteger(const core_state* state, core_argument argument, PyObject* value, int32_t least,
                     qsys_status status, int32_t* number);
int core_readReal(const core_state* state, core_argument argument, PyObject* value, double* number);
int core_readFlag(const core_state* state, core_argument argument, PyObject* value, int* flag);

/* (x, y, width, height); the value is not null. */
int core_readRect(const core_state* state, core_argument argument, PyObject* value, qstd_rect32* rect);

/* The kernel size in each axis from `kernel` or `sigma`, one of which at most is given. *named is the one
 * that speaks in refusals. */
int core_readKernel(const core_state* state, PyObject* const values[CORE_ARGUMENT_COUNT], int32_t kernel[2],
                    core_argument* named);

/* kernel_for_sigma and sigma_for_kernel, on one number or a pair. */
PyObject* core_kernelForSigma(const core_state* state, PyObject* sigma);
PyObject* core_sigmaForKernel(const core_state* state, PyObject* kernel);

#endif
