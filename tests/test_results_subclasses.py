"""Subclasses of the result parsers: what they replace is used where the plain classes use it.

Each case subclasses the native class and the reference reader of tests/results_oracle.py in
the same way and expects the same answers.
"""

import io
import math
from pathlib import Path

import pytest
from results_oracle import OracleStreamParser, OracleWholeParser

from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser

SAMPLE = Path(__file__).parent / "data" / "rcs-result-synthetic.xml"


def canon(value):
    if isinstance(value, dict):
        return ("dict", [(k, canon(v)) for k, v in value.items()])
    if isinstance(value, list):
        return [canon(v) for v in value]
    if isinstance(value, float):
        return ("float", "nan" if math.isnan(value) else repr(value))
    return value


@pytest.fixture(scope="module")
def data():
    with open(SAMPLE, "rb") as f:
        return f.read()


def both(base_native, base_reference, body):
    """The same subclass of a native class and of its reference reader."""
    return type("Native", (base_native,), dict(body)), type(
        "Reference", (base_reference,), dict(body)
    )


def test_replaced_readers_feed_extremes(data):
    def shear(self):
        return ["mine"] * len(list(self._iter_extreme_results()))

    native, reference = both(
        RcsOutputFileParser.SectionResult, OracleStreamParser.SectionResult, {"shear": shear}
    )

    class NativeParser(RcsOutputFileParser):
        SectionResult = native

    class ReferenceParser(OracleStreamParser):
        SectionResult = reference

    for a, b in zip(
        NativeParser(io.BytesIO(data)).section_results(),
        ReferenceParser(io.BytesIO(data)).section_results(),
        strict=True,
    ):
        assert type(a) is native
        assert canon(a.extremes()) == canon(b.extremes())
        assert [e["shear"] for e in a.extremes()] == ["mine", "mine"]


def test_replaced_extreme_iteration_feeds_every_reader(data):
    def _iter_extreme_results(self):
        extremes = self._element.find("ExtremeResults")
        yield from reversed(list(extremes))

    native, reference = both(
        RcsOutputFileParser.SectionResult,
        OracleStreamParser.SectionResult,
        {"_iter_extreme_results": _iter_extreme_results},
    )

    class NativeParser(RcsOutputFileParser):
        SectionResult = native

    class ReferenceParser(OracleStreamParser):
        SectionResult = reference

    a = NativeParser(io.BytesIO(data)).section_result(1)
    b = ReferenceParser(io.BytesIO(data)).section_result(1)
    for reader in ("capacity", "fatigue", "stress_limitation", "extremes"):
        assert canon(getattr(a, reader)()) == canon(getattr(b, reader)())
    plain = RcsOutputFileParser(io.BytesIO(data)).section_result(1)
    assert canon(a.capacity()) == canon(list(reversed(plain.capacity())))


def test_lookup_goes_through_the_replaced_scan(data):
    def section_results(self):
        for section in super(type(self), self).section_results():
            section._id = section.id_ + 100
            yield section

    native = type("Native", (RcsOutputFileParser,), {"section_results": section_results})
    reference = type("Reference", (OracleStreamParser,), {"section_results": section_results})
    assert native(io.BytesIO(data)).section_result(101).id_ == 101
    assert reference(io.BytesIO(data)).section_result(101).id_ == 101


def test_whole_document_parser_uses_replaced_lookups(data):
    def _section_element(self, section_id):
        return super(type(self), self)._section_element(section_id - 1)

    native, reference = both(
        OutputFileParser, OracleWholeParser, {"_section_element": _section_element}
    )
    a, b = native(io.BytesIO(data)), reference(io.BytesIO(data))
    assert canon(a.capacity_results(2)) == canon(b.capacity_results(2))
    assert canon(a.fatigue_results(2)) == canon(b.fatigue_results(2))


def test_whole_document_parser_uses_a_replaced_tree_and_conversion(data):
    import xml.etree.ElementTree as ET

    other = ET.fromstring(
        "<r><SectionConcreteCheckResult><SectionId>5</SectionId></SectionConcreteCheckResult></r>"
    )

    def _element_to_dict(self, e):
        return {"converted": e.tag}

    native = type(
        "Native",
        (OutputFileParser,),
        {"_root": property(lambda self: other), "_element_to_dict": _element_to_dict},
    )
    p = native(io.BytesIO(data))
    assert p.section_ids == [5]
    assert p.raw_results() == {"converted": "r"}
    assert p._section_element(5) is other[0]
    assert p.capacity_results(5) == []
