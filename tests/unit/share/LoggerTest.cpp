#include "common/share/Logger.h"

#include <cstdlib>
#include <new>
#include <set>

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

class Logging : public OnMachine {
protected:
    static void write(const TCHAR* message, LogLevel level = LogLevel::Info) {
        Logger::instance().log(level, u"a/b\\File.cpp", 7, u"f", message);
    }
    std::string content() const { return machine.volumes.content(kFile).value_or("<none>"); }
};

TEST_F(Logging, RecordHasItsForm) {
    machine.facts.clock.set({2026, 1, 5, 2, 3, 4, 5, 6});
    machine.facts.processId = 77;
    machine.facts.threadId = 88;
    write(u"C:\\B\u00FCro %s\nsecond");
    EXPECT_EQ(content(),
              "[2026/01/02 03:04:05.006, norvca.dll (PID: 77, TID: 88), File.cpp:7 (f)]\r\n"
              "\tINFO: C:\\B\xC3\xBCro %s\r\nsecond\r\n");
    for (const std::size_t size : {10485759u, 10485760u}) {
        machine.volumes.addFile(kFile, std::string(size, '-'));
        write(u"new", static_cast<LogLevel>(9));
        EXPECT_TRUE(content().ends_with("\tUNKNOWN: new\r\n"));
        EXPECT_EQ(content().starts_with("["), size == 10485760);
    }
}

TEST_F(Logging, RecordIsLostWhenTheFileStaysLocked) {
    machine.volumes.addFile(kFile);
    machine.volumes.lockForReading(kFile);
    write(u"lost");
    EXPECT_EQ(machine.calls.count("_wsopen_s"), 10u);
    EXPECT_EQ(machine.calls.count("Sleep"), 9u);
    EXPECT_EQ(content(), "");
    machine.volumes.unlock(kFile);
    machine.calls.failCall("_wsopen_s", 9);
    machine.calls.failCall("_wsopen_s", 1);
    write(u"two");
    EXPECT_TRUE(logHas(machine, "two"));
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
    for (int n = 0; n < 10; ++n) {
        simulated::Machine machine;
        LibraryProcess process(machine);
        const MSIHANDLE session = machine.installer.openSession();
        if (n < 2) {
            machine.calls.failAll(n == 0 ? "GetModuleFileNameW" : "GetModuleHandleExW");
        }
        failingAllocation = std::max(n - 1, 0);
        process.call("MSISetImpersonate", session);
        failingAllocation = 0;
        process.call("MSISetImpersonate", session);
        EXPECT_FALSE(logRecords(machine).empty());
        for (const LogRecord& record : logRecords(machine)) {
            names.insert(record.head.substr(26, record.head.find(" (PID") - 26));
        }
        EXPECT_TRUE(n > 1 || names == std::set<std::string>{"Unkown"});
    }
    EXPECT_EQ(names, (std::set<std::string>{"Unkown", "norvca.dll"}));
}

}  // namespace
