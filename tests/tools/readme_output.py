"""What README.md shows of `qel` is what `qel` prints: readme_output.py QEL, from the project's folder."""

import subprocess
import sys
from pathlib import Path

PROMPT = "    $ build/release/bin/qel "


def shown():
    """(arguments, output) of the one command that the page shows with its output."""
    lines = Path("README.md").read_text(encoding="utf-8").splitlines()
    begins = [number for number, line in enumerate(lines) if line.startswith(PROMPT)]
    assert len(begins) == 1, f"README.md has {len(begins)} lines that begin with {PROMPT!r}, not one"
    output = []
    for line in lines[begins[0] + 1:]:
        if not line.startswith("    "):
            break
        output.append(line[4:])
    return lines[begins[0]][len(PROMPT):].split(), output


def main():
    arguments, wanted = shown()
    printed = subprocess.run([sys.argv[1], *arguments], capture_output=True, text=True, check=True).stdout.splitlines()
    if printed != wanted or not wanted:
        sys.exit("README.md shows\n" + "\n".join(wanted) + "\nand qel prints\n" + "\n".join(printed))


if __name__ == "__main__":
    main()
