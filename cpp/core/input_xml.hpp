// The writer of IDEA StatiCa RCS input XML: an OpenModel document as RCS imports it.
#pragma once

#include <string>
#include <string_view>

namespace marlox::input_xml {

// Write the input XML (UTF-8, declaration included) for a serialised model given as JSON text:
// the nine-key document of the model builders. Throws marlox::Error(Value) naming the object
// and the field that cannot be converted.
std::string write(std::string_view document);

// A double in .NET's round-trip form, as IDEA writes numbers: "0.016", "1E-05", "32800000000".
std::string format_number(double value);

}  // namespace marlox::input_xml
