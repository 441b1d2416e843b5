"""Calls: what is refused, what is released, threads and interruptions, memory."""

from __future__ import annotations

import concurrent.futures
import ctypes
import gc
import os
import pickle
import re
import signal
import subprocess
import sys
import threading
import tracemalloc

import numpy as np
import pytest

import library
import qip

IMAGE = np.random.default_rng(3).integers(0, 256, (20, 30), np.uint8)
DEEP = IMAGE.astype(np.uint16)
READ_ONLY = np.zeros((20, 30), np.uint8)
READ_ONLY.flags.writeable = False
HUGE = np.lib.stride_tricks.as_strided(IMAGE, (2**31, 1), (0, 1))
WIDE = np.zeros((20, 90), np.uint8)
VAST = np.broadcast_to(IMAGE[0, 0], (2**20, 2**20))  # no memory has room for a copy

# The function, its arguments, and how the message begins.
REFUSED = [
    (qip.gaussian, (IMAGE.astype(float),), {}, "image: has pixels of format 'd'"),
    (qip.gaussian, (IMAGE == 0,), {}, r"image: has pixels of format '\?'"),
    (qip.gaussian, (IMAGE[..., None],), {}, "image: has 3 dimensions"),
    (qip.gaussian, (b"text",), {}, "image: has 1 dim"),
    (qip.gaussian, (IMAGE[:0],), {}, "image: has no pixels"),
    (qip.gaussian, (HUGE,), {}, "image: is too large"),
    (qip.gaussian, (IMAGE.astype("M8[s]"),), {}, "image: its pixels cannot be read"),
    (qip.gaussian, (IMAGE, -1), {}, "kernel: -1 is less than 0"),
    (qip.gaussian, (IMAGE, (1, 2**40)), {}, "kernel: .* does not fit 32 bits"),
    (qip.gaussian, (DEEP, 40), {}, "kernel: the kernel size is above 39"),
    (qip.gaussian, (DEEP,), {"sigma": 30}, "sigma: the kernel size is above 39"),
    (qip.gaussian, (IMAGE,), {"sigma": float("nan")}, "sigma: nan is not"),
    (qip.gaussian, (IMAGE, 1), {"sigma": 1}, "sigma: kernel is given too"),
    (qip.gaussian, (IMAGE,), {"sample": (1, 0)}, "sample: .* is less than 1"),
    (qip.gaussian, (IMAGE,), {"gain": float("nan")}, "gain: nan"),
    (qip.gaussian, (IMAGE,), {"gain": 0}, "gain: "),
    (qip.gaussian, (IMAGE,), {"gain": 10**400}, "gain: 10+ is no finite number"),
    (qip.gaussian, (IMAGE,), {"sigma": (1, -(10**400))}, r"sigma: \(1, -10+\) is not from 0"),
    (qip.kernel_for_sigma, (10**400,), {}, "sigma: 10+ is not from 0"),
    (qip.gaussian, (IMAGE,), {"threshold": -(10**400)}, "threshold: "),
    (qip.gaussian, (DEEP,), {"dtype": np.uint8}, "dtype: uint16 is not smoothed to uint8"),
    (qip.gaussian, (IMAGE,), {"dtype": "f4"}, "dtype: 'f4' is neither"),
    (qip.gaussian, (IMAGE,), {"mask": IMAGE.T}, "mask: has 30 rows of 20 pixels"),
    (qip.gaussian, (VAST,), {"mask": VAST, "reset_mask": VAST[1:]}, "reset_mask: has 1048575 rows"),
    (qip.half, (VAST,), {"out": IMAGE}, "out: has 20 rows of 30 pixels"),
    (qip.gaussian, (IMAGE,), {"reset_mask": DEEP}, "reset_mask: .*uint8 or bool"),
    (qip.gaussian, (IMAGE,), {"mask_mode": 2}, "mask_mode: "),
    (qip.gaussian, (IMAGE,), {"result_mode": -1}, "result_mode: "),
    (qip.gaussian, (IMAGE,), {"threshold": 1.1}, "threshold: "),
    (qip.gaussian, (IMAGE,), {"origin": (0, 2**31 - 9)}, "origin: "),
    (qip.gaussian, (IMAGE,), {"roi": (1, 1, 31, 2)}, r"roi: .* is no part of the result, \(1, 1, 30, 20\)"),
    (qip.gaussian, (IMAGE,), {"roi": (1, 1, 0, 2)}, "roi: "),
    (qip.gaussian, (IMAGE,), {"out": IMAGE[1:].copy()}, "out: has 19 rows of 30 pixels"),
    (qip.gaussian, (IMAGE,), {"out": DEEP}, "out: .*the result is uint8"),
    (qip.gaussian, (IMAGE,), {"out": READ_ONLY}, "out: is read-only"),
    (qip.gaussian, (IMAGE,), {"out": np.zeros((20, 30), np.uint8, "F")}, "out: needs neighbouring columns"),
    (qip.gaussian, (IMAGE,), {"out": IMAGE}, "out: shares memory"),
    (qip.gaussian, (WIDE[:, :30],), {"out": WIDE[:, 29:59]}, "out: shares memory"),
    (qip.gaussian, (IMAGE,), {"mask": READ_ONLY, "mask_out": IMAGE}, "mask_out: shares memory"),
    (qip.half, (IMAGE, "z"), {}, "axis: 'z' is none of"),
    (qip.half, (IMAGE,), {"origin": (4, 4), "roi": (1, 2, 3, 3)}, r"roi: .*\(2, 2, 15, 10\)"),
    (qip.binomial, (IMAGE, (2, 3)), {}, "passes: .* is not even"),
    (qip.binomial, (IMAGE, -2), {}, "passes: -2 is less than 0"),
    (qip.pyramid, (IMAGE, 6), {}, "levels: after 4 of 6"),
    (qip.result_mask, (IMAGE,), {"threshold": float("nan")}, "threshold: nan is not"),
    (qip.result_mask, (IMAGE,), {"centre_mask": IMAGE[:9]}, "centre_mask: has 9 rows"),
    (qip.dest_rect, ((0, 5),), {}, "shape: .* is less than 1"),
    (qip.kernel_for_sigma, (np.nextafter(2.0**30, np.inf),), {}, "sigma: "),
]
WRONG_TYPES = [
    (qip.gaussian, ([[1, 2]],), {}, "image: .*not list"),
    (qip.gaussian, (IMAGE, 1.5), {}, "kernel: an int or a pair .*not float"),
    (qip.gaussian, (IMAGE, (1, 2, 3)), {}, "kernel: .*not tuple"),
    (qip.gaussian, (IMAGE, "12"), {}, "kernel: .*not str"),
    (qip.gaussian, (IMAGE,), {"sigma": "1"}, "sigma: .*not str"),
    (qip.gaussian, (IMAGE,), {"gain": "1"}, "gain: a float .*not str"),
    (qip.gaussian, (IMAGE,), {"round": IMAGE}, "round: True or False .*not ndarray"),
    (qip.gaussian, (IMAGE,), {"dtype": "no such"}, "dtype: .*not str"),
    (qip.gaussian, (IMAGE,), {"roi": (1, 2, 3)}, r"roi: \(x, y, width, height\)"),
    (qip.half, (IMAGE, 1), {}, "axis: .*not int"),
    (qip.pyramid, (IMAGE, 1.0), {}, "levels: .*not float"),
    (qip.dest_rect, ((1, 2, 3),), {}, r"shape: \(rows, columns\)"),
    (qip.gaussian, (), {}, r"gaussian\(\) needs the argument 'image'"),
    (qip.gaussian, (IMAGE, 1, 2), {}, r"gaussian\(\) takes 2 arguments"),
    (qip.gaussian, (IMAGE, 1), {"kernel": 1}, r"gaussian\(\) got 'kernel' twice"),
    (qip.gaussian, (IMAGE,), {"passes": 1}, r"gaussian\(\) has no argument 'passes'"),
]


ALL_REFUSED = [(qip.Error, *row) for row in REFUSED] + [(TypeError, *row) for row in WRONG_TYPES]


@pytest.mark.parametrize("kind, function, arguments, keywords, message", ALL_REFUSED)
def test_refused(kind, function, arguments, keywords, message):
    before = IMAGE.copy()
    with pytest.raises(kind) as raised:
        function(*arguments, **keywords)
    assert re.match(message, str(raised.value)), raised.value
    assert (before == IMAGE).all()
    if kind is qip.Error:
        copy = pickle.loads(pickle.dumps(raised.value))
        assert raised.value.status == copy.status < 0 and str(copy) == str(raised.value)


def test_parts_of_one_array_are_no_overlap():
    qip.gaussian(WIDE[:, :30], out=WIDE[:, 30:60])
    qip.gaussian(WIDE[::2], out=WIDE[1::2])


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_arrays_of_ctypes_are_taken(dtype):
    """They have a buffer without strides."""
    shared = np.ctypeslib.as_ctypes
    image, mask, out = IMAGE.astype(dtype), (IMAGE > 9).view(np.uint8), np.zeros(IMAGE.shape, dtype)
    for rows in (20, 1):
        qip.gaussian(shared(image[:rows]), 2, mask=shared(mask[:rows]), out=shared(out[:rows]))
        assert (out[:rows] == qip.gaussian(image[:rows], 2, mask=mask[:rows])).all()
    with pytest.raises(qip.Error, match="out: has 1 dim"):
        qip.gaussian(image, 2, out=shared(out[0]))


def test_references_are_released():
    """Whatever a call ends with: counts of its arguments and the memory in use stay as they were."""
    out, mask = np.empty_like(IMAGE), (IMAGE > 9).astype(np.uint8)
    without_strides = np.ctypeslib.as_ctypes(DEEP)
    types = [qip.Error, np.uint16, np.dtype(np.uint8)]
    objects = [IMAGE, DEEP, READ_ONLY, WIDE, out, mask, without_strides, *types]

    def call_all():
        for kind, function, arguments, keywords, _ in ALL_REFUSED:
            try:
                function(*arguments, **keywords)
            except kind:
                pass
        for image in (IMAGE, DEEP, IMAGE[:, ::-1], memoryview(DEEP), without_strides):
            both = {"mask": mask > 0, "reset_mask": mask, "mask_out": True}
            qip.gaussian(image, np.array([2, 1]), dtype=np.uint16, **both)
            qip.half(image, mask=mask, roi=(3, 2, 5, 4), mask_out=np.empty((4, 5), np.uint8))
            qip.pyramid(qip.binomial(image, mask_out=True)[0], 2, mask=mask)
        qip.gaussian(IMAGE, sigma=(1, 2), out=out)
        qip.result_mask(mask, out=out), qip.info(), qip.dest_rect(IMAGE.shape), qip.sigma_for_kernel((1, 2))

    def measure():
        gc.collect()
        return [sys.getrefcount(o) for o in objects], tracemalloc.get_traced_memory()[0]

    def growth(rounds):
        counts, size = measure()
        for _ in range(rounds):
            call_all()
        later_counts, later_size = measure()
        return max(b - a for a, b in zip(counts, later_counts)), later_size - size

    tracemalloc.start()
    try:
        growths = [growth(50) for _ in range(6)]
    finally:
        tracemalloc.stop()
    # What is kept for later use settles; what is lost grows in every round.
    assert min(count for count, _ in growths) < 10 and min(size for _, size in growths) < 50 * 16, growths


def test_other_threads_run_during_a_call():
    image, ticks, running = np.zeros((3000, 3000), np.uint8), [], threading.Event()

    def smooth():
        with library.level("plain"):
            running.set()
            results.append(qip.gaussian(image, 5))
            running.clear()

    results: list[np.ndarray] = []
    thread = threading.Thread(target=smooth)
    thread.start()
    running.wait()
    while running.is_set():
        ticks.append(qip.gaussian(IMAGE, 3))
    thread.join()
    assert len(ticks) > 5 and not results[0].any()
    assert all((tick == qip.gaussian(IMAGE, 3)).all() for tick in ticks)


class Stop(Exception):
    pass


LONG = np.zeros((20000, 6000), np.uint8)
LONG_CALLS = {
    "gaussian": lambda out: qip.gaussian(LONG, 2, out=out),
    "masks, bands on several threads": lambda out: qip.gaussian(LONG, 2, mask=LONG, out=out),
}


@pytest.mark.parametrize("name", LONG_CALLS)
def test_a_signal_stops_a_call(name):
    """Also when its handler has called the module before, for another signal."""
    signals, out = [], np.full_like(LONG, 7)

    def handle(*_):
        signals.append(qip.gaussian(IMAGE))
        if len(signals) == 2:
            raise Stop

    library.base.qsys_jobs_setThreadCount(2)  # more would be through too soon
    previous = signal.signal(signal.SIGALRM, handle)
    signal.setitimer(signal.ITIMER_REAL, 0.01, 0.03)
    try:
        with library.level("plain"), pytest.raises(Stop):
            LONG_CALLS[name](out)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
        library.base.qsys_jobs_setThreadCount(0)
    assert (out == 7).any(), "the call had ended"
    assert (qip.gaussian(IMAGE) == signals[0]).all()


def test_an_application_stops_a_call_on_another_thread():
    """By a handler in C; no argument is at fault."""
    cancelled = 0x105 - 2**31
    handler = ctypes.CFUNCTYPE(library.INT32, ctypes.c_void_p)(lambda _: cancelled)
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        pool.submit(library.base.qsys_attention_setHandler, handler, None)
        error = pool.submit(qip.binomial, LONG).exception()
    assert (type(error), str(error), error.status) == (qip.Error, "cancelled", cancelled)


def test_a_child_of_another_thread_can_be_stopped():
    """After a fork the thread that called it is the main one."""
    read, write = os.pipe()

    def fork():
        if os.fork() == 0:
            out = np.full_like(LONG, 7)
            signal.signal(signal.SIGALRM, lambda *_: os._exit(5 if (out == 7).any() else 6))
            signal.setitimer(signal.ITIMER_REAL, 0.02)
            with library.level("plain"):
                qip.gaussian(LONG, 2, out=out)
            os._exit(6)
        os.write(write, bytes([os.waitstatus_to_exitcode(os.wait()[1])]))

    thread = threading.Thread(target=fork)
    thread.start()
    thread.join()
    assert os.read(read, 1) == bytes([5])
    os.close(read), os.close(write)


def test_no_copy_is_made():
    """The greatest amount of memory ever in use hardly grows over calls on 64 MB."""
    script = """if True:
        import numpy as np, qip
        image, out = np.ones((8000, 8000), np.uint8), np.ones((8000, 8000), np.uint8)
        peak = lambda: int(open("/proc/self/status").read().split("VmHWM:")[1].split()[0])
        qip.gaussian(image[:50], 2, mask=image[:50])
        before = peak()
        up, part = np.s_[::-1], np.s_[:, 9:]
        for source, target in [(image, out), (image[up], out), (image, out[up]), (image[part], out[part])]:
            qip.gaussian(source, 2, out=target)
            qip.gaussian(source, 2, mask=source, out=target, roi=(0, 0, *source.shape[::-1]))
            qip.half(source, out=target[:4000, :source.shape[1] // 2])
        print(peak() - before)
        qip.gaussian(image[:, ::-1], 2, out=out)
        print(peak() - before)
    """
    ran = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=True)
    in_place, copied = map(int, ran.stdout.split())
    assert in_place < 8000 and copied > 50000  # KiB
