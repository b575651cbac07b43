#include "common/share/LogException.h"

#include "common/share/Logger.h"
#include "common/share/Text.h"

void logException(const SourceLocation& where, const std::exception& error) {
    logErrorAt(where, Text() << _T("Exception with message '") << error.what() << _T("' caught"));
}

void logUnknownException(const SourceLocation& where) {
    logErrorAt(where, _T("Unknown exception caught"));
}

void logErrorAt(const SourceLocation& where, const tstring& message) {
    logAt(LogLevel::Error, where, message);
}

void logCaught(const SourceLocation& where) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& e) {
            logException(where, e);
        } catch (...) {
            logUnknownException(where);
        }
    } catch (...) {
    }
}
