"""Build IDEA StatiCa RCS models, run analyses and read their results."""

import abc
from collections.abc import Callable, Iterable, Iterator, Sequence
import enum
import io
import json.encoder
import os
from typing import Any, BinaryIO, IO, Literal, TypedDict, overload
import xml.etree.ElementTree

import marlox.core
import marlox.external.external_program
import marlox.external.idea_rcs.objects
from marlox.external.idea_rcs.objects import (
    CheckMember1D,
    ConcreteMemberDataEc2,
    CrossSectionComponent,
    CrossSectionParameter,
    MatConcreteEc2,
    MatReinforcementEc2,
    ReinforcedCrossSection,
    StandardCheckSection,
)


class ForceSet(TypedDict, total=False):
    """Internal forces as the result file writes them: N, Qy, Qz in N; Mx, My, Mz in N·m."""
    N: float
    Qy: float
    Qz: float
    Mx: float
    My: float
    Mz: float

class CapacityResult(TypedDict):
    Fu: ForceSet | None
    Fu1: ForceSet | None
    Fu2: ForceSet | None
    CheckValue: float
    Result: str | None

class ShearResult(TypedDict):
    Ved: float
    Vrd: float
    Vrdc: float
    Vrdmax: float
    Vrdr: float
    Vrds: float
    CheckValue: float
    Result: str | None

class TorsionResult(TypedDict):
    Ted: float
    Trdc: float
    Trdmax: float
    Trds: float
    Trd: float
    CheckValue: float
    Result: str | None

class InteractionResult(TypedDict):
    Ned: float
    Medy: float
    Medz: float
    Ved: float
    Ted: float
    CheckValue: float
    CheckValueShearAndTorsion: float
    CheckValueShearTorsionAndBending: float
    Result: str | None

class CrackWidthTerm(TypedDict):
    N: float
    My: float
    Mz: float
    W: float
    Wlim: float
    CheckValue: float
    Result: str | None

class CrackWidthResult(TypedDict):
    short: CrackWidthTerm | None
    long: CrackWidthTerm | None

class DetailingResult(TypedDict):
    longitudinal: float | None
    shear: float | None
    CheckValue: float
    CheckValueLongReinf: float | None
    CheckValueShearReinf: float | None
    Result: str | None

class StressTerm(TypedDict):
    Stress: float | None
    CheckValue: float
    Result: str | None

class StressCheck(TypedDict, total=False):
    short: StressTerm
    long: StressTerm

class StressLimitationResult(TypedDict):
    short: dict[str, float | None] | None
    long: dict[str, float | None] | None
    Check_7_2_2_Concrete_fck: StressCheck | None
    Check_7_2_3_Concrete_fck: StressCheck | None
    Check_7_2_5_Tendons_fpk: StressCheck | None
    Check_7_2_5_ReinforcementBars_fyk: StressCheck | None
    Check_5_10_3_2_Tendons: StressCheck | None
    Check_5_10_2_1_1_Tendons: StressCheck | None

class FatigueCheck(TypedDict):
    CheckValue: float
    DecisionMethod: str | None
    Result: str | None

class FatigueShear(TypedDict, total=False):
    max: ShearResult
    min: ShearResult

class FatigueResult(TypedDict):
    fatigue: FatigueCheck
    shear: FatigueShear

class ExtremeResults(TypedDict):
    capacity: CapacityResult | None
    shear: ShearResult | None
    torsion: TorsionResult | None
    interaction: InteractionResult | None
    crack_width: CrackWidthResult | None
    detailing: DetailingResult | None
    stress_limitation: StressLimitationResult | None
    fatigue: FatigueResult | None

class _EnumEncoder(json.encoder.JSONEncoder):
    """To auto-serialize Enum type."""

    def default(self, obj: Any) -> Any:
        """
        Encode an enumeration member as its value and any other object as the result of its ``_serialize()``.
        """

class _Model:
    """
    Common base of the model builders: the object lists of one IDEA StatiCa RCS model, its project data and code settings.

    Ids count 1, 2, 3, ... per list; the two kinds of cross-section share one list and one sequence.
    """

    def __init__(self, project_data: marlox.external.idea_rcs.objects.ProjectData | None = None, code_settings: marlox.external.idea_rcs.objects.CodeSettings | None = None) -> None: ...

    @property
    def project_data(self) -> marlox.external.idea_rcs.objects.ProjectData:
        """The model's project data."""

    @property
    def code_settings(self) -> marlox.external.idea_rcs.objects.CodeSettings:
        """The model's code and calculation settings."""

    @property
    def _mat_concrete_list(self) -> list[MatConcreteEc2]:
        """The model's own list (internal: add objects through the model)."""

    @property
    def _mat_reinforcement_list(self) -> list[MatReinforcementEc2]:
        """The model's own list (internal: add objects through the model)."""

    @property
    def _cross_section_list(self) -> list[CrossSectionParameter | CrossSectionComponent]:
        """The model's own list (internal: add objects through the model)."""

    @property
    def _reinforced_cross_section_list(self) -> list[ReinforcedCrossSection]:
        """The model's own list (internal: add objects through the model)."""

    @property
    def _check_member_list(self) -> list[CheckMember1D]:
        """The model's own list (internal: add objects through the model)."""

    @property
    def _check_section_list(self) -> list[StandardCheckSection]:
        """The model's own list (internal: add objects through the model)."""

    @property
    def _attribute_list(self) -> list[ConcreteMemberDataEc2]:
        """The model's own list (internal: add objects through the model)."""

    def _create_matconcrete_ec2(self, base_material: marlox.external.idea_rcs.objects.ConcreteMaterial, name: str | None = None, e_modulus: float = 32800, g_modulus: float = 13667, poisson: float = 0.2, unit_mass: float = 2500, specific_heat: float = 0.6, thermal_expansion: float = 1e-05, thermal_conductivity: float = 45, is_default: bool = False, order_in_code: int = 1, thermal_state: marlox.external.idea_rcs.objects.ThermalState | None = None, fck_28: float | None = None, stone_diameter: float = 0.016, cement_class: marlox.external.idea_rcs.objects.ConcCementClass = marlox.external.idea_rcs.objects.ConcCementClass.R, aggregate_type: marlox.external.idea_rcs.objects.ConcAggregateType = marlox.external.idea_rcs.objects.ConcAggregateType.QUARTZITE, diagram_type: marlox.external.idea_rcs.objects.ConcDiagramType = marlox.external.idea_rcs.objects.ConcDiagramType.PARABOLIC, silica_fume: bool = False, plain_concrete_diagram: bool = False, dep_params: marlox.external.idea_rcs.objects.ConcDependentParams | None = None) -> marlox.external.idea_rcs.objects.MatConcreteEc2:
        """
        Create a concrete to EN 1992-1-1 and add it to the model.

        Moduli and strengths are given in MPa and stored in Pa.

        Args:
            base_material: The strength class to start from, e.g. ``ConcreteMaterial.C30_37``.
            name: Material name; None gives the class's name, e.g. "C30/37".
            e_modulus: Young's modulus [MPa].
            g_modulus: Shear modulus [MPa].
            poisson: Poisson's ratio.
            unit_mass: Unit mass [kg/m3].
            specific_heat: Specific heat capacity.
            thermal_expansion: Thermal expansion [1/K].
            thermal_conductivity: Thermal conductivity.
            is_default: The material is a default material of the code.
            order_in_code: Order of the material in the code.
            thermal_state: None gives ``ThermalState()``.
            fck_28: Characteristic cylinder strength at 28 days [MPa]; None gives the class's.
            stone_diameter: Aggregate size [m] (0.016 is 16 mm).
            cement_class: Cement class.
            aggregate_type: Aggregate type.
            diagram_type: Stress-strain diagram for the ultimate limit state.
            silica_fume: Contains silica fume (EN 1992-2 only).
            plain_concrete_diagram: Stress-strain diagram with a tension part.
            dep_params: Dependent parameters; None derives them from fck.

        Returns:
            The new MatConcreteEc2.
        """

    def _create_matreinforcement_ec2(self, base_material: marlox.external.idea_rcs.objects.ReinforcementMaterial, name: str | None = None, e_modulus: float = 200000, g_modulus: float = 83333, poisson: float = 0.2, unit_mass: float = 7850, specific_heat: float = 0.6, thermal_expansion: float = 1e-05, thermal_conductivity: float = 45, is_default: bool = False, order_in_code: int = 1, thermal_state: marlox.external.idea_rcs.objects.ThermalState | None = None, bar_surface: marlox.external.idea_rcs.objects.BarSurface = marlox.external.idea_rcs.objects.BarSurface.RIBBED, fyk: float | None = None, ftk_by_fyk: float | None = None, epsuk: float | None = None, ftk: float | None = None, class_: marlox.external.idea_rcs.objects.ReinfClass = marlox.external.idea_rcs.objects.ReinfClass.B, type_: marlox.external.idea_rcs.objects.ReinfType = marlox.external.idea_rcs.objects.ReinfType.BARS, fabrication: marlox.external.idea_rcs.objects.ReinfFabrication = marlox.external.idea_rcs.objects.ReinfFabrication.HOT_ROLLED, diagram_type: marlox.external.idea_rcs.objects.ReinfDiagramType = marlox.external.idea_rcs.objects.ReinfDiagramType.BILINEAR_INCLINED) -> marlox.external.idea_rcs.objects.MatReinforcementEc2:
        """
        Create a reinforcing steel to EN 1992-1-1 and add it to the model.

        Moduli and strengths are given in MPa and stored in Pa; ``epsuk`` is given in units of 1e-4 and stored as a strain.

        Args:
            base_material: The grade to start from, e.g. ``ReinforcementMaterial.B_500B``.
            name: Material name; None gives the grade's name, e.g. "B 500B".
            e_modulus: Young's modulus [MPa].
            g_modulus: Shear modulus [MPa].
            poisson: Poisson's ratio.
            unit_mass: Unit mass [kg/m3].
            specific_heat: Specific heat capacity.
            thermal_expansion: Thermal expansion [1/K].
            thermal_conductivity: Thermal conductivity.
            is_default: The material is a default material of the code.
            order_in_code: Order of the material in the code.
            thermal_state: None gives ``ThermalState()``.
            bar_surface: Bar surface.
            fyk: Characteristic yield strength [MPa]; None gives the grade's.
            ftk_by_fyk: Ratio k = ftk / fyk; None gives the grade's.
            epsuk: Characteristic strain at maximum load [1e-4]; None gives the grade's.
            ftk: Characteristic tensile strength [MPa]; None gives the grade's fyk times its k.
            class_: Ductility class.
            type_: Type of reinforcement.
            fabrication: Fabrication.
            diagram_type: Stress-strain diagram (bilinear with an inclined top branch).

        Returns:
            The new MatReinforcementEc2.
        """

    def _create_cross_section_component(self, name: str | None = None) -> CrossSectionComponent:
        """
        Create an empty cross-section of general shape and add it to the model; give it its geometry with ``create_component(outline, material, openings=None)``.

        Args:
            name: Section name; None gives the empty name.

        Returns:
            The new CrossSectionComponent.
        """

    def _create_cross_section_parameter(self, cross_section_type: marlox.external.idea_rcs.objects.CrossSectionType, material: marlox.external.idea_rcs.objects.MatConcreteEc2, name: str | None = None, **parameters: float) -> marlox.external.idea_rcs.objects.CrossSectionParameter:
        """
        Create a cross-section of a parametric shape and add it to the model.

        Args:
            cross_section_type: The shape, e.g. ``CrossSectionType.RECT``.
            material: Its concrete, made by ``create_matconcrete_ec2``.
            name: Section name; None gives the empty name.
            **parameters: The shape's dimensions [m] by the names its type documents, e.g. ``Width=0.3, Height=0.5`` for ``CrossSectionType.RECT``.

        Returns:
            The new CrossSectionParameter.
        """

    def _create_reinforced_cross_section(self, cross_section: marlox.external.idea_rcs.objects.CrossSectionParameter | marlox.external.idea_rcs.objects.CrossSectionComponent, name: str | None = None) -> ReinforcedCrossSection:
        """
        Create a reinforced cross-section over a cross-section and add it to the model; place bars and stirrups on it with its ``create_bar``, ``create_bar_layer`` and ``create_stirrup``.

        Args:
            cross_section: The concrete cross-section.
            name: None gives "R" and the id, e.g. "R1".

        Returns:
            The new ReinforcedCrossSection.
        """

    def _create_check_member1d(self, name: str | None = None) -> marlox.external.idea_rcs.objects.CheckMember1D:
        """
        Create a one-dimensional check member and add it to the model.

        Args:
            name: None gives "M " and the id, e.g. "M 1".

        Returns:
            The new CheckMember1D.
        """

    def _add_check_section(self, check_member: marlox.external.idea_rcs.objects.CheckMember1D, reinf_section: marlox.external.idea_rcs.objects.ReinforcedCrossSection, description: str | None = None) -> StandardCheckSection:
        """
        Add a check section: a reinforced cross-section at a place of a check member. Add its load extremes with its ``create_extreme``.

        Args:
            check_member: The member.
            reinf_section: The reinforced cross-section checked.
            description: None gives "S" and the id, e.g. "S1".

        Returns:
            The new StandardCheckSection.
        """

    def _add_member_data_ec2(self, member: marlox.external.idea_rcs.objects.CheckMember1D, member_type: marlox.external.idea_rcs.objects.MemberType, two_way_slab_type: marlox.external.idea_rcs.objects.TwoWaySlabType, calculation_setup: marlox.external.idea_rcs.objects.CalculationSetup | None = None, coeff_kx_for_wmax: float | None = None, exposure_class_data: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None) -> None:
        """
        Add the Eurocode 2 data of a member. Call it after ``add_check_section`` for the member.

        Absent values are passed on as None and take these defaults downstream: calculation setup with capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing; kx 1.0; no corrosion exposure; creep coefficient computed by IDEA StatiCa RCS; relative humidity 65 %.

        Args:
            member: The check member.
            member_type: Its type, matching the reinforced section of its check section.
            two_way_slab_type: Its two-way slab type.
            calculation_setup: The checks to run.
            coeff_kx_for_wmax: Coefficient kx raising the crack-width limit (Dutch annex).
            exposure_class_data: Exposure classes.
            creep_coefficient: Final creep coefficient.
            relative_humidity: Relative humidity [%].
        """

    def _serialize(self) -> dict[str, Any]:
        """
        The model as a plain JSON value tree: nine keys (the seven object lists as [class name, object] pairs, then project data and code settings).
        """

    @overload
    def generate_xml_input(self, as_file: Literal[False] | None = False) -> io.BytesIO:
        """
        Convert the model to IDEA StatiCa RCS input XML through the platform's conversion service.

        Args:
            as_file: Return a ``marlox.core.File`` when true instead of a ``BytesIO`` (None or any
                false value).

        Returns:
            The input XML, as a BytesIO positioned at its start or as a File.

        Raises:
            Exception: "Input file could not be generated, please check your model" when the service rejects the model; the service's InternalError is its cause.
        """

    @overload
    def generate_xml_input(self, as_file: Literal[True]) -> marlox.core.File:
        """
        Convert the model to IDEA StatiCa RCS input XML through the platform's conversion service.

        Args:
            as_file: Return a ``marlox.core.File`` when true instead of a ``BytesIO`` (None or any
                false value).

        Returns:
            The input XML, as a BytesIO positioned at its start or as a File.

        Raises:
            Exception: "Input file could not be generated, please check your model" when the service rejects the model; the service's InternalError is its cause.
        """

    @overload
    def generate_xml_input(self, as_file: bool | None = False) -> io.BytesIO | marlox.core.File:
        """
        Convert the model to IDEA StatiCa RCS input XML through the platform's conversion service.

        Args:
            as_file: Return a ``marlox.core.File`` when true instead of a ``BytesIO`` (None or any
                false value).

        Returns:
            The input XML, as a BytesIO positioned at its start or as a File.

        Raises:
            Exception: "Input file could not be generated, please check your model" when the service rejects the model; the service's InternalError is its cause.
        """

    def validate(self) -> list[Finding]:
        """
        Check the whole model before a run and return what is found, errors and warnings, in the order of the model's lists.

        Checked: references to objects that are not in the model, or made from an object of the wrong kind (a reinforcement material as the concrete); values (moduli, strengths, dimensions and diameters finite and positive, Poisson's ratio in [0, 0.5), relative humidity in (0, 100] per cent); values that look like another unit (a warning: fck or fyk more than ten times off Eurocode 2's range, dimensions over 50 m or diameters over 100 mm, most likely millimetres); coordinates beyond 1e6 m; outlines and openings (at least three points, not crossing themselves, openings inside their outline, some concrete left); bars inside the concrete and out of openings, not overlapping each other or a stirrup, with a cover of at least their diameter and the clear spacing of Eurocode 2, 8.2 (warnings); a reinforced section without bars (a warning); stirrups inside the concrete, arcs included, and closed when they count for torsion (a warning); check sections with extremes, and extremes with a loading.

        Parametric sections are checked against their bars where IDEA StatiCa RCS's placement (centroid on the origin) is certain, RECT, O and TG, and likewise TGREV, IGN and TRAPEZOID; the haunched and chamfered types are not.
        """

    def ensure_valid(self) -> list[Finding]:
        """
        Raise ``ModelError`` listing every error that ``validate()`` finds; return the warnings when there is no error.
        """

    def plot(self, item: marlox.external.idea_rcs.objects.CrossSection | marlox.external.idea_rcs.objects.ReinforcedCrossSection | marlox.external.idea_rcs.objects.CheckSection | Member, ax: Any = None, *, findings: bool = True) -> Any:
        """
        Draw ``item`` (a cross-section, reinforced cross-section, check section or member of this model) on the matplotlib axes ``ax``, or on a new figure, and return the axes: the concrete with its openings, bars as circles of their diameter, stirrups along their axis with their arcs, equal axes in metres and the name as title. With ``findings`` the findings of ``validate()`` that concern the drawn objects (and only those are checked) are numbered where they lie and listed below the axes, wrapped to their width; a figure without a layout engine gets matplotlib's constrained layout so that lists stay clear of neighbouring axes. Geometry beyond 1e6 m is left out. Needs matplotlib: ``pip install 'marlox[plot]'``.
        """

    def svg(self, item: marlox.external.idea_rcs.objects.CrossSection | marlox.external.idea_rcs.objects.ReinforcedCrossSection | marlox.external.idea_rcs.objects.CheckSection | Member, *, findings: bool = True, width: float = 320.0) -> str:
        """
        The drawing of ``item`` (what ``plot()`` draws) as the text of an SVG picture ``width`` pixels wide: the concrete with its openings, bars as circles of their diameter, stirrups along their axis, the axes y (to the right) and z (upwards) at the origin of the bar coordinates, the overall width and height, and with ``findings`` the located findings of ``validate()`` as crosses. Needs no drawing library; a member shows this picture inline in Jupyter.
        """

    def section_properties(self, item: marlox.external.idea_rcs.objects.CrossSection | marlox.external.idea_rcs.objects.ReinforcedCrossSection | marlox.external.idea_rcs.objects.CheckSection | Member) -> dict[str, Any]:
        """
        The properties of the section, as a dict [m, m2, m4]: ``gross_area`` (inside the outline), ``concrete_area`` (net of openings), ``centroid`` (y, z) and the second moments ``second_moment_y`` (about the axis y through the centroid, for bending by My) and ``second_moment_z`` of the concrete net of openings, the extreme fibres ``y_left``, ``y_right``, ``z_bottom``, ``z_top`` in bar coordinates; and with bars: ``reinforcement_area``, ``reinforcement_ratio`` (to the concrete area) and ``effective_depth``, a dict by the face in tension ("bottom", "top", "left", "right"): from the opposite extreme fibre to the centroid of the bars on that side of the concrete's centroid, None when there is none. Raises ``ValueError`` when the concrete is not known (a parametric type that the model does not draw).
        """

    @property
    def concrete_materials(self) -> list[marlox.external.idea_rcs.objects.MatConcrete]:
        """The concrete materials, in order. A new list."""

    @property
    def reinforcement_materials(self) -> list[marlox.external.idea_rcs.objects.MatReinforcement]:
        """The reinforcement materials, in order. A new list."""

    @property
    def cross_sections(self) -> list[marlox.external.idea_rcs.objects.CrossSection]:
        """The concrete cross-sections, in order. A new list."""

    @property
    def reinforced_sections(self) -> list[marlox.external.idea_rcs.objects.ReinforcedCrossSection]:
        """
        The reinforced cross-sections (with their bars and stirrups), in order. A new list.
        """

    @property
    def check_members(self) -> list[marlox.external.idea_rcs.objects.CheckMember]:
        """The check (design) members, in order. A new list."""

    @property
    def check_sections(self) -> list[marlox.external.idea_rcs.objects.StandardCheckSection]:
        """The check sections (with their extremes), in order. A new list."""

    @property
    def member_data(self) -> list[marlox.external.idea_rcs.objects.ConcreteMemberDataEc2]:
        """The member data records, in order. A new list."""

    @property
    def extremes(self) -> list[marlox.external.idea_rcs.objects.CheckSectionExtreme]:
        """
        The load extremes of every check section, section by section, in order. A new list.
        """

    @property
    def members(self) -> list[Member]:
        """
        A member for each check section, in order, of the class its member data names (Beam, CompressionMember, OneWaySlab; Member for another type): new objects on the model's own reinforced sections and check sections, also for a model read from XML.
        """

    def __repr__(self) -> str: ...

class OpenModel(_Model):
    """
    Builds an IDEA StatiCa RCS model one OpenModel object at a time.

    Call in this order: materials, a cross-section and a reinforced cross-section (then bars and stirrups on it), a check member, ``add_check_section`` for the member (then extremes on the section), then ``add_member_data_ec2`` for the member: ``add_member_data_ec2`` must follow ``add_check_section``.

    Args:
        project_data: Project data; None gives the default ``ProjectData()``.
        code_settings: Code settings; None gives the default ``CodeSettings()``.
    """

    def __init__(self, project_data: marlox.external.idea_rcs.objects.ProjectData | None = None, code_settings: marlox.external.idea_rcs.objects.CodeSettings | None = None) -> None: ...

    def create_matconcrete_ec2(self, base_material: marlox.external.idea_rcs.objects.ConcreteMaterial, name: str | None = None, *, e_modulus: float = 32800, g_modulus: float = 13667, poisson: float = 0.2, unit_mass: float = 2500, specific_heat: float = 0.6, thermal_expansion: float = 1e-05, thermal_conductivity: float = 45, is_default: bool = False, order_in_code: int = 1, thermal_state: marlox.external.idea_rcs.objects.ThermalState | None = None, fck_28: float | None = None, stone_diameter: float = 0.016, cement_class: marlox.external.idea_rcs.objects.ConcCementClass = marlox.external.idea_rcs.objects.ConcCementClass.R, aggregate_type: marlox.external.idea_rcs.objects.ConcAggregateType = marlox.external.idea_rcs.objects.ConcAggregateType.QUARTZITE, diagram_type: marlox.external.idea_rcs.objects.ConcDiagramType = marlox.external.idea_rcs.objects.ConcDiagramType.PARABOLIC, silica_fume: bool = False, plain_concrete_diagram: bool = False, dep_params: marlox.external.idea_rcs.objects.ConcDependentParams | None = None) -> marlox.external.idea_rcs.objects.MatConcreteEc2:
        """
        Create a concrete to EN 1992-1-1 and add it to the model.

        Moduli and strengths are given in MPa and stored in Pa.

        Args:
            base_material: The strength class to start from, e.g. ``ConcreteMaterial.C30_37``.
            name: Material name; None gives the class's name, e.g. "C30/37".
            e_modulus: Young's modulus [MPa].
            g_modulus: Shear modulus [MPa].
            poisson: Poisson's ratio.
            unit_mass: Unit mass [kg/m3].
            specific_heat: Specific heat capacity.
            thermal_expansion: Thermal expansion [1/K].
            thermal_conductivity: Thermal conductivity.
            is_default: The material is a default material of the code.
            order_in_code: Order of the material in the code.
            thermal_state: None gives ``ThermalState()``.
            fck_28: Characteristic cylinder strength at 28 days [MPa]; None gives the class's.
            stone_diameter: Aggregate size [m] (0.016 is 16 mm).
            cement_class: Cement class.
            aggregate_type: Aggregate type.
            diagram_type: Stress-strain diagram for the ultimate limit state.
            silica_fume: Contains silica fume (EN 1992-2 only).
            plain_concrete_diagram: Stress-strain diagram with a tension part.
            dep_params: Dependent parameters; None derives them from fck.

        Returns:
            The new MatConcreteEc2.
        """

    def create_matreinforcement_ec2(self, base_material: marlox.external.idea_rcs.objects.ReinforcementMaterial, name: str | None = None, *, e_modulus: float = 200000, g_modulus: float = 83333, poisson: float = 0.2, unit_mass: float = 7850, specific_heat: float = 0.6, thermal_expansion: float = 1e-05, thermal_conductivity: float = 45, is_default: bool = False, order_in_code: int = 1, thermal_state: marlox.external.idea_rcs.objects.ThermalState | None = None, bar_surface: marlox.external.idea_rcs.objects.BarSurface = marlox.external.idea_rcs.objects.BarSurface.RIBBED, fyk: float | None = None, ftk_by_fyk: float | None = None, epsuk: float | None = None, ftk: float | None = None, class_: marlox.external.idea_rcs.objects.ReinfClass = marlox.external.idea_rcs.objects.ReinfClass.B, type_: marlox.external.idea_rcs.objects.ReinfType = marlox.external.idea_rcs.objects.ReinfType.BARS, fabrication: marlox.external.idea_rcs.objects.ReinfFabrication = marlox.external.idea_rcs.objects.ReinfFabrication.HOT_ROLLED, diagram_type: marlox.external.idea_rcs.objects.ReinfDiagramType = marlox.external.idea_rcs.objects.ReinfDiagramType.BILINEAR_INCLINED) -> marlox.external.idea_rcs.objects.MatReinforcementEc2:
        """
        Create a reinforcing steel to EN 1992-1-1 and add it to the model.

        Moduli and strengths are given in MPa and stored in Pa; ``epsuk`` is given in units of 1e-4 and stored as a strain.

        Args:
            base_material: The grade to start from, e.g. ``ReinforcementMaterial.B_500B``.
            name: Material name; None gives the grade's name, e.g. "B 500B".
            e_modulus: Young's modulus [MPa].
            g_modulus: Shear modulus [MPa].
            poisson: Poisson's ratio.
            unit_mass: Unit mass [kg/m3].
            specific_heat: Specific heat capacity.
            thermal_expansion: Thermal expansion [1/K].
            thermal_conductivity: Thermal conductivity.
            is_default: The material is a default material of the code.
            order_in_code: Order of the material in the code.
            thermal_state: None gives ``ThermalState()``.
            bar_surface: Bar surface.
            fyk: Characteristic yield strength [MPa]; None gives the grade's.
            ftk_by_fyk: Ratio k = ftk / fyk; None gives the grade's.
            epsuk: Characteristic strain at maximum load [1e-4]; None gives the grade's.
            ftk: Characteristic tensile strength [MPa]; None gives the grade's fyk times its k.
            class_: Ductility class.
            type_: Type of reinforcement.
            fabrication: Fabrication.
            diagram_type: Stress-strain diagram (bilinear with an inclined top branch).

        Returns:
            The new MatReinforcementEc2.
        """

    def create_cross_section_component(self, name: str | None = None) -> CrossSectionComponent:
        """
        Create an empty cross-section of general shape and add it to the model; give it its geometry with ``create_component(outline, material, openings=None)``.

        Args:
            name: Section name; None gives the empty name.

        Returns:
            The new CrossSectionComponent.
        """

    def create_cross_section_parameter(self, cross_section_type: marlox.external.idea_rcs.objects.CrossSectionType, material: marlox.external.idea_rcs.objects.MatConcreteEc2, name: str | None = None, **parameters: float) -> CrossSectionParameter:
        """
        Create a cross-section of a parametric shape and add it to the model.

        Args:
            cross_section_type: The shape, e.g. ``CrossSectionType.RECT``.
            material: Its concrete, made by ``create_matconcrete_ec2``.
            name: Section name; None gives the empty name.
            **parameters: The shape's dimensions [m] by the names its type documents, e.g. ``Width=0.3, Height=0.5`` for ``CrossSectionType.RECT``.

        Returns:
            The new CrossSectionParameter.
        """

    def create_reinforced_cross_section(self, cross_section: marlox.external.idea_rcs.objects.CrossSectionParameter | marlox.external.idea_rcs.objects.CrossSectionComponent, name: str | None = None) -> marlox.external.idea_rcs.objects.ReinforcedCrossSection:
        """
        Create a reinforced cross-section over a cross-section and add it to the model; place bars and stirrups on it with its ``create_bar``, ``create_bar_layer`` and ``create_stirrup``.

        Args:
            cross_section: The concrete cross-section.
            name: None gives "R" and the id, e.g. "R1".

        Returns:
            The new ReinforcedCrossSection.
        """

    def create_check_member1d(self, name: str | None = None) -> marlox.external.idea_rcs.objects.CheckMember1D:
        """
        Create a one-dimensional check member and add it to the model.

        Args:
            name: None gives "M " and the id, e.g. "M 1".

        Returns:
            The new CheckMember1D.
        """

    def add_check_section(self, check_member: marlox.external.idea_rcs.objects.CheckMember1D, reinf_section: marlox.external.idea_rcs.objects.ReinforcedCrossSection, description: str | None = None) -> StandardCheckSection:
        """
        Add a check section: a reinforced cross-section at a place of a check member. Add its load extremes with its ``create_extreme``.

        Args:
            check_member: The member.
            reinf_section: The reinforced cross-section checked.
            description: None gives "S" and the id, e.g. "S1".

        Returns:
            The new StandardCheckSection.
        """

    def add_member_data_ec2(self, member: marlox.external.idea_rcs.objects.CheckMember1D, member_type: marlox.external.idea_rcs.objects.MemberType, two_way_slab_type: marlox.external.idea_rcs.objects.TwoWaySlabType, calculation_setup: marlox.external.idea_rcs.objects.CalculationSetup | None = None, coeff_kx_for_wmax: float | None = None, exposure_class_data: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None) -> None:
        """
        Add the Eurocode 2 data of a member. Call it after ``add_check_section`` for the member.

        Absent values are passed on as None and take these defaults downstream: calculation setup with capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing; kx 1.0; no corrosion exposure; creep coefficient computed by IDEA StatiCa RCS; relative humidity 65 %.

        Args:
            member: The check member.
            member_type: Its type, matching the reinforced section of its check section.
            two_way_slab_type: Its two-way slab type.
            calculation_setup: The checks to run.
            coeff_kx_for_wmax: Coefficient kx raising the crack-width limit (Dutch annex).
            exposure_class_data: Exposure classes.
            creep_coefficient: Final creep coefficient.
            relative_humidity: Relative humidity [%].
        """

    @classmethod
    def from_xml(cls, source: str | os.PathLike[str] | BinaryIO | bytes, *, threads: int | None = None) -> OpenModel:
        """
        Read IDEA StatiCa RCS input XML (an OpenModel document) into a new model.

        ``source`` is a path, a binary stream or the document's bytes; UTF-8 and UTF-16 (with its byte-order mark, whatever the declaration says) are read. The objects are those the builder makes, with the document's ids; what our writer writes reads back to the same XML, and to the same model but for the member data's absent values, which come back as the XML states them (relative humidity 65, kx 1.0, the default checks). A material that IDEA takes from its library by name becomes the builder's material of that name.

        Past its first 256 KiB, a document is parsed on a thread of its own while the calling thread decodes it and makes the objects, when ``threads`` (by default the cores available) is 2 or more; ``threads=1`` reads it on the calling thread alone. The model and every failure are the same either way.

        Raises xml.etree.ElementTree.ParseError for a document that is not XML (as ElementTree reports it, billion-laughs expansion included), what ElementTree raises for a declared encoding that the interpreter cannot read (LookupError, ValueError), and ValueError naming the element and its line for anything the model cannot hold: an element or xsi:type it does not know, a value that does not parse or that the object refuses, a duplicated id, a reference to an id the document lacks, a value that the model states only one way.
        """

class _SectionPrototype(abc.ABC):
    """
    Abstract root of the section prototypes: the shape of a cross-section, independent of any model.
    """

    @abc.abstractmethod
    def __init__(self) -> None:
        """Abstract: each shape stores its own dimensions."""

    @property
    @abc.abstractmethod
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType:
        """The OpenModel cross-section type of the shape."""

    @property
    @abc.abstractmethod
    def _parameters(self) -> dict[str, float]:
        """The shape's dimensions [m] by their OpenModel parameter names, as a new dict."""

class SectionPrototype1D(_SectionPrototype, abc.ABC):
    """
    Abstract root of the section prototypes of one-dimensional members (beams, columns, one-way slabs).

    A new shape is a subclass that sets its own attributes in ``__init__`` and provides ``_type`` (a ``CrossSectionType`` member) and ``_parameters`` (a new dict of the shape's dimensions [m] by the names that its type documents, e.g. ``{"Width": 0.3, "Height": 0.5}``). The model creates a parametric cross-section from the two; a ``GeneralShape`` (or a subclass of it) becomes a cross-section of components instead.
    """

    @abc.abstractmethod
    def __init__(self) -> None:
        """Abstract: each shape stores its own dimensions."""

    @property
    @abc.abstractmethod
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType:
        """The OpenModel cross-section type of the shape."""

    @property
    @abc.abstractmethod
    def _parameters(self) -> dict[str, float]:
        """The shape's dimensions [m] by their OpenModel parameter names, as a new dict."""

    @property
    def y_left(self) -> float:
        """
        The leftmost fibre of the concrete: its least y in bar coordinates [m].
        """

    @property
    def y_right(self) -> float:
        """
        The rightmost fibre of the concrete: its greatest y in bar coordinates [m].
        """

    @property
    def z_bottom(self) -> float:
        """
        The bottom fibre of the concrete: its least z in bar coordinates [m]. A bar whose cover is measured from the bottom face stands at ``z_bottom + cover + diameter / 2``.
        """

    @property
    def z_top(self) -> float:
        """The top fibre of the concrete: its greatest z in bar coordinates [m]."""

    def section_properties(self) -> dict[str, Any]:
        """
        The properties of the section, as a dict [m, m2, m4]: ``gross_area`` (inside the outline), ``concrete_area`` (net of openings), ``centroid`` (y, z) and the second moments ``second_moment_y`` (about the axis y through the centroid, for bending by My) and ``second_moment_z`` of the concrete net of openings, the extreme fibres ``y_left``, ``y_right``, ``z_bottom``, ``z_top`` in bar coordinates. Raises ``ValueError`` when the dimensions do not form the shape, or when its concrete is not known.
        """

class _SectionPrototype2D(_SectionPrototype, abc.ABC):
    """
    Abstract root reserved for the section prototypes of two-dimensional (plate) members.
    """

    @abc.abstractmethod
    def __init__(self, thickness: float) -> None:
        """Store the plate thickness [m] as ``_thickness``."""

    @property
    @abc.abstractmethod
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType:
        """The OpenModel cross-section type of the shape."""

    @property
    @abc.abstractmethod
    def _parameters(self) -> dict[str, float]:
        """The shape's dimensions [m] by their OpenModel parameter names, as a new dict."""

class RectSection(SectionPrototype1D):
    """
    A rectangular cross-section.

    The origin of the bar coordinates is its centre, the centroid: y across (to the right), z upwards, so that the bottom face is at ``z = -height / 2`` (``z_bottom``). Made as IDEA StatiCa RCS's parametric type ``CrossSectionType.RECT`` (Width, Height), which RCS places on its centroid (IDEA's own sample of a T section shows the placement).

    Args:
        width: Width [m].
        height: Height [m].
    """

    def __init__(self, width: float, height: float) -> None:
        """Store the shape's dimensions as given."""

    @property
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType:
        """The OpenModel cross-section type of the shape."""

    @property
    def _parameters(self) -> dict[str, float]:
        """
        The shape's dimensions [m] by their OpenModel parameter names, as a new dict.
        """

    def __repr__(self) -> str: ...

class GeneralShape(SectionPrototype1D):
    """
    A cross-section bounded by a polygon, with optional openings.

    Vertices are (y, z) [m]. A polygon is closed implicitly: give at least 3 vertices and do not repeat the first at the end. IDEA StatiCa RCS places it where its coordinates say: the bar coordinates are the outline's own. ``validate()`` checks the shape.

    Args:
        outline: The outer boundary.
        openings: Openings, each a polygon of the same form; None for none.
    """

    def __init__(self, outline: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], openings: Sequence[Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]]] | None = None) -> None:
        """Store the shape's dimensions as given."""

    @property
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType:
        """The OpenModel cross-section type of the shape."""

    @property
    def _parameters(self) -> dict[str, float]:
        """
        The shape's dimensions [m] by their OpenModel parameter names, as a new dict.
        """

    def __repr__(self) -> str: ...

class Member:
    """Base class of all member types."""

    def __init__(self, rcs: marlox.external.idea_rcs.objects.ReinforcedCrossSection, check_section: marlox.external.idea_rcs.objects.CheckSection) -> None: ...

    @property
    def _rcs(self) -> marlox.external.idea_rcs.objects.ReinforcedCrossSection:
        """The member's reinforced cross-section, owned by the model."""

    @_rcs.setter
    def _rcs(self, value: marlox.external.idea_rcs.objects.ReinforcedCrossSection, /) -> None: ...

    @property
    def _check_section(self) -> marlox.external.idea_rcs.objects.CheckSection:
        """The member's check section, owned by the model."""

    @_check_section.setter
    def _check_section(self, value: marlox.external.idea_rcs.objects.CheckSection, /) -> None: ...

    @property
    def model(self) -> Model | None:
        """
        The model that made the member, or None for a member made by calling its class.
        """

    @property
    def bars(self) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]:
        """The bars of the member's reinforced cross-section, as a new list."""

    @property
    def stirrups(self) -> list[marlox.external.idea_rcs.objects.Stirrup]:
        """The stirrups of the member's reinforced cross-section, as a new list."""

    @property
    def extremes(self) -> list[marlox.external.idea_rcs.objects.CheckSectionExtreme]:
        """The load extremes of the member's check section, as a new list."""

    def create_bar(self, coordinates: tuple[float, float], diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcementEc2) -> None:
        """
        Add a bar to the member's reinforced cross-section.

        Args:
            coordinates: Centre of the bar (y, z) [m].
            diameter: Diameter [m].
            material: Its steel, made by ``Model.create_reinforcement_material``.
        """

    def create_bar_layer(self, *, origin: tuple[float, float], diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcementEc2, number_of_bars: int, delta_y: float | None = None, delta_z: float | None = None) -> None:
        """
        Add a straight layer of bars to the member's reinforced cross-section.

        ``number_of_bars`` bars are placed on a straight line: the first at ``origin``, the last ``delta_y`` further in y and ``delta_z`` further in z, the others evenly between them.

        Args:
            origin: Centre of the first bar (y, z) [m].
            diameter: Diameter of every bar [m].
            material: Their steel, made by ``Model.create_reinforcement_material``.
            number_of_bars: Number of bars, at least 2.
            delta_y: Distance in y from the first to the last bar [m]; None: 0.
            delta_z: Distance in z from the first to the last bar [m]; None: 0.
        """

    def create_stirrup(self, points: Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, float]]], diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcementEc2, distance: float, shear_check: bool | None = None, torsion_check: bool | None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) -> None:
        """
        Add a stirrup to the member's reinforced cross-section.

        Args:
            points: The stirrup's vertices (y, z) [m], joined by straight segments; an arc segment is given as ((y_end, z_end), (y_on_arc, z_on_arc)).
            diameter: Diameter [m].
            material: Its steel, made by ``Model.create_reinforcement_material``.
            distance: Longitudinal spacing of the stirrups [m].
            shear_check: The stirrup is taken into account in the shear check; None: False.
            torsion_check: The stirrup is taken into account in the torsion check; None: False.
            mandrel_diameter_factor: Inner mandrel diameter as a multiple of the stirrup diameter; None: 1.0.
            anchorage_length: Anchorage length [m]; None: 0.0.
        """

    def create_extreme(self, *, description: str | None = None, accidental: marlox.external.idea_rcs.objects.LoadingULS | None = None, fatigue: marlox.external.idea_rcs.objects.FatigueLoading | None = None, frequent: marlox.external.idea_rcs.objects.LoadingSLS | None = None, fundamental: marlox.external.idea_rcs.objects.LoadingULS | None = None, characteristic: marlox.external.idea_rcs.objects.LoadingSLS | None = None, quasi_permanent: marlox.external.idea_rcs.objects.LoadingSLS | None = None) -> None:
        """
        Add a load extreme (load case) to the member's check section.

        Forces are in N and moments in N m, e.g. ``fundamental=LoadingULS(InternalForces(n=-1e5, my=5e4))``.

        Args:
            description: Description; None gives "{section_name} - E {i}", i counting the section's extremes from 1, e.g. "S1 - E 1".
            accidental: Accidental loading (ULS); None for none.
            fatigue: Fatigue loading, ``FatigueLoading(max_loading, min_loading)``; None for none.
            frequent: Frequent loading (SLS); None for none.
            fundamental: Fundamental loading (ULS); None for none.
            characteristic: Characteristic loading (SLS); None for none.
            quasi_permanent: Quasi-permanent loading (SLS); None for none.
        """

    def _repr_svg_(self) -> str | None:
        """The member's section as SVG text, for Jupyter."""

    def __repr__(self) -> str: ...

    def section_properties(self) -> dict[str, Any]:
        """
        The properties of the section, as a dict [m, m2, m4]: ``gross_area`` (inside the outline), ``concrete_area`` (net of openings), ``centroid`` (y, z) and the second moments ``second_moment_y`` (about the axis y through the centroid, for bending by My) and ``second_moment_z`` of the concrete net of openings, the extreme fibres ``y_left``, ``y_right``, ``z_bottom``, ``z_top`` in bar coordinates; and with bars: ``reinforcement_area``, ``reinforcement_ratio`` (to the concrete area) and ``effective_depth``, a dict by the face in tension ("bottom", "top", "left", "right"): from the opposite extreme fibre to the centroid of the bars on that side of the concrete's centroid, None when there is none. Raises ``ValueError`` when the concrete is not known (a parametric type that the model does not draw).
        """

    def create_bar_circle(self, count: int, diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcement, *, cover: float | None = None, radius: float | None = None, start_angle: float = 90.0) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]:
        """
        Add ``count`` bars (at least 2) of ``diameter`` [m] evenly on a circle about the centre of the section's extent: of ``radius`` (of the centres), or ``cover`` [m] (clear, from the face to the bar; add a stirrup's diameter when the bars lie inside one) inside the section's smaller half-extent. The first stands at ``start_angle`` degrees from the y axis towards z (90: at the top), the others anticlockwise. Returns the bars. Raises ``ValueError`` naming what does not fit.
        """

    def create_bar_layer_by_spacing(self, diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcement, spacing: float, *, cover: float, face: str = 'bottom', side_cover: float | None = None) -> BarLayer:
        """
        Add a layer of bars of ``diameter`` at ``spacing`` [m] ("Ø12 @ 150": 0.012, 0.15) ``cover`` (clear) from the ``face`` ("bottom" or "top"): as many as fit across the concrete at that height with ``side_cover`` (clear; ``cover`` when None) to the sides, the layer centred. Returns a ``BarLayer``: the bars and the area per metre that the spacing stands for. Raises ``ValueError`` naming what does not fit.
        """

    def create_bar_layer_between(self, count: int, diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcement, *, cover: float, face: str = 'bottom', side_cover: float | None = None) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]:
        """
        Add ``count`` bars (at least 2) of ``diameter`` [m] evenly across the concrete ``cover`` (clear) from the ``face`` ("bottom" or "top"), the outermost ``side_cover`` (clear; ``cover`` when None) from the sides. Returns the bars. Raises ``ValueError`` naming what does not fit.
        """

    def create_rectangular_stirrup(self, diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcement, distance: float, *, cover: float, bend_radius: float | None = None, shear_check: bool | None = None, torsion_check: bool | None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) -> marlox.external.idea_rcs.objects.Stirrup:
        """
        Add a closed rectangular stirrup ``cover`` (clear) inside the concrete: its sides within the concrete at the heights of its bottom and top sides (a T-beam's web), its corners bent to ``bend_radius`` of the axis (by default the mandrel's radius plus half the bar). ``distance`` is the longitudinal spacing [m]; the options are those of ``create_stirrup``. Returns the stirrup.
        """

    def create_ring_stirrup(self, diameter: float, material: marlox.external.idea_rcs.objects.MatReinforcement, distance: float, *, cover: float, shear_check: bool | None = None, torsion_check: bool | None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) -> marlox.external.idea_rcs.objects.Stirrup:
        """
        Add a circular ring stirrup (a hoop) ``cover`` (clear) inside a round section, about the centre of its extent. ``distance`` is the longitudinal spacing [m]; the options are those of ``create_stirrup``. Returns the stirrup.
        """

class Beam(Member):
    """
    Do not use this __init__ directly, but create the object by :meth:`Model.create_beam`.
    """

    def __init__(self, rcs: marlox.external.idea_rcs.objects.ReinforcedCrossSection, check_section: marlox.external.idea_rcs.objects.CheckSection) -> None: ...

class CompressionMember(Member):
    """
    Do not use this __init__ directly, but create the object by :meth:`Model.create_compression_member`.
    """

    def __init__(self, rcs: marlox.external.idea_rcs.objects.ReinforcedCrossSection, check_section: marlox.external.idea_rcs.objects.CheckSection) -> None: ...

class OneWaySlab(Member):
    """
    Do not use this __init__ directly, but create the object by :meth:`Model.create_one_way_slab`.
    """

    def __init__(self, rcs: marlox.external.idea_rcs.objects.ReinforcedCrossSection, check_section: marlox.external.idea_rcs.objects.CheckSection) -> None: ...

class Model(_Model):
    """
    Builds an IDEA StatiCa RCS model member by member, with engineering defaults.

    Create the materials with ``create_concrete_material`` and ``create_reinforcement_material``, then each member with ``create_beam``, ``create_compression_member`` or ``create_one_way_slab``, and place bars, stirrups and load extremes on the member returned. A member call adds a cross-section, a reinforced cross-section, a check member, a check section and the member's Eurocode 2 data to the model.

    Units: moduli and strengths in MPa, lengths in m, forces in N, moments in N m.

    Args:
        project_data: Project data; None gives the default ``ProjectData()``.
        code_settings: Code settings; None gives the default ``CodeSettings()``.
    """

    def __init__(self, *, project_data: marlox.external.idea_rcs.objects.ProjectData | None = None, code_settings: marlox.external.idea_rcs.objects.CodeSettings | None = None) -> None: ...

    def create_concrete_material(self, base_material: marlox.external.idea_rcs.objects.ConcreteMaterial, name: str | None = None, *, unit_mass: float = 2500, fck: float | None = None, stone_diameter: float = 0.016, cement_class: marlox.external.idea_rcs.objects.ConcCementClass = marlox.external.idea_rcs.objects.ConcCementClass.R, aggregate_type: marlox.external.idea_rcs.objects.ConcAggregateType = marlox.external.idea_rcs.objects.ConcAggregateType.QUARTZITE, diagram_type: marlox.external.idea_rcs.objects.ConcDiagramType = marlox.external.idea_rcs.objects.ConcDiagramType.PARABOLIC, silica_fume: bool = False, plain_concrete_diagram: bool = False, dep_params: marlox.external.idea_rcs.objects.ConcDependentParams | None = None) -> marlox.external.idea_rcs.objects.MatConcreteEc2:
        """
        Create a concrete to EN 1992-1-1 and add it to the model.

        Strengths are given in MPa and stored in Pa. Young's and shear moduli take 32800 MPa and 13667 MPa.

        Args:
            base_material: The strength class to start from, e.g. ``ConcreteMaterial.C30_37``.
            name: Material name; None gives the class's name, e.g. "C30/37".
            unit_mass: Unit mass [kg/m3].
            fck: Characteristic cylinder strength at 28 days [MPa]; None gives the class's.
            stone_diameter: Aggregate size [m] (0.016 is 16 mm).
            cement_class: Cement class.
            aggregate_type: Aggregate type.
            diagram_type: Stress-strain diagram for the ultimate limit state.
            silica_fume: Contains silica fume (EN 1992-2:2008-07 only).
            plain_concrete_diagram: Stress-strain diagram with a tension part.
            dep_params: Dependent parameters; None computes them from fck.

        Returns:
            The new MatConcreteEc2.
        """

    def create_reinforcement_material(self, base_material: marlox.external.idea_rcs.objects.ReinforcementMaterial, name: str | None = None, *, unit_mass: float = 7850, e_modulus: float = 200000, fyk: float | None = None, ftk_by_fyk: float | None = None, epsuk: float | None = None, type_: marlox.external.idea_rcs.objects.ReinfType = marlox.external.idea_rcs.objects.ReinfType.BARS, bar_surface: marlox.external.idea_rcs.objects.BarSurface = marlox.external.idea_rcs.objects.BarSurface.RIBBED, class_: marlox.external.idea_rcs.objects.ReinfClass = marlox.external.idea_rcs.objects.ReinfClass.B, fabrication: marlox.external.idea_rcs.objects.ReinfFabrication = marlox.external.idea_rcs.objects.ReinfFabrication.HOT_ROLLED, diagram_type: marlox.external.idea_rcs.objects.ReinfDiagramType = marlox.external.idea_rcs.objects.ReinfDiagramType.BILINEAR_INCLINED) -> marlox.external.idea_rcs.objects.MatReinforcementEc2:
        """
        Create a reinforcing steel to EN 1992-1-1 and add it to the model.

        Moduli and strengths are given in MPa and stored in Pa. The tensile strength is always ftk = fyk * ftk_by_fyk, from the two values after their defaults.

        Args:
            base_material: The grade to start from, e.g. ``ReinforcementMaterial.B_500B``.
            name: Material name; None gives the grade's name, e.g. "B 500B".
            unit_mass: Unit mass [kg/m3].
            e_modulus: Young's modulus [MPa].
            fyk: Characteristic yield strength [MPa]; None (or 0) gives the grade's.
            ftk_by_fyk: Ratio k = ftk / fyk; None (or 0) gives the grade's.
            epsuk: Characteristic strain at maximum load in units of 1e-4 (25 is 2.5 %); None gives the grade's.
            type_: Type of reinforcement.
            bar_surface: Bar surface.
            class_: Ductility class.
            fabrication: Fabrication.
            diagram_type: Stress-strain diagram (bilinear with an inclined top branch).

        Returns:
            The new MatReinforcementEc2.
        """

    def create_beam(self, cs: SectionPrototype1D, material: marlox.external.idea_rcs.objects.MatConcreteEc2, *, calculation_control: marlox.external.idea_rcs.objects.CalculationSetup | None = None, name: str | None = None, rcs_name: str | None = None, design_member_name: str | None = None, exposure_classes: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = None, coeff_kx: float | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None) -> Beam:
        """
        Create a beam: a cross-section, a reinforced cross-section, a check member, a check section and the member data, in one step; a call that fails adds none of them.

        Args:
            cs: The section prototype, e.g. ``RectSection(0.3, 0.5)`` or ``GeneralShape(outline)``.
            material: Its concrete, made by ``create_concrete_material``.
            calculation_control: The checks to run; None: capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing.
            name: Name of the check section (the cross-section name shown in IDEA StatiCa RCS); None gives "S" and its id, e.g. "S1".
            rcs_name: Name of the reinforced cross-section; None gives "R" and its id, e.g. "R1".
            design_member_name: Name of the check member; None gives "M " and its id, e.g. "M 1".
            exposure_classes: Exposure classes; None: no corrosion.
            coeff_kx: Coefficient k_x of 7.3.1 raising the crack-width limit (Dutch national annex only); None: 1.0.
            creep_coefficient: Final creep coefficient; None leaves it to IDEA StatiCa RCS to calculate.
            relative_humidity: Relative humidity [%]; None: 65.

        Returns:
            The new Beam; place bars, stirrups and extremes on it.
        """

    def create_compression_member(self, cs: SectionPrototype1D, material: marlox.external.idea_rcs.objects.MatConcreteEc2, *, calculation_control: marlox.external.idea_rcs.objects.CalculationSetup | None = None, name: str | None = None, rcs_name: str | None = None, design_member_name: str | None = None, exposure_classes: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = None, coeff_kx: float | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None) -> CompressionMember:
        """
        Create a compression member (column): a cross-section, a reinforced cross-section, a check member, a check section and the member data, in one step; a call that fails adds none of them.

        Args:
            cs: The section prototype, e.g. ``RectSection(0.3, 0.5)`` or ``GeneralShape(outline)``.
            material: Its concrete, made by ``create_concrete_material``.
            calculation_control: The checks to run; None: capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing.
            name: Name of the check section (the cross-section name shown in IDEA StatiCa RCS); None gives "S" and its id, e.g. "S1".
            rcs_name: Name of the reinforced cross-section; None gives "R" and its id, e.g. "R1".
            design_member_name: Name of the check member; None gives "M " and its id, e.g. "M 1".
            exposure_classes: Exposure classes; None: no corrosion.
            coeff_kx: Coefficient k_x of 7.3.1 raising the crack-width limit (Dutch national annex only); None: 1.0.
            creep_coefficient: Final creep coefficient; None leaves it to IDEA StatiCa RCS to calculate.
            relative_humidity: Relative humidity [%]; None: 65.

        Returns:
            The new CompressionMember; place bars, stirrups and extremes on it.
        """

    def create_one_way_slab(self, cs: SectionPrototype1D, material: marlox.external.idea_rcs.objects.MatConcreteEc2, *, calculation_control: marlox.external.idea_rcs.objects.CalculationSetup | None = None, name: str | None = None, rcs_name: str | None = None, design_member_name: str | None = None, exposure_classes: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = None, coeff_kx: float | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None) -> OneWaySlab:
        """
        Create a one-way slab (a strip of slab designed as a beam): a cross-section, a reinforced cross-section, a check member, a check section and the member data, in one step; a call that fails adds none of them.

        Args:
            cs: The section prototype, e.g. ``RectSection(0.3, 0.5)`` or ``GeneralShape(outline)``.
            material: Its concrete, made by ``create_concrete_material``.
            calculation_control: The checks to run; None: capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing.
            name: Name of the check section (the cross-section name shown in IDEA StatiCa RCS); None gives "S" and its id, e.g. "S1".
            rcs_name: Name of the reinforced cross-section; None gives "R" and its id, e.g. "R1".
            design_member_name: Name of the check member; None gives "M " and its id, e.g. "M 1".
            exposure_classes: Exposure classes; None: no corrosion.
            coeff_kx: Coefficient k_x of 7.3.1 raising the crack-width limit (Dutch national annex only); None: 1.0.
            creep_coefficient: Final creep coefficient; None leaves it to IDEA StatiCa RCS to calculate.
            relative_humidity: Relative humidity [%]; None: 65.

        Returns:
            The new OneWaySlab; place bars, stirrups and extremes on it.
        """

    def _create_1d_section(self, member_type: marlox.external.idea_rcs.objects.MemberType, cs: SectionPrototype1D, material: marlox.external.idea_rcs.objects.MatConcreteEc2, calculation_control: marlox.external.idea_rcs.objects.CalculationSetup | None = None, name: str | None = None, rcs_name: str | None = None, exposure_classes: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = None, coeff_kx: float | None = None, creep_coefficient: float | None = None, relative_humidity: float | None = None, design_member_name: str | None = None) -> tuple[marlox.external.idea_rcs.objects.ReinforcedCrossSection, marlox.external.idea_rcs.objects.StandardCheckSection]:
        """
        Create the OpenModel objects of a one-dimensional member: a cross-section from the prototype ``cs`` (of components for a ``GeneralShape``, parametric otherwise), a reinforced cross-section, a check member, a check section named ``name`` and the member data with the given member type.

        Returns:
            The pair (reinforced cross-section, check section).
        """

class TSection(SectionPrototype1D):
    """
    A T: a flange ``width`` wide and ``flange_thickness`` thick at the top of a web ``web_width`` wide, ``height`` overall [m].

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``.

    Made as IDEA StatiCa RCS's parametric type ``CrossSectionType.TG`` with its parameters Height, Width, TopFlangeWidth (the flange *thickness*, despite its name) and WallWidth, the names of IDEA's public ``CrossSectionFactory`` (its T shape). RCS places a parametric section on its centroid: IDEA's own sample of a T section (``ImportOpenModel.xml``) puts its bars 44 mm below the top and 48 mm above the bottom fibre only when the centroid is the origin.

    Raises ``ValueError`` naming the dimension when they cannot form a T (a flange as thick as the height, a web wider than the flange).
    """

    def __init__(self, width: float, height: float, flange_thickness: float, web_width: float) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def height(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def flange_thickness(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def web_width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType: ...

    @property
    def _parameters(self) -> dict[str, float]: ...

    def __repr__(self) -> str: ...

class InvertedTSection(GeneralShape):
    """
    An inverted T: a flange ``width`` wide and ``flange_thickness`` thick at the bottom of a web ``web_width`` wide, ``height`` overall [m].

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``. Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a general shape where its coordinates say, and this outline is computed with its centroid on the origin. (IDEA's public material does not establish where RCS places the parametric type of this shape, so a parametric section could move the concrete under the bars.)

    Raises ``ValueError`` naming the dimension when they cannot form the shape.
    """

    def __init__(self, width: float, height: float, flange_thickness: float, web_width: float) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def height(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def flange_thickness(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def web_width(self) -> float:
        """A dimension of the shape [m]."""

    def __repr__(self) -> str: ...

class ISection(GeneralShape):
    """
    An I: a top flange ``top_width`` by ``top_thickness``, a web ``web_width`` wide and a bottom flange ``bottom_width`` by ``bottom_thickness`` (the top flange's when not given: a symmetric I), ``height`` overall [m].

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``. Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a general shape where its coordinates say, and this outline is computed with its centroid on the origin. (IDEA's public material does not establish where RCS places the parametric type of this shape, so a parametric section could move the concrete under the bars.)

    Raises ``ValueError`` naming the dimension when they cannot form an I (flanges as thick as the height, a web wider than a flange).
    """

    def __init__(self, height: float, top_width: float, top_thickness: float, web_width: float, bottom_width: float | None = None, bottom_thickness: float | None = None) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def height(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def top_width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def top_thickness(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def web_width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def bottom_width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def bottom_thickness(self) -> float:
        """A dimension of the shape [m]."""

    def __repr__(self) -> str: ...

class LSection(GeneralShape):
    """
    An L: a bottom flange ``width`` wide and ``flange_thickness`` thick, and on its left end a web ``web_width`` wide rising to ``height`` overall [m].

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``. Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a general shape where its coordinates say, and this outline is computed with its centroid on the origin. (IDEA's public material does not establish where RCS places the parametric type of this shape, so a parametric section could move the concrete under the bars.)

    Raises ``ValueError`` naming the dimension when they cannot form an L.
    """

    def __init__(self, width: float, height: float, flange_thickness: float, web_width: float) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def height(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def flange_thickness(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def web_width(self) -> float:
        """A dimension of the shape [m]."""

    def __repr__(self) -> str: ...

class CircleSection(SectionPrototype1D):
    """
    A circle of ``diameter`` [m], such as a pier or a pile.

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``.

    Made as IDEA StatiCa RCS's parametric type ``CrossSectionType.O`` with its parameter D. RCS places a parametric section on its centroid (the evidence is IDEA's sample of a T, see ``TSection``); a circle's centroid is its centre.

    Raises ``ValueError`` when the diameter is not a positive length.
    """

    def __init__(self, diameter: float) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def diameter(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def _type(self) -> marlox.external.idea_rcs.objects.CrossSectionType: ...

    @property
    def _parameters(self) -> dict[str, float]: ...

    def __repr__(self) -> str: ...

class HollowCircleSection(GeneralShape):
    """
    A ring: a circle of ``diameter`` with a concentric hole, its wall ``wall_thickness`` thick [m]. The outline and the hole are exact arcs.

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``. Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a general shape where its coordinates say, and this outline is computed with its centroid on the origin. (IDEA's public material does not establish where RCS places the parametric type of this shape, so a parametric section could move the concrete under the bars.)

    Raises ``ValueError`` when the wall is not thinner than half the diameter (a hole larger than the circle).
    """

    def __init__(self, diameter: float, wall_thickness: float) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def diameter(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def wall_thickness(self) -> float:
        """A dimension of the shape [m]."""

    def __repr__(self) -> str: ...

class BoxSection(GeneralShape):
    """
    A hollow rectangle (box): ``width`` by ``height`` outside, the side walls ``web_thickness`` and the top and bottom walls ``flange_thickness`` thick (the side walls' when not given) [m].

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``. Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a general shape where its coordinates say, and this outline is computed with its centroid on the origin. (IDEA's public material does not establish where RCS places the parametric type of this shape, so a parametric section could move the concrete under the bars.)

    Raises ``ValueError`` naming the wall that is not thinner than half the box.
    """

    def __init__(self, width: float, height: float, web_thickness: float, flange_thickness: float | None = None) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def height(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def web_thickness(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def flange_thickness(self) -> float:
        """A dimension of the shape [m]."""

    def __repr__(self) -> str: ...

class TrapezoidSection(GeneralShape):
    """
    A trapezoid symmetric about the z axis: ``bottom_width`` at the bottom, ``top_width`` at the top, ``height`` [m].

    The origin of the bar coordinates is the centroid of the concrete: y across (to the right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``. Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a general shape where its coordinates say, and this outline is computed with its centroid on the origin. (IDEA's public material does not establish where RCS places the parametric type of this shape, so a parametric section could move the concrete under the bars.) (IDEA's documentation names the trapezoid's parameters H, Bb, Bt and its factory Height, TopWidth, BottomWidth.)

    Raises ``ValueError`` when a dimension is not a positive length.
    """

    def __init__(self, height: float, top_width: float, bottom_width: float) -> None:
        """Check the dimensions [m] and keep them."""

    @property
    def height(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def top_width(self) -> float:
        """A dimension of the shape [m]."""

    @property
    def bottom_width(self) -> float:
        """A dimension of the shape [m]."""

    def __repr__(self) -> str: ...

class Severity(enum.Enum):
    """
    How bad a finding is: an ERROR makes the run fail or its results wrong; a WARNING is worth a look before paying for a run.
    """

    ERROR = 'error'
    """
    How bad a finding is: an ERROR makes the run fail or its results wrong; a WARNING is worth a look before paying for a run.
    """

    WARNING = 'warning'
    """
    How bad a finding is: an ERROR makes the run fail or its results wrong; a WARNING is worth a look before paying for a run.
    """

class ModelError(ValueError):
    """
    A model that is not fit to run: raised by ``ensure_valid()``. The message lists every error; ``findings`` holds them as ``Finding`` objects.
    """

class Finding:
    """
    One fault or doubt that ``validate()`` found in a model: the object it concerns, the field and one sentence.
    """

    @property
    def severity(self) -> Severity:
        """``Severity.ERROR`` or ``Severity.WARNING``."""

    @property
    def object_type(self) -> str:
        """Type of the object concerned, e.g. 'ReinforcedCrossSection'."""

    @property
    def object_id(self) -> int | None:
        """Its id in its list (member data: its member's id), or None."""

    @property
    def object_name(self) -> str:
        """Its name or description (member data: its member's name)."""

    @property
    def field(self) -> str:
        """
        Where in the object, by attribute names: 'e_modulus', 'bars[2]', 'components[0].openings[1]'; '' for the whole object.
        """

    @property
    def message(self) -> str:
        """What is wrong, in one sentence."""

    @property
    def location(self) -> tuple[float, float] | None:
        """The point (y, z) [m] of the section where it lies, or None."""

    def __str__(self) -> str: ...

    def __repr__(self) -> str: ...

class BarLayer:
    """
    The bars that a layer by spacing placed, with the spacing and the area per metre that the spacing stands for (a bar's area / spacing). Iterates and indexes as its list of bars.
    """

    @property
    def bars(self) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]:
        """The bars placed, from the least y to the greatest (a new list)."""

    @property
    def spacing(self) -> float:
        """Spacing of the bars [m]."""

    @property
    def area_per_metre(self) -> float:
        """
        Area of the bars per metre of width at this spacing [m2/m]: "Ø12 @ 150" is 754 mm2/m, whatever the number of bars the width holds.
        """

    def __len__(self) -> int: ...

    def __iter__(self) -> Iterator[marlox.external.idea_rcs.objects.ReinforcedBar]: ...

    def __getitem__(self, index: int) -> marlox.external.idea_rcs.objects.ReinforcedBar: ...

    def __repr__(self) -> str: ...

class IdeaRcsAnalysis(marlox.external.external_program.ExternalProgram):
    """
    Analysis of an IDEA StatiCa RCS input file, run as a job on a worker of the integration
    "idearcs".

    Start it with the inherited ``execute(timeout=...)``; afterwards ``get_output_file()``
    returns the result XML and ``get_idea_rcs_file()`` the .ideaRcs project file, if it was
    asked for.
    """

    def __init__(self, input_file: io.BytesIO | marlox.core.File, *, return_result_xml: bool | None = None, return_rcs_file: bool | None = None) -> None:
        """
        Prepare the analysis of ``input_file`` (the IDEA StatiCa RCS input XML, e.g. from
        ``generate_xml_input()``), stored as given and read when the job is sent.

        The result XML is always returned: ``return_result_xml`` defaults to on, and a false
        value also means on. The .ideaRcs project file is returned when ``return_rcs_file`` is
        true; it defaults to off.
        """

    def _generate_job_content(self) -> marlox.external.external_program._JobContent:
        """
        The job content: the input file's bytes as base64 text (``body``) and both flags.
        """

    def _handle_execution_error(self, message: str) -> None:
        """
        Raise ``ExecutionError`` for a known failure text of the worker; return None for any
        other text. When the worker found no RCS service, the error carries a note that says
        what to configure.
        """

    @overload
    def get_output_file(self, *, as_file: Literal[False] | None = False) -> io.BytesIO:
        """
        The result XML of the executed job (UTF-16 encoded): a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. ``execute`` must have been called first; without results (before
        it, or after one that failed, saying why) the SDK raises ``ExecutionError``.
        """

    @overload
    def get_output_file(self, *, as_file: Literal[True]) -> marlox.core.File:
        """
        The result XML of the executed job (UTF-16 encoded): a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. ``execute`` must have been called first; without results (before
        it, or after one that failed, saying why) the SDK raises ``ExecutionError``.
        """

    @overload
    def get_output_file(self, *, as_file: bool | None = False) -> io.BytesIO | marlox.core.File:
        """
        The result XML of the executed job (UTF-16 encoded): a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. ``execute`` must have been called first; without results (before
        it, or after one that failed, saying why) the SDK raises ``ExecutionError``.
        """

    @overload
    def get_idea_rcs_file(self, *, as_file: Literal[False] | None = False) -> io.BytesIO:
        """
        The .ideaRcs project file made from the input: a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. Needs ``return_rcs_file`` and a completed ``execute``.
        """

    @overload
    def get_idea_rcs_file(self, *, as_file: Literal[True]) -> marlox.core.File:
        """
        The .ideaRcs project file made from the input: a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. Needs ``return_rcs_file`` and a completed ``execute``.
        """

    @overload
    def get_idea_rcs_file(self, *, as_file: bool | None = False) -> io.BytesIO | marlox.core.File:
        """
        The .ideaRcs project file made from the input: a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. Needs ``return_rcs_file`` and a completed ``execute``.
        """

def _stream_pieces_begun() -> int:
    """
    Internal: the pieces of result files begun on threads by streaming scans so far.
    """

class _SectionHandle:
    """
    Internal: a check section of a running scan, before it is given to a SectionResult.
    """

class RcsOutputFileParser:
    """
    Parser to extract results from an IDEA-RCS output file (.xml).

    The following results can be read per check section (see SectionResult):

    - capacity
    - shear
    - torsion
    - interaction
    - crack width
    - detailing
    - stress limitation
    - fatigue

    Example using a File, opened as a binary stream:

    .. code-block:: python

        output_file = analysis.get_output_file(as_file=True)
        with output_file.open_binary() as f:
            parser = RcsOutputFileParser(f)
            for section in parser.section_results():
                capacity = section.capacity()

    Example using the BytesIO that get_output_file() returns:

    .. code-block:: python

        output_file = analysis.get_output_file()
        parser = RcsOutputFileParser(output_file)
        section = parser.section_result(1)
        shear = section.shear()
    """

    def __init__(self, xml_file: BinaryIO) -> None: ...

    class SectionResult:
        """Parsed result section, on which specific results can be retrieved."""

        def __init__(self, id_: int, element: xml.etree.ElementTree.Element) -> None: ...

        @property
        def id_(self, /) -> int:
            """The id of the check section."""

        @property
        def _id(self) -> object: ...

        @_id.setter
        def _id(self, value: object | None) -> None: ...

        @property
        def _element(self) -> object: ...

        @_element.setter
        def _element(self, value: object | None) -> None: ...

        def _iter_extreme_results(self) -> _ExtremeResultIterator:
            """The result elements of the section's extremes, in document order."""

        def capacity(self) -> list[CapacityResult | None]:
            """Get the capacity results of all extremes for the current section."""

        def shear(self) -> list[ShearResult | None]:
            """Get the shear resistances for all extremes for the current section."""

        def torsion(self) -> list[TorsionResult | None]:
            """Get the torsion results for all extremes for the current section."""

        def interaction(self) -> list[InteractionResult | None]:
            """Get the interaction results for all extremes for the current section."""

        def crack_width(self) -> list[CrackWidthResult | None]:
            """Get the crack width results of all extremes for the current section."""

        def detailing(self) -> list[DetailingResult | None]:
            """Get the detailing results of all extremes for the current section."""

        def stress_limitation(self) -> list[StressLimitationResult | None]:
            """
            Get the stress limitation results of all extremes for the current section.
            """

        def fatigue(self) -> list[FatigueResult | None]:
            """Get the fatigue results of all extremes for the current section."""

        def extremes(self) -> list[ExtremeResults]:
            """Get all results combined per extreme for the current section."""

    @property
    def _file(self) -> object: ...

    @_file.setter
    def _file(self, value: object | None) -> None: ...

    @property
    def _pos(self) -> object: ...

    @_pos.setter
    def _pos(self, value: object | None) -> None: ...

    def _reset_file(self) -> None:
        """Seek the stream back to where it was when the parser was made."""

    def section_results(self, *, threads: int | None = 1) -> Iterator[RcsOutputFileParser.SectionResult]:
        """
        Iterates through all section results.

        :param threads: the threads that parse a large file (a file opened for reading, or a BytesIO,
            of several MB) side by side, a part of it between two check sections each, while this
            iterator hands the sections out in document order: None for the processors this process
            may run on, 1 (the default) for one pass. The sections, their ids and what their readers
            return are the same; so are an error, its message and position, and the sections handed
            out before it; and, as in one pass, a section handed out is emptied when the iteration
            moves on. What differs with threads: the file is read by offset, so a scan stopped early
            leaves the stream at its start (one pass leaves it where its reads stopped); a file that
            changes while it is read raises RuntimeError; and a few parts ahead of the one handed out
            are parsed, and held, before they are asked for.
        """

    def section_result(self, id_: int) -> RcsOutputFileParser.SectionResult:
        """
        Get the result of the check section with the given id.

        :raises ParsingError: if no section has that id.
        """

class _ExtremeResultIterator:
    """Iterator over the extremes of a check section."""

    def __iter__(self) -> object: ...

    def __next__(self) -> object: ...

class _SectionResultIterator:
    """Iterator over the check sections of a result file."""

    def __iter__(self) -> object: ...

    def __next__(self) -> object: ...

    def send(self, value: object | None) -> object: ...

    def throw(self, typ: object, val: object | None = None, tb: object | None = None) -> None: ...

    def close(self) -> None: ...

class OutputFileParser:
    """
    Parser to extract results from an IDEA-RCS output file (.xml), read as a whole.

    The complete document is parsed into an element tree when the parser is made, and every query
    is answered from memory. For very large result files use RcsOutputFileParser instead, which
    streams through the document one check section at a time.
    """

    def __init__(self, xml_file: io.StringIO | io.BytesIO, *, threads: int | None = None) -> None:
        """
        Parse the whole result file.

        :param threads: the threads that parse a large file (bytes of several MB) side by side, each a part of it between two check sections: None for the processors this process may run on, 1 for one pass. The tree, and any error, are the same.
        """

    @property
    def _root(self) -> object: ...

    @_root.setter
    def _root(self, value: object | None) -> None: ...

    @property
    def section_ids(self, /) -> list[int]:
        """The ids of all check sections in the result file, in document order."""

    def _element_to_dict(self, e: object | None) -> object:
        """The element as nested dicts: {tag: [child dicts] or text}."""

    def raw_results(self) -> dict[str, Any]:
        """The whole result file as nested dicts (see _element_to_dict)."""

    def _section_element(self, section_id: object | None) -> object: ...

    def capacity_results(self, section_id: int) -> list[CapacityResult | None]:
        """
        Get the capacity results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def shear_results(self, section_id: int) -> list[ShearResult | None]:
        """
        Get the shear results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def crack_width_results(self, section_id: int) -> list[CrackWidthResult | None]:
        """
        Get the crack width results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def detailing_results(self, section_id: int) -> list[DetailingResult | None]:
        """
        Get the detailing results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def stress_limitation_results(self, section_id: int) -> list[StressLimitationResult | None]:
        """
        Get the stress limitation results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

    def fatigue_results(self, section_id: int) -> list[FatigueResult | None]:
        """
        Get the fatigue results of all extremes of a check section.

        :raises ParsingError: if 'section_id' is not present in the output file.
        """

class ResultTable:
    """
    A table of results: typed columns, one row per item, text columns dictionary-encoded.

    It implements the Arrow PyCapsule interface (``__arrow_c_stream__``, ``__arrow_c_schema__``),
    so ``pyarrow.table(t)``, ``polars.DataFrame(t)``, duckdb and other Arrow consumers take it
    without a copy; the unit of each column is in its field metadata under "unit" (also
    ``units``). ``to_pandas()``, ``to_polars()`` and ``to_csv()`` convert it; ``to_pylist()`` and
    ``column()`` give Python values, None where a value is missing.
    """

    def __len__(self) -> int: ...

    def __getstate__(self) -> object: ...

    def __setstate__(self, state: object) -> None: ...

    @property
    def num_rows(self) -> int:
        """The number of rows."""

    @property
    def nbytes(self) -> int:
        """The bytes that the table's columns hold."""

    @property
    def column_names(self, /) -> list[str]:
        """The names of the columns, in order."""

    @property
    def units(self, /) -> dict[str, str | None]:
        """
        The unit of each column ("1" for unity checks), None for ids, texts and counts.
        """

    def column(self, name: str) -> list[Any]:
        """
        The values of one column.

        :raises KeyError: if the table has no such column.
        """

    def to_pylist(self) -> list[dict[str, Any]]:
        """The rows as dicts, keys in column order."""

    def __arrow_c_schema__(self) -> object:
        """The schema, as an Arrow PyCapsule ("arrow_schema")."""

    def __arrow_c_stream__(self, requested_schema: object | None = None) -> object:
        """
        The rows as an Arrow C stream in a PyCapsule ("arrow_array_stream"). The table has one schema: a requested schema is not applied.
        """

    def to_pandas(self) -> Any:
        """
        A pandas DataFrame (text columns categorical, units in ``attrs["units"]``).

        :raises ImportError: without pandas (the 'pandas' extra).
        """

    def to_polars(self) -> Any:
        """
        A polars DataFrame, through the Arrow stream.

        :raises ImportError: without polars (the 'polars' extra).
        """

    def to_csv(self, path_or_stream: str | os.PathLike[str] | IO[Any], *, units_in_header: bool = True) -> None:
        """
        Write the table as CSV (UTF-8, CRLF): to a path, a binary stream or a text stream.
        The header names each column, followed by its unit in brackets when it has one.

        A path is written under a temporary name beside it and renamed when complete, so that a failure leaves no partial table there (a device or a pipe is written in place).

        :raises OSError: when the table cannot be written whole (a full disk, for one).
        """

    def _repr_html_(self) -> str:
        """
        The first rows as an HTML table (units in the headers, failures highlighted), as notebooks show it.
        """

    def __repr__(self) -> str: ...

class CheckTable(ResultTable):
    """
    The check table of a result file (see check_table()): one row per check section, extreme
    and check item, in document order.

    Columns: "section" (id), "extreme" (1-based, document order), "family" (the "ResultType"
    text), "check" (the calculation type, "Check"), "type_check" (the stress limitation check,
    "TypeCheck"), "result" (the verdict text), "check_value" (unity check), "limit_check_value",
    the internal forces "N", "Qy", "Qz" (force) and "Mx", "My", "Mz" (moment), and the numbers of
    non-conformities by severity: "info_count", "warning_count", "error_count",
    "terminated_error_count".

    Then the values behind the check, where the item states them (None elsewhere): the capacity's
    ultimate forces "Fu_N" ... "Fu_Mz"; shear "VEd", "VRd", "VRd_c", "VRd_s", "VRd_max" (also
    fatigue's shear items); torsion "TEd", "TRd", "TRd_c", "TRd_s", "TRd_max"; the crack width "w"
    and its limit "w_lim"; the stress limitation's "stress" and "stress_limit"; detailing's
    "check_value_longitudinal" and "check_value_shear_reinforcement"; fatigue's
    "decision_method".

    Last, what the model names (None without a model): "section_name", "member", "position" (the
    section's place among its member's check sections, from 1), "reinforced_section" and
    "extreme_name".
    """

    def __getstate__(self) -> object: ...

    def __setstate__(self, state: object) -> None: ...

    @property
    def unit_system(self) -> str:
        """"SI" or "engineering", as asked for."""

    @property
    def overall(self) -> ResultTable:
        """
        The per-extreme overview items ("Overall"): section, extreme, family, result, check_value.
        """

    def governing(self, *, per_family: bool = False) -> ResultTable:
        """
        The governing check of every section, worst first: the worst item of the section (with ``per_family``: of each of its families, the section's worst marked in "governing").

        A failed verdict (Failed, FailedWithError) is worse than any other; a check that ran is worse than one that did not (NotDone, CheckIsOff, CheckIsNotNecesssary); then the larger check value; on a tie the earlier in the file. The non-conformity counts are summed over the group, and "items", "failed_items" and "not_done_items" count its items, so that errors and checks that did not run are never hidden behind the governing one.
        """

    def _repr_html_(self) -> str:
        """
        The first rows as an HTML table (units in the headers, failures highlighted), as notebooks show it.
        """

    def __repr__(self) -> str: ...

def _check_table_batch(sources: Sequence[bytes | str | os.PathLike[str]], sections: Iterable[int] | int | None, families: Iterable[str] | str | None, units: str) -> list[CheckTable | None]:
    """
    The check tables of many small result files, each read in one pass with the interpreter lock released once for all; None where check_table() must read the file itself (it then raises what it raises).
    """

def _set_min_piece(bytes: int) -> int:
    """
    The smallest piece that check_table() cuts one file into for its threads (tests cut small files); returns the one before.
    """

def check_table(source: str | os.PathLike[str] | bytes | BinaryIO | marlox.core.File, *, model: _Model | str | os.PathLike[str] | bytes | BinaryIO | None = None, sections: Iterable[int] | int | None = None, families: Iterable[str] | str | None = None, units: Literal['SI', 'engineering'] = 'SI', progress: Callable[[int], object] | None = None, threads: int | None = None) -> CheckTable:
    """
    Read the check table of a result file in one streaming pass (a large file in pieces, side
    by side).

    :param source: the result file: a path, its bytes, a binary stream (read from where it
        stands) or a ``marlox.core.File``.
    :param model: the model the result file was run from, for the names of sections, members,
        reinforced sections and extremes: an ``OpenModel`` or ``Model``, or the input XML it was
        written to (a path, its bytes or a binary stream). Without it those columns are None (the
        result file names nothing).
    :param sections: the ids of the sections to keep (all when None); an id that the file does
        not hold raises ParsingError naming it.
    :param families: the check families to keep, by their "ResultType" name ("Capacity",
        "CrackWidth", ...; case and underscores do not matter), all when None.
    :param units: "SI" (as the file: N, N·m) or "engineering" (kN, kN·m); unity checks are
        unitless either way.
    :param progress: called with the number of bytes read, after each piece of the file.
    :param threads: the threads that read one large file (a path, a ``File``, a file opened for
        binary reading, or bytes; of several MB) side by side, each a part of it between two
        sections: None for the processors this process may run on, 1 to read it in one pass. The
        table, and any error, are the same.
    :raises xml.etree.ElementTree.ParseError: for a file that is not well-formed XML, as the
        streaming parser raises it for the same bytes.
    :raises ValueError: for an unknown family or units, a value that is not a number, an
        IDEA StatiCa RCS input XML document (it is not a result file), a section kept whose id
        does not fit the 64-bit "section" column, or a model that the result file does not
        belong to (a section id the model lacks, more extremes than the model gives a section),
        naming the ids.
    :raises ParsingError: for a requested section that the file does not hold.
    :raises RuntimeError: for a file that changed while it was read in pieces.
    """

def _write_report_html(results: str | os.PathLike[str] | BinaryIO, model: _Model | str | os.PathLike[str] | bytes | BinaryIO, stream: BinaryIO, sources: dict[str, str]) -> None:
    """
    Write the calculation report of the result file `results` and the `model` it was run from as one HTML page to the binary `stream`, each section's checks written as the file is read; `sources` names the input and result files with their SHA-256, the package version, the date and the RCS version when known (see marlox.external.idea_rcs.report).
    """

def _stack_tables(keys: Sequence[dict[str, int | float | bool | str | None]], tables: Sequence[ResultTable], like: ResultTable) -> ResultTable:
    """
    The rows of ``tables`` one after another, each led by the key columns of its table's dict in ``keys`` (the columns typed by their values: int, float (int and float mixed), bool or str; None where a value is missing). ``like`` gives the columns of the tables, also when there are none.

    :raises TypeError: for a key value of another type, or of different types.
    :raises ValueError: for a key named like a column of the tables, tables of other columns, or not as many keys as tables.
    """
