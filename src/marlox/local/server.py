"""The local platform over HTTP (see the package documentation for the protocol)."""

from __future__ import annotations

import base64
import hmac
import json
import logging
import re
import sys
from http import HTTPStatus
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from typing import Any
from urllib.parse import unquote, urlsplit

from ..errors import InternalError
from . import endpoints
from .jobs import JobNotFinished, JobNotFound, JobRequestError, JobRunner, runner

__all__ = ["DEFAULT_MAX_BODY", "LocalPlatformServer", "make_server"]

log = logging.getLogger("marlox.local.server")

#: Largest request body accepted, in bytes (larger ones get 413).
DEFAULT_MAX_BODY = 256 * 1024 * 1024

_JOB = re.compile(r"^/jobs/([^/]+)$")
_RESULT = re.compile(r"^/jobs/([^/]+)/results/([^/]+)$")


class _Reply(Exception):
    """Ends a request with an error reply ``{"error": message}``."""

    def __init__(self, status: HTTPStatus, message: str) -> None:
        super().__init__(message)
        self.status = status
        self.message = message


class LocalPlatformServer(ThreadingHTTPServer):
    """A threading HTTP server that answers the local platform's protocol."""

    daemon_threads = True

    def __init__(self, address, *, token=None, max_body=DEFAULT_MAX_BODY, jobs=None) -> None:
        super().__init__(address, _Handler)
        self.token: str | None = token or None
        self.max_body: int = max_body
        self.jobs: JobRunner = jobs if jobs is not None else runner()

    def handle_error(self, request, client_address) -> None:
        # A client that went away is no fault of the server's; anything else is logged.
        error = sys.exc_info()[1]
        if isinstance(error, (ConnectionError, TimeoutError)):
            log.debug("client %s went away: %s", client_address, error)
        else:
            log.exception("request from %s failed", client_address)

    @property
    def url(self) -> str:
        host, port = self.server_address[:2]
        return f"http://{host}:{port}"


class _Handler(BaseHTTPRequestHandler):
    server: LocalPlatformServer
    server_version = "MarloxLocalPlatform/1"
    timeout = 60  # seconds a client may take to send its request

    def log_message(self, format: str, *args: Any) -> None:  # noqa: A002
        log.debug("%s %s", self.address_string(), format % args)

    def do_GET(self) -> None:  # noqa: N802
        self._answer("GET")

    def do_POST(self) -> None:  # noqa: N802
        self._answer("POST")

    def do_PUT(self) -> None:  # noqa: N802
        self._answer("PUT")

    def do_DELETE(self) -> None:  # noqa: N802
        self._answer("DELETE")

    def _answer(self, method: str) -> None:
        try:
            path = unquote(urlsplit(self.path).path)
            if not (method == "GET" and path == "/health"):
                self._authorise()
            status, reply = self._route(method, path)
        except _Reply as failure:
            status, reply = failure.status, {"error": failure.message}
        except Exception as error:  # the reply says what broke; the server keeps serving
            log.exception("request %s %s failed", method, self.path)
            status, reply = HTTPStatus.INTERNAL_SERVER_ERROR, {"error": str(error)}
        self._send(status, reply)

    def _send(self, status: HTTPStatus, reply: dict[str, Any]) -> None:
        body = json.dumps(reply).encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        if status == HTTPStatus.UNAUTHORIZED:
            self.send_header("WWW-Authenticate", "Bearer")
        self.end_headers()
        self.wfile.write(body)

    def _authorise(self) -> None:
        token = self.server.token
        if token is None:
            return
        given = self.headers.get("Authorization", "")
        if not hmac.compare_digest(given.encode(), f"Bearer {token}".encode()):
            raise _Reply(HTTPStatus.UNAUTHORIZED, "A valid bearer token is required")

    def _body(self) -> dict[str, Any]:
        try:
            if self.headers.get("Transfer-Encoding"):
                raise ValueError
            length = int(self.headers.get("Content-Length", ""))
        except ValueError:
            self.close_connection = True
            message = "Send the body with a Content-Length"
            raise _Reply(HTTPStatus.LENGTH_REQUIRED, message) from None
        if length < 0 or length > self.server.max_body:
            self.close_connection = True
            raise _Reply(
                HTTPStatus.REQUEST_ENTITY_TOO_LARGE,
                f"The request body has {length} bytes; at most {self.server.max_body} are accepted",
            )
        raw = self.rfile.read(length)
        try:
            body = json.loads(raw)
        except ValueError as error:
            raise _Reply(HTTPStatus.BAD_REQUEST, f"The request body is not JSON: {error}") from None
        if not isinstance(body, dict):
            raise _Reply(HTTPStatus.BAD_REQUEST, "The request body must be a JSON object")
        return body

    def _route(self, method: str, path: str) -> tuple[HTTPStatus, dict[str, Any]]:
        jobs = self.server.jobs
        if path == "/health":
            self._allow(method, "GET")
            return HTTPStatus.OK, {"status": "ok"}
        if path.startswith("/addon/"):
            self._allow(method, "POST")
            name = path[len("/addon/") :]
            if name.strip("/") not in endpoints.endpoint_paths():
                raise _Reply(HTTPStatus.NOT_FOUND, f"There is no endpoint '{name}'")
            body = self._body()
            try:
                return HTTPStatus.OK, endpoints.call_endpoint(name, body)
            except InternalError as error:
                raise _Reply(HTTPStatus.INTERNAL_SERVER_ERROR, str(error)) from None
        try:
            if path == "/jobs":
                self._allow(method, "POST")
                body = self._body()
                fields = (body.get(key) for key in ("integration", "version", "content"))
                job_id = jobs.submit(*fields)
                return HTTPStatus.CREATED, {"id": job_id}
            match = _JOB.match(path)
            if match:
                self._allow(method, "GET")
                return HTTPStatus.OK, jobs.status(match[1])
            match = _RESULT.match(path)
            if match:
                self._allow(method, "GET")
                data = jobs.result(match[1], match[2])
                return HTTPStatus.OK, {"data": base64.b64encode(data).decode("ascii")}
        except JobRequestError as error:
            raise _Reply(HTTPStatus.BAD_REQUEST, str(error)) from None
        except JobNotFound as error:
            raise _Reply(HTTPStatus.NOT_FOUND, str(error)) from None
        except JobNotFinished as error:
            raise _Reply(HTTPStatus.CONFLICT, str(error)) from None
        raise _Reply(HTTPStatus.NOT_FOUND, f"There is nothing at '{path}'")

    def _allow(self, method: str, allowed: str) -> None:
        if method != allowed:
            raise _Reply(HTTPStatus.METHOD_NOT_ALLOWED, f"Use {allowed} here, not {method}")


def make_server(
    host: str = "127.0.0.1",
    port: int = 0,
    *,
    token: str | None = None,
    max_body: int = DEFAULT_MAX_BODY,
    jobs: JobRunner | None = None,
) -> LocalPlatformServer:
    """A server bound to ``host``:``port`` (0: any free port); run it with ``serve_forever()``."""
    return LocalPlatformServer((host, port), token=token, max_body=max_body, jobs=jobs)
