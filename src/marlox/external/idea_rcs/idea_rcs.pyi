"""Build IDEA StatiCa RCS models, run analyses and read their results."""

import io
import json.encoder
from typing import Any

import marlox.core
import marlox.external.external_program
import marlox.external.idea_rcs.objects


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

    def generate_xml_input(self, as_file: bool = False) -> io.BytesIO | marlox.core.File:
        """
        Convert the model to IDEA StatiCa RCS input XML through the platform's conversion service.

        Args:
            as_file: Return a ``marlox.core.File`` instead of a ``BytesIO``.

        Returns:
            The input XML, as a BytesIO positioned at its start or as a File.

        Raises:
            Exception: "Input file could not be generated, please check your model" when the service rejects the model; the service's InternalError is its cause.
        """

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
        other text.
        """

    def get_output_file(self, *, as_file: bool = False) -> io.BytesIO | marlox.core.File:
        """
        The result XML of the executed job (UTF-16 encoded): a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. ``execute`` must have been called first.
        """

    def get_idea_rcs_file(self, *, as_file: bool = False) -> io.BytesIO | marlox.core.File:
        """
        The .ideaRcs project file made from the input: a ``BytesIO``, or a ``File`` when
        ``as_file`` is true. Needs ``return_rcs_file`` and a completed ``execute``.
        """
