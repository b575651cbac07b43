#include "windows/common/MsiLogAppender.h"

#include <algorithm>

#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "windows/common/MsiDb.h"

namespace msi {

namespace {

/// The installer inserts field 1 into the template.
constexpr const TCHAR* kLineTemplate = _T("Norv [1]");

void leavePlace(std::atomic<DWORD>* place) noexcept {
    place->store(0);
}

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

/// Reserves a slot for the thread; returns null if it has one already. No other thread writes its
/// id.
MsiLogAppender::Place* MsiLogAppender::takePlace(DWORD thread) {
    if (std::ranges::any_of(places_, [&](const Place& place) { return place == thread; })) {
        return nullptr;
    }
    const auto free = std::ranges::find_if(places_, [&](Place& place) {
        DWORD nobody = 0;
        return place.compare_exchange_strong(nobody, thread);
    });
    return free != places_.end() ? &*free : nullptr;
}

void MsiLogAppender::append(const LogEvent& event) {
    const AutoHandle<Place*, leavePlace> place(takePlace(event.threadId));
    if (!place) {
        return;
    }
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
