// Signatures and documentation of the model builders.
#pragma once

namespace marlox::py {

namespace sig {

#define MARLOX_CONCRETE_PARAMETERS(KW)                                                             \
    "base_material: marlox.external.idea_rcs.objects.ConcreteMaterial, name: str | None = "        \
    "None, " KW                                                                                    \
    "e_modulus: float = 32800, g_modulus: float = 13667, poisson: float = 0.2, "                   \
    "unit_mass: float = 2500, specific_heat: float = 0.6, thermal_expansion: float = 1e-05, "      \
    "thermal_conductivity: float = 45, is_default: bool = False, order_in_code: int = 1, "         \
    "thermal_state: marlox.external.idea_rcs.objects.ThermalState | None = None, fck_28: float | " \
    "None = None, "                                                                                \
    "stone_diameter: float = 0.016, cement_class: "                                                \
    "marlox.external.idea_rcs.objects.ConcCementClass = "                                          \
    "marlox.external.idea_rcs.objects.ConcCementClass.R, "                                         \
    "aggregate_type: marlox.external.idea_rcs.objects.ConcAggregateType = "                        \
    "marlox.external.idea_rcs.objects.ConcAggregateType.QUARTZITE, "                               \
    "diagram_type: marlox.external.idea_rcs.objects.ConcDiagramType = "                            \
    "marlox.external.idea_rcs.objects.ConcDiagramType.PARABOLIC, silica_fume: bool = False, "      \
    "plain_concrete_diagram: bool = False, dep_params: "                                           \
    "marlox.external.idea_rcs.objects.ConcDependentParams | None = None"

#define MARLOX_REINFORCEMENT_PARAMETERS(KW)                                                      \
    "base_material: marlox.external.idea_rcs.objects.ReinforcementMaterial, name: str | None = " \
    "None, " KW                                                                                  \
    "e_modulus: float = 200000, g_modulus: float = 83333, poisson: float = 0.2, "                \
    "unit_mass: float = 7850, specific_heat: float = 0.6, thermal_expansion: float = 1e-05, "    \
    "thermal_conductivity: float = 45, is_default: bool = False, order_in_code: int = 1, "       \
    "thermal_state: marlox.external.idea_rcs.objects.ThermalState | None = None, bar_surface: "  \
    "marlox.external.idea_rcs.objects.BarSurface = "                                             \
    "marlox.external.idea_rcs.objects.BarSurface.RIBBED, "                                       \
    "fyk: float | None = None, ftk_by_fyk: float | None = None, epsuk: float | None = None, "    \
    "ftk: float | None = None, class_: marlox.external.idea_rcs.objects.ReinfClass = "           \
    "marlox.external.idea_rcs.objects.ReinfClass.B, "                                            \
    "type_: marlox.external.idea_rcs.objects.ReinfType = "                                       \
    "marlox.external.idea_rcs.objects.ReinfType.BARS, "                                          \
    "fabrication: marlox.external.idea_rcs.objects.ReinfFabrication = "                          \
    "marlox.external.idea_rcs.objects.ReinfFabrication.HOT_ROLLED, "                             \
    "diagram_type: marlox.external.idea_rcs.objects.ReinfDiagramType = "                         \
    "marlox.external.idea_rcs.objects.ReinfDiagramType.BILINEAR_INCLINED"

#define MARLOX_MEMBER_DATA_PARAMETERS                                                              \
    "member: marlox.external.idea_rcs.objects.CheckMember1D, member_type: "                        \
    "marlox.external.idea_rcs.objects.MemberType, two_way_slab_type: "                             \
    "marlox.external.idea_rcs.objects.TwoWaySlabType, "                                            \
    "calculation_setup: marlox.external.idea_rcs.objects.CalculationSetup | None = None, "         \
    "coeff_kx_for_wmax: float | None = "                                                           \
    "None, exposure_class_data: marlox.external.idea_rcs.objects.ExposureClassesDataEc2 | None = " \
    "None, creep_coefficient: "                                                                    \
    "float | None = None, relative_humidity: float | None = None"

inline constexpr const char *create_matconcrete_ec2_protected =
    "def _create_matconcrete_ec2(self, " MARLOX_CONCRETE_PARAMETERS(
        "") ") -> marlox.external.idea_rcs.objects.MatConcreteEc2";
inline constexpr const char *create_matconcrete_ec2_public =
    "def create_matconcrete_ec2(self, " MARLOX_CONCRETE_PARAMETERS(
        "*, ") ") -> marlox.external.idea_rcs.objects.MatConcreteEc2";
inline constexpr const char *create_matreinforcement_ec2_protected =
    "def _create_matreinforcement_ec2(self, " MARLOX_REINFORCEMENT_PARAMETERS(
        "") ") -> marlox.external.idea_rcs.objects.MatReinforcementEc2";
inline constexpr const char *create_matreinforcement_ec2_public =
    "def create_matreinforcement_ec2(self, " MARLOX_REINFORCEMENT_PARAMETERS(
        "*, ") ") -> marlox.external.idea_rcs.objects.MatReinforcementEc2";
inline constexpr const char *add_member_data_ec2_protected =
    "def _add_member_data_ec2(self, " MARLOX_MEMBER_DATA_PARAMETERS ") -> None";
inline constexpr const char *add_member_data_ec2_public =
    "def add_member_data_ec2(self, " MARLOX_MEMBER_DATA_PARAMETERS ") -> None";

#undef MARLOX_CONCRETE_PARAMETERS
#undef MARLOX_REINFORCEMENT_PARAMETERS
#undef MARLOX_MEMBER_DATA_PARAMETERS

}  // namespace sig

namespace doc {

inline constexpr const char *model =
    "Common base of the model builders: the object lists of one IDEA StatiCa RCS model, its "
    "project data and code settings.\n\n"
    "Ids count 1, 2, 3, ... per list; the two kinds of cross-section share one list and one "
    "sequence.";

inline constexpr const char *open_model =
    "Builds an IDEA StatiCa RCS model one OpenModel object at a time.\n\n"
    "Call in this order: materials, a cross-section and a reinforced cross-section (then bars "
    "and stirrups on it), a check member, ``add_check_section`` for the member (then extremes "
    "on the section), then ``add_member_data_ec2`` for the member: ``add_member_data_ec2`` "
    "must follow ``add_check_section``.\n\n"
    "Args:\n"
    "    project_data: Project data; None gives the default ``ProjectData()``.\n"
    "    code_settings: Code settings; None gives the default ``CodeSettings()``.";

inline constexpr const char *create_matconcrete_ec2 =
    "Create a concrete to EN 1992-1-1 and add it to the model.\n\n"
    "Moduli and strengths are given in MPa and stored in Pa.\n\n"
    "Args:\n"
    "    base_material: The strength class to start from, e.g. ``ConcreteMaterial.C30_37``.\n"
    "    name: Material name; None gives the class's name, e.g. \"C30/37\".\n"
    "    e_modulus: Young's modulus [MPa].\n"
    "    g_modulus: Shear modulus [MPa].\n"
    "    poisson: Poisson's ratio.\n"
    "    unit_mass: Unit mass [kg/m3].\n"
    "    specific_heat: Specific heat capacity.\n"
    "    thermal_expansion: Thermal expansion [1/K].\n"
    "    thermal_conductivity: Thermal conductivity.\n"
    "    is_default: The material is a default material of the code.\n"
    "    order_in_code: Order of the material in the code.\n"
    "    thermal_state: None gives ``ThermalState()``.\n"
    "    fck_28: Characteristic cylinder strength at 28 days [MPa]; None gives the class's.\n"
    "    stone_diameter: Aggregate size [m] (0.016 is 16 mm).\n"
    "    cement_class: Cement class.\n"
    "    aggregate_type: Aggregate type.\n"
    "    diagram_type: Stress-strain diagram for the ultimate limit state.\n"
    "    silica_fume: Contains silica fume (EN 1992-2 only).\n"
    "    plain_concrete_diagram: Stress-strain diagram with a tension part.\n"
    "    dep_params: Dependent parameters; None derives them from fck.\n\n"
    "Returns:\n"
    "    The new MatConcreteEc2.";

inline constexpr const char *create_matreinforcement_ec2 =
    "Create a reinforcing steel to EN 1992-1-1 and add it to the model.\n\n"
    "Moduli and strengths are given in MPa and stored in Pa; ``epsuk`` is given in units of "
    "1e-4 and stored as a strain.\n\n"
    "Args:\n"
    "    base_material: The grade to start from, e.g. ``ReinforcementMaterial.B_500B``.\n"
    "    name: Material name; None gives the grade's name, e.g. \"B 500B\".\n"
    "    e_modulus: Young's modulus [MPa].\n"
    "    g_modulus: Shear modulus [MPa].\n"
    "    poisson: Poisson's ratio.\n"
    "    unit_mass: Unit mass [kg/m3].\n"
    "    specific_heat: Specific heat capacity.\n"
    "    thermal_expansion: Thermal expansion [1/K].\n"
    "    thermal_conductivity: Thermal conductivity.\n"
    "    is_default: The material is a default material of the code.\n"
    "    order_in_code: Order of the material in the code.\n"
    "    thermal_state: None gives ``ThermalState()``.\n"
    "    bar_surface: Bar surface.\n"
    "    fyk: Characteristic yield strength [MPa]; None gives the grade's.\n"
    "    ftk_by_fyk: Ratio k = ftk / fyk; None gives the grade's.\n"
    "    epsuk: Characteristic strain at maximum load [1e-4]; None gives the grade's.\n"
    "    ftk: Characteristic tensile strength [MPa]; None gives the grade's fyk times its k.\n"
    "    class_: Ductility class.\n"
    "    type_: Type of reinforcement.\n"
    "    fabrication: Fabrication.\n"
    "    diagram_type: Stress-strain diagram (bilinear with an inclined top branch).\n\n"
    "Returns:\n"
    "    The new MatReinforcementEc2.";

inline constexpr const char *create_cross_section_component =
    "Create an empty cross-section of general shape and add it to the model; give it its "
    "geometry with ``create_component(outline, material, openings=None)``.\n\n"
    "Args:\n"
    "    name: Section name; None gives the empty name.\n\n"
    "Returns:\n"
    "    The new CrossSectionComponent.";

inline constexpr const char *create_cross_section_parameter =
    "Create a cross-section of a parametric shape and add it to the model.\n\n"
    "Args:\n"
    "    cross_section_type: The shape, e.g. ``CrossSectionType.RECT``.\n"
    "    material: Its concrete, made by ``create_matconcrete_ec2``.\n"
    "    name: Section name; None gives the empty name.\n"
    "    **parameters: The shape's dimensions [m] by the names its type documents, e.g. "
    "``Width=0.3, Height=0.5`` for ``CrossSectionType.RECT``.\n\n"
    "Returns:\n"
    "    The new CrossSectionParameter.";

inline constexpr const char *create_reinforced_cross_section =
    "Create a reinforced cross-section over a cross-section and add it to the model; place "
    "bars and stirrups on it with its ``create_bar``, ``create_bar_layer`` and "
    "``create_stirrup``.\n\n"
    "Args:\n"
    "    cross_section: The concrete cross-section.\n"
    "    name: None gives \"R\" and the id, e.g. \"R1\".\n\n"
    "Returns:\n"
    "    The new ReinforcedCrossSection.";

inline constexpr const char *create_check_member1d =
    "Create a one-dimensional check member and add it to the model.\n\n"
    "Args:\n"
    "    name: None gives \"M \" and the id, e.g. \"M 1\".\n\n"
    "Returns:\n"
    "    The new CheckMember1D.";

inline constexpr const char *add_check_section =
    "Add a check section: a reinforced cross-section at a place of a check member. Add its "
    "load extremes with its ``create_extreme``.\n\n"
    "Args:\n"
    "    check_member: The member.\n"
    "    reinf_section: The reinforced cross-section checked.\n"
    "    description: None gives \"S\" and the id, e.g. \"S1\".\n\n"
    "Returns:\n"
    "    The new StandardCheckSection.";

inline constexpr const char *add_member_data_ec2 =
    "Add the Eurocode 2 data of a member. Call it after ``add_check_section`` for the "
    "member.\n\n"
    "Absent values are passed on as None and take these defaults downstream: calculation setup "
    "with capacity N-M(-M), shear, interaction, stress limitation, crack width and detailing; "
    "kx 1.0; no corrosion exposure; creep coefficient computed by IDEA StatiCa RCS; relative "
    "humidity 65 %.\n\n"
    "Args:\n"
    "    member: The check member.\n"
    "    member_type: Its type, matching the reinforced section of its check section.\n"
    "    two_way_slab_type: Its two-way slab type.\n"
    "    calculation_setup: The checks to run.\n"
    "    coeff_kx_for_wmax: Coefficient kx raising the crack-width limit (Dutch annex).\n"
    "    exposure_class_data: Exposure classes.\n"
    "    creep_coefficient: Final creep coefficient.\n"
    "    relative_humidity: Relative humidity [%].";

inline constexpr const char *serialize =
    "The model as a plain JSON value tree: nine keys (the seven object lists as [class name, "
    "object] pairs, then project data and code settings).";

inline constexpr const char *generate_xml_input =
    "Convert the model to IDEA StatiCa RCS input XML through the platform's conversion "
    "service.\n\n"
    "Args:\n"
    "    as_file: Return a ``marlox.core.File`` when true instead of a ``BytesIO`` (None or any\n"
    "        false value).\n\n"
    "Returns:\n"
    "    The input XML, as a BytesIO positioned at its start or as a File.\n\n"
    "Raises:\n"
    "    Exception: \"Input file could not be generated, please check your model\" when the "
    "service rejects the model; the service's InternalError is its cause.";

}  // namespace doc

}  // namespace marlox::py
