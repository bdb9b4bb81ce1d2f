"""Hostile nesting: time and peak memory of the result parsers against ElementTree, same bytes.

Documents (UTF-8, built in memory):

- ``deep``: one check section holding elements nested N deep (``<a>`` ... ``</a>``);
- ``sections``: N check sections, each nested in the one before it.

Cases, each in a fresh interpreter (peak RSS is that interpreter's ``ru_maxrss`` less its RSS
before the parse; the document itself is already in memory then):

- streaming: ``extremes()`` on every section, native ``RcsOutputFileParser`` against the
  ElementTree reference reader (``tests/results_oracle.py``);
- whole document: ``OutputFileParser`` construction and ``section_ids``, native against the
  reference.

Cost must stay linear in the input: native within 2x of ElementTree in time and memory, and
the time per level flat from the small to the large document.

    .venv/bin/python bench/bench_nesting.py                  # deep 2M and 3M, sections 100k
    .venv/bin/python bench/bench_nesting.py --deep 200000 --sections 20000
"""

import argparse
import io
import json
import os
import resource
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests"))

MIB = 1 << 20


def deep_document(depth):
    return (
        b"<ArrayOfSectionConcreteCheckResult><SectionConcreteCheckResult>"
        b"<SectionId>1</SectionId>"
        + b"<a>" * depth
        + b"</a>" * depth
        + b"</SectionConcreteCheckResult>"
        b"</ArrayOfSectionConcreteCheckResult>"
    )


def nested_sections(count):
    opening = b"".join(
        b"<SectionConcreteCheckResult><SectionId>%d</SectionId>" % i for i in range(count)
    )
    return (
        b"<ArrayOfSectionConcreteCheckResult>"
        + opening
        + b"</SectionConcreteCheckResult>" * count
        + b"</ArrayOfSectionConcreteCheckResult>"
    )


DOCUMENTS = {"deep": deep_document, "sections": nested_sections}


def current_rss():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def child(mode, kind, document, size):
    if kind == "native":
        from marlox.external.idea_rcs import OutputFileParser as Whole
        from marlox.external.idea_rcs import RcsOutputFileParser as Stream
    else:
        from results_oracle import OracleStreamParser as Stream
        from results_oracle import OracleWholeParser as Whole
    data = DOCUMENTS[document](size)
    before = current_rss()
    start = time.perf_counter()
    if mode == "stream":
        count = sum(len(s.extremes()) + 1 for s in Stream(io.BytesIO(data)).section_results())
    else:
        count = len(Whole(io.BytesIO(data)).section_ids)
    seconds = time.perf_counter() - start
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    print(json.dumps({"seconds": seconds, "grown": peak - before, "bytes": len(data), "n": count}))


def run_child(*arguments):
    cmd = [sys.executable, __file__, "--child", *map(str, arguments)]
    proc = subprocess.run(cmd, capture_output=True, text=True)
    if proc.returncode != 0:
        tail = proc.stderr.strip().splitlines()[-1:] or ["(no output)"]
        return {"error": tail[0]}
    return json.loads(proc.stdout.strip().splitlines()[-1])


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--deep", type=int, nargs="+", default=[2_000_000, 3_000_000])
    parser.add_argument("--sections", type=int, nargs="+", default=[100_000])
    parser.add_argument("--repeat", type=int, default=1, help="runs per case, fastest kept")
    parser.add_argument("--child", nargs=4, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        mode, kind, document, size = args.child
        return child(mode, kind, document, int(size))

    print("load average at start: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    print(
        f"{'document':<18} {'path':<7} {'MB':>6} {'ElementTree':>17} {'native':>17} {'ratio':>13}"
    )
    documents = [("deep", n) for n in args.deep] + [("sections", n) for n in args.sections]
    for document, size in documents:
        for mode in ("stream", "whole"):
            best = {}
            for _ in range(args.repeat):
                for kind in ("oracle", "native"):
                    run = run_child(mode, kind, document, size)
                    if kind not in best or run.get("seconds", 0) < best[kind].get("seconds", 0):
                        best[kind] = run
            show(f"{document} {size:,}", mode, best["oracle"], best["native"])
    print("load average at end: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))


def show(label, mode, reference, native):
    def cell(r):
        if "error" in r:
            return f"{'failed':>17}"
        return f"{r['seconds']:6.2f} s {r['grown'] / MIB:6.0f} MiB"

    line = f"{label:<18} {mode:<7} {reference.get('bytes', 0) / 1e6:6.1f} "
    line += f"{cell(reference)} {cell(native)}"
    if "error" not in reference and "error" not in native:
        line += f" {native['seconds'] / reference['seconds']:5.2f}x"
        line += f" {native['grown'] / max(reference['grown'], 1):5.2f}x"
    print(line)
    for r in (reference, native):
        if "error" in r:
            print(f"    {r['error']}")


if __name__ == "__main__":
    main()
