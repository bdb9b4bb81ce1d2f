"""The local platform over HTTP: :class:`~marlox.local.app.PlatformApp` under waitress.

Waitress is a pure-Python WSGI server: it installs and runs alike on Windows (where IDEA StatiCa
RCS lives) and Linux, with no compiler and no event-loop extension; it speaks HTTP/1.1 with
keep-alive, buffers request bodies before the application sees them (to a bound), answers from a
fixed pool of threads and is kept by the Pylons project. It is the optional extra ``server``;
the embedded platform does not need it.

The server is made with waitress's ``create_server`` on a listening socket of our own
(:class:`~marlox.local.guard.Listener`), which bounds the time a client may take for a request
and refuses bodies the protocol does not take before waitress buffers them.
"""

from __future__ import annotations

import threading
from typing import Any

from marlox._extras import require

from .app import DEFAULT_MAX_BODY, PlatformApp, json_reply
from .guard import DEFAULT_REQUEST_TIMEOUT, Guard, Listener
from .jobs import JobRunner, runner

__all__ = ["DEFAULT_MAX_BODY", "DEFAULT_REQUEST_TIMEOUT", "PlatformServer", "listen", "make_server"]

#: Threads that answer requests. Answering is brief and holds the interpreter lock, so more
#: threads only queue for it; jobs run on threads of their own.
DEFAULT_THREADS = 4
#: Interpreter switch interval (seconds) that ``python -m marlox.local serve`` sets for its
#: process: the one thread that reads and writes every connection then waits less for the
#: interpreter lock (a tenth of the p99 latency of a status poll under 20 pollers).
SWITCH_INTERVAL = 0.001
#: Seconds an idle keep-alive connection is kept.
CHANNEL_TIMEOUT = 60


def _waitress() -> Any:
    return require("waitress", extra="server", what="Serving the local platform")


def listen(
    host: str = "127.0.0.1",
    port: int = 0,
    *,
    max_body: int = DEFAULT_MAX_BODY,
    request_timeout: float = DEFAULT_REQUEST_TIMEOUT,
) -> Listener:
    """The socket of a server on ``host``:``port`` (0: any free port), bound now, so that a port
    in use is known before anything else starts. Raises :class:`OSError` when it cannot be
    bound and :class:`ImportError` when waitress is missing."""
    _waitress()
    guard = Guard(max_body, request_timeout, json_reply)
    return Listener.bind_to(host, port, guard)


class PlatformServer:
    """The platform served on one socket; ``serve_forever()`` serves until ``shutdown()``."""

    def __init__(self, app: PlatformApp, listener: Listener, threads: int) -> None:
        self.app = app
        self._listener = listener
        self._server = _waitress().create_server(
            app,
            sockets=[listener],
            threads=threads,
            # The guard refuses larger bodies first, with the platform's JSON error.
            max_request_body_size=listener.guard.max_body + 1,
            channel_timeout=CHANNEL_TIMEOUT,
            ident="MarloxLocalPlatform",
            clear_untrusted_proxy_headers=True,
        )
        self._serving = False
        self._stopped = threading.Event()

    @property
    def server_address(self) -> tuple[str, int]:
        host, port = self._listener.getsockname()[:2]
        return host, port

    @property
    def url(self) -> str:
        host, port = self.server_address
        return f"http://[{host}]:{port}" if ":" in host else f"http://{host}:{port}"

    def serve_forever(self, poll_interval: float = 0.5) -> None:
        """Serve until :meth:`shutdown` or Ctrl-C. ``poll_interval`` is taken for the interface
        of :mod:`socketserver` and not needed: :meth:`shutdown` wakes the server at once."""
        self._serving = True
        watchman = threading.Thread(target=self._listener.watch, name="marlox-guard", daemon=True)
        watchman.start()
        try:
            self._server.run()
        finally:
            self._close()
            watchman.join()

    def _close(self) -> None:
        if self._stopped.is_set():
            return
        self._listener.guard.stopping.set()
        self._server.task_dispatcher.shutdown()
        self._server.close()
        self._listener.close_connections()
        self._stopped.set()

    def shutdown(self, timeout: float = 10.0) -> None:
        """Stop serving: close the listening socket, and return once :meth:`serve_forever` has
        returned (at most ``timeout`` seconds)."""
        self._listener.guard.stopping.set()
        if self._serving:
            self._listener.wake()
            self._stopped.wait(timeout)
        else:
            self._close()

    def server_close(self) -> None:
        """Close the socket of a server that is not serving."""
        if not self._serving:
            self._close()


def make_server(
    host: str = "127.0.0.1",
    port: int = 0,
    *,
    token: str | None = None,
    max_body: int = DEFAULT_MAX_BODY,
    jobs: JobRunner | None = None,
    threads: int = DEFAULT_THREADS,
    request_timeout: float = DEFAULT_REQUEST_TIMEOUT,
    listener: Listener | None = None,
) -> PlatformServer:
    """A server on ``listener``, or bound to ``host``:``port`` (0: any free port), that runs
    jobs on ``jobs`` (the embedded runner by default); run it with ``serve_forever()``."""
    if listener is None:
        listener = listen(host, port, max_body=max_body, request_timeout=request_timeout)
    app = PlatformApp(
        jobs if jobs is not None else runner(), token=token, max_body=listener.guard.max_body
    )
    return PlatformServer(app, listener, threads)
