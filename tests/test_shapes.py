"""Section shapes, section properties, SVG drawings and a model you can read back."""

import math
import xml.etree.ElementTree as ET

import pytest

from marlox.external.idea_rcs import (
    BoxSection,
    CircleSection,
    GeneralShape,
    HollowCircleSection,
    InvertedTSection,
    ISection,
    LSection,
    Model,
    OpenModel,
    RectSection,
    TrapezoidSection,
    TSection,
)
from marlox.external.idea_rcs import objects as o

SVG = "{http://www.w3.org/2000/svg}"
BOX = [(0, 0), (1, 0), (1, 0.2), (0, 0.2)]


def rect_moment(b, h, z):  # second moment of a b x h rectangle centred at z, about z = 0
    return b * h**3 / 12 + b * h * z * z


def tee(b, h, tf, bw):  # area, centroid below the top, second moment about the centroid
    area = b * tf + bw * (h - tf)
    top = (b * tf * tf / 2 + bw * (h - tf) * (tf + (h - tf) / 2)) / area
    inertia = rect_moment(b, tf, top - tf / 2) + rect_moment(bw, h - tf, top - tf - (h - tf) / 2)
    return area, top, inertia


T_AREA, T_TOP, T_INERTIA = tee(1.2, 0.75, 0.15, 0.3)
L_AREA = 0.6 * 0.2 + 0.25 * 0.6
L_Y = (0.6 * 0.2 * 0.3 + 0.25 * 0.6 * 0.125) / L_AREA  # centroid from the left face
L_Z = (0.6 * 0.2 * 0.1 + 0.25 * 0.6 * 0.5) / L_AREA  # centroid above the bottom
TRAP_Z = 0.6 / 3 * (0.5 + 2 * 0.3) / (0.5 + 0.3)  # centroid of a trapezoid above its base
I_INERTIA = rect_moment(0.6, 0.15, 0.425) * 2 + rect_moment(0.2, 0.7, 0)

SHAPES = {
    # prototype: (gross area, net area, (y_left, y_right, z_bottom, z_top), second moment y)
    TSection(1.2, 0.75, 0.15, 0.3): (T_AREA, T_AREA, (-0.6, 0.6, T_TOP - 0.75, T_TOP), T_INERTIA),
    InvertedTSection(1.2, 0.75, 0.15, 0.3): (
        T_AREA,
        T_AREA,
        (-0.6, 0.6, -T_TOP, 0.75 - T_TOP),
        T_INERTIA,
    ),
    ISection(1.0, 0.6, 0.15, 0.2): (0.32, 0.32, (-0.3, 0.3, -0.5, 0.5), I_INERTIA),
    ISection(1.0, 0.6, 0.15, 0.2, bottom_width=0.6, bottom_thickness=0.15): (
        0.32,
        0.32,
        (-0.3, 0.3, -0.5, 0.5),
        I_INERTIA,
    ),
    LSection(0.6, 0.8, 0.2, 0.25): (L_AREA, L_AREA, (-L_Y, 0.6 - L_Y, -L_Z, 0.8 - L_Z), None),
    CircleSection(0.8): (
        math.pi * 0.16,
        math.pi * 0.16,
        (-0.4, 0.4, -0.4, 0.4),
        math.pi / 4 * 0.4**4,
    ),
    HollowCircleSection(1.0, 0.2): (
        math.pi / 4,
        math.pi / 4 * (1 - 0.36),
        (-0.5, 0.5, -0.5, 0.5),
        math.pi / 4 * (0.5**4 - 0.3**4),
    ),
    BoxSection(1.0, 0.8, 0.15): (0.8, 0.8 - 0.7 * 0.5, (-0.5, 0.5, -0.4, 0.4), None),
    BoxSection(1.0, 0.8, 0.15, flange_thickness=0.1): (
        0.8,
        0.8 - 0.7 * 0.6,
        (-0.5, 0.5, -0.4, 0.4),
        (1.0 * 0.8**3 - 0.7 * 0.6**3) / 12,
    ),
    TrapezoidSection(0.6, 0.3, 0.5): (0.24, 0.24, (-0.25, 0.25, -TRAP_Z, 0.6 - TRAP_Z), None),
    RectSection(0.3, 0.5): (0.15, 0.15, (-0.15, 0.15, -0.25, 0.25), 0.3 * 0.5**3 / 12),
}


@pytest.mark.parametrize("shape", SHAPES, ids=repr)
def test_each_shape_has_the_closed_form_area_centroid_and_extreme_fibres(shape):
    gross, net, bounds, inertia = SHAPES[shape]
    p = shape.section_properties()
    assert p["gross_area"] == pytest.approx(gross, rel=1e-5)
    assert p["concrete_area"] == pytest.approx(net, rel=1e-5)
    assert p["centroid"] == pytest.approx((0, 0), abs=1e-9)  # the origin, for every shape
    assert (shape.y_left, shape.y_right, shape.z_bottom, shape.z_top) == pytest.approx(bounds)
    if inertia is not None:
        assert p["second_moment_y"] == pytest.approx(inertia, rel=1e-5)
    # The model holds the same concrete, drawn and measured the same way.
    model = Model()
    member = model.create_beam(shape, model.create_concrete_material(o.ConcreteMaterial.C30_37))
    assert member.section_properties()["concrete_area"] == pytest.approx(net, rel=1e-5)
    # The concrete itself is sound: only the missing bars and extremes are found.
    assert [f.field for f in model.validate()] == ["bars", "extremes"]


def test_parametric_shapes_carry_ideas_type_and_parameter_names_into_the_xml():
    model = Model()
    mat = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    model.create_beam(TSection(1.2, 0.75, 0.15, 0.3), mat)
    model.create_compression_member(CircleSection(0.8), mat)
    assert TSection(1.2, 0.75, 0.15, 0.3)._parameters == {
        "Width": 1.2,
        "Height": 0.75,
        "TopFlangeWidth": 0.15,
        "WallWidth": 0.3,
    }
    xml = model.generate_xml_input().getvalue()
    root = ET.fromstring(xml)
    found = {
        css.findtext("CrossSectionType"): {
            p.findtext("Name"): float(p.findtext("Value")) for p in css.iter("Parameter")
        }
        for css in root.iter("CrossSection")
        if css.find("CrossSectionType") is not None
    }
    assert found == {
        "Tg": {"Height": 0.75, "Width": 1.2, "TopFlangeWidth": 0.15, "WallWidth": 0.3},
        "O": {"D": 0.8},
    }


@pytest.mark.parametrize(
    "make, error, words",
    [
        (
            lambda: TSection(1.2, 0.75, 0.75, 0.3),
            ValueError,
            "flange_thickness (0.75 m) must be less than height",
        ),
        (
            lambda: TSection(0.3, 0.75, 0.15, 0.4),
            ValueError,
            "web_width (0.4 m) must be at most width",
        ),
        (
            lambda: LSection(0.3, 0.75, 0.15, 0.3),
            ValueError,
            "web_width (0.3 m) must be less than width",
        ),
        (lambda: ISection(0.3, 0.6, 0.15, 0.2), ValueError, "top_thickness + bottom_thickness"),
        (
            lambda: ISection(1.0, 0.6, 0.15, 0.2, bottom_width=0.1),
            ValueError,
            "web_width (0.2 m) must be at most bottom_width",
        ),
        (
            lambda: HollowCircleSection(1.0, 0.5),
            ValueError,
            "wall_thickness (0.5 m) must be less than half the diameter",
        ),
        (
            lambda: BoxSection(1.0, 0.8, 0.5),
            ValueError,
            "web_thickness (0.5 m) must be less than half the width",
        ),
        (
            lambda: BoxSection(1.0, 0.8, 0.1, 0.4),
            ValueError,
            "flange_thickness (0.4 m) must be less than half the height",
        ),
        (
            lambda: CircleSection(-0.8),
            ValueError,
            "diameter must be a positive length in metres, not -0.8",
        ),
        (
            lambda: TrapezoidSection(0.6, float("nan"), 0.5),
            ValueError,
            "top_width must be a positive length",
        ),
        (lambda: CircleSection("0.8"), TypeError, "diameter must be a number, not str"),
        (lambda: TSection(1.2, 0.75, 0.15), TypeError, "missing required argument: 'web_width'"),
        (
            lambda: CircleSection(0.8, diameter=0.8),
            TypeError,
            "multiple values for argument 'diameter'",
        ),
        (lambda: CircleSection(radius=0.4), TypeError, "unexpected keyword argument 'radius'"),
    ],
)
def test_shapes_that_cannot_be_formed_name_the_dimension(make, error, words):
    with pytest.raises(error) as caught:
        make()
    assert words in str(caught.value)


def test_a_t_beam_a_pier_and_a_slab_round_trip_through_the_input_xml():
    model = Model()
    mat = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    t = TSection(1.2, 0.75, 0.15, 0.3)
    beam = model.create_beam(t, mat, name="T-beam")
    beam.create_bar((0, t.z_bottom + 0.04 + 0.0125), 0.025, steel)
    beam.create_rectangular_stirrup(0.008, steel, 0.15, cover=0.03, shear_check=True)
    pier = model.create_compression_member(HollowCircleSection(1.2, 0.3), mat, name="Pier")
    assert len(pier.create_bar_circle(16, 0.02, steel, cover=0.05)) == 16
    slab = model.create_one_way_slab(RectSection(1.0, 0.25), mat, name="Slab")
    assert len(slab.create_bar_layer_by_spacing(0.012, steel, 0.15, cover=0.03)) == 7
    for member in (beam, pier, slab):
        member.create_extreme(fundamental=o.LoadingULS(o.InternalForces(my=1e5)))
    assert model.validate() == []
    xml = model.generate_xml_input().getvalue()
    back = OpenModel.from_xml(xml)
    assert back.generate_xml_input().getvalue() == xml
    assert [s.description for s in back.check_sections] == ["T-beam", "Pier", "Slab"]
    assert [repr(m).split(":")[0] for m in back.members] == [
        "Beam 'T-beam'",
        "CompressionMember 'Pier'",
        "OneWaySlab 'Slab'",
    ]
    assert back.section_properties(back.check_sections[0])["effective_depth"]["bottom"] == (
        pytest.approx(0.75 - 0.0525)
    )


def test_section_properties_of_a_reinforced_beam_follow_the_hand_calculation():
    model = Model()
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    beam = model.create_beam(
        RectSection(0.3, 0.6), model.create_concrete_material(o.ConcreteMaterial.C30_37)
    )
    for y in (-0.1, 0.0, 0.1):  # three 25 mm bars 50 mm above the soffit (axis)
        beam.create_bar((y, -0.25), 0.025, steel)
    beam.create_bar((-0.1, 0.25), 0.016, steel)  # one at the top left
    p = beam.section_properties()
    area = 3 * math.pi * 0.025**2 / 4 + math.pi * 0.016**2 / 4
    assert p["reinforcement_area"] == pytest.approx(area)
    assert p["reinforcement_ratio"] == pytest.approx(area / 0.18)
    depth = p["effective_depth"]
    assert depth["bottom"] == pytest.approx(0.55)
    assert depth["top"] == pytest.approx(0.55)
    # Left: the two bars at y = -0.1 weighted by their areas, measured from the right face.
    a25, a16 = math.pi * 0.025**2 / 4, math.pi * 0.016**2 / 4
    assert depth["left"] == pytest.approx(0.25)
    assert depth["right"] == pytest.approx(0.25)
    assert (a25, a16) and list(p)[:4] == [
        "gross_area",
        "concrete_area",
        "centroid",
        "second_moment_y",
    ]
    check_section = model.check_sections[0]
    assert model.section_properties(check_section) == p
    assert "reinforcement_area" not in model.section_properties(model.cross_sections[0])
    with pytest.raises(ValueError, match="not known"):
        model.section_properties(
            model._create_cross_section_parameter(
                o.CrossSectionType.IGH, model.concrete_materials[0]
            )
        )


def test_the_svg_drawing_holds_the_concrete_each_bar_and_findings():
    model = Model()
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    beam = model.create_beam(
        BoxSection(1.0, 0.8, 0.15),
        model.create_concrete_material(o.ConcreteMaterial.C30_37),
        name="<Box> & 'girder'",
    )
    beam.create_bar((0.3, -0.33), 0.02, steel)
    beam.create_bar((0.0, 0.0), 0.02, steel)  # in the hole: an error, marked
    svg = beam._repr_svg_()
    root = ET.fromstring(svg)  # well-formed, names escaped
    assert root.findtext(f"{SVG}title") == "<Box> & 'girder' (R1)"
    circles = root.findall(f".//{SVG}circle[@class='bar']")
    assert len(circles) == 2 and float(circles[0].get("cx")) > float(circles[1].get("cx"))
    assert float(circles[0].get("cy")) > float(circles[1].get("cy"))  # z upwards
    (concrete,) = root.findall(f".//{SVG}path[@class='concrete']")
    assert concrete.get("d").count("M") == 2  # outline and opening
    (error,) = root.findall(f".//{SVG}path[@class='error']")
    assert "bars[1]" in error.findtext(f"{SVG}title")
    assert "1.00 × 0.80 m" in svg
    assert model.svg(beam, findings=False).count('class="error"') == 0
    assert model.svg(beam, width=640).startswith(
        '<svg xmlns="http://www.w3.org/2000/svg" width="640.00"'
    )
    with pytest.raises(ValueError, match="width must lie between"):
        model.svg(beam, width=0)
    made_by_hand = type(beam)(beam._rcs, beam._check_section)
    assert made_by_hand._repr_svg_() is None and made_by_hand.model is None
    assert beam.model is model


def test_a_model_reads_back_through_public_lists_and_reprs():
    model = Model()
    mat = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    steel = model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)
    beam = model.create_beam(TSection(1.2, 0.75, 0.15, 0.3), mat, name="B1")
    for y in (-0.1, 0.0, 0.1):
        beam.create_bar((y, -0.43), 0.025, steel)
    beam.create_extreme(fundamental=o.LoadingULS(o.InternalForces(my=1e5)))
    beam.create_extreme(fundamental=o.LoadingULS(o.InternalForces(my=2e5)))
    slab = model.create_one_way_slab(GeneralShape(BOX), mat)
    assert repr(beam) == "Beam 'B1': T 1.20 × 0.75 m, C30/37, 3 bars, 2 extremes"
    assert repr(slab) == "OneWaySlab 'S2': general shape 1.00 × 0.20 m, C30/37, 0 bars, 0 extremes"
    assert repr(model) == "<Model: 2 materials, 2 cross-sections, 2 check sections, 2 extremes>"
    assert repr(TSection(1.2, 0.75, 0.15, 0.3)) == (
        "TSection(width=1.2, height=0.75, flange_thickness=0.15, web_width=0.3)"
    )
    assert repr(RectSection(0.3, 0.6)) == "RectSection(width=0.3, height=0.6)"
    assert repr(GeneralShape(BOX, [BOX[:3]])) == "GeneralShape(4 vertices, 1 opening)"
    assert model.concrete_materials == [mat] and model.reinforcement_materials == [steel]
    assert model.check_sections[0].extremes == model.extremes[:2]
    assert [len(getattr(model, n)) for n in ("cross_sections", "reinforced_sections")] == [2, 2]
    assert [len(getattr(model, n)) for n in ("check_members", "member_data")] == [2, 2]
    model.cross_sections.clear()  # a new list: the model keeps its own
    assert len(model.cross_sections) == 2
    assert model.reinforced_sections[0].bars == beam.bars


def flat(points):  # [(y, z), ...] as [y, z, ...], for pytest.approx
    return [c for p in points for c in (p.coordinates if hasattr(p, "coordinates") else p)]


def member_on(shape, kind="create_beam"):
    model = Model()
    member = getattr(model, kind)(shape, model.create_concrete_material(o.ConcreteMaterial.C30_37))
    return model, member, model.create_reinforcement_material(o.ReinforcementMaterial.B_500B)


def test_bar_patterns_land_where_the_hand_calculation_puts_them():
    model, slab, steel = member_on(RectSection(1.0, 0.25), "create_one_way_slab")
    layer = slab.create_bar_layer_by_spacing(0.012, steel, 0.15, cover=0.03)
    # 0.928 m between the outermost centres holds 7 bars at 0.15, centred: -0.45 ... 0.45.
    assert flat(layer) == pytest.approx(flat([(-0.45 + 0.15 * i, -0.089) for i in range(7)]))
    assert layer.area_per_metre == pytest.approx(math.pi * 0.012**2 / 4 / 0.15)  # 754 mm2/m
    assert repr(layer) == "<BarLayer 7 × Ø12 @ 150 mm: 754 mm²/m>" and slab.bars == layer.bars
    top = slab.create_bar_layer_between(3, 0.01, steel, cover=0.02, face="top", side_cover=0.1)
    assert flat(top) == pytest.approx(flat([(-0.395, 0.1), (0, 0.1), (0.395, 0.1)]))

    _, beam, steel = member_on(TSection(1.2, 0.75, 0.15, 0.3))
    bottom = beam.create_bar_layer_between(3, 0.025, steel, cover=0.038)  # within the web
    z = T_TOP - 0.75 + 0.038 + 0.0125
    assert flat(bottom) == pytest.approx(flat([(-0.0995, z), (0, z), (0.0995, z)]))
    stirrup = beam.create_rectangular_stirrup(0.008, steel, 0.15, cover=0.03, bend_radius=0.02)
    points = [p if isinstance(p[0], float) else p[0] for p in stirrup.points]
    ys, zs = [p[0] for p in points], [p[1] for p in points]
    assert (min(ys), max(ys)) == pytest.approx((-0.116, 0.116))  # web 0.3 less 2 x (30 + 4) mm
    assert (min(zs), max(zs)) == pytest.approx((T_TOP - 0.75 + 0.034, T_TOP - 0.034))
    assert points[0] == points[-1] and sum(not isinstance(p[0], float) for p in stirrup.points) == 4

    _, pier, steel = member_on(CircleSection(1.2), "create_compression_member")
    ring = pier.create_ring_stirrup(0.012, steel, 0.2, cover=0.05)
    assert flat([ring.points[0], ring.points[1][1]]) == pytest.approx([0, -0.544, 0.544, 0])
    bars = pier.create_bar_circle(4, 0.025, steel, cover=0.062)
    r = 0.6 - 0.062 - 0.0125
    assert flat(bars) == pytest.approx(flat([(0, r), (-r, 0), (0, -r), (r, 0)]), abs=1e-12)
    rcs = pier._rcs  # the same patterns by their geometry, on the reinforced section
    more = rcs.create_bar_circle(3, 0.02, steel, radius=0.1, centre=(0.05, 0), start_angle=0)
    assert [b.coordinates for b in more][0] == pytest.approx((0.15, 0))
    assert pier.bars[-3:] == more and pier.stirrups == [ring]


@pytest.mark.parametrize(
    "shape, call, words",
    [
        (
            RectSection(1.0, 0.25),
            lambda m, s: m.create_bar_layer_by_spacing(0.02, s, 0.015, cover=0.03),
            "bars of 20 mm overlap at a spacing of 15 mm",
        ),
        (
            RectSection(1.0, 0.25),
            lambda m, s: m.create_bar_layer_between(3, 0.02, s, cover=0.2),
            "cover 0.2 m is more than half the section's height",
        ),
        (
            RectSection(0.3, 0.6),
            lambda m, s: m.create_bar_layer_between(3, 0.02, s, cover=0.03, side_cover=0.15),
            "the layer does not fit",
        ),
        (
            RectSection(0.3, 0.6),
            lambda m, s: m.create_bar_layer_between(1, 0.02, s, cover=0.03),
            "at least 2 bars, not 1",
        ),
        (
            RectSection(0.3, 0.6),
            lambda m, s: m.create_bar_layer_between(2, 0.02, s, cover=0.03, face="side"),
            '\'face\' must be "bottom" or "top"',
        ),
        (
            CircleSection(1.2),
            lambda m, s: m.create_bar_circle(200, 0.025, s, cover=0.06),
            "overlap when 200 stand on a circle",
        ),
        (
            CircleSection(0.2),
            lambda m, s: m.create_bar_circle(6, 0.025, s, cover=0.1),
            "the circle of the bars does not fit",
        ),
        (
            RectSection(0.3, 0.6),
            lambda m, s: m.create_rectangular_stirrup(0.01, s, 0.2, cover=0.03, bend_radius=0.2),
            "bend radius 200 mm does not fit",
        ),
        (
            CircleSection(0.2),
            lambda m, s: m.create_ring_stirrup(0.01, s, 0.2, cover=0.1),
            "the ring does not fit",
        ),
    ],
)
def test_patterns_that_do_not_fit_say_what_and_add_nothing(shape, call, words):
    _, member, steel = member_on(shape)
    with pytest.raises(ValueError) as caught:
        call(member, steel)
    assert words in str(caught.value)
    assert member.bars == [] and member.stirrups == []


def test_patterns_need_a_member_that_knows_its_concrete():
    _, member, steel = member_on(RectSection(0.3, 0.6))
    with pytest.raises(TypeError, match="either 'cover' or 'radius'"):
        member.create_bar_circle(4, 0.02, steel, cover=0.03, radius=0.1)
    by_hand = type(member)(member._rcs, member._check_section)
    with pytest.raises(ValueError, match="not made by a model"):
        by_hand.create_bar_layer_between(2, 0.02, steel, cover=0.03)
    with pytest.raises(TypeError, match="'count' must be an int, not float"):
        member._rcs.create_bar_layer_between(2.0, 0.02, steel, z=0, y_from=0, y_to=0.1)


@pytest.mark.parametrize(
    "kind, parameters, same_as",
    [
        (
            "TGREV",
            {"Height": 0.75, "Width": 1.2, "TopFlangeWidth": 0.15, "WallWidth": 0.3},
            InvertedTSection(1.2, 0.75, 0.15, 0.3),
        ),
        (
            "IGN",
            {"H": 1.0, "Bh": 0.6, "Bs": 0.4, "Ts": 0.2, "Th": 0.15, "Tw": 0.2},
            ISection(1.0, 0.6, 0.15, 0.2, 0.4, 0.2),
        ),
        ("TRAPEZOID", {"H": 0.6, "Bb": 0.5, "Bt": 0.3}, TrapezoidSection(0.6, 0.3, 0.5)),
    ],
)
def test_ideas_parametric_types_are_drawn_and_checked_as_the_shapes(kind, parameters, same_as):
    wrong = {**parameters, "H" if "H" in parameters else "Height": 0.1}  # too low for its parts
    bad = OpenModel()
    mat = bad.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    bad.create_cross_section_parameter(getattr(o.CrossSectionType, kind), mat, **wrong)
    found = [(f.field, f.message[:27]) for f in bad.validate()]
    if kind != "TRAPEZOID":  # any positive height makes a trapezoid
        assert found == [
            (
                f"parameters['{'Th' if kind == 'IGN' else 'TopFlangeWidth'}']",
                "The shape cannot be formed:",
            )
        ]
    model = OpenModel()
    mat = model.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    cs = model.create_cross_section_parameter(getattr(o.CrossSectionType, kind), mat, **parameters)
    p, q = model.section_properties(cs), same_as.section_properties()
    assert [p[k] for k in ("gross_area", "second_moment_y", "z_bottom", "z_top")] == pytest.approx(
        [q[k] for k in ("gross_area", "second_moment_y", "z_bottom", "z_top")]
    )
    rcs = model.create_reinforced_cross_section(cs)
    rcs.create_bar(
        (0, q["z_top"] + 0.01),
        0.02,
        model.create_matreinforcement_ec2(o.ReinforcementMaterial.B_500B),
    )
    assert [f.field for f in model.validate() if f.object_type == "ReinforcedCrossSection"] == [
        "bars[0]"
    ]


@pytest.mark.parametrize(
    "outline, area, centroid, bounds",
    [
        # a half disc of radius 0.5 above y: the arc passes its top quadrant point
        (
            [(0.5, 0), ((-0.5, 0), (0, 0.5))],
            math.pi / 8,
            (0, 2 / (3 * math.pi)),
            (-0.5, 0.5, 0, 0.5),
        ),
        # a quarter disc swept clockwise from the top to the right
        (
            [(0, 0), (0, 0.5), ((0.5, 0), (0.5 / math.sqrt(2), 0.5 / math.sqrt(2)))],
            math.pi / 16,
            (2 / (3 * math.pi),) * 2,
            (0, 0.5, 0, 0.5),
        ),
        # an arc that passes no quadrant point: the chord's ends bound it
        (
            [(0, 0), (0.4, 0.3), ((0.3, 0.4), (0.5 / math.sqrt(2), 0.5 / math.sqrt(2)))],
            None,
            None,
            (0, 0.4, 0, 0.4),
        ),
    ],
)
def test_general_outlines_with_arcs_have_exact_extreme_fibres(outline, area, centroid, bounds):
    shape = GeneralShape(outline)
    p = shape.section_properties()
    assert (shape.y_left, shape.y_right, shape.z_bottom, shape.z_top) == pytest.approx(
        bounds, abs=1e-12
    )
    if area is not None:
        assert p["concrete_area"] == pytest.approx(area, rel=1e-5)
        assert p["centroid"] == pytest.approx(centroid, rel=1e-4)


def test_a_section_whose_concrete_is_not_known_still_draws_its_bars():
    model = OpenModel()
    mat = model.create_matconcrete_ec2(o.ConcreteMaterial.C30_37)
    cs = model.create_cross_section_parameter(o.CrossSectionType.IGH, mat, H=1.0)
    rcs = model.create_reinforced_cross_section(cs, "R <1>")
    rcs.create_bar((0, 0), 0.02, model.create_matreinforcement_ec2(o.ReinforcementMaterial.B_500B))
    root = ET.fromstring(model.svg(rcs))
    assert root.find(f"{SVG}text").text == "R <1> (concrete not drawn)"
    assert root.find(f".//{SVG}path[@class='concrete']") is None
    assert len(root.findall(f".//{SVG}circle")) == 1
    with pytest.raises(ValueError, match="not known"):
        model.section_properties(rcs)
