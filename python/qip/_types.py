"""Types of arguments and results, for checkers of types and for programs that annotate."""

from __future__ import annotations

import collections.abc
from typing import Any, SupportsIndex, TypeAlias

import numpy as np
from numpy.typing import NDArray

# Any object with the buffer protocol will do; Python 3.11 has no type for that.
Picture: TypeAlias = NDArray[np.uint8] | NDArray[np.uint16] | memoryview
Mask: TypeAlias = NDArray[np.uint8] | NDArray[np.bool_] | memoryview
Out: TypeAlias = NDArray[Any] | memoryview

# Numbers, pairs (x, y) of them, and either: one number means both.
Real: TypeAlias = float | np.floating[Any] | np.integer[Any]
Integers: TypeAlias = collections.abc.Sequence[SupportsIndex] | NDArray[np.integer[Any]]
Reals: TypeAlias = collections.abc.Sequence[float] | NDArray[np.floating[Any]]
IntPair: TypeAlias = SupportsIndex | Integers
FloatPair: TypeAlias = Real | Reals
