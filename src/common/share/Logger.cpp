#include "common/share/Logger.h"

#include <vector>

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

tstring lastComponent(const tstring& path) {
    const auto separator = path.find_last_of(_T("\\/"));
    return separator == tstring::npos ? path : path.substr(separator + 1);
}

/// The file name of the module that holds this code, which is not the process's own.
tstring findProcessName() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&findProcessName), &module)) {
        return _T("Unkown");
    }
    std::vector<TCHAR> buffer(MAX_PATH);
    DWORD length;
    while ((length = GetModuleFileNameW(module, buffer.data(),
                                        static_cast<DWORD>(buffer.size()))) >= buffer.size()) {
        buffer.resize(buffer.size() * 2);
    }
    if (length == 0) {
        return _T("Unkown");
    }
    return lastComponent(tstring(buffer.data(), length));
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
    event.file = lastComponent(file);
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
        // A record that can't be written has nowhere to be reported to.
    }
}
