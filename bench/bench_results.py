"""Throughput and memory of the result parsers, measured side by side in one run.

Every measurement runs in a fresh interpreter (this script started again with ``--child``) so
that peak RSS (``ru_maxrss``) belongs to that case alone. Cases:

- floor: expat with no handlers at all fed 1 MiB reads (``Parse`` on ``read(1 MiB)``), the
  least any XML reader can cost, and read the way the native parsers read (their reads grow to
  1 MiB); beside it the same expat through ``ParseFile``, which reads 2 KiB at a time and so
  costs more;
- the handler floor: expat set up as ElementTree sets it up (namespace processing, its
  handlers set) with handlers that do nothing (``_bench_probes.expat_floor``, a module built
  only on request: see bench/README.md; without it this case is left out, and said so);
  where expat's own cost ends;
- ``RcsOutputFileParser``: ``extremes()`` on every section, against the floors and against
  the ElementTree reference reader (``tests/results_oracle.py``);
- where the time goes: the floor, then what expat's work for handlers, the tree builder,
  ``extremes()`` and (instead) ``check_table()`` each add, in processor time;
- peak RSS of the same scan on a small and a large file (streaming: it must not grow);
- two files in two threads against one file in one thread (throughput ratio);
- ``OutputFileParser``: construction and all six accessors on every section, against the
  ElementTree reader (the whole-document reference reader), with peak memory per MB of input.

Result files are generated under ``build/bench/`` on first use (``bench/generate_results.py``).

    .venv/bin/python bench/bench_results.py            # 100 MB, RSS on 20 MB vs 400 MB
    .venv/bin/python bench/bench_results.py --quick    # small files, one repetition
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import threading
import time
import xml.parsers.expat
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "bench"))
sys.path.insert(0, str(ROOT / "tests"))

from generate_results import MB, generate  # noqa: E402

MIB = 1 << 20
ACCESSORS = (
    "capacity_results",
    "shear_results",
    "crack_width_results",
    "detailing_results",
    "stress_limitation_results",
    "fatigue_results",
)


# -- child side: one case, one interpreter --


def current_rss():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def stream_class(kind):
    if kind == "native":
        from marlox.external.idea_rcs import RcsOutputFileParser

        return RcsOutputFileParser
    from results_oracle import OracleStreamParser

    return OracleStreamParser


def whole_class(kind):
    if kind == "native":
        from marlox.external.idea_rcs import OutputFileParser

        return OutputFileParser
    from results_oracle import OracleWholeParser

    return OracleWholeParser


def scan_extremes(parser_class, path, read=True):
    extremes = 0
    with open(path, "rb") as f:
        for section in parser_class(f).section_results():
            if read:
                extremes += len(section.extremes())
    return extremes


def expat_reads(f):
    """The floor: expat with no handlers, fed 1 MiB reads."""
    parser = xml.parsers.expat.ParserCreate()
    while chunk := f.read(MIB):
        parser.Parse(chunk, False)
    parser.Parse(b"", True)


def child(case, kind, paths):
    import io

    before = current_rss()
    seconds = cpu = 0.0
    if case == "floor":
        start, cpu_start = time.perf_counter(), time.process_time()
        for path in paths:
            with open(path, "rb") as f:
                expat_reads(f)
        seconds, cpu = time.perf_counter() - start, time.process_time() - cpu_start
    elif case == "parsefile-floor":
        start, cpu_start = time.perf_counter(), time.process_time()
        for path in paths:
            with open(path, "rb") as f:
                xml.parsers.expat.ParserCreate().ParseFile(f)
        seconds, cpu = time.perf_counter() - start, time.process_time() - cpu_start
    elif case == "handler-floor":
        from marlox.external.idea_rcs import _bench_probes

        start, cpu_start = time.perf_counter(), time.process_time()
        for path in paths:
            with open(path, "rb") as f:
                _bench_probes.expat_floor(f)
        seconds, cpu = time.perf_counter() - start, time.process_time() - cpu_start
    elif case in ("extremes", "scan"):
        read = case == "extremes"
        parser_class = stream_class(kind)
        before = current_rss()
        start, cpu_start = time.perf_counter(), time.process_time()
        if len(paths) == 1:
            scan_extremes(parser_class, paths[0], read)
        else:
            failures = []

            def run(path):
                try:
                    scan_extremes(parser_class, path, read)
                except BaseException as exc:  # reported by the parent
                    failures.append(exc)

            threads = [threading.Thread(target=run, args=(p,)) for p in paths]
            for t in threads:
                t.start()
            for t in threads:
                t.join()
            if failures:
                raise failures[0]
        seconds, cpu = time.perf_counter() - start, time.process_time() - cpu_start
    elif case == "table":
        from marlox.external.idea_rcs import check_table

        start, cpu_start = time.perf_counter(), time.process_time()
        for path in paths:
            check_table(path)
        seconds, cpu = time.perf_counter() - start, time.process_time() - cpu_start
    elif case == "whole":
        parser_class = whole_class(kind)
        data = Path(paths[0]).read_bytes()
        content = io.BytesIO(data)
        before = current_rss()
        start, cpu_start = time.perf_counter(), time.process_time()
        parser = parser_class(content)
        for section_id in parser.section_ids:
            for name in ACCESSORS:
                getattr(parser, name)(section_id)
        seconds, cpu = time.perf_counter() - start, time.process_time() - cpu_start
    else:
        raise SystemExit(f"unknown case {case}")
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    size = sum(os.path.getsize(p) for p in paths)
    print(
        json.dumps({"seconds": seconds, "cpu": cpu, "bytes": size, "peak": peak, "before": before})
    )


# -- parent side --


def run_child(case, kind, paths):
    cmd = [sys.executable, __file__, "--child", case, kind, *map(str, paths)]
    proc = subprocess.run(cmd, capture_output=True, text=True)
    if proc.returncode != 0:
        tail = proc.stderr.strip().splitlines()[-1:] or ["(no output)"]
        return {"error": tail[0]}
    return json.loads(proc.stdout.strip().splitlines()[-1])


def measure(cases, repeat):
    """Each case (label: (case, kind, paths)) run ``repeat`` times, interleaved round by round
    so that the cases share the machine's ups and downs; the fastest run of each is kept, and
    beside it the least CPU time of any run (what a busy machine hides in wall time)."""
    best, cpu = {}, {}
    for _ in range(repeat):
        for label, arguments in cases.items():
            if "error" in best.get(label, {}):
                continue
            run = run_child(*arguments)
            if "error" in run or label not in best or run["seconds"] < best[label]["seconds"]:
                best[label] = run
            if "error" not in run:
                cpu[label] = min(cpu.get(label, run["cpu"]), run["cpu"])
    for label, run in best.items():
        if "error" not in run:
            run["cpu"] = cpu[label]
            run["mbps"] = run["bytes"] / MB / run["seconds"]
            run["cpu_mbps"] = run["bytes"] / MB / run["cpu"]
    return best


def ensure(path, mb, seed):
    if not path.exists():
        print(f"generating {path} ({mb:g} MB) ...", flush=True)
        generate(path, mb, seed=seed)
    return path


def native_available():
    probe = "import marlox.external.idea_rcs as m; print(hasattr(m, 'RcsOutputFileParser'))"
    out = subprocess.run([sys.executable, "-c", probe], capture_output=True, text=True)
    return out.stdout.strip() == "True"


def show(label, r):
    if "error" in r:
        print(f"  {label:<48} failed: {r['error']}")
    else:
        print(
            f"  {label:<48} {r['mbps']:8.1f} MB/s  {r['seconds']:7.2f} s"
            f"  cpu {r['cpu']:6.2f} s  peak RSS {r['peak'] / MIB:7.1f} MiB"
        )


def ratio(label, a, b, target=None, higher=True):
    if "error" in a or "error" in b:
        print(f"  {label:<58} n/a")
        return
    value = a["mbps"] / b["mbps"]
    verdict = ""
    if target is not None:
        ok = value >= target if higher else value <= target
        verdict = f"  (target >= {target:g}: {'met' if ok else 'NOT met'})"
    by_cpu = a["cpu_mbps"] / b["cpu_mbps"]
    print(f"  {label:<58} {value:6.3f}x{verdict}  (by CPU time {by_cpu:.3f}x)")


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--quick", action="store_true", help="small files, one repetition")
    parser.add_argument("--mb", type=float, help="size of the main file in MB (default 100)")
    parser.add_argument("--small-mb", type=float, help="small file of the RSS case (20)")
    parser.add_argument("--large-mb", type=float, help="large file of the RSS case (400)")
    parser.add_argument("--repeat", type=int, help="runs per case, best kept (default 3)")
    parser.add_argument(
        "--only",
        help="comma-separated comparisons to run: extremes, breakdown, rss, threads, whole "
        "(default all)",
    )
    parser.add_argument("--child", nargs="+", help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        case, kind, *paths = args.child
        return child(case, kind, paths)

    mb = args.mb or (10 if args.quick else 100)
    small_mb = args.small_mb or (5 if args.quick else 20)
    large_mb = args.large_mb or (50 if args.quick else 400)
    repeat = args.repeat or (1 if args.quick else 3)
    out = ROOT / "build" / "bench"
    groups = set((args.only or "extremes,breakdown,rss,threads,whole").split(","))
    main_a = ensure(out / f"results-{mb:g}mb.xml", mb, 0)
    main_b = small = large = None  # made only for the comparisons that read them
    if "threads" in groups:
        main_b = ensure(out / f"results-{mb:g}mb-b.xml", mb, 1)
    if "rss" in groups:
        small = ensure(out / f"results-{small_mb:g}mb.xml", small_mb, 0)
        large = ensure(out / f"results-{large_mb:g}mb.xml", large_mb, 0)
    native = native_available()
    print(f"python {sys.version.split()[0]}, {os.cpu_count()} cores, best of {repeat}")
    print("load average at start: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    if not native:
        print("native parsers not available: native cases skipped")
    run_groups(groups, native, repeat, mb, small_mb, large_mb, main_a, main_b, small, large)
    print("\nload average at end: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))


def run_groups(groups, native, repeat, mb, small_mb, large_mb, main_a, main_b, small, large):
    if "extremes" in groups:
        extremes_group(native, repeat, mb, main_a)
    if native and "breakdown" in groups:
        breakdown_group(repeat, mb, main_a)
    if native and "rss" in groups:
        rss_group(small_mb, large_mb, small, large)
    if native and "threads" in groups:
        threads_group(repeat, main_a, main_b)
    if "whole" in groups:
        whole_group(native, repeat, mb, main_a)


FLOOR = "expat, no handlers, 1 MiB reads (floor)"
PARSEFILE_FLOOR = "expat, no handlers, ParseFile (2 KiB reads)"
HANDLER_FLOOR = "expat as ElementTree sets it up, empty handlers"


def floor_cases(native, path):
    """The floors, each on ``path``: the fair one first, the others as extra columns."""
    cases = {
        FLOOR: ("floor", "-", [path]),
        PARSEFILE_FLOOR: ("parsefile-floor", "-", [path]),
    }
    if native and bench_probes_built():
        cases[HANDLER_FLOOR] = ("handler-floor", "-", [path])
    elif native:
        print(
            "  handler floor: skipped, _bench_probes is not built (build it with "
            "-Ccmake.define.MARLOX_BENCH_PROBES=ON, see bench/README.md)"
        )
    return cases


def floor_ratios(label, run, runs, target):
    """``run`` against the floor (with its target), then against the other floors."""
    ratio(f"{label} / floor", run, runs[FLOOR], target)
    ratio(f"{label} / ParseFile floor", run, runs[PARSEFILE_FLOOR])
    if HANDLER_FLOOR in runs:
        ratio(f"{label} / handler floor", run, runs[HANDLER_FLOOR])


def extremes_group(native, repeat, mb, main_a):
    print(f"\nRcsOutputFileParser, extremes() on every section ({mb:g} MB UTF-16):")
    cases = floor_cases(native, main_a)
    cases["ElementTree reference"] = ("extremes", "oracle", [main_a])
    if native:
        cases["native"] = ("extremes", "native", [main_a])
    runs = measure(cases, repeat)
    for label, run in runs.items():
        show(label, run)
    if native:
        floor_ratios("native", runs["native"], runs, 0.8)
        ratio("native / ElementTree reference", runs["native"], runs["ElementTree reference"])
    ratio("ParseFile floor / floor", runs[PARSEFILE_FLOOR], runs[FLOOR])
    if HANDLER_FLOOR in runs:
        ratio("handler floor / floor", runs[HANDLER_FLOOR], runs[FLOOR])


def breakdown_group(repeat, mb, main_a):
    """Where the single-core time goes: each step's processor time over the one before."""
    print(f"\nWhere the time goes, processor time ({mb:g} MB UTF-16):")
    steps = {FLOOR: ("floor", "-", [main_a])}
    if bench_probes_built():
        steps["+ expat's work for handlers (handler floor)"] = ("handler-floor", "-", [main_a])
    steps["+ tree builder and section loop (sections only)"] = ("scan", "native", [main_a])
    steps["+ extremes() on every section"] = ("extremes", "native", [main_a])
    steps["check_table() instead of extremes()"] = ("table", "native", [main_a])
    runs = measure(steps, repeat)
    if any("error" in run for run in runs.values()):
        for label, run in runs.items():
            show(label, run)
        return
    floor = runs[FLOOR]["cpu"]
    before = floor
    for label, run in runs.items():
        cpu = run["cpu"]
        base = runs["+ tree builder and section loop (sections only)"]["cpu"]
        step = cpu - (base if label.startswith("check_table") else before)
        if not label.startswith("check_table"):
            before = cpu
        print(
            f"  {label:<52} {cpu * 1000:7.1f} ms  {step * 1000:+7.1f} ms  "
            f"floor / this {floor / cpu:.3f}x"
        )


def bench_probes_built():
    """Whether the benchmark-only module ``_bench_probes`` is built beside the product."""
    import importlib.util

    return importlib.util.find_spec("marlox.external.idea_rcs._bench_probes") is not None


def rss_group(small_mb, large_mb, small, large):
    print("\nPeak RSS of the same scan, small file against large file:")
    runs = measure(
        {
            f"native, {small_mb:g} MB": ("extremes", "native", [small]),
            f"native, {large_mb:g} MB": ("extremes", "native", [large]),
        },
        1,
    )
    for label, run in runs.items():
        show(label, run)
    rss_small, rss_large = runs.values()
    if "error" not in rss_small and "error" not in rss_large:
        growth = (rss_large["peak"] - rss_small["peak"]) / MIB
        verdict = "met" if growth <= 5 else "NOT met"
        print(f"  {'growth of peak RSS':<58} {growth:6.2f} MiB  (target <= 5: {verdict})")


def threads_group(repeat, main_a, main_b):
    print("\nTwo files in two threads against one file in one thread:")
    runs = measure(
        {
            "one thread, one file": ("extremes", "native", [main_a]),
            "two threads, two files": ("extremes", "native", [main_a, main_b]),
            "one thread, sections only": ("scan", "native", [main_a]),
            "two threads, sections only": ("scan", "native", [main_a, main_b]),
        },
        repeat,
    )
    for label, run in runs.items():
        show(label, run)
    ratio(
        "throughput, two threads / one",
        runs["two threads, two files"],
        runs["one thread, one file"],
        1.8,
    )
    ratio(
        "the same without reading the sections",
        runs["two threads, sections only"],
        runs["one thread, sections only"],
    )


def whole_group(native, repeat, mb, main_a):
    print(f"\nOutputFileParser, construction + six accessors on every section ({mb:g} MB):")
    cases = {"ElementTree reader": ("whole", "oracle", [main_a])}
    if native:
        cases["native"] = ("whole", "native", [main_a])
    runs = measure(cases, repeat)
    for label, run in runs.items():
        show(label, run)
    if native:
        ratio("native / ElementTree reader", runs["native"], runs["ElementTree reader"], 4)
    for label, run in runs.items():
        if "error" not in run:
            per_mb = (run["peak"] - run["before"]) / MIB / (run["bytes"] / MB)
            verdict = ""
            if label == "native":
                verdict = f"  (target <= 1: {'met' if per_mb <= 1 else 'NOT met'})"
            print(f"  {'peak memory per MB of input, ' + label:<58} {per_mb:6.2f} MiB{verdict}")


if __name__ == "__main__":
    main()
