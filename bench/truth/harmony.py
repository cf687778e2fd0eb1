"""Keys, chords and chord progressions with cadences."""

from dataclasses import dataclass

NAMES = ("C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B")
SCALES = {"major": (0, 2, 4, 5, 7, 9, 11), "minor": (0, 2, 3, 5, 7, 8, 10)}

# Phrases of four bars. Open ones stop on the dominant, closed ones end with dominant and tonic.
# Degrees count from 1; a dominant seventh is 57; dominants in minor have the leading tone.
OPEN_PHRASES = {
    "major": ((1, 6, 4, 5), (1, 4, 2, 5), (1, 5, 6, 5), (1, 3, 4, 5), (1, 4, 1, 5)),
    "minor": ((1, 6, 4, 5), (1, 4, 6, 5), (1, 7, 6, 5), (1, 4, 1, 5), (1, 3, 4, 5)),
}
CLOSED_PHRASES = {
    "major": ((4, 1, 57, 1), (2, 57, 1, 1), (6, 2, 57, 1), (4, 57, 1, 1), (1, 4, 57, 1)),
    "minor": ((4, 1, 57, 1), (4, 57, 1, 1), (6, 4, 57, 1), (1, 4, 57, 1), (3, 4, 57, 1)),
}
# What may follow a chord within its bar.
PASSING = {1: (4, 6, 5), 2: (4, 5), 3: (6, 4), 4: (2, 1), 5: (57,), 6: (4, 2), 7: (3, 5), 57: (57,)}


@dataclass(frozen=True)
class Chord:
    start: float
    length: float
    degree: int
    root: int             # pitch class
    tones: tuple          # pitch classes, the root first
    scale: tuple          # pitch classes that fit


def key_name(tonic, mode):
    return f"{NAMES[tonic]} {mode}"


def scale_for(tonic, mode, degree):
    steps = list(SCALES[mode])
    if mode == "minor" and degree in (5, 57):
        steps[6] = 11
    return tuple((tonic + step) % 12 for step in steps)


def chord(tonic, mode, degree, start, length):
    scale = scale_for(tonic, mode, degree)
    first = (5 if degree == 57 else degree) - 1
    count = 4 if degree == 57 else 3
    tones = tuple(scale[(first + 2 * index) % 7] for index in range(count))
    return Chord(start, length, degree, tones[0], tones, scale)


def degrees_of(draw, mode, bars):
    """A degree per bar: phrases of four that are open and closed in turn; the last one is closed."""
    degrees = []
    phrases = max(1, (bars + 3) // 4)
    for phrase in range(phrases):
        closed = phrase == phrases - 1 or phrase % 2 == 1
        degrees += draw.pick((CLOSED_PHRASES if closed else OPEN_PHRASES)[mode])
    if bars % 4:
        degrees = degrees[:bars - 3] + [4, 57, 1]
    return degrees[:bars]


def changes_of(draw, meter, bars, degrees):
    """(place, degree) of every change: most on down beats, some within, before or after them."""
    accents = meter.accents()
    changes = []
    for bar, degree in enumerate(degrees):
        place = bar * meter.bar
        last = bar >= bars - 2
        if bar and not last and draw.chance(0.10):
            place -= 0.5
        elif bar and not last and degree != degrees[bar - 1] and draw.chance(0.06):
            place += meter.groups[0]
        changes.append((place, degree))
        if not last and draw.chance(0.22):
            middle = accents[(len(accents) + 1) // 2]
            changes.append((bar * meter.bar + middle, draw.pick(PASSING[degree])))
    return changes


def progression(draw, tonic, mode, meter, bars):
    """The chords of a piece, without gaps from its begin to its end."""
    changes = sorted(changes_of(draw, meter, bars, degrees_of(draw, mode, bars)))
    ends = [place for place, _ in changes[1:]] + [bars * meter.bar]
    return [chord(tonic, mode, degree, place, end - place)
            for (place, degree), end in zip(changes, ends) if end > place]


def chord_at(chords, place):
    for candidate in reversed(chords):
        if candidate.start <= place + 1e-9:
            return candidate
    return chords[0]
