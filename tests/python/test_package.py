"""Types, versions, and what the package needs."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

import qelaudio

ROOT = Path(__file__).resolve().parents[2]


def test_the_package_and_its_tests_keep_strict_types(tmp_path: Path) -> None:
    package = Path(qelaudio.__file__).parent
    environment = os.environ | {"MYPYPATH": str(package.parent)}
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--config-file", str(ROOT / "pyproject.toml"),
         "--cache-dir", str(package.parent / ".mypy_cache"), str(package), str(ROOT / "tests/python")],
        env=environment, capture_output=True, text=True, cwd=tmp_path,
    )  # fmt: skip
    assert done.returncode == 0, done.stdout
    assert "no issues found" in done.stdout


def test_the_package_is_typed() -> None:
    package = Path(qelaudio.__file__).parent
    assert (package / "py.typed").exists()
    assert "class Session" in (package / "_core.pyi").read_text()


def test_the_version_is_that_of_the_project() -> None:
    text = (ROOT / "CMakeLists.txt").read_text()
    match = re.search(r"project\(QelAudioAnalysis\s+VERSION (\S+)", text)
    assert match and qelaudio.__version__ == match.group(1)


def test_pip_builds_with_the_versions_that_are_tested() -> None:
    pinned = (ROOT / "bindings/python/requirements-build.txt").read_text().split("\n")
    named = re.search(r"requires = \[(.*)\]", (ROOT / "pyproject.toml").read_text())
    assert named
    for requirement in re.findall(r'"([^"]+)"', named.group(1)):
        assert requirement in pinned


def test_an_import_needs_nothing_but_numpy() -> None:
    program = (
        "import sys, qelaudio\n"
        "heavy = {'pandas', 'xarray', 'matplotlib', 'scipy', 'distributed', 'pyarrow', 'fsspec'} & set(sys.modules)\n"
        "sys.exit(str(heavy) if heavy else 0)\n"
    )
    assert subprocess.run([sys.executable, "-c", program]).returncode == 0
