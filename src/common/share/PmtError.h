// How an exception says where it was thrown.
//
// Every throw of the library has one form, which is one call: the type, the function's full name,
// and what the exception is made from.
//
//     raise<std::runtime_error>("FileUtils::getLinkTarget", Text() << path << _T(": not a link"));
#pragma once

#include <exception>
#include <string>

#include "common/share/Text.h"

/// A place in the source. The texts are literals and outlive it.
///
/// A function's full name, with namespaces and classes ("msi::Database::getProperty"), becomes the
/// place where it is handed over; what takes a place is called with the name alone.
struct SourceLocation {
    SourceLocation(const char* functionName, const char* fileName = __builtin_FILE(),
                   int lineNumber = __builtin_LINE())
        : file(fileName), function(functionName), line(lineNumber) {}

    const char* file;  ///< the path as the compiler gives it
    const char* function;
    int line;
};

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

/// Throws the T that is made from the arguments.
template <class T, class... Args>
[[noreturn]] [[gnu::noinline]] void raise(const SourceLocation& where, const Args&... args) {
    throw PmtError<T>(T(args...), where);
}

/// Throws a T with this text.
template <class T>
[[noreturn]] [[gnu::noinline]] void raise(const SourceLocation& where, const char* text) {
    throw PmtError<T>(T(text), where);
}

template <class T>
[[noreturn]] [[gnu::noinline]] void raise(const SourceLocation& where, const Text& text) {
    throw PmtError<T>(T(text.utf8()), where);
}
