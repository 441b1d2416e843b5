"""Exact, fast smoothing of grey pictures for machine vision.

Pictures are two-dimensional arrays, (rows, columns), of uint8 or uint16: NumPy's, or any other object with
the buffer protocol. Pairs are (x, y), columns first; one number means both. Results are NumPy arrays.
The mask of a numpy.ma array is not looked at: mask=~numpy.ma.getmaskarray(picture) is what it stands for.

    >>> import numpy, qip
    >>> picture = numpy.zeros((480, 640), numpy.uint8)
    >>> picture[240, 320] = 255
    >>> int(qip.gaussian(picture, 2)[240, 320])
    17

Calls release the lock of the interpreter, so that threads smooth side by side. On the main thread a call
asks for signals between rows, at every 64th and at most every 50 ms: seconds may pass where rows have tens
of millions of pixels. It takes the place of an attention handler that an application in C has set.
"""

from __future__ import annotations

from qip._core import (
    Error,
    binomial,
    dest_rect,
    gaussian,
    half,
    info,
    kernel_for_sigma,
    result_mask,
    sigma_for_kernel,
)
from qip._pyramid import pyramid

__all__ = [
    "Error",
    "binomial",
    "dest_rect",
    "gaussian",
    "half",
    "info",
    "kernel_for_sigma",
    "pyramid",
    "result_mask",
    "sigma_for_kernel",
]

__version__: str = info()["version"]
