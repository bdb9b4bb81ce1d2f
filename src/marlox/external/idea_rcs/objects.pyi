"""
OpenModel object types, enumerations and base-material tables of IDEA StatiCa RCS.

Objects hold SI values (Pa, m, N, N m). Enumeration values are IDEA's own member names.
"""

from collections.abc import Sequence
import enum
from typing import Any

import marlox.external.idea_rcs.idea_rcs


class _OpenObject:
    """Base of every OpenModel object: provides ``_serialize()``."""

    def _serialize(self) -> dict[str, Any]:
        """
        The object as a mapping from IDEA's element names to values; nested objects and enumeration members are left for the encoder.
        """

    def __repr__(self) -> str: ...

class _ReferenceElement:
    """
    Reference from one object of a model to another, by list type and id.

    Args:
        id: Id of the referenced object.
        type: Type of the list that holds the referenced object.
    """

    def __init__(self, id: int, type: type) -> None: ...

    @property
    def type(self) -> type:
        """Type of the list that holds the referenced object."""

    @type.setter
    def type(self, value: type, /) -> None: ...

    @property
    def id(self) -> int:
        """Id of the referenced object."""

    @id.setter
    def id(self, value: int, /) -> None: ...

    def _serialize(self) -> dict[str, Any]:
        """The reference as {'TypeName': name of the list type, 'Id': id}."""

    def __repr__(self) -> str: ...

class CheckMember(_OpenObject):
    """Base of check members."""

class CheckMember1D(CheckMember):
    """
    One-dimensional member (beam, column, slab strip) on which sections are checked.

    Args:
        id: Id within the check members.
        name: Name.
    """

    def __init__(self, id: int, name: str) -> None: ...

    @property
    def id(self) -> int:
        """Id within the check members."""

    @property
    def name(self) -> str:
        """Name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

class MatReinforcement(_OpenObject):
    """Base of reinforcement materials."""

class MatConcrete(_OpenObject):
    """Base of concrete materials."""

class MatConcreteEc2(MatConcrete):
    """
    Concrete to EN 1992-1-1. Moduli and strengths in Pa.

    Args:
        id: Id within the material list.
        name: Material name.
        e_modulus: Young's modulus [Pa].
        g_modulus: Shear modulus [Pa].
        poisson: Poisson's ratio.
        unit_mass: Unit mass [kg/m3].
        specific_heat: Specific heat capacity [J/(kg K)].
        thermal_expansion: Coefficient of thermal expansion [1/K].
        thermal_conductivity: Thermal conductivity [W/(m K)].
        is_default: The material is a default material of the code.
        order_in_code: Order of the material in the code.
        thermal_state: Temperature dependence of the material properties.
        fck: Characteristic cylinder strength at 28 days [Pa].
        stone_diameter: Maximum aggregate size [m].
        cement_class: Cement class.
        aggregate_type: Aggregate type.
        diagram_type: Stress-strain diagram for the ultimate limit state.
        silica_fume: Contains silica fume (EN 1992-2 only).
        plain_concrete_diagram: Stress-strain diagram with a tension part.
        dep_params: Dependent parameters; None derives them from fck.
    """

    def __init__(self, id: int, name: str, e_modulus: float, g_modulus: float, poisson: float, unit_mass: float, specific_heat: float, thermal_expansion: float, thermal_conductivity: float, is_default: bool, order_in_code: int, thermal_state: ThermalState, fck: float, stone_diameter: float, cement_class: ConcCementClass, aggregate_type: ConcAggregateType, diagram_type: ConcDiagramType, silica_fume: bool, plain_concrete_diagram: bool, dep_params: ConcDependentParams | None = None) -> None: ...

    @property
    def id(self) -> int:
        """Id within the material list."""

    @property
    def name(self) -> str:
        """Material name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

    @property
    def e_modulus(self) -> float:
        """Young's modulus [Pa]."""

    @e_modulus.setter
    def e_modulus(self, value: float, /) -> None: ...

    @property
    def g_modulus(self) -> float:
        """Shear modulus [Pa]."""

    @g_modulus.setter
    def g_modulus(self, value: float, /) -> None: ...

    @property
    def poisson(self) -> float:
        """Poisson's ratio."""

    @poisson.setter
    def poisson(self, value: float, /) -> None: ...

    @property
    def unit_mass(self) -> float:
        """Unit mass [kg/m3]."""

    @unit_mass.setter
    def unit_mass(self, value: float, /) -> None: ...

    @property
    def specific_heat(self) -> float:
        """Specific heat capacity [J/(kg K)]."""

    @specific_heat.setter
    def specific_heat(self, value: float, /) -> None: ...

    @property
    def thermal_expansion(self) -> float:
        """Coefficient of thermal expansion [1/K]."""

    @thermal_expansion.setter
    def thermal_expansion(self, value: float, /) -> None: ...

    @property
    def thermal_conductivity(self) -> float:
        """Thermal conductivity [W/(m K)]."""

    @thermal_conductivity.setter
    def thermal_conductivity(self, value: float, /) -> None: ...

    @property
    def is_default(self) -> bool:
        """The material is a default material of the code."""

    @is_default.setter
    def is_default(self, value: bool, /) -> None: ...

    @property
    def order_in_code(self) -> int:
        """Order of the material in the code."""

    @order_in_code.setter
    def order_in_code(self, value: int, /) -> None: ...

    @property
    def thermal_state(self) -> ThermalState:
        """Temperature dependence of the material properties."""

    @thermal_state.setter
    def thermal_state(self, value: ThermalState, /) -> None: ...

    @property
    def fck(self) -> float:
        """Characteristic cylinder strength at 28 days [Pa]."""

    @fck.setter
    def fck(self, value: float, /) -> None: ...

    @property
    def stone_diameter(self) -> float:
        """Maximum aggregate size [m]."""

    @stone_diameter.setter
    def stone_diameter(self, value: float, /) -> None: ...

    @property
    def cement_class(self) -> ConcCementClass:
        """Cement class."""

    @cement_class.setter
    def cement_class(self, value: ConcCementClass, /) -> None: ...

    @property
    def aggregate_type(self) -> ConcAggregateType:
        """Aggregate type."""

    @aggregate_type.setter
    def aggregate_type(self, value: ConcAggregateType, /) -> None: ...

    @property
    def diagram_type(self) -> ConcDiagramType:
        """Stress-strain diagram for the ultimate limit state."""

    @diagram_type.setter
    def diagram_type(self, value: ConcDiagramType, /) -> None: ...

    @property
    def silica_fume(self) -> bool:
        """Contains silica fume (EN 1992-2 only)."""

    @silica_fume.setter
    def silica_fume(self, value: bool, /) -> None: ...

    @property
    def plain_concrete_diagram(self) -> bool:
        """Stress-strain diagram with a tension part."""

    @plain_concrete_diagram.setter
    def plain_concrete_diagram(self, value: bool, /) -> None: ...

    @property
    def dep_params(self) -> ConcDependentParams | None:
        """Dependent parameters; None derives them from fck."""

    @dep_params.setter
    def dep_params(self, value: ConcDependentParams | None, /) -> None: ...

class MatReinforcementEc2(MatReinforcement):
    """
    Reinforcing steel to EN 1992-1-1. Moduli and strengths in Pa.

    Args:
        id: Id within the material list.
        name: Material name.
        e_modulus: Young's modulus [Pa].
        g_modulus: Shear modulus [Pa].
        poisson: Poisson's ratio.
        unit_mass: Unit mass [kg/m3].
        specific_heat: Specific heat capacity [J/(kg K)].
        thermal_expansion: Coefficient of thermal expansion [1/K].
        thermal_conductivity: Thermal conductivity [W/(m K)].
        is_default: The material is a default material of the code.
        order_in_code: Order of the material in the code.
        thermal_state: Temperature dependence of the material properties.
        bar_surface: Bar surface.
        fyk: Characteristic yield strength [Pa].
        ftk_by_fyk: Ratio k = ftk / fyk.
        epsuk: Characteristic strain at maximum load.
        ftk: Characteristic tensile strength [Pa].
        class_: Ductility class.
        type_: Type of reinforcement.
        fabrication: Fabrication.
        diagram_type: Stress-strain diagram.
    """

    def __init__(self, id: int, name: str, e_modulus: float, g_modulus: float, poisson: float, unit_mass: float, specific_heat: float, thermal_expansion: float, thermal_conductivity: float, is_default: bool, order_in_code: int, thermal_state: ThermalState, bar_surface: BarSurface, fyk: float, ftk_by_fyk: float, epsuk: float, ftk: float, class_: ReinfClass = ReinfClass.B, type_: ReinfType = ReinfType.BARS, fabrication: ReinfFabrication = ReinfFabrication.HOT_ROLLED, diagram_type: ReinfDiagramType = ReinfDiagramType.BILINEAR_INCLINED) -> None: ...

    @property
    def id(self) -> int:
        """Id within the material list."""

    @property
    def name(self) -> str:
        """Material name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

    @property
    def e_modulus(self) -> float:
        """Young's modulus [Pa]."""

    @e_modulus.setter
    def e_modulus(self, value: float, /) -> None: ...

    @property
    def g_modulus(self) -> float:
        """Shear modulus [Pa]."""

    @g_modulus.setter
    def g_modulus(self, value: float, /) -> None: ...

    @property
    def poisson(self) -> float:
        """Poisson's ratio."""

    @poisson.setter
    def poisson(self, value: float, /) -> None: ...

    @property
    def unit_mass(self) -> float:
        """Unit mass [kg/m3]."""

    @unit_mass.setter
    def unit_mass(self, value: float, /) -> None: ...

    @property
    def specific_heat(self) -> float:
        """Specific heat capacity [J/(kg K)]."""

    @specific_heat.setter
    def specific_heat(self, value: float, /) -> None: ...

    @property
    def thermal_expansion(self) -> float:
        """Coefficient of thermal expansion [1/K]."""

    @thermal_expansion.setter
    def thermal_expansion(self, value: float, /) -> None: ...

    @property
    def thermal_conductivity(self) -> float:
        """Thermal conductivity [W/(m K)]."""

    @thermal_conductivity.setter
    def thermal_conductivity(self, value: float, /) -> None: ...

    @property
    def is_default(self) -> bool:
        """The material is a default material of the code."""

    @is_default.setter
    def is_default(self, value: bool, /) -> None: ...

    @property
    def order_in_code(self) -> int:
        """Order of the material in the code."""

    @order_in_code.setter
    def order_in_code(self, value: int, /) -> None: ...

    @property
    def thermal_state(self) -> ThermalState:
        """Temperature dependence of the material properties."""

    @thermal_state.setter
    def thermal_state(self, value: ThermalState, /) -> None: ...

    @property
    def bar_surface(self) -> BarSurface:
        """Bar surface."""

    @bar_surface.setter
    def bar_surface(self, value: BarSurface, /) -> None: ...

    @property
    def fyk(self) -> float:
        """Characteristic yield strength [Pa]."""

    @fyk.setter
    def fyk(self, value: float, /) -> None: ...

    @property
    def ftk_by_fyk(self) -> float:
        """Ratio k = ftk / fyk."""

    @ftk_by_fyk.setter
    def ftk_by_fyk(self, value: float, /) -> None: ...

    @property
    def epsuk(self) -> float:
        """Characteristic strain at maximum load."""

    @epsuk.setter
    def epsuk(self, value: float, /) -> None: ...

    @property
    def ftk(self) -> float:
        """Characteristic tensile strength [Pa]."""

    @ftk.setter
    def ftk(self, value: float, /) -> None: ...

    @property
    def class_(self) -> ReinfClass:
        """Ductility class."""

    @class_.setter
    def class_(self, value: ReinfClass, /) -> None: ...

    @property
    def type_(self) -> ReinfType:
        """Type of reinforcement."""

    @type_.setter
    def type_(self, value: ReinfType, /) -> None: ...

    @property
    def fabrication(self) -> ReinfFabrication:
        """Fabrication."""

    @fabrication.setter
    def fabrication(self, value: ReinfFabrication, /) -> None: ...

    @property
    def diagram_type(self) -> ReinfDiagramType:
        """Stress-strain diagram."""

    @diagram_type.setter
    def diagram_type(self, value: ReinfDiagramType, /) -> None: ...

class CrossSection(_OpenObject):
    """Base of concrete cross-sections."""

class CrossSectionParameter(CrossSection):
    """
    Cross-section of a parametric shape, given by its type and named dimensions [m].

    Args:
        id: Id within the cross-sections.
        name: Name.
        cross_section_type: Parametric shape.
        material: Concrete of the section.
        **parameters: Shape parameters by IDEA's names (such as Width, Height) [m].
    """

    def __init__(self, id: int, name: str, cross_section_type: CrossSectionType, material: _ReferenceElement | MatConcrete, **parameters: float) -> None: ...

    @property
    def id(self) -> int:
        """Id within the cross-sections."""

    @property
    def name(self) -> str:
        """Name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

    @property
    def cross_section_type(self) -> CrossSectionType:
        """Parametric shape."""

    @cross_section_type.setter
    def cross_section_type(self, value: CrossSectionType, /) -> None: ...

    @property
    def material(self) -> _ReferenceElement:
        """Concrete of the section."""

    @material.setter
    def material(self, value: _ReferenceElement | MatConcrete, /) -> None: ...

    @property
    def parameters(self) -> dict[str, float]:
        """Shape parameters by IDEA's names (such as Width, Height) [m]."""

    @parameters.setter
    def parameters(self, value: dict[str, float], /) -> None: ...

class ReinforcedCrossSection(_OpenObject):
    """
    A cross-section with its bars and stirrups.

    Args:
        id: Id within the reinforced cross-sections.
        name: Name.
        cross_section: The concrete cross-section.
    """

    def __init__(self, id: int, name: str, cross_section: _ReferenceElement | CrossSection) -> None: ...

    @property
    def id(self) -> int:
        """Id within the reinforced cross-sections."""

    @property
    def name(self) -> str:
        """Name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

    @property
    def cross_section(self) -> _ReferenceElement:
        """The concrete cross-section."""

    @cross_section.setter
    def cross_section(self, value: _ReferenceElement | CrossSection, /) -> None: ...

    @property
    def bars(self) -> list[ReinforcedBar]:
        """Longitudinal bars."""

    @property
    def stirrups(self) -> list[Stirrup]:
        """Stirrups."""

    def create_bar(self, coordinates: tuple[float, float], diameter: float, material: MatReinforcement | _ReferenceElement) -> ReinforcedBar:
        """
        Add a bar at ``coordinates`` (y, z) [m] of ``diameter`` [m] and ``material``.
        """

    def create_bar_layer(self, origin: tuple[float, float], diameter: float, material: MatReinforcement | _ReferenceElement, number_of_bars: int, delta_y: float | None = None, delta_z: float | None = None) -> list[ReinforcedBar]:
        """
        Add ``number_of_bars`` bars (at least 2) evenly on the straight line from ``origin`` (y, z) [m] to ``origin + (delta_y, delta_z)``; an omitted delta is 0.
        """

    def create_stirrup(self, points: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], diameter: float, material: MatReinforcement | _ReferenceElement, distance: float, shear_check: bool | None = None, torsion_check: bool | None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) -> Stirrup:
        """
        Add a stirrup through ``points`` (y, z) [m], straight segments between them; an arc is given as ((y_end, z_end), (y_on_arc, z_on_arc)). ``distance`` is the longitudinal spacing [m]. Defaults: ``shear_check`` False, ``torsion_check`` False, ``mandrel_diameter_factor`` 1.0 (times the diameter), ``anchorage_length`` 0.0 m.
        """

    def create_bar_circle(self, count: int, diameter: float, material: MatReinforcement | _ReferenceElement, *, radius: float, centre: tuple[float, float] = (0.0, 0.0), start_angle: float = 90.0) -> list[ReinforcedBar]:
        """
        Add ``count`` bars (at least 2) of ``diameter`` [m] evenly on a circle of ``radius`` (of their centres) about ``centre`` (y, z) [m], the first at ``start_angle`` degrees from the y axis towards z (90: at the top), the others anticlockwise. Returns the bars. Raises ``ValueError`` when they would overlap.
        """

    def create_bar_layer_by_spacing(self, diameter: float, material: MatReinforcement | _ReferenceElement, spacing: float, *, z: float, y_from: float, y_to: float) -> marlox.external.idea_rcs.idea_rcs.BarLayer:
        """
        Add a layer of bars of ``diameter`` at ``spacing`` [m] ("Ø12 @ 150": 0.012, 0.15) at height ``z``: as many as fit between ``y_from`` and ``y_to`` (the outermost centres allowed), the layer centred between them. Returns a ``BarLayer`` with the bars and the area per metre. Raises ``ValueError`` when the bars would overlap or the span is negative.
        """

    def create_bar_layer_between(self, count: int, diameter: float, material: MatReinforcement | _ReferenceElement, *, z: float, y_from: float, y_to: float) -> list[ReinforcedBar]:
        """
        Add ``count`` bars (at least 2) evenly from ``y_from`` to ``y_to`` (the outermost centres) at height ``z`` [m]. Returns the bars. Raises ``ValueError`` when they would overlap.
        """

    def create_rectangular_stirrup(self, diameter: float, material: MatReinforcement | _ReferenceElement, distance: float, *, corners: tuple[tuple[float, float], tuple[float, float]], bend_radius: float | None = None, shear_check: bool | None = None, torsion_check: bool | None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) -> Stirrup:
        """
        Add a closed rectangular stirrup whose axis runs between the opposite ``corners`` ((y0, z0), (y1, z1)) [m], each corner bent to ``bend_radius`` (of the axis; by default the mandrel's radius plus half the bar: ``mandrel_diameter_factor`` × diameter / 2 + diameter / 2), starting and ending at the middle of the bottom side. The options are those of ``create_stirrup``. Returns the stirrup.
        """

    def create_ring_stirrup(self, diameter: float, material: MatReinforcement | _ReferenceElement, distance: float, *, radius: float, centre: tuple[float, float] = (0.0, 0.0), shear_check: bool | None = None, torsion_check: bool | None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) -> Stirrup:
        """
        Add a circular ring stirrup (a hoop) whose axis is a circle of ``radius`` about ``centre`` (y, z) [m], as two half arcs from its lowest point. The options are those of ``create_stirrup``. Returns the stirrup.
        """

class ReinforcedBar(_OpenObject):
    """
    A longitudinal reinforcing bar.

    Args:
        coordinates: Centre of the bar (y, z) [m].
        diameter: Bar diameter [m].
        material: Reinforcement material.
    """

    def __init__(self, coordinates: tuple[float, float], diameter: float, material: _ReferenceElement | MatReinforcement) -> None: ...

    @property
    def coordinates(self) -> tuple[float, float]:
        """Centre of the bar (y, z) [m]."""

    @coordinates.setter
    def coordinates(self, value: tuple[float, float], /) -> None: ...

    @property
    def diameter(self) -> float:
        """Bar diameter [m]."""

    @diameter.setter
    def diameter(self, value: float, /) -> None: ...

    @property
    def material(self) -> _ReferenceElement:
        """Reinforcement material."""

    @material.setter
    def material(self, value: _ReferenceElement | MatReinforcement, /) -> None: ...

class Stirrup(_OpenObject):
    """
    A stirrup: a polyline of straight and arc segments.

    Args:
        points: Vertices (y, z) [m] joined by straight segments; an arc is ((y_end, z_end), (y_on_arc, z_on_arc)).
        diameter: Stirrup diameter [m].
        material: Reinforcement material.
        distance: Longitudinal spacing of the stirrups [m].
        shear_check: The stirrup counts in the shear check.
        torsion_check: The stirrup counts in the torsion check.
        mandrel_diameter_factor: Inner mandrel diameter as a multiple of the stirrup diameter.
        anchorage_length: Anchorage length [m].
    """

    def __init__(self, points: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], diameter: float, material: _ReferenceElement | MatReinforcement, distance: float, shear_check: bool = False, torsion_check: bool = False, mandrel_diameter_factor: float = 1.0, anchorage_length: float = 0.0) -> None: ...

    @property
    def points(self) -> Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]:
        """
        Vertices (y, z) [m] joined by straight segments; an arc is ((y_end, z_end), (y_on_arc, z_on_arc)).
        """

    @points.setter
    def points(self, value: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], /) -> None: ...

    @property
    def diameter(self) -> float:
        """Stirrup diameter [m]."""

    @diameter.setter
    def diameter(self, value: float, /) -> None: ...

    @property
    def material(self) -> _ReferenceElement:
        """Reinforcement material."""

    @material.setter
    def material(self, value: _ReferenceElement | MatReinforcement, /) -> None: ...

    @property
    def anchorage_length(self) -> float:
        """Anchorage length [m]."""

    @anchorage_length.setter
    def anchorage_length(self, value: float, /) -> None: ...

    @property
    def mandrel_diameter_factor(self) -> float:
        """Inner mandrel diameter as a multiple of the stirrup diameter."""

    @mandrel_diameter_factor.setter
    def mandrel_diameter_factor(self, value: float, /) -> None: ...

    @property
    def distance(self) -> float:
        """Longitudinal spacing of the stirrups [m]."""

    @distance.setter
    def distance(self, value: float, /) -> None: ...

    @property
    def shear_check(self) -> bool:
        """The stirrup counts in the shear check."""

    @shear_check.setter
    def shear_check(self, value: bool, /) -> None: ...

    @property
    def torsion_check(self) -> bool:
        """The stirrup counts in the torsion check."""

    @torsion_check.setter
    def torsion_check(self, value: bool, /) -> None: ...

class CheckSection(_OpenObject):
    """Base of check sections."""

class StandardCheckSection(CheckSection):
    """
    A section of a member, checked for its load extremes.

    Args:
        id: Id within the check sections.
        description: Description (the section's name).
        check_member: The member the section lies on.
        reinf_section: The reinforced cross-section checked.
    """

    def __init__(self, id: int, description: str, check_member: _ReferenceElement | CheckMember, reinf_section: _ReferenceElement | ReinforcedCrossSection) -> None: ...

    @property
    def id(self) -> int:
        """Id within the check sections."""

    @property
    def description(self) -> str:
        """Description (the section's name)."""

    @description.setter
    def description(self, value: str, /) -> None: ...

    @property
    def check_member(self) -> _ReferenceElement:
        """The member the section lies on."""

    @check_member.setter
    def check_member(self, value: _ReferenceElement | CheckMember, /) -> None: ...

    @property
    def reinf_section(self) -> _ReferenceElement:
        """The reinforced cross-section checked."""

    @reinf_section.setter
    def reinf_section(self, value: _ReferenceElement | ReinforcedCrossSection, /) -> None: ...

    @property
    def extremes(self) -> list[CheckSectionExtreme]:
        """Load extremes of the section."""

    def create_extreme(self, description: str | None = None, accidental: LoadingULS | None = None, fatigue: FatigueLoading | None = None, frequent: LoadingSLS | None = None, fundamental: LoadingULS | None = None, characteristic: LoadingSLS | None = None, quasi_permanent: LoadingSLS | None = None) -> CheckSectionExtreme:
        """
        Add a load extreme with the given loadings. The default description is "{section_name} - E {i}", i counting the section's extremes from 1.
        """

class ConcreteMemberDataEc2(_OpenObject):
    """
    Eurocode 2 data of a member: its type, the checks to run and its environment.

    Args:
        member: The member.
        member_type: Member type.
        two_way_slab_type: Two-way slab type.
        calculation_setup: Checks to run; None: capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing.
        coeff_kx_for_wmax: Coefficient kx raising the crack-width limit (Dutch annex); None: 1.0.
        exposure_class_data: Exposure classes; None: no corrosion exposure.
        creep_coefficient: Final creep coefficient; None: calculated by IDEA StatiCa RCS.
        relative_humidity: Relative humidity [%]; None: 65.
    """

    def __init__(self, member: _ReferenceElement | CheckMember, member_type: MemberType, two_way_slab_type: TwoWaySlabType, calculation_setup: CalculationSetup | None = None, coeff_kx_for_wmax: float | None = None, exposure_class_data: ExposureClassesDataEc2 | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None) -> None: ...

    @property
    def member(self) -> _ReferenceElement:
        """The member."""

    @member.setter
    def member(self, value: _ReferenceElement | CheckMember, /) -> None: ...

    @property
    def member_type(self) -> MemberType:
        """Member type."""

    @member_type.setter
    def member_type(self, value: MemberType, /) -> None: ...

    @property
    def two_way_slab_type(self) -> TwoWaySlabType:
        """Two-way slab type."""

    @two_way_slab_type.setter
    def two_way_slab_type(self, value: TwoWaySlabType, /) -> None: ...

    @property
    def calculation_setup(self) -> CalculationSetup | None:
        """
        Checks to run; None: capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing.
        """

    @calculation_setup.setter
    def calculation_setup(self, value: CalculationSetup | None, /) -> None: ...

    @property
    def exposure_class_data(self) -> ExposureClassesDataEc2 | None:
        """Exposure classes; None: no corrosion exposure."""

    @exposure_class_data.setter
    def exposure_class_data(self, value: ExposureClassesDataEc2 | None, /) -> None: ...

    @property
    def relative_humidity(self) -> float | None:
        """Relative humidity [%]; None: 65."""

    @relative_humidity.setter
    def relative_humidity(self, value: float | None, /) -> None: ...

    @property
    def creep_coefficient(self) -> float | None:
        """Final creep coefficient; None: calculated by IDEA StatiCa RCS."""

    @creep_coefficient.setter
    def creep_coefficient(self, value: float | None, /) -> None: ...

    @property
    def coeff_kx_for_wmax(self) -> float | None:
        """Coefficient kx raising the crack-width limit (Dutch annex); None: 1.0."""

    @coeff_kx_for_wmax.setter
    def coeff_kx_for_wmax(self, value: float | None, /) -> None: ...

class ExposureClassesDataEc2(_OpenObject):
    """
    Exposure classes of EN 1992-1-1 Table 4.1; with none given there is no corrosion exposure (X0).

    Args:
        carbonation: Corrosion induced by carbonation (XC1 to XC4), or None.
        chlorides: Corrosion induced by chlorides (XD1 to XD3), or None.
        chlorides_from_sea: Corrosion induced by chlorides from sea water (XS1 to XS3), or None.
        freeze_attack: Freeze/thaw attack (XF1 to XF4), or None.
        chemical_attack: Chemical attack (XA1 to XA3), or None.
    """

    def __init__(self, carbonation: ExposureClass | None = None, chlorides: ExposureClass | None = None, chlorides_from_sea: ExposureClass | None = None, freeze_attack: ExposureClass | None = None, chemical_attack: ExposureClass | None = None) -> None: ...

    @property
    def carbonation(self) -> ExposureClass | None:
        """Corrosion induced by carbonation (XC1 to XC4), or None."""

    @carbonation.setter
    def carbonation(self, value: ExposureClass | None, /) -> None: ...

    @property
    def chlorides(self) -> ExposureClass | None:
        """Corrosion induced by chlorides (XD1 to XD3), or None."""

    @chlorides.setter
    def chlorides(self, value: ExposureClass | None, /) -> None: ...

    @property
    def chlorides_from_sea(self) -> ExposureClass | None:
        """Corrosion induced by chlorides from sea water (XS1 to XS3), or None."""

    @chlorides_from_sea.setter
    def chlorides_from_sea(self, value: ExposureClass | None, /) -> None: ...

    @property
    def freeze_attack(self) -> ExposureClass | None:
        """Freeze/thaw attack (XF1 to XF4), or None."""

    @freeze_attack.setter
    def freeze_attack(self, value: ExposureClass | None, /) -> None: ...

    @property
    def chemical_attack(self) -> ExposureClass | None:
        """Chemical attack (XA1 to XA3), or None."""

    @chemical_attack.setter
    def chemical_attack(self, value: ExposureClass | None, /) -> None: ...

class ThermalState(_OpenObject):
    """
    Temperature dependence of a material's properties (none by default).

    Args:
        expansion: Thermal expansion.
        conductivity: Thermal conductivity.
        specific_heat: Specific heat.
        stress_strain: Stress-strain diagram.
        strain: Thermal strain.
    """

    def __init__(self, expansion: ThermalStateType = ThermalStateType.NONE, conductivity: ThermalStateType = ThermalStateType.NONE, specific_heat: ThermalStateType = ThermalStateType.NONE, stress_strain: ThermalStateType = ThermalStateType.NONE, strain: ThermalStateType = ThermalStateType.NONE) -> None: ...

    @property
    def expansion(self) -> ThermalStateType:
        """Thermal expansion."""

    @expansion.setter
    def expansion(self, value: ThermalStateType, /) -> None: ...

    @property
    def conductivity(self) -> ThermalStateType:
        """Thermal conductivity."""

    @conductivity.setter
    def conductivity(self, value: ThermalStateType, /) -> None: ...

    @property
    def specific_heat(self) -> ThermalStateType:
        """Specific heat."""

    @specific_heat.setter
    def specific_heat(self, value: ThermalStateType, /) -> None: ...

    @property
    def stress_strain(self) -> ThermalStateType:
        """Stress-strain diagram."""

    @stress_strain.setter
    def stress_strain(self, value: ThermalStateType, /) -> None: ...

    @property
    def strain(self) -> ThermalStateType:
        """Thermal strain."""

    @strain.setter
    def strain(self, value: ThermalStateType, /) -> None: ...

class BarSurface(enum.Enum):
    """Bar surface."""

    SMOOTH = 'Smooth'
    """Bar surface."""

    RIBBED = 'Ribbed'
    """Bar surface."""

class ReinfClass(enum.Enum):
    """Ductility class."""

    A = 'A'
    """Ductility class."""

    B = 'B'
    """Ductility class."""

    C = 'C'
    """Ductility class."""

class ReinfType(enum.Enum):
    """Type of reinforcement."""

    BARS = 'Bars'
    """Type of reinforcement."""

    DECOILED_RODS = 'DecoiledRods'
    """Type of reinforcement."""

    WIRE_FABRICS = 'WireFabrics'
    """Type of reinforcement."""

    LATTICE_GIRDERS = 'LatticeGirders'
    """Type of reinforcement."""

class ReinfDiagramType(enum.Enum):
    """
    Stress-strain diagram of reinforcement: bilinear with an inclined or a horizontal top branch.
    """

    BILINEAR_INCLINED = 'BilinerWithAnInclinedTopBranch'
    """
    Stress-strain diagram of reinforcement: bilinear with an inclined or a horizontal top branch.
    """

    BILINEAR_HORIZONTAL = 'BilinerWithOutAnInclinedTopBranch'
    """
    Stress-strain diagram of reinforcement: bilinear with an inclined or a horizontal top branch.
    """

class ReinfFabrication(enum.Enum):
    """Fabrication of reinforcement."""

    HOT_ROLLED = 'HotRolled'
    """Fabrication of reinforcement."""

    COLD_WORKED = 'ColdWorked'
    """Fabrication of reinforcement."""

class ConcDiagramType(enum.Enum):
    """Stress-strain diagram of concrete for the ultimate limit state."""

    BILINEAR = 'Bilinear'
    """Stress-strain diagram of concrete for the ultimate limit state."""

    PARABOLIC = 'Parabolic'
    """Stress-strain diagram of concrete for the ultimate limit state."""

class ConcAggregateType(enum.Enum):
    """Aggregate type."""

    QUARTZITE = 'Quartzite'
    """Aggregate type."""

    LIMESTONE = 'Limestone'
    """Aggregate type."""

    SANDSTONE = 'Sandstone'
    """Aggregate type."""

    BASALT = 'Basalt'
    """Aggregate type."""

class ConcCementClass(enum.Enum):
    """Cement class."""

    S = 'S'
    """Cement class."""

    R = 'R'
    """Cement class."""

    N = 'N'
    """Cement class."""

class ConcDependentParams(_OpenObject):
    """
    Dependent parameters of a concrete (EN 1992-1-1 Table 3.1) given by the user.

    Args:
        e_cm: Secant modulus of elasticity [Pa].
        eps_c1: Strain at peak stress, parabolic diagram.
        eps_c2: Strain at peak stress, parabola-rectangle.
        eps_c3: Strain at peak stress, bilinear diagram.
        eps_cu1: Ultimate strain, parabolic diagram.
        eps_cu2: Ultimate strain, parabola-rectangle.
        eps_cu3: Ultimate strain, bilinear diagram.
        f_ctm: Mean axial tensile strength [Pa].
        f_ctk_0_05: 5% fractile tensile strength [Pa].
        f_ctk_0_95: 95% fractile tensile strength [Pa].
        n_factor: Exponent n of the parabola-rectangle diagram.
        f_cm: Mean compressive strength [Pa].
    """

    def __init__(self, e_cm: float, eps_c1: float, eps_c2: float, eps_c3: float, eps_cu1: float, eps_cu2: float, eps_cu3: float, f_ctm: float, f_ctk_0_05: float, f_ctk_0_95: float, n_factor: float, f_cm: float) -> None: ...

    @property
    def e_cm(self) -> float:
        """Secant modulus of elasticity [Pa]."""

    @e_cm.setter
    def e_cm(self, value: float, /) -> None: ...

    @property
    def eps_c1(self) -> float:
        """Strain at peak stress, parabolic diagram."""

    @eps_c1.setter
    def eps_c1(self, value: float, /) -> None: ...

    @property
    def eps_c2(self) -> float:
        """Strain at peak stress, parabola-rectangle."""

    @eps_c2.setter
    def eps_c2(self, value: float, /) -> None: ...

    @property
    def eps_c3(self) -> float:
        """Strain at peak stress, bilinear diagram."""

    @eps_c3.setter
    def eps_c3(self, value: float, /) -> None: ...

    @property
    def eps_cu1(self) -> float:
        """Ultimate strain, parabolic diagram."""

    @eps_cu1.setter
    def eps_cu1(self, value: float, /) -> None: ...

    @property
    def eps_cu2(self) -> float:
        """Ultimate strain, parabola-rectangle."""

    @eps_cu2.setter
    def eps_cu2(self, value: float, /) -> None: ...

    @property
    def eps_cu3(self) -> float:
        """Ultimate strain, bilinear diagram."""

    @eps_cu3.setter
    def eps_cu3(self, value: float, /) -> None: ...

    @property
    def f_ctm(self) -> float:
        """Mean axial tensile strength [Pa]."""

    @f_ctm.setter
    def f_ctm(self, value: float, /) -> None: ...

    @property
    def f_ctk_0_05(self) -> float:
        """5% fractile tensile strength [Pa]."""

    @f_ctk_0_05.setter
    def f_ctk_0_05(self, value: float, /) -> None: ...

    @property
    def f_ctk_0_95(self) -> float:
        """95% fractile tensile strength [Pa]."""

    @f_ctk_0_95.setter
    def f_ctk_0_95(self, value: float, /) -> None: ...

    @property
    def n_factor(self) -> float:
        """Exponent n of the parabola-rectangle diagram."""

    @n_factor.setter
    def n_factor(self, value: float, /) -> None: ...

    @property
    def f_cm(self) -> float:
        """Mean compressive strength [Pa]."""

    @f_cm.setter
    def f_cm(self, value: float, /) -> None: ...

class CrossSectionType(enum.Enum):
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    O = 'O'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    RECT = 'Rect'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TRAPEZOID = 'Trapezoid'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    IGN = 'Ign'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    IGH = 'Igh'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    BEAM_SHAPE_I_HAUNCH_CHAMFER = 'BeamShapeIHaunchChamfer'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TG = 'Tg'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TTFH = 'Ttfh'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TGREV = 'Tgrev'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TCHAMFER_1 = 'Tchamfer1'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TCHAMFER_2 = 'Tchamfer2'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TWH = 'Twh'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TTFHREV = 'Ttfhrev'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    TWHREV = 'Twhrev'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

    GENERAL = 'General'
    """
    Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, WallHaunch. GENERAL: a section of components (outline and openings).
    """

class CheckSectionExtreme(_OpenObject):
    """
    One load extreme (load case) of a check section.

    Args:
        description: Description.
        fundamental: Fundamental ULS loading.
        accidental: Accidental ULS loading.
        characteristic: Characteristic SLS loading.
        quasi_permanent: Quasi-permanent SLS loading.
        frequent: Frequent SLS loading.
        fatigue: Fatigue loading.
    """

    def __init__(self, description: str, fundamental: LoadingULS | None = None, accidental: LoadingULS | None = None, characteristic: LoadingSLS | None = None, quasi_permanent: LoadingSLS | None = None, frequent: LoadingSLS | None = None, fatigue: FatigueLoading | None = None) -> None: ...

    @property
    def description(self) -> str:
        """Description."""

    @description.setter
    def description(self, value: str, /) -> None: ...

    @property
    def fundamental(self) -> LoadingULS | None:
        """Fundamental ULS loading."""

    @fundamental.setter
    def fundamental(self, value: LoadingULS | None, /) -> None: ...

    @property
    def accidental(self) -> LoadingULS | None:
        """Accidental ULS loading."""

    @accidental.setter
    def accidental(self, value: LoadingULS | None, /) -> None: ...

    @property
    def characteristic(self) -> LoadingSLS | None:
        """Characteristic SLS loading."""

    @characteristic.setter
    def characteristic(self, value: LoadingSLS | None, /) -> None: ...

    @property
    def quasi_permanent(self) -> LoadingSLS | None:
        """Quasi-permanent SLS loading."""

    @quasi_permanent.setter
    def quasi_permanent(self, value: LoadingSLS | None, /) -> None: ...

    @property
    def frequent(self) -> LoadingSLS | None:
        """Frequent SLS loading."""

    @frequent.setter
    def frequent(self, value: LoadingSLS | None, /) -> None: ...

    @property
    def fatigue(self) -> FatigueLoading | None:
        """Fatigue loading."""

    @fatigue.setter
    def fatigue(self, value: FatigueLoading | None, /) -> None: ...

class LoadingSLS(_OpenObject):
    """
    Loading of a serviceability combination.

    Args:
        internal_forces: Internal forces of the loading.
    """

    def __init__(self, internal_forces: InternalForces) -> None: ...

    @property
    def internal_forces(self) -> InternalForces:
        """Internal forces of the loading."""

    @internal_forces.setter
    def internal_forces(self, value: InternalForces, /) -> None: ...

class LoadingULS(_OpenObject):
    """
    Loading of an ultimate combination.

    Args:
        internal_forces: Internal forces of the loading.
        internal_forces_begin: Forces at the member's beginning (second-order effects of columns).
        internal_forces_end: Forces at the member's end (second-order effects of columns).
    """

    def __init__(self, internal_forces: InternalForces, internal_forces_begin: InternalForces | None = None, internal_forces_end: InternalForces | None = None) -> None: ...

    @property
    def internal_forces(self) -> InternalForces:
        """Internal forces of the loading."""

    @internal_forces.setter
    def internal_forces(self, value: InternalForces, /) -> None: ...

    @property
    def internal_forces_begin(self) -> InternalForces | None:
        """Forces at the member's beginning (second-order effects of columns)."""

    @internal_forces_begin.setter
    def internal_forces_begin(self, value: InternalForces | None, /) -> None: ...

    @property
    def internal_forces_end(self) -> InternalForces | None:
        """Forces at the member's end (second-order effects of columns)."""

    @internal_forces_end.setter
    def internal_forces_end(self, value: InternalForces | None, /) -> None: ...

class MemberType(enum.Enum):
    """Type of a concrete member."""

    BEAM = 'Beam'
    """Type of a concrete member."""

    COLUMN = 'Column'
    """Type of a concrete member."""

    BEAM_SLAB = 'BeamSlab'
    """Type of a concrete member."""

    HOLLOW_CORE_SLAB = 'HollowCoreSlab'
    """Type of a concrete member."""

    TWO_WAY_SLAB = 'TwoWaySlab'
    """Type of a concrete member."""

    PLATE = 'Plate'
    """Type of a concrete member."""

    WALL = 'Wall'
    """Type of a concrete member."""

class TwoWaySlabType(enum.Enum):
    """Two-way slab type of a member."""

    SLAB = 'Slab'
    """Two-way slab type of a member."""

    WALL = 'Wall'
    """Two-way slab type of a member."""

    DEEP_BEAM = 'DeepBeam'
    """Two-way slab type of a member."""

    SHELL_AS_PLATE = 'ShellAsPlate'
    """Two-way slab type of a member."""

    SHELL_AS_WALL = 'ShellAsWall'
    """Two-way slab type of a member."""

class CalculationSetup(_OpenObject):
    """
    The checks to run on a member.

    Args:
        uls_response: Response N-M-M.
        uls_diagram: Capacity N-M(-M).
        uls_shear: Shear.
        uls_torsion: Torsion.
        uls_interaction: Interaction.
        sls_crack: Crack width.
        sls_stress_limitation: Stress limitation.
        detailing: Detailing.
        mn_kappa_diagram: M-N-kappa diagram.
        fatigue: Fatigue.
        cross_section_characteristics: Cross-section characteristics.
        sls_stiffnesses: Stiffnesses.
        sls_deflections: Deflections.
    """

    def __init__(self, uls_response: bool = False, uls_diagram: bool = True, uls_shear: bool = True, uls_torsion: bool = False, uls_interaction: bool = True, sls_crack: bool = True, sls_stress_limitation: bool = True, detailing: bool = True, mn_kappa_diagram: bool = False, fatigue: bool = False, cross_section_characteristics: bool = False, sls_stiffnesses: bool = False, sls_deflections: bool = False) -> None: ...

    @property
    def uls_response(self) -> bool:
        """Response N-M-M."""

    @uls_response.setter
    def uls_response(self, value: bool, /) -> None: ...

    @property
    def uls_diagram(self) -> bool:
        """Capacity N-M(-M)."""

    @uls_diagram.setter
    def uls_diagram(self, value: bool, /) -> None: ...

    @property
    def uls_shear(self) -> bool:
        """Shear."""

    @uls_shear.setter
    def uls_shear(self, value: bool, /) -> None: ...

    @property
    def uls_torsion(self) -> bool:
        """Torsion."""

    @uls_torsion.setter
    def uls_torsion(self, value: bool, /) -> None: ...

    @property
    def uls_interaction(self) -> bool:
        """Interaction."""

    @uls_interaction.setter
    def uls_interaction(self, value: bool, /) -> None: ...

    @property
    def sls_crack(self) -> bool:
        """Crack width."""

    @sls_crack.setter
    def sls_crack(self, value: bool, /) -> None: ...

    @property
    def sls_stress_limitation(self) -> bool:
        """Stress limitation."""

    @sls_stress_limitation.setter
    def sls_stress_limitation(self, value: bool, /) -> None: ...

    @property
    def detailing(self) -> bool:
        """Detailing."""

    @detailing.setter
    def detailing(self, value: bool, /) -> None: ...

    @property
    def mn_kappa_diagram(self) -> bool:
        """M-N-kappa diagram."""

    @mn_kappa_diagram.setter
    def mn_kappa_diagram(self, value: bool, /) -> None: ...

    @property
    def fatigue(self) -> bool:
        """Fatigue."""

    @fatigue.setter
    def fatigue(self, value: bool, /) -> None: ...

    @property
    def cross_section_characteristics(self) -> bool:
        """Cross-section characteristics."""

    @cross_section_characteristics.setter
    def cross_section_characteristics(self, value: bool, /) -> None: ...

    @property
    def sls_stiffnesses(self) -> bool:
        """Stiffnesses."""

    @sls_stiffnesses.setter
    def sls_stiffnesses(self, value: bool, /) -> None: ...

    @property
    def sls_deflections(self) -> bool:
        """Deflections."""

    @sls_deflections.setter
    def sls_deflections(self, value: bool, /) -> None: ...

class ConcreteMaterial(enum.Enum):
    """Concrete strength classes of EN 1992-1-1."""

    C12_15 = 'C12/15'
    """Concrete strength classes of EN 1992-1-1."""

    C16_20 = 'C16/20'
    """Concrete strength classes of EN 1992-1-1."""

    C20_25 = 'C20/25'
    """Concrete strength classes of EN 1992-1-1."""

    C25_30 = 'C25/30'
    """Concrete strength classes of EN 1992-1-1."""

    C30_37 = 'C30/37'
    """Concrete strength classes of EN 1992-1-1."""

    C35_45 = 'C35/45'
    """Concrete strength classes of EN 1992-1-1."""

    C40_50 = 'C40/50'
    """Concrete strength classes of EN 1992-1-1."""

    C45_55 = 'C45/55'
    """Concrete strength classes of EN 1992-1-1."""

    C50_60 = 'C50/60'
    """Concrete strength classes of EN 1992-1-1."""

    C55_67 = 'C55/67'
    """Concrete strength classes of EN 1992-1-1."""

    C60_75 = 'C60/75'
    """Concrete strength classes of EN 1992-1-1."""

    C70_85 = 'C70/85'
    """Concrete strength classes of EN 1992-1-1."""

    C80_95 = 'C80/95'
    """Concrete strength classes of EN 1992-1-1."""

    C90_105 = 'C90/105'
    """Concrete strength classes of EN 1992-1-1."""

    C100_115 = 'C100/115'
    """Concrete strength classes of EN 1992-1-1."""

class ReinforcementMaterial(enum.Enum):
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_400A = 'B 400A'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_400B = 'B 400B'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_400C = 'B 400C'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_450A = 'B 450A'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_450B = 'B 450B'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_450C = 'B 450C'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_500A = 'B 500A'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_500B = 'B 500B'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

    B_500C = 'B 500C'
    """
    Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C.
    """

_MATERIAL_NAMES: dict = ...

_MATERIAL_PROPERTIES: dict = ...

class CodeSettings(_OpenObject):
    """
    Code and calculation settings of a project.

    Args:
        national_annex: National annex.
        fatigue_check: Fatigue checks are enabled.
        fatigue_annex_nn: Fatigue to annex NN of EN 1992-2.
        design_working_life: Design working life [years].
        code_en1992_2: Apply EN 1992-2 (bridges).
        code_en1992_3: Apply EN 1992-3 (liquid retaining structures).
    """

    def __init__(self, national_annex: NationalAnnex = NationalAnnex.NO_ANNEX, fatigue_check: bool = False, fatigue_annex_nn: bool = False, design_working_life: int = 50, code_en1992_2: bool = False, code_en1992_3: bool = False) -> None: ...

    @property
    def national_annex(self) -> NationalAnnex:
        """National annex."""

    @national_annex.setter
    def national_annex(self, value: NationalAnnex, /) -> None: ...

    @property
    def fatigue_check(self) -> bool:
        """Fatigue checks are enabled."""

    @fatigue_check.setter
    def fatigue_check(self, value: bool, /) -> None: ...

    @property
    def fatigue_annex_nn(self) -> bool:
        """Fatigue to annex NN of EN 1992-2."""

    @fatigue_annex_nn.setter
    def fatigue_annex_nn(self, value: bool, /) -> None: ...

    @property
    def design_working_life(self) -> int:
        """Design working life [years]."""

    @design_working_life.setter
    def design_working_life(self, value: int, /) -> None: ...

    @property
    def code_en1992_2(self) -> bool:
        """Apply EN 1992-2 (bridges)."""

    @code_en1992_2.setter
    def code_en1992_2(self, value: bool, /) -> None: ...

    @property
    def code_en1992_3(self) -> bool:
        """Apply EN 1992-3 (liquid retaining structures)."""

    @code_en1992_3.setter
    def code_en1992_3(self, value: bool, /) -> None: ...

class ProjectData(_OpenObject):
    """
    Project information.

    Args:
        name: Project name.
        description: Description.
        number: Project number.
        author: Author.
        date: Date 'YYYY-MM-DD'; None: the day the object is made.
    """

    def __init__(self, name: str = '', description: str = '', number: str = '', author: str = '', date: str | None = None) -> None: ...

    @property
    def name(self) -> str:
        """Project name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

    @property
    def description(self) -> str:
        """Description."""

    @description.setter
    def description(self, value: str, /) -> None: ...

    @property
    def number(self) -> str:
        """Project number."""

    @number.setter
    def number(self, value: str, /) -> None: ...

    @property
    def author(self) -> str:
        """Author."""

    @author.setter
    def author(self, value: str, /) -> None: ...

    @property
    def date(self) -> str | None:
        """Date 'YYYY-MM-DD'; None: the day the object is made."""

    @date.setter
    def date(self, value: str | None, /) -> None: ...

class FatigueLoading(_OpenObject):
    """
    Fatigue loading: the two ends of a load cycle.

    Args:
        max_loading: Loading at the upper end of the cycle.
        min_loading: Loading at the lower end of the cycle.
    """

    def __init__(self, max_loading: LoadingULS, min_loading: LoadingULS) -> None: ...

    @property
    def max_loading(self) -> LoadingULS:
        """Loading at the upper end of the cycle."""

    @max_loading.setter
    def max_loading(self, value: LoadingULS, /) -> None: ...

    @property
    def min_loading(self) -> LoadingULS:
        """Loading at the lower end of the cycle."""

    @min_loading.setter
    def min_loading(self, value: LoadingULS, /) -> None: ...

class CrossSectionComponent(CrossSection):
    """
    Cross-section of general shape, made of components (outline and openings).

    Args:
        id: Id within the cross-sections.
        name: Name.
    """

    def __init__(self, id: int, name: str) -> None: ...

    @property
    def id(self) -> int:
        """Id within the cross-sections."""

    @property
    def name(self) -> str:
        """Name."""

    @name.setter
    def name(self, value: str, /) -> None: ...

    @property
    def components(self) -> list[CssComponent]:
        """Components of the section."""

    def create_component(self, outline: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], material: MatConcrete | _ReferenceElement, openings: Sequence[Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]] | None = None) -> CssComponent:
        """
        Add a component of ``material`` bounded by the closed ``outline`` (vertices (y, z) [m], at least 3, the first not repeated at the end; an arc is ((y_end, z_end), (y_on_arc, z_on_arc))), with optional closed ``openings`` of the same form.
        """

class InternalForces(_OpenObject):
    """
    Internal forces at a section [N, N m], with IDEA StatiCa RCS's signs: section axes y across (to the right) and z upwards, x along the member.

    Args:
        n: Axial force [N]: tension positive, compression negative.
        qy: Shear force along +y [N].
        qz: Shear force along +z [N].
        mx: Torsional moment about +x [N m].
        my: Bending moment about y [N m]: positive puts the bottom (negative z) in tension.
        mz: Bending moment about z [N m]: positive puts the left side (negative y) in tension.
    """

    def __init__(self, n: float = 0.0, qy: float = 0.0, qz: float = 0.0, mx: float = 0.0, my: float = 0.0, mz: float = 0.0) -> None: ...

    @property
    def n(self) -> float:
        """Axial force [N]: tension positive, compression negative."""

    @n.setter
    def n(self, value: float, /) -> None: ...

    @property
    def qy(self) -> float:
        """Shear force along +y [N]."""

    @qy.setter
    def qy(self, value: float, /) -> None: ...

    @property
    def qz(self) -> float:
        """Shear force along +z [N]."""

    @qz.setter
    def qz(self, value: float, /) -> None: ...

    @property
    def mx(self) -> float:
        """Torsional moment about +x [N m]."""

    @mx.setter
    def mx(self, value: float, /) -> None: ...

    @property
    def my(self) -> float:
        """
        Bending moment about y [N m]: positive puts the bottom (negative z) in tension.
        """

    @my.setter
    def my(self, value: float, /) -> None: ...

    @property
    def mz(self) -> float:
        """
        Bending moment about z [N m]: positive puts the left side (negative y) in tension.
        """

    @mz.setter
    def mz(self, value: float, /) -> None: ...

class CssComponent(_OpenObject):
    """
    One component of a general cross-section.

    Args:
        id: Id within the section.
        material: Concrete of the component.
        outline: Closed outer boundary: vertices (y, z) [m] and arcs.
        openings: Closed openings, each like the outline.
    """

    def __init__(self, id: int, material: _ReferenceElement | MatConcrete, outline: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], openings: Sequence[Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]] | None = None) -> None: ...

    @property
    def id(self) -> int:
        """Id within the section."""

    @id.setter
    def id(self, value: int, /) -> None: ...

    @property
    def material(self) -> _ReferenceElement:
        """Concrete of the component."""

    @material.setter
    def material(self, value: _ReferenceElement | MatConcrete, /) -> None: ...

    @property
    def outline(self) -> Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]:
        """Closed outer boundary: vertices (y, z) [m] and arcs."""

    @outline.setter
    def outline(self, value: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], /) -> None: ...

    @property
    def openings(self) -> Sequence[Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]] | None:
        """Closed openings, each like the outline."""

    @openings.setter
    def openings(self, value: Sequence[Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]] | None, /) -> None: ...

class ExposureClass(enum.Enum):
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    X0 = 'X0'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XC1 = 'XC1'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XC2 = 'XC2'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XC3 = 'XC3'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XC4 = 'XC4'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XD1 = 'XD1'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XD2 = 'XD2'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XD3 = 'XD3'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XS1 = 'XS1'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XS2 = 'XS2'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XS3 = 'XS3'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XF1 = 'XF1'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XF2 = 'XF2'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XF3 = 'XF3'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XF4 = 'XF4'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XA1 = 'XA1'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XA2 = 'XA2'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

    XA3 = 'XA3'
    """Exposure classes of EN 1992-1-1 Table 4.1."""

class NationalAnnex(enum.Enum):
    """National annex of the Eurocode."""

    NO_ANNEX = 'NoAnnex'
    """National annex of the Eurocode."""

    CZECH = 'Czech'
    """National annex of the Eurocode."""

    SLOVAK = 'Slovak'
    """National annex of the Eurocode."""

    AUSTRIAN = 'Austrian'
    """National annex of the Eurocode."""

    GERMAN = 'German'
    """National annex of the Eurocode."""

    DUTCH = 'Dutch'
    """National annex of the Eurocode."""

    BELGIAN = 'Belgian'
    """National annex of the Eurocode."""

    FRENCH = 'French'
    """National annex of the Eurocode."""

    BRITISH = 'British'
    """National annex of the Eurocode."""

    SINGAPORE = 'Singapore'
    """National annex of the Eurocode."""

    POLISH = 'Polish'
    """National annex of the Eurocode."""

class ThermalStateType(enum.Enum):
    """
    Temperature dependence of a material property: none, or as the code gives it.
    """

    NONE = 'None'
    """
    Temperature dependence of a material property: none, or as the code gives it.
    """

    CODE = 'Code'
    """
    Temperature dependence of a material property: none, or as the code gives it.
    """

def _plain_document(document: object) -> Any:
    """
    json.loads(json.dumps(document, cls=_EnumEncoder)) for a model's document, or None where a value's encoding is not fixed natively.
    """

def _dump_document(document: object) -> bytes | None:
    """
    The UTF-8 bytes of json.dumps(document) for the result of _plain_document, or None where a value's encoding is not fixed natively.
    """

def _write_input_xml(document: bytes) -> bytes:
    """
    Write IDEA StatiCa RCS input XML (an OpenModel document in UTF-8) for a serialised model given as JSON bytes.

    Raises ValueError naming the object and the field that cannot be converted.
    """
