#!/usr/bin/env python3
"""Reads what `qel analyze` writes as JSON and prints a short summary of each file.

    qel analyze song.flac | examples/summary.py

It shows how the JSON is read: a key's "values" holds one entry per result, by channel, in the order
of the key's "names".
"""

import json
import math
import sys

BAR = " .:-=+*#%@"
COLUMNS = 72


def column(key, name, channel=0):
    """The values of one name over the results, without those that are no finite number."""
    index = key["names"].index(name)
    return [v[channel][index] for v in key["values"] if v[channel][index] is not None]


def mean(values):
    return sum(values) / len(values) if values else math.nan


def curve(values):
    """The values as a line of characters, each the mean of a stretch."""
    if not values:
        return ""
    step = max(1, math.ceil(len(values) / COLUMNS))
    means = [mean(values[i:i + step]) for i in range(0, len(values), step)]
    top = max(means) or 1.0
    return "".join(BAR[min(len(BAR) - 1, int(max(m, 0.0) / top * len(BAR)))] for m in means)


def whole(entry, name):
    """The first channel of a result about all of the file; None where there is none."""
    key = entry["keys"].get(name)
    return key["values"][0][0] if key and key["values"] else None


def decibels(amplitude):
    return 20 * math.log10(amplitude) if amplitude > 0 else -math.inf


def line(label, text):
    print(f"  {label:<26}{text}")


def summarize(entry):
    print(f'{entry["file"]}: {entry["duration"]:.1f} s, {entry["sample_rate"]} Hz, '
          f'{entry["file_channels"]} channel(s), mixed {entry["mix"]}')
    keys = entry["keys"]
    if "temporal properties" in keys:
        key = keys["temporal properties"]
        levels = column(key, "root mean square energy")
        line("level", f"{decibels(mean(levels)):.1f} dB full scale on average, "
                      f"{decibels(max(levels)):.1f} dB at most")
        line("zero crossings", f'{mean(column(key, "zero crossing rate")) * entry["sample_rate"]:.0f} '
                               "per second")
        line("level over time", curve(levels))
    if "generic spectrum properties" in keys:
        key = keys["generic spectrum properties"]
        hz = entry["sample_rate"] / key["frame_size"]
        line("spectrum centroid", f'{mean(column(key, "spectrum centroid")) * hz:.0f} Hz on average')
        line("85 % of the energy below", f'{mean(column(key, "spectrum rolloff")):.0f} Hz on average')
        line("brightness above 1500 Hz", f'{mean(column(key, "spectrum brightness")):.2f}')
        line("brightness over time", curve(column(key, "spectrum brightness")))
    if "spectrum peak properties" in keys:
        key = keys["spectrum peak properties"]
        line("regularity of the peaks", f'{mean(column(key, "spectrum regularity")):.3g}')
    if "spectrum flux properties" in keys:
        key = keys["spectrum flux properties"]
        line("flux over time", curve(column(key, "spectrum flux")))
    if tempo := whole(entry, "global tempo"):
        line("tempo", f"{tempo[0]:.0f} BPM, or {tempo[1]:.0f}; share of the first {tempo[2]:.2f}")
    if beats := whole(entry, "beat data"):
        times = beats[0]
        line("beats", f"{len(times)}, from {times[0]:.2f} s to {times[-1]:.2f} s"
                      if times else "none")
    if meter := whole(entry, "global number of beats per bar"):
        line("beats per bar", str(meter[0]) if meter[0] else "none found")
    if downs := whole(entry, "down beat data"):
        line("down beats", str(len(downs[0])))


def main():
    document = json.load(sys.stdin)
    for entry in document["files"]:
        if "error" in entry:
            print(f'{entry["file"]}: {entry["error"]}')
        else:
            summarize(entry)


if __name__ == "__main__":
    main()
