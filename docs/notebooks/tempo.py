# %% [markdown]
# # Tempo and beats
#
# The tempo of a recording, its beats, and how far they are from the score. The recording is the sample
# of this project: 16 bars at 112 BPM, of which every beat is known.

# %%
import matplotlib.pyplot as plt
import numpy as np

import qelaudio

song = "examples/audio/ode-to-joy.flac"
answers = qelaudio.read(song, ["tempo", "beats", "bars", "onsets", "running_tempo"])
tempo = answers.tempo
print(f"{tempo.bpm:.2f} BPM, steady: {tempo.is_steady}, strength {tempo.strength:.2f}")
print(f"the next best: {tempo.alternative_bpm:.2f} BPM")

# %% [markdown]
# `strength` estimates the chance that the answer is right. Half and double tempo are the most frequent
# mistakes: keep the next best tempo where it matters.
#
# ## Beats
#
# Beats come with their strength. The grid is a line through the beats; there is one if the tempo is steady.

# %%
beats = answers.beats
print(f"{len(beats)} beats; the first at {beats.times[0]:.3f} s")
print(f"grid: {beats.grid.bpm:.2f} BPM from {beats.grid.first:.3f} s")

# %% [markdown]
# The score puts beat k at 0.5 + 60 k / 112 seconds. Each beat is compared with the nearest one of the score.

# %%
score = 0.5 + np.arange(64) * 60 / 112
nearest = score[np.abs(beats.times[:, None] - score).argmin(axis=1)]
is_in_score = (beats.times > score[0] - 0.2) & (beats.times < score[-1] + 0.2)
errors = (beats.times - nearest)[is_in_score]
found = len(np.unique(nearest[is_in_score]))
print(f"{found} of {len(score)} beats of the score found, {np.sum(~is_in_score)} beats outside of it")
print(f"error: median {1000 * np.median(errors):.1f} ms, largest {1000 * np.abs(errors).max():.1f} ms")

# %%
onsets = answers.onsets
fig, ax = plt.subplots()
ax.vlines(onsets.times, 0, onsets.strengths, color="tab:blue", linewidth=2, label="onsets")
ax.vlines(beats.times, 0, 1.1, color="tab:red", linewidth=1, label="beats")
ax.vlines(answers.bars.downbeats, 1.1, 1.2, color="black", linewidth=3, label="down beats")
ax.set(xlim=(0, 12), ylim=(0, 1.5), xlabel="s", ylabel="onset strength")
ax.legend(loc="upper right", ncols=3)
plt.show()

# %% [markdown]
# ## Bars
#
# The score has four beats per bar, but two are found, with a high strength. Bass, drums and harmony of this song accent
# the second half of a bar nearly like the first, so it fits bars of two as well. 2 and 4 beats per bar are confused
# most often.

# %%
print(f"{answers.bars.beats_per_bar} beats per bar, strength {answers.bars.strength:.2f}")
bars = score[::4]
distances = np.abs(answers.bars.downbeats[:, None] - bars).min(axis=0)
print(f"{np.sum(distances < 0.07)} of {len(bars)} down beats of the score are down beats")

# %% [markdown]
# ## The tempo until now
#
# The running tempo at each moment uses only what was heard before. It needs some seconds to settle, and
# reads 20 BPM, its least value, until then.

# %%
running = answers.running_tempo
seconds = np.arange(len(running.bpm)) * running.hop_seconds
settled = np.median(running.bpm[seconds > 10])
fig, ax = plt.subplots()
ax.plot(seconds, running.bpm, label="running tempo")
ax.axhline(tempo.bpm, color="tab:red", linestyle="--", label="tempo of the whole")
ax.set(xlabel="s", ylabel="BPM", ylim=(0, 180))
ax.legend()
plt.show()
print(f"median after 10 s: {settled:.1f} BPM")

# %% [markdown]
# ## Why not the key "beat data"?
#
# The definition of a key is fixed. The times of "beat data" are those of frames that begin before the attack,
# so they are early.

# %%
key = qelaudio.analyze(song, "beats")["beats"]
early = key.times - score[np.abs(key.times[:, None] - score).argmin(axis=1)]
print(f'"{key.name}": median {1000 * np.median(early):.0f} ms from the score')

fig, ax = plt.subplots()
edges = np.arange(-60, 21, 2.5)
ax.hist(1000 * errors, edges, alpha=0.7, label="reading: beats")
ax.hist(1000 * early, edges, alpha=0.7, label='key: "beat data"')
ax.set(xlabel="ms after the beat of the score", ylabel="beats")
ax.legend()
plt.show()
