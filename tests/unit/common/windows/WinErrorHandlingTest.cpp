#include "common/windows/WinErrorHandling.h"

#include "support/OnMachine.h"

namespace {

using WinErrorHandlingTest = OnMachine;

TEST_F(WinErrorHandlingTest, AMessageAndItsDetailBecomeTwoSentences) {
    const struct {
        const char* message;
        const char* detail;
        const char* joined;
    } rows[] = {
        {"It failed", "System error [5]", "It failed. System error [5]"},
        {"Access failed:", "x", "Access failed: x"},
        {"Done \t\r\n", " \n x y \t", "Done. x y"},
        {"Done-", "x", "Done-. x"},
        {"Done:  ", " ", "Done:"},
        {" \t", " x ", "x"},
        {" lead", "x", " lead. x"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(joinErrorMessage(row.message, row.detail), row.joined);
    }
}

TEST_F(WinErrorHandlingTest, AMessageThatEndsWithAPunctuationMarkGetsNoFullStop) {
    for (const std::string end : {".", "!", ";", ",", "?"}) {
        EXPECT_EQ(joinErrorMessage("No" + end, "x"), "No" + end + " x");
    }
}

TEST_F(WinErrorHandlingTest, TheModulesMessagesAreSearchedBeforeTheSystems) {
    const HMODULE library = LoadLibraryW(u"C:\\Windows\\System32\\msi");
    machine.modules.setMessage(u"msi", 5, u"Own");
    EXPECT_EQ(describeSystemError(5, library), u"system error 5 (Own)");
    EXPECT_EQ(describeSystemError(2, library), u"system error 2 (The file cannot be found)");
    EXPECT_EQ(describeSystemError(5, nullptr), u"system error 5 (Access is denied)");
    FreeLibrary(library);
}

TEST_F(WinErrorHandlingTest, DescriptionsLoseLineBreaksAndTheirLastFullStop) {
    const HMODULE library = LoadLibraryW(u"C:\\Windows\\System32\\msi");
    machine.modules.setMessage(u"msi", 5, u"Two\nlines! \r\n\t.\x7F. ");
    machine.modules.setMessage(u"msi", 6, u". \r\n");
    EXPECT_EQ(describeSystemError(5, library), u"system error 5 (Two lines!)");
    EXPECT_EQ(describeSystemError(6, library), u"system error 6 ()");
    FreeLibrary(library);
}

TEST_F(WinErrorHandlingTest, ComStatusesAreDescribedByTheirWin32Status) {
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

TEST_F(WinErrorHandlingTest, ASystemErrorHasMessageStatusAndDescription) {
    EXPECT_STREQ(SysError(u"X failed", OpenProcessToken, 5).what(),
                 "X failed. System error [5](system error 5 (Access is denied))");
    EXPECT_STREQ(SysError(u"Done: ", nullptr, 4711).what(),
                 "Done: System error [4711](system error 4711 (No description available))");
}

TEST_F(WinErrorHandlingTest, WithoutTheFunctionsModuleTheDescriptionIsLeftOut) {
    machine.calls.failCall("GetModuleHandleExW", 1, ERROR_MOD_NOT_FOUND);
    EXPECT_STREQ(SysError(u"X failed", OpenProcessToken, 5).what(), "X failed. System error [5]");
    const std::regex warning(
        "WARNING WinErrorHandling.cpp .*::composeDetail: "
        "GetModuleHandleEx\\(\\) failed for 0x.* address\\.");
    const std::vector<std::string> lines = log();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(std::regex_match(lines[0], warning)) << lines[0];
}

TEST_F(WinErrorHandlingTest, AComErrorAddsTheDescriptionOfTheErrorObject) {
    machine.shell.setErrorInfo(u"the object's words");
    const ComError error(u"X failed", static_cast<HRESULT>(0x80070005));
    EXPECT_STREQ(error.what(),
                 "X failed: COM error 0x80070005 (Access is denied) - the object's words");
    EXPECT_EQ(error.status(), static_cast<HRESULT>(0x80070005));
}

TEST_F(WinErrorHandlingTest, AComErrorWithoutAnErrorObjectHasTheStatusOnly) {
    machine.shell.setErrorInfo(u"");
    EXPECT_STREQ(ComError(u"X", 1).what(), "X: COM error 0x00000001 (Incorrect function)");
}

}  // namespace
