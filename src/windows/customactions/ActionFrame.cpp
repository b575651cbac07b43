#include "windows/customactions/ActionFrame.h"

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "windows/common/MsiDb.h"
#include "windows/customactions/DebugBreak.h"

namespace {

constexpr const TCHAR* kDebugBreakVariable = _T("PMT_CA_DEBUG_BREAK");

/// A place in the form in which the log takes it.
struct LogPlace {
    explicit LogPlace(const SourceLocation& place)
        : file((Text() << place.file).str()),
          action((Text() << place.function).str()),
          line(place.line) {}

    tstring file;
    tstring action;
    int line;
};

void logRunModes(const LogPlace& place, const msi::CAImpl& ca) {
    Logger& logger = Logger::instance();
    if (logger.isEnabled(LogLevel::Trace)) {
        logger.log(LogLevel::Trace, place.file.c_str(), place.line, place.action.c_str(),
                   Text() << _T("CA modes=[") << ca.runModes() << _T("]"));
    }
}

}  // namespace

UINT runInPlainFrame(const SourceLocation& place, UINT failureStatus,
                     const std::function<UINT()>& work) noexcept {
    try {
        const LogPlace log(place);
        const ScopeTracer tracer(Logger::instance(), LogLevel::Trace, log.file.c_str(), log.line,
                                 log.action.c_str(), log.action.c_str());
        try {
            return work();
        } catch (const std::exception& e) {
            logException(place, e);
        } catch (...) {
            logUnknownException(place);
        }
    } catch (...) {
        // The frame itself failed, or the log did: nothing is left to report it to.
    }
    return failureStatus;
}

UINT runInFullFrame(const SourceLocation& place, MSIHANDLE session,
                    const std::function<void(msi::CA&)>& work) noexcept {
    try {
        const LogPlace log(place);
        const msi::MsiLogAppender appender(session);
        checkDebugBreak(place, kDebugBreakVariable, log.action);
        const ScopeTracer tracer(Logger::instance(), LogLevel::Trace, log.file.c_str(), log.line,
                                 log.action.c_str(), log.action.c_str());
        try {
            UINT status = ERROR_SUCCESS;
            msi::CAImpl ca(session, status);
            logRunModes(log, ca);
            work(ca);
            return status;
        } catch (const std::exception& e) {
            logException(place, e);
        } catch (...) {
            logUnknownException(place);
        }
    } catch (...) {
        // The frame itself failed, or the log did: nothing is left to report it to.
    }
    return ERROR_INSTALL_FAILURE;
}
