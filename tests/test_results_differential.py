"""The native result parsers against the ElementTree reference readers, document by document.

Every observable is compared: section ids, their types and order, each family's list with its
key order and value types, ``extremes()``, exceptions as (type, message), the stream position
after a scan or a lookup, sections kept past the next step, and everything ``OutputFileParser``
answers. Floats are compared by ``repr`` so that -0.0, NaN and infinities count.
"""

import gc
import importlib.util
import io
import math
import weakref
import xml.etree.ElementTree as ET
from pathlib import Path

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from result_documents import (
    BAD_NUMBERS,
    ODD_NUMBERS,
    Node,
    documents,
    extreme,
    family,
    item,
    leaf,
    path_trees,
    render,
    result_root,
    sample_document,
    section_node,
)
from results_oracle import OracleStreamParser, OracleWholeParser

from marlox.errors import ParsingError
from marlox.external.idea_rcs import OutputFileParser, RcsOutputFileParser

READERS = tuple(
    "capacity shear torsion interaction crack_width detailing stress_limitation fatigue "
    "extremes".split()
)
ACCESSORS = tuple(
    "capacity_results shear_results crack_width_results detailing_results "
    "stress_limitation_results fatigue_results".split()
)
SAMPLE = Path(__file__).parent / "data" / "rcs-result-synthetic.xml"
SHEAR_KEYS = ("Ved", "Vrd", "Vrdc", "Vrdmax", "Vrdr", "Vrds")


def examples(count):
    return settings(
        max_examples=count,
        deadline=None,
        suppress_health_check=[HealthCheck.too_slow, HealthCheck.data_too_large],
    )


def canon(value):
    """A form of ``value`` whose equality also means equal key order and equal value types."""
    if isinstance(value, dict):
        return ("dict", [(canon(k), canon(v)) for k, v in value.items()])
    if isinstance(value, list):
        return ("list", [canon(v) for v in value])
    if isinstance(value, float):
        return ("float", "nan" if math.isnan(value) else repr(value))
    if value is None or isinstance(value, str | int):
        return (type(value).__name__, value)
    return ("other", type(value).__name__, repr(value))


def error(exc):
    return ("error", type(exc), str(exc))


def outcome(call):
    try:
        return ("ok", canon(call()))
    except Exception as exc:  # every exception is an observable here
        return error(exc)


def read_all(section):
    return [(name, outcome(getattr(section, name))) for name in READERS]


def scan(parser_class, data, offset):
    """One full pass of ``section_results()``, reading each section before moving on."""
    stream = io.BytesIO(data)
    stream.seek(offset)
    parser = parser_class(stream)
    log = []
    kept = []
    try:
        for section in parser.section_results():
            for old in kept:
                log.append(("stale", canon(old.id_), read_all(old)))
            log.append(("section", canon(section.id_), read_all(section)))
            kept.append(section)
        log.append(("end", stream.tell()))
    except Exception as exc:
        log.append(error(exc))
    for old in kept:
        log.append(("stale after the scan", canon(old.id_), read_all(old)))
    return log


def lookups(parser_class, data, offset, ids):
    stream = io.BytesIO(data)
    stream.seek(offset)
    parser = parser_class(stream)
    log = []
    for id_ in ids:
        try:
            section = parser.section_result(id_)
        except Exception as exc:
            log.append((repr(id_), error(exc)))
            if isinstance(exc, ParsingError):
                log.append(("position", stream.tell()))
            continue
        log.append((repr(id_), canon(section.id_), outcome(section.extremes)))
        log.append(("position", stream.tell()))
    return log


def whole(parser_class, content, ids):
    try:
        parser = parser_class(content)
    except Exception as exc:
        cause = exc.__cause__
        return [error(exc), ("cause", type(cause), str(cause) if cause else None)]
    log = [("ids", outcome(lambda: parser.section_ids)), ("raw", outcome(parser.raw_results))]
    for id_ in ids:
        for name in ACCESSORS:
            log.append((repr(id_), name, outcome(lambda: getattr(parser, name)(id_))))  # noqa: B023
    log.append(("stream untouched", content.tell(), content.closed))
    return log


def candidate_ids(data):
    """Ids worth looking up: the first few that the document has, and some it has not."""
    found = []
    try:
        for section in OracleStreamParser(io.BytesIO(data)).section_results():
            if section.id_ not in found:
                found.append(section.id_)
            if len(found) == 3:
                break
    except Exception:
        pass
    extra = [99]
    if found:
        extra += [str(found[0]), float(found[0])]
    return found + extra


def assert_same(native, oracle):
    assert len(native) == len(oracle), (native, oracle)
    for i, (n, o) in enumerate(zip(native, oracle, strict=True)):
        assert n == o, f"entry {i} differs:\nnative: {n!r}\noracle: {o!r}"


def as_text(data):
    """The document decoded, for a ``StringIO``; None when its bytes do not decode."""
    try:
        if data[:2] in (b"\xff\xfe", b"\xfe\xff"):
            return data.decode("utf-16")
        return data.decode("utf-8-sig")
    except UnicodeDecodeError:
        return None


# -- generated documents --


@examples(150)
@given(documents(), st.integers(0, 80))
def test_streaming_parser_matches_reference(data, offset):
    assert_same(scan(RcsOutputFileParser, data, offset), scan(OracleStreamParser, data, offset))
    ids = candidate_ids(data)
    assert_same(
        lookups(RcsOutputFileParser, data, offset, ids),
        lookups(OracleStreamParser, data, offset, ids),
    )


@examples(100)
@given(documents(), st.booleans())
def test_whole_document_parser_matches_reference(data, text):
    ids = candidate_ids(data)
    content = as_text(data) if text else None
    if content is None:
        native, oracle = io.BytesIO(data), io.BytesIO(data)
    else:
        native, oracle = io.StringIO(content), io.StringIO(content)
    assert_same(whole(OutputFileParser, native, ids), whole(OracleWholeParser, oracle, ids))


@examples(50)
@given(documents(allow_broken=False))
def test_section_result_over_a_caller_element_matches_reference(data):
    # SectionResult also wraps an ElementTree element built elsewhere (as OutputFileParser
    # does); it must read it exactly as the reference does.
    try:
        root = ET.fromstring(data)
    except ET.ParseError:
        return
    for element in root.iter("SectionConcreteCheckResult"):
        assert_same(
            read_all(RcsOutputFileParser.SectionResult(7, element)),
            read_all(OracleStreamParser.SectionResult(7, element)),
        )


# Any text XML can carry (no surrogates, controls or non-characters), and the odd numbers.
texts = st.one_of(
    st.text(
        st.characters(exclude_categories=("Cs", "Cc", "Cn")) | st.sampled_from("\t\n\r "),
        max_size=12,
    ),
    st.sampled_from(ODD_NUMBERS + BAD_NUMBERS),
)


@examples(100)
@given(st.lists(texts, min_size=7, max_size=7), st.sampled_from(["utf-16", "utf-8"]))
def test_any_leaf_text_is_converted_or_refused_as_the_reference_does(values, encoding):
    section_id, number, verdict, stress, type_check, check, result_type = values
    shear = item(**dict.fromkeys(SHEAR_KEYS, number), CheckValue="1", Result=verdict)
    limitation = item(Check="StressLimitationLong", TypeCheck=type_check, Stress=stress)
    limitation.add(leaf("CheckValue", "0.5"), leaf("Result", verdict))
    crack = item(Check=check, **dict.fromkeys("N My Mz W Wlim CheckValue Result".split(), "2"))
    families = [family("Shear", shear), family("StressLimitation", limitation)]
    families += [family("CrackWidth", crack), family(result_type, shear)]
    data = render(result_root([section_node(section_id, [extreme(*families)])]), encoding)
    assert_same(scan(RcsOutputFileParser, data, 0), scan(OracleStreamParser, data, 0))


@examples(150)
@given(
    st.lists(st.lists(path_trees, max_size=3), min_size=1, max_size=3),
    st.sampled_from(["Capacity", "Shear", "CrackWidth", "StressLimitation", "Fatigue", "X"]),
    st.lists(path_trees, max_size=4),
)
def test_paths_select_what_elementtree_selects(extremes, result_type, items):
    # Random nesting and mixed content over the tags and texts that the readers' paths name.
    check = Node("ConcreteCheckResultBase", children=items)
    extremes[0].append(Node("Wrapper", children=[family(result_type, check)]))
    section = section_node("1", [Node("E", children=trees) for trees in extremes])
    data = render(result_root([section]), encoding="utf-8")
    assert_same(scan(RcsOutputFileParser, data, 0), scan(OracleStreamParser, data, 0))
    element = ET.fromstring(data)[0]
    assert_same(
        read_all(RcsOutputFileParser.SectionResult(1, element)),
        read_all(OracleStreamParser.SectionResult(1, element)),
    )


# -- fixed documents for the cases that generation reaches only by luck --


def shear_only_in_second_of_three():
    shear = item(CheckValue="0.5", Result="OK", **dict.fromkeys(SHEAR_KEYS, "1.5"))
    extremes = [Node("ConcreteCheckResults"), extreme(family("Shear", shear)), Node("Other")]
    return render(result_root([section_node(" 12 ", extremes)]))


def one_extreme(result_type, *items):
    """A document of one section with one extreme holding one family of the given items."""
    items = "".join(f"<ConcreteCheckResultBase>{item}</ConcreteCheckResultBase>" for item in items)
    family = f"<ConcreteCheckResult><ResultType>{result_type}</ResultType><CheckResults>{items}"
    return (
        "<r><SectionConcreteCheckResult><SectionId>1</SectionId><ExtremeResults>"
        f"<ConcreteCheckResults><CheckResults>{family}</CheckResults></ConcreteCheckResult>"
        "</CheckResults></ConcreteCheckResults></ExtremeResults></SectionConcreteCheckResult></r>"
    ).encode()


def stress(check, type_check, text):
    return f"<Check>{check}</Check><TypeCheck>{type_check}</TypeCheck><Stress>{text}</Stress>" + (
        "<CheckValue>0.5</CheckValue><Result>Passed</Result>"
    )


def fatigue(max_mz, min_mz, *shears):
    forces = "<N>0</N><Qy>1</Qy><Qz>2</Qz><Mx>3</Mx><My>4</My><Mz>{}</Mz>"
    head = "<Check>Fatigue</Check><CheckValue>0.7</CheckValue><DecissionMethod>M</DecissionMethod>"
    head += "<Result>Passed</Result>" + "".join(
        f"<{tag}>{forces.format(mz)}</{tag}>" if mz is not None else ""
        for tag, mz in (("InternalForceMax", max_mz), ("InternalForceMin", min_mz))
    )
    shear = "<Ved>{}</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc><Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds>"
    shear += "<CheckValue>0.5</CheckValue><Result>OK</Result>"
    items = [
        f"<Check>Shear</Check><InternalFores>{forces.format(mz)}</InternalFores>"
        + (shear.format(ved))
        for mz, ved in shears
    ]
    return one_extreme("Fatigue", head, *items)


# Reading rules stated by value: force sets, NaN stresses, first items, shear matched by text.
READER_RULES = {
    "capacity force sets": one_extreme(
        "Capacity",
        "<Fu><N>1</N><My>2</My><N>3</N></Fu><Fu1/><Fu2/><CheckValue> 0.25 </CheckValue>"
        "<Result>Passed</Result>",
    ),
    "capacity without Fu1": one_extreme("Capacity", "<Fu><N>1</N></Fu><Fu2/>"),
    "capacity force without text": one_extreme("Capacity", "<Fu><N/></Fu><Fu1/><Fu2/>"),
    "capacity force set with a loading": one_extreme(
        "Capacity", "<Fu><Loading>LC1</Loading><N>1</N></Fu><Fu1/><Fu2/>"
    ),
    "stress limitation NaN rules": one_extreme(
        "StressLimitation",
        stress("StressLimitationLong", "Check_7_2_5_ReinforcementBars_fyk", "-nan"),
        stress("StressLimitationShort", "Check_7_2_2_Concrete_fck", "-1.5e6"),
        stress("StressLimitationShort", "Check_7_2_3_Concrete_fck", "NaN"),
        stress("StressLimitationShort", "notSet", ""),
        stress("StressLimitationLong", "Check_7_2_2_Concrete_fck", "nan "),
    ),
    "stress without text": one_extreme(
        "StressLimitation", stress("StressLimitationShort", "Check_7_2_2_Concrete_fck", "")
    ),
    "stress of a stage": one_extreme(
        "StressLimitation", stress("StressLimitationStage", "Check_7_2_2_Concrete_fck", "1")
    ),
    "crack width, first item of a term": one_extreme(
        "CrackWidth",
        *(
            f"<Check>CrackWidth{term}</Check><N>0</N><My>8</My><Mz>7</Mz><W>{w}</W><Wlim>3</Wlim>"
            "<CheckValue>NaN</CheckValue><Result> ok </Result>"
            for term, w in (("Short", "0.2"), ("Short", "1"), ("Long", "2"))
        ),
    ),
    "detailing without shear value": one_extreme(
        "Detailing",
        "<CheckValueLongReinf>0.3</CheckValueLongReinf><CheckValue>0.4</CheckValue>"
        "<Result>Passed</Result>",
    ),
    "fatigue shear matched by text": fatigue("5", "5.0", ("5", 10), ("5.00", 20), ("5.0", 30)),
    "fatigue, one shear for both": fatigue("5", "5", ("5", 10)),
    "fatigue without maximum": fatigue(None, "5", ("5", 10)),
    "fatigue without maximum nor shear": fatigue(None, "5"),
    # One item found under several checks and terms; a check's items in document order.
    "stress item of two terms and two checks": one_extreme(
        "StressLimitation",
        stress("StressLimitationLong", "Check_7_2_3_Concrete_fck", "1"),
        "<Check>StressLimitationShort</Check><Check>StressLimitationLong</Check>"
        "<TypeCheck>Check_7_2_2_Concrete_fck</TypeCheck><TypeCheck>Check_7_2_3_Concrete_fck"
        "</TypeCheck><Stress>2</Stress><CheckValue>0.5</CheckValue><Result>Passed</Result>",
        stress("StressLimitationShort", "Check_7_2_3_Concrete_fck", "3"),
    ),
    # Leaves taken from the first fatigue item that has each; an item that is fatigue and shear.
    "fatigue leaves from several items": one_extreme(
        "Fatigue",
        "<Check>Fatigue</Check><Result>First</Result>",
        "<Check>Shear</Check><Check>Fatigue</Check><CheckValue>0.5</CheckValue>"
        "<DecissionMethod>M</DecissionMethod><InternalForceMax><N>1</N></InternalForceMax>"
        "<InternalForceMin><N>2</N></InternalForceMin><Ved>1</Ved><Vrd>2</Vrd><Vrdc>3</Vrdc>"
        "<Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds><Result>Second</Result>",
        "<Check>Shear</Check><InternalFores><N>2</N></InternalFores><Ved>1</Ved><Vrd>2</Vrd>"
        "<Vrdc>3</Vrdc><Vrdmax>4</Vrdmax><Vrdr>5</Vrdr><Vrds>6</Vrds><CheckValue>1</CheckValue>"
        "<Result>OK</Result>",
    ),
}


def fixed_documents():
    sample = open(SAMPLE, "rb").read()
    utf8 = sample.decode("utf-16").replace('encoding="utf-16"', 'encoding="utf-8"').encode()
    section = "<SectionConcreteCheckResult><SectionId>1</SectionId></SectionConcreteCheckResult>"
    return {
        "sample": sample,
        "sample as UTF-8": utf8,
        "generated, as RCS writes": sample_document(sections=3, extremes=2),
        "shear only in the second of three extremes": shear_only_in_second_of_three(),
        "no sections": render(result_root([])),
        "duplicate ids": render(
            result_root([section_node("3", []), section_node("3", [Node("X")])])
        ),
        "section without SectionId": render(result_root([Node("SectionConcreteCheckResult")])),
        "SectionId 3.0": render(result_root([section_node("3.0", [])])),
        "signed and padded ids": render(
            result_root([section_node(" -4 ", [Node("X")]), section_node("+3", [])])
        ),
        "empty": b"",
        "not XML": b"this is not XML",
        "cut short": sample[: len(sample) // 2],
        "UTF-8 bytes declared UTF-16": utf8.replace(b'encoding="utf-8"', b'encoding="utf-16"'),
        "UTF-16 without BOM": '<?xml version="1.0" encoding="utf-16"?><A/>'.encode("utf-16-le"),
        "BOM without declaration": b"\xff\xfe" + section.encode("utf-16-le"),
        "declared windows-1250": (
            '<?xml version="1.0" encoding="windows-1250"?><A>' + section + "<B>\u0161</B></A>"
        ).encode("cp1250"),
        "default namespace": f'<A xmlns="urn:x">{section}</A>'.encode(),
        "prefixed names": (
            b'<A xmlns:p="urn:p"><p:SectionConcreteCheckResult><SectionId>1</SectionId>'
            b'</p:SectionConcreteCheckResult><SectionConcreteCheckResult p:a="1">'
            b"<p:SectionId>2</p:SectionId><SectionId>3</SectionId></SectionConcreteCheckResult></A>"
        ),
        "SectionId with a child": b"<A><SectionConcreteCheckResult><SectionId>1<x/>2</SectionId>"
        b"</SectionConcreteCheckResult></A>",
        "character reference to NUL": b"<A><SectionConcreteCheckResult><SectionId>&#0;"
        b"</SectionId></SectionConcreteCheckResult></A>",
        "two root elements": f"<A>{section}</A><A/>".encode(),
        "nested 1500 deep": f"<A>{section}".encode() + b"<d>" * 1500 + b"</d>" * 1500 + b"</A>",
        **READER_RULES,
    }


@pytest.mark.parametrize("offset", [0, 100])
@pytest.mark.parametrize("name", list(fixed_documents()))
def test_streaming_parser_on_fixed_documents(name, offset):
    data = fixed_documents()[name]
    offset = min(offset, len(data))
    assert_same(scan(RcsOutputFileParser, data, offset), scan(OracleStreamParser, data, offset))
    ids = candidate_ids(data) + [1, 3, True, None, "3", 3.0, 12.5]
    assert_same(
        lookups(RcsOutputFileParser, data, offset, ids),
        lookups(OracleStreamParser, data, offset, ids),
    )


@pytest.mark.parametrize("name", list(fixed_documents()))
def test_whole_document_parser_on_fixed_documents(name):
    data = fixed_documents()[name]
    ids = candidate_ids(data) + [1, 3, "3", 3.0, True]
    assert_same(
        whole(OutputFileParser, io.BytesIO(data), ids),
        whole(OracleWholeParser, io.BytesIO(data), ids),
    )


class NoTell:
    def read(self, size=-1):
        return b""

    def seek(self, pos, whence=0):
        return 0


class NoSeek:
    def read(self, size=-1):
        return b""

    def tell(self):
        return 0


def test_streams_without_tell_or_seek_fail_as_the_reference_does():
    def steps(parser_class, stream):
        log = []
        try:
            parser = parser_class(stream)
            log.append("constructed")
            results = parser.section_results()  # nothing runs before the first item
            log.append("generator")
            next(results)
        except Exception as exc:
            log.append(error(exc))
        return log

    for stream_class in (NoTell, NoSeek):
        native = steps(RcsOutputFileParser, stream_class())
        assert native == steps(OracleStreamParser, stream_class())


def test_a_real_file_is_read_from_its_start_and_left_where_it_was(tmp_path):
    path = tmp_path / "result.xml"
    path.write_bytes(sample_document(sections=2, extremes=1))
    logs = []
    for parser_class in (RcsOutputFileParser, OracleStreamParser):
        with open(path, "rb") as stream:
            stream.seek(100)
            parser = parser_class(stream)
            parser.section_results()
            log = [stream.tell()]
            for section in parser.section_results():
                log.append((section.id_, canon(section.extremes())))
            log.append(stream.tell())
            log.append(canon(parser.section_result(2).fatigue()))
            log.append(stream.tell())
            logs.append(log)
    assert logs[0] == logs[1]
    assert logs[1][0] == logs[1][-1] == 100


def test_whole_document_parser_without_getvalue_or_torsion_accessor():
    for parser_class in (OutputFileParser, OracleWholeParser):
        assert not hasattr(parser_class, "torsion_results")
        assert not hasattr(parser_class, "interaction_results")
    assert outcome(lambda: OutputFileParser(NoSeek())) == outcome(
        lambda: OracleWholeParser(NoSeek())
    )


def test_reference_reads_nan_stress_and_a_family_missing_from_some_extremes():
    nan_stress = item(Check="StressLimitationShort", TypeCheck="Check_7_2_2_Concrete_fck")
    nan_stress.add(leaf("Stress", "-nan"), leaf("CheckValue", "0"), leaf("Result", "Passed"))
    nan_document = render(
        result_root([section_node("1", [extreme(family("StressLimitation", nan_stress))])])
    )
    data = shear_only_in_second_of_three()
    section = OracleStreamParser(io.BytesIO(data)).section_result(12)
    shear = section.shear()
    assert [s is None for s in shear] == [True, False, True]
    assert list(shear[1]) == "Ved Vrd Vrdc Vrdmax Vrdr Vrds CheckValue Result".split()
    assert shear[1]["Result"] == "OK"

    element = ET.fromstring(nan_document)[0]
    [stress] = OracleStreamParser.SectionResult(1, element).stress_limitation()
    assert stress["short"] == {"Check_7_2_2_Concrete_fck": None}
    assert math.isnan(stress["Check_7_2_2_Concrete_fck"]["short"]["Stress"])
    assert list(stress)[2:] == (
        "Check_7_2_2_Concrete_fck Check_7_2_3_Concrete_fck Check_7_2_5_Tendons_fpk "
        "Check_7_2_5_ReinforcementBars_fyk Check_5_10_3_2_Tendons "
        "Check_5_10_2_1_1_Tendons".split()
    )

    with open(SAMPLE, "rb") as stream:
        sample = OracleStreamParser(stream).section_result(1)
    fatigue = sample.fatigue()[0]
    assert fatigue["fatigue"]["DecisionMethod"] == "Method_6_8_7_1"
    assert fatigue["shear"]["max"]["CheckValue"] == 0.17
    assert fatigue["shear"]["min"]["CheckValue"] == 0.04

    parser = OracleStreamParser(io.BytesIO(data))
    with pytest.raises(ParsingError, match="^section with id '3' is not available in the"):
        parser.section_result("3")
    assert parser.section_result(12.0).id_ == 12


def test_closing_the_scan_early_keeps_the_current_section_and_ends_the_scan():
    def steps(parser_class):
        parser = parser_class(io.BytesIO(sample_document(sections=3, extremes=1)))
        results = parser.section_results()
        first = next(results)
        results.close()
        log = [canon(first.extremes()), list(results)]
        again = parser.section_results()
        a, b = next(again), next(again)
        log += [a.extremes(), canon(b.extremes())]
        return log

    native = steps(RcsOutputFileParser)
    assert native == steps(OracleStreamParser)
    assert native[1:3] == [[], []]


def test_benchmark_files_read_alike(tmp_path):
    # The benchmark's generated files must be results both readers accept, or its figures
    # would measure error paths.
    found = importlib.util.spec_from_file_location(
        "generate_results", Path(__file__).parent.parent / "bench" / "generate_results.py"
    )
    generator = importlib.util.module_from_spec(found)
    found.loader.exec_module(generator)
    path = tmp_path / "bench.xml"
    generator.generate(path, 0.5, extremes=2, seed=3)
    data = path.read_bytes()
    native = scan(RcsOutputFileParser, data, 0)
    assert native == scan(OracleStreamParser, data, 0)
    sections = [entry for entry in native if entry[0] == "section"]
    assert len(sections) > 3 and native[-len(sections) - 1] == ("end", 0)
    assert all(outcome[0] == "ok" for _, _, reads in sections for _, outcome in reads)


def test_whole_document_parser_lets_go_of_the_stream():
    for parser_class in (OutputFileParser, OracleWholeParser):
        stream = io.BytesIO(sample_document(sections=1, extremes=1))
        stream.seek(11)
        alive = weakref.ref(stream)
        parser = parser_class(stream)
        assert (stream.tell(), stream.closed) == (11, False)
        del stream
        gc.collect()
        assert alive() is None
        assert parser.section_ids == [1]


def subclassed(stream_base, whole_base):
    """Subclasses that replace what the parsers are built from: a reader, then also the extreme
    iteration, the scan behind section_result, the lookup and raw conversion behind the
    accessors."""

    class Section(stream_base.SectionResult):
        def torsion(self):
            return [("torsion of", self.id_)] * len(super().torsion())

    class Reversed(Section):
        def _iter_extreme_results(self):
            yield from reversed(list(super()._iter_extreme_results()))

    class Stream(stream_base):
        SectionResult = Section

        def section_results(self):
            for section in super().section_results():
                if section.id_ != 2:
                    yield section

    class Whole(whole_base):
        def _section_element(self, section_id):
            return super()._section_element(section_id + 1)

        def _element_to_dict(self, e):
            return {"<" + e.tag: [self._element_to_dict(child) for child in e] or e.text}

    return Stream, type("ReversedStream", (Stream,), {"SectionResult": Reversed}), Whole


def test_what_subclasses_replace_is_used():
    data = sample_document(sections=3, extremes=2)
    logs = []
    for stream_class, reversed_class, whole_class in (
        subclassed(RcsOutputFileParser, OutputFileParser),
        subclassed(OracleStreamParser, OracleWholeParser),
    ):
        log = scan(stream_class, data, 0) + lookups(stream_class, data, 0, [1, 2, 3])
        log += scan(reversed_class, data, 0) + whole(whole_class, io.BytesIO(data), [0, 1, 2])
        logs.append(log)
    assert_same(*logs)
