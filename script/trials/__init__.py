"""What the trials of `qel batch` share: script/chaos, script/slurm-check, script/corpus-check.

script/corpus-check needs numpy, pyarrow and the Python package, the others the standard library alone.
"""

import sys
from pathlib import Path


def fail(reason):
    """Ends the program with one line, which begins with its name."""
    sys.exit(f"{Path(sys.argv[0]).name}: {reason}")
