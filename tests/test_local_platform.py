"""The embedded platform's job runner and workers."""

from __future__ import annotations

import importlib.metadata
import threading

import pytest

from marlox.local import jobs


@pytest.fixture
def runner():
    return jobs.JobRunner(max_running=2, max_jobs=3)


def run(runner, integration, content=None, version=1):
    job_id = runner.submit(integration, version, content or {})
    return job_id, runner.wait(job_id, 10)


@pytest.fixture
def worker(register_worker):
    """Registers ``function`` as the worker of "test"; forgotten after the test."""
    return lambda function: register_worker("test", function)


def test_worker_outcomes(runner, worker):
    @worker
    def echo(content, version):
        if content.get("fail") == "text":
            raise jobs.WorkerFailure("Failed calculation")
        if content.get("fail") == "crash":
            raise KeyError("body")
        if content.get("fail") == "type":
            return {"body": "not bytes"}
        return {"body": content["body"].encode(), "version": bytes([version]), "empty": b""}

    job_id, status = run(runner, "test", {"body": "hi"}, version=2)
    assert status == {"status": "finished", "message": "", "results": ["body", "version", "empty"]}
    assert runner.result(job_id, "body") == b"hi"
    assert runner.result(job_id, "version") == b"\x02"
    assert runner.result(job_id, "empty") == b""
    with pytest.raises(jobs.JobNotFound, match="no result field 'other'"):
        runner.result(job_id, "other")

    assert run(runner, "test", {"fail": "text"})[1] == {
        "status": "failed",
        "message": "Failed calculation",
    }
    assert run(runner, "test", {"fail": "crash"})[1]["message"] == "'body'"
    assert "instead of bytes" in run(runner, "test", {"fail": "type"})[1]["message"]


def test_jobs_wait_for_a_slot_and_results_wait_for_the_end(runner, worker):
    release = threading.Event()
    worker(lambda content, version: release.wait(10) and {"body": b"done"})
    first, second, third = (runner.submit("test", 1, {}) for _ in range(3))
    assert runner.wait(third, 0.2)["status"] == "queued"  # two slots, both taken
    assert runner.status(first)["status"] == "running"
    with pytest.raises(jobs.JobNotFinished, match="not finished"):
        runner.result(first, "body")
    release.set()
    for job_id in (first, second, third):
        assert runner.wait(job_id, 10)["status"] == "finished"
    # Only the three newest are kept; the oldest ended one is forgotten.
    fourth = runner.submit("test", 1, {})
    runner.wait(fourth, 10)
    with pytest.raises(jobs.JobNotFound):
        runner.status(first)
    assert runner.result(fourth, "body") == b"done"


@pytest.mark.parametrize(
    "integration, version, content, text",
    [
        ("", 1, {}, "'integration'"),
        ("test", True, {}, "'version'"),
        ("test", 1, [], "'content'"),
        ("nobody", 1, {}, "No worker is registered for the integration 'nobody'"),
    ],
)
def test_bad_submissions(runner, worker, integration, version, content, text):
    worker(lambda content, version: {})
    with pytest.raises(jobs.JobRequestError, match=text):
        runner.submit(integration, version, content)


def test_worker_lookup_order(monkeypatch):
    found = {
        "plugin": importlib.metadata.EntryPoint("plugin", "builtins:len", jobs.ENTRY_POINT_GROUP),
        "idearcs": importlib.metadata.EntryPoint("idearcs", "builtins:abs", jobs.ENTRY_POINT_GROUP),
        "broken": importlib.metadata.EntryPoint(
            "broken", "no_such_module:worker", jobs.ENTRY_POINT_GROUP
        ),
    }

    def entry_points(group, name):
        assert group == "marlox.workers"
        return [found[name]] if name in found else []

    monkeypatch.setattr(importlib.metadata, "entry_points", entry_points)
    assert jobs.find_worker("plugin") is len
    assert jobs.find_worker("idearcs") is abs  # an installed worker replaces the built-in one
    jobs.register_worker("idearcs", min)
    try:
        assert jobs.find_worker("idearcs") is min  # and a registered one replaces both
    finally:
        jobs.unregister_worker("idearcs")
    assert jobs.find_worker("idearcs") is abs
    with pytest.raises(jobs.JobRequestError, match="'no_such_module:worker'.*cannot be loaded"):
        jobs.find_worker("broken")
    assert jobs.find_worker("nobody") is None


def test_idearcs_worker_needs_a_service(runner):
    assert run(runner, "idearcs", {"body": ""})[1] == {
        "status": "failed",
        "message": "Marlox Idea link not found",
    }
