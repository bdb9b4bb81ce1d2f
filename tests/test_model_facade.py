"""The member-oriented Model: materials with engineering defaults, and the member operations
that create the five OpenModel objects of a member in one step."""

import inspect

import pytest

from marlox.external.idea_rcs import idea_rcs
from marlox.external.idea_rcs import objects as o
from marlox.external.idea_rcs.idea_rcs import (
    Beam,
    CompressionMember,
    GeneralShape,
    Model,
    OneWaySlab,
    RectSection,
    SectionPrototype1D,
)

MEMBER_OPERATIONS = [
    ("create_beam", o.MemberType.BEAM, Beam),
    ("create_compression_member", o.MemberType.COLUMN, CompressionMember),
    ("create_one_way_slab", o.MemberType.BEAM_SLAB, OneWaySlab),
]

STEEL = o.ReinforcementMaterial.B_500B


def recording_model(*names):
    """A Model whose listed operations record their call before doing their work."""
    calls = []

    def recorder(name):
        def operation(self, *args, **kwargs):
            calls.append((name, args, list(kwargs.items())))
            return getattr(super(Recording, self), name)(*args, **kwargs)

        return operation

    Recording = type("Recording", (Model,), {name: recorder(name) for name in names})
    return Recording(), calls


@pytest.fixture
def model():
    return Model()


@pytest.fixture
def concrete(model):
    return model.create_concrete_material(o.ConcreteMaterial.C30_37)


def test_model_construction():
    model = Model()
    assert isinstance(model, idea_rcs._Model)
    assert isinstance(model.project_data, o.ProjectData)
    project, settings = o.ProjectData(), o.CodeSettings()
    model = Model(project_data=project, code_settings=settings)
    assert model.project_data is project and model.code_settings is settings
    with pytest.raises(TypeError):
        Model(project)
    assert all(value == [] for key, value in model._serialize().items() if key.endswith("_list"))


def test_concrete_material_renames_fck_and_forwards_in_order():
    model, calls = recording_model("_create_matconcrete_ec2")
    made = model.create_concrete_material(o.ConcreteMaterial.C30_37, fck=35, unit_mass=2400)
    forwarded = [("unit_mass", 2400), ("fck_28", 35), ("stone_diameter", 0.016)]
    forwarded += [("cement_class", o.ConcCementClass.R)]
    forwarded += [("aggregate_type", o.ConcAggregateType.QUARTZITE)]
    forwarded += [("diagram_type", o.ConcDiagramType.PARABOLIC), ("silica_fume", False)]
    forwarded += [("plain_concrete_diagram", False), ("dep_params", None)]
    assert calls == [("_create_matconcrete_ec2", (o.ConcreteMaterial.C30_37, None), forwarded)]
    assert (made.name, made.fck, made.e_modulus) == ("C30/37", 35e6, 32800e6)
    assert model._mat_concrete_list == [made]
    assert model.create_concrete_material(o.ConcreteMaterial.C30_37, "mine").name == "mine"
    with pytest.raises(TypeError):
        model.create_concrete_material(o.ConcreteMaterial.C30_37, "mine", 2400)


def test_reinforcement_material_defaults_and_tensile_strength():
    model, calls = recording_model("_create_matreinforcement_ec2")
    base = o._MATERIAL_PROPERTIES[STEEL]
    made = model.create_reinforcement_material(STEEL, fyk=0, epsuk=25)
    ((_, args, kwargs),) = calls
    assert args == (STEEL, None)
    assert [key for key, _ in kwargs] == (
        "unit_mass e_modulus fyk ftk_by_fyk ftk epsuk type_ bar_surface class_ fabrication "
        "diagram_type".split()
    )
    values = dict(kwargs)
    assert (values["fyk"], values["ftk_by_fyk"]) == (base["fyk"], base["ftk_by_fyk"])
    assert values["ftk"] == base["fyk"] * base["ftk_by_fyk"]
    assert (values["unit_mass"], values["e_modulus"], values["epsuk"]) == (7850, 200000, 25)
    assert made.fyk == base["fyk"] * 1e6 and made.epsuk == pytest.approx(0.0025)

    # The tensile strength follows the values given, not the grade's table.
    made = model.create_reinforcement_material(STEEL, fyk=600, ftk_by_fyk=1.15)
    assert made.ftk == pytest.approx(690e6)
    made = model.create_reinforcement_material(STEEL, fyk=600)
    assert made.ftk == pytest.approx(600e6 * base["ftk_by_fyk"])
    with pytest.raises(TypeError):
        model.create_reinforcement_material(STEEL, "name", 7850)


def test_reinforcement_material_needs_a_tabulated_grade_for_defaults(model):
    with pytest.raises(KeyError):
        model.create_reinforcement_material("B 999X")
    with pytest.raises(KeyError):
        model.create_reinforcement_material("B 999X", fyk=500)
    assert model._mat_reinforcement_list == []


@pytest.mark.parametrize(("operation", "member_type", "cls"), MEMBER_OPERATIONS)
def test_member_operations(model, concrete, operation, member_type, cls):
    member = getattr(model, operation)(RectSection(0.3, 0.5), concrete)
    assert type(member) is cls
    (section,) = model._cross_section_list
    assert isinstance(section, o.CrossSectionParameter)
    assert (section.name, section.cross_section_type) == ("", o.CrossSectionType.RECT)
    assert list(section.parameters.items()) == [("Width", 0.3), ("Height", 0.5)]
    assert member._rcs is model._reinforced_cross_section_list[0]
    assert member._check_section is model._check_section_list[0]
    assert member._rcs.name == "R1" and member._check_section.description == "S1"
    assert model._check_member_list[0].name == "M 1"
    (data,) = model._attribute_list
    assert (data.member_type, data.two_way_slab_type) == (member_type, o.TwoWaySlabType.SLAB)
    assert data.calculation_setup is data.coeff_kx_for_wmax is data.relative_humidity is None
    with pytest.raises(TypeError):
        getattr(model, operation)(RectSection(0.3, 0.5), concrete, None)
    assert len(model._cross_section_list) == 1


def test_member_operation_names_and_member_data(model, concrete):
    setup, exposure = o.CalculationSetup(), o.ExposureClassesDataEc2()
    names = {"name": "Column base", "rcs_name": "Column section", "design_member_name": "C1"}
    data = {"calculation_control": setup, "exposure_classes": exposure, "coeff_kx": 1.2}
    data.update(creep_coefficient=2.1, relative_humidity=50)
    member = model.create_compression_member(RectSection(0.4, 0.4), concrete, **names, **data)
    assert model._cross_section_list[0].name == ""
    assert member._rcs.name == "Column section"
    assert member._check_section.description == "Column base"
    assert model._check_member_list[0].name == "C1"
    (data,) = model._attribute_list
    assert data.calculation_setup is setup and data.exposure_class_data is exposure
    assert (data.coeff_kx_for_wmax, data.creep_coefficient, data.relative_humidity) == (
        1.2,
        2.1,
        50,
    )


def test_member_operation_calls_1d_section_through_self():
    model, calls = recording_model("_create_1d_section", "_add_member_data_ec2")
    concrete = model.create_concrete_material(o.ConcreteMaterial.C30_37)
    shape = RectSection(0.3, 0.5)
    model.create_one_way_slab(shape, concrete, name="slab", coeff_kx=1.1)
    (_, args, kwargs), (_, data_args, data_kwargs) = calls

    # An override with the operation's parameters receives each value under its own name.
    def override(
        member_type,
        cs,
        material,
        calculation_control=None,
        name=None,
        rcs_name=None,
        exposure_classes=None,
        coeff_kx=None,
        creep_coefficient=None,
        relative_humidity=None,
        design_member_name=None,
    ):
        pass

    bound = inspect.signature(override).bind(*args, **dict(kwargs))
    assert {k: v for k, v in bound.arguments.items() if v is not None} == {
        "member_type": o.MemberType.BEAM_SLAB,
        "cs": shape,
        "material": concrete,
        "name": "slab",
        "coeff_kx": 1.1,
    }
    assert len(args) == 10 and [k for k, _ in kwargs] == ["design_member_name"]
    assert data_args == (model._check_member_list[0], o.MemberType.BEAM_SLAB, o.TwoWaySlabType.SLAB)
    assert data_kwargs == [("calculation_setup", None), ("coeff_kx_for_wmax", 1.1)] + [
        (name, None) for name in ("exposure_class_data", "creep_coefficient", "relative_humidity")
    ]


def test_general_shape_becomes_a_component_section(model, concrete):
    outline = [(0, 0), (0.6, 0), (0.6, 0.8), (0, 0.8)]
    openings = [[(0.2, 0.2), (0.4, 0.2), (0.4, 0.4), (0.2, 0.4)]]
    model.create_beam(GeneralShape(outline, openings), concrete)
    (section,) = model._cross_section_list
    assert isinstance(section, o.CrossSectionComponent) and section.name == ""
    (component,) = section.components
    document = component._serialize()
    assert document["Outline"] == [list(p) for p in outline]
    assert document["Openings"] == [[list(p) for p in openings[0]]]
    with pytest.raises(TypeError, match="outline"):
        model.create_beam(GeneralShape([(0, 0), (1, 0), "x"]), concrete)


def test_the_class_decides_the_kind_of_section(model, concrete):
    class Square(GeneralShape):
        @property
        def _type(self):
            return o.CrossSectionType.RECT

    class Named(SectionPrototype1D):
        def __init__(self):
            pass

        _type = property(lambda self: o.CrossSectionType.TRAPEZOID)
        _parameters = property(lambda self: {"H": 0.6, "Bb": 0.4, "Bt": 0.2})

    model.create_beam(Square([(0, 0), (1, 0), (1, 1)]), concrete)
    model.create_beam(Named(), concrete)
    component, parametric = model._cross_section_list
    assert isinstance(component, o.CrossSectionComponent)
    assert parametric.cross_section_type is o.CrossSectionType.TRAPEZOID
    assert parametric.parameters == {"H": 0.6, "Bb": 0.4, "Bt": 0.2}
    assert [s.id for s in model._cross_section_list] == [1, 2]


def test_members_do_not_share_state(model, concrete):
    steel = model.create_reinforcement_material(STEEL)
    first = model.create_beam(RectSection(0.3, 0.5), concrete)
    second = model.create_beam(RectSection(0.3, 0.5), concrete)
    first.create_bar((0.1, 0.1), 0.02, steel)
    second.create_extreme()
    assert (len(first.bars), len(second.bars)) == (1, 0)
    assert (len(first.extremes), len(second.extremes)) == (0, 1)
    assert second.extremes[0].description == "S2 - E 1"
    assert [r.name for r in model._reinforced_cross_section_list] == ["R1", "R2"]
    assert [m.name for m in model._check_member_list] == ["M 1", "M 2"]


# --- the interpreter's own failures -----------------------------------------------------------


def python_failure(call):
    with pytest.raises(Exception) as caught:
        call()
    return type(caught.value), str(caught.value)


@pytest.mark.parametrize(
    ("parameters", "type_name"), [(None, "NoneType"), ([("Width", 1)], "list")]
)
def test_parameters_that_are_not_a_mapping(model, concrete, parameters, type_name):
    class Unmapped(SectionPrototype1D):
        def __init__(self):
            pass

        _type = property(lambda self: o.CrossSectionType.RECT)
        _parameters = property(lambda self: parameters)

    def python_call():
        model._create_cross_section_parameter(o.CrossSectionType.RECT, concrete, None, **parameters)

    expected = python_failure(python_call)
    assert expected[0] is TypeError
    assert expected[1].endswith(f"argument after ** must be a mapping, not {type_name}")
    assert python_failure(lambda: model.create_beam(Unmapped(), concrete)) == expected
    assert model._cross_section_list == []


@pytest.mark.parametrize(
    "make",
    [lambda: (1,), lambda: (1, 2, 3), list, lambda: iter([1, 2, 3]), lambda: 7, lambda: None],
    ids=["one", "three", "empty", "iterator", "int", "None"],
)
def test_1d_section_must_give_two_values(model, concrete, make):
    class Overridden(Model):
        def _create_1d_section(self, *args, **kwargs):
            return make()

    def unpack():
        _rcs, _check_section = make()

    assert python_failure(lambda: Overridden().create_beam(None, concrete)) == python_failure(
        unpack
    )


def test_1d_section_override_makes_the_member():
    class Overridden(Model):
        def _create_1d_section(self, member_type, cs, *args, **kwargs):
            return iter([member_type, cs])

    member = Overridden().create_compression_member("shape", "concrete")
    assert (member._rcs, member._check_section) == (o.MemberType.COLUMN, "shape")
