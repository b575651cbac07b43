#include "common/share/tstrings.h"
#include "windows/common/MsiDb.h"

namespace msi {

namespace {

/// The installer fills the field into the template.
constexpr const TCHAR* kLineTemplate = _T("Norv [1]");

}  // namespace

MsiLogAppender::MsiLogAppender(MSIHANDLE session)
    : session_(session),
      threadId_(GetCurrentThreadId()),
      previous_(Logger::instance().appender()),
      tee_(this, previous_) {
    Logger::instance().setAppender(&tee_);
}

MsiLogAppender::~MsiLogAppender() {
    Logger::instance().setAppender(previous_);
}

void MsiLogAppender::append(const LogEvent& event) {
    if (appending_) {
        // A failure to send is a record too, and must not try to be sent.
        return;
    }
    struct Guard {
        explicit Guard(bool& flag) : flag_(flag) { flag_ = true; }
        ~Guard() { flag_ = false; }
        bool& flag_;
    } const guard(appending_);

    tstring separator = _T(" ");
    if (event.threadId != threadId_) {
        separator = Text() << _T(" (TID: ") << event.threadId << _T(") ");
    }
    const SYSTEMTIME& time = event.timestamp;
    send(tstrings::unsafe_format(
        _T("[%02u:%02u:%02u.%03u%s%s:%u (%s)] %s: %s"), static_cast<unsigned>(time.wHour),
        static_cast<unsigned>(time.wMinute), static_cast<unsigned>(time.wSecond),
        static_cast<unsigned>(time.wMilliseconds), separator.c_str(), event.file.c_str(),
        static_cast<unsigned>(event.line), event.function.c_str(), event.levelName.c_str(),
        event.message.c_str()));
}

void MsiLogAppender::send(const tstring& line) const {
    DatabaseRecord record(1);
    record.setString(0, kLineTemplate);
    record.setString(1, line);
    MsiProcessMessage(session_, INSTALLMESSAGE_INFO, record.get());
}

}  // namespace msi
