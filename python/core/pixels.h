/* Pixels of Python objects as windows of the library, through the buffer protocol and without a copy where
 * the layout allows that. */
#ifndef CORE_PIXELS_H
#define CORE_PIXELS_H

#include "state.h"

#include <qbase/window.h>

/* Filled with zeros it holds nothing, and its window is null. */
typedef struct core_pixels {
    qimg_window window; /* origin (0, 0) */
    Py_buffer buffer;   /* of the object; obj is null when there is none */
    void* copy;         /* memory of our own that the window lies over instead, or null */
} core_pixels;

/* What an input may hold. */
enum { CORE_PIXELS_8 = 1, CORE_PIXELS_16 = 2, CORE_PIXELS_BOOL = 4 };

/* Opens an input: two dimensions, pixels of one of the `kinds`, at least one. Until it is prepared, only the
 * size and the depth of its window hold: what a call is refused for is found before anything is copied. */
int core_pixels_read(const core_state* state, core_argument argument, PyObject* object, int kinds,
                     core_pixels* pixels);

/* Makes the window of an input, unless it is null, one that the library can read. Columns that are not next
 * to each other, the other byte order, 16 bits at odd addresses, rows that share bytes or are too far
 * apart are copied, and so is bool, to 0 and 255. */
int core_pixels_prepare(core_pixels* pixels);

/* Opens a destination, which must have this size and this depth in native order, with neighbouring
 * columns. */
int core_pixels_write(const core_state* state, core_argument argument, PyObject* object, int32_t pixelSize,
                      int32_t width, int32_t height, core_pixels* pixels);

/* Makes a NumPy array and opens it. The size may be 0. *array is a new reference, also after a failure. */
int core_pixels_make(core_state* state, core_argument argument, int32_t pixelSize, int32_t width,
                     int32_t height, PyObject** array, core_pixels* pixels);

/* Refuses `out`, which the argument names, when it has pixel memory in common with the input. */
int core_pixels_refuseOverlap(const core_state* state, core_argument argument, const core_pixels* out,
                              const core_pixels* input);

/* Lets go of object and copy. */
void core_pixels_release(core_pixels* pixels);

#endif
