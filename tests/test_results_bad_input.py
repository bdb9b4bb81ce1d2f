"""Hostile and broken result files: the outcome is ElementTree's own, memory stays bounded.

Each broken document is given to both parsers and to ElementTree directly (``iterparse`` for the
streaming parser, ``fromstring`` for the whole-document one); the exception type, message,
``code`` and ``position`` must be the same. The large cases run in a child interpreter so that
its peak memory can be read.
"""

import io
import json
import os
import subprocess
import sys
import textwrap
import xml.etree.ElementTree as ET

import pytest
from results_oracle import OracleStreamParser

from marlox.errors import ParsingError
from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser

SECTION = b"<SectionConcreteCheckResult><SectionId>1</SectionId></SectionConcreteCheckResult>"


def laughs(levels=10):
    entities = b'<!ENTITY lol0 "lol">'
    for i in range(1, levels):
        entities += b'<!ENTITY lol%d "%s">' % (i, b"&lol%d;" % (i - 1) * 10)
    return (
        b'<?xml version="1.0"?><!DOCTYPE r ['
        + entities
        + b"]><r>"
        + SECTION
        + b"<b>&lol%d;</b></r>" % (levels - 1)
    )


BROKEN = {
    "not xml": b"this is not XML",
    "empty": b"",
    "truncated": b"<r>" + SECTION + b"<b>",
    "truncated in a section": b"<r><SectionConcreteCheckResult><SectionId>1</Sect",
    "junk after the root": b"<r>" + SECTION + b"</r><r/>",
    "utf-16 bytes declared utf-8": '<?xml version="1.0" encoding="utf-8"?><r/>'.encode("utf-16"),
    "utf-8 bytes declared utf-16": b'<?xml version="1.0" encoding="utf-16"?><r/>',
    "unknown encoding": b'<?xml version="1.0" encoding="no-such-codec"?><r/>',
    "multi-byte encoding": b'<?xml version="1.0" encoding="shift_jis"?><r/>',
    "billion laughs": laughs(),
    "undefined entity": b"<r>" + SECTION + b"<b>&nope;</b></r>",
    "undefined entity with external subset": (
        b'<!DOCTYPE r SYSTEM "r.dtd"><r>' + SECTION + b"<b>&nope;</b>" + SECTION + b"</r>"
    ),
    "unbound prefix": b"<r>" + SECTION + b"<x:b/></r>",
    "invalid character": b"<r>" + SECTION + b"<b>\x01</b></r>",
    "bad utf-8": b"<r>" + SECTION + b"<b>\xff\xfe</b></r>",
    "duplicate attribute": b'<r a="1" a="2"/>',
    "nul byte": b"<r>\x00</r>",
}


# Under AddressSanitizer freed memory stays in quarantine: resident sizes say nothing there.
measures_memory = pytest.mark.skipif(
    os.environ.get("MARLOX_SANITIZED") == "1", reason="resident size under a sanitizer"
)


def failure(call):
    try:
        return ("ok", call())
    except Exception as e:  # noqa: BLE001 - the exception is the result compared
        return (type(e), str(e), getattr(e, "code", None), getattr(e, "position", None))


def scan_until_failure(sections):
    """The ids handed out before any failure, and the failure as failure() gives it."""
    seen = []
    try:
        for section_id in sections:
            seen.append(section_id)
    except Exception as e:  # noqa: BLE001 - the exception is the result compared
        return seen, (type(e), str(e), getattr(e, "code", None), getattr(e, "position", None))
    return seen, None


def reference_ids(data):
    for _event, element in ET.iterparse(io.BytesIO(data), events=("end",)):
        if element.tag == "SectionConcreteCheckResult":
            yield int(element.find("SectionId").text)


def native_ids(data):
    return (s.id_ for s in RcsOutputFileParser(io.BytesIO(data)).section_results())


@pytest.mark.parametrize("name", sorted(BROKEN))
def test_failures_and_the_sections_before_them_are_elementtrees(name):
    data = BROKEN[name]
    assert scan_until_failure(native_ids(data)) == scan_until_failure(reference_ids(data))
    # The whole-document parser: ElementTree's ParseError becomes the cause of a ParsingError,
    # anything else passes through unchanged.
    reference = failure(lambda: ET.fromstring(data))
    native = failure(lambda: OutputFileParser(io.BytesIO(data)).section_ids)
    if reference[0] is not ET.ParseError:
        assert native == reference
        return
    assert native[:2] == (ParsingError, "Provided 'xml_file' is not a valid XML file.")
    try:
        OutputFileParser(io.BytesIO(data))
    except ParsingError as e:
        c = e.__cause__
        assert (type(c), str(c), c.code, c.position) == reference


def run_child(code):
    """Run `code` in a child interpreter; it prints a JSON line that is returned."""
    prelude = textwrap.dedent(
        """
        import io, json, resource, sys
        from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser
        def peak_mb():
            return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
        """
    )
    out = subprocess.run(
        [sys.executable, "-c", prelude + textwrap.dedent(code)],
        capture_output=True,
        text=True,
        timeout=300,
        check=True,
    )
    return json.loads(out.stdout.strip().splitlines()[-1])


@measures_memory
def test_billion_laughs_is_refused_without_blowing_up():
    result = run_child(
        f"""
        data = {laughs(12)!r}
        before = peak_mb()
        try:
            list(RcsOutputFileParser(io.BytesIO(data)).section_results())
            error = None
        except Exception as e:
            error = type(e).__name__
        print(json.dumps({{"error": error, "grown": peak_mb() - before}}))
        """
    )
    assert result["error"] == "ParseError"
    assert result["grown"] < 50


def test_deep_nesting_inside_and_outside_sections():
    result = run_child(
        """
        depth = 100_000
        inner = b"<x>" * depth + b"</x>" * depth
        section = (b"<SectionConcreteCheckResult><SectionId>1</SectionId>" + inner
                   + b"</SectionConcreteCheckResult>")
        data = b"<r>" + inner + section + b"</r>"
        ids = []
        for s in RcsOutputFileParser(io.BytesIO(data)).section_results():
            ids.append((s.id_, s.extremes(), len(s._element)))
        whole = OutputFileParser(io.BytesIO(data))
        try:
            whole.raw_results()
            raw = "ok"
        except RecursionError:
            raw = "RecursionError"
        print(json.dumps({"ids": ids, "sections": whole.section_ids, "raw": raw}))
        """
    )
    assert result == {"ids": [[1, [], 2]], "sections": [1], "raw": "RecursionError"}


def test_nested_sections_read_as_elementtree_does():
    def section_open(section_id):
        return b"<SectionConcreteCheckResult><SectionId>%d</SectionId>" % section_id

    nested = b"".join(map(section_open, range(3000))) + b"</SectionConcreteCheckResult>" * 3000
    data = b"<r>" + nested + section_open(7) + b"</SectionConcreteCheckResult></r>"

    def shapes(parser_class):
        sections = parser_class(io.BytesIO(data)).section_results()
        return [(s.id_, s.extremes(), sum(1 for _ in s._element.iter())) for s in sections]

    assert shapes(RcsOutputFileParser) == shapes(OracleStreamParser)


def resident_bytes():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


@measures_memory
def test_storage_of_a_huge_section_is_given_back_before_the_next_one_is_handed_out():
    text = b"<T>" + b"x" * 64_000_000 + b"</T></SectionConcreteCheckResult>"
    huge = SECTION.replace(b"</SectionConcreteCheckResult>", text)
    data = b"<r>" + huge + SECTION.replace(b">1<", b">2<") + b"</r>"
    before = resident_bytes()
    for section in RcsOutputFileParser(io.BytesIO(data)).section_results():
        if section.id_ == 2:
            assert resident_bytes() - before < 16 << 20


@measures_memory
def test_a_100_mb_text_node():
    result = run_child(
        """
        size = 100 * 1024 * 1024
        outside = b"<r><b>" + b"x" * size + b"</b><SectionConcreteCheckResult><SectionId>2"
        outside += b"</SectionId></SectionConcreteCheckResult></r>"
        before = peak_mb()
        ids = [s.id_ for s in RcsOutputFileParser(io.BytesIO(outside)).section_results()]
        grown_outside = peak_mb() - before
        del outside
        inside = (b"<r><SectionConcreteCheckResult><SectionId>3</SectionId><b>"
                  + b"y" * size + b"</b></SectionConcreteCheckResult></r>")
        it = RcsOutputFileParser(io.BytesIO(inside)).section_results()
        s = next(it)
        text_length = len(s._element.find("b").text)
        print(json.dumps({"ids": ids, "grown_outside": grown_outside, "text": text_length}))
        """
    )
    assert result["ids"] == [2]
    assert result["grown_outside"] < 40  # the text outside every section is never kept
    assert result["text"] == 100 * 1024 * 1024


@measures_memory
def test_memory_stays_bounded_over_many_sections():
    result = run_child(
        """
        extreme = (b"<ConcreteCheckResults><CheckResults><ConcreteCheckResult><ResultType>Shear"
                   b"</ResultType><CheckResults><ConcreteCheckResultBase>"
                   + b"".join(b"<%s>1.5</%s>" % (k, k) for k in
                              [b"Ved", b"Vrd", b"Vrdc", b"Vrdmax", b"Vrdr", b"Vrds", b"CheckValue"])
                   + b"<Result>Passed</Result></ConcreteCheckResultBase></CheckResults>"
                   b"</ConcreteCheckResult></CheckResults></ConcreteCheckResults>")
        def doc(n):
            parts = [b"<r>"]
            for i in range(n):
                parts.append(b"<SectionConcreteCheckResult><SectionId>%d</SectionId>"
                             b"<ExtremeResults>%s</ExtremeResults></SectionConcreteCheckResult>"
                             % (i, extreme * 20))
            parts.append(b"</r>")
            return b"".join(parts)
        small, large = doc(200), doc(4000)
        def scan(data):
            before = peak_mb()
            count = 0
            for s in RcsOutputFileParser(io.BytesIO(data)).section_results():
                count += len(s.shear())
            return count, peak_mb() - before
        print(json.dumps({"small": scan(small), "large": scan(large), "size": len(large)}))
        """
    )
    assert result["small"][0] == 200 * 20 and result["large"][0] == 4000 * 20
    assert result["size"] > 25 * 1024 * 1024
    assert result["large"][1] < 30  # far below the document's size


def chunk_boundary_documents():
    body = "".join(
        f"<SectionConcreteCheckResult><SectionId>{i}</SectionId><Note>ä{'x' * (i % 13)}€</Note>"
        "</SectionConcreteCheckResult>\r\n  "
        for i in range(700)
    )
    text = '<?xml version="1.0" encoding="{}"?>\r\n<r>' + body + "</r>"
    for encoding in ("utf-8", "utf-16"):
        data = text.format(encoding).encode(encoding)
        assert len(data) > 3 * 16 * 1024
        for boundary in (16 * 1024, 2 * 16 * 1024):
            for delta in range(-3, 4):
                cut = boundary + delta
                yield f"{encoding}-cut-{cut}", data[:cut]
                yield f"{encoding}-junk-{cut}", data[:cut] + b"<" + data[cut:]
                yield f"{encoding}-drop-{cut}", data[:cut] + data[cut + 1 :]


def test_failures_at_read_boundaries_are_elementtrees():
    for name, data in chunk_boundary_documents():
        assert scan_until_failure(native_ids(data)) == scan_until_failure(reference_ids(data)), name
