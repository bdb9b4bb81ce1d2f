"""The "idearcs" worker: IDEA StatiCa RCS through its REST service.

IDEA StatiCa installs the service with RCS on Windows (``IdeaStatiCa.RcsRestApi.exe
-port=N``). For one job the worker

1. decodes the job's ``body`` (base64 of the RCS input XML);
2. reaches the service: the running one at ``MARLOX_IDEA_RCS_URL``, or the executable at
   ``MARLOX_IDEA_RCS_EXE`` started on a free loopback port, and waits for ``GET /heartbeat``;
3. imports the input (``POST /api/1/projects/import-iom-file``, multipart field ``iomFile``),
   calculates every section (``POST .../calculate``) and fetches the section results
   (``POST .../get-results``), a batch of the sections that the calculation reports at a time;
4. writes them as the result XML (:mod:`marlox.local.rcs_result_xml`) into the result field
   "body", and with ``return_rcs_file`` (job version 2) downloads the project
   (``GET .../download``) into "idea_rcs_body";
5. closes the project (``PUT .../close``) whenever it was opened, and stops a service it started.

It reports each stage as the job's progress (connecting, importing, calculating, fetching the
results of sections k to m of n, writing, downloading); a job asked to stop stops there, and the
project is closed as in any failure.

Failures carry the texts that the analysis job knows: "Marlox Idea link not found" (no service
configured, reachable or startable), "Missing input" (an empty or undecodable body), "Failed
creating model" (the import failed), "Failed calculation" (calculating or fetching the results
failed). Any other failure keeps its own text.

Every call to the service has a time-out: the worker waits at most ``MARLOX_IDEA_RCS_TIMEOUT``
seconds (default 1800) for the service to connect or to send more of its reply, and a started
service gets ``MARLOX_IDEA_RCS_START_TIMEOUT`` seconds (default 120) to answer its heartbeat.
"""

from __future__ import annotations

import base64
import binascii
import contextlib
import json
import logging
import os
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request
import uuid
from collections.abc import Iterator, Mapping
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from .rcs_result_xml import ResultFormatError, ResultXml
from .workers import WorkerFailure, progress

__all__ = [
    "idearcs",
    "Settings",
    "RcsService",
    "ServiceError",
    "connect",
    "run",
    "LINK_NOT_FOUND",
    "MISSING_INPUT",
    "FAILED_CREATING_MODEL",
    "FAILED_CALCULATION",
]

log = logging.getLogger("marlox.local.idea_rcs")

LINK_NOT_FOUND = "Marlox Idea link not found"
MISSING_INPUT = "Missing input"
FAILED_CREATING_MODEL = "Failed creating model"
FAILED_CALCULATION = "Failed calculation"

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
#: Longest wait for one heartbeat, in seconds.
HEARTBEAT_TIMEOUT = 10.0
#: Pause between two heartbeats while a started service comes up, in seconds.
HEARTBEAT_INTERVAL = 0.25
#: Sections whose results are fetched with one call, so that only their JSON is held at a time.
RESULTS_BATCH = 50
#: Seconds a started service has to end after it was asked to.
STOP_TIMEOUT = 10.0


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
        raise WorkerFailure(f"{name} must be a positive number of seconds, not {text!r}")
    return seconds


class ServiceError(Exception):
    """A call to the RCS service failed: no answer, a time-out, an error status or a reply
    that is not what the service describes."""


class RcsService:
    """The calls of the RCS REST service that the worker makes."""

    def __init__(self, url: str, timeout: float) -> None:
        self.url = url.rstrip("/")
        self.timeout = timeout
        host = urllib.parse.urlsplit(self.url).hostname or ""
        # A service on this machine is never reached through the proxy of the environment.
        local = host in ("localhost", "::1") or host.startswith("127.")
        handlers = [urllib.request.ProxyHandler({})] if local else []
        self._opener = urllib.request.build_opener(*handlers)

    def _call(
        self,
        method: str,
        path: str,
        body: bytes | None = None,
        content_type: str | None = None,
        timeout: float | None = None,
    ) -> bytes:
        request = urllib.request.Request(self.url + path, data=body, method=method)
        if content_type is not None:
            request.add_header("Content-Type", content_type)
        what = f"{method} {path}"
        try:
            with self._opener.open(request, timeout=timeout or self.timeout) as reply:
                return reply.read()
        except urllib.error.HTTPError as error:
            detail = _error_detail(error)
            raise ServiceError(f"{what} answered {error.code} {error.reason}{detail}") from None
        except (urllib.error.URLError, OSError, ValueError) as error:
            reason = getattr(error, "reason", error)
            if isinstance(reason, TimeoutError):
                reason = f"no answer within {timeout or self.timeout:g} s"
            raise ServiceError(f"{what} failed: {reason}") from None

    def _json(self, method: str, path: str, body: Any = None) -> Any:
        data = None if body is None else json.dumps(body).encode()
        reply = self._call(method, path, data, None if body is None else "application/json")
        try:
            return json.loads(reply.decode("utf-8-sig"))
        except ValueError as error:
            raise ServiceError(f"{method} {path} answered with malformed JSON: {error}") from None

    def _project(self, project_id: str) -> str:
        return "/api/1/projects/" + urllib.parse.quote(project_id, safe="")

    def heartbeat(self, timeout: float = HEARTBEAT_TIMEOUT) -> None:
        self._call("GET", "/heartbeat", timeout=min(timeout, self.timeout))

    def version(self) -> str:
        """The IDEA StatiCa version of the service."""
        text = self._call("GET", "/api/1/clients/idea-service-version").decode("utf-8-sig")
        with contextlib.suppress(ValueError):
            text = str(json.loads(text))  # a JSON string rather than plain text
        return text.strip()

    def import_iom(self, input_xml: bytes) -> str:
        """Open a project made from the RCS input XML; returns its id."""
        boundary = uuid.uuid4().hex
        body = b"".join(
            (
                f"--{boundary}\r\n".encode(),
                b'Content-Disposition: form-data; name="iomFile"; filename="input.xml"\r\n',
                b"Content-Type: application/xml\r\n\r\n",
                input_xml,
                f"\r\n--{boundary}--\r\n".encode(),
            )
        )
        path = "/api/1/projects/import-iom-file"
        reply = self._call("POST", path, body, f"multipart/form-data; boundary={boundary}")
        try:
            project = json.loads(reply.decode("utf-8-sig"))
            project_id = project["projectId"]
            if not isinstance(project_id, str) or not project_id:
                raise ValueError(f"the project id is {project_id!r}")
        except (ValueError, TypeError, KeyError) as error:
            raise ServiceError(f"POST {path} answered without a project id: {error}") from None
        return project_id

    def calculate(self, project_id: str) -> Any:
        """Calculate every section of the project."""
        return self._json("POST", self._project(project_id) + "/calculate", {"sections": []})

    def results(self, project_id: str, sections: list[int] | None = None) -> Any:
        """The detailed results of the sections (JSON ``RcsSectionResultDetailed`` list); of
        every section without ``sections``."""
        body = {"sections": sections or []}
        return self._json("POST", self._project(project_id) + "/get-results", body)

    def download(self, project_id: str) -> bytes:
        """The project as an .ideaRcs file."""
        return self._call("GET", self._project(project_id) + "/download")

    def close(self, project_id: str) -> None:
        self._call("PUT", self._project(project_id) + "/close")


def _error_detail(error: urllib.error.HTTPError) -> str:
    try:
        text = error.read(2000).decode("utf-8", "replace").strip()
    except OSError:
        text = ""
    return f": {text}" if text else ""


def _free_port() -> int:
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def connect(settings: Settings) -> Iterator[RcsService]:
    """The service, answering its heartbeat: the configured one, or one started for the
    duration of the ``with`` block. Raises :class:`WorkerFailure` "Marlox Idea link not found"
    when there is none."""
    if settings.url:
        service = RcsService(settings.url, settings.timeout)
        try:
            service.heartbeat()
        except ServiceError as error:
            log.warning("the RCS service at %s does not answer: %s", settings.url, error)
            raise WorkerFailure(LINK_NOT_FOUND) from None
        yield service
    elif settings.exe:
        with _started_service(settings) as service:
            yield service
    else:
        log.warning("no RCS service: set %s or %s", URL_VARIABLE, EXE_VARIABLE)
        raise WorkerFailure(LINK_NOT_FOUND)


@contextlib.contextmanager
def _started_service(settings: Settings) -> Iterator[RcsService]:
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
        log.warning("the RCS service %s cannot be started: %s", exe, error)
        raise WorkerFailure(LINK_NOT_FOUND) from None
    log.info("started the RCS service %s on port %d (process %d)", exe, port, process.pid)
    try:
        service = RcsService(f"http://127.0.0.1:{port}", settings.timeout)
        _wait_until_up(service, process, settings.start_timeout)
        yield service
    finally:
        _stop(process)


def _wait_until_up(service: RcsService, process: subprocess.Popen, timeout: float) -> None:
    deadline = time.monotonic() + timeout
    while True:
        if process.poll() is not None:
            log.warning("the RCS service ended at start with exit code %s", process.returncode)
            raise WorkerFailure(LINK_NOT_FOUND)
        remaining = deadline - time.monotonic()
        try:
            service.heartbeat(max(0.1, min(HEARTBEAT_TIMEOUT, remaining)))
            return
        except ServiceError as error:
            if time.monotonic() >= deadline:
                log.warning("the RCS service did not answer within %g s: %s", timeout, error)
                raise WorkerFailure(LINK_NOT_FOUND) from None
        time.sleep(min(HEARTBEAT_INTERVAL, max(0.0, deadline - time.monotonic())))


def _stop(process: subprocess.Popen) -> None:
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(STOP_TIMEOUT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait(STOP_TIMEOUT)
    log.info("stopped the RCS service (process %d)", process.pid)


def _input_xml(content: Mapping[str, Any]) -> bytes:
    body = content.get("body")
    if not isinstance(body, str) or not body.strip():
        raise WorkerFailure(MISSING_INPUT)
    try:
        data = base64.b64decode(body, validate=True)
    except (binascii.Error, ValueError):
        raise WorkerFailure(MISSING_INPUT) from None
    if not data.strip():
        raise WorkerFailure(MISSING_INPUT)
    return data


def run(content: Mapping[str, Any], version: int, settings: Settings) -> dict[str, bytes]:
    """Run one job of the integration "idearcs" on the service that ``settings`` name."""
    if not (settings.url or settings.exe):
        log.warning("no RCS service: set %s or %s", URL_VARIABLE, EXE_VARIABLE)
        raise WorkerFailure(LINK_NOT_FOUND)
    input_xml = _input_xml(content)
    want_xml = content.get("return_result_xml", True) is not False
    want_rcs_file = version >= 2 and bool(content.get("return_rcs_file"))

    progress("connecting to the RCS service")
    with connect(settings) as service:
        progress("importing the input into RCS")
        try:
            project_id = service.import_iom(input_xml)
        except ServiceError as error:
            log.warning("RCS did not import the input: %s", error)
            raise WorkerFailure(FAILED_CREATING_MODEL) from None
        log.info("RCS opened the project %s", project_id)
        try:
            return _calculate(service, project_id, want_xml, want_rcs_file)
        finally:
            try:
                service.close(project_id)
            except ServiceError as error:
                log.warning("RCS did not close the project %s: %s", project_id, error)


def _section_batches(overview: Any) -> list[list[int]]:
    """The section ids of the ``calculate`` reply in batches of :data:`RESULTS_BATCH`, to fetch
    the results a batch at a time; one batch of all sections (``[]``) when the reply does not
    list them plainly."""
    items = overview if isinstance(overview, list) else []
    ids = [item.get("sectionId") if isinstance(item, dict) else None for item in items]
    if not ids or not all(isinstance(id_, int) and not isinstance(id_, bool) for id_ in ids):
        return [[]]
    ids = list(dict.fromkeys(ids))  # each section once
    return [ids[start : start + RESULTS_BATCH] for start in range(0, len(ids), RESULTS_BATCH)]


def _calculate(
    service: RcsService, project_id: str, want_xml: bool, want_rcs_file: bool
) -> dict[str, bytes]:
    document = ResultXml()
    try:
        progress("calculating every section in RCS")
        overview = service.calculate(project_id)
        batches = _section_batches(overview) if want_xml else []
        count = sum(len(batch) for batch in batches)
        done = 0
        for batch in batches:
            if batch:
                last = done + len(batch)
                progress(f"fetching the results of sections {done + 1}-{last} of {count}")
            else:
                progress("fetching the results of every section")
            document.add(service.results(project_id, batch))
            done += len(batch)
    except ServiceError as error:
        log.warning("RCS did not calculate the project %s: %s", project_id, error)
        raise WorkerFailure(FAILED_CALCULATION) from None
    except ResultFormatError as error:
        raise WorkerFailure(f"The RCS results cannot be written as result XML: {error}") from None
    fields: dict[str, bytes] = {}
    if want_xml:
        progress("writing the result XML")
        fields["body"] = document.finish()
    if want_rcs_file:
        progress("downloading the RCS project")
        try:
            fields["idea_rcs_body"] = service.download(project_id)
        except ServiceError as error:
            raise WorkerFailure(f"The .ideaRcs project cannot be downloaded: {error}") from None
    return fields


def idearcs(content: dict[str, Any], version: int) -> dict[str, bytes]:
    """The worker of the integration "idearcs": runs IDEA StatiCa RCS on the job's input XML
    and returns the result XML ("body") and, when asked, the .ideaRcs project
    ("idea_rcs_body"), on the service that the environment names.
    """
    return run(content, version, Settings.from_environment())
