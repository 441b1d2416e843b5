"""The filters by their formulas, in exact integers: a filter along an axis is a matrix."""

from __future__ import annotations

import numpy as np


def box_cube(kernel: int) -> np.ndarray:
    box = np.ones(kernel + 1, np.int64)
    return np.convolve(np.convolve(box, box), box)


def centres(length: int, kernel: int, sample: int, origin: int) -> tuple[int, list[int]]:
    """The first result of an axis and the centres of all, counted from the first pixel."""
    phase = sample // 2 + (sample & (kernel + 1) & 1) - 1
    candidates = range((origin - 2) // sample - 2, (origin + length + 2) // sample + 2)
    results = [i for i in candidates if origin <= i * sample + phase < origin + length]
    return results[0] if results else 0, [i * sample + phase - origin for i in results]


def cube_matrix(length: int, kernel: int, sample: int, origin: int, taps: np.ndarray) -> np.ndarray:
    """Reflection with the edge repeated, once; beyond that there is nothing."""
    _, middle = centres(length, kernel, sample, origin)
    matrix = np.zeros((len(middle), length), np.int64)
    for row, centre in enumerate(middle):
        for j, tap in enumerate(taps):
            p = centre - 3 * kernel // 2 + j
            if -length <= p < 2 * length:
                matrix[row, -1 - p if p < 0 else 2 * length - 1 - p if p >= length else p] += tap
    return matrix


def cube(pixels, kernel, sample, origin, taps=box_cube) -> np.ndarray:
    """The sums under the kernel (x, y)."""
    columns, rows = (
        cube_matrix(pixels.shape[1 - i], kernel[i], sample[i], origin[i], taps(kernel[i])) for i in range(2)
    )
    return rows @ pixels.astype(np.int64) @ columns.T


def at_centres(pixels, kernel, sample, origin) -> np.ndarray:
    columns, rows = (centres(pixels.shape[1 - i], kernel[i], sample[i], origin[i])[1] for i in range(2))
    return pixels[np.ix_(rows, columns)]


def valid_enough(valid, kernel, sample, origin, threshold) -> np.ndarray:
    counts = cube(valid, kernel, sample, origin, lambda k: np.ones(3 * k + 1, np.int64))
    area = (3 * kernel[0] + 1) * (3 * kernel[1] + 1)
    return counts >= max(int(area * threshold + 0.5), 1)


def five_taps(length: int, step: int) -> np.ndarray:
    """1 4 6 4 1 at every step-th pixel; the edge repeats."""
    matrix = np.zeros((length // step, length), np.int64)
    for row in range(length // step):
        for j, tap in enumerate((1, 4, 6, 4, 1)):
            matrix[row, min(max(step * row + j - 2, 0), length - 1)] += tap
    return matrix


def binomial_pass(pixels, mask, axes, step) -> tuple[np.ndarray, np.ndarray]:
    """One pass along the axes, "x", "y" or "xy"; mask is None for no mask."""
    columns = five_taps(pixels.shape[1], step) if "x" in axes else np.eye(pixels.shape[1], dtype=np.int64)
    rows = five_taps(pixels.shape[0], step) if "y" in axes else np.eye(pixels.shape[0], dtype=np.int64)
    shift = 4 * len(axes)
    weights = np.full(pixels.shape, 255, np.int64) if mask is None else mask.astype(np.int64)
    total = rows @ (pixels * weights) @ columns.T
    weight = rows @ weights @ columns.T
    result = np.where(weight > 0, (total + (weight >> 1)) // np.maximum(weight, 1), 0)
    return result, (weight + (1 << shift - 1)) >> shift
