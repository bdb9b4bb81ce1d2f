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
store is its durable record, and memory never runs ahead of it. A job starts only once the store
has recorded it as running (a restart fails it as interrupted rather than running it again); a
store that cannot record that (a full disk) leaves the job queued, and it is tried again. A
store that cannot record a job's outcome fails the job with the store's text; if not even that
is recorded, the store still says "running", which a restart turns into failed too. The runner
and the server go on. Where each job's worker runs is the executor's affair
(:mod:`marlox.local.executors`).
"""

from __future__ import annotations

import collections
import logging
import threading
import time
import uuid
from collections.abc import Mapping
from typing import Any

from .executors import Executor, Task, ThreadExecutor
from .store import JobRecord, JobStore, MemoryStore, StoreError
from .workers import (
    ENTRY_POINT_GROUP,
    Control,
    JobCancelled,
    JobRequestError,
    Worker,
    WorkerFailure,
    find_worker,
    register_worker,
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
]

log = logging.getLogger("marlox.local.jobs")

STATUSES = ("queued", "running", "finished", "failed")
CANCELLED = "The job was cancelled"
INTERRUPTED = "The job was interrupted: the platform stopped while it ran; submit it again"
#: Seconds between two sweeps for expired jobs.
EXPIRY_INTERVAL = 60.0
#: Largest job version accepted (what the database holds as an integer, and far more than any
#: worker's count of content versions).
MAX_VERSION = 2**31 - 1
#: Seconds before a job whose start the store could not record is tried again.
STORE_RETRY = 1.0


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
    (seconds), ended jobs are deleted that long after they ended. ``executor`` runs each job's
    worker (by default on the runner's thread, :class:`~marlox.local.executors.ThreadExecutor`).
    A store that cannot record the jobs it finds interrupted raises :class:`StoreError`.
    """

    def __init__(
        self,
        max_running: int = 4,
        max_jobs: int = 1000,
        *,
        store: JobStore | None = None,
        keep: float | None = None,
        executor: Executor | None = None,
    ) -> None:
        self._store: JobStore = store if store is not None else MemoryStore(max_jobs)
        self._executor: Executor = executor if executor is not None else ThreadExecutor()
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
        if not 0 <= version <= MAX_VERSION:
            raise JobRequestError(f"'version' must be from 0 to {MAX_VERSION}, not {version}")
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
                if active is None or active.record.status != "queued":
                    continue  # cancelled while it waited
                if not self._start(active):
                    self._pause(STORE_RETRY)
                    continue
                if active.worker is None:
                    continue  # failed at its start
            self._run(active, active.worker)

    def _start(self, active: _Active) -> bool:
        """Record that the job starts (or, without a worker, that it failed) before anything
        runs; called with the lock held, so that a cancellation waits for it. When the store
        cannot record it, the job stays queued, first in line, with the store's text as its
        message; returns whether it was recorded."""
        job = active.record
        status, message = ("running", "") if active.worker is not None else ("failed", job.message)
        try:
            self._store.update(job.id, status, message)
        except StoreError as error:
            log.error("job %s: %s; it stays queued", job.id, error)
            job.message = str(error)
            self._queue.appendleft(job.id)
            return False
        job.status, job.message = status, message
        if status == "failed":
            self._active.pop(job.id, None)
            self._changed.notify_all()
        return True

    def _pause(self, seconds: float) -> None:
        # With the lock held: wait, letting others in, until the time is up or the runner stops.
        deadline = time.monotonic() + seconds
        while not self._closed and (remaining := deadline - time.monotonic()) > 0:
            self._changed.wait(remaining)

    def _run(self, active: _Active, worker: Worker) -> None:
        job = active.record
        task = Task(job.id, job.integration, job.version, job.content, worker)
        try:
            if active.control.stop.is_set():
                raise JobCancelled
            returned = self._executor.run(task, active.control)
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

    def _end(
        self,
        active: _Active,
        status: str,
        message: str,
        results: Mapping[str, bytes] | None = None,
    ) -> None:
        """Record the outcome of a job that ran. Failing that, the job fails with the store's
        text; when not even that is recorded, the store still says "running", which a restart
        turns into failed as well, and the job is answered from memory until then."""
        job = active.record
        recorded = True
        try:
            self._store.update(job.id, status, message, results)
        except StoreError as error:
            log.error("job %s: %s", job.id, error)
            status, message = "failed", str(error)
            try:
                self._store.update(job.id, status, message)
            except StoreError:
                recorded = False
        with self._changed:
            job.status, job.message = status, message
            if recorded:
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
        ended raises :class:`JobNotFinished`, and a queued one whose cancellation the store
        cannot record raises :class:`StoreError` and stays queued."""
        with self._changed:
            active = self._active.get(job_id)
            status = None if active is None else active.record.status
            if active is not None and status == "queued":
                self._store.update(job_id, "failed", CANCELLED)
                active.cancelled = True
                active.record.status, active.record.message = "failed", CANCELLED
                del self._active[job_id]
                self._changed.notify_all()
            elif active is not None and status == "running":
                active.cancelled = True
                active.control.stop.set()
                active.record.message = "cancelling"
        if status not in ("queued", "running"):
            job = self._job(job_id)
            raise JobNotFinished(f"The job '{job_id}' has already ended ({job.status})")
        return self.status(job_id)

    def delete(self, job_id: str) -> None:
        """Forget a job and its results, cancelling it first if it has not ended."""
        active = self._active.get(job_id)
        if active is not None and active.record.status in STATUSES[:2]:
            self.cancel(job_id)
        if not self._store.delete(job_id) and active is None:
            raise JobNotFound(f"There is no job '{job_id}'")
        with self._lock:
            if active is not None and active.record.status not in STATUSES[:2]:
                self._active.pop(job_id, None)

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
        clean up, and close the executor and the store. Jobs still running are marked
        interrupted at the next start; queued ones stay queued."""
        with self._changed:
            self._closed = True
            running = [job for job in self._active.values() if job.record.status == "running"]
            for job in running:
                job.control.stop.set()
            self._changed.notify_all()
        deadline = time.monotonic() + grace
        for thread in self._threads:
            thread.join(max(0.0, deadline - time.monotonic()))
        self._executor.close()
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
