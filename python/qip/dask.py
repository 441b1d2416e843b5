"""The functions of qip on chunked pictures: lazily, on as many machines as dask has workers.

Pictures and masks are dask arrays, (rows, columns); results are dask arrays too, of which nothing is
computed before they are asked for. Arguments are those of the functions of the same names in qip, and
wrong ones raise the same exceptions when the call is made. `roi` and `out` are missing: slice the result,
store it.

    >>> import dask.array, qip.dask
    >>> picture = dask.array.zeros((4000, 6000), dtype="uint8", chunks=1024)
    >>> qip.dask.gaussian(picture, sigma=3, sample=2).compute().shape
    (2000, 3000)

Every pixel is bit for bit that of the call on the whole picture, on one thread of a processor of the same
level. (Without masks the threads of that call make no difference, and with them hardly ever:
docs/arithmetic.md.) Each chunk of the result is made of the pixels under its kernels, from as many chunks
of the picture as they lie in; borders are those of the picture alone. Chunks that are too small to be
served as the whole would be are merged with neighbours: results have chunks of at least 33 rows and
columns. Where the numbers along a row depend on where it begins, whole rows are smoothed at once: without
`mask`, from a uint8 picture, with kernel sizes whose product is above 10000, or rounding with a gain by
which half the sum of the weights cannot be divided exactly. A kernel size above 13000 in y does the same
to whole columns.

A worker thread holds a chunk of the result, the part of the picture and of the masks under its kernels,
and for a moment the chunks that this is made of. Chunks of the picture are computed once; so besides, the
workers together hold a few rows of chunks, which the next rows of the result need too.
"""

from __future__ import annotations

import bisect
import collections.abc
import dataclasses
import functools
import itertools
import math
import operator
from typing import Any, Literal, SupportsIndex, TypeAlias, overload

import dask.array.core as da
import dask.base
import numpy as np
from dask.highlevelgraph import HighLevelGraph
from numpy.typing import DTypeLike, NDArray

import qip
from qip._core import E_ARGUMENT, gaussian_alone
from qip._pyramid import halve_repeatedly
from qip._types import FloatPair, IntPair

__all__ = ["binomial", "gaussian", "half", "pyramid"]

# What dask has no types for.
_tokenize: collections.abc.Callable[..., str] = dask.base.tokenize
_layers: collections.abc.Callable[..., HighLevelGraph] = HighLevelGraph.from_collections
_array: collections.abc.Callable[..., da.Array] = da.Array
_from_array: collections.abc.Callable[..., da.Array] = da.from_array

# What lies under a part of the result, in parts that lie side by side.
_Parts: TypeAlias = list[NDArray[Any]]

# Smaller results may be served in another way than the whole one. So may sources of fewer than 9 sampling
# steps, which larger results do not have.
_LEAST_SIDE = 33


# ---- one axis ----


@dataclasses.dataclass(frozen=True)
class _Axis:
    """What the kernels of one axis reach, counted from the first pixel of the picture.

    Pixel i of the result, first <= i < first + count, is centred on pixel i * step + phase and made of the
    pixels from `before` in front of that to `after` behind it.
    """

    first: int
    count: int
    step: int
    phase: int
    before: int
    after: int
    splits: bool = True  # whether pieces give what the whole gives


@dataclasses.dataclass(frozen=True)
class _Piece:
    """A stretch of an axis of the result, and the pixels start ... stop - 1 of the picture that make it."""

    first: int
    count: int
    start: int
    stop: int


def _pieces(axis: _Axis, chunks: collections.abc.Sequence[int]) -> list[_Piece]:
    """A piece for each chunk: the results that are centred in it, merged where they are too few."""
    end = axis.first + axis.count
    length = sum(chunks)
    cuts = [axis.first]
    for edge in itertools.accumulate(chunks) if axis.splits else ():
        cut = -((axis.phase - edge) // axis.step)  # the first that is centred on `edge` or behind it
        if cut - cuts[-1] >= _LEAST_SIDE and end - cut >= _LEAST_SIDE:
            cuts.append(cut)
    cuts.append(end)
    pieces = []
    for first, last in itertools.pairwise(cuts):
        # A piece at an end of the picture takes all of it: where there is but one, it is as large as the
        # picture, whose size decides how it is served.
        start, stop = 0, length
        if first > axis.first:
            start = max(first * axis.step + axis.phase - axis.before, 0)
        if last < end:
            stop = min((last - 1) * axis.step + axis.phase + axis.after + 1, length)
        pieces.append(_Piece(first, last - first, start, stop))
    return pieces


def _overlaps(
    piece: _Piece, edges: collections.abc.Sequence[int]
) -> collections.abc.Iterator[tuple[int, int, int]]:
    """The chunks that a piece lies in: index, and which of the chunk's pixels."""
    index = bisect.bisect_right(edges, piece.start) - 1
    while edges[index] < piece.stop:
        low, high = edges[index], edges[index + 1]
        if low < high:
            yield index, max(piece.start - low, 0), min(piece.stop, high) - low
        index += 1


# ---- what workers do ----


def _cut(whole: NDArray[Any], axis: int, low: int, high: int) -> NDArray[Any]:
    part = whole[low:high] if axis == 0 else whole[:, low:high]
    # A small part must not keep all of the array in memory.
    return part.copy() if 2 * part.size < whole.size else part


def _joined(parts: _Parts | None, axis: int = 1) -> Any:
    if parts is None:
        return None
    return parts[0] if len(parts) == 1 else np.concatenate(parts, axis)


def _gaussian_part(
    rows: _Piece,
    columns: _Piece,
    image: _Parts,
    mask: _Parts | None,
    reset_mask: _Parts | None,
    *,
    origin: tuple[int, int],
    **keywords: Any,
) -> Any:
    return gaussian_alone(
        _joined(image),
        mask=_joined(mask),
        reset_mask=_joined(reset_mask),
        origin=(origin[0] + columns.start, origin[1] + rows.start),
        roi=(columns.first, rows.first, columns.count, rows.count),
        **keywords,
    )


def _half_part(
    rows: _Piece,
    columns: _Piece,
    image: _Parts,
    mask: _Parts | None,
    *,
    axis: Any,
    mask_out: Any,
) -> Any:
    # Parts begin with an even row and column of the picture where they are halved.
    left = columns.first - (columns.start // 2 if "x" in axis else columns.start)
    top = rows.first - (rows.start // 2 if "y" in axis else rows.start)
    roi = (left, top, columns.count, rows.count)
    return qip.half(_joined(image), axis, mask=_joined(mask), roi=roi, mask_out=mask_out)


def _binomial_part(
    rows: _Piece,
    columns: _Piece,
    image: _Parts,
    mask: _Parts | None,
    *,
    passes: tuple[int, int],
    mask_out: Any,
) -> Any:
    top, left = rows.first - rows.start, columns.first - columns.start
    wanted = (slice(top, top + rows.count), slice(left, left + columns.count))
    results = qip.binomial(_joined(image), passes, mask=_joined(mask), mask_out=mask_out)
    return (results[0][wanted], results[1][wanted]) if mask_out else results[wanted]


# ---- graphs ----


def _source(
    graph: dict[Any, Any], suffix: str, array: da.Array, rows: list[_Piece], columns: list[_Piece]
) -> collections.abc.Callable[[_Piece, _Piece], list[Any]]:
    """What gives the keys of the parts under two pieces, side by side; `graph` gets the tasks for them.

    The rows under a piece are cut out of each column of chunks first, the columns out of these strips: this
    makes dask go from row to row, with a few rows of chunks in memory. With a task for each neighbour of a
    chunk, its order would keep most of the picture.
    """
    edges = [list(itertools.accumulate(chunks, initial=0)) for chunks in array.chunks]
    down = {row: list(_overlaps(row, edges[0])) for row in rows}
    along = {column: list(_overlaps(column, edges[1])) for column in columns}
    strips: dict[tuple[_Piece, int], Any] = {}

    def part(place: tuple[int, int], whole: Any, axis: int, size: int, low: int, high: int) -> Any:
        if high - low == size:
            return whole
        key = (f"qip-{('rows', 'columns')[axis]}-{suffix}", *place, low, high)
        graph[key] = (_cut, whole, axis, low, high)
        return key

    def strip(row: _Piece, j: int) -> Any:
        parts = [
            part((i, j), (array.name, i, j), 0, array.chunks[0][i], low, high)
            for i, low, high in down[row]
        ]
        if len(parts) == 1:
            return parts[0]
        key = (f"qip-strip-{suffix}", row.first, j)
        graph[key] = (_joined, parts, 0)
        return key

    def under(row: _Piece, column: _Piece) -> list[Any]:
        for j, _, _ in along[column]:
            if (row, j) not in strips:
                strips[row, j] = strip(row, j)
        return [
            part((row.first, j), strips[row, j], 1, array.chunks[1][j], low, high)
            for j, low, high in along[column]
        ]

    return under


def _smoothed(
    function: str,
    make: collections.abc.Callable[..., Any],
    axes: tuple[_Axis, _Axis],
    arrays: collections.abc.Sequence[da.Array | None],
    dtypes: collections.abc.Sequence[DTypeLike],
) -> Any:
    """The result of make(rows, columns, parts of each array), or a pair of them for two dtypes.

    axes   of the columns, then of the rows.
    arrays the image, then masks of its shape or None.
    """
    image = arrays[0]
    assert image is not None
    if axes[0].count <= 0 or axes[1].count <= 0:
        shape = (max(axes[1].count, 0), max(axes[0].count, 0))
        empty = tuple(_from_array(np.zeros(shape, dtype)) for dtype in dtypes)
        return empty if len(dtypes) > 1 else empty[0]
    names = [None if array is None else array.name for array in arrays]
    token = _tokenize(function, make, axes, names, image.chunks)
    columns, rows = (_pieces(axis, chunks) for axis, chunks in zip(axes, reversed(image.chunks)))
    cuts: dict[Any, Any] = {}
    sources = [
        None if array is None else _source(cuts, f"{number}-{token}", array, rows, columns)
        for number, array in enumerate(arrays)
    ]
    name = f"qip-{function}-{token}"
    graph = {
        (name, i, j): (make, row, column, *(source and source(row, column) for source in sources))
        for i, row in enumerate(rows)
        for j, column in enumerate(columns)
    }
    dependencies = [array for array in arrays if array is not None]
    layers = _layers(name, {**cuts, **graph}, dependencies=dependencies)
    chunks = (tuple(row.count for row in rows), tuple(column.count for column in columns))
    if len(dtypes) == 1:
        return _array(layers, name, chunks, dtype=dtypes[0])
    pairs = _array(layers, name, chunks, dtype=dtypes[0])  # of which no one sees more than its items
    results = []
    for item, dtype in enumerate(dtypes):
        own = f"qip-{function}-{item}-{token}"
        items = {(own, *key[1:]): (operator.getitem, key, item) for key in graph}
        layers = _layers(own, items, dependencies=[pairs])
        results.append(_array(layers, own, chunks, dtype=dtype))
    return tuple(results)


# ---- arguments ----


def _check_array(name: str, array: Any) -> None:
    if not isinstance(array, da.Array):
        raise TypeError(f"{name}: a dask array is needed, not {type(array).__name__}")
    if any(math.isnan(size) for size in array.shape):
        error = qip.Error(f"{name}: has chunks of unknown sizes; call its compute_chunk_sizes() first")
        error.status = E_ARGUMENT
        raise error


def _check(
    function: collections.abc.Callable[..., Any],
    image: da.Array,
    masks: dict[str, da.Array | None],
    mask_out: bool | None,
) -> list[np.dtype[Any]]:
    """Has `function` refuse what it would refuse of the whole picture; the types of the results otherwise.

    It is given stand-ins for the arrays: one pixel each, and those of the arrays' sizes where these differ,
    which it refuses before it looks at a pixel or takes memory for them.
    """
    arrays = {"image": image} | {name: mask for name, mask in masks.items() if mask is not None}
    for name, array in arrays.items():
        _check_array(name, array)
    if mask_out is not None and not isinstance(mask_out, bool):
        raise TypeError(f"mask_out: True or False is needed, not {type(mask_out).__name__}")
    are_alike = all(array.shape == image.shape for array in arrays.values())
    stand_ins = {}
    for name, array in arrays.items():
        shape = [min(size, 1) for size in array.shape] if are_alike else array.shape
        stand_ins[name] = np.broadcast_to(np.zeros((), array.dtype), shape)
    results = function(**stand_ins, mask_out=mask_out)
    return [result.dtype for result in results] if mask_out else [results.dtype]


def _pair(value: Any) -> tuple[int, int]:
    try:
        x = y = operator.index(value)
    except TypeError:
        x, y = map(operator.index, value)
    return x, y


# ---- gaussian ----


def _is_exact(start: float, greatest: int) -> bool:
    """Whether doubles hold all sums that begin at `start` and stay below 16 times `greatest`."""
    if not math.isfinite(start):
        return False
    numerator, denominator = start.as_integer_ratio()
    return numerator + 16 * greatest * denominator <= 2**53


def _splits(kernel: tuple[int, int], gain: float, is_rounded: bool) -> tuple[bool, bool]:
    """Whether sums of 8-bit pixels may begin at any column, and at any row."""
    along, down = kernel[0] + 1, kernel[1] + 1
    weights = (along * down) ** 3
    with np.errstate(all="ignore"):  # gains may be 0 or infinite in single precision
        half = 0.5 * (np.float64(weights) / np.float64(np.float32(gain)))
    is_exact_along = _is_exact(float(half) if is_rounded else 0.0, 255 * weights)
    return along == 1 or is_exact_along, _is_exact(0.0, 255 * down**3)


def _gaussian_axis(first: int, count: int, kernel: int, sample: int, origin: int, splits: bool) -> _Axis:
    phase = sample // 2 + (sample & (kernel + 1) & 1) - 1 - origin
    before = 3 * kernel // 2
    return _Axis(first, count, sample, phase, before, 3 * kernel - before, splits)


@overload
def gaussian(
    image: da.Array,
    kernel: IntPair | None = None,
    *,
    sigma: FloatPair | None = None,
    sample: IntPair = 1,
    gain: float = 1.0,
    round: bool = True,
    dtype: DTypeLike = None,
    mask: da.Array | None = None,
    reset_mask: da.Array | None = None,
    mask_mode: SupportsIndex = 0,
    result_mode: SupportsIndex = 0,
    threshold: float = 0.0,
    origin: IntPair = (0, 0),
    mask_out: Literal[False] | None = None,
) -> da.Array: ...
@overload
def gaussian(
    image: da.Array,
    kernel: IntPair | None = None,
    *,
    sigma: FloatPair | None = None,
    sample: IntPair = 1,
    gain: float = 1.0,
    round: bool = True,
    dtype: DTypeLike = None,
    mask: da.Array | None = None,
    reset_mask: da.Array | None = None,
    mask_mode: SupportsIndex = 0,
    result_mode: SupportsIndex = 0,
    threshold: float = 0.0,
    origin: IntPair = (0, 0),
    mask_out: Literal[True],
) -> tuple[da.Array, da.Array]: ...
def gaussian(
    image: da.Array,
    kernel: IntPair | None = None,
    *,
    sigma: FloatPair | None = None,
    sample: IntPair = 1,
    gain: float = 1.0,
    round: bool = True,
    dtype: DTypeLike = None,
    mask: da.Array | None = None,
    reset_mask: da.Array | None = None,
    mask_mode: SupportsIndex = 0,
    result_mode: SupportsIndex = 0,
    threshold: float = 0.0,
    origin: IntPair = (0, 0),
    mask_out: bool | None = None,
) -> Any:
    """Smooth a chunked picture by three passes of a box of kernel + 1 pixels: qip.gaussian, lazily.

    image     (rows, columns), a dask array of uint8 or uint16, of known chunks.
    mask, reset_mask
              dask arrays of uint8 or bool, of the image's shape and any chunks.
    mask_out  True: return (result, mask), two dask arrays.

    All other arguments, and the shape and type of the result, are those of qip.gaussian.
    Raises qip.Error (a ValueError) or TypeError, which name the argument, before anything is computed.
    """
    sample = 1 if sample is None else sample
    gain = 1.0 if gain is None else gain
    round = True if round is None else round
    origin = 0 if origin is None else origin
    keywords = {
        "gain": gain,
        "round": round,
        "dtype": dtype,
        "mask_mode": mask_mode,
        "result_mode": result_mode,
        "threshold": threshold,
    }
    check = functools.partial(qip.gaussian, kernel=kernel, sigma=sigma, sample=sample, **keywords)
    masks = {"mask": mask, "reset_mask": reset_mask}
    dtypes = _check(functools.partial(check, origin=origin), image, masks, mask_out)
    if sigma is not None:
        kernel = qip.kernel_for_sigma(sigma)
    size, step, corner = _pair(1 if kernel is None else kernel), _pair(sample), _pair(origin)
    left, top, width, height = qip.dest_rect(image.shape, size, step, corner)
    has_doubles = mask is None and image.dtype.itemsize == 1
    splits = _splits(size, gain, round) if has_doubles else (True, True)
    axes = (
        _gaussian_axis(left, width, size[0], step[0], corner[0], splits[0]),
        _gaussian_axis(top, height, size[1], step[1], corner[1], splits[1]),
    )
    if width > 0 and height > 0:
        # The kernels at both ends of the result decide whether all that they reach has coordinates.
        for last in (False, True):
            centre = [
                corner[i] + axis.phase + (axis.first + last * (axis.count - 1)) * axis.step
                for i, axis in enumerate(axes)
            ]
            _check(functools.partial(check, origin=centre), image, masks, mask_out)
    make = functools.partial(
        _gaussian_part, origin=corner, kernel=size, sample=step, mask_out=mask_out, **keywords
    )
    return _smoothed("gaussian", make, axes, (image, mask, reset_mask), dtypes)


# ---- half, binomial, pyramid ----


def _binomial_axis(length: int, step: int, reach: int) -> _Axis:
    return _Axis(0, length // step, step, 0, reach, reach)


@overload
def half(
    image: da.Array,
    axis: Literal["xy", "x", "y"] = "xy",
    *,
    mask: da.Array | None = None,
    origin: IntPair = (0, 0),
    mask_out: Literal[False] | None = None,
) -> da.Array: ...
@overload
def half(
    image: da.Array,
    axis: Literal["xy", "x", "y"] = "xy",
    *,
    mask: da.Array | None = None,
    origin: IntPair = (0, 0),
    mask_out: Literal[True],
) -> tuple[da.Array, da.Array]: ...
def half(
    image: da.Array,
    axis: Literal["xy", "x", "y"] = "xy",
    *,
    mask: da.Array | None = None,
    origin: IntPair = (0, 0),
    mask_out: bool | None = None,
) -> Any:
    """Smooth a chunked picture by the kernel 1 4 6 4 1 and keep every second pixel: qip.half, lazily.

    image     (rows, columns), a dask array of uint8 or uint16, of known chunks.
    mask      a dask array of uint8 or bool, of the image's shape and any chunks.
    mask_out  True: return (result, mask), two dask arrays.

    All other arguments, and the shape and type of the result, are those of qip.half; no pixel depends on
    the origin. Raises qip.Error (a ValueError) or TypeError, which name the argument, before anything is
    computed.
    """
    axis = "xy" if axis is None else axis
    origin = 0 if origin is None else origin
    check = functools.partial(qip.half, axis=axis, origin=origin)
    dtypes = _check(check, image, {"mask": mask}, mask_out)
    if any(_pair(origin)):
        qip.dest_rect(image.shape, 0, 1, origin)  # refuses coordinates beyond 32 bits, as the whole call does
    height, width = image.shape
    axes = (
        _binomial_axis(width, *((2, 2) if "x" in axis else (1, 0))),
        _binomial_axis(height, *((2, 2) if "y" in axis else (1, 0))),
    )
    make = functools.partial(_half_part, axis=axis, mask_out=mask_out)
    return _smoothed("half", make, axes, (image, mask), dtypes)


@overload
def binomial(
    image: da.Array,
    passes: IntPair = 2,
    *,
    mask: da.Array | None = None,
    mask_out: Literal[False] | None = None,
) -> da.Array: ...
@overload
def binomial(
    image: da.Array, passes: IntPair = 2, *, mask: da.Array | None = None, mask_out: Literal[True]
) -> tuple[da.Array, da.Array]: ...
def binomial(
    image: da.Array,
    passes: IntPair = 2,
    *,
    mask: da.Array | None = None,
    mask_out: bool | None = None,
) -> Any:
    """Smooth a chunked picture by the kernel 1 4 6 4 1, several times over: qip.binomial, lazily.

    image     (rows, columns), a dask array of uint8 or uint16, of known chunks.
    mask      a dask array of uint8 or bool, of the image's shape and any chunks.
    mask_out  True: return (result, mask), two dask arrays.

    passes, and the shape and type of the result, are those of qip.binomial.
    Raises qip.Error (a ValueError) or TypeError, which name the argument, before anything is computed.
    """
    passes = 2 if passes is None else passes
    dtypes = _check(functools.partial(qip.binomial, passes=passes), image, {"mask": mask}, mask_out)
    both = _pair(passes)  # 2 for each pass, which reaches 2 pixels
    height, width = image.shape
    axes = (_binomial_axis(width, 1, both[0]), _binomial_axis(height, 1, both[1]))
    make = functools.partial(_binomial_part, passes=both, mask_out=mask_out)
    return _smoothed("binomial", make, axes, (image, mask), dtypes)


@overload
def pyramid(image: da.Array, levels: SupportsIndex, *, mask: None = None) -> list[da.Array]: ...
@overload
def pyramid(
    image: da.Array, levels: SupportsIndex, *, mask: da.Array
) -> list[tuple[da.Array, da.Array]]: ...
def pyramid(image: da.Array, levels: SupportsIndex, *, mask: da.Array | None = None) -> list[Any]:
    """Halve a chunked picture `levels` times: qip.pyramid, lazily.

    image   (rows, columns), a dask array of uint8 or uint16, of known chunks.
    mask    a dask array of uint8 or bool, of the image's shape and any chunks.

    Returns a list of dask arrays; with a mask, of pairs (picture, mask).
    Raises what qip.pyramid raises, before anything is computed.
    """
    return halve_repeatedly(half, image, levels, mask)
