#include "windows/common/MsiLogAppender.h"

#include <thread>

#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "windows/common/MsiError.h"

namespace {

using Lines = std::vector<std::string>;

/// Has another thread log while it is given a warning.
struct Interrupted : LogAppender {
    explicit Interrupted(simulated::Machine& where) : machine(where) {}
    void append(const LogEvent& event) override {
        if (event.levelName == u"WARNING") {
            std::thread([this] {
                const simulated::Running there(machine);
                LOG_INFO("g", _T("elsewhere"));
            }).join();
        }
    }
    simulated::Machine& machine;
};

class MsiLogAppender : public OnMachine {
protected:
    ~MsiLogAppender() override { Logger::instance().setAppender(before); }

    /// Returns the installer's log; "#" stands for the line and for the number of a thread.
    Lines installersLog() const {
        static const std::regex numbers("(cpp:|TID: )[0-9]+");
        Lines lines;
        for (const tstring& line : machine.installer.log()) {
            lines.push_back(std::regex_replace(tstrings::toUtf8(line), numbers, "$1#"));
        }
        return lines;
    }

    LogAppender* const before = Logger::instance().appender();
    const MSIHANDLE session = machine.installer.openSession();
};

TEST_F(MsiLogAppender, SendsRecordsToTheInstallersLogAsLongAsItExists) {
    machine.facts.clock.set({2026, 1, 5, 2, 3, 4, 5, 6});
    {
        const msi::MsiLogAppender appender(session);
        LOG_INFO("f", _T("[1] stays"));
        EXPECT_NE(Logger::instance().appender(), before);
    }
    EXPECT_EQ(installersLog(), Lines{"Norv [03:04:05.006 MsiLogAppenderTest.cpp:# (f)] INFO: [1] "
                                     "stays"});
    EXPECT_EQ(Logger::instance().appender(), before);
}

TEST_F(MsiLogAppender, SendsWhatOtherThreadsLogDuringTheSendingAndNotItsOwnWarnings) {
    machine.facts.clock.set({2026, 1, 5, 2, 3, 4, 5, 6});
    Interrupted interrupted(machine);
    Logger::instance().setAppender(&interrupted);
    const msi::MsiLogAppender appender(session);
    machine.calls.failCall("MsiCloseHandle", 1, 6);
    LOG_INFO("f", _T("sent"));
    EXPECT_EQ(installersLog(),
              (Lines{"Norv [03:04:05.006 MsiLogAppenderTest.cpp:# (f)] INFO: sent",
                     "Norv [03:04:05.006 (TID: #) MsiLogAppenderTest.cpp:# (g)] INFO: elsewhere"}));
}

TEST_F(MsiLogAppender, SendsOnAfterAFailure) {
    const msi::MsiLogAppender appender(session);
    machine.modules.hideModule(u"msimsg.dll");  // which is logged while the failure is described
    machine.calls.failCall("MsiCreateRecord", 1);
    EXPECT_THROW(LOG_INFO("h", _T("lost")), msi::Error);
    EXPECT_EQ(installersLog(), Lines());
    LOG_INFO("f", _T("last"));
    EXPECT_EQ(installersLog().size(), 1u);
}

}  // namespace
