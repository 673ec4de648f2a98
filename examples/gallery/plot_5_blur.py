"""
The camera's blur
=================

The blur is the one thing that the frames do not reveal. Here a burst of a camera with a blur of 0.9 is enhanced with
several values of ``psf_sigma``: too small a value leaves the image soft, too large a one rings at edges.
``oravo-superres measure blur`` finds the right value from a frame of a slanted edge.
"""

import matplotlib.pyplot as plt
import numpy as np
import oravo_superres

import scene

values = scene.picture()
sharp = scene.truth(values)
frames = scene.taken(values, scene.shifts(8), blur=0.9)
sigmas = [0.5, 0.683, 0.8, 0.9, 1.0, 1.1, 1.3]
images = {sigma: oravo_superres.reconstruct(frames, reference=3, psf_sigma=sigma).image for sigma in sigmas}
bicubic = scene.bicubic(frames[4])

plt.plot(sigmas, [scene.psnr(image, sharp) for image in images.values()], "o-", label="enhanced")
plt.axhline(scene.psnr(bicubic, sharp), color="grey", label="bicubic")
plt.xlabel("psf_sigma")
plt.ylabel("PSNR, dB")
plt.grid(alpha=0.3)
plt.legend()

# %%
# A closer look at the disc:
scene.show({str(sigma): images[sigma] for sigma in (0.5, 0.9, 1.3)}, part=np.s_[92:176, 24:116])
