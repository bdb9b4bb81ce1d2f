"""Utilisation along members: the plotted lines are the table's governing rows per family, the
limit and the failures are drawn, and a table without its model is refused."""

from pathlib import Path

import pytest
from result_documents import Node, family, forces_node, leaf, render, result_root, section_node

from marlox.external.idea_rcs import OpenModel, check_table
from marlox.external.idea_rcs.utilisation import plot_utilisation

matplotlib = pytest.importorskip("matplotlib")
matplotlib.use("Agg")

DATA = Path(__file__).parent / "data"


def item(check, result, value):
    forces = forces_node("InternalFores", ("0", "0", "0", "0", "1000", "0"))
    head = [forces, Node("NonConformities"), leaf("Result", result), leaf("CheckValue", value)]
    return Node("ConcreteCheckResultBase", children=[*head, leaf("Check", check)])


def extreme(*items):
    checks = [family(f, item(f, r, v)) for f, r, v in items]
    return Node("ConcreteCheckResults", children=[Node("CheckResults", children=checks)])


def beam_with_four_sections():
    """Sections 1..4 along member "M 1" (section 1 from the file, three added)."""
    model = OpenModel.from_xml(DATA / "rcs-input-synthetic.xml")
    member, rcs = model._check_member_list[0], model._reinforced_cross_section_list[0]
    for x in (2, 4, 6):
        model.add_check_section(member, rcs, f"x = {x} m").create_extreme()
    return model


# section: (capacity, shear) as (verdict, check value)
SECTIONS = {
    1: [("Passed", "0.4"), ("Passed", "0.7")],
    2: [("Passed", "0.9"), ("Passed", "0.5")],
    3: [("Failed", "1.2"), ("Passed", "0.3")],
    4: [("Passed", "0.2"), ("NotDone", "NaN")],
}


def test_lines_are_the_governing_rows_and_failures_are_marked():
    doc = [
        section_node(str(i), [extreme(("Capacity", *c), ("Shear", *s))] * (2 if i == 1 else 1))
        for i, (c, s) in SECTIONS.items()
    ]
    table = check_table(render(result_root(doc)), model=beam_with_four_sections())
    ax = plot_utilisation(table).axes[0]
    lines = {line.get_label(): line for line in ax.get_lines()}
    assert set(lines) == {"Capacity", "Shear", "envelope", "limit"}
    assert list(lines["Capacity"].get_ydata()) == [0.4, 0.9, 1.2, 0.2]
    assert list(lines["Shear"].get_xdata()) == [1, 2, 3]  # no value where not computed
    assert list(lines["envelope"].get_ydata()) == [0.7, 0.9, 1.2, 0.2]
    assert list(lines["limit"].get_ydata()) == [1.0, 1.0]
    (failed,) = [c for c in ax.collections if c.get_label() == "failed"]
    assert failed.get_offsets().tolist() == [[3.0, 1.2]]
    assert [t.get_text() for t in ax.texts] == ["Shear", "Capacity", "Capacity", "Capacity"]


def test_a_table_without_its_model_has_no_positions():
    data = render(result_root([section_node("1", [extreme(("Capacity", "Passed", "0.5"))])]))
    with pytest.raises(ValueError, match="read the check table with its model"):
        plot_utilisation(check_table(data))
