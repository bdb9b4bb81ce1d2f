"""The calls of IDEA StatiCa RCS's REST service that the "idearcs" worker makes.

The service comes with RCS on Windows (``IdeaStatiCa.RcsRestApi.exe -port=N``). Every call has a
time-out: the client waits at most ``timeout`` seconds for the service to connect or to send
more of its reply. Any failure of a call is a :class:`ServiceError` that says which call failed
and why; what it means for a job is the worker's affair.
"""

from __future__ import annotations

import contextlib
import functools
import json
import ssl
import urllib.error
import urllib.parse
import urllib.request
import uuid
from typing import Any

__all__ = ["RcsService", "ServiceError", "HEARTBEAT_TIMEOUT"]

#: Longest wait for one heartbeat, in seconds.
HEARTBEAT_TIMEOUT = 10.0


@functools.cache
def _tls_context() -> ssl.SSLContext:
    # One for the process: an opener would otherwise load the system's certificates anew
    # (tens of milliseconds) for every job, though the service is mostly reached over HTTP.
    return ssl.create_default_context()


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
        https = urllib.request.HTTPSHandler(context=_tls_context())
        handlers: list[urllib.request.BaseHandler] = [https]
        if local:
            handlers.append(urllib.request.ProxyHandler({}))
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
                data: bytes = reply.read()
                return data
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
