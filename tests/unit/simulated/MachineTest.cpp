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

class MachineTest : public testing::Test {
protected:
    static DWORD statusOf(BOOL done) { return done != FALSE ? ERROR_SUCCESS : GetLastError(); }
    static LSTATUS open(HKEY root, REGSAM access, HKEY& key) {
        return RegOpenKeyExW(root, u"Software\\X", 0, access, &key);
    }

    Machine machine;
    Running running{machine};
    Volumes& volumes = machine.volumes;
};

TEST_F(MachineTest, TheTokenDecidesWhoWritesTheRegistry) {
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

using MachineDeathTest = MachineTest;

TEST_F(MachineDeathTest, TheMergedClassesAreNotSupported) {
    HKEY key = nullptr;
    EXPECT_DEATH(open(HKEY_CLASSES_ROOT, KEY_READ, key), "HKEY_CLASSES_ROOT");
}

TEST_F(MachineDeathTest, IdentifiersOfAnAliasOfTheMachineAreNotSupported) {
    PSID sid = nullptr;
    EXPECT_DEATH(ConvertStringSidToSidW(u"LA", &sid), "the alias LA");
}

TEST_F(MachineDeathTest, NullOutParametersAreNotSupported) {
    char buffer = 0;
    EXPECT_DEATH(ReadFile(nullptr, &buffer, 1, nullptr, nullptr),
                 "ReadFile doesn't support a null pointer");
}

TEST_F(MachineDeathTest, ASecondViewOfASharedBlockIsNotSupported) {
    const HANDLE block =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, "Block");
    EXPECT_NE(nullptr, MapViewOfFile(block, FILE_MAP_READ, 0, 0, 8));
    EXPECT_DEATH(MapViewOfFile(block, FILE_MAP_READ, 0, 0, 8), "a second view of a block");
}

TEST_F(MachineTest, AnOrdinaryUserWritesFilesOnlyWhereHeMay) {
    volumes.addFile(u"C:\\Windows\\System32\\f");
    machine.security.becomeOrdinaryUser();
    EXPECT_EQ(5u, statusOf(CreateDirectoryW(u"C:\\Program Files\\made", nullptr)));
    EXPECT_EQ(5u, statusOf(CopyFileW(u"C:\\Windows\\System32\\f", u"C:\\Windows\\g", TRUE)));
    EXPECT_EQ(5u, statusOf(DeleteFileW(u"C:\\Windows\\System32\\f")));
    EXPECT_EQ(0u, statusOf(CreateDirectoryW(u"C:\\Windows\\Temp\\x", nullptr)));
    EXPECT_EQ(5u,
              statusOf(MoveFileExW(u"C:\\Windows\\Temp\\x", nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)));
}

TEST_F(MachineTest, RelativeSymbolicLinksCountFromTheirDirectory) {
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

TEST_F(MachineTest, AllocationsOfTheMachineThatFailMakeTheCallFail) {
    const HANDLE block =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, "Block");
    const void* const view = MapViewOfFile(block, FILE_MAP_ALL_ACCESS, 0, 0, 8);
    machine.sharedMemory.observeFlushes([](const auto&, const auto&) { throw std::bad_alloc(); });
    EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, statusOf(FlushViewOfFile(view, 8)));
}

TEST_F(MachineTest, AFaultInACopyMayLeaveAPart) {
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

}  // namespace
