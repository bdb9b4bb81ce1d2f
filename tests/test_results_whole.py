"""OutputFileParser: construction, section ids, raw results, lookups and the lazily made tree."""

import io
import struct
import xml.etree.ElementTree as ET
from pathlib import Path

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from marlox.core import File
from marlox.errors import ParsingError
from marlox.external.idea_rcs import OutputFileParser

SAMPLE = Path(__file__).parent / "data" / "rcs-result-synthetic.xml"

SHEAR = (
    "<ConcreteCheckResults><CheckResults><ConcreteCheckResult><ResultType>Shear</ResultType>"
    "<CheckResults><ConcreteCheckResultBase><Ved>1</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc>"
    "<Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds><CheckValue>0.5</CheckValue>"
    "<Result>Passed</Result></ConcreteCheckResultBase></CheckResults></ConcreteCheckResult>"
    "</CheckResults></ConcreteCheckResults>"
)


def section(section_id, *extremes):
    return (
        f"<SectionConcreteCheckResult><SectionId>{section_id}</SectionId>"
        f"<ExtremeResults>{''.join(extremes)}</ExtremeResults></SectionConcreteCheckResult>"
    )


def parser(*sections, root="ArrayOfSectionConcreteCheckResult"):
    text = f'<{root} xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">'
    text += "".join(sections) + f"</{root}>"
    return OutputFileParser(io.BytesIO(text.encode()))


def test_text_content_and_files():
    text = "<r>" + section(2) + "</r>"
    assert OutputFileParser(io.StringIO(text)).section_ids == [2]
    assert OutputFileParser(File.from_data(text.encode())).section_ids == [2]  # getvalue(): str


def test_the_tree_is_made_on_demand_and_then_authoritative():
    p = parser(section(1, SHEAR), section(2, SHEAR, SHEAR))
    element = p._section_element(2)
    assert ET.tostring(element) == ET.tostring(ET.fromstring(section(2, SHEAR, SHEAR)))
    element.find("ExtremeResults").remove(element.find("ExtremeResults")[0])
    assert len(p.shear_results(2)) == 1  # the element handed out is the one read
    element.find("SectionId").text = "20"
    assert p.section_ids == [1, 20]
    root = p._root
    assert root.tag == "ArrayOfSectionConcreteCheckResult" and root[1] is element
    assert root.attrib == {}
    root.remove(root[0])
    assert p.section_ids == [20]
    assert p.raw_results()["ArrayOfSectionConcreteCheckResult"][0]["SectionConcreteCheckResult"][
        0
    ] == {"SectionId": "20"}


def test_tree_equals_fromstring():
    with open(SAMPLE, "rb") as f:
        data = f.read()
    root = OutputFileParser(io.BytesIO(data))._root
    assert ET.tostring(root) == ET.tostring(ET.fromstring(data))  # texts, tails, attributes
    attributed = root.find(".//ConcreteCheckResultBase")
    xsi = "{http://www.w3.org/2001/XMLSchema-instance}type"
    assert attributed.attrib == {xsi: "ConcreteULSCheckResultDiagramCapacityEc2"}


def test_replacing_the_root():
    p = parser(section(1))
    p._root = ET.fromstring("<r>" + section(5) + "</r>")
    assert p.section_ids == [5]
    other = ET.fromstring("<r>" + section(6) + "</r>")  # a subclass's own tree
    p = type("Replaced", (OutputFileParser,), {"_root": property(lambda self: other)})(
        io.BytesIO(b"<r/>")
    )
    assert p.section_ids == [6] and p._section_element(6) is other[0]
    assert p.capacity_results(6) == [] and list(p.raw_results()["r"][0]) == [other[0].tag]


def test_invalid_documents_hide_the_context_and_a_non_bytes_value_is_refused():
    with pytest.raises(
        ParsingError, match="^Provided 'xml_file' is not a valid XML file.$"
    ) as info:
        OutputFileParser(io.StringIO("<a></b>"))
    assert isinstance(info.value.__cause__, ET.ParseError) and info.value.__suppress_context__
    with pytest.raises(TypeError, match="a bytes-like object is required"):
        OutputFileParser(type("V", (), {"getvalue": lambda self: 42})())


def test_a_lookup_stops_at_the_first_match():
    p = parser(section(1), "<SectionConcreteCheckResult/>")
    assert p.capacity_results(1) == []
    with pytest.raises(AttributeError):
        p.capacity_results(2)
    # The first section of an id wins; ids are compared as int() reads them, and a section
    # whose id int() refuses stops every lookup that reaches it, before or after others.
    p = parser(
        section(" +7 ", SHEAR),
        section(7, SHEAR, SHEAR),
        section(-0),
        section(12345678901234567890),
        section("3.5"),
        section(8),
    )
    assert [len(p.shear_results(7)), p.shear_results(0), p.shear_results(False)] == [1, [], []]
    assert p.shear_results(12345678901234567890) == [] and p.shear_results(7.0) != []
    for missing in (8, 9, "7"):
        with pytest.raises(ValueError, match="'3.5'"):
            p.shear_results(missing)
    p = parser(section(1), section(2))
    with pytest.raises(ParsingError, match="^section with id '3' is not available"):
        p.detailing_results(3)
    p._section_element(1).find("SectionId").text = "3"  # an element handed out is read
    assert p.detailing_results(3) == [] and p.section_ids == [3, 2]


# Decimal texts about the bounds of exactness (integers of 2^53, powers of ten of 22), and
# any double written as repr, in exponent form or fixed-point with few or many digits.
NUMBER_TEXTS = st.one_of(
    st.floats(allow_nan=False, allow_infinity=False).flatmap(
        lambda x: st.sampled_from([repr(x), f"{x:.3e}", f"{x:.17E}", f"{x:.6f}", f"{x:.0f}"])
    ),
    st.builds(
        "{}{}{}e{}".format,
        st.sampled_from(["", "-", "+"]),
        st.integers(2**53 - 3, 2**53 + 3) | st.integers(0, 10**19),
        st.sampled_from(["", ".", ".0", "0"]),
        st.integers(-25, 25),
    ),
)


@settings(max_examples=200, deadline=None)
@given(st.lists(NUMBER_TEXTS, min_size=7, max_size=7))
def test_numbers_read_as_float_reads_them_to_the_bit(texts):
    keys = ["Ved", "Vrd", "Vrdc", "Vrdmax", "Vrdr", "Vrds", "CheckValue"]
    values = "".join(f"<{key}>{text}</{key}>" for key, text in zip(keys, texts, strict=True))
    shear = SHEAR.replace(SHEAR[SHEAR.index("<Ved>") : SHEAR.index("<Result>")], values)
    (read,) = parser(section(1, shear)).shear_results(1)
    assert [struct.pack("<d", read[key]) for key in keys] == [
        struct.pack("<d", float(text)) for text in texts
    ]
