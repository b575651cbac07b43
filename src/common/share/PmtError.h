// Exceptions that name the place of the throw.
//
// The library throws in one way: a call that names the type, the function's full name and the
// arguments of the exception's constructor.
//
//     raise<std::runtime_error>("FileUtils::getLinkTarget", Text() << path << _T(": not a link"));
#pragma once

#include <exception>
#include <string>

#include "common/share/Text.h"

/// A place in the source. Its strings are literals and outlive it.
///
/// A function's full name, with namespaces and classes ("msi::Database::getProperty"), converts to
/// the place of the call, so functions that take a SourceLocation are called with the name alone.
/// A lambda that throws for several calls takes it as a default argument, which is evaluated at
/// each call: the message then has the line of the call that failed.
struct SourceLocation {
    SourceLocation(const char* functionName, const char* fileName = __builtin_FILE(),
                   int lineNumber = __builtin_LINE())
        : file(fileName), function(functionName), line(lineNumber) {}

    const char* file;  ///< the path as the compiler passes it
    const char* function;
    int line;
};

/// Returns "<file>(<line>) at <function>(): <what>", with the base name of the file.
std::string formatLocatedMessage(const std::exception& error, const SourceLocation& where);

/// An exception of type T whose `what()` names its place. A handler for T catches it.
template <class T>
class PmtError : public T {
public:
    PmtError(const T& error, const SourceLocation& where)
        : T(error), message_(formatLocatedMessage(error, where)) {}

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// Throws a T constructed from the arguments.
template <class T, class... Args>
[[noreturn]] [[gnu::noinline]] void raise(const SourceLocation& where, const Args&... args) {
    throw PmtError<T>(T(args...), where);
}

/// Throws a T with this message.
template <class T>
[[noreturn]] [[gnu::noinline]] void raise(const SourceLocation& where, const char* text) {
    throw PmtError<T>(T(text), where);
}

template <class T>
[[noreturn]] [[gnu::noinline]] void raise(const SourceLocation& where, const Text& text) {
    throw PmtError<T>(T(text.utf8()), where);
}
