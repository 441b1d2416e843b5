"""What a call costs beside the same call from C, what a second thread brings, how soon Ctrl-C ends a call.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_calls.py

The calls from C are made by a few lines that this compiles (cc). Both kinds are timed batch by batch in
turns, in one process; all figures are medians.
"""

from __future__ import annotations

import ctypes
import multiprocessing
import os
import pathlib
import signal
import statistics
import subprocess
import tempfile
import threading
import time
from collections.abc import Callable

import numpy as np

import qip

ROOT = pathlib.Path(__file__).parents[1]
BATCHES = 200
CALLS = 500
SIDE = 16

PROGRAM = r"""
#include <qip/smoothing.h>

#include <time.h>

/* Nanoseconds of one call. */
double time_calls(const uint8_t* source, uint8_t* target, int side, int count)
{
    struct timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (int i = 0; i < count; ++i) {
        qip_gaussParams params;
        qip_gaussParams_init(&params);
        params.round = 1;
        const qimg_windowConst src = {side, side, side, source, 1, 1, 0, 0};
        const qimg_window dst = {side, side, side, target, 1, 1, 1, 1};
        if (qip_gauss_smoothWindow8_8(&src, &dst, &params) < 0)
            return -1;
    }
    clock_gettime(CLOCK_MONOTONIC, &end);
    return ((end.tv_sec - start.tv_sec) * 1e9 + (end.tv_nsec - start.tv_nsec)) / count;
}
"""


def c_caller(folder: str) -> ctypes.CDLL:
    source = pathlib.Path(folder, "calls.c")
    source.write_text(PROGRAM)
    binary = source.with_suffix(".so")
    includes = [f"-I{ROOT / 'include'}", f"-I{ROOT / 'platform'}"]
    libraries = list(qip.info()["libraries"].values())
    compiler = ["cc", "-O2", "-shared", "-fPIC"]
    subprocess.run([*compiler, *includes, source, "-o", binary, *libraries], check=True)
    caller = ctypes.CDLL(str(binary))
    caller.time_calls.restype = ctypes.c_double
    return caller


def nanoseconds(call: Callable[[], object]) -> float:
    start = time.perf_counter_ns()
    for _ in range(CALLS):
        call()
    return (time.perf_counter_ns() - start) / CALLS


def compare_calls(folder: str) -> None:
    caller = c_caller(folder)
    image = np.random.default_rng(1).integers(0, 256, (SIDE, SIDE), np.uint8)
    out = np.empty_like(image)
    expected = qip.gaussian(image)
    smooth = qip.gaussian
    kinds: dict[str, Callable[[], float]] = {
        "C call": lambda: caller.time_calls(image.ctypes, out.ctypes, SIDE, CALLS),
        "gaussian(image)": lambda: nanoseconds(lambda: smooth(image)),
        "gaussian(image, out=out)": lambda: nanoseconds(lambda: smooth(image, out=out)),
        "the loop alone": lambda: nanoseconds(lambda: None),
    }
    times: dict[str, list[float]] = {name: [] for name in kinds}
    for _ in range(BATCHES):
        for name, batch in kinds.items():
            times[name].append(batch())
    assert (out == expected).all()
    medians = {name: statistics.median(values) for name, values in times.items()}
    print(f"{SIDE}x{SIDE} uint8, kernel 1, nanoseconds a call, medians of {BATCHES} batches of {CALLS}")
    for name, median in medians.items():
        over = median - medians["C call"] - medians["the loop alone"]
        print(f"    {name:26} {median:8.0f}" + (f"    {over:+.0f} beside C" if "gaussian" in name else ""))


def compare_threads() -> None:
    """The same number of pictures by one and by two: threads, and processes, which share nothing."""
    pictures = [np.random.default_rng(i).integers(0, 256, (1024, 1024), np.uint8) for i in range(2)]
    outs = [np.empty_like(picture) for picture in pictures]

    def smooth(index: int, count: int) -> None:
        for _ in range(count):
            qip.gaussian(pictures[index], 3, out=outs[index])

    def seconds(kind: type[threading.Thread] | type[multiprocessing.Process], workers: int) -> float:
        start = time.perf_counter()
        working = [kind(target=smooth, args=(i, 400 // workers)) for i in range(workers)]
        for worker in working:
            worker.start()
        for worker in working:
            worker.join()
        return time.perf_counter() - start

    print("gaussian 1024x1024, kernel 3: how many times as fast two are as one; median of 15, least, most")
    kinds = (threading.Thread, multiprocessing.Process)
    ratios = [[seconds(kind, 1) / seconds(kind, 2) for kind in kinds] for _ in range(15)]
    for kind, values in zip(kinds, zip(*ratios)):
        figures = (statistics.median(values), min(values), max(values))
        print(f"    {kind.__name__:26}", *(f"{figure:8.2f}" for figure in figures))


def measure_interruptions() -> None:
    """From the signal to the exception, at moments spread over calls on 200 megapixels, made on and on."""
    image = np.zeros((20000, 10000), np.uint8)
    out = np.empty_like(image)
    calls: dict[str, Callable[[], object]] = {
        "gaussian, kernel 1": lambda: qip.gaussian(image, 1, out=out),
        "gaussian, kernel 2": lambda: qip.gaussian(image, 2, out=out),
        "gaussian, kernel 7": lambda: qip.gaussian(image, 7, out=out),
        "gaussian, kernel 7, mask": lambda: qip.gaussian(image, 7, mask=image, out=out),
        "half": lambda: qip.half(image, out=out[:10000, :5000]),
        "half, one direction": lambda: qip.half(image, "x", out=out[:, :5000]),
    }

    def interrupt(delay: float, sent: list[float]) -> None:
        time.sleep(delay)
        sent.append(time.perf_counter())
        os.kill(os.getpid(), signal.SIGINT)

    print("Ctrl-C during calls on 10000x20000, milliseconds to the exception, median and most of 9")
    for name, call in calls.items():
        call()
        latencies = []
        for i in range(9):
            sent: list[float] = []
            thread = threading.Thread(target=interrupt, args=(0.05 + 0.03 * i, sent))
            try:
                thread.start()
                while True:
                    call()
            except KeyboardInterrupt:
                latencies.append((time.perf_counter() - sent[0]) * 1e3)
            thread.join()
        print(f"    {name:26} {statistics.median(latencies):8.0f} {max(latencies):8.0f}")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder:
        compare_calls(folder)
    compare_threads()
    measure_interruptions()
