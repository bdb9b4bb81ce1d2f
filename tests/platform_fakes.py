"""Loopback servers for the platform tests: each serves in a thread, stops when its test ends
and, should a test hang, stops by itself after a bounded lifetime."""

from __future__ import annotations

import contextlib
import json
import socket
import threading
from collections.abc import Callable, Iterator
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

LIFETIME = 30.0  # seconds a test server may live at most


def use_platform(monkeypatch, url: str, token: str = "") -> None:
    monkeypatch.setenv("MARLOX_PLATFORM_URL", url)
    monkeypatch.setenv("MARLOX_PLATFORM_TOKEN", token)


@contextlib.contextmanager
def serving(server: ThreadingHTTPServer, lifetime: float = LIFETIME) -> Iterator[str]:
    """Serve in a thread; yields the server's URL."""
    thread = threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True)
    thread.start()
    watchdog = threading.Timer(lifetime, server.shutdown)
    watchdog.daemon = True
    watchdog.start()
    host, port = server.server_address[:2]
    try:
        yield f"http://{host}:{port}"
    finally:
        watchdog.cancel()
        server.shutdown()
        server.server_close()
        thread.join(5)


def closed_port_url() -> str:
    """A loopback URL on which nothing listens."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    return f"http://127.0.0.1:{port}"


Answer = Callable[[str, str, bytes], tuple[int, bytes]]


class FakePlatform(ThreadingHTTPServer):
    """Answers every request with ``answer(method, path, body) -> (status, reply bytes)``."""

    daemon_threads = True

    def __init__(self, answer: Answer) -> None:
        super().__init__(("127.0.0.1", 0), _FakeHandler)
        self.answer = answer
        self.requests: list[tuple[str, str, dict[str, str], bytes]] = []

    def handle_error(self, request, client_address) -> None:
        pass  # clients that time out on purpose leave broken pipes behind


class _FakeHandler(BaseHTTPRequestHandler):
    server: FakePlatform

    def log_message(self, *args) -> None:
        pass

    def _reply(self) -> None:
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.server.requests.append((self.command, self.path, dict(self.headers), body))
        status, reply = self.server.answer(self.command, self.path, body)
        self.send_response(status)
        self.send_header("Content-Length", str(len(reply)))
        self.end_headers()
        self.wfile.write(reply)

    do_GET = do_POST = _reply


def as_json(status: int, reply: object) -> tuple[int, bytes]:
    return status, json.dumps(reply).encode()
