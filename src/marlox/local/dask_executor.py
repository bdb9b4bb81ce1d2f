"""Jobs on a Dask cluster: the executor of a served platform that is given a scheduler
(``python -m marlox.local serve --dask tcp://host:8786`` or ``MARLOX_DASK_SCHEDULER``).

The job runner (:mod:`marlox.local.jobs`) keeps the queue, the statuses and the store, the
durable record, as ever; :class:`DaskExecutor` sends each job it starts to the cluster and waits
for it there. Each RCS machine runs a Dask worker with this package installed and a resource
``rcs`` equal to its licence seats (``dask worker tcp://host:8786 --resources "rcs=2"``); every
job of an integration that takes a seat ("idearcs") asks for one, so that no machine runs more
RCS jobs than it has seats. The task runs the same worker functions as a thread of the runner;
:func:`marlox.local.progress` stays the worker's one safe point: there it reports its stage (a
Dask worker event, which the executor passes on to the runner) and stops once the job's cancel
event (a Dask ``Event``) is set.

- A job whose Dask worker is lost while it runs fails with :data:`LOST`; it never runs a second
  time: Dask would give the task to another worker, and the job's "started" event, kept on the
  scheduler, makes that second run fail at once instead.
- A job that had not started when the scheduler went away is sent again once the client is
  connected again (and waits for workers: they do not join a new scheduler by themselves); one
  that had started fails with :data:`LOST`. "Started" is judged by the first stage the job
  reported, so a job lost within milliseconds of its start, before that stage arrived, would be
  sent again.
- While a job waits for a seat it is "running" for the runner, its stage saying so; a platform
  that stops while jobs run or wait fails them at its next start, as the runner does.
"""

from __future__ import annotations

import queue
import threading
import time
from collections.abc import Mapping
from concurrent.futures import CancelledError
from typing import Any

from marlox._extras import MissingExtra, require

from .executors import Task
from .jobs import CANCELLED
from .workers import Control, JobCancelled, WorkerFailure, find_worker, run_with

__all__ = ["DaskExecutor", "DaskUnavailable", "SCHEDULER_VARIABLE", "LOST", "run_task"]

#: The environment variable that names the Dask scheduler of ``serve``.
SCHEDULER_VARIABLE = "MARLOX_DASK_SCHEDULER"
#: The worker resource that counts licence seats, and the integrations whose jobs take one.
RESOURCE = "rcs"
SEATED = frozenset({"idearcs"})
LOST = "The job was interrupted: the Dask worker or scheduler running it was lost; submit it again"
WAITING = "waiting for a seat on the Dask cluster"
#: Seconds to reach the scheduler at start.
CONNECT_TIMEOUT = 10.0
#: Seconds between two looks at a job's stages and its stop.
POLL = 0.1
#: The worker event topic of the jobs' stages.
TOPIC = "marlox-job-stage"


class DaskUnavailable(RuntimeError):
    """The Dask scheduler cannot be reached, or ``distributed`` is not installed."""


def _cancel_event(job_id: str) -> str:
    return f"marlox-cancel-{job_id}"


def _started_event(job_id: str) -> str:
    return f"marlox-started-{job_id}"


class _TaskControl(Control):
    """The safe point of a job on a Dask worker: stops once the cancel event is set, reports
    the stage as a worker event otherwise."""

    def __init__(self, job_id: str) -> None:
        from distributed import Event, get_worker

        self._job_id = job_id
        self._cancel = Event(_cancel_event(job_id))
        self._worker = get_worker()
        super().__init__(self._publish)

    def _publish(self, message: str) -> None:
        self._worker.log_event(TOPIC, {"job": self._job_id, "stage": message})

    def progress(self, message: str) -> None:
        if self.stop.is_set() or self._cancel.is_set():
            self.stop.set()
            raise JobCancelled
        self._report(message)


def run_task(
    job_id: str, integration: str, version: int, content: dict[str, Any]
) -> dict[str, bytes]:
    """The task that a Dask worker runs for one job: its result fields, or WorkerFailure."""
    from distributed import Event

    started = Event(_started_event(job_id))
    if started.is_set():
        raise WorkerFailure(LOST)  # a second run after a worker was lost: never run twice
    started.set()
    worker = find_worker(integration)
    if worker is None:
        raise WorkerFailure(f"No worker is registered for the integration '{integration}'")
    control = _TaskControl(job_id)
    try:
        control.progress("started on a Dask worker")
        return dict(run_with(control, worker, content, version) or {})
    except JobCancelled:
        raise WorkerFailure(CANCELLED) from None


class DaskExecutor:
    """Runs the runner's jobs on the Dask cluster whose scheduler is at ``address``.

    :raises DaskUnavailable: if ``distributed`` is missing or the scheduler cannot be reached
        within ``connect_timeout`` seconds (:data:`CONNECT_TIMEOUT` unless given).
    """

    def __init__(self, address: str, *, connect_timeout: float | None = None) -> None:
        try:
            Client = require("distributed", extra="dask", what="Jobs on a Dask cluster").Client
        except MissingExtra as error:
            raise DaskUnavailable(str(error)) from error
        try:
            timeout = CONNECT_TIMEOUT if connect_timeout is None else connect_timeout
            self._client = Client(address, timeout=timeout, set_as_default=False)
        except (OSError, TimeoutError) as error:
            raise DaskUnavailable(
                f"The Dask scheduler at {address} cannot be reached: {error}"
            ) from error
        self.address = address
        self._lock = threading.Lock()
        self._stages: dict[str, queue.SimpleQueue[str]] = {}
        self._client.subscribe_topic(TOPIC, self._on_stage)

    def _on_stage(self, event: Any) -> None:
        # On the client's event loop: hand over, never block.
        _, message = event
        if isinstance(message, dict):
            with self._lock:
                stages = self._stages.get(str(message.get("job")))
            if stages is not None:
                stages.put(str(message.get("stage")))

    def run(self, task: Task, control: Control) -> Mapping[str, bytes]:
        stages: queue.SimpleQueue[str] = queue.SimpleQueue()
        with self._lock:
            self._stages[task.job_id] = stages
        try:
            return self._run(task, control, stages)
        finally:
            with self._lock:
                self._stages.pop(task.job_id, None)

    def _submit(self, task: Task) -> Any:
        return self._client.submit(
            run_task,
            task.job_id,
            task.integration,
            task.version,
            task.content,
            resources={RESOURCE: 1} if task.integration in SEATED else None,
            pure=False,
        )

    def _run(
        self, task: Task, control: Control, stages: queue.SimpleQueue[str]
    ) -> Mapping[str, bytes]:
        from distributed import KilledWorker

        future = self._submit(task)
        try:
            control.progress(WAITING if task.integration in SEATED else "sent to the Dask cluster")
        except JobCancelled:
            self._stop(task, future, started=False)
            raise
        started = stopping = False
        while True:
            # Done or not is asked without waiting: the client's own waiting with a time-out
            # can lose the outcome when the time runs out as it arrives.
            if future.done():
                try:
                    fields: Mapping[str, bytes] = future.result()
                    return fields
                except KilledWorker:
                    raise WorkerFailure(LOST) from None
                except WorkerFailure as failure:
                    if stopping and str(failure) == CANCELLED:
                        raise JobCancelled from None
                    raise
                except CancelledError:
                    if stopping:
                        raise JobCancelled from None
                    if started:
                        raise WorkerFailure(LOST) from None
                    # The scheduler went away before the job started: send it again once it
                    # is back.
                    while self._client.status != "running":
                        if control.stop.is_set():
                            raise JobCancelled from None
                        time.sleep(POLL)
                    future = self._submit(task)
                    continue
            try:
                try:
                    stage = stages.get(timeout=POLL)
                    started = True
                    if not stopping:
                        control.progress(stage)
                except queue.Empty:
                    pass
                if control.stop.is_set() and not stopping:
                    raise JobCancelled
            except JobCancelled:
                stopping = True
                self._stop(task, future, started)

    def _stop(self, task: Task, future: Any, started: bool) -> None:
        """Stop the job at its next safe point, or before it starts."""
        from distributed import Event

        Event(_cancel_event(task.job_id), client=self._client).set()
        if not started:
            future.cancel()

    def close(self) -> None:
        self._client.close()
