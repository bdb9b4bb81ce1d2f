"""A fake IDEA StatiCa RCS REST service on loopback, after the service's OpenAPI description
(RCS Rest API 1.0): the calls the worker makes, with replies shaped as the description's
schemas (``RcsProject``, ``RcsSectionResultOverview``, ``RcsSectionResultDetailed``), and
switches for the faults the tests need.

Run as a program (``python rcs_service_fake.py -port=N [-lifetime=S] [-vary] RESULTS.json``) it
stands in for ``IdeaStatiCa.RcsRestApi.exe``: it serves on the port it is given until it is
stopped or its lifetime ends (30 s unless told), and writes its process id to
``RESULTS.json.pid``. ``RESULTS.json`` may also be a result XML document, whose sections it then
serves; with ``-vary`` the unity checks follow each input's moment and bars
(:func:`by_moment_and_bars`).
"""

from __future__ import annotations

import email.parser
import email.policy
import json
import os
import re
import sys
import threading
import uuid
import xml.etree.ElementTree as ET
from collections.abc import Callable
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from typing import Any

LIFETIME = 30.0  # seconds the program serves at most

#: Elements of the result XML that are lists (their JSON is an array of their children).
LIST_ELEMENTS = {"ExtremeResults", "CheckResults", "Checks", "NonConformities", "Items"}
NUMBER = re.compile(r"-?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?$")
SPECIAL = {"NaN": "NaN", "INF": "Infinity", "-INF": "-Infinity"}


def camel(name: str) -> str:
    """``name`` in camelCase as the service's JSON writes it: the leading capitals are lowered,
    all but the last of a run that a lower-case letter follows ("IDCheck" -> "idCheck")."""
    chars = list(name)
    for i, char in enumerate(chars):
        if i == 1 and not char.isupper():
            break
        if i > 0 and i + 1 < len(chars) and not chars[i + 1].isupper():
            break
        chars[i] = char.lower()
    return "".join(chars)


def _value(element: ET.Element) -> Any:
    if element.tag in LIST_ELEMENTS:
        return [_value(child) for child in element]
    if len(element):
        return {camel(child.tag): _value(child) for child in element}
    text = element.text or ""
    if text in SPECIAL:
        return SPECIAL[text]  # JSON has no NaN or infinities: the service writes them as text
    if NUMBER.match(text):
        return int(text) if text.lstrip("-").isdigit() else float(text)
    if element.tag in ("Guid",):
        return text
    return camel(text)  # enumeration members


def results_from_xml(document: bytes) -> list[dict[str, Any]]:
    """The ``get-results`` reply whose sections are those of a result XML document: JSON
    ``RcsSectionResultDetailed`` objects, camelCase, without the ``xsi:type`` of the items."""
    root = ET.fromstring(document)
    return [
        {"id": index + 1, "sectionResult": _value(section), "issues": []}
        for index, section in enumerate(root.iter("SectionConcreteCheckResult"))
    ]


def overview(results: list[dict[str, Any]]) -> list[dict[str, Any]]:
    """The ``calculate`` reply: one ``RcsSectionResultOverview`` per section."""
    replies = []
    for detailed in results:
        section = detailed["sectionResult"]
        first = (section.get("extremeResults") or [{}])[0]
        checks = (first.get("overall") or {}).get("checks") or []
        replies.append({"sectionId": section.get("sectionId"), "overallItems": checks})
    return replies


def scaled(value: Any, factor: float) -> Any:
    """``value`` with every "checkValue" multiplied by ``factor``; a passed check whose value
    then exceeds its "limitCheckValue" fails."""
    if isinstance(value, list):
        return [scaled(item, factor) for item in value]
    if not isinstance(value, dict):
        return value
    out = {key: scaled(item, factor) for key, item in value.items()}
    if isinstance(out.get("checkValue"), (int, float)):
        out["checkValue"] *= factor
        limit = out.get("limitCheckValue")
        if out.get("result") == "passed" and isinstance(limit, (int, float)) and limit > 0:
            out["result"] = "passed" if out["checkValue"] <= limit else "failed"
    return out


def by_moment_and_bars(input_xml: bytes) -> float:
    """A stand-in for a calculation: the unity checks of the canned results scaled with the
    first bending moment of the input (against 150 kN m) and inversely with the area of its
    first bar (against 20 mm), so that a study's variants differ as they would."""
    text = input_xml.decode("utf-8", "replace")
    moment = re.search(r"<My>([^<]+)</My>", text)
    diameter = re.search(r"<Diameter>([^<]+)</Diameter>", text)
    try:
        factor = abs(float(moment.group(1))) / 150e3 if moment else 1.0
        return factor * (0.02 / float(diameter.group(1))) ** 2 if diameter else factor
    except (ValueError, ZeroDivisionError):
        return 1.0


def problem(status: int, title: str) -> tuple[int, str, bytes]:
    body = {"type": "about:blank", "title": title, "status": status}
    return status, "application/problem+json", json.dumps(body).encode()


class FakeRcsService(ThreadingHTTPServer):
    """The RCS REST service in miniature. ``results`` is the ``get-results`` reply; ``faults``
    maps a call ("heartbeat", "import", "calculate", "results", "download", "close") to the
    status it fails with; ``delays`` maps a call to the seconds it takes."""

    daemon_threads = True

    def __init__(self, results: list[dict[str, Any]], port: int = 0) -> None:
        super().__init__(("127.0.0.1", port), _Handler)
        self.results = results
        self.rcs_file = b"7z\xbc\xaf\x27\x1c fake .ideaRcs"
        self.faults: dict[str, int] = {}
        self.delays: dict[str, float] = {}
        self.calls: list[tuple[str, str]] = []
        self.imported: list[bytes] = []
        self.bodies: dict[str, list] = {}  # call -> the JSON bodies it was sent
        self.overview = overview
        self.projects: dict[str, str] = {}  # id -> "open" | "calculated" | "closed"
        #: When set, each project's unity checks are the canned ones times vary(its input).
        self.vary: Callable[[bytes], float] | None = None
        self.factors: dict[str, float] = {}
        self.lock = threading.Lock()
        self.open_projects = 0  # projects imported and not yet closed
        self.most_open = 0  # the most that were open at once
        self.stopping = threading.Event()

    def shutdown(self) -> None:
        self.stopping.set()
        super().shutdown()

    def handle_error(self, request, client_address) -> None:
        pass  # clients that time out on purpose leave broken pipes behind

    def answer(self, method: str, path: str, headers, body: bytes) -> tuple[int, str, bytes]:
        if path == "/heartbeat":
            call = "heartbeat"
        elif path == "/api/1/clients/idea-service-version":
            call = "version"
        elif path == "/api/1/projects/import-iom-file":
            call = "import"
        else:
            match = re.fullmatch(r"/api/1/projects/([^/]+)/([a-z-]+)", path)
            if not match:
                return problem(404, "Not Found")
            project, call = match.groups()
            call = {"get-results": "results"}.get(call, call)
        expected = {"heartbeat": "GET", "version": "GET", "download": "GET", "close": "PUT"}
        expected = {"import": "POST", "calculate": "POST", "results": "POST", **expected}.get(call)
        if expected is None:
            return problem(404, "Not Found")
        if method != expected:
            return problem(405, "Method Not Allowed")
        self.calls.append((call, path))
        if call in self.delays:
            self.stopping.wait(self.delays[call])
        if call in self.faults:
            return problem(self.faults[call], f"{call} failed")
        if call == "heartbeat":
            return 200, "text/plain", b"OK"
        if call == "version":
            return 200, "application/json", b'"24.1.3.1234"'

        if call == "import":
            return self._import(headers, body)
        if self.projects.get(project) in (None, "closed"):
            return problem(404, f"No open project {project}")
        if call == "close":
            with self.lock:
                self.projects[project] = "closed"
                self.open_projects -= 1
            return 200, "text/plain", b"Project closed"
        if call == "download":
            return 200, "application/octet-stream", self.rcs_file
        try:
            parameters = json.loads(body)
            sections = parameters["sections"]
            if not isinstance(sections, list):
                raise ValueError("no sections")
        except (ValueError, TypeError, KeyError):
            return problem(400, "Bad Request")
        self.bodies.setdefault(call, []).append(parameters)
        results = self.results
        if self.factors.get(project, 1.0) != 1.0:
            results = scaled(results, self.factors[project])
        if call == "calculate":
            self.projects[project] = "calculated"
            return 200, "application/json", json.dumps(self.overview(results)).encode()
        if self.projects[project] != "calculated":
            return problem(400, "The project is not calculated")
        results = [
            detailed
            for detailed in results
            if not sections or detailed["sectionResult"].get("sectionId") in sections
        ]
        return 200, "application/json", json.dumps(results).encode()

    def _import(self, headers, body: bytes) -> tuple[int, str, bytes]:
        content_type = headers.get("Content-Type", "")
        if not content_type.startswith("multipart/form-data"):
            return problem(415, "Unsupported Media Type")
        message = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(
            f"Content-Type: {content_type}\r\n\r\n".encode() + body
        )
        files = [
            part.get_payload(decode=True)
            for part in message.iter_parts()
            if part.get_param("name", header="content-disposition") == "iomFile"
        ]
        if len(files) != 1:
            return problem(400, "No iomFile")
        self.imported.append(files[0])
        project = str(uuid.uuid4())
        if self.vary is not None:
            self.factors[project] = self.vary(files[0])
        with self.lock:
            self.projects[project] = "open"
            self.open_projects += 1
            self.most_open = max(self.most_open, self.open_projects)
        reply = {"projectId": project}  # of an RcsProject, the worker reads only its id
        return 200, "application/json", json.dumps(reply).encode()


class _Handler(BaseHTTPRequestHandler):
    server: FakeRcsService

    def log_message(self, *args) -> None:
        pass

    def _reply(self) -> None:
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        status, content_type, reply = self.server.answer(
            self.command, self.path, self.headers, body
        )
        try:
            self.send_response(status)
            self.send_header("Content-Type", content_type)
            self.send_header("Content-Length", str(len(reply)))
            self.end_headers()
            self.wfile.write(reply)
        except OSError:
            pass  # the worker gave up waiting

    do_GET = do_POST = do_PUT = do_DELETE = _reply


def main(arguments: list[str]) -> None:
    """Stand in for the service's executable: ``-port=N [-lifetime=S] RESULTS.json``."""
    options = dict(a[1:].partition("=")[::2] for a in arguments if a.startswith("-"))
    results_path = next(a for a in arguments if not a.startswith("-"))
    with open(results_path, "rb") as file:
        data = file.read()
    results = results_from_xml(data) if results_path.endswith(".xml") else json.loads(data)
    server = FakeRcsService(results, int(options["port"]))
    if "vary" in options:
        server.vary = by_moment_and_bars
    with open(results_path + ".pid", "w") as file:
        file.write(str(os.getpid()))
    timer = threading.Timer(float(options.get("lifetime", LIFETIME)), server.shutdown)
    timer.daemon = True
    timer.start()
    server.serve_forever(0.05)


if __name__ == "__main__":
    main(sys.argv[1:])
    sys.exit(0)
