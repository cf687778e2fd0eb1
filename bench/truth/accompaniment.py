"""Bass lines and accompaniments over chords. A tone is (place, length, pitch, accent)."""

from bench.truth.harmony import chord_at
from bench.truth.melody import nearest


def voicing(chord, low, high):
    """The tones of a chord from low upwards, one each."""
    pitches, at = [], nearest((low + high) // 2 - 4, chord.tones, low, high)
    for _ in chord.tones:
        pitches.append(at)
        following = [tone for tone in range(at + 1, high + 1) if tone % 12 in chord.tones]
        if not following:
            break
        at = following[0]
    return pitches


def last_bar(meter, bars, chords, low, high):
    at = (bars - 1) * meter.bar
    return [(at, meter.bar, pitch, True) for pitch in voicing(chord_at(chords, at), low, high)]


def strokes(meter, bars, places):
    """(place in the piece, whether a bar begins) of a pattern of all bars but the last."""
    for bar in range(bars - 1):
        for place in places:
            yield bar * meter.bar + place, place == 0.0


def eighths(meter):
    return [index * 0.5 for index in range(int(meter.bar * 2))]


def held(draw, meter, bars, chords, low, high):
    """Every chord once, as long as it lasts."""
    end = (bars - 1) * meter.bar
    return [(chord.start, min(chord.length, end - chord.start) * 0.98, pitch, True) for chord in chords
            if chord.start < end for pitch in voicing(chord, low, high)]


def on_accents(draw, meter, bars, chords, low, high):
    return [(at, 0.8 * meter.groups[0], pitch, first) for at, first in strokes(meter, bars, meter.accents())
            for pitch in voicing(chord_at(chords, at), low, high)]


def after_beats(draw, meter, bars, chords, low, high):
    """Chords on all groups but the first."""
    return [(at, 0.5, pitch, False) for at, _ in strokes(meter, bars, meter.accents()[1:])
            for pitch in voicing(chord_at(chords, at), low, high)]


def broken(draw, meter, bars, chords, low, high):
    """Chords tone by tone in eighths, up and down."""
    tones = []
    for index, (at, first) in enumerate(strokes(meter, bars, eighths(meter))):
        pitches = voicing(chord_at(chords, at), low, high)
        wave = pitches + pitches[-2:0:-1]
        tones.append((at, 0.48, wave[index % len(wave)], first))
    return tones


def syncopated(draw, meter, bars, chords, low, high):
    """One pattern of eighths, chosen once, that leaves out some beats."""
    places = [place for place in eighths(meter) if draw.chance(0.45)] or [0.0]
    if draw.chance(0.7) and 0.0 not in places:
        places = [0.0] + places
    return [(at, 0.4, pitch, first) for at, first in strokes(meter, bars, places)
            for pitch in voicing(chord_at(chords, at), low, high)]


def strummed(draw, meter, bars, chords, low, high):
    """Eighths, weaker off the accents."""
    accents = set(meter.accents())
    return [(at, 0.45, pitch, at % meter.bar in accents) for at, _ in strokes(meter, bars, eighths(meter))
            for pitch in voicing(chord_at(chords, at), low, high)]


def bass_roots(draw, meter, bars, chords, low, high):
    end = (bars - 1) * meter.bar
    return [(chord.start, min(chord.length, end - chord.start) * 0.95,
             nearest((low + high) // 2, (chord.root,), low, high), True)
            for chord in chords if chord.start < end]


def bass_fifths(draw, meter, bars, chords, low, high):
    """The root on the first accent, the fifth on a later one."""
    accents = meter.accents()
    tones = []
    for at, first in strokes(meter, bars, (0.0, accents[(len(accents) + 1) // 2])):
        chord = chord_at(chords, at)
        tone = chord.root if first else chord.tones[2]
        tones.append((at, meter.groups[0] * 0.9, nearest((low + high) // 2, (tone,), low, high), first))
    return tones


def bass_walking(draw, meter, bars, chords, low, high):
    """A tone per group: roots where a bar begins, then steps and chord tones."""
    tones, pitch = [], (low + high) // 2
    for at, first in strokes(meter, bars, meter.accents()):
        chord = chord_at(chords, at)
        classes = (chord.root,) if first else draw.pick((chord.tones, chord.scale))
        pitch = nearest(min(max(pitch + draw.pick((-3, -2, 2, 3)), low), high), classes, low, high)
        tones.append((at, meter.groups[0] * 0.9, pitch, first))
    return tones


def bass_eighths(draw, meter, bars, chords, low, high):
    return [(at, 0.45, nearest((low + high) // 2, (chord_at(chords, at).root,), low, high), first)
            for at, first in strokes(meter, bars, eighths(meter))]


CHORD_PATTERNS = {"held": held, "on accents": on_accents, "after beats": after_beats, "broken": broken,
                  "syncopated": syncopated, "strummed": strummed}
BASS_PATTERNS = {"roots": bass_roots, "fifths": bass_fifths, "walking": bass_walking, "eighths": bass_eighths}


def chords_part(draw, pattern, meter, bars, chords, low, high):
    return CHORD_PATTERNS[pattern](draw, meter, bars, chords, low, high) + last_bar(meter, bars, chords, low, high)


def bass_part(draw, pattern, meter, bars, chords, low, high):
    at = (bars - 1) * meter.bar
    final = (at, meter.bar, nearest((low + high) // 2, (chord_at(chords, at).root,), low, high), True)
    return BASS_PATTERNS[pattern](draw, meter, bars, chords, low, high) + [final]
