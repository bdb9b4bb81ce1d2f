"""The local platform over HTTP: :class:`~marlox.local.app.PlatformApp` under waitress.

Waitress is a pure-Python WSGI server: it installs and runs alike on Windows (where IDEA StatiCa
RCS lives) and Linux, with no compiler and no event-loop extension; it speaks HTTP/1.1 with
keep-alive, buffers request bodies before the application sees them (to a bound), answers from a
fixed pool of threads and is kept by the Pylons project. It is the optional extra ``server``;
the embedded platform does not need it.
"""

from __future__ import annotations

import threading
from http import HTTPStatus
from typing import Any

from .app import DEFAULT_MAX_BODY, PlatformApp, json_reply
from .jobs import JobRunner, runner

__all__ = ["DEFAULT_MAX_BODY", "PlatformServer", "make_server"]

#: Threads that answer requests. Answering is brief and holds the interpreter lock, so more
#: threads only queue for it; jobs run on threads of their own.
DEFAULT_THREADS = 4
#: Interpreter switch interval (seconds) that ``python -m marlox.local serve`` sets for its
#: process: the one thread that reads and writes every connection then waits less for the
#: interpreter lock (a tenth of the p99 latency of a status poll under 20 pollers).
SWITCH_INTERVAL = 0.001
#: Seconds an idle keep-alive connection is kept, and a client may take to send its request.
CHANNEL_TIMEOUT = 60


def _waitress() -> Any:
    try:
        from waitress import adjustments, channel, server, task
    except ImportError:
        raise ImportError(
            "Serving the local platform needs waitress: pip install 'marlox[server]'"
        ) from None

    class JsonErrorTask(task.ErrorTask):
        # Requests that waitress refuses itself (too large, malformed) get the platform's
        # JSON error reply too.
        def execute(self) -> None:
            error = self.request.error
            reply = {"error": f"{error.reason}: {error.body}"}
            status, headers, body = json_reply(HTTPStatus(error.code), reply)
            self.status = status
            self.response_headers.extend(headers[:1])
            self.set_close_on_finish()
            self.content_length = len(body)
            self.write(body)

    class Channel(channel.HTTPChannel):
        error_task_class = JsonErrorTask

    class Server(server.TcpWSGIServer):
        channel_class = Channel

    return Server, adjustments.Adjustments


class PlatformServer:
    """The platform served on one address; ``serve_forever()`` serves until ``shutdown()``."""

    def __init__(self, app: PlatformApp, host: str, port: int, threads: int) -> None:
        server, adjustments = _waitress()
        adjustments = adjustments(
            host=host,
            port=port,
            threads=threads,
            max_request_body_size=app.max_body + 1,
            channel_timeout=CHANNEL_TIMEOUT,
            ident="MarloxLocalPlatform",
            clear_untrusted_proxy_headers=True,
        )
        self.app = app
        self._server = server(app, adj=adjustments)
        self._serving = False
        self._stop = threading.Event()
        self._stopped = threading.Event()

    @property
    def server_address(self) -> tuple[str, int]:
        return self._server.effective_host, self._server.effective_port

    @property
    def url(self) -> str:
        host, port = self.server_address
        return f"http://[{host}]:{port}" if ":" in host else f"http://{host}:{port}"

    def serve_forever(self, poll_interval: float = 0.5) -> None:
        """Serve until :meth:`shutdown` or Ctrl-C; ``poll_interval`` is how often (seconds) the
        loop looks for a request to stop."""
        from waitress import wasyncore

        adj = self._server.adj
        self._serving = True
        try:
            while not self._stop.is_set():
                wasyncore.loop(poll_interval, adj.asyncore_use_poll, self._server._map, count=1)
        except KeyboardInterrupt:
            pass
        finally:
            self._close()

    def _close(self) -> None:
        from waitress import wasyncore

        wasyncore.close_all(self._server._map)
        self._server.task_dispatcher.shutdown()
        self._stopped.set()

    def shutdown(self, timeout: float = 10.0) -> None:
        """Stop serving: close the listening socket and every connection once the answers being
        written are done, and return once :meth:`serve_forever` has returned."""
        self._stop.set()
        if self._serving:
            self._stopped.wait(timeout)
        elif not self._stopped.is_set():
            self._close()

    def server_close(self) -> None:
        """Close the sockets of a server that is not serving."""
        if not self._serving and not self._stopped.is_set():
            self._close()


def make_server(
    host: str = "127.0.0.1",
    port: int = 0,
    *,
    token: str | None = None,
    max_body: int = DEFAULT_MAX_BODY,
    jobs: JobRunner | None = None,
    threads: int = DEFAULT_THREADS,
) -> PlatformServer:
    """A server bound to ``host``:``port`` (0: any free port) that runs jobs on ``jobs`` (the
    embedded runner by default); run it with ``serve_forever()``."""
    app = PlatformApp(jobs if jobs is not None else runner(), token=token, max_body=max_body)
    return PlatformServer(app, host, port, threads)
