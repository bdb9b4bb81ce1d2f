"""The local platform's HTTP protocol as a WSGI application (README.md beside this file has the
protocol). :mod:`marlox.local.server` serves it; any WSGI server can."""

from __future__ import annotations

import base64
import hmac
import json
import logging
import re
from collections.abc import Iterable
from http import HTTPStatus
from typing import Any
from wsgiref.types import StartResponse, WSGIEnvironment

from ..errors import InternalError
from . import endpoints
from .jobs import JobNotFinished, JobNotFound, JobRequestError, JobRunner
from .store import StoreError

__all__ = ["PlatformApp", "DEFAULT_MAX_BODY"]

log = logging.getLogger("marlox.local.server")

#: Largest request body accepted, in bytes (larger ones get 413).
DEFAULT_MAX_BODY = 256 * 1024 * 1024

_JOB = re.compile(r"^/jobs/([^/]+)$")
_CANCEL = re.compile(r"^/jobs/([^/]+)/cancel$")
_RESULT = re.compile(r"^/jobs/([^/]+)/results/([^/]+)$")


class _Reply(Exception):
    """Ends a request with an error reply ``{"error": message}``."""

    def __init__(self, status: HTTPStatus, message: str) -> None:
        super().__init__(message)
        self.status = status
        self.message = message


def json_reply(
    status: HTTPStatus, reply: dict[str, Any]
) -> tuple[str, list[tuple[str, str]], bytes]:
    """Status line, headers and body of a JSON reply."""
    body = json.dumps(reply).encode("utf-8")
    headers = [("Content-Type", "application/json"), ("Content-Length", str(len(body)))]
    if status == HTTPStatus.UNAUTHORIZED:
        headers.append(("WWW-Authenticate", "Bearer"))
    return f"{status.value} {status.phrase}", headers, body


class PlatformApp:
    """Answers the platform's protocol with the add-on endpoints and the runner ``jobs``."""

    def __init__(
        self, jobs: JobRunner, *, token: str | None = None, max_body: int = DEFAULT_MAX_BODY
    ) -> None:
        self.jobs = jobs
        self.token = token or None
        self.max_body = max_body

    def __call__(self, environ: WSGIEnvironment, start_response: StartResponse) -> Iterable[bytes]:
        method = environ["REQUEST_METHOD"]
        # WSGI hands the path as the bytes of the request, decoded as Latin-1.
        path = environ.get("PATH_INFO", "").encode("latin-1").decode("utf-8", "replace")
        try:
            if not (method == "GET" and path == "/health"):
                self._authorise(environ)
            status, reply = self._route(method, path, environ)
        except _Reply as failure:
            status, reply = failure.status, {"error": failure.message}
        except Exception as error:  # the reply says what broke; the server keeps serving
            log.exception("request %s %s failed", method, path)
            status, reply = HTTPStatus.INTERNAL_SERVER_ERROR, {"error": str(error)}
        line, headers, body = json_reply(status, reply)
        start_response(line, headers)
        return [body]

    def _authorise(self, environ: WSGIEnvironment) -> None:
        if self.token is None:
            return
        given = environ.get("HTTP_AUTHORIZATION", "")
        if not hmac.compare_digest(given.encode(), f"Bearer {self.token}".encode()):
            raise _Reply(HTTPStatus.UNAUTHORIZED, "A valid bearer token is required")

    def _body(self, environ: WSGIEnvironment) -> dict[str, Any]:
        try:
            length = int(environ.get("CONTENT_LENGTH") or "")
        except ValueError:
            message = "Send the body with a Content-Length"
            raise _Reply(HTTPStatus.LENGTH_REQUIRED, message) from None
        if length < 0 or length > self.max_body:
            raise _Reply(
                HTTPStatus.REQUEST_ENTITY_TOO_LARGE,
                f"The request body has {length} bytes; at most {self.max_body} are accepted",
            )
        raw = environ["wsgi.input"].read(length)
        try:
            body = json.loads(raw)
        except ValueError as error:
            raise _Reply(HTTPStatus.BAD_REQUEST, f"The request body is not JSON: {error}") from None
        except RecursionError:
            message = "The request body is nested too deeply"
            raise _Reply(HTTPStatus.BAD_REQUEST, message) from None
        if not isinstance(body, dict):
            raise _Reply(HTTPStatus.BAD_REQUEST, "The request body must be a JSON object")
        return body

    def _route(
        self, method: str, path: str, environ: WSGIEnvironment
    ) -> tuple[HTTPStatus, dict[str, Any]]:
        if path == "/health":
            _allow(method, "GET")
            return HTTPStatus.OK, {"status": "ok"}
        if path.startswith("/addon/"):
            _allow(method, "POST")
            name = path[len("/addon/") :]
            if name.strip("/") not in endpoints.endpoint_paths():
                raise _Reply(HTTPStatus.NOT_FOUND, f"There is no endpoint '{name}'")
            body = self._body(environ)
            try:
                return HTTPStatus.OK, endpoints.call_endpoint(name, body)
            except endpoints.RequestError as error:
                raise _Reply(HTTPStatus.BAD_REQUEST, str(error)) from None
            except InternalError as error:
                raise _Reply(HTTPStatus.INTERNAL_SERVER_ERROR, str(error)) from None
        try:
            return self._jobs(method, path, environ)
        except JobRequestError as error:
            raise _Reply(HTTPStatus.BAD_REQUEST, str(error)) from None
        except JobNotFound as error:
            raise _Reply(HTTPStatus.NOT_FOUND, str(error)) from None
        except JobNotFinished as error:
            raise _Reply(HTTPStatus.CONFLICT, str(error)) from None
        except StoreError as error:
            log.error("%s", error)
            raise _Reply(HTTPStatus.SERVICE_UNAVAILABLE, str(error)) from None

    def _jobs(
        self, method: str, path: str, environ: WSGIEnvironment
    ) -> tuple[HTTPStatus, dict[str, Any]]:
        jobs = self.jobs
        if path == "/jobs":
            _allow(method, "POST")
            body = self._body(environ)
            fields = (body.get(key) for key in ("integration", "version", "content"))
            return HTTPStatus.CREATED, {"id": jobs.submit(*fields)}
        if match := _JOB.match(path):
            _allow(method, "GET", "DELETE")
            if method == "DELETE":
                jobs.delete(match[1])
                return HTTPStatus.OK, {"deleted": match[1]}
            return HTTPStatus.OK, jobs.status(match[1])
        if match := _CANCEL.match(path):
            _allow(method, "POST")
            return HTTPStatus.OK, jobs.cancel(match[1])
        if match := _RESULT.match(path):
            _allow(method, "GET")
            data = jobs.result(match[1], match[2])
            return HTTPStatus.OK, {"data": base64.b64encode(data).decode("ascii")}
        raise _Reply(HTTPStatus.NOT_FOUND, f"There is nothing at '{path}'")


def _allow(method: str, *allowed: str) -> None:
    if method not in allowed:
        expected = " or ".join(allowed)
        raise _Reply(HTTPStatus.METHOD_NOT_ALLOWED, f"Use {expected} here, not {method}")
