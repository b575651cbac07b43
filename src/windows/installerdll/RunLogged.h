// The guard of work whose failure must not stop what comes behind it.
#pragma once

#include <exception>

#include "common/share/LogException.h"

/// Runs `body`. An exception is logged with `where` as the catch point, and goes no further.
template <class Body>
void runLogged(const SourceLocation& where, const Body& body) {
    try {
        body();
    } catch (const std::exception& e) {
        logException(where, e);
    } catch (...) {
        logUnknownException(where);
    }
}
