"""Chunked pictures: every function gives what it gives for the whole picture."""

from __future__ import annotations

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

SOME = hypothesis.settings(deadline=None, max_examples=60, database=None)
SIDES = st.integers(1, 40) | st.integers(41, 200)
PAIRS = st.tuples(st.integers(0, 9), st.integers(0, 9))


@st.composite
def chunked(draw, shape, dtype):
    """A picture, whole and in chunks, some of which may be empty: flat areas, which show the path that made them."""
    random = np.random.default_rng(draw(st.integers(0, 99)))
    high = 2 if dtype == bool else draw(st.sampled_from([4, np.iinfo(dtype).max + 1]))
    patch = draw(st.sampled_from([1, 30]))
    whole = random.integers(0, high, shape).repeat(patch, 0).repeat(patch, 1)[: shape[0], : shape[1]].astype(dtype)
    cuts = [draw(st.lists(st.integers(0, length), max_size=6)) for length in shape]
    sizes = [tuple(map(int, np.diff([0, *sorted(cut), length]))) for cut, length in zip(cuts, shape)]
    return whole, da.from_array(whole, tuple(sizes))


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
        sample=draw(st.tuples(st.integers(1, 4), st.integers(1, 12))),
        gain=draw(st.sampled_from([1.0, 0.5, 1.25, 2.0])),
        round=draw(st.booleans()),
        dtype=draw(st.sampled_from([None, np.uint16])),
        mask_mode=draw(st.integers(0, 1)),
        result_mode=draw(st.integers(0, 1)),
        threshold=draw(st.sampled_from([0.0, 0.4, 1.0])),
        origin=draw(st.tuples(st.integers(-50, 50), st.integers(-50, 50))),
        mask_out=mask_out,
    )


@pytest.mark.parametrize("level", ["plain", "auto"])
@pytest.mark.parametrize(
    "kernel, gain, value, shape",
    [((2, 2), 1.25, 2, (40, 4000)), ((220, 220), 1.0, 255, (250, 1500)), ((0, 15000), 1.0, 255, (15500, 40))],
)
def test_sums_that_depend_on_where_they_begin(level, kernel, gain, value, shape):
    """The half of 583.2, added at every column, and sums above 2^53 are not exact in doubles."""
    whole = np.full(shape, value, np.uint8)
    for rounds in False, True:
        image = whole, da.from_array(whole, (max(shape[0] // 3, 40), 90))
        check("gaussian", ({"image": image}, level), kernel, gain=gain, round=rounds)


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
    with distributed.LocalCluster(host="127.0.0.1", **options) as cluster, distributed.Client(cluster) as client:
        results = [
            *qip.dask.gaussian(lazy, 7, sample=(2, 3), mask=lazy.rechunk(170) > 99, mask_out=True),
            *qip.dask.pyramid(lazy, 2),
        ]
        found = client.gather(client.compute(results))
        logs = client.run(lambda dask_worker: len(dask_worker.data))
    expected = [*qip.gaussian(whole, 7, sample=(2, 3), mask=whole > 99, mask_out=True), *qip.pyramid(whole, 2)]
    assert all(map(np.array_equal, expected, found)) and len(logs) == 2


def image(shape=(9, 9), dtype="uint8"):
    return da.zeros(shape, dtype=dtype, chunks=4)


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
        (TypeError, "gaussian", (image(),), {"reset_mask": np.zeros((9, 9), bool)}, "reset_mask: a dask array"),
        (qip.Error, "gaussian", (image(),), {"reset_mask": image((9, 8))}, "reset_mask: has 9 rows of 8 pixels; .* 9 of 9"),
        (qip.Error, "half", (image(),), {"mask": image(dtype="uint16")}, "mask: .*'H'"),
        (TypeError, "half", (image(),), {"mask_out": np.zeros((9, 9), np.uint8)}, "mask_out: True or False"),
        (qip.Error, "gaussian", (image(), 5), {"sigma": 2}, "sigma: kernel"),
        (qip.Error, "gaussian", (image(),), {"origin": 2**31 - 5}, "origin: "),
        (qip.Error, "gaussian", (image(dtype="uint16"), 40), {}, "kernel: "),
        (qip.Error, "binomial", (image(), 3), {}, "passes: "),
        (qip.Error, "half", (image(), "z"), {}, "axis: "),
        (qip.Error, "pyramid", (image(), 5), {}, "levels: "),
    ],
)
def test_refused_before_anything_is_computed(kind, name, arguments, keywords, message):
    with pytest.raises(kind, match=message):
        getattr(qip.dask, name)(*arguments, **keywords)
