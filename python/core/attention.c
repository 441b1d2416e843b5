/* Calls that a signal ends. */
#include "attention.h"

#include <qbase/attention.h>

#include <pthread.h>
#include <time.h>

/* Python runs signal handlers on this thread alone. After a fork it is the one that forked. */
static pthread_t mainThread;

/* The latest call on the main thread that has not ended; only that thread looks at it. */
static core_attention* current;

static void adoptMainThread(void)
{
    mainThread = pthread_self();
}

int core_attention_prepare(void)
{
    static int isPrepared;
    if (isPrepared)
        return 0;
    PyObject* threading = PyImport_ImportModule("threading");
    PyObject* thread = threading ? PyObject_CallMethod(threading, "main_thread", NULL) : NULL;
    PyObject* identity = thread ? PyObject_GetAttrString(thread, "ident") : NULL;
    const unsigned long number = identity ? PyLong_AsUnsignedLong(identity) : 0;
    Py_XDECREF(identity);
    Py_XDECREF(thread);
    Py_XDECREF(threading);
    if (PyErr_Occurred())
        return -1;
    mainThread = (pthread_t)number;
    if (pthread_atfork(NULL, NULL, adoptMainThread) != 0) {
        PyErr_NoMemory();
        return -1;
    }
    isPrepared = 1;
    return 0;
}

static int64_t milliseconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* The library asks on any thread that works for the call, but never two at a time. Python is asked on
 * the main thread alone; the others hear what it has answered. */
static qsys_status ask(void* context)
{
    core_attention* attention = context;
    if (attention->answer < 0 || !pthread_equal(pthread_self(), mainThread))
        return attention->answer;
    const int64_t now = milliseconds();
    if (attention->next == 0) {
        attention->next = now + 50;
    } else if (now >= attention->next) {
        PyEval_RestoreThread(attention->thread);
        if (PyErr_CheckSignals() < 0)
            attention->answer = QSYS_E_CANCELLED;
        attention->thread = PyEval_SaveThread();
        attention->next = milliseconds() + 50;
    }
    return attention->answer;
}

void core_attention_begin(core_attention* attention)
{
    attention->isMain = pthread_equal(pthread_self(), mainThread);
    attention->next = 0;
    attention->answer = QSYS_OK;
    if (attention->isMain) {
        attention->outer = current;
        current = attention;
        qsys_attention_setHandler(ask, attention);
    }
    attention->thread = PyEval_SaveThread();
}

int core_attention_end(core_attention* attention, const core_state* state, qsys_status status)
{
    PyEval_RestoreThread(attention->thread);
    if (attention->isMain) {
        current = attention->outer;
        qsys_attention_setHandler(current ? ask : NULL, current);
    }
    if (attention->answer < 0)
        return -1;
    return status < 0 ? core_raise(state, status) : 0;
}
