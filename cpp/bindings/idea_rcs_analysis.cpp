// IdeaRcsAnalysis: the job that runs IDEA StatiCa RCS on a worker of the integration "idearcs".
//
// The class is a Python subclass of the SDK's ExternalProgram, made at module initialisation
// with type(); its methods are nanobind functions. The SDK's callables (_JobContent, File via
// _get_result, ExecutionError, BytesIO) are looked up at each call, so a replaced SDK is used.
#include <Python.h>

#include <cstring>
#include <new>
#include <string>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "core/error.hpp"
#include "core/wire.hpp"

namespace marlox::py {

namespace {

using namespace nb::literals;

constexpr const char *kSdkModule = "marlox.external.external_program";
constexpr const char *kIntegration = "idearcs";

// The worker's failure texts (matched exactly) and the messages raised for them.
struct KnownFailure {
    const char *worker_text;
    const char *message;
};

constexpr KnownFailure kKnownFailures[] = {
    {"Marlox Idea link not found",
     "Marlox Idea Link not found, please check worker installation on server"},
    {"Missing input", "Input is missing, please check input file"},
    {"Failed creating model",
     "Idea model cannot be generated, please check correctness of input file"},
    {"Failed calculation",
     "Idea analysis cannot be completed, please check input, license and server"},
};

// What to configure when the worker found no RCS service ("Marlox Idea link not found"), or
// nothing when there is no advice to give: the embedded platform's worker runs in this process
// and reads its service from this environment, a served platform's worker from its own.
std::string link_hint() {
    const std::string where = "; see \"Running IDEA StatiCa RCS\" in the README of marlox.local.";
    if (!nb::module_::import_("marlox.core").attr("_platform")().is_none()) {
        return "The platform's \"idearcs\" worker found no IDEA StatiCa RCS service: "
               "MARLOX_IDEA_RCS_URL (a running RCS REST service) or MARLOX_IDEA_RCS_EXE (its "
               "executable) must name one where that worker runs" +
               where;
    }
    nb::object get = nb::module_::import_("os").attr("environ").attr("get");
    if (truthy(get("MARLOX_IDEA_RCS_URL")) || truthy(get("MARLOX_IDEA_RCS_EXE"))) return {};
    return "No IDEA StatiCa RCS service is configured for the embedded platform: set "
           "MARLOX_IDEA_RCS_URL to the address of a running RCS REST service, or "
           "MARLOX_IDEA_RCS_EXE to its executable, IdeaStatiCa.RcsRestApi.exe" +
           where;
}

void init(nb::handle self, nb::handle input_file, nb::handle return_result_xml,
          nb::handle return_rcs_file) {
    // Version 2 asks the worker to read return_rcs_file; it is chosen by the argument's
    // presence, not its truth, and return_result_xml plays no part.
    const int version = return_rcs_file.is_none() ? 1 : 2;
    nb::object cls =
        nb::module_::import_("marlox.external.idea_rcs.idea_rcs").attr("IdeaRcsAnalysis");
    nb::object super_type = nb::borrow(reinterpret_cast<PyObject *>(&PySuper_Type));
    super_type(cls, self).attr("__init__")(kIntegration, "version"_a = version);
    nb::setattr(self, "input_file", input_file);
    // The result XML cannot be switched off: any falsy argument means "on".
    nb::setattr(self, "_return_result_xml",
                truthy(return_result_xml) ? nb::borrow(return_result_xml) : nb::bool_(true));
    nb::setattr(self, "_return_rcs_file",
                truthy(return_rcs_file) ? nb::borrow(return_rcs_file) : nb::bool_(false));
}

nb::object generate_job_content(nb::handle self) {
    nb::object input_file = self.attr("input_file");
    nb::object bytes_io = nb::module_::import_("io").attr("BytesIO");
    const int is_bytes_io = PyObject_IsInstance(input_file.ptr(), bytes_io.ptr());
    if (is_bytes_io < 0) throw_python();
    nb::object data =
        is_bytes_io ? input_file.attr("getvalue")() : input_file.attr("getvalue_binary")();
    nb::object body = str_from(wire::base64(BufferView(data).bytes()));
    nb::object job_content = nb::module_::import_(kSdkModule).attr("_JobContent");
    return job_content("body"_a = body, "return_result_xml"_a = self.attr("_return_result_xml"),
                       "return_rcs_file"_a = self.attr("_return_rcs_file"));
}

nb::object handle_execution_error(nb::handle, nb::handle message) {
    if (!PyUnicode_Check(message.ptr())) {
        // Not a text, so no key; an unhashable one fails as a dictionary lookup would.
        if (PyObject_Hash(message.ptr()) == -1) throw_python();
        return nb::none();
    }
    Py_ssize_t size = 0;
    const char *text = PyUnicode_AsUTF8AndSize(message.ptr(), &size);
    if (text == nullptr) {
        // Lone surrogates: not UTF-8, so equal to none of the keys.
        if (!PyErr_ExceptionMatches(PyExc_UnicodeEncodeError)) throw_python();
        PyErr_Clear();
        return nb::none();
    }
    for (const KnownFailure &failure : kKnownFailures) {
        if (std::strlen(failure.worker_text) == static_cast<size_t>(size) &&
            std::memcmp(failure.worker_text, text, static_cast<size_t>(size)) == 0) {
            if (&failure != &kKnownFailures[0]) raise_sdk_error("ExecutionError", failure.message);
            raise_sdk_error("ExecutionError", failure.message, link_hint());
        }
    }
    return nb::none();
}

nb::object get_output_file(nb::handle self, nb::handle as_file) {
    if (!truthy(self.attr("_return_result_xml")))
        fail(ErrorKind::Value, "The result file is not available when 'return_result_xml' = False");
    return self.attr("_get_result")("body", "as_file"_a = as_file);
}

nb::object get_idea_rcs_file(nb::handle self, nb::handle as_file) {
    if (!truthy(self.attr("_return_rcs_file")))
        fail(ErrorKind::Value, "The rcs file is not available when 'return_rcs_file' = False");
    return self.attr("_get_result")("idea_rcs_body", "as_file"_a = as_file);
}

constexpr const char *kClassDoc =
    "Analysis of an IDEA StatiCa RCS input file, run as a job on a worker of the integration\n"
    "\"idearcs\".\n"
    "\n"
    "Start it with the inherited ``execute(timeout=...)``; afterwards ``get_output_file()``\n"
    "returns the result XML and ``get_idea_rcs_file()`` the .ideaRcs project file, if it was\n"
    "asked for.";

constexpr const char *kInitDoc =
    "Prepare the analysis of ``input_file`` (the IDEA StatiCa RCS input XML, e.g. from\n"
    "``generate_xml_input()``), stored as given and read when the job is sent.\n"
    "\n"
    "The result XML is always returned: ``return_result_xml`` defaults to on, and a false\n"
    "value also means on. The .ideaRcs project file is returned when ``return_rcs_file`` is\n"
    "true; it defaults to off.";

constexpr const char *kJobContentDoc =
    "The job content: the input file's bytes as base64 text (``body``) and both flags.";

constexpr const char *kHandleErrorDoc =
    "Raise ``ExecutionError`` for a known failure text of the worker; return None for any\n"
    "other text. When the worker found no RCS service, the error carries a note that says\n"
    "what to configure.";

constexpr const char *kOutputDoc =
    "The result XML of the executed job (UTF-16 encoded): a ``BytesIO``, or a ``File`` when\n"
    "``as_file`` is true. ``execute`` must have been called first; without results (before\n"
    "it, or after one that failed, saying why) the SDK raises ``ExecutionError``.";

constexpr const char *kRcsFileDoc =
    "The .ideaRcs project file made from the input: a ``BytesIO``, or a ``File`` when\n"
    "``as_file`` is true. Needs ``return_rcs_file`` and a completed ``execute``.";

}  // namespace

void bind_analysis(nb::module_ &m) {
    nb::object base = nb::module_::import_(kSdkModule).attr("ExternalProgram");
    nb::dict ns;
    ns["__module__"] = m.attr("__name__");
    ns["__qualname__"] = "IdeaRcsAnalysis";
    ns["__doc__"] = kClassDoc;
    ns["__init__"] = nb::cpp_function(
        &init, nb::is_method(), nb::arg("input_file").none(), nb::kw_only(),
        nb::arg("return_result_xml").none() = nb::none(),
        nb::arg("return_rcs_file").none() = nb::none(),
        nb::sig("def __init__(self, input_file: io.BytesIO | marlox.core.File, *, "
                "return_result_xml: bool | None = None, return_rcs_file: bool | None = None) "
                "-> None"),
        kInitDoc);
    ns["_generate_job_content"] =
        nb::cpp_function(&generate_job_content, nb::is_method(),
                         nb::sig("def _generate_job_content(self) -> "
                                 "marlox.external.external_program._JobContent"),
                         kJobContentDoc);
    ns["_handle_execution_error"] = nb::cpp_function(
        &handle_execution_error, nb::is_method(), nb::arg("message").none(),
        nb::sig("def _handle_execution_error(self, message: str) -> None"), kHandleErrorDoc);
    ns["get_output_file"] = nb::cpp_function(
        &get_output_file, nb::is_method(), nb::kw_only(), nb::arg("as_file").none() = false,
        nb::sig("def get_output_file(self, *, as_file: bool | None = False) -> "
                "io.BytesIO | marlox.core.File"),
        kOutputDoc);
    ns["get_idea_rcs_file"] = nb::cpp_function(
        &get_idea_rcs_file, nb::is_method(), nb::kw_only(), nb::arg("as_file").none() = false,
        nb::sig("def get_idea_rcs_file(self, *, as_file: bool | None = False) -> "
                "io.BytesIO | marlox.core.File"),
        kRcsFileDoc);
    nb::object type = nb::borrow(reinterpret_cast<PyObject *>(&PyType_Type));
    m.attr("IdeaRcsAnalysis") = type("IdeaRcsAnalysis", nb::make_tuple(base), ns);
}

}  // namespace marlox::py
