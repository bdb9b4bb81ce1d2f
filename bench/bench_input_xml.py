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

    python bench/bench_input_xml.py [--beams 1000 2000 5000 10000 20000] [--repeat 3]
"""

import argparse
import base64
import gzip
import json
import os
import resource
import subprocess
import sys
import time

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


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--beams", type=int, nargs="+", default=[1000, 2000, 5000, 10000, 20000])
    parser.add_argument("--repeat", type=int, default=3, help="end-to-end calls, fastest kept")
    parser.add_argument("--child", type=int, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        return child(args.child, args.repeat)
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
