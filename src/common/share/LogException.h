// What every catch point does with what it caught: one record at ERROR. The record's place is the
// catch point; the exception's own text names the throw.
#pragma once

#include <exception>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

/// "Exception with message '<what>' caught".
void logException(const SourceLocation& where, const std::exception& error);

/// "Unknown exception caught".
void logUnknownException(const SourceLocation& where);

/// The record that both write, whatever the logger's threshold is.
void logErrorAt(const SourceLocation& where, const tstring& message);

/// In a catch clause: logs what is being handled, by one of the two above. A record that can't be
/// written has nowhere to be reported to and is dropped.
void logCaught(const SourceLocation& where) noexcept;

/// Runs `body`. What it throws is logged with `where` as the catch point, and goes no further.
template <class Body>
void runLogged(const SourceLocation& where, const Body& body) noexcept {
    try {
        body();
    } catch (...) {
        logCaught(where);
    }
}

/// The value of `body`, or `fallback` if it throws, which is logged.
template <class Value, class Body>
Value runLogged(const SourceLocation& where, Value fallback, const Body& body) noexcept {
    try {
        return body();
    } catch (...) {
        logCaught(where);
        return fallback;
    }
}
