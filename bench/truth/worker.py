"""Runs one system in a process of its own: a line of JSON per recording in, one per result out.

    python -m bench.truth.worker NAME | FILE.py:CLASS

The first line out tells name and version, or what is missing. Needs nothing but the system itself.
"""

import importlib
import importlib.util
import json
import os
import resource
import sys
import time
import traceback

from bench.truth.systems import OTHERS, SYSTEMS


def system_class(name):
    named = {**SYSTEMS, **OTHERS}
    if name in named:
        module, kind, _ = named[name]
        return getattr(importlib.import_module(module), kind)
    path, kind = name.rsplit(":", 1)
    spec = importlib.util.spec_from_file_location("truth_system", path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return getattr(module, kind)


def cpu_seconds():
    """User and system time of this process and of the tools that it ran."""
    children = resource.getrusage(resource.RUSAGE_CHILDREN)
    return time.process_time() + children.ru_utime + children.ru_stime


def plain(value):
    """Numbers of other libraries as Python's."""
    return value.item() if hasattr(value, "item") else str(value)


def answer(system, request):
    before = cpu_seconds()
    try:
        answers = system.analyze(request["path"], request["wants"])
    except Exception as fault:
        return {"fault": f"{type(fault).__name__}: {fault}", "where": traceback.format_exc(limit=-2)}
    return {"answers": answers, "cpu_seconds": cpu_seconds() - before}


def main(name):
    # Whatever libraries print goes to the error stream, so that the results stay whole.
    out = os.fdopen(os.dup(1), "w")
    os.dup2(2, 1)

    def say(record):
        out.write(json.dumps(record, default=plain) + "\n")
        out.flush()

    try:
        system = system_class(name)()
    except Exception as fault:
        say({"missing": f"{type(fault).__name__}: {fault}"})
        return
    say({"name": system.name, "version": system.version})
    for line in sys.stdin:
        say(answer(system, json.loads(line)))


if __name__ == "__main__":
    main(sys.argv[1])
