"""Plays MIDI files with FluidSynth and a sound font into arrays: mono, 44.1 kHz."""

import subprocess
import tempfile
from pathlib import Path

import numpy as np
import soundfile

from bench.truth.midi import midi_bytes

RATE = 44100
FONT_DIRECTORY = Path("/usr/share/sounds/sf2")
PEAK = 0.7
TAIL_SECONDS = 1.5


def font_path(font):
    path = FONT_DIRECTORY / f"{font}.sf2"
    if not path.exists():
        raise SystemExit(f"{path} is missing; install it by script/bootstrap --truth")
    return path


def fluidsynth(midi_path, wav_path, font, reverb):
    command = ["fluidsynth", "-ni", "-q", "-r", str(RATE), "-g", "0.4", "-C", "0", "-R", "1" if reverb else "0",
               "-o", "synth.reverb.room-size=0.75", "-o", "synth.reverb.level=0.7",
               "-O", "float", "-T", "wav", "-F", str(wav_path), str(font_path(font)), str(midi_path)]
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0 or not wav_path.exists():
        raise SystemExit(f"fluidsynth failed on {midi_path}: {done.stderr.strip()}")


def render(notes, programs, volumes, font, reverb, end_seconds):
    """The mean of both channels, from the first tick to end_seconds and the tail."""
    with tempfile.TemporaryDirectory() as directory:
        midi_path, wav_path = Path(directory) / "piece.mid", Path(directory) / "piece.wav"
        midi_path.write_bytes(midi_bytes(notes, programs, volumes, end_seconds + TAIL_SECONDS))
        fluidsynth(midi_path, wav_path, font, reverb)
        audio, rate = soundfile.read(wav_path, always_2d=True)
    assert rate == RATE
    mono = audio.mean(axis=1)[:int((end_seconds + TAIL_SECONDS) * RATE)]
    return faded(mono)


def faded(audio, seconds=0.3):
    """Ends in silence, so that the cut is no onset."""
    count = min(int(seconds * RATE), audio.size)
    audio = audio.copy()
    audio[audio.size - count:] *= np.linspace(1.0, 0.0, count)
    return audio


def at_peak(audio):
    peak = np.max(np.abs(audio))
    return audio * (PEAK / peak) if peak > 0 else audio


def write_audio(path, audio):
    """Under its name only when complete."""
    path.parent.mkdir(parents=True, exist_ok=True)
    partial = path.with_name(path.stem + ".partial.wav")
    soundfile.write(partial, audio, RATE, subtype="PCM_16")
    partial.replace(path)
