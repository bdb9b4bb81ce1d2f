"""What the served platform's guard costs: waitress on a plain listening socket and on the
guard's :class:`~marlox.local.guard.Listener`, side by side in one process, with the same
application and runner (jobs in memory). Two figures each: status polls per second (one client,
keep-alive) and the 99th percentile of a poll's latency with 20 clients polling at once. Rounds
alternate the two servers; the medians and the ratios guard/plain are printed.

    python bench/bench_server_guard.py [--seconds 2] [--rounds 7]
"""

from __future__ import annotations

import argparse
import http.client
import json
import socket
import statistics
import sys
import threading
import time
from typing import Any

POLLERS = 20


def serve(app: Any, guarded: bool) -> int:
    import waitress

    from marlox.local.app import DEFAULT_MAX_BODY, json_reply
    from marlox.local.guard import DEFAULT_REQUEST_TIMEOUT, Guard, Listener

    if guarded:
        guard = Guard(DEFAULT_MAX_BODY, DEFAULT_REQUEST_TIMEOUT, json_reply)
        sock: socket.socket = Listener.bind_to("127.0.0.1", 0, guard)
    else:
        sock = socket.socket()
        sock.bind(("127.0.0.1", 0))
    server = waitress.create_server(
        app, sockets=[sock], threads=4, max_request_body_size=DEFAULT_MAX_BODY + 1
    )
    threading.Thread(target=server.run, daemon=True).start()
    port: int = sock.getsockname()[1]
    return port


def poll(connection: http.client.HTTPConnection, path: str) -> None:
    connection.request("GET", path)
    json.loads(connection.getresponse().read())


def polls_per_second(port: int, path: str, seconds: float) -> float:
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    count, end = 0, time.perf_counter() + seconds
    while time.perf_counter() < end:
        poll(connection, path)
        count += 1
    connection.close()
    return count / seconds


def p99_ms(port: int, path: str, seconds: float) -> float:
    latencies: list[float] = []
    lock = threading.Lock()

    def client() -> None:
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
        mine, end = [], time.perf_counter() + seconds
        while time.perf_counter() < end:
            started = time.perf_counter()
            poll(connection, path)
            mine.append(time.perf_counter() - started)
        connection.close()
        with lock:
            latencies.extend(mine)

    threads = [threading.Thread(target=client) for _ in range(POLLERS)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    latencies.sort()
    return latencies[int(len(latencies) * 0.99)] * 1000


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=2.0, help="length of each measurement")
    parser.add_argument("--rounds", type=int, default=7, help="rounds, medians reported (7)")
    args = parser.parse_args()

    from marlox.local import jobs
    from marlox.local.app import PlatformApp
    from marlox.local.server import SWITCH_INTERVAL

    sys.setswitchinterval(SWITCH_INTERVAL)  # as ``python -m marlox.local serve``
    jobs.register_worker("bench", lambda content, version: {"body": b"done"})
    runner = jobs.JobRunner(max_jobs=10**6)
    app = PlatformApp(runner)
    ports = {"plain": serve(app, False), "guard": serve(app, True)}
    job_id = runner.submit("bench", 1, {})
    runner.wait(job_id, 10)
    path = f"/jobs/{job_id}"
    rounds: dict[str, list[tuple[float, float]]] = {name: [] for name in ports}
    for _ in range(args.rounds):
        for name, port in ports.items():
            figures = polls_per_second(port, path, args.seconds), p99_ms(port, path, args.seconds)
            rounds[name].append(figures)
    medians = {
        name: tuple(statistics.median(figures[i] for figures in results) for i in (0, 1))
        for name, results in rounds.items()
    }
    for name, (rate, p99) in medians.items():
        print(f"{name}: polls/s {rate:.0f}, p99 poll ms ({POLLERS} pollers) {p99:.1f}")
    plain, guard = medians["plain"], medians["guard"]
    print(f"guard/plain polls/s: {guard[0] / plain[0]:.2f}, p99: {guard[1] / plain[1]:.2f}")


if __name__ == "__main__":
    main()
