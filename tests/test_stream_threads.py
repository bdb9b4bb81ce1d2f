"""section_results(threads=N): a file's pieces parsed on threads, its sections handed out in
document order. Every section's id and readers, and any error with its message, position and
the sections before it, are those of one pass, whatever the cuts fall on; sections go stale as
in one pass; a scan stopped early leaves no thread behind and has not read the whole file."""

import contextlib
import io
import os
import signal
import xml.etree.ElementTree as ET

import pytest
from hypothesis import HealthCheck, given, settings
from result_documents import SAMPLE, documents, sample_document
from test_check_table_pieces import CUTS, truncations
from test_results_bad_input import BROKEN, chunk_boundary_documents

from marlox.external.idea_rcs import RcsOutputFileParser, idea_rcs

READERS = (
    "capacity",
    "shear",
    "torsion",
    "interaction",
    "crack_width",
    "detailing",
    "stress_limitation",
    "fatigue",
    "extremes",
)


@contextlib.contextmanager
def min_piece(size):
    before = idea_rcs._set_min_piece(size)
    try:
        yield
    finally:
        idea_rcs._set_min_piece(before)


@pytest.fixture(autouse=True)
def small_pieces():
    """Pieces of a few bytes, so that small documents are cut at their sections."""
    with min_piece(8):
        yield


def scan(stream, threads):
    """Each section's id and what every reader reads; then the error that ended the scan."""
    read = []
    try:
        for s in RcsOutputFileParser(stream).section_results(threads=threads):
            read.append((s.id_, [repr(getattr(s, r)()) for r in READERS]))
    except Exception as e:  # noqa: BLE001 - the exception is the result compared
        return read, (type(e), str(e), getattr(e, "code", None), getattr(e, "position", None))
    return read, None


def assert_threads_agree(data, path=None):
    one = scan(io.BytesIO(data), 1)
    for threads in (2, 3):
        assert scan(io.BytesIO(data), threads) == one, threads
    # Pieces of several sections each (above, a section is a piece).
    with min_piece(max(8, len(data) // 10)):
        assert scan(io.BytesIO(data), 2) == one
    if path is not None:
        path.write_bytes(data)
        with path.open("rb") as f:
            assert scan(f, 2) == one
    return one


def generated(sections, extremes=1):
    return sample_document(sections=sections, extremes=extremes)


def test_samples_and_a_generated_file_read_alike(tmp_path):
    read, error = assert_threads_agree(SAMPLE.read_bytes(), tmp_path / "r.xml")
    assert error is None and len(read) == 1  # one section: read in one pass
    begun = idea_rcs._stream_pieces_begun()
    read, error = assert_threads_agree(generated(40, 2), tmp_path / "r.xml")
    assert error is None and len(read) == 40
    assert idea_rcs._stream_pieces_begun() - begun >= 3 * 40  # a piece a section, each time


@pytest.mark.parametrize("name", sorted(CUTS))
def test_cuts_on_no_section_start_give_the_one_pass_outcome(name):
    assert_threads_agree(CUTS[name])


@pytest.mark.parametrize("name", sorted(BROKEN))
def test_hostile_documents_fail_as_in_one_pass(name):
    assert_threads_agree(BROKEN[name])


def test_failures_at_every_byte_and_read_boundary_are_those_of_one_pass():
    for data in truncations():
        assert_threads_agree(data)
    for name, data in chunk_boundary_documents():
        assert scan(io.BytesIO(data), 3) == scan(io.BytesIO(data), 1), name


def malformed_at(text, section, replacement):
    """`text` with the SectionId of section `section` (counted from 1) replaced."""
    marker = f"<SectionId>{section}</SectionId>"
    assert marker in text
    return text.replace(marker, replacement, 1)


@pytest.mark.parametrize(
    "replacement",
    [
        "<SectionId>5</SectionId><b>&nope;</b>",  # a parse error: the piece fails
        "<SectionId>5</SectionId><b>",  # a piece left unclosed
        "<SectionId>five</SectionId>",  # read by the scan itself: ValueError
        "<Other/>",  # no id: AttributeError
    ],
)
def test_a_malformed_section_in_the_middle_ends_the_scan_as_in_one_pass(replacement):
    text = generated(12).decode("utf-16")
    read, error = assert_threads_agree(malformed_at(text, 5, replacement).encode("utf-16"))
    assert [i for i, _ in read] == [1, 2, 3, 4] and error is not None
    # Near a cut, which falls on each section's start tag: the last byte of a piece, the first.
    cut = text.rindex("<SectionConcreteCheckResult", 0, text.index("<SectionId>6<"))
    for at in (cut, cut + 1):
        read, error = assert_threads_agree((text[:at] + "&" + text[at:]).encode("utf-16"))
        assert len(read) == 5 and error[0] is ET.ParseError


@settings(max_examples=40, deadline=None, suppress_health_check=[HealthCheck.too_slow])
@given(documents())
def test_generated_documents_read_on_threads_as_in_one_pass(data):
    assert_threads_agree(data)


@pytest.mark.parametrize("piece", [8, 300_000], ids=["a section a piece", "several a piece"])
def test_sections_handed_out_earlier_are_stale_as_in_one_pass(piece):
    data = generated(10, 2)
    idea_rcs._set_min_piece(piece)
    for threads in (1, 2):
        sections = list(RcsOutputFileParser(io.BytesIO(data)).section_results(threads=threads))
        assert [s.id_ for s in sections] == list(range(1, 11))
        assert all(s.extremes() == [] and s.shear() == [] for s in sections), threads
        assert all(len(s._element) == 0 for s in sections), threads
        kept = None
        for s in RcsOutputFileParser(io.BytesIO(data)).section_results(threads=threads):
            if kept is not None:
                assert kept.capacity() == [] and len(s.capacity()) == 2
            element = s._element  # an element made for a section is cleared with it
            kept = s
        assert len(element) == 0 and kept.capacity() == []


def tasks():
    return len(os.listdir("/proc/self/task"))


@pytest.mark.parametrize("stop", ["close", "break"])
def test_an_early_stop_joins_the_workers_and_reads_little(tmp_path, stop):
    path = tmp_path / "r.xml"
    path.write_bytes(generated(60))
    before, begun = tasks(), idea_rcs._stream_pieces_begun()
    with path.open("rb") as f:
        it = RcsOutputFileParser(f).section_results(threads=2)
        if stop == "close":
            next(it)
            it.close()
        else:
            for _ in it:
                break
            del it
        assert f.tell() == 0  # the pieces are read by offset: the stream stays where it was put
    assert tasks() == before
    # The section handed out and at most the window of two pieces a thread besides.
    assert idea_rcs._stream_pieces_begun() - begun <= 1 + 2 * 2


def test_an_interrupt_while_the_scan_waits_for_a_piece_ends_the_scan():
    """The scan waits for its first piece (tens of MB) with the signals let through."""
    idea_rcs._set_min_piece(30_000_000)
    data = generated(1000, 2)  # about 64 MB: two pieces of about 32 MB
    before = tasks()

    def interrupt(signum, frame):
        raise KeyboardInterrupt

    it = RcsOutputFileParser(io.BytesIO(data)).section_results(threads=2)
    old = signal.signal(signal.SIGALRM, interrupt)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.01)
        with pytest.raises(KeyboardInterrupt):
            next(it)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, old)
    assert next(it, None) is None  # raised inside the scan, which it ended
    assert tasks() == before


@pytest.mark.parametrize(
    "change",
    [
        lambda path: os.utime(path, ns=(0, 0)),
        lambda path: path.open("ab").write(b" "),
        lambda path: os.truncate(path, path.stat().st_size // 2),
    ],
    ids=["modified", "grown", "truncated"],
)
def test_a_file_that_changes_while_read_in_pieces_is_refused(tmp_path, change):
    path = tmp_path / "r.xml"
    path.write_bytes(generated(30))
    with path.open("rb") as f:
        it = RcsOutputFileParser(f).section_results(threads=2)
        assert next(it).id_ == 1
        change(path)
        with pytest.raises(RuntimeError, match="changed while it was read in pieces"):
            for _ in it:
                pass


def test_stream_positions_and_lookups_around_a_threaded_scan():
    stream = io.BytesIO(generated(8))
    stream.seek(100)
    parser = RcsOutputFileParser(stream)
    assert [s.id_ for s in parser.section_results(threads=None)] == list(range(1, 9))
    assert stream.tell() == 100
    assert parser.section_result(7).id_ == 7 and stream.tell() == 100
    # Another scan of the stream inside the loop takes it over, as in one pass.
    with pytest.raises(RuntimeError, match="one scan at a time"):
        for _ in parser.section_results(threads=2):
            parser.section_result(3)


@pytest.mark.parametrize("threads, error", [(0, ValueError), (True, TypeError), ("2", TypeError)])
def test_threads_must_be_a_positive_int(threads, error):
    with pytest.raises(error, match="threads must be"):
        RcsOutputFileParser(io.BytesIO(generated(2))).section_results(threads=threads)
