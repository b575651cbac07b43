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
    const Text file = Text() << where.file;
    const Text function = Text() << where.function;
    Logger::instance().log(LogLevel::Error, file.str().c_str(), where.line,
                           function.str().c_str(), message);
}
