"""What a run asks of Dask: a client, and tasks that are tried again."""

from __future__ import annotations

import contextlib
import logging
import os
import sqlite3
from collections.abc import Callable, Iterator, Sequence
from concurrent.futures import CancelledError
from dataclasses import dataclass
from typing import Any

from qelaudio._errors import Error
from qelaudio.corpus._shards import RunError, stop_tools

LOG = logging.getLogger("qelaudio.corpus")
#: Times that a task which has failed is tried again.
RETRIES = 3


def _connected(address: str) -> Any:
    from distributed import Client

    try:
        return Client(address)
    except (OSError, ValueError) as error:
        raise RunError(f'client: cannot connect to a scheduler at "{address}": {error}') from None


@contextlib.contextmanager
def _telling(client: Any) -> Iterator[None]:
    """Says that the scheduler was lost.

    A client without its scheduler cancels all futures. Its calls then fail with errors of any kind.
    """
    from distributed.comm import CommClosedError

    address = getattr(client.scheduler, "address", "Dask")
    try:
        yield
    except Error:
        raise
    except Exception as error:
        if isinstance(error, (CancelledError, CommClosedError)) or client.status != "running":
            raise RunError(
                f"{address}: lost the scheduler; start it if it has ended, and run the same command again"
            ) from None
        raise


@contextlib.contextmanager
def client_of(client: Any, verbose: bool) -> Iterator[Any]:
    """The given client, one of a scheduler at an address, or one of a cluster of this machine.

    Raises
    ------
    RunError
        If the scheduler does not answer, or is lost before the client is closed.
    """
    with _opened(client, verbose) as opened, _telling(opened):
        yield opened


@contextlib.contextmanager
def _opened(client: Any, verbose: bool) -> Iterator[Any]:
    from distributed import Client, LocalCluster

    if client is not None and not isinstance(client, str):
        yield client
    elif client is not None:
        with _connected(client) as opened:
            yield opened
    else:
        # Threads: the tool has processes of its own anyway, and processes of Dask would run a program
        # that calls this without "if __name__" once more.
        with (
            LocalCluster(
                n_workers=1,
                threads_per_worker=len(os.sched_getaffinity(0)),
                processes=False,
                dashboard_address=":0",
                silence_logs=logging.INFO if verbose else logging.CRITICAL,
            ) as cluster,
            Client(cluster) as opened,
        ):
            try:
                yield opened
            except BaseException:
                stop_tools()  # or the end of the cluster would wait for them
                raise


@dataclass(frozen=True)
class _Failure:
    """Why a task has failed that may succeed in another attempt."""

    reason: str


def _attempt(task: Callable[[Any], Any], item: Any) -> Any:
    """What a task returns, or its failure: Dask would write a traceback of an exception to its log.

    Clients of object stores have errors of their own, which may pass as those of a disk do.
    """
    try:
        return task(item)
    except (RunError, OSError, sqlite3.Error) as error:
        return _Failure(str(error))
    except Error:
        raise
    except Exception as error:
        LOG.info("a task has failed", exc_info=True)
        return _Failure(f"{type(error).__name__}: {error}")


def map_tasks(client: Any, task: Callable[[Any], Any], items: Sequence[Any], told: Callable[[int], None]) -> list[Any]:
    """Results of all tasks in their order. A failure ends those that have not begun."""
    from distributed import KilledWorker, as_completed

    def submit(at: int) -> Any:
        return client.submit(_attempt, task, items[at], pure=False)

    numbers = {submit(at): at for at in range(len(items))}
    left = [RETRIES] * len(items)
    results: dict[int, Any] = {}  # taken at once: a worker that is lost later takes its results along
    running = as_completed(list(numbers))
    try:
        for future in running:
            at, result = numbers[future], future.result()
            if not isinstance(result, _Failure):
                results[at] = result
                told(len(results))
            elif left[at] > 0:
                left[at] -= 1
                again = submit(at)
                numbers[again] = at
                running.add(again)
            else:
                raise RunError(result.reason)
        return [results[at] for at in range(len(items))]
    except KilledWorker as error:
        raise RunError(
            f"Dask has lost {error.allowed_failures + 1} workers at one task; verbose shows its log"
        ) from None
    finally:
        client.cancel(list(numbers))
