"""Files that can be read, and files that cannot."""

from __future__ import annotations

import copy
import os
import pickle
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import music, write_wav

import qelaudio

RATE = 22050
KEY = "spectrum"


@pytest.fixture(scope="module")
def path(folder: Path) -> Path:
    return write_wav(folder / "file.wav", music(RATE, 1, 2), RATE)


def fault_of(path: Path | str) -> qelaudio.FileError:
    with pytest.raises(qelaudio.FileError) as raised:
        qelaudio.analyze(path, KEY)
    assert raised.value.path == str(path)
    assert str(raised.value).startswith(f"{path}: ")
    assert raised.value.status is None
    return raised.value


def test_a_path_may_be_text_or_a_path(path: Path) -> None:
    assert len(qelaudio.analyze(str(path), KEY)[KEY]) == len(qelaudio.analyze(path, KEY)[KEY])


def test_a_name_need_not_be_text(path: Path, folder: Path) -> None:
    name = os.fsdecode(bytes(folder) + b"/caf\xe9.wav")
    os.link(path, os.fsencode(name))
    assert len(qelaudio.analyze(name, KEY)[KEY]) > 0


def test_the_rate_of_a_file_is_its_own(path: Path) -> None:
    assert qelaudio.analyze(path, KEY, sample_rate=RATE).sample_rate == RATE
    with pytest.raises(qelaudio.Error, match="has 22050 Hz, not 44100"):
        qelaudio.analyze(path, KEY, sample_rate=44100)
    with pytest.raises(qelaudio.Error, match="has 22050 Hz, not 44100"):
        qelaudio.analyze(path, KEY, sample_rate="44100")  # type: ignore[arg-type]


def test_a_file_that_is_not_there_is_unreadable(folder: Path) -> None:
    assert fault_of(folder / "none.wav").fault == "unreadable"
    with pytest.raises(qelaudio.FileError):
        qelaudio.read(folder / "none.wav")


def test_a_zero_byte_does_not_end_a_name(path: Path) -> None:
    assert fault_of(f"{path}\0.txt").fault == "unreadable"


def test_the_error_of_a_file_comes_back_from_another_process(folder: Path) -> None:
    fault = fault_of(folder / "none.wav")
    for other in (pickle.loads(pickle.dumps(fault)), copy.copy(fault)):
        assert type(other) is qelaudio.FileError
        assert (str(other), other.path, other.fault) == (str(fault), fault.path, fault.fault)


def test_a_directory_is_unreadable(folder: Path) -> None:
    assert fault_of(folder).fault == "unreadable"


def test_a_text_is_not_audio(folder: Path) -> None:
    text = folder / "text.wav"
    text.write_text("no audio here\n" * 100)
    assert fault_of(text).fault == "not audio"


def test_a_cut_file_is_damaged(path: Path, folder: Path) -> None:
    cut = folder / "cut.wav"
    cut.write_bytes(path.read_bytes()[:-20000])
    error = fault_of(cut)
    assert error.fault == "damaged" and "truncated" in str(error)


def test_damage_is_an_error_of_readings_too(path: Path, folder: Path) -> None:
    with pytest.raises(qelaudio.FileError, match="truncated"):
        qelaudio.read(folder / "cut.wav", "loudness")


def test_progress_ends_at_the_end(path: Path) -> None:
    seen: list[tuple[str, float]] = []
    qelaudio.analyze(path, KEY, progress=lambda stage, done: seen.append((stage, done)))
    assert ("analyze", 1.0) in seen
    assert all(0 <= done <= 1 for _, done in seen)


def test_a_build_without_a_decoder_says_what_to_do(path: Path) -> None:
    program = (
        "import sys\n"
        "sys.modules['qelaudio._media'] = None\n"
        "import qelaudio\n"
        "try:\n"
        f"    qelaudio.analyze({str(path)!r}, 'spectrum')\n"
        "except qelaudio.FileError as error:\n"
        "    print(error.fault, '|', error)\n"
        "print(qelaudio.analyze([0.0] * 4000, 'spectrum', sample_rate=8000))\n"
    )
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert done.stderr == ""
    assert done.stdout.startswith("no decoder | ")
    assert "qelaudio[soundfile]" in done.stdout
    assert "<Analysis" in done.stdout


def test_the_decoder_is_loaded_with_the_first_file_only() -> None:
    program = "import sys, qelaudio; sys.exit('qelaudio._media' in sys.modules)"
    assert subprocess.run([sys.executable, "-c", program]).returncode == 0
