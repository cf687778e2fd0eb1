"""Melodies of four-bar phrases over chords. A tone is (place, length, pitch, accent)."""

from bench.truth.harmony import chord_at

# Rhythms of one group of a bar, by its length.
CELLS = {
    1.0: ((1.0,), (1.0,), (0.5, 0.5), (0.5, 0.5), (0.75, 0.25), (0.25, 0.25, 0.5)),
    1.5: ((1.5,), (1.0, 0.5), (1.0, 0.5), (0.5, 0.5, 0.5), (0.5, 1.0)),
}
CALM_CELLS = {1.0: ((1.0,), (1.0,), (0.5, 0.5)), 1.5: ((1.5,), (1.0, 0.5))}


def bar_rhythm(draw, meter, cells):
    """Places and lengths of one bar; now and then two groups are one long tone."""
    rhythm, place, skip = [], 0.0, False
    for index, group in enumerate(meter.groups):
        if skip:
            skip = False
        elif index + 1 < len(meter.groups) and draw.chance(0.18):
            rhythm.append((place, group + meter.groups[index + 1]))
            skip = True
        else:
            inner = place
            for length in draw.pick(cells[group]):
                rhythm.append((inner, length))
                inner += length
        place += group
    return rhythm


def phrase_rhythms(draw, meter, cells):
    """Four bars: a motif, an answer, the motif again, and a long last tone."""
    motif, answer = bar_rhythm(draw, meter, cells), bar_rhythm(draw, meter, cells)
    close = [(0.0, meter.bar)] if len(meter.groups) < 3 else \
        [(0.0, meter.groups[0]), (meter.groups[0], meter.bar - meter.groups[0])]
    return draw.pick(([motif, answer, motif, close], [motif, motif, answer, close]))


def nearest(pitch, classes, low, high):
    candidates = [tone for tone in range(low, high + 1) if tone % 12 in classes]
    return min(candidates, key=lambda tone: (abs(tone - pitch), tone))


def next_pitch(draw, pitch, chord, on_accent, low, high):
    """A tone of the chord on accents; else a step or a small leap within the scale."""
    if on_accent:
        aim = pitch + draw.integer(-5, 5)
        return nearest(min(max(aim, low), high), chord.tones, low, high)
    aim = pitch + draw.pick((-4, -2, -2, -1, 1, 2, 2, 4))
    return nearest(min(max(aim, low), high), chord.scale, low, high)


def melody(draw, meter, bars, chords, tonic, low, high, calm=False):
    cells = CALM_CELLS if calm else CELLS
    accents = set(meter.accents())
    rhythms = [phrase_rhythms(draw, meter, cells), phrase_rhythms(draw, meter, cells)]
    pitch = nearest((low + high) // 2, chords[0].tones, low, high)
    tones = []
    for bar in range(bars):
        rhythm = [(0.0, meter.bar)] if bar == bars - 1 else rhythms[bar // 4 % 2][bar % 4]
        for place, length in rhythm:
            at = bar * meter.bar + place
            if bar < bars - 1 and place > 0.0 and draw.chance(0.08):
                continue
            pitch = next_pitch(draw, pitch, chord_at(chords, at), place in accents, low, high)
            if bar == bars - 1:
                pitch = nearest(pitch, (tonic,), low, high)
            tones.append((at, length * 0.95, pitch, place == 0.0))
    return tones
