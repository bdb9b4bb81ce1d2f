"""The local platform's job runner: jobs run in this process by the worker of their integration.

A worker is a callable ``worker(content, version) -> {field: bytes}``. It reads the job content
(a JSON object) and returns the job's result fields; it reports a failure by raising
:class:`WorkerFailure` with the text the caller is to see (any other exception fails the job with
that exception's text). Workers come from, in this order: :func:`register_worker`, the entry-point
group ``marlox.workers`` (entry-point name = integration name), the workers built in here.
"""

from __future__ import annotations

import importlib.metadata
import logging
import threading
import time
import uuid
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field
from typing import Any

__all__ = [
    "WorkerFailure",
    "JobRequestError",
    "JobNotFound",
    "JobNotFinished",
    "Job",
    "JobRunner",
    "register_worker",
    "unregister_worker",
    "find_worker",
    "runner",
]

log = logging.getLogger("marlox.local.jobs")

Worker = Callable[[dict[str, Any], int], Mapping[str, bytes]]

ENTRY_POINT_GROUP = "marlox.workers"

STATUSES = ("queued", "running", "finished", "failed")


class WorkerFailure(Exception):
    """Raised by a worker: the job fails with exactly this text."""


class JobRequestError(ValueError):
    """A job request that cannot be accepted (unknown integration, malformed fields)."""


class JobNotFound(LookupError):
    """No such job, or no such result field of a finished job."""


class JobNotFinished(RuntimeError):
    """Results were asked of a job that has not finished."""


_registered: dict[str, Worker] = {}
_builtin: dict[str, Worker] = {}


def register_worker(integration: str, worker: Worker | None = None):
    """Run jobs of ``integration`` with ``worker``; usable as a decorator without ``worker``."""

    def register(function: Worker) -> Worker:
        _registered[integration] = function
        return function

    return register if worker is None else register(worker)


def unregister_worker(integration: str) -> None:
    """Forget a worker registered with :func:`register_worker` (built-in ones stay)."""
    _registered.pop(integration, None)


def _builtin_worker(integration: str):
    def register(function: Worker) -> Worker:
        _builtin[integration] = function
        return function

    return register


def find_worker(integration: str) -> Worker | None:
    """The worker that runs jobs of ``integration``, or None."""
    worker = _registered.get(integration)
    if worker is not None:
        return worker
    for entry in importlib.metadata.entry_points(group=ENTRY_POINT_GROUP, name=integration):
        try:
            return entry.load()
        except Exception as error:
            raise JobRequestError(
                f"The worker '{entry.value}' for the integration '{integration}' cannot be "
                f"loaded: {error}"
            ) from error
    if not _builtin:
        from . import workers  # noqa: F401  (fills the built-in table)
    return _builtin.get(integration)


@dataclass
class Job:
    """One job and, once it has ended, its outcome."""

    id: str
    integration: str
    version: int
    content: dict[str, Any]
    status: str = "queued"
    message: str = ""
    results: dict[str, bytes] = field(default_factory=dict)
    submitted: float = field(default_factory=time.monotonic)

    @property
    def done(self) -> bool:
        return self.status in ("finished", "failed")


class JobRunner:
    """Runs jobs in background threads of this process and keeps their outcomes.

    At most ``max_running`` jobs run at a time (the others wait as "queued"); at most
    ``max_jobs`` jobs are kept, the oldest ended ones being forgotten first.
    """

    def __init__(self, max_running: int = 4, max_jobs: int = 1000) -> None:
        self._jobs: dict[str, Job] = {}
        self._lock = threading.Lock()
        self._changed = threading.Condition(self._lock)
        self._slots = threading.BoundedSemaphore(max_running)
        self._max_jobs = max_jobs

    def submit(self, integration: Any, version: Any, content: Any) -> str:
        """Start a job; returns its id. Raises :class:`JobRequestError` for a bad request."""
        if not isinstance(integration, str) or not integration:
            raise JobRequestError("'integration' must be a non-empty text")
        if not isinstance(version, int) or isinstance(version, bool):
            raise JobRequestError("'version' must be an integer")
        if not isinstance(content, dict):
            raise JobRequestError("'content' must be a JSON object")
        worker = find_worker(integration)
        if worker is None:
            raise JobRequestError(f"No worker is registered for the integration '{integration}'")
        job = Job(uuid.uuid4().hex, integration, version, content)
        with self._lock:
            self._jobs[job.id] = job
            self._forget_old()
        thread = threading.Thread(
            target=self._run, args=(job, worker), name=f"marlox-job-{job.id[:8]}", daemon=True
        )
        thread.start()
        log.debug("job %s (%s v%d) submitted", job.id, integration, version)
        return job.id

    def _forget_old(self) -> None:
        excess = len(self._jobs) - self._max_jobs
        if excess <= 0:
            return
        for job_id in [job.id for job in self._jobs.values() if job.done][:excess]:
            del self._jobs[job_id]

    def _set(self, job: Job, status: str, message: str = "", results=None) -> None:
        with self._changed:
            job.status = status
            job.message = message
            if results is not None:
                job.results = results
            self._changed.notify_all()

    def _run(self, job: Job, worker: Worker) -> None:
        with self._slots:
            self._set(job, "running")
            try:
                returned = worker(job.content, job.version)
                results = {}
                for name, value in dict(returned or {}).items():
                    if not isinstance(value, (bytes, bytearray, memoryview)):
                        raise TypeError(
                            f"the worker returned {type(value).__name__} for the result field "
                            f"'{name}' instead of bytes"
                        )
                    results[str(name)] = bytes(value)
            except WorkerFailure as failure:
                log.info("job %s (%s) failed: %s", job.id, job.integration, failure)
                self._set(job, "failed", str(failure))
            except Exception as error:
                log.warning("job %s (%s) broke", job.id, job.integration, exc_info=True)
                self._set(job, "failed", str(error) or type(error).__name__)
            else:
                log.debug("job %s (%s) finished", job.id, job.integration)
                self._set(job, "finished", results=results)

    def _job(self, job_id: str) -> Job:
        job = self._jobs.get(job_id)
        if job is None:
            raise JobNotFound(f"There is no job '{job_id}'")
        return job

    def status(self, job_id: str) -> dict[str, Any]:
        """``{"status", "message"}`` of the job, and ``"results"`` (field names) once finished."""
        with self._lock:
            job = self._job(job_id)
            reply: dict[str, Any] = {"status": job.status, "message": job.message}
            if job.status == "finished":
                reply["results"] = list(job.results)
            return reply

    def result(self, job_id: str, name: str) -> bytes:
        """The bytes of the result field ``name`` of a finished job."""
        with self._lock:
            job = self._job(job_id)
            if job.status != "finished":
                raise JobNotFinished(f"The job '{job_id}' is {job.status}, not finished")
            if name not in job.results:
                raise JobNotFound(f"The job '{job_id}' has no result field '{name}'")
            return job.results[name]

    def wait(self, job_id: str, timeout: float) -> dict[str, Any]:
        """Wait at most ``timeout`` seconds for the job to end; returns its :meth:`status`."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while not self._job(job_id).done:
                remaining = deadline - time.monotonic()
                if remaining <= 0:
                    break
                self._changed.wait(remaining)
        return self.status(job_id)


_runner: JobRunner | None = None
_runner_lock = threading.Lock()


def runner() -> JobRunner:
    """The runner of this process's embedded platform."""
    global _runner
    with _runner_lock:
        if _runner is None:
            _runner = JobRunner()
        return _runner
