"""Where the job runner hands a job to its worker: the one seam between keeping jobs and running
them.

The runner (:mod:`marlox.local.jobs`) owns the queue, the records and the statuses; for every job
that it starts, one of its threads calls :meth:`Executor.run` and waits for the result fields.
An executor decides where the worker runs: :class:`ThreadExecutor` calls it on that thread, in
this process; another executor may send the task to other processes or machines, as long as it

- returns the worker's result fields, or raises what the worker raised (:class:`WorkerFailure`
  with its text, any other exception for a broken worker);
- passes the stages the worker reports on to ``control.progress``, and stops the worker when
  ``control.stop`` is set (raising :class:`JobCancelled`), so that cancelling and shutting down
  work as they do in this process.
"""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any, Protocol

from .workers import Control, Worker, run_with

__all__ = ["Executor", "Task", "ThreadExecutor"]


@dataclass(frozen=True)
class Task:
    """One job as its worker is to run it."""

    job_id: str
    integration: str
    version: int
    content: dict[str, Any]
    #: The worker found for the integration when the job was submitted or taken up again.
    worker: Worker


class Executor(Protocol):
    """Runs the worker of a task; see the module documentation for the contract."""

    def run(self, task: Task, control: Control) -> Mapping[str, bytes]:
        """Run ``task`` to its end and return its result fields; blocks the calling thread."""

    def close(self) -> None:
        """Release what the executor holds; called once the runner's threads have stopped."""


class ThreadExecutor:
    """Runs each worker on the runner's thread that starts it, in this process."""

    def run(self, task: Task, control: Control) -> Mapping[str, bytes]:
        return run_with(control, task.worker, task.content, task.version)

    def close(self) -> None:
        pass
