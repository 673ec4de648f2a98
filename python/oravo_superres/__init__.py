"""Multi-frame super-resolution of infrared frames, for NumPy.

Slightly displaced frames of one scene become one image of twice the resolution::

    import numpy as np
    import oravo_superres

    frames = np.load("burst.npy")              # (n, height, width), degrees Celsius
    enlarged = oravo_superres.enhance(frames)  # (2 height, 2 width), float32, degrees Celsius

:func:`reconstruct` also reports how good the image is: its standard deviation, the motion of each frame, and how well it
predicts pixels that it has not seen. A live camera keeps a :class:`Session`, which is faster and less precise, and adds
its frames as they come.

Arrays are indexed [row, column]. Values are temperatures or radiances in one unit of the caller's choice; what lies
outside [-274, 5000], is not a number, is masked, or carries a :class:`PixelCode` counts as a defective pixel and is
repaired. Raw counts have a range of their own: ``counts=True``.
"""

from ._burst import FrameInfo, Reconstruction
from ._errors import BurstError, Status, SuperResolutionError, SuperResolutionWarning
from ._pixels import PixelCode, has_code
from ._session import WINDOW_SIZE, Session, enhance, reconstruct, stream
from ._version import __version__

__all__ = [
    "WINDOW_SIZE",
    "BurstError",
    "FrameInfo",
    "PixelCode",
    "Reconstruction",
    "Session",
    "Status",
    "SuperResolutionError",
    "SuperResolutionWarning",
    "__version__",
    "enhance",
    "has_code",
    "reconstruct",
    "stream",
]
