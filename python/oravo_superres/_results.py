"""An image and what is known about it."""

from dataclasses import dataclass
from typing import Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from ._pixels import has_code

FloatImage = npt.NDArray[np.float32]


@dataclass(frozen=True, eq=False)
class FrameInfo:
    """What was found out about one frame. What the pipeline does not give is NaN.

    Attributes:
        used: whether the frame takes part.
        shift: displacement (dx, dy) of its centre in pixels, to the right and downwards: frame(p + d) = reference(p).
        shift_error: standard errors of the shift; precise.
        linear: 2 x 2 linear part of the motion about the centre, zero for a translation.
        gain: value - m = gain (reference - m) + offset, with m the reference's mean value; 1 unless precise.
        offset: see ``gain``, in the frames' unit; 0 unless precise.
        misfit: standard deviation of what the image leaves unexplained, in the frames' unit; precise.
        weight: mean weight of the frame's pixels, or share of its pixels that agree with the reference, 0 to 1.
    """

    used: bool
    shift: Tuple[float, float]
    shift_error: Tuple[float, float]
    linear: npt.NDArray[np.float64]
    gain: float
    offset: float
    misfit: float
    weight: float


@dataclass(frozen=True, eq=False)
class Reconstruction:
    """An enlarged image and what is known about it; arrays are [row, column], values in the frames' unit.

    Attributes:
        image: (factor height, factor width), float32; pixels that no frame has a value for carry a :class:`PixelCode`.
        deviation: standard deviation of the image's noise, of the same shape; NaN where the image has no value. None but
            for the precise pipeline, and for it with ``deviation=False``.
        weight: how many frames' worth of trusted values each pixel of the image rests on, of the same shape; None for the
            vector pipeline.
        pattern: (height, width) fixed pattern of the sensor that was subtracted, zeros where none was found; precise.
        dead_pixels: (height, width), True where a sensor pixel does not follow the scene and was left out; precise.
        masks: (n, height, width), True where a frame agrees with the reference, on its grid; float and reference.
        frames: a :class:`FrameInfo` for each frame, oldest first.
        figures: figures by the names of oravo_burst_figure() in capi/Burst.h, such as "noise", "gain_db", "seconds".
        warnings: sentences that say why to doubt the image, the gravest first; empty when all is well.
    """

    image: FloatImage
    deviation: Optional[FloatImage]
    weight: Optional[FloatImage]
    pattern: Optional[FloatImage]
    dead_pixels: Optional[npt.NDArray[np.bool_]]
    masks: Optional[npt.NDArray[np.bool_]]
    frames: List[FrameInfo]
    figures: Dict[str, float]
    warnings: List[str]

    @property
    def std(self) -> Optional[FloatImage]:
        """The same as `deviation`."""
        return self.deviation

    @property
    def weights(self) -> Optional[FloatImage]:
        """The same as `weight`."""
        return self.weight

    @property
    def masked_image(self) -> "np.ma.MaskedArray[Tuple[int, int], np.dtype[np.float32]]":
        """The image with the pixels masked that no frame has a value for."""
        return np.ma.masked_array(self.image, has_code(self.image))  # type: ignore[no-untyped-call]

    @property
    def shifts(self) -> npt.NDArray[np.float64]:
        """Displacements (dx, dy) of the frames, (n, 2), in pixels of the frames; frame(p + d) = reference(p)."""
        return np.array([frame.shift for frame in self.frames], np.float64).reshape(-1, 2)

    @property
    def gains(self) -> npt.NDArray[np.float64]:
        """Gain and offset of each frame, (n, 2), see :class:`FrameInfo`."""
        return np.array([(frame.gain, frame.offset) for frame in self.frames], np.float64).reshape(-1, 2)

    @property
    def reference(self) -> int:
        """Index of the reference frame in `frames`."""
        return int(self.figures["reference"])

    @property
    def noise(self) -> float:
        """Standard deviation of the frames' noise, in their unit; NaN unless precise."""
        return self._figure("noise")

    @property
    def smoothness(self) -> float:
        """Weight of the prior that was used, in units of the scene's contrast; NaN unless precise."""
        return self._figure("smoothness")

    @property
    def withheld_error(self) -> float:
        """Root mean square error of predicting withheld pixels of other frames by the image, in the frames' unit; 0 if there
        were none, NaN unless precise."""
        return self._figure("withheld_error")

    @property
    def bicubic_error(self) -> float:
        """Root mean square error of predicting the same pixels by bicubic interpolation of the reference."""
        return self._figure("bicubic_error")

    @property
    def leaning(self) -> float:
        """By how much the image fell back to the reference alone, 0 to 1, because the frames do not fit one image; NaN unless
        precise."""
        return self._figure("leaning")

    @property
    def trusted(self) -> bool:
        """Whether the image may be taken for better than bicubic interpolation of the reference; see `warnings`. Of
        pipelines other than precise, which do not judge themselves: whether there is no warning."""
        return bool(self.figures.get("trusted", not self.warnings))

    @property
    def doubts(self) -> List[str]:
        """The same as `warnings`."""
        return self.warnings

    def _figure(self, name: str) -> float:
        return self.figures.get(name, float("nan"))
