// The calculation report for Python: the HTML page of a check table and its model, written by
// the core (core/report_html.hpp) to a binary stream. The Python module `report` chooses the
// files, hashes them, and makes the PDF.
#include <nanobind/stl/string.h>

#include <memory>
#include <string>

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "core/report_html.hpp"

namespace marlox::py::results {

namespace {

constexpr const char *kSections = "check_section_list";

std::string item(const nb::dict &sources, const char *key) {
    if (!sources.contains(key)) return {};
    nb::handle v = sources[key];
    return v.is_none() ? std::string() : nb::cast<std::string>(nb::str(v));
}

void write_report_html(nb::handle results, nb::handle model, nb::handle stream,
                       const nb::dict &sources) {
    marlox::report::Sources s;
    s.input_name = item(sources, "input_name");
    s.input_sha256 = item(sources, "input_sha256");
    s.result_name = item(sources, "result_name");
    s.result_sha256 = item(sources, "result_sha256");
    s.version = item(sources, "version");
    s.created = item(sources, "created");
    s.rcs_version = item(sources, "rcs_version");
    nb::object write = nb::getattr(stream, "write");
    std::unique_ptr<marlox::report::Writer> writer;
    {
        // The model's document, but its check sections (most of it: their loads) made JSON
        // one at a time: the whole document as one parsed tree would hold about 10 KB a
        // section of 5 extremes, and is let go once the parts from it are written anyway.
        nb::object m = nb::borrow(model);
        if (!PyObject_HasAttrString(model.ptr(), "_serialize")) {
            m = nb::module_::import_("marlox.external.idea_rcs.idea_rcs")
                    .attr("OpenModel")
                    .attr("from_xml")(model);
        }
        nb::object doc = m.attr("_serialize")();
        if (!PyDict_Check(doc.ptr())) {
            throw marlox::Error(ErrorKind::Value, "not a serialised model: not an object");
        }
        nb::object dumps = nb::module_::import_("json").attr("dumps");
        auto parsed = [&](nb::handle o) {
            return marlox::json::parse(nb::cast<std::string>(dumps(o)));
        };
        nb::object rest = steal_or_throw(PyDict_Copy(doc.ptr()));
        nb::object sections = nb::none();
        if (PyDict_GetItemString(doc.ptr(), kSections) != nullptr) {
            sections = nb::borrow(PyDict_GetItemString(doc.ptr(), kSections));
            if (PyDict_DelItemString(rest.ptr(), kSections) != 0) throw_python();
        }
        const marlox::json::Value base = parsed(rest);
        writer = std::make_unique<marlox::report::Writer>(base, s);
        if (!sections.is_none()) {
            if (!PyList_Check(sections.ptr()) && !PyTuple_Check(sections.ptr())) {
                throw marlox::Error(ErrorKind::Value,
                                    "not a serialised model: check_section_list is not a list");
            }
            for (nb::handle entry : sections) writer->add_model_section(base, parsed(entry));
        }
    }
    scan_check_sections(results, writer->context(),
                        [&](marlox::results::CheckTableBuilder &builder) {
                            const marlox::table::Table rows = builder.take_rows();
                            writer->add_section(rows, builder.take_non_conformities());
                        });
    writer->finish([&](std::string_view piece) {
        nb::object data =
            steal_or_throw(PyBytes_FromStringAndSize(piece.data(), (Py_ssize_t)piece.size()));
        nb::object r = steal_or_throw(PyObject_CallOneArg(write.ptr(), data.ptr()));
    });
}

}  // namespace

void bind_report(nb::module_ &m) {
    using namespace nb::literals;
    m.def("_write_report_html", &write_report_html, "results"_a, "model"_a, "stream"_a, "sources"_a,
          nb::sig("def _write_report_html(results: str | os.PathLike[str] | typing.BinaryIO, "
                  "model: _Model | str | os.PathLike[str] | bytes | typing.BinaryIO, stream: "
                  "typing.BinaryIO, sources: dict[str, str]) -> None"),
          "Write the calculation report of the result file `results` and the `model` it was "
          "run from as one HTML page to the binary `stream`, each section's checks written "
          "as the file is read; `sources` names the input and result files with their "
          "SHA-256, the package version, the date and the RCS version when known (see "
          "marlox.external.idea_rcs.report).");
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_report(nb::module_ &m) { results::bind_report(m); }
}  // namespace marlox::py
