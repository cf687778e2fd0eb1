"""What is written: a plan per piece, from one seed. A plan fixes everything that the piece sounds like."""

import hashlib
import json
from dataclasses import asdict, dataclass, field

from bench.truth.draw import Draw
from bench.truth.ensembles import ENSEMBLES
from bench.truth.meters import METERS, TEMPO_RANGES

MATERIAL_SEED = "truth 1"
FONTS = ("FluidR3_GM", "TimGM6mb")
METERS_PER_KEY = ("4/4", "3/4", "6/8", "4/4", "2/4", "5/4", "7/8")
KEYS = [(tonic, mode) for mode in ("major", "minor") for tonic in range(12)]
FEELS = ("steady",) * 8 + ("drifting",) * 4 + ("ritardando",) * 4 + ("swung",) * 4
NEVER_SWUNG = ("6/8", "7/8")
SHORTEST, AIM, LONGEST = 20.0, 27.0, 38.0      # seconds of music in a score

# Programs of the single lines, with the range that each plays.
LINE_INSTRUMENTS = ((0, 36, 86), (24, 40, 76), (32, 36, 55), (40, 55, 86), (42, 36, 64), (53, 48, 76), (56, 55, 82),
                    (57, 40, 65), (65, 49, 80), (68, 58, 86), (70, 36, 62), (71, 50, 81), (73, 60, 86), (80, 36, 86))
ISOLATED_PROGRAMS = (0, 6, 11, 12, 24, 25, 32, 33, 40, 42, 56, 65, 71, 73, 115)
NEGATIVES = ("rubato", "noise", "drone", "speech", "wind", "scattered clicks")


@dataclass(frozen=True)
class Plan:
    name: str
    kind: str                                   # score, line, notes or negative
    stratum: str                                # pieces of one stratum are shared out evenly
    font: str
    reverb: bool
    settings: dict = field(default_factory=dict)
    material_seed: str = MATERIAL_SEED

    @property
    def seed(self):
        return f"{self.material_seed} {self.name}"

    def digest(self):
        fields = {name: value for name, value in asdict(self).items() if name != "material_seed"}
        text = json.dumps({**fields, "seed": self.seed}, sort_keys=True)
        return hashlib.sha256(text.encode()).hexdigest()[:16]


def bars_for(meter, bpm):
    """Whole phrases, as near as can be to the aim; half phrases where bars are long."""
    seconds = 60.0 / bpm * METERS[meter].beats_per_bar
    for step in (4, 2, 1):
        fitting = [bars for bars in range(4, 200, step) if SHORTEST <= bars * seconds <= LONGEST]
        if fitting:
            return min(fitting, key=lambda bars: abs(bars * seconds - AIM))
    raise ValueError(f"no number of bars of {meter} at {bpm} BPM lasts {SHORTEST} to {LONGEST} s")


def spread_tempi(draw, meter, count):
    """Tempi evenly spread over the logarithm of the meter's range, in any order."""
    low, high = TEMPO_RANGES[meter]
    shares = [(index + draw.uniform(0.1, 0.9)) / count for index in range(count)]
    return draw.shuffled([round(low * (high / low) ** share, 2) for share in shares])


def score_settings(draw, tonic, mode, meter, bpm, feel, ensemble):
    if feel == "swung" and meter in NEVER_SWUNG:
        feel = "steady"
    return {"tonic": tonic, "mode": mode, "meter": meter, "bpm": bpm, "feel": feel,
            "ensemble": ensemble.name, "drums": ensemble.has_drums, "bars": bars_for(meter, bpm),
            "swing": round(draw.uniform(0.58, 0.67), 3) if feel == "swung" else 0.5,
            "last_tempo": round(draw.uniform(0.6, 0.8), 3), "lead_seconds": round(draw.uniform(0.1, 0.8), 3),
            "uneven_ms": draw.pick((0.0, 3.0, 6.0))}


def score_plans(material_seed=MATERIAL_SEED, prefix=""):
    """168 scores. Another seed writes others, whose names get a prefix."""
    draw = Draw(f"{material_seed} scores")
    count = len(KEYS) * len(METERS_PER_KEY)
    tempi = [spread_tempi(draw, meter, len(KEYS)) for meter in METERS_PER_KEY]
    ensembles = draw.shuffled([ENSEMBLES[index % len(ENSEMBLES)] for index in range(count)])
    feels = draw.shuffled([FEELS[index % len(FEELS)] for index in range(count)])
    plans = []
    for index in range(count):
        key, slot = divmod(index, len(METERS_PER_KEY))
        tonic, mode = KEYS[key]
        meter = METERS_PER_KEY[slot]
        settings = score_settings(draw, tonic, mode, meter, tempi[slot][key], feels[index], ensembles[index])
        stratum = f"score {meter} {mode} {'drums' if ensembles[index].has_drums else 'no drums'}"
        plans.append(Plan(f"{prefix}score{index:03d}", "score", stratum, FONTS[draw.integer(0, 1)], draw.chance(0.5),
                          settings, material_seed))
    return plans


def line_plans():
    """Each instrument twice from a sound font, and as many lines with and without vibrato of our own."""
    plans = []
    for index, (program, low, high) in enumerate(LINE_INSTRUMENTS * 2):
        settings = {"sound": "font", "program": program, "low": low, "high": high}
        font = FONTS[(index + index // len(LINE_INSTRUMENTS)) % 2]
        plans.append(Plan(f"line{index:03d}", "line", "line font", font, False, settings))
    for index in range(24):
        vibrato = 35.0 if index % 2 else 0.0
        settings = {"sound": "own", "vibrato_cents": vibrato, "low": 36, "high": 86, "brightness": index // 2 % 3}
        stratum = "line vibrato" if vibrato else "line plain"
        plans.append(Plan(f"line{len(LINE_INSTRUMENTS) * 2 + index:03d}", "line", stratum, "none", False, settings))
    return plans


def notes_plans():
    """Notes one by one, and clicks that stand on known samples."""
    plans = []
    for index, program in enumerate(ISOLATED_PROGRAMS * 2):
        font = FONTS[(index + index // len(ISOLATED_PROGRAMS)) % 2]
        settings = {"sound": "font", "program": program}
        plans.append(Plan(f"notes{index:03d}", "notes", "notes font", font, False, settings))
    for index in range(6):
        plans.append(Plan(f"notes{30 + index:03d}", "notes", "notes clicks", "none", False, {"sound": "clicks"}))
    return plans


def negative_plans(material_seed=MATERIAL_SEED, prefix=""):
    plans = []
    for index in range(6 * len(NEGATIVES)):
        what = NEGATIVES[index % len(NEGATIVES)]
        plans.append(Plan(f"{prefix}negative{index:03d}", "negative", f"negative {what}", FONTS[index // 6 % 2], False,
                          {"what": what}, material_seed))
    return plans


def all_plans():
    return score_plans() + line_plans() + notes_plans() + negative_plans()
