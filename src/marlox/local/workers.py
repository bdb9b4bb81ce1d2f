"""What a worker of the local platform sees: the registry of workers, the failure it raises and
the progress it reports.

A worker is a callable ``worker(content, version) -> {field: bytes}``. It reads the job content
(a JSON object) and returns the job's result fields; it fails the job with a text the caller is
to see by raising :class:`WorkerFailure` (any other exception fails the job with that
exception's text). While it runs it may call :func:`progress` with its stage: the text becomes
the job's ``message``, and the call is where a job that was asked to stop stops
(:class:`JobCancelled` is raised there; the worker's ``finally`` blocks clean up).

Workers come from, in this order: :func:`register_worker`, the entry-point group
``marlox.workers`` (entry-point name = integration name), the built-in ones. Built-in workers are
named here by module and attribute and imported only when a job needs one, so that this module
imports none of them (they import this one).
"""

from __future__ import annotations

import contextvars
import importlib
import importlib.metadata
import threading
from collections.abc import Callable, Mapping
from typing import Any, overload

__all__ = [
    "WorkerFailure",
    "JobCancelled",
    "JobRequestError",
    "Worker",
    "Control",
    "progress",
    "run_with",
    "register_worker",
    "unregister_worker",
    "find_worker",
]

Worker = Callable[[dict[str, Any], int], Mapping[str, bytes]]

ENTRY_POINT_GROUP = "marlox.workers"

#: Built-in workers: integration -> "module:attribute".
BUILTIN = {"idearcs": "marlox.local.idea_rcs_worker:idearcs"}


class WorkerFailure(Exception):
    """Raised by a worker: the job fails with exactly this text."""


class JobCancelled(BaseException):
    """Raised by :func:`progress` in a job that was asked to stop.

    Like :class:`KeyboardInterrupt` it is no :class:`Exception`, so a worker's ``except
    Exception`` does not swallow it; ``finally`` blocks run as it passes.
    """


class JobRequestError(ValueError):
    """A job request that cannot be accepted (unknown integration, malformed fields)."""


class Control:
    """The link between a running job and its runner: the stage reported, the stop asked."""

    def __init__(self, report: Callable[[str], None]) -> None:
        self._report = report
        self.stop = threading.Event()

    def progress(self, message: str) -> None:
        if self.stop.is_set():
            raise JobCancelled
        self._report(message)


_current: contextvars.ContextVar[Control | None] = contextvars.ContextVar(
    "marlox_job", default=None
)


def progress(message: str) -> None:
    """Report the stage of the job that this thread runs (its status ``message``); raises
    :class:`JobCancelled` when the job was asked to stop. Outside a job it does nothing."""
    control = _current.get()
    if control is not None:
        control.progress(str(message))


def run_with(
    control: Control, worker: Worker, content: dict[str, Any], version: int
) -> Mapping[str, bytes]:
    """Call ``worker`` with :func:`progress` reporting to ``control``."""
    token = _current.set(control)
    try:
        return worker(content, version)
    finally:
        _current.reset(token)


_registered: dict[str, Worker] = {}


@overload
def register_worker(integration: str) -> Callable[[Worker], Worker]: ...
@overload
def register_worker(integration: str, worker: Worker) -> Worker: ...
def register_worker(
    integration: str, worker: Worker | None = None
) -> Worker | Callable[[Worker], Worker]:
    """Run jobs of ``integration`` with ``worker`` (it replaces one registered before, an
    installed and a built-in one); usable as a decorator without ``worker``. Returns the
    worker."""

    def register(function: Worker) -> Worker:
        _registered[integration] = function
        return function

    return register if worker is None else register(worker)


def unregister_worker(integration: str) -> None:
    """Forget a worker registered with :func:`register_worker` (built-in ones stay)."""
    _registered.pop(integration, None)


def find_worker(integration: str) -> Worker | None:
    """The worker that runs jobs of ``integration``, or None."""
    worker = _registered.get(integration)
    if worker is not None:
        return worker
    entries = list(importlib.metadata.entry_points(group=ENTRY_POINT_GROUP, name=integration))
    if not entries and integration in BUILTIN:
        entries = [importlib.metadata.EntryPoint(integration, BUILTIN[integration], "")]
    for entry in entries:
        try:
            loaded: Worker = entry.load()
            return loaded
        except Exception as error:
            raise JobRequestError(
                f"The worker '{entry.value}' for the integration '{integration}' cannot be "
                f"loaded: {error}"
            ) from error
    return None
