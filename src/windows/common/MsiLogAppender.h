// The appender that writes to the log of the Windows Installer.
#pragma once

#include <windows.h>
#include <msi.h>

#include <array>
#include <atomic>

#include "common/share/Logger.h"
#include "common/share/tstring.h"

namespace msi {

/// Sends the log to the installer's log, and then to the appender that was there before, for as
/// long as it lives. Appenders nest like the scopes that hold them.
class MsiLogAppender : public LogAppender {
public:
    explicit MsiLogAppender(MSIHANDLE session);
    ~MsiLogAppender() override;
    MsiLogAppender(const MsiLogAppender&) = delete;
    MsiLogAppender& operator=(const MsiLogAppender&) = delete;

    /// Any thread may call it. A record that comes while the same thread sends one tells of that
    /// sending, and is not sent. Throws msi::Error if the installer has no record to spare. Whether
    /// it takes the line is not looked at.
    void append(const LogEvent& event) override;

private:
    /// Holds the id of a thread while it sends a line, else 0.
    using Place = std::atomic<DWORD>;

    Place* takePlace(DWORD thread);
    void send(const tstring& line) const;

    MSIHANDLE session_;
    DWORD threadId_;
    LogAppender* previous_;
    TeeLogAppender tee_;
    std::array<Place, 64> places_{};  ///< more than threads ever send at a time
};

}  // namespace msi
