"""The served platform as an office runs it: jobs in a database across restarts, faults of the
database, cancelling, and the SDK's deadlines against platforms that answer badly."""

from __future__ import annotations

import contextlib
import io
import os
import socket
import sqlite3
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import pytest
from platform_fakes import serving, use_platform

from marlox import core
from marlox.errors import InternalError
from marlox.external.idea_rcs import IdeaRcsAnalysis
from marlox.local import jobs, progress
from marlox.local.server import make_server
from marlox.local.store import JobRecord, SqliteStore, StoreError

release = threading.Event()


def worker(content, version):
    """Fails, returns its body, or reports progress until released (or cancelled)."""
    if content.get("fail"):
        raise jobs.WorkerFailure(content["fail"])
    while content.get("wait") and not release.wait(0.02):
        progress("calculating")
    return {"body": content.get("body", "").encode() * content.get("repeat", 1)}


@pytest.fixture(autouse=True)
def registered(register_worker):
    release.clear()
    for integration in ("test", "idearcs"):
        register_worker(integration, worker)
    yield
    release.set()


def runner(path, **options):
    return jobs.JobRunner(max_running=1, store=SqliteStore(path / "jobs.sqlite3"), **options)


def test_a_restart_keeps_settled_jobs_and_fails_the_interrupted_ones(tmp_path):
    store = SqliteStore(tmp_path / "jobs.sqlite3")
    for id_, status in [("r", "running"), ("q", "queued"), ("f", "failed")]:
        store.add(JobRecord(id_, "test", 1, {"body": id_}, status, "no licence" * (id_ == "f")))
    store.update("f", "failed", "no licence")
    store.close()
    first = runner(tmp_path)
    assert first.wait("q", 10) == {"status": "finished", "message": "", "results": ["body"]}
    assert first.status("r") == {"status": "failed", "message": jobs.INTERRUPTED}
    waiting = first.submit("test", 1, {"wait": True})
    while first.status(waiting)["message"] != "calculating":
        time.sleep(0.01)
    first.close(grace=0.5)  # stops a running job: interrupted, as a killed server leaves it

    again = runner(tmp_path)
    assert again.result("q", "body") == b"q"
    assert again.status("f") == {"status": "failed", "message": "no licence"}
    assert again.status(waiting) == {"status": "failed", "message": jobs.INTERRUPTED}
    again.close()


def damage(path, how):
    if how == "locked":
        return SqliteStore(path)  # held by another server
    if how == "corrupt":
        path.write_bytes(b"not a database at all" * 100)
    if how == "foreign":
        sqlite3.connect(path).execute("CREATE TABLE notes (text)").connection.commit()
    if how == "read-only":
        SqliteStore(path).close()
        path.chmod(0o444)
        path.parent.chmod(0o555)


@pytest.mark.parametrize(
    "how, text",
    [
        ("locked", "another process holds it"),
        ("corrupt", "damaged"),
        ("foreign", "not a job database"),
        ("read-only", "read-only"),
    ],
)
def test_a_database_that_cannot_be_used_is_refused_at_start(tmp_path, how, text):
    if how == "read-only" and os.name == "posix" and os.geteuid() == 0:
        pytest.skip("permissions do not bind the superuser")
    path = tmp_path / "data" / "jobs.sqlite3"
    path.parent.mkdir()
    holder = damage(path, how)
    try:
        with pytest.raises(StoreError, match=text):
            SqliteStore(path, busy_timeout=0.1)
    finally:
        path.parent.chmod(0o755)
        if holder:
            holder.close()


def test_a_full_disk_fails_the_job_and_the_runner_goes_on(tmp_path):
    run = runner(tmp_path)
    run._store._db.execute("PRAGMA max_page_count = 12")  # the database cannot grow past this
    big = run.submit("test", 1, {"body": "x", "repeat": 200_000})
    status = run.wait(big, 10)
    assert status["status"] == "failed" and "full" in status["message"]
    small = run.submit("test", 1, {"body": "ok"})
    assert run.wait(small, 10)["status"] == "finished" and run.result(small, "body") == b"ok"
    run.close()


class FullDisk:
    """The job database, refusing the status writes that ``refuses(status)`` picks, once each
    for "once", always for "always", as a full disk does."""

    def __init__(self, path, refused, how):
        self.store, self.refused, self.how = SqliteStore(path), set(refused), how

    def update(self, job_id, status, message, results=None):
        if status in self.refused:
            if self.how == "once":
                self.refused.discard(status)
            raise StoreError("The job's status could not be stored: database or disk is full")
        self.store.update(job_id, status, message, results)

    def __getattr__(self, name):
        return getattr(self.store, name)


@pytest.mark.parametrize(
    "refused, how, outcome",
    [
        (["running"], "once", "finished"),  # the start is recorded when the disk has room
        (["finished", "failed"], "always", "failed"),  # not even the failure is recorded
    ],
)
def test_a_job_reported_failed_stays_failed_and_none_runs_twice(
    tmp_path, monkeypatch, refused, how, outcome
):
    monkeypatch.setattr(jobs, "STORE_RETRY", 0.05)
    ran = []
    jobs.register_worker("test", lambda content, version: ran.append(1) or {"body": b"ok"})
    path = tmp_path / "jobs.sqlite3"
    first = jobs.JobRunner(store=FullDisk(path, refused, how))
    job = first.submit("test", 1, {})
    reported = first.wait(job, 10)
    first.close()
    assert reported["status"] == outcome
    again = runner(tmp_path)
    assert again.wait(job, 10)["status"] == outcome
    assert ran == [1]
    again.close()


def test_a_cancellation_that_cannot_be_recorded_leaves_the_job_queued(tmp_path):
    disk = FullDisk(tmp_path / "jobs.sqlite3", [], "once")
    first = jobs.JobRunner(max_running=1, store=disk)
    running = first.submit("test", 1, {"wait": True})  # takes the only slot
    queued = first.submit("test", 1, {"body": "later"})
    disk.refused = {"failed"}
    with pytest.raises(StoreError, match="full"):
        first.cancel(queued)
    assert first.status(queued)["status"] == "queued"
    disk.refused = set()
    release.set()
    assert first.wait(running, 10)["status"] == first.wait(queued, 10)["status"] == "finished"
    first.close()


def test_cancel_and_delete(tmp_path):
    run = runner(tmp_path)
    running = run.submit("test", 1, {"wait": True})
    queued = run.submit("test", 1, {"body": "never"})
    while run.status(running)["message"] != "calculating":
        time.sleep(0.01)
    assert run.cancel(queued) == {"status": "failed", "message": jobs.CANCELLED}
    run.cancel(running)
    assert run.wait(running, 10) == {"status": "failed", "message": jobs.CANCELLED}
    with pytest.raises(jobs.JobNotFinished, match="already ended"):
        run.cancel(running)
    run.delete(running)
    with pytest.raises(jobs.JobNotFound):
        run.status(running)
    run.close()


def test_a_cancelled_rcs_job_stops_after_its_stage_and_closes_its_project(monkeypatch, tmp_path):
    from rcs_service_fake import FakeRcsService

    jobs.unregister_worker("idearcs")  # the built-in worker
    service = FakeRcsService([])
    service.delays["calculate"] = 0.5
    with serving(service) as url:
        monkeypatch.setenv("MARLOX_IDEA_RCS_URL", url)
        run = runner(tmp_path)
        job = run.submit("idearcs", 1, {"body": "PE9wZW5Nb2RlbC8+"})
        while run.status(job)["message"] != "calculating every section in RCS":
            time.sleep(0.01)
        run.cancel(job)
        assert run.wait(job, 10) == {"status": "failed", "message": jobs.CANCELLED}
        assert [call for call, _ in service.calls][-2:] == ["calculate", "close"]
        run.close()


def test_concurrent_submissions_and_polling_across_a_restart(tmp_path, monkeypatch):
    server = make_server(jobs=runner(tmp_path))
    with serving(server) as url:
        use_platform(monkeypatch, url)
        with ThreadPoolExecutor(8) as pool:
            analyses = [IdeaRcsAnalysis(io.BytesIO(b"%d" % i)) for i in range(16)]
            list(pool.map(lambda analysis: analysis.execute(timeout=20), analyses))
        assert len({analysis.job_id for analysis in analyses}) == 16
        gone = f"jobs/{analyses[0].job_id}"
        assert core._platform_request("DELETE", gone, None, 5, gone) == {"deleted": gone[5:]}
        with pytest.raises(InternalError, match="HTTP 404: There is no job"):
            core._platform_request("GET", gone, None, 5, gone)
        server.app.jobs.submit("test", 1, {"wait": True})  # takes the only slot
        queued = IdeaRcsAnalysis(io.BytesIO(b"late"))
        polling = threading.Thread(target=queued.execute, kwargs={"timeout": 20})
        polling.start()
        time.sleep(0.3)
    server.app.jobs.close(grace=1)
    time.sleep(0.5)  # nothing listens: the poller's requests are refused
    again = make_server(port=int(url.rsplit(":", 1)[1]), jobs=runner(tmp_path))
    with serving(again):
        polling.join(20)
    assert queued.get_output_file().getvalue() == b"bGF0ZQ=="  # the body, as sent
    again.app.jobs.close()


@pytest.mark.parametrize("answer", ["drip", "never"])
@pytest.mark.parametrize("call", ["conversion", "analysis"])
def test_deadlines_hold_against_slow_platforms(monkeypatch, answer, call):
    listener = socket.create_server(("127.0.0.1", 0))
    stop = threading.Event()

    def serve():
        connection, _ = listener.accept()
        with connection, contextlib.suppress(OSError):
            connection.recv(65536)
            if answer == "drip":  # 100 MB announced, then a byte at a time
                connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n{")
            while not stop.wait(0.2):
                connection.send(b" " if answer == "drip" else b"")

    threading.Thread(target=serve, daemon=True).start()
    use_platform(monkeypatch, f"http://127.0.0.1:{listener.getsockname()[1]}")
    started = time.monotonic()
    try:
        with pytest.raises(InternalError, match="within 1 s"):
            if call == "conversion":
                core._post_on_addon_endpoint("fillidearcstemplate/v3/jobs/", {}, timeout=1)
            else:
                IdeaRcsAnalysis(io.BytesIO(b"x")).execute(timeout=1)
        assert time.monotonic() - started < 2
    finally:
        stop.set()
        listener.close()
