// The result scanner: the host's expat parser, set up exactly as ElementTree's XMLParser sets
// up its own (namespace separator "}", the same handlers, the host's unknown-encoding
// handler and hash salt), feeding a DomBuilder. Python-free: it may run without the
// interpreter lock, except that the host's unknown-encoding handler is called as given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/expat_api.hpp"
#include "core/result_dom.hpp"

namespace marlox::results {

// A failure of one feed, as ElementTree would report it.
struct ScanFailure {
    enum class Kind {
        None,
        Expat,   // expat's own error: message is expat's error string
        Entity,  // ElementTree's "undefined entity &name;" (message given in full)
        Memory,  // the builder ran out of memory
    };
    Kind kind = Kind::None;
    int code = 0;
    std::uint64_t line = 0;
    std::uint64_t column = 0;
    std::string message;  // without the ": line L, column C" suffix
};

class Scanner {
  public:
    // `keep_all`: keep the whole document (else only the section subtrees).
    Scanner(const expat::Host &host, bool keep_all);
    ~Scanner();
    Scanner(const Scanner &) = delete;
    Scanner &operator=(const Scanner &) = delete;

    // False when expat could not create its parser (out of memory).
    bool created() const noexcept { return parser_ != nullptr; }

    // ElementTree's XMLParser.feed with text: the protocol encoding becomes UTF-8.
    void set_encoding_utf8() noexcept;
    // One expat Parse call; false on failure (see failure()). `len` must fit in an int.
    bool feed(const char *data, int len, bool final) noexcept;
    const ScanFailure &failure() const noexcept { return failure_; }
    // Free expat's parser once no more input will come (the tree stays).
    void close() noexcept;

    Dom &dom() noexcept { return dom_; }
    DomBuilder &builder() noexcept { return builder_; }

  private:
    static void on_start(void *user, const char *name, const char **atts);
    static void on_end(void *user, const char *name);
    static void on_data(void *user, const char *s, int len);
    static void on_default(void *user, const char *s, int len);
    static void on_comment(void *user, const char *data);
    static void on_pi(void *user, const char *target, const char *data);
    static void on_doctype(void *user, const char *, const char *, const char *, int);

    void fail_memory() noexcept;

    const expat::CApi *api_;
    expat::Parser parser_ = nullptr;
    Dom dom_;
    DomBuilder builder_;
    bool aborted_ = false;  // a handler failed: the others do nothing more (as in ElementTree)
    ScanFailure failure_;
};

}  // namespace marlox::results
