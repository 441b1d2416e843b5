/* Arguments: names first by identity, since those that a program spells out are interned. */
#include "arguments.h"

#include <qip/status.h>

#include <math.h>
#include <string.h>

/* ---- binding ---- */

static int isNamed(const core_state* state, core_argument argument, PyObject* keyword, int byText)
{
    PyObject* name = state->names[argument];
    return byText ? PyUnicode_Compare(name, keyword) == 0 : name == keyword;
}

/* The index of the keyword among the signature's arguments, -1 when it is none of them. */
static int find(const core_state* state, const core_signature* signature, PyObject* keyword)
{
    for (int byText = 0; byText < 2; ++byText) {
        for (int i = 0; i < signature->count; ++i) {
            if (isNamed(state, signature->arguments[i], keyword, byText))
                return i;
        }
    }
    return -1;
}

int core_bind(const core_state* state, const core_signature* signature, PyObject* const* arguments,
              Py_ssize_t count, PyObject* keywords, PyObject* values[CORE_ARGUMENT_COUNT])
{
    const char* function = signature->function;
    if (count > signature->positional) {
        PyErr_Format(PyExc_TypeError, "%s() takes %d arguments without a name, not %zd", function,
                     signature->positional, count);
        return -1;
    }
    for (Py_ssize_t i = 0; i < count; ++i)
        values[signature->arguments[i]] = arguments[i];
    const Py_ssize_t keywordCount = keywords ? PyTuple_Size(keywords) : 0;
    for (Py_ssize_t i = 0; i < keywordCount; ++i) {
        PyObject* keyword = PyTuple_GetItem(keywords, i);
        const int found = find(state, signature, keyword);
        if (found < 0 || values[signature->arguments[found]]) {
            PyErr_Format(PyExc_TypeError, found < 0 ? "%s() has no argument '%U'" : "%s() got '%U' twice",
                         function, keyword);
            return -1;
        }
        values[signature->arguments[found]] = arguments[count + i];
    }
    for (int i = 0; i < signature->count; ++i) {
        PyObject** value = &values[signature->arguments[i]];
        if (i < signature->required && !*value) {
            PyErr_Format(PyExc_TypeError, "%s() needs the argument '%U'", function,
                         state->names[signature->arguments[i]]);
            return -1;
        }
        if (i >= signature->required && *value == Py_None)
            *value = NULL;
    }
    return 0;
}

/* ---- numbers ---- */

/* Reads one object as an int64_t or a double; -1 with an exception when it is none. */
typedef int (*numberReader)(PyObject* object, void* number);

/* Integers beyond 64 bits become the greatest or the least one. */
static int integerOf(PyObject* object, void* number)
{
    const Py_ssize_t value = PyNumber_AsSsize_t(object, NULL);
    *(int64_t*)number = value;
    return value == -1 && PyErr_Occurred() ? -1 : 0;
}

/* Whether a number is below 0; -1 with an exception when it cannot be told. */
static int isNegative(PyObject* number)
{
    PyObject* zero = PyLong_FromLong(0);
    const int is = zero ? PyObject_RichCompareBool(number, zero, Py_LT) : -1;
    Py_XDECREF(zero);
    return is;
}

/* Numbers beyond the range of doubles become infinite. */
static int realOf(PyObject* object, void* number)
{
    double value = PyFloat_AsDouble(object);
    if (value == -1.0 && PyErr_Occurred()) {
        if (!PyErr_ExceptionMatches(PyExc_OverflowError))
            return -1;
        PyErr_Clear();
        const int isBelow = isNegative(object);
        if (isBelow < 0)
            return -1;
        value = isBelow ? -HUGE_VAL : HUGE_VAL;
    }
    *(double*)number = value;
    return 0;
}

/* Exactly `count` numbers of 8 bytes each, from any sequence. */
static int severalOf(PyObject* sequence, int count, numberReader read, void* numbers)
{
    if (!PySequence_Check(sequence) || PySequence_Size(sequence) != count)
        return -1;
    for (int i = 0; i < count; ++i) {
        PyObject* item = PySequence_GetItem(sequence, i);
        const int isRead = item ? read(item, (char*)numbers + 8 * i) : -1;
        Py_XDECREF(item);
        if (isRead < 0)
            return -1;
    }
    return 0;
}

/* One number, written twice, or two. What is no number may still be a sequence: arrays are both to
 * Python. */
static int oneOrTwoOf(PyObject* value, numberReader read, void* numbers)
{
    if (!PyTuple_Check(value)) {
        if (read(value, numbers) == 0) {
            memcpy((char*)numbers + 8, numbers, 8);
            return 0;
        }
        if (!PyErr_ExceptionMatches(PyExc_TypeError))
            return -1;
        PyErr_Clear();
    }
    return severalOf(value, 2, read, numbers);
}

static int narrow(const core_state* state, core_argument argument, PyObject* value, int64_t number,
                  int32_t least, qsys_status status, int32_t* narrowed)
{
    if (number > INT32_MAX || number < INT32_MIN)
        return core_refuse(state, QSYS_E_RANGE, argument, "%R does not fit 32 bits", value);
    if (number < least)
        return core_refuse(state, status, argument, "%R is less than %d", value, (int)least);
    *narrowed = (int32_t)number;
    return 0;
}

int core_readPair(const core_state* state, core_argument argument, PyObject* value, int32_t least,
                  qsys_status status, int32_t pair[2])
{
    int64_t numbers[2] = {0, 0};
    if (!value)
        return 0;
    if (oneOrTwoOf(value, integerOf, numbers) < 0)
        return core_refuseType(
            state, argument, argument == CORE_SHAPE ? "(rows, columns)" : "an int or a pair (x, y) of ints",
            value);
    for (int i = 0; i < 2; ++i) {
        if (narrow(state, argument, value, numbers[i], least, status, &pair[i]) < 0)
            return -1;
    }
    return 0;
}

int core_readInteger(const core_state* state, core_argument argument, PyObject* value, int32_t least,
                     qsys_status status, int32_t* number)
{
    int64_t wide = 0;
    if (!value)
        return 0;
    if (integerOf(value, &wide) < 0)
        return core_refuseType(state, argument, "an int", value);
    return narrow(state, argument, value, wide, least, status, number);
}

int core_readReal(const core_state* state, core_argument argument, PyObject* value, double* number)
{
    if (value && realOf(value, number) < 0)
        return core_refuseType(state, argument, "a float", value);
    return 0;
}

int core_readFlag(const core_state* state, core_argument argument, PyObject* value, int* flag)
{
    if (value)
        *flag = PyObject_IsTrue(value);
    return *flag < 0 ? core_refuseType(state, argument, "True or False", value) : 0;
}

int core_readRect(const core_state* state, core_argument argument, PyObject* value, qstd_rect32* rect)
{
    int64_t numbers[4] = {0, 0, 0, 0};
    if (severalOf(value, 4, integerOf, numbers) < 0)
        return core_refuseType(state, argument, "(x, y, width, height) of ints", value);
    if (qstd_rect32_init(rect, numbers[0], numbers[1], numbers[2], numbers[3]) < 0)
        return core_refuse(state, QSYS_E_RANGE, argument, "%R does not fit 32 bits", value);
    return 0;
}

/* ---- kernel sizes ---- */

/* A kernel of size k is three passes of a box of n = k + 1 pixels, with the variance (n * n - 1) / 4. */
static double sigmaOf(int32_t kernel)
{
    const double n = (double)kernel + 1.0;
    return sqrt((n * n - 1.0) / 4.0);
}

/* The size whose variance is nearest; the smaller of two. False for a sigma that has none. */
static int kernelOf(double sigma, int32_t* kernel)
{
    const double square = 4.0 * sigma * sigma + 1.0;           /* n * n, were n a whole number */
    if (!(sigma >= 0.0) || !(square <= 4611686018427387904.0)) /* n = 2^31, of the greatest size */
        return 0;
    double n = floor(sqrt(square));
    if ((n * n + (n + 1.0) * (n + 1.0)) / 2.0 < square)
        n += 1.0;
    *kernel = (int32_t)(n - 1.0);
    return 1;
}

static int readSigma(const core_state* state, PyObject* sigma, int32_t kernel[2])
{
    double numbers[2] = {0.0, 0.0};
    if (oneOrTwoOf(sigma, realOf, numbers) < 0)
        return core_refuseType(state, CORE_SIGMA, "a float or a pair (x, y) of floats", sigma);
    for (int i = 0; i < 2; ++i) {
        if (!kernelOf(numbers[i], &kernel[i]))
            return core_refuse(state, QIP_E_KERNEL_SIZE, CORE_SIGMA,
                               "%R is not from 0 to the greatest that a kernel can have", sigma);
    }
    return 0;
}

int core_readKernel(const core_state* state, PyObject* const values[CORE_ARGUMENT_COUNT], int32_t kernel[2],
                    core_argument* named)
{
    kernel[0] = kernel[1] = 1;
    *named = values[CORE_SIGMA] ? CORE_SIGMA : CORE_KERNEL;
    if (!values[CORE_SIGMA])
        return core_readPair(state, CORE_KERNEL, values[CORE_KERNEL], 0, QIP_E_KERNEL_SIZE, kernel);
    if (values[CORE_KERNEL])
        return core_refuse(state, QSYS_E_ARGUMENT, CORE_SIGMA, "kernel is given too; one of them decides");
    return readSigma(state, values[CORE_SIGMA], kernel);
}

/* Whether an argument that was read as a pair was one. */
static int isPair(PyObject* value)
{
    const int is = PySequence_Check(value) && PySequence_Size(value) == 2;
    PyErr_Clear();
    return is;
}

PyObject* core_kernelForSigma(const core_state* state, PyObject* sigma)
{
    int32_t kernel[2] = {0, 0};
    if (readSigma(state, sigma, kernel) < 0)
        return NULL;
    return isPair(sigma) ? Py_BuildValue("(ii)", (int)kernel[0], (int)kernel[1])
                         : PyLong_FromLong(kernel[0]);
}

PyObject* core_sigmaForKernel(const core_state* state, PyObject* kernel)
{
    int32_t sizes[2] = {0, 0};
    if (core_readPair(state, CORE_KERNEL, kernel, 0, QIP_E_KERNEL_SIZE, sizes) < 0)
        return NULL;
    return isPair(kernel) ? Py_BuildValue("(dd)", sigmaOf(sizes[0]), sigmaOf(sizes[1]))
                          : PyFloat_FromDouble(sigmaOf(sizes[0]));
}
