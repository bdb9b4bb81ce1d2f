"""Run every path through the compiled modules over and over; fail if the process keeps growing.

python tools/leakcheck.py [--rounds N] [--small]

One round: streaming scans (all readers, elements taken and changed, sections kept past their
step, lookups that hit and miss, a subclass of SectionResult, broken documents), whole-document
parses (every accessor, raw results, the tree, invalid documents), check tables (every table,
exported, converted, refused arguments), and models built through both builders, refused
arguments included, serialised, written as input XML and read back. After a
warm-up, the resident size may not grow by more than a small allowance over the remaining
rounds. `--small` shrinks the documents (for running under valgrind).
"""

from __future__ import annotations

import argparse
import functools
import gc
import io
import json
import os
import sys
import xml.etree.ElementTree as ET

from marlox.errors import ParsingError
from marlox.external.idea_rcs import (
    GeneralShape,
    Model,
    OpenModel,
    OutputFileParser,
    RcsOutputFileParser,
    RectSection,
    check_table,
    idea_rcs,
)
from marlox.external.idea_rcs import objects as o

try:
    import pyarrow
except ImportError:  # the exported streams are then only made and dropped
    pyarrow = None

SHEAR = (
    "<Ved>1</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc><Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds>"
    "<CheckValue>0.5</CheckValue><Result>Passed</Result>"
)
FORCES = "<N>0</N><Qy>1</Qy><Qz>2</Qz><Mx>3</Mx><My>4</My><Mz>5</Mz>"


def family(result_type, *items):
    body = "".join(
        f'<ConcreteCheckResultBase xsi:type="T">{item}</ConcreteCheckResultBase>' for item in items
    )
    return (
        f"<ConcreteCheckResult><ResultType>{result_type}</ResultType><CheckResults>{body}"
        "</CheckResults></ConcreteCheckResult>"
    )


def extreme():
    capacity = f"<Fu>{FORCES}</Fu><Fu1>{FORCES}</Fu1><Fu2/><CheckValue>1e-5</CheckValue>"
    capacity += "<Result>Passed</Result>"
    stress = (
        "<Check>StressLimitationShort</Check><TypeCheck>Check_7_2_2_Concrete_fck</TypeCheck>"
        "<Stress>NaN</Stress><CheckValue>0.1</CheckValue><Result>Passed</Result>"
    )
    crack = (
        "<Check>CrackWidthLong</Check><N>0</N><My>1</My><Mz>2</Mz><W>0.1</W><Wlim>0.3</Wlim>"
        "<CheckValue>0.33</CheckValue><Result>Passed</Result>"
    )
    fatigue = (
        "<Check>Fatigue</Check><CheckValue>0.2</CheckValue><DecissionMethod>M</DecissionMethod>"
        f"<Result>Passed</Result><InternalForceMax>{FORCES}</InternalForceMax>"
        f"<InternalForceMin>{FORCES}</InternalForceMin>"
    )
    fatigue_shear = f"<Check>Shear</Check><InternalFores>{FORCES}</InternalFores>{SHEAR}"
    families = [
        family("Capacity", capacity),
        family("Shear", SHEAR),
        family("StressLimitation", stress),
        family("CrackWidth", crack),
        family("Detailing", "<CheckValue>0.1</CheckValue><Result>Passed</Result>"),
        family("Fatigue", fatigue, fatigue_shear),
    ]
    return (
        "<ConcreteCheckResults><CheckResults>"
        + "".join(families)
        + "</CheckResults></ConcreteCheckResults>"
    )


def document(sections: int, extremes: int) -> bytes:
    body = "".join(
        f"<SectionConcreteCheckResult><SectionId>{i}</SectionId><ExtremeResults>"
        + extreme() * extremes
        + "</ExtremeResults></SectionConcreteCheckResult>"
        for i in range(sections)
    )
    text = (
        '<?xml version="1.0" encoding="utf-16"?>'
        '<ArrayOfSectionConcreteCheckResult xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">'
        + body
        + "</ArrayOfSectionConcreteCheckResult>"
    )
    return text.encode("utf-16")


class Mine(RcsOutputFileParser.SectionResult):
    pass


class MyParser(RcsOutputFileParser):
    SectionResult = Mine


def one_round(data: bytes, broken: bytes) -> None:
    parser = RcsOutputFileParser(io.BytesIO(data))
    kept = []
    for index, section in enumerate(parser.section_results()):
        section.extremes()
        if index % 3 == 0:
            element = section._element
            element.find("ExtremeResults").remove(element.find("ExtremeResults")[0])
            section.capacity()
        kept.append(section)
    for section in kept:
        assert section.extremes() == []
    parser.section_result(1).fatigue()
    try:
        parser.section_result(-1)
    except ParsingError:
        pass
    it = parser.section_results()
    next(it)
    del it  # abandoned mid-scan
    for section in MyParser(io.BytesIO(data)).section_results():
        section.shear()
    try:
        for section in RcsOutputFileParser(io.BytesIO(broken)).section_results():
            section.detailing()
    except ET.ParseError:
        pass

    whole = OutputFileParser(io.BytesIO(data))
    for section_id in whole.section_ids:
        whole.capacity_results(section_id)
        whole.stress_limitation_results(section_id)
        whole.fatigue_results(section_id)
    whole.raw_results()
    whole._section_element(0)
    assert whole._root is whole._root
    whole.crack_width_results(1)
    try:
        OutputFileParser(io.BytesIO(broken))
    except ParsingError:
        pass
    standalone = RcsOutputFileParser.SectionResult(1, ET.fromstring(data))
    standalone.extremes()
    table_round(data, broken)
    threads_round(data, broken)
    for _ in range(20):
        model_round()


def threads_round(data: bytes, broken: bytes) -> None:
    """The same documents cut into small pieces read on threads: streamed (whole, stopped
    early, failing), whole, and into a table."""
    before = idea_rcs._set_min_piece(max(8, len(data) // 8))
    try:
        for section in RcsOutputFileParser(io.BytesIO(data)).section_results(threads=3):
            section.extremes()
        it = RcsOutputFileParser(io.BytesIO(data)).section_results(threads=2)
        next(it)
        del it  # abandoned with pieces in flight
        try:
            for section in RcsOutputFileParser(io.BytesIO(broken)).section_results(threads=2):
                section.capacity()
        except ET.ParseError:
            pass
        whole = OutputFileParser(io.BytesIO(data), threads=2)
        for section_id in whole.section_ids:
            whole.shear_results(section_id)
        check_table(data, threads=2)
        try:
            check_table(broken, threads=2)
        except ET.ParseError:
            pass
    finally:
        idea_rcs._set_min_piece(before)
    # An input XML long enough to be parsed on a second thread, read whole and refused late.
    xml = large_input_xml()
    OpenModel.from_xml(xml, threads=2)
    try:
        OpenModel.from_xml(xml[: len(xml) * 3 // 4], threads=2)
    except ET.ParseError:
        pass


@functools.cache
def large_input_xml() -> bytes:
    model = Model()
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    for _ in range(100):
        beam = model.create_beam(RectSection(0.3, 0.5), concrete, relative_humidity=70)
        beam.create_bar_layer(
            origin=(-0.1, -0.2), diameter=0.02, material=steel, number_of_bars=4, delta_y=0.06
        )
        beam.create_extreme(fundamental=o.LoadingULS(o.InternalForces(my=1e5)))
    return o._write_input_xml(json.dumps(model._serialize()).encode())


def table_round(data: bytes, broken: bytes) -> None:
    table = check_table(data, units="engineering")
    for result in (table, table.governing(per_family=True), table.overall):
        result.to_pylist()
        result.to_csv(io.BytesIO())
        result.__arrow_c_schema__()  # capsules dropped unconsumed
        result.__arrow_c_stream__()
        if pyarrow is not None:
            pyarrow.table(result)
    for bad in (dict(families=["Nothing"]), dict(sections=[-1])):
        try:
            check_table(data, **bad)
        except (ValueError, ParsingError):
            pass
    try:
        check_table(io.BytesIO(broken))
    except ET.ParseError:
        pass


def model_round() -> None:
    model = Model()
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    for shape in (
        RectSection(0.3, 0.5),
        GeneralShape(
            [(0, 0), (1, 0), ((0, 1), (0.7, 0.7))], [[(0.1, 0.1), (0.2, 0.1), (0.1, 0.2)]]
        ),
    ):
        beam = model.create_beam(shape, concrete, relative_humidity=70)
        beam.create_bar_layer(
            origin=(-0.1, -0.2), diameter=0.02, material=steel, number_of_bars=8, delta_y=0.2
        )
        beam.create_stirrup(
            [(0, 0), (0.2, 0), ((0.2, 0.4), (0.3, 0.2)), (0, 0)], 0.008, steel, 0.15
        )
        forces = o.LoadingULS(o.InternalForces(my=1e5))
        beam.create_extreme(fundamental=forces, fatigue=o.FatigueLoading(forces, forces))
        for bad in ({"number_of_bars": 1}, {"diameter": "thick"}, {"origin": "here"}):
            try:
                beam.create_bar_layer(
                    **{
                        "origin": (0, 0),
                        "diameter": 0.01,
                        "material": steel,
                        "number_of_bars": 3,
                        **bad,
                    }
                )
            except (TypeError, ValueError):
                pass
    document = json.dumps(model._serialize()).encode()
    xml = o._write_input_xml(document)
    try:
        o._write_input_xml(document.replace(b'"Rect"', b'"Oval"'))
    except ValueError:
        pass
    # Read back, whole and from a stream, and refused part-way (by the parser, by an object).
    OpenModel.from_xml(xml)
    OpenModel.from_xml(io.BytesIO(xml.decode().encode("utf-16")))
    for broken in (xml[: len(xml) // 2], xml.replace(b"<Diameter>0.02", b"<Diameter>thick")):
        try:
            OpenModel.from_xml(broken)
        except (ET.ParseError, ValueError):
            pass
    other = OpenModel(o.ProjectData(name="p"))
    other.create_matconcrete_ec2(o.ConcreteMaterial.C20_25, e_modulus=30000)
    try:
        other.create_matconcrete_ec2(o.ConcreteMaterial.C20_25, e_modulus="x")
    except TypeError:
        pass
    other._serialize()


def resident_mb() -> float:
    with open("/proc/self/statm") as f:
        pages = int(f.read().split()[1])
    return pages * os.sysconf("SC_PAGE_SIZE") / 2**20


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=30)
    parser.add_argument("--small", action="store_true", help="small documents (for valgrind)")
    args = parser.parse_args()
    sections, extremes = (3, 2) if args.small else (40, 5)
    data = document(sections, extremes)
    broken = data[: len(data) * 2 // 3]
    warmup = max(1, args.rounds // 3)
    for _ in range(warmup):
        one_round(data, broken)
    # The least resident size of the first and of the last quarter of the rounds: the threads'
    # memory comes and goes by a few MiB from round to round, while a leak raises the least.
    sizes = []
    for _ in range(args.rounds - warmup):
        one_round(data, broken)
        gc.collect()
        sizes.append(resident_mb())
    quarter = max(1, len(sizes) // 4)
    grown = min(sizes[-quarter:]) - min(sizes[:quarter])
    allowance = 2.0 + len(data) / 2**20
    print(
        f"{args.rounds - warmup} rounds over {len(data) / 1e6:.1f} MB: resident size grew by "
        f"{grown:.2f} MiB (allowed {allowance:.2f})"
    )
    return 0 if args.small or grown <= allowance else 1


if __name__ == "__main__":
    sys.exit(main())
