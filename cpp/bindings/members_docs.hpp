// Signatures and documentation of the section prototypes, the members and the Model builder.
#pragma once

namespace marlox::py {

namespace sig {

#define MARLOX_OBJECTS "marlox.external.idea_rcs.objects."

#define MARLOX_MEMBER_OPTIONS                                                                \
    "*, calculation_control: " MARLOX_OBJECTS                                                \
    "CalculationSetup | None = None, name: str | None = None, rcs_name: str | None = None, " \
    "design_member_name: str | None = None, exposure_classes: " MARLOX_OBJECTS               \
    "ExposureClassesDataEc2 | None = None, coeff_kx: float | None = None, "                  \
    "creep_coefficient: float | None = None, relative_humidity: float | None = None"

#define MARLOX_MEMBER_OPERATION(NAME, RESULT)                              \
    "def " NAME "(self, cs: SectionPrototype1D, material: " MARLOX_OBJECTS \
    "MatConcreteEc2, " MARLOX_MEMBER_OPTIONS ") -> " RESULT

inline constexpr const char *create_beam = MARLOX_MEMBER_OPERATION("create_beam", "Beam");
inline constexpr const char *create_compression_member =
    MARLOX_MEMBER_OPERATION("create_compression_member", "CompressionMember");
inline constexpr const char *create_one_way_slab =
    MARLOX_MEMBER_OPERATION("create_one_way_slab", "OneWaySlab");

inline constexpr const char *create_1d_section =
    "def _create_1d_section(self, member_type: " MARLOX_OBJECTS
    "MemberType, cs: SectionPrototype1D, material: " MARLOX_OBJECTS
    "MatConcreteEc2, calculation_control: " MARLOX_OBJECTS
    "CalculationSetup | None = None, name: str | None = None, rcs_name: str | None = None, "
    "exposure_classes: " MARLOX_OBJECTS
    "ExposureClassesDataEc2 | None = None, coeff_kx: float | None = None, creep_coefficient: "
    "float | None = None, relative_humidity: float | None = None, design_member_name: str | "
    "None = None) -> tuple[" MARLOX_OBJECTS "ReinforcedCrossSection, " MARLOX_OBJECTS
    "StandardCheckSection]";

inline constexpr const char *create_concrete_material =
    "def create_concrete_material(self, base_material: " MARLOX_OBJECTS
    "ConcreteMaterial, name: str | None = None, *, unit_mass: float = 2500, fck: float | None "
    "= None, stone_diameter: float = 0.016, cement_class: " MARLOX_OBJECTS
    "ConcCementClass = " MARLOX_OBJECTS "ConcCementClass.R, aggregate_type: " MARLOX_OBJECTS
    "ConcAggregateType = " MARLOX_OBJECTS
    "ConcAggregateType.QUARTZITE, diagram_type: " MARLOX_OBJECTS "ConcDiagramType = " MARLOX_OBJECTS
    "ConcDiagramType.PARABOLIC, silica_fume: bool = False, plain_concrete_diagram: bool = "
    "False, dep_params: " MARLOX_OBJECTS "ConcDependentParams | None = None) -> " MARLOX_OBJECTS
    "MatConcreteEc2";

inline constexpr const char *create_reinforcement_material =
    "def create_reinforcement_material(self, base_material: " MARLOX_OBJECTS
    "ReinforcementMaterial, name: str | None = None, *, unit_mass: float = 7850, e_modulus: "
    "float = 200000, fyk: float | None = None, ftk_by_fyk: float | None = None, epsuk: float | "
    "None = None, type_: " MARLOX_OBJECTS "ReinfType = " MARLOX_OBJECTS
    "ReinfType.BARS, bar_surface: " MARLOX_OBJECTS "BarSurface = " MARLOX_OBJECTS
    "BarSurface.RIBBED, class_: " MARLOX_OBJECTS "ReinfClass = " MARLOX_OBJECTS
    "ReinfClass.B, fabrication: " MARLOX_OBJECTS "ReinfFabrication = " MARLOX_OBJECTS
    "ReinfFabrication.HOT_ROLLED, diagram_type: " MARLOX_OBJECTS
    "ReinfDiagramType = " MARLOX_OBJECTS "ReinfDiagramType.BILINEAR_INCLINED) -> " MARLOX_OBJECTS
    "MatReinforcementEc2";

inline constexpr const char *model_init =
    "def __init__(self, *, project_data: " MARLOX_OBJECTS
    "ProjectData | None = None, code_settings: " MARLOX_OBJECTS
    "CodeSettings | None = None) -> None";

#define MARLOX_POLYLINE                                                                       \
    "collections.abc.Sequence[tuple[float, float] | tuple[tuple[float, float], tuple[float, " \
    "float]]]"

inline constexpr const char *create_bar =
    "def create_bar(self, coordinates: tuple[float, float], diameter: float, "
    "material: " MARLOX_OBJECTS "MatReinforcementEc2) -> None";

inline constexpr const char *create_bar_layer =
    "def create_bar_layer(self, *, origin: tuple[float, float], diameter: float, "
    "material: " MARLOX_OBJECTS
    "MatReinforcementEc2, number_of_bars: int, delta_y: float | None = None, delta_z: float | "
    "None = None) -> None";

inline constexpr const char *create_stirrup =
    "def create_stirrup(self, points: " MARLOX_POLYLINE
    ", diameter: float, material: " MARLOX_OBJECTS
    "MatReinforcementEc2, distance: float, shear_check: bool | None = None, torsion_check: bool "
    "| None = None, mandrel_diameter_factor: float | None = None, anchorage_length: float | None "
    "= None) -> None";

inline constexpr const char *create_extreme =
    "def create_extreme(self, *, description: str | None = None, accidental: " MARLOX_OBJECTS
    "LoadingULS | None = None, fatigue: " MARLOX_OBJECTS
    "FatigueLoading | None = None, frequent: " MARLOX_OBJECTS
    "LoadingSLS | None = None, fundamental: " MARLOX_OBJECTS
    "LoadingULS | None = None, characteristic: " MARLOX_OBJECTS
    "LoadingSLS | None = None, quasi_permanent: " MARLOX_OBJECTS
    "LoadingSLS | None = None) -> None";

inline constexpr const char *general_shape_init =
    "def __init__(self, outline: " MARLOX_POLYLINE
    ", openings: collections.abc.Sequence[" MARLOX_POLYLINE "] | None = None) -> None";

#undef MARLOX_POLYLINE
#undef MARLOX_MEMBER_OPERATION
#undef MARLOX_MEMBER_OPTIONS
#undef MARLOX_OBJECTS

}  // namespace sig

namespace doc {

inline constexpr const char *section_prototype =
    "Abstract root of the section prototypes: the shape of a cross-section, independent of any "
    "model.";

inline constexpr const char *section_prototype_1d =
    "Abstract root of the section prototypes of one-dimensional members (beams, columns, one-way "
    "slabs).\n\n"
    "A new shape is a subclass that sets its own attributes in ``__init__`` and provides "
    "``_type`` (a ``CrossSectionType`` member) and ``_parameters`` (a new dict of the shape's "
    "dimensions [m] by the names that its type documents, e.g. ``{\"Width\": 0.3, \"Height\": "
    "0.5}``). The model creates a parametric cross-section from the two; a ``GeneralShape`` (or "
    "a subclass of it) becomes a cross-section of components instead.";

inline constexpr const char *section_prototype_2d =
    "Abstract root reserved for the section prototypes of two-dimensional (plate) members.";

inline constexpr const char *rect_section =
    "A rectangular cross-section.\n\n"
    "The origin of the bar coordinates is its centre, the centroid: y across (to the right), z "
    "upwards, so that the bottom face is at ``z = -height / 2`` (``z_bottom``). Made as IDEA "
    "StatiCa RCS's parametric type ``CrossSectionType.RECT`` (Width, Height), which RCS places "
    "on its centroid (IDEA's own sample of a T section shows the placement).\n\n"
    "Args:\n"
    "    width: Width [m].\n"
    "    height: Height [m].";

inline constexpr const char *general_shape =
    "A cross-section bounded by a polygon, with optional openings.\n\n"
    "Vertices are (y, z) [m]. A polygon is closed implicitly: give at least 3 vertices and do "
    "not repeat the first at the end. IDEA StatiCa RCS places it where its coordinates say: "
    "the bar coordinates are the outline's own. ``validate()`` checks the shape.\n\n"
    "Args:\n"
    "    outline: The outer boundary.\n"
    "    openings: Openings, each a polygon of the same form; None for none.";

inline constexpr const char *prototype_init = "Store the shape's dimensions as given.";
inline constexpr const char *prototype_abstract_init =
    "Abstract: each shape stores its own dimensions.";
inline constexpr const char *prototype_2d_init = "Store the plate thickness [m] as ``_thickness``.";
inline constexpr const char *prototype_type = "The OpenModel cross-section type of the shape.";
inline constexpr const char *prototype_parameters =
    "The shape's dimensions [m] by their OpenModel parameter names, as a new dict.";

inline constexpr const char *abstract_method =
    "An abstract method whose body is compiled: binds like a function and calls through.";

inline constexpr const char *member = "Base class of all member types.";
inline constexpr const char *beam =
    "Do not use this __init__ directly, but create the object by :meth:`Model.create_beam`.";
inline constexpr const char *compression_member =
    "Do not use this __init__ directly, but create the object by "
    ":meth:`Model.create_compression_member`.";
inline constexpr const char *one_way_slab =
    "Do not use this __init__ directly, but create the object by "
    ":meth:`Model.create_one_way_slab`.";

inline constexpr const char *bars =
    "The bars of the member's reinforced cross-section, as a new list.";
inline constexpr const char *stirrups =
    "The stirrups of the member's reinforced cross-section, as a new list.";
inline constexpr const char *extremes =
    "The load extremes of the member's check section, as a new list.";

inline constexpr const char *create_bar =
    "Add a bar to the member's reinforced cross-section.\n\n"
    "Args:\n"
    "    coordinates: Centre of the bar (y, z) [m].\n"
    "    diameter: Diameter [m].\n"
    "    material: Its steel, made by ``Model.create_reinforcement_material``.";

inline constexpr const char *create_bar_layer =
    "Add a straight layer of bars to the member's reinforced cross-section.\n\n"
    "``number_of_bars`` bars are placed on a straight line: the first at ``origin``, the last "
    "``delta_y`` further in y and ``delta_z`` further in z, the others evenly between them.\n\n"
    "Args:\n"
    "    origin: Centre of the first bar (y, z) [m].\n"
    "    diameter: Diameter of every bar [m].\n"
    "    material: Their steel, made by ``Model.create_reinforcement_material``.\n"
    "    number_of_bars: Number of bars, at least 2.\n"
    "    delta_y: Distance in y from the first to the last bar [m]; None: 0.\n"
    "    delta_z: Distance in z from the first to the last bar [m]; None: 0.";

inline constexpr const char *create_stirrup =
    "Add a stirrup to the member's reinforced cross-section.\n\n"
    "Args:\n"
    "    points: The stirrup's vertices (y, z) [m], joined by straight segments; an arc segment "
    "is given as ((y_end, z_end), (y_on_arc, z_on_arc)).\n"
    "    diameter: Diameter [m].\n"
    "    material: Its steel, made by ``Model.create_reinforcement_material``.\n"
    "    distance: Longitudinal spacing of the stirrups [m].\n"
    "    shear_check: The stirrup is taken into account in the shear check; None: False.\n"
    "    torsion_check: The stirrup is taken into account in the torsion check; None: False.\n"
    "    mandrel_diameter_factor: Inner mandrel diameter as a multiple of the stirrup "
    "diameter; None: 1.0.\n"
    "    anchorage_length: Anchorage length [m]; None: 0.0.";

inline constexpr const char *create_extreme =
    "Add a load extreme (load case) to the member's check section.\n\n"
    "Forces are in N and moments in N m, e.g. ``fundamental=LoadingULS(InternalForces(n=-1e5, "
    "my=5e4))``.\n\n"
    "Args:\n"
    "    description: Description; None gives \"{section_name} - E {i}\", i counting the "
    "section's extremes from 1, e.g. \"S1 - E 1\".\n"
    "    accidental: Accidental loading (ULS); None for none.\n"
    "    fatigue: Fatigue loading, ``FatigueLoading(max_loading, min_loading)``; None for "
    "none.\n"
    "    frequent: Frequent loading (SLS); None for none.\n"
    "    fundamental: Fundamental loading (ULS); None for none.\n"
    "    characteristic: Characteristic loading (SLS); None for none.\n"
    "    quasi_permanent: Quasi-permanent loading (SLS); None for none.";

inline constexpr const char *model =
    "Builds an IDEA StatiCa RCS model member by member, with engineering defaults.\n\n"
    "Create the materials with ``create_concrete_material`` and "
    "``create_reinforcement_material``, then each member with ``create_beam``, "
    "``create_compression_member`` or ``create_one_way_slab``, and place bars, stirrups and "
    "load extremes on the member returned. A member call adds a cross-section, a reinforced "
    "cross-section, a check member, a check section and the member's Eurocode 2 data to the "
    "model.\n\n"
    "Units: moduli and strengths in MPa, lengths in m, forces in N, moments in N m.\n\n"
    "Args:\n"
    "    project_data: Project data; None gives the default ``ProjectData()``.\n"
    "    code_settings: Code settings; None gives the default ``CodeSettings()``.";

inline constexpr const char *create_concrete_material =
    "Create a concrete to EN 1992-1-1 and add it to the model.\n\n"
    "Strengths are given in MPa and stored in Pa. Young's and shear moduli take 32800 MPa and "
    "13667 MPa.\n\n"
    "Args:\n"
    "    base_material: The strength class to start from, e.g. ``ConcreteMaterial.C30_37``.\n"
    "    name: Material name; None gives the class's name, e.g. \"C30/37\".\n"
    "    unit_mass: Unit mass [kg/m3].\n"
    "    fck: Characteristic cylinder strength at 28 days [MPa]; None gives the class's.\n"
    "    stone_diameter: Aggregate size [m] (0.016 is 16 mm).\n"
    "    cement_class: Cement class.\n"
    "    aggregate_type: Aggregate type.\n"
    "    diagram_type: Stress-strain diagram for the ultimate limit state.\n"
    "    silica_fume: Contains silica fume (EN 1992-2:2008-07 only).\n"
    "    plain_concrete_diagram: Stress-strain diagram with a tension part.\n"
    "    dep_params: Dependent parameters; None computes them from fck.\n\n"
    "Returns:\n"
    "    The new MatConcreteEc2.";

inline constexpr const char *create_reinforcement_material =
    "Create a reinforcing steel to EN 1992-1-1 and add it to the model.\n\n"
    "Moduli and strengths are given in MPa and stored in Pa. The tensile strength is always "
    "ftk = fyk * ftk_by_fyk, from the two values after their defaults.\n\n"
    "Args:\n"
    "    base_material: The grade to start from, e.g. ``ReinforcementMaterial.B_500B``.\n"
    "    name: Material name; None gives the grade's name, e.g. \"B 500B\".\n"
    "    unit_mass: Unit mass [kg/m3].\n"
    "    e_modulus: Young's modulus [MPa].\n"
    "    fyk: Characteristic yield strength [MPa]; None (or 0) gives the grade's.\n"
    "    ftk_by_fyk: Ratio k = ftk / fyk; None (or 0) gives the grade's.\n"
    "    epsuk: Characteristic strain at maximum load in units of 1e-4 (25 is 2.5 %); None "
    "gives the grade's.\n"
    "    type_: Type of reinforcement.\n"
    "    bar_surface: Bar surface.\n"
    "    class_: Ductility class.\n"
    "    fabrication: Fabrication.\n"
    "    diagram_type: Stress-strain diagram (bilinear with an inclined top branch).\n\n"
    "Returns:\n"
    "    The new MatReinforcementEc2.";

#define MARLOX_MEMBER_ARGS                                                                     \
    "Args:\n"                                                                                  \
    "    cs: The section prototype, e.g. ``RectSection(0.3, 0.5)`` or "                        \
    "``GeneralShape(outline)``.\n"                                                             \
    "    material: Its concrete, made by ``create_concrete_material``.\n"                      \
    "    calculation_control: The checks to run; None: capacity N-M(-M), shear, interaction, " \
    "stress limitation, crack width and detailing.\n"                                          \
    "    name: Name of the check section (the cross-section name shown in IDEA StatiCa RCS); " \
    "None gives \"S\" and its id, e.g. \"S1\".\n"                                              \
    "    rcs_name: Name of the reinforced cross-section; None gives \"R\" and its id, e.g. "   \
    "\"R1\".\n"                                                                                \
    "    design_member_name: Name of the check member; None gives \"M \" and its id, e.g. "    \
    "\"M 1\".\n"                                                                               \
    "    exposure_classes: Exposure classes; None: no corrosion.\n"                            \
    "    coeff_kx: Coefficient k_x of 7.3.1 raising the crack-width limit (Dutch national "    \
    "annex only); None: 1.0.\n"                                                                \
    "    creep_coefficient: Final creep coefficient; None leaves it to IDEA StatiCa RCS to "   \
    "calculate.\n"                                                                             \
    "    relative_humidity: Relative humidity [%]; None: 65.\n\n"

inline constexpr const char *create_beam =
    "Create a beam: a cross-section, a reinforced cross-section, a check member, a check "
    "section and the member data, in one step; a call that fails adds none of "
    "them.\n\n" MARLOX_MEMBER_ARGS
    "Returns:\n"
    "    The new Beam; place bars, stirrups and extremes on it.";

inline constexpr const char *create_compression_member =
    "Create a compression member (column): a cross-section, a reinforced cross-section, a check "
    "member, a check section and the member data, in one step; a call that fails adds none of "
    "them.\n\n" MARLOX_MEMBER_ARGS
    "Returns:\n"
    "    The new CompressionMember; place bars, stirrups and extremes on it.";

inline constexpr const char *create_one_way_slab =
    "Create a one-way slab (a strip of slab designed as a beam): a cross-section, a reinforced "
    "cross-section, a check member, a check section and the member data, in one step; a call "
    "that fails adds none of them.\n\n" MARLOX_MEMBER_ARGS
    "Returns:\n"
    "    The new OneWaySlab; place bars, stirrups and extremes on it.";

#undef MARLOX_MEMBER_ARGS

inline constexpr const char *create_1d_section =
    "Create the OpenModel objects of a one-dimensional member: a cross-section from the "
    "prototype ``cs`` (of components for a ``GeneralShape``, parametric otherwise), a reinforced "
    "cross-section, a check member, a check section named ``name`` and the member data with the "
    "given member type.\n\n"
    "Returns:\n"
    "    The pair (reinforced cross-section, check section).";

}  // namespace doc

}  // namespace marlox::py
