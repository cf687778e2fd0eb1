"""Writes standard MIDI files of format 0 in which one tick is one millisecond.

Tempo changes, swing and uneven playing are already in the times of the notes, so the file itself needs
one tempo only: 1000 ticks per quarter note of one second.
"""

import struct
from dataclasses import dataclass

TICKS_PER_SECOND = 1000
DRUM_CHANNEL = 9


@dataclass(frozen=True)
class Note:
    channel: int
    start_seconds: float
    end_seconds: float
    pitch: int
    velocity: int
    shift_cents: float = 0.0


def variable_length(number):
    """A number in groups of seven bits, the highest first, with bit 7 set in all but the last."""
    groups = [number & 0x7F]
    while number > 0x7F:
        number >>= 7
        groups.append(number & 0x7F | 0x80)
    return bytes(reversed(groups))


def ticks(seconds):
    return round(seconds * TICKS_PER_SECOND)


def end_tick(note):
    return max(ticks(note.end_seconds), ticks(note.start_seconds) + 1)


def note_events(notes):
    """(tick, order, bytes): at one tick, notes end before others begin."""
    for note in notes:
        yield ticks(note.start_seconds), 1, bytes((0x90 | note.channel, note.pitch, note.velocity))
        yield end_tick(note), 0, bytes((0x80 | note.channel, note.pitch, 0))


def track_of(events):
    track, now = bytearray(), 0
    for tick, _, message in sorted(events):
        track += variable_length(tick - now) + message
        now = tick
    return bytes(track + b"\x00\xff\x2f\x00")


def midi_bytes(notes, programs, volumes=None, end_seconds=0.0):
    """A file of these notes. programs and volumes are by channel; end_seconds keeps the file that long."""
    events = [(0, -3, b"\xff\x51\x03" + struct.pack(">I", 1_000_000)[1:])]
    for channel, program in sorted(programs.items()):
        events.append((0, -2, bytes((0xC0 | channel, program))))
        volume = (volumes or {}).get(channel, 100)
        events.append((0, -1, bytes((0xB0 | channel, 7, volume))))
    events += note_events(notes)
    last = max([ticks(end_seconds)] + [event[0] for event in events])
    events.append((last, 2, b"\xff\x01\x00"))
    track = track_of(events)
    header = b"MThd" + struct.pack(">IHHH", 6, 0, 1, TICKS_PER_SECOND)
    return header + b"MTrk" + struct.pack(">I", len(track)) + track
