"""Meters, and the way from places in a score to seconds. Places and lengths are in quarter notes."""

import bisect
from dataclasses import dataclass


@dataclass(frozen=True)
class Meter:
    name: str
    beat: float           # length of a beat
    beats_per_bar: int
    groups: tuple         # lengths that a bar is felt in; each begins with an accent

    @property
    def bar(self):
        return self.beat * self.beats_per_bar

    def accents(self):
        """Where the groups of a bar begin."""
        places, place = [], 0.0
        for length in self.groups:
            places.append(place)
            place += length
        return places


METERS = {meter.name: meter for meter in (
    Meter("2/4", 1.0, 2, (1.0, 1.0)),
    Meter("3/4", 1.0, 3, (1.0, 1.0, 1.0)),
    Meter("4/4", 1.0, 4, (1.0, 1.0, 1.0, 1.0)),
    Meter("5/4", 1.0, 5, (1.0, 1.0, 1.0, 1.0, 1.0)),
    Meter("6/8", 1.5, 2, (1.5, 1.5)),
    Meter("7/8", 0.5, 7, (1.0, 1.0, 1.5)),
)}

# Beats per minute that a meter is written in. A beat of 6/8 is a dotted quarter, one of 7/8 an eighth.
TEMPO_RANGES = {"2/4": (50, 210), "3/4": (50, 210), "4/4": (50, 210), "5/4": (60, 210), "6/8": (50, 150),
                "7/8": (130, 210)}

STEPS_PER_QUARTER = 24


class Timeline:
    """Turns places into seconds: a tempo per step, and swung eighths."""

    def __init__(self, meter, bpm, quarters, lead_seconds, swing=0.5, tempo_at=lambda share: 1.0):
        self._swing = swing
        seconds_per_quarter = 60.0 / bpm / meter.beat
        steps = int(quarters * STEPS_PER_QUARTER) + STEPS_PER_QUARTER
        self._seconds = [lead_seconds]
        for step in range(steps):
            share = min(step / (quarters * STEPS_PER_QUARTER), 1.0)
            self._seconds.append(self._seconds[-1] + seconds_per_quarter / STEPS_PER_QUARTER / tempo_at(share))

    def swung(self, place):
        """The second eighth of a quarter begins after the share `swing` of it."""
        quarter = int(place)
        part = place - quarter
        if part < 0.5:
            return quarter + part * 2.0 * self._swing
        return quarter + self._swing + (part - 0.5) * 2.0 * (1.0 - self._swing)

    def seconds(self, place):
        step = self.swung(place) * STEPS_PER_QUARTER
        index = min(int(step), len(self._seconds) - 2)
        first, second = self._seconds[index], self._seconds[index + 1]
        return first + (step - index) * (second - first)


def ritardando(begin_share, last_tempo):
    """Full tempo up to begin_share of the piece, then a steady fall to the share last_tempo of it."""
    def tempo_at(share):
        if share <= begin_share:
            return 1.0
        return 1.0 - (1.0 - last_tempo) * (share - begin_share) / (1.0 - begin_share)
    return tempo_at


def drifting(shares, factors):
    """A tempo that moves in straight lines between factors at shares of the piece."""
    def tempo_at(share):
        after = min(max(bisect.bisect_right(shares, share), 1), len(shares) - 1)
        begin, end = shares[after - 1], shares[after]
        weight = (share - begin) / (end - begin)
        return factors[after - 1] + weight * (factors[after] - factors[after - 1])
    return tempo_at
