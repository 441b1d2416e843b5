#!/usr/bin/python3
"""Smooths a picture larger than memory, from one zarr store to another, on processes of this machine.

    PYTHONPATH=build/release/python examples/smooth_large.py SOURCE.zarr RESULT.zarr
        [--sigma PIXELS] [--workers N]
        [--make SIZE]    first make SOURCE, SIZE x SIZE pixels of rings on a ramp
        [--check]        compare with the call on the whole picture, which has to fit in memory

Needs Debian's python3-dask, python3-distributed and python3-zarr.
"""

import argparse
import os

import dask.array
import distributed
import numpy
import zarr

import qip
import qip.dask


def make(path, size, side=2048):
    """A store of uint8, chunk by chunk."""
    store = zarr.open(path, mode="w", shape=(size, size), chunks=(side, side), dtype="uint8")
    for top in range(0, size, side):
        for left in range(0, size, side):
            y, x = numpy.ogrid[top : min(top + side, size), left : min(left + side, size)]
            store[top : top + side, left : left + side] = ((x * x + y * y) // size + x // 64 + 7 * y) % 256


def overlap(source, result):
    """Whether one store is the other, or lies inside it."""
    paths = [os.path.realpath(path) for path in (source, result)]
    return os.path.commonpath(paths) in paths


def peak():
    """The most memory that this process has had so far, in MiB."""
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) // 1024 for line in status if line.startswith("VmHWM:"))


def main():
    arguments = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    arguments.add_argument("source")
    arguments.add_argument("result")
    arguments.add_argument("--sigma", type=float, default=4.0)
    arguments.add_argument("--workers", type=int, default=2)
    arguments.add_argument("--make", type=int, metavar="SIZE")
    arguments.add_argument("--check", action="store_true")
    given = arguments.parse_args()
    if overlap(given.source, given.result):
        arguments.error("RESULT would be written over SOURCE, which is read while it is written")
    if given.make:
        make(given.source, given.make)

    workers = {"n_workers": given.workers, "threads_per_worker": 1, "dashboard_address": None}
    with distributed.Client(**workers) as client:
        picture = dask.array.from_zarr(given.source)
        smooth = qip.dask.gaussian(picture, sigma=given.sigma)
        smooth = smooth.rechunk(picture.chunksize)  # a store has chunks of one size; no work where they are
        before = client.run(peak)
        smooth.to_zarr(given.result, overwrite=True)
        print(f"{picture.shape[1]} x {picture.shape[0]} pixels in chunks of {picture.chunksize}")
        for worker, most in client.run(peak).items():
            print(f"{worker}: at most {most} MiB, {before[worker]} MiB of it before the first chunk")

    if given.check:
        whole = qip.gaussian(zarr.open(given.source)[:], sigma=given.sigma)
        found = zarr.open(given.result, mode="r")
        side = found.chunks[0]
        starts = range(0, whole.shape[0], side)
        same = all(numpy.array_equal(whole[y : y + side], found[y : y + side]) for y in starts)
        print("equal to the whole" if same else "NOT equal to the whole")
        raise SystemExit(not same)


if __name__ == "__main__":
    main()
