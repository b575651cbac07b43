// Logging: one process-wide logger, always on, whose records are written by a replaceable appender.
//
// A call site writes
//
//     LOG_TRACE("FileUtils::copyFile", Text() << _T("Copied [") << src << _T("] file"));
//
// and composes the message only when the logger accepts records of that level.
#pragma once

#include <cstdint>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstring.h"

enum class LogLevel : std::int32_t { Trace = 0, Info = 1, Warning = 2, Error = 3 };

/// One record, as an appender receives it.
struct LogEvent {
    SYSTEMTIME timestamp;  ///< local time
    DWORD threadId;
    DWORD processId;
    tstring processName;  ///< the file name of this library
    tstring levelName;    ///< "TRACE", "INFO", "WARNING", "ERROR"
    tstring file;         ///< base name of the source file
    std::int32_t line;
    tstring function;
    tstring message;
};

class LogAppender {
public:
    virtual ~LogAppender() = default;
    virtual void append(const LogEvent& event) = 0;
};

/// Writes each record to a file in the temporary directory and closes the file again. A record that
/// can't be written is dropped: nothing depends on the log file.
class FileLogAppender : public LogAppender {
public:
    /// Only the last component of `fileName` is used; empty means "tolmark.log". The file is not
    /// opened yet.
    explicit FileLogAppender(const tstring& fileName);
    void append(const LogEvent& event) override;

    const tstring& path() const { return path_; }

private:
    tstring path_;
    std::int64_t sizeLimit_;
};

/// Passes each record to two appenders, either of which may be null. Owns neither.
class TeeLogAppender : public LogAppender {
public:
    TeeLogAppender(LogAppender* first, LogAppender* second) : first_(first), second_(second) {}
    void append(const LogEvent& event) override;

private:
    LogAppender* first_;
    LogAppender* second_;
};

/// The process-wide logger. It has no lock: actions don't overlap in one process.
class Logger {
public:
    /// Returns the logger; the first call creates its file appender.
    static Logger& instance();

    bool isEnabled(LogLevel level) const { return threshold_ <= static_cast<std::int32_t>(level); }

    /// Writes one record, regardless of the threshold. `file` may be a path or a base name.
    void log(LogLevel level, const TCHAR* file, int line, const TCHAR* function,
             const tstring& message);

    LogAppender* appender() const { return appender_; }
    void setAppender(LogAppender* appender) { appender_ = appender; }

private:
    std::int32_t threshold_ = 0;
    LogAppender* appender_ = nullptr;
};

/// Writes one record for the place `where`, regardless of the threshold.
void logAt(LogLevel level, const SourceLocation& where, const tstring& message);

/// Logs that a scope was entered and, when it ends, that it was exited.
class ScopeTracer {
public:
    ScopeTracer(Logger& logger, LogLevel level, const char* file, int line, const char* function,
                const char* name);
    ~ScopeTracer();
    ScopeTracer(const ScopeTracer&) = delete;
    ScopeTracer& operator=(const ScopeTracer&) = delete;

private:
    Logger& logger_;
    LogLevel level_;
    bool enabled_;
    tstring file_;
    int line_;
    tstring function_;
    tstring name_;
};

#define LOG_AT(level, function, message)           \
    do {                                           \
        if (Logger::instance().isEnabled(level)) { \
            logAt(level, function, message);       \
        }                                          \
    } while (false)

#define LOG_TRACE(function, message) LOG_AT(LogLevel::Trace, function, message)
#define LOG_INFO(function, message) LOG_AT(LogLevel::Info, function, message)
#define LOG_WARNING(function, message) LOG_AT(LogLevel::Warning, function, message)
#define LOG_ERROR(function, message) LOG_AT(LogLevel::Error, function, message)

/// Traces the rest of the enclosing scope; `name` is its name in the log.
#define TRACE_SCOPE(function, name)                                                        \
    const ScopeTracer scopeTracer(Logger::instance(), LogLevel::Trace, __FILE__, __LINE__, \
                                  function, name)
