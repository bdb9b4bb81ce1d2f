"""Core of the Marlox SDK: the platform's file object and its endpoint transport."""

from __future__ import annotations

import contextlib
import http.client
import io
import json
import os
import socket
import threading
import time
import urllib.error
import urllib.request
from collections.abc import Callable, Mapping
from typing import Any, BinaryIO, TextIO

from .errors import InternalError

__all__ = ["File"]

#: Environment variable with the platform's base URL, e.g. ``https://platform.example:8443``.
PLATFORM_URL_VARIABLE = "MARLOX_PLATFORM_URL"
#: Environment variable with the bearer token that the platform expects.
PLATFORM_TOKEN_VARIABLE = "MARLOX_PLATFORM_TOKEN"


class File:
    """A file handed between the platform, its services and the caller.

    A file holds either its content in memory (:meth:`from_data`) or refers to a file on disk
    (:meth:`from_path`), which is read only when asked for, so large results need not be kept
    in memory.
    """

    __slots__ = ("_data", "_path")

    def __init__(self) -> None:
        self._data: bytes | None = b""
        self._path: str | None = None

    @classmethod
    def from_data(cls, data: bytes | bytearray | memoryview | str, encoding: str = "utf-8") -> File:
        """A file whose content is ``data``; text is stored encoded with ``encoding``."""
        if isinstance(data, str):
            content = data.encode(encoding)
        elif isinstance(data, (bytes, bytearray, memoryview)):
            content = bytes(data)
        else:
            raise TypeError(f"File.from_data() takes bytes or str, not {type(data).__name__}")
        file = cls()
        file._data = content
        return file

    @classmethod
    def from_path(cls, path: str | os.PathLike[str]) -> File:
        """A file that reads its content from ``path`` whenever it is asked for."""
        path = os.fspath(path)
        if not os.path.isfile(path):
            raise FileNotFoundError(f"No such file: '{path}'")
        file = cls()
        file._data = None
        file._path = path
        return file

    def getvalue_binary(self) -> bytes:
        """The whole content as bytes."""
        if self._data is not None:
            return self._data
        with open(self._source(), "rb") as stream:
            return stream.read()

    def _source(self) -> str:
        # A file without its data in memory reads from its path.
        if self._path is None:
            raise ValueError("The file has neither content nor a path")
        return self._path

    def getvalue(self, encoding: str = "utf-8") -> str:
        """The whole content decoded as text."""
        return self.getvalue_binary().decode(encoding)

    def open_binary(self) -> BinaryIO:
        """A new binary stream over the content, positioned at its start."""
        if self._data is not None:
            return io.BytesIO(self._data)
        return open(self._source(), "rb")  # noqa: SIM115

    def open(self, encoding: str = "utf-8") -> TextIO:
        """A new text stream over the content, positioned at its start."""
        return io.TextIOWrapper(self.open_binary(), encoding=encoding)

    def __repr__(self) -> str:
        if self._path is not None:
            return f"File(path={self._path!r})"
        return f"File(<{len(self._data or b'')} bytes>)"


def _platform() -> tuple[str, str] | None:
    """The configured platform as (base URL without trailing slash, token), or None."""
    url = os.environ.get(PLATFORM_URL_VARIABLE, "").strip()
    if not url:
        return None
    return url.rstrip("/"), os.environ.get(PLATFORM_TOKEN_VARIABLE, "").strip()


def _platform_message(raw: bytes) -> str:
    """The platform's own account of a failure: its JSON "error" text, else its reply text."""
    text = raw.decode("utf-8", "replace").strip()
    try:
        reply = json.loads(text)
    except ValueError:
        reply = None
    if isinstance(reply, dict) and isinstance(error := reply.get("error"), str):
        return error
    if len(text) > 500:
        text = text[:500] + "..."
    return text or "(empty reply)"


class _Deadline:
    """A whole-request deadline: the socket of the connection is shut down when it passes, so
    that no read or write outlasts it however slowly the other side sends."""

    def __init__(self, seconds: float) -> None:
        self.seconds = seconds
        self.end = time.monotonic() + seconds
        self.expired = False
        self._sockets: list[socket.socket] = []
        self._timer = threading.Timer(max(0.0, seconds), self._expire)
        self._timer.daemon = True
        self._timer.start()

    def remaining(self) -> float:
        return self.end - time.monotonic()

    def watch(self, sock: socket.socket) -> None:
        self._sockets.append(sock)
        if self.expired:
            self._expire()

    def _expire(self) -> None:
        self.expired = True
        for sock in self._sockets:
            # The reply still reads from the socket after urllib let go of the connection.
            with contextlib.suppress(OSError):
                sock.shutdown(socket.SHUT_RDWR)

    def cancel(self) -> None:
        self._timer.cancel()


def _watched(
    connection: http.client.HTTPConnection, deadline: _Deadline, connect: Callable[[], None]
) -> None:
    connection.timeout = max(0.001, deadline.remaining())
    connect()
    deadline.watch(connection.sock)


class _HTTPConnection(http.client.HTTPConnection):
    def __init__(self, host: str, deadline: _Deadline | None = None, **options: Any) -> None:
        super().__init__(host, **options)
        self.deadline = deadline

    def connect(self) -> None:
        assert self.deadline is not None
        _watched(self, self.deadline, super().connect)


class _HTTPSConnection(_HTTPConnection, http.client.HTTPSConnection):
    """HTTPS with the same deadline: HTTPSConnection.connect (the TLS handshake) runs inside."""


class _HTTPHandler(urllib.request.HTTPHandler):
    def __init__(self, deadline: _Deadline) -> None:
        super().__init__()
        self.deadline = deadline

    def http_open(self, request: urllib.request.Request) -> http.client.HTTPResponse:
        return self.do_open(_HTTPConnection, request, deadline=self.deadline)


class _HTTPSHandler(urllib.request.HTTPSHandler):
    def __init__(self, deadline: _Deadline) -> None:
        super().__init__()
        self.deadline = deadline

    def https_open(self, request: urllib.request.Request) -> http.client.HTTPResponse:
        return self.do_open(_HTTPSConnection, request, deadline=self.deadline)


def _opener(deadline: _Deadline) -> urllib.request.OpenerDirector:
    """An opener (proxies of the environment, HTTPS) whose connections the deadline watches."""
    return urllib.request.build_opener(_HTTPHandler(deadline), _HTTPSHandler(deadline))


#: Failures of the connection itself, which an idempotent request rides out by retrying.
_CONNECTION_FAILURES = (ConnectionError, http.client.RemoteDisconnected, http.client.BadStatusLine)
#: First and longest pause between two tries of an idempotent request, in seconds.
FIRST_RETRY, LONGEST_RETRY = 0.1, 2.0


def _connection_failure(error: BaseException) -> bool:
    reason = getattr(error, "reason", error)
    return isinstance(reason, _CONNECTION_FAILURES) or isinstance(error, _CONNECTION_FAILURES)


def _platform_request(
    method: str,
    route: str,
    body: Mapping[str, Any] | None,
    timeout: float,
    what: str,
    retry: bool = False,
) -> Any:
    """Send one JSON request to the configured platform and return its decoded JSON reply.

    ``route`` is relative to the platform's base URL; ``what`` names the endpoint in errors.
    ``timeout`` bounds the whole request (connecting, sending, the complete reply), however
    slowly the platform answers. With ``retry`` (idempotent requests only) a connection that is
    refused or dropped is tried again, with pauses growing from :data:`FIRST_RETRY` to
    :data:`LONGEST_RETRY`, as long as ``timeout`` allows: a platform that restarts is ridden out.
    Every failure (status, transport, reply that is not JSON) is an :class:`InternalError`.
    """
    platform = _platform()
    if platform is None:
        raise InternalError(f"Platform endpoint '{what}' failed: no platform is configured")
    base, token = platform
    headers = {"Accept": "application/json"}
    if token:
        headers["Authorization"] = f"Bearer {token}"
    data = None
    if body is not None:
        try:
            data = json.dumps(body).encode("utf-8")
        except (TypeError, ValueError, RecursionError) as error:
            raise InternalError(
                f"Platform endpoint '{what}' failed: the request is not JSON: {error}"
            ) from error
        headers["Content-Type"] = "application/json"
    url = f"{base}/{route}"
    deadline = _Deadline(timeout)
    pause = FIRST_RETRY
    try:
        while True:
            request = urllib.request.Request(url, data=data, headers=headers, method=method)
            try:
                with _opener(deadline).open(request) as response:
                    raw = response.read()
                break
            except urllib.error.HTTPError as error:
                try:
                    raw = error.read()
                except (OSError, http.client.HTTPException):
                    raw = b""
                finally:
                    error.close()
                raise InternalError(
                    f"Platform endpoint '{what}' failed with HTTP {error.code}: "
                    f"{_platform_message(raw)}"
                ) from error
            except (OSError, http.client.HTTPException) as error:
                if deadline.expired or isinstance(getattr(error, "reason", error), TimeoutError):
                    raise InternalError(
                        f"Platform endpoint '{what}' failed: no complete answer from {url} "
                        f"within {timeout:g} s (timed out)"
                    ) from error
                if retry and _connection_failure(error) and deadline.remaining() > pause:
                    time.sleep(pause)
                    pause = min(pause * 2, LONGEST_RETRY)
                    continue
                reason = getattr(error, "reason", None) or str(error) or type(error).__name__
                raise InternalError(
                    f"Platform endpoint '{what}' failed: no answer from {url}: {reason}"
                ) from error
    finally:
        deadline.cancel()
    try:
        return json.loads(raw)
    except ValueError as error:
        raise InternalError(
            f"Platform endpoint '{what}' failed: the reply is not JSON: {_platform_message(raw)}"
        ) from error


def _post_on_addon_endpoint(path: str, data: Mapping[str, Any], timeout: float = 60) -> Any:
    """Post the JSON body ``data`` to the platform's add-on endpoint ``path`` and return its reply.

    With a platform configured (``MARLOX_PLATFORM_URL``, ``MARLOX_PLATFORM_TOKEN``) the body goes
    to ``<url>/addon/<path>`` with the token as bearer; without one, the embedded local platform
    (:mod:`marlox.local`) answers in-process. ``timeout`` bounds the whole request, however
    slowly the platform sends its reply. Any failure raises :class:`InternalError` naming the
    endpoint and the platform's own message.
    """
    path = path.lstrip("/")
    if _platform() is not None:
        return _platform_request("POST", f"addon/{path}", data, timeout, path)
    from . import local

    try:
        return local.call_endpoint(path, data)
    except InternalError as error:
        raise InternalError(f"Platform endpoint '{path}' failed: {error}") from error
