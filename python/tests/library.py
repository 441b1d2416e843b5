"""The C functions behind the module, called directly on contiguous arrays."""

from __future__ import annotations

import ctypes

import numpy as np

import qip

base = ctypes.CDLL(qip.info()["libraries"]["qbase"])
gauss = ctypes.CDLL(qip.info()["libraries"]["qip_gauss"])
INT32 = ctypes.c_int32


class Window(ctypes.Structure):
    _fields_ = [(name, INT32) for name in ("width", "height", "stride")]
    _fields_ += [("first", ctypes.c_void_p)]
    _fields_ += [(name, INT32) for name in ("bound", "pixel_size", "x", "y")]


class MaskParams(ctypes.Structure):
    _fields_ = [("mode", INT32), ("result_mode", INT32), ("threshold", ctypes.c_double)]


class Params(ctypes.Structure):
    _fields_ = [(name, INT32) for name in ("sample_x", "sample_y", "kernel_x", "kernel_y")]
    _fields_ += [("gain", ctypes.c_double), ("round", INT32), ("mask", MaskParams)]


def window(array: np.ndarray | None, x: int, y: int) -> Window:
    if array is None:
        return Window()
    assert array.flags.c_contiguous
    height, width = array.shape
    return Window(width, height, width * array.itemsize, array.ctypes.data, 1, array.itemsize, x, y)


def gaussian(image, rect, dtype, origin, params, mask, reset) -> tuple[np.ndarray, np.ndarray]:
    """The result over rect, and its mask, by the masked functions where there is a mask or 16 bits."""
    image, mask, reset = (None if a is None else np.ascontiguousarray(a) for a in (image, mask, reset))
    out = np.zeros((rect[3], rect[2]), dtype)
    mask_out = np.zeros(out.shape, np.uint8)
    depths = f"{8 * image.itemsize}_{8 * out.itemsize}"
    source, target, target_mask = (
        window(array, *where) for array, where in [(image, origin), (out, rect[:2]), (mask_out, rect[:2])]
    )
    if mask is None and reset is None and image.itemsize == 1:
        function = getattr(gauss, "qip_gauss_smoothWindow" + depths)
        arguments = [source, target, params]
        mask_out[:] = 255
    else:
        function = getattr(gauss, "qip_gauss_smoothMaskedWindow" + depths)
        arguments = [source, window(mask, *origin), window(reset, *origin), params, target, target_mask]
    assert function(*map(ctypes.byref, arguments)) >= 0
    return out, mask_out


class level:
    """with level("plain"): at this processor level."""

    def __init__(self, name: str) -> None:
        self.name = name

    def __enter__(self) -> None:
        assert base.qsys_cpuinfo_limitLevel(self.name.encode()) >= 0

    def __exit__(self, *_: object) -> None:
        base.qsys_cpuinfo_limitLevel(b"auto")
