# %% [markdown]
# # Key and chroma
#
# Which pitch classes sound in the sample recording, and in which key it is. The piece is in D major.

# %%
import matplotlib.pyplot as plt
import numpy as np

import qelaudio

song = "examples/audio/ode-to-joy.flac"
notes = ["C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"]
analysis = qelaudio.analyze(song, ["chroma", "key-correlation"])
analysis

# %% [markdown]
# ## Chroma
#
# `values` has the shape (channels, frames, pitch classes). The first pitch class is C, and the greatest of
# a frame is 1. In silence there is no greatest one: the values are not a number.

# %%
chroma = analysis["chroma"]
values = chroma.values[0]
is_sounding = np.isfinite(values).all(axis=1)
print(f"{len(values)} frames, {np.sum(~is_sounding)} of them silent")

fig, ax = plt.subplots()
chroma.plot(ax, cmap="magma", interpolation="nearest")
ax.set_yticks(range(12), notes)
ax.set(xlim=(0, 20), ylabel="")
plt.show()

# %% [markdown]
# The mean over the piece. D, F# and A, the triad of the key, stand out. Nothing plays C# as often as the
# picture says: it is the third harmonic of F#, which counts for the pitch class that it has.

# %%
mean = values[is_sounding].mean(axis=0)
strongest = sorted(notes[k] for k in np.argsort(mean)[-3:])
print("strongest:", ", ".join(strongest))

fig, ax = plt.subplots()
ax.bar(notes, mean, color=["tab:red" if note in strongest else "tab:gray" for note in notes])
ax.set(ylabel="mean chroma")
plt.show()

# %% [markdown]
# ## From chroma to a key
#
# The key "pitch class porofile key correlation" (the name is spelled so) compares each frame with the
# profiles of 12 major and 12 minor keys. The mean over all frames is the best evidence for the piece.

# %%
fit = analysis["key-correlation"].values[0].mean(axis=0)
names = [f"{note} major" for note in notes] + [f"{note} minor" for note in notes]
order = np.argsort(fit)[::-1]
for k in order[:3]:
    print(f"{names[k]:8} {fit[k]:.3f}")

# %%
fig, ax = plt.subplots()
ax.bar(np.arange(12) - 0.2, fit[:12], 0.4, label="major")
ax.bar(np.arange(12) + 0.2, fit[12:], 0.4, label="minor")
ax.set_xticks(range(12), notes)
ax.set(ylabel="mean correlation")
ax.legend()
plt.show()

# %% [markdown]
# The reading `key` does the same and adds a strength, the next best key, and the stretches of one key.

# %%
key = qelaudio.read(song, "key").key
print(f"{key.main}, strength {key.strength:.2f}; then {key.runner_up}")
for segment in key.segments:
    print(f"{segment.begin:6.2f} s to {segment.end:6.2f} s: {segment.key}")

# %% [markdown]
# ## One chroma per beat
#
# Frames come 86 times per second. The mean of the frames whose middle lies between two beats is steadier
# and needs one column per beat. White lines are the bars of the score, of four beats.

# %%
beats = qelaudio.read(song, "beats").beats.times
inside = np.searchsorted(beats, chroma.centre_times) - 1
columns = [values[is_sounding & (inside == k)].mean(axis=0) for k in range(len(beats) - 1)]
per_beat = np.array([column / column.max() for column in columns])
print(f"{len(values)} frames became {len(per_beat)} beats")

fig, ax = plt.subplots()
ax.imshow(per_beat.T, origin="lower", aspect="auto", cmap="magma", interpolation="nearest")
ax.vlines(np.arange(0, len(per_beat), 4) - 0.5, -0.5, 11.5, color="white", linewidth=0.8)
ax.set_yticks(range(12), notes)
ax.set(xlabel="beat", xlim=(-0.5, 31.5))
plt.show()
