"""Pixels: equal to those of the C call for every layout and parameter, and to the formulas."""

from __future__ import annotations

import hypothesis
import hypothesis.strategies as st
import numpy as np
import pytest

import formulas
import library
import qip

hypothesis.settings.register_profile("here", deadline=None, max_examples=150, database=None)
hypothesis.settings.load_profile("here")

LAYOUTS = {
    "contiguous": np.ascontiguousarray,
    "memoryview": lambda a: memoryview(np.ascontiguousarray(a)),
    "rows apart": lambda a: np.pad(a, ((0, 0), (3, 4)))[:, 3:-4],
    "upside down": lambda a: a[::-1].copy()[::-1],
    "mirrored": lambda a: a[:, ::-1].copy()[:, ::-1],
    "columns apart": lambda a: a.repeat(2, axis=1)[:, ::2],
    "transposed": np.asfortranarray,
    "one row for all": lambda a: np.broadcast_to(a[:1], a.shape),
    "other byte order": lambda a: a.astype(a.dtype.newbyteorder()),
    "odd address": lambda a: np.frombuffer(b"-" + a.tobytes(), a.dtype, offset=1).reshape(a.shape),
}
PAIRS = st.tuples(st.integers(0, 9), st.integers(0, 9))
SHAPES = st.tuples(st.integers(1, 60), st.integers(1, 60))
ORIGINS = st.tuples(st.integers(-50, 50), st.integers(-50, 50))
STEPS = st.tuples(st.integers(1, 4), st.integers(1, 4))


@st.composite
def pixels(draw, shape, dtypes=(np.uint8, np.uint16)):
    """An array of random values in one of the layouts."""
    dtype = np.dtype(draw(st.sampled_from(dtypes)))
    random = np.random.default_rng(draw(st.integers(0, 9)))
    high = 2 if dtype == bool else np.iinfo(dtype).max + 1
    array = random.integers(0, high, shape).astype(dtype)
    return LAYOUTS[draw(st.sampled_from(sorted(LAYOUTS)))](array)


def masks(shape):
    """None, or a mask of which many pixels are 0."""
    return st.none() | pixels(shape, (np.uint8, bool)).map(
        lambda m: np.asarray(m) if np.asarray(m).dtype == bool else np.where(np.asarray(m) > 90, m, 0)
    )


def as_weights(mask):
    return mask * np.uint8(255) if mask is not None and mask.dtype == bool else mask


def part_of(draw, rect):
    """None or a part of a rectangle."""
    if draw(st.booleans()):
        return None
    sides = []
    for first, size in zip(rect[:2], rect[2:]):
        start = draw(st.integers(0, size - 1))
        sides.append((first + start, draw(st.integers(1, size - start))))
    return (sides[0][0], sides[1][0], sides[0][1], sides[1][1])


@st.composite
def outs(draw, shape, dtype):
    """None, or an array to be written in place."""
    kind = draw(st.sampled_from(["none", "contiguous", "rows apart", "upside down"]))
    return None if kind == "none" else LAYOUTS[kind](np.full(shape, 77, dtype))


@hypothesis.given(st.data())
def test_gaussian_is_the_c_call(data):
    draw = data.draw
    image = draw(pixels(draw(SHAPES)))
    source = np.asarray(image)
    mask, reset = draw(masks(source.shape)), draw(masks(source.shape))
    kernel, sample, origin = draw(PAIRS), draw(STEPS), draw(ORIGINS)
    rect = qip.dest_rect(source.shape, kernel, sample, origin)
    hypothesis.assume(rect[2] > 0 and rect[3] > 0)
    roi = part_of(draw, rect)
    native = source.dtype.newbyteorder("=")
    dtype = np.dtype(draw(st.sampled_from([native, np.dtype(np.uint16)])))
    written = roi or rect
    gain, rounding = draw(st.sampled_from([1.0, 0.7, 2.0])), draw(st.booleans())
    mode, result_mode, threshold = draw(st.integers(0, 1)), draw(st.integers(0, 1)), draw(st.floats(0, 1))
    out = draw(outs((written[3], written[2]), dtype))
    result, result_mask = qip.gaussian(
        image, kernel, sample=sample, gain=gain, round=rounding, dtype=dtype, mask=mask, reset_mask=reset,
        mask_mode=mode, result_mode=result_mode, threshold=threshold, origin=origin, roi=roi, out=out,
        mask_out=True,
    )  # fmt: skip
    modes = library.MaskParams(mode, result_mode, threshold)
    params = library.Params(*sample, *kernel, gain, rounding, modes)
    expected, expected_mask = library.gaussian(
        source.astype(native), written, dtype, origin, params, as_weights(mask), as_weights(reset)
    )
    assert result.dtype == dtype and (out is None or result is out)
    np.testing.assert_array_equal(result, expected)
    np.testing.assert_array_equal(result_mask, expected_mask)
    if out is None:
        assert (qip.gaussian(source.copy("C"), (2, 1)) == qip.gaussian(image, kernel=[2, 1])).all()


@hypothesis.given(st.data())
def test_gaussian_is_the_formula(data):
    draw = data.draw
    image = np.asarray(draw(pixels(draw(SHAPES), [np.uint8])))
    kernel, sample, origin = draw(PAIRS), draw(STEPS), draw(ORIGINS)
    total = formulas.cube(image, kernel, sample, origin)
    weight = ((kernel[0] + 1) * (kernel[1] + 1)) ** 3
    where = (kernel, sample, origin)
    first = [formulas.centres(image.shape[1 - i], kernel[i], sample[i], origin[i])[0] for i in range(2)]
    rect = qip.dest_rect(image.shape, *where)
    assert rect[2:] == total.shape[::-1] and (total.size == 0 or list(rect[:2]) == first)
    result = qip.gaussian(image, kernel, sample=sample, origin=origin).astype(np.int64)
    assert result.shape == total.shape
    # Halves may fall to either side, and on one path what is half a unit of the sum above a half.
    assert (2 * abs(result * weight - total) <= weight + 2).all()

    mask = np.where(np.random.default_rng(1).random(image.shape) < 0.4, 0, 9).astype(np.uint8)
    threshold = draw(st.floats(0, 1))
    filled, valid = qip.gaussian(
        image, kernel, sample=sample, origin=origin, mask=mask, mask_mode=1, result_mode=1,
        threshold=threshold, mask_out=True,
    )  # fmt: skip
    is_valid = formulas.valid_enough(mask > 0, *where, threshold)
    weights = np.maximum(formulas.cube(mask > 0, *where), 1)
    mean = formulas.cube(image * (mask > 0), *where) / weights
    mean = np.where(is_valid, mean, formulas.at_centres(image, *where))
    np.testing.assert_array_equal(valid, is_valid * 255)
    assert (abs(filled - mean) <= np.where(is_valid, 1, 0)).all()


@hypothesis.given(st.data())
def test_result_mask_is_the_formula(data):
    draw = data.draw
    mask = np.asarray(draw(pixels(draw(SHAPES), (np.uint8, bool))))
    centre = draw(masks(mask.shape))
    kernel, sample, threshold = draw(PAIRS), draw(STEPS), draw(st.floats(0, 1))
    expected = formulas.valid_enough(as_weights(mask) >= 128, kernel, sample, (0, 0), threshold)
    if centre is not None:
        expected &= formulas.at_centres(centre, kernel, sample, (0, 0)) != 0
    result = qip.result_mask(mask, kernel, sample=sample, threshold=threshold, centre_mask=centre)
    np.testing.assert_array_equal(result, expected * 255)


@hypothesis.given(st.data())
def test_half_is_the_formula(data):
    draw = data.draw
    image = draw(pixels(draw(SHAPES)))
    source, mask, axis = np.asarray(image), None, draw(st.sampled_from(["xy", "x", "y"]))
    mask = draw(masks(source.shape))
    origin = draw(ORIGINS)
    expected, expected_mask = formulas.binomial_pass(source, as_weights(mask), axis, 2)
    first = [origin[i] // 2 if "xy"[i] in axis else origin[i] for i in range(2)]
    roi = part_of(draw, (*first, *expected.shape[::-1])) if expected.size else None
    if roi:
        x, y = roi[0] - first[0], roi[1] - first[1]
        expected, expected_mask = (a[y : y + roi[3], x : x + roi[2]] for a in (expected, expected_mask))
    out = draw(outs(expected.shape, source.dtype.newbyteorder("=")))
    mask_out = draw(outs(expected.shape, np.uint8))
    result = qip.half(image, axis, mask=mask, origin=origin, roi=roi, out=out, mask_out=mask_out)
    np.testing.assert_array_equal(result, expected)
    if mask_out is not None:
        np.testing.assert_array_equal(mask_out, expected_mask)


@hypothesis.given(st.data())
def test_binomial_and_pyramid_are_the_formula(data):
    draw = data.draw
    image = draw(pixels(draw(SHAPES)))
    source = np.asarray(image)
    mask = draw(masks(source.shape))
    passes = draw(st.tuples(*[st.sampled_from([0, 2, 4])] * 2))
    expected, expected_mask = source, np.full(source.shape, 255) if mask is None else as_weights(mask)
    for i in range(2):
        axes = "x" * (i < passes[0] // 2) + "y" * (i < passes[1] // 2)
        if axes:
            expected, expected_mask = formulas.binomial_pass(expected, expected_mask, axes, 1)
    result, result_mask = qip.binomial(image, passes, mask=mask, mask_out=True)
    np.testing.assert_array_equal(result, expected)
    np.testing.assert_array_equal(result_mask, expected_mask)

    level, level_mask = source, as_weights(mask)
    for made in qip.pyramid(image, min(source.shape).bit_length() - 1, mask=mask):
        level, level_mask = formulas.binomial_pass(level, level_mask, "xy", 2)
        np.testing.assert_array_equal(made if mask is None else made[0], level)
        if mask is None:
            level_mask = None
        else:
            np.testing.assert_array_equal(made[1], level_mask)


def test_sigma_and_kernel_are_inverse():
    kernels = list(range(300)) + [2**k + d for k in range(9, 31) for d in (-1, 0, 1)] + [2**31 - 1]
    assert [qip.kernel_for_sigma(qip.sigma_for_kernel(k)) for k in kernels] == kernels
    for sigma in np.linspace(0, 20, 999):
        found = qip.kernel_for_sigma(sigma)
        distances = [abs(((k + 1) ** 2 - 1) / 4 - sigma**2) for k in (found - 1, found, found + 1)]
        assert min(distances[found == 0 :]) == pytest.approx(distances[1], abs=1e-9)
    assert qip.kernel_for_sigma((0.1, np.float32(2))) == (0, 3) and qip.sigma_for_kernel([0, 1])[0] == 0
    image = np.random.default_rng(2).integers(0, 256, (40, 40), np.uint8)
    assert (qip.gaussian(image, sigma=(1, 2)) == qip.gaussian(image, (1, 3))).all()


def test_results_without_pixels():
    image = np.ones((1, 2), np.uint8)
    assert qip.gaussian(image, 2, sample=3).shape == (0, 1) and qip.half(image).shape == (0, 1)
    assert qip.half(image, "x").shape == (1, 1) and qip.pyramid(image, 0) == []
