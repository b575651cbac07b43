// How an exception says where it was thrown.
//
// Every throw of the library has one form: compose the text, build the plain exception from it, and
// throw it as a PmtError with the place.
//
//     throw PmtError<std::runtime_error>(
//         std::runtime_error((Text() << path << _T(": not a link")).utf8()),
//         SourceLocation::here("FileUtils::getLinkTarget"));
#pragma once

#include <exception>
#include <string>

/// A place in the source. The texts are literals and outlive it.
struct SourceLocation {
    const char* file;      ///< the path as the compiler gives it
    const char* function;  ///< with namespaces and classes: "msi::Database::getProperty"
    int line;

    /// The place of the call, under the function's full name.
    static SourceLocation here(const char* function, const char* file = __builtin_FILE(),
                               int line = __builtin_LINE()) {
        return {file, function, line};
    }
};

/// What follows the last separator of a source file's path.
const char* baseName(const char* file);

/// "<file>(<line>) at <function>(): <what>", with the base name of the file.
std::string formatLocatedMessage(const std::exception& error, const SourceLocation& where);

/// An exception of type T that tells its place in `what()`. A handler for T catches it.
template <class T>
class PmtError : public T {
public:
    PmtError(const T& error, const SourceLocation& where)
        : T(error), message_(formatLocatedMessage(error, where)) {}

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};
