"""The served platform's guard in front of waitress: every request is received in bounded time,
and requests the platform refuses for their framing are refused before waitress buffers them.

Waitress closes a connection only after it has been idle for its ``channel_timeout``; a client
that sends one byte of its request every few seconds is never idle, and a hundred of them hold
every connection waitress accepts, so that nobody else is answered (a hundred that send nothing
hold them for the whole time-out). Waitress takes its listening socket from the caller (its
``sockets`` setting), and reads and writes each connection through that socket's ``recv`` and
``send``; the guard is that socket. It follows each connection from request to answer:

- a connection has :attr:`Guard.request_timeout` seconds to begin a request, whether it is new
  or has had its last answer; a request has that long for its head, and one more second for
  every :data:`MIN_RATE` bytes received; the time runs until the request has arrived whole
  (its head and the body its ``Content-Length`` announces), not while it is being answered;
- a late request gets 408 and its connection is closed: when its next bytes arrive, or by
  :meth:`Listener.watch`, a thread that looks at every connection each second, so that a client
  that sends nothing is closed too;
- a head with a ``Transfer-Encoding`` (a chunked body) gets 400: the platform's protocol sends
  every body with its length, and waitress would wait for a chunk as long as its size line says;
- a head whose ``Content-Length`` exceeds the bound gets 413 before any of the body is read.

Replies are the platform's JSON errors; the connection is closed after them.
"""

from __future__ import annotations

import contextlib
import logging
import os
import re
import socket
import threading
import time
import weakref
from collections.abc import Callable
from http import HTTPStatus
from typing import Any

__all__ = ["Guard", "Listener", "MIN_RATE", "DEFAULT_REQUEST_TIMEOUT"]

log = logging.getLogger("marlox.local.server")

#: Seconds a client has for the head of each request.
DEFAULT_REQUEST_TIMEOUT = 30.0
#: Slowest body accepted, in bytes per second beyond the head's time (a 256 MiB body at this
#: rate takes 75 minutes).
MIN_RATE = 64 * 1024
#: Longest head scanned; waitress refuses longer ones itself.
MAX_HEAD = 256 * 1024

_END_OF_HEAD = b"\r\n\r\n"
_TRANSFER_ENCODING = re.compile(rb"\r\nTransfer-Encoding[ \t]*:", re.IGNORECASE)
_CONTENT_LENGTH = re.compile(rb"\r\nContent-Length[ \t]*:[ \t]*([0-9]+)[ \t]*\r", re.I)

Reply = Callable[[HTTPStatus, dict[str, Any]], tuple[str, list[tuple[str, str]], bytes]]


class Guard:
    """The limits of a served platform and how it words an error reply."""

    def __init__(self, max_body: int, request_timeout: float, reply: Reply) -> None:
        self.max_body = max_body
        self.request_timeout = request_timeout
        self.reply = reply
        self.stopping = threading.Event()

    def answer(self, status: HTTPStatus, message: str) -> bytes:
        """The whole HTTP response of an error, closing the connection."""
        line, headers, body = self.reply(status, {"error": message})
        lines = [f"HTTP/1.1 {line}", *(f"{name}: {value}" for name, value in headers)]
        return ("\r\n".join([*lines, "Connection: close", "", ""])).encode("latin-1") + body


class Listener(socket.socket):
    """The listening socket handed to waitress: its connections are :class:`_Connection`\\ s
    watched by ``guard``, and once ``guard.stopping`` is set the next connection ends
    waitress's loop (:exc:`SystemExit`, which waitress's ``run()`` takes as its signal to stop).
    """

    guard: Guard
    connections: weakref.WeakSet[_Connection]
    _connections_lock: threading.Lock

    @classmethod
    def bind_to(cls, host: str, port: int, guard: Guard) -> Listener:
        """A socket bound to ``host``:``port`` (0: a free port), not yet listening."""
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        listener = cls(family, socket.SOCK_STREAM)
        try:
            if family == socket.AF_INET6:
                listener.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
            if os.name != "nt":  # a restarted server takes its port back at once
                listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            listener.bind((host, port))
        except BaseException:
            listener.close()
            raise
        listener.guard = guard
        listener.connections = weakref.WeakSet()
        listener._connections_lock = threading.Lock()
        return listener

    def accept(self) -> tuple[socket.socket, Any]:
        if self.guard.stopping.is_set():
            raise SystemExit
        plain, address = super().accept()
        connection = _Connection(self.family, self.type, self.proto, fileno=plain.detach())
        connection.guard = self.guard
        connection._since = time.monotonic()
        with self._connections_lock:
            self.connections.add(connection)
        return connection, address

    def _open(self) -> list[_Connection]:
        with self._connections_lock:
            return list(self.connections)

    def watch(self) -> None:
        """Until :attr:`Guard.stopping` is set, cut the connections whose request is late:
        found by the time, so that a client that sends nothing is cut as well as one that
        trickles."""
        interval = min(1.0, self.guard.request_timeout / 4)
        while not self.guard.stopping.wait(interval):
            now = time.monotonic()
            for connection in self._open():
                if connection.overdue(now):
                    log.warning("cut a connection whose request did not arrive in time")
                    connection.cut()

    def close_connections(self) -> None:
        """Close every connection still open (once the server's loop has ended)."""
        for connection in self._open():
            with contextlib.suppress(OSError):
                connection.close()

    def wake(self) -> None:
        """Connect once to this socket, so that a waiting loop sees :attr:`Guard.stopping`."""
        host, port = self.getsockname()[:2]
        host = {"0.0.0.0": "127.0.0.1", "::": "::1"}.get(host, host)
        with contextlib.suppress(OSError), socket.create_connection((host, port), timeout=1):
            pass


class _Connection(socket.socket):
    """One client's connection, as waitress reads and writes it.

    It waits for a request (``_started`` None, since ``_since``), receives one (from
    ``_started``; ``_expected`` is its length once its head is known) or is being answered
    (``_answering``: the request arrived whole, the application has it).
    """

    guard: Guard
    _since = 0.0  # when the connection began to wait for a request
    _started: float | None = None  # when the first byte of the request being received came
    _received = 0  # bytes of it received so far
    _head: bytes | None = b""  # its head while incomplete; None once screened
    _expected: int | None = None  # its length, head and body, once the head is known
    _answering = False

    def recv(self, size: int, flags: int = 0) -> bytes:
        data = super().recv(size, flags)
        if not data or self._answering:
            return data  # the end, or a request sent before the last one was answered
        now = time.monotonic()
        if self._started is None:
            self._started, self._received, self._head, self._expected = now, 0, b"", None
        self._received += len(data)
        refusal = self._screen(data) if self._head is not None else None
        if refusal is None and self.overdue(now):
            log.warning("a client took over %.0f s for its request", now - self._started)
            refusal = self.guard.answer(HTTPStatus.REQUEST_TIMEOUT, self._late())
        if refusal is not None:
            with contextlib.suppress(OSError):
                super().send(refusal)
            return b""  # waitress takes the connection as closed by the client
        if self._expected is not None and self._received >= self._expected:
            self._answering = True
        return data

    def _late(self) -> str:
        timeout = self.guard.request_timeout
        return (
            f"The request did not arrive in time ({timeout:g} s for its head, and a second "
            f"more for every {MIN_RATE} bytes of its body)"
        )

    def _screen(self, data: bytes) -> bytes | None:
        """Look at the head once it is complete; the reply refusing it, or None."""
        assert self._head is not None
        scanned = len(self._head)
        head = self._head + data
        end = head.find(_END_OF_HEAD, max(0, scanned - 3))
        if end < 0:
            self._head = head if len(head) <= MAX_HEAD else None
            return None
        head, self._head = head[:end], None
        guard = self.guard
        if _TRANSFER_ENCODING.search(head):
            return guard.answer(
                HTTPStatus.BAD_REQUEST,
                "Send the request body with a Content-Length, not in chunks",
            )
        match = _CONTENT_LENGTH.search(head + b"\r")
        digits = b"0" if match is None else match[1].lstrip(b"0") or b"0"
        length = int(digits) if len(digits) <= 30 else guard.max_body + 1
        if length > guard.max_body:
            return guard.answer(
                HTTPStatus.REQUEST_ENTITY_TOO_LARGE,
                f"The request body has {length} bytes; at most {guard.max_body} are accepted",
            )
        self._expected = end + len(_END_OF_HEAD) + length
        return None

    def overdue(self, now: float) -> bool:
        """Whether the request being waited for is late: none begun within the time a head
        has, or one not received at the least rate."""
        if self._answering:
            return False
        if self._started is None:
            return now - self._since > self.guard.request_timeout
        return now - self._started > self.guard.request_timeout + self._received / MIN_RATE

    def cut(self) -> None:
        """End a connection that is overdue, from another thread than waitress's: a request
        begun gets 408; the shut-down socket reads as closed by the client in waitress's loop."""
        with contextlib.suppress(OSError):
            if self._started is not None:
                super().send(self.guard.answer(HTTPStatus.REQUEST_TIMEOUT, self._late()))
            self.shutdown(socket.SHUT_RDWR)

    def send(self, data: Any, flags: int = 0) -> int:
        if not bytes(data[:13]).startswith(b"HTTP/1.1 100 "):  # not the answer: more to come
            self._answering, self._started, self._since = False, None, time.monotonic()
        return super().send(data, flags)
