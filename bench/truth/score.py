"""Writes the scores: notes in seconds, and what is true of them."""

from dataclasses import dataclass, field

from bench.truth import accompaniment, drums
from bench.truth.draw import Draw
from bench.truth.ensembles import ENSEMBLES
from bench.truth.harmony import key_name, progression
from bench.truth.melody import melody
from bench.truth.meters import METERS, Timeline, drifting, ritardando
from bench.truth.midi import DRUM_CHANNEL, Note

BASE_VELOCITY = {"melody": 92, "chords": 72, "bass": 84, "drums": 86}
LONGEST_UNEVENNESS_SECONDS = 0.015


@dataclass
class Score:
    notes: list
    programs: dict = field(default_factory=dict)
    volumes: dict = field(default_factory=dict)
    beats: list = field(default_factory=list)
    downbeats: list = field(default_factory=list)
    tempo: float = None
    beats_per_bar: int = None
    key: str = None

    @property
    def end_seconds(self):
        return max(note.end_seconds for note in self.notes)


def median(values):
    values = sorted(values)
    middle = len(values) // 2
    return values[middle] if len(values) % 2 else 0.5 * (values[middle - 1] + values[middle])


def tempo_curve(draw, settings):
    if settings["feel"] == "ritardando":
        return ritardando(0.7, settings["last_tempo"])
    if settings["feel"] == "drifting":
        return drifting([0.0, 0.25, 0.5, 0.75, 1.0], [1.0 + draw.uniform(-0.03, 0.03) for _ in range(5)])
    return lambda share: 1.0


def part_tones(draw, part, meter, settings, chords):
    bars = settings["bars"]
    if part.role == "melody":
        calm = settings["bpm"] * meter.beat > 140
        return melody(draw, meter, bars, chords, settings["tonic"], part.low, part.high, calm)
    make = accompaniment.chords_part if part.role == "chords" else accompaniment.bass_part
    return make(draw, draw.pick(part.patterns), meter, bars, chords, part.low, part.high)


def drum_tones(draw, ensemble, meter, settings):
    bars = settings["bars"]
    style = draw.pick(ensemble.drum_styles)
    first_bar = 4 if bars > 8 and draw.chance(0.2) else 0
    return drums.drum_part(draw, style, meter, bars, first_bar)


def played(draw, tones, channel, role, timeline, uneven_seconds):
    """Notes of a part, each a little early or late and of its own loudness."""
    notes = []
    for place, length, pitch, accent in tones:
        late = min(max(draw.normal(uneven_seconds), -LONGEST_UNEVENNESS_SECONDS), LONGEST_UNEVENNESS_SECONDS)
        start = max(timeline.seconds(place) + late, 0.0)
        end = max(timeline.seconds(place + length), start + 0.05)
        velocity = BASE_VELOCITY[role] + (10 if accent else 0) + draw.integer(-8, 8)
        notes.append(Note(channel, round(start, 3), round(end, 3), pitch, min(velocity, 120)))
    return notes


def without_overlaps(notes):
    """A key of a channel ends before it is struck again, and is struck once at a time."""
    last, kept = {}, []
    for note in sorted(notes, key=lambda note: (note.start_seconds, note.end_seconds)):
        key = (note.channel, note.pitch)
        before = last.get(key)
        if before is not None:
            if note.start_seconds - kept[before].start_seconds < 0.03:
                continue
            if kept[before].end_seconds > note.start_seconds:
                old = kept[before]
                kept[before] = Note(old.channel, old.start_seconds, note.start_seconds, old.pitch, old.velocity)
        last[key] = len(kept)
        kept.append(note)
    return kept


def beat_places(meter, bars):
    """Up to the last down beat, which has the last chord."""
    return [index * meter.beat for index in range((bars - 1) * meter.beats_per_bar + 1)]


def write_score(plan):
    settings, draw = plan.settings, Draw(plan.seed)
    meter = METERS[settings["meter"]]
    ensemble = next(each for each in ENSEMBLES if each.name == settings["ensemble"])
    quarters = settings["bars"] * meter.bar
    timeline = Timeline(meter, settings["bpm"], quarters, settings["lead_seconds"], settings["swing"],
                        tempo_curve(draw, settings))
    chords = progression(draw, settings["tonic"], settings["mode"], meter, settings["bars"])
    notes, programs, volumes = [], {}, {}
    uneven = settings["uneven_ms"] / 1000.0
    for channel, part in enumerate(ensemble.parts):
        programs[channel], volumes[channel] = part.program, part.volume
        tones = part_tones(draw, part, meter, settings, chords)
        notes += played(draw, tones, channel, part.role, timeline, uneven)
    if ensemble.has_drums:
        volumes[DRUM_CHANNEL], programs[DRUM_CHANNEL] = 105, 0
        notes += played(draw, drum_tones(draw, ensemble, meter, settings), DRUM_CHANNEL, "drums", timeline, uneven)
    beats = [timeline.seconds(place) for place in beat_places(meter, settings["bars"])]
    periods = [after - before for before, after in zip(beats, beats[1:])]
    return Score(without_overlaps(notes), programs, volumes, beats, beats[::meter.beats_per_bar],
                 60.0 / median(periods), meter.beats_per_bar, key_name(settings["tonic"], settings["mode"]))
