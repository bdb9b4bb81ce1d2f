"""Throughput and memory of the check table, against the expat floor, paired in one run.

Every measurement runs in a fresh interpreter (this script started again with ``--child``), the
fastest of a few runs in it; the cases interleaved round by round and the fastest round of each
kept:

- floors: expat with no handlers at all fed 1 MiB reads (the floor: the table's reads grow to
  1 MiB), and beside it the same expat through ``ParseFile`` (2 KiB reads) and, when
  ``_bench_probes`` is built, expat as ElementTree sets it up with empty handlers;
- table: ``check_table(path)``, the whole file into the table;
- summary: ``check_table(path).governing(per_family=True)``, what ``marlox-rcs summary`` does;
- peak RSS of the table on a small and a large file, less the table's own bytes: it must not
  grow with the file.

Result files come from ``bench/generate_results.py`` (generated under ``build/bench/`` on
first use).

    .venv/bin/python bench/bench_check_table.py            # 100 MB; RSS on 20 MB vs 100 MB
    .venv/bin/python bench/bench_check_table.py --quick    # 10 MB; RSS on 5 MB vs 10 MB
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "bench"))

from bench_results import (  # noqa: E402
    FLOOR,
    HANDLER_FLOOR,
    MIB,
    PARSEFILE_FLOOR,
    current_rss,
    ensure,
    expat_reads,
    floor_cases,
    floor_ratios,
    ratio,
    show,
)
from generate_results import MB  # noqa: E402


def child(case, path, inner):
    import xml.parsers.expat

    from marlox.external.idea_rcs import check_table

    if case == "handler-floor":
        from marlox.external.idea_rcs import _bench_probes
    before = current_rss()
    rows = table_bytes = 0
    seconds = cpu = float("inf")
    for _ in range(int(inner)):  # the fastest of `inner` runs in this interpreter
        start, start_cpu = time.perf_counter(), time.process_time()
        if case == "floor":
            with open(path, "rb") as f:
                expat_reads(f)
        elif case == "parsefile-floor":
            with open(path, "rb") as f:
                xml.parsers.expat.ParserCreate().ParseFile(f)
        elif case == "handler-floor":
            with open(path, "rb") as f:
                _bench_probes.expat_floor(f)
        else:
            table = check_table(path)
            if case == "summary":
                table.governing(per_family=True)
            rows, table_bytes = len(table), table.nbytes
            del table
        seconds = min(seconds, time.perf_counter() - start)
        cpu = min(cpu, time.process_time() - start_cpu)
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    print(
        json.dumps(
            {
                "seconds": seconds,
                "cpu": cpu,
                "bytes": os.path.getsize(path),
                "peak": peak,
                "before": before,
                "rows": rows,
                "table_bytes": table_bytes,
            }
        )
    )


def run_child(case, path, inner):
    proc = subprocess.run(
        [sys.executable, __file__, "--child", case, str(path), str(inner)],
        capture_output=True,
        text=True,
    )
    if proc.returncode != 0:
        return {"error": (proc.stderr.strip().splitlines() or ["(no output)"])[-1]}
    run = json.loads(proc.stdout.strip().splitlines()[-1])
    run["mbps"] = run["bytes"] / MB / run["seconds"]
    run["cpu_mbps"] = run["bytes"] / MB / run["cpu"]
    return run


def measure(cases, repeat, inner):
    """The fastest round of each case; its processor time is the least of all rounds."""
    best = {}
    for _ in range(repeat):
        for label, (case, path) in cases.items():
            run = run_child(case, path, inner)
            old = best.get(label)
            if "error" in run or old is None or "error" in old:
                best[label] = run
                continue
            if run["seconds"] < old["seconds"]:
                run["cpu_mbps"] = max(run["cpu_mbps"], old["cpu_mbps"])
                best[label] = run
            else:
                old["cpu_mbps"] = max(run["cpu_mbps"], old["cpu_mbps"])
    return best


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--quick", action="store_true", help="small files, one repetition")
    parser.add_argument("--mb", type=float, help="size of the main file in MB (default 100)")
    parser.add_argument("--small-mb", type=float, help="small file of the RSS case (20)")
    parser.add_argument("--repeat", type=int, help="runs per case, best kept (default 3)")
    parser.add_argument("--inner", type=int, help="runs per interpreter, best kept (default 3)")
    parser.add_argument("--child", nargs=3, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        return child(*args.child)
    mb = args.mb or (10 if args.quick else 100)
    small_mb = args.small_mb or (5 if args.quick else 20)
    repeat = args.repeat or (1 if args.quick else 3)
    inner = args.inner or (1 if args.quick else 3)
    out = ROOT / "build" / "bench"
    main_file = ensure(out / f"results-{mb:g}mb.xml", mb, 0)
    small = ensure(out / f"results-{small_mb:g}mb.xml", small_mb, 0)

    print(
        f"python {sys.version.split()[0]}, {os.cpu_count()} cores, best of {repeat} "
        f"interpreters x {inner} runs"
    )
    print("load average at start: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    print(f"\ncheck table of {mb:g} MB UTF-16:")
    cases = {
        label: (case, path) for label, (case, _, (path,)) in floor_cases(True, main_file).items()
    }
    cases["check_table()"] = ("table", main_file)
    cases["check_table().governing()"] = ("summary", main_file)
    runs = measure(cases, repeat, inner)
    for label, run in runs.items():
        show(label, run)
    # Wall time first, then processor time: what the other processes of a shared machine do
    # not change.
    floor_ratios("table", runs["check_table()"], runs, 0.85)
    floor_ratios("summary", runs["check_table().governing()"], runs, None)
    ratio("ParseFile floor / floor", runs[PARSEFILE_FLOOR], runs[FLOOR])
    if HANDLER_FLOOR in runs:
        ratio("handler floor / floor", runs[HANDLER_FLOOR], runs[FLOOR])

    print(f"\npeak RSS of the table, {small_mb:g} MB against {mb:g} MB, less the table:")
    sizes = measure(
        {f"{small_mb:g} MB": ("table", small), f"{mb:g} MB": ("table", main_file)}, 1, 1
    )
    rest = {}
    for label, run in sizes.items():
        if "error" in run:
            show(label, run)
            continue
        rest[label] = run["peak"] - run["table_bytes"]
        print(
            f"  {label:<12} {run['rows']:>8} rows  table {run['table_bytes'] / MIB:6.2f} MiB "
            f"({run['table_bytes'] / max(run['rows'], 1):.0f} B/row)  peak RSS "
            f"{run['peak'] / MIB:6.1f} MiB, without the table {rest[label] / MIB:6.1f} MiB"
        )
    if len(rest) == 2:
        small_rest, large_rest = rest.values()
        growth = (large_rest - small_rest) / MIB
        verdict = "met" if growth <= 5 else "NOT met"
        print(f"  {'growth apart from the table':<58} {growth:6.2f} MiB  (target <= 5: {verdict})")
    print("\nload average at end: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))


if __name__ == "__main__":
    main()
