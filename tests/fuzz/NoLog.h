// A log that keeps nothing, for targets whose records would only take time.
#pragma once

#include "common/share/Logger.h"

class NoLog : public LogAppender {
public:
    void append(const LogEvent&) override {}

    /// Lets all later records go nowhere.
    static void install() {
        static NoLog noLog;
        Logger::instance().setAppender(&noLog);
    }
};
