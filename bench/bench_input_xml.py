"""How the time from ``generate_xml_input()`` to XML bytes splits, and how it grows with size.

Builds models of N beams (a rectangle, 8 bars, 1 stirrup, 4 extremes and member data each),
each size in a fresh interpreter, and measures there, side by side:

- total:     ``generate_xml_input()`` end to end through the embedded platform (first, so
             that the peak RSS is its own), wall-clock and CPU time, best of ``--repeat``
- peak:      the interpreter's peak RSS less its RSS with the model built
- serialise: ``model._serialize()``
- json:      ``json.dumps`` of the document and UTF-8 encoding
- gzip:      gzip and base64 of the request body
- convert:   the embedded conversion service (decode, C++ writer, gzip and base64 of the reply)

Linear time shows as a flat time per beam across sizes (the last column: per-beam time
relative to the smallest model). CPU time tells what a busy machine hides in wall time.

With ``--read``, it measures reading the input XML back instead: ``OpenModel.from_xml`` on the
bytes that the writer makes for N beams, on the calling thread alone (``threads=1``) and on two
threads (the default on two cores: expat on a thread of its own), against expat with no
handlers at all on the same bytes fed 1 MiB reads (the floor: ``from_xml`` reads a stream so)
and through ``ParseFile``, interleaved round by round and the fastest round of each kept, in
wall time and in processor time of the process; for the two-thread read also the processor
time of each thread (the calling thread's by ``time.thread_time``, the parse thread's the rest),
whose larger bounds its wall time on an idle machine. The target is read on wall time for the
two-thread read (the floor is one thread's work), on processor time for the one-thread read.
Then the growth of peak RSS while hostile documents (billion laughs, a million nested
elements) are refused.

    python bench/bench_input_xml.py [--beams 1000 2000 5000 10000 20000] [--repeat 3]
    python bench/bench_input_xml.py --read [--beams 10000] [--repeat 3]
"""

import argparse
import base64
import gc
import gzip
import io
import json
import os
import pathlib
import resource
import subprocess
import sys
import time
import xml.parsers.expat

from marlox.core import _post_on_addon_endpoint
from marlox.external.idea_rcs import OpenModel
from marlox.external.idea_rcs import objects as o


def build(beams: int) -> OpenModel:
    model = OpenModel()
    concrete = model.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    steel = model.create_matreinforcement_ec2(o.ReinforcementMaterial.B_500B)
    forces = o.LoadingULS(o.InternalForces(n=-1e5, my=1.5e5, qz=5e4))
    service = o.LoadingSLS(o.InternalForces(my=8e4))
    for i in range(beams):
        section = model.create_cross_section_parameter(
            o.CrossSectionType.RECT, concrete, Width=0.3, Height=0.5 + 0.001 * (i % 100)
        )
        rcs = model.create_reinforced_cross_section(section)
        rcs.create_bar_layer(
            origin=(-0.1, -0.2), diameter=0.02, material=steel, number_of_bars=4, delta_y=0.2
        )
        rcs.create_bar_layer(
            origin=(-0.1, 0.2), diameter=0.012, material=steel, number_of_bars=4, delta_y=0.2
        )
        rcs.create_stirrup(
            [(-0.12, -0.22), (0.12, -0.22), (0.12, 0.22), (-0.12, 0.22), (-0.12, -0.22)],
            0.008,
            steel,
            0.2,
        )
        member = model.create_check_member1d()
        check = model.add_check_section(member, rcs)
        for _ in range(4):
            check.create_extreme(
                fundamental=forces, characteristic=service, quasi_permanent=service
            )
        model.add_member_data_ec2(member, o.MemberType.BEAM, o.TwoWaySlabType.SLAB)
    return model


def clock(function, *args, **kwargs):
    start = time.perf_counter()
    result = function(*args, **kwargs)
    return time.perf_counter() - start, result


def child(beams: int, repeat: int) -> None:
    model = build(beams)
    before = current_rss()
    model.generate_xml_input()  # the platform and the modules warm
    wall = cpu = float("inf")
    for _ in range(repeat):
        start, start_cpu = time.perf_counter(), time.process_time()
        model.generate_xml_input()
        wall = min(wall, time.perf_counter() - start)
        cpu = min(cpu, time.process_time() - start_cpu)
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024 - before
    t_serialise, document = clock(model._serialize)
    t_json, text = clock(json.dumps, document)
    raw = text.encode("utf-8")
    t_gzip, packed = clock(gzip.compress, raw)
    payload = base64.b64encode(packed).decode("utf-8")
    t_convert, reply = clock(
        _post_on_addon_endpoint, "fillidearcstemplate/v3/jobs/", {"input": payload}, timeout=600
    )
    size = len(gzip.decompress(base64.b64decode(reply["input_file"])))
    print(
        json.dumps(
            dict(
                serialise=t_serialise,
                json=t_json,
                gzip=t_gzip,
                convert=t_convert,
                total=wall,
                cpu=cpu,
                peak=peak,
                size=size,
            )
        )
    )


def current_rss() -> int:
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def input_xml(beams: int) -> bytes:
    """The writer's input XML for ``beams`` beams, kept under build/bench/ for the next run."""
    path = pathlib.Path("build/bench") / f"input-{beams}-beams.xml"
    if not path.exists():
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(o._write_input_xml(json.dumps(build(beams)._serialize()).encode()))
    return path.read_bytes()


def expat_reads(data: bytes) -> None:
    """Expat with no handlers, fed 1 MiB reads of a stream of ``data``."""
    stream = io.BytesIO(data)
    parser = xml.parsers.expat.ParserCreate()
    while chunk := stream.read(1 << 20):
        parser.Parse(chunk, False)
    parser.Parse(b"", True)


def best(function, data, results):
    gc.collect()
    wall, cpu, own = time.perf_counter(), time.process_time(), time.thread_time()
    made = function(data)
    results.append(
        (time.perf_counter() - wall, time.process_time() - cpu, time.thread_time() - own)
    )
    del made


def peak_mb() -> float:
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024


def hostile(name: str, document: bytes) -> None:
    before = peak_mb()
    start = time.perf_counter()
    try:
        OpenModel.from_xml(document)
        outcome = "read"
    except Exception as error:
        outcome = type(error).__name__
    print(
        f"{name:<28} {outcome:<12} {time.perf_counter() - start:>6.2f}s "
        f"peak RSS +{peak_mb() - before:.1f} MiB"
    )


def read(beams: list[int], repeat: int) -> None:
    print(f"load average {os.getloadavg()[0]:.2f}")
    # Hostile documents first, while the peak is still the interpreter's own.
    laughs = b'<!DOCTYPE r [<!ENTITY a0 "lol">' + b"".join(
        b'<!ENTITY a%d "%s">' % (i, b"&a%d;" % (i - 1) * 10) for i in range(1, 12)
    )
    hostile("billion laughs", laughs + b"]><OpenModel><Version>&a11;</Version></OpenModel>")
    depth = 1_000_000
    nested = b"<OpenModel><MatConcrete>" + b"<a>" * depth + b"</a>" * depth
    hostile("1,000,000 nested elements", nested)
    print(
        f"{'beams':>7} {'MB':>6} | {'floor':>6} {'ParseFile':>9} {'threads=1':>9} "
        f"{'threads=2':>9} {'calling':>7} {'parse':>6} | {'1 thread':>8} {'2 threads':>9} "
        f"{'2 thr cpu':>9} {'busiest':>7}"
    )
    print(f"{'':>14} | {'processor time of the fastest round, s (threads=2: wall, s)':<61} |")
    for n in beams:
        data = input_xml(n)
        floor, parse_file, one, two = [], [], [], []
        for _ in range(repeat):
            best(expat_reads, data, floor)
            best(
                lambda d: xml.parsers.expat.ParserCreate().ParseFile(io.BytesIO(d)),
                data,
                parse_file,
            )
            best(lambda d: OpenModel.from_xml(io.BytesIO(d), threads=1), data, one)
            best(lambda d: OpenModel.from_xml(io.BytesIO(d), threads=2), data, two)
        fw, fc = min(w for w, _, _ in floor), min(c for _, c, _ in floor)
        pc = min(c for _, c, _ in parse_file)
        oc = min(c for _, c, _ in one)
        tw, tc, calling = min(two)
        parse = tc - calling
        print(
            f"{n:>7} {len(data) / 1e6:>6.1f} | {fc:>6.3f} {pc:>9.3f} {oc:>9.3f} {tw:>9.3f} "
            f"{calling:>7.3f} {parse:>6.3f} | {fc / oc:>7.2f}x {fw / tw:>8.2f}x {fc / tc:>8.2f}x "
            f"{fc / max(calling, parse):>6.2f}x"
        )
    print(f"load average {os.getloadavg()[0]:.2f}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--beams", type=int, nargs="+", default=None)
    parser.add_argument("--read", action="store_true", help="measure reading input XML back")
    parser.add_argument("--repeat", type=int, default=3, help="calls per size, fastest kept")
    parser.add_argument("--child", type=int, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        return child(args.child, args.repeat)
    if args.read:
        return read(args.beams or [10000], args.repeat)
    args.beams = args.beams or [1000, 2000, 5000, 10000, 20000]
    print("load average at start: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))
    print(
        f"{'beams':>7} {'serialise':>10} {'json':>8} {'gzip':>8} {'convert':>9} "
        f"{'total':>8} {'cpu':>8} {'peak MiB':>9} {'XML MB':>7} {'us/beam':>8} {'vs first':>8}"
    )
    first = None
    for beams in args.beams:
        cmd = [sys.executable, __file__, "--child", str(beams), "--repeat", str(args.repeat)]
        r = json.loads(subprocess.run(cmd, capture_output=True, text=True, check=True).stdout)
        per_beam = r["total"] / beams * 1e6
        first = first or per_beam
        print(
            f"{beams:>7} {r['serialise']:>9.2f}s {r['json']:>7.2f}s {r['gzip']:>7.2f}s "
            f"{r['convert']:>8.2f}s {r['total']:>7.2f}s {r['cpu']:>7.2f}s "
            f"{r['peak'] / 2**20:>9.0f} {r['size'] / 1e6:>7.1f} {per_beam:>8.0f} "
            f"{per_beam / first:>7.2f}x"
        )
    print("load average at end: {:.2f} {:.2f} {:.2f}".format(*os.getloadavg()))


if __name__ == "__main__":
    main()
