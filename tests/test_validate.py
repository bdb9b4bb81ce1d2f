"""validate(), ensure_valid() and plot(): each rule finds its fault and passes its near miss."""

import importlib.util
import math
import pathlib

import pytest
from hypothesis import assume, given, settings
from hypothesis import strategies as st

from marlox.external.idea_rcs import GeneralShape, Model, ModelError, OpenModel, RectSection
from marlox.external.idea_rcs import objects as o

RECT = RectSection(0.3, 0.5)  # y from -0.15 to 0.15, z from -0.25 to 0.25
BOX = [(0, 0), (0.6, 0), (0.6, 0.4), (0, 0.4)]
HOLE = [(0.2, 0.1), (0.4, 0.1), (0.4, 0.3), (0.2, 0.3)]
LOAD = o.LoadingULS(o.InternalForces(my=1e5))
LISTS = ["mat_concrete", "mat_reinforcement", "cross_section", "reinforced_cross_section"]
LISTS += ["check_member", "check_section", "attribute"]


def hoop(right):  # a closed stirrup whose right side is an arc through (right, 0)
    return [
        (-0.12, -0.22),
        (0.12, -0.22),
        ((0.12, 0.22), (right, 0)),
        (-0.12, 0.22),
        (-0.12, -0.22),
    ]


def build(cs=RECT, bars=(), stirrups=(), extremes=(LOAD,), concrete=None, steel=None, **member):
    model = Model()
    mat = model.create_concrete_material(o.ConcreteMaterial.C30_37, **(concrete or {}))
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B, **(steel or {}))
    beam = model.create_beam(cs, steel if member.pop("steel_as_concrete", False) else mat, **member)
    for centre, diameter in bars:
        beam.create_bar(centre, diameter, steel)
    for points, diameter, torsion in stirrups:
        beam.create_stirrup(points, diameter, steel, 0.15, torsion_check=torsion)
    for loading in extremes:
        beam.create_extreme(fundamental=loading)
    return model, beam


CASES = {
    # name: (build arguments, expected (severity, field, words) or None for a near miss)
    "sound": ({"bars": [((0.1, -0.2), 0.016)], "stirrups": [(hoop(0.14), 0.008, True)]}, None),
    "bar outside": ({"bars": [((0.2, 0), 0.02)]}, ("error", "bars[0]", "outside the concrete")),
    "bar sticks out": ({"bars": [((0.145, 0), 0.02)]}, ("error", "bars[0]", "5 mm beyond")),
    "bar on the edge": ({"bars": [((0.14, 0), 0.02)]}, ("warning", "bars[0]", "cover of 0 mm")),
    "cover = diameter": ({"bars": [((0.12, 0.22), 0.02)]}, None),
    "bars overlap": (
        {"bars": [((0, 0), 0.02), ((0.015, 0), 0.02)]},
        ("error", "bars[0]", "overlaps bars[1]"),
    ),
    "bars touch": (
        {"bars": [((0, 0), 0.02), ((0.02, 0), 0.02)]},
        ("warning", "bars[0]", "0 mm clear of bars[1] at (0.02, 0) m, less than the 21 mm"),
    ),
    "bars spaced": ({"bars": [((0, 0), 0.02), ((0.041, 0), 0.02)]}, None),
    "bars in mm": (
        {"cs": RectSection(300, 500), "bars": [((0, -200), 25)]},
        [
            ("warning", "parameters['Width']", "is 300, which looks like millimetres"),
            ("warning", "parameters['Height']", "is 500, which looks like millimetres"),
            ("warning", "bars[0].diameter", "is 25, which looks like millimetres"),
        ],
    ),
    "tall section": ({"cs": RectSection(0.3, 50)}, None),
    "no bars": ({"bars": ()}, ("warning", "bars", "has no bars")),
    "bar on stirrup": (
        {"bars": [((0.1, -0.21), 0.016)], "stirrups": [(hoop(0.14), 0.008, False)]},
        ("error", "bars[0]", "overlaps stirrups[0]: its centre is 10 mm from the stirrup's axis"),
    ),
    "bar against stirrup": (
        {"bars": [((0.1, -0.208), 0.016)], "stirrups": [(hoop(0.14), 0.008, False)]},
        None,
    ),
    "stirrup arc out": (
        {"stirrups": [(hoop(0.147), 0.008, False)]},
        ("error", "stirrups[0]", "leaves"),
    ),
    "stirrup arc at edge": ({"stirrups": [(hoop(0.146), 0.008, False)]}, None),
    "torsion open": (
        {"stirrups": [(hoop(0.14)[:-1], 0.008, True)]},
        ("warning", "stirrups[0]", "not closed"),
    ),
    "no extremes": ({"extremes": ()}, ("error", "extremes", "no extremes")),
    "no loading": ({"extremes": (None,)}, ("error", "extremes[0]", "'S1 - E 1' has no loading")),
    "two points": ({"cs": GeneralShape(BOX[:2])}, ("error", "components[0].outline", "2 points")),
    "two points and an arc": ({"cs": GeneralShape([(0, 0), (1, 0), ((0, 0), (0.5, 0.5))])}, None),
    "closed on two points": (
        {"cs": GeneralShape([(0, 0), (1, 0), (0, 0)])},
        ("error", "components[0].outline", "2 points"),
    ),
    "bow tie": (
        {"cs": GeneralShape([(0, 0), (1, 1), (1, 0), (0, 1)])},
        ("error", "components[0].outline", "crosses"),
    ),
    "opening out": (
        {"cs": GeneralShape(BOX, [[(0.5, 0.1), (0.7, 0.1), (0.7, 0.3), (0.5, 0.3)]])},
        ("error", "components[0].openings[0]", "outside its outline"),
    ),
    "opening out at corners": (  # leaves and comes back through corners, crossing no edge
        {"cs": GeneralShape(BOX, [[(0.5, 0.3), (0.7, 0.5), (0.7, -0.1), (0.5, 0.1)]])},
        ("error", "components[0].openings[0]", "outside its outline near (0.7, 0.5) m"),
    ),
    "opening fills outline": (
        {"cs": GeneralShape(BOX, [BOX[::-1]])},
        ("error", "components[0]", "no concrete"),
    ),
    "opening touches": (
        {"cs": GeneralShape(BOX, [[(0.4, 0.1), (0.6, 0.1), (0.6, 0.3), (0.4, 0.3)]])},
        None,
    ),
    "bar in opening": (
        {"cs": GeneralShape(BOX, [HOLE]), "bars": [((0.3, 0.2), 0.02)]},
        ("error", "bars[0]", "inside opening 0"),
    ),
    "bar beside opening": ({"cs": GeneralShape(BOX, [HOLE]), "bars": [((0.17, 0.2), 0.02)]}, None),
    "negative strength": (
        {"concrete": {"fck": -30}},
        ("error", "fck", "greater than zero, but it is -30000000.0"),
    ),
    "fck in Pa": (
        {"concrete": {"fck": 30e6}},
        ("warning", "fck", "is 30000000000000.0, far outside the 12 to 90 MPa"),
    ),
    "fck 90": ({"concrete": {"fck": 90}}, None),
    "fyk in GPa": ({"steel": {"fyk": 0.5}}, ("warning", "fyk", "400 to 600 MPa")),
    "steel as concrete": (
        {"steel_as_concrete": True},
        ("error", "material", "made from a MatReinforcementEc2, but a MatConcrete is required"),
    ),
    "humidity 0": (
        {"relative_humidity": 0},
        ("error", "relative_humidity", "above 0 and at most 100"),
    ),
    "humidity 100": ({"relative_humidity": 100}, None),
    "zero width": (
        {"cs": RectSection(0, 0.5)},
        ("error", "parameters['Width']", "greater than zero"),
    ),
    "nan height": (
        {"cs": RectSection(0.3, math.nan)},
        ("error", "parameters['Height']", "not a finite"),
    ),
    "tee web bar": (
        {"cs": o.CrossSectionType.TG, "bars": [((0.3, -0.3), 0.012)]},
        ("error", "bars[0]", "outside the concrete"),
    ),
    "tee sample bars": (
        {"cs": o.CrossSectionType.TG, "bars": [((0.346, 0.1437), 0.012), ((0.071, -0.3923), 0.02)]},
        None,
    ),
    "placement unsure": ({"cs": o.CrossSectionType.TRAPEZOID, "bars": [((5, 5), 0.02)]}, None),
}
TEE = {"Height": 0.7, "Width": 0.8, "TopFlangeWidth": 0.16, "WallWidth": 0.25}  # IDEA's sample


class Shape(RectSection):
    def __init__(self, type_, parameters):
        self.type_, self.parameters = type_, parameters

    _type = property(lambda self: self.type_)
    _parameters = property(lambda self: dict(self.parameters))


@pytest.mark.parametrize("name", CASES)
def test_each_rule_finds_its_fault_and_passes_its_near_miss(name):
    arguments, expected = CASES[name]
    if isinstance(arguments.get("cs"), o.CrossSectionType):
        arguments = {**arguments, "cs": Shape(arguments["cs"], TEE)}
    model, _ = build(**arguments)
    findings = model.validate()
    if "bars" not in arguments:  # a section without bars is warned of: "no bars" pins that
        findings = [f for f in findings if f.field != "bars"]
    if expected is None:
        assert findings == []
        model.generate_xml_input()  # what passes the checks also converts
        return
    expected = expected if isinstance(expected, list) else [expected]
    assert len(findings) == len(expected), findings
    for finding, (severity, field, words) in zip(findings, expected, strict=True):
        assert (finding.severity.value, finding.field) == (severity, field)
        assert words in finding.message and finding.message.endswith(".")
        assert finding.object_id == 1 and str(finding).startswith(severity + ": ")


@settings(max_examples=200, deadline=None)
@given(
    start=st.floats(0, 2 * math.pi),
    turn=st.sampled_from([1, -1, 0]),  # a half disc, arc anticlockwise or clockwise; 0: an O
    rho=st.floats(0, 0.6),
    theta=st.floats(0, 2 * math.pi),
    diameter=st.floats(0.006, 0.05),
)
def test_a_bar_in_a_round_section_is_judged_as_the_closed_form_says(
    start, turn, rho, theta, diameter
):
    def on_circle(angle):
        return (0.5 * math.cos(angle), 0.5 * math.sin(angle))

    side = rho * math.sin(theta - start) * (turn or 1)  # from the half disc's straight edge
    gap = min(0.5 - rho, side if turn else math.inf)  # from the bar's centre to the edge
    radius = diameter / 2
    assume(min(abs(gap), abs(side), abs(gap - radius), abs(gap - 3 * radius)) > 1e-9)
    arc = (on_circle(start + turn * math.pi), on_circle(start + turn * math.pi / 2))
    cs = (
        GeneralShape([on_circle(start), arc, (0, 0)])
        if turn
        else Shape(o.CrossSectionType.O, {"D": 1.0})
    )
    bar = ((rho * math.cos(theta), rho * math.sin(theta)), diameter)
    model, _ = build(cs=cs, bars=[bar])
    expected = [] if gap >= 3 * radius else ["warning"] if gap >= radius else ["error"]
    assert [f.severity.value for f in model.validate()] == expected


def test_the_main_example_is_a_clean_model():
    path = pathlib.Path(__file__).parents[1] / "examples" / "beam.py"
    found = importlib.util.spec_from_file_location("beam_example", path)
    example = importlib.util.module_from_spec(found)
    found.loader.exec_module(example)
    model, _ = example.build_beam_model()
    assert model.validate() == []


def test_references_outside_the_model_and_the_raising_form():
    model, other = OpenModel(), OpenModel()
    mat = other.create_matconcrete_ec2(o.ConcreteMaterial.C30_37, poisson=0.5)
    other.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    section = model.create_cross_section_parameter(o.CrossSectionType.RECT, mat, Width=1, Height=1)
    model.add_check_section(
        model.create_check_member1d(), model.create_reinforced_cross_section(section)
    )
    model.add_member_data_ec2(model._check_member_list[0], o.MemberType.BEAM, o.TwoWaySlabType.SLAB)
    fields = [(f.object_type, f.field) for f in model.validate()]
    assert fields == [
        ("CrossSectionParameter", "material"),
        ("ReinforcedCrossSection", "bars"),
        ("StandardCheckSection", "extremes"),
    ]
    assert "refers to MatConcrete 1, which is not in the model" in model.validate()[0].message
    with pytest.raises(
        ModelError, match=r"the model has 2 errors:\n  error: CrossSectionParameter 1"
    ) as raised:
        model.ensure_valid()
    assert isinstance(raised.value, ValueError) and len(raised.value.findings) == 2
    assert "no bars" not in str(raised.value)  # warnings are returned, not raised
    assert [f.field for f in other.validate()] == ["poisson"]
    warned, _ = build(bars=[((0.14, 0), 0.02)])
    assert [f.field for f in warned.ensure_valid()] == ["bars[0]"]


@pytest.mark.parametrize(
    "bad", [{"cs": "rect"}, {"rcs_name": 1}, {"name": 2}, {"calculation_control": "all"}]
)
def test_a_failed_member_operation_adds_nothing(bad):
    model, _ = build()
    before = [len(getattr(model, f"_{n}_list")) for n in LISTS]
    with pytest.raises((TypeError, AttributeError)):
        model.create_beam(**{"cs": RECT, "material": model._mat_concrete_list[0], **bad})
    assert [len(getattr(model, f"_{n}_list")) for n in LISTS] == before


def test_a_drawing_holds_one_artist_per_bar_and_stirrup():
    pytest.importorskip("matplotlib").use("Agg")
    bars = [((0.1, -0.2), 0.016), ((-0.1, -0.2), 0.02), ((0.2, 0), 0.02)]
    model, beam = build(bars=bars, stirrups=[(hoop(0.14), 0.008, False)], name="Beam 1")
    ax = model.plot(beam)
    circles = [p for p in ax.patches if p.get_gid() == "bar"]
    assert [(c.center, c.radius) for c in circles] == [(p, d / 2) for p, d in bars]
    (stirrup,) = [p for p in ax.patches if p.get_gid() == "stirrup"]
    assert stirrup.get_path().vertices[:, 0].max() == pytest.approx(0.14, abs=1e-5)
    (concrete,) = [p for p in ax.patches if p.get_gid() == "concrete"]
    assert concrete.get_path().get_extents().bounds == pytest.approx((-0.15, -0.25, 0.3, 0.5))
    assert ax.get_title() == "Beam 1 (R1)" and ax.get_aspect() == 1
    assert [line.get_label()[:7] for line in ax.lines] == ["bars[2]"]
    assert model.plot(model._cross_section_list[0], findings=False).get_title() == "Cross-section 1"
    with pytest.raises(ValueError, match="not a cross-section, reinforced cross-section"):
        model.plot(Model().create_concrete_material(o.ConcreteMaterial.C30_37))


@pytest.mark.parametrize("far", [math.nan, math.inf, -1e300, 1e300])
def test_geometry_beyond_any_section_is_found_and_the_drawing_still_renders(far):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    model, beam = build(
        cs=GeneralShape([(-0.15, -0.25), (0.15, -0.25), (far, 0.25), (-0.15, 0.25)]),
        bars=[((far, 0), 0.02), ((0, 0), far), ((0, 0), 0.02)],
        stirrups=[([(-0.1, -0.2), (0.1, far), (-0.1, -0.2)], 0.008, False)],
    )
    fields = {f.field for f in model.validate() if f.severity.value == "error"}
    assert {"components[0].outline", "bars[0].coordinates", "stirrups[0].points"} <= fields
    assert ("bars[1].diameter" in fields) == (not math.isfinite(far) or far < 0)
    ax = model.plot(beam)
    ax.figure.savefig(__import__("io").BytesIO(), format="png")
    assert all(math.isfinite(limit) and abs(limit) < 1e7 for limit in ax.axis())
    assert "concrete not drawn" in ax.get_title()
    assert [p.get_gid() for p in ax.patches] == ["bar"]


def test_findings_of_sections_side_by_side_stay_legible():
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure, axes = plt.subplots(2, 2, figsize=(10, 9))
    faults = [((0.2, 0), 0.02), ((0.145, 0.1), 0.02), ((0, 0), 0.02), ((0.015, 0), 0.02)]
    for count, ax in enumerate(axes.flat, 1):
        model, beam = build(bars=faults[:count], stirrups=[(hoop(0.147), 0.008, False)])
        model.plot(beam, ax)
    figure.canvas.draw()
    lists = [t.get_window_extent() for ax in axes.flat for t in ax.texts if t.get_gid()]
    assert len(axes[1, 1].texts) == 1 + 4  # its list, and labels of 5 findings at 4 points
    assert len(lists) == 4
    page = figure.bbox
    for i, box in enumerate(lists):
        assert page.x0 <= box.x0 and box.x1 <= page.x1 and page.y0 <= box.y0
        assert not any(box.overlaps(other) for other in lists[i + 1 :])
        assert not any(box.overlaps(ax.bbox) for ax in axes.flat)
    plt.close(figure)


def test_drawing_without_matplotlib_names_the_extra(monkeypatch):
    model, beam = build()
    monkeypatch.setitem(__import__("sys").modules, "matplotlib.patches", None)
    with pytest.raises(ImportError, match=r"pip install 'marlox\[plot\]'"):
        model.plot(beam)
