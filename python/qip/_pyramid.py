"""Pictures at half, quarter ... resolution."""

from __future__ import annotations

import collections.abc
import operator
from typing import Any, SupportsIndex, overload

from numpy.typing import NDArray

from qip._core import E_ARGUMENT, Error, half
from qip._types import Mask, Picture


def _refusal(text: str) -> Error:
    error = Error("levels: " + text)
    error.status = E_ARGUMENT
    return error


def halve_repeatedly(
    half: collections.abc.Callable[..., Any], image: Any, levels: Any, mask: Any
) -> list[Any]:
    """What pyramid returns, by a function that halves any kind of array."""
    try:
        count = operator.index(levels)
    except TypeError:
        raise TypeError(f"levels: an int is needed, not {type(levels).__name__}") from None
    if count < 0:
        raise _refusal(f"{count} is less than 0")
    results: list[Any] = []
    for level in range(count):
        if mask is None:
            image = half(image)
            results.append(image)
        else:
            image, mask = half(image, mask=mask, mask_out=True)
            results.append((image, mask))
        if image.size == 0:
            raise _refusal(f"after {level} of {count} there is one row or column, which cannot be halved")
    return results


@overload
def pyramid(image: Picture, levels: SupportsIndex, *, mask: None = None) -> list[NDArray[Any]]: ...
@overload
def pyramid(
    image: Picture, levels: SupportsIndex, *, mask: Mask
) -> list[tuple[NDArray[Any], NDArray[Any]]]: ...
def pyramid(image: Any, levels: SupportsIndex, *, mask: Any = None) -> list[Any]:
    """Halve a picture `levels` times: [half(image), half(half(image)), ...].

    image   (rows, columns) of uint8 or uint16.
    levels  how many pictures to return, from 0 on; the image itself is not one of them.
    mask    uint8 or bool of the image's shape: weights of the pixels from 0 to 255, which are halved too.

    Returns a list of pictures; with a mask, of pairs (picture, mask).
    Raises qip.Error when a level would have no pixel left, and what half raises.
    """
    return halve_repeatedly(half, image, levels, mask)
