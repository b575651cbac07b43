// How failures read: places, statuses and their words, and the records of caught exceptions.
#include <stdexcept>

#include "common/share/LogException.h"
#include "common/share/PmtError.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"

namespace {

using Lines = std::vector<std::string>;
using Errors = OnMachine;

TEST_F(Errors, TellTheirPlace) {
    const std::runtime_error plain("text");
    for (const char* file : {"src/a\\MsiDb.cpp", "src\\a/MsiDb.cpp", "/MsiDb.cpp", "MsiDb.cpp"}) {
        const PmtError<std::runtime_error> error(plain, {"msi::Database::getProperty", file, 87});
        const std::exception& caught = error;
        EXPECT_STREQ(caught.what(), "MsiDb.cpp(87) at msi::Database::getProperty(): text");
    }
    EXPECT_EQ(SourceLocation("f").line, __LINE__);
    EXPECT_THROW(throw PmtError<SysError>(SysError(_T("x"), nullptr, 5), "f"), std::runtime_error);
}

TEST_F(Errors, JoinTwoTexts) {
    const struct {
        const char* text;
        const char* detail;
        const char* joined;
    } rows[] = {
        {"GetModuleFileName failed", "System error [5]",
         "GetModuleFileName failed. System error [5]"},
        {"Access failed:", "System error [5]", "Access failed: System error [5]"},
        {"Done.", "x", "Done. x"},
        {"Done \t\r\n", " \n x y \t", "Done. x y"},
        {"Done! ", "x", "Done! x"},
        {"Done;", "x", "Done; x"},
        {"Done,", "x", "Done, x"},
        {"Done?", "x", "Done? x"},
        {"Done-", "x", "Done-. x"},
        {"Done", "", "Done"},
        {"Done:  ", " ", "Done:"},
        {"", "x", "x"},
        {" \t", " x ", "x"},
        {" lead", "x", " lead. x"},
        {"", "", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(joinErrorMessage(row.text, row.detail), row.joined);
    }
}

TEST_F(Errors, DescribeAStatus) {
    const HMODULE library = LoadLibraryW(_T("C:\\Windows\\System32\\msi"));
    ASSERT_NE(library, nullptr);
    machine.modules.setMessage(u"msi", 5, u"Two\nlines. \r\n\t.. ");
    machine.modules.setMessage(u"msi", 6, u". \r\n");
    EXPECT_EQ(describeSystemError(5, library), _T("system error 5 (Two lines)"));
    EXPECT_EQ(describeSystemError(6, library), _T("system error 6 ()"));
    EXPECT_EQ(describeSystemError(2, library), _T("system error 2 (The file cannot be found)"));
    EXPECT_EQ(describeSystemError(5, nullptr), _T("system error 5 (Access is denied)"));
    EXPECT_EQ(describeSystemError(0xFFFFFFFF, library),
              _T("system error 4294967295 (No description available)"));
    FreeLibrary(library);

    EXPECT_EQ(describeComError(static_cast<HRESULT>(0x80070005)),
              _T("COM error 0x80070005 (Access is denied)"));
    EXPECT_EQ(describeComError(static_cast<HRESULT>(0x80040154)),
              _T("COM error 0x80040154 (The class is not registered)"));
    EXPECT_EQ(describeComError(1), _T("COM error 0x00000001 (Incorrect function)"));
    EXPECT_EQ(describeComError(static_cast<HRESULT>(0x8007FFFF)),
              _T("COM error 0x8007FFFF (No description available)"));
}

TEST_F(Errors, SystemErrorJoinsTextAndStatus) {
    EXPECT_STREQ(SysError(_T("OpenProcessToken failed"), OpenProcessToken, 5).what(),
                 "OpenProcessToken failed. System error [5](system error 5 (Access is denied))");
    EXPECT_STREQ(SysError(_T("Done: "), nullptr, 4711).what(),
                 "Done: System error [4711](system error 4711 (No description available))");
    EXPECT_TRUE(log().empty());
    machine.calls.failCall("GetModuleHandleExW", 1, ERROR_MOD_NOT_FOUND);
    EXPECT_STREQ(SysError(_T("X failed"), OpenProcessToken, 5).what(),
                 "X failed. System error [5]");
    const Lines lines = log();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].find("WARNING WinErrorHandling.cpp "), 0u) << lines[0];
    EXPECT_NE(lines[0].find(": GetModuleHandleEx() failed for 0x"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[0].substr(lines[0].size() - 9), " address.");
}

TEST_F(Errors, ComErrorAddsWhatTheObjectSays) {
    EXPECT_STREQ(ComError(_T("X failed"), static_cast<HRESULT>(0x80070005)).what(),
                 "X failed: COM error 0x80070005 (Access is denied)");
    machine.shell.setErrorInfo(u"the object's words");
    const ComError error(_T("X failed"), static_cast<HRESULT>(0x80070005));
    EXPECT_STREQ(error.what(),
                 "X failed: COM error 0x80070005 (Access is denied) - the object's words");
    EXPECT_EQ(error.status(), static_cast<HRESULT>(0x80070005));
    machine.shell.setErrorInfo(u"");
    EXPECT_STREQ(ComError(_T("X"), 1).what(), "X: COM error 0x00000001 (Incorrect function)");
}

TEST_F(Errors, CatchPointsAndFailedClosesAreLogged) {
    logException({"a::b", "src/x/Catcher.cpp", 12}, std::runtime_error("f\xC3\xBCr"));
    logUnknownException({"a::`anonymous-namespace'::b", "Catcher.cpp", 13});
    const std::vector<LogRecord> records = logRecords(machine);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].line, 12);
    EXPECT_EQ(log(), (Lines{"ERROR Catcher.cpp a::b: Exception with message 'f\xC3\xBCr' caught",
                            "ERROR Catcher.cpp a::`anonymous-namespace'::b: "
                            "Unknown exception caught"}));

    closeHANDLE(nullptr);
    closeHANDLE(INVALID_HANDLE_VALUE);
    closeRegHandle(nullptr);
    EXPECT_EQ(machine.calls.count("CloseHandle") + machine.calls.count("RegCloseKey"), 0u);
    closeHANDLE(reinterpret_cast<HANDLE>(std::uintptr_t{0x1234}));
    closeRegHandle(reinterpret_cast<HKEY>(std::uintptr_t{0x1238}));
    EXPECT_EQ(log(), (Lines{"ERROR WinAutoHandle.cpp closeHANDLE: CloseHandle(0x1234) failed with "
                            "system error 6 (The handle is invalid)",
                            "ERROR WinAutoHandle.cpp closeRegHandle: RegCloseKey(0x1238) failed "
                            "with system error 6 (The handle is invalid)"}));
}

}  // namespace
