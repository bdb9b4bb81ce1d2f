"""RcsOutputFileParser: scanning, lookup by id, stream positions and sections kept too long."""

import io
import random
import xml.etree.ElementTree as ET

import pytest
from results_oracle import OracleStreamParser

from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser

SHEAR = (
    "<ConcreteCheckResult><ResultType>Shear</ResultType><CheckResults>"
    "<ConcreteCheckResultBase><Ved>1</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc><Vrdmax>4</Vrdmax>"
    "<Vrdr>5</Vrdr><Vrds>6</Vrds><CheckValue>0.5</CheckValue><Result>Passed</Result>"
    "</ConcreteCheckResultBase></CheckResults></ConcreteCheckResult>"
)


def section(section_id, *extremes, extra=""):
    body = "".join(
        f"<ConcreteCheckResults><CheckResults>{e}</CheckResults></ConcreteCheckResults>"
        for e in extremes
    )
    return (
        f"<SectionConcreteCheckResult><SectionId>{section_id}</SectionId>{extra}"
        f"<ExtremeResults>{body}</ExtremeResults></SectionConcreteCheckResult>"
    )


def document(*sections, encoding="utf-8"):
    text = "<ArrayOfSectionConcreteCheckResult>" + "".join(sections)
    text += "</ArrayOfSectionConcreteCheckResult>"
    return io.BytesIO(text.encode(encoding))


def ids(parser):
    return [s.id_ for s in parser.section_results()]


def test_class_documentation_and_nesting():
    assert RcsOutputFileParser.__doc__.startswith(
        "Parser to extract results from an IDEA-RCS output file (.xml)."
    )
    for family in ("capacity", "torsion", "crack width", "stress limitation", "fatigue"):
        assert family in RcsOutputFileParser.__doc__
    assert "open_binary()" in RcsOutputFileParser.__doc__
    assert "BytesIO" in RcsOutputFileParser.__doc__
    assert RcsOutputFileParser.SectionResult.__doc__ == (
        "Parsed result section, on which specific results can be retrieved."
    )
    assert "Iterates through all section results." in RcsOutputFileParser.section_results.__doc__


def test_the_constructor_only_asks_for_the_position():
    class Recorder(io.BytesIO):
        calls = []

        def tell(self):
            self.calls.append("tell")
            return super().tell()

        def read(self, size=-1):
            self.calls.append(("read", size))
            return super().read(size)

    stream = Recorder(document(section(1)).getvalue())
    parser = RcsOutputFileParser(stream)
    assert stream.calls == ["tell"] and parser._pos == 0 and parser._file is stream
    it = parser.section_results()
    assert stream.calls == ["tell"]  # nothing runs before the first section is asked for
    next(it)
    assert stream.calls[1:] == [("read", 16 * 1024)]


def test_an_abandoned_scan_leaves_the_stream_where_reading_stopped():
    payload = document(*(section(i, SHEAR) for i in range(400))).getvalue()
    assert len(payload) > 64 * 1024
    stream = io.BytesIO(payload)
    stream.seek(7)
    parser = RcsOutputFileParser(stream)
    it = parser.section_results()
    next(it)
    assert stream.tell() == 16 * 1024
    del it
    assert stream.tell() == 16 * 1024


def test_sections_kept_past_the_next_step_are_empty():
    parser = RcsOutputFileParser(document(section(1, SHEAR), section(2, SHEAR)))
    kept = list(parser.section_results())
    assert [s.id_ for s in kept] == [1, 2]
    for s in kept:
        assert s.shear() == [] and s.extremes() == []
        element = s._element
        assert element.tag == "SectionConcreteCheckResult"
        assert len(element) == 0 and element.text is None and element.attrib == {}
        assert s._element is element
    # Reading before advancing gives the results.
    assert [len(s.shear()) for s in parser.section_results()] == [1, 1]


def test_a_changed_element_is_what_the_readers_see():
    parser = RcsOutputFileParser(document(section(1, SHEAR, SHEAR)))
    s = next(parser.section_results())
    extremes = s._element.find("ExtremeResults")
    extremes.remove(extremes[0])
    assert len(s.shear()) == 1
    s._element = ET.fromstring(section(9))
    assert s.shear() == [] and s.id_ == 1


def test_parse_errors_come_after_the_sections_before_them():
    good = section(1) + section(2)
    stream = io.BytesIO(("<r>" + good + "<broken></r>").encode())
    parser = RcsOutputFileParser(stream)
    it = parser.section_results()
    assert [next(it).id_, next(it).id_] == [1, 2]
    with pytest.raises(ET.ParseError, match="^mismatched tag"):
        next(it)
    with pytest.raises(StopIteration):
        next(it)  # an exception ends the scan


def test_text_streams_are_read():
    text = "<?xml version='1.0' encoding='utf-16'?><r>" + section(4) + "</r>"
    assert ids(RcsOutputFileParser(io.StringIO(text))) == [4]


def test_any_class_may_stand_for_the_section_result():
    class Plain:
        def __init__(self, id_, element):
            self.id_ = id_
            self.element = element

    class Other(RcsOutputFileParser):
        SectionResult = Plain

    it = Other(document(section(2, SHEAR))).section_results()
    s = next(it)
    assert type(s) is Plain and s.element.find("SectionId").text == "2"
    with pytest.raises(StopIteration):
        next(it)
    assert len(s.element) == 0  # cleared like any other section element


def test_large_sections_after_many_small_ones_read_as_elementtree_does():
    # Sections that span many reads after much that is finished: the tree drops what lies
    # before the open section while that section is still being parsed.
    rng = random.Random(5)

    def padded(section_id, leaves):
        pad = "".join(f'<L a="{j}" b="x{j % 7}">  {j}\n</L>\n   ' for j in range(leaves))
        return section(section_id, SHEAR, SHEAR, extra=f'<Pad k="{section_id}">{pad}</Pad>')

    parts = ['<r xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">']
    for i in range(120):
        parts.append(padded(i, 20000 if i % 40 == 39 else rng.randint(0, 40)) + "\n  ")
        if i % 50 == 7:
            parts.append(
                f"<Outer>{section(1000 + i, extra=f'<In>{padded(2000 + i, 50)}</In>')}</Outer>"
            )
    data = ("".join(parts) + "</r>").encode("utf-16")
    native = RcsOutputFileParser(io.BytesIO(data)).section_results()
    reference = OracleStreamParser(io.BytesIO(data)).section_results()
    count = 0
    inner = {}
    for a, b in zip(native, reference, strict=True):
        assert a.id_ == b.id_
        assert a.shear() == b.shear()
        assert ET.tostring(a._element) == ET.tostring(b._element)
        assert a._element.tail == b._element.tail
        inner[a.id_] = a._element
        if 1000 <= a.id_ < 2000:  # an outer section holds its inner one, the same element
            assert a._element.find(".//SectionConcreteCheckResult") is inner[a.id_ + 1000]
        count += 1
    assert count == 120 + 3 * 2  # three outer sections, each with one inside
    kept = []  # read natively only, then kept past later steps: empty, not recycled nodes
    for current in RcsOutputFileParser(io.BytesIO(data)).section_results():
        assert all(s.extremes() == [] for s in kept)
        current.shear()
        kept.append(current)


def test_section_results_speak_the_generator_protocol():
    parser = RcsOutputFileParser(document(section(0), section(1), section(2)))
    it = parser.section_results()
    with pytest.raises(TypeError, match="just-started generator"):
        it.send(1)
    assert it.send(None).id_ == 0
    assert it.send("ignored").id_ == 1
    with pytest.raises(KeyError):
        it.throw(KeyError("stop"))
    assert list(it) == []  # the thrown exception ended the scan
    it = parser.section_results()
    with pytest.raises(ValueError, match="given"):
        it.throw(ValueError, "given")


def whitespace_texts():
    """Texts and tails of every shape that indentation takes, and of a few it nearly takes."""
    texts = ["\n" + " " * n for n in (0, 1, 2, 7, 8, 9, 64, 126, 127, 128, 200)]
    texts += [" " * n for n in (1, 8, 126, 127, 128)]
    texts += ["\r\n    ", "\n\n  ", " \n", "\t ", "  \t", "\n   x", "x\n  ", "&#10;   ", "  &#32; "]
    texts += ["\n  <!--c-->  ", "  <?p d?>\n", "<![CDATA[\n  ]]>  ", "\n <![CDATA[ ]]>"]
    return texts


def test_whitespace_texts_and_tails_are_elementtrees():
    texts = whitespace_texts()
    leaves = "".join(f"<T>{t}<U>{t}</U>{t}</T>{t}" for t in texts)
    # The same texts in several sections: what one section stored is not reused by the next.
    body = "".join(section(i, SHEAR, extra=f"<W>{leaves}</W>") + texts[i] for i in range(4))
    text = f"<ArrayOfSectionConcreteCheckResult>{body}</ArrayOfSectionConcreteCheckResult>"
    for encoding in ("utf-8", "utf-16"):
        data = text.encode(encoding)
        native = RcsOutputFileParser(io.BytesIO(data)).section_results()
        reference = OracleStreamParser(io.BytesIO(data)).section_results()
        for a, b in zip(native, reference, strict=True):
            assert ET.tostring(a._element) == ET.tostring(b._element)
            assert a._element.tail == b._element.tail
        whole = OutputFileParser(io.BytesIO(data))._root
        assert ET.tostring(whole) == ET.tostring(ET.fromstring(data))
