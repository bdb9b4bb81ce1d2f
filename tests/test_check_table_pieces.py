"""One result file read in pieces on several threads, into its check table or its whole tree:
the table or the tree, and any error with the sections before it, are those of the same file
read in one pass, whatever the cuts fall on; a file that changes meanwhile is refused."""

import io
import os
import xml.etree.ElementTree as ET

import pytest
from hypothesis import HealthCheck, given, settings
from result_documents import documents, sample_document
from test_results_bad_input import BROKEN, chunk_boundary_documents

from marlox.external.idea_rcs import OutputFileParser, check_table, idea_rcs

FALSE_CUT = "<SectionConcreteCheckResult><SectionId>99</SectionId></SectionConcreteCheckResult>"
SAMPLE = sample_document(sections=3, extremes=1).decode("utf-16")
ROOT = SAMPLE.split(">")[1] + ">"  # the root's start tag
SECOND = "  <SectionConcreteCheckResult>\r\n    <SectionId>2</SectionId>"


def variant(*replacements, encoding="utf-16"):
    """The sample of three sections with each (old, new) replaced once, in `encoding`."""
    text = SAMPLE
    for old, new in replacements:
        assert old in text
        text = text.replace(old, new, 1)
    if encoding == "utf-16-be":
        return b"\xfe\xff" + text.encode(encoding)
    return text.replace('encoding="utf-16"', f'encoding="{encoding}"').encode(encoding)


@pytest.fixture(autouse=True)
def small_pieces():
    """Pieces of a few bytes, so that small documents are cut at their sections."""
    before = idea_rcs._set_min_piece(8)
    yield
    idea_rcs._set_min_piece(before)


def rows(table):
    """The rows, NaN made comparable."""
    return [{k: "nan" if v != v else v for k, v in row.items()} for row in table.to_pylist()]


def outcome(source, **options):
    try:
        table = check_table(source, **options)
        return rows(table), rows(table.overall)
    except Exception as e:  # noqa: BLE001 - the exception is the result compared
        return type(e), str(e), getattr(e, "code", None), getattr(e, "position", None)


ACCESSORS = ("capacity", "shear", "crack_width", "detailing", "stress_limitation", "fatigue")


def whole_outcome(data, threads):
    """The tree as text, its ids and what every accessor reads; or the error and its cause."""
    try:
        parser = OutputFileParser(io.BytesIO(data), threads=threads)
        ids = parser.section_ids
        read = [repr(getattr(parser, f"{a}_results")(i)) for i in ids[:3] for a in ACCESSORS]
        return ET.tostring(parser._root), ids, read
    except Exception as e:  # noqa: BLE001 - the exception is the result compared
        cause = e.__cause__
        return type(e), str(e), type(cause), str(cause), getattr(cause, "position", None)


def assert_pieces_agree(data, **options):
    one = outcome(data, threads=1, **options)
    whole = whole_outcome(data, threads=1) if not options else None
    for threads in (2, 5):
        assert outcome(data, threads=threads, **options) == one, threads
        if whole is not None:
            assert whole_outcome(data, threads) == whole, threads
    return one


# Documents whose cuts may fall where a section start tag is no section start, or that only a
# read in one pass can judge.
CUTS = {
    "comment": variant((SECOND, f"{SECOND}<!-- {FALSE_CUT} -->")),
    "comment between sections": variant((SECOND, f"<!--{FALSE_CUT}-->{SECOND}")),
    "cdata": variant((SECOND, f"{SECOND}<Note><![CDATA[{FALSE_CUT}]]></Note>")),
    "processing instruction": variant((SECOND, f"{SECOND}<?note {FALSE_CUT}?>")),
    "nested sections": variant((SECOND, SECOND + FALSE_CUT + FALSE_CUT)),
    "utf-8": variant((SECOND, f"{SECOND}<!-- {FALSE_CUT} -->"), encoding="utf-8"),
    "utf-16-be": variant(encoding="utf-16-be"),
    "container closed and opened again": variant(
        (ROOT, ROOT + "<a>"),
        (SECOND, '</a><a xmlns="urn:other">' + SECOND),
        ("</Array", "</a></Array"),
    ),
    "a container with more after it": variant(
        (ROOT, ROOT + "<Note/><a>\r\n"), ("</Array", "</a> tail <After>x</After>\r\n</Array")
    ),
    "comment before the first section": variant((ROOT, ROOT + "<!-- x -->")),
    "an attribute holding a >": variant((ROOT, ROOT[:-1] + ' a=">">')),
    "ids only the interpreter reads": variant(("<SectionId>2<", "<SectionId> 2_0 <")),
    "a value that is not a number": variant(
        (SECOND, SECOND), ("<CheckValue>0<", "<CheckValue>1,5<")
    ),
    "truncated": variant()[:-40],
    "junk after the root": variant() + "<r/>".encode("utf-16-le"),
}


@pytest.mark.parametrize("name", sorted(CUTS))
def test_cuts_anywhere_give_the_one_pass_outcome(name):
    assert_pieces_agree(CUTS[name])


@pytest.mark.parametrize("name", ["comment", "cdata", "container closed and opened again"])
def test_sections_that_are_no_sections_stay_out(name):
    rows, _ = assert_pieces_agree(CUTS[name])
    expected = [1] if name.startswith("container") else [1, 2, 3]
    assert sorted({r["section"] for r in rows}) == expected


@pytest.mark.parametrize("name", sorted(BROKEN))
def test_hostile_documents_fail_as_in_one_pass(name):
    assert_pieces_agree(BROKEN[name])


def truncations():
    """Every prefix of a document of four small sections, in UTF-8 and in UTF-16."""
    small = "".join(
        f"<SectionConcreteCheckResult><SectionId>{i}</SectionId></SectionConcreteCheckResult>"
        for i in range(4)
    )
    for encoding in ("utf-8", "utf-16"):
        data = f'<?xml version="1.0" encoding="{encoding}"?><r>{small}</r>'.encode(encoding)
        for end in range(len(data)):
            yield data[:end]


def test_failures_at_every_byte_and_read_boundary_are_those_of_one_pass():
    for data in truncations():
        assert_pieces_agree(data)
    for name, data in chunk_boundary_documents():
        assert outcome(data, threads=3) == outcome(data, threads=1), name


@settings(max_examples=60, deadline=None, suppress_health_check=[HealthCheck.too_slow])
@given(documents())
def test_generated_documents_read_in_pieces_as_in_one_pass(data):
    assert_pieces_agree(data)


@pytest.mark.parametrize("source", ["path", "stream"])
@pytest.mark.parametrize(
    "options",
    [{"sections": [3, 1]}, {"sections": [2, 9]}, {"families": "shear", "units": "engineering"}],
)
def test_a_file_in_pieces_filters_and_reports_as_in_one_pass(tmp_path, source, options):
    data = sample_document(sections=4, extremes=2)
    path = tmp_path / "r.xml"
    path.write_bytes(b"skipped" + data)
    reports = []
    with path.open("rb") as stream:
        stream.read(7)  # a stream is read from where it stands
        given = stream if source == "stream" else path
        if source == "path":
            path.write_bytes(data)
        read = outcome(given, threads=3, progress=reports.append, **options)
        assert stream.tell() == (7 if source == "path" else len(data) + 7)
    assert read == outcome(data, threads=1, **options)
    assert sum(reports) == len(data)


@pytest.mark.parametrize(
    "change",
    [
        lambda path: os.utime(path, ns=(0, 0)),
        lambda path: path.open("ab").write(b" "),
    ],
    ids=["modified", "grown"],
)
@pytest.mark.parametrize("source", ["path", "stream"])
def test_a_file_that_changes_while_read_in_pieces_is_refused(tmp_path, change, source):
    path = tmp_path / "r.xml"
    path.write_bytes(sample_document(sections=4, extremes=1))
    with path.open("rb") as stream, pytest.raises(RuntimeError, match="changed while it was read"):
        check_table(
            stream if source == "stream" else path, threads=2, progress=lambda n: change(path)
        )


def test_a_progress_callback_that_raises_stops_the_pieces(tmp_path):
    path = tmp_path / "r.xml"
    path.write_bytes(sample_document(sections=4, extremes=1))

    def stop(n):
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        check_table(path, threads=3, progress=stop)
    assert len(check_table(path, threads=3)) > 0  # nothing left running in the way


@pytest.mark.parametrize("threads, error", [(0, ValueError), (True, TypeError), ("2", TypeError)])
def test_threads_must_be_a_positive_int(threads, error):
    with pytest.raises(error, match="threads must be"):
        OutputFileParser(io.BytesIO(variant()), threads=threads)


def reopened_at(offset):
    """A document whose sections' container is closed and opened again in another namespace
    with its end tag at byte `offset`, about a third of the way in."""
    head = '<?xml version="1.0" encoding="utf-8"?><r><a>'

    def section(i, pad):
        tag = "SectionConcreteCheckResult"
        return f"<{tag}><SectionId>{i}</SectionId><Note>{'x' * pad}</Note></{tag}>"

    body, i = "", 1
    while len(head) + len(body) + 300 < offset:
        body += section(i, 100)
        i += 1
    body += section(i, offset - len(head) - len(body) - len(section(i, 0)))
    body += '</a><a xmlns="urn:other">'
    rest = "".join(section(j, 100) for j in range(i + 1, i + 4000))
    data = (head + body + rest + "</a></r>").encode()
    assert data.index(b"</a>") == offset
    return data, i


@pytest.mark.parametrize("before", [1, 2, 3, 4])
def test_a_container_closed_across_two_reads_of_a_piece_is_seen(before):
    # A piece reads 256 KiB at a time from its first section: the end tag straddles two reads.
    head = len('<?xml version="1.0" encoding="utf-8"?><r><a>')
    data, last = reopened_at(head + 2**18 - before)
    assert_pieces_agree(data)  # the trees as text: the sections after the end tag are namespaced
    assert (
        ET.tostring(OutputFileParser(io.BytesIO(data), threads=2)._root).count(
            b"<SectionConcreteCheckResult>"
        )
        == last
    )
