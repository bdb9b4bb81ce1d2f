"""Time and memory of the calculation report (HTML) of a large result file with its model, and
of a file with ten times the sections: from the one to the other the peak memory beyond the
interpreter and the model may grow no more than the report's own output grows (the page is
written while the file is read, and never held).

Each case runs in a fresh interpreter (this script started again with ``--child``): it builds
the model (one reinforced section, a member per 20 check sections, 5 extremes each, as
``bench/generate_results.py`` writes them), then measures ``write_report()`` alone: seconds,
peak RSS above the RSS before it, the check table's bytes and the size of the page written.

    .venv/bin/python bench/bench_report.py             # 100 MB and 1000 MB result files
    .venv/bin/python bench/bench_report.py --mb 10     # 10 MB and 100 MB
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

from bench_results import MIB, current_rss, ensure  # noqa: E402

SECTIONS_PER_MEMBER = 20
EXTREMES = 5


def model_for(sections):
    from marlox.external.idea_rcs import OpenModel

    model = OpenModel.from_xml(ROOT / "tests" / "data" / "rcs-input-synthetic.xml")
    first = model._check_section_list[0]
    for _ in range(EXTREMES - len(first.extremes)):
        first.create_extreme()
    rcs, member = model._reinforced_cross_section_list[0], model._check_member_list[0]
    for i in range(2, sections + 1):
        if (i - 1) % SECTIONS_PER_MEMBER == 0:
            member = model.create_check_member1d()
        section = model.add_check_section(member, rcs)
        for _ in range(EXTREMES):
            section.create_extreme()
    return model


def child(path, out):
    from marlox.external.idea_rcs import check_table
    from marlox.external.idea_rcs.report import write_report

    sections = max(check_table(path, families="Detailing").column("section"))
    model = model_for(sections)
    before = current_rss()
    start = time.perf_counter()
    write_report(path, model, out)
    seconds = time.perf_counter() - start
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    table = check_table(path, model=model, units="engineering")
    result = {
        "sections": sections,
        "rows": len(table),
        "table_bytes": table.nbytes,
        "seconds": seconds,
        "bytes": os.path.getsize(path),
        "output": os.path.getsize(out),
        "before": before,
        "peak": peak,
    }
    print(json.dumps(result))


def run(path, out):
    proc = subprocess.run(
        [sys.executable, __file__, "--child", str(path), str(out)], capture_output=True, text=True
    )
    if proc.returncode != 0:
        raise SystemExit(proc.stderr.strip().splitlines()[-1])
    return json.loads(proc.stdout.strip().splitlines()[-1])


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--mb", type=float, default=100, help="the smaller result file, MB")
    parser.add_argument("--scale", type=float, default=10, help="the larger one, times --mb")
    parser.add_argument("--child", nargs=2, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        return child(*args.child)
    out = ROOT / "build" / "bench"
    print(f"python {sys.version.split()[0]}, {os.cpu_count()} cores")
    print("load average at start: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    rows = []
    for mb in (args.mb, args.mb * args.scale):
        path = ensure(out / f"results-{mb:g}mb.xml", mb, 0)
        r = run(path, out / f"report-{mb:g}mb.html")
        rows.append(r)
        grown = r["peak"] - r["before"]
        print(
            f"{r['bytes'] / 1e6:7.0f} MB, {r['sections']:6d} sections, {r['rows']:7d} rows: "
            f"{r['seconds']:6.1f} s ({r['bytes'] / 1e6 / r['seconds']:5.1f} MB/s), memory "
            f"+{grown / MIB:6.1f} MiB (table {r['table_bytes'] / MIB:6.1f} MiB), page "
            f"{r['output'] / MIB:6.1f} MiB"
        )
    small, large = rows
    growth = (large["peak"] - large["before"]) - (small["peak"] - small["before"])
    table = (large["table_bytes"] - small["table_bytes"]) / MIB
    page = (large["output"] - small["output"]) / MIB
    print(
        f"\n{large['sections'] / small['sections']:.1f}x the sections: memory grew "
        f"{growth / MIB:.1f} MiB, the page {page:.1f} MiB (the check table, which the report "
        f"no longer holds, {table:.1f} MiB): target (memory grows no more than the page) "
        + ("met" if growth <= large["output"] - small["output"] else "NOT met")
    )


if __name__ == "__main__":
    main()
