"""The section result itself: its id, its element and the extremes it iterates. What the readers
make of every family is compared with the reference readers by the differential tests."""

import io
import xml.etree.ElementTree as ET

import pytest

from marlox.external.idea_rcs import RcsOutputFileParser

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


def test_results_are_new_lists_every_call():
    doc = section_xml(SHEAR)
    s = SectionResult(1, ET.fromstring(doc))
    first, second = s.shear(), s.shear()
    assert first == second and first is not second and first[0] is not second[0]
