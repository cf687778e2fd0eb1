"""What runs over many files cost: processor time over a plain loop, the gain of a second process, memory."""

import os
import resource
import subprocess
import time
import wave

import numpy as np

from trials import fail
from trials.memory import MEBI, MemoryLog
from trials.ways import ENVIRONMENT, corpus_command, dask_cluster

RATE_HZ = 44100
LONG_SECONDS, SHORT_SECONDS = 20, 0.1
LONG_FILES, SHORT_FILES = 24, 300
LINKS = 8  # names for each long file in the trial of two processes, so that it lasts
TINY_SAMPLES = 80
TINY_FOLDER = 500  # files in a folder, which are one file with many names
MOST_SHARE, MOST_SECONDS, LEAST_GAIN = 0.05, 0.003, 1.85


def write_wav(path, samples, rate=RATE_HZ):
    with wave.open(os.fspath(path), "wb") as file:
        file.setparams((samples.shape[1], 2, rate, 0, "NONE", ""))
        file.writeframes(np.round(samples * 32767).astype("<i2").tobytes())


def chords(seconds, rng):
    """Chords that change every half a second, with a decay, over noise; two channels."""
    count = round(seconds * RATE_HZ)
    at = np.arange(count) / RATE_HZ
    part, since = (2 * at).astype(int), at % 0.5
    notes = 110 * 2 ** (rng.integers(0, 36, (part[-1] + 1, 3)) / 12)
    sound = sum(np.sin(2 * np.pi * notes[part, voice] * at) for voice in range(3)) * np.exp(-4 * since) / 5
    return np.stack([sound, 0.9 * sound], axis=1) + 0.01 * rng.standard_normal((count, 2))


def make_songs(folder, count, seconds):
    folder.mkdir()
    rng = np.random.default_rng(1)
    for number in range(count):
        write_wav(folder / f"{number:03}.wav", np.clip(chords(seconds, rng), -1, 1))


def measured(command, base):
    """Processor seconds and seconds of a command."""
    used, began = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    done = subprocess.run(command, cwd=base, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if done.returncode:
        fail(f"{command[:2]}: status {done.returncode}: {done.stderr}")
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - used.ru_utime - used.ru_stime, time.monotonic() - began


class Trials:
    """`qel read` over all files in one process is the plain loop that costs least; `qel batch` has the same work."""

    def __init__(self, qel, base, rounds):
        self.qel, self.base, self.rounds, self.runs = qel, base, rounds, 0

    def _batch(self, folder, jobs):
        self.runs += 1
        return [self.qel, "batch", folder, "--out", f"dataset{self.runs}", "--jobs", str(jobs), "--quiet"]

    def _least(self, commands, which):
        """The least figure of each command. They take turns, so that what disturbs one disturbs all."""
        figures = [[] for _ in commands]
        for _ in range(self.rounds):
            for found, command in zip(figures, commands):
                found.append(measured(command(), self.base)[which])
        return [min(found) for found in figures]

    def overhead(self, name, count, seconds):
        """Processor seconds of the loop and of the batch."""
        make_songs(self.base / name, count, seconds)
        files = sorted(str(path.relative_to(self.base)) for path in (self.base / name).iterdir())
        loop = [self.qel, "read", "--quiet", "--format", "csv", *files]
        return self._least([lambda: loop, lambda: self._batch(name, 1)], 0)

    def gain(self, name):
        """Seconds with one process, and with two."""
        links = self.base / "links"
        links.mkdir()
        for path in (self.base / name).iterdir():
            for number in range(LINKS):
                os.link(path, links / f"{number} {path.name}")
        return self._least([lambda: self._batch("links", 1), lambda: self._batch("links", 2)], 1)


def speed(qel, base, rounds):
    """Returns lines to print, and what misses its target."""
    trials, lines, missed = Trials(qel, base, rounds), [], []

    def told(line, is_met):
        lines.append(f"{line}: {'met' if is_met else 'MISSED'}")
        missed.extend([] if is_met else [line])

    loop, batch = trials.overhead("songs", LONG_FILES, LONG_SECONDS)
    told(f"{LONG_FILES} files of {LONG_SECONDS} s: loop {loop:.3f} s, batch {batch:.3f} s of processor time, "
         f"{100 * (batch / loop - 1):+.1f} %, at most {100 * MOST_SHARE:.0f} %", batch <= (1 + MOST_SHARE) * loop)
    loop, batch = trials.overhead("notes", SHORT_FILES, SHORT_SECONDS)
    each = (batch - loop) / SHORT_FILES
    told(f"{SHORT_FILES} files of {SHORT_SECONDS} s: loop {loop:.3f} s, batch {batch:.3f} s of processor time, "
         f"{1000 * each:+.2f} ms a file, at most {1000 * MOST_SECONDS:.0f} ms", each <= MOST_SECONDS)
    one, two = trials.gain("songs")
    told(f"{LONG_FILES * LINKS} files of {LONG_SECONDS} s: {one:.2f} s with one process, {two:.2f} s with two, "
         f"{one / two:.2f} times as fast, at least {LEAST_GAIN}", one >= LEAST_GAIN * two)
    return lines, missed


def make_tiny(folder, count):
    """So many names of sounds of 10 ms."""
    for number in range(count):
        path = folder / f"{number // TINY_FOLDER:04}" / f"{number:07}.wav"
        if number % TINY_FOLDER == 0:
            path.parent.mkdir(parents=True)
            write_wav(path, np.zeros((TINY_SAMPLES, 1)), 8000)
            first = path
        else:
            os.link(first, path)


def _watched(name, process, pids, count):
    with MemoryLog({name: process.pid, **pids}) as memory:
        began, (_, complaint) = time.monotonic(), process.communicate()
        seconds = time.monotonic() - began
    if process.returncode not in (0, 1) or complaint:
        fail(f"{name}: status {process.returncode}: {complaint.decode(errors='replace')}")
    most = "; ".join(f"{each} {max(sizes) / MEBI:.1f}" for each, sizes in memory.series.items() if sizes)
    return f"{count} files in {seconds:.0f} s, MiB at most: {most}"


def batch_memory(qel, base, count, jobs):
    command = [qel, "batch", f"tiny{count}", "--out", f"batch{count}", "--readings", "loudness", "--jobs", str(jobs),
               "--quiet"]
    process = subprocess.Popen(command, cwd=base, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    return _watched("driver of qel batch", process, {}, count)


def dask_memory(qel, base, count, jobs):
    """Each count with a scheduler and workers of its own."""
    place = base / f"cluster{count}"
    place.mkdir()
    with dask_cluster(place, jobs) as (address, processes):
        command = corpus_command(base / f"dask{count}", address, qel, f"tiny{count}", "--readings", "loudness")
        process = subprocess.Popen(command, cwd=base, env=ENVIRONMENT, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE)
        return _watched("driver of Dask", process, {name: each.pid for name, each in processes.items()}, count)


def memory(qel, base, counts, ways, jobs=2):
    for count in counts:
        make_tiny(base / f"tiny{count}", count)
        if "batch" in ways:
            yield batch_memory(qel, base, count, jobs)
        if "dask" in ways:
            yield dask_memory(qel, base, count, jobs)
