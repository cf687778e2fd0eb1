# %% [markdown]
# # Timbre similarity of a folder
#
# Which files of a folder sound alike? The notebook makes the folder: four instruments, each with six
# notes. Put the path of a folder of your own in place of it.

# %%
import tempfile
import wave
from pathlib import Path

import matplotlib.pyplot as plt
import numpy as np

import qelaudio

rate = 44100
rng = np.random.default_rng(1)


def tone(ratios, levels, decay, frequency, seconds=1.5):
    """Partials at multiples of a frequency, each with a level and a time to decay."""
    time = np.arange(round(seconds * rate)) / rate
    parts = [
        level * np.exp(-time / d) * np.sin(2 * np.pi * frequency * ratio * time + rng.uniform(0, 6))
        for ratio, level, d in zip(ratios, levels, decay)
        if frequency * ratio < 16000
    ]
    sound = np.sum(parts, axis=0) * np.minimum(1, time / 0.02)
    return 0.3 * rng.uniform(0.5, 1) * sound / np.abs(sound).max()


n = np.arange(1, 21)
instruments = {
    "flute": (n[:4], 1.0 / n[:4] ** 3, np.full(4, 9)),
    "clarinet": (n[::2], 1.0 / n[::2], np.full(10, 9)),
    "strings": (n, 1.0 / n, np.full(20, 9)),
    "bell": (np.array([0.5, 1, 1.2, 1.5, 2, 2.7, 3.8, 5.4]), np.full(8, 1.0), 2.0 / np.arange(1, 9)),
}
folder = Path(tempfile.mkdtemp())
for name, (ratios, levels, decay) in instruments.items():
    for note in (57, 60, 62, 65, 67, 70):
        samples = tone(ratios, levels, decay, 440 * 2 ** ((note - 69) / 12))
        with wave.open(str(folder / f"{name}-{note}.wav"), "wb") as file:
            file.setparams((1, 2, rate, 0, "NONE", ""))
            file.writeframes((samples * 32767).astype("<i2").tobytes())

files = sorted(folder.glob("*.wav"))
print(len(files), "files; the first:", files[0].name)

# %% [markdown]
# ## A few numbers for each file
#
# The reading `mfcc` describes the shape of the spectrum. Coefficient 0 is the level and is left out: a
# quieter copy should count as the same. Each file becomes the means and the standard deviations of the
# twelve other coefficients. More coefficients are not better here: they follow single harmonics, and so
# the notes.

# %%
def describe(path):
    values = qelaudio.read(path, "mfcc").mfcc.values[:, 1:]
    return np.concatenate([values.mean(axis=0), values.std(axis=0)])


features = np.array([describe(path) for path in files])
print(features.shape)

# %% [markdown]
# ## Distances
#
# The distance of two files is that of their vectors.

# %%
distances = np.linalg.norm(features[:, None] - features, axis=2)
labels = [path.stem for path in files]

fig, ax = plt.subplots(figsize=(6, 5))
image = ax.imshow(distances, cmap="viridis_r")
ax.set_xticks(range(len(files)), labels, rotation=90)
ax.set_yticks(range(len(files)), labels)
fig.colorbar(image, label="distance")
plt.show()

# %% [markdown]
# ## The nearest file
#
# For each file the nearest other one, and how often both are of one instrument.

# %%
np.fill_diagonal(distances, np.inf)
nearest = distances.argmin(axis=1)
pairs = [(labels[k], labels[other]) for k, other in enumerate(nearest)]
same = np.mean([a.split("-")[0] == b.split("-")[0] for a, b in pairs])
for pair in pairs[::6]:
    print("{} is nearest to {}".format(*pair))
print(f"same instrument: {same:.0%}")

# %% [markdown]
# ## A map
#
# The two directions in which the files differ most, by principal components.

# %%
_, _, directions = np.linalg.svd(features - features.mean(axis=0), full_matrices=False)
places = (features - features.mean(axis=0)) @ directions[:2].T

fig, ax = plt.subplots(figsize=(6, 4))
for name in instruments:
    chosen = [k for k, label in enumerate(labels) if label.startswith(name)]
    ax.scatter(*places[chosen].T, label=name)
ax.set(xlabel="first component", ylabel="second component")
ax.legend()
plt.show()
