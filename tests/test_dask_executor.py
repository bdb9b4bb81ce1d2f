"""The platform's jobs on a real Dask cluster on loopback: a scheduler and two workers with
different seat counts, in subprocesses, each worker with its own fake RCS service so that each
one's seats can be counted."""

from __future__ import annotations

import base64
import os
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

import pytest
from platform_fakes import closed_port_url, serving
from rcs_service_fake import FakeRcsService, results_from_xml

distributed = pytest.importorskip("distributed")

from marlox.external.idea_rcs import check_tables  # noqa: E402
from marlox.local import __main__ as local_main  # noqa: E402
from marlox.local import dask_executor  # noqa: E402
from marlox.local.dask_executor import LOST, WAITING, DaskExecutor, DaskUnavailable  # noqa: E402
from marlox.local.jobs import CANCELLED, JobRunner  # noqa: E402
from marlox.local.store import SqliteStore  # noqa: E402

DATA = Path(__file__).parent / "data"
SYNTHETIC = (DATA / "rcs-result-synthetic.xml").read_bytes()
CONTENT = {"body": base64.b64encode((DATA / "iom-rcs-ImportOpenModel.xml").read_bytes()).decode()}
START_TIMEOUT = 90.0  # seconds for the cluster to come up on a busy machine
LIFETIME = 240.0  # seconds the cluster and its services live at most

pytestmark = pytest.mark.slow


def free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Cluster:
    def __init__(self, tmp: Path) -> None:
        self.address = f"tcp://127.0.0.1:{free_port()}"
        self.services: dict[str, FakeRcsService] = {}
        self.urls: dict[str, str] = {}
        self.workers: dict[str, subprocess.Popen] = {}
        self.processes: list[subprocess.Popen] = []
        self.tmp = tmp

    def start_scheduler(self) -> None:
        port = self.address.rsplit(":", 1)[1]
        self.scheduler = self._start(
            ["distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", port]
        )

    def start_worker(self, name: str, seats: int, url: str) -> None:
        env = {**os.environ, "MARLOX_IDEA_RCS_URL": url, "NO_PROXY": "127.0.0.1"}
        env.pop("MARLOX_PLATFORM_URL", None)
        self.workers[name] = self._start(
            ["distributed.cli.dask_worker", self.address, "--name", name]
            + ["--nthreads", str(seats + 1), "--resources", f"rcs={seats}"]
            + ["--no-nanny", "--death-timeout", str(LIFETIME)],
            env,
        )

    def _start(self, arguments: list[str], env: dict[str, str] | None = None) -> subprocess.Popen:
        process = subprocess.Popen(
            [sys.executable, "-m", *arguments, "--no-dashboard"],
            env=env,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        self.processes.append(process)
        return process

    def stop(self) -> None:
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
        for process in self.processes:
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()


@pytest.fixture(scope="module")
def cluster(tmp_path_factory):
    """Worker "one" has one seat, worker "two" two; each its own fake RCS service."""
    seats = {"one": 1, "two": 2}
    services = {name: FakeRcsService(results_from_xml(SYNTHETIC)) for name in seats}
    cluster = Cluster(tmp_path_factory.mktemp("dask"))
    with serving(services["one"], LIFETIME) as one, serving(services["two"], LIFETIME) as two:
        cluster.services, cluster.urls = services, {"one": one, "two": two}
        cluster.start_scheduler()
        for name, count in seats.items():
            cluster.start_worker(name, count, cluster.urls[name])
        try:
            with distributed.Client(cluster.address, timeout=START_TIMEOUT) as client:
                client.wait_for_workers(2, timeout=START_TIMEOUT)
            yield cluster
        finally:
            cluster.stop()


@pytest.fixture
def runner(cluster, tmp_path):
    for service in cluster.services.values():
        service.delays.clear()
        service.most_open = 0
    executor = DaskExecutor(cluster.address)
    runner = JobRunner(16, store=SqliteStore(tmp_path / "jobs.db"), executor=executor)
    yield runner
    runner.close()


def wait_until(condition, timeout: float = 30.0) -> None:
    deadline = time.monotonic() + timeout
    while not condition():
        assert time.monotonic() < deadline, "timed out"
        time.sleep(0.05)


def test_each_worker_keeps_to_its_seats_and_the_store_records_every_end(cluster, runner):
    for service in cluster.services.values():
        service.delays["calculate"] = 0.3
    before = {name: len(s.imported) for name, s in cluster.services.items()}
    ids = [runner.submit("idearcs", 1, CONTENT) for _ in range(9)]
    statuses = [runner.wait(job_id, 60) for job_id in ids]

    assert [s["status"] for s in statuses] == ["finished"] * 9, statuses
    ran = {name: len(s.imported) - before[name] for name, s in cluster.services.items()}
    assert sum(ran.values()) == 9 and all(ran.values()), ran
    assert cluster.services["one"].most_open == 1
    assert 1 <= cluster.services["two"].most_open <= 2
    assert runner.result(ids[0], "body").startswith("\ufeff".encode("utf-16-le"))

    assert {runner._store.get(job_id).status for job_id in ids} == {"finished"}  # the database


def test_cancel_stops_a_running_job_at_its_next_safe_point(cluster, runner):
    for service in cluster.services.values():
        service.delays["calculate"] = 1.5
    job_id = runner.submit("idearcs", 1, CONTENT)
    wait_until(lambda: "calculating" in runner.status(job_id)["message"])
    assert runner.cancel(job_id)["message"] == "cancelling"

    status = runner.wait(job_id, 30)
    assert (status["status"], status["message"]) == ("failed", CANCELLED)
    assert runner._store.get(job_id).message == CANCELLED  # the database
    wait_until(lambda: all(s.open_projects == 0 for s in cluster.services.values()))


def test_a_job_waiting_for_a_seat_is_cancelled_at_once(cluster, runner):
    for service in cluster.services.values():
        service.delays["calculate"] = 1.0
    ids = [runner.submit("idearcs", 1, CONTENT) for _ in range(5)]  # 3 seats: 2 wait
    wait_until(lambda: sum("calculating" in runner.status(i)["message"] for i in ids) == 3)
    waiting = next(i for i in ids if runner.status(i)["message"] == WAITING)
    imports = sum(len(s.imported) for s in cluster.services.values())
    runner.cancel(waiting)
    assert runner.wait(waiting, 5) == {"status": "failed", "message": CANCELLED}
    assert {runner.wait(i, 30)["status"] for i in ids if i != waiting} == {"finished"}
    assert sum(len(s.imported) for s in cluster.services.values()) == imports + 1  # never ran


def test_unreachable_scheduler_is_one_clear_error(tmp_path, capsys, monkeypatch):
    monkeypatch.setattr(dask_executor, "CONNECT_TIMEOUT", 1.0)
    address = closed_port_url().replace("http://", "tcp://")
    with pytest.raises(DaskUnavailable, match=f"The Dask scheduler at {address} cannot be reached"):
        DaskExecutor(address, connect_timeout=1)
    code = local_main.main(["serve", "--port", "0", "--data-dir", str(tmp_path), "--dask", address])
    assert code == 1
    assert "cannot be reached" in capsys.readouterr().err


def test_the_workers_read_result_files_into_tables_in_order(cluster, tmp_path):
    paths = []
    for i in range(5):
        paths.append(tmp_path / f"variant-{i}.xml")
        paths[-1].write_bytes(SYNTHETIC)
    broken = tmp_path / "broken.xml"
    broken.write_bytes(SYNTHETIC[:5000])
    local = check_tables(paths, threads=1, units="engineering")
    with distributed.Client(cluster.address, timeout=START_TIMEOUT) as client:
        remote = check_tables(paths, client=client, units="engineering")
        assert remote.table.to_pylist() == local.table.to_pylist()
        assert remote.governing().to_pylist() == local.governing().to_pylist()
        with pytest.raises(FileNotFoundError):  # the first failure in the order given
            check_tables([paths[0], tmp_path / "missing.xml", broken], client=client)


def test_a_lost_worker_fails_its_job_and_it_never_runs_twice(cluster, runner):
    # Late in the module: it kills a worker.
    for service in cluster.services.values():
        service.delays["calculate"] = 3.0
    job_id = runner.submit("idearcs", 1, CONTENT)
    wait_until(lambda: "calculating" in runner.status(job_id)["message"])
    name = next(n for n, s in cluster.services.items() if s.open_projects)
    imports = sum(len(s.imported) for s in cluster.services.values())
    cluster.workers[name].send_signal(signal.SIGKILL)

    status = runner.wait(job_id, 60)
    assert (status["status"], status["message"]) == ("failed", LOST)
    assert runner._store.get(job_id).status == "failed"  # the database
    assert sum(len(s.imported) for s in cluster.services.values()) == imports  # not run again


def test_a_lost_scheduler_fails_the_running_jobs_and_sends_the_waiting_one_again(cluster, runner):
    # After the lost worker: the workers left, and one job more than their seats.
    seats = sum({"one": 1, "two": 2}[n] for n, w in cluster.workers.items() if w.poll() is None)
    for service in cluster.services.values():
        service.delays["calculate"] = 2.0
    ids = [runner.submit("idearcs", 1, CONTENT) for _ in range(seats + 1)]
    wait_until(lambda: sum("calculating" in runner.status(i)["message"] for i in ids) == seats)
    (waiting,) = [i for i in ids if runner.status(i)["message"] == WAITING]
    cluster.scheduler.send_signal(signal.SIGKILL)  # the workers leave with it
    for job_id in ids:
        if job_id != waiting:
            assert runner.wait(job_id, 30) == {"status": "failed", "message": LOST}
    assert runner.status(waiting) == {"status": "running", "message": WAITING}

    cluster.start_scheduler()
    cluster.start_worker("three", 1, cluster.urls["two"])
    assert runner.wait(waiting, START_TIMEOUT)["status"] == "finished"
    assert [runner._store.get(i).status for i in ids].count("failed") == seats  # the database
