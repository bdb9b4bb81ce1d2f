// Failures raised by the Python-free core. The binding layer turns each kind into the Python
// exception that callers already catch (see bindings/translate.hpp).
#pragma once

#include <stdexcept>
#include <string>

namespace marlox {

enum class ErrorKind {
    Value,           // ValueError
    Type,            // TypeError
    Key,             // KeyError
    Index,           // IndexError
    Attribute,       // AttributeError
    NotImplemented,  // NotImplementedError
    Memory,          // MemoryError
    Parse,           // xml.etree.ElementTree.ParseError (with code and position)
    SdkParsing,      // marlox.errors.ParsingError
    SdkInternal,     // marlox.errors.InternalError
    SdkExecution,    // marlox.errors.ExecutionError
    OS,              // OSError, with the errno as its code
};

class Error : public std::runtime_error {
  public:
    Error(ErrorKind kind, const std::string &message) : std::runtime_error(message), kind_(kind) {}

    // An XML parse failure as expat reports it: error code, line (1-based), column (0-based).
    static Error parse(const std::string &message, int code, long line, long column) {
        Error error(ErrorKind::Parse, message);
        error.code_ = code;
        error.line_ = line;
        error.column_ = column;
        return error;
    }

    // A failing system call: its errno and what failed.
    static Error os(const std::string &message, int error_number) {
        Error error(ErrorKind::OS, message);
        error.code_ = error_number;
        return error;
    }

    ErrorKind kind() const noexcept { return kind_; }
    int code() const noexcept { return code_; }
    long line() const noexcept { return line_; }
    long column() const noexcept { return column_; }

  private:
    ErrorKind kind_;
    int code_ = 0;
    long line_ = 0;
    long column_ = 0;
};

[[noreturn]] inline void fail(ErrorKind kind, const std::string &message) {
    throw Error(kind, message);
}

}  // namespace marlox
