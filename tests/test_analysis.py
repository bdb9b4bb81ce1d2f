"""IdeaRcsAnalysis and the SDK's job execution, in-process and against a platform."""

from __future__ import annotations

import base64
import io
import json
import logging
import pathlib
import re
import threading
import xml.etree.ElementTree as ET

import pytest
from platform_fakes import (
    FakePlatform,
    as_json,
    closed_port_url,
    serving,
    use_platform,
)

from marlox.core import File
from marlox.errors import ExecutionError, InternalError
from marlox.external import external_program
from marlox.external.external_program import ExternalProgram, _JobContent
from marlox.external.idea_rcs import IdeaRcsAnalysis
from marlox.local import jobs
from marlox.local.server import make_server

RESULT_XML = (pathlib.Path(__file__).parent / "data" / "rcs-result-synthetic.xml").read_bytes()
RCS_PROJECT = b"PK\x03\x04 an .ideaRcs project"

KNOWN_FAILURES = {
    "Marlox Idea link not found": (
        "Marlox Idea Link not found, please check worker installation on server"
    ),
    "Missing input": "Input is missing, please check input file",
    "Failed creating model": (
        "Idea model cannot be generated, please check correctness of input file"
    ),
    "Failed calculation": (
        "Idea analysis cannot be completed, please check input, license and server"
    ),
}


@pytest.mark.parametrize(
    "flags, stored, version",
    [
        ({}, (True, False), 1),
        ({"return_result_xml": False}, (True, False), 1),
        ({"return_result_xml": 0, "return_rcs_file": None}, (True, False), 1),
        ({"return_result_xml": "yes"}, ("yes", False), 1),
        ({"return_rcs_file": True}, (True, True), 2),
        ({"return_rcs_file": False}, (True, False), 2),
        ({"return_rcs_file": 0}, (True, False), 2),
    ],
)
def test_construction(flags, stored, version):
    source = io.BytesIO(b"<OpenModel/>")
    analysis = IdeaRcsAnalysis(source, **flags)
    assert isinstance(analysis, ExternalProgram)
    assert (analysis.integration, analysis.version) == ("idearcs", version)
    assert analysis.input_file is source
    assert (analysis._return_result_xml, analysis._return_rcs_file) == stored
    assert type(analysis._return_rcs_file) is type(stored[1])


def test_flags_are_keyword_only():
    with pytest.raises(TypeError):
        IdeaRcsAnalysis(io.BytesIO(), True)
    with pytest.raises(TypeError):
        IdeaRcsAnalysis(io.BytesIO()).get_output_file(True)


def test_job_content():
    source = io.BytesIO(b"abc")
    analysis = IdeaRcsAnalysis(source, return_rcs_file=1)
    content = analysis._generate_job_content()
    assert content.to_dict() == {"body": "YWJj", "return_result_xml": True, "return_rcs_file": 1}
    assert json.loads(json.dumps(content)) == content.to_dict()
    source.seek(0, io.SEEK_END)
    source.write(b"d")  # read anew on each call
    assert analysis._generate_job_content().body == "YWJjZA=="
    assert IdeaRcsAnalysis(io.BytesIO())._generate_job_content().body == ""
    data = bytes(range(256)) * 3 + b"\x00\xff"
    from_file = IdeaRcsAnalysis(File.from_data(data))._generate_job_content()
    assert from_file.body == base64.b64encode(data).decode()
    with pytest.raises(AttributeError, match="getvalue_binary"):
        IdeaRcsAnalysis(b"raw bytes")._generate_job_content()


def test_sdk_is_looked_up_at_call_time(monkeypatch):
    made = []

    class Recorder(_JobContent):
        def __init__(self, **fields):
            made.append(list(fields))
            super().__init__(**fields)

    monkeypatch.setattr(external_program, "_JobContent", Recorder)
    assert isinstance(IdeaRcsAnalysis(io.BytesIO())._generate_job_content(), Recorder)
    assert made == [["body", "return_result_xml", "return_rcs_file"]]


def test_failure_texts():
    analysis = IdeaRcsAnalysis(io.BytesIO())
    for text, message in KNOWN_FAILURES.items():
        with pytest.raises(ExecutionError) as caught:
            analysis._handle_execution_error(text)
        assert caught.value.args == (message,)
    for text in ["missing input", "Missing input ", " Missing input", "Missing", "", "x\udc80"]:
        assert analysis._handle_execution_error(text) is None
    assert analysis._handle_execution_error(None) is None


def test_getters_check_their_flag_before_asking_the_sdk(monkeypatch):
    asked = []
    monkeypatch.setattr(
        ExternalProgram, "_get_result", lambda self, field, as_file=False: asked.append(field)
    )
    analysis = IdeaRcsAnalysis(io.BytesIO())
    with pytest.raises(ValueError, match=re.escape("'return_rcs_file' = False")):
        analysis.get_idea_rcs_file()
    analysis._return_result_xml = None  # read at each call
    with pytest.raises(ValueError, match=re.escape("'return_result_xml' = False")):
        analysis.get_output_file()
    assert asked == []
    analysis._return_rcs_file = True
    analysis.get_idea_rcs_file(as_file=True)
    assert asked == ["idea_rcs_body"]


@pytest.fixture
def test_worker(register_worker):
    """A worker for "idearcs" that returns the synthetic result document."""
    seen = []

    def worker(content, version):
        seen.append((content, version))
        if not content["body"]:
            raise jobs.WorkerFailure("Missing input")
        results = {"body": RESULT_XML} if content["return_result_xml"] else {}
        if content["return_rcs_file"]:
            results["idea_rcs_body"] = RCS_PROJECT
        return results

    register_worker("idearcs", worker)
    return seen


@pytest.fixture(params=["in-process", "http"])
def platform(request, monkeypatch):
    if request.param == "http":
        with serving(make_server(token="s3cret")) as url:
            use_platform(monkeypatch, url, "s3cret")
            yield request.param
    else:
        yield request.param


def test_analysis_end_to_end(platform, test_worker):
    source = File.from_data(b"<OpenModel/>")
    analysis = IdeaRcsAnalysis(source, return_rcs_file=True)
    with pytest.raises(ExecutionError, match="execute"):
        analysis.get_output_file()
    analysis.execute(timeout=20)
    sent = {"body": "PE9wZW5Nb2RlbC8+", "return_result_xml": True, "return_rcs_file": True}
    assert test_worker == [(sent, 2)]
    output = analysis.get_output_file()
    assert isinstance(output, io.BytesIO) and output.tell() == 0
    assert output.getvalue() == RESULT_XML
    root = ET.parse(analysis.get_output_file()).getroot()
    assert root.tag == "ArrayOfSectionConcreteCheckResult"
    assert root.find("SectionConcreteCheckResult/SectionId").text == "1"
    as_file = analysis.get_output_file(as_file=True)
    assert isinstance(as_file, File) and as_file.getvalue_binary() == RESULT_XML
    assert analysis.get_idea_rcs_file().getvalue() == RCS_PROJECT

    plain = IdeaRcsAnalysis(io.BytesIO(b"x"))
    plain.execute(timeout=20)
    assert test_worker[-1][1] == 1
    with pytest.raises(ValueError, match="rcs file"):
        plain.get_idea_rcs_file()

    with pytest.raises(ExecutionError) as caught:
        IdeaRcsAnalysis(io.BytesIO()).execute(timeout=20)
    assert str(caught.value) == "Input is missing, please check input file"


def link_not_found(content, version):
    raise jobs.WorkerFailure("Marlox Idea link not found")


@pytest.mark.parametrize("configured", [False, True], ids=["no service", "service named"])
def test_without_rcs_service_the_worker_is_not_found(
    platform, monkeypatch, register_worker, configured
):
    if configured:  # named, but it does not answer: nothing to configure on this side
        monkeypatch.setenv("MARLOX_IDEA_RCS_URL", closed_port_url())
        register_worker("idearcs", link_not_found)
    analysis = IdeaRcsAnalysis(io.BytesIO(b"<OpenModel/>"))
    with pytest.raises(ExecutionError) as caught:
        analysis.execute(timeout=20)
    assert str(caught.value) == KNOWN_FAILURES["Marlox Idea link not found"]
    notes = getattr(caught.value, "__notes__", [])
    if platform == "http":  # the served platform's worker reads its own environment
        assert len(notes) == 1 and "must name one where that worker runs" in notes[0]
    elif configured:
        assert notes == []
    else:
        assert len(notes) == 1 and notes[0].startswith("No IDEA StatiCa RCS service is configured")
        assert "set MARLOX_IDEA_RCS_URL" in notes[0] and "MARLOX_IDEA_RCS_EXE" in notes[0]
    # The getters say that the run failed, not that it has not run.
    with pytest.raises(ExecutionError, match="its run failed: Marlox Idea Link not found"):
        analysis.get_output_file()


def test_unmapped_failure_keeps_the_worker_text(platform, register_worker):
    def worker(content, version):
        raise jobs.WorkerFailure("License server unreachable (code 7)")

    register_worker("idearcs", worker)
    with pytest.raises(ExecutionError) as caught:
        IdeaRcsAnalysis(io.BytesIO(b"x")).execute(timeout=20)
    assert caught.value.args == ("License server unreachable (code 7)",)


class Scripted:
    """A fake platform job API: submit, then ``statuses`` in turn (the last repeats)."""

    def __init__(self, *statuses, result=None):
        self.statuses = list(statuses)
        self.result = result

    def __call__(self, method, path, body):
        if (method, path) == ("POST", "/jobs"):
            return as_json(201, {"id": "job-7"})
        if path == "/jobs/job-7":
            status = self.statuses.pop(0) if len(self.statuses) > 1 else self.statuses[0]
            return status if isinstance(status, tuple) else as_json(200, status)
        if path.startswith("/jobs/job-7/results/"):
            return self.result
        return as_json(404, {"error": "nothing here"})


RUNNING = {"status": "running", "message": ""}
FINISHED = {"status": "finished", "message": "", "results": ["body"]}


def execute_against(monkeypatch, answer, timeout=10.0):
    platform = FakePlatform(answer)
    with serving(platform) as url:
        use_platform(monkeypatch, url, "tok")
        analysis = IdeaRcsAnalysis(io.BytesIO(b"x"))
        try:
            analysis.execute(timeout=timeout)
        finally:
            requests = platform.requests
    return analysis, requests


def test_platform_polls_until_finished(monkeypatch):
    result = as_json(200, {"data": base64.b64encode(RESULT_XML).decode()})
    answer = Scripted(
        {"status": "queued", "message": ""}, RUNNING, RUNNING, FINISHED, result=result
    )
    analysis, requests = execute_against(monkeypatch, answer)
    assert analysis.get_output_file().getvalue() == RESULT_XML
    assert analysis.job_id == "job-7"
    paths = [(method, path) for method, path, _, _ in requests]
    polls = [("GET", "/jobs/job-7")] * 4
    assert paths == [("POST", "/jobs"), *polls, ("GET", "/jobs/job-7/results/body")]
    submitted = json.loads(requests[0][3])
    assert (submitted["integration"], submitted["version"]) == ("idearcs", 1)
    flags = {"return_result_xml": True, "return_rcs_file": False}
    assert submitted["content"] == {"body": "eA==", **flags}
    assert all(headers["Authorization"] == "Bearer tok" for _, _, headers, _ in requests)


@pytest.mark.parametrize(
    "answer, text",
    [
        (lambda *_: as_json(500, {"error": "queue is down"}), "'jobs'.*HTTP 500: queue is down"),
        (lambda *_: (201, b'{"id":'), "'jobs'.*not JSON"),
        (lambda *_: as_json(201, {"job": 1}), "'jobs'.*no job id"),
        (Scripted({"state": "done"}), "'jobs/job-7'.*malformed status"),
        (Scripted({"status": "finished", "message": ""}), "'jobs/job-7'.*malformed status"),
        (Scripted((500, b"Internal Server Error")), "'jobs/job-7'.*HTTP 500"),
        (Scripted(FINISHED, result=as_json(200, {"data": "@@"})), "not base64"),
        (Scripted(FINISHED, result=as_json(404, {"error": "gone"})), "results/body'.*gone"),
    ],
    ids=(
        "submit-500 submit-truncated submit-no-id status-unknown finished-unlisted "
        "status-500 result-not-base64 result-404".split()
    ),
)
def test_platform_faults(monkeypatch, answer, text):
    with pytest.raises(InternalError, match=text):
        execute_against(monkeypatch, answer)


def test_platform_refuses_connection(monkeypatch):
    use_platform(monkeypatch, closed_port_url())
    with pytest.raises(InternalError, match="'jobs'.*no answer"):
        IdeaRcsAnalysis(io.BytesIO(b"x")).execute(timeout=5)


def test_job_that_never_finishes(monkeypatch, caplog):
    monkeypatch.setattr(external_program, "PROGRESS_INTERVAL", 0.1)
    caplog.set_level(logging.INFO, logger="marlox.external")
    with pytest.raises(ExecutionError, match=r"job-7 \(idearcs\) did not finish within 0.6 s"):
        execute_against(monkeypatch, Scripted(RUNNING), timeout=0.6)
    assert any("job-7 (idearcs) is running after" in r.getMessage() for r in caplog.records)


def test_local_job_that_never_finishes(register_worker):
    release = threading.Event()
    register_worker("idearcs", lambda c, v: release.wait(10) and {})
    analysis = IdeaRcsAnalysis(io.BytesIO(b"x"))
    try:
        with pytest.raises(ExecutionError, match=r"did not finish within 0.3 s"):
            analysis.execute(timeout=0.3)
    finally:
        release.set()
    with pytest.raises(ExecutionError, match=r"its run failed: .* did not finish within 0.3 s"):
        analysis.get_output_file()
