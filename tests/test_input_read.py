"""Input XML read back: exact round trips, IDEA's own samples, and documents the model refuses."""

import functools
import io
import pathlib
import re
import sys
import xml.etree.ElementTree as ET

import pytest
from hypothesis import HealthCheck, assume, given, settings
from hypothesis import strategies as st
from test_input_xml import load_example, write

from marlox.external.idea_rcs import OpenModel, cli
from marlox.external.idea_rcs import objects as o

DATA = pathlib.Path(__file__).resolve().parent / "data"


def unclosed(line):
    """An outline as it reads back: the XML closes it, and the reader drops that closing line."""
    while len(line) > 1 and line[-1] == line[0]:
        line = line[:-1]
    return line


def stated(document):
    """The serialised model with the member-data defaults spelled out as the XML states them,
    and outlines without the points that repeat their start at the end."""
    for _, section in document["cross_section_list"]:
        for component in section.get("Components", ()):
            component["Outline"] = unclosed(component["Outline"])
            component["Openings"] = component["Openings"] and list(
                map(unclosed, component["Openings"])
            )
    for _, data in document["attribute_list"]:
        data["RelativeHumidity"] = data["RelativeHumidity"] or 65
        data["CoeffKxForWmax"] = data["CoeffKxForWmax"] or 1
        data["CalculationSetup"] = data["CalculationSetup"] or o.CalculationSetup()._serialize()
        exposure = data["ExposureClassesData"]
        if exposure is not None and not any(exposure.values()):
            data["ExposureClassesData"] = None
    return document


def assert_constructed(value):
    """Each object read holds what its class's constructor stores for the same values.

    The reader makes objects without calling their constructors: a value kept in another form
    (a list for a tuple, an int for a float) would pass the round trip but not this.
    """
    if isinstance(value, list | tuple):
        return [assert_constructed(item) for item in value]
    if not isinstance(value, o._OpenObject | o._ReferenceElement):
        return
    ((signature, *_),) = type(value).__init__.__nb_signature__
    params = re.findall(r"[(,] (\*\*)?(\w+):", signature)
    args = {name: getattr(value, name) for star, name in params if not star}
    shape = {k: v for star, name in params if star for k, v in getattr(value, name).items()}
    made = type(value)(**args, **shape)
    for name in dir(value):
        if not name.startswith("_") and not callable(field := getattr(value, name)):
            if name in args:
                assert repr(getattr(made, name)) == repr(field), (type(value).__name__, name)
            assert_constructed(field)


def assert_round_trip(model):
    xml = write(model)
    read = OpenModel.from_xml(xml)
    assert write(read) == xml
    assert read._serialize() == stated(model._serialize())
    for name in dir(read):
        if name.endswith("_list") or name in ("project_data", "code_settings"):
            assert_constructed(getattr(read, name))


@pytest.mark.parametrize(
    "name, build",
    [
        ("openmodel_import_sample", "build_model"),
        ("beam", "build_beam_model"),
        ("model_members", None),
        ("model_general_shape", None),
    ],
)
def test_every_example_reads_back_exactly(name, build, capsys):
    module = load_example(name)
    made = getattr(module, build)() if build else module.model
    assert_round_trip(made[0] if isinstance(made, tuple) else made)


coordinate = st.floats(-2, 2, allow_nan=False).map(lambda v: round(v, 4))
point = st.tuples(coordinate, coordinate)
vertex = st.one_of(point, point, st.tuples(point, point))
size = st.floats(0.001, 5, allow_nan=False)
force = st.floats(-1e7, 1e7, allow_nan=False)
# Text XML can carry: no surrogates, no control characters but tab, line feed, carriage return.
name = st.text(
    st.characters(
        blacklist_categories=("Cs",),
        blacklist_characters="\ufffe\uffff"
        + "".join(chr(c) for c in range(32) if c not in (9, 10, 13)),
    ),
    max_size=8,
)


def polyline(minimum):
    return st.tuples(point, st.lists(vertex, min_size=minimum - 1, max_size=6)).map(
        lambda t: [t[0], *t[1]]
    )


def ring():
    """An outline as given, or closed by repeating its start once or more."""
    return st.integers(0, 2).flatmap(lambda n: polyline(3).map(lambda line: line + line[:1] * n))


def loading(cls):
    forces = st.builds(o.InternalForces, force, force, force, force, force, force)
    return st.builds(cls, forces)


@st.composite
def models(draw):
    model = OpenModel(o.ProjectData(name=draw(name), date="2024-02-29"))
    concrete = model.create_matconcrete_ec2(
        draw(st.sampled_from(o.ConcreteMaterial)), fck_28=draw(st.integers(12, 90))
    )
    steel = model.create_matreinforcement_ec2(
        draw(st.sampled_from(o.ReinforcementMaterial)), epsuk=draw(st.integers(1, 900))
    )
    for i in range(draw(st.integers(1, 3))):
        if draw(st.booleans()):
            shape = model.create_cross_section_parameter(
                draw(st.sampled_from(o.CrossSectionType)), concrete, Width=draw(size), H=draw(size)
            )
        else:
            shape = model.create_cross_section_component(draw(name))
            outline = draw(ring())
            openings = draw(st.lists(ring(), max_size=2)) or None
            assume(all(len(unclosed(line)) >= 3 for line in [outline, *(openings or [])]))
            shape.create_component(outline, concrete, openings)
        rcs = model.create_reinforced_cross_section(shape)
        for _ in range(draw(st.integers(0, 3))):
            rcs.create_bar(draw(point), draw(size), steel)
        if draw(st.booleans()):
            rcs.create_stirrup(
                draw(polyline(2)),
                draw(size),
                steel,
                draw(size),
                *draw(st.tuples(st.booleans(), st.booleans(), size, size)),
            )
        member = model.create_check_member1d(draw(st.sampled_from([None, f"Member {i}"])))
        check = model.add_check_section(member, rcs)
        for _ in range(draw(st.integers(0, 2))):
            fatigue = st.builds(o.FatigueLoading, loading(o.LoadingULS), loading(o.LoadingULS))
            check.create_extreme(
                fundamental=draw(st.none() | loading(o.LoadingULS)),
                frequent=draw(st.none() | loading(o.LoadingSLS)),
                fatigue=draw(st.none() | fatigue),
            )
        model.add_member_data_ec2(
            member,
            draw(st.sampled_from(o.MemberType)),
            draw(st.sampled_from(o.TwoWaySlabType)),
            draw(st.none() | st.builds(o.CalculationSetup, fatigue=st.booleans())),
            draw(st.none() | size),
            draw(
                st.none()
                | st.builds(o.ExposureClassesDataEc2, st.sampled_from([None, o.ExposureClass.XC2]))
            ),
            draw(st.none() | size),
            draw(st.none() | st.integers(1, 1000).map(lambda v: v / 10)),
        )
    return model


@settings(max_examples=60, deadline=None, suppress_health_check=[HealthCheck.filter_too_much])
@given(models())
def test_generated_models_read_back_exactly(model):
    assert_round_trip(model)


def test_idea_samples_read_and_state_the_same_model():
    library = OpenModel.from_xml(DATA / "iom-rcs-ImportOpenModel.xml")  # UTF-8, library materials
    explicit = OpenModel.from_xml(DATA / "iom-rcs-RcsOpenModel3.xml")  # UTF-16 declared utf-8
    builder = OpenModel()
    assert repr(library._mat_concrete_list[0]) == repr(
        builder.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    )
    steel = explicit._mat_reinforcement_list[0]
    assert (steel.epsuk, steel.ftk) == (0.025, 500e6 * 1.08)  # IDEA's Ftk 0: k times fyk
    for model in library, explicit:
        rcs = model._reinforced_cross_section_list[0]
        assert [len(rcs.bars), len(rcs.stirrups), rcs.stirrups[0].mandrel_diameter_factor] == [
            12,
            2,
            4,
        ]
        assert model._check_member_list[0].name == "M 1"  # IDEA writes no name
        assert model._check_section_list[0].extremes[0].description == "S1 - E 1"
        assert write(OpenModel.from_xml(write(model))) == write(model)


def test_sources_and_encodings():
    xml = write(load_example("openmodel_import_sample").build_model())
    text = xml.decode()
    for source in [
        io.BytesIO(xml),
        bytearray(xml),
        text.encode("utf-16"),
        text.replace("utf-8", "utf-16").encode("utf-16-be"),
    ]:
        assert write(OpenModel.from_xml(source)) == xml
    with pytest.raises(TypeError, match="binary stream"):
        OpenModel.from_xml(io.StringIO(text))

    class Unsized:  # bytes-like without a length: its TypeError, not a SystemError
        def __buffer__(self, flags):
            return memoryview(xml)

    class Stream(io.BytesIO):
        def read(self, size=-1):
            return Unsized()

    # Python classes offer the buffer protocol from 3.12 on; before, Unsized is no bytes at all.
    expected = "has no len" if sys.version_info >= (3, 12) else "binary stream"
    with pytest.raises(TypeError, match=expected):
        OpenModel.from_xml(Stream())


SAMPLE = (DATA / "iom-rcs-ImportOpenModel.xml").read_bytes().replace(b"\r\n", b"\n")
LAUGHS = (
    b'<!DOCTYPE r [<!ENTITY a "aaaaaaaaaa">'
    + b"".join(
        b'<!ENTITY a%d "%s">' % (i, b"&a%s;" % (str(i - 1).encode() if i else b"") * 10)
        for i in range(10)
    )
    + b"]><OpenModel><Version>&a9;</Version></OpenModel>"
)


def failure(read, document):
    try:
        read(document)
    except Exception as error:  # compared by type, message and position
        return type(error), str(error), getattr(error, "code", None), getattr(error, "position", 0)


def declared(encoding):
    return b'<?xml version="1.0" encoding="%s"?><OpenModel/>' % encoding


NOT_XML = {
    "text": b"not xml",
    "truncated": SAMPLE[:3000],
    "laughs": LAUGHS,
    "junk": SAMPLE + b"<x/>",
    "entity": b"<OpenModel>&nope;</OpenModel>",
    # The interpreter makes the table of an encoding that expat does not know, or fails to.
    "unknown encoding": declared(b"x-unknown"),
    "not a text encoding": declared(b"hex"),
    "multi-byte encoding": declared(b"shift_jis"),
    "encoding that refuses": declared(b"idna"),
}


@pytest.mark.parametrize("document", NOT_XML.values(), ids=NOT_XML)
def test_documents_that_are_not_xml_fail_as_elementtree_fails(document):
    ours = failure(OpenModel.from_xml, document)
    assert ours is not None and ours == failure(ET.fromstring, document)


MEMBER = b'<CheckMember xsi:type="CheckMember1D">\n      <Id>1</Id>\n    </CheckMember>'
BAD = [
    (b"<Fck>0</Fck>", b"<Fck>0</Fck><Fk>1</Fk>", "line 29: <Fk> is not part of a MatConcreteEc2"),
    (
        b"CrossSectionParameter",
        b"CrossSectionOval",
        'line 83: <CrossSection xsi:type="CrossSectionOval"> is not a type',
    ),
    (
        b"<Diameter>0.012",
        b"<Diameter>0,012",
        "line 127: <Diameter> holds '0,012', which is not a number",
    ),
    (
        b"<Id>1</Id>\n      </Element>",
        b"<Id>2</Id>\n      </Element>",
        "line 377: <Element> refers to CheckMember 2, which the document does not have",
    ),
    (b">Tg<", b">Tgg<", "line 88: <CrossSectionType> holds 'Tgg', which is not a CrossSectionType"),
    (
        b"<Beam />",
        b"<Beam><Beam/></Beam>",
        "line 356: <Beam> stands in <Beam>, which an RCS model cannot hold",
    ),
    (b"<L>3</L>", b"<L>6</L>", "line 403: <L> holds '6', but the model can state only '3' here"),
    (MEMBER, MEMBER * 2, 'line 494: <CheckMember xsi:type="CheckMember1D"> repeats the id 1 of'),
    (b"<Version>", b"<a>" * 40 + b"<Version>", "line 3: <a> is not part of an OpenModel document"),
    (b"<X>0.346</X>", b"<X>0.346</X>" + b"<Y>0</Y>", "line 125: <Y> appears twice"),
    (b"2022-12-07T00:00:00", b"yesterday", "line 482: <ProjectData> ProjectData: 'date' must be"),
]


@pytest.mark.parametrize("old, new, message", BAD, ids=[m[:24] for _, _, m in BAD])
def test_documents_the_model_cannot_hold_name_element_and_line(old, new, message):
    with pytest.raises(ValueError) as error:
        OpenModel.from_xml(SAMPLE.replace(old, new, 1))
    assert message in str(error.value)


@functools.cache
def large():
    """A document of 4 MB, read on two threads past its first piece. Its lists in order: cross
    sections, reinforced sections, member data, project data, check members, check sections."""
    model = OpenModel()
    concrete = model.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    steel = model.create_matreinforcement_ec2(o.ReinforcementMaterial.B_500B)
    forces = o.LoadingULS(o.InternalForces(n=-1e5, my=1.5e5, qz=5e4))
    for i in range(300):
        section = model.create_cross_section_parameter(
            o.CrossSectionType.RECT, concrete, Width=0.3, Height=0.5 + 0.001 * i
        )
        rcs = model.create_reinforced_cross_section(section)
        for z, diameter in (-0.2, 0.02), (0.2, 0.012):
            rcs.create_bar_layer(
                origin=(-0.1, z), diameter=diameter, material=steel, number_of_bars=4, delta_y=0.2
            )
        rcs.create_stirrup(
            [(-0.12, -0.22), (0.12, -0.22), (0.12, 0.22), (-0.12, 0.22)], 0.008, steel, 0.2
        )
        member = model.create_check_member1d()
        check = model.add_check_section(member, rcs)
        for _ in range(4):
            check.create_extreme(fundamental=forces)
        model.add_member_data_ec2(member, o.MemberType.BEAM, o.TwoWaySlabType.SLAB)
    return write(model)


def last(old, new, document=None):
    document = document or large()
    at = document.rindex(old)
    return document[:at] + new + document[at + len(old) :]


LARGE_BAD = {
    "truncated": lambda: large()[: len(large()) * 7 // 8],
    "junk after the root": lambda: large() + b"<x/>",
    "not a number": lambda: last(b"<Diameter>0.012", b"<Diameter>0,012"),
    "then truncated": lambda: last(b"<Diameter>0.012", b"<Diameter>0,012")[:-100],
    "repeated id": lambda: last(
        b"<Id>300</Id>\n      <Name>M 300", b"<Id>299</Id>\n      <Name>M 300"
    ),
    "missing reference": lambda: last(
        b"<Id>300</Id>\n      </CheckMember>", b"<Id>301</Id>\n      </CheckMember>"
    ),
    "refused date": lambda: last(b"<Date>2026", b"<Date>x2026"),
    "nested deep": lambda: last(
        b"</CheckSection>", b"<a>" * 40 + b"</a>" * 40 + b"</CheckSection>"
    ),
    "text in a list": lambda: last(b"</CheckSection>", b"</CheckSection>x"),
}


def test_large_documents_read_on_two_threads_as_on_one():
    class Trickle(io.BytesIO):  # a stream that gives a little at a time
        def read(self, size=-1):
            return super().read(min(size, 4099))

    document = large()
    one = OpenModel.from_xml(document, threads=1)
    utf16 = document.decode().encode("utf-16")
    for source in document, io.BytesIO(document), utf16, Trickle(utf16):
        two = OpenModel.from_xml(source, threads=2)
        assert write(two) == document and two._serialize() == one._serialize()
    with pytest.raises(ValueError, match="threads must be at least 1"):
        OpenModel.from_xml(document, threads=0)

    class Failing(io.BytesIO):  # a stream that fails while the parse thread is busy
        def read(self, size=-1):
            if self.tell() > 2 << 20:
                raise OSError("the disk is gone")
            return super().read(size)

    with pytest.raises(OSError, match="the disk is gone"):
        OpenModel.from_xml(Failing(document), threads=2)


@pytest.mark.parametrize("make", LARGE_BAD.values(), ids=LARGE_BAD)
def test_large_documents_fail_on_two_threads_as_on_one(make):
    """The first failure in document order, whichever thread meets it, and nothing after."""
    document = make()
    alone = failure(lambda d: OpenModel.from_xml(d, threads=1), document)
    assert alone is not None
    assert failure(lambda d: OpenModel.from_xml(d, threads=2), document) == alone
    assert failure(lambda d: OpenModel.from_xml(io.BytesIO(d), threads=2), document) == alone


def test_inventory_command(capsys):
    assert cli.main(["inventory", "--sections", str(DATA / "iom-rcs-ImportOpenModel.xml")]) == 0
    out = capsys.readouterr().out
    assert "concrete    1: C30/37" in out and "S1: member M 1, section R1 (12 bars" in out
    assert cli.main(["inventory", str(DATA / "rcs-result-synthetic.xml")]) == 2
    assert "is not an IDEA OpenModel document" in capsys.readouterr().err
