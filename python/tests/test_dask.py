"""Chunked pictures: every function gives what it gives for the whole picture."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys

import hypothesis
import hypothesis.strategies as st
import numpy as np
import pytest

import library
import qip

pytest.importorskip("dask.array", reason="Debian's python3-dask is not there")
import dask  # noqa: E402
import dask.array as da  # noqa: E402

import qip.dask  # noqa: E402

SOME = hypothesis.settings(deadline=None, max_examples=40, database=None)
SIDES = st.integers(1, 65) | st.integers(66, 250) | st.integers(150, 250)
PAIRS = st.tuples(st.integers(0, 9), st.integers(0, 9))


def chunks(random, length):
    """Sizes of up to seven chunks, some of them empty."""
    cuts = random.integers(0, length + 1, random.integers(0, 7))
    return tuple(map(int, np.diff([0, *sorted(cuts), length])))


@st.composite
def chunked(draw, shape, dtype):
    """A picture, whole and in chunks. Flat areas show by which path they are made, noise from what."""
    random = np.random.default_rng(draw(st.integers(0, 2**32 - 1)))
    high = 2 if dtype == bool else random.choice([4, np.iinfo(dtype).max + 1])
    patch = random.choice([1, 30])
    whole = random.integers(0, high, shape).astype(dtype).repeat(patch, 0).repeat(patch, 1)
    whole = whole[: shape[0], : shape[1]]
    return whole, da.from_array(whole, tuple(chunks(random, length) for length in shape))


@st.composite
def cases(draw):
    """An image and masks that its functions take, whole and in chunks, at a processor level."""
    shape = (draw(SIDES), draw(SIDES))
    arrays = {"image": draw(chunked(shape, draw(st.sampled_from([np.uint8, np.uint16]))))}
    for name in ("mask", "reset_mask"):
        if draw(st.booleans()):
            arrays[name] = draw(chunked(shape, draw(st.sampled_from([np.uint8, bool]))))
    level = draw(st.sampled_from(["plain", "sse", "auto"]))
    return arrays, level if level != "sse" or qip.info()["level"] == "avx2" else "auto"


def computed(lazy):
    """Computed with as many threads at hand as shall change nothing."""
    library.base.qsys_jobs_setThreadCount(16)
    try:
        return dask.compute(lazy, scheduler="synchronous")[0]
    finally:
        library.base.qsys_jobs_setThreadCount(0)


def check(name, case, *arguments, **keywords):
    """The function of this name gives in chunks what it gives of the whole on one thread."""
    arrays, level = case
    wholes, lazies = ({key: both[i] for key, both in arrays.items()} for i in (0, 1))
    if name != "gaussian":
        wholes.pop("reset_mask", None), lazies.pop("reset_mask", None)
    with library.level(level):
        library.base.qsys_jobs_setThreadCount(1)
        expected = getattr(qip, name)(wholes.pop("image"), *arguments, **wholes, **keywords)
        lazy = getattr(qip.dask, name)(lazies.pop("image"), *arguments, **lazies, **keywords)
        found = computed(lazy)

    def compare(expected, lazy, found):
        if isinstance(expected, (tuple, list)):
            assert len(expected) == len(lazy)
            for each in zip(expected, lazy, found):
                compare(*each)
            return
        assert (expected.shape, expected.dtype) == (lazy.shape, lazy.dtype) == (found.shape, found.dtype)
        assert np.array_equal(expected, found)

    compare(expected, lazy, found)


@hypothesis.given(cases(), st.data())
@SOME
def test_gaussian_is_that_of_the_whole(case, data):
    draw = data.draw
    image = case[0]["image"][0]
    mask_out = draw(st.booleans())
    is_masked = len(case[0]) > 1 or mask_out or image.dtype == np.uint16
    check(
        "gaussian",
        case,
        draw(st.one_of(PAIRS, st.sampled_from([1, 2, (12, 3)] if is_masked else [1, 2, (60, 3), 39]))),
        sample=draw(st.just(1) | st.tuples(st.integers(1, 4), st.integers(1, 12))),
        gain=draw(st.sampled_from([1.0, 0.5, 1.25, 2.0])),
        round=draw(st.booleans()),
        dtype=draw(st.sampled_from([None, np.uint16])),
        mask_mode=draw(st.integers(0, 1)),
        result_mode=draw(st.integers(0, 1)),
        threshold=draw(st.sampled_from([0.0, 0.4, 1.0])),
        origin=draw(st.tuples(st.integers(-50, 50), st.integers(-50, 50))),
        mask_out=mask_out,
    )


@pytest.mark.parametrize(
    "kernel, keywords, shape",
    [
        ((2, 2), {"gain": 1.25}, (40, 700)),  # half of 3^6 / 1.25 is rounded into the sum at every column
        ((220, 220), {"round": False}, (500, 1780)),  # sums above 2^53
        ((0, 40000), {"round": False}, (160000, 4)),
    ],
)
def test_sums_that_depend_on_where_they_begin(kernel, keywords, shape):
    """The level area shows errors in the last bit of the sums over the noise before it."""
    noise = np.random.default_rng(0).integers(0, 256, shape)
    beyond = np.indices(shape).sum(axis=0) > sum(shape) - 150 - 3 * max(kernel)
    whole = np.where(beyond, 2 if "gain" in keywords else 255, noise).astype(np.uint8)
    image = whole, da.from_array(whole, (max(shape[0] // 4, 40), 150))
    check("gaussian", ({"image": image}, "plain"), kernel, **keywords)


@pytest.mark.parametrize("height, count", [(64, 1), (65, 1), (66, 2)])
def test_chunks_of_32_rows_are_merged(height, count):
    """A path of its own darkens even areas by one, where there are 33 rows or more."""
    image = np.full((height, 33), 200, np.uint8)
    lazy = da.from_array(image, (33 if height == 66 else 32, 33))
    check("gaussian", ({"image": (image, lazy)}, "auto"), 2, round=False)
    assert qip.dask.gaussian(lazy, 2).numblocks == (count, 1)


def test_the_ends_of_the_picture_count():
    """90 rows are 9 steps, as fixed point asks for; kernels reach over 88 of them. It makes 2 of 3."""
    image = np.full((90, 90), 3, np.uint8)
    level = "sse" if qip.info()["level"] == "avx2" else "auto"
    check("gaussian", ({"image": (image, da.from_array(image, 40))}, level), 2, sample=10, round=False)


def test_the_number_of_threads_changes_nothing():
    """Chunks of 156 rows, of which 16 threads would leave 2 to the last one, in double precision."""
    whole = np.full((468, 1600), 200, np.uint8)
    arrays = {"image": (whole, da.from_array(whole, (156, 1600)))}
    arrays["mask"] = arrays["image"]
    check("gaussian", (arrays, "auto"), 2, round=False)


@hypothesis.given(cases(), st.data())
@SOME
def test_half_and_binomial_are_those_of_the_whole(case, data):
    mask_out = data.draw(st.booleans())
    axis = data.draw(st.sampled_from(["xy", "x", "y"]))
    check("half", case, axis, origin=data.draw(PAIRS), mask_out=mask_out)
    check("binomial", case, tuple(2 * p for p in data.draw(PAIRS)), mask_out=mask_out)
    check("pyramid", case, data.draw(st.integers(0, min(case[0]["image"][0].shape).bit_length() - 1)))


def test_on_two_processes():
    distributed = pytest.importorskip("distributed", reason="Debian's python3-distributed is not there")
    whole = np.random.default_rng(1).integers(0, 256, (700, 900)).astype(np.uint8)
    lazy = da.from_array(whole, 200)
    options = {"n_workers": 2, "threads_per_worker": 1, "processes": True, "dashboard_address": None}
    with distributed.Client(host="127.0.0.1", **options) as client:
        results = [
            *qip.dask.gaussian(lazy, 7, sample=(2, 3), mask=lazy.rechunk(170) > 99, mask_out=True),
            *qip.dask.pyramid(lazy, 2),
        ]
        found = client.gather(client.compute(results))
        workers = client.run(os.getpid)
    expected = [
        *qip.gaussian(whole, 7, sample=(2, 3), mask=whole > 99, mask_out=True),
        *qip.pyramid(whole, 2),
    ]
    assert all(map(np.array_equal, expected, found)) and len(set(workers.values())) == 2


def test_the_example_does_not_write_over_its_source(tmp_path):
    zarr = pytest.importorskip("zarr", reason="Debian's python3-zarr is not there")
    pytest.importorskip("distributed", reason="Debian's python3-distributed is not there")
    zarr.save(tmp_path / "source", np.full((40, 40), 9, np.uint8))
    (tmp_path / "link").symlink_to("source")
    example = pathlib.Path(__file__).parents[2] / "examples/smooth_large.py"
    for result in ("link", "source/inside", "."):
        stores = [tmp_path / "source", tmp_path / result]
        ran = subprocess.run([sys.executable, example, *stores], capture_output=True, text=True)
        assert ran.returncode == 2 and "over SOURCE" in ran.stderr
        assert (zarr.load(tmp_path / "source") == 9).all()


def image(shape=(9, 9), dtype="uint8"):
    return da.zeros(shape, dtype=dtype, chunks=4)


VAST = da.zeros((2**20, 2**20), dtype="uint8", chunks=2**18)
UNKNOWN = image()[image().sum(axis=1) > 0]


@pytest.mark.parametrize(
    "kind, name, arguments, keywords, message",
    [
        (TypeError, "gaussian", (np.zeros((9, 9), np.uint8),), {}, "image: a dask array"),
        (qip.Error, "half", (image(dtype="float32"),), {}, "image: .*'f'"),
        (qip.Error, "pyramid", (image((9, 9, 3)), 2), {}, "image: has 3 dimensions"),
        (qip.Error, "gaussian", (UNKNOWN,), {}, "image: .*unknown"),
        (qip.Error, "binomial", (image(),), {"mask": UNKNOWN}, "mask: .*unknown"),
        (qip.Error, "binomial", (image((0, 9)),), {}, "image: has no pixels"),
        (TypeError, "gaussian", (image(),), {"reset_mask": np.zeros((9, 9), bool)}, "reset_mask: a dask"),
        (qip.Error, "gaussian", (image(),), {"reset_mask": image((9, 8))}, "reset_mask: .* 9 of 9"),
        (qip.Error, "binomial", (VAST,), {"mask": VAST[:, 1:]}, "mask: has 1048576 rows of 1048575"),
        (qip.Error, "half", (image(),), {"mask": image(dtype="uint16")}, "mask: .*'H'"),
        (TypeError, "half", (image(),), {"mask_out": np.zeros((9, 9), np.uint8)}, "mask_out: True or"),
        (qip.Error, "gaussian", (image(), 5), {"sigma": 2}, "sigma: kernel"),
        (qip.Error, "gaussian", (image(),), {"origin": 2**31 - 5}, "origin: "),
        (qip.Error, "gaussian", (image(), 3), {"origin": 2**31 - 13, "mask": image()}, "origin: size"),
        (qip.Error, "gaussian", (image(), 1), {"origin": -(2**31), "mask_out": True}, "origin: size"),
        (qip.Error, "half", (image(),), {"origin": (0, 2**31 - 5)}, "origin: coordinates"),
        (qip.Error, "gaussian", (image(dtype="uint16"), 40), {}, "kernel: "),
        (qip.Error, "gaussian", (image(), 64), {"mask_out": True}, "kernel: the kernel size is above"),
        (qip.Error, "binomial", (image(), 3), {}, "passes: "),
        (qip.Error, "half", (image(), "z"), {}, "axis: "),
        (qip.Error, "pyramid", (image(), 5), {}, "levels: "),
    ],
)
def test_refused_before_anything_is_computed(kind, name, arguments, keywords, message):
    with pytest.raises(kind, match=message):
        getattr(qip.dask, name)(*arguments, **keywords)


def test_none_is_the_default():
    """The name of a result tells it and everything that it is made with."""
    lazy, none = image(), dict.fromkeys(["sample", "gain", "round", "origin"])
    assert qip.dask.gaussian(lazy, None, **none).name == qip.dask.gaussian(lazy).name
    assert qip.dask.half(lazy, None, origin=None).name == qip.dask.half(lazy).name
    assert qip.dask.binomial(lazy, None).name == qip.dask.binomial(lazy).name
