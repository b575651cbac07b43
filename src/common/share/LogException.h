// How every catch clause logs an exception: one record at ERROR. The record names the place of the
// catch clause; the exception's own message names the place of the throw.
#pragma once

#include <exception>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

/// Logs "Exception with message '<what>' caught".
void logException(const SourceLocation& where, const std::exception& error);

/// Logs "Unknown exception caught".
void logUnknownException(const SourceLocation& where);

/// Logs the record of the two functions above, regardless of the logger's threshold.
void logErrorAt(const SourceLocation& where, const tstring& message);

/// For use in a catch clause: logs the current exception by one of the two functions above. A
/// record that can't be written is dropped.
void logCaught(const SourceLocation& where) noexcept;

/// Runs `body`. Logs an exception that it throws, with `where` as the place of the catch clause,
/// and swallows it.
template <class Body>
void runLogged(const SourceLocation& where, const Body& body) noexcept {
    try {
        body();
    } catch (...) {
        logCaught(where);
    }
}

/// Returns the value of `body`, or `fallback` if it throws; the exception is logged.
template <class Value, class Body>
Value runLogged(const SourceLocation& where, Value fallback, const Body& body) noexcept {
    try {
        return body();
    } catch (...) {
        logCaught(where);
        return fallback;
    }
}
