"""``python -m qelaudio.corpus``."""

from __future__ import annotations

import argparse
import logging
import sys

from qelaudio._errors import Error
from qelaudio.corpus._run import run
from qelaudio.corpus._arguments import OPTIONS
from qelaudio.corpus._shards import USAGE, RunError


def _names(text: str) -> list[str]:
    return [] if text == "none" else [name.strip() for name in text.split(",")]


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python -m qelaudio.corpus",
        description="Analyze a corpus with Dask into a Parquet dataset. The same command continues a run.",
        epilog="Other options are those of qel batch.",
    )
    parser.add_argument("sources", nargs="*", metavar="SOURCE", help="files, directories, patterns")
    parser.add_argument("--out", required=True, help="directory or fsspec address of the dataset")
    parser.add_argument("--keys", type=_names, default=[], metavar="LIST", help="keys; each becomes a table")
    parser.add_argument("--readings", type=_names, metavar="LIST", help="readings, or none; default: all")
    parser.add_argument("--scheduler", dest="client", metavar="ADDRESS", help="default: a cluster of this machine")
    parser.add_argument("--work", metavar="DIR", help="directory for shards, seen by all workers; default: OUT/_work")
    parser.add_argument("--shards", type=int, metavar="N", help="parts; default: 4 for each thread")
    parser.add_argument("--jobs", type=int, default=1, metavar="N", help="processes of qel for a shard; default 1")
    parser.add_argument("--verbose", action="store_true", help="show the log of Dask, for a cluster of this machine")
    parser.add_argument("--qel", default="qel", help="the tool, where the workers find it")
    for name, kind in OPTIONS.items():
        option = "--" + name.replace("_", "-")
        if kind is None:
            parser.add_argument(option, action="store_true", dest=name)
        else:
            parser.add_argument(option, action="append" if kind else "store", dest=name)
    return parser


def _quiet_client() -> None:
    """Dask logs tracebacks of a lost connection. The run ends with a line that says the same."""
    import distributed  # sets the levels of its loggers  # noqa: F401

    logging.getLogger("distributed.client").setLevel(logging.CRITICAL)


def main() -> int:
    """The exit status is that of ``qel batch``: 1 if a file has an error, if there are no files, or if
    the run has failed."""
    parser = _parser()
    chosen = vars(parser.parse_args())
    if not chosen["sources"] and not chosen["files_from"]:
        parser.error("no files; name files or directories, or a list with --files-from")
    if not chosen["verbose"]:
        _quiet_client()
    try:
        corpus = run(chosen.pop("sources"), chosen.pop("out"), **chosen)
    except (Error, OSError) as error:
        print(f"qelaudio.corpus: {error}", file=sys.stderr)
        return 1 if isinstance(error, (RunError, OSError)) else USAGE
    except KeyboardInterrupt:
        print("qelaudio.corpus: stopped; the same command continues", file=sys.stderr)
        return 130
    print(f"{corpus.address}: {corpus.files} files, {corpus.errors} with errors")
    for status, count in corpus.statuses.items():
        if status != "ok":
            print(f"  {count} {status}")
    return 1 if corpus.errors or not corpus.files else 0


if __name__ == "__main__":
    sys.exit(main())
