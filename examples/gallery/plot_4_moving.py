"""
Something moves on its own
==========================

A warm disc crosses the scene while the camera moves. The image shows it where the reference frame saw it. There, the other
frames are ignored, as the map of weights shows.
"""

import numpy as np
import oravo_superres

import scene

y, x = np.mgrid[0:scene.HEIGHT * scene.FINE, 0:scene.WIDTH * scene.FINE] / scene.FINE
still = scene.picture()
moved = scene.shifts(9)
frames, truths = [], []
for i, shift in enumerate(moved):
    values = np.where((x - 20 - 10 * i) ** 2 + (y - 52) ** 2 < 49, 38.0, still)
    values = scene.softened(values)
    frames.append(scene.taken(values, [shift], seed=i)[0])
    truths.append(scene.truth(values))

result = oravo_superres.reconstruct(frames, reference=4)
scene.show({"reference frame": frames[4].repeat(2, 0).repeat(2, 1), "enhanced": result.image, "truth": truths[4]})

# %%
# How many frames each pixel is made of: one at the disc, fewer than nine along its path, nine elsewhere.
scene.show({"weight": result.weight}, span=(0, 9), unit="frames", columns=1, colours="viridis")
for name, image in {"bicubic": scene.bicubic(frames[4]), "enhanced": result.image}.items():
    print(f"{name:9} {scene.psnr(image, truths[4]):.1f} dB")
