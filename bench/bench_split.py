"""One large result file on several threads against one, paired in one run.

Each case runs in a fresh interpreter (this script started again with ``--child``), the
fastest of a few runs in it; the cases are interleaved round by round and the fastest round of
each kept, its processor time the least of all rounds:

- table: ``check_table(path, threads=N)``, the whole file into the check table;
- whole: ``OutputFileParser(BytesIO(data), threads=N)`` and its six accessors on every section
  (the bytes read outside the timer), with the construction and the accessors timed apart
  (the accessors run on the calling thread, one section after another); also the
  construction alone ("whole, parse");
- stream: ``RcsOutputFileParser(f).section_results(threads=N)`` with ``extremes()`` on every
  section, the file opened outside the timer; its peak RSS on threads is also shown for a file
  of a fifth of the size, to show it flat in the file's size;
- machine: SHA-256 of a buffer on N threads (it runs without the interpreter lock), the
  machine's own ratio at that moment: other processes on a 2-processor machine take what they
  take from both cores.

From the two-thread ratio S the serial fraction is measured as Karp and Flatt define it,
e = (1/S - 1/2) / (1 - 1/2), and Amdahl's law projects the speedup on 8 cores from it,
1 / (e + (1 - e) / 8). The file comes from ``bench/generate_results.py`` (generated under
``build/bench/`` on first use).

    .venv/bin/python bench/bench_split.py              # 100 MB, 5 rounds
    .venv/bin/python bench/bench_split.py --quick      # 10 MB, 2 rounds
"""

import argparse
import hashlib
import io
import json
import os
import resource
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "bench"))

from bench_results import ACCESSORS, ensure  # noqa: E402
from generate_results import MB  # noqa: E402

TARGETS = {"table": 1.7, "whole": 1.7, "stream": 1.5}


def run_case(case, path, threads):
    if case == "table":
        from marlox.external.idea_rcs import check_table

        def table():
            check_table(path, threads=threads)

        return table
    if case.startswith("whole"):
        from marlox.external.idea_rcs import OutputFileParser

        data = Path(path).read_bytes()

        def whole():
            start = time.perf_counter()
            parser = OutputFileParser(io.BytesIO(data), threads=threads)
            made = time.perf_counter()
            if case == "whole":
                for section_id in parser.section_ids:
                    for name in ACCESSORS:
                        getattr(parser, name)(section_id)
            return {"construction": made - start, "accessors": time.perf_counter() - made}

        return whole
    if case == "stream":
        from marlox.external.idea_rcs import RcsOutputFileParser

        def stream():
            with open(path, "rb") as f:
                for section in RcsOutputFileParser(f).section_results(threads=threads):
                    section.extremes()

        return stream
    buffer = b"x" * 50_000_000

    def hashes():
        workers = [
            threading.Thread(target=lambda: [hashlib.sha256(buffer) for _ in range(4 // threads)])
            for _ in range(threads)
        ]
        for w in workers:
            w.start()
        for w in workers:
            w.join()

    return hashes


def child(case, path, threads, inner):
    action = run_case(case, path, int(threads))
    seconds = cpu = float("inf")
    parts = {}
    for _ in range(int(inner)):
        start, start_cpu = time.perf_counter(), time.process_time()
        timed = action() or {}
        seconds = min(seconds, time.perf_counter() - start)
        cpu = min(cpu, time.process_time() - start_cpu)
        for part, value in timed.items():
            parts[part] = min(parts.get(part, value), value)
    rss = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    print(json.dumps({"seconds": seconds, "cpu": cpu, "parts": parts, "rss": rss}))


def run_child(case, path, threads, inner):
    proc = subprocess.run(
        [sys.executable, __file__, "--child", case, str(path), str(threads), str(inner)],
        capture_output=True,
        text=True,
    )
    if proc.returncode != 0:
        raise SystemExit(f"{case} on {threads} threads: {proc.stderr.strip()}")
    return json.loads(proc.stdout.strip().splitlines()[-1])


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--quick", action="store_true", help="10 MB, 2 rounds")
    parser.add_argument("--mb", type=float, help="size of the file in MB (default 100)")
    parser.add_argument("--repeat", type=int, help="rounds (default 5)")
    parser.add_argument("--inner", type=int, default=2, help="runs per interpreter (2)")
    parser.add_argument(
        "--cases", default="table,whole,whole, parse,stream,machine", help="comma-separated cases"
    )
    parser.add_argument("--child", nargs=4, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        return child(*args.child)
    mb = args.mb or (10 if args.quick else 100)
    repeat = args.repeat or (2 if args.quick else 5)
    path = ensure(ROOT / "build" / "bench" / f"results-{mb:g}mb.xml", mb, 0)
    cases = [c for c in ("table", "whole", "whole, parse", "stream", "machine") if c in args.cases]
    print(
        f"python {sys.version.split()[0]}, {os.cpu_count()} cores, {mb:g} MB UTF-16, best of "
        f"{repeat} interpreters x {args.inner} runs"
    )
    print("load average at start: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    best = {}
    for _ in range(repeat):
        for case in cases:
            for threads in (1, 2):
                run = run_child(case, path, threads, args.inner)
                old = best.get((case, threads))
                if old is not None:
                    run["cpu"] = min(run["cpu"], old["cpu"])
                    run["seconds"] = min(run["seconds"], old["seconds"])
                    for part, value in old["parts"].items():
                        run["parts"][part] = min(run["parts"][part], value)
                best[case, threads] = run
    print("load average at end:   {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    size = path.stat().st_size
    print(f"\n{'case':<14}{'1 thread':>10}{'2 threads':>11}{'ratio':>7}{'cpu 1':>8}{'cpu 2':>8}")
    for case in cases:
        one, two = best[case, 1], best[case, 2]
        speedup = one["seconds"] / two["seconds"]
        line = (
            f"{case:<14}{one['seconds']:>9.3f}s{two['seconds']:>10.3f}s{speedup:>6.2f}x"
            f"{one['cpu']:>7.3f}s{two['cpu']:>7.3f}s"
        )
        if case != "machine":
            serial = min(1.0, max(0.0, 2 / speedup - 1))
            eight = 1 / (serial + (1 - serial) / 8)
            line += (
                f"  {size / MB / one['seconds']:.0f} -> {size / MB / two['seconds']:.0f} MB/s; "
                f"serial fraction {serial:.3f}, 8 cores {eight:.1f}x "
            )
            if case in TARGETS:
                met = "met" if speedup >= TARGETS[case] else "NOT met"
                line += f" (target >= {TARGETS[case]}x: {met})"
        print(line)
        if case == "whole":
            # The accessors run on the calling thread: their share of the two-thread time is
            # serial, and bounds the ratio however fast the construction gets.
            made = [best[case, t]["parts"]["construction"] for t in (1, 2)]
            read = [best[case, t]["parts"]["accessors"] for t in (1, 2)]
            print(
                f"{'':<14}construction {made[0]:.3f} -> {made[1]:.3f} s "
                f"({made[0] / made[1]:.2f}x), accessors {read[0]:.3f} -> {read[1]:.3f} s "
                f"({read[1] / two['seconds']:.0%} of the 2-thread time)"
            )
    if "stream" in cases:
        # Peak RSS of the stream on threads, of a file a fifth the size against this one: the
        # window of pieces in flight bounds it, not the file.
        small = ensure(ROOT / "build" / "bench" / f"results-{mb / 5:g}mb.xml", mb / 5, 0)
        peaks = [run_child("stream", p, 2, 1)["rss"] / 2**20 for p in (small, path)]
        print(
            f"\nstream on 2 threads, peak RSS: {peaks[0]:.1f} MiB ({mb / 5:g} MB file), "
            f"{peaks[1]:.1f} MiB ({mb:g} MB file), {peaks[1] - peaks[0]:+.1f} MiB"
        )


if __name__ == "__main__":
    main()
