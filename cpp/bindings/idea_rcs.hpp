// The areas of the idea_rcs extension module; each binds its classes into the module.
#pragma once

#include <nanobind/nanobind.h>

namespace marlox::py {

namespace nb = nanobind;

// _Model, _EnumEncoder and OpenModel.
void bind_model(nb::module_ &m);

// Section prototypes, members and the member-oriented Model.
void bind_members(nb::module_ &m);
// A member of the class named `member_class` on `rcs` and `check_section`, made by `model`.
nb::object made_member(const char *member_class, nb::handle rcs, nb::handle check_section,
                       nb::handle model);

// The common section shapes (TSection, CircleSection, ...) beside RectSection and GeneralShape.
void bind_shapes(nb::module_ &m);

// Bar patterns and stirrups of reinforced cross-sections and members, and BarLayer.
void bind_patterns(nb::module_ &m);

// Read-only lists of a model's objects, reprs, and section properties.
void bind_readback(nb::module_ &m);

// validate(), ensure_valid() and plot() of _Model, with Finding, Severity and ModelError.
void bind_validate(nb::module_ &m);

// svg() of _Model, the drawing as SVG text, and the inline drawings of Jupyter.
void bind_drawing(nb::module_ &m);

// IdeaRcsAnalysis, the analysis job (a subclass of the SDK's ExternalProgram).
void bind_analysis(nb::module_ &m);

// Result parsing: RcsOutputFileParser (with RcsOutputFileParser.SectionResult) and
// OutputFileParser.
void bind_results(nb::module_ &m);

// The check table of a result file: check_table(), CheckTable and ResultTable.
void bind_table(nb::module_ &m);
// _write_report_html: the calculation report (idea_rcs_report.cpp).
void bind_report(nb::module_ &m);

// The tables of a study: _stack_tables(), the variants' tables led by their parameters.
void bind_study(nb::module_ &m);

// OpenModel.from_xml: input XML read back into a model.
void bind_reader(nb::module_ &m);

}  // namespace marlox::py
