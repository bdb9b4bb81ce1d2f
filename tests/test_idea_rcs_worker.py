"""The "idearcs" worker against a fake RCS REST service on loopback."""

from __future__ import annotations

import base64
import io
import json
import math
import os
import stat
import sys
import xml.etree.ElementTree as ET
from pathlib import Path

import pytest
from platform_fakes import closed_port_url, serving
from rcs_service_fake import FakeRcsService, results_from_xml

from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser
from marlox.local import idea_rcs_worker, jobs
from marlox.local.rcs_result_xml import format_double, result_xml

DATA = Path(__file__).parent / "data"
SYNTHETIC = (DATA / "rcs-result-synthetic.xml").read_bytes()
INPUT_XML = b'<?xml version="1.0" encoding="utf-8"?>\r\n<OpenModel><Version>2</Version></OpenModel>'
BOM = "\ufeff".encode("utf-16-le")
XSI = "{http://www.w3.org/2001/XMLSchema-instance}type"
FAMILIES = tuple(
    "capacity shear torsion interaction crack_width detailing stress_limitation fatigue".split()
)


def content(xml: bytes = INPUT_XML, **flags) -> dict:
    return {"body": base64.b64encode(xml).decode(), **flags}


def run_job(job_content: dict, version: int = 1) -> tuple[dict, dict[str, bytes]]:
    """Runs the job on the built-in worker; returns its status and result fields."""
    runner = jobs.JobRunner()
    job_id = runner.submit("idearcs", version, job_content)
    status = runner.wait(job_id, 20)
    fields = {name: runner.result(job_id, name) for name in status.get("results", [])}
    return status, fields


@pytest.fixture
def service(monkeypatch):
    """The fake service, answering with the sections of the synthetic result document; the
    environment names a proxy that is down, which calls to loopback must not take."""
    for name in ("no_proxy", "NO_PROXY"):
        monkeypatch.delenv(name, raising=False)
    monkeypatch.setenv("http_proxy", closed_port_url())
    server = FakeRcsService(results_from_xml(SYNTHETIC))
    with serving(server) as url:
        monkeypatch.setenv("MARLOX_IDEA_RCS_URL", url)
        yield server


def same_number(a: str, b: str) -> bool:
    try:
        x, y = float(a), float(b)
    except ValueError:
        return False
    return x == y or (math.isnan(x) and math.isnan(y))


def test_a_run_returns_the_result_document_in_ideas_form(service):
    status, fields = run_job(content())

    assert status["status"] == "finished", status
    assert list(fields) == ["body"]
    document = fields["body"]
    declaration = '<?xml version="1.0" encoding="utf-16"?>\r\n'.encode("utf-16-le")
    assert document.startswith(BOM + declaration)
    text = document.decode("utf-16")
    assert "\n" not in text.replace("\r\n", "") and not text.endswith("\n")
    ET.fromstring(document)  # consistent bytes and declaration

    # Line by line what IDEA writes, as in the synthetic document: same tags, nesting,
    # indentation, order and xsi:type; numbers in shortest form, so compared by value.
    expected = SYNTHETIC.decode("utf-16").split("\r\n")
    written = text.split("\r\n")
    assert len(written) == len(expected)
    for number, (line, model) in enumerate(zip(written, expected, strict=True), 1):
        if line != model:
            head, _, rest = model.partition(">")
            value, _, tail = rest.partition("<")
            assert line.startswith(head + ">") and line.endswith("<" + tail), number
            assert same_number(line[len(head) + 1 : -len(tail) - 1], value), (number, line)

    # The calls, in order, on one project that ends closed.
    assert [call for call, _ in service.calls] == "heartbeat import calculate results close".split()
    assert service.imported == [INPUT_XML]
    assert service.bodies["calculate"] == [{"sections": []}]
    assert list(service.projects.values()) == ["closed"]


@pytest.mark.parametrize(
    ("version", "flag", "downloaded"),
    [(2, True, True), (2, False, False), (1, True, False)],
)
def test_the_project_file_is_returned_when_asked_for(service, version, flag, downloaded):
    status, fields = run_job(content(return_result_xml=True, return_rcs_file=flag), version)

    assert status["status"] == "finished", status
    assert ("idea_rcs_body" in fields) is downloaded
    if downloaded:
        assert fields["idea_rcs_body"] == service.rcs_file
        assert [call for call, _ in service.calls][-2:] == ["download", "close"]
    assert ET.fromstring(fields["body"]).tag == "ArrayOfSectionConcreteCheckResult"


def test_results_are_fetched_a_batch_of_sections_at_a_time(service, monkeypatch):
    monkeypatch.setattr(idea_rcs_worker, "RESULTS_BATCH", 2)
    text = json.dumps(service.results[0])
    service.results = [json.loads(text) for _ in range(5)]
    for detailed, id_ in zip(service.results, (3, 1, 2, 5, 4), strict=True):
        detailed["sectionResult"]["sectionId"] = id_
    whole = result_xml(service.results)

    status, fields = run_job(content())
    assert status["status"] == "finished", status
    assert [body["sections"] for body in service.bodies["results"]] == [[3, 1], [2, 5], [4]]
    assert fields["body"] == whole
    assert [id_.text for id_ in ET.fromstring(whole).iter("SectionId")] == ["3", "1", "2", "5", "4"]

    service.overview = lambda results: [{"sectionId": None}]  # ids not listed: all at once
    service.bodies.clear()
    assert run_job(content())[1]["body"] == whole
    assert service.bodies["results"] == [{"sections": []}]


def _read(document: bytes) -> tuple[dict, dict]:
    streamed = {
        section.id_: {family: getattr(section, family)() for family in FAMILIES}
        for section in RcsOutputFileParser(io.BytesIO(document)).section_results()
    }
    whole = OutputFileParser(io.BytesIO(document))
    loaded = {
        id_: {
            family: getattr(whole, f"{family}_results")(id_)
            for family in FAMILIES
            if hasattr(whole, f"{family}_results")
        }
        for id_ in whole.section_ids
    }
    return streamed, loaded


def test_the_written_document_reads_as_the_synthetic_one_through_both_parsers(service):
    status, fields = run_job(content())
    assert status["status"] == "finished", status

    streamed, loaded = _read(fields["body"])
    expected_streamed, expected_loaded = _read(SYNTHETIC)
    assert repr(streamed) == repr(expected_streamed)
    assert repr(loaded) == repr(expected_loaded)
    for id_, families in loaded.items():
        assert families and all(streamed[id_][name] == value for name, value in families.items())


@pytest.mark.parametrize(
    ("value", "text"),
    [(0, "0"), (-0.0, "-0"), (80000.0, "80000"), (32836600000, "32836600000"), (-23.7, "-23.7")]
    + [(0.0001, "0.0001"), (1e-05, "1E-05"), (-2.5e-07, "-2.5E-07"), (1e16, "10000000000000000")]
    + [(1.2345e20, "1.2345E+20"), (5e-324, "5E-324"), (-math.inf, "-INF")]
    + [("NaN", "NaN"), ("Infinity", "INF")],  # JSON carries these as text
)
def test_numbers_are_written_as_dotnet_writes_doubles(value, text):
    assert format_double(value) == text
    if not math.isnan(float(format_double(value))):
        assert float(text) == float(value)  # and read back unchanged


def test_check_items_as_the_service_schema_describes_them():
    """A ``check`` that names no class, a ``$type`` discriminator, enums as numbers or in any
    case, a filled ``loading``, null and empty lists, absent fields."""
    forces = {"n": 1.5, "qy": 0, "qz": 0, "mx": 0, "my": 7.25, "mz": 0}
    loading = {"loadingType": "combination", "id": 4, "items": [{"coefficient": 1.35}]}
    capacity = {
        "result": "checkIsNotNecesssary",
        "limitCheckValue": 1,
        "nonConformities": [{"severity": "warning", "guid": "046b6c7f"}],
        "internalFores": {**forces, "loading": loading},
        "checkValue": 7.386281948385884,
        "check": "notDefined",
        "fu1": forces,
        "checkMethod": 2,
    }
    crack_width = {"check": "CRACKWIDTHLONG", "$type": "crack", "result": "passed", "w": 2e-4}
    detailing = {"$type": "Idea.ConcreteCheckDetailingEc2, IdeaRS", "check": 0}
    families = [
        {"resultType": "capacity", "checkResults": [capacity]},
        {"resultType": 7, "checkResults": [crack_width, detailing]},
        {"resultType": "stressLimitation", "checkResults": []},
        {"resultType": "shear", "checkResults": None},
    ]
    overall = {"checks": [{"resultType": "capacity", "result": "newVerdict"}]}
    extremes = [{"checkResults": families, "overall": overall}, {}]
    results = [
        {"id": 0, "sectionResult": None, "issues": None},
        {"id": 1, "sectionResult": {"sectionId": 6, "extremeResults": extremes}},
    ]
    root = ET.fromstring(result_xml(json.loads(json.dumps(results))))

    def tree(element):
        return [(c.tag, c.get(XSI), tree(c) if len(c) else c.text) for c in element]

    (section,) = root
    assert section.findtext("SectionId") == "6"
    first, second = section.find("ExtremeResults")
    capacity_family, crack_family, stress_family, shear_family = first.find("CheckResults")
    (item,) = capacity_family.find("CheckResults")
    assert item.get(XSI) == "ConcreteULSCheckResultDiagramCapacityEc2"
    assert [(tag, text) for tag, _, text in tree(item) if tag != "InternalFores"] == [
        (
            "NonConformities",
            [("NonConformity", None, [("Guid", None, "046b6c7f"), ("Severity", None, "Warning")])],
        ),
        ("Result", "CheckIsNotNecesssary"),
        ("CheckValue", "7.386281948385884"),
        ("LimitCheckValue", "1"),
        ("Check", "NotDefined"),
        ("Fu1", [(c.tag, None, c.text) for c in item.find("InternalFores") if c.tag != "Loading"]),
        ("CheckMethod", "IDCheckTypeNuMM"),
    ]
    assert [child.tag for child in item.find("InternalFores")][:2] == ["Loading", "N"]
    assert item.findtext("Fu1/My") == "7.25"
    assert tree(item.find("InternalFores/Loading")) == [
        ("LoadingType", None, "Combination"),
        ("Id", None, "4"),
        ("Items", None, [("ResultOfLoadingItem", None, [("Coefficient", None, "1.35")])]),
    ]
    assert crack_family.findtext("ResultType") == "CrackWidth"
    assert tree(crack_family.find("CheckResults")) == [
        (
            "ConcreteCheckResultBase",
            "ConcreteSLSCheckResultCrackWidthEc2",
            [("Result", None, "Passed"), ("Check", None, "CrackWidthLong"), ("W", None, "0.0002")],
        ),
        ("ConcreteCheckResultBase", "ConcreteCheckDetailingEc2", [("Check", None, "NotDefined")]),
    ]
    assert tree(stress_family)[1] == ("CheckResults", None, None)  # <CheckResults />
    assert [child.tag for child in shear_family] == ["ResultType"]
    assert first.findtext("Overall/Checks/ConcreteCheckResultOverallItem/Result") == "NewVerdict"
    assert len(second) == 0

    assert result_xml([]).decode("utf-16") == (
        '<?xml version="1.0" encoding="utf-16"?>\r\n<ArrayOfSectionConcreteCheckResult '
        'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
        'xmlns:xsd="http://www.w3.org/2001/XMLSchema" />'
    )


def test_results_that_cannot_be_written_fail_with_their_own_text(service):
    family = {"resultType": "deflection", "checkResults": [{"check": "deflection"}]}
    service.results = [
        {"sectionResult": {"sectionId": 1, "extremeResults": [{"checkResults": [family]}]}}
    ]
    status, _ = run_job(content())
    assert status["status"] == "failed"
    assert status["message"].startswith("The RCS results cannot be written as result XML: ")
    assert "'deflection'" in status["message"]
    assert list(service.projects.values()) == ["closed"]

    service.results = [{"sectionResult": {"sectionId": "one"}}]
    status, _ = run_job(content())
    assert "SectionId: 'one' is not an integer" in status["message"]


@pytest.mark.parametrize(
    ("fault", "message", "projects"),
    [
        ("heartbeat", "Marlox Idea link not found", []),
        ("import", "Failed creating model", []),
        ("calculate", "Failed calculation", ["closed"]),
        ("results", "Failed calculation", ["closed"]),
    ],
)
def test_a_failing_call_fails_the_job_with_its_text(service, fault, message, projects):
    service.faults[fault] = 500 if fault != "import" else 400
    assert run_job(content()) == ({"status": "failed", "message": message}, {})
    assert list(service.projects.values()) == projects


def test_a_calculation_that_times_out_fails_and_closes_the_project(service, monkeypatch):
    monkeypatch.setenv("MARLOX_IDEA_RCS_TIMEOUT", "0.5")
    service.delays["calculate"] = 10
    assert run_job(content()) == ({"status": "failed", "message": "Failed calculation"}, {})
    assert [call for call, _ in service.calls][-1] == "close"


def test_failures_after_the_results_keep_their_own_text(service):
    service.faults["close"] = 500
    status, fields = run_job(content())
    assert status["status"] == "finished" and "body" in fields  # closing is best effort

    service.faults = {"download": 503}
    status, _ = run_job(content(return_rcs_file=True), version=2)
    assert status["status"] == "failed"
    assert status["message"].startswith("The .ideaRcs project cannot be downloaded: GET ")
    assert "503" in status["message"]


@pytest.mark.parametrize(
    "job_content",
    [{}, {"body": None}, {"body": ""}, {"body": "  "}, {"body": "not base64!"}, content(b" \r\n")],
)
def test_a_missing_input_is_not_sent(service, job_content):
    assert run_job(job_content) == ({"status": "failed", "message": "Missing input"}, {})
    assert service.calls == []


def test_without_a_reachable_service_the_link_is_not_found(monkeypatch):
    assert run_job(content())[0]["message"] == "Marlox Idea link not found"
    monkeypatch.setenv("MARLOX_IDEA_RCS_URL", closed_port_url())
    assert run_job(content())[0]["message"] == "Marlox Idea link not found"
    monkeypatch.setenv("MARLOX_IDEA_RCS_TIMEOUT", "soon")
    assert "MARLOX_IDEA_RCS_TIMEOUT" in run_job(content())[0]["message"]


def test_the_command_line_checks_the_service_and_runs_an_input_file(service, tmp_path, capsys):
    from marlox.local.__main__ import main

    assert main(["idea-rcs"]) == 0
    assert "answers; version 24.1.3.1234" in capsys.readouterr().out

    (tmp_path / "input.xml").write_bytes(INPUT_XML)
    output, rcs_file = tmp_path / "out.xml", tmp_path / "out.ideaRcs"
    arguments = [str(tmp_path / "input.xml"), "--output", str(output), "--rcs-file", str(rcs_file)]
    assert main(["idea-rcs", *arguments]) == 0
    assert ET.parse(output).getroot().tag == "ArrayOfSectionConcreteCheckResult"
    assert rcs_file.read_bytes() == service.rcs_file
    assert service.imported[-1] == INPUT_XML

    service.faults["import"] = 400
    assert main(["idea-rcs", *arguments]) == 1
    assert capsys.readouterr().err == "idearcs: Failed creating model\n"


# The service's executable, started by the worker.


def executable(tmp_path: Path, body: str) -> Path:
    """A program at ``tmp_path`` that runs the Python ``body`` with ``sys.argv`` as given."""
    path = tmp_path / "IdeaStatiCa.RcsRestApi"
    tests = str(Path(__file__).parent)
    path.write_text(f"#!{sys.executable}\nimport sys\nsys.path.insert(0, {tests!r})\n{body}\n")
    path.chmod(path.stat().st_mode | stat.S_IXUSR)
    return path


def ended(pid_file: Path) -> bool:
    try:
        os.kill(int(pid_file.read_text()), 0)
    except ProcessLookupError:
        return True
    return False


@pytest.mark.skipif(sys.platform == "win32", reason="the fake executable is a script")
def test_the_worker_starts_the_service_and_stops_it(tmp_path, monkeypatch):
    results = tmp_path / "results.json"
    results.write_text(json.dumps(results_from_xml(SYNTHETIC)))
    body = f"import rcs_service_fake\nrcs_service_fake.main(sys.argv[1:] + [{str(results)!r}])"
    monkeypatch.setenv("MARLOX_IDEA_RCS_EXE", str(executable(tmp_path, body)))

    status, fields = run_job(content(return_rcs_file=True), version=2)

    assert status["status"] == "finished", status
    assert ET.fromstring(fields["body"]).findtext("SectionConcreteCheckResult/SectionId") == "1"
    assert fields["idea_rcs_body"].startswith(b"7z")
    assert ended(Path(f"{results}.pid"))


@pytest.mark.skipif(sys.platform == "win32", reason="the fake executable is a script")
@pytest.mark.parametrize(
    "body",
    [
        "sys.exit(3)",  # ends at once
        "open(sys.argv[0] + '.pid', 'w').write(str(__import__('os').getpid()))\n"
        "__import__('time').sleep(30)",  # never answers
    ],
)
def test_a_service_that_does_not_come_up_is_not_found_and_not_left_running(
    tmp_path, monkeypatch, body
):
    exe = executable(tmp_path, body)
    monkeypatch.setenv("MARLOX_IDEA_RCS_EXE", str(exe))
    monkeypatch.setenv("MARLOX_IDEA_RCS_START_TIMEOUT", "1")

    assert run_job(content())[0] == {"status": "failed", "message": "Marlox Idea link not found"}
    pid_file = Path(f"{exe}.pid")
    assert not pid_file.exists() or ended(pid_file)

    monkeypatch.setenv("MARLOX_IDEA_RCS_EXE", str(tmp_path / "missing.exe"))
    assert run_job(content())[0]["message"] == "Marlox Idea link not found"
