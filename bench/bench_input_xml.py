"""How the time from ``generate_xml_input()`` to XML bytes splits, and how it grows with size.

Builds models of N beams (a rectangle, 8 bars, 1 stirrup, 4 extremes and member data each)
and measures, in this process and side by side:

- serialise: ``model._serialize()`` (the encoder's JSON round trip)
- json:      ``json.dumps`` of the document and UTF-8 encoding
- gzip:      gzip and base64 of the request body
- convert:   the embedded conversion service (decode, C++ writer, gzip and base64 of the reply)
- total:     ``generate_xml_input()`` end to end through the embedded platform

Linear time shows as a flat time per beam across sizes (the last column: per-beam time
relative to the smallest model).

    python bench/bench_input_xml.py [--beams 1000 2000 5000 10000]
"""

import argparse
import base64
import gzip
import json
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


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--beams", type=int, nargs="+", default=[1000, 2000, 5000, 10000])
    args = parser.parse_args()
    print(
        f"{'beams':>7} {'serialise':>10} {'json':>8} {'gzip':>8} {'convert':>9} "
        f"{'total':>8} {'XML MB':>7} {'us/beam':>8} {'vs first':>8}"
    )
    first = None
    for beams in args.beams:
        model = build(beams)
        t_serialise, document = clock(model._serialize)
        t_json, text = clock(json.dumps, document)
        raw = text.encode("utf-8")
        t_gzip, packed = clock(gzip.compress, raw)
        payload = base64.b64encode(packed).decode("utf-8")
        t_convert, reply = clock(
            _post_on_addon_endpoint, "fillidearcstemplate/v3/jobs/", {"input": payload}, timeout=600
        )
        size = len(gzip.decompress(base64.b64decode(reply["input_file"])))
        t_total, _ = clock(model.generate_xml_input)
        per_beam = t_total / beams * 1e6
        first = first or per_beam
        print(
            f"{beams:>7} {t_serialise:>9.2f}s {t_json:>7.2f}s {t_gzip:>7.2f}s "
            f"{t_convert:>8.2f}s {t_total:>7.2f}s {size / 1e6:>7.1f} {per_beam:>8.0f} "
            f"{per_beam / first:>7.2f}x"
        )


if __name__ == "__main__":
    main()
