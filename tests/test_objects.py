"""The companion vocabulary: names, enumerations, tables, checked constructors and operations."""

import enum
import gc
import json
import weakref

import pytest

from marlox.external.idea_rcs import objects as o

VOCABULARY = (
    "_OpenObject _ReferenceElement CheckMember CheckMember1D MatReinforcement MatConcrete "
    "MatConcreteEc2 MatReinforcementEc2 CrossSection CrossSectionParameter "
    "ReinforcedCrossSection ReinforcedBar Stirrup CheckSection StandardCheckSection "
    "ConcreteMemberDataEc2 ExposureClassesDataEc2 ThermalState BarSurface ReinfClass "
    "ReinfType ReinfDiagramType ReinfFabrication ConcDiagramType ConcAggregateType "
    "ConcCementClass ConcDependentParams CrossSectionType CheckSectionExtreme LoadingSLS "
    "LoadingULS MemberType TwoWaySlabType CalculationSetup ConcreteMaterial "
    "ReinforcementMaterial _MATERIAL_NAMES _MATERIAL_PROPERTIES CodeSettings ProjectData "
    "FatigueLoading CrossSectionComponent".split()
)


@pytest.fixture
def steel():
    values = (200e9, 83.333e9, 0.2, 7850, 0.6, 1e-5, 45, False, 1, o.ThermalState())
    return o.MatReinforcementEc2(
        1, "B 500B", *values, o.BarSurface.RIBBED, 500e6, 1.08, 0.05, 540e6
    )


@pytest.fixture
def rcs():
    return o.ReinforcedCrossSection(1, "R1", o._ReferenceElement(1, o.CrossSection))


def test_the_vocabulary_is_exported():
    assert [name for name in VOCABULARY if not hasattr(o, name)] == []


def test_enumerations_are_real_enums_with_json_values():
    for name in VOCABULARY:
        value = getattr(o, name)
        if isinstance(value, type) and issubclass(value, enum.Enum):
            assert all(isinstance(json.loads(json.dumps(m.value)), str) for m in value)
    shapes = {m.name for m in o.CrossSectionType}
    assert shapes >= set(
        "O RECT TRAPEZOID IGN IGH BEAM_SHAPE_I_HAUNCH_CHAMFER TG TTFH TGREV TCHAMFER_1 "
        "TCHAMFER_2 TWH TTFHREV TWHREV GENERAL".split()
    )
    assert o.MemberType.BEAM_SLAB.value == "BeamSlab"
    assert o.TwoWaySlabType.SHELL_AS_PLATE.value == "ShellAsPlate"


def test_material_tables_cover_the_code_classes():
    concretes = list(o.ConcreteMaterial)
    assert concretes[0] is o.ConcreteMaterial.C12_15 and concretes[-1].name == "C100_115"
    assert o._MATERIAL_NAMES[o.ConcreteMaterial.C30_37] == {"name": "C30/37"}
    fck = [12, 16, 20, 25, 30, 35, 40, 45, 50, 55, 60, 70, 80, 90, 100]
    assert [o._MATERIAL_PROPERTIES[c]["fck"] for c in concretes] == fck
    for grade in (400, 450, 500):
        for ductility, k, epsuk in (("A", 1.05, 250), ("B", 1.08, 500), ("C", 1.15, 750)):
            member = getattr(o.ReinforcementMaterial, f"B_{grade}{ductility}")
            assert o._MATERIAL_NAMES[member] == {"name": f"B {grade}{ductility}"}
            assert o._MATERIAL_PROPERTIES[member] == {"fyk": grade, "ftk_by_fyk": k, "epsuk": epsuk}


@pytest.mark.parametrize(
    "make, error, message",
    [
        (lambda: o.CheckMember1D(1), TypeError, "missing required argument: 'name'"),
        (lambda: o.CheckMember1D(1, "a", 2), TypeError, "takes 2 positional arguments"),
        (lambda: o.CheckMember1D(1, "a", name="b"), TypeError, "multiple values for argument"),
        (lambda: o.CheckMember1D(1, "a", size=2), TypeError, "unexpected keyword argument 'size'"),
        (lambda: o.CheckMember1D(True, "a"), TypeError, "'id' must be an int, not bool"),
        (lambda: o.InternalForces(n="1"), TypeError, "'n' must be a number, not str"),
        (
            lambda: o.ThermalState(expansion="None"),
            TypeError,
            "'expansion' must be a ThermalStateType member",
        ),
        (
            lambda: o.ExposureClassesDataEc2(carbonation=o.ExposureClass.XD1),
            ValueError,
            "'carbonation' must be one of the XC classes",
        ),
        (lambda: o.ProjectData(date="23.11.2026"), ValueError, "'date' must be a date"),
        (
            lambda: o.LoadingULS(o.LoadingSLS(o.InternalForces())),
            TypeError,
            "'internal_forces' must be a InternalForces",
        ),
        (
            lambda: o.CrossSectionParameter(
                1, "", o.CrossSectionType.RECT, o._ReferenceElement(1, o.MatReinforcement)
            ),
            ValueError,
            "'material' must refer to a MatConcrete, not to a MatReinforcement",
        ),
        (lambda: o.MatConcrete(), TypeError, "no constructor"),
    ],
)
def test_constructors_check_their_arguments(make, error, message):
    with pytest.raises(error, match=message):
        make()


def test_attributes_are_checked_like_constructor_arguments(steel):
    steel.fyk = 550e6
    assert steel.fyk == 550e6
    with pytest.raises(TypeError, match="'fyk' must be a number"):
        steel.fyk = "0"
    with pytest.raises(AttributeError):
        steel.id = 2


def test_bar_layers_are_spread_evenly_from_the_origin(rcs, steel):
    layer = {"origin": (-0.1, 0.2), "diameter": 0.016, "material": steel, "number_of_bars": 5}
    made = rcs.create_bar_layer(**layer, delta_y=0.2, delta_z=-0.4)
    points = [bar.coordinates for bar in rcs.bars]
    expected = [(-0.1, 0.2), (-0.05, 0.1), (0.0, 0.0), (0.05, -0.1), (0.1, -0.2)]
    assert [pytest.approx(p, abs=1e-15) for p in points] == expected
    assert points[0] == (-0.1, 0.2) and points[-1] == (0.1, -0.2)
    assert made == rcs.bars
    assert rcs.bars[0].material._serialize() == {"TypeName": "MatReinforcement", "Id": 1}
    rcs.create_bar_layer(origin=(0, 0), diameter=0.016, material=steel, number_of_bars=2)
    assert [b.coordinates for b in rcs.bars[-2:]] == [(0.0, 0.0), (0.0, 0.0)]


class UnreadablePoint:
    """A sequence of two whose first item fails: its error, not a SystemError, is raised."""

    def __len__(self):
        return 2

    def __getitem__(self, i):
        if i == 0:
            raise ValueError("first coordinate unreadable")
        return 1.0


@pytest.mark.parametrize(
    "arguments, error, message",
    [
        ({"number_of_bars": 1}, ValueError, "'number_of_bars' must be at least 2, got 1"),
        ({"number_of_bars": 2.0}, TypeError, "'number_of_bars' must be an int"),
        ({"origin": (0, 0, 0)}, TypeError, "'origin' must be a point"),
        ({"origin": UnreadablePoint()}, ValueError, "first coordinate unreadable"),
    ],
)
def test_an_impossible_bar_layer_adds_nothing(rcs, steel, arguments, error, message):
    layer = {"origin": (0, 0), "diameter": 0.016, "material": steel, "number_of_bars": 3}
    with pytest.raises(error, match=message):
        rcs.create_bar_layer(**{**layer, **arguments})
    assert rcs.bars == []


def test_stirrups_default_to_no_checks_and_a_unit_mandrel_factor_and_keep_arcs(rcs, steel):
    stirrup = rcs.create_stirrup(
        [(0, 0), (0.2, 0), ((0.2, 0.4), (0.3, 0.2)), (0, 0.4), (0, 0)], 0.008, steel, 0.15
    )
    assert (stirrup.shear_check, stirrup.torsion_check) == (False, False)
    assert (stirrup.mandrel_diameter_factor, stirrup.anchorage_length) == (1.0, 0.0)
    assert stirrup._serialize()["Geometry"][2] == [[0.2, 0.4], [0.3, 0.2]]
    with pytest.raises(ValueError, match=r"'points\[0\]' must be a point"):
        rcs.create_stirrup([((0, 0), (1, 1)), (0, 1)], 0.008, steel, 0.15)
    assert len(rcs.stirrups) == 1


def test_extremes_are_numbered_within_their_section():
    member, rcs = (
        o._ReferenceElement(1, o.CheckMember),
        o._ReferenceElement(1, o.ReinforcedCrossSection),
    )
    section = o.StandardCheckSection(4, "Support", member, rcs)
    first = section.create_extreme()
    second = section.create_extreme(
        description="wind", frequent=o.LoadingSLS(o.InternalForces(n=-1.0))
    )
    third = section.create_extreme(description="")
    descriptions = [e.description for e in (first, second, third)]
    assert descriptions == ["Support - E 1", "wind", "Support - E 3"]
    assert section.extremes == [first, second, third]
    section.extremes.clear()
    assert len(section.extremes) == 3
    with pytest.raises(TypeError, match="'fatigue' must be a FatigueLoading"):
        section.create_extreme(fatigue=o.LoadingULS(o.InternalForces()))
    assert len(section.extremes) == 3


def test_serialise_uses_idea_names_and_leaves_nesting_to_the_encoder():
    member, setup = o._ReferenceElement(2, o.CheckMember), o.CalculationSetup()
    data = o.ConcreteMemberDataEc2(member, o.MemberType.COLUMN, o.TwoWaySlabType.SLAB, setup, 1.2)
    serialised = data._serialize()
    assert list(serialised) == (
        "Element MemberType TwoWaySlabType CalculationSetup ExposureClassesData "
        "RelativeHumidity CreepCoeffInfinity CoeffKxForWmax".split()
    )
    assert serialised["MemberType"] is o.MemberType.COLUMN
    assert isinstance(serialised["CalculationSetup"], o.CalculationSetup)
    assert serialised["CoeffKxForWmax"] == 1.2


def test_objects_and_models_are_freed(steel):
    from marlox.external.idea_rcs import OpenModel

    rcs = o.ReinforcedCrossSection(1, "R1", o._ReferenceElement(1, o.CrossSection))
    rcs.create_bar((0, 0), 0.01, steel)
    model = OpenModel()
    model._reinforced_cross_section_list.append(rcs)
    probes = [weakref.ref(rcs), weakref.ref(rcs.bars[0]), weakref.ref(model)]
    del rcs, model
    gc.collect()
    assert [probe() for probe in probes] == [None, None, None]
