"""The calculation report: the HTML page holds a drawing per reinforced section, every failed
check, every non-conformity where it occurs, the utilisation along each member as the table
gives it, and the hashes of its files; the PDF has its pages and text; bad input is one line,
exit status 2 and nothing left behind."""

import hashlib
import shutil
import subprocess
from html.parser import HTMLParser
from pathlib import Path

import pytest
from result_documents import Node, family, forces_node, leaf, render, result_root, section_node

from marlox.external.idea_rcs import OpenModel, check_table
from marlox.external.idea_rcs.cli import main
from marlox.external.idea_rcs.report import write_report
from marlox.external.idea_rcs.utilisation import utilisation_governing, utilisation_lines

DATA = Path(__file__).parent / "data"
RESULTS, INPUT = DATA / "rcs-result-synthetic.xml", DATA / "rcs-input-synthetic.xml"


class Page(HTMLParser):
    """What a reader finds on the page: section drawings, utilisation charts (each line's
    points by family, failures crossed, governing families named), rows marked failed, text."""

    def __init__(self, html):
        super().__init__()
        self.drawings, self.failed_rows, self.text, self.open = 0, [], [], []
        self.charts, self.figure, self.text_class = [], None, None
        self.void = {"br", "meta", "path", "circle", "line", "polyline", "polygon", "rect"}
        self.feed(html)

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        if tag == "figure":
            self.figure = attrs.get("class")
        self.drawings += tag == "svg" and self.figure == "section-drawing"
        if tag == "svg" and self.figure == "utilisation":
            self.charts.append({"lines": {}, "failed": 0, "governing": []})
        if tag == "polyline" and attrs.get("class") in ("family", "envelope"):
            points = [p.split() for p in attrs["data-points"].split(",")]
            name = attrs.get("data-family", "envelope")
            self.charts[-1]["lines"][name] = [(int(x), float(v)) for x, v in points]
        if tag == "text":
            self.text_class = attrs.get("class")
        if tag == "path" and attrs.get("class") == "failed":
            self.charts[-1]["failed"] += 1
        if tag == "tr" and attrs.get("class") == "failed":
            self.failed_rows.append([])
        if tag not in self.void:
            self.open.append(tag)

    def handle_startendtag(self, tag, attrs):
        self.handle_starttag(tag, attrs)
        if tag not in self.void:
            self.open.pop()

    def handle_endtag(self, tag):
        if tag == "figure":
            self.figure = None
        if tag not in self.void:
            while self.open and self.open.pop() != tag:
                pass

    def handle_data(self, data):
        if self.open[-1:] == ["text"] and self.text_class == "governing":
            self.charts[-1]["governing"].append(data)
        self.text.append(data)
        if self.failed_rows and "tr" in self.open:
            self.failed_rows[-1].append(data.strip())


def item(check, result, value):
    forces = forces_node("InternalFores", ("0", "0", "0", "0", "1000", "0"))
    head = [forces, Node("NonConformities"), leaf("Result", result), leaf("CheckValue", value)]
    return Node("ConcreteCheckResultBase", children=[*head, leaf("Check", check)])


def extreme(*items):
    checks = [family(f, item(c, r, v)) for f, c, r, v in items]
    return Node("ConcreteCheckResults", children=[Node("CheckResults", children=checks)])


def two_sections(tmp_path):
    """The sample model with a second reinforced section and a check section on it, and a
    result file in which section 2 fails in shear."""
    model = OpenModel.from_xml(INPUT)
    member = model._check_member_list[0]
    concrete = model._cross_section_list[0]
    rcs = model.create_reinforced_cross_section(concrete, name="R2 weak")
    model.add_check_section(member, rcs, "support").create_extreme(description="wind")
    doc = result_root(
        [
            section_node("1", [extreme(("Capacity", "Capacity", "Passed", "0.5"))] * 2),
            section_node("2", [extreme(("Shear", "ShearX", "Failed", "1.25"))]),
        ]
    )
    (tmp_path / "r.xml").write_bytes(render(doc))
    return model


def test_html_holds_the_drawings_the_failures_and_the_hashes(tmp_path):
    model = two_sections(tmp_path)
    write_report(tmp_path / "r.xml", model, tmp_path / "report.html")
    page = Page((tmp_path / "report.html").read_text(encoding="utf-8"))
    assert page.drawings == 2
    # in the summary's failed checks and in the section's own table
    assert sum("ShearX" in row and "Failed" in row for row in page.failed_rows) == 2
    text = " ".join(page.text)
    assert hashlib.sha256((tmp_path / "r.xml").read_bytes()).hexdigest() in text
    assert "Checks failed." in text and "R2 weak" in text and "wind" in text
    assert "1 sections with failed checks" in text
    assert "not stated in the result file" in text  # no result file names its program


def test_html_of_an_input_file_names_it_with_its_hash_and_the_rcs_version_given(tmp_path):
    out = tmp_path / "report.html"
    args = ["report", str(RESULTS), "--model", str(INPUT), "-o", str(out)]
    assert main([*args, "--rcs-version", "24.1.3"]) == 0
    text = " ".join(Page(out.read_text(encoding="utf-8")).text)
    assert hashlib.sha256(INPUT.read_bytes()).hexdigest() in text
    assert "All checks passed." in text and "TBeam_RCS" in text and "24.1.3 (as given)" in text


def non_conformity(guid, severity):
    return Node("NonConformity", children=[leaf("Guid", guid), leaf("Severity", severity)])


def test_utilisation_charts_and_non_conformities_agree_with_the_table(tmp_path):
    """Four sections along one member: a failure, a check not computed (NaN), and
    non-conformities of two severities; the chart's lines are the table's, point for point."""
    model = OpenModel.from_xml(INPUT)
    member, rcs = model._check_member_list[0], model._reinforced_cross_section_list[0]
    for x in (2, 4, 6):
        model.add_check_section(member, rcs, f"x = {x} m").create_extreme()
    issues = {
        (2, "Shear"): [non_conformity("a1", "Warning"), non_conformity("b2", "Error")],
        (4, "Capacity"): [non_conformity("c3", "Warning")],
    }

    def checked(section, fam, result, value):
        node = item(fam, result, value)
        node.children[1] = Node("NonConformities", children=issues.get((section, fam), []))
        return family(fam, node)

    values = {1: ("0.4", "0.7"), 2: ("0.9", "0.5"), 3: ("1.2", "0.3"), 4: ("0.2", "NaN")}
    doc = [
        section_node(
            str(s),
            [
                Node(
                    "ConcreteCheckResults",
                    children=[
                        Node(
                            "CheckResults",
                            children=[
                                checked(s, "Capacity", "Failed" if s == 3 else "Passed", c),
                                checked(s, "Shear", "NotDone" if s == 4 else "Passed", v),
                            ],
                        )
                    ],
                )
            ],
        )
        for s, (c, v) in values.items()
    ]
    (tmp_path / "r.xml").write_bytes(render(result_root(doc)))
    write_report(tmp_path / "r.xml", model, tmp_path / "report.html")
    page = Page((tmp_path / "report.html").read_text(encoding="utf-8"))

    table = check_table(tmp_path / "r.xml", model=model)
    (member_lines,) = utilisation_lines(table).values()
    (chart,) = page.charts
    assert chart["lines"] == {f: [(p, v) for p, v, _ in pts] for f, pts in member_lines.items()}
    assert chart["failed"] == sum(failed for _, _, failed in member_lines["envelope"])
    (governing,) = utilisation_governing(table).values()
    assert chart["governing"] == [governing[p] for p in sorted(governing)]

    text = " ".join(page.text)
    error, warning = text.index("Error"), text.index("Warning")
    assert error < text.index("b2") < warning < text.index("a1") < text.index("c3")
    assert "x = 2 m" in text[warning:]


@pytest.mark.skipif(shutil.which("pdftotext") is None, reason="needs poppler's pdftotext")
def test_pdf_pages_and_text(tmp_path):
    pytest.importorskip("weasyprint")
    out = write_report(RESULTS, INPUT, tmp_path / "report.pdf")
    info = subprocess.run(["pdfinfo", out], capture_output=True, text=True, check=True).stdout
    assert 2 <= int(info.split("Pages:")[1].split()[0]) <= 5
    text = subprocess.run(["pdftotext", out, "-"], capture_output=True, text=True, check=True)
    for heading in ("Calculation report: TBeam_RCS", "Summary", "3 Reinforced sections"):
        assert heading in text.stdout
    assert "7 Traceability" in text.stdout


@pytest.mark.parametrize(
    "results, model, output, message",
    [
        (RESULTS, DATA / "iom-rcs-ImportOpenModel.xml", "r.html", "does not belong to the model"),
        (RESULTS, "missing.xml", "r.html", "No such file or directory"),
        (RESULTS, INPUT, "no/dir/r.html", "No such directory"),
        (RESULTS, INPUT, "r.txt", "must end in .html or .pdf"),
        ("empty.xml", INPUT, "r.html", "holds no check"),
    ],
)
def test_bad_input_is_one_line_and_leaves_nothing(
    tmp_path, capsys, results, model, output, message
):
    (tmp_path / "empty.xml").write_bytes(render(result_root([section_node("1", [])])))
    before = sorted(tmp_path.iterdir())
    status = main(
        [
            "report",
            str(tmp_path / results),
            "--model",
            str(tmp_path / model),
            "-o",
            str(tmp_path / output),
        ]
    )
    err = capsys.readouterr().err
    assert status == 2 and err.count("\n") == 1 and message in err
    assert sorted(tmp_path.iterdir()) == before
