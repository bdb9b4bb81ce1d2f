// The writer of IDEA StatiCa RCS input XML: an OpenModel document as RCS imports it.
#pragma once

#include <string>
#include <string_view>

namespace marlox::input_xml {

// Write the input XML (UTF-8, declaration included) for a serialised model given as JSON text:
// the nine-key document of the model builders. Throws marlox::Error(Value) naming the object
// and the field that cannot be converted.
std::string write(std::string_view document);

// The top-level lists of IDEA's OpenModel that an RCS model leaves empty, in the four places
// where the writer states them as empty elements (the reader accepts them as well).
inline constexpr const char *kEmptyListsBeforeMaterials[] = {
    "Point3D", "LineSegment3D", "ArcSegment3D", "PolyLine3D", "Region3D"};
inline constexpr const char *kEmptyListsBeforeMemberData[] = {"HingeElement1D",
                                                              "Opening",
                                                              "DappedEnd",
                                                              "PatchDevice",
                                                              "Element1D",
                                                              "Beam",
                                                              "Member1D",
                                                              "Element2D",
                                                              "Wall",
                                                              "Member2D",
                                                              "RigidLink",
                                                              "PointOnLine3D",
                                                              "PointSupportNode",
                                                              "LineSupportSegment",
                                                              "LoadsInPoint",
                                                              "LoadsOnLine",
                                                              "StrainLoadsOnLine",
                                                              "PointLoadsOnLine",
                                                              "LoadsOnSurface",
                                                              "Settlements",
                                                              "TemperatureLoadsOnLine",
                                                              "LoadGroup",
                                                              "LoadCase",
                                                              "CombiInput"};
inline constexpr const char *kEmptyListsBeforeProjectData[] = {
    "ConnectionPoint", "Connections", "Reinforcement", "ISDModel",    "InitialImperfectionOfPoint",
    "Tendon",          "ResultClass", "DesignMember",  "SubStructure"};
inline constexpr const char *kEmptyListsAtTheEnd[] = {
    "RebarShape", "RebarGeneral", "RebarSingle", "RebarStirrups", "Taper", "Span"};

// A double in .NET's round-trip form, as IDEA writes numbers: "0.016", "1E-05", "32800000000".
std::string format_number(double value);

}  // namespace marlox::input_xml
