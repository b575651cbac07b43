// What neither Windows can be asked nor the library's own tests show: restarts, the rights of a
// token, faults and stops.
#include <windows.h>
#include <shlobj.h>
#include <sddl.h>

#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

class SimulatedMachine : public testing::Test {
protected:
    static DWORD statusOf(BOOL done) { return done != FALSE ? ERROR_SUCCESS : GetLastError(); }
    static LSTATUS open(HKEY root, REGSAM access, HKEY& key) {
        return RegOpenKeyExW(root, u"Software\\X", 0, access, &key);
    }

    Machine machine;
    Running running{machine};
    Volumes& volumes = machine.volumes;
};

TEST_F(SimulatedMachine, TheTokenDecidesWhoWritesTheRegistry) {
    machine.registry.createKey(View::Bits64, u"HKLM\\Software\\X");
    machine.registry.createKey(View::Bits64, u"HKCU\\Software\\X");
    const std::tuple<void (Security::*)(), LSTATUS, LSTATUS> kCases[] = {
        {&Security::becomeOrdinaryUser, ERROR_ACCESS_DENIED, ERROR_SUCCESS},
        {&Security::becomeFilteredAdministrator, ERROR_ACCESS_DENIED, ERROR_SUCCESS},
        {&Security::becomeLocalSystem, ERROR_SUCCESS, ERROR_FILE_NOT_FOUND}};
    for (const auto& [become, machines, users] : kCases) {
        (machine.security.*become)();
        HKEY key = nullptr;
        EXPECT_EQ(open(HKEY_LOCAL_MACHINE, KEY_READ | KEY_WRITE, key), machines);
        EXPECT_EQ(open(HKEY_CURRENT_USER, KEY_READ | KEY_WRITE, key), users);
        EXPECT_EQ(open(HKEY_LOCAL_MACHINE, KEY_READ, key), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteTreeW(key, nullptr), ERROR_ACCESS_DENIED);
    }
    WCHAR path[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, path);
    EXPECT_EQ(std::u16string(path), u"C:\\Windows\\Temp\\") << "the system's account has its own";
}

using SimulatedMachineDeathTest = SimulatedMachine;

TEST_F(SimulatedMachineDeathTest, TheMergedClassesAreNotSupported) {
    HKEY key = nullptr;
    EXPECT_DEATH(open(HKEY_CLASSES_ROOT, KEY_READ, key), "HKEY_CLASSES_ROOT");
}

TEST_F(SimulatedMachineDeathTest, IdentifiersOfAnAliasOfTheMachineAreNotSupported) {
    PSID sid = nullptr;
    EXPECT_DEATH(ConvertStringSidToSidW(u"LA", &sid), "the alias LA");
}

TEST_F(SimulatedMachineDeathTest, NullOutParametersAreNotSupported) {
    char buffer = 0;
    EXPECT_DEATH(ReadFile(nullptr, &buffer, 1, nullptr, nullptr),
                 "ReadFile doesn't support a null pointer");
}

TEST_F(SimulatedMachineDeathTest, ASecondViewOfASharedBlockIsNotSupported) {
    const HANDLE block =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, "Block");
    EXPECT_NE(nullptr, MapViewOfFile(block, FILE_MAP_READ, 0, 0, 8));
    EXPECT_DEATH(MapViewOfFile(block, FILE_MAP_READ, 0, 0, 8), "a second view of a block");
}

TEST_F(SimulatedMachine, AnOrdinaryUserWritesFilesOnlyWhereHeMay) {
    volumes.addFile(u"C:\\Windows\\System32\\f");
    machine.security.becomeOrdinaryUser();
    EXPECT_EQ(5u, statusOf(CreateDirectoryW(u"C:\\Program Files\\made", nullptr)));
    EXPECT_EQ(5u, statusOf(CopyFileW(u"C:\\Windows\\System32\\f", u"C:\\Windows\\g", TRUE)));
    EXPECT_EQ(5u, statusOf(DeleteFileW(u"C:\\Windows\\System32\\f")));
    EXPECT_EQ(0u, statusOf(CreateDirectoryW(u"C:\\Windows\\Temp\\x", nullptr)));
    EXPECT_EQ(5u,
              statusOf(MoveFileExW(u"C:\\Windows\\Temp\\x", nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)));
}

TEST_F(SimulatedMachine, AFailedOrStoppedCallChangesNothing) {
    const std::vector<std::string> before = machine.describe();
    const auto change = [&] {
        HKEY made = nullptr;
        EXPECT_NE(RegCreateKeyExW(HKEY_CURRENT_USER, u"sub", 0, nullptr, 0, KEY_READ, nullptr,
                                  &made, nullptr),
                  ERROR_SUCCESS);
        EXPECT_NE(RegDeleteTreeW(HKEY_CURRENT_USER, u"Software"), ERROR_SUCCESS);
    };
    machine.calls.failCall(1, ERROR_NOT_ENOUGH_MEMORY);
    machine.calls.failCall(2, ERROR_NOT_ENOUGH_MEMORY);
    change();
    machine.calls.stopAtCall(1);
    change();
    EXPECT_EQ(machine.describe(), before);
    EXPECT_TRUE(machine.handles.open().empty());
}

TEST_F(SimulatedMachine, RelativeSymbolicLinksCountFromTheirDirectory) {
    volumes.addShare(u"\\\\server\\share");
    for (const std::u16string volume : {u"C:", u"\\\\server\\share"}) {
        const std::u16string link = volume + u"\\a\\b\\link";
        volumes.addFile(volume + u"\\a\\file", "content");
        volumes.addFile(link);
        for (const WCHAR* target : {u"..\\file", u"..\\..\\A\\file", u"\\a\\file"}) {
            volumes.setReparsePoint(link, linkBuffer(IO_REPARSE_TAG_SYMLINK, target, target));
            EXPECT_EQ(0u, statusOf(CopyFileW(link.c_str(), u"C:\\copy", FALSE)));
            EXPECT_EQ("content", volumes.content(u"C:\\copy"));
            EXPECT_EQ(0u, statusOf(DeleteFileW(u"C:\\copy")));
        }
    }
}

TEST_F(SimulatedMachine, ShellLinksKeepTheFullPathOfTheirTarget) {
    CoInitialize(nullptr);
    void* object = nullptr;
    ASSERT_EQ(S_OK,
              CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IPersistFile, &object));
    auto* const file = static_cast<IPersistFile*>(object);
    ASSERT_EQ(S_OK, file->QueryInterface(IID_IShellLinkW, &object));
    auto* const link = static_cast<IShellLinkW*>(object);
    EXPECT_EQ(S_OK, link->SetPath(u"\"C:/x/y/..\\z.exe\""));
    EXPECT_EQ(S_OK, file->Save(u"C:\\z.lnk", TRUE));
    EXPECT_EQ(u"C:\\x\\z.exe", machine.shell.link(u"C:\\z.lnk")->target);
    link->Release();
    file->Release();
}

TEST_F(SimulatedMachine, AllocationsOfTheMachineThatFailMakeTheCallFail) {
    const HANDLE block =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, "Block");
    const void* const view = MapViewOfFile(block, FILE_MAP_ALL_ACCESS, 0, 0, 8);
    machine.sharedMemory.observeFlushes([](const auto&, const auto&) { throw std::bad_alloc(); });
    EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, statusOf(FlushViewOfFile(view, 8)));
}

TEST_F(SimulatedMachine, AFaultInACopyMayLeaveAPart) {
    volumes.addDrive(u'D');
    volumes.addFile(u"C:\\f", "content");
    volumes.nextFaultHalvesCopy = true;
    machine.calls.failCall("MoveFileExW", 1);
    EXPECT_FALSE(MoveFileExW(u"C:\\f", u"D:\\f", MOVEFILE_COPY_ALLOWED));
    EXPECT_EQ("con", volumes.content(u"D:\\f"));
    EXPECT_EQ("content", volumes.content(u"C:\\f"));
    machine.calls.failCall("CopyFileW", 1);
    EXPECT_FALSE(CopyFileW(u"C:\\f", u"D:\\g", TRUE));
    EXPECT_FALSE(volumes.exists(u"D:\\g")) << "once only";
}

TEST_F(SimulatedMachine, ARestartCarriesOutTheDelayedMovesInOrder) {
    volumes.addFile(u"C:\\t\\old.dll", "old");
    volumes.addFile(u"C:\\t\\new.tmp", "new");
    volumes.addFile(u"C:\\t\\tree\\f", "f");
    volumes.lock(u"C:\\t\\old.dll");
    volumes.denyWrite(u"C:\\t\\tree\\f");
    constexpr DWORD kDelay = MOVEFILE_DELAY_UNTIL_REBOOT;
    EXPECT_TRUE(
        MoveFileExW(u"c:/t/new.tmp", u"C:\\t\\old.dll", kDelay | MOVEFILE_REPLACE_EXISTING));
    EXPECT_TRUE(MoveFileExW(u"C:\\t\\tree\\f", nullptr, kDelay));
    EXPECT_TRUE(MoveFileExW(u"C:\\t\\tree", nullptr, kDelay));
    EXPECT_EQ("old", volumes.content(u"C:\\t\\old.dll"));
    machine.restart();
    EXPECT_EQ("new", volumes.content(u"C:\\t\\old.dll"));
    EXPECT_EQ(std::vector<std::u16string>{u"C:\\t\\old.dll"}, volumes.files(u"C:\\t"));
    EXPECT_FALSE(volumes.exists(u"C:\\t\\tree"));
}

}  // namespace
