#include "common/share/Logger.h"

#include <stdexcept>

#include "support/OnMachine.h"

namespace {

using Lines = std::vector<std::string>;

class Logging : public OnMachine {
protected:
    static constexpr const char16_t* kFile = u"C:\\Users\\User\\AppData\\Local\\Temp\\tolmark.log";

    static void write(const TCHAR* message) {
        Logger::instance().log(LogLevel::Info, _T("a/b\\File.cpp"), 7, _T("f"), message);
    }

    std::string content() const { return machine.volumes.content(kFile).value_or("<none>"); }
};

TEST_F(Logging, RecordHasItsForm) {
    SYSTEMTIME time = {};
    time.wYear = 2026;
    time.wMonth = 1;
    time.wDay = 2;
    time.wHour = 3;
    time.wMinute = 4;
    time.wSecond = 5;
    time.wMilliseconds = 6;
    machine.facts.clock.set(time);
    machine.facts.processId = 77;
    machine.facts.threadId = 88;
    write(_T("C:\\B\u00FCro %s\nsecond"));
    EXPECT_EQ(content(),
              "[2026/01/02 03:04:05.006, norvca.dll (PID: 77, TID: 88), File.cpp:7 (f)]\r\n"
              "\tINFO: C:\\B\xC3\xBCro %s\r\nsecond\r\n");
    write(_T("next"));
    EXPECT_EQ(logRecords(machine).size(), 2u);
    EXPECT_TRUE(machine.handles.open().empty());
}

TEST_F(Logging, FileIsEmptiedAtItsLimit) {
    const struct {
        std::size_t size;
        bool kept;
    } rows[] = {{10485759, true}, {10485760, false}, {10485761, false}};
    for (const auto& row : rows) {
        machine.volumes.addFile(kFile, std::string(row.size, '-'));
        write(_T("new"));
        const std::string text = content();
        EXPECT_EQ(text.size() > row.size, row.kept) << row.size;
        EXPECT_EQ(text.front(), row.kept ? '-' : '[') << row.size;
        EXPECT_TRUE(text.ends_with("\tINFO: new\r\n")) << row.size;
    }
}

TEST_F(Logging, RecordIsLostWhenTheFileStaysLocked) {
    write(_T("one"));
    const std::string before = content();
    machine.volumes.lockForReading(kFile);
    machine.calls.clearJournal();
    write(_T("lost"));
    EXPECT_EQ(machine.calls.count("_wsopen_s"), 10u);
    EXPECT_EQ(content(), before);
    machine.volumes.unlock(kFile);
    machine.calls.failCall("_wsopen_s", 9);
    machine.calls.failCall("_wsopen_s", 1);
    write(_T("two"));
    EXPECT_TRUE(logHas(machine, "two"));
    for (const char* function : {"_fstati64", "_write", "_close", "WideCharToMultiByte"}) {
        machine.calls.failCall(function, 1);
        EXPECT_NO_THROW(write(_T("any"))) << function;
    }
    machine.handles.closeAll();
}

TEST_F(Logging, LevelsHaveNamesAndATee) {
    struct Catcher : LogAppender {
        void append(const LogEvent& event) override {
            seen += event.levelName + _T(" ") + event.message + _T("|");
        }
        tstring seen;
    };
    Catcher first;
    Catcher second;
    TeeLogAppender both(&first, &second);
    TeeLogAppender one(nullptr, &second);
    Logger& logger = Logger::instance();
    LogAppender* const file = logger.appender();
    logger.setAppender(&both);
    LOG_TRACE("f", _T("1"));
    LOG_INFO("f", _T("2"));
    logger.setAppender(&one);
    LOG_WARNING("f", _T("3"));
    LOG_ERROR("f", _T("4"));
    logger.log(static_cast<LogLevel>(9), _T("x"), 1, _T("f"), _T("5"));
    logger.setAppender(file);
    EXPECT_EQ(first.seen, _T("TRACE 1|INFO 2|"));
    EXPECT_EQ(second.seen, _T("TRACE 1|INFO 2|WARNING 3|ERROR 4|UNKNOWN 5|"));
}

TEST_F(Logging, ScopeIsEnteredAndLeft) {
    const int line = __LINE__ + 2;
    try {
        TRACE_SCOPE("a::f", "the work");
        throw std::runtime_error("out");
    } catch (const std::runtime_error&) {
    }
    const std::vector<LogRecord> records = logRecords(machine);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].line, line);
    EXPECT_EQ(records[1].line, 0);
    EXPECT_EQ(records[0].message, "Entering the work");
    EXPECT_EQ(records[1].message,
              "Exiting the work (entered at LoggerTest.cpp:" + std::to_string(line) + ")");
    EXPECT_EQ(records[1].function, "a::f");
    EXPECT_EQ(records[1].file, "LoggerTest.cpp");

    struct Thrower : LogAppender {
        void append(const LogEvent&) override {
            if (--left < 0) {
                throw std::runtime_error("full");
            }
        }
        int left = 1;
    };
    Thrower thrower;
    Logger& logger = Logger::instance();
    LogAppender* const file = logger.appender();
    logger.setAppender(&thrower);
    EXPECT_NO_THROW({ TRACE_SCOPE("f", "scope"); });
    logger.setAppender(file);
}

/// The directory is that of the moment when the appender is made; the name loses its own.
TEST_F(Logging, AppenderTakesTheTemporaryDirectory) {
    machine.facts.processEnvironment[u"TMP"] = u"C:\\t\\\\";
    EXPECT_EQ(FileLogAppender(_T("")).path(), _T("C:\\t\\tolmark.log"));
    EXPECT_EQ(FileLogAppender(_T("D:\\x/own.log")).path(), _T("C:\\t\\own.log"));
    const std::u16string longDirectory = u"C:\\" + std::u16string(300, u'd');
    machine.facts.processEnvironment[u"TMP"] = longDirectory;
    EXPECT_EQ(FileLogAppender(_T("x.log")).path(), longDirectory + _T("\\x.log"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t"));
}

}  // namespace
