// RcsOutputFileParser: the streaming parser, one check section at a time.
#include "bindings/idea_rcs_pieces.hpp"
#include "bindings/idea_rcs_results_check_section.hpp"
#include "bindings/idea_rcs_results_expat.hpp"
#include "bindings/idea_rcs_stream_pieces.hpp"
#include "bindings/idea_rcs_stream_use.hpp"
#include "core/ordered_pieces.hpp"

namespace marlox::py::results {

using marlox::results::DomBuilder;

// ---------------------------------------------------------------------------------------------
// RcsOutputFileParser

struct StreamParser {
    nb::object file;
    nb::object pos;
};

struct SectionIterator {
    enum class State { NotStarted, Running, Finished };
    nb::object parser;
    std::shared_ptr<DocState> doc;
    nb::object source;
    bool close_source = false;
    State state = State::NotStarted;
    bool busy = false;
    bool closed_input = false;  // the final parse has run
    NodeId current = kNoNode;   // the section handed out last, cleared when resumed
    nb::object pending_error;   // a ParseError raised after the sections parsed before it
    nb::object read_size;       // the argument of the next read
    long read_bytes = 0;
    nb::object unfed;  // bytes read but not yet all given to expat
    Py_ssize_t unfed_offset = 0;
    StreamUse use;  // of the parser's stream, which other scans may share
    int threads = 1;
    // The file's pieces parsed on threads, while they serve: `doc` is then the tree of the
    // piece whose sections are being handed out.
    // (Held by a shared pointer only to keep the iterator copyable: it is copied into its
    // Python object before it runs, and never after.)
    std::shared_ptr<PieceStream> pieces;
    std::uint64_t handed = 0;  // sections handed out from pieces
    std::uint64_t skip = 0;    // sections the one-pass parse passes over, handed out before

    void reset_file() {
        use.use([&] {
            return steal_or_throw(PyObject_CallMethod(parser.ptr(), "_reset_file", nullptr));
        });
    }

    ~SectionIterator() {
        if (close_source && source.is_valid() && state != State::Finished) {
            // A deallocation may come while an exception is being raised: it stays as it was.
            PyObject *type, *value, *tb;
            PyErr_Fetch(&type, &value, &tb);
            nb::object r = nb::steal(PyObject_CallMethod(source.ptr(), "close", nullptr));
            if (!r.is_valid()) PyErr_WriteUnraisable(source.ptr());
            PyErr_Restore(type, value, tb);
        }
        // The tree stays for the sections handed out; expat's parser is not needed any more.
        if (doc) doc->scanner->close();
    }

    void finish() {
        state = State::Finished;
        pieces.reset();
        use.release();
        pending_error = nb::object();
        unfed = nb::object();
        if (doc) doc->scanner->close();
        if (close_source && source.is_valid()) {
            close_source = false;
            nb::object r = steal_or_throw(PyObject_CallMethod(source.ptr(), "close", nullptr));
        }
    }

    // The next section, or an empty object at the end.
    nb::object next() {
        if (busy) {
            raise_builtin(PyExc_ValueError, "generator already executing");
        }
        if (state == State::Finished) return nb::object();
        busy = true;
        struct Unbusy {
            bool &b;
            ~Unbusy() { b = false; }
        } unbusy{busy};
        try {
            return step();
        } catch (...) {
            // An exception ends the scan, as it ends a generator; iterparse closes a file it
            // opened itself.
            state = State::Finished;
            pieces.reset();
            use.release();
            if (close_source && source.is_valid()) {
                close_source = false;
                PyObject *type, *value, *tb;
                PyErr_Fetch(&type, &value, &tb);
                PyObject *r = PyObject_CallMethod(source.ptr(), "close", nullptr);
                if (r == nullptr) {
                    Py_XDECREF(type);
                    Py_XDECREF(value);
                    Py_XDECREF(tb);
                    throw_python();
                }
                Py_DECREF(r);
                PyErr_Restore(type, value, tb);
            }
            throw;
        }
    }

    // While pieces serve: true with `doc` a tree whose sections wait, or false at the end of
    // the scan. A piece that did not parse as a document of its own hands the scan over to the
    // one-pass parse of the whole file, which passes over the sections handed out so far: what
    // it raises, and where, is then that of one pass.
    bool next_piece() {
        if (doc && !doc->scanner->builder().ended_sections().empty()) return true;
        std::unique_ptr<Scanner> tree;
        switch (pieces->next(tree)) {
            case PieceStream::Next::Piece:
                // Reading on is an operation on the stream, as a read of it is in one pass.
                use.use([] { return 0; });
                doc = std::make_shared<DocState>(std::move(tree), true);
                return true;
            case PieceStream::Next::End:
                pieces.reset();
                reset_file();
                finish();
                return false;
            case PieceStream::Next::Failed:
                break;
        }
        pieces.reset();
        skip = handed;
        use.use([&] { return steal_or_throw(PyObject_CallMethod(source.ptr(), "seek", "i", 0)); });
        doc = std::make_shared<DocState>(new_scanner(false), true);
        return true;
    }

    nb::object step() {
        if (state == State::NotStarted) {
            state = State::Running;
            // self._file.seek(0); ET.iterparse(self._file, events=("end",))
            nb::object file = steal_or_throw(PyObject_GetAttrString(parser.ptr(), "_file"));
            use.begin(file);
            use.use(
                [&] { return steal_or_throw(PyObject_CallMethod(file.ptr(), "seek", "i", 0)); });
            source = steal_or_throw(PyObject_GetAttrString(parser.ptr(), "_file"));
            if (!PyObject_HasAttrString(source.ptr(), "read")) {
                nb::object builtins = steal_or_throw(PyImport_ImportModule("builtins"));
                source = steal_or_throw(
                    PyObject_CallMethod(builtins.ptr(), "open", "Os", source.ptr(), "rb"));
                close_source = true;
            } else if (threads > 1) {
                pieces = PieceStream::open(source, threads);
            }
            if (!pieces) doc = std::make_shared<DocState>(new_scanner(false), true);
        } else if (current != kNoNode) {
            // element.clear() on the section handed out last; from now on it is stale.
            auto found = doc->materialized.find(current);
            if (found != doc->materialized.end()) {
                nb::object element = found->second;
                // A section inside another stays in that one's tree, as this same element.
                if (doc->dom().node(current).parent == kNoNode) doc->materialized.erase(found);
                nb::object r = steal_or_throw(PyObject_CallMethod(element.ptr(), "clear", nullptr));
            }
            doc->scanner->builder().clear(current);
            current = kNoNode;
            ++doc->generation;
            // What the consumer has moved past goes before the next waiting section is handed out.
            wait_for_readers(*doc);
            doc->shift_nodes(doc->scanner->builder().collect());
        }
        for (;;) {
            if (pieces && !next_piece()) return nb::object();
            DomBuilder &builder = doc->scanner->builder();
            auto &ended = builder.ended_sections();
            for (; skip > 0 && !ended.empty(); --skip) {
                builder.clear(ended.front());
                ended.pop_front();
            }
            if (!ended.empty()) {
                const NodeId node = ended.front();
                ended.pop_front();
                nb::object section_id;
                {
                    ReadGuard guard(*doc);
                    section_id = native_section_id(*doc, node);
                }
                nb::object cls =
                    steal_or_throw(PyObject_GetAttrString(parser.ptr(), "SectionResult"));
                current = node;
                if (pieces) ++handed;
                return make_section(cls, section_id, SectionHandle{doc, node, doc->generation});
            }
            if (pending_error.is_valid()) {
                nb::object error = std::move(pending_error);
                raise_error(error);
            }
            if (closed_input) {
                reset_file();
                finish();
                return nb::object();
            }
            // Nothing waits: whatever the tree still holds of earlier sections can go.
            wait_for_readers(*doc);
            doc->shift_nodes(builder.collect());
            if (unfed.is_valid()) {
                // The rest of the last read, up to the end of the next section.
                const bool ok = feed_bytes_until_section(*doc, unfed.ptr(), &unfed_offset);
                if (!ok || unfed_offset >= PyBytes_GET_SIZE(unfed.ptr())) unfed = nb::object();
                if (!ok) {
                    // XMLPullParser.feed queues a SyntaxError after the events parsed before it.
                    pending_error = parse_error_object(doc->scanner->failure());
                    doc->scanner->close();
                }
                continue;
            }
            // source.read(n), without a format string or a bound method per call: 16 KiB at
            // first, as iterparse reads, then twice as much each time up to 1 MiB, so that a
            // large file takes few reads and few handovers of the interpreter lock.
            if (!read_size.is_valid() || read_bytes < (1 << 20)) {
                read_bytes = read_size.is_valid() ? read_bytes * 2 : 16 * 1024;
                read_size = steal_or_throw(PyLong_FromLong(read_bytes));
            }
            PyObject *args[] = {nullptr, source.ptr(), read_size.ptr()};
            auto read = [&] {
                return steal_or_throw(PyObject_VectorcallMethod(
                    interned("read"), args + 1, 2 | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr));
            };
            // A file the scan opened itself is its own.
            nb::object data = close_source ? read() : use.use(read);
            if (!truthy(data.ptr())) {
                closed_input = true;
                const bool ok = feed_object(*doc, nullptr, true);
                doc->scanner->close();
                if (!ok) raise_error(parse_error_object(doc->scanner->failure()));
                continue;
            }
            if (PyBytes_CheckExact(data.ptr())) {
                unfed = std::move(data);
                unfed_offset = 0;
                continue;
            }
            if (!feed_object(*doc, data.ptr(), false)) {
                // XMLPullParser.feed queues a SyntaxError after the events parsed before it.
                pending_error = parse_error_object(doc->scanner->failure());
                doc->scanner->close();
            }
        }
    }
};

namespace {

const char *const kParserDoc =
    R"(Parser to extract results from an IDEA-RCS output file (.xml).

The following results can be read per check section (see SectionResult):

- capacity
- shear
- torsion
- interaction
- crack width
- detailing
- stress limitation
- fatigue

Example using a File, opened as a binary stream:

.. code-block:: python

    output_file = analysis.get_output_file(as_file=True)
    with output_file.open_binary() as f:
        parser = RcsOutputFileParser(f)
        for section in parser.section_results():
            capacity = section.capacity()

Example using the BytesIO that get_output_file() returns:

.. code-block:: python

    output_file = analysis.get_output_file()
    parser = RcsOutputFileParser(output_file)
    section = parser.section_result(1)
    shear = section.shear())";

const char *const kSectionResultsDoc =
    R"(Iterates through all section results.

:param threads: the threads that parse a large file (a file opened for reading, or a BytesIO,
    of several MB) side by side, a part of it between two check sections each, while this
    iterator hands the sections out in document order: None for the processors this process
    may run on, 1 (the default) for one pass. The sections, their ids and what their readers
    return are the same; so are an error, its message and position, and the sections handed
    out before it; and, as in one pass, a section handed out is emptied when the iteration
    moves on. What differs with threads: the file is read by offset, so a scan stopped early
    leaves the stream at its start (one pass leaves it where its reads stopped); a file that
    changes while it is read raises RuntimeError; and a few parts ahead of the one handed out
    are parsed, and held, before they are asked for.)";

}  // namespace

void bind_stream_parser(nb::module_ &m) {
    using namespace nb::literals;

    m.def(
        "_stream_pieces_begun", [] { return marlox::results::OrderedPieces::begun_total(); },
        "Internal: the pieces of result files begun on threads by streaming scans so far.");

    nb::class_<SectionHandle>(m, "_SectionHandle",
                              "Internal: a check section of a running scan, before it is "
                              "given to a SectionResult.");

    nb::class_<StreamParser> parser(m, "RcsOutputFileParser", nb::dynamic_attr(), kParserDoc);

    bind_section_result(m, parser);

    nb::class_<SectionIterator>(m, "_SectionResultIterator",
                                "Iterator over the check sections of a result file.")
        .def("__iter__", [](nb::handle self) { return nb::borrow(self); })
        .def("__next__",
             [](SectionIterator &it) {
                 nb::object section = it.next();
                 if (!section.is_valid()) throw nb::stop_iteration();
                 return section;
             })
        .def(
            "send",
            [](SectionIterator &it, nb::handle value) {
                if (it.state == SectionIterator::State::NotStarted && !value.is_none()) {
                    raise_builtin(PyExc_TypeError,
                                  "can't send non-None value to a just-started generator");
                }
                nb::object section = it.next();  // the value itself is not used
                if (!section.is_valid()) throw nb::stop_iteration();
                return section;
            },
            "value"_a.none())
        .def(
            "throw",
            [](SectionIterator &it, nb::handle type, nb::handle value, nb::handle traceback) {
                // Raised where the scan waits, and not caught there: the scan ends with it.
                if (it.busy) {
                    raise_builtin(PyExc_ValueError, "generator already executing");
                }
                if (it.state != SectionIterator::State::Finished) it.finish();
                nb::object error;
                if (PyExceptionInstance_Check(type.ptr())) {
                    error = nb::borrow(type);
                } else {
                    error = steal_or_throw(PyObject_CallNoArgs(type.ptr()));
                    if (!value.is_none()) {
                        error = steal_or_throw(PyObject_CallOneArg(type.ptr(), value.ptr()));
                    }
                }
                if (!traceback.is_none()) PyException_SetTraceback(error.ptr(), traceback.ptr());
                raise_error(error);
            },
            "typ"_a, "val"_a.none() = nb::none(), "tb"_a.none() = nb::none())
        .def("close", [](SectionIterator &it) {
            if (it.busy) {
                raise_builtin(PyExc_ValueError, "generator already executing");
            }
            if (it.state != SectionIterator::State::Finished) it.finish();
        });

    parser
        .def(
            "__init__",
            [](StreamParser *self, nb::object xml_file) {
                nb::object pos =
                    steal_or_throw(PyObject_CallMethod(xml_file.ptr(), "tell", nullptr));
                StreamParser *p = new (self) StreamParser();
                p->pos = std::move(pos);
                p->file = std::move(xml_file);
            },
            "xml_file"_a.none(), nb::sig("def __init__(self, xml_file: typing.BinaryIO) -> None"))
        .def_prop_rw(
            "_file", [](StreamParser &p) { return p.file; },
            [](StreamParser &p, nb::object v) { p.file = std::move(v); }, nb::arg("value").none())
        .def_prop_rw(
            "_pos", [](StreamParser &p) { return p.pos; },
            [](StreamParser &p, nb::object v) { p.pos = std::move(v); }, nb::arg("value").none())
        .def(
            "_reset_file",
            [](nb::handle self) {
                nb::object file = steal_or_throw(PyObject_GetAttrString(self.ptr(), "_file"));
                nb::object pos = steal_or_throw(PyObject_GetAttrString(self.ptr(), "_pos"));
                nb::object r =
                    steal_or_throw(PyObject_CallMethod(file.ptr(), "seek", "O", pos.ptr()));
            },
            "Seek the stream back to where it was when the parser was made.")
        .def(
            "section_results",
            [](nb::handle self, nb::handle threads) {
                SectionIterator it;
                it.threads = table_scan::threads_argument(threads);
                it.parser = nb::borrow(self);
                return it;
            },
            nb::kw_only(), "threads"_a.none() = 1,
            nb::sig("def section_results(self, *, threads: int | None = 1) -> "
                    "collections.abc.Iterator[marlox.external.idea_rcs.idea_rcs."
                    "RcsOutputFileParser.SectionResult]"),
            kSectionResultsDoc)
        .def(
            "section_result",
            [](nb::handle self, nb::handle id_) {
                // for section in self.section_results(): ... (a subclass may replace it)
                nb::object sections =
                    steal_or_throw(PyObject_CallMethod(self.ptr(), "section_results", nullptr));
                nb::object it = steal_or_throw(PyObject_GetIter(sections.ptr()));
                while (PyObject *item = PyIter_Next(it.ptr())) {
                    nb::object section = nb::steal(item);
                    nb::object sid = steal_or_throw(PyObject_GetAttrString(section.ptr(), "id_"));
                    if (equals(sid.ptr(), id_.ptr())) {
                        SectionIterator *scan = nullptr;
                        if (nb::try_cast<SectionIterator *>(it, scan) && scan != nullptr) {
                            scan->reset_file();  // still this scan's use of the stream
                        } else {
                            nb::object r = steal_or_throw(
                                PyObject_CallMethod(self.ptr(), "_reset_file", nullptr));
                        }
                        // The scan is abandoned here: the section keeps its element.
                        return section;
                    }
                }
                if (PyErr_Occurred()) throw_python();
                raise_not_available(id_.ptr());
            },
            "id_"_a.none(),
            nb::sig("def section_result(self, id_: int) -> "
                    "marlox.external.idea_rcs.idea_rcs.RcsOutputFileParser.SectionResult"),
            "Get the result of the check section with the given id.\n\n"
            ":raises ParsingError: if no section has that id.");
}

}  // namespace marlox::py::results
