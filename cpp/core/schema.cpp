#include "core/schema.hpp"

#include <cstring>

namespace marlox::schema {

namespace {

Field field(const char *name, const char *key, Kind kind, const char *type = nullptr,
            const char *default_ = nullptr, unsigned flags = 0, const char *doc = "") {
    return Field{name, key, kind, type, default_, flags, doc};
}

Field number(const char *name, const char *key, unsigned flags, const char *doc,
             const char *default_ = nullptr) {
    return field(name, key, Kind::Number, nullptr, default_, flags, doc);
}

Field flag(const char *name, const char *key, const char *default_, const char *doc) {
    return field(name, key, Kind::Bool, nullptr, default_, 0, doc);
}

std::vector<Field> concat(std::vector<Field> head, const std::vector<Field> &tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

// Fields every material shares (IDEA's Material), in constructor order.
std::vector<Field> material_fields() {
    return {
        field("id", "Id", Kind::Int, nullptr, nullptr, ReadOnly, "Id within the material list."),
        field("name", "Name", Kind::Text, nullptr, nullptr, 0, "Material name."),
        number("e_modulus", "E", Positive, "Young's modulus [Pa]."),
        number("g_modulus", "G", Positive, "Shear modulus [Pa]."),
        number("poisson", "Poisson", NonNegative, "Poisson's ratio."),
        number("unit_mass", "UnitMass", Positive, "Unit mass [kg/m3]."),
        number("specific_heat", "SpecificHeat", Positive, "Specific heat capacity [J/(kg K)]."),
        number("thermal_expansion", "ThermalExpansion", NonNegative,
               "Coefficient of thermal expansion [1/K]."),
        number("thermal_conductivity", "ThermalConductivity", Positive,
               "Thermal conductivity [W/(m K)]."),
        flag("is_default", "IsDefaultMaterial", nullptr,
             "The material is a default material of the code."),
        field("order_in_code", "OrderInCode", Kind::Int, nullptr, nullptr, 0,
              "Order of the material in the code."),
        field("thermal_state", "ThermalState", Kind::Object, "ThermalState", nullptr, 0,
              "Temperature dependence of the material properties."),
    };
}

std::vector<Field> named_fields(const char *what) {
    return {
        field("id", "Id", Kind::Int, nullptr, nullptr, ReadOnly, what),
        field("name", "Name", Kind::Text, nullptr, nullptr, 0, "Name."),
    };
}

std::vector<Type> make_types() {
    std::vector<Type> t;
    t.push_back({"_OpenObject",
                 nullptr,
                 true,
                 {},
                 {},
                 "Base of every OpenModel object: provides ``_serialize()``."});
    t.push_back(
        {"_ReferenceElement",
         nullptr,
         false,
         {field("type", "TypeName", Kind::TypeName, nullptr, nullptr, 0,
                "Type of the list that holds the referenced object."),
          field("id", "Id", Kind::Int, nullptr, nullptr, 0, "Id of the referenced object.")},
         {"id", "type"},
         "Reference from one object of a model to another, by list type and id."});
    t.push_back({"CheckMember", "_OpenObject", true, {}, {}, "Base of check members."});
    t.push_back(
        {"CheckMember1D",
         "CheckMember",
         false,
         named_fields("Id within the check members."),
         {},
         "One-dimensional member (beam, column, slab strip) on which sections are checked."});
    t.push_back(
        {"MatReinforcement", "_OpenObject", true, {}, {}, "Base of reinforcement materials."});
    t.push_back({"MatConcrete", "_OpenObject", true, {}, {}, "Base of concrete materials."});
    t.push_back(
        {"MatConcreteEc2",
         "MatConcrete",
         false,
         concat(
             material_fields(),
             {number("fck", "Fck", Positive, "Characteristic cylinder strength at 28 days [Pa]."),
              number("stone_diameter", "StoneDiameter", Positive, "Maximum aggregate size [m]."),
              field("cement_class", "CementClass", Kind::Enum, "ConcCementClass", nullptr, 0,
                    "Cement class."),
              field("aggregate_type", "AggregateType", Kind::Enum, "ConcAggregateType", nullptr, 0,
                    "Aggregate type."),
              field("diagram_type", "DiagramType", Kind::Enum, "ConcDiagramType", nullptr, 0,
                    "Stress-strain diagram for the ultimate limit state."),
              flag("silica_fume", "SilicaFume", nullptr, "Contains silica fume (EN 1992-2 only)."),
              flag("plain_concrete_diagram", "PlainConcreteDiagram", nullptr,
                   "Stress-strain diagram with a tension part."),
              field("dep_params", "DependentParams", Kind::Object, "ConcDependentParams", "None",
                    Optional, "Dependent parameters; None derives them from fck.")}),
         {},
         "Concrete to EN 1992-1-1. Moduli and strengths in Pa."});
    t.push_back(
        {"MatReinforcementEc2",
         "MatReinforcement",
         false,
         concat(material_fields(),
                {field("bar_surface", "BarSurface", Kind::Enum, "BarSurface", nullptr, 0,
                       "Bar surface."),
                 number("fyk", "Fyk", Positive, "Characteristic yield strength [Pa]."),
                 number("ftk_by_fyk", "CoeffFtkByFyk", Positive, "Ratio k = ftk / fyk."),
                 number("epsuk", "Epsuk", Positive, "Characteristic strain at maximum load."),
                 number("ftk", "Ftk", Positive, "Characteristic tensile strength [Pa]."),
                 field("class_", "Class", Kind::Enum, "ReinfClass", "ReinfClass.B", 0,
                       "Ductility class."),
                 field("type_", "Type", Kind::Enum, "ReinfType", "ReinfType.BARS", 0,
                       "Type of reinforcement."),
                 field("fabrication", "Fabrication", Kind::Enum, "ReinfFabrication",
                       "ReinfFabrication.HOT_ROLLED", 0, "Fabrication."),
                 field("diagram_type", "DiagramType", Kind::Enum, "ReinfDiagramType",
                       "ReinfDiagramType.BILINEAR_INCLINED", 0, "Stress-strain diagram.")}),
         {},
         "Reinforcing steel to EN 1992-1-1. Moduli and strengths in Pa."});
    t.push_back({"CrossSection", "_OpenObject", true, {}, {}, "Base of concrete cross-sections."});
    t.push_back(
        {"CrossSectionParameter",
         "CrossSection",
         false,
         concat(named_fields("Id within the cross-sections."),
                {field("cross_section_type", "CrossSectionType", Kind::Enum, "CrossSectionType",
                       nullptr, 0, "Parametric shape."),
                 field("material", "Material", Kind::Reference, "MatConcrete", nullptr, 0,
                       "Concrete of the section."),
                 field("parameters", "Parameters", Kind::Parameters, nullptr, nullptr, 0,
                       "Shape parameters by IDEA's names (such as Width, Height) [m].")}),
         {},
         "Cross-section of a parametric shape, given by its type and named dimensions [m]."});
    t.push_back({"ReinforcedCrossSection",
                 "_OpenObject",
                 false,
                 concat(named_fields("Id within the reinforced cross-sections."),
                        {field("cross_section", "CrossSection", Kind::Reference, "CrossSection",
                               nullptr, 0, "The concrete cross-section."),
                         field("bars", "Bars", Kind::ObjectList, "ReinforcedBar", nullptr,
                               Managed | ReadOnly, "Longitudinal bars."),
                         field("stirrups", "Stirrups", Kind::ObjectList, "Stirrup", nullptr,
                               Managed | ReadOnly, "Stirrups.")}),
                 {},
                 "A cross-section with its bars and stirrups."});
    t.push_back({"ReinforcedBar",
                 "_OpenObject",
                 false,
                 {field("coordinates", "Point", Kind::Point, nullptr, nullptr, 0,
                        "Centre of the bar (y, z) [m]."),
                  number("diameter", "Diameter", Positive, "Bar diameter [m]."),
                  field("material", "Material", Kind::Reference, "MatReinforcement", nullptr, 0,
                        "Reinforcement material.")},
                 {},
                 "A longitudinal reinforcing bar."});
    t.push_back(
        {"Stirrup",
         "_OpenObject",
         false,
         {field("points", "Geometry", Kind::Polyline, nullptr, nullptr, 0,
                "Vertices (y, z) [m] joined by straight segments; an arc is ((y_end, z_end), "
                "(y_on_arc, z_on_arc))."),
          number("diameter", "Diameter", Positive, "Stirrup diameter [m]."),
          field("material", "Material", Kind::Reference, "MatReinforcement", nullptr, 0,
                "Reinforcement material."),
          number("anchorage_length", "AnchorageLenght", NonNegative, "Anchorage length [m].",
                 "0.0"),
          number("mandrel_diameter_factor", "DiameterOfMandrel", Positive,
                 "Inner mandrel diameter as a multiple of the stirrup diameter.", "1.0"),
          number("distance", "Distance", Positive, "Longitudinal spacing of the stirrups [m]."),
          flag("shear_check", "ShearCheck", "False", "The stirrup counts in the shear check."),
          flag("torsion_check", "TorsionCheck", "False",
               "The stirrup counts in the torsion check.")},
         {"points", "diameter", "material", "distance", "shear_check", "torsion_check",
          "mandrel_diameter_factor", "anchorage_length"},
         "A stirrup: a polyline of straight and arc segments."});
    t.push_back({"CheckSection", "_OpenObject", true, {}, {}, "Base of check sections."});
    t.push_back(
        {"StandardCheckSection",
         "CheckSection",
         false,
         {field("id", "Id", Kind::Int, nullptr, nullptr, ReadOnly, "Id within the check sections."),
          field("description", "Description", Kind::Text, nullptr, nullptr, 0,
                "Description (the section's name)."),
          field("check_member", "CheckMember", Kind::Reference, "CheckMember", nullptr, 0,
                "The member the section lies on."),
          field("reinf_section", "ReinfSection", Kind::Reference, "ReinforcedCrossSection", nullptr,
                0, "The reinforced cross-section checked."),
          field("extremes", "Extremes", Kind::ObjectList, "CheckSectionExtreme", nullptr,
                Managed | ReadOnly, "Load extremes of the section.")},
         {},
         "A section of a member, checked for its load extremes."});
    t.push_back(
        {"ConcreteMemberDataEc2",
         "_OpenObject",
         false,
         {field("member", "Element", Kind::Reference, "CheckMember", nullptr, 0, "The member."),
          field("member_type", "MemberType", Kind::Enum, "MemberType", nullptr, 0, "Member type."),
          field("two_way_slab_type", "TwoWaySlabType", Kind::Enum, "TwoWaySlabType", nullptr, 0,
                "Two-way slab type."),
          field("calculation_setup", "CalculationSetup", Kind::Object, "CalculationSetup", "None",
                Optional,
                "Checks to run; None: capacity N-M(-M), shear, interaction, stress limitation, "
                "crack width and detailing."),
          field("exposure_class_data", "ExposureClassesData", Kind::Object,
                "ExposureClassesDataEc2", "None", Optional,
                "Exposure classes; None: no corrosion exposure."),
          number("relative_humidity", "RelativeHumidity", Optional | Positive,
                 "Relative humidity [%]; None: 65.", "None"),
          number("creep_coefficient", "CreepCoeffInfinity", Optional | NonNegative,
                 "Final creep coefficient; None: calculated by IDEA StatiCa RCS.", "None"),
          number("coeff_kx_for_wmax", "CoeffKxForWmax", Optional | Positive,
                 "Coefficient kx raising the crack-width limit (Dutch annex); None: 1.0.", "None")},
         {"member", "member_type", "two_way_slab_type", "calculation_setup", "coeff_kx_for_wmax",
          "exposure_class_data", "creep_coefficient", "relative_humidity"},
         "Eurocode 2 data of a member: its type, the checks to run and its environment."});
    t.push_back(
        {"ExposureClassesDataEc2",
         "_OpenObject",
         false,
         {field("carbonation", "Carbonation", Kind::Enum, "ExposureClass", "None", Optional,
                "Corrosion induced by carbonation (XC1 to XC4), or None."),
          field("chlorides", "Chlorides", Kind::Enum, "ExposureClass", "None", Optional,
                "Corrosion induced by chlorides (XD1 to XD3), or None."),
          field("chlorides_from_sea", "ChloridesFromSea", Kind::Enum, "ExposureClass", "None",
                Optional, "Corrosion induced by chlorides from sea water (XS1 to XS3), or None."),
          field("freeze_attack", "FreezeAttack", Kind::Enum, "ExposureClass", "None", Optional,
                "Freeze/thaw attack (XF1 to XF4), or None."),
          field("chemical_attack", "ChemicalAttack", Kind::Enum, "ExposureClass", "None", Optional,
                "Chemical attack (XA1 to XA3), or None.")},
         {},
         "Exposure classes of EN 1992-1-1 Table 4.1; with none given there is no "
         "corrosion exposure (X0)."});
    t.push_back({"ThermalState",
                 "_OpenObject",
                 false,
                 {field("expansion", "StateOfThermalExpansion", Kind::Enum, "ThermalStateType",
                        "ThermalStateType.NONE", 0, "Thermal expansion."),
                  field("conductivity", "StateOfThermalConductivity", Kind::Enum,
                        "ThermalStateType", "ThermalStateType.NONE", 0, "Thermal conductivity."),
                  field("specific_heat", "StateOfThermalSpecificHeat", Kind::Enum,
                        "ThermalStateType", "ThermalStateType.NONE", 0, "Specific heat."),
                  field("stress_strain", "StateOfThermalStressStrain", Kind::Enum,
                        "ThermalStateType", "ThermalStateType.NONE", 0, "Stress-strain diagram."),
                  field("strain", "StateOfThermalStrain", Kind::Enum, "ThermalStateType",
                        "ThermalStateType.NONE", 0, "Thermal strain.")},
                 {},
                 "Temperature dependence of a material's properties (none by default)."});
    t.push_back(
        {"ConcDependentParams",
         "_OpenObject",
         false,
         {number("e_cm", "Ecm", Positive, "Secant modulus of elasticity [Pa]."),
          number("eps_c1", "Epsc1", Positive, "Strain at peak stress, parabolic diagram."),
          number("eps_c2", "Epsc2", Positive, "Strain at peak stress, parabola-rectangle."),
          number("eps_c3", "Epsc3", Positive, "Strain at peak stress, bilinear diagram."),
          number("eps_cu1", "Epscu1", Positive, "Ultimate strain, parabolic diagram."),
          number("eps_cu2", "Epscu2", Positive, "Ultimate strain, parabola-rectangle."),
          number("eps_cu3", "Epscu3", Positive, "Ultimate strain, bilinear diagram."),
          number("f_ctm", "Fctm", Positive, "Mean axial tensile strength [Pa]."),
          number("f_ctk_0_05", "Fctk_0_05", Positive, "5% fractile tensile strength [Pa]."),
          number("f_ctk_0_95", "Fctk_0_95", Positive, "95% fractile tensile strength [Pa]."),
          number("n_factor", "NFactor", Positive, "Exponent n of the parabola-rectangle diagram."),
          number("f_cm", "Fcm", Positive, "Mean compressive strength [Pa].")},
         {},
         "Dependent parameters of a concrete (EN 1992-1-1 Table 3.1) given by the user."});
    t.push_back(
        {"CheckSectionExtreme",
         "_OpenObject",
         false,
         {field("description", "Description", Kind::Text, nullptr, nullptr, 0, "Description."),
          field("fundamental", "Fundamental", Kind::Object, "LoadingULS", "None", Optional,
                "Fundamental ULS loading."),
          field("accidental", "Accidental", Kind::Object, "LoadingULS", "None", Optional,
                "Accidental ULS loading."),
          field("characteristic", "Characteristic", Kind::Object, "LoadingSLS", "None", Optional,
                "Characteristic SLS loading."),
          field("quasi_permanent", "QuasiPermanent", Kind::Object, "LoadingSLS", "None", Optional,
                "Quasi-permanent SLS loading."),
          field("frequent", "Frequent", Kind::Object, "LoadingSLS", "None", Optional,
                "Frequent SLS loading."),
          field("fatigue", "Fatigue", Kind::Object, "FatigueLoading", "None", Optional,
                "Fatigue loading.")},
         {},
         "One load extreme (load case) of a check section."});
    t.push_back({"LoadingSLS",
                 "_OpenObject",
                 false,
                 {field("internal_forces", "InternalForces", Kind::Object, "InternalForces",
                        nullptr, 0, "Internal forces of the loading.")},
                 {},
                 "Loading of a serviceability combination."});
    t.push_back(
        {"LoadingULS",
         "_OpenObject",
         false,
         {field("internal_forces", "InternalForces", Kind::Object, "InternalForces", nullptr, 0,
                "Internal forces of the loading."),
          field("internal_forces_begin", "InternalForcesBegin", Kind::Object, "InternalForces",
                "None", Optional,
                "Forces at the member's beginning (second-order effects of columns)."),
          field("internal_forces_end", "InternalForcesEnd", Kind::Object, "InternalForces", "None",
                Optional, "Forces at the member's end (second-order effects of columns).")},
         {},
         "Loading of an ultimate combination."});
    t.push_back(
        {"CalculationSetup",
         "_OpenObject",
         false,
         {flag("uls_response", "UlsResponse", "False", "Response N-M-M."),
          flag("uls_diagram", "UlsDiagram", "True", "Capacity N-M(-M)."),
          flag("uls_shear", "UlsShear", "True", "Shear."),
          flag("uls_torsion", "UlsTorsion", "False", "Torsion."),
          flag("uls_interaction", "UlsInteraction", "True", "Interaction."),
          flag("sls_crack", "SlsCrack", "True", "Crack width."),
          flag("sls_stress_limitation", "SlsStressLimitation", "True", "Stress limitation."),
          flag("detailing", "Detailing", "True", "Detailing."),
          flag("mn_kappa_diagram", "MNKappaDiagram", "False", "M-N-kappa diagram."),
          flag("fatigue", "Fatigue", "False", "Fatigue."),
          flag("cross_section_characteristics", "CrossSectionCharacteristics", "False",
               "Cross-section characteristics."),
          flag("sls_stiffnesses", "SlsStiffnesses", "False", "Stiffnesses."),
          flag("sls_deflections", "SlsDeflections", "False", "Deflections.")},
         {},
         "The checks to run on a member."});
    t.push_back(
        {"CodeSettings",
         "_OpenObject",
         false,
         {field("national_annex", "AnnexCode", Kind::Enum, "NationalAnnex",
                "NationalAnnex.NO_ANNEX", 0, "National annex."),
          flag("fatigue_check", "FatigueCheck", "False", "Fatigue checks are enabled."),
          flag("fatigue_annex_nn", "FatigueAnnexNN", "False", "Fatigue to annex NN of EN 1992-2."),
          field("design_working_life", "DesignWorkingLife", Kind::Int, nullptr, "50", Positive,
                "Design working life [years]."),
          flag("code_en1992_2", "CodeEN1992_2", "False", "Apply EN 1992-2 (bridges)."),
          flag("code_en1992_3", "CodeEN1992_3", "False",
               "Apply EN 1992-3 (liquid retaining structures).")},
         {},
         "Code and calculation settings of a project."});
    t.push_back({"ProjectData",
                 "_OpenObject",
                 false,
                 {field("name", "Name", Kind::Text, nullptr, "''", 0, "Project name."),
                  field("description", "Description", Kind::Text, nullptr, "''", 0, "Description."),
                  field("number", "Number", Kind::Text, nullptr, "''", 0, "Project number."),
                  field("author", "Author", Kind::Text, nullptr, "''", 0, "Author."),
                  field("date", "Date", Kind::Date, nullptr, "None", Optional,
                        "Date 'YYYY-MM-DD'; None: the day the object is made.")},
                 {},
                 "Project information."});
    t.push_back({"FatigueLoading",
                 "_OpenObject",
                 false,
                 {field("max_loading", "MaxLoading", Kind::Object, "LoadingULS", nullptr, 0,
                        "Loading at the upper end of the cycle."),
                  field("min_loading", "MinLoading", Kind::Object, "LoadingULS", nullptr, 0,
                        "Loading at the lower end of the cycle.")},
                 {},
                 "Fatigue loading: the two ends of a load cycle."});
    t.push_back({"CrossSectionComponent",
                 "CrossSection",
                 false,
                 concat(named_fields("Id within the cross-sections."),
                        {field("components", "Components", Kind::ObjectList, "CssComponent",
                               nullptr, Managed | ReadOnly, "Components of the section.")}),
                 {},
                 "Cross-section of general shape, made of components (outline and openings)."});
    // Types beyond the builder's vocabulary, used inside the objects above.
    t.push_back(
        {"InternalForces",
         "_OpenObject",
         false,
         {number("n", "N", 0, "Axial force [N]: tension positive, compression negative.", "0.0"),
          number("qy", "Qy", 0, "Shear force along +y [N].", "0.0"),
          number("qz", "Qz", 0, "Shear force along +z [N].", "0.0"),
          number("mx", "Mx", 0, "Torsional moment about +x [N m].", "0.0"),
          number("my", "My", 0,
                 "Bending moment about y [N m]: positive puts the bottom (negative z) "
                 "in tension.",
                 "0.0"),
          number("mz", "Mz", 0,
                 "Bending moment about z [N m]: positive puts the left side (negative "
                 "y) in tension.",
                 "0.0")},
         {},
         "Internal forces at a section [N, N m], with IDEA StatiCa RCS's signs: section "
         "axes y across (to the right) and z upwards, x along the member."});
    t.push_back({"CssComponent",
                 "_OpenObject",
                 false,
                 {field("id", "Id", Kind::Int, nullptr, nullptr, 0, "Id within the section."),
                  field("material", "Material", Kind::Reference, "MatConcrete", nullptr, 0,
                        "Concrete of the component."),
                  field("outline", "Outline", Kind::Polyline, nullptr, nullptr, 0,
                        "Closed outer boundary: vertices (y, z) [m] and arcs."),
                  field("openings", "Openings", Kind::Polylines, nullptr, "None", Optional,
                        "Closed openings, each like the outline.")},
                 {},
                 "One component of a general cross-section."});
    return t;
}

std::vector<Enumeration> make_enumerations() {
    std::vector<Enumeration> e;
    e.push_back({"BarSurface", {{"SMOOTH", "Smooth"}, {"RIBBED", "Ribbed"}}, "Bar surface."});
    e.push_back({"ReinfClass", {{"A", "A"}, {"B", "B"}, {"C", "C"}}, "Ductility class."});
    e.push_back({"ReinfType",
                 {{"BARS", "Bars"},
                  {"DECOILED_RODS", "DecoiledRods"},
                  {"WIRE_FABRICS", "WireFabrics"},
                  {"LATTICE_GIRDERS", "LatticeGirders"}},
                 "Type of reinforcement."});
    e.push_back({"ReinfDiagramType",
                 {{"BILINEAR_INCLINED", "BilinerWithAnInclinedTopBranch"},
                  {"BILINEAR_HORIZONTAL", "BilinerWithOutAnInclinedTopBranch"}},
                 "Stress-strain diagram of reinforcement: bilinear with an inclined or a "
                 "horizontal top branch."});
    e.push_back({"ReinfFabrication",
                 {{"HOT_ROLLED", "HotRolled"}, {"COLD_WORKED", "ColdWorked"}},
                 "Fabrication of reinforcement."});
    e.push_back({"ConcDiagramType",
                 {{"BILINEAR", "Bilinear"}, {"PARABOLIC", "Parabolic"}},
                 "Stress-strain diagram of concrete for the ultimate limit state."});
    e.push_back({"ConcAggregateType",
                 {{"QUARTZITE", "Quartzite"},
                  {"LIMESTONE", "Limestone"},
                  {"SANDSTONE", "Sandstone"},
                  {"BASALT", "Basalt"}},
                 "Aggregate type."});
    e.push_back({"ConcCementClass", {{"S", "S"}, {"R", "R"}, {"N", "N"}}, "Cement class."});
    e.push_back(
        {"CrossSectionType",
         {{"O", "O"},
          {"RECT", "Rect"},
          {"TRAPEZOID", "Trapezoid"},
          {"IGN", "Ign"},
          {"IGH", "Igh"},
          {"BEAM_SHAPE_I_HAUNCH_CHAMFER", "BeamShapeIHaunchChamfer"},
          {"TG", "Tg"},
          {"TTFH", "Ttfh"},
          {"TGREV", "Tgrev"},
          {"TCHAMFER_1", "Tchamfer1"},
          {"TCHAMFER_2", "Tchamfer2"},
          {"TWH", "Twh"},
          {"TTFHREV", "Ttfhrev"},
          {"TWHREV", "Twhrev"},
          {"GENERAL", "General"}},
         "Shape of a cross-section. Parameters by type: O: D; RECT: Width, Height; "
         "TRAPEZOID: H, Bb, Bt; IGN: H, Bh, Bs, Ts, Th, Tw; IGH: H, Bh, Bs, Ts, Th, Tw, "
         "Bfh, Tfh; BEAM_SHAPE_I_HAUNCH_CHAMFER: Bbf, Hbf, Hbfh, Bw, H, Htfh, Htf, Btf, Bwh; "
         "TG and TGREV: Height, Width, TopFlangeWidth, WallWidth; TTFH and TTFHREV: "
         "Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch; TCHAMFER_1: Height, "
         "Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch2; TCHAMFER_2: "
         "Height, Width, TopFlangeWidth, WallWidth, TopFlangeHaunch2, WallHaunch1, "
         "WallHaunch2; TWH and TWHREV: Height, Width, TopFlangeWidth, WallWidth, "
         "WallHaunch. GENERAL: a section of components (outline and openings)."});
    e.push_back({"MemberType",
                 {{"BEAM", "Beam"},
                  {"COLUMN", "Column"},
                  {"BEAM_SLAB", "BeamSlab"},
                  {"HOLLOW_CORE_SLAB", "HollowCoreSlab"},
                  {"TWO_WAY_SLAB", "TwoWaySlab"},
                  {"PLATE", "Plate"},
                  {"WALL", "Wall"}},
                 "Type of a concrete member."});
    e.push_back({"TwoWaySlabType",
                 {{"SLAB", "Slab"},
                  {"WALL", "Wall"},
                  {"DEEP_BEAM", "DeepBeam"},
                  {"SHELL_AS_PLATE", "ShellAsPlate"},
                  {"SHELL_AS_WALL", "ShellAsWall"}},
                 "Two-way slab type of a member."});
    Enumeration concrete{"ConcreteMaterial", {}, "Concrete strength classes of EN 1992-1-1."};
    for (const auto &grade : concrete_grades())
        concrete.members.push_back({grade.member, grade.name});
    e.push_back(concrete);
    Enumeration steel{"ReinforcementMaterial",
                      {},
                      "Reinforcement grades B 400, B 450 and B 500 in ductility classes A, B, C."};
    for (const auto &grade : reinforcement_grades())
        steel.members.push_back({grade.member, grade.name});
    e.push_back(steel);
    e.push_back({"ExposureClass",
                 {{"X0", "X0"},
                  {"XC1", "XC1"},
                  {"XC2", "XC2"},
                  {"XC3", "XC3"},
                  {"XC4", "XC4"},
                  {"XD1", "XD1"},
                  {"XD2", "XD2"},
                  {"XD3", "XD3"},
                  {"XS1", "XS1"},
                  {"XS2", "XS2"},
                  {"XS3", "XS3"},
                  {"XF1", "XF1"},
                  {"XF2", "XF2"},
                  {"XF3", "XF3"},
                  {"XF4", "XF4"},
                  {"XA1", "XA1"},
                  {"XA2", "XA2"},
                  {"XA3", "XA3"}},
                 "Exposure classes of EN 1992-1-1 Table 4.1."});
    e.push_back({"NationalAnnex",
                 {{"NO_ANNEX", "NoAnnex"},
                  {"CZECH", "Czech"},
                  {"SLOVAK", "Slovak"},
                  {"AUSTRIAN", "Austrian"},
                  {"GERMAN", "German"},
                  {"DUTCH", "Dutch"},
                  {"BELGIAN", "Belgian"},
                  {"FRENCH", "French"},
                  {"BRITISH", "British"},
                  {"SINGAPORE", "Singapore"},
                  {"POLISH", "Polish"}},
                 "National annex of the Eurocode."});
    e.push_back({"ThermalStateType",
                 {{"NONE", "None"}, {"CODE", "Code"}},
                 "Temperature dependence of a material property: none, or as the code gives it."});
    return e;
}

}  // namespace

int Type::index_of(std::string_view field) const {
    for (size_t i = 0; i < fields.size(); ++i)
        if (field == fields[i].name) return static_cast<int>(i);
    return -1;
}

std::vector<const Field *> Type::arguments() const {
    std::vector<const Field *> out;
    if (!constructor.empty()) {
        for (const char *name : constructor) out.push_back(&fields[index_of(name)]);
        return out;
    }
    for (const auto &f : fields)
        if (!f.has(Managed)) out.push_back(&f);
    return out;
}

const EnumMember *Enumeration::find_value(std::string_view value) const {
    for (const auto &member : members)
        if (value == member.value) return &member;
    return nullptr;
}

const std::vector<ConcreteGrade> &concrete_grades() {
    static const std::vector<ConcreteGrade> grades = {
        {"C12_15", "C12/15", 12}, {"C16_20", "C16/20", 16},   {"C20_25", "C20/25", 20},
        {"C25_30", "C25/30", 25}, {"C30_37", "C30/37", 30},   {"C35_45", "C35/45", 35},
        {"C40_50", "C40/50", 40}, {"C45_55", "C45/55", 45},   {"C50_60", "C50/60", 50},
        {"C55_67", "C55/67", 55}, {"C60_75", "C60/75", 60},   {"C70_85", "C70/85", 70},
        {"C80_95", "C80/95", 80}, {"C90_105", "C90/105", 90}, {"C100_115", "C100/115", 100},
    };
    return grades;
}

const std::vector<ReinforcementGrade> &reinforcement_grades() {
    // Annex C: class A k >= 1.05, eps_uk >= 2.5 %; B k >= 1.08, 5.0 %; C k >= 1.15, 7.5 %.
    static const std::vector<ReinforcementGrade> grades = {
        {"B_400A", "B 400A", 400, 1.05, 250}, {"B_400B", "B 400B", 400, 1.08, 500},
        {"B_400C", "B 400C", 400, 1.15, 750}, {"B_450A", "B 450A", 450, 1.05, 250},
        {"B_450B", "B 450B", 450, 1.08, 500}, {"B_450C", "B 450C", 450, 1.15, 750},
        {"B_500A", "B 500A", 500, 1.05, 250}, {"B_500B", "B 500B", 500, 1.08, 500},
        {"B_500C", "B 500C", 500, 1.15, 750},
    };
    return grades;
}

const std::vector<Type> &types() {
    static const std::vector<Type> all = make_types();
    return all;
}

const std::vector<Enumeration> &enumerations() {
    static const std::vector<Enumeration> all = make_enumerations();
    return all;
}

const std::vector<Entry> &entries() {
    using W = Entry::What;
    static const std::vector<Entry> all = {
        {W::Type, "_OpenObject"},
        {W::Type, "_ReferenceElement"},
        {W::Type, "CheckMember"},
        {W::Type, "CheckMember1D"},
        {W::Type, "MatReinforcement"},
        {W::Type, "MatConcrete"},
        {W::Type, "MatConcreteEc2"},
        {W::Type, "MatReinforcementEc2"},
        {W::Type, "CrossSection"},
        {W::Type, "CrossSectionParameter"},
        {W::Type, "ReinforcedCrossSection"},
        {W::Type, "ReinforcedBar"},
        {W::Type, "Stirrup"},
        {W::Type, "CheckSection"},
        {W::Type, "StandardCheckSection"},
        {W::Type, "ConcreteMemberDataEc2"},
        {W::Type, "ExposureClassesDataEc2"},
        {W::Type, "ThermalState"},
        {W::Enumeration, "BarSurface"},
        {W::Enumeration, "ReinfClass"},
        {W::Enumeration, "ReinfType"},
        {W::Enumeration, "ReinfDiagramType"},
        {W::Enumeration, "ReinfFabrication"},
        {W::Enumeration, "ConcDiagramType"},
        {W::Enumeration, "ConcAggregateType"},
        {W::Enumeration, "ConcCementClass"},
        {W::Type, "ConcDependentParams"},
        {W::Enumeration, "CrossSectionType"},
        {W::Type, "CheckSectionExtreme"},
        {W::Type, "LoadingSLS"},
        {W::Type, "LoadingULS"},
        {W::Enumeration, "MemberType"},
        {W::Enumeration, "TwoWaySlabType"},
        {W::Type, "CalculationSetup"},
        {W::Enumeration, "ConcreteMaterial"},
        {W::Enumeration, "ReinforcementMaterial"},
        {W::Table, "_MATERIAL_NAMES"},
        {W::Table, "_MATERIAL_PROPERTIES"},
        {W::Type, "CodeSettings"},
        {W::Type, "ProjectData"},
        {W::Type, "FatigueLoading"},
        {W::Type, "CrossSectionComponent"},
        {W::Type, "InternalForces"},
        {W::Type, "CssComponent"},
        {W::Enumeration, "ExposureClass"},
        {W::Enumeration, "NationalAnnex"},
        {W::Enumeration, "ThermalStateType"},
    };
    return all;
}

const Type *find_type(std::string_view name) {
    for (const auto &type : types())
        if (name == type.name) return &type;
    return nullptr;
}

const Enumeration *find_enumeration(std::string_view name) {
    for (const auto &e : enumerations())
        if (name == e.name) return &e;
    return nullptr;
}

bool derives_from(const Type &type, std::string_view base) {
    for (const Type *t = &type; t != nullptr; t = t->base ? find_type(t->base) : nullptr)
        if (base == t->name) return true;
    return false;
}

std::string annotation(const Field &field) {
    std::string a;
    switch (field.kind) {
        case Kind::Int:
            a = "int";
            break;
        case Kind::Number:
            a = "float";
            break;
        case Kind::Bool:
            a = "bool";
            break;
        case Kind::Text:
        case Kind::Date:
            a = "str";
            break;
        case Kind::Enum:
        case Kind::Object:
            a = field.type;
            break;
        case Kind::Reference:
            a = "_ReferenceElement";
            break;
        case Kind::TypeName:
            a = "type";
            break;
        case Kind::Point:
            a = "tuple[float, float]";
            break;
        case Kind::Polyline:
            a = "collections.abc.Sequence[tuple[float, float] | "
                "tuple[tuple[float, float], tuple[float, float]]]";
            break;
        case Kind::Polylines:
            a = "collections.abc.Sequence[collections.abc.Sequence[tuple[float, float] | "
                "tuple[tuple[float, float], tuple[float, float]]]]";
            break;
        case Kind::ObjectList:
            a = std::string("list[") + field.type + "]";
            break;
        case Kind::Parameters:
            a = "dict[str, float]";
            break;
    }
    if (field.has(Optional)) a += " | None";
    return a;
}

}  // namespace marlox::schema
