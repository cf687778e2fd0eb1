"""What a user would write by hand: a process of `qel read` and one of `qel analyze` for each file.

`run` keeps what they print. `entry_of` makes of it what a row of a dataset should be, from these texts, the file
itself, and nothing else.
"""

import concurrent.futures
import hashlib
import json
import os
import signal
import subprocess

import numpy as np

BLOCK = 4096  # default of --block
RANGE_BLOCK = 512  # the last block is pushed in two parts for "audio range"
FILE_FIELDS = ("path", "error", "length_seconds", "sample_rate_hz", "channels", "channels_cancel")


def list_files(folder):
    """All files and links to files, in the order of bytes."""
    found = []
    for directory, _, names in os.walk(os.fsencode(folder)):
        found += [os.path.relpath(os.path.join(directory, name), os.fsencode(folder)) for name in names]
    return sorted(found)


def _is_done(run, number):
    """Whether an earlier loop has done a file: the status of a command is written when it has ended."""
    for what in ("analyze", "read"):
        status = run.loop / f"{number}.{what}.status"
        if not status.exists():
            return False
        if json.loads(status.read_text()) != 0:
            return True
    return True


def _run_one(run, task):
    number, path = task
    if _is_done(run, number):
        return
    for what, command in (("analyze", run.analyze_command()), ("read", run.read_command())):
        outputs = [(run.loop / f"{number}.{what}{end}").open("wb") for end in ("", ".err")]
        try:
            ended = subprocess.run([*run.limited(), *command, "--", path], cwd=run.music, stdin=subprocess.DEVNULL,
                                   stdout=outputs[0], stderr=outputs[1], timeout=run.seconds).returncode
        except subprocess.TimeoutExpired:
            ended = None
        unfinished = run.loop / f"{number}.{what}.ended"
        unfinished.write_text(json.dumps(ended))
        unfinished.rename(run.loop / f"{number}.{what}.status")
        if ended != 0:
            break


def run(corpus):
    """Analyzes every so many-th file, two at a time, without those that are done already. Returns how many."""
    corpus.loop.mkdir(exist_ok=True)
    tasks = list(enumerate(list_files(corpus.music)))[::corpus.loop_step]
    with concurrent.futures.ThreadPoolExecutor(corpus.jobs) as pool:
        return len(list(pool.map(lambda task: _run_one(corpus, task), tasks)))


class Failed(Exception):
    """A file without results: kind of failure, or None where the tool does not tell it, and reason."""


def _document(corpus, number, what):
    """The entry of a file, and the warnings. Throws Failed."""
    base = corpus.loop / f"{number}.{what}"
    ended = json.loads(base.with_name(base.name + ".status").read_text())
    if ended is None:
        raise Failed("time", f"took longer than {corpus.seconds} s")
    if ended < 0:
        raise Failed("crash", f"the worker was ended by signal {-ended} ({signal.strsignal(-ended)})")
    lines = base.with_name(base.name + ".err").read_text(errors="backslashreplace").split("\n")[:-1]
    if ended != 0 and lines[-1].rpartition(": ")[2] == "out of memory":
        raise Failed("memory", f"needs more than {corpus.memory_mib} MiB of memory")
    entry = json.loads(base.read_bytes())["files"][0]
    if ended != 0:
        raise Failed(None, entry["error"])
    return entry, [line.rpartition(": warning: ")[2] for line in lines]


def entry_of(corpus, number, path):
    """The columns of the tables, and the arrays, that a file should have."""
    full = os.path.join(os.fsencode(corpus.music), path)
    columns = {"size": None, "hash": None, "modified_ns": None}
    if os.path.exists(full):
        data, stamp = open(full, "rb").read(), os.stat(full)
        columns = {"size": len(data), "hash": hashlib.sha256(data).hexdigest(), "modified_ns": stamp.st_mtime_ns}
    try:
        analyzed, warnings = _document(corpus, number, "analyze")
        read, more = _document(corpus, number, "read")
    except Failed as failed:
        return {**columns, "status": failed.args[0], "error": failed.args[1]}, {}, {}
    decoder = analyzed["decoder"]
    all_warnings = list(dict.fromkeys([*warnings, *more]))
    columns |= {"format": decoder["container"], "codec": decoder["codec"], "status": "ok", "error": None,
                "decoder": f"{decoder['name']}, {decoder['library']}", "duration_seconds": analyzed["duration"],
                "sample_rate_hz": analyzed["sample_rate"], "channels": analyzed["file_channels"],
                "warnings": "\n".join(all_warnings) or None}
    readings = {name: value for name, value in read.items() if name not in FILE_FIELDS}
    return columns, readings, arrays_of(analyzed)


def arrays_of(entry):
    """The arrays of all keys, by the names of NPZ files. Their shapes are lost: all are flat."""
    arrays = {}
    for key, found in entry["keys"].items():
        name, values = key.replace(" ", "-"), found["values"]
        if key == "onset data":
            arrays |= _events(name, values)
            continue
        kind = {"dominant key": "S", "global number of beats per bar": "<u4"}.get(key, "<f4")
        arrays[name] = np.array(values, kind if kind == "S" else "<f8").astype(kind).ravel()
        arrays[f"{name}.time"] = _times(found, entry)
    return arrays


def _events(name, results):
    channels = [channel for result in results for channel in result]
    counts = [len(channel[0]) for channel in channels]
    arrays = {f"{name}.channel": np.repeat(np.arange(len(channels), dtype="<u4"), counts)}
    for at, (column, kind) in enumerate((("time", "<f8"), ("strength", "<f4"))):
        arrays[f"{name}.{column}"] = np.array([x for channel in channels for x in channel[at]], "<f8").astype(kind)
    return arrays


def _times(key, entry):
    """When the results begin, in seconds."""
    count, rate = key["count"], key["sample_rate"]
    if key["delivered"] == "at end":
        return np.zeros(count)
    if key["delivered"] == "per push":
        begins = list(range(0, entry["frames"], BLOCK))
        begins += [entry["frames"] // RANGE_BLOCK * RANGE_BLOCK] * (count - len(begins))
        return np.array(begins) / rate
    return np.arange(count) * key["hop"] / key["results_per_frame"] / rate
