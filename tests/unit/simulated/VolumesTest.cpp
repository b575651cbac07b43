// What only the simulation can show of files: other processes, restarts, rights, odd reparse
// points, planned faults, what the machine tells of itself.
#include <windows.h>
#include <io.h>
#include <fcntl.h>
#include <share.h>
#include <sys/stat.h>
#include <winioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

namespace {

using simulated::Machine;
using simulated::Running;
using simulated::Volumes;

class VolumesTest : public testing::Test {
protected:
    static DWORD statusOf(BOOL done) { return done != FALSE ? ERROR_SUCCESS : GetLastError(); }

    static DWORD openStatus(const char16_t* path, DWORD access = GENERIC_READ, DWORD flags = 0) {
        const HANDLE file = CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, flags, nullptr);
        return file == INVALID_HANDLE_VALUE ? GetLastError() : statusOf(CloseHandle(file));
    }

    static bool contains(const std::vector<std::string>& lines, const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    Machine machine;
    Running running{machine};
    Volumes& volumes = machine.volumes;
};

constexpr const char16_t* kProgram = u"C:\\a\\f.exe";

TEST_F(VolumesTest, OtherProcessesHoldFilesInTheirWays) {
    const struct {
        void (*hold)(Volumes&);
        DWORD reading;
        DWORD writing;
        DWORD deleting;
        DWORD renaming;
    } cases[] = {
        {[](Volumes& v) { v.lock(kProgram); }, 32, 32, 32, 32},
        {[](Volumes& v) { v.lockForReading(kProgram); }, 0, 32, 32, 32},
        {[](Volumes& v) { v.lockAsProgram(kProgram); }, 0, 32, 5, 0},
        {[](Volumes& v) { v.denyRead(kProgram); }, 5, 0, 0, 0},
        {[](Volumes& v) { v.denyWrite(kProgram); }, 0, 5, 5, 5},
    };
    for (const auto& c : cases) {
        for (const bool released : {false, true}) {
            volumes.addFile(kProgram, "x");
            c.hold(volumes);
            if (released) {
                volumes.unlock(kProgram);
                volumes.allow(kProgram);
            }
            const auto due = [&](DWORD status) { return released ? DWORD{0} : status; };
            EXPECT_EQ(due(c.reading), openStatus(kProgram));
            EXPECT_EQ(due(c.writing), openStatus(kProgram, GENERIC_WRITE));
            EXPECT_EQ(due(c.renaming), statusOf(MoveFileExW(kProgram, u"C:\\a\\g.exe", 0)));
            if (!volumes.exists(kProgram)) {
                ASSERT_TRUE(MoveFileExW(u"C:\\a\\g.exe", kProgram, 0));
            }
            EXPECT_EQ(due(c.deleting), statusOf(DeleteFileW(kProgram)));
            EXPECT_EQ(due(c.deleting) != 0, volumes.exists(kProgram));
            machine.restart();
            volumes.remove(u"C:\\a");
        }
    }
    volumes.addDirectory(u"C:\\d");
    volumes.denyWrite(u"C:\\d");
    EXPECT_EQ(5u, statusOf(CreateDirectoryW(u"C:\\d\\e", nullptr)));
    volumes.allow(u"C:\\d");
    volumes.lock(u"C:\\d");
    EXPECT_EQ(32u, statusOf(RemoveDirectoryW(u"C:\\d")));
    machine.restart();
    EXPECT_EQ(0u, statusOf(RemoveDirectoryW(u"C:\\d"))) << "a restart ends every process";
}

TEST_F(VolumesTest, ARestartCarriesOutTheDelayedMovesInOrder) {
    volumes.addFile(u"C:\\t\\old.dll", "old");
    volumes.addFile(u"C:\\t\\new.tmp", "new");
    volumes.addFile(u"C:\\t\\tree\\in\\f", "f");
    volumes.addFile(u"C:\\t\\kept", "kept");
    volumes.lock(u"C:\\t\\old.dll");
    volumes.denyWrite(u"C:\\t\\tree\\in\\f");
    constexpr DWORD kDelay = MOVEFILE_DELAY_UNTIL_REBOOT;
    ASSERT_TRUE(
        MoveFileExW(u"c:/t/new.tmp", u"C:\\t\\old.dll", kDelay | MOVEFILE_REPLACE_EXISTING));
    ASSERT_TRUE(MoveFileExW(u"C:\\t\\tree\\in\\f", nullptr, kDelay));
    ASSERT_TRUE(MoveFileExW(u"C:\\t\\tree\\in", nullptr, kDelay));
    ASSERT_TRUE(MoveFileExW(u"C:\\t\\kept", u"C:\\t\\tree", kDelay)) << "fails at the restart";
    ASSERT_TRUE(MoveFileExW(u"C:\\t\\tree", nullptr, kDelay));
    EXPECT_EQ(2u, statusOf(MoveFileExW(u"C:\\t\\none", nullptr, kDelay)));
    EXPECT_EQ(87u, statusOf(MoveFileExW(u"C:\\t\\kept", u"C:\\k", kDelay | MOVEFILE_COPY_ALLOWED)));
    EXPECT_EQ("old", volumes.content(u"C:\\t\\old.dll"));
    EXPECT_TRUE(
        contains(machine.describe(), "at restart c:\\t\\new.tmp is moved to C:\\t\\old.dll"));
    ASSERT_EQ(5u, volumes.delayedMoves().size());

    machine.restart();
    EXPECT_EQ("new", volumes.content(u"C:\\t\\old.dll"));
    EXPECT_EQ((std::vector<std::u16string>{u"C:\\t\\kept", u"C:\\t\\old.dll"}),
              volumes.files(u"C:\\t"));
    EXPECT_FALSE(volumes.exists(u"C:\\t\\tree"));
    EXPECT_TRUE(volumes.delayedMoves().empty());
}

TEST_F(VolumesTest, TheEndOfAProcessFreesWhatItHeld) {
    volumes.addFile(u"C:\\t\\f", "f");
    const HANDLE handle =
        CreateFileW(u"C:\\t\\f", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    int file = -1;
    ASSERT_EQ(0, _wsopen_s(&file, u"C:\\t\\log", _O_WRONLY | _O_CREAT, _SH_DENYRW, _S_IWRITE));
    WIN32_FIND_DATAW data;
    FindFirstFileW(u"C:\\t\\*", &data);
    EXPECT_EQ((std::vector<std::string>{"file C:\\t\\f", "file C:\\t\\log", "search C:\\t\\*"}),
              machine.handles.open());
    EXPECT_EQ(32u, statusOf(DeleteFileW(u"C:\\t\\f")));
    machine.endProcess();
    EXPECT_TRUE(machine.handles.open().empty());
    EXPECT_EQ(0u, statusOf(DeleteFileW(u"C:\\t\\f")));
    EXPECT_EQ(0u, openStatus(u"C:\\t\\log"));
    EXPECT_EQ(6u, statusOf(CloseHandle(handle))) << "a stale handle is noticed";
    EXPECT_EQ(-1, _write(file, "x", 1));
    EXPECT_EQ(EBADF, errno);
}

TEST_F(VolumesTest, ShortNamesAreMadeLikeThoseOfNtfs) {
    const struct {
        const char16_t* name;
        const char16_t* shortName;
    } cases[] = {
        {u"norv.exe", u"norv.exe"},
        {u"norv.exe1", u"NORV~1.EXE"},
        {u"a b", u"AB~1"},
        {u".settings", u"SETTIN~1"},
        {u"two.dots.txt", u"TWODOT~1.TXT"},
        {u"plus+comma,.txt", u"PLUS_C~1.TXT"},
        {u"long enough 1", u"LONGEN~1"},
        {u"long enough 2", u"LONGEN~2"},
        {u"long enough 3", u"LONGEN~3"},
        {u"long enough 4", u"LONGEN~4"},
    };
    for (const auto& c : cases) {
        volumes.addFile(u"C:\\n\\" + std::u16string(c.name));
        EXPECT_EQ(c.shortName, volumes.shortName(u"C:\\n\\" + std::u16string(c.name)));
    }
    volumes.addFile(u"C:\\n\\long enough 5", "five");
    const std::u16string fifth = volumes.shortName(u"C:\\n\\long enough 5");
    EXPECT_EQ(u"LO", fifth.substr(0, 2));
    EXPECT_EQ(u"~1", fifth.substr(6)) << "from the fifth on, digits of the name tell them apart";
    EXPECT_EQ("five", volumes.content(u"c:\\N\\" + fifth));
    EXPECT_EQ(u"PROGRA~1", volumes.shortName(u"C:\\Program Files"));
    EXPECT_EQ(u"PROGRA~2", volumes.shortName(u"C:\\Program Files (x86)"));
    EXPECT_TRUE(volumes.isDirectory(u"C:\\PROGRA~1\\COMMON~1"));
    volumes.setShortName(u"C:\\n\\a b", u"OTHER");
    EXPECT_TRUE(volumes.exists(u"C:\\n\\other"));
    EXPECT_FALSE(volumes.exists(u"C:\\n\\ab~1"));
    ASSERT_TRUE(MoveFileExW(u"C:\\n\\long enough 1", u"C:\\n\\x", 0));
    EXPECT_FALSE(volumes.exists(u"C:\\n\\longen~1")) << "a name takes its short name along";
}

TEST_F(VolumesTest, LinksAreFollowedAsFarAsTheyLead) {
    volumes.addShare(u"\\\\server\\share");
    volumes.addFile(u"\\\\server\\share\\d\\f", "remote");
    volumes.addFile(u"C:\\real\\f", "real");
    volumes.addJunction(u"C:\\one", u"C:\\real");
    volumes.addJunction(u"C:\\two", u"C:\\one\\");
    volumes.addJunction(u"C:\\net", u"\\\\server\\share\\d");
    volumes.addJunction(u"C:\\gone", u"C:\\no\\where");
    volumes.addJunction(u"C:\\loop", u"C:\\loop\\x");
    volumes.addJunction(u"C:\\lost", u"Q:\\x");
    volumes.addJunction(u"C:\\slashed", u"C:/real");
    volumes.addSymbolicLink(u"C:\\file link", u"C:\\real\\f");
    volumes.addDirectory(u"C:\\odd");
    volumes.setReparsePoint(u"C:\\odd", std::string("\x17\0\0\x80\0\0\0\0", 8));
    const struct {
        const char16_t* path;
        DWORD status;
    } cases[] = {
        {u"C:\\one\\f", 0},
        {u"C:\\two\\F", 0},
        {u"C:\\net\\f", 0},
        {u"C:\\file link", 0},
        {u"C:\\one\\none", ERROR_FILE_NOT_FOUND},
        {u"C:\\gone\\f", ERROR_PATH_NOT_FOUND},
        {u"C:\\loop\\f", ERROR_CANT_RESOLVE_FILENAME},
        {u"C:\\lost\\f", ERROR_PATH_NOT_FOUND},
        {u"C:\\slashed\\f", ERROR_INVALID_NAME},
        {u"C:\\odd\\f", ERROR_CANT_ACCESS_FILE},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.status, openStatus(c.path)) << testing::PrintToString(std::u16string(c.path));
    }
    EXPECT_EQ(u"C:\\one\\", volumes.junctionTarget(u"C:\\two"));
    EXPECT_EQ(u"UNC\\server\\share\\d", volumes.junctionTarget(u"C:\\net"));
    EXPECT_EQ(std::nullopt, volumes.junctionTarget(u"C:\\real"));
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(u"C:\\loop"))
        << "the link itself is there";
    EXPECT_EQ(ERROR_CANT_RESOLVE_FILENAME,
              openStatus(u"C:\\loop", GENERIC_READ, FILE_FLAG_BACKUP_SEMANTICS));
    EXPECT_EQ(0u, statusOf(DeleteFileW(u"C:\\file link")));
    EXPECT_EQ("real", volumes.content(u"C:\\real\\f"));
    EXPECT_EQ(0u, statusOf(RemoveDirectoryW(u"C:\\loop")));
    EXPECT_TRUE(contains(machine.describe(), "directory C:\\two -> C:\\one\\"));
}

TEST_F(VolumesTest, VolumesDifferInKind) {
    volumes.addDrive(u'D', DRIVE_CDROM);
    volumes.addDrive(u'E', DRIVE_REMOVABLE);
    volumes.addShare(u"\\\\server\\share");
    volumes.addFile(u"D:\\f", "cd");
    volumes.addDirectory(u"D:\\d");
    EXPECT_EQ(UINT{DRIVE_CDROM}, GetDriveTypeW(u"d:\\"));
    EXPECT_EQ(UINT{DRIVE_REMOTE}, GetDriveTypeW(u"\\\\SERVER\\share\\"));
    EXPECT_EQ(0u, openStatus(u"D:\\f"));
    EXPECT_EQ(19u, openStatus(u"D:\\f", GENERIC_WRITE));
    EXPECT_EQ(19u, statusOf(DeleteFileW(u"D:\\f")));
    EXPECT_EQ(19u, statusOf(CreateDirectoryW(u"D:\\x", nullptr)));
    EXPECT_EQ(53u, openStatus(u"\\\\server\\other\\f"));
    EXPECT_EQ(3u, openStatus(u"F:\\f"));
    EXPECT_EQ(5u, statusOf(CreateDirectoryW(u"C:\\", nullptr)));
    EXPECT_EQ(123u, openStatus(u"C:\\Windows\\nul.txt")) << "a device is no file";
    EXPECT_EQ(0u, statusOf(CopyFileW(u"D:\\f", u"\\\\?\\UNC\\server\\share\\f", TRUE)));
    EXPECT_EQ(17u, statusOf(MoveFileExW(u"\\\\server\\share\\f", u"E:\\f", 0)));
    EXPECT_EQ(0u, statusOf(MoveFileExW(u"\\\\server\\share\\f", u"E:\\f", MOVEFILE_COPY_ALLOWED)));
    EXPECT_EQ((std::vector<std::u16string>{u"D:\\f", u"E:\\f"}), volumes.files());
    EXPECT_EQ(0u, statusOf(MoveFileExW(u"D:\\f", u"E:\\g", MOVEFILE_COPY_ALLOWED)));
    EXPECT_TRUE(volumes.exists(u"D:\\f")) << "where the source can't go, the move has copied";
    EXPECT_THROW(volumes.addFile(u"F:\\f"), std::invalid_argument);
    EXPECT_THROW(volumes.lock(u"C:\\none"), std::invalid_argument);
}

TEST_F(VolumesTest, A32BitProcessSeesItsOwnSystemDirectory) {
    volumes.addFile(u"C:\\Windows\\System32\\a.dll", "64");
    volumes.addFile(u"C:\\Windows\\SysWOW64\\b.dll", "32");
    EXPECT_EQ(2u, openStatus(u"C:\\Windows\\System32\\b.dll"));
    machine.facts.is64BitProcess = false;
    EXPECT_EQ(0u, openStatus(u"c:\\windows\\system32\\b.dll"));
    EXPECT_EQ(0u, openStatus(u"C:\\Windows\\Sysnative\\a.dll"));
    EXPECT_EQ(2u, openStatus(u"C:\\Windows\\System32\\a.dll"));
}

TEST_F(VolumesTest, FactsAreDescribedOnceEach) {
    Machine other;
    EXPECT_TRUE(differences(machine, other).empty());
    volumes.addFile(u"C:\\t\\f.exe", "short");
    volumes.setVersion(u"C:\\t\\f.exe", 8, 0, 450, 13);
    volumes.setReadOnly(u"C:\\t\\f.exe");
    volumes.addFile(u"C:\\t\\long", std::string(1000, 'x'));
    volumes.addFile(u"C:\\t\\Tolmark.log", "not told");
    const std::vector<std::string> changes = differences(other, machine);
    ASSERT_EQ(3u, changes.size());
    EXPECT_EQ("+ directory C:\\t", changes[0]);
    EXPECT_EQ("+ file C:\\t\\f.exe read-only \"short\" version 8.0.450.13", changes[1]);
    EXPECT_EQ("+ file C:\\t\\long 1000 bytes", changes[2].substr(0, 27));
    const std::vector<std::string> before = machine.describe();
    volumes.addFile(u"C:\\t\\long", std::string(999, 'x') + "y");
    EXPECT_NE(before, machine.describe());

    // A version is part of a file: it goes with a copy and is lost when the content is written.
    ASSERT_TRUE(CopyFileW(u"C:\\t\\f.exe", u"C:\\t\\g.exe", TRUE));
    std::string block(GetFileVersionInfoSizeW(u"C:\\t\\g.exe", nullptr), '\0');
    ASSERT_TRUE(
        GetFileVersionInfoW(u"C:\\t\\g.exe", 0, static_cast<DWORD>(block.size()), block.data()));
    void* value = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), u"\\", &value, &size));
    EXPECT_EQ(450u << 16 | 13, static_cast<VS_FIXEDFILEINFO*>(value)->dwFileVersionLS);
    volumes.setReadOnly(u"C:\\t\\g.exe", false);
    ASSERT_TRUE(CopyFileW(u"C:\\t\\long", u"C:\\t\\g.exe", FALSE));
    EXPECT_EQ(0u, GetFileVersionInfoSizeW(u"C:\\t\\g.exe", nullptr));
    EXPECT_EQ(DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND}, GetLastError());

    // A broken resource is never read beyond its end.
    volumes.setVersionResource(u"C:\\t\\g.exe", "short");
    EXPECT_EQ(0u, GetFileVersionInfoSizeW(u"C:\\t\\g.exe", nullptr));
    volumes.setVersionResource(u"C:\\t\\g.exe", block.substr(0, 50));
    std::vector<char> part(GetFileVersionInfoSizeW(u"C:\\t\\g.exe", nullptr));
    ASSERT_EQ(50u, part.size());
    ASSERT_TRUE(GetFileVersionInfoW(u"C:\\t\\g.exe", 0, 50, part.data()));
    ASSERT_TRUE(VerQueryValueW(part.data(), u"\\", &value, &size));
    EXPECT_EQ(10u, size);
}

TEST_F(VolumesTest, PlannedFaultsReachFilesStreamsAndDescriptors) {
    volumes.addFile(u"C:\\t\\f", "content");
    machine.calls.failCall("ReadFile", 2, ERROR_READ_FAULT);
    const HANDLE file =
        CreateFileW(u"C:\\t\\f", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    char buffer[16] = {};
    DWORD done = 0;
    EXPECT_TRUE(ReadFile(file, buffer, 4, &done, nullptr));
    EXPECT_EQ(DWORD{ERROR_READ_FAULT}, statusOf(ReadFile(file, buffer, 4, &done, nullptr)));
    EXPECT_EQ(0u, done);
    EXPECT_TRUE(ReadFile(file, buffer, 4, &done, nullptr));
    EXPECT_EQ("ent", std::string(buffer, done)) << "a failed read moves nothing";
    EXPECT_TRUE(CloseHandle(file));

    FILE* stream = _wfopen(u"C:\\t\\f", u"rb");
    ASSERT_NE(nullptr, stream);
    machine.calls.failCall("fread", 1);
    EXPECT_EQ(0u, std::fread(buffer, 1, sizeof(buffer), stream));
    EXPECT_NE(0, std::ferror(stream));
    EXPECT_EQ(0, std::fclose(stream));
    stream = _wfopen(u"C:\\t\\g", u"wb");
    ASSERT_NE(nullptr, stream);
    machine.calls.failCall("fwrite", 1);
    std::fwrite("x", 1, 1, stream);
    EXPECT_NE(0, std::fflush(stream));
    EXPECT_EQ(ENOSPC, errno);
    std::fclose(stream);

    machine.calls.failCall("_wsopen_s", 1, ERROR_SHARING_VIOLATION);
    int number = -1;
    EXPECT_EQ(EACCES, _wsopen_s(&number, u"C:\\t\\f", _O_RDONLY, _SH_DENYNO, 0));
    machine.calls.stopAtCall(1);
    EXPECT_FALSE(DeleteFileW(u"C:\\t\\f"));
    EXPECT_FALSE(CreateDirectoryW(u"C:\\t\\after", nullptr));
    machine.endProcess();
    EXPECT_EQ((std::vector<std::u16string>{u"C:\\t\\f", u"C:\\t\\g"}), volumes.files(u"C:\\t"));
}

}  // namespace
