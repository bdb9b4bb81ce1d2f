"""Where the "idearcs" worker finds IDEA StatiCa RCS's REST service: the running one that
``MARLOX_IDEA_RCS_URL`` names, or the executable that ``MARLOX_IDEA_RCS_EXE`` names, started on
a free loopback port for the time of a job and stopped after it.

A started service has ``MARLOX_IDEA_RCS_START_TIMEOUT`` seconds (default 120) to answer its
heartbeat; it is asked to end when the job ends, and killed when it does not within
:data:`STOP_TIMEOUT`. No service, one that does not answer, cannot be started, ends at start or
does not come up in time: :class:`ServiceUnavailable`.
"""

from __future__ import annotations

import contextlib
import logging
import os
import socket
import subprocess
import sys
import time
from collections.abc import Iterator, Mapping
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from .idea_rcs_client import HEARTBEAT_TIMEOUT, RcsService, ServiceError

__all__ = ["Settings", "ServiceUnavailable", "connect"]

log = logging.getLogger("marlox.local.idea_rcs")

#: Base URL of a running IDEA StatiCa RCS REST service.
URL_VARIABLE = "MARLOX_IDEA_RCS_URL"
#: Path of the IDEA StatiCa RCS REST service executable, started on demand.
EXE_VARIABLE = "MARLOX_IDEA_RCS_EXE"
#: Seconds the worker waits for the service to connect or to send more of a reply.
TIMEOUT_VARIABLE = "MARLOX_IDEA_RCS_TIMEOUT"
#: Seconds a started service has to answer its heartbeat.
START_TIMEOUT_VARIABLE = "MARLOX_IDEA_RCS_START_TIMEOUT"

DEFAULT_TIMEOUT = 1800.0
DEFAULT_START_TIMEOUT = 120.0
#: Pause between two heartbeats while a started service comes up, in seconds.
HEARTBEAT_INTERVAL = 0.25
#: Seconds a started service has to end after it was asked to.
STOP_TIMEOUT = 10.0


class ServiceUnavailable(ServiceError):
    """There is no service to use: none configured, or it does not answer or come up."""


@dataclass(frozen=True)
class Settings:
    """Where the service is and how long its calls may take."""

    url: str | None = None
    exe: str | None = None
    timeout: float = DEFAULT_TIMEOUT
    start_timeout: float = DEFAULT_START_TIMEOUT

    @classmethod
    def from_environment(cls, environ: Mapping[str, str] | None = None) -> Settings:
        environ = os.environ if environ is None else environ
        return cls(
            url=environ.get(URL_VARIABLE) or None,
            exe=environ.get(EXE_VARIABLE) or None,
            timeout=_seconds(environ, TIMEOUT_VARIABLE, DEFAULT_TIMEOUT),
            start_timeout=_seconds(environ, START_TIMEOUT_VARIABLE, DEFAULT_START_TIMEOUT),
        )


def _seconds(environ: Mapping[str, str], name: str, default: float) -> float:
    text = environ.get(name)
    if not text:
        return default
    try:
        seconds = float(text)
    except ValueError:
        seconds = float("nan")
    if not seconds > 0 or seconds == float("inf"):
        raise ValueError(f"{name} must be a positive number of seconds, not {text!r}")
    return seconds


def _free_port() -> int:
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        port: int = probe.getsockname()[1]
        return port


@contextlib.contextmanager
def connect(settings: Settings) -> Iterator[RcsService]:
    """The service, answering its heartbeat: the configured one, or one started for the
    duration of the ``with`` block. Raises :class:`ServiceUnavailable`, saying why, when there
    is none."""
    if settings.url:
        service = RcsService(settings.url, settings.timeout)
        try:
            service.heartbeat()
        except ServiceError as error:
            message = f"the RCS service at {settings.url} does not answer: {error}"
            raise ServiceUnavailable(message) from None
        yield service
    elif settings.exe:
        with _started_service(settings) as service:
            yield service
    else:
        raise ServiceUnavailable(f"no RCS service: set {URL_VARIABLE} or {EXE_VARIABLE}")


@contextlib.contextmanager
def _started_service(settings: Settings) -> Iterator[RcsService]:
    assert settings.exe is not None
    exe = Path(settings.exe).expanduser().absolute()
    port = _free_port()
    command = [str(exe), f"-port={port}"]
    options: dict[str, Any] = {}
    if sys.platform == "win32":
        options["creationflags"] = subprocess.CREATE_NO_WINDOW
    try:
        process = subprocess.Popen(
            command,
            cwd=exe.parent if exe.parent.is_dir() else None,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            **options,
        )
    except OSError as error:
        raise ServiceUnavailable(f"the RCS service {exe} cannot be started: {error}") from None
    log.info("started the RCS service %s on port %d (process %d)", exe, port, process.pid)
    try:
        service = RcsService(f"http://127.0.0.1:{port}", settings.timeout)
        _wait_until_up(service, process, settings.start_timeout)
        yield service
    finally:
        _stop(process)


def _wait_until_up(service: RcsService, process: subprocess.Popen[bytes], timeout: float) -> None:
    deadline = time.monotonic() + timeout
    while True:
        if process.poll() is not None:
            code = process.returncode
            raise ServiceUnavailable(f"the RCS service ended at start with exit code {code}")
        remaining = deadline - time.monotonic()
        try:
            service.heartbeat(max(0.1, min(HEARTBEAT_TIMEOUT, remaining)))
            return
        except ServiceError as error:
            if time.monotonic() >= deadline:
                message = f"the RCS service did not answer within {timeout:g} s: {error}"
                raise ServiceUnavailable(message) from None
        time.sleep(min(HEARTBEAT_INTERVAL, max(0.0, deadline - time.monotonic())))


def _stop(process: subprocess.Popen[bytes]) -> None:
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(STOP_TIMEOUT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait(STOP_TIMEOUT)
    log.info("stopped the RCS service (process %d)", process.pid)
