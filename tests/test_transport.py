"""The SDK's endpoint transport: a configured platform over HTTP, else the local platform."""

from __future__ import annotations

import base64
import contextlib
import gzip
import http.client
import json
import os
import select
import socket
import subprocess
import sys
import threading
import time
import urllib.request

import pytest
from platform_fakes import (
    FakePlatform,
    as_json,
    closed_port_url,
    serving,
    use_platform,
)

from marlox import core
from marlox.errors import InternalError
from marlox.local import conversion
from marlox.local.server import make_server

CONVERSION = "fillidearcstemplate/v3/jobs/"
LIFETIME_CLI = 30.0  # seconds the command-line server may live at most


def packed(data: bytes) -> str:
    return base64.b64encode(gzip.compress(data)).decode()


def unpacked(text: str) -> bytes:
    return gzip.decompress(base64.b64decode(text))


@pytest.fixture
def writer(monkeypatch):
    """The compiled input-XML writer, replaced by one that records what it is handed."""
    from marlox.external.idea_rcs import objects

    seen = []

    def write(document: bytes) -> bytes:
        seen.append(document)
        model = json.loads(document)
        if "bad" in model:
            raise ValueError("MatConcreteEc2 1: field 'fck' must be positive")
        return b"<OpenModel>" + str(len(model)).encode() + b"</OpenModel>"

    monkeypatch.setattr(objects, "_write_input_xml", write, raising=False)
    return seen


@pytest.fixture(params=["in-process", "http"])
def mode(request, monkeypatch):
    """Runs the test on the embedded platform and on the same platform served on loopback."""
    if request.param == "in-process":
        yield request.param
        return
    with serving(make_server(token="s3cret")) as url:
        use_platform(monkeypatch, url, "s3cret")
        yield request.param


def test_conversion_round_trip(mode, writer):
    document = json.dumps({"ProjectData": {"Name": "ž"}, "Materials": []}).encode()
    reply = core._post_on_addon_endpoint(CONVERSION, {"input": packed(document)}, timeout=10)
    assert list(reply) == ["input_file"]
    assert unpacked(reply["input_file"]) == b"<OpenModel>2</OpenModel>"
    assert writer == [document]  # the JSON text, byte for byte


def test_conversion_failure_names_endpoint_and_cause(mode, writer):
    with pytest.raises(InternalError) as caught:
        core._post_on_addon_endpoint(CONVERSION, {"input": packed(b'{"bad": 1}')}, timeout=10)
    message = str(caught.value)
    assert CONVERSION in message
    assert "MatConcreteEc2 1: field 'fck' must be positive" in message
    if mode == "in-process":  # the writer's own error stays attached
        cause = caught.value.__cause__
        while cause is not None and not isinstance(cause, ValueError):
            cause = cause.__cause__
        assert isinstance(cause, ValueError)


@pytest.mark.parametrize(
    "body, text",
    [({}, "no text 'input'"), ({"input": "***"}, "not base64")]
    + [({"input": base64.b64encode(b"plain").decode()}, "not gzip")]
    + [({"input": packed(b"{}")[:-8]}, "not gzip")]
    + [({"input": packed(b" " * 1001)}, "expands to more than 1000 bytes")]
    + [({"input": packed(b"{}"), "extra": {1, 2}}, "not JSON")],
)
def test_malformed_requests(mode, writer, monkeypatch, body, text):
    monkeypatch.setattr(conversion, "MAX_DOCUMENT", 1000)
    with pytest.raises(InternalError, match=text):
        core._post_on_addon_endpoint(CONVERSION, body, timeout=10)
    assert writer == []


def test_unknown_endpoint(mode):
    with pytest.raises(InternalError, match="'no/such/' .*no endpoint"):
        core._post_on_addon_endpoint("no/such/", {}, timeout=10)


@pytest.mark.parametrize(
    "answer, text",
    [
        (lambda *_: as_json(500, {"error": "disk full"}), "HTTP 500: disk full"),
        (lambda *_: (502, b"<html>Bad gateway</html>"), "HTTP 502: <html>Bad gateway</html>"),
        (lambda *_: (200, b"<html>sign in</html>"), "not JSON: <html>sign in</html>"),
        (lambda *_: (200, b""), "not JSON"),
    ],
    ids=["error-json", "error-html", "html", "empty"],
)
def test_platform_failures(monkeypatch, answer, text):
    platform = FakePlatform(answer)
    with serving(platform) as url:
        use_platform(monkeypatch, url + "/", "tok")
        with pytest.raises(InternalError, match=f"'{CONVERSION}'.*{text}"):
            core._post_on_addon_endpoint(CONVERSION, {"input": "x"}, timeout=10)
    method, path, headers, body = platform.requests[0]
    assert (method, path) == ("POST", f"/addon/{CONVERSION}")
    assert headers["Authorization"] == "Bearer tok"
    assert json.loads(body) == {"input": "x"}


def test_refused_connection_and_timeout(monkeypatch):
    use_platform(monkeypatch, closed_port_url())
    with pytest.raises(InternalError, match=f"'{CONVERSION}'.*no answer from http://127.0.0.1"):
        core._post_on_addon_endpoint(CONVERSION, {}, timeout=5)

    release = threading.Event()

    def stall(*_):
        release.wait(5)
        return as_json(200, {})

    with serving(FakePlatform(stall)) as url:
        use_platform(monkeypatch, url)
        started = time.monotonic()
        with pytest.raises(InternalError, match="timed out"):
            core._post_on_addon_endpoint(CONVERSION, {}, timeout=0.3)
        assert time.monotonic() - started < 3
        release.set()


def request(url: str, method: str, path: str, body: bytes | None = None, headers=None):
    host, port = url.removeprefix("http://").split(":")
    connection = http.client.HTTPConnection(host, int(port), timeout=10)
    try:
        connection.request(method, path, body=body, headers=headers or {})
        response = connection.getresponse()
        return response.status, json.loads(response.read())
    finally:
        connection.close()


def test_server_replies_with_json_errors():
    auth = {"Authorization": "Bearer s3cret"}
    with serving(make_server(token="s3cret", max_body=10_000)) as url:
        assert request(url, "GET", "/health") == (200, {"status": "ok"})
        addon = f"/addon/{CONVERSION}"
        cases = [("POST", addon, b"{}", {}, 401)]
        cases += [("POST", addon, b"{}", {"Authorization": "Bearer wrong"}, 401)]
        cases += [("POST", addon, body, auth, 400) for body in (b"{not json", b"[1, 2]")]
        cases += [("POST", addon, b"x" * 10_001, auth, 413), ("GET", addon, None, auth, 405)]
        cases += [("POST", "/addon/unknown", b"{}", auth, 404)]
        cases += [("GET", path, None, auth, 404) for path in ("/elsewhere", "/jobs/nonexistent")]
        jobs = (
            '{"integration": "nobody", "version": 1, "content": {}}',
            '{"integration": "idearcs", "version": "1", "content": {}}',
            '{"integration": "idearcs", "version": 99999999999999999999999, "content": {}}',
            '{"integration": "idearcs", "version": 1, "content": %s}' % ("[" * 3000 + "]" * 3000),
        )
        cases += [("POST", "/jobs", job.encode(), auth, 400) for job in jobs]
        for method, path, body, headers, status in cases:
            got, reply = request(url, method, path, body, headers)
            assert (got, list(reply)) == (status, ["error"]), (method, path, reply)
        # A declared size beyond the bound is refused before the body is read, and a chunked
        # body (here a chunk of 24 hex digits of bytes) at once instead of awaited.
        for header, value, body, status in [
            ("Content-Length", str(10**12), b"", 413),
            ("Transfer-Encoding", "chunked", b"1" * 24 + b"\r\nabc", 400),
        ]:
            connection = http.client.HTTPConnection(*url[7:].split(":"), timeout=10)
            connection.putrequest("POST", f"/addon/{CONVERSION}")
            connection.putheader("Authorization", "Bearer s3cret")
            connection.putheader(header, value)
            connection.endheaders(body)
            response = connection.getresponse()
            assert (response.status, list(json.loads(response.read()))) == (status, ["error"])
            connection.close()


def test_clients_that_trickle_their_requests_cannot_silence_the_server():
    with serving(make_server(request_timeout=0.5)) as url:
        host, port = url[7:].split(":")
        # More than waitress's connection limit: half send nothing, half a byte of their head at
        # a time.
        silent = [socket.create_connection((host, int(port)), timeout=5) for _ in range(50)]
        tricklers = [socket.create_connection((host, int(port)), timeout=5) for _ in range(50)]
        answered: list = []
        client = threading.Thread(target=lambda: answered.append(request(url, "GET", "/health")))
        client.start()
        refusals: dict[socket.socket, bytes] = {}  # each trickler's first bytes of reply

        def read_refusals(timeout: float) -> None:
            waiting = [trickler for trickler in tricklers if trickler not in refusals]
            for trickler in select.select(waiting, [], [], timeout)[0]:
                with contextlib.suppress(OSError):
                    refusals[trickler] = trickler.recv(13)

        try:
            for _ in range(40):  # 4 s at most
                if not client.is_alive():
                    break
                read_refusals(0)
                for trickler in tricklers:
                    if trickler not in refusals:
                        with contextlib.suppress(OSError):
                            trickler.send(b"G")
                time.sleep(0.1)
            client.join(10)
            assert answered == [(200, {"status": "ok"})]
            read_refusals(5)
            assert set(refusals.values()) == {b"HTTP/1.1 408 "}
            assert [connection.recv(1) for connection in silent] == [b""] * len(silent)
        finally:
            for connection in silent + tricklers:
                connection.close()


def test_served_from_the_command_line(monkeypatch, tmp_path):
    """``python -m marlox.local serve`` on a free loopback port, stopped by SIGTERM."""
    env = {k: v for k, v in os.environ.items() if not k.startswith("MARLOX_")}
    server = subprocess.Popen(
        [sys.executable, "-m", "marlox.local", "serve", "--host", "127.0.0.1", "--port", "0"]
        + ["--token", "s3cret", "--data-dir", str(tmp_path)],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        env=env,
    )
    timer = threading.Timer(LIFETIME_CLI, server.kill)
    timer.start()
    try:
        banner = server.stdout.readline()
        assert "serving on http://127.0.0.1:" in banner, server.stderr.read()
        url = banner.split()[-1]
        with urllib.request.urlopen(url + "/health", timeout=10) as health:
            assert json.load(health) == {"status": "ok"}
        use_platform(monkeypatch, url, "s3cret")
        with pytest.raises(InternalError, match="HTTP 400: The 'input' is not base64"):
            core._post_on_addon_endpoint(CONVERSION, {"input": "?"}, timeout=10)
        use_platform(monkeypatch, url, "guess")
        with pytest.raises(InternalError, match="HTTP 401: A valid bearer token is required"):
            core._post_on_addon_endpoint(CONVERSION, {"input": "?"}, timeout=10)
        server.terminate()
        assert server.wait(10) == 0
    finally:
        timer.cancel()
        if server.poll() is None:
            server.kill()
            server.wait()
        server.stdout.close()
        server.stderr.close()
