# %% [markdown]
# # A stream from a microphone
#
# A sound card hands over blocks of samples while the music plays, from a thread of its own. Here a thread
# plays that part: it hands over 20 s of notes in blocks of 1024 samples, as fast as they are taken. Replace
# `microphone` by the callback of your sound library, and leave the rest.

# %%
import queue
import threading
import time

import matplotlib.pyplot as plt
import numpy as np

import qelaudio

rate = 44100
t = np.arange(20 * rate) / rate
scale = 220 * 2 ** (np.array([0, 2, 4, 5, 7, 9, 11, 12]) / 12)
tones = np.sin(2 * np.pi * scale[(t // 0.5).astype(int) % 8] * t) * np.exp(-5 * (t % 0.5))
played = (0.4 * tones + np.random.default_rng(1).normal(0, 0.001, len(t))).astype(np.float32)

blocks = queue.Queue(maxsize=64)


def microphone():
    """Hands over the sound block by block, then None."""
    for begin in range(0, len(played), 1024):
        blocks.put(played[begin : begin + 1024].copy())
    blocks.put(None)


# %% [markdown]
# ## The loop
#
# An `Analyzer` takes blocks of any length and returns the results that they complete. Its own `block` is
# the step of the level meter ("temporal properties" has one result per block) and the longest wait of the
# other keys. The loop keeps only what it shows: the loudness, the spectral flux and the running tempo.

# %%
block = 512
keys = ["temporal properties", "spectrum flux properties", "tempo"]
level, flux, flux_times, tempo, tempo_times, spent = [], [], [], [], [], []

threading.Thread(target=microphone, daemon=True).start()
with qelaudio.Analyzer(keys, rate, block=block) as analyzer:
    while (samples := blocks.get()) is not None:
        start = time.perf_counter()
        came = analyzer.push(samples)
        if "temporal properties" in came:
            level.append(came["temporal properties"]["root mean square energy"][0])
        if "spectrum flux properties" in came:
            flux.append(came["spectrum flux properties"]["spectrum flux"][0])
            flux_times.append(came["spectrum flux properties"].centre_times)
        if "tempo" in came:
            tempo.append(came["tempo"].values[0, :, 0])
            tempo_times.append(came["tempo"].centre_times)
        spent.append(time.perf_counter() - start)
    analyzer.finish()

level, flux, tempo = map(np.concatenate, (level, flux, tempo))
flux_times, tempo_times = np.concatenate(flux_times), np.concatenate(tempo_times)
print(f"{len(spent)} pushes of 1024 samples, {1000 * 1024 / rate:.1f} ms of sound each")
print(f"{len(level)} levels, {len(flux)} frames of flux, {len(tempo)} tempi")

# %% [markdown]
# The time of a push, with the Python around it. It must stay below the length of a block.

# %%
spent = 1000 * np.array(spent)
print(f"median {np.median(spent):.2f} ms, 99 % below {np.percentile(spent, 99):.2f} ms")

# %% [markdown]
# ## Levels and attacks
#
# A note begins where the flux rises above its recent median by a factor. The rule looks only backwards, so
# that it could have decided while the sound came. The first note begins with the stream: nothing rises there.

# %%
recent = 43  # frames, half a second
attacks, rest_until = [], 0.0
for k, now in enumerate(flux_times):
    before = flux[max(0, k - recent) : k]
    is_loud = flux[k] > 20 + 8 * np.median(before) if k else False
    if is_loud and now >= rest_until:
        attacks.append(now)
        rest_until = now + 0.1
print(f"{len(attacks)} attacks; the first at", ", ".join(f"{a:.2f}" for a in attacks[:5]), "s")

fig, (top, bottom) = plt.subplots(2, sharex=True, figsize=(8, 4))
top.plot((np.arange(len(level)) + 0.5) * block / rate, 20 * np.log10(level))
top.set(ylabel="level, dBFS")
bottom.plot(flux_times, flux)
bottom.vlines(attacks, 0, flux.max(), color="tab:red", linewidth=0.8)
bottom.set(xlabel="s", ylabel="spectral flux", xlim=(0, 6))
plt.show()

# %% [markdown]
# ## The tempo until now
#
# The key "tempo" assumes a rate of 44032 Hz. The factor corrects it for others, and the median of three
# seconds removes single leaps. The notes come at 120 per minute.

# %%
corrected = tempo * rate / 44032
step = tempo_times[1] - tempo_times[0]
span = round(3 / step)
smooth = np.array([np.median(corrected[max(0, k - span) : k + 1]) for k in range(len(corrected))])
print(f"at the end: {smooth[-1]:.1f} BPM")

fig, ax = plt.subplots()
ax.plot(tempo_times, corrected, color="tab:gray", linewidth=0.8, label="as it came")
ax.plot(tempo_times, smooth, label="median of 3 s")
ax.axhline(120, color="tab:red", linestyle="--", linewidth=0.8)
ax.set(xlabel="s", ylabel="BPM", ylim=(40, 180))
ax.legend()
plt.show()

# %% [markdown]
# ## The same as of the whole
#
# Results do not depend on how the sound was cut: the call for a whole array gives the same bits.

# %%
whole = qelaudio.analyze(played, keys, sample_rate=rate, block=block)
is_same = np.array_equal(flux, whole["spectrum flux properties"]["spectrum flux"][0])
print("flux is the same:", is_same)
