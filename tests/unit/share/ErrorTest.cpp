// How failures read: places, statuses and their words, and the records of caught exceptions.
#include "common/share/LogException.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"

namespace {

using Lines = std::vector<std::string>;
using Errors = OnMachine;

TEST_F(Errors, TellTheirPlace) {
    for (const char* file : {"src/a\\MsiDb.cpp", "src\\a/MsiDb.cpp", "MsiDb.cpp"}) {
        const PmtError<std::runtime_error> error(std::runtime_error("text"), {"msi::f", file, 87});
        EXPECT_STREQ(error.what(), "MsiDb.cpp(87) at msi::f(): text");
    }
    EXPECT_EQ(SourceLocation("f").line, __LINE__);
}

TEST_F(Errors, JoinTwoTexts) {
    const char* const rows[][3] = {
        {"It failed", "System error [5]", "It failed. System error [5]"},
        {"Access failed:", "x", "Access failed: x"},
        {"Done \t\r\n", " \n x y \t", "Done. x y"},
        {"Done-", "x", "Done-. x"},
        {"Done:  ", " ", "Done:"},
        {" \t", " x ", "x"},
        {" lead", "x", " lead. x"},
    };
    for (const auto& [text, detail, joined] : rows) {
        EXPECT_EQ(joinErrorMessage(text, detail), joined);
    }
    for (const std::string end : {".", "!", ";", ",", "?"}) {
        EXPECT_EQ(joinErrorMessage(end, "x"), end + " x");
    }
}

TEST_F(Errors, DescribeAStatus) {
    const HMODULE library = LoadLibraryW(u"C:\\Windows\\System32\\msi");
    machine.modules.setMessage(u"msi", 5, u"Two\nlines! \r\n\t.\x7F. ");
    machine.modules.setMessage(u"msi", 6, u". \r\n");
    EXPECT_EQ(describeSystemError(5, library), u"system error 5 (Two lines!)");
    EXPECT_EQ(describeSystemError(6, library), u"system error 6 ()");
    EXPECT_EQ(describeSystemError(2, library), u"system error 2 (The file cannot be found)");
    EXPECT_EQ(describeSystemError(5, nullptr), u"system error 5 (Access is denied)");
    FreeLibrary(library);
    const std::pair<DWORD, const TCHAR*> rows[] = {
        {0x80070005, u"COM error 0x80070005 (Access is denied)"},
        {0x80040154, u"COM error 0x80040154 (The class is not registered)"},
        {1, u"COM error 0x00000001 (Incorrect function)"},
        {0x8007100F, u"COM error 0x8007100F (No description available)"},
    };
    for (const auto& [status, text] : rows) {
        EXPECT_EQ(describeComError(static_cast<HRESULT>(status)), text);
    }
}

TEST_F(Errors, JoinTextAndStatus) {
    EXPECT_STREQ(SysError(u"X failed", OpenProcessToken, 5).what(),
                 "X failed. System error [5](system error 5 (Access is denied))");
    EXPECT_STREQ(SysError(u"Done: ", nullptr, 4711).what(),
                 "Done: System error [4711](system error 4711 (No description available))");
    machine.calls.failCall("GetModuleHandleExW", 1, ERROR_MOD_NOT_FOUND);
    EXPECT_STREQ(SysError(u"X failed", OpenProcessToken, 5).what(), "X failed. System error [5]");
    EXPECT_TRUE(std::regex_match(log().at(0),
                                 std::regex("WARNING WinErrorHandling.cpp .*::composeDetail: "
                                            "GetModuleHandleEx\\(\\) failed for 0x.* address\\.")));

    machine.shell.setErrorInfo(u"the object's words");
    const ComError error(u"X failed", static_cast<HRESULT>(0x80070005));
    EXPECT_STREQ(error.what(),
                 "X failed: COM error 0x80070005 (Access is denied) - the object's words");
    EXPECT_EQ(error.status(), static_cast<HRESULT>(0x80070005));
    machine.shell.setErrorInfo(u"");
    EXPECT_STREQ(ComError(u"X", 1).what(), "X: COM error 0x00000001 (Incorrect function)");
}

TEST_F(Errors, CaughtOrAtAClosePointAreLogged) {
    runLogged("a::b", [] { throw std::runtime_error("f\xC3\xBCr"); });
    EXPECT_EQ(runLogged("a::c", 7, []() -> int { throw 1; }), 7);
    EXPECT_EQ(runLogged("a::c", 7, [] { return 8; }), 8);
    {
        const RegHandle key(reinterpret_cast<HKEY>(std::uintptr_t{0x1238}));
        const WinHandle file(reinterpret_cast<HANDLE>(std::uintptr_t{0x1234}));
        WinHandle none(INVALID_HANDLE_VALUE);
        none.reset(INVALID_HANDLE_VALUE);
        EXPECT_FALSE(none);
    }
    closeHANDLE(nullptr);
    closeHANDLE(INVALID_HANDLE_VALUE);
    closeRegHandle(nullptr);
    const std::string failed = " failed with system error 6 (The handle is invalid)";
    EXPECT_EQ(log(),
              (Lines{"ERROR ErrorTest.cpp a::b: Exception with message 'f\xC3\xBCr' caught",
                     "ERROR ErrorTest.cpp a::c: Unknown exception caught",
                     "ERROR WinAutoHandle.cpp closeHANDLE: CloseHandle(0x1234)" + failed,
                     "ERROR WinAutoHandle.cpp closeRegHandle: RegCloseKey(0x1238)" + failed}));
}

}  // namespace
