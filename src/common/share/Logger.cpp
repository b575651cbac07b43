#include "common/share/Logger.h"

#include "common/share/BaseName.h"
#include "common/share/ProcessPaths.h"

namespace {

const TCHAR* levelName(LogLevel level) {
    switch (level) {
        case LogLevel::Trace:
            return _T("TRACE");
        case LogLevel::Info:
            return _T("INFO");
        case LogLevel::Warning:
            return _T("WARNING");
        case LogLevel::Error:
            return _T("ERROR");
    }
    return _T("UNKNOWN");
}

/// Returns the file name of the module that contains this code, which is not the name of the
/// process.
tstring findProcessName() {
    try {
        const HMODULE module = moduleOf(reinterpret_cast<const void*>(&findProcessName));
        const tstring path = module != nullptr ? modulePath(module) : tstring();
        if (!path.empty()) {
            return tstring(baseName(path));
        }
    } catch (const std::exception&) {
        // Out of memory: the name stays unknown.
    }
    return _T("Unkown");
}

tstring& processName() {
    static tstring name;
    return name;
}

}  // namespace

Logger& Logger::instance() {
    static Logger logger;
    if (logger.appender_ == nullptr) {
        static FileLogAppender fileAppender(_T("tolmark.log"));
        logger.appender_ = &fileAppender;
        processName() = findProcessName();
    }
    return logger;
}

void Logger::log(LogLevel level, const TCHAR* file, int line, const TCHAR* function,
                 const tstring& message) {
    LogEvent event;
    GetLocalTime(&event.timestamp);
    event.threadId = GetCurrentThreadId();
    event.processId = GetCurrentProcessId();
    event.processName = processName();
    event.levelName = levelName(level);
    event.file = baseName(file);
    event.line = line;
    event.function = function;
    event.message = message;
    appender_->append(event);
}

void TeeLogAppender::append(const LogEvent& event) {
    if (first_ != nullptr) {
        first_->append(event);
    }
    if (second_ != nullptr) {
        second_->append(event);
    }
}

void logAt(LogLevel level, const SourceLocation& where, const tstring& message) {
    const Text file = Text() << where.file;
    const Text function = Text() << where.function;
    Logger::instance().log(level, file.str().c_str(), where.line, function.str().c_str(), message);
}

ScopeTracer::ScopeTracer(Logger& logger, LogLevel level, const char* file, int line,
                         const char* function, const char* name)
    : logger_(logger),
      level_(level),
      enabled_(logger.isEnabled(LogLevel::Trace)),
      file_(Text() << baseName(file)),
      line_(line),
      function_(Text() << function),
      name_(Text() << name) {
    if (enabled_) {
        logger_.log(level_, file_.c_str(), line_, function_.c_str(),
                    Text() << _T("Entering ") << name_);
    }
}

ScopeTracer::~ScopeTracer() {
    if (!enabled_) {
        return;
    }
    try {
        logger_.log(level_, file_.c_str(), 0, function_.c_str(),
                    Text() << _T("Exiting ") << name_ << _T(" (entered at ") << file_ << _T(":")
                           << line_ << _T(")"));
    } catch (...) {
        // A record that can't be written is dropped: there is no other place to report it.
    }
}
