#include "common/share/Logger.h"

#include <set>

#include "support/LibraryProcess.h"
#include "support/OnMachine.h"

namespace {

constexpr const char16_t* kFile = u"C:\\Users\\User\\AppData\\Local\\Temp\\tolmark.log";

class LoggerTest : public OnMachine {
protected:
    static void write(const TCHAR* message) {
        Logger::instance().log(LogLevel::Info, u"a/b\\File.cpp", 7, u"f", message);
    }
    std::string content() const { return machine.volumes.content(kFile).value_or("<none>"); }
};

TEST_F(LoggerTest, ARecordHasTwoLines) {
    machine.facts.clock.set({2026, 1, 5, 2, 3, 4, 5, 6});
    machine.facts.processId = 77;
    machine.facts.threadId = 88;
    write(u"C:\\B\u00FCro %s\nsecond");
    EXPECT_EQ(content(),
              "[2026/01/02 03:04:05.006, norvca.dll (PID: 77, TID: 88), File.cpp:7 (f)]\r\n"
              "\tINFO: C:\\B\xC3\xBCro %s\r\nsecond\r\n");
}

TEST_F(LoggerTest, AFileOfTenMebibytesIsEmptied) {
    machine.volumes.addFile(kFile, std::string(10485759, '-'));
    write(u"new");
    EXPECT_TRUE(content().starts_with("-"));

    machine.volumes.addFile(kFile, std::string(10485760, '-'));
    write(u"new");
    EXPECT_TRUE(content().starts_with("["));
    EXPECT_TRUE(content().ends_with("\tINFO: new\r\n"));
}

TEST_F(LoggerTest, ARecordIsDroppedAfterTenTries) {
    machine.volumes.addFile(kFile);
    machine.volumes.lockForReading(kFile);
    write(u"lost");
    EXPECT_EQ(machine.calls.count("_wsopen_s"), 10u);
    EXPECT_EQ(machine.calls.count("Sleep"), 9u);
    EXPECT_EQ(content(), "");
}

TEST_F(LoggerTest, ALaterTryWritesTheRecord) {
    machine.calls.failCall("_wsopen_s", 1);
    machine.calls.failCall("_wsopen_s", 9);
    write(u"two");
    EXPECT_TRUE(logHas(machine, "two"));
}

/// The directory is the one at the time when the appender is created.
TEST_F(LoggerTest, TheFileIsInTheTemporaryDirectory) {
    for (const std::u16string& directory :
         {std::u16string(u"C:\\t"), u"C:\\" + tstring(300, u'd')}) {
        machine.facts.environment[u"TMP"] = directory + u"\\/";
        EXPECT_EQ(FileLogAppender(u"").path(), directory + u"\\tolmark.log");
        EXPECT_EQ(FileLogAppender(u"D:\\x/own.log").path(), directory + u"\\own.log");
    }
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t"));
}

/// Calls an action in a new process after `disturb` and returns the process names in its records.
template <class Disturb>
std::set<std::string> processNames(Disturb disturb) {
    simulated::Machine machine;
    LibraryProcess process(machine);
    const MSIHANDLE session = machine.installer.openSession();
    disturb(machine);
    process.call("MSISetImpersonate", session);
    std::set<std::string> names;
    for (const LogRecord& record : logRecords(machine)) {
        const auto begin = record.head.find(", ") + 2;
        names.insert(record.head.substr(begin, record.head.find(" (PID") - begin));
    }
    return names;
}

using Names = std::set<std::string>;

TEST(LoggerOfAProcess, NamesTheLibrary) {
    EXPECT_EQ(processNames([](simulated::Machine&) {}), Names{"norvca.dll"});
}

TEST(LoggerOfAProcess, SaysThatTheNameIsUnknown) {
    for (const char* function : {"GetModuleFileNameW", "GetModuleHandleExW"}) {
        EXPECT_EQ(processNames([&](simulated::Machine& m) { m.calls.failAll(function); }),
                  Names{"Unkown"})
            << function;
    }
}

}  // namespace
