"""The local platform's job runner: jobs run in this process by the worker of their integration.

Jobs wait in submission order for one of ``max_running`` worker threads. Their records live in a
store (:mod:`marlox.local.store`): in memory for the embedded platform, in an SQLite database for
a served one. A runner started on a database picks up where the last one stopped:

- queued jobs run;
- finished and failed jobs keep their outcome until they are deleted or expire;
- jobs that were running fail with :data:`INTERRUPTED`. They are not run again: a job that
  brought the server down would bring it down again, and a worker's run (an RCS licence, hours of
  calculation) is not free to repeat unasked; the caller decides.

The status of a job that is queued or running in this process is answered from memory; the
store is its durable record. A store that fails to record an outcome (a full disk) fails the job
with the store's text; the runner and the server go on.
"""

from __future__ import annotations

import collections
import logging
import threading
import time
import uuid
from typing import Any

from .store import JobRecord, MemoryStore, StoreError
from .workers import (
    ENTRY_POINT_GROUP,
    Control,
    JobCancelled,
    JobRequestError,
    Worker,
    WorkerFailure,
    _registered,
    find_worker,
    register_worker,
    run_with,
    unregister_worker,
)

__all__ = [
    "WorkerFailure",
    "JobRequestError",
    "JobNotFound",
    "JobNotFinished",
    "JobRunner",
    "register_worker",
    "unregister_worker",
    "find_worker",
    "runner",
    "ENTRY_POINT_GROUP",
    "_registered",
]

log = logging.getLogger("marlox.local.jobs")

STATUSES = ("queued", "running", "finished", "failed")
CANCELLED = "The job was cancelled"
INTERRUPTED = "The job was interrupted: the platform stopped while it ran; submit it again"
#: Seconds between two sweeps for expired jobs.
EXPIRY_INTERVAL = 60.0


class JobNotFound(LookupError):
    """No such job, or no such result field of a finished job."""


class JobNotFinished(RuntimeError):
    """Results were asked of a job that has not finished, or a finished job was cancelled."""


class _Active:
    """A job queued or running in this process."""

    def __init__(self, record: JobRecord, worker: Worker | None) -> None:
        self.record = record
        self.worker = worker
        self.control = Control(self._report)
        self.cancelled = False  # by request, not by a stopping runner

    def _report(self, message: str) -> None:
        self.record.message = message


class JobRunner:
    """Runs jobs on ``max_running`` threads of this process and keeps them in ``store``.

    Without a store the jobs are kept in memory, at most ``max_jobs`` of them. With ``keep``
    (seconds), ended jobs are deleted that long after they ended.
    """

    def __init__(
        self,
        max_running: int = 4,
        max_jobs: int = 1000,
        *,
        store: Any = None,
        keep: float | None = None,
    ) -> None:
        self._store = store if store is not None else MemoryStore(max_jobs)
        self._keep = keep
        self._lock = threading.Lock()
        self._changed = threading.Condition(self._lock)
        self._active: dict[str, _Active] = {}
        self._queue: collections.deque[str] = collections.deque()
        self._threads: list[threading.Thread] = []
        self._max_running = max_running
        self._closed = False
        self._last_sweep = 0.0
        self._resume()

    def _resume(self) -> None:
        self._expire()
        for record in self._store.unfinished():
            if record.status == "running":
                log.warning("job %s (%s) was interrupted", record.id, record.integration)
                self._store.update(record.id, "failed", INTERRUPTED)
                continue
            try:
                worker = find_worker(record.integration)
            except JobRequestError as error:
                worker, record.message = None, str(error)
            if worker is None and not record.message:
                record.message = (
                    f"No worker is registered for the integration '{record.integration}'"
                )
            log.info("job %s (%s) is queued again", record.id, record.integration)
            self._enqueue(_Active(record, worker))

    def _enqueue(self, active: _Active) -> None:
        with self._lock:
            self._active[active.record.id] = active
            self._queue.append(active.record.id)
            self._changed.notify_all()
            if len(self._threads) < min(self._max_running, len(self._queue) + self._running()):
                thread = threading.Thread(target=self._serve, name="marlox-job", daemon=True)
                self._threads.append(thread)
                thread.start()

    def _running(self) -> int:
        return sum(job.record.status == "running" for job in self._active.values())

    def submit(self, integration: Any, version: Any, content: Any) -> str:
        """Queue a job; returns its id. Raises :class:`JobRequestError` for a bad request and
        :class:`StoreError` when it cannot be recorded."""
        if not isinstance(integration, str) or not integration:
            raise JobRequestError("'integration' must be a non-empty text")
        if not isinstance(version, int) or isinstance(version, bool):
            raise JobRequestError("'version' must be an integer")
        if not isinstance(content, dict):
            raise JobRequestError("'content' must be a JSON object")
        worker = find_worker(integration)
        if worker is None:
            raise JobRequestError(f"No worker is registered for the integration '{integration}'")
        record = JobRecord(uuid.uuid4().hex, integration, version, content)
        self._store.add(record)
        self._enqueue(_Active(record, worker))
        log.debug("job %s (%s v%d) submitted", record.id, integration, version)
        self._expire()
        return record.id

    def _serve(self) -> None:
        while True:
            with self._changed:
                while not self._queue and not self._closed:
                    self._changed.wait()
                if self._closed:
                    return
                active = self._active.get(self._queue.popleft())
                if active is None or active.cancelled:
                    continue  # cancelled while it waited
                active.record.status = "running"
            self._run(active)

    def _run(self, active: _Active) -> None:
        job = active.record
        if not self._record(job, "running", job.message):
            self._end(active, "failed", job.message)
            return
        try:
            if active.worker is None:
                raise WorkerFailure(job.message)
            returned = run_with(active.control, active.worker, job.content, job.version)
            if active.control.stop.is_set():
                raise JobCancelled
            results = {}
            for name, value in dict(returned or {}).items():
                if not isinstance(value, (bytes, bytearray, memoryview)):
                    raise TypeError(
                        f"the worker returned {type(value).__name__} for the result field "
                        f"'{name}' instead of bytes"
                    )
                results[str(name)] = bytes(value)
        except JobCancelled:
            message = CANCELLED if active.cancelled else INTERRUPTED
            log.info("job %s (%s): %s", job.id, job.integration, message)
            self._end(active, "failed", message)
        except WorkerFailure as failure:
            log.info("job %s (%s) failed: %s", job.id, job.integration, failure)
            self._end(active, "failed", str(failure))
        except Exception as error:
            log.warning("job %s (%s) broke", job.id, job.integration, exc_info=True)
            self._end(active, "failed", str(error) or type(error).__name__)
        else:
            log.debug("job %s (%s) finished", job.id, job.integration)
            self._end(active, "finished", "", results)

    def _record(self, job: JobRecord, status: str, message: str, results=None) -> bool:
        try:
            self._store.update(job.id, status, message, results)
            return True
        except StoreError as error:
            log.error("job %s: %s", job.id, error)
            job.message = str(error)
            return False

    def _end(self, active: _Active, status: str, message: str, results=None) -> None:
        job = active.record
        if not self._record(job, status, message, results):
            status, message = "failed", job.message
            if not self._record(job, status, message):
                # Not even the failure is stored: the job stays failed in memory.
                with self._changed:
                    job.status = status
                    self._changed.notify_all()
                return
        with self._changed:
            job.status, job.message = status, message
            self._active.pop(job.id, None)
            self._changed.notify_all()

    def _job(self, job_id: str) -> JobRecord:
        active = self._active.get(job_id)
        if active is not None:
            return active.record
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
        :func:`~marlox.local.workers.progress`. Returns its :meth:`status`; a job that has
        ended raises :class:`JobNotFinished`."""
        with self._lock:
            active = self._active.get(job_id)
            if active is not None:
                active.cancelled = True
                active.control.stop.set()
                queued = active.record.status == "queued"
                if not queued:
                    active.record.message = "cancelling"
        if active is None:
            job = self._job(job_id)
            raise JobNotFinished(f"The job '{job_id}' has already ended ({job.status})")
        if queued:
            self._end(active, "failed", CANCELLED)
        return self.status(job_id)

    def delete(self, job_id: str) -> None:
        """Forget a job and its results, cancelling it first if it has not ended."""
        active = self._active.get(job_id)
        if active is not None:
            self.cancel(job_id)
        if not self._store.delete(job_id) and active is None:
            raise JobNotFound(f"There is no job '{job_id}'")

    def wait(self, job_id: str, timeout: float) -> dict[str, Any]:
        """Wait at most ``timeout`` seconds for the job to end; returns its :meth:`status`."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while job_id in self._active and self._active[job_id].record.status in STATUSES[:2]:
                remaining = deadline - time.monotonic()
                if remaining <= 0:
                    break
                self._changed.wait(remaining)
        return self.status(job_id)

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

    def close(self, grace: float = 5.0) -> None:
        """Stop: cancel the running jobs, give them ``grace`` seconds to reach a safe point and
        clean up, and close the store. Jobs still running are marked interrupted at the next
        start; queued ones stay queued."""
        with self._changed:
            self._closed = True
            running = [job for job in self._active.values() if job.record.status == "running"]
            for job in running:
                job.control.stop.set()
            self._changed.notify_all()
        deadline = time.monotonic() + grace
        for thread in self._threads:
            thread.join(max(0.0, deadline - time.monotonic()))
        with self._lock:
            self._store.close()


_runner: JobRunner | None = None
_runner_lock = threading.Lock()


def runner() -> JobRunner:
    """The runner of this process's embedded platform (jobs kept in memory)."""
    global _runner
    with _runner_lock:
        if _runner is None:
            _runner = JobRunner()
        return _runner
