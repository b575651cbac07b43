#include "common/share/Logger.h"

#include <optional>
#include <set>
#include <cstdlib>
#include <new>

#include "support/LibraryProcess.h"
#include "support/OnMachine.h"

/// Which of the larger allocations from now on finds no memory; 0: none.
static int failingAllocation = 0;

void* operator new(std::size_t size) {
    if (size >= 512 && failingAllocation > 0 && --failingAllocation == 0) {
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

constexpr const char16_t* kFile = u"C:\\Users\\User\\AppData\\Local\\Temp\\tolmark.log";

/// Refuses records of a level, and keeps the others.
struct Catcher : LogAppender {
    explicit Catcher(const TCHAR* level = u"") : refused(level) {}
    void append(const LogEvent& event) override {
        if (event.levelName == refused) {
            throw std::runtime_error("full");
        }
        seen += event.levelName + u" " + event.message + u"|";
    }
    tstring refused;
    tstring seen;
};

class Logging : public OnMachine {
protected:
    ~Logging() override { logger.setAppender(file); }

    void write(const TCHAR* message) {
        logger.log(LogLevel::Info, u"a/b\\File.cpp", 7, u"f", message);
    }
    std::string content() const { return machine.volumes.content(kFile).value_or("<none>"); }

    Logger& logger = Logger::instance();
    LogAppender* const file = logger.appender();
};

TEST_F(Logging, RecordHasItsForm) {
    machine.facts.clock.set({2026, 1, 5, 2, 3, 4, 5, 6});
    machine.facts.processId = 77;
    machine.facts.threadId = 88;
    write(u"C:\\B\u00FCro %s\nsecond");
    EXPECT_EQ(content(),
              "[2026/01/02 03:04:05.006, norvca.dll (PID: 77, TID: 88), File.cpp:7 (f)]\r\n"
              "\tINFO: C:\\B\xC3\xBCro %s\r\nsecond\r\n");
    for (const std::size_t size : {10485759u, 10485760u, 10485761u}) {
        machine.volumes.addFile(kFile, std::string(size, '-'));
        write(u"new");
        EXPECT_EQ(content().front(), size < 10485760 ? '-' : '[') << size;
        EXPECT_TRUE(content().ends_with("\tINFO: new\r\n"));
        EXPECT_EQ(content().size() > size, size < 10485760);
    }
}

TEST_F(Logging, RecordIsLostWhenTheFileStaysLocked) {
    machine.volumes.addFile(kFile);
    machine.volumes.lockForReading(kFile);
    write(u"lost");
    EXPECT_EQ(machine.calls.count("_wsopen_s"), 10u);
    EXPECT_EQ(content(), "");
    machine.volumes.unlock(kFile);
    machine.calls.failCall("_wsopen_s", 9);
    machine.calls.failCall("_wsopen_s", 1);
    write(u"two");
    EXPECT_TRUE(logHas(machine, "two"));
    for (const char* function : {"_fstati64", "_write", "_close", "WideCharToMultiByte"}) {
        machine.calls.failCall(function, 1);
        EXPECT_NO_THROW(write(u"any")) << function;
    }
    machine.handles.closeAll();
}

TEST_F(Logging, LevelsHaveNamesAndATee) {
    Catcher first;
    Catcher second;
    TeeLogAppender both(&first, &second);
    TeeLogAppender one(nullptr, &second);
    logger.setAppender(&both);
    LOG_TRACE("f", u"1");
    LOG_INFO("f", u"2");
    logger.setAppender(&one);
    LOG_WARNING("f", u"3");
    LOG_ERROR("f", u"4");
    TeeLogAppender(&second, nullptr).append({{}, 0, 0, u"", u"X", u"", 0, u"", u"6"});
    logger.log(static_cast<LogLevel>(9), u"x", 1, u"f", u"5");
    EXPECT_EQ(first.seen, u"TRACE 1|INFO 2|");
    EXPECT_EQ(second.seen, u"TRACE 1|INFO 2|WARNING 3|ERROR 4|X 6|UNKNOWN 5|");
}

TEST_F(Logging, ScopeIsEnteredAndLeft) {
    const int line = __LINE__ + 1;
    { TRACE_SCOPE("a::f", "the work"); }
    EXPECT_EQ(logRecords(machine).at(0).line, line);
    EXPECT_EQ(log(), (std::vector<std::string>{
                         "TRACE LoggerTest.cpp a::f: Entering the work",
                         "TRACE LoggerTest.cpp a::f: Exiting the work (entered at LoggerTest.cpp:" +
                             std::to_string(line) + ")"}));
    Catcher full(u"TRACE");
    std::optional<ScopeTracer> tracer;
    tracer.emplace(logger, LogLevel::Trace, "f", 1, "f", "scope");
    logger.setAppender(&full);
    EXPECT_NO_THROW(tracer.reset());
}

/// The directory is that of the moment when the appender is made; the name loses its own.
TEST_F(Logging, AppenderTakesTheTemporaryDirectory) {
    for (const std::u16string& directory :
         {std::u16string(u"C:\\t"), u"C:\\" + tstring(300, u'd')}) {
        machine.facts.environment[u"TMP"] = directory + u"\\/";
        EXPECT_EQ(FileLogAppender(u"").path(), directory + u"\\tolmark.log");
        EXPECT_EQ(FileLogAppender(u"D:\\x/own.log").path(), directory + u"\\own.log");
    }
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t"));
}

TEST(LogOfAProcess, NamesTheLibraryOrSaysThatItIsUnknown) {
    std::set<std::string> names;
    const auto noteNames = [&](const auto& fail) {
        simulated::Machine machine;
        LibraryProcess process(machine);
        const MSIHANDLE session = machine.installer.openSession();
        fail(machine);
        process.call("MSISetImpersonate", session);
        failingAllocation = 0;
        process.call("MSISetImpersonate", session);
        EXPECT_FALSE(logRecords(machine).empty());
        for (const LogRecord& record : logRecords(machine)) {
            names.insert(record.head.substr(26, record.head.find(" (PID") - 26));
        }
    };
    for (const char* function : {"GetModuleFileNameW", "GetModuleHandleExW"}) {
        noteNames([&](simulated::Machine& machine) { machine.calls.failAll(function); });
        EXPECT_EQ(names, std::set<std::string>{"Unkown"}) << function;
    }
    for (int n = 1; n < 8; ++n) {
        noteNames([&](simulated::Machine&) { failingAllocation = n; });
    }
    EXPECT_EQ(names, (std::set<std::string>{"Unkown", "norvca.dll"}));
}

}  // namespace
