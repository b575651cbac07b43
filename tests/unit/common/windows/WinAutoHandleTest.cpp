#include "common/windows/WinAutoHandle.h"

#include "support/OnMachine.h"

namespace {

using WinAutoHandleTest = OnMachine;
using Lines = std::vector<std::string>;

TEST_F(WinAutoHandleTest, AFailedCloseIsLogged) {
    { const WinHandle file(reinterpret_cast<HANDLE>(std::uintptr_t{0x1234})); }
    { const RegHandle key(reinterpret_cast<HKEY>(std::uintptr_t{0x1238})); }
    EXPECT_EQ(log(), (Lines{"ERROR WinAutoHandle.cpp closeHANDLE: CloseHandle(0x1234) failed with "
                            "system error 6 (The handle is invalid)",
                            "ERROR WinAutoHandle.cpp closeRegHandle: RegCloseKey(0x1238) failed "
                            "with system error 6 (The handle is invalid)"}));
}

TEST_F(WinAutoHandleTest, InvalidHandleValueIsAnEmptyOwner) {
    WinHandle none(INVALID_HANDLE_VALUE);
    EXPECT_FALSE(none);
    none.reset(INVALID_HANDLE_VALUE);
    EXPECT_FALSE(none);
}

TEST_F(WinAutoHandleTest, NothingIsClosedForNoHandle) {
    closeHANDLE(nullptr);
    closeHANDLE(INVALID_HANDLE_VALUE);
    closeRegHandle(nullptr);
    EXPECT_EQ(log(), Lines());
}

}  // namespace
