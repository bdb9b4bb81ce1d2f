"""The check table: agreement with the readers, units, the governing choice, the Arrow export,
CSV, bad input and the command line's exit codes."""

import csv
import errno
import gc
import importlib.util
import io
import math
import os
import pathlib
import pickle
import sys
import xml.etree.ElementTree as ET
from collections import defaultdict
from html.parser import HTMLParser
from operator import itemgetter

import pytest
from hypothesis import HealthCheck, given, settings
from result_documents import (
    Node,
    documents,
    family,
    forces_node,
    leaf,
    render,
    result_root,
    sample_document,
    section_node,
)

from marlox.errors import ParsingError
from marlox.external.idea_rcs import OpenModel, RcsOutputFileParser, ResultTable, check_table
from marlox.external.idea_rcs.cli import main

DATA = pathlib.Path(__file__).resolve().parent / "data"
INPUT_XML = (DATA / "iom-rcs-ImportOpenModel.xml").read_bytes()


def check_item(xsi_type, check, own, result="Passed", check_value="0.5"):
    """One "ConcreteCheckResultBase" with the common head that every RCS result item has."""
    forces = forces_node("InternalFores", ("0", "5000", "50000", "0", "150000", "20000"))
    head = [forces, Node("NonConformities"), leaf("Result", result)]
    head += [leaf("CheckValue", check_value), leaf("LimitCheckValue", "1"), leaf("Check", check)]
    return Node("ConcreteCheckResultBase", attrs={"xsi:type": xsi_type}, children=head + own)


@pytest.fixture
def pa():
    """pyarrow, for the tests that read the Arrow export back (skipped without it)."""
    return pytest.importorskip("pyarrow")


def outcome(action):
    try:
        return action()
    except Exception as error:  # compared by type, message and position
        return (type(error), str(error), getattr(error, "position", None))


def same(a, b):
    return a == b or (isinstance(a, float) and isinstance(b, float) and math.isnan(a + b))


FORCES = ("N", "Qy", "Qz", "Mx", "My", "Mz")
SHEAR = {"VEd": "Ved", "VRd": "Vrd", "VRd_c": "Vrdc", "VRd_s": "Vrds", "VRd_max": "Vrdmax"}
TORSION = {"TEd": "Ted", "TRd": "Trd", "TRd_c": "Trdc", "TRd_s": "Trds", "TRd_max": "Trdmax"}
# the table's columns of the values behind each family's check, from the reader's keys
VALUES = {
    "Capacity": lambda v: {f"Fu_{k}": (v["Fu"] or {}).get(k) for k in FORCES},
    "Shear": lambda v: {column: v[key] for column, key in SHEAR.items()},
    "Torsion": lambda v: {column: v[key] for column, key in TORSION.items()},
    "Interaction": lambda v: {"VEd": v["Ved"], "TEd": v["Ted"]},
    "Detailing": lambda v: {
        "check_value_longitudinal": v["longitudinal"],
        "check_value_shear_reinforcement": v["shear"],
    },
    "CrackWidth": lambda v: {"w": v["W"], "w_lim": v["Wlim"]},
    "StressLimitation": lambda v: {"stress": v["Stress"]},
}


def reader_items(extreme):
    """(family, check, type_check, reader values, the table columns they give) of every item
    the readers return."""
    for name in ("capacity", "shear", "torsion", "interaction", "detailing"):
        family_name = name.title()
        if extreme[name] is not None:
            values = extreme[name]
            yield family_name, None, None, values, VALUES[family_name](values)
    for term, check in (extreme["crack_width"] or {}).items():
        if check is not None:
            yield (
                "CrackWidth",
                f"CrackWidth{term.title()}",
                None,
                check,
                VALUES["CrackWidth"](check),
            )
    for type_check, terms in (extreme["stress_limitation"] or {}).items():
        if type_check.startswith("Check_") and terms is not None:
            for term, values in terms.items():
                columns = VALUES["StressLimitation"](values)
                yield (
                    "StressLimitation",
                    f"StressLimitation{term.title()}",
                    type_check,
                    values,
                    columns,
                )
    if extreme["fatigue"] is not None:
        fatigue = extreme["fatigue"]["fatigue"]
        yield "Fatigue", "Fatigue", None, fatigue, {"decision_method": fatigue["DecisionMethod"]}
        for shear in extreme["fatigue"]["shear"].values():
            yield "Fatigue", "Shear", None, shear, VALUES["Shear"](shear)


def same_value(cell, value):
    """A value the file states as not-a-number is None in the table (a reader's NaN or None)."""
    nan = isinstance(value, float) and math.isnan(value)
    return same(cell, value) or (cell is None and nan)


def matches(row, family_name, check, type_check, values, columns):
    return (
        row["family"] == family_name
        and check in (None, row["check"])
        and type_check in (None, row["type_check"])
        and same(row["check_value"], values["CheckValue"])
        and row["result"] == values["Result"]
        and all(same_value(row[c], v) for c, v in columns.items())
    )


@settings(max_examples=120, deadline=None, suppress_health_check=[HealthCheck.too_slow])
@given(documents())
def test_table_agrees_with_the_streaming_parser(data):
    def scan():
        stream = RcsOutputFileParser(io.BytesIO(data)).section_results()
        return [(s.id_, outcome(s.extremes)) for s in stream]

    sections, table = outcome(scan), outcome(lambda: check_table(data))
    if isinstance(table, tuple):
        if table[0] is ValueError and "is not a number" in table[1]:
            return  # a head value no reader reads (the forces, the limit) is not a number
        assert table == sections  # the scan's own failure, for the same bytes
        return
    assert not isinstance(sections, tuple)
    rows = defaultdict(list)
    for row in table.to_pylist():
        rows[row["section"], row["extreme"]].append(row)
    for section_id, extremes in sections:
        if isinstance(extremes, tuple):
            continue  # a reader refuses a value that the table does not read
        for number, extreme in enumerate(extremes, 1):
            for item in reader_items(extreme):
                found = any(matches(r, *item) for r in rows[section_id, number])
                assert found, (section_id, number, item)


def test_units_engineering_scale_and_progress():
    data, read = sample_document(), []
    si, eng = check_table(data, progress=read.append), check_table(data, units="Engineering")
    assert sum(read) == len(data)
    assert (si.unit_system, eng.unit_system) == ("SI", "engineering")
    assert si.units["My"] == "N·m" and eng.units["Qz"] == "kN" and eng.units["check_value"] == "1"
    for a, b in zip(si.to_pylist(), eng.to_pylist(), strict=True):
        assert b["check_value"] == a["check_value"] and b["section"] == a["section"]
        assert all(math.isclose(b[k], a[k] / 1000) for k in ("N", "Qy", "Qz", "Mx", "My", "Mz"))


def item(check, result, value, severities=()):
    head = check_item("X", check, [], result=result, check_value=value)
    head.children[1] = Node(
        "NonConformities",
        children=[Node("NonConformity", children=[leaf("Severity", s)]) for s in severities],
    )
    return head


def extreme(*items):
    """One extreme: a family of one item for each (family, check, result, value, severities)."""
    checks = [family(f, item(c, r, v, s)) for f, c, r, v, s in items]
    return Node("ConcreteCheckResults", children=[Node("CheckResults", children=checks)])


def document(sections):
    return render(result_root([section_node(str(i), e) for i, e in sections.items()]))


GOVERNING = document(
    {
        7: [
            extreme(
                ("Capacity", "Capacity", "Passed", "0.7", ()),
                ("Shear", "Shear", "Passed", "0.7", ()),
            ),
            extreme(("Capacity", "Capacity", "Passed", "NaN", ("Error",))),
        ],
        8: [
            extreme(
                ("Capacity", "Capacity", "Passed", "0.9", ()),
                ("Shear", "Shear", "Failed", "0.5", ("TerminatedError", "Warning")),
                ("Torsion", "Torsion", "NotDone", "5", ()),
            )
        ],
    }
)
GROUP = itemgetter("section", "family", "extreme", "failed_items", "error_count", "not_done_items")


@pytest.mark.parametrize(
    "per_family, expected",
    [
        # a failed verdict first, then ran before not run; a tie goes to the earlier item
        (False, [(8, "Shear", 1, 1, 0, 1), (7, "Capacity", 1, 0, 1, 0)]),
        (
            True,
            [
                (8, "Shear", 1, 1, 0, 0),
                (8, "Capacity", 1, 0, 0, 0),
                (8, "Torsion", 1, 0, 0, 1),
                (7, "Capacity", 1, 0, 1, 0),
                (7, "Shear", 1, 0, 0, 0),
            ],
        ),
    ],
)
def test_governing_order_ties_and_surfaced_problems(per_family, expected):
    rows = check_table(GOVERNING).governing(per_family=per_family).to_pylist()
    assert [GROUP(r) for r in rows] == expected
    if per_family:
        assert [r["governing"] for r in rows] == [True, False, False, True, False]
        assert rows[0]["terminated_error_count"] == 1 and rows[0]["warning_count"] == 1


def test_arrow_export_reads_back_through_pyarrow(pa):
    table = check_table(sample_document(), units="engineering")
    expected = table.to_pylist()
    stream = table.__arrow_c_stream__()
    del table
    gc.collect()  # the exported arrays keep the table's memory alive
    read = pa.RecordBatchReader._import_from_c_capsule(stream).read_all()
    assert read.to_pylist() == expected
    assert read.schema.field("Mz").metadata == {b"unit": "kN·m".encode()}
    assert pa.types.is_dictionary(read.schema.field("family").type)
    again = check_table(sample_document())
    assert pa.schema(again) == pa.table(again).schema
    assert pa.table(again.overall).num_rows == len(again.overall) == 2 * 2 * 8


def test_a_table_of_many_chunks_reads_back_whole(pa):
    # More rows than one chunk holds, with values missing here and there on both sides.
    items = "".join(
        "<ConcreteCheckResultBase><Check>C</Check>"
        + ("" if i % 3 == 0 else f"<CheckValue>{i}</CheckValue>")
        + ("" if i % 5 == 0 else "<Result>Passed</Result>")
        + "</ConcreteCheckResultBase>"
        for i in range(70_000)
    )
    data = (
        "<r><SectionConcreteCheckResult><SectionId>1</SectionId><ExtremeResults><E>"
        f"<F><ResultType>Shear</ResultType><CheckResults>{items}</CheckResults></F>"
        "</E></ExtremeResults></SectionConcreteCheckResult></r>"
    ).encode()
    table = check_table(data)
    read = pa.table(table)
    assert len(table) == read.num_rows == 70_000 and len(read.to_batches()) == 2
    expected = {
        "check_value": [None if i % 3 == 0 else float(i) for i in range(70_000)],
        "result": [None if i % 5 == 0 else "Passed" for i in range(70_000)],
    }
    copy = pickle.loads(pickle.dumps(table))  # as a Dask worker hands a table back
    for name, values in expected.items():
        assert read.column(name).to_pylist() == table.column(name) == values
        assert copy.column(name) == values
    assert copy.units == table.units and len(copy.overall) == len(table.overall)


def test_a_pickled_table_is_the_same_table(pa):
    table = check_table(sample_document(), units="engineering")
    for original in (table, table.governing(per_family=True), table.overall):
        copy = pickle.loads(pickle.dumps(original))
        assert type(copy) is type(original)
        assert pa.table(copy).equals(pa.table(original))  # types, units, values, nulls
    assert pickle.loads(pickle.dumps(table)).unit_system == "engineering"
    state = table.governing().__getstate__()
    for bad in (b"", state[:-1], state + b"x", state.replace(b"marlox", b"marlix")):
        with pytest.raises(ValueError, match="not a table written by to_bytes"):
            ResultTable.__new__(ResultTable).__setstate__(bad)


@pytest.mark.parametrize("library", ["pandas", "polars"])
def test_dataframes_and_the_message_without_the_extra(library, monkeypatch):
    table = check_table(sample_document())
    convert = getattr(table, f"to_{library}")
    if importlib.util.find_spec(library) is not None:
        frame = convert()
        assert list(frame["check_value"]) == table.column("check_value")
        assert list(frame["section"]) == table.column("section")
        assert list(frame["family"]) == table.column("family")
    monkeypatch.setitem(sys.modules, library, None)
    with pytest.raises(ImportError, match=rf"pip install 'marlox\[{library}\]'"):
        convert()


class RawWriter(io.BytesIO):
    """A raw stream: each write takes at most 7 bytes and says how many it took."""

    def write(self, data):
        return super().write(bytes(data)[:7])


@pytest.mark.parametrize("target", ["path", "binary", "text", "raw"])
def test_csv_round_trip(tmp_path, target):
    table = check_table(sample_document())
    out = {"path": tmp_path / "t.csv", "binary": io.BytesIO(), "text": io.StringIO()}.get(
        target, RawWriter()
    )
    table.to_csv(out)
    if target == "path":
        text = out.read_text(encoding="utf-8")
    else:
        text = out.getvalue() if target == "text" else out.getvalue().decode()
    header, *rows = list(csv.reader(io.StringIO(text, newline="")))
    assert header[table.column_names.index("My")] == "My [N·m]"
    for row, expected in zip(rows, table.to_pylist(), strict=True):
        for cell, value in zip(row, expected.values(), strict=True):
            assert cell == "" if value is None else same(type(value)(cell), value)


NAMES = itemgetter("section_name", "member", "position", "reinforced_section", "extreme_name")


def two_sections_on_one_member():
    model = OpenModel.from_xml(DATA / "rcs-input-synthetic.xml")
    member, rcs = model._check_member_list[0], model._reinforced_cross_section_list[0]
    model.add_check_section(member, rcs, "x = 4 m").create_extreme(description="wind")
    return model


@pytest.mark.parametrize(
    "model, sections, expected",
    [
        (None, {1: 2}, {(None, None, None, None, None)}),
        (DATA / "rcs-input-synthetic.xml", {1: 2}, {("S1", "M 1", 1, "R1", "S1 - E 1")}),
        (
            (DATA / "rcs-input-synthetic.xml").read_bytes(),
            {1: 1},
            {("S1", "M 1", 1, "R1", "S1 - E 1")},
        ),
        (two_sections_on_one_member(), {2: 1}, {("x = 4 m", "M 1", 2, "R1", "wind")}),
    ],
)
def test_names_come_from_the_model(model, sections, expected):
    data = document(
        {i: [extreme(("Shear", "Shear", "Passed", "0.5", ()))] * n for i, n in sections.items()}
    )
    table = check_table(data, model=model)
    assert {NAMES(r) for r in table.to_pylist() if r["extreme"] == 1} == expected
    assert {NAMES(r) for r in table.governing(per_family=True).to_pylist()} == expected


@pytest.mark.parametrize(
    "sections, message",
    [
        (
            {3: 1, 1: 1, 9: 1},
            r"model has no check sections with ids 3, 9 \(its check sections: 1\)",
        ),
        ({1: 3}, "check section 1 has more extremes in the result file than in the model"),
    ],
)
def test_a_model_the_results_do_not_belong_to(sections, message):
    data = document(
        {i: [extreme(("Shear", "Shear", "Passed", "0.5", ()))] * n for i, n in sections.items()}
    )
    with pytest.raises(ValueError, match=message):
        check_table(data, model=DATA / "rcs-input-synthetic.xml")


def full_disk(*args):
    raise OSError(errno.ENOSPC, "No space left on device")


@pytest.mark.parametrize("fault", ["device", "flush", "rename"])
def test_a_failed_csv_export_raises_and_leaves_the_target_as_it_was(tmp_path, monkeypatch, fault):
    table = check_table(sample_document())
    target = tmp_path / "t.csv"
    target.write_text("earlier")
    if fault == "device":
        (tmp_path / "full.csv").symlink_to("/dev/full")
        with pytest.raises(OSError, match="No space left"):
            table.to_csv(tmp_path / "full.csv")
        os.remove(tmp_path / "full.csv")
    else:
        monkeypatch.setattr(os, {"flush": "fsync", "rename": "replace"}[fault], full_disk)
        with pytest.raises(OSError, match="No space left"):
            table.to_csv(target)
    assert os.listdir(tmp_path) == ["t.csv"] and target.read_text() == "earlier"


CAPACITY = ("Capacity", "Capacity", "Passed", "0.5", ())
BEYOND_64_BITS = document({2**64: [extreme(CAPACITY)], 3: [extreme(CAPACITY)]})
BAD = [
    (dict(families=["Capacity", "Concrete"]), ValueError, "known families: Capacity, Response"),
    (dict(sections=[1, 9]), ParsingError, "section with id '9' is not available"),
    (dict(units="imperial"), ValueError, "units must be 'SI' or 'engineering'"),
    (dict(sections=[10**20]), ParsingError, "section with id '100000000000000000000' is not"),
    (dict(source=BEYOND_64_BITS), ValueError, "section 18446744073709551616: the id does not fit"),
    (dict(source=BEYOND_64_BITS, sections=[2**64]), ValueError, "the id does not fit"),
    (dict(source=DATA / "iom-rcs-ImportOpenModel.xml"), ValueError, r"input XML \(<OpenModel>\)"),
    (dict(threads=0), ValueError, "threads must be at least 1, not 0"),
    (dict(threads=2.0), TypeError, "threads must be an int, not float"),
]


@pytest.mark.parametrize("kwargs, error, message", BAD)
def test_bad_arguments(kwargs, error, message):
    kwargs = dict(kwargs)
    with pytest.raises(error, match=message):
        check_table(kwargs.pop("source", sample_document()), **kwargs)


def test_a_section_id_beyond_the_tables_ids_is_refused_only_when_kept():
    assert check_table(BEYOND_64_BITS, sections=[3]).column("section") == [3]


def test_families_without_a_reader_are_rows_too():
    data = document({5: [extreme(("Stiffness", "StiffnessShort", "Passed", "1E-05", ("Info",)))]})
    (row,) = check_table(data, families="stiffness").to_pylist()
    assert (row["family"], row["check"], row["check_value"], row["info_count"]) == (
        "Stiffness",
        "StiffnessShort",
        1e-05,
        1,
    )


def test_a_value_that_is_not_a_number_is_located():
    data = document({3: [extreme(), extreme(("Shear", "Shear", "Passed", "1,5", ()))]})
    with pytest.raises(ValueError, match=r"section 3, extreme 2, Shear check: CheckValue .*'1,5'"):
        check_table(data)


def run(tmp_path, capsys, *argv):
    status = main([a.replace("{tmp}", str(tmp_path)) for a in argv])
    return status, capsys.readouterr()


@pytest.mark.parametrize(
    "data, argv, status",
    [
        (sample_document(), ["summary", "{tmp}/r.xml"], 0),
        (GOVERNING, ["summary", "{tmp}/r.xml", "--per-family"], 1),
        (GOVERNING, ["summary", "{tmp}/r.xml", "--families", "capacity"], 0),
        (b"<r>", ["summary", "{tmp}/r.xml"], 2),
        (GOVERNING, ["summary", "{tmp}/missing.xml"], 2),
        (GOVERNING, ["summary", "{tmp}/r.xml", "--families", "Concrete"], 2),
        (GOVERNING, ["table", "{tmp}/r.xml", "-o", "{tmp}/out.csv"], 0),
        (GOVERNING, ["table", "{tmp}/r.xml", "-o", "{tmp}/out.arrow", "--sections", "8"], 0),
        (GOVERNING, ["table", "{tmp}/r.xml", "-o", "{tmp}/out.txt"], 2),
        (GOVERNING, ["table", "{tmp}/r.xml", "-o", "{tmp}/no/such/dir/out.csv"], 2),
        (GOVERNING, ["summary", "{tmp}/r.xml", "--model", "{tmp}/missing.xml"], 2),
        (GOVERNING, ["table", "{tmp}/r.xml", "-o", "{tmp}/full.csv"], 2),
        # Well-formed, but without check rows: nothing to summarise, never a traceback.
        (b"<r/>", ["summary", "{tmp}/r.xml"], 2),
        (INPUT_XML, ["summary", "{tmp}/r.xml"], 2),
        (GOVERNING, ["summary", "{tmp}/r.xml", "--families", "Deflection"], 2),
        (INPUT_XML, ["table", "{tmp}/r.xml", "-o", "{tmp}/out.csv"], 2),
        (GOVERNING, ["summary", "{tmp}/r.xml", "--sections", "99999999999999999999"], 2),
        (b'<?xml version="1.0" encoding="x-unknown"?><r/>', ["summary", "{tmp}/r.xml"], 2),
        (b'<?xml version="1.0" encoding="x-unknown"?><r/>', ["inventory", "{tmp}/r.xml"], 2),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else "",
)
def test_cli_exit_status(tmp_path, capsys, data, argv, status):
    if argv[-1].endswith(".arrow"):
        pa = pytest.importorskip("pyarrow")
    (tmp_path / "r.xml").write_bytes(data)
    (tmp_path / "full.csv").symlink_to("/dev/full")
    got, out = run(tmp_path, capsys, *argv)
    assert got == status
    if status == 2:
        assert out.err.count("\n") == 1 and out.err.startswith("marlox-rcs: error: ")
    if argv[0] == "table" and status == 2:
        assert not (tmp_path / "out.csv").exists()
    if argv[-1].endswith(".arrow"):
        assert (
            pa.ipc.open_file(tmp_path / "out.arrow").read_all().column("section").to_pylist()
            == [8] * 3
        )


SUMMARY = [
    # arguments, the sections listed (in order), the exit status
    ([], ["8", "7"], 1),
    (["--failed-only"], ["8"], 1),
    (["--min-check-value", "0.6"], ["7"], 1),  # 8 governs by a failed check of 0.5
    (["--top", "1"], ["8"], 1),
    (["--per-family", "--top", "2"], ["8", ""], 1),
    (["--per-family", "--failed-only", "--families", "Capacity"], [], 0),
]


@pytest.mark.parametrize("argv, listed, status", SUMMARY)
def test_summary_filters_keep_the_worst_first(tmp_path, capsys, argv, listed, status):
    (tmp_path / "r.xml").write_bytes(GOVERNING)
    got, out = run(tmp_path, capsys, "summary", "{tmp}/r.xml", *argv)
    lines = out.out.splitlines()
    assert got == status and lines[0].split()[0] == "section"
    assert [line[: len("section")].strip() for line in lines[1:-1]] == listed
    assert lines[-1].startswith(f"2 sections: {status} with failed checks")


@pytest.mark.parametrize("output", ["out.csv", "out.xlsx"])
@pytest.mark.parametrize("governing", [False, True])
def test_table_outputs_carry_units_and_only_what_was_asked(tmp_path, capsys, output, governing):
    (tmp_path / "r.xml").write_bytes(GOVERNING)
    argv = ["table", "{tmp}/r.xml", "-o", f"{{tmp}}/{output}", "--units", "engineering"]
    argv += ["--excel"] * output.endswith(".csv") + ["--governing"] * governing
    assert run(tmp_path, capsys, *argv)[0] == 0
    expected = check_table(GOVERNING, units="engineering")
    expected = expected.governing() if governing else expected
    if output.endswith(".csv"):
        raw = (tmp_path / output).read_bytes()
        assert raw.startswith(b"\xef\xbb\xbfsection,")
        header, *rows = list(csv.reader(io.StringIO(raw.decode("utf-8-sig"), newline="")))
    else:
        openpyxl = pytest.importorskip("openpyxl")
        sheet = openpyxl.load_workbook(tmp_path / output).active
        header, *rows = [["" if v is None else str(v) for v in r] for r in sheet.values]
    assert "Qz [kN]" in header and "Mz [kN·m]" in header and header[0] == "section"
    assert [int(r[0]) for r in rows] == expected.column("section")
    assert ("governing" in header) is False and ("items" in header) is governing
    # nothing but the output beside the input: no temporary file left
    assert sorted(p.name for p in tmp_path.iterdir()) == sorted(["r.xml", output])


@pytest.mark.parametrize("fault", [KeyError("check"), TypeError("not iterable")])
def test_a_fault_of_the_program_keeps_its_traceback(tmp_path, capsys, monkeypatch, fault):
    def broken(*args, **kwargs):
        raise fault

    monkeypatch.setattr("marlox.external.idea_rcs.check_table", broken)
    (tmp_path / "r.xml").write_bytes(GOVERNING)
    with pytest.raises(type(fault)):
        run(tmp_path, capsys, "summary", "{tmp}/r.xml")


def test_a_truncated_file_raises_the_streaming_parsers_error():
    data = sample_document()[:-9]
    with pytest.raises(ET.ParseError) as table_error:
        check_table(io.BytesIO(data))
    with pytest.raises(ET.ParseError) as stream_error:
        list(RcsOutputFileParser(io.BytesIO(data)).section_results())
    assert (str(table_error.value), table_error.value.position) == (
        str(stream_error.value),
        stream_error.value.position,
    )


class Cells(HTMLParser):
    """The header cells and the body rows (class, cells) of an HTML table."""

    def __init__(self, html):
        super().__init__()
        self.headers, self.rows, self.cell = [], [], None
        self.feed(html)

    def handle_starttag(self, tag, attrs):
        if tag == "tr":
            self.rows.append((dict(attrs).get("class"), []))
        elif tag in ("td", "th"):
            self.cell = ""

    def handle_endtag(self, tag):
        if tag in ("td", "th"):
            (self.headers if tag == "th" else self.rows[-1][1]).append(self.cell)
            self.cell = None

    def handle_data(self, data):
        if self.cell is not None:
            self.cell += data


@pytest.mark.parametrize("view", ["checks", "governing"])
def test_notebook_view_units_failures_and_first_rows(view):
    many = {
        i: [extreme(("Shear", "Sh<e>ar", "Failed" if i == 3 else "Passed", "0.5", ()))]
        for i in range(1, 31)
    }
    table = check_table(document(many), units="engineering")
    shown = table if view == "checks" else table.governing()
    html = shown._repr_html_()
    cells = Cells(html)
    assert "first 20" in html and len(cells.rows) == 1 + 20
    assert "Qz[kN]" in cells.headers and "check_value" in cells.headers
    assert "Fu_N[kN]" not in cells.headers  # no row shown states it
    body = [dict(zip(cells.headers, row, strict=True)) | {"class": c} for c, row in cells.rows[1:]]
    assert {r["section"] for r in body if r["class"] == "failed"} == {"3"}
    assert body[0]["check"] == "Sh<e>ar"
