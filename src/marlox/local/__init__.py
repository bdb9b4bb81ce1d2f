"""The embedded local platform: the platform's services in this process, or served over HTTP.

With no platform configured (``MARLOX_PLATFORM_URL`` unset), the SDK asks this package: add-on
endpoints are answered by :func:`call_endpoint` and jobs run on the in-process :func:`runner`.
``python -m marlox.local serve`` offers the same services over HTTP. The protocol, which the SDK
speaks to any platform, the server, the jobs and the workers are described in README.md beside
this file.

The parts: :mod:`.endpoints` and :mod:`.conversion` (add-on endpoints), :mod:`.jobs` (the job
runner), :mod:`.store` (where jobs are kept: the :class:`JobStore` protocol), :mod:`.executors`
(where a job's worker runs: the :class:`Executor` protocol), :mod:`.workers` (what a worker
sees), :mod:`.app`, :mod:`.guard` and :mod:`.server` (the protocol over HTTP), and the
"idearcs" worker (:mod:`.idea_rcs_worker` with its :mod:`.idea_rcs_client` and
:mod:`.idea_rcs_service`).
"""

from __future__ import annotations

from . import conversion
from .endpoints import call_endpoint, endpoint_paths, register_endpoint
from .executors import Executor, Task, ThreadExecutor
from .jobs import JobRunner, runner
from .store import JobStore
from .workers import (
    JobCancelled,
    WorkerFailure,
    find_worker,
    progress,
    register_worker,
    unregister_worker,
)

__all__ = [
    "call_endpoint",
    "conversion",
    "endpoint_paths",
    "register_endpoint",
    "JobRunner",
    "JobStore",
    "Executor",
    "Task",
    "ThreadExecutor",
    "WorkerFailure",
    "JobCancelled",
    "progress",
    "find_worker",
    "register_worker",
    "unregister_worker",
    "runner",
]
