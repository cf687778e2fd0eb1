"""Combinations of instruments: who plays what, in which range. Programs count from 0 (General MIDI)."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Part:
    role: str             # melody, chords or bass
    program: int
    low: int
    high: int
    volume: int
    patterns: tuple = ()  # what a part of chords or bass may play


@dataclass(frozen=True)
class Ensemble:
    name: str
    parts: tuple
    drum_styles: tuple = ()

    @property
    def has_drums(self):
        return bool(self.drum_styles)


def lead(program, low, high, volume=105):
    return Part("melody", program, low, high, volume)


def harmony(program, low, high, volume, *patterns):
    return Part("chords", program, low, high, volume, patterns)


def bass(program, volume, *patterns):
    return Part("bass", program, 31, 50, volume, patterns)


ENSEMBLES = (
    Ensemble("piano", (lead(0, 65, 86), harmony(0, 50, 66, 85, "broken", "on accents", "after beats"),
                       Part("bass", 0, 31, 50, 95, ("roots", "fifths")))),
    Ensemble("jazz trio", (lead(0, 64, 84), harmony(0, 52, 68, 80, "syncopated", "held"), bass(32, 110, "walking")),
             ("jazz",)),
    Ensemble("rock band", (lead(29, 57, 79, 95), harmony(27, 50, 67, 80, "strummed", "on accents"),
                           bass(33, 110, "eighths", "roots")), ("rock", "half time")),
    Ensemble("strings", (lead(40, 62, 86), harmony(48, 50, 69, 85, "held", "on accents"),
                         Part("bass", 42, 36, 52, 100, ("roots", "fifths")))),
    Ensemble("guitar and flute", (lead(73, 67, 88), harmony(24, 48, 67, 100, "broken", "strummed"))),
    Ensemble("organ", (lead(19, 62, 84, 90), harmony(19, 50, 66, 80, "held", "on accents"),
                       Part("bass", 19, 36, 50, 90, ("roots",)))),
    Ensemble("synth pop", (lead(80, 62, 84, 85), harmony(90, 52, 69, 75, "held", "broken"),
                           bass(38, 105, "eighths", "fifths")), ("dance", "rock")),
    Ensemble("brass", (lead(56, 60, 82), harmony(61, 50, 67, 85, "on accents", "held"),
                       Part("bass", 58, 34, 50, 105, ("fifths", "roots")))),
    Ensemble("mallets", (lead(12, 64, 88), harmony(11, 53, 70, 95, "broken", "after beats"),
                         bass(32, 110, "fifths", "walking")), ("light", "jazz")),
    Ensemble("saxophone and band", (lead(65, 58, 79), harmony(4, 52, 69, 85, "syncopated", "on accents"),
                                    bass(33, 110, "walking", "fifths")), ("jazz", "light", "rock")),
    Ensemble("folk", (lead(22, 62, 84), harmony(25, 50, 67, 95, "strummed", "after beats"),
                      bass(32, 105, "fifths"))),
    Ensemble("harpsichord and oboe", (lead(68, 62, 84), harmony(6, 50, 69, 95, "broken", "on accents"),
                                      Part("bass", 70, 34, 52, 100, ("fifths", "roots", "walking")))),
    Ensemble("funk", (lead(61, 60, 79, 90), harmony(7, 52, 69, 90, "syncopated"), bass(36, 110, "eighths", "fifths")),
             ("rock", "light")),
    Ensemble("choir and harp", (lead(52, 60, 79, 110), harmony(46, 48, 72, 105, "broken"))),
)
