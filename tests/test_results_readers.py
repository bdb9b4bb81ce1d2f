"""The section result itself: its id, its element and the extremes it iterates. What the readers
make of every family is compared with the reference readers by the differential tests."""

import io
import xml.etree.ElementTree as ET

import pytest

from marlox.external.idea_rcs import Model, OutputFileParser, RcsOutputFileParser, RectSection
from marlox.external.idea_rcs import objects as o

SectionResult = RcsOutputFileParser.SectionResult
FAMILIES = tuple(
    "capacity shear torsion interaction crack_width detailing stress_limitation fatigue".split()
)
SHEAR = (
    "<ConcreteCheckResults><CheckResults><ConcreteCheckResult><ResultType>Shear</ResultType>"
    "<CheckResults><ConcreteCheckResultBase><Ved>1</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc>"
    "<Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds><CheckValue>0.5</CheckValue>"
    "<Result>OK</Result></ConcreteCheckResultBase></CheckResults></ConcreteCheckResult>"
    "</CheckResults></ConcreteCheckResults>"
)


def section_xml(*extremes):
    return (
        "<SectionConcreteCheckResult><SectionId>1</SectionId><ExtremeResults>"
        + "".join(extremes)
        + "</ExtremeResults></SectionConcreteCheckResult>"
    )


def test_section_without_extreme_results_reads_empty():
    text = "<SectionConcreteCheckResult><SectionId>1</SectionId></SectionConcreteCheckResult>"
    s = SectionResult(1, ET.fromstring(text))
    for reader in (*FAMILIES, "extremes"):
        assert getattr(s, reader)() == []
    streamed = RcsOutputFileParser(io.BytesIO(f"<r>{text}</r>".encode())).section_results()
    assert next(streamed).extremes() == []


def test_id_and_iterating_extremes():
    element = ET.fromstring(section_xml("<ConcreteCheckResults/>", "<Other/>"))
    s = SectionResult(12, element)
    assert s.id_ == 12 and s._id == 12 and s._element is element
    assert [e.tag for e in s._iter_extreme_results()] == ["ConcreteCheckResults", "Other"]
    with pytest.raises(AttributeError):
        s.id_ = 3


def test_iterating_extremes_is_lazy_and_live():
    it = SectionResult(1, None)._iter_extreme_results()  # nothing happens yet
    with pytest.raises(AttributeError, match="'NoneType' object has no attribute 'find'"):
        next(it)
    with pytest.raises(AttributeError, match="'NoneType' object has no attribute 'find'"):
        SectionResult(1, None).shear()

    class Fake:  # any object with find() will do
        def find(self, path):
            return None

    assert SectionResult("x", Fake()).extremes() == [] and SectionResult("x", Fake()).id_ == "x"
    assert SectionResult(None, Fake()).id_ is None  # stored as given, None too
    element = ET.fromstring(section_xml("<a/>", "<b/>"))
    it = SectionResult(1, element)._iter_extreme_results()
    assert next(it).tag == "a"
    element.find("ExtremeResults").append(ET.Element("c"))
    assert [e.tag for e in it] == ["b", "c"]


def a_member():
    model = Model()
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    member = model.create_beam(RectSection(0.3, 0.5), concrete)
    member.create_bar((0.1, 0.1), 0.02, steel)
    member.create_stirrup([(0, 0), (0.2, 0), (0.2, 0.4), (0, 0.4)], 0.008, steel, 0.15)
    member.create_extreme()
    return member


def a_section_result():
    return SectionResult(1, ET.fromstring(section_xml(SHEAR)))


def a_whole_parser():
    return OutputFileParser(io.StringIO("<r>" + section_xml(SHEAR) + "</r>"))


WHOLE = ("capacity", "shear", "crack_width", "detailing", "stress_limitation", "fatigue")
# Every getter that hands out a list: (holder, read, whether the entries are made per call).
LIST_GETTERS = {
    **{
        f"SectionResult.{n}()": (a_section_result, lambda s, n=n: getattr(s, n)(), True)
        for n in FAMILIES
    },
    **{
        f"OutputFileParser.{n}_results()": (
            a_whole_parser,
            lambda p, n=n: getattr(p, f"{n}_results")(1),
            True,
        )
        for n in WHOLE
    },
    **{
        f"Member.{n}": (a_member, lambda m, n=n: getattr(m, n), False)
        for n in ("bars", "stirrups", "extremes")
    },
}


@pytest.mark.parametrize(
    ("make", "read", "fresh_entries"), LIST_GETTERS.values(), ids=LIST_GETTERS.keys()
)
def test_list_getters_hand_out_new_lists(make, read, fresh_entries):
    holder = make()
    first = read(holder)
    assert len(first) == 1 and first == read(holder)
    first.append("intruder")
    assert read(holder) == first[:1]
    if fresh_entries and first[0] is not None:
        assert read(holder)[0] is not read(holder)[0]
