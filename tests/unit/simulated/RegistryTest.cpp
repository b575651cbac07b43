#include <windows.h>
#include <shlwapi.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

/// What only the machine can be asked: faults, a stop, and who the process is.
class SimulatedRegistry : public testing::Test {
protected:
    static LSTATUS open(HKEY root, REGSAM access, HKEY& key) {
        return RegOpenKeyExW(root, u"Software\\X", 0, access, &key);
    }

    Machine machine;
    Running running{machine};
};

TEST_F(SimulatedRegistry, TheTokenDecidesWhoWrites) {
    machine.registry.setString(View::Bits64, u"HKLM\\Software\\X", u"a", u"text");
    machine.registry.setString(View::Bits64, u"HKCU\\Software\\X", u"a", u"text");
    const struct {
        void (Security::*become)();
        LSTATUS status;
    } kCases[] = {{&Security::becomeOrdinaryUser, ERROR_ACCESS_DENIED},
                  {&Security::becomeFilteredAdministrator, ERROR_ACCESS_DENIED},
                  {&Security::becomeLocalSystem, ERROR_SUCCESS}};
    for (const auto& one : kCases) {
        (machine.security.*one.become)();
        HKEY key = nullptr;
        EXPECT_EQ(open(HKEY_LOCAL_MACHINE, KEY_READ | KEY_WRITE, key), one.status);
        RegCloseKey(key);
        EXPECT_EQ(open(HKEY_LOCAL_MACHINE, KEY_READ, key), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteTreeW(key, nullptr), ERROR_ACCESS_DENIED);
        RegCloseKey(key);
        const bool isUser = !machine.security.isLocalSystem();  // which has a profile of its own
        EXPECT_EQ(open(HKEY_CURRENT_USER, KEY_READ | KEY_WRITE, key),
                  isUser ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
        if (isUser) {
            RegCloseKey(key);
        }
    }
    EXPECT_TRUE(machine.handles.open().empty());
}

TEST_F(SimulatedRegistry, AFailedOrStoppedCallChangesNothing) {
    machine.registry.setString(View::Bits64, u"HKCU\\Software\\X", u"a", u"text");
    const std::vector<std::string> before = machine.describe();
    HKEY key = nullptr;
    ASSERT_EQ(open(HKEY_CURRENT_USER, KEY_ALL_ACCESS, key), ERROR_SUCCESS);
    const auto change = [&] {
        HKEY made = nullptr;
        EXPECT_NE(RegSetValueExW(key, u"new", 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
        EXPECT_NE(RegCreateKeyExW(key, u"sub", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr),
                  ERROR_SUCCESS);
        EXPECT_NE(RegDeleteTreeW(HKEY_CURRENT_USER, u"Software"), ERROR_SUCCESS);
    };
    for (std::uint64_t i = 1; i <= 3; ++i) {
        machine.calls.failCall(i, ERROR_NOT_ENOUGH_MEMORY);
    }
    change();
    machine.calls.stopAtCall(1);
    change();
    EXPECT_EQ(machine.describe(), before);
    EXPECT_EQ(machine.handles.open(), std::vector<std::string>{"key HKCU\\Software\\X"});
    machine.endProcess();
    EXPECT_TRUE(machine.handles.open().empty());
}

}  // namespace
