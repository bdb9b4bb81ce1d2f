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
    nb::object write = nb::getattr(stream, "write");
    std::unique_ptr<marlox::report::Writer> writer;
    {
        // the serialised model is let go once the parts from it are written
        const marlox::json::Value doc = model_document(model);
        writer = std::make_unique<marlox::report::Writer>(doc, s);
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
          "SHA-256, the package version and the date (see marlox.external.idea_rcs.report).");
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_report(nb::module_ &m) { results::bind_report(m); }
}  // namespace marlox::py
