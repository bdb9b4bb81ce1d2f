"""External programs that the platform runs as jobs on its workers.

A subclass of :class:`ExternalProgram` names its integration (the kind of worker that runs it),
builds the job content in :meth:`ExternalProgram._generate_job_content` and may turn the worker's
failure texts into errors in :meth:`ExternalProgram._handle_execution_error`. :meth:`execute`
submits the job, waits for it and keeps its result fields, which :meth:`_get_result` hands out.

With a platform configured (``MARLOX_PLATFORM_URL``, ``MARLOX_PLATFORM_TOKEN``) the job goes to
the platform's job API (described in README.md of :mod:`marlox.local`); without one, it runs in
this process on the embedded local platform.
"""

from __future__ import annotations

import base64
import binascii
import io
import json
import logging
import time
from collections.abc import Callable
from typing import Any, Protocol, TypeVar, cast

from .. import core
from ..errors import ExecutionError, InternalError

__all__ = ["ExternalProgram"]

log = logging.getLogger("marlox.external")
_T = TypeVar("_T")

#: Seconds :meth:`ExternalProgram.execute` waits for a job unless told otherwise.
DEFAULT_TIMEOUT = 3600.0
#: Seconds between progress reports while a job runs.
PROGRESS_INTERVAL = 10.0
#: First and longest pause between two status requests, in seconds.
FIRST_POLL, LONGEST_POLL = 0.05, 2.0
#: Longest status request to the platform's job API, in seconds; a submission and a result
#: download may take what is left of the caller's time-out.
REQUEST_TIMEOUT = 30.0
#: Seconds a job that ran out of time is given to take its cancellation.
CANCEL_TIMEOUT = 5.0


class _JobContent(dict[str, Any]):
    """The content of a job: a record of keyword fields, sent to the worker as a JSON object.

    It is a ``dict`` of its fields (so ``json.dumps`` takes it as it is) whose fields can also be
    read as attributes.
    """

    def __init__(self, **fields: Any) -> None:
        super().__init__(fields)

    def __getattr__(self, name: str) -> Any:
        try:
            return self[name]
        except KeyError:
            raise AttributeError(f"The job content has no field '{name}'") from None

    def to_dict(self) -> dict[str, Any]:
        """The fields as a new plain dictionary, in the order they were given."""
        return dict(self)

    def __repr__(self) -> str:
        fields = ", ".join(f"{name}={_abridged(value)}" for name, value in self.items())
        return f"_JobContent({fields})"


def _abridged(value: Any) -> str:
    text = repr(value)
    return text if len(text) <= 60 else text[:57] + "..."


class _Jobs(Protocol):
    """A platform's job API as :meth:`ExternalProgram.execute` uses it."""

    def submit(
        self, integration: str, version: int, content: dict[str, Any], timeout: float
    ) -> str: ...
    def status(self, job_id: str, timeout: float) -> dict[str, Any]: ...
    def pause(self, job_id: str, seconds: float) -> None: ...
    def result(self, job_id: str, field: str, timeout: float) -> bytes: ...
    def cancel(self, job_id: str) -> None: ...


class _PlatformJobs:
    """The job API of the configured platform, over HTTP."""

    def submit(
        self, integration: str, version: int, content: dict[str, Any], timeout: float
    ) -> str:
        # Never repeated: a submission that may have arrived would start a second job.
        body = {"integration": integration, "version": version, "content": content}
        reply = core._platform_request("POST", "jobs", body, timeout, "jobs")
        job_id = reply.get("id") if isinstance(reply, dict) else None
        if not isinstance(job_id, str):
            raise InternalError(f"Platform endpoint 'jobs' failed: no job id in {reply!r}")
        return job_id

    def status(self, job_id: str, timeout: float) -> dict[str, Any]:
        what = f"jobs/{job_id}"
        reply = core._platform_request("GET", what, None, timeout, what, retry=True)
        status = reply.get("status") if isinstance(reply, dict) else None
        unlisted = status == "finished" and not isinstance(reply.get("results"), list)
        if status not in ("queued", "running", "finished", "failed") or unlisted:
            raise InternalError(f"Platform endpoint '{what}' failed: malformed status {reply!r}")
        return cast(dict[str, Any], reply)

    def pause(self, job_id: str, seconds: float) -> None:
        time.sleep(seconds)

    def result(self, job_id: str, field: str, timeout: float) -> bytes:
        what = f"jobs/{job_id}/results/{field}"
        reply = core._platform_request("GET", what, None, timeout, what, retry=True)
        data = reply.get("data") if isinstance(reply, dict) else None
        try:
            if not isinstance(data, str):
                raise ValueError("no text 'data'")
            return base64.b64decode(data, validate=True)
        except (ValueError, binascii.Error) as error:
            raise InternalError(
                f"Platform endpoint '{what}' failed: the result is not base64 data: {error}"
            ) from error

    def cancel(self, job_id: str) -> None:
        what = f"jobs/{job_id}/cancel"
        core._platform_request("POST", what, {}, CANCEL_TIMEOUT, what)


class _LocalJobs:
    """The job runner of the embedded local platform, in this process."""

    def __init__(self) -> None:
        from ..local import jobs

        self._runner = jobs.runner()
        self._refusals = (jobs.JobRequestError, jobs.JobNotFound, jobs.JobNotFinished)

    def _call(self, what: str, operation: Callable[[], _T]) -> _T:
        try:
            return operation()
        except self._refusals as error:
            raise InternalError(f"Platform endpoint '{what}' failed: {error}") from error

    def submit(
        self, integration: str, version: int, content: dict[str, Any], timeout: float
    ) -> str:
        try:
            # Through JSON, as over the wire: the worker sees what a remote worker would see.
            content = json.loads(json.dumps(content))
        except (TypeError, ValueError, RecursionError) as error:
            raise InternalError(
                f"Platform endpoint 'jobs' failed: the request is not JSON: {error}"
            ) from error
        return self._call("jobs", lambda: self._runner.submit(integration, version, content))

    def status(self, job_id: str, timeout: float) -> dict[str, Any]:
        return self._call(f"jobs/{job_id}", lambda: self._runner.status(job_id))

    def pause(self, job_id: str, seconds: float) -> None:
        self._runner.wait(job_id, seconds)

    def result(self, job_id: str, field: str, timeout: float) -> bytes:
        what = f"jobs/{job_id}/results/{field}"
        return self._call(what, lambda: self._runner.result(job_id, field))

    def cancel(self, job_id: str) -> None:
        self._call(f"jobs/{job_id}/cancel", lambda: self._runner.cancel(job_id))


class ExternalProgram:
    """A program that a worker of the integration ``integration`` runs as a platform job.

    ``version`` is the version of the job content that the worker is asked to read.
    """

    def __init__(self, integration: str, version: int = 1) -> None:
        self._integration = integration
        self._version = version
        self._job_id: str | None = None
        self._results: dict[str, bytes] | None = None
        self._failure: str | None = None  # why the last execute() left no results

    @property
    def integration(self) -> str:
        """The name of the integration whose workers run this program."""
        return self._integration

    @property
    def version(self) -> int:
        """The version of the job content."""
        return self._version

    @property
    def job_id(self) -> str | None:
        """The id of the last job submitted by :meth:`execute`, or None."""
        return self._job_id

    def _generate_job_content(self) -> _JobContent:
        """The content of the job to submit; subclasses supply it."""
        raise NotImplementedError

    def _handle_execution_error(self, message: str) -> None:
        """Turn the worker's failure text into an error by raising it; None leaves it to
        :meth:`execute`, which raises :class:`ExecutionError` with the text itself."""
        return None

    def execute(self, timeout: float = DEFAULT_TIMEOUT) -> None:
        """Run the job and wait at most ``timeout`` seconds for it; keep its result fields.

        Raises :class:`ExecutionError` when the job fails or does not finish in time, and
        :class:`InternalError` when the platform cannot be asked.
        """
        if isinstance(timeout, bool) or not isinstance(timeout, (int, float)) or not timeout > 0:
            raise ValueError(f"The timeout must be a positive number of seconds, not {timeout!r}")
        body = dict(self._generate_job_content())
        jobs: _Jobs = _PlatformJobs() if core._platform() is not None else _LocalJobs()
        self._results = None
        self._failure = "it did not complete"  # until it has, or the failure is known
        started = time.monotonic()
        deadline = started + timeout

        def left() -> float:
            return deadline - time.monotonic()

        self._job_id = job_id = jobs.submit(self._integration, self._version, body, timeout)
        log.debug("job %s (%s) submitted", job_id, self._integration)

        pause, next_report = FIRST_POLL, started + PROGRESS_INTERVAL
        while True:
            try:
                status = jobs.status(job_id, min(REQUEST_TIMEOUT, max(left(), 0.001)))
            except InternalError:
                if left() > 0:
                    raise
                status = {"status": "unknown (the platform did not answer in time)"}
            if status["status"] in ("finished", "failed"):
                break
            now = time.monotonic()
            if now >= deadline:
                self._cancel(jobs, job_id)
                self._failure = (
                    f"The job {job_id} ({self._integration}) did not finish within "
                    f"{timeout:g} s (waited {now - started:.1f} s; it is {status['status']})"
                )
                raise ExecutionError(self._failure)
            if now >= next_report:
                stage = status.get("message") or ""
                log.info(
                    "job %s (%s) is %s%s after %.0f s",
                    job_id,
                    self._integration,
                    status["status"],
                    f" ({stage})" if stage else "",
                    now - started,
                )
                next_report = now + PROGRESS_INTERVAL
            jobs.pause(job_id, min(pause, deadline - now))
            pause = min(pause * 1.5, LONGEST_POLL)

        if status["status"] == "failed":
            message = status.get("message")
            message = message if isinstance(message, str) else ""
            log.debug("job %s (%s) failed: %s", job_id, self._integration, message)
            self._failure = message or f"The job {job_id} ({self._integration}) failed"
            try:
                self._handle_execution_error(message)
            except Exception as error:
                self._failure = str(error) or self._failure
                raise
            raise ExecutionError(self._failure)
        self._results = {
            field: jobs.result(job_id, field, max(left(), 0.001)) for field in status["results"]
        }
        self._failure = None
        waited = time.monotonic() - started
        log.debug("job %s (%s) finished after %.1f s", job_id, self._integration, waited)

    def _cancel(self, jobs: _Jobs, job_id: str) -> None:
        # Nobody will fetch the results of a job that ran out of time: free its worker.
        try:
            jobs.cancel(job_id)
        except InternalError as error:
            log.debug("job %s (%s) was not cancelled: %s", job_id, self._integration, error)

    def _get_result(self, field: str, as_file: bool = False) -> io.BytesIO | core.File:
        """The bytes of the result field ``field`` of the executed job: a :class:`io.BytesIO`
        at its start, or a :class:`marlox.core.File` when ``as_file`` is true."""
        if self._results is None:
            if self._failure is not None:
                raise ExecutionError(f"The job has no results: its run failed: {self._failure}")
            raise ExecutionError("The job has no results: call execute() first")
        if field not in self._results:
            raise ExecutionError(f"The job {self._job_id} returned no result field '{field}'")
        data = self._results[field]
        return core.File.from_data(data) if as_file else io.BytesIO(data)
