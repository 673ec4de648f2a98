"""A scene with known truth, and a camera that moves before it; what the programs beside it draw with."""

import matplotlib.pyplot as plt
import numpy as np
from scipy.ndimage import gaussian_filter, map_coordinates

HEIGHT, WIDTH = 96, 128  # of frames
FINE = 8  # pixels of the scene in one of a frame
BLUR = 0.683  # the camera's, optics and pixel together, in pixels of the enlarged image


def picture():
    """Degrees Celsius: bars that get finer than a pixel, a warm disc, a slanted edge, and a hot spot. Softened, so that the
    grid of the enlarged image can hold what there is."""
    y, x = np.mgrid[0:HEIGHT * FINE, 0:WIDTH * FINE] / FINE
    values = 20 + 4 * x / WIDTH
    for i, period in enumerate((6.0, 4.0, 3.0, 2.4, 2.0, 1.6)):
        inside = (np.abs(x - 14 - 20 * i) < 8) & (np.abs(y - 22) < 14)
        values = np.where(inside & (np.floor(2 * x / period) % 2 == 0), values + 10, values)
    values = np.where((x - 34) ** 2 + (y - 66) ** 2 < 18 ** 2, 30 + 3 * np.cos(x) * np.cos(0.7 * y), values)
    values = np.where((x - 80 + 0.2 * y > 0) & (y > 46), values + 6, values)
    return softened(np.where((x - 108) ** 2 + (y - 70) ** 2 < 1.5 ** 2, 45, values))


def softened(values, sigma=0.5):
    """Blurred by sigma, in pixels of the enlarged image."""
    return gaussian_filter(values, sigma * FINE / 2, mode="nearest")


def shifts(count, seed=1):
    """Displacements of a hand that holds a camera, in pixels of the frames; none for the frame in the middle."""
    moved = np.random.default_rng(seed).uniform(-1.2, 1.2, (count, 2))
    moved[count // 2] = 0
    return moved


def taken(values, moved, noise=0.1, blur=BLUR, seed=1):
    """Frames of the scene as a camera takes them that moves so far: frame(p + d) = scene(p)."""
    soft = softened(values, blur)
    random = np.random.default_rng(seed)
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    places = [((y - dy + 0.5) * FINE - 0.5, (x - dx + 0.5) * FINE - 0.5) for dx, dy in moved]
    frames = [map_coordinates(soft, place, order=3, mode="nearest") for place in places]
    return np.stack([frame + random.normal(0, noise, frame.shape) for frame in frames]).astype(np.float32)


def truth(values):
    """The scene at the places of the enlarged image's pixels."""
    y, x = (np.mgrid[0:2 * HEIGHT, 0:2 * WIDTH] + 0.5) * FINE / 2 - 0.5
    return map_coordinates(values, (y, x), order=3, mode="nearest")


def bicubic(frame):
    """The frame at the same places, by cubic splines."""
    y, x = (np.mgrid[0:2 * HEIGHT, 0:2 * WIDTH] - 0.5) / 2
    return map_coordinates(frame, (y, x), order=3, mode="nearest")


def psnr(image, sharp):
    inner = (slice(8, -8), slice(8, -8))
    return 20 * np.log10(np.ptp(sharp) / np.sqrt(np.nanmean((image[inner] - sharp[inner]) ** 2)))


def show(images, span=(18, 42), part=np.s_[:, :], unit="degrees Celsius", columns=3, colours="inferno"):
    """Images beside each other under their labels, with one scale of colours."""
    plt.rcParams["savefig.bbox"] = "tight"
    rows = -(-len(images) // columns)
    figure, axes = plt.subplots(rows, columns, figsize=(3.4 * columns, 2.9 * rows), squeeze=False, constrained_layout=True)
    for axis in axes.flat:
        axis.axis("off")
    for axis, (label, image) in zip(axes.flat, images.items()):
        drawn = axis.imshow(image[part], cmap=colours, vmin=span[0], vmax=span[1], interpolation="nearest")
        axis.set_title(label, fontsize=10)
    figure.colorbar(drawn, ax=axes, label=unit, shrink=0.7)
