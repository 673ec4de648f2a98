"""Multi-frame super-resolution of infrared frames, for NumPy.

Slightly displaced frames of one scene become one image of twice the resolution::

    import numpy as np
    import oravo_superres

    frames = np.load("burst.npy")              # (n, height, width), degrees Celsius
    enlarged = oravo_superres.enhance(frames)  # (2 height, 2 width), float32, degrees Celsius

:func:`reconstruct` also reports how good the image is: its standard deviation, the motion of each frame, and how well it
predicts pixels that it has not seen. :func:`enhance_many` takes many bursts and uses all processors. A live camera keeps a
:class:`Burst`, or goes through :func:`enhance_stream`::

    for image in oravo_superres.enhance_stream(camera(), pipeline="float", scale=0.01, offset=-273.15):
        show(image)

:class:`Parameters` lists what can be set. :class:`Session` and :func:`stream` are the C library's first interface, with the
float pipeline alone and one thread at a time.

Arrays are indexed [row, column]. Values are temperatures or radiances in one unit of the caller's choice; what lies
outside [-274, 5000], is not a number, is masked, or carries a :class:`PixelCode` counts as a defective pixel and is
repaired. Raw counts have a range of their own: ``counts=True``.
"""

from ._burst import Burst
from ._enhance import enhance, reconstruct
from ._errors import BurstError, BurstStatus, Status, SuperResolutionError, SuperResolutionWarning
from ._parameters import Parameters
from ._pixels import PixelCode, has_code
from ._results import FrameInfo, Reconstruction
from ._series import enhance_many, enhance_stream, reconstruct_many, reconstruct_stream
from ._session import WINDOW_SIZE as _WINDOW_SIZE
from ._session import Session, stream
from ._version import __version__

WINDOW_SIZE = _WINDOW_SIZE
"""Frames that one image of a :class:`Session` is made of."""

__all__ = [
    "WINDOW_SIZE",
    "Burst",
    "BurstError",
    "BurstStatus",
    "FrameInfo",
    "Parameters",
    "PixelCode",
    "Reconstruction",
    "Session",
    "Status",
    "SuperResolutionError",
    "SuperResolutionWarning",
    "__version__",
    "enhance",
    "enhance_many",
    "enhance_stream",
    "has_code",
    "reconstruct",
    "reconstruct_many",
    "reconstruct_stream",
    "stream",
]
