#include "windows/common/MsiError.h"

#include "support/OnMachine.h"

namespace {

class MsiError : public OnMachine {
protected:
    static std::string message(UINT status) { return msi::Error(u"x", status).what(); }
};

TEST_F(MsiError, HasTheInstallersTextForTheLowHalfOfTheStatus) {
    EXPECT_EQ(message(1605), "x. MSI error [1605](The product is not installed.)");
    EXPECT_EQ(message(0x10000 + 1605), "x. MSI error [67141](The product is not installed.)");
}

TEST_F(MsiError, SaysThatAStatusHasNoDescription) {
    EXPECT_EQ(message(1604), "x. MSI error [1604]()") << "in a block with other strings";
    EXPECT_EQ(message(40'000), "x. MSI error [40000](No description)");
    machine.calls.failCall("LoadResource", 1);
    EXPECT_EQ(message(1605), "x. MSI error [1605](No description)");
}

TEST_F(MsiError, KeepsTheStatusIfTheTextsCannotBeLoaded) {
    machine.modules.hideModule(u"msimsg.dll");
    EXPECT_EQ(message(1605), "x. MSI error [1605]");
    EXPECT_TRUE(logHas(machine,
                       "LoadLibraryExW(C:\\Windows\\System32\\msimsg.dll) failed with system error "
                       "126 (The module could not be found)"));
    machine.calls.failAll("GetSystemDirectoryW");
    EXPECT_EQ(message(1605), "x. MSI error [1605]");
}

}  // namespace
