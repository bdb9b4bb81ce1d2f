"""The local platform's HTTP server, before and after: submissions and status polls per second
on loopback, and the p99 latency of a status poll under 20 concurrent pollers.

"old" is the http.server-based platform of an earlier commit (``--baseline``), taken from git
into a temporary package; "new" is this tree's waitress server with jobs in SQLite (WAL). Each
serves in a process of its own with a worker that returns at once; the clients run here, in
rounds that alternate old and new, and the medians are reported.

    python bench/bench_platform_server.py [--baseline ba1ce04] [--seconds 3] [--rounds 3]
"""

from __future__ import annotations

import argparse
import http.client
import importlib
import json
import logging
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def old_package(baseline: str, into: Path):
    """The baseline's ``marlox.local`` (and ``marlox.errors``) as the package ``marlox_old``."""
    archive = subprocess.run(
        ["git", "-C", str(ROOT), "archive", baseline, "src/marlox/local", "src/marlox/errors.py"],
        check=True,
        capture_output=True,
    ).stdout
    subprocess.run(["tar", "-x", "-C", str(into)], input=archive, check=True)
    package = into / "marlox_old"
    (into / "src" / "marlox").rename(package)
    (package / "__init__.py").write_text("")
    sys.path.insert(0, str(into))
    importlib.import_module("marlox_old.local.server")
    return importlib.import_module("marlox_old.local")


def echo(content, version):
    return {"body": b"done"}


def serve(kind: str, baseline: str, directory: Path, threads: int) -> None:
    """Child process: serve the ``kind`` server on a free loopback port, print the port and
    serve until stdin closes."""
    from marlox.local import jobs, server, store

    logging.getLogger("waitress").setLevel(logging.ERROR)  # its queue-depth notes
    if kind == "old":
        old = old_package(baseline, directory)
        old.register_worker("bench", echo)
        platform = old.server.make_server(jobs=old.jobs.JobRunner(max_jobs=10**6))
    else:
        sys.setswitchinterval(server.SWITCH_INTERVAL)  # as ``python -m marlox.local serve``
        jobs.register_worker("bench", echo)
        runner = jobs.JobRunner(store=store.SqliteStore(directory / "jobs.sqlite3"))
        platform = server.make_server(jobs=runner, threads=threads)
    threading.Thread(target=platform.serve_forever, args=(0.05,), daemon=True).start()
    print(platform.server_address[1], flush=True)
    sys.stdin.read()


def start(kind: str, args, directory: Path) -> tuple[subprocess.Popen, int]:
    directory.mkdir()
    child = subprocess.Popen(
        [sys.executable, __file__, "--serve", kind, "--baseline", args.baseline]
        + ["--threads", str(args.threads), "--dir", str(directory)],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    return child, int(child.stdout.readline())


def rate(host, port, seconds, request) -> float:
    connection = http.client.HTTPConnection(host, port, timeout=10)
    count, end = 0, time.perf_counter() + seconds
    while time.perf_counter() < end:
        request(connection)
        count += 1
    connection.close()
    return count / seconds


def call(connection, method, path, body=None):
    try:
        connection.request(method, path, body=body, headers={"Content-Type": "application/json"})
        response = connection.getresponse()
        data = response.read()
        if response.will_close:
            connection.close()
    except (http.client.HTTPException, OSError):
        connection.close()
        raise
    return json.loads(data)


def p99_poll(host, port, job_id, pollers, seconds) -> float:
    latencies: list[float] = []
    lock = threading.Lock()

    def poll():
        connection = http.client.HTTPConnection(host, port, timeout=10)
        mine, end = [], time.perf_counter() + seconds
        while time.perf_counter() < end:
            started = time.perf_counter()
            call(connection, "GET", f"/jobs/{job_id}")
            mine.append(time.perf_counter() - started)
        with lock:
            latencies.extend(mine)

    threads = [threading.Thread(target=poll) for _ in range(pollers)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    latencies.sort()
    return latencies[int(len(latencies) * 0.99)] * 1000


def measure(port: int, seconds: float) -> dict[str, float]:
    host = "127.0.0.1"
    submit = json.dumps({"integration": "bench", "version": 1, "content": {}})
    job_id = call(http.client.HTTPConnection(host, port), "POST", "/jobs", submit)["id"]
    time.sleep(0.2)
    return {
        "submissions/s": rate(host, port, seconds, lambda c: call(c, "POST", "/jobs", submit)),
        "polls/s": rate(host, port, seconds, lambda c: call(c, "GET", f"/jobs/{job_id}")),
        "p99 poll ms (20 pollers)": p99_poll(host, port, job_id, 20, seconds),
    }


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--baseline", default="ba1ce04", help="commit of the old server")
    parser.add_argument("--seconds", type=float, default=3.0, help="length of each measurement")
    parser.add_argument("--serve", choices=("old", "new"), help=argparse.SUPPRESS)
    parser.add_argument("--dir", help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=int, default=3, help="rounds, medians reported (3)")
    parser.add_argument("--threads", type=int, default=4, help="threads of the new server (4)")
    args = parser.parse_args()

    if args.serve:
        serve(args.serve, args.baseline, Path(args.dir), args.threads)
        return
    rounds: dict[str, list[dict[str, float]]] = {"old": [], "new": []}
    with tempfile.TemporaryDirectory() as temporary:
        for index in range(args.rounds):  # alternated, so that load changes hit both alike
            for kind in rounds:
                child, port = start(kind, args, Path(temporary) / f"{kind}{index}")
                try:
                    rounds[kind].append(measure(port, args.seconds))
                finally:
                    child.stdin.close()
                    child.wait(30)
    medians = {
        name: {key: statistics.median(r[key] for r in results) for key in results[0]}
        for name, results in rounds.items()
    }
    for name, figures in medians.items():
        print(f"{name}: " + ", ".join(f"{key} {value:.1f}" for key, value in figures.items()))
    for key in medians["old"]:
        print(f"new/old {key}: {medians['new'][key] / medians['old'][key]:.2f}")


if __name__ == "__main__":
    main()
