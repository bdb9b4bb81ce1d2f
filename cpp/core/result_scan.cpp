#include "core/result_scan.hpp"

#include <cstring>
#include <new>

namespace marlox::results {

Scanner::Scanner(const expat::Host &host, bool keep_all)
    : api_(host.api), builder_(dom_, keep_all) {
    // ElementTree: ParserCreate_MM(encoding=NULL, memory suite, "}"). The memory suite here is
    // expat's default (the C allocator), so that parsing needs no interpreter lock.
    parser_ = api_->ParserCreate_MM(nullptr, nullptr, "}");
    if (parser_ == nullptr) return;
    if (host.has_hash_salt && api_->SetHashSalt != nullptr) {
        api_->SetHashSalt(parser_, host.hash_salt);
    }
    api_->SetUserData(parser_, this);
    api_->SetElementHandler(parser_, &Scanner::on_start, &Scanner::on_end);
    api_->SetDefaultHandlerExpand(parser_, &Scanner::on_default);
    api_->SetCharacterDataHandler(parser_, &Scanner::on_data);
    api_->SetCommentHandler(parser_, &Scanner::on_comment);
    api_->SetProcessingInstructionHandler(parser_, &Scanner::on_pi);
    api_->SetStartDoctypeDeclHandler(parser_, &Scanner::on_doctype);
    api_->SetUnknownEncodingHandler(parser_, host.unknown_encoding, host.unknown_encoding_data);
}

Scanner::~Scanner() { close(); }

void Scanner::close() noexcept {
    if (parser_ != nullptr) api_->ParserFree(parser_);
    parser_ = nullptr;
}

void Scanner::set_encoding_utf8() noexcept { (void)api_->SetEncoding(parser_, "utf-8"); }

bool Scanner::feed(const char *data, int len, bool final) noexcept {
    const expat::Status status = api_->Parse(parser_, data, len, final ? 1 : 0);
    if (aborted_) return false;  // a handler's failure comes first, as in ElementTree
    if (status == expat::STATUS_ERROR) {
        failure_.kind = ScanFailure::Kind::Expat;
        failure_.code = (int)api_->GetErrorCode(parser_);
        failure_.line = api_->GetErrorLineNumber(parser_);
        failure_.column = api_->GetErrorColumnNumber(parser_);
        const char *text = api_->ErrorString((expat::Error)failure_.code);
        try {
            failure_.message = text != nullptr ? text : "";
        } catch (...) {
            failure_.message.clear();
        }
        return false;
    }
    return true;
}

void Scanner::fail_memory() noexcept {
    aborted_ = true;
    failure_.kind = ScanFailure::Kind::Memory;
    failure_.code = expat::ERROR_NO_MEMORY;
}

void Scanner::on_start(void *user, const char *name, const char **atts) {
    auto *self = static_cast<Scanner *>(user);
    if (self->aborted_) return;
    try {
        self->builder_.start(name, atts);
    } catch (...) {
        self->fail_memory();
    }
}

void Scanner::on_end(void *user, const char *) {
    auto *self = static_cast<Scanner *>(user);
    if (self->aborted_) return;
    try {
        self->builder_.end();
    } catch (...) {
        self->fail_memory();
    }
}

void Scanner::on_data(void *user, const char *s, int len) {
    auto *self = static_cast<Scanner *>(user);
    if (self->aborted_) return;
    try {
        self->builder_.data(s, len);
    } catch (...) {
        self->fail_memory();
    }
}

// TreeBuilder flushes pending text at comments and processing instructions (it makes them but
// does not insert them into the tree).
void Scanner::on_comment(void *user, const char *) {
    auto *self = static_cast<Scanner *>(user);
    if (self->aborted_) return;
    try {
        self->builder_.flush();
    } catch (...) {
        self->fail_memory();
    }
}

void Scanner::on_pi(void *user, const char *, const char *) { on_comment(user, nullptr); }

// ElementTree's default handler: an entity reference that reaches it (expat passes undefined
// entities here when the document has an external subset) is an error of its own, reported
// with the position at that moment; the first such error is kept.
void Scanner::on_default(void *user, const char *s, int len) {
    auto *self = static_cast<Scanner *>(user);
    if (len < 2 || s[0] != '&') return;
    if (self->aborted_) return;
    self->aborted_ = true;
    ScanFailure &f = self->failure_;
    f.kind = ScanFailure::Kind::Entity;
    f.code = expat::ERROR_UNDEFINED_ENTITY;
    f.line = self->api_->GetErrorLineNumber(self->parser_);
    f.column = self->api_->GetErrorColumnNumber(self->parser_);
    try {
        f.message = "undefined entity ";
        f.message.append(s, (std::size_t)(len < 100 ? len : 100));
    } catch (...) {
        f.kind = ScanFailure::Kind::Memory;
        f.code = expat::ERROR_NO_MEMORY;
    }
}

// ElementTree's doctype handler does nothing for its own tree builder; it is installed all
// the same so that expat reports the declaration the same way.
void Scanner::on_doctype(void *, const char *, const char *, const char *, int) {}

}  // namespace marlox::results
