"""Parsing runs without the interpreter lock: other threads go on, two files parse side by side."""

import io
import threading
import time

import pytest

from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser

SHEAR = (
    b"<ConcreteCheckResults><CheckResults><ConcreteCheckResult><ResultType>Shear</ResultType>"
    b"<CheckResults><ConcreteCheckResultBase><Ved>1</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc>"
    b"<Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds><CheckValue>0.5</CheckValue>"
    b"<Result>Passed</Result></ConcreteCheckResultBase></CheckResults></ConcreteCheckResult>"
    b"</CheckResults></ConcreteCheckResults>"
)


def document(sections, extremes=10, first_id=0):
    parts = [b"<ArrayOfSectionConcreteCheckResult>"]
    for i in range(first_id, first_id + sections):
        parts.append(
            b"<SectionConcreteCheckResult><SectionId>%d</SectionId><ExtremeResults>%s"
            b"</ExtremeResults></SectionConcreteCheckResult>" % (i, SHEAR * extremes)
        )
    parts.append(b"</ArrayOfSectionConcreteCheckResult>")
    return b"".join(parts)


def test_other_threads_run_while_a_document_parses():
    data = document(6000, extremes=4)  # one expat call of a few hundred milliseconds
    started = time.perf_counter()
    OutputFileParser(io.BytesIO(data))
    alone = time.perf_counter() - started

    done = threading.Event()
    result = {}

    def parse():
        result["ids"] = len(OutputFileParser(io.BytesIO(data)).section_ids)
        done.set()

    worker = threading.Thread(target=parse)
    gaps = []
    last = time.perf_counter()
    worker.start()
    while not done.is_set():
        now = time.perf_counter()
        gaps.append(now - last)
        last = now
        time.sleep(0.0005)
    worker.join()
    assert result["ids"] == 6000
    # Holding the lock for the whole parse would stall this loop for about `alone`.
    assert max(gaps) < max(alone / 2, 0.05), (max(gaps), alone)


def test_two_files_parse_in_parallel_threads():
    files = [document(800, first_id=0), document(800, first_id=10_000)]
    results = [None, None]
    errors = []

    def scan(index):
        try:
            parser = RcsOutputFileParser(io.BytesIO(files[index]))
            total = []
            for s in parser.section_results():
                total.append((s.id_, len(s.shear()), s.shear()[0]["Vrds"]))
            results[index] = total
        except Exception as e:  # noqa: BLE001 - reported below
            errors.append(e)

    threads = [threading.Thread(target=scan, args=(i,)) for i in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == []
    assert results[0] == [(i, 10, 6.0) for i in range(800)]
    assert results[1] == [(i, 10, 6.0) for i in range(10_000, 10_800)]


def test_reading_a_section_while_another_thread_advances_the_scan():
    parser = RcsOutputFileParser(io.BytesIO(document(1500, extremes=3)))
    it = parser.section_results()
    current = [next(it)]
    stop = threading.Event()
    seen = []

    def reader():
        while not stop.is_set():
            s = current[0]
            seen.append(len(s.shear()))  # complete, or empty once the scan moved on
            s.extremes()

    threads = [threading.Thread(target=reader) for _ in range(2)]
    for t in threads:
        t.start()
    try:
        for s in it:
            current[0] = s
    finally:
        stop.set()
        for t in threads:
            t.join()
    assert set(seen) <= {0, 3}


def test_one_scan_is_not_resumed_from_two_threads_at_once():
    parser = RcsOutputFileParser(io.BytesIO(document(3000, extremes=2)))
    it = parser.section_results()
    ids = []
    failures = []

    def drain():
        while True:
            try:
                s = next(it)
            except StopIteration:
                return
            except ValueError as e:
                failures.append(str(e))
                continue
            ids.append(s.id_)

    threads = [threading.Thread(target=drain) for _ in range(3)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert sorted(ids) == list(range(3000))  # each section once, none lost or repeated
    assert set(failures) <= {"generator already executing"}


@pytest.mark.parametrize("parsers", [1, 2], ids=["one parser", "two parsers"])
def test_one_stream_scanned_twice_at_once_fails_loudly_or_reads_everything(parsers):
    """Two scans share a stream: each must read all of it or raise, never a mix."""
    data = document(1500, extremes=2)
    expected = [(i, 2, 6.0) for i in range(1500)]
    outcomes = []

    def scan(parser, start):
        start.wait()
        try:
            got = [(s.id_, len(s.shear()), s.shear()[0]["Vrds"]) for s in parser.section_results()]
            outcomes.append("whole" if got == expected else f"mixed: {len(got)} sections")
        except RuntimeError as e:
            outcomes.append("clash" if "another scan used" in str(e) else repr(e))
        except Exception as e:  # noqa: BLE001 - a ParseError of bytes read by the other scan
            outcomes.append(repr(e))

    for _ in range(12):
        stream, start = io.BytesIO(data), threading.Barrier(2)
        made = [RcsOutputFileParser(stream) for _ in range(parsers)]
        threads = [threading.Thread(target=scan, args=(made[i % parsers], start)) for i in (0, 1)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
    assert set(outcomes) <= {"whole", "clash"}, outcomes
    assert "clash" in outcomes

    # A scan inside another's loop, in one thread, is the same clash.
    parser = RcsOutputFileParser(io.BytesIO(data))
    with pytest.raises(RuntimeError, match="one scan at a time"):
        for _ in parser.section_results():
            parser.section_result(3)
    assert [s.id_ for s in parser.section_results()] == list(range(1500))
