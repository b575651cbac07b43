// An appender that writes to the log of the Windows Installer.
#pragma once

#include <windows.h>
#include <msi.h>

#include <array>
#include <atomic>

#include "common/share/Logger.h"
#include "common/share/tstring.h"

namespace msi {

/// As long as it exists, sends records to the installer's log and then to the previous appender.
/// Appenders nest like the scopes that contain them.
class MsiLogAppender : public LogAppender {
public:
    explicit MsiLogAppender(MSIHANDLE session);
    ~MsiLogAppender() override;
    MsiLogAppender(const MsiLogAppender&) = delete;
    MsiLogAppender& operator=(const MsiLogAppender&) = delete;

    /// May be called on any thread. A record logged by the sending itself, on the same thread, is
    /// not sent. Throws msi::Error if the installer can't create a record. The result of the
    /// sending is ignored.
    void append(const LogEvent& event) override;

private:
    /// The id of a thread while it sends a line, otherwise 0.
    using Place = std::atomic<DWORD>;

    Place* takePlace(DWORD thread);
    void send(const tstring& line) const;

    MSIHANDLE session_;
    DWORD threadId_;
    LogAppender* previous_;
    TeeLogAppender tee_;
    std::array<Place, 64> places_{};  ///< more than the threads that ever send at the same time
};

}  // namespace msi
