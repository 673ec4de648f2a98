"""
A cheap sensor
==============

This sensor has forty dead pixels, whose values also occur in the scene, and columns that are off by 1 K. Since the scene
moves over the sensor and the faults do not, the precise pipeline recognises them. No option is needed for that.
"""

import numpy as np
import oravo_superres

import scene

values = scene.picture()
sharp = scene.truth(values)
frames = scene.taken(values, scene.shifts(12))
random = np.random.default_rng(4)
frames += random.normal(0, 1, scene.WIDTH).astype(np.float32)
rows, columns = random.integers(4, scene.HEIGHT - 4, 40), random.integers(4, scene.WIDTH - 4, 40)
frames[:, rows, columns] = random.uniform(20, 35, 40)

result = oravo_superres.reconstruct(frames, reference=5)
scene.show({"a frame": frames[6]}, columns=1)

# %%
# The result, beside that of the pipeline for live cameras, which does not look for faults, from five of the frames:
live = oravo_superres.reconstruct(frames[4:9], reference=2, pipeline="float").image
images = {"bicubic": scene.bicubic(frames[6]), "float": live, "precise": result.image}
scene.show(images)
for name, image in images.items():
    print(f"{name:8} {scene.psnr(image, sharp):5.1f} dB")

# %%
# What the precise pipeline learnt about the sensor:
planted = np.zeros(frames[0].shape, bool)
planted[rows, columns] = True
print(f"{(result.dead_pixels & planted).sum()} of {planted.sum()} dead pixels found, "
      f"{(result.dead_pixels & ~planted).sum()} others taken for dead")
scene.show({"pattern that was subtracted": result.pattern}, span=(-2, 2), unit="K", columns=1, colours="coolwarm")
