#include "windows/customactions/ActionFrame.h"

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "windows/common/MsiLogAppender.h"
#include "windows/customactions/DebugBreak.h"

namespace {

constexpr const TCHAR* kDebugBreakVariable = _T("PMT_CA_DEBUG_BREAK");

void logRunModes(const SourceLocation& place, const msi::CAImpl& ca) {
    LOG_TRACE(place, Text() << _T("CA modes=[") << ca.runModes() << _T("]"));
}

}  // namespace

UINT runInPlainFrame(const SourceLocation& place, UINT failureStatus,
                     const std::function<UINT()>& work) noexcept {
    try {
        const ScopeTracer tracer(Logger::instance(), LogLevel::Trace, place.file, place.line,
                                 place.function, place.function);
        try {
            return work();
        } catch (...) {
            logCaught(place);
        }
    } catch (...) {
        // The wrapper itself or the log failed: there is no place left to report it.
    }
    return failureStatus;
}

UINT runInFullFrame(const SourceLocation& place, MSIHANDLE session,
                    const std::function<void(msi::CA&)>& work) noexcept {
    try {
        const msi::MsiLogAppender appender(session);
        checkDebugBreak(place, kDebugBreakVariable, Text() << place.function);
        const ScopeTracer tracer(Logger::instance(), LogLevel::Trace, place.file, place.line,
                                 place.function, place.function);
        try {
            UINT status = ERROR_SUCCESS;
            msi::CAImpl ca(session, status);
            logRunModes(place, ca);
            work(ca);
            return status;
        } catch (...) {
            logCaught(place);
        }
    } catch (...) {
        // The wrapper itself or the log failed: there is no place left to report it.
    }
    return ERROR_INSTALL_FAILURE;
}
