"""
Noise, and the number of frames
===============================

The gain over bicubic enlargement for frames with more and less noise, and for bursts of more and fewer frames. It is
measured against the known truth, with all parameters at their defaults.
"""

import matplotlib.pyplot as plt
import oravo_superres

import scene

values = scene.picture()
sharp = scene.truth(values)


def gain(frames, **options):
    """Decibels over bicubic enlargement of the same reference frame."""
    reference = len(frames) // 2
    image = oravo_superres.reconstruct(frames, reference=len(frames) - 1 - reference, **options).image
    return scene.psnr(image, sharp) - scene.psnr(scene.bicubic(frames[reference]), sharp)


noises = [0.05, 0.1, 0.3, 1.0]
bursts = [scene.taken(values, scene.shifts(5), noise) for noise in noises]
for pipeline in ("precise", "float"):
    plt.semilogx(noises, [gain(burst, pipeline=pipeline) for burst in bursts], "o-", label=pipeline)
plt.xlabel("noise of a frame, K")
plt.ylabel("gain over bicubic, dB")
plt.xticks(noises, noises)
plt.ylim(bottom=0)
plt.grid(alpha=0.3)
plt.legend()
plt.title("five frames")

# %%
# More frames give a better image, as long as they see the same scene.
counts = [1, 2, 3, 5, 8, 12]
plt.figure()
for noise in (0.1, 1.0):
    gains = [gain(scene.taken(values, scene.shifts(count), noise)) for count in counts]
    plt.plot(counts, gains, "o-", label=f"{noise} K")
plt.xlabel("frames")
plt.ylabel("gain over bicubic, dB")
plt.grid(alpha=0.3)
plt.legend()
