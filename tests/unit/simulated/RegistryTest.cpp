#include <windows.h>
#include <shlwapi.h>

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

/// The key that a call reaches, by the value "place" in it; empty when it fails.
std::u16string placeOf(HKEY root, const std::u16string& path, REGSAM view = 0) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, &key) != ERROR_SUCCESS) {
        return u"";
    }
    char16_t buffer[200] = {};
    DWORD size = sizeof(buffer);
    RegQueryValueExW(key, u"place", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    return buffer;
}

LSTATUS openStatus(const std::u16string& path, REGSAM access) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, access, &key);
    if (status == ERROR_SUCCESS) {
        RegCloseKey(key);
    }
    return status;
}

class SimulatedRegistry : public testing::Test {
protected:
    /// Plants the same key in both views.
    void plant(const std::u16string& path) {
        machine.registry.setString(View::Bits64, path, u"place", u"64");
        machine.registry.setString(View::Bits32, path, u"place", u"32");
    }

    Machine machine;
    Running running{machine};
};

TEST_F(SimulatedRegistry, ViewsShowWhatWindowsRedirects) {
    const struct {
        HKEY root;
        const char16_t* path;
        bool redirected;
    } kCases[] = {
        {HKEY_LOCAL_MACHINE, u"Software\\Halvorex\\X", true},
        {HKEY_LOCAL_MACHINE, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\X", true},
        {HKEY_LOCAL_MACHINE, u"Software\\Microsoft\\Windows NT\\CurrentVersion\\X", true},
        {HKEY_LOCAL_MACHINE, u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Fonts", false},
        {HKEY_LOCAL_MACHINE, u"Software\\Microsoft\\Windows\\CurrentVersion\\Policies\\X", false},
        {HKEY_LOCAL_MACHINE, u"Software\\Policies\\X", false},
        {HKEY_LOCAL_MACHINE, u"Software\\PoliciesX", true},
        {HKEY_LOCAL_MACHINE, u"Software\\Classes\\.vkr", false},
        {HKEY_LOCAL_MACHINE, u"Software\\Classes\\CLSID\\X", true},
        {HKEY_LOCAL_MACHINE, u"Software\\Classes\\interface\\X", true},
        {HKEY_LOCAL_MACHINE, u"Software\\Classes\\X\\CLSID", false},
        {HKEY_LOCAL_MACHINE, u"System\\X", false},
        {HKEY_CURRENT_USER, u"Software\\Halvorex\\X", false},
        {HKEY_CURRENT_USER, u"Software\\Classes\\.vkr", false},
        {HKEY_CURRENT_USER, u"Software\\Classes\\CLSID\\X", true},
    };
    for (const auto& one : kCases) {
        const std::u16string path = one.path;
        SCOPED_TRACE(toUtf8(path));
        plant((one.root == HKEY_LOCAL_MACHINE ? u"HKLM\\" : u"HKCU\\") + path);
        EXPECT_EQ(placeOf(one.root, path, KEY_WOW64_32KEY), u"32");
        EXPECT_EQ(placeOf(one.root, path, KEY_WOW64_64KEY), one.redirected ? u"64" : u"32");
        machine.facts.is64BitProcess = false;
        EXPECT_EQ(placeOf(one.root, path), u"32");
        EXPECT_EQ(placeOf(one.root, path, KEY_WOW64_64KEY), one.redirected ? u"64" : u"32");
        machine.facts.is64BitProcess = true;
    }
    EXPECT_TRUE(machine.registry.hasKey(View::Bits64, u"HKLM\\Software\\Wow6432Node\\PoliciesX"));
    EXPECT_EQ(placeOf(HKEY_LOCAL_MACHINE, u"Software\\Wow6432Node\\Policies\\X"), u"32");
    EXPECT_EQ(placeOf(HKEY_LOCAL_MACHINE, u"Software\\Wow6432Node\\Halvorex\\X", KEY_WOW64_32KEY),
              u"32");
}

TEST_F(SimulatedRegistry, A32BitWindowsHasOneView) {
    Machine old;
    old.become32Bit();
    const Running there(old);
    old.registry.setString(View::Bits32, u"HKLM\\Software\\X", u"place", u"one");
    for (const REGSAM view : {0, KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
        EXPECT_EQ(placeOf(HKEY_LOCAL_MACHINE, u"Software\\X", view), u"one");
    }
    EXPECT_FALSE(old.registry.hasKey(View::Bits64, u"HKLM\\Software\\Wow6432Node"));
    EXPECT_EQ(openStatus(u"Software\\X", KEY_READ | KEY_WOW64_32KEY | KEY_WOW64_64KEY),
              ERROR_INVALID_PARAMETER);
}

TEST_F(SimulatedRegistry, A32BitProcessKeepsToTheViewOfAHandle) {
    plant(u"HKLM\\Software\\Halvorex\\X");
    machine.facts.is64BitProcess = false;
    for (const auto& [view, place] : {std::pair(KEY_WOW64_64KEY, u"64"),
                                      std::pair(KEY_WOW64_32KEY, u"32"), std::pair(0, u"32")}) {
        HKEY key = nullptr;
        ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Halvorex", 0,
                                KEY_READ | static_cast<REGSAM>(view), &key),
                  ERROR_SUCCESS);
        EXPECT_EQ(placeOf(key, u"X"), place);
        RegCloseKey(key);
    }
}

TEST_F(SimulatedRegistry, TheUsersClassesGoBeforeTheMachines) {
    machine.registry.setString(View::Bits64, u"HKLM\\Software\\Classes\\.a", u"place", u"machine");
    machine.registry.setString(View::Bits64, u"HKLM\\Software\\Classes\\.b", u"place", u"machine");
    machine.registry.setString(View::Bits64, u"HKCU\\Software\\Classes\\.b", u"place", u"user");
    EXPECT_EQ(placeOf(HKEY_CLASSES_ROOT, u".a"), u"machine");
    EXPECT_EQ(placeOf(HKEY_CLASSES_ROOT, u".b"), u"user");
}

TEST_F(SimulatedRegistry, ADeniedKeyKeepsWhatIsInIt) {
    plant(u"HKLM\\Software\\Halvorex\\Held\\Below");
    plant(u"HKLM\\Software\\Halvorex\\Other");
    machine.registry.denyWrite(View::Bits64, u"HKLM\\Software\\Halvorex\\Held");
    const std::u16string held = u"Software\\Halvorex\\Held";
    EXPECT_EQ(openStatus(held, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(openStatus(held, KEY_READ | KEY_WRITE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openStatus(held + u"\\Below", KEY_SET_VALUE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openStatus(held, KEY_WRITE | KEY_WOW64_32KEY), ERROR_SUCCESS);
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, (held + u"\\New").c_str(), 0, nullptr, 0,
                              KEY_READ, nullptr, &key, nullptr),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, (held + u"\\Below").c_str()), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"Software\\Halvorex"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(machine.registry.subkeys(View::Bits64, u"HKLM\\Software\\Halvorex"),
              std::vector<std::u16string>{u"Held"});
    machine.registry.denyRead(View::Bits64, u"HKLM\\Software\\Halvorex\\Held");
    EXPECT_EQ(openStatus(held, KEY_READ), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openStatus(held, 0), ERROR_ACCESS_DENIED);
}

TEST_F(SimulatedRegistry, NamesHaveAtMost255Characters) {
    HKEY key = nullptr;
    const std::u16string path = u"Software\\" + std::u16string(256, u'x');
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_READ, nullptr,
                              &key, nullptr),
              ERROR_INVALID_PARAMETER);
}

TEST_F(SimulatedRegistry, AFailedOrStoppedCallChangesNothing) {
    plant(u"HKCU\\Software\\X");
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\X", 0, KEY_ALL_ACCESS, &key),
              ERROR_SUCCESS);
    const std::vector<std::string> before = machine.describe();
    const BYTE data[] = {1};
    const auto change = [&] {
        HKEY made = nullptr;
        EXPECT_NE(RegSetValueExW(key, u"new", 0, REG_BINARY, data, 1), ERROR_SUCCESS);
        EXPECT_NE(RegDeleteValueW(key, u"place"), ERROR_SUCCESS);
        EXPECT_NE(RegCreateKeyExW(key, u"sub", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr),
                  ERROR_SUCCESS);
        EXPECT_NE(RegDeleteKeyW(HKEY_CURRENT_USER, u"Software\\X"), ERROR_SUCCESS);
        EXPECT_NE(RegDeleteKeyExW(HKEY_CURRENT_USER, u"Software\\X", 0, 0), ERROR_SUCCESS);
        EXPECT_NE(RegDeleteTreeW(HKEY_CURRENT_USER, u"Software"), ERROR_SUCCESS);
        EXPECT_NE(SHDeleteKeyW(HKEY_CURRENT_USER, u"Software"), ERROR_SUCCESS);
    };
    for (std::uint64_t i = 1; i <= 7; ++i) {
        machine.calls.failCall(i, ERROR_CANTOPEN);
    }
    change();
    EXPECT_EQ(machine.describe(), before);
    machine.calls.clearPlans();
    machine.calls.stopAtCall(1);
    change();
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(machine.describe(), before);
    EXPECT_EQ(machine.handles.open(), std::vector<std::string>{"key HKCU\\Software\\X"});
    machine.endProcess();
    EXPECT_TRUE(machine.handles.open().empty());
    EXPECT_EQ(placeOf(HKEY_CURRENT_USER, u"Software\\X"), u"32");
}

TEST_F(SimulatedRegistry, MachinesAreComparedFactByFact) {
    Machine other;
    machine.registry.setString(View::Bits32, u"HKLM\\Software\\X", u"a", u"text");
    machine.registry.setNumber(View::Bits32, u"HKLM\\Software\\X", u"b", 7);
    other.registry.setExpandString(View::Bits32, u"HKLM\\Software\\X", u"a", u"text");
    other.registry.setValue(View::Bits64, u"HKCU\\Y", u"", REG_SZ, {0x61, 0, 0x62});
    EXPECT_EQ(differences(machine, other),
              (std::vector<std::string>{
                  "- registry HKLM\\SOFTWARE\\Wow6432Node\\X [a] REG_SZ \"text\"",
                  "- registry HKLM\\SOFTWARE\\Wow6432Node\\X [b] REG_DWORD 7", "+ registry HKCU\\Y",
                  "+ registry HKCU\\Y [] REG_SZ 61 00 62 ",
                  "+ registry HKLM\\SOFTWARE\\Wow6432Node\\X [a] REG_EXPAND_SZ \"text\""}));
}

}  // namespace
