from collections.abc import Sequence
from typing import Any, Final, Literal, SupportsIndex, overload

import numpy as np
from numpy.typing import DTypeLike, NDArray

from qip._types import FloatPair, Integers, IntPair, Mask, Out, Picture, Real, Reals

E_ARGUMENT: Final[int]

class Error(ValueError):
    status: int

@overload
def gaussian(
    image: Picture,
    kernel: IntPair | None = None,
    *,
    sigma: FloatPair | None = None,
    sample: IntPair = 1,
    gain: float = 1.0,
    round: bool = True,
    dtype: DTypeLike = None,
    mask: Mask | None = None,
    reset_mask: Mask | None = None,
    mask_mode: SupportsIndex = 0,
    result_mode: SupportsIndex = 0,
    threshold: float = 0.0,
    origin: IntPair = (0, 0),
    roi: Integers | None = None,
    out: Out | None = None,
    mask_out: Out | Literal[False] | None = None,
) -> NDArray[Any]: ...
@overload
def gaussian(
    image: Picture,
    kernel: IntPair | None = None,
    *,
    sigma: FloatPair | None = None,
    sample: IntPair = 1,
    gain: float = 1.0,
    round: bool = True,
    dtype: DTypeLike = None,
    mask: Mask | None = None,
    reset_mask: Mask | None = None,
    mask_mode: SupportsIndex = 0,
    result_mode: SupportsIndex = 0,
    threshold: float = 0.0,
    origin: IntPair = (0, 0),
    roi: Integers | None = None,
    out: Out | None = None,
    mask_out: Literal[True],
) -> tuple[NDArray[Any], NDArray[np.uint8]]: ...
def gaussian_alone(image: Picture, kernel: IntPair | None = None, **keywords: Any) -> Any: ...
@overload
def half(
    image: Picture,
    axis: Literal["xy", "x", "y"] = "xy",
    *,
    mask: Mask | None = None,
    origin: IntPair = (0, 0),
    roi: Integers | None = None,
    out: Out | None = None,
    mask_out: Out | Literal[False] | None = None,
) -> NDArray[Any]: ...
@overload
def half(
    image: Picture,
    axis: Literal["xy", "x", "y"] = "xy",
    *,
    mask: Mask | None = None,
    origin: IntPair = (0, 0),
    roi: Integers | None = None,
    out: Out | None = None,
    mask_out: Literal[True],
) -> tuple[NDArray[Any], NDArray[np.uint8]]: ...
@overload
def binomial(
    image: Picture,
    passes: IntPair = 2,
    *,
    mask: Mask | None = None,
    out: Out | None = None,
    mask_out: Out | Literal[False] | None = None,
) -> NDArray[Any]: ...
@overload
def binomial(
    image: Picture,
    passes: IntPair = 2,
    *,
    mask: Mask | None = None,
    out: Out | None = None,
    mask_out: Literal[True],
) -> tuple[NDArray[Any], NDArray[np.uint8]]: ...
def result_mask(
    mask: Mask,
    kernel: IntPair = 1,
    *,
    sample: IntPair = 1,
    threshold: float = 0.0,
    centre_mask: Mask | None = None,
    out: Out | None = None,
) -> NDArray[np.uint8]: ...
def dest_rect(
    shape: Sequence[SupportsIndex],
    kernel: IntPair = 1,
    sample: IntPair = 1,
    origin: IntPair = (0, 0),
) -> tuple[int, int, int, int]: ...
@overload
def kernel_for_sigma(sigma: Real) -> int: ...
@overload
def kernel_for_sigma(sigma: Reals) -> tuple[int, int]: ...
@overload
def sigma_for_kernel(kernel: int | np.integer[Any]) -> float: ...
@overload
def sigma_for_kernel(kernel: Integers) -> tuple[float, float]: ...
def info() -> dict[str, Any]: ...
