// _bench_probes, a module built only for the benchmarks (CMake option MARLOX_BENCH_PROBES; see
// bench/README.md). expat_floor: expat configured as the result scanner configures it (the
// interpreter's own expat, namespace processing with "}" as ElementTree sets it up, the same
// handlers set), with handlers that do nothing. What a scan costs beyond this is the
// scanner's own; what this costs beyond expat without handlers is expat's own work for them
// (names and text converted to UTF-8, namespaces resolved).
#include <Python.h>
#include <nanobind/nanobind.h>

#include <new>

#include "core/expat_api.hpp"

namespace nb = nanobind;
namespace expat = marlox::expat;

namespace {

void on_start(void *, const char *, const char **) {}
void on_end(void *, const char *) {}
void on_text(void *, const char *, int) {}
void on_comment(void *, const char *) {}
void on_pi(void *, const char *, const char *) {}
void on_doctype(void *, const char *, const char *, const char *, int) {}

// Reads `stream` to its end in pieces of `size` bytes; returns the number of bytes parsed.
long long expat_floor(nb::handle stream, long size) {
    auto *api = static_cast<const expat::CApi *>(PyCapsule_Import(expat::kCapsuleName, 0));
    if (api == nullptr) throw nb::python_error();
    expat::Parser parser = api->ParserCreate_MM(nullptr, nullptr, "}");
    if (parser == nullptr) throw std::bad_alloc();
    api->SetElementHandler(parser, &on_start, &on_end);
    api->SetDefaultHandlerExpand(parser, &on_text);
    api->SetCharacterDataHandler(parser, &on_text);
    api->SetCommentHandler(parser, &on_comment);
    api->SetProcessingInstructionHandler(parser, &on_pi);
    api->SetStartDoctypeDeclHandler(parser, &on_doctype);
    struct Free {
        const expat::CApi *api;
        expat::Parser parser;
        ~Free() { api->ParserFree(parser); }
    } free_parser{api, parser};
    long long total = 0;
    nb::object read = stream.attr("read");
    for (;;) {
        nb::bytes data = nb::cast<nb::bytes>(read(size));
        const bool last = data.size() == 0;
        expat::Status status;
        {
            nb::gil_scoped_release release;
            status = api->Parse(parser, data.c_str(), (int)data.size(), last ? 1 : 0);
        }
        if (status == expat::STATUS_ERROR) {
            PyErr_SetString(PyExc_ValueError, api->ErrorString(api->GetErrorCode(parser)));
            throw nb::python_error();
        }
        total += (long long)data.size();
        if (last) return total;
    }
}

}  // namespace

NB_MODULE(_bench_probes, m) {
    using namespace nb::literals;
    m.doc() = "Probes for the benchmarks; not part of the product.";
    m.def("expat_floor", &expat_floor, "stream"_a, "size"_a = 1 << 20,
          "Parse a binary stream with expat set up as the result scanner sets it up, with "
          "handlers that do nothing; returns the bytes parsed.");
}
