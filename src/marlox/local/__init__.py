"""The embedded local platform: the platform's services in this process, or served over HTTP.

With no platform configured (``MARLOX_PLATFORM_URL`` unset), the SDK asks this package: add-on
endpoints are answered by :func:`call_endpoint` and jobs run on the in-process :func:`runner`.
``python -m marlox.local serve`` offers the same services over HTTP, and that protocol is the
one the SDK speaks to any platform (README.md beside this file has the details).

Protocol (every body is JSON; every error reply is ``{"error": text}`` with status 400, 401, 404,
405, 409, 411, 413, 500 or 503; with a token configured every request but ``/health`` needs
``Authorization: Bearer <token>``):

=========================================  ==================================================
``GET /health``                            ``{"status": "ok"}``
``POST /addon/<path>``                     the add-on endpoint ``<path>``: its JSON body in,
                                           its JSON reply out
``POST /jobs``                             ``{"integration", "version", "content"}`` starts a
                                           job: ``201 {"id": text}``
``GET /jobs/<id>``                         ``{"status": "queued"|"running"|"finished"|"failed",
                                           "message": text}``, plus ``"results"`` (the result
                                           field names) once finished; ``message`` is the
                                           worker's failure text
``GET /jobs/<id>/results/<field>``         ``{"data": base64}``: the field's bytes (409 while
                                           the job has not finished)
``POST /jobs/<id>/cancel``                 cancels the job (a running one at its worker's next
                                           :func:`progress`); its status
``DELETE /jobs/<id>``                      cancels the job if need be and forgets it:
                                           ``{"deleted": id}``
=========================================  ==================================================
"""

from __future__ import annotations

from . import conversion
from .endpoints import call_endpoint, endpoint_paths, register_endpoint
from .jobs import JobRunner, runner
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
    "WorkerFailure",
    "JobCancelled",
    "progress",
    "find_worker",
    "register_worker",
    "unregister_worker",
    "runner",
]
