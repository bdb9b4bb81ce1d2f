"""Jobs on a Dask cluster: the served platform's runner when it is given a scheduler
(``python -m marlox.local serve --dask tcp://host:8786`` or ``MARLOX_DASK_SCHEDULER``).

Each RCS machine runs a Dask worker with this package installed and a resource ``rcs`` equal to
its licence seats (``dask worker tcp://host:8786 --resources "rcs=2"``); every job of an
integration that takes a seat ("idearcs") asks for one, so that no machine runs more RCS jobs
than it has seats. The worker runs the job with the same worker functions as the in-process
runner; :func:`marlox.local.progress` stays its one safe point: there it publishes its stage
(a Dask worker event) and stops when the platform has set the job's cancel event (a Dask ``Event``).

The platform's store (SQLite when served) stays the durable record, as with
:class:`~marlox.local.jobs.JobRunner`:

- a job whose worker is lost while it runs fails with :data:`LOST`; it is never run a second
  time: Dask would give the task to another worker, and the job's "started" event (kept on the
  scheduler) makes that second run fail at once instead;
- a job that had not started when the scheduler went away stays queued and is submitted again
  once the client is connected again; a running one fails with :data:`LOST`;
- a platform that stops leaves its running jobs "running" in the store (they are asked to stop
  at their next safe point), and the next start fails them with
  :data:`~marlox.local.jobs.INTERRUPTED`, as the in-process runner does.
"""

from __future__ import annotations

import logging
import queue
import threading
import time
import uuid
from typing import Any

from .jobs import (
    CANCELLED,
    EXPIRY_INTERVAL,
    INTERRUPTED,
    STATUSES,
    JobNotFinished,
    JobNotFound,
)
from .store import JobRecord, MemoryStore, StoreError
from .workers import Control, JobCancelled, JobRequestError, WorkerFailure, find_worker, run_with

__all__ = ["DaskJobRunner", "DaskUnavailable", "SCHEDULER_VARIABLE", "LOST"]

log = logging.getLogger("marlox.local.dask")

#: The environment variable that names the Dask scheduler of ``serve``.
SCHEDULER_VARIABLE = "MARLOX_DASK_SCHEDULER"
#: The worker resource that counts licence seats, and the integrations whose jobs take one.
RESOURCE = "rcs"
SEATED = frozenset({"idearcs"})
LOST = "The job was interrupted: the Dask worker or scheduler running it was lost; submit it again"
#: Seconds to reach the scheduler at start.
CONNECT_TIMEOUT = 10.0
#: The event topic of the jobs' stages.
TOPIC = "marlox-job-stage"


class DaskUnavailable(RuntimeError):
    """The Dask scheduler cannot be reached, or ``distributed`` is not installed."""


def _cancel_event(job_id: str) -> str:
    return f"marlox-cancel-{job_id}"


def _started_event(job_id: str) -> str:
    return f"marlox-started-{job_id}"


class _DaskControl(Control):
    """The safe point of a job on a Dask worker: stops when the cancel event is set, publishes
    the stage otherwise."""

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


def run_job(job_id: str, integration: str, version: int, content: dict[str, Any]):
    """The task that a Dask worker runs for one job: its result fields, or WorkerFailure."""
    from distributed import Event

    started = Event(_started_event(job_id))
    if started.is_set():
        raise WorkerFailure(LOST)  # a second run after a worker was lost: never run twice
    started.set()
    worker = find_worker(integration)
    if worker is None:
        raise WorkerFailure(f"No worker is registered for the integration '{integration}'")
    control = _DaskControl(job_id)
    try:
        control.progress("started")
        returned = run_with(control, worker, content, version)
        if control.stop.is_set():
            raise JobCancelled
    except JobCancelled:
        raise WorkerFailure(CANCELLED) from None
    except WorkerFailure:
        raise
    except Exception as error:
        raise WorkerFailure(str(error) or type(error).__name__) from error
    results = {}
    for name, value in dict(returned or {}).items():
        if not isinstance(value, (bytes, bytearray, memoryview)):
            raise WorkerFailure(
                f"the worker returned {type(value).__name__} for the result field '{name}' "
                "instead of bytes"
            )
        results[str(name)] = bytes(value)
    return results


class DaskJobRunner:
    """Runs jobs on the Dask cluster whose scheduler is at ``address`` and keeps them in
    ``store`` (in memory without one). Same interface as
    :class:`~marlox.local.jobs.JobRunner`.

    :raises DaskUnavailable: if ``distributed`` is missing or the scheduler cannot be reached
        within ``connect_timeout`` seconds; nothing is submitted then.
    """

    def __init__(
        self,
        address: str,
        *,
        store: Any = None,
        keep: float | None = None,
        connect_timeout: float = CONNECT_TIMEOUT,
    ) -> None:
        try:
            from distributed import Client
        except ImportError as error:
            raise DaskUnavailable(
                "Jobs on a Dask cluster need distributed: pip install 'marlox[dask]'"
            ) from error
        try:
            self._client = Client(address, timeout=connect_timeout, set_as_default=False)
        except (OSError, TimeoutError) as error:
            raise DaskUnavailable(
                f"The Dask scheduler at {address} cannot be reached: {error}"
            ) from error
        self.address = address
        self._store = store if store is not None else MemoryStore()
        self._keep = keep
        self._last_sweep = 0.0
        self._lock = threading.Lock()
        self._changed = threading.Condition(self._lock)
        self._active: dict[str, JobRecord] = {}
        self._futures: dict[str, Any] = {}
        self._cancelled: set[str] = set()
        self._ended: queue.Queue[tuple[str, Any] | None] = queue.Queue()
        self._stages: queue.Queue[tuple[str, str] | None] = queue.Queue()
        self._closed = False
        self._threads = [
            threading.Thread(target=self._collect, name="marlox-dask-ends", daemon=True),
            threading.Thread(target=self._listen, name="marlox-dask-stages", daemon=True),
        ]
        for thread in self._threads:
            thread.start()
        self._resume()

    # -- submitting

    def _resume(self) -> None:
        self._expire()
        for record in self._store.unfinished():
            if record.status == "running":
                log.warning("job %s (%s) was interrupted", record.id, record.integration)
                self._store.update(record.id, "failed", INTERRUPTED)
                continue
            log.info("job %s (%s) is queued again", record.id, record.integration)
            self._send(record)

    def _send(self, record: JobRecord) -> None:
        resources = {RESOURCE: 1} if record.integration in SEATED else None
        future = self._client.submit(
            run_job,
            record.id,
            record.integration,
            record.version,
            record.content,
            key=f"marlox-job-{record.id}-{uuid.uuid4().hex[:8]}",
            resources=resources,
            pure=False,
        )
        with self._lock:
            self._active[record.id] = record
            self._futures[record.id] = future
        future.add_done_callback(lambda f, job_id=record.id: self._ended.put((job_id, f)))

    def submit(self, integration: Any, version: Any, content: Any) -> str:
        """Queue a job on the cluster; returns its id. Raises :class:`JobRequestError` for a
        bad request and :class:`StoreError` when it cannot be recorded."""
        if not isinstance(integration, str) or not integration:
            raise JobRequestError("'integration' must be a non-empty text")
        if not isinstance(version, int) or isinstance(version, bool):
            raise JobRequestError("'version' must be an integer")
        if not isinstance(content, dict):
            raise JobRequestError("'content' must be a JSON object")
        if find_worker(integration) is None:
            raise JobRequestError(f"No worker is registered for the integration '{integration}'")
        record = JobRecord(uuid.uuid4().hex, integration, version, content)
        self._store.add(record)
        self._send(record)
        log.debug("job %s (%s v%d) sent to %s", record.id, integration, version, self.address)
        self._expire()
        return record.id

    def _expire(self) -> None:
        now = time.time()
        if self._keep is None or now - self._last_sweep < EXPIRY_INTERVAL:
            return
        self._last_sweep = now
        try:
            if count := self._store.expire(now - self._keep):
                log.info("deleted %d jobs that ended over %g s ago", count, self._keep)
        except StoreError as error:
            log.error("%s", error)

    # -- what the cluster reports

    def _on_stage(self, event: Any) -> None:
        # On the client's event loop: hand over, never block.
        _, message = event
        if isinstance(message, dict):
            self._stages.put((str(message.get("job")), str(message.get("stage"))))

    def _listen(self) -> None:
        self._client.subscribe_topic(TOPIC, self._on_stage)
        while True:
            item = self._stages.get()
            if item is None:
                return
            job_id, message = item
            with self._changed:
                record = self._active.get(job_id)
                if record is None:
                    continue
                first = record.status == "queued"
                record.status = "running"
                if job_id not in self._cancelled:
                    record.message = message
                self._changed.notify_all()
            if first:
                self._record(record, "running", record.message)

    def _collect(self) -> None:
        while True:
            item = self._ended.get()
            if item is None:
                return
            job_id, future = item
            try:
                self._end(job_id, future)
            except Exception:
                log.exception("job %s: its end was not recorded", job_id)

    def _end(self, job_id: str, future: Any) -> None:
        from distributed import KilledWorker

        with self._lock:
            if self._futures.get(job_id) is not future:
                return  # a future replaced by a resubmission
            record = self._active[job_id]
            cancelled = job_id in self._cancelled
        if future.status == "finished":
            results = future.result()
            return self._finish(record, "finished", "", results)
        if future.status == "error":
            error = future.exception()
            if isinstance(error, KilledWorker):
                message = LOST
            else:
                message = str(error) or type(error).__name__
            return self._finish(record, "failed", message)
        # Cancelled: by us, or by a scheduler that went away.
        if cancelled:
            return self._finish(record, "failed", CANCELLED)
        if record.status == "running" or self._closed:
            return self._finish(record, "failed", LOST)
        log.info("job %s (%s) lost its scheduler before it ran", job_id, record.integration)
        threading.Thread(target=self._resend, args=(record,), daemon=True).start()

    def _resend(self, record: JobRecord) -> None:
        while not self._closed and self._client.status != "running":
            time.sleep(0.5)
        if not self._closed:
            log.info("job %s (%s) is sent again", record.id, record.integration)
            self._send(record)

    def _record(self, job: JobRecord, status: str, message: str, results=None) -> bool:
        try:
            self._store.update(job.id, status, message, results)
            return True
        except StoreError as error:
            log.error("job %s: %s", job.id, error)
            return False

    def _finish(self, job: JobRecord, status: str, message: str, results=None) -> None:
        if not self._record(job, status, message, results):
            status, message = "failed", "The job's outcome could not be stored"
            self._record(job, status, message)
        with self._changed:
            job.status, job.message = status, message
            self._active.pop(job.id, None)
            self._futures.pop(job.id, None)
            self._cancelled.discard(job.id)
            self._changed.notify_all()

    # -- asking

    def _job(self, job_id: str) -> JobRecord:
        record = self._active.get(job_id)
        if record is not None:
            return record
        job = self._store.get(job_id)
        if job is None:
            raise JobNotFound(f"There is no job '{job_id}'")
        return job

    def status(self, job_id: str) -> dict[str, Any]:
        """``{"status", "message"}`` of the job, and ``"results"`` (field names) once finished."""
        self._expire()
        job = self._job(job_id)
        reply: dict[str, Any] = {"status": job.status, "message": job.message}
        if job.status == "finished":
            reply["results"] = list(job.results)
        return reply

    def result(self, job_id: str, name: str) -> bytes:
        """The bytes of the result field ``name`` of a finished job."""
        job = self._job(job_id)
        if job.status != "finished":
            raise JobNotFinished(f"The job '{job_id}' is {job.status}, not finished")
        data = self._store.result(job_id, name)
        if data is None:
            raise JobNotFound(f"The job '{job_id}' has no result field '{name}'")
        return data

    def cancel(self, job_id: str) -> dict[str, Any]:
        """Cancel a job: a queued one at once, a running one at its worker's next
        :func:`~marlox.local.workers.progress`. A job that has ended raises
        :class:`JobNotFinished`."""
        from distributed import Event

        with self._lock:
            record = self._active.get(job_id)
            future = self._futures.get(job_id)
            if record is not None:
                self._cancelled.add(job_id)
                queued = record.status == "queued"
                if not queued:
                    record.message = "cancelling"
        if record is None:
            job = self._job(job_id)
            raise JobNotFinished(f"The job '{job_id}' has already ended ({job.status})")
        # The event first: a queued job that starts meanwhile stops at its first safe point.
        Event(_cancel_event(job_id), client=self._client).set()
        if queued and future is not None:
            future.cancel()
        return self.status(job_id)

    def delete(self, job_id: str) -> None:
        """Forget a job and its results, cancelling it first if it has not ended."""
        active = job_id in self._active
        if active:
            self.cancel(job_id)
        if not self._store.delete(job_id) and not active:
            raise JobNotFound(f"There is no job '{job_id}'")

    def wait(self, job_id: str, timeout: float) -> dict[str, Any]:
        """Wait at most ``timeout`` seconds for the job to end; returns its :meth:`status`."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while job_id in self._active and self._active[job_id].status in STATUSES[:2]:
                remaining = deadline - time.monotonic()
                if remaining <= 0:
                    break
                self._changed.wait(remaining)
        return self.status(job_id)

    def close(self, grace: float = 5.0) -> None:
        """Stop: ask the running jobs to stop at their next safe point, leave the cluster and
        close the store. Jobs still recorded as running are failed at the next start."""
        from distributed import Event

        with self._lock:
            self._closed = True
            running = [r.id for r in self._active.values() if r.status == "running"]
        for job_id in running:
            try:
                Event(_cancel_event(job_id), client=self._client).set()
            except Exception as error:  # the scheduler may be gone
                log.debug("job %s was not asked to stop: %s", job_id, error)
        self._ended.put(None)
        self._stages.put(None)
        for thread in self._threads:
            thread.join(grace)
        self._client.close(timeout=grace)
        with self._lock:
            self._store.close()
